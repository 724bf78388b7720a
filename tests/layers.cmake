cmake_minimum_required(VERSION 3.25)
# Fails when a source includes what its layer may not: cmake -DROOT=... -P layers.cmake
# The folder, then the folders that it may include besides itself.
set(layers
  "src/platform|"
  "src/platform/posix|platform"
  "src/platform/windows|platform"
  "src/platform/sound|platform"
  "src/platform/sound/posix|platform platform/sound"
  "src/platform/sound/windows|platform platform/sound platform/windows"
  "src/contract|platform"
  "src/key|platform contract"
  "src/audio|platform platform/sound contract key"
  "src/listener|platform platform/sound contract audio"
  "src/listening|platform contract key"
  "src/tools|platform contract"
  "src/bridge|platform contract tools"
  "src/workflows|platform contract key listening tools bridge"
  "src/server|platform contract listening tools bridge workflows"
  "support|"
  "support/posix|support"
  "support/windows|support platform/windows"
  "practice|platform contract bridge support")
set(third_party "boost/|seccomp|utf8proc|sndfile|libav|libswresample|nlohmann/")
# The shared vocabulary, what the files of a decoder's module share, and the server of support.
set(may_use_third_party "src/platform/(sound/)?(posix/)?[A-Za-z]+\\.cpp|src/platform/(Json|sound/FfmpegHandles|sound/SndfileHandle)\\.h|support/LoopbackServer\\.cpp")

set(faults 0)
foreach(layer IN LISTS layers)
  string(REPLACE "|" ";" parts "${layer}")
  list(GET parts 0 folder)
  list(GET parts 1 allowed)
  string(REGEX REPLACE "^src/" "" own "${folder}")
  string(REPLACE " " ";" allowed "${allowed}")
  file(GLOB sources RELATIVE "${ROOT}" "${ROOT}/${folder}/*.h" "${ROOT}/${folder}/*.cpp")
  foreach(source IN LISTS sources)
    file(STRINGS "${ROOT}/${source}" includes REGEX "^#include")
    foreach(include IN LISTS includes)
      if(include MATCHES "^#include \"(([^\"]*)/)?[^\"/]+\"")
        set(target "${CMAKE_MATCH_2}")
        if(NOT target STREQUAL "" AND NOT target STREQUAL own AND NOT target IN_LIST allowed)
          message("${source}: ${include} points the wrong way")
          math(EXPR faults "${faults} + 1")
        endif()
      elseif(include MATCHES "<(${third_party})" AND NOT source MATCHES "^(${may_use_third_party})$")
        message("${source}: ${include} belongs into src/platform")
        math(EXPR faults "${faults} + 1")
      endif()
    endforeach()
  endforeach()
endforeach()
if(faults GREATER 0)
  message(FATAL_ERROR "${faults} includes break the layers")
endif()
