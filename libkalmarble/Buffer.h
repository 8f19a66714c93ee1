#pragma once

#include "Kal/Base/KalTypes.h"
#include "include/KALMarble.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kalmarble {

using BufferParam = KalBufferParam;

/// A private copy of a host's samples. Immutable once made, so voices on any thread read it without locks.
class KalBuffer final : public kal::Buffer {
public:
    /// [control] Copies the samples. Throws "Invalid sample bits." unless 8, 16 or 32, and for sizes that cannot be:
    /// "Buffer size is negative.", "Buffer is too large.", "Buffer data is null."
    explicit KalBuffer(const BufferParam& param);

    const void* GetData() const override { return data.empty() ? nullptr : data.data(); }
    kal::AudioFormat GetFormat() const override;
    std::int32_t GetNumChannels() const override { return param.numChannels; }
    double GetSamplingRate() const override { return param.samplingRate; }
    std::int32_t GetNumSamples() const override { return param.numSamples; }

private:
    BufferParam param; ///< its data pointer stays the host's and is not used again
    std::vector<unsigned char> data;
};

/// The host's handle on a buffer. Voices share what is behind it, so it may be freed while they play.
class Buffer {
public:
    /// [control] Throws what KalBuffer throws.
    explicit Buffer(const BufferParam& param) : buffer(std::make_shared<KalBuffer>(param)) {}

    /// [control] What voices hold.
    std::shared_ptr<const kal::Buffer> Samples() const { return buffer; }

private:
    std::shared_ptr<KalBuffer> buffer;
};

} // namespace kalmarble
