#include "tools/kalhrtf/Signal.h"

#include "tools/support/Cli.h"

#include <fftw3.h>
#include <soxr.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <numeric>

namespace kal::hrtf {
namespace {

using Spectrum = std::vector<std::complex<double>>;

// Bins 0 ... size / 2 of a signal that is filled up with zeros.
Spectrum Transformed(Signal signal, int size)
{
    signal.resize(size);
    Spectrum spectrum(size / 2 + 1);
    auto* out = reinterpret_cast<fftw_complex*>(spectrum.data());
    fftw_plan plan = fftw_plan_dft_r2c_1d(size, signal.data(), out, FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    return spectrum;
}

Signal Inverse(Spectrum spectrum)
{
    Signal signal(2 * (spectrum.size() - 1));
    auto* in = reinterpret_cast<fftw_complex*>(spectrum.data());
    fftw_plan plan = fftw_plan_dft_c2r_1d(static_cast<int>(signal.size()), in, signal.data(), FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    for (double& x : signal) x /= static_cast<double>(signal.size());
    return signal;
}

// A transform's length that leaves room for `count` samples and what a shift pushes beyond their ends.
int RoomFor(std::size_t count)
{
    return static_cast<int>(std::bit_ceil(2 * count + 64));
}

// The course between the samples, by a sinc under a Hann window of 33 samples.
double Between(const Signal& signal, double at)
{
    constexpr int kReach = 16;
    const int nearest = static_cast<int>(std::lround(at));
    double sum = 0.0;
    for (int i = std::max(nearest - kReach, 0); i <= nearest + kReach && i < static_cast<int>(signal.size()); ++i) {
        const double x = at - i, angle = std::numbers::pi * x;
        if (std::fabs(x) > kReach) continue;
        const double sinc = x == 0.0 ? 1.0 : std::sin(angle) / angle;
        sum += signal[i] * sinc * (0.5 + 0.5 * std::cos(angle / (kReach + 1)));
    }
    return sum;
}

} // namespace

double Energy(const Signal& signal)
{
    return std::inner_product(signal.begin(), signal.end(), signal.begin(), 0.0);
}

double Decibels(double ratio)
{
    return 10.0 * std::log10(ratio);
}

double Onset(const Signal& signal)
{
    constexpr double kThreshold = 0.1, kStep = 1.0 / 64.0;
    double peak = 0.0;
    for (const double x : signal) peak = std::max(peak, std::fabs(x));
    const double level = kThreshold * peak;
    const auto first = std::find_if(signal.begin(), signal.end(), [&](double x) { return std::fabs(x) > level; });
    const auto sample = static_cast<double>(first - signal.begin());
    double at = sample - 1.0;
    while (at < sample && std::fabs(Between(signal, at)) <= level) at += kStep;
    return at;
}

Signal Shifted(const Signal& signal, double samples)
{
    const auto count = static_cast<int>(signal.size());
    if (samples == std::round(samples)) {
        Signal shifted(count);
        const auto by = static_cast<int>(std::clamp<double>(samples, -count, count));
        for (int i = std::max(by, 0); i < std::min(count, count + by); ++i) shifted[i] = signal[i - by];
        return shifted;
    }
    const int size = RoomFor(signal.size() + static_cast<std::size_t>(std::fabs(samples)));
    Spectrum spectrum = Transformed(signal, size);
    for (int k = 0; k < size / 2; ++k) spectrum[k] *= std::polar(1.0, -2.0 * std::numbers::pi * k * samples / size);
    spectrum.back() *= std::cos(std::numbers::pi * samples);
    Signal shifted = Inverse(std::move(spectrum));
    shifted.resize(count);
    return shifted;
}

Signal Resampled(const Signal& signal, double from, double to)
{
    if (from == to) return signal;
    const double ratio = to / from;
    const auto silence = static_cast<std::size_t>(std::ceil(kRinging * std::max(1.0, from / to)));
    Signal padded(silence);
    padded.insert(padded.end(), signal.begin(), signal.end());
    padded.resize(padded.size() + silence);
    Signal out(static_cast<std::size_t>(std::ceil(static_cast<double>(padded.size()) * ratio)) + 1);
    const soxr_io_spec_t types = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, SOXR_LINEAR_PHASE);
    std::size_t used = 0, made = 0;
    if (soxr_error_t error = soxr_oneshot(from, to, 1, padded.data(), padded.size(), &used, out.data(), out.size(),
                                          &made, &types, &quality, nullptr))
        throw tools::Failure(std::string("The responses cannot be resampled: ") + error + ".");
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(made), out.end(), 0.0);
    for (double& x : out) x /= ratio; // samples are closer together: each counts for less
    return out;
}

Signal PowerSpectrum(const Signal& signal, int size)
{
    Signal power;
    for (const auto& bin : Transformed(signal, size)) power.push_back(std::norm(bin));
    return power;
}

Signal MinimumPhase(const Signal& powerSpectrum)
{
    Spectrum logarithm;
    for (const double power : powerSpectrum) logarithm.emplace_back(0.5 * std::log(power));
    Signal cepstrum = Inverse(std::move(logarithm));
    const std::size_t half = cepstrum.size() / 2;
    for (std::size_t i = 1; i < half; ++i) cepstrum[i] *= 2.0;
    std::fill(cepstrum.begin() + static_cast<std::ptrdiff_t>(half) + 1, cepstrum.end(), 0.0);
    const auto size = static_cast<int>(cepstrum.size());
    Spectrum spectrum = Transformed(std::move(cepstrum), size);
    for (auto& bin : spectrum) bin = std::exp(bin);
    return Inverse(std::move(spectrum));
}

Signal Filtered(const Signal& signal, const Signal& filter, std::size_t length)
{
    const int size = RoomFor(std::max({signal.size(), filter.size(), length}));
    Spectrum product = Transformed(signal, size);
    const Spectrum other = Transformed(filter, size);
    for (std::size_t k = 0; k < product.size(); ++k) product[k] *= other[k];
    Signal out = Inverse(std::move(product));
    out.resize(length);
    return out;
}

} // namespace kal::hrtf
