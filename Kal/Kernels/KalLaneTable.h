#pragma once

#include "Kal/Kernels/KalConvolverKernel.h"
#include "Kal/Kernels/KalFilterKernel.h"
#include "Kal/Kernels/KalKernelTables.h"
#include "Kal/Kernels/KalReverbKernel.h"
#include "Kal/Kernels/KalVoiceKernel.h"

namespace kal::kernels {

namespace {

/// Every kernel on lanes V of floats and D of doubles, as the including source is compiled.
template<class V, class D>
inline constexpr Table kLaneTable{
    kNumLanes<V>,    AdvanceNetwork<V>, {Resample<V, std::uint8_t>, Resample<V, std::int16_t>, Resample<V, float>},
    Lowpass<V>,      AddSmoothed<V>,    ScaleSmoothed<V>,
    AddFaded<V>,     ScaleFaded<V>,     ApplyTwiddlePairs<V>,
    Deinterleave<V>, AddProducts<V>,    AddPairProducts<V>,
    RunCascade<D>};

} // namespace

} // namespace kal::kernels
