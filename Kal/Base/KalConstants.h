#pragma once

// The constants that more than one unit counts on. No functions: kernels that are compiled for wide instruction sets
// include this.

namespace kal {

/// What a smoothed gain does with each frame: it comes this much of the way nearer to its target.
inline constexpr float kGainStep = 0.1f;

/// Frames that one stage after the other processes at a time, so that what lies between them is small, of fixed size
/// and in the first cache.
inline constexpr unsigned kSpan = 256;

/// Below this, 600 dB under full scale, a decaying state counts as gone.
inline constexpr float kDecayed = 1e-30f;

/// Up to this, 200 dB under full scale, the input of a direction counts as silent.
inline constexpr float kInaudible = 1e-10f;

/// What an element of unsigned 8-bit data, less 128, and one of signed 16-bit data are multiplied by.
inline constexpr float kScale8 = 0x1p-7f, kScale16 = 0x1p-15f;

} // namespace kal
