#include "libkalmarble/Buffer.h"

#include "Kal/Base/KalException.h"

#include <limits>

namespace kalmarble {

namespace {

// Host records are 32-bit, so a size is computed wider and has to fit back.
std::int64_t ByteCount(const BufferParam& param, kal::AudioFormat format)
{
    const std::int64_t bytesPerSample = format == kal::AudioFormat::Unsigned8  ? 1
                                        : format == kal::AudioFormat::Signed16 ? 2
                                                                               : 4;
    const std::int64_t samples = std::int64_t{param.numChannels} * param.numSamples;
    if (samples == 0) return 0;
    if (param.numChannels < 0 || param.numSamples < 0) throw kal::Exception("Buffer size is negative.");
    if (samples > std::numeric_limits<std::int32_t>::max() / bytesPerSample)
        throw kal::Exception("Buffer is too large.");
    return samples * bytesPerSample;
}

} // namespace

KalBuffer::KalBuffer(const BufferParam& bufferParam) : param(bufferParam)
{
    const std::int64_t count = ByteCount(param, GetFormat());
    if (count == 0) return;
    if (!param.data) throw kal::Exception("Buffer data is null.");
    const auto* bytes = static_cast<const unsigned char*>(param.data);
    data.assign(bytes, bytes + count);
}

kal::AudioFormat KalBuffer::GetFormat() const
{
    switch (param.sampleBits) {
    case 8:
        return kal::AudioFormat::Unsigned8;
    case 16:
        return kal::AudioFormat::Signed16;
    case 32:
        return kal::AudioFormat::Float32;
    default:
        throw kal::Exception("Invalid sample bits.");
    }
}

} // namespace kalmarble
