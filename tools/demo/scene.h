#pragma once

#include "KALMarble.h"

#include <cmath>
#include <cstring>

/// The demo's scene: what is heard when and from where. Recorded voices say their own places, then noise stands still
/// while the listener turns once about, then the room rings out.
///
/// The world has x to the right of a listener who looks along -z, and y up. Azimuths are degrees, clockwise as seen
/// from above: 0 ahead, 90 right.
namespace scene {

constexpr int kSamplingRate = 48000; ///< Hz
constexpr double kDuration = 18.5;   ///< seconds
constexpr double kTurnStart = 12.9, kTurnEnd = 15.7;

enum class Way { Local, Relative, Absolute };

struct Cue {
    double time; ///< seconds from the start of the scene
    const char* sound;
    Way way;
    float volume;
    double azimuth; ///< of its place: from the listener's nose, or in the world for an absolute sound
};

constexpr Cue kCues[] = {
    {0.25, "Front_Center", Way::Local, 1.0f, 0.0},   {1.8, "Front_Left", Way::Relative, 4.0f, -30.0},
    {3.4, "Front_Right", Way::Relative, 4.0f, 30.0}, {5.1, "Side_Left", Way::Relative, 4.0f, -90.0},
    {6.6, "Side_Right", Way::Relative, 4.0f, 90.0},  {8.1, "Rear_Left", Way::Relative, 4.0f, -150.0},
    {9.6, "Rear_Right", Way::Relative, 4.0f, 150.0}, {11.3, "Rear_Center", Way::Relative, 4.0f, 180.0},
    {kTurnStart, "Noise", Way::Absolute, 4.0f, 0.0}, {14.3, "Noise", Way::Absolute, 4.0f, 0.0},
};

struct Room {
    const char* name;
    KalReverbParam parameters;
};

constexpr Room kRooms[] = {
    {"dry", {0.0f, 0.0f, 0.0f, 0.0f, 0.0f}},
    {"small", {1.0f, 60.0f, 94.0f, 5.0f, 1.0f}},      // 3 x 4 x 5 m
    {"hall", {1.0f, 22500.0f, 5200.0f, 50.0f, 1.0f}}, // 18 x 25 x 50 m
};

/// Null for an unknown name.
inline const Room* FindRoom(const char* name)
{
    for (const Room& room : kRooms)
        if (std::strcmp(room.name, name) == 0) return &room;
    return nullptr;
}

/// Direction of an azimuth in the world, of unit length.
inline KalVector3 Direction(double azimuth)
{
    const double radians = azimuth * (3.14159265358979323846 / 180.0);
    return {static_cast<float>(std::sin(radians)), 0.0f, static_cast<float>(-std::cos(radians))};
}

/// Azimuth in the world of the listener's nose.
inline double Heading(double time)
{
    if (time <= kTurnStart || time >= kTurnEnd) return 0.0;
    return 360.0 * (time - kTurnStart) / (kTurnEnd - kTurnStart);
}

/// Where the cue is heard, -180 ... 180.
inline double HeardAzimuth(const Cue& cue, double time)
{
    return cue.way == Way::Absolute ? std::remainder(cue.azimuth - Heading(time), 360.0) : cue.azimuth;
}

} // namespace scene
