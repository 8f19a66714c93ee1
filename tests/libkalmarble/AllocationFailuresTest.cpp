#include "Kal/KalEngine.h"
#include "Kal/Space/KalHrtf.h"
#include "include/KALMarble.h"
#include "tests/support/Allocations.h"
#include "tests/support/TestBuffer.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#if !KAL_THREAD_SANITIZER // where allocations cannot be made to fail

namespace kalmarble::test {
namespace {

using kal::test::AllocationsSoFar;
using kal::test::FailAllocation;
using kal::test::FailureIsDue;

constexpr KalVector3 kEye = {0, 0, 0}, kAhead = {0, 0, -1}, kUp = {0, 1, 0}, kBeside = {4, 0, 0}, kFar = {12, 0, 0};
constexpr KalReverbParam kRoom = {1, 100, 60, 5, 1};
constexpr KalPlayParam kPlain = {1, 1, 1};

void KAL_CALL NoWalls(const KalVector3*, float* result, void*)
{
    *result = 1.0f;
}

/// A host that hears a rising sound, which tells every frame that is lost, and placed ones of two channels, which tell
/// every change: eight, which fills what the library first has room for. The channels are opposites, so that nothing
/// reverberates and all is exact.
class Host {
public:
    explicit Host(int limit = 8)
    {
        parameters.maxPolyphonics = limit;
        KalInitialize(1, KAL_INTERFACE_VERSION, &kal);
        kal.init(kal.priv, &parameters);
        std::vector<unsigned char> rising(2 << 20), opposites(4 << 20);
        for (std::size_t i = 0; i < rising.size(); ++i) rising[i] = static_cast<unsigned char>(i);
        for (std::size_t i = 0; i < opposites.size(); ++i) opposites[i] = i % 2 ? 64 : 192;
        const KalBufferParam mono{rising.data(), 8, 1, 2 << 20, 48000}, stereo{opposites.data(), 8, 2, 2 << 20, 48000};
        first = kal.createBuffer(kal.priv, &mono);
        second = kal.createBuffer(kal.priv, &stereo);
        spare = kal.createBuffer(kal.priv, &stereo);
        const KalPlayParam soft = {0.125f, 1, 1};
        kal.playLocal(kal.priv, first, &soft);
        kal.respatialize(kal.priv, &kEye, &kAhead, &kUp, &kRoom);
        const KalPlayParam quarter = {0.25f, 1, 1};
        for (int i = 0; i < 8; ++i) kal.playAbsolute(kal.priv, second, &kBeside, &quarter);
        for (int frames = 0; frames < 12000; frames += lastSize) kal.render(kal.priv, stream.data(), lastSize);
        next = static_cast<int>((stream[2 * lastSize - 2] - kPlaced) * 1024) + 128 + 1;
        dropped = lastSize;
    }

    ~Host()
    {
        kal.freeBuffer(kal.priv, first);
        kal.freeBuffer(kal.priv, second);
        if (spare) kal.freeBuffer(kal.priv, spare);
        kal.destroy(kal.priv);
    }

    /// Renders and tells whether it is what was to come. When the size changes, one block may have been dropped.
    bool GoesOn(int size)
    {
        stream[0] = 0;
        kal.render(kal.priv, stream.data(), size);
        if (stream[0] == 0) return false; // as it was: the render failed
        if (size != std::exchange(lastSize, size) && stream[0] != Sample(next)) next += dropped;
        dropped = size;
        for (int i = 0; i < size; ++i)
            if (stream[2 * i] != Sample(next + i)) return false;
        next += size;
        return true;
    }

    /// Lets each allocation of a call fail in turn, until there is none left; the sound has gone on then.
    /// @returns how many there are
    int FailEach(const std::function<void()>& call)
    {
        for (int n = 0;; ++n) {
            kal.playLocal(kal.priv, nullptr, &kPlain); // leaves a text of its own
            FailAllocation(n);
            call();
            const bool isDue = FailureIsDue();
            FailAllocation(-1);
            const std::string text = kal.checkError(kal.priv);
            if (text == "Parameter buffer is null.") return n; // any failure came later, on a thread that was started
            EXPECT_EQ(text, "std::bad_alloc");
            EXPECT_FALSE(isDue);
            const bool goesOn = GoesOn(lastSize);
            EXPECT_TRUE(goesOn) << n;
            if (!goesOn) return n;
        }
    }

    /// Until whatever was to be heard would have been.
    bool WentOn()
    {
        bool goesOn = true;
        for (int frames = 0; frames < 12000; frames += lastSize) goesOn = goesOn && GoesOn(lastSize);
        return goesOn;
    }

    static constexpr float kPlaced = 8 * 0.03125f; ///< an eighth, four times as far as the reference distance
    KalInitParam parameters{48000, NoWalls, nullptr, 2, 2, nullptr, nullptr};
    KalContext kal{};
    KalSampleBuffer *first, *second, *spare;
    int lastSize = 512;

private:
    static float Sample(int frame) { return kPlaced + static_cast<float>(frame % 256 - 128) / 1024; }

