// Compiled for AVX2 and FMA; called only where the processor has both.
#include "Kal/QFFT/SimdStages.h"

#include <immintrin.h>

namespace qfft {
namespace {

struct Float8 {
    static constexpr unsigned kLanes = 8;

    static Float8 Load(const float* p) { return {_mm256_loadu_ps(p)}; }
    static Float8 Broadcast(const float* p) { return {_mm256_broadcast_ss(p)}; }
    void Store(float* p) const { _mm256_storeu_ps(p, v); }

    /// Writes the first `stride` elements of a, b, c and d, then the next ones, and so on.
    template<unsigned stride>
    static void StoreInterleaved(float* p, Float8 a, Float8 b, Float8 c, Float8 d)
    {
        static_assert(stride == 1 || stride == 4);
        if constexpr (stride == 1) { // transpose each half, so that whole halves remain to be put in order
            const __m256d abLow = _mm256_castps_pd(_mm256_unpacklo_ps(a.v, b.v));
            const __m256d abHigh = _mm256_castps_pd(_mm256_unpackhi_ps(a.v, b.v));
            const __m256d cdLow = _mm256_castps_pd(_mm256_unpacklo_ps(c.v, d.v));
            const __m256d cdHigh = _mm256_castps_pd(_mm256_unpackhi_ps(c.v, d.v));
            a.v = _mm256_castpd_ps(_mm256_unpacklo_pd(abLow, cdLow));
            b.v = _mm256_castpd_ps(_mm256_unpackhi_pd(abLow, cdLow));
            c.v = _mm256_castpd_ps(_mm256_unpacklo_pd(abHigh, cdHigh));
            d.v = _mm256_castpd_ps(_mm256_unpackhi_pd(abHigh, cdHigh));
        }
        _mm256_storeu_ps(p, _mm256_permute2f128_ps(a.v, b.v, 0x20));
        _mm256_storeu_ps(p + 8, _mm256_permute2f128_ps(c.v, d.v, 0x20));
        _mm256_storeu_ps(p + 16, _mm256_permute2f128_ps(a.v, b.v, 0x31));
        _mm256_storeu_ps(p + 24, _mm256_permute2f128_ps(c.v, d.v, 0x31));
    }

    friend Float8 operator+(Float8 a, Float8 b) { return {_mm256_add_ps(a.v, b.v)}; }
    friend Float8 operator-(Float8 a, Float8 b) { return {_mm256_sub_ps(a.v, b.v)}; }
    friend Float8 operator*(Float8 a, Float8 b) { return {_mm256_mul_ps(a.v, b.v)}; }
    friend Float8 operator*(Float8 a, float b) { return {_mm256_mul_ps(a.v, _mm256_set1_ps(b))}; }
    friend Float8 MultiplyAdd(Float8 a, Float8 b, Float8 c) { return {_mm256_fmadd_ps(a.v, b.v, c.v)}; }
    friend Float8 MultiplySubtract(Float8 a, Float8 b, Float8 c) { return {_mm256_fmsub_ps(a.v, b.v, c.v)}; }

    __m256 v;
};

} // namespace

SimdKernel FindAvx2Kernel(const Stage<float>& stage)
{
    return FindKernel<Float8>(stage);
}

} // namespace qfft
