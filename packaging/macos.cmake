# The cross-compiler's linker makes no bundles, which is what modules are on macOS; a library can be
# loaded as well.
set(CMAKE_SHARED_MODULE_CREATE_CXX_FLAGS "-dynamiclib -Wl,-headerpad_max_install_names")
