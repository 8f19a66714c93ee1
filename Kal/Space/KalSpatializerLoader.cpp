#include "Kal/Space/KalSpatializer.h"

#include "Kal/Space/KalHrtfSet.h"
#include "Kal/Space/KalSpatializerAngle.h"

namespace kal {

Spatializer::Spatializer(const void* data, unsigned size, double, unsigned workers) : numWorkers(workers)
{
    LoadData(static_cast<const char*>(data), size);
}

void Spatializer::LoadData(const char* data, unsigned size)
{
    std::size_t numAngles = 0;
    for (const HrtfRing& measured : ReadHrtfSet({data, size})) {
        const auto ring = std::make_shared<Ring>(measured.elevation);
        for (const auto& [azimuth, left, right] : measured.angles) {
            const auto length = static_cast<std::uint32_t>(left.size());
            ConvolverBank& bank = banks.try_emplace(length, static_cast<int>(length), numWorkers).first->second;
            ring->angles.push_back(std::make_shared<Angle>(azimuth, bank, left.data(), right.data()));
            ring->azimuths.AddKey(azimuth);
        }
        numAngles += ring->angles.size();
        rings.push_back(ring);
        elevations.AddKey(measured.elevation);
    }
    enabledAngles.reserve(numAngles);
}

} // namespace kal
