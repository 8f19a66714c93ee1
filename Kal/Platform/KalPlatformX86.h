#pragma once

#include <cpuid.h>
#include <cstdint>
#include <xmmintrin.h>

/// x86 with SSE2, 32 and 64 bits.
namespace kal::platform {

/// The tables of kernels, from narrow to wide: plain loops, four lanes and, where there are as many, eight and sixteen.
inline constexpr const char* kTableNames[] = {"Generic", "SSE2", "AVX2", "AVX512"};
inline constexpr bool kHasWideLanes = true; ///< whether there are more than two

/// [any] The number of the widest table that can run here: the processor has its instructions, and the system saves its
/// registers.
inline int WidestTable()
{
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return 1;
    const bool has16 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                       __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
    return has16 ? 3 : 2;
}

/// [any] The number of the one that should. Wide tables may lose: instructions of sixteen lanes may be made of two of
/// eight or slow down the clock; in 32-bit programs wide lanes have half the registers, and what lies between the
/// kernels stays narrow code. So each is for the makes of processor that were measured (docs/performance.md): sixteen
/// lanes for AMD's from family 26 on, eight in 32-bit programs for Intel's and AMD's.
inline int FastestTable()
{
    unsigned signature = 0, unused = 0;
    __get_cpuid(1, &signature, &unused, &unused, &unused);
    const unsigned family = (signature >> 8 & 15) + (signature >> 20 & 255); // extended, as every new one is
    const bool isAmd = __builtin_cpu_is("amd");
    int bound = isAmd && family >= 26 ? 3 : 2;
#ifdef __i386__
    if (!isAmd && !__builtin_cpu_is("intel")) bound = 1;
#endif
    const int widest = WidestTable();
    return widest < bound ? widest : bound;
}

/// How the thread's float arithmetic rounds, traps and treats denormals.
using FloatControl = unsigned;

/// As programs start: rounding to nearest, denormals kept, no traps; and with denormals taken and left as zero.
inline constexpr FloatControl kUsualFloats = 0x1f80, kFlushedFloats = 0x9fc0;

/// Whether the latter makes a difference. Where not, each stage forgets what has decayed (kDecayed).
inline constexpr bool kFlushesDenormals = true;

/// [any] Of this thread.
inline FloatControl GetFloatControl()
{
    return _mm_getcsr();
}
inline void SetFloatControl(FloatControl control)
{
    _mm_setcsr(control);
}

/// All of a thread's floating-point state as it was when this was made, with what its arithmetic has noted so far: of
/// the SSE unit and of the x87 unit, which some of the C library's functions use.
class FloatEnvironment {
public:
    /// [any] Also masks every trap of the x87 unit.
    FloatEnvironment() { asm volatile("fnstenv %0" : "=m"(x87)); }

    /// [any] Gives the thread its state back.
    void Restore() const
    {
        asm volatile("fldenv %0" : : "m"(x87));
        _mm_setcsr(mxcsr);
    }

    /// [any] Gives the thread the usual state, the x87 unit full precision.
    static void UseUsual()
    {
        constexpr std::uint16_t controlWord = 0x37f;
        asm volatile("fldcw %0" : : "m"(controlWord));
        _mm_setcsr(kUsualFloats);
    }

private:
    /// What fnstenv stores.
    struct Environment {
        std::uint32_t words[7];
    };

    unsigned mxcsr = _mm_getcsr();
    Environment x87;
};

/// [any] Tells the processor that a thread spins.
inline void PauseSpinning()
{
    _mm_pause();
}

} // namespace kal::platform
