#pragma once

#include "Kal/Room/KalDelayLines.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kal {

/// An AllpassFilter1 of a few frames, which waits for its own last results: they are kept where nothing else has to be
/// looked up. One thread at a time.
template<unsigned length>
class ShortAllpass {
public:
    /// [control] @param coefficient g, below 1 in magnitude
    explicit ShortAllpass(float coefficient) : coef(coefficient) {}

    /// [render] Filters the sample of a time that goes up by 1 with each, from any number on.
    float ProcessSample(float in, unsigned time)
    {
        const unsigned late = (time - length) % kRing, now = time % kRing;
        const double x = in, y = (x - pastY[late]) * coef + pastX[late];
        pastX[now] = x;
        pastY[now] = y;
        return static_cast<float>(y);
    }

    /// [render] The largest magnitude among the inputs and outputs that it holds.
    double Level() const
    {
        double level = 0.0;
        for (unsigned i = 0; i < kRing; ++i) level = std::max({level, std::fabs(pastX[i]), std::fabs(pastY[i])});
        return level;
    }

    /// [render] Forgets past input.
    void Mute() { *this = ShortAllpass(static_cast<float>(coef)); }

private:
    static constexpr unsigned kRing = std::bit_ceil(length);

    double coef;
    double pastX[kRing] = {}, pastY[kRing] = {};
};

/// The eight all-pass diffusers between the send and the longer reverbs, one after the other. One thread at a time.
class Diffusers {
public:
    /// [render] Filters a block in place; blocks of any division give the same output.
    void Process(unsigned numFrames, float* block);

    /// [render] For processors that cannot flush denormals: mutes those that hold nothing but what has decayed
    /// (kDecayed).
    void MuteDecayed();

private:
    ShortAllpass<7> seven{0.3f};
    AllpassFilter1 longer[3] = {{37, 0.2f}, {97, 0.1f}, {157, 0.1f}};
    ShortAllpass<1> one{0.6f};
    ShortAllpass<3> three{0.6f};
    ShortAllpass<5> five{0.6f};
    AllpassFilter1 last{55, 0.6f};
    unsigned time = 0; ///< frames so far, and around
};

} // namespace kal
