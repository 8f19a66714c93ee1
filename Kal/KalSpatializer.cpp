#include "Kal/KalSpatializer.h"

#include "Kal/KalKernels.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>

namespace kal {
namespace {

constexpr char kSource[] = "Kal/KalSpatializer";

// Runs one side of a direction for frames frames and adds its output to interleaved stereo. The convolver takes whole
// runs, up to the end of its block or of ours.
void Convolve(DualMiniConvolver& convolver, const float* inData, bool used, unsigned frames, float* out, bool swapEars)
{
    KAL_ASSERT(kSource, inData);
    const kernels::Row& row = kernels::SelectedRow();
    for (unsigned done = 0; done < frames;) {
        const unsigned run = std::min(frames - done, static_cast<unsigned>(convolver.Room()));
        const float *left = convolver.Output(swapEars ? 1 : 0), *right = convolver.Output(swapEars ? 0 : 1);
        row.accumulateStereo(static_cast<int>(run), left, right, out + 2 * done);
        convolver.Put(used ? inData + done : nullptr, static_cast<int>(run));
        done += run;
    }
}

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

const std::shared_ptr<Spatializer::Angle>& Spatializer::Nearest(float azimuth, float elevation) const
{
    const Ring& ring = *rings[elevations.ChooseNearest(elevation)];
    return ring.angles[ring.azimuths.ChooseNearest(azimuth)];
}

void Spatializer::BeginRender(unsigned numFrames)
{
    blockSize = numFrames;
    for (const auto& ring : rings) {
        for (const auto& angle : ring->angles) {
            for (Angle::Input& input : angle->inputs) {
                input.used = false;
                input.samples.resize(numFrames);
            }
        }
    }
}

unsigned Spatializer::PrepareEndRender()
{
    enabledAngles.clear();
    for (const auto& ring : rings) {
        for (const auto& angle : ring->angles) {
            if (angle->IsActive(Angle::Direct) || angle->IsActive(Angle::Mirrored))
                enabledAngles.push_back(angle.get());
        }
    }
    return static_cast<unsigned>(enabledAngles.size());
}

unsigned Spatializer::NumActiveSides() const
{
    unsigned sides = 0;
    for (const Angle* angle : enabledAngles) sides += angle->IsActive(Angle::Direct) + angle->IsActive(Angle::Mirrored);
    return sides;
}

void Spatializer::EndRender(float* out, unsigned index)
{
    KAL_ASSERT(kSource, index < enabledAngles.size());
    Angle& angle = *enabledAngles[index];
    for (const Angle::Side side : {Angle::Direct, Angle::Mirrored}) {
        if (!angle.IsActive(side)) continue;
        const Angle::Input& input = angle.inputs[side];
        Convolve(angle.convolvers[side], input.samples.data(), input.used, blockSize, out, side == Angle::Mirrored);
    }
}

} // namespace kal