    std::vector<float> stream = std::vector<float>(1 << 16);
    int next;    ///< frame of the rising sound
    int dropped; ///< frames of the block that may wait
};

std::uint64_t NotReleased()
{
    const auto now = AllocationsSoFar();
    return now.count - now.releases;
}

// In the end, with all the memory it asks for, a call works.
TEST(AllocationFailures, LeaveTheSoundAsItIsInEveryCall)
{
    const float sample = 0;
    const KalBufferParam one{&sample, 32, 1, 1, 48000};
    struct Case {
        const char* what;
        int limit; ///< with 7, the oldest sound has to give way
        int least; ///< allocations, to see that there are any; a list that a block has handed back needs none
        std::function<void(Host&)> call;
    };
    for (const Case& c : std::vector<Case>{
             {"init", 8, 1000, [](Host& h) { h.kal.init(h.kal.priv, &h.parameters); }},
             {"createBuffer", 8, 2,
              [&](Host& h) {
                  if (KalSampleBuffer* const made = h.kal.createBuffer(h.kal.priv, &one))
                      h.kal.freeBuffer(h.kal.priv, made);
              }},
             {"respatialize", 7, 9, [](Host& h) { h.kal.respatialize(h.kal.priv, &kFar, &kUp, &kAhead, &kRoom); }},
             {"playLocal", 8, 2, [](Host& h) { h.kal.playLocal(h.kal.priv, h.first, &kPlain); }},
             {"playRelative", 8, 2, [](Host& h) { h.kal.playRelative(h.kal.priv, h.second, &kFar, &kPlain); }},
             {"playAbsolute", 7, 3, [](Host& h) { h.kal.playAbsolute(h.kal.priv, h.first, &kFar, &kPlain); }},
             {"those that need no memory", 8, 0,
              [](Host& h) {
                  h.kal.freeBuffer(h.kal.priv, std::exchange(h.spare, nullptr));
                  EXPECT_TRUE(h.GoesOn(h.lastSize));
                  h.kal.checkError(h.kal.priv);
              }},
         }) {
        SCOPED_TRACE(c.what);
        {
            const Host warm;
        } // what is made once and stays
        const std::uint64_t before = NotReleased();
        {
            Host host(c.limit);
            EXPECT_GE(host.FailEach([&] { c.call(host); }), c.least);
        }
        EXPECT_EQ(NotReleased(), before);
    }
    KalContext record{};
    FailAllocation(0);
    EXPECT_THROW(KalInitialize(1, KAL_INTERFACE_VERSION, &record), std::bad_alloc);
    EXPECT_EQ(record.init, nullptr);
}

// What a block too long for memory took is given back at once, and its frames are in the next one.
TEST(AllocationFailures, LeaveNoMemoryToABlockThatIsNotRendered)
{
    constexpr int kBlock = 512, kLong = 2000;
    const auto engine = std::make_shared<kal::Engine>(kal::EngineParam{48000, 2, 2, kal::hrtfData, kal::hrtfDataSize});
    std::vector<double> frames(1 << 20);
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = static_cast<double>(i / 2) / (1 << 20);
    engine->CreateChannel(0, std::make_shared<kal::test::TestBuffer>(kal::AudioFormat::Float32, 2, 48000, frames), {});
    std::vector<float> out(2 * kLong);
    const auto render = [&](int size) {
        engine->Prerender();
        engine->Render(out.data(), size);
    };
    render(kBlock);
    const std::uint64_t before = AllocationsSoFar().heldBytes;
    int n = 0;
    for (; n < 10000; ++n) {
        FailAllocation(n);
        try {
            render(kLong);
            break;
        } catch (const std::bad_alloc&) {
            ASSERT_LT(AllocationsSoFar().heldBytes, before + 100000) << n;
        }
        render(kBlock);
        ASSERT_EQ(out[0], static_cast<float>((n + 1) * kBlock) / (1 << 20));
    }
    FailAllocation(-1);
    EXPECT_TRUE(n > 700 && n < 10000) << n; // each direction has inputs of its own
}

// Blocks longer than any before need memory, on the renderer's own thread.
TEST(AllocationFailures, LeaveTheSoundAsItIsInEveryBlock)
{
    Host host;
    int failed = 0;
    for (int size = 520;; size += 8, ++failed) {
        FailAllocation(failed);
        const bool went = host.GoesOn(size) || host.GoesOn(size); // at once, or after one failure
        ASSERT_TRUE(went) << failed;
        if (FailureIsDue()) break;
        EXPECT_STREQ(host.kal.checkError(host.kal.priv), "std::bad_alloc");
    }
    FailAllocation(-1);
    EXPECT_GT(failed, 5);
    EXPECT_TRUE(host.WentOn());
}

} // namespace
} // namespace kalmarble::test

#endif
