#include "platform/SampleBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <utility>

namespace brindlevane {
namespace {

TEST(SampleBuffer, GrowsInPlaceUpToItsCapacity) {
  for (const bool largePages : {false, true}) {
    for (const std::size_t capacity : {1U, 1000U, 524288U, 524289U}) {
      SCOPED_TRACE(capacity);
      SampleBuffer buffer(capacity, largePages);
      const float* const start = buffer.room().data();
      EXPECT_EQ(buffer.room().size(), capacity);
      EXPECT_TRUE(buffer.samples().empty());
      EXPECT_EQ(buffer.append(capacity - 1).data(), start);
      EXPECT_THROW(buffer.append(2), std::bad_alloc);
      EXPECT_EQ(buffer.samples().size(), capacity - 1);
      const std::span<float> last = buffer.append(1);
      EXPECT_EQ(last.data(), start + capacity - 1);
      EXPECT_EQ(std::count(buffer.samples().begin(), buffer.samples().end(), 0.0F),
                static_cast<std::ptrdiff_t>(capacity));
      last[0] = 7;
      EXPECT_THROW(buffer.append(1), std::bad_alloc);
      SampleBuffer moved(std::move(buffer));
      EXPECT_EQ(moved.samples().data(), start);
      EXPECT_EQ(moved.samples().back(), 7);
      EXPECT_EQ(moved.samples().size(), capacity);
      EXPECT_EQ(moved.room().size(), capacity);
    }
  }
}

TEST(SampleBuffer, MayHaveNoRoomOrAskForTooMuch) {
  SampleBuffer none(0, true);
  EXPECT_TRUE(none.append(0).empty());
  EXPECT_THROW(none.append(1), std::bad_alloc);
  EXPECT_THROW(SampleBuffer(std::size_t{1} << 50U, false), std::bad_alloc);
}

}  // namespace
}  // namespace brindlevane
