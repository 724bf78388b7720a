# CMake asks the machine that it runs on whether programs may look for libraries beside themselves.
foreach(flag SHARED_LIBRARY_RUNTIME_C SHARED_LIBRARY_RUNTIME_CXX EXECUTABLE_RUNTIME_CXX)
  set(CMAKE_${flag}_FLAG -Wl,-rpath,)
endforeach()
# The cross-compiler's linker makes no bundles, which is what modules are on macOS; a library can be
# loaded as well.
set(CMAKE_SHARED_MODULE_CREATE_CXX_FLAGS "-dynamiclib -Wl,-headerpad_max_install_names")
