#pragma once

#include "Kal/Base/KalInternals.h"
#include "Kal/Voice/KalChannelParam.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kal {

/// [render] The play position of a voice during one span of frames: steps by repeated addition, wraps around the loop,
/// knows the end.
template<bool looped>
class Playhead {
public:
    /// Several steps at once: x, x + step, ..., x + frames step, where every product and sum is exact and equal to
    /// repeated addition.
    struct Run {
        int frames = 0;
        double step = 0.0; ///< the voice's step as it is rounded at these positions
    };

    /// @param rateRatio frames of the buffer per frame of output at speed 1
    /// @param end frames; where a voice that is not looped ends
    Playhead(const ChannelParam& param, double rateRatio, double end, bool hasReachedLoopStart)
        : x(param.position),
          step(param.speed * rateRatio),
          endPosition(end),
          loopStart(param.loopStart),
          loopEnd(param.loopEnd),
          reachedLoopStart(hasReachedLoopStart)
    {
        if constexpr (looped) Wrap();
    }

    /// Frames of the buffer.
    double Position() const { return x; }

    /// Frames of the buffer per frame of output.
    double Step() const { return step; }

    /// True from the first time that the position was at or past the loop's start.
    bool HasReachedLoopStart() const { return reachedLoopStart; }

    /// Whether the voice has ended. A step that leads nowhere ends it too: nothing else would.
    bool IsAtEnd() const
    {
        if constexpr (looped) return false;
        return !(x < endPosition) || !(step > 0.0) || std::isinf(step);
    }

    void Advance()
    {
        x += step;
        if constexpr (looped) {
            reachedLoopStart = reachedLoopStart || x >= loopStart;
            Wrap();
        }
    }

    /// The run that a kernel may read: the longest one of at most `wanted` frames from here whose positions, the one
    /// after the last included, are not beyond `limit` and need no wrapping.
    ///
    /// Positions of one power of two to the next are multiples of one unit, and adding the step to any of them adds the
    /// step rounded to that unit. (A step half-way between two multiples rounds to even, and so evenly from the second
    /// addition on, which is why two additions have to agree.) A product of that rounded step is exact as long as the
    /// position is.
    Run KernelRun(int wanted, double limit) const
    {
        if (!(x >= std::numeric_limits<double>::min() && x < limit))
            return {}; // at 0 every step leads to another power
        if (looped && reachedLoopStart && x < loopStart) return {};
        const double second = x + step;
        const double rounded = second - x;
        if ((second + step) - second != rounded) return {};

        const double bound = std::min(limit, 2.0 * PowerOfTwoUpTo(x));
        // Both sides are whole numbers of units below 2^53, so that the quotient never rounds up to a whole number.
        const double fitting = (bound - x) / rounded;
        const int frames = fitting < wanted ? static_cast<int>(fitting) : wanted;
        return {frames, rounded};
    }

    /// Moves on by a part of a run.
    void Skip(int frames, double roundedStep)
    {
        x += frames * roundedStep;
        reachedLoopStart = reachedLoopStart || x >= loopStart;
    }

private:
    // Far beyond the loop one division replaces many subtractions. Before the loop nothing moves.
    void Wrap()
    {
        if (!(x >= loopEnd)) return;
        const double length = loopEnd - loopStart;
        if (x >= loopStart + 16.0 * length)
            x -= length * std::floor((x - loopStart) / length);
        else
            while (x >= loopEnd) x -= length;
    }

    double x;
    double step;
    double endPosition;
    double loopStart;
    double loopEnd;
    bool reachedLoopStart;
};

} // namespace kal
