#include "platform/sound/DecoderModules.h"

#include "platform/Folders.h"
#include "platform/sound/DynamicLibrary.h"

#include <string>

namespace brindlevane {
namespace {

// The entry point of a module, which stays loaded; null when it cannot be loaded.
OpenAudioDecoder entryPoint(const std::string& module) {
  return reinterpret_cast<OpenAudioDecoder>(
      loadedSymbol(programFolder() + module + kModuleSuffix, kOpenAudioDecoderSymbol));
}

}  // namespace

std::unique_ptr<AudioDecoder> openAudioDecoder(const RegularFile& file) {
  // In the order in which they are tried. The second reads most of what is the first one's, but not
  // to the same sample.
  for (const char* const module : {"brindlevane_sndfile", "brindlevane_ffmpeg"}) {
    const OpenAudioDecoder open = entryPoint(module);
    std::unique_ptr<AudioDecoder> decoder(open == nullptr ? nullptr : open(file));
    if (open == nullptr || file.hasFailed()) {
      return nullptr;
    }
    if (decoder) {
      return decoder;
    }
  }
  return nullptr;
}

}  // namespace brindlevane
