# What every target of this project is compiled with.
find_package(Threads REQUIRED)

add_library(kal_settings INTERFACE)
target_include_directories(kal_settings INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(kal_settings INTERFACE Threads::Threads)
target_compile_options(kal_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow $<$<BOOL:${KAL_WERROR}>:-Werror>
    -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
    # Every compiler rounds alike: no fused products behind our back. Neither errno nor floating-point traps are used.
    -ffp-contract=off -fno-math-errno -fno-trapping-math)

set(KAL_IS_X86 OFF)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86_64|AMD64)$")
    set(KAL_IS_X86 ON)
    set(KAL_AVX512 -mavx512f -mavx512vl -mavx512dq -mavx512bw -mfma -mprefer-vector-width=512) # what its kernels use
endif()

if(EMSCRIPTEN)
    # Conversions of numbers that do not fit saturate in one instruction; exceptions need no JavaScript.
    set(CMAKE_EXECUTABLE_SUFFIX .wasm)
    target_compile_options(kal_settings INTERFACE -msimd128 -mnontrapping-fptoint)
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fwasm-exceptions>) # other libraries' sources, too
    target_link_options(kal_settings INTERFACE -fwasm-exceptions -sSTANDALONE_WASM=1 -sALLOW_MEMORY_GROWTH=1)
endif()

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "i686")
    # The x87 unit ignores flush-to-zero and rounds differently, so arithmetic stays in SSE registers. A host's stack
    # may be aligned to four bytes only. The oldest processor is not the one to be fast on: for it, the compiler would
    # make every unaligned load of two halves.
    target_compile_options(kal_settings INTERFACE -march=pentium4 -mtune=generic -mfpmath=sse -mstackrealign)
    # With eight registers, wide kernels lose most by what GCC moves to the stack to have it earlier.
    set(KAL_WIDE_OPTIONS -flive-range-shrinkage)
endif()

if(WIN32 AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    # GCC keeps vectors of 32 bytes or more on a stack that 64-bit Windows aligns to 16, and moves them as if it were
    # aligned.
    target_compile_options(kal_settings INTERFACE -Wa,-muse-unaligned-vector-move)
endif()

if(KAL_SYMBOLS)
    # Names without the folder that they were built in, so that the same commit gives the same bytes.
    target_compile_options(kal_settings INTERFACE -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()

if(KAL_SANITIZE)
    target_compile_options(kal_settings INTERFACE
        -fsanitize=${KAL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    # A host in C carries the sanitizers' run-time for the C++ library that it loads.
    target_link_options(kal_settings INTERFACE -fsanitize=${KAL_SANITIZE} -fsanitize-link-c++-runtime)
    target_link_libraries(kal_settings INTERFACE stdc++)
endif()
