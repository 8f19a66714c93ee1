#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace kal::test {

/// n samples of white noise between -1 and 1, always the same for a seed.
inline std::vector<float> Noise(std::size_t n, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<float> noise(n);
    for (float& x : noise) x = static_cast<float>(random() / 2147483648.0 - 1.0);
    return noise;
}

/// How far the error of `actual` lies under `expected`, in dB of power; not a number when a value is none.
template<class A, class B>
double SignalToErrorDb(const A& actual, const B& expected)
{
    double error = std::numeric_limits<double>::min(), power = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        error += (actual[i] - expected[i]) * (actual[i] - expected[i]);
        power += double{expected[i]} * expected[i];
    }
    return 10.0 * std::log10(power / error);
}

/// The response of a filter, given as a function of one sample, to an impulse.
template<class Filter>
std::vector<double> ImpulseResponse(std::size_t n, Filter filter)
{
    std::vector<double> response(n);
    for (std::size_t i = 0; i < n; ++i) response[i] = filter(i == 0 ? 1.0f : 0.0f);
    return response;
}

/// The transfer function at an angle in radians a frame: sum of h[n] exp(-j w n).
inline std::complex<double> Response(const std::vector<double>& h, double w)
{
    std::complex<double> sum = 0.0, rotation = 1.0;
    const std::complex<double> step = std::polar(1.0, -w);
    for (double x : h) {
        sum += x * rotation;
        rotation *= step;
    }
    return sum;
}

} // namespace kal::test
