#include "platform/DecoderModules.h"

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <system_error>

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace brindlevane {
namespace {

std::filesystem::path runningProgram() {
  std::error_code ignored;
#ifdef __APPLE__
  std::string path(4096, '\0');
  auto size = static_cast<std::uint32_t>(path.size());
  return _NSGetExecutablePath(path.data(), &size) == 0
             ? std::filesystem::canonical(path.c_str(), ignored)
             : std::filesystem::path();
#else
  return std::filesystem::read_symlink("/proc/self/exe", ignored);
#endif
}

OpenAudioDecoder loadModule(const std::string& name) {
  // As text, for a path of libstdc++ that runs out of memory while it is changed crashes.
  const std::string program = runningProgram().string();
  const std::string module = program.substr(0, program.rfind('/') + 1) + name;
  // Never unloaded: decoders of the module may live as long as the process.
  void* const library = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return nullptr;
  }
  return reinterpret_cast<OpenAudioDecoder>(::dlsym(library, kOpenAudioDecoderSymbol));
}

// In the order in which they are tried; each is loaded on its first use.
OpenAudioDecoder sndfileModule() {
  static const OpenAudioDecoder kModule = loadModule("brindlevane_sndfile.so");
  return kModule;
}

OpenAudioDecoder ffmpegModule() {
  static const OpenAudioDecoder kModule = loadModule("brindlevane_ffmpeg.so");
  return kModule;
}

}  // namespace

std::unique_ptr<AudioDecoder> openAudioDecoder(int descriptor) {
  constexpr std::array kModules = {&sndfileModule, &ffmpegModule};
  for (const auto& module : kModules) {
    const OpenAudioDecoder open = module();
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
