#include "platform/sound/SndfileHandle.h"

#include <algorithm>

namespace brindlevane {
namespace {

ByteSource& sourceOf(void* bytes) {
  return *static_cast<ByteSource*>(bytes);
}

}  // namespace

SndfileHandle openSndfile(ByteSource& bytes, SF_INFO& info) {
  SF_VIRTUAL_IO io = {};
  io.get_filelen = [](void* from) { return static_cast<sf_count_t>(sourceOf(from).size()); };
  io.seek = [](sf_count_t offset, int whence, void* from) {
    return static_cast<sf_count_t>(sourceOf(from).seek(offset, whence));
  };
  io.read = [](void* to, sf_count_t count, void* from) {
    return std::max<sf_count_t>(sourceOf(from).read(to, count), 0);
  };
  io.tell = [](void* from) { return static_cast<sf_count_t>(sourceOf(from).position()); };
  return SndfileHandle(sf_open_virtual(&io, SFM_READ, &info, &bytes));
}

}  // namespace brindlevane
