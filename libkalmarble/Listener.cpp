#include "libkalmarble/Listener.h"

#include <cmath>

namespace kalmarble {

namespace {

using kal::Vector3;

float Dot(const Vector3& a, const Vector3& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Vector3 Cross(const Vector3& a, const Vector3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Vector3 Normalized(const Vector3& v)
{
    const float scale = std::sqrt(1.0f / Dot(v, v));
    return {v.x * scale, v.y * scale, v.z * scale};
}

} // namespace

void Listener::Place(const Vector3& newEye, const Vector3& newFront, const Vector3& newUp)
{
    eye = newEye;
    front = newFront;
    right = Normalized(Cross(front, newUp));
    up = Normalized(Cross(right, front));
}

Vector3 Listener::ToListener(const Vector3& position) const
{
    const Vector3 v{position.x - eye.x, position.y - eye.y, position.z - eye.z};
    return {Dot(right, v), Dot(up, v), Dot(front, v)};
}

} // namespace kalmarble
