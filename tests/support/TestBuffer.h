#pragma once

#include "Kal/Base/KalTypes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace kal::test {

/// A buffer made from numbers between -1 and 1, in any format; its memory ends with its last frame.
class TestBuffer final : public Buffer {
public:
    /// @param interleaved frames of `numChannels` numbers
    TestBuffer(AudioFormat sampleFormat, int numChannels, double rate, const std::vector<double>& interleaved)
        : format(sampleFormat),
          channels(numChannels),
          samplingRate(rate),
          bytes(interleaved.size() * Width()),
          memory(std::make_unique<unsigned char[]>(bytes))
    {
        for (std::size_t i = 0; i < interleaved.size(); ++i) values.push_back(Put(i, interleaved[i]));
    }

    const void* GetData() const override { return bytes ? memory.get() : nullptr; }
    AudioFormat GetFormat() const override { return format; }
    std::int32_t GetNumChannels() const override { return channels; }
    double GetSamplingRate() const override { return samplingRate; }
    std::int32_t GetNumSamples() const override { return static_cast<std::int32_t>(values.size()) / channels; }

    /// What a read of the stored element is to give; silence outside the data.
    double Value(long long frame, int channel) const
    {
        return frame < 0 || frame >= GetNumSamples() ? 0.0
                                                     : values[static_cast<std::size_t>(frame * channels + channel)];
    }

private:
    std::size_t Width() const { return format == AudioFormat::Unsigned8 ? 1 : format == AudioFormat::Signed16 ? 2 : 4; }

    double Put(std::size_t i, double x)
    {
        const auto store = [&](auto element) {
            std::memcpy(memory.get() + i * sizeof element, &element, sizeof element);
        };
        if (format == AudioFormat::Unsigned8) {
            const double e = std::clamp(std::round(x * 128.0) + 128.0, 0.0, 255.0);
            store(static_cast<std::uint8_t>(e));
            return (e - 128.0) / 128.0;
        }
        if (format == AudioFormat::Signed16) {
            const double e = std::clamp(std::round(x * 32768.0), -32768.0, 32767.0);
            store(static_cast<std::int16_t>(e));
            return e / 32768.0;
        }
        store(static_cast<float>(x));
        return static_cast<float>(x);
    }

    AudioFormat format;
    int channels;
    double samplingRate;
    std::size_t bytes;
    std::unique_ptr<unsigned char[]> memory;
    std::vector<double> values;
};

} // namespace kal::test
