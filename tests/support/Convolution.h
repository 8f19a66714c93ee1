#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kal::test {

/// The first x.size() samples of the linear convolution of x and h, by the sum that defines it.
inline std::vector<double> Convolve(const std::vector<float>& x, const std::vector<float>& h)
{
    std::vector<double> y(x.size());
    for (std::size_t n = 0; n < x.size(); ++n)
        for (std::size_t k = 0; k < std::min(h.size(), n + 1); ++k) y[n] += double(h[k]) * x[n - k];
    return y;
}

} // namespace kal::test
