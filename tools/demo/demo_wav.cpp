// The demo's dealings with WAV files, on Linux only; the host itself writes raw samples.
//
//     demo_wav export RUN         RUN.f32 to RUN.wav, and RUN.levels: seconds, left and right level in dB
//     demo_wav compare RUN RUN    how far the second run is from the first, dB relative to the sound

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sndfile.hh>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;
namespace fs = std::filesystem;

constexpr int kSamplingRate = 48000; // of what demo_host and scene_raw write

double Decibels(double ratio)
{
    return 10.0 * std::log10(std::max(ratio, 1e-12));
}

std::vector<float> ReadRaw(const std::string& run)
{
    std::vector<float> samples(fs::file_size(run + ".f32") / sizeof(float));
    std::ifstream(run + ".f32", std::ios::binary)
        .read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(samples.size() * sizeof(float)));
    return samples;
}

void Export(const std::string& run)
{
    const std::vector<float> mix = ReadRaw(run);
    SndfileHandle wav(run + ".wav", SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, kSamplingRate);
    if (wav.write(mix.data(), static_cast<sf_count_t>(mix.size())) != static_cast<sf_count_t>(mix.size()))
        throw std::runtime_error(run + ".wav: " + wav.strError());

    constexpr std::size_t kWindow = 960; // frames: 20 ms
    std::ofstream levels(run + ".levels");
    for (std::size_t start = 0; start + kWindow <= mix.size() / 2; start += kWindow) {
        double energy[2] = {0.0, 0.0};
        for (std::size_t i = 2 * start; i < 2 * (start + kWindow); ++i) energy[i % 2] += double{mix[i]} * mix[i];
        levels << double(start) / kSamplingRate << ' ' << Decibels(energy[0] / kWindow) << ' '
               << Decibels(energy[1] / kWindow) << '\n';
    }
    if (!levels) throw std::runtime_error("cannot write " + run + ".levels");
}

void Compare(const std::string& runA, const std::string& runB)
{
    const std::vector<float> a = ReadRaw(runA), b = ReadRaw(runB);
    if (a.size() != b.size()) throw std::runtime_error(runA + " and " + runB + " differ in length");
    double signal = 0.0, difference = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        signal += double{a[i]} * a[i];
        difference += (double{b[i]} - a[i]) * (double{b[i]} - a[i]);
    }
    std::printf("%.1f\n", Decibels(difference / signal));
}

} // namespace

int main(int argc, char** argv)
try {
    const Arguments arguments(argv + 1, argv + argc);
    const std::string command = arguments.empty() ? "" : arguments[0];
    if (command == "export" && arguments.size() == 2)
        Export(arguments[1]);
    else if (command == "compare" && arguments.size() == 3)
        Compare(arguments[1], arguments[2]);
    else
        throw std::runtime_error("usage: demo_wav export RUN | compare RUN RUN");
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "demo_wav: %s\n", error.what());
    return 1;
}
