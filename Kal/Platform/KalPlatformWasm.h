#pragma once

/// WebAssembly with 128-bit vectors, whose arithmetic has one state only: rounding to nearest, denormals kept, no
/// traps. Seam: KalPlatformX86.h tells what each name means.
namespace kal::platform {

inline constexpr const char* kTableNames[] = {"Generic", "SIMD128"};
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

struct FloatControl {
    bool operator==(const FloatControl&) const = default;
};

inline constexpr FloatControl kUsualFloats, kFlushedFloats;
inline constexpr bool kFlushesDenormals = false;

/// [any]
inline FloatControl GetFloatControl()
{
    return {};
}
inline void SetFloatControl(FloatControl) {}

class FloatEnvironment {
public:
    /// [any]
    FloatEnvironment() {}
    void Restore() const {}
    static void UseUsual() {}
};

/// [any]
inline void PauseSpinning() {}

} // namespace kal::platform
