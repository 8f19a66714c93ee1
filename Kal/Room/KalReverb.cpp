#include "Kal/Room/KalReverb.h"

#include "Kal/Base/KalConstants.h"
#include "Kal/Kernels/KalKernels.h"
#include "Kal/Kernels/KalReverbKernel.h"
#include "Kal/QFFT/Assert.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kal {

namespace {

// Sixteen writes a frame to the same index of rings of 128 KB would all fall into one cache set: each ring begins four
// cache lines further on.
constexpr int kIndexStagger = 64;

// Below this damping the output stage, which divides by it, would no longer be finite. Reached only by decay times so
// short that nothing goes around.
constexpr double kLeastLpfCoef = 1e-6;

/// The primes up to 32771, the first one that no ring can hold.
using PrimeList = std::array<int, 3513>;

/// They are shared by all reverbs, in ascending order, and built by the first one, so that rendering neither locks nor
/// allocates. There is no destructor: at the end of a process without one for the context, a block may be under way.
const PrimeList& EnsurePrimeList()
{
    static const PrimeList primes = [] {
        PrimeList list{2, 3};
        auto end = list.begin() + 2;
        for (int candidate = 5; end != list.end(); candidate += 2) {
            const auto divides = [&](int p) { return candidate % p == 0; };
            const auto root = std::find_if(list.begin(), end, [&](int p) { return p * p > candidate; });
            if (std::none_of(list.begin(), root, divides)) *end++ = candidate;
        }
        return list;
    }();
    return primes;
}

/// The smallest prime that is n or more; beyond the list n itself, which is too long for a ring as well.
int PrimeFrom(int n)
{
    const PrimeList& primes = EnsurePrimeList();
    const auto found = std::lower_bound(primes.begin(), primes.end(), n);
    return found == primes.end() ? n : *found;
}

/// The factor from one line to the next: the sixteenth root of the whole range.
float LineRatio(float delayRange)
{
    return std::pow(static_cast<float>(delayRange + 1.0), 0.0625f);
}

} // namespace

Reverb::Reverb(double rate) : samplingRate(static_cast<float>(rate)), hfReference(samplingRate * 0.1f)
{
    KAL_ASSERT("Kal/KalReverb", samplingRate >= 0.0);
    KAL_ASSERT("Kal/KalReverb", !std::isnan(samplingRate));
    float provisional = 0.01f * samplingRate;
    int firstIndex = 0;
    for (auto& line : delayLines) {
        line = std::make_unique<Line>(provisional, firstIndex);
        provisional *= 1.09f;
        firstIndex += kIndexStagger;
    }
    Update();
}

bool Reverb::Fits(float size, float delayRange, double samplingRate)
{
    return LineDelays(size, delayRange, static_cast<float>(samplingRate)).back() <= Line::size;
}

// Each length derives from the previous prime, so the lines are strictly longer from one to the next.
std::array<int, Reverb::kNumLines> Reverb::LineDelays(float size, float delayRange, float samplingRate)
{
    const float ratio = LineRatio(delayRange);
    std::array<int, kNumLines> delays;
    float target = size * samplingRate;
    int prime = 0;
    for (int& delay : delays) {
        prime = PrimeFrom(std::max(SaturatedFloor(target), prime + 1));
        delay = prime + 1;
        target = static_cast<float>(prime) * ratio;
    }
    return delays;
}

void Reverb::SetParameter(float& parameter, float value)
{
    changed |= parameter != value;
    parameter = value;
}

void Reverb::SetSize(float v)
{
    KAL_ASSERT("Kal/KalReverb", v >= 0.f);
    KAL_ASSERT("Kal/KalReverb", !std::isnan(v));
    SetParameter(size, std::clamp(v, 0.0001f, 100.0f));
}

void Reverb::SetDelayRange(float v)
{
    KAL_ASSERT("Kal/KalReverb", v >= 0.f);
    KAL_ASSERT("Kal/KalReverb", !std::isnan(v));
    SetParameter(delayRange, v);
}

void Reverb::SetRT60Time(float seconds)
{
    KAL_ASSERT("Kal/KalReverb", seconds >= 0.f);
    KAL_ASSERT("Kal/KalReverb", !std::isnan(seconds));
    SetParameter(rt60, std::clamp(seconds, 0.0001f, 100.0f));
}

void Reverb::SetHFReverbTimeRatio(float ratio, float frequency)
{
    SetParameter(hfRatio, ratio);
    SetParameter(hfReference, frequency);
}

