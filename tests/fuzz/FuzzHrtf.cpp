// Any bytes at all as an HRTF data set: refused with one of the loader's messages, or good to write again and to render
// with.

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtfSet.h"
#include "Kal/Space/KalSpatializerSource.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace {

// Directions at 16 bytes each need kilobytes; a longer set finds nothing new and eats the machine.
constexpr std::size_t kLongest = 1 << 16;

void Render(const std::shared_ptr<kal::Spatializer>& spatializer)
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const auto source = spatializer->CreateSource();
    const std::vector<float> input(300, 1.0f);
    std::vector<float> out(2 * input.size());
    float azimuth = -200.0f;
    for (const int frames : {1, 300, 17, 128, 64}) {
        spatializer->BeginRender(frames);
        azimuth += 77.0f;
        source->Mix(input.data(), 0, frames, azimuth, azimuth / 2.0f);
        spatializer->CreateSource()->Mix(input.data(), 0, frames, nan, azimuth);
        const unsigned parts = spatializer->PrepareEndRender();
        for (unsigned part = 0; part < parts; ++part) spatializer->EndRender(out.data(), part);
    }
    for (const float x : out)
        if (!std::isfinite(x)) std::abort();
}

} // namespace

// Read by the sanitizer when a program starts: a set that makes the loader allocate more than this is a finding.
extern "C" const char* __asan_default_options()
{
    return "max_allocation_size_mb=256:hard_rss_limit_mb=1024";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kLongest) return 0;
    try {
        const std::string written = kal::WriteHrtfSet(kal::ReadHrtfSet({reinterpret_cast<const char*>(data), size}));
        if (written.size() > size || kal::WriteHrtfSet(kal::ReadHrtfSet(written)) != written) std::abort();
        const auto spatializer = std::make_shared<kal::Spatializer>(data, static_cast<unsigned>(size), 44100.0);
        if (!spatializer->Empty()) Render(spatializer);
    } catch (const kal::Exception&) {
        // what the loader is for
    }
    return 0;
}
