#pragma once

#include "Kal/Base/KalTypes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kalscene {

/// Float samples that voices play.
class SampleBuffer final : public kal::Buffer {
public:
    /// @param interleaved frames of numChannels (1 or 2) samples, fewer than 2^31 frames
    SampleBuffer(std::vector<float> interleaved, int numChannels, double rate)
        : samples(std::move(interleaved)), channels(numChannels), samplingRate(rate)
    {
    }

    const void* GetData() const override { return samples.empty() ? nullptr : samples.data(); }
    kal::AudioFormat GetFormat() const override { return kal::AudioFormat::Float32; }
    std::int32_t GetNumChannels() const override { return channels; }
    double GetSamplingRate() const override { return samplingRate; }
    std::int32_t GetNumSamples() const override { return static_cast<std::int32_t>(samples.size()) / channels; }

private:
    std::vector<float> samples;
    std::int32_t channels;
    double samplingRate;
};

/// Reads a sound file. Throws std::exception with a text that says what is wrong, without the file's name.
using SoundLoader = std::function<std::shared_ptr<const kal::Buffer>(const std::string& path)>;

/// Reads a WAV file of 8, 16 or 32-bit (float) samples, for where there is no library that reads sound files. Throws as
/// a loader does.
std::shared_ptr<const kal::Buffer> ReadWav(std::string_view bytes);

/// A loader for those.
std::shared_ptr<const kal::Buffer> LoadWav(const std::string& path);

} // namespace kalscene
