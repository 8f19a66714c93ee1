#include "tools/scene/Renderer.h"
#include "tests/support/Measure.h"
#include "tools/scene/SceneReader.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace kalscene {
namespace {

using kal::test::SignalToErrorDb;

std::shared_ptr<const Scene> SceneOf(const std::string& text)
{
    return std::make_shared<const Scene>(ReadScene(text, {}));
}

std::vector<float> Rendered(const std::string& text, const RenderParam& param = {}, int atATime = 1024)
{
    Renderer renderer(SceneOf(text), param);
    std::vector<float> frames, part(2 * static_cast<std::size_t>(atATime));
    while (const int count = renderer.Render(part.data(), atATime))
        frames.insert(frames.end(), part.begin(), part.begin() + 2 * count);
    return frames;
}

// Smoothed gains begin to move one frame after a change, and a head's response is silent for its first milliseconds.
void ExpectFirstDifference(const std::vector<float>& a, const std::vector<float>& b)
{
    ASSERT_EQ(a.size(), b.size());
    const auto [inA, inB] = std::ranges::mismatch(a, b);
    EXPECT_GE((inA - a.begin()) / 2, 1777);
    EXPECT_LE((inA - a.begin()) / 2, 1777 + 100);
}

// Everything a scene can do, with hardly two events in one block of any size.
const std::string kBusy = R"({
    "length": 1.5,
    "gain": [{"at": 0, "value": 1}, {"at": 1.4, "value": 0.5}],
    "listener": {"position": [{"at": 0.2, "value": [0, 0, 0]}, {"at": 0.9, "value": [1, 0, -1]}],
                 "turn": [{"at": 0, "value": [0, 0, 0]}, {"at": 1, "value": [270, 20, -10]}]},
    "room": [{"at": 0, "dimensions": [3, 4, 5]}, {"at": {"frame": 20011}, "dimensions": [3, 4, 5]},
             {"at": {"frame": 20011}, "dimensions": [20, 30, 60]}, {"at": 1, "dimensions": [10, 10, 10]}],
    "sounds": [
        {"synth": {"kind": "noise"}, "loop": {"start": 0.1, "end": 0.3}, "start": {"frame": 777},
         "stop": {"frame": 50021}, "seek": [{"at": {"frame": 33333}, "to": 0.05}],
         "position": {"interpolation": "smooth", "points": [{"at": 0, "value": [-2, 0, 1]}, {"at": 0.5, "value": [2, 1, 1]},
                      {"at": 1, "value": [0, 0, -3]}]},
         "occlusion": {"interpolation": "hold", "points": [{"at": 0, "value": 0.2}, {"at": {"frame": 12345}, "value": 0.9}]}},
        {"synth": {"kind": "tone", "harmonics": 4}, "place": "listener", "position": [0, -1, 2], "gain": 0.5,
         "speed": [{"at": 0, "value": 0.5}, {"at": 1, "value": 1.5}]},
        {"synth": {"kind": "pluck", "frequency": 110}, "place": "none", "start": [0.1, 0.4, {"frame": 40001}], "gain": 0.2},
        {"synth": {"kind": "step", "duration": 0.3}, "copies": {"count": 20, "spread": [8, 2, 8], "delay": 1,
         "speed": [0.7, 1.4], "gain": [0.1, 0.3]}}
    ]})";

TEST(SceneRenderer, GivesTheSameBitsHoweverItIsAsked)
{
    const auto reference = Rendered(kBusy);
    ASSERT_EQ(reference.size(), 2u * 72000);
    EXPECT_GT(SignalToErrorDb(std::vector<float>(reference.size()), reference), -1.0) << "it must not be silent";
    EXPECT_EQ(Rendered(kBusy), reference);
    EXPECT_EQ(Rendered(kBusy, {}, 1), reference);
    EXPECT_EQ(Rendered(kBusy, {}, 7001), reference);

    // Other workers add the same numbers in another order: some dozens of roundings of 24 bits.
    RenderParam threads;
    threads.numThreads = 3;
    EXPECT_GT(SignalToErrorDb(Rendered(kBusy, threads), reference), 100.0);
}

// Up to the frame of a change nothing differs from a scene without it; from then on something does.
TEST(SceneRenderer, AppliesChangesAtTheirFrames)
{
    struct Case {
        const char *before, *after;
    };
    const std::string start = R"({"length": {"frame": 3000}, )", sound = R"("sounds": [{"synth": {"kind": "noise"})";
    for (const Case& c : {
             Case{R"(, "position": [{"at": 0, "value": [1, 0, 0]}, {"at": {"frame": 1777}, "value": [1, 0, 0]})",
                  R"(, {"at": {"frame": 1777}, "value": [-1, 0, 0]})"},
             {R"(, "gain": [{"at": 0, "value": 1}, {"at": {"frame": 1777}, "value": 1})",
              R"(, {"at": {"frame": 1777}, "value": 2})"},
             {R"(, "speed": [{"at": 0, "value": 1}, {"at": {"frame": 1777}, "value": 1})",
              R"(, {"at": {"frame": 1777}, "value": 2})"},
             {R"(, "occlusion": [{"at": 0, "value": 0}, {"at": {"frame": 1777}, "value": 0})",
              R"(, {"at": {"frame": 1777}, "value": 0.9})"},
         })
        ExpectFirstDifference(Rendered(start + sound + c.before + "]}]}"),
                              Rendered(start + sound + c.before + c.after + "]}]}"));
    for (const Case& c : {
             Case{R"("room": [{"at": 0, "dimensions": [9, 9, 9]}, {"at": {"frame": 1777}, "dimensions": [9, 9, 9]})",
                  R"(, {"at": {"frame": 1777}, "dimensions": [9, 9, 9], "wetLevelA": 0.5})"},
             {R"("gain": [{"at": 0, "value": 1}, {"at": {"frame": 1777}, "value": 1})",
              R"(, {"at": {"frame": 1777}, "value": 2})"},
             {R"("listener": {"turn": [{"at": 0, "value": [0, 0, 0]}, {"at": {"frame": 1777}, "value": [0, 0, 0]})",
              R"(, {"at": {"frame": 1777}, "value": [90, 0, 0]})"},
         }) {
        const std::string close = std::string(c.before).starts_with(R"("listener)") ? "]}, " : "], ";
        const std::string sounds = sound + R"(, "position": [0, 0, -1]}]})";
        ExpectFirstDifference(Rendered(start + c.before + close + sounds),
                              Rendered(start + c.before + c.after + close + sounds));
    }
}

