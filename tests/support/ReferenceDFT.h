#pragma once

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace kal::test {

/// One bin of the transform of x by its definition: sum over j of x[j] exp(-+2 pi i j k / N), + for backward.
inline std::complex<double> Bin(const std::vector<std::complex<double>>& x, std::size_t k, bool backward)
{
    const double turn = (backward ? 2.0 : -2.0) * std::numbers::pi / static_cast<double>(x.size());
    std::complex<double> sum = 0.0;
    for (std::size_t j = 0; j < x.size(); ++j)
        sum += x[j] * std::polar(1.0, turn * static_cast<double>(j * k % x.size()));
    return sum;
}

} // namespace kal::test
