#include "Scene.h"

#include <cmath>
#include <numbers>

namespace kalscene {

kal::Vector3 ToVector(const Curve<3>::Value& v)
{
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

// Turned to the right about its height, then upwards, then to its right shoulder.
kalmarble::Listener ListenerAt(const Scene& scene, std::int64_t frame)
{
    const auto turn = scene.turn.At(frame);
    constexpr double kDegree = std::numbers::pi / 180.0;
    const double sinH = std::sin(turn[0] * kDegree), cosH = std::cos(turn[0] * kDegree);
    const double sinP = std::sin(turn[1] * kDegree), cosP = std::cos(turn[1] * kDegree);
    const double sinR = std::sin(turn[2] * kDegree), cosR = std::cos(turn[2] * kDegree);
    const Curve<3>::Value front = {sinH * cosP, sinP, -cosH * cosP};
    const Curve<3>::Value up = {cosR * -sinH * sinP + sinR * cosH, cosR * cosP, cosR * cosH * sinP + sinR * sinH};
    kalmarble::Listener listener;
    listener.Place(ToVector(scene.listener.At(frame)), ToVector(front), ToVector(up));
    return listener;
}

KalReverbParam RoomAt(const Scene& scene, std::int64_t frame)
{
    const auto room = scene.room.At(frame);
    const auto number = [&](int i) { return static_cast<float>(room[static_cast<std::size_t>(i)]); };
    return {number(Scene::WetLevelA), number(Scene::Volume), number(Scene::Area), number(Scene::Size),
            number(Scene::WetLevelB)};
}

} // namespace kalscene
