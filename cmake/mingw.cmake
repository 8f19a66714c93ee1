# Windows, cross-built on Linux; programs of the build run under Wine. The toolchain files beside this one name the
# processor.
set(CMAKE_SYSTEM_NAME Windows)
set(triplet ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_ASM_COMPILER ${triplet}-gcc-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/wine.sh)
# Programs carry the compiler's libraries, so that they run from any folder.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
