#include "platform/sound/VorbisChannels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace brindlevane {
namespace {

// Left, right, Centre, low Frequencies, back left, back right (c, d), side left, side right (s, t).
TEST(VorbisChannels, EachLayoutComesOutAsWavHasIt) {
  const std::array<const char*, 9> vorbis = {"",      "l",      "lr",      "lCr",     "lrcd",
                                             "lCrcd", "lCrcdF", "lCrstbF", "lCrstcdF"};
  const std::array<const char*, 9> wav = {"",      "l",      "lr",      "lrC",     "lrcd",
                                          "lrCcd", "lrCFcd", "lrCFbst", "lrCFcdst"};
  for (std::size_t count = 1; count < vorbis.size(); ++count) {
    const std::string frames = std::string(vorbis[count]) + vorbis[count];
    std::vector<float> samples(frames.begin(), frames.end());
    bringVorbisChannelsInOrder(samples, static_cast<int>(count));
    EXPECT_EQ(std::string(samples.begin(), samples.end()), std::string(wav[count]) + wav[count]);
  }
  std::vector<float> nine = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  bringVorbisChannelsInOrder(nine, 9);
  EXPECT_TRUE(std::is_sorted(nine.begin(), nine.end()));
}

}  // namespace
}  // namespace brindlevane
