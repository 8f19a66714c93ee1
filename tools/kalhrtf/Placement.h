#pragma once

#include "tools/kalhrtf/Head.h"

#include <vector>

namespace kal::hrtf {

/// Part of a mixture of responses.
struct Ingredient {
    const Signal* signal;
    double onset;
    double weight; ///< all of a mixture add up to 1
};

/// The responses mixed as if they began together, at the mean of their onsets: so a mixture of neighbours has one
/// arrival and not several. Its energy is the mean of theirs.
Signal Mixed(const std::vector<Ingredient>& ingredients);

/// Tells what a head that was measured in some directions does in any other.
class Placement {
public:
    struct Placed {
        Pair responses;
        double toNearest = 0.0; ///< degrees from the nearest measurement
        bool isOutside = false; ///< beyond the measurements: the nearest one stands in
    };

    /// @param head must outlive it. Of several distances in one direction the farthest counts.
    explicit Placement(const Head& head);

    /// How many measurements were left out, because a farther one stands in the same direction.
    std::size_t NumNear() const { return numNear; }

    /// The response of a direction: that of a measurement where there is one, a mixture of the three that enclose it
    /// elsewhere.
    Placed At(const Direction& direction) const;

private:
    struct Point {
        const Head::Measurement* measured;
        double leftOnset, rightOnset;
    };
    struct Weighted {
        const Point* point;
        double weight;
    };

    std::vector<Weighted> Enclosing(const Direction& direction) const;

    std::vector<Point> points;
    std::size_t numNear = 0;
};

} // namespace kal::hrtf
