#include "web/engine/Stage.h"

#include "Kal/Base/KalException.h"
#include "Kal/Space/KalHrtf.h"
#include "Kal/Space/KalHrtfSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace kal::web {
namespace {

constexpr double kRate = 48000.0;
constexpr int kQuantum = 128;

std::span<const unsigned char> Shipped()
{
    return {hrtfData, hrtfDataSize};
}

// The shipped head with its ears swapped.
std::string SwappedHead()
{
    HrtfSet set = ReadHrtfSet({reinterpret_cast<const char*>(hrtfData), hrtfDataSize});
    for (HrtfRing& ring : set)
        for (HrtfAngle& angle : ring.angles) std::swap(angle.left, angle.right);
    return WriteHrtfSet(set);
}

std::span<const unsigned char> Bytes(const std::string& text)
{
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// A stage and the frames that it has rendered.
struct Session {
    explicit Session(std::span<const unsigned char> head = Shipped()) : stage(kRate, head) {}

    void AddBuffer(int id, const std::vector<float>& samples)
    {
        std::copy(samples.begin(), samples.end(),
                  stage.AddBuffer(id, 1, static_cast<std::int32_t>(samples.size()), kRate).Data());
    }

    void Render(int numQuanta)
    {
        for (; numQuanta > 0; --numQuanta) {
            const std::size_t at = left.size();
            left.resize(at + kQuantum);
            right.resize(at + kQuantum);
            stage.Render(static_cast<std::int64_t>(at), &left[at], &right[at], kQuantum);
        }
    }

    Stage stage;
    std::vector<float> left, right;
};

// A sweep from 100 to 400 Hz that comes and goes, so that it loops without a step.
std::vector<float> Sweep(std::size_t length)
{
    std::vector<float> samples(length);
    for (std::size_t i = 0; i < length; ++i) {
        const double t = double(i) / double(length), seconds = double(length) / kRate;
        const double cycles = seconds * (100.0 * t + 150.0 * t * t);
        samples[i] =
            static_cast<float>(0.1 * std::sin(2.0 * std::numbers::pi * cycles) * std::sin(std::numbers::pi * t));
    }
    return samples;
}

/// The largest step from one frame to the next within some quanta.
double LargestStep(const std::vector<float>& samples, std::size_t first, std::size_t end)
{
    double largest = 0.0;
    for (std::size_t i = first * kQuantum; i < end * kQuantum; ++i)
        largest = std::max(largest, std::abs(double(samples[i]) - double(samples[i - 1])));
    return largest;
}

VoiceStart Looped(int length)
{
    return {.isLooped = true, .loopStart = 0, .loopEnd = length};
}

TEST(Stage, DoesEverythingAtItsFrame)
{
    Session session;
    session.AddBuffer(1, std::vector<float>(100, 0.25f));
    const VoiceStart local = {.place = Place::None};
    session.stage.Add(10, 1, local, {}, 200);
    session.stage.Set(10, {{}, 2.0, NAN, NAN, NAN}, 250);
    session.stage.Add(11, 1, local, {}, 500); // and never heard
    session.stage.Stop(11, 400);
    session.stage.Add(12, 1, {.place = Place::None, .offset = 90.0}, {}, 600);
    session.stage.Stop(12, 603);
    session.stage.Seek(13, 5.0, 0); // there is none
    session.Render(8);
    session.stage.Add(14, 1, local, {}, 3); // long past: at once
    session.Render(1);

    std::vector<float> expected(9 * kQuantum);
    std::fill_n(&expected[200], 50, 0.25f);
    std::fill_n(&expected[250], 50, 0.5f);
    std::fill_n(&expected[600], 3, 0.25f);
    std::fill_n(&expected[1024], 100, 0.25f);
    // A voice rings out for some frames between its last one and silence.
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_FLOAT_EQ(session.left[i], expected[i]) << i;
    EXPECT_EQ(session.left, session.right);
    EXPECT_EQ(session.stage.TakeReport().ended, (std::vector{10, 11, 12, 14}));
    EXPECT_EQ(session.stage.TakeProblem(), "");
}

TEST(Stage, ReportsWhatWasHeard)
{
    Session session;
    session.AddBuffer(1, std::vector<float>(4 * kQuantum, 0.25f));
    session.AddBuffer(2, Sweep(1000));
    session.stage.Add(10, 1, {.place = Place::None}, {}, 0);
    session.Render(2);
    Report report = session.stage.TakeReport();
    EXPECT_EQ(report.peak[0], 0.25);
    EXPECT_NEAR(report.rms[1], 0.25, 1e-9);
    EXPECT_EQ(report.numVoices, 1u);
    EXPECT_TRUE(report.measured.empty());

    session.stage.PlaceListener({0, 0, 5}, {1, 0, 0}, {NAN, NAN, NAN}, 0);
    session.stage.Add(11, 2, Looped(1000), {{0, 0, 7}, 1.0, 1.0, 0.0, 1.0}, 0);
    session.Render(1);
    report = session.stage.TakeReport();
    ASSERT_EQ(report.measured.size(), 1u);
    EXPECT_EQ(report.measured[0].voice, 11);
    EXPECT_EQ(report.measured[0].direction.azimuth, 90.0f);
    EXPECT_EQ(report.numSides, 1u);
    session.stage.Set(11, {{NAN, NAN, NAN}, 1000.0, NAN, NAN, NAN}, 0);
    session.Render(9);
    EXPECT_GT(session.stage.TakeReport().numLimitedFrames, 0u);
}

// What the head before has left rings out; then all is as if the new one had been there from the beginning, which it is
// only if the voice's position has gone on.
TEST(Stage, GoesOnWithAnotherHead)
{
    const std::string other = SwappedHead();
    Session changed, whole{Bytes(other)};
    for (Session* session : {&changed, &whole}) {
        session->AddBuffer(1, Sweep(9001));
        session->stage.Add(10, 1, Looped(9001), {{2, 1, -1}, 1.0, 1.37, 0.3, 1.0}, 77);
        session->Render(300);
    }
    EXPECT_THROW(changed.stage.ChangeHead(Bytes("KALHRTFD")), Exception);
    changed.stage.ChangeHead(Bytes(other));
    for (Session* session : {&changed, &whole}) session->Render(400);

    double difference = 0.0, energy = 0.0;
    for (std::size_t i = 600 * kQuantum; i < whole.left.size(); ++i) {
        difference += std::pow(double(changed.left[i]) - double(whole.left[i]), 2.0);
        energy += std::pow(double(whole.left[i]), 2.0);
    }
    EXPECT_LT(10.0 * std::log10(difference / energy), -100.0);
    for (const auto* side : {&changed.left, &changed.right})
        EXPECT_LT(LargestStep(*side, 299, 303),
                  2.0 * std::max(LargestStep(*side, 100, 299), LargestStep(*side, 303, 700)));
    EXPECT_EQ(changed.stage.TakeReport().numVoices, 1u);
}

// With no voice left, the engines of new heads are silent: what rings is what is heard.
TEST(Stage, LetsEveryTailRingOut)
{
    const auto ringing = [](int numChanges, int quantaBetween) {
        Session session;
        session.stage.SetRoom({1.0f, 2000.0f, 800.0f, 20.0f, 1.0f}, 0);
        session.AddBuffer(1, Sweep(4000));
        session.stage.Add(10, 1, {}, {{1, 0, -1}, 1.0, 1.0, 0.0, 1.0}, 0);
        session.Render(50);
        for (int i = 0; i < numChanges; ++i) {
            session.stage.ChangeHead(Shipped());
            session.Render(quantaBetween);
        }
        session.Render(150 - numChanges * quantaBetween);
        return session.left;
    };
    const auto once = ringing(1, 0);
    EXPECT_GT(LargestStep(once, 100, 200), 1e-5);
    EXPECT_EQ(once, ringing(2, 10));
    EXPECT_EQ(once, ringing(9, 1));
    EXPECT_EQ(once, ringing(9, 0));
}

// Each engine has sounded when the next one comes, so there are soon too many.
TEST(Stage, FadesTailsThatAreTooMany)
{
    Session session;
    session.stage.SetRoom({1.0f, 2000.0f, 800.0f, 20.0f, 1.0f}, 0);
    session.AddBuffer(1, Sweep(9001));
    session.stage.Add(10, 1, Looped(9001), {{2, 1, -1}, 1.0, 1.0, 0.0, 1.0}, 0);
    session.Render(300);
    for (int i = 0; i < 12; ++i) {
        session.stage.ChangeHead(Shipped());
        session.Render(4);
    }
    session.stage.Stop(10, 0);
    session.Render(400);
    EXPECT_LT(LargestStep(session.left, 300, 348), 2.0 * LargestStep(session.left, 100, 300));
    EXPECT_EQ(session.stage.TakeProblem(), "");
}

// As when a context is suspended: what is told meanwhile comes to what was told last.
TEST(Stage, TakesWhatWasToldWhileNothingWasRendered)
{
    const auto rendered = [](int numTold) {
        Session session;
        session.AddBuffer(1, Sweep(9001));
        session.stage.Add(10, 1, Looped(9001), {{2, 1, -1}, 1.0, 1.0, 0.0, 1.0}, 0);
        session.Render(10);
        const float left = NAN;
        for (int i = 1; i <= numTold; ++i) {
            const float at = static_cast<float>(i) / static_cast<float>(numTold);
            session.stage.Set(10, {{at, left, left}, NAN, NAN, NAN, NAN}, i % 2 ? 0 : 10 * kQuantum);
            session.stage.PlaceListener({0, 0, at}, {left, left, left}, {left, left, left}, 0);
        }
        session.stage.Set(10, {{left, left, left}, 0.5, NAN, NAN, NAN}, 10 * kQuantum);
        const Vector3 eye = numTold == 1 ? Vector3{0, 0, 1} : Vector3{left, left, left};
        session.stage.PlaceListener(eye, {1, 0, 0}, {left, left, left}, 0);
        session.Render(20);
        return session.left;
    };
    EXPECT_EQ(rendered(1), rendered(1000));
}

TEST(Stage, IsSilentWhileTheListenerIsNowhere)
{
    Session session;
    session.AddBuffer(1, Sweep(9001));
    session.stage.Add(10, 1, Looped(9001), {{2, 1, -1}, 1.0, 1.0, 0.0, 1.0}, 0);
    session.stage.PlaceListener({}, {0, 1, 0}, {0, 1, 0}, 0);
    session.Render(20);
    EXPECT_EQ(LargestStep(session.left, 1, 20), 0.0);
    EXPECT_EQ(session.stage.TakeReport().numVoices, 1u);
    session.stage.PlaceListener({}, {0, 0, -1}, {0, 1, 0}, 0);
    session.Render(20);
    EXPECT_GT(LargestStep(session.left, 30, 40), 0.0);
}

TEST(Stage, RefusesWhatCannotBe)
{
    Session session;
    session.AddBuffer(1, {0.5f});
    EXPECT_THROW(session.stage.AddBuffer(2, 3, 10, kRate), Exception);
    EXPECT_THROW(session.stage.AddBuffer(2, 1, -1, kRate), Exception);
    EXPECT_THROW(session.stage.AddBuffer(2, 1, 10, 0.0), Exception);
    EXPECT_THROW(session.stage.Add(10, 7, {}, {}, 0), Exception);
    EXPECT_THROW(session.stage.Add(10, 1, Looped(0), {}, 0), Exception);
    session.stage.Add(10, 1, {.place = Place::None}, {}, 0);
    session.stage.Set(10, {{}, 1.0, -1.0, 0.0, 1.0}, 0);
    session.Render(1);
    EXPECT_EQ(session.stage.TakeProblem(), "Speed is not positive.");
    EXPECT_EQ(session.left[0], 0.5f);
}

} // namespace
} // namespace kal::web
