#pragma once

#include "Kal/Base/KalTypes.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kal::web {

/// Float samples that voices play, filled piece by piece before the first of them begins. They are not cleared first:
/// that would keep the audio thread busy for as long as to copy them.
class Samples final : public Buffer {
public:
    /// @param channels 1 or 2, interleaved  @param frames 0 or more  @param rate Hz, > 0
    Samples(int channels, std::int32_t frames, double rate)
        : data(new float[static_cast<std::size_t>(channels) * static_cast<std::size_t>(frames)]),
          numChannels(channels),
          numFrames(frames),
          samplingRate(rate)
    {
    }

    float* Data() { return data.get(); }

    const void* GetData() const override { return numFrames > 0 ? data.get() : nullptr; }
    AudioFormat GetFormat() const override { return AudioFormat::Float32; }
    std::int32_t GetNumChannels() const override { return numChannels; }
    double GetSamplingRate() const override { return samplingRate; }
    std::int32_t GetNumSamples() const override { return numFrames; }

private:
    std::unique_ptr<float[]> data;
    int numChannels;
    std::int32_t numFrames;
    double samplingRate;
};

} // namespace kal::web
