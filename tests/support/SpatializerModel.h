#pragma once

#include "Kal/Space/KalConvolver.h"
#include "Kal/Space/KalHrtfSet.h"

#include <array>
#include <cmath>
#include <vector>

namespace kal::test {

/// The spatializer in its plainest form: two convolvers of its own for every direction, and every sample on its own.
class SpatializerModel {
public:
    explicit SpatializerModel(const HrtfSet& set)
    {
        for (const HrtfRing& ring : set) {
            rings.push_back({ring.elevation, {}});
            for (const HrtfAngle& angle : ring.angles) {
                const auto taps = static_cast<int>(angle.left.size());
                const DualMiniConvolver convolver(angle.left.data(), angle.right.data(), taps);
                rings.back().angles.push_back({angle.azimuth, {Side{convolver, {}}, Side{convolver, {}}}});
            }
        }
    }

    struct Source {
        int ring = -1, angle = 0, side = 0;
        int nextRing = -1, nextAngle = 0;
        int faded = 0; ///< samples
    };

    void BeginRender(int frames)
    {
        for (Ring& ring : rings)
            for (Angle& angle : ring.angles)
                for (Side& side : angle.sides) side.input.assign(frames, 0.0f);
    }

    void Mix(Source& source, const float* input, int count, float azimuth, float elevation)
    {
        azimuth -= 360.0f * std::floor(azimuth / 360.0f + 0.5f);
        const int side = azimuth < 0.0f;
        const int ring = Nearest(rings, &Ring::elevation, elevation);
        const int angle = Nearest(rings[ring].angles, &Angle::azimuth, std::fabs(azimuth));
        if (source.ring < 0) source = {ring, angle, side};
        if (source.nextRing < 0 && (ring != source.ring || angle != source.angle || side != source.side)) {
            source.nextRing = ring;
            source.nextAngle = angle;
            source.faded = 0;
        }
        for (int i = 0; i < count; ++i) {
            if (source.nextRing >= 0 && source.faded == 128) source = {source.nextRing, source.nextAngle, side};
            const bool fades = source.nextRing >= 0;
            const float gain = fades ? static_cast<float>(source.faded++) / 128.0f : 0.0f;
            At(source.ring, source.angle, source.side).input[i] += input[i] * (1.0f - gain);
            if (fades) At(source.nextRing, source.nextAngle, side).input[i] += input[i] * gain;
        }
    }

    std::vector<float> EndRender()
    {
        std::vector<float> out;
        for (Ring& ring : rings) {
            for (Angle& angle : ring.angles) {
                for (int side = 0; side < 2; ++side) {
                    Side& heard = angle.sides[side];
                    out.resize(2 * heard.input.size());
                    for (std::size_t i = 0; i < heard.input.size(); ++i) {
                        const auto [left, right] = heard.convolver.Apply(heard.input[i]);
                        out[2 * i + side] += left;
                        out[2 * i + 1 - side] += right;
                    }
                }
            }
        }
        return out;
    }

private:
    struct Side {
        DualMiniConvolver convolver;
        std::vector<float> input;
    };
    struct Angle {
        float azimuth;
        std::array<Side, 2> sides; ///< as measured and mirrored
    };
    struct Ring {
        float elevation;
        std::vector<Angle> angles;
    };

    Side& At(int ring, int angle, int side) { return rings[ring].angles[angle].sides[side]; }

    template<class T>
    static int Nearest(const std::vector<T>& items, float T::*key, float x)
    {
        int nearest = 0;
        for (int i = 1; i < static_cast<int>(items.size()); ++i)
            if (items[i].*key - x <= x - items[nearest].*key) nearest = i;
        return nearest;
    }

    std::vector<Ring> rings;
};

} // namespace kal::test
