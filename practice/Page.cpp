#include "practice/Page.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

namespace brindlevane::practice {
namespace {

constexpr std::size_t kMargin = 6;
constexpr std::size_t kScale = 7;  // columns to the right of a spectrogram

using Shades = std::array<std::string_view, 9>;
constexpr Shades kEighthsUp = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr Shades kGreys = {" ", " ", "░", "░", "▒", "▒", "▓", "▓", "█"};
constexpr Shades kAsciiUp = {" ", "_", "_", ".", ".", ":", ":", "|", "#"};
constexpr Shades kAsciiGreys = {" ", ".", ":", "-", "=", "+", "*", "%", "#"};

// As the measurement has them and as people read them.
constexpr std::array kBands = {
    std::pair("sub_20_60", "20-60 Hz"),         std::pair("bass_60_120", "60-120 Hz"),
    std::pair("lowMid_120_400", "120-400 Hz"),  std::pair("mid_400_2000", "400-2000 Hz"),
    std::pair("presence_2000_6000", "2-6 kHz"), std::pair("air_6000_20000", "6-20 kHz")};

std::vector<std::string_view> charactersOf(std::string_view text) {
  std::vector<std::string_view> characters;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = start + 1;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U) {
      ++end;
    }
    characters.push_back(text.substr(start, end - start));
    start = end;
  }
  return characters;
}

// The nearest that ASCII has; "?" for what it has nothing near.
std::string inAscii(std::string_view text) {
  static const std::map<std::string_view, std::string_view> kNearest = {
      {"♯", "#"}, {"→", "->"}, {"’", "'"}, {"é", "e"},
      {"è", "e"}, {"à", "a"},  {"ç", "c"}, {"…", "..."}};
  std::string ascii;
  for (const std::string_view character : charactersOf(text)) {
    const auto near = kNearest.find(character);
    ascii += character.size() == 1 ? character : near == kNearest.end() ? "?" : near->second;
  }
  return ascii;
}

// The loudest of the values that fall into one of a picture's columns.
double loudest(const Json& values, std::size_t column, std::size_t columns) {
  const std::size_t first = column * values.size() / columns;
  const std::size_t last = std::max((column + 1) * values.size() / columns, first + 1);
  return *std::max_element(values.begin() + static_cast<std::ptrdiff_t>(first),
                           values.begin() + static_cast<std::ptrdiff_t>(last));
}

std::string_view shadeOf(const Shades& shades, double eighths) {
  return shades[static_cast<std::size_t>(std::clamp(std::lround(eighths), 0L, 8L))];
}

// 75.3 s, or 20 min 5 s.
std::string duration(double seconds) {
  const long whole = std::lround(seconds);
  if (whole < 120) {
    return fixed(seconds, 1) + " s";
  }
  const std::string minutes = std::to_string(whole / 60) + " min";
  return whole % 60 == 0 ? minutes : minutes + " " + std::to_string(whole % 60) + " s";
}

}  // namespace

