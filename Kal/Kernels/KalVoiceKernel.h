#pragma once

#include "Kal/Base/KalConstants.h"
#include "Kal/QFFT/Lanes.h"

#include <cstdint>

#ifdef __AVX2__
#include <immintrin.h>
#endif

/// [render] The inner loops of a voice, written once for every lane width: resampling, smoothed gains, the one-pole
/// low-pass. Frames that wrap around a loop or lie at an end are resampled one by one, in Kal/Voice/KalSampler.h.
namespace kal {

namespace {

using namespace qfft;

template<class V>
struct LaneTypes;

template<>
struct LaneTypes<Float4> {
    using Int = std::int32_t __attribute__((vector_size(16)));
    static constexpr Float4 kIndex = {0, 1, 2, 3};
};

#ifdef __AVX2__
template<>
struct LaneTypes<Float8> {
    using Int = std::int32_t __attribute__((vector_size(32)));
    static constexpr Float8 kIndex = {0, 1, 2, 3, 4, 5, 6, 7};
};
#endif

#ifdef __AVX512F__
template<>
struct LaneTypes<Float16> {
    using Int = std::int32_t __attribute__((vector_size(64)));
    static constexpr Float16 kIndex = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
};
#endif

inline float ElementScale(std::int16_t)
{
    return kScale16;
}
inline float ElementScale(std::uint8_t)
{
    return kScale8;
}
inline float ElementScale(float)
{
    return 1.0f;
}

template<class V>
struct Neighbours {
    V first, second;
};

// The two elements from from[index[k]] on, in lane k, by one load a lane that fetches both.
template<class V>
inline Neighbours<V> LoadPairs(const std::int16_t* from, typename LaneTypes<V>::Int index)
{
    typename LaneTypes<V>::Int pairs{};
#pragma GCC unroll 8
    for (int k = 0; k < kNumLanes<V>; ++k) {
        std::int32_t pair;
        __builtin_memcpy(&pair, from + index[k], sizeof pair);
        pairs[k] = pair;
    }
    return {__builtin_convertvector((pairs << 16) >> 16, V), __builtin_convertvector(pairs >> 16, V)};
}

template<class V>
inline Neighbours<V> LoadPairs(const std::uint8_t* from, typename LaneTypes<V>::Int index)
{
    typename LaneTypes<V>::Int pairs{};
#pragma GCC unroll 8
    for (int k = 0; k < kNumLanes<V>; ++k) {
        std::uint16_t pair;
        __builtin_memcpy(&pair, from + index[k], sizeof pair);
        pairs[k] = pair;
    }
    return {__builtin_convertvector((pairs & 255) - 128, V), __builtin_convertvector((pairs >> 8) - 128, V)};
}

template<class V>
inline Neighbours<V> LoadPairs(const float* from, typename LaneTypes<V>::Int index)
{
    Neighbours<V> pairs{};
#pragma GCC unroll 8
    for (int k = 0; k < kNumLanes<V>; ++k) {
        pairs.first[k] = from[index[k]];
        pairs.second[k] = from[index[k] + 1];
    }
    return pairs;
}

// The same by whole loads, where an index can permute lanes: every index lies within `windows` groups of lanes, which
// is so while the step is not above `windows`.
#ifdef __AVX2__
template<class V>
inline constexpr int kMaxWindows = 2;

// Neighbouring elements, widened to the lanes. Compilers take several instructions for what is one.
inline Int8 LoadElements(const std::uint8_t* from)
{
    return reinterpret_cast<Int8>(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from))));
}

inline Int8 LoadElements(const std::int16_t* from)
{
    return reinterpret_cast<Int8>(_mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))));
}

inline Float8 LoadElements(const float* from)
{
    return Load<Float8>(from);
}

// They as numbers, still to be multiplied by ElementScale.
inline Float8 Numbers(std::uint8_t, Int8 elements)
{
    return __builtin_convertvector(elements - 128, Float8);
}

inline Float8 Numbers(std::int16_t, Int8 elements)
{
    return __builtin_convertvector(elements, Float8);
}

inline Float8 Numbers(float, Float8 elements)
{
    return elements;
}

template<int windows, class Element>
inline Float8 PermutedElements(const Element* from, Int8 index)
{
    const auto low = Permuted(LoadElements(from), index);
    if constexpr (windows == 1) return Numbers(Element{}, low);
    return Numbers(Element{}, index > 7 ? Permuted(LoadElements(from + 8), index) : low);
}
#else
template<class V>
inline constexpr int kMaxWindows = 0;

#endif

// The whole part and the fraction of a group's first position are exact; within the group float lanes do.
template<class V, int windows, class Element>
inline void ResampleGroups(const Element* data, double x, double step, int numFrames, float* out)
{
    using Int = typename LaneTypes<V>::Int;
    const V scale = Broadcast<V>(ElementScale(Element{}));
    const V steps = LaneTypes<V>::kIndex * static_cast<float>(step);
    for (int done = 0; done < numFrames; done += kNumLanes<V>) {
        const double first = x + done * step;
        const auto whole = static_cast<std::int32_t>(first);
        V u = Broadcast<V>(static_cast<float>(first - whole)) + steps;
        if constexpr (windows > 0) {
            const V last = Broadcast<V>(windows * kNumLanes<V> * 0x1.fffffep-1f); // rounding must not leave the window
            u = Lesser(u, last);
        }
        const Int i = __builtin_convertvector(u, Int);
        const V t = u - __builtin_convertvector(i, V);
        Neighbours<V> s;
        if constexpr (windows > 0)
            s = {PermutedElements<windows>(data + whole, i), PermutedElements<windows>(data + whole + 1, i)};
        else
            s = LoadPairs<V>(data + whole, i);
        Store(out + done, (s.first + t * (s.second - s.first)) * scale);
    }
}

