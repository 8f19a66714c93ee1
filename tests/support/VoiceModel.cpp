#include "tests/support/VoiceModel.h"

namespace kal::test {

double VoiceModel::Frame(long long index, int channel) const
{
    const long long length = static_cast<long long>(param.loopEnd) - param.loopStart;
    if (param.isLooped) {
        while (reachedLoopStart && index < param.loopStart) index += length;
        while (index >= param.loopEnd) index -= length;
    }
    return buffer.Value(index, channel);
}

double VoiceModel::Sample(double x, int channel) const
{
    const auto s = [&](double whole, int k) { return Frame(static_cast<long long>(whole) + k, channel); };
    const double whole = interpolation == Interpolation::Linear ? std::trunc(x) : std::floor(x);
    const float t = static_cast<float>(x - whole);
    switch (interpolation) {
    case Interpolation::Nearest:
        return s(whole, 0);
    case Interpolation::Linear:
        return s(whole, 0) + t * (s(whole, 1) - s(whole, 0));
    default:
        break;
    }
    const double p0 = s(whole, -1), p1 = s(whole, 0), p2 = s(whole, 1), p3 = s(whole, 2);
    const double a = p3 - p2 - p0 + p1, b = p0 - p1 - a, c = p2 - p0;
    return p1 + t * (c + (b + a * t) * t);
}

double VoiceModel::Wrapped(double x) const
{
    const double start = param.loopStart, end = param.loopEnd, length = end - start;
    if (!param.isLooped || x < end) return x;
    if (x >= start + 16.0 * length) return x - length * std::floor((x - start) / length);
    while (x >= end) x -= length;
    return x;
}

VoiceModel::Span VoiceModel::Render(int count)
{
    const auto& p = param.sourcePosition;
    const double d = (double{p.x} * p.x + double{p.y} * p.y + double{p.z} * p.z) / param.referenceDistanceSq;
    const double a = d < 1.0 ? 1.0 : 1.0 / std::sqrt(d);
    const double directTarget = param.gain * a, sendTarget = param.reverbSendGain * std::sqrt(a);
    if (!hasGains) {
        directGain = directTarget;
        sendGain = sendTarget;
        hasGains = true;
    }

    Span span;
    double x = Wrapped(param.position);
    const double step = param.speed * rateRatio, end = buffer.GetNumSamples() + 8.0;
    for (int i = 0; i < count; ++i) {
        if (!param.isLooped && x >= end) {
            span.goesOn = false;
            break;
        }
        const double s = Sample(x, 0);
        double left = 0.0, right = 0.0, send = 0.0, low = 0.0;
        filterState += (s - filterState) * param.lowpassCoef;
        switch (kind) {
        case Kind::Spatialized:
            send = sendGain * s;
            low = directGain * filterState;
            directGain += (directTarget - directGain) * 0.1;
            sendGain += (sendTarget - sendGain) * 0.1;
            break;
        case Kind::Mono:
            send = param.reverbSendGain * s;
            left = right = filterState * param.gain;
            break;
        case Kind::Stereo: {
            const double r = Sample(x, 1);
            send = (s + r) * (0.5 * param.reverbSendGain);
            left = s * param.lowpassCoef * param.gain;
            right = r * param.lowpassCoef * param.gain;
        }
        }
        span.left.push_back(left);
        span.right.push_back(right);
        span.reverbSend.push_back(send);
        span.lowSend.push_back(low);
        x += step;
        reachedLoopStart = reachedLoopStart || (param.isLooped && x >= param.loopStart);
        x = Wrapped(x);
    }
    param.position = x;
    return span;
}

} // namespace kal::test
