#pragma once

/// [any] Element-wise arithmetic on arrays of n floats. Arrays that are all aligned to 16 bytes are worked on four
/// elements at a time; others give the same results more slowly. Arrays do not overlap except where noted.
namespace kal {

/// dst[i] += a[i] + b[i] + c[i] + d[i], the sources being summed first, from left to right. A source may be dst.
void Accumulate(unsigned int n, float* dst, const float* a);
void Accumulate(unsigned int n, float* dst, const float* a, const float* b);
void Accumulate(unsigned int n, float* dst, const float* a, const float* b, const float* c);
void Accumulate(unsigned int n, float* dst, const float* a, const float* b, const float* c, const float* d);

/// buf[i] *= factor.
void Scale(unsigned int n, float* buf, float factor);

/// out[i] = a[i] b[i] for complex numbers in split arrays; outputs may be the arrays of either factor. Aligned groups
/// of eight take the plain formula (re = aRe bRe - aIm bIm, im = aRe bIm + aIm bRe), in which an infinity may turn into
/// NaN; the bins that are left over, and all bins of arrays that are not aligned, follow the rules of C's complex
/// product, where infinite times non-zero stays infinite.
void ComplexMultiply(unsigned int n, float* outRe, float* outIm, const float* aRe, const float* aIm, const float* bRe,
                     const float* bIm);

/// out1[i] = a[i] b1[i] and out2[i] = a[i] b2[i], as above, in groups of four.
void ComplexMultiply(unsigned int n, float* out1Re, float* out1Im, float* out2Re, float* out2Im, const float* aRe,
                     const float* aIm, const float* b1Re, const float* b1Im, const float* b2Re, const float* b2Im);

} // namespace kal
