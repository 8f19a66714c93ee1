#pragma once

#include <cstdint>

/// 64-bit ARM. Seam: KalPlatformX86.h tells what each name means.
namespace kal::platform {

inline constexpr const char* kTableNames[] = {"Generic", "NEON"};
inline constexpr bool kHasWideLanes = false;

/// [any]
inline int WidestTable()
{
    return 1;
}
inline int FastestTable()
{
    return 1;
}

using FloatControl = std::uint64_t; ///< FPCR

inline constexpr FloatControl kUsualFloats = 0, kFlushedFloats = 1u << 24;
inline constexpr bool kFlushesDenormals = true;

/// [any]
inline FloatControl GetFloatControl()
{
    FloatControl control;
    asm volatile("mrs %0, fpcr" : "=r"(control));
    return control;
}
inline void SetFloatControl(FloatControl control)
{
    asm volatile("msr fpcr, %0" : : "r"(control));
}

/// FPCR, and FPSR, where arithmetic notes what happened.
class FloatEnvironment {
public:
    /// [any]
    FloatEnvironment() { asm volatile("mrs %0, fpsr" : "=r"(status)); }

    /// [any]
    void Restore() const
    {
        asm volatile("msr fpsr, %0" : : "r"(status));
        SetFloatControl(control);
    }

    /// [any]
    static void UseUsual() { SetFloatControl(kUsualFloats); }

private:
    FloatControl control = GetFloatControl();
    std::uint64_t status;
};

/// [any]
inline void PauseSpinning()
{
    asm volatile("yield");
}

} // namespace kal::platform