TEST(SceneRenderer, StartsSeeksAndStopsAtTheFrame)
{
    const auto frames = Rendered(R"({"length": {"frame": 3000}, "sounds": [
        {"synth": {"kind": "click"}, "place": "none", "gain": 0.5, "start": {"frame": 700}, "stop": {"frame": 2500},
         "seek": [{"at": {"frame": 1801}, "to": 0}, {"at": {"frame": 2500}, "to": 0}]},
        {"synth": {"kind": "tone", "frequency": 12000}, "place": "none", "gain": 0.25, "from": {"frame": 1},
         "start": {"frame": 2600}, "stop": {"frame": 2700}}]})");
    for (std::size_t f = 0; f < 3000; ++f) {
        // A quarter of the rate: 0, 1, 0, -1, begun at the 1.
        const double tone = f < 2600 || f >= 2700 || f % 2 != 0 ? 0.0 : f % 4 == 0 ? 0.25 : -0.25;
        const double expected = f == 700 || f == 1801 ? 0.5 : tone;
        ASSERT_NEAR(frames[2 * f], expected, 1e-6) << f;
        ASSERT_NEAR(frames[2 * f + 1], expected, 1e-6) << f;
    }
}

TEST(SceneRenderer, SumOfStemsIsTheMix)
{
    const auto scene = SceneOf(kBusy);
    const auto mix = Rendered(kBusy);
    std::vector<double> sum(mix.size());
    for (const Sound& sound : scene->sounds) {
        RenderParam param;
        param.only = &sound;
        Renderer renderer(scene, param);
        std::vector<float> stem(mix.size());
        ASSERT_EQ(renderer.Render(stem.data(), static_cast<int>(mix.size() / 2)), static_cast<int>(mix.size() / 2));
        for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += stem[i];
    }
    EXPECT_GT(SignalToErrorDb(sum, mix), 100.0);
}

TEST(SceneRenderer, PlacesSoundsAroundTheListener)
{
    const auto energies = [](const std::string& listener, const std::string& sound) {
        const auto frames = Rendered(R"({"length": 0.2, "listener": {)" + listener +
                                     R"(}, "sounds": [{"synth": {"kind": "noise"}, )" + sound + "}]}");
        double energy[2] = {0, 0};
        for (std::size_t i = 0; i < frames.size(); ++i) energy[i % 2] += double{frames[i]} * frames[i];
        return std::pair(energy[0], energy[1]);
    };
    struct Case {
        const char *listener, *sound;
        int side; ///< -1: louder on the left
    };
    for (const Case& c : {Case{"", R"("position": [2, 0, 0])", 1},
                          {"", R"("position": [0, 0, -2])", 0},
                          {R"("turn": [90, 0, 0])", R"("position": [0, 0, -2])", -1},
                          {R"("turn": [0, 0, 90])", R"("position": [0, 2, 0])", -1},
                          {R"("turn": [0, 90, 0])", R"("position": [2, 0, 0])", 1},
                          {R"("position": [5, 0, 0])", R"("position": [2, 0, 0])", -1},
                          {R"("turn": [90, 0, 0])", R"("position": [2, 0, 0], "place": "listener")", 1}}) {
        SCOPED_TRACE(std::string(c.listener) + " " + c.sound);
        const auto [left, right] = energies(c.listener, c.sound);
        const double decibels = 10 * std::log10(right / left);
        if (c.side == 0)
            EXPECT_NEAR(decibels, 0.0, 1.0);
        else
            EXPECT_GT(c.side * decibels, 3.0);
    }
}

TEST(SceneRenderer, EndsWhenAllIsSilent)
{
    const std::string scene = R"({"room": {"dimensions": [9, 9, 30]}, "sounds": [
        {"synth": {"kind": "noise", "duration": 0.1}, "start": 0.3, "position": [0, 0, -1]}]})";
    const auto frames = Rendered(scene);
    std::size_t last = 0;
    for (std::size_t i = 0; i < frames.size(); ++i)
        if (std::abs(frames[i]) > 3.17e-5f) last = i / 2;
    EXPECT_GT(last, 0.5 * 48000) << "the room rings on";
    EXPECT_GE(frames.size() / 2, last + 24000);
    EXPECT_LE(frames.size() / 2, last + 24000 + 513);
}

} // namespace
} // namespace kalscene
