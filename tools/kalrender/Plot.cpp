#include "Plot.h"

#include "Kal/QFFT/FFTSetup.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <sys/wait.h>

namespace kalrender {

const char* PlotScript();

namespace {

constexpr std::size_t kColumns = 1200; // of the picture, about
constexpr unsigned kWindow = 2048;     // frames of a spectrum
constexpr double kLowest = 40.0;       // Hz

double Decibels(double power)
{
    return 10.0 * std::log10(std::max(power, 1e-12));
}

// Power of both ears at the bins of one Hann window.
class Spectrum {
public:
    Spectrum() : setup(qfft::CreateFFTSetup(Param())), window(kWindow), real(kWindow), imag(kWindow), power(kWindow / 2)
    {
        for (unsigned i = 0; i < kWindow; ++i)
            window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / kWindow));
    }

    // One complex transform serves both: the powers of left + i right at k and -k sum to twice those of the ears.
    const std::vector<double>& Of(const float* frames)
    {
        for (unsigned i = 0; i < kWindow; ++i) {
            real[i] = window[i] * frames[2 * i];
            imag[i] = window[i] * frames[2 * i + 1];
        }
        setup->Transform({real.data(), imag.data(), real.data(), imag.data()});
        const double scale = 2.0 / (double{kWindow} * kWindow);
        for (unsigned k = 1; k < kWindow / 2; ++k)
            power[k] = scale * (std::norm(std::complex<double>(real[k], imag[k])) +
                                std::norm(std::complex<double>(real[kWindow - k], imag[kWindow - k])));
        return power;
    }

private:
    static qfft::FFTParam Param()
    {
        qfft::FFTParam param;
        param.size = {kWindow};
        return param;
    }

    std::unique_ptr<qfft::FFTSetup> setup;
    std::vector<float> window, real, imag;
    std::vector<double> power;
};

} // namespace

Plot::Plot(const std::string& path, const kalscene::Scene& plotted)
    : file(path), terminal(path.ends_with(".svg") ? "svg" : "pngcairo"), scene(plotted)
{
    std::string name = (std::filesystem::temp_directory_path() / "kalrender.XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no folder can be made in " + name);
    folder = name;
}

Plot::~Plot()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void Plot::Add(const float* frames, int numFrames, const kalscene::Renderer& renderer)
{
    samples.insert(samples.end(), frames, frames + 2 * static_cast<std::size_t>(numFrames));
    moments.push_back({Seconds(samples.size() / 2), renderer.Voices()});
}

void Plot::WriteLevels() const
{
    std::ofstream out(folder / "levels");
    const std::size_t numFrames = samples.size() / 2, step = std::max<std::size_t>(1, numFrames / kColumns);
    for (std::size_t start = 0; start + step <= numFrames; start += step) {
        out << Seconds(start);
        for (std::size_t ear = 0; ear < 2; ++ear) {
            float least = 0.0f, most = 0.0f;
            double energy = 0.0;
            for (std::size_t i = start; i < start + step; ++i) {
                const float x = samples[2 * i + ear];
                least = std::min(least, x);
                most = std::max(most, x);
                energy += double{x} * x;
            }
            out << ' ' << least << ' ' << most << ' ' << Decibels(energy / static_cast<double>(step));
        }
        out << '\n';
    }
}

// A row is a twelfth of an octave or more, and the loudest bin in it.
void Plot::WriteSpectrogram() const
{
    std::ofstream out(folder / "spectrogram");
    Spectrum spectrum;
    std::vector<float> padded = samples;
    padded.resize(samples.size() + std::size_t{2} * kWindow);
    const std::size_t hop = std::max<std::size_t>(kWindow / 4, samples.size() / 2 / kColumns);
    const double binWidth = scene.samplingRate / kWindow;
    const int numRows = static_cast<int>(12.0 * std::log2(std::min(20000.0, scene.samplingRate / 2.1) / kLowest));
    for (std::size_t start = 0; start < samples.size() / 2; start += hop) {
        const std::vector<double>& power = spectrum.Of(padded.data() + 2 * start);
        for (int row = 0; row < numRows; ++row) {
            const auto binAt = [&](double r) { return std::lround(kLowest * std::exp2(r / 12.0) / binWidth); };
            const long first = std::max(1L, binAt(row - 0.5)), last = std::max(first, binAt(row + 0.5) - 1);
            const double loudest = *std::max_element(power.begin() + first, power.begin() + last + 1);
            out << Seconds(start) << ' ' << row / 12.0 << ' ' << Decibels(loudest) << '\n';
        }
        out << '\n';
    }
}

void Plot::WriteVoices() const
{
    std::ofstream directions(folder / "directions"), polyphony(folder / "polyphony");
    constexpr double kDegrees = 180.0 / std::numbers::pi;
    const std::size_t step = std::max<std::size_t>(1, moments.size() / kColumns);
    for (std::size_t i = 0; i < moments.size(); i += step) {
        polyphony << moments[i].time << ' ' << moments[i].voices.size() << '\n';
        for (const auto& [sound, place] : moments[i].voices) {
            if (sound->place == kalscene::Place::None) continue;
            directions << moments[i].time << ' ' << std::atan2(place.x, place.z) * kDegrees << ' '
                       << std::atan2(place.y, std::hypot(place.x, place.z)) * kDegrees << ' '
                       << sound - scene.sounds.data() << '\n';
        }
    }
    directions << "NaN NaN NaN NaN\n"; // there may be none
}

void Plot::Draw()
{
    WriteLevels();
    WriteSpectrogram();
    WriteVoices();
    std::ofstream names(folder / "script");
    names << "folder = \"" << folder.string() << "\"\nset terminal " << terminal << " size 1200, 1500\n"
          << "duration = " << Seconds(samples.size() / 2) << "\nlowest = " << kLowest
          << "\nnumSounds = " << scene.sounds.size() << '\n'
          << PlotScript();
    names.close();
    const std::string command = "gnuplot '" + (folder / "script").string() + "' 2>'" + (folder / "log").string() + "'";
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the command has no words but ours
    if (const int status = std::system(command.c_str()); status != 0) {
        std::ifstream log(folder / "log");
        std::string text;
        std::getline(log, text);
        throw std::runtime_error("gnuplot cannot draw the plot: " + text);
    }
    std::filesystem::copy_file(folder / "picture", file.Path(), std::filesystem::copy_options::overwrite_existing);
}

} // namespace kalrender
