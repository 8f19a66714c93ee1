#include "Kal/QFFT/Assert.h"

#include <cstdio>
#include <cstdlib>

void qfft::AssertionFailed(const char* source, const char* expression)
{
    std::fprintf(stderr, "%s: assertion failed: %s\n", source, expression);
    std::fflush(stderr);
    std::abort();
}