// Neighbouring frames are loaded in one go where the step lets a group's frames lie close together.
template<class V, class Element>
void Resample(const void* samples, double x, double step, int numFrames, float* out)
{
    const auto* data = static_cast<const Element*>(samples);
    if (kMaxWindows<V> >= 1 && step <= 1.0)
        ResampleGroups<V, kMaxWindows<V> / 2>(data, x, step, numFrames, out);
    else if (kMaxWindows<V> >= 2 && step <= 2.0)
        ResampleGroups<V, kMaxWindows<V>>(data, x, step, numFrames, out);
    else
        ResampleGroups<V, 0>(data, x, step, numFrames, out);
}

// 1, x, x^2, ... in lanes.
template<class V>
inline V Powers(float x)
{
    V powers;
    float power = 1.0f;
#pragma GCC unroll 16
    for (int k = 0; k < kNumLanes<V>; ++k, power *= x) powers[k] = power;
    return powers;
}

// The first lanes of the low-pass's answer to a step, 1 - (1 - coef)^(k + 1).
template<class V>
inline V StepResponse(float coef)
{
    V response;
    float y = 0.0f;
#pragma GCC unroll 16
    for (int k = 0; k < kNumLanes<V>; ++k) response[k] = y += (1.0f - y) * coef;
    return response;
}

/// y[n] = y[n-1] + coef (x[n] - y[n-1]) in place; *state is y before and after. Within a group of lanes the recursion
/// is the sum over earlier inputs, made by doubling: after the last step lane k holds sum_j (1 - coef)^(k-j) coef x[j].
/// What the carried y adds, y (1 - coef)^(k + 1), is taken as y less y times the answer to a step: a power just below 1
/// would round too coarsely for the smallest coefficients.
template<class V>
void Lowpass(float* frames, int numFrames, float coef, float* state)
{
    constexpr int kLanes = kNumLanes<V>;
    const float keep = 1.0f - coef;
    const V in = Broadcast<V>(coef), keep1 = Broadcast<V>(keep), keep2 = Broadcast<V>(keep * keep);
    const V keep4 = keep2 * keep2, keep8 = keep4 * keep4, gone = StepResponse<V>(coef);
    float y = *state;
    int i = 0;
    for (; i + kLanes <= numFrames; i += kLanes) {
        V v = Load<V>(frames + i) * in;
        v += keep1 * ShiftedUp<1>(v);
        v += keep2 * ShiftedUp<2>(v);
        if constexpr (kLanes >= 8) v += keep4 * ShiftedUp<4>(v);
        if constexpr (kLanes >= 16) v += keep8 * ShiftedUp<8>(v);
        const V carried = Broadcast<V>(y);
        v = carried + (v - gone * carried);
        Store(frames + i, v);
        y = v[kLanes - 1];
    }
    for (; i < numFrames; ++i) frames[i] = y += (frames[i] - y) * coef;
    *state = y;
}

/// What is left of the way to its target after one frame of a smoothed gain.
constexpr float kGainDecay = 1.0f - kGainStep;

/// Calls frame(i, g) for every frame, lanes of frames first, with the smoothed gain g: *gain at the first frame,
/// nearer to the target by kGainStep of the way at each further one. *gain becomes the one after the last frame.
template<class V, class Frame>
inline void ForSmoothedGain(int numFrames, float* gain, float target, Frame frame)
{
    constexpr int kLanes = kNumLanes<V>;
    V powers = Powers<V>(kGainDecay);
    const V decay = Broadcast<V>(powers[kLanes - 1] * kGainDecay);
    V rest = powers * (*gain - target);
    int i = 0;
    for (; i + kLanes <= numFrames; i += kLanes, rest *= decay) frame(i, target + rest);
    float last = rest[0];
    for (; i < numFrames; ++i, last *= kGainDecay) frame(i, target + last);
    *gain = target + last;
}

template<class V>
void AddSmoothed(float* to, const float* from, int numFrames, float* gain, float target)
{
    ForSmoothedGain<V>(numFrames, gain, target, [=](int i, auto g) {
        using T = decltype(g);
        Store(to + i, Load<T>(to + i) + g * Load<T>(from + i));
    });
}

template<class V>
void ScaleSmoothed(float* to, float* sum, const float* from, int numFrames, float* gain, float target)
{
    ForSmoothedGain<V>(numFrames, gain, target, [=](int i, auto g) {
        using T = decltype(g);
        const T scaled = g * Load<T>(from + i);
        Store(to + i, scaled);
        Store(sum + i, Load<T>(sum + i) + scaled);
    });
}

/// Calls frame(i, g) for every frame, lanes of frames first, with g = gain + i step.
template<class V, class Frame>
inline void ForFadedGain(int numFrames, float gain, float step, Frame frame)
{
    constexpr int kLanes = kNumLanes<V>;
    V g = gain + LaneTypes<V>::kIndex * step;
    int i = 0;
    for (; i + kLanes <= numFrames; i += kLanes, g += kLanes * step) frame(i, g);
    for (float last = g[0]; i < numFrames; ++i, last += step) frame(i, last);
}

template<class V>
void AddFaded(float* to, const float* from, int numFrames, float gain, float step)
{
    ForFadedGain<V>(numFrames, gain, step, [=](int i, auto g) {
        using T = decltype(g);
        Store(to + i, Load<T>(to + i) + Load<T>(from + i) * g);
    });
}

template<class V>
void ScaleFaded(float* to, const float* from, int numFrames, float gain, float step)
{
    ForFadedGain<V>(numFrames, gain, step, [=](int i, auto g) { Store(to + i, Load<decltype(g)>(from + i) * g); });
}

} // namespace

} // namespace kal
