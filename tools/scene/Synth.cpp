#include "Synth.h"

#include "SampleBuffer.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace kalscene {

namespace {

constexpr double kRate = 48000.0;

// The numbers of this engine are fixed by the language's standard; those of its distributions are not.
class NoiseSource {
public:
    explicit NoiseSource(std::uint32_t seed) : random(seed) {}
    double Next() { return static_cast<double>(random()) / 2147483648.0 - 1.0; }

private:
    std::mt19937 random;
};

std::vector<double> Noise(std::size_t n, std::uint32_t seed)
{
    NoiseSource source(seed);
    std::vector<double> samples(n);
    for (double& x : samples) x = source.Next();
    return samples;
}

std::vector<double> Tone(std::size_t n, const Synth& synth)
{
    std::vector<double> samples(n);
    double sum = 0.0;
    for (int k = 1; k <= synth.harmonics && k * synth.frequency < kRate / 2; ++k) {
        sum += 1.0 / k;
        for (std::size_t i = 0; i < n; ++i)
            samples[i] +=
                std::sin(2.0 * std::numbers::pi * std::fmod(k * synth.frequency / kRate * double(i), 1.0)) / k;
    }
    for (double& x : samples) x /= std::max(1.0, sum);
    return samples;
}

// The phase is the integral of f (t/f)^(i/n).
std::vector<double> Sweep(std::size_t n, const Synth& synth)
{
    std::vector<double> samples(n);
    const double octaves = std::log(synth.to / synth.frequency);
    for (std::size_t i = 0; i < n; ++i) {
        const double t = double(i) / double(n);
        const double cycles = std::abs(octaves) < 1e-9 ? t : std::expm1(octaves * t) / octaves;
        samples[i] = std::sin(2.0 * std::numbers::pi * std::fmod(synth.frequency * double(n) / kRate * cycles, 1.0));
    }
    return samples;
}

// A ring of noise that each pass dulls (K. Karplus, A. Strong, Computer Music Journal 7 (1983)).
std::vector<double> Pluck(std::size_t n, const Synth& synth)
{
    std::vector<double> ring = Noise(std::max<std::size_t>(2, std::size_t(kRate / synth.frequency)), synth.seed);
    std::vector<double> samples(n);
    for (std::size_t i = 0; i < n; ++i) {
        double& x = ring[i % ring.size()];
        samples[i] = x;
        x = 0.498 * (x + ring[(i + 1) % ring.size()]);
    }
    return samples;
}

std::vector<double> Step(std::size_t n, const Synth& synth)
{
    std::vector<double> samples = Noise(n, synth.seed);
    double dull = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double t = double(i) / kRate;
        const double heel = std::exp(-t / 0.012), sole = t < 0.09 ? 0.0 : 0.6 * std::exp((0.09 - t) / 0.03);
        dull += 0.3 * (samples[i] - dull);
        samples[i] = dull * (heel + sole);
    }
    return samples;
}

void Shape(std::vector<double>& samples, const Synth& synth)
{
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = double(i) / kRate;
        if (t < synth.attack) samples[i] *= t / synth.attack;
        if (synth.decay > 0.0) samples[i] *= std::pow(10.0, -3.0 * std::max(0.0, t - synth.attack) / synth.decay);
    }
}

} // namespace

std::shared_ptr<const kal::Buffer> Synthesize(const Synth& synth)
{
    const auto n = static_cast<std::size_t>(std::max(1.0, std::round(synth.duration * kRate)));
    std::vector<double> samples = synth.kind == "noise"   ? Noise(n, synth.seed)
                                  : synth.kind == "tone"  ? Tone(n, synth)
                                  : synth.kind == "sweep" ? Sweep(n, synth)
                                  : synth.kind == "pluck" ? Pluck(n, synth)
                                  : synth.kind == "step"  ? Step(n, synth)
                                                          : std::vector<double>(n);
    if (synth.kind == "click") samples[0] = 1.0;
    Shape(samples, synth);
    return std::make_shared<SampleBuffer>(std::vector<float>(samples.begin(), samples.end()), 1, kRate);
}

} // namespace kalscene
