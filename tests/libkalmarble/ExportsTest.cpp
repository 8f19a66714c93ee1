#include "tests/support/ContextHost.h"
#include "tests/support/FloatState.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>

namespace kalmarble::test {
namespace {

constexpr KalVector3 kHere = {0, 0, 0}, kBeside = {2, 0, 0}, kFront = {0, 0, -1}, kTop = {0, 1, 0};
constexpr int kBlock = 512;

using kal::test::FloatState;

void KAL_CALL NoWalls(const KalVector3*, float* result, void*)
{
    *result = 1.0f;
}

KalInitParam Parameters(double rate, int numThreads = 2)
{
    return {rate, NoWalls, nullptr, numThreads, 8, nullptr, nullptr};
}

/// The record that a host fills, not yet initialized.
struct Table : KalContext {
    Table() : KalContext{} { KalInitialize(1, KAL_INTERFACE_VERSION, this); }
    ~Table() { destroy(priv); }

    /// The left ear of the last frame once whatever was played has begun.
    float Settled()
    {
        for (int frames = 0; frames < kStart; frames += kBlock) render(priv, stream.data(), kBlock);
        return stream[2 * kBlock - 2];
    }

    std::array<float, std::size_t{2} * kBlock> stream{};
};

TEST(Exports, InitializeChecksItsArgumentsInOrder)
{
    constexpr char kMagic[] = "Magic is invalid.", kRecord[] = "Null pointer for context return destination!",
                   kVersion[] = "Interface version unmatch. This library's version is '1'.";
    struct Case {
        std::uint32_t magic;
        std::int32_t version;
        bool hasRecord;
        const char* text;
    };
    for (const Case c : {Case{0, 2, false, kMagic},
                         {0, 1, true, kMagic},
                         {1, 2, false, kRecord},
                         {1, 1, false, kRecord},
                         {1, 2, true, kVersion},
                         {1, 0, true, kVersion},
                         {1, 1, true, nullptr},
                         {~0u, 1, true, nullptr}}) {
        KalContext kal{};
        EXPECT_STREQ(KalInitialize(c.magic, c.version, c.hasRecord ? &kal : nullptr), c.text);
        ASSERT_EQ(kal.priv == nullptr, c.text != nullptr);
        if (c.text) continue;
        EXPECT_EQ(kal.checkError(kal.priv), nullptr);
        kal.destroy(kal.priv);
        kal.destroy(nullptr);
    }
}

// No two calls in a row fail with the same text, so each writes its own.
TEST(Exports, CheckArgumentsInOrder)
{
    Table kal, uninitialized;
    const auto parameters = Parameters(48000);
    kal.init(kal.priv, &parameters);
    Buffer sound = ConstantBuffer(0.25f, 1), threeChannels = ConstantBuffer(0.25f, 3, 100);
    Buffer* const buffer = &sound;
    float* const out = kal.stream.data();
    const KalPlayParam still = {1, 0, 1}, speedless = {1, NAN, 1}, gainless = {NAN, 1, 1};
    const KalBufferParam samples = {out, 24, 1, 480, 48000};
    struct Case {
        std::string text;
        std::function<void(const Table&)> call;
    };
    for (const Case& c : std::vector<Case>{
             {"Parameter stream is null.", [&](auto& t) { t.render(t.priv, nullptr, -1); }},
             {"Frame count is negative.", [&](auto& t) { t.render(t.priv, out, -1); }},
             {"Parameter is null.", [&](auto& t) { EXPECT_FALSE(t.createBuffer(t.priv, nullptr)); }},
             {"Invalid sample bits.", [&](auto& t) { EXPECT_FALSE(t.createBuffer(t.priv, &samples)); }},
             {"Parameter is null.", [&](auto& t) { t.freeBuffer(t.priv, nullptr); }},
             {"Parameter eye is null.", [&](auto& t) { t.respatialize(t.priv, nullptr, nullptr, nullptr, nullptr); }},
             {"Parameter front is null.", [&](auto& t) { t.respatialize(t.priv, &kHere, nullptr, nullptr, nullptr); }},
             {"Parameter up is null.", [&](auto& t) { t.respatialize(t.priv, &kHere, &kFront, nullptr, nullptr); }},
             {"Parameter reverb is null.", [&](auto& t) { t.respatialize(t.priv, &kHere, &kFront, &kTop, nullptr); }},
             {"Parameter buffer is null.", [&](auto& t) { t.playAbsolute(t.priv, nullptr, nullptr, nullptr); }},
             {"Parameter origin is null.", [&](auto& t) { t.playAbsolute(t.priv, buffer, nullptr, nullptr); }},
             {"Parameter params is null.", [&](auto& t) { t.playAbsolute(t.priv, buffer, &kHere, nullptr); }},
             {"Parameter buffer is null.", [&](auto& t) { t.playRelative(t.priv, nullptr, nullptr, nullptr); }},
             {"Parameter origin is null.", [&](auto& t) { t.playRelative(t.priv, buffer, nullptr, nullptr); }},
             {"Parameter params is null.", [&](auto& t) { t.playRelative(t.priv, buffer, &kHere, nullptr); }},
             {"Parameter buffer is null.", [&](auto& t) { t.playLocal(t.priv, nullptr, nullptr); }},
             {"Parameter params is null.", [&](auto& t) { t.playLocal(t.priv, buffer, nullptr); }},
             {"Speed is not positive.", [&](auto& t) { t.playLocal(t.priv, buffer, &still); }},
             {"NaN speed.", [&](auto& t) { t.playRelative(t.priv, buffer, &kBeside, &speedless); }},
             {"NaN gain.", [&](auto& t) { t.playLocal(t.priv, buffer, &gainless); }},
             {"Invalid channel count: 3", [&](auto& t) { t.playLocal(t.priv, &threeChannels, &kPlain); }},
         }) {
        c.call(kal);
        EXPECT_EQ(kal.checkError(kal.priv), c.text);
        c.call(uninitialized);
        EXPECT_STREQ(uninitialized.checkError(uninitialized.priv), "Not initialized.") << c.text;
    }
    EXPECT_EQ(kal.Settled(), 0.0f); // no failed call is heard
    kal.playLocal(kal.priv, buffer, &kPlain);
    EXPECT_EQ(kal.Settled(), 0.25f);
    EXPECT_STREQ(kal.checkError(kal.priv), "Invalid channel count: 3"); // which no success takes back
}

// From (3, 0, 0), the place (4, 0, 0) is one metre off; relative to the listener, it is four.
TEST(Exports, TellPlacesInTheWorldFromPlacesBesideTheListener)
{
    constexpr KalVector3 kEyes = {3, 0, 0}, kPlace = {4, 0, 0};
    constexpr KalReverbParam kNoRoom = {0, 0, 0, 0, 0};
    const auto parameters = Parameters(48000);
    Buffer sound = ConstantBuffer(0.25f, 2);
    for (const bool isRelative : {false, true}) {
        Table kal;
        kal.init(kal.priv, &parameters);
        kal.respatialize(kal.priv, &kEyes, &kFront, &kTop, &kNoRoom);
        (isRelative ? kal.playRelative : kal.playAbsolute)(kal.priv, &sound, &kPlace, &kPlain);
        EXPECT_EQ(kal.Settled(), isRelative ? 0.0625f : 0.25f);
    }
}

TEST(Exports, InitReplacesARunningContextOrLeavesItAlone)
{
    Table kal;
    Buffer sound = ConstantBuffer(0.25f, 1);
    auto parameters = Parameters(48000);
    kal.init(kal.priv, &parameters);
    kal.playLocal(kal.priv, &sound, &kPlain);
    EXPECT_EQ(kal.Settled(), 0.25f);
    struct Case {
        double rate;
        int numThreads;
        std::string text;
    };
    for (const Case& c : {Case{3999, 1, "Invalid sampling rate: 3999.000000"},
                          {-48000, -1, "Invalid sampling rate: -48000.000000"},
                          {NAN, 1, "Invalid sampling rate: "},
                          {48000, -1, "Invalid thread count: 4294967295"}}) {
        parameters = Parameters(c.rate, c.numThreads);
        kal.init(kal.priv, &parameters);
        EXPECT_EQ(std::string(kal.checkError(kal.priv)).substr(0, c.text.size()), c.text);
        kal.render(kal.priv, kal.stream.data(), kBlock);
        EXPECT_EQ(kal.stream.back(), 0.25f);
    }
    parameters = Parameters(96000, 64);
    kal.init(kal.priv, &parameters);
    EXPECT_EQ(kal.Settled(), 0.0f);
    kal.playLocal(kal.priv, &sound, &kPlain);
    EXPECT_EQ(kal.Settled(), 0.25f);
}

// Plays a two-channel constant where each of its numbers has to be rounded; returns a frame's left ear. What is done in
// that state only moves numbers: arithmetic of the host's own might be trapped.
float HearInState(const FloatState& state, Buffer& sound)
{
    constexpr KalVector3 kEyes = {0.1f, 0.7f, -0.3f}, kAskew = {0.6f, 0.1f, -0.77f}, kPlace = {3.3f, 1.7f, -2.9f};
    constexpr KalReverbParam kRoom = {0, 55.5f, 33.3f, 0, 0};
    constexpr KalPlayParam kHow = {0.77f, 1, 0.9f};
    const KalInitParam parameters = Parameters(48000);
    const FloatState usual = FloatState::OfThisThread();
    state.Set();
    float heard;
    {
        Table kal;
        kal.init(kal.priv, &parameters);
        kal.respatialize(kal.priv, &kEyes, &kAskew, &kTop, &kRoom);
        kal.playAbsolute(kal.priv, &sound, &kPlace, &kHow);
        heard = kal.Settled();
        kal.render(kal.priv, kal.stream.data(), -1);
    }
    const FloatState after = FloatState::OfThisThread();
    usual.Set();
    EXPECT_EQ(after, state);
    return heard;
}

TEST(Exports, SoundTheSameInEveryFloatingPointState)
{
    Buffer sound = ConstantBuffer(0.3f, 2, 48000);
    const float expected = HearInState(FloatState::OfThisThread(), sound);
    EXPECT_GT(expected, 0.0f);
    for (const FloatState& state : kal::test::kFloatStates) {
        SCOPED_TRACE(testing::Message() << std::hex << state.control);
        EXPECT_EQ(HearInState(state, sound), expected);
    }
}

#ifdef __i386__
// Calls an entry with up to five arguments and a stack that is `shift` bytes off its alignment. Not to be inlined where
// vector registers hold something.
template<class Entry, class... Arguments>
[[gnu::noinline]] void CallOff(std::uintptr_t shift, Entry entry, Arguments... arguments)
{
    const std::uintptr_t words[6] = {std::uintptr_t(arguments)...};
    asm volatile("movl %%esp, %%ebx\n\t"
                 "andl $-16, %%esp\n\t"
                 "subl %[shift], %%esp\n\t"
                 "pushl 16(%[words])\n\t"
                 "pushl 12(%[words])\n\t"
                 "pushl 8(%[words])\n\t"
                 "pushl 4(%[words])\n\t"
                 "pushl (%[words])\n\t"
                 "call *%[entry]\n\t"
                 "movl %%ebx, %%esp"
                 : [shift] "+c"(shift)
                 : [words] "S"(words), [entry] "D"(entry)
                 : "eax", "ebx", "edx", "memory", "cc");
}

TEST(Exports, WorkOnStacksAlignedToFourBytes)
{
    constexpr KalReverbParam kNoRoom = {0, 0, 0, 0, 0};
    const KalInitParam parameters = Parameters(48000);
    Buffer sound = ConstantBuffer(0.25f, 1);
    for (std::uintptr_t shift = 0; shift < 16; shift += 4) {
        Table kal;
        CallOff(shift, kal.init, kal.priv, &parameters);
        CallOff(shift, kal.respatialize, kal.priv, &kHere, &kFront, &kTop, &kNoRoom);
        CallOff(shift, kal.playAbsolute, kal.priv, &sound, &kBeside, &kPlain);
        CallOff(shift, kal.playRelative, kal.priv, &sound, &kBeside, &kPlain);
        for (int i = 0; i < 30; ++i) CallOff(shift, kal.render, kal.priv, kal.stream.data(), kBlock);
        EXPECT_NE(kal.stream.back(), 0.0f);
        CallOff(shift, kal.playLocal, kal.priv, nullptr);
        EXPECT_STREQ(kal.checkError(kal.priv), "Parameter buffer is null.");
        CallOff(shift, kal.destroy, std::exchange(kal.priv, nullptr));
    }
}
#endif

} // namespace
} // namespace kalmarble::test
