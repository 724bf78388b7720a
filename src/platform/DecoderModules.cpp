#include "platform/DecoderModules.h"

#include "platform/ChildProcess.h"

#include <dlfcn.h>
#include <unistd.h>

#include <mutex>
#include <string>

namespace brindlevane {
namespace {

// A decoder module, loaded on its first use. A load that fails, for want of memory or descriptors
// perhaps, is tried again for the next file.
class Module {
 public:
  explicit Module(const char* name) : name_(name) {}

  OpenAudioDecoder entryPoint() {
    const std::scoped_lock lock(lock_);
    if (entryPoint_ == nullptr) {
      const std::string module = programFolder() + name_;
      // Never unloaded: decoders of the module may live as long as the process.
      void* const library = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
      entryPoint_ =
          library == nullptr
              ? nullptr
              : reinterpret_cast<OpenAudioDecoder>(::dlsym(library, kOpenAudioDecoderSymbol));
    }
    return entryPoint_;
  }

 private:
  const char* name_;
  std::mutex lock_;
  OpenAudioDecoder entryPoint_ = nullptr;
};

}  // namespace

std::unique_ptr<AudioDecoder> openAudioDecoder(int descriptor) {
  // In the order in which they are tried.
  static Module sndfile("brindlevane_sndfile.so");
  static Module ffmpeg("brindlevane_ffmpeg.so");
  for (Module* const module : {&sndfile, &ffmpeg}) {
    const OpenAudioDecoder open = module->entryPoint();
    if (open == nullptr || ::lseek(descriptor, 0, SEEK_SET) != 0) {
      continue;
    }
    if (std::unique_ptr<AudioDecoder> decoder(open(descriptor)); decoder) {
      return decoder;
    }
  }
  return nullptr;
}

}  // namespace brindlevane
