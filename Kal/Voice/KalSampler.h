#pragma once

#include "Kal/Base/KalConstants.h"
#include "Kal/Base/KalTypes.h"
#include "Kal/Kernels/KalKernelTable.h"
#include "Kal/QFFT/Assert.h"
#include "Kal/Voice/KalChannelParam.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace kal {

/// Element type and conversion of each sample encoding; values are nominally -1 ... 1.
template<AudioFormat format>
struct FormatTraits;

template<>
struct FormatTraits<AudioFormat::Unsigned8> {
    using Element = std::uint8_t;
    /// [render]
    static double Convert(Element e) { return (e - 128.0) * kScale8; }
};

template<>
struct FormatTraits<AudioFormat::Signed16> {
    using Element = std::int16_t;
    /// [render]
    static double Convert(Element e) { return e * double{kScale16}; }
};

template<>
struct FormatTraits<AudioFormat::Float32> {
    using Element = float;
    /// [render]
    static double Convert(Element e) { return e; }
};

/// [render] Reads whole frames of a voice's sample data: silence outside the data, wrapped around the loop in looped
/// types. The interpolating samplers derive from it; renderers hold one by value and are specialised over it.
///
/// This is the general way, frame by frame. Where nothing wraps or ends, mono voices go through the other half of
/// resampling, the kernel of Kal/Kernels/KalVoiceKernel.h.
template<int channels, AudioFormat format, bool looped>
class BaseSampler {
public:
    static constexpr int kChannels = channels;
    static constexpr AudioFormat kFormat = format;
    static constexpr bool kLooped = looped;
    static constexpr bool kHasKernel = false; ///< whether a resampling kernel computes the same

    /// @param samples first element  @param numFrames frames  @param live the voice's record; both outlive the sampler
    BaseSampler(const void* samples, std::int32_t numFrames, const ChannelParam& live)
        : data(static_cast<const Element*>(samples)), length(numFrames), param(live)
    {
        if constexpr (looped)
            ParamUpdated();
        else
            KAL_ASSERT("Kal/KalChannelRenderer", !param.isLooped);
    }

    /// [render] Takes over the loop bounds of the voice's record.
    void ParamUpdated() requires looped
    {
        KAL_ASSERT("Kal/KalChannelRenderer", param.isLooped);
        loopStart = param.loopStart;
        loopEnd = param.loopEnd;
    }

    const void* Data() const { return data; }

    /// The position up to which a kernel may read: it looks a little past the last position, and the frame
    /// behind the loop's last one is its first.
    double KernelEnd() const
    {
        const double end = static_cast<double>(length) - kernels::kResampleMargin;
        return looped ? std::min(end, loopEnd - 2.0) : end;
    }

protected:
    /// One channel of one whole frame. A voice that has reached its loop reads the end of the loop before its start, so
    /// that interpolation is seamless; one that has not reads the true samples there.
    double GetSample(std::int64_t index, int channel, bool reachedLoopStart) const
    {
        if constexpr (looped) index = Wrapped(index, reachedLoopStart);
        if (index < 0 || index >= length) return 0.0;
        if constexpr (channels == 1) return FormatTraits<format>::Convert(data[index]);
        KAL_ASSERT("Kal/KalChannelRenderer", channel >= 0);
        return FormatTraits<format>::Convert(data[index * channels + channel]);
    }

    /// True for positions whose frame fits 32 bits; all others read silence.
    static bool IsReadable(double x) { return x > -2147483648.0 && x < 2147483648.0; }

private:
    using Element = typename FormatTraits<format>::Element;

    std::int64_t Wrapped(std::int64_t index, bool reachedLoopStart) const
    {
        const std::int64_t loopLength = std::int64_t{loopEnd} - loopStart;
        if (reachedLoopStart && index < loopStart) index += ((loopStart - index - 1) / loopLength + 1) * loopLength;
        if (index >= loopEnd) index -= ((index - loopEnd) / loopLength + 1) * loopLength;
        return index;
    }

    const Element* data;
    std::int32_t length; ///< frames
    const ChannelParam& param;
    std::int32_t loopStart = 0; ///< looped types only
    std::int32_t loopEnd = 0;   ///< looped types only; loopStart < loopEnd
};

/// [render] The frame at or before the position.
template<int channels, AudioFormat format, bool looped>
class NearestSampler : public BaseSampler<channels, format, looped> {
public:
    using BaseSampler<channels, format, looped>::BaseSampler;

    double GetSample(double x, int channel, bool reachedLoopStart) const
    {
        if (!this->IsReadable(x)) return 0.0;
        return this->Base::GetSample(static_cast<std::int64_t>(std::floor(x)), channel, reachedLoopStart);
    }

private:
    using Base = BaseSampler<channels, format, looped>;
};

/// [render] A straight line between two frames. The whole part is cut toward zero: below zero the line runs on from the
/// two frames next to it.
template<int channels, AudioFormat format, bool looped>
class LinearSampler : public BaseSampler<channels, format, looped> {
public:
    static constexpr bool kHasKernel = channels == 1;

    using BaseSampler<channels, format, looped>::BaseSampler;

    double GetSample(double x, int channel, bool reachedLoopStart) const
    {
        if (!this->IsReadable(x)) return 0.0;
        const auto i = static_cast<std::int32_t>(x);
        const float t = static_cast<float>(x - i);
        const double s0 = this->Base::GetSample(i, channel, reachedLoopStart);
        const double s1 = this->Base::GetSample(std::int64_t{i} + 1, channel, reachedLoopStart);
        return s0 + t * (s1 - s0);
    }

private:
    using Base = BaseSampler<channels, format, looped>;
};

/// [render] A cubic through the two inner frames with slopes from the outer ones.
template<int channels, AudioFormat format, bool looped>
class CubicSampler : public BaseSampler<channels, format, looped> {
public:
    using BaseSampler<channels, format, looped>::BaseSampler;

    double GetSample(double x, int channel, bool reachedLoopStart) const
    {
        if (!this->IsReadable(x)) return 0.0;
        const double whole = std::floor(x);
        const auto i = static_cast<std::int64_t>(whole);
        const float t = static_cast<float>(x - whole);
        const double p0 = this->Base::GetSample(i - 1, channel, reachedLoopStart);
        const double p1 = this->Base::GetSample(i, channel, reachedLoopStart);
        const double p2 = this->Base::GetSample(i + 1, channel, reachedLoopStart);
        const double p3 = this->Base::GetSample(i + 2, channel, reachedLoopStart);
        const double a = p3 - p2 - p0 + p1;
        const double b = p0 - p1 - a;
        const double c = p2 - p0;
        return p1 + t * (c + (b + a * t) * t);
    }

private:
    using Base = BaseSampler<channels, format, looped>;
};

} // namespace kal
