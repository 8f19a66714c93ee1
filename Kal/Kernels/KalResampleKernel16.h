#pragma once

#include "Kal/Kernels/KalVoiceKernel.h"

/// [render] Resampling in sixteen lanes: one permutation chooses among up to 64 elements of 16 bits, and so both
/// neighbours of a position at once.
namespace kal {

namespace {

/// The elements that a permutation chooses from, as words.
inline __m512i LoadWords(const std::uint8_t* from)
{
    constexpr __mmask32 all = 0xffffffff; // as kAllLanes
    return _mm512_maskz_cvtepu8_epi16(all, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
}

inline __m512i LoadWords(const std::int16_t* from)
{
    return _mm512_loadu_si512(from);
}

// Both neighbours as numbers, still to be multiplied by ElementScale, from two words in each lane.
inline Neighbours<Float16> PairNumbers(std::uint8_t, Int16 pairs)
{
    return {__builtin_convertvector((pairs & 255) - 128, Float16),
            __builtin_convertvector((pairs >> 16) - 128, Float16)};
}

inline Neighbours<Float16> PairNumbers(std::int16_t, Int16 pairs)
{
    return {__builtin_convertvector((pairs << 16) >> 16, Float16), __builtin_convertvector(pairs >> 16, Float16)};
}

/// How many elements from a group's first one on are loaded. None of its positions lies more than 16 `windows` - 1
/// beyond that, and one that lies there, by rounding, takes nothing of its second neighbour.
template<class Element, int windows>
inline constexpr int kElementsRead = 16 * windows;
template<int windows>
inline constexpr int kElementsRead<float, windows> = 16 * windows + 1;

/// The elements from[index[k]] and from[index[k] + 1], in lane k.
template<int windows, class Element>
inline Neighbours<Float16> PermutedNeighbours(const Element* from, Int16 index)
{
    const auto words = reinterpret_cast<__m512i>((index | index << 16) + 0x10000);
    const __m512i low = LoadWords(from);
    const __m512i pairs = windows == 2 ? _mm512_permutexvar_epi16(words, low)
                                       : _mm512_permutex2var_epi16(low, words, LoadWords(from + 32));
    return PairNumbers(Element{}, reinterpret_cast<Int16>(pairs));
}

template<int windows>
inline Neighbours<Float16> PermutedNeighbours(const float* from, Int16 index)
{
    static_assert(windows == 2);
    const auto permuted = [=](const float* x) -> Float16 {
        return _mm512_permutex2var_ps(Load<Float16>(x), reinterpret_cast<__m512i>(index), Load<Float16>(x + 16));
    };
    return {permuted(from), permuted(from + 1)};
}

// As many frames, a multiple of 16, as there are elements to be read for whole groups; returns how many. Masks that
// leave out what lies behind the data would do as well, but slow down whatever is not in the cache yet.
template<int windows, class Element>
inline int ResampleSixteens(const Element* data, double x, double step, int numFrames, float* out)
{
    using V = Float16;
    const V scale = Broadcast<V>(ElementScale(Element{}));
    const V steps = LaneTypes<V>::kIndex * static_cast<float>(step);
    constexpr int kBehind = kElementsRead<Element, windows> - 1 - kernels::kResampleMargin;
    int done = 0;
    for (; done + 16 <= numFrames && (numFrames - 1 - done) * step >= kBehind; done += 16) {
        const double first = x + done * step;
        const auto whole = static_cast<std::int32_t>(first);
        const V u = Broadcast<V>(static_cast<float>(first - whole)) + steps; // at most 31 or 61
        const Int16 i = __builtin_convertvector(u, Int16);
        const V t = u - __builtin_convertvector(i, V);
        const Neighbours<V> s = PermutedNeighbours<windows>(data + whole, i);
        Store(out + done, (s.first + t * (s.second - s.first)) * scale);
    }
    return done;
}

/// As Resample in eight lanes, which takes what is left at the end and steps that are wider.
template<class Element>
void ResampleIn16(const void* samples, double x, double step, int numFrames, float* out)
{
    const auto* data = static_cast<const Element*>(samples);
    int done = 0;
    if (step <= 2.0)
        done = ResampleSixteens<2>(data, x, step, numFrames, out);
    else if constexpr (sizeof(Element) < sizeof(float))
        if (step <= 4.0) done = ResampleSixteens<4>(data, x, step, numFrames, out);
    Resample<Float8, Element>(data, x + done * step, step, numFrames - done, out + done);
}

} // namespace

} // namespace kal
