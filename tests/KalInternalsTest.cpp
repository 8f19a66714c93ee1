#include "Kal/KalInternals.h"

#include <gtest/gtest.h>

namespace kal::test {
namespace {

TEST(ScopedFlushToZero, ReplacesTheCallersStateForItsLifetime)
{
    const unsigned before = _mm_getcsr(), odd = 0x1f80u | 0x6000u; // rounds toward zero, keeps denormals
    _mm_setcsr(odd);
    volatile float tiny = 1e-38f, third = 1.0f / 3.0f, denormal = 1e-40f;
    float flushed, rounded, read;
    {
        const ScopedFlushToZero flushToZero;
        flushed = tiny * third;
        rounded = 1.0f - third * 1e-8f;
        read = denormal * 1e20f;
    }
    const float kept = tiny * third;
    const unsigned after = _mm_getcsr();
    _mm_setcsr(before);
    EXPECT_EQ(flushed, 0.0f);
    EXPECT_EQ(read, 0.0f);
    EXPECT_EQ(rounded, 1.0f);
    EXPECT_GT(kept, 0.0f);
    EXPECT_EQ(after & ~0x3fu, odd); // the lowest six bits note what happened
}

} // namespace
} // namespace kal::test