// A pass takes about r^8 size seconds, the middle of the geometric progression. -13.8155 is ln 10^-6, what 60 dB take
// from the energy; half of it falls to the amplitude. The matrix makes 16 values four times as large in amplitude.
//
// The damping's gain at the reference must be q times its gain of 1 at 0 Hz. With a = lpfCoef, |H(w)|^2 =
// a^2 / (1 - 2 (1 - a) cos w + (1 - a)^2) = q^2 is a quadratic equation in a, whose positive root it is.
void Reverb::Update()
{
    if (!changed) return;
    changed = false;

    const auto delays = LineDelays(size, delayRange, samplingRate);
    for (int k = 0; k < kNumLines; ++k) delayLines[k]->SetDelay(delays[k]);

    const float decay = std::exp(std::pow(LineRatio(delayRange), 8.0f) * size * (-13.8155f / rt60) * 0.5f);
    feedbackGain = NormalOrZero(decay * 0.25f);

    // From half the rate on the reference would mean nothing, and nothing goes around once the gain has underflowed.
    // Where denormals are kept, gains among them would give a damping, and a treble to restore, that are heard.
    const float reference = std::min(hfReference, 0.49f * samplingRate);
    const auto highGain = [&] { return NormalOrZero(std::pow(feedbackGain, static_cast<float>(1.0 / hfRatio))); };
    const float q = feedbackGain > 0.0f ? highGain() / feedbackGain : 0.0f;
    const float w = reference / samplingRate * 6.2831855f;
    const double c = std::cos(w);
    const float qs = q * std::sin(w);
    const double qSquared = double{q} * q;
    const double root = std::sqrt(std::max(2.0 * (1.0 - c) - double{qs} * qs, 0.0));
    const double damping = ((c - 1.0) * qSquared + q * root) / (1.0 - qSquared);
    lpfCoef = static_cast<float>(q < 1.0f ? std::max(damping, kLeastLpfCoef) : damping);
    KAL_ASSERT("Kal/KalReverb", lpfCoef >= 0.f);
    KAL_ASSERT("Kal/KalReverb", lpfCoef <= 1.f);
    KAL_ASSERT("Kal/KalReverb", !std::isnan(lpfCoef));

    // The output stage restores the treble that the damping takes, up to a point.
    lpfCoef = std::min(lpfCoef, 0.9f);
    outA = (1.0f - lpfCoef) / (1.0f + lpfCoef);
    outB = 1.0f / (1.0f - outA);
}

std::array<float, Reverb::kNumTaps> Reverb::ProcessSample(float x)
{
    std::array<float, kNumLines> v;
    for (int k = 0; k < kNumLines; ++k) v[k] = delayLines[k]->Read();
    AdvanceFrame(v.data(), dampState.data(), feedbackGain, lpfCoef, x);
    for (int k = 0; k < kNumLines; ++k) delayLines[k]->Write(v[k]);

    std::array<float, kNumTaps> out;
    for (int k = 0; k < kNumTaps; ++k) {
        out[k] = (v[k] - outA * outPrev[k]) * outB;
        outPrev[k] = v[k];
    }
    return out;
}

void Reverb::Prefetch(unsigned numFrames) const
{
    for (const auto& line : delayLines) line->Prefetch(static_cast<int>(numFrames));
}

void Reverb::Process(unsigned numFrames, const float* in, int firstTap, int secondTap, float* first, float* second)
{
    const int numLanes = kernels::ActiveTable().numLanes;
    while (numFrames > 0) {
        int run = RunLength(numFrames, numLanes);
        if (run > 0) {
            AdvanceRun(run, in);
            OutputTap(firstTap, run, first);
            OutputTap(secondTap, run, second);
            FinishRun(run);
        } else { // across a wrap, with fewer frames than lanes, or with too short a line
            const auto out = ProcessSample(*in);
            *first = out[firstTap];
            *second = out[secondTap];
            run = 1;
        }
        numFrames -= static_cast<unsigned>(run);
        in += run;
        first += run;
        second += run;
    }
}

/// How many frames, a multiple of numLanes, can be advanced before a line wraps; 0 if one is too short for lanes.
int Reverb::RunLength(unsigned numFrames, int numLanes) const
{
    if (delayLines[0]->Delay() < kernels::kShortestLine) return 0;
    int run = static_cast<int>(std::min<unsigned>(numFrames, Line::size));
    for (const auto& line : delayLines) run = std::min(run, line->FramesToWrap());
    return run - run % numLanes;
}

void Reverb::AdvanceRun(int numFrames, const float* in)
{
    kernels::NetworkRun run;
    for (int k = 0; k < kNumLines; ++k) {
        run.read[k] = delayLines[k]->ReadPointer();
        run.write[k] = delayLines[k]->WritePointer();
        run.dampState[k] = dampState[k];
    }
    run.feedbackGain = feedbackGain;
    run.lpfCoef = lpfCoef;
    kernels::ActiveTable().advanceNetwork(run, numFrames, in);
    std::copy(std::begin(run.dampState), std::end(run.dampState), dampState.begin());
}

/// A tap of the run that stands in the lines but has not been finished.
void Reverb::OutputTap(int tap, int numFrames, float* out) const
{
    const float* w = delayLines[tap]->WritePointer();
    out[0] = (w[0] - outA * outPrev[tap]) * outB;
    for (int i = 1; i < numFrames; ++i) out[i] = (w[i] - outA * w[i - 1]) * outB;
}

void Reverb::FinishRun(int numFrames)
{
    for (int k = 0; k < kNumTaps; ++k) outPrev[k] = delayLines[k]->WritePointer()[numFrames - 1];
    for (auto& line : delayLines) line->Advance(numFrames);
}

float Reverb::WrittenPeak(unsigned frames) const
{
    float peak = 0.0f;
    for (const auto& line : delayLines) peak = std::max(peak, line->WrittenPeak(static_cast<int>(frames)));
    return peak;
}

void Reverb::MuteOnceDecayed(unsigned frames)
{
    if (WrittenPeak(frames) >= kDecayed) {
        decayedFrames = 0;
    } else if (decayedFrames <= Line::size) {
        decayedFrames += frames;
        if (decayedFrames > Line::size) Mute();
    }
}

// A value that is not finite stays in the damping state for good as soon as it has passed a line.
bool Reverb::IsFinite() const
{
    const auto finite = [](float x) { return std::isfinite(x); };
    return std::all_of(dampState.begin(), dampState.end(), finite) &&
           std::all_of(outPrev.begin(), outPrev.end(), finite);
}

void Reverb::Mute()
{
    for (auto& line : delayLines) line->Mute();
    dampState.fill(0.0f);
    outPrev.fill(0.0f);
}

} // namespace kal