std::string fixed(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

std::string printable(std::string_view bytes) {
  const std::string quoted = Json(bytes).dump(-1, ' ', false, Json::error_handler_t::replace);
  const std::string utf8 = Json::parse(quoted);
  std::string text;
  for (const std::string_view character : charactersOf(utf8)) {
    const bool isControl = (character[0] >= 0 && character[0] < ' ') || character[0] == 0x7f;
    text += isControl ? "\uFFFD" : character;
  }
  return text;
}

Page Page::ofStandardOutput() {
  std::setlocale(LC_CTYPE, "");
  winsize size{};
  const bool isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  const std::size_t width = isTerminal ? std::clamp<std::size_t>(size.ws_col, 40, 120) : 80;
  return {std::cout, width, std::string_view(nl_langinfo(CODESET)) != "UTF-8"};
}

std::string Page::legible(std::string_view text) const {
  return isAscii_ ? inAscii(text) : std::string(text);
}

void Page::line(std::string_view text) {
  std::string line = fitted(legible(text), width_);
  line.erase(line.find_last_not_of(' ') + 1);
  out_ << line << '\n';
}

void Page::words(std::string_view text, std::size_t indent, std::size_t hanging) {
  std::istringstream words(legible(text));
  std::string line(indent, ' ');
  std::size_t start = indent;  // of the words in the line
  for (std::string word; words >> word;) {
    if (line.size() > start && charactersOf(line + word).size() >= width_) {
      this->line(line);
      start = hanging;
      line.assign(start, ' ');
    }
    line += (line.size() > start ? " " : "") + word;
    for (auto all = charactersOf(line); all.size() > width_; all = charactersOf(line)) {
      this->line(line);
      start = hanging;
      line.replace(0, static_cast<std::size_t>(all[width_].data() - line.data()), start, ' ');
    }
  }
  this->line(line);
}

void Page::measurement(const Json& measurement) {
  figures(measurement);
  pictures(measurement);
}

std::string Page::fitted(std::string_view text, std::size_t columns) {
  std::vector<std::string_view> characters = charactersOf(text);
  characters.resize(columns, " ");
  std::string result;
  for (const std::string_view character : characters) {
    result += character;
  }
  return result;
}

void Page::flush() {
  out_.flush();
}

void Page::figures(const Json& m) {
  const double heard = m["analyzedSeconds"];
  const double whole = m["sourceDurationSeconds"];
  const int channels = m["channelCount"];
  std::string text = duration(heard);
  if (whole - heard > 0.05) {
    text = "the first " + text + " of " + duration(whole);
  }
  text += ", " + Json(m["sampleRate"].get<double>() / 1000).dump() + " kHz, " +
          std::to_string(channels) + (channels == 1 ? " channel" : " channels");
  if (m.contains("key")) {
    text +=
        ", " + m["key"].get<std::string>() + " (confidence " + fixed(m["keyConfidence"], 2) + ")";
  }
  words(text, kMargin, kMargin);
  words("peak " + fixed(m["samplePeakDbFS"], 1) + " dBFS, RMS " + fixed(m["rmsDbFS"], 1) +
            " dBFS, crest " + fixed(m["crestFactorDb"], 1) + " dB, dynamics " +
            fixed(m["dynamicRangeDb"], 1) + " dB",
        kMargin, kMargin);
  text = "centroid " + fixed(m["spectralCentroidHz"], 0) + " Hz, clipped " +
         fixed(m["clippedSamplePercent"], 2) + " %";
  if (m.contains("stereoCorrelation")) {
    text += ", correlation " + fixed(m["stereoCorrelation"], 2) + ", width " +
            fixed(m["stereoWidthPercent"], 0) + " %";
  }
  if (channels > 2) {
    text += " (of the first two channels)";
  }
  words(text, kMargin, kMargin);
  text = "energy in %:";
  for (const auto& [key, name] : kBands) {
    if (m["bandEnergyPercent"].contains(key)) {
      text += text.ends_with(':') ? " " : ", ";
      text.append(name).append(" ").append(fixed(m["bandEnergyPercent"][key], 1));
    }
  }
  words(text, kMargin, kMargin);
}

void Page::pictures(const Json& m) {
  constexpr std::size_t kRows = 8;
  const std::size_t columns = width_ - kMargin - kScale;
  const Json& points = m["waveform"];
  const Json& frames = m["spectrogram"];
  if (points.empty() || frames.empty()) {
    return;
  }
  const double peak = std::max(loudest(points, 0, 1), 1e-9);
  std::string text(kMargin, ' ');
  for (std::size_t column = 0; column < columns; ++column) {
    text += shadeOf(isAscii_ ? kAsciiUp : kEighthsUp, loudest(points, column, columns) / peak * 8);
  }
  line(text);
  for (std::size_t row = kRows; row-- > 0;) {
    text.assign(kMargin, ' ');
    for (std::size_t column = 0; column < columns; ++column) {
      const Json& frame = frames[column * frames.size() / columns];
      text += shadeOf(isAscii_ ? kAsciiGreys : kGreys, loudest(frame, row, kRows) * 8);
    }
    if (row == kRows - 1) {
      text += " " + fixed(std::min(m["sampleRate"].get<double>() / 2000, 20.0), 0) + " kHz";
    }
    line(row == 0 ? text + " 20 Hz" : text);
  }
}

}  // namespace brindlevane::practice
