# WebAssembly, cross-built with Debian's Emscripten, which looks for its own JavaScript where NODE_PATH says: the preset
# sets it. Programs of the build run under Node.js.
set(EMSCRIPTEN_SYSTEM_PROCESSOR wasm32)
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR node --no-warnings ${CMAKE_CURRENT_LIST_DIR}/../tools/wasi.mjs)
