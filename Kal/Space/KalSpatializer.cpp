#include "Kal/Space/KalSpatializer.h"

#include "Kal/QFFT/Assert.h"
#include "Kal/Space/KalSpatializerAngle.h"
#include "Kal/Space/KalSpatializerSource.h"

#include <algorithm>
#include <cmath>

namespace kal {
namespace {

constexpr char kSource[] = "Kal/KalSpatializer";

} // namespace

bool Spatializer::Empty() const
{
    return rings.empty() ||
           std::any_of(rings.begin(), rings.end(), [](const auto& ring) { return ring->angles.empty(); });
}

std::shared_ptr<Spatializer::Source> Spatializer::CreateSource()
{
    return std::make_shared<Source>(shared_from_this());
}

const Spatializer::Ring& Spatializer::NearestRing(float elevation) const
{
    return *rings[elevations.ChooseNearest(elevation)];
}

const std::shared_ptr<Spatializer::Angle>& Spatializer::Nearest(const Bearing& bearing) const
{
    const Ring& ring = NearestRing(bearing.elevation);
    return ring.angles[ring.azimuths.ChooseNearest(std::fabs(bearing.azimuth))];
}

Bearing Spatializer::NearestTo(const Vector3& direction) const
{
    const Bearing bearing = Bearing::Of(direction);
    const float azimuth = Nearest(bearing)->azimuth;
    return {bearing.IsLeft() ? -azimuth : azimuth, NearestRing(bearing.elevation).elevation};
}

// Directions that were used in the block before are among those that were gathered then.
void Spatializer::BeginRender(unsigned numFrames)
{
    const auto frames = static_cast<int>(numFrames);
    if (numFrames > longestBlock) {
        for (const auto& ring : rings)
            for (const auto& angle : ring->angles)
                for (Angle::SideInput& input : angle->inputs) input.signal.Reserve(frames);
        for (auto& [length, bank] : banks) bank.Reserve(frames);
        longestBlock = numFrames;
    }
    for (Angle* angle : enabledAngles)
        for (Angle::SideInput& input : angle->inputs) input.used = false;
    for (auto& [length, bank] : banks) bank.BeginRender(frames);
    blockSize = numFrames;
}

void Spatializer::ForgetLongBlock() noexcept
{
    const auto frames = static_cast<int>(longestBlock);
    for (const auto& ring : rings)
        for (const auto& angle : ring->angles)
            for (Angle::SideInput& input : angle->inputs) input.signal.Trim(frames);
    for (auto& [length, bank] : banks) bank.Trim(frames);
}

unsigned Spatializer::PrepareEndRender()
{
    enabledAngles.clear();
    for (const auto& ring : rings) {
        for (const auto& angle : ring->angles) {
            bool enabled = false;
            for (Angle::SideInput& input : angle->inputs) {
                input.active = input.used || input.signal.HasOutput();
                if (input.active && !input.used) std::fill_n(input.signal.Frames(), blockSize, 0.0f);
                enabled = enabled || input.active;
            }
            if (enabled) enabledAngles.push_back(angle.get());
        }
    }
    return static_cast<unsigned>(enabledAngles.size());
}

unsigned Spatializer::NumActiveSides() const
{
    unsigned sides = 0;
    for (const Angle* angle : enabledAngles)
        for (const Angle::SideInput& input : angle->inputs) sides += input.active;
    return sides;
}

void Spatializer::Convolve(unsigned index, unsigned count, unsigned worker)
{
    KAL_ASSERT(kSource, index < enabledAngles.size());
    const std::size_t end = std::min<std::size_t>(std::size_t{index} + count, enabledAngles.size());
    for (std::size_t i = index; i < end; ++i) {
        Angle& angle = *enabledAngles[i];
        for (const Angle::Side side : {Angle::Direct, Angle::Mirrored}) {
            Angle::SideInput& input = angle.inputs[side];
            if (input.active)
                angle.bank.AccumulatorOf(worker).Add(input.signal, angle.responses, side == Angle::Mirrored);
        }
    }
}

void Spatializer::AddConvolved(float* out, unsigned worker, bool addsTails)
{
    for (auto& [length, bank] : banks) {
        if (addsTails) bank.AddPreviousTails(out);
        bank.AccumulatorOf(worker).Render(out);
    }
}

void Spatializer::EndRender(float* out, unsigned index, unsigned count, unsigned worker)
{
    Convolve(index, count, worker);
    AddConvolved(out, worker, index == 0);
}

} // namespace kal
