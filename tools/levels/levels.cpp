// Prints how loud the library is: the tables of docs/host-guide.md, as the host's numbers go in and the engine's blocks
// come out. A sound is white noise at 48 kHz; levels are those of its steady state, in dB.

#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "libkalmarble/Buffer.h"
#include "libkalmarble/RoomReverb.h"
#include "libkalmarble/VoiceRecord.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

namespace {

using kalmarble::PlacedSound;

constexpr double kRate = 48000;
constexpr int kBlock = 512;
constexpr KalPlayParam kPlain = {1, 1, 1};
constexpr kal::ReverbSettings kNoRoom{};

double Decibels(double ratio)
{
    return 10 * std::log10(ratio);
}

std::shared_ptr<kalmarble::KalBuffer> Samples(const std::vector<float>& samples)
{
    return std::make_shared<kalmarble::KalBuffer>(
        kalmarble::BufferParam{samples.data(), 32, 1, static_cast<int>(samples.size()), kRate});
}

std::shared_ptr<kalmarble::KalBuffer> Noise(double seconds, float level)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(-level, level);
    std::vector<float> samples(static_cast<std::size_t>(seconds * kRate));
    for (float& x : samples) x = uniform(random);
    return Samples(samples);
}

/// Renders a voice for `seconds`.
std::vector<float> Render(const std::shared_ptr<kalmarble::KalBuffer>& samples, const kal::ChannelParam& record,
                          const kal::ReverbSettings& room, double seconds)
{
    const auto engine = std::make_shared<kal::Engine>(kal::EngineParam{kRate, 2, 1, kal::hrtfData, kal::hrtfDataSize});
    engine->reverbSettings = room;
    engine->CreateChannel(0, samples, record);
    std::vector<float> out(2 * kBlock * static_cast<std::size_t>(seconds * kRate / kBlock));
    for (std::size_t i = 0; i < out.size(); i += 2 * kBlock) {
        engine->Prerender();
        engine->Render(out.data() + i, kBlock);
    }
    return out;
}

/// The energy of one ear (0 left, 1 right) or both (2) in the last second.
double Energy(const std::vector<float>& out, int ear = 2)
{
    double sum = 0;
    for (std::size_t i = out.size() - static_cast<std::size_t>(2 * kRate); i < out.size(); ++i)
        if (ear == 2 || i % 2 == static_cast<std::size_t>(ear)) sum += double{out[i]} * out[i];
    return sum;
}

kal::ChannelParam Placed(kal::Vector3 place, KalPlayParam param = kPlain, float roomSize = 1e6f, float wall = 1)
{
    kalmarble::Listener listener;
    listener.Place({0, 0, 0}, {0, 0, -1}, {0, 1, 0});
    return kalmarble::VoiceRecord(PlacedSound{param, {place.x, place.y, -place.z}, false, true}, listener, roomSize,
                                  wall);
}

double PlacedEnergy(const kal::ChannelParam& record, int ear = 2)
{
    return Energy(Render(Noise(3, 0.05f), record, kNoRoom, 2), ear);
}

void PrintDirections()
{
    struct Direction {
        const char* name;
        kal::Vector3 place;
    };
    const double local = Energy(Render(Noise(3, 0.05f), kalmarble::VoiceRecord(kPlain), kNoRoom, 2));
    std::puts("\nplaced at the reference distance, beside the same sound played locally\n\n"
              "| from | both ears | left | right |\n| --- | --- | --- | --- |");
    for (const auto& [name, place] : {Direction{"ahead", {0, 0, 1}},
                                      {"ahead right, 45 degrees", {0.707f, 0, 0.707f}},
                                      {"right", {1, 0, 0}},
                                      {"behind", {0, 0, -1}},
                                      {"above", {0, 1, 0}}}) {
        const auto out = Render(Noise(3, 0.05f), Placed(place), kNoRoom, 2);
        std::printf("| %s | %.1f | %.1f | %.1f |\n", name, Decibels(Energy(out) / local),
                    Decibels(2 * Energy(out, 0) / local), Decibels(2 * Energy(out, 1) / local));
    }
}

void PrintDistances()
{
    const double reference = PlacedEnergy(Placed({0, 0, 1}));
    std::puts("\ndistance, in reference distances, beside a sound at the reference\n\n"
              "| 0.1 | 0.5 | 1 | 2 | 4 | 10 | 100 | 2, reference 0 | 2, reference below 0 |\n"
              "| --- | --- | --- | --- | --- | --- | --- | --- | --- |");
    for (const float d : {0.1f, 0.5f, 1.0f, 2.0f, 4.0f, 10.0f, 100.0f})
        std::printf("| %.1f ", Decibels(PlacedEnergy(Placed({0, 0, d})) / reference));
    for (const float squared : {0.0f, -1.0f})
        std::printf("| %.1f ", Decibels(PlacedEnergy(Placed({0, 0, 2}, {1, 1, squared})) / reference));
    std::puts("|");
}

