#pragma once

// The processor that this is compiled for. Each header fills the same seam, which docs/architecture.md lists; nothing
// else in the library asks which processor it is.
#if defined(__SSE2__)
#include "Kal/Platform/KalPlatformX86.h"
#elif defined(__aarch64__)
#include "Kal/Platform/KalPlatformArm64.h"
#elif defined(__wasm_simd128__)
#include "Kal/Platform/KalPlatformWasm.h"
#else
#error                                                                                                                 \
    "There is no Kal/Platform header for this processor: x86 with SSE2, 64-bit ARM and WebAssembly with SIMD have one."
#endif
