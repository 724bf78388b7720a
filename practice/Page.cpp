#include "practice/Page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <vector>

namespace brindlevane::practice {
namespace {

constexpr std::size_t kColumns = 66;  // of the pictures
constexpr const char* kMargin = "      ";
constexpr std::array kEighthsUp = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array kEighthsRight = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
constexpr std::array kShades = {" ", "░", "▒", "▓", "█"};

bool startsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
}

// The loudest of the values that fall into one of the picture's columns.
double loudest(const std::vector<double>& values, std::size_t column, std::size_t columns) {
  const std::size_t first = column * values.size() / columns;
  const std::size_t last = std::max((column + 1) * values.size() / columns, first + 1);
  return *std::max_element(values.begin() + static_cast<std::ptrdiff_t>(first),
                           values.begin() + static_cast<std::ptrdiff_t>(last));
}

void printFigures(std::ostream& out, const Json& m) {
  out << kMargin << fixed(m["analyzedSeconds"], 1) << " s of "
      << fixed(m["sourceDurationSeconds"], 1) << " s, " << m["sampleRate"].get<double>() / 1000
      << " kHz, " << m["channelCount"] << (m["channelCount"] == 1 ? " channel" : " channels");
  if (m.contains("key")) {
    out << ", " << m["key"].get<std::string>() << " (confidence " << fixed(m["keyConfidence"], 2)
        << ")";
  }
  out << "\n"
      << kMargin << "peak " << fixed(m["samplePeakDbFS"], 1) << " dBFS, RMS "
      << fixed(m["rmsDbFS"], 1) << " dBFS, crest " << fixed(m["crestFactorDb"], 1)
      << " dB, dynamics " << fixed(m["dynamicRangeDb"], 1) << " dB\n"
      << kMargin << "centroid " << fixed(m["spectralCentroidHz"], 0) << " Hz, clipped "
      << fixed(m["clippedSamplePercent"], 2) << " %";
  if (m.contains("stereoCorrelation")) {
    out << ", correlation " << fixed(m["stereoCorrelation"], 2) << ", width "
        << fixed(m["stereoWidthPercent"], 0) << " %";
  }
  out << "\n";
}

void printWaveform(std::ostream& out, const std::vector<double>& points) {
  constexpr long kRows = 3;
  const double peak = points.empty() ? 0 : std::max(*std::ranges::max_element(points), 1e-9);
  for (long row = kRows - 1; row >= 0 && peak > 0; --row) {
    out << kMargin;
    for (std::size_t column = 0; column < kColumns; ++column) {
      const double height = loudest(points, column, kColumns) / peak * kRows * 8;
      out << kEighthsUp[static_cast<std::size_t>(
          std::clamp(std::lround(height) - row * 8, 0L, 8L))];
    }
    out << "\n";
  }
}

void printSpectrogram(std::ostream& out, const std::vector<std::vector<double>>& frames,
                      double sampleRate) {
  constexpr std::size_t kRows = 8;
  for (std::size_t row = kRows; row-- > 0 && !frames.empty();) {
    out << kMargin;
    for (std::size_t column = 0; column < kColumns; ++column) {
      const std::vector<double>& frame = frames[column * frames.size() / kColumns];
      const double level = loudest(frame, row, kRows);
      out << kShades[static_cast<std::size_t>(std::lround(level * (kShades.size() - 1)))];
    }
    if (row == kRows - 1) {
      out << " " << std::lround(std::min(sampleRate / 2000, 20.0)) << " kHz";
    }
    out << (row == 0 ? " 20 Hz\n" : "\n");
  }
}

void printBands(std::ostream& out, const Json& bands) {
  constexpr std::array kBands = {"sub_20_60",    "bass_60_120",        "lowMid_120_400",
                                 "mid_400_2000", "presence_2000_6000", "air_6000_20000"};
  for (const std::string name : kBands) {
    if (bands.contains(name)) {
      const std::size_t range = name.find('_');
      std::string hertz = name.substr(range + 1);
      std::ranges::replace(hertz, '_', '-');
      out << kMargin << fitted(name.substr(0, range), 9) << fitted(hertz, 12) << std::setw(5)
          << fixed(bands[name], 1) << " % " << bar(bands[name].get<double>() / 100, 36) << "\n";
    }
  }
}

}  // namespace

std::string fixed(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

std::string fitted(std::string_view text, std::size_t width) {
  std::string result;
  std::size_t columns = 0;
  for (const char byte : text) {
    columns += startsCharacter(byte) ? 1 : 0;
    if (columns > width) {
      return result;
    }
    result.push_back(byte >= 0 && byte < ' ' ? '?' : byte);
  }
  return result.append(width - columns, ' ');
}

std::string bar(double share, std::size_t width) {
  const auto eighths = static_cast<std::size_t>(
      std::lround(std::clamp(share, 0.0, 1.0) * static_cast<double>(width) * 8));
  std::string result;
  for (std::size_t i = 0; i < eighths / 8; ++i) {
    result += kEighthsRight.back();
  }
  return result + kEighthsRight[eighths % 8];
}

void printWrapped(std::ostream& out, std::string_view text, std::size_t indent,
                  std::size_t hanging) {
  std::istringstream words{std::string(text)};
  std::size_t column = indent;
  out << std::string(indent, ' ');
  bool lineStarts = true;
  for (std::string word; words >> word; lineStarts = false) {
    const auto width = static_cast<std::size_t>(std::ranges::count_if(word, startsCharacter));
    if (!lineStarts && column + 1 + width > kPageWidth) {
      out << '\n' << std::string(hanging, ' ');
      column = hanging;
    } else if (!lineStarts) {
      out << ' ';
      ++column;
    }
    out << fitted(word, width);
    column += width;
  }
  out << '\n';
}

void printMeasurement(std::ostream& out, const Json& measurement) {
  printFigures(out, measurement);
  printWaveform(out, measurement["waveform"]);
  printSpectrogram(out, measurement["spectrogram"], measurement["sampleRate"]);
  printBands(out, measurement["bandEnergyPercent"]);
}

}  // namespace brindlevane::practice
