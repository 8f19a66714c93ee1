#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kalscene {

enum class Interpolation {
    Hold,   ///< a key's value until the next key
    Linear, ///< straight lines between keys
    Smooth, ///< cubics of continuous slope that never leave the range between two neighbouring keys
};

/// N numbers over time, given at key points; before the first key and after the last the value stays.
template<std::size_t N>
struct Curve {
    using Value = std::array<double, N>;
    struct Key {
        std::int64_t frame;
        Value value;
    };

    std::vector<Key> keys; ///< at least one; frames do not descend, and of two at one frame the later one holds from it
    Interpolation interpolation = Interpolation::Linear;

    Curve() : Curve(Value{}) {}
    explicit Curve(const Value& constant) : keys{{0, constant}} {}

    bool IsConstant() const { return keys.size() == 1; }

    /// Whether the value is the same for all frames from `frame` to the next key.
    bool IsFlatFrom(std::int64_t frame) const
    {
        const std::size_t next = NextKey(frame);
        return next == 0 || next == keys.size() || interpolation == Interpolation::Hold ||
               keys[next].value == keys[next - 1].value;
    }

    Value At(std::int64_t frame) const
    {
        const std::size_t next = NextKey(frame);
        if (next == 0) return keys.front().value;
        const Key& a = keys[next - 1];
        if (next == keys.size() || interpolation == Interpolation::Hold) return a.value;
        const Key& b = keys[next];
        const double length = static_cast<double>(b.frame - a.frame);
        const double t = static_cast<double>(frame - a.frame) / length;
        Value value;
        for (std::size_t i = 0; i < N; ++i) {
            value[i] = a.value[i] + (b.value[i] - a.value[i]) * t;
            if (interpolation == Interpolation::Linear) continue;
            // The cubic of Hermite: what it adds to the straight line.
            const double secant = (b.value[i] - a.value[i]) / length;
            const double slopeA = Slope(next - 1, i) - secant, slopeB = Slope(next, i) - secant;
            value[i] += length * t * (1.0 - t) * (slopeA * (1.0 - t) - slopeB * t);
        }
        return value;
    }

private:
    std::size_t NextKey(std::int64_t frame) const
    {
        const auto later = [](std::int64_t f, const Key& key) { return f < key.frame; };
        return static_cast<std::size_t>(std::upper_bound(keys.begin(), keys.end(), frame, later) - keys.begin());
    }

    double Secant(std::size_t k, std::size_t i) const
    {
        return (keys[k + 1].value[i] - keys[k].value[i]) / static_cast<double>(keys[k + 1].frame - keys[k].frame);
    }

    bool HasBefore(std::size_t k) const { return k > 0 && keys[k - 1].frame < keys[k].frame; }
    bool HasAfter(std::size_t k) const { return k + 1 < keys.size() && keys[k].frame < keys[k + 1].frame; }

    // The weighted harmonic mean of the slopes on both sides, 0 at a turning point, which keeps a cubic between its
    // ends (F. N. Fritsch, J. Butland, SIAM J. Sci. Stat. Comput. 5 (1984)). Where the curve ends or jumps, that of a
    // cubic that ends without curvature.
    double Slope(std::size_t k, std::size_t i) const
    {
        if (!HasBefore(k)) return HasAfter(k + 1) ? (3.0 * Secant(k, i) - Slope(k + 1, i)) / 2.0 : Secant(k, i);
        if (!HasAfter(k)) return HasBefore(k - 1) ? (3.0 * Secant(k - 1, i) - Slope(k - 1, i)) / 2.0 : Secant(k - 1, i);
        const double before = Secant(k - 1, i), after = Secant(k, i);
        if (before * after <= 0.0) return 0.0;
        const double lengthBefore = static_cast<double>(keys[k].frame - keys[k - 1].frame);
        const double lengthAfter = static_cast<double>(keys[k + 1].frame - keys[k].frame);
        const double w1 = 2.0 * lengthAfter + lengthBefore, w2 = lengthAfter + 2.0 * lengthBefore;
        return (w1 + w2) / (w1 / before + w2 / after);
    }
};

} // namespace kalscene
