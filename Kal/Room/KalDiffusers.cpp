#include "Kal/Room/KalDiffusers.h"

#include "Kal/Base/KalConstants.h"

#include <tuple>

namespace kal {

namespace {

/// Filters a block in place through short diffusers, which wait for their own last results at the same time: by copies,
/// whose state is not in memory that the block could overlap.
template<class... Diffuser>
void ProcessShort(unsigned time, unsigned numFrames, float* block, Diffuser&... diffusers)
{
    std::tuple<Diffuser...> copies(diffusers...);
    for (unsigned i = 0; i < numFrames; ++i) {
        const auto process = [&](Diffuser&... copy) { ((block[i] = copy.ProcessSample(block[i], time + i)), ...); };
        std::apply(process, copies);
    }
    std::tie(diffusers...) = copies;
}

} // namespace

void Diffusers::Process(unsigned numFrames, float* block)
{
    ProcessShort(time, numFrames, block, seven);
    for (AllpassFilter1& diffuser : longer) diffuser.Process(numFrames, block);
    ProcessShort(time, numFrames, block, one, three, five);
    last.Process(numFrames, block);
    time += numFrames;
}

void Diffusers::MuteDecayed()
{
    const auto mute = [](auto& diffuser) {
        if (diffuser.Level() < kDecayed) diffuser.Mute();
    };
    mute(seven);
    for (AllpassFilter1& diffuser : longer) mute(diffuser);
    mute(one);
    mute(three);
    mute(five);
    mute(last);
}

} // namespace kal
