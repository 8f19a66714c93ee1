#pragma once

#include "tools/scene/Renderer.h"
#include "tools/support/PendingFile.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kalrender {

/// Draws a rendering by gnuplot: waveform and level of both ears, spectrogram, azimuth and elevation of every sound,
/// polyphony.
class Plot {
public:
    /// @param path .png or .svg  @throws kal::tools::Failure if it cannot be written
    Plot(const std::string& path, const kalscene::Scene& scene);
    ~Plot();

    Plot(const Plot&) = delete;
    Plot& operator=(const Plot&) = delete;

    /// Takes the next frames, and where the sounds are at their end.
    void Add(const float* frames, int numFrames, const kalscene::Renderer& renderer);

    /// @throws std::runtime_error if gnuplot cannot draw it
    void Draw();
    void Commit() { file.Commit(); }

private:
    struct Moment {
        double time; ///< s
        std::vector<kalscene::Heard> voices;
    };

    double Seconds(std::size_t frames) const { return static_cast<double>(frames) / scene.samplingRate; }
    void WriteLevels() const;
    void WriteSpectrogram() const;
    void WriteVoices() const;

    kal::tools::PendingFile file;
    std::string terminal;
    const kalscene::Scene& scene;
    std::filesystem::path folder; ///< of what gnuplot reads
    std::vector<float> samples;
    std::vector<Moment> moments;
};

} // namespace kalrender
