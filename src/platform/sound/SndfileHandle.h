#pragma once

#include "platform/sound/ByteSource.h"

#include <sndfile.h>

#include <memory>

namespace brindlevane {

struct CloseSndfile {
  void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};
using SndfileHandle = std::unique_ptr<SNDFILE, CloseSndfile>;

/// Opens what a source shows.
///
/// @param bytes  outlives the handle
/// @param info   receives what the file holds
/// @return null when libsndfile cannot read it
[[nodiscard]] SndfileHandle openSndfile(ByteSource& bytes, SF_INFO& info);

}  // namespace brindlevane