void PrintOcclusion()
{
    const double open = PlacedEnergy(Placed({0, 0, 1}));
    std::puts("\nocclusion: what is left of noise\n\n| coefficient | 1 | 0.5 | 0.2 | 0.1 | 0.05 | 0.01 |\n"
              "| --- | --- | --- | --- | --- | --- | --- |");
    std::printf("| level ");
    for (const float wall : {1.0f, 0.5f, 0.2f, 0.1f, 0.05f, 0.01f})
        std::printf("| %.1f ", Decibels(PlacedEnergy(Placed({0, 0, 1}, kPlain, 1e6f, wall)) / open));
    std::puts("|");
}

/// The room's part of the output is what differs from the same without a room.
void PrintReverb()
{
    constexpr float kLevels[] = {0.0f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 1.0f};
    const auto noise = Noise(8, 0.02f);
    std::puts("\nreverb, below the direct sound at the reference distance; 75 m3, 110 m2, steady noise\n");
    std::printf("| wetLevelA \\ wetLevelB ");
    for (const float b : kLevels) std::printf("| %.1f ", b);
    std::puts("|\n| --- | --- | --- | --- | --- | --- | --- | --- |");
    const auto dry = Render(noise, Placed({0, 0, 1}), kNoRoom, 7);
    for (const float a : kLevels) {
        std::printf("| %.1f ", a);
        for (const float b : kLevels) {
            auto wet = Render(noise, Placed({0, 0, 1}), kalmarble::RoomReverb({a, 75, 110, 5, b}), 7);
            for (std::size_t i = 0; i < wet.size(); ++i) wet[i] -= dry[i];
            std::printf("| %.0f ", Decibels(Energy(wet) / Energy(dry)));
        }
        std::puts("|");
    }
    std::puts("\nthe same at 0.8, 0.8 by distance and by room\n\n"
              "| room | rt60 | at 1 | at 2 | at 4 | at 8 |\n| --- | --- | --- | --- | --- | --- |");
    for (const auto& [name, room] :
         {std::pair{"chamber, 75 m3, 110 m2", KalReverbParam{0.8f, 75, 110, 5, 0.8f}},
          {"hall, 12000 m3, 3600 m2", KalReverbParam{0.8f, 12000, 3600, 40, 0.8f}},
          {"cathedral, 130000 m3, 16000 m2", KalReverbParam{0.8f, 130000, 16000, 80, 0.8f}}}) {
        std::printf("| %s | %.1f s ", name, double{kalmarble::RoomReverb(room)[2].rt60});
        for (const float d : {1.0f, 2.0f, 4.0f, 8.0f}) {
            const auto alone = Render(noise, Placed({0, 0, d}, kPlain, room.roomSize), kNoRoom, 7);
            auto wet = Render(noise, Placed({0, 0, d}, kPlain, room.roomSize), kalmarble::RoomReverb(room), 7);
            for (std::size_t i = 0; i < wet.size(); ++i) wet[i] -= alone[i];
            std::printf("| %.0f ", Decibels(Energy(wet) / Energy(alone)));
        }
        std::puts("|");
    }
}

/// A quiet constant, with a burst of one millisecond at twice full scale on top of it.
void PrintLimiter()
{
    constexpr float kQuiet = 0.1f;
    std::vector<float> samples(static_cast<std::size_t>(5 * kRate), kQuiet);
    for (int i = 0; i < 48; ++i) samples[static_cast<std::size_t>(i)] = 2.0f;
    const auto out = Render(Samples(samples), kalmarble::VoiceRecord(kPlain), kNoRoom, 4.5);
    std::puts("\nthe limiter's gain after one millisecond at twice full scale\n\n"
              "| at once | 0.1 s | 0.5 s | 1 s | 2 s | 4 s |\n| --- | --- | --- | --- | --- | --- |");
    for (const double t : {0.0, 0.1, 0.5, 1.0, 2.0, 4.0})
        std::printf("| %.1f ", 2 * Decibels(out[2 * (50 + static_cast<std::size_t>(t * kRate))] / kQuiet));
    std::puts("|");
}

} // namespace

int main()
{
    PrintDirections();
    PrintDistances();
    PrintOcclusion();
    PrintReverb();
    PrintLimiter();
}
