// Any bytes at all as what a host does: calls of every entry on two contexts, with arguments of every kind that the
// caller may get wrong. Each call either fails with a text or works; what is rendered stays within -1 ... 1.

#include "include/KALMarble.h"
#include "tests/support/Allocations.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity(), kNan = std::numeric_limits<float>::quiet_NaN();
constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();

constexpr float kFloats[] = {0,     1,     -1,    0.5f,  1e-3f,  1e-38f, 1e-45f,    2,          3.7f,
                             -0.0f, 1e10f, 1e30f, 3e38f, -3e38f, kNan,   kInfinity, -kInfinity, 100};
constexpr double kRates[] = {48000, 44100, 8000, 4000, 96000, 320000, 3999, 1e-300, 1e300, 0, -1, kNan, kInfinity};
constexpr int kThreads[] = {1, 2, 3, -1, 257, kMost, kLeast}; // 0 is a programming error and ends the process
constexpr int kLimits[] = {8, 2, 1, 0, -1, kMost, kLeast};
constexpr int kFrames[] = {64, 100, 256, 480, 512, 1000, 1, 0, 4096, -1, kLeast, kMost, 0x20000000, 0x1fffffff};
constexpr int kBits[] = {8, 16, 32, 24, 0, kLeast};
constexpr int kChannels[] = {1, 2, 0, 3, -1, kMost};
constexpr int kLengths[] = {0, 1, 2, 7, 100, 1000, -1, kMost, kLeast};

constexpr std::size_t kMostCalls = 100;
constexpr std::size_t kMostBytes = 64u << 20; // more is no memory

/// The input, byte by byte; zeros behind its end.
class Bytes {
public:
    Bytes(const std::uint8_t* first, std::size_t size) : next(first), end(first + size) {}

    bool AtEnd() const { return next == end; }
    unsigned Byte() { return AtEnd() ? 0 : *next++; }

    template<class T, std::size_t n>
    T Of(const T (&choices)[n])
    {
        return choices[Byte() % n];
    }

    /// One of the table or, as often, any float at all.
    float Float()
    {
        const unsigned choice = Byte();
        if (choice < 128) return kFloats[choice % std::size(kFloats)];
        const std::uint32_t bits = Byte() | Byte() << 8 | Byte() << 16 | Byte() << 24;
        float x;
        std::memcpy(&x, &bits, sizeof x);
        return x;
    }

    KalVector3 Vector() { return {Float(), Float(), Float()}; }

private:
    const std::uint8_t* next;
    const std::uint8_t* end;
};

void KAL_CALL Answer(const KalVector3*, float* result, void* answer)
{
    *result = *static_cast<const float*>(answer);
}

void KAL_CALL Ignore(const char*, void*) {}

void Check(bool holds)
{
    if (!holds) std::abort();
}

/// A host with one context and the buffers it made.
class Host {
public:
    explicit Host(Bytes& input) : bytes(input) { Check(!KalInitialize(1, KAL_INTERFACE_VERSION, &kal)); }

    ~Host()
    {
        kal.destroy(kal.priv); // buffers outlive it
        // A handle can be given back to any context that runs; so it is to another one here.
        KalContext last;
        KalInitialize(1, KAL_INTERFACE_VERSION, &last);
        const KalInitParam plain{48000, nullptr, nullptr, 1, 8, nullptr, nullptr};
        bool isRunning = false;
        for (KalSampleBuffer* buffer : buffers) {
            if (!buffer) continue;
            if (!isRunning) last.init(last.priv, &plain);
            isRunning = true;
            last.freeBuffer(last.priv, buffer);
        }
        last.destroy(last.priv);
    }

    void Call()
    {
        switch (const unsigned entry = bytes.Byte() % 16) {
        case 0:
            Init();
            break;
        case 1:
            if (const char* text = kal.checkError(kal.priv)) Check(text[0] != '\0');
            break;
        case 2:
            CreateBuffer();
            break;
        case 3:
            FreeBuffer();
            break;
        case 4:
        case 5:
            Respatialize();
            break;
        case 12:
            Together();
            break;
        case 6:
            kal.destroy(kal.priv);
            Check(!KalInitialize(1, KAL_INTERFACE_VERSION, &kal));
            break;
        case 7:
        case 8:
        case 9:
        case 10:
        case 11:
            Play(entry);
            break;
        default:
            Render();
            break;
        }
    }

    void Init()
    {
        const KalInitParam parameters{bytes.Of(kRates),  Answer, &occlusion, bytes.Of(kThreads),
                                      bytes.Of(kLimits), Ignore, nullptr};
        kal.init(kal.priv, &parameters);
    }

private:
    void CreateBuffer()
    {
        // As many as the longest possible buffer has: 1000 frames of two channels of four bytes.
        std::vector<float> samples(2000);
        const unsigned fill = bytes.Byte();
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = fill < 96    ? kFloats[fill % std::size(kFloats)]
                         : fill < 160 ? kFloats[(fill + i) % std::size(kFloats)]
                                      : std::sin(static_cast<float>(i * fill));
        KalBufferParam parameters{samples.data(), bytes.Of(kBits), bytes.Of(kChannels), bytes.Of(kLengths),
                                  bytes.Float() * 1000.0};
        if (bytes.Byte() < 16) parameters.data = nullptr;
        // Samples that are not there are the caller's fault.
        const double count = double(parameters.numSamples) * parameters.numChannels;
        if (parameters.data && count > 2000 && count < 1e9) return;
        KalSampleBuffer*& slot = Slot();
        if (!slot) slot = kal.createBuffer(kal.priv, bytes.Byte() < 8 ? nullptr : &parameters);
    }

    void FreeBuffer()
    {
        KalSampleBuffer*& slot = Slot();
        kal.freeBuffer(kal.priv, slot);
        if (IsInitialized()) slot = nullptr;
    }

    // A failed call stores a text of its own; this one tells whether there is a context.
    bool IsInitialized() const
    {
        kal.playLocal(kal.priv, nullptr, nullptr);
        return std::strcmp(kal.checkError(kal.priv), "Not initialized.") != 0;
    }

    void Respatialize()
    {
        occlusion = bytes.Float();
        const KalVector3 eye = bytes.Vector(), front = bytes.Vector(), up = bytes.Vector();
        const KalReverbParam room{bytes.Float(), bytes.Float(), bytes.Float(), bytes.Float(), bytes.Float()};
        const unsigned missing = bytes.Byte();
        kal.respatialize(kal.priv, missing == 1 ? nullptr : &eye, missing == 2 ? nullptr : &front,
                         missing == 3 ? nullptr : &up, missing == 4 ? nullptr : &room);
    }

    void Play(unsigned entry)
    {
        KalSampleBuffer* const buffer = Slot();
        const KalPlayParam how{bytes.Float(), bytes.Float(), bytes.Float()};
        const KalVector3 origin = bytes.Vector();
        const unsigned missing = bytes.Byte();
        const KalPlayParam* const params = missing == 1 ? nullptr : &how;
        const KalVector3* const place = missing == 2 ? nullptr : &origin;
        if (entry == 7)
            kal.playLocal(kal.priv, buffer, params);
        else
            (entry % 2 ? kal.playRelative : kal.playAbsolute)(kal.priv, buffer, place, params);
    }

    void Render()
    {
        const int frames = bytes.Of(kFrames);
        stream.assign(2 * 4096, 0.0f);
        kal.render(kal.priv, stream.data(), frames);
        for (const float x : stream) Check(std::fabs(x) <= 1.0f);
    }

    // What may run at the same time does: two audio threads, a loader, and game calls, which may replace the context;
    // or nothing is rendered while the game goes on.
    void Together()
    {
        const int sizes[] = {bytes.Of(kFrames), bytes.Of(kFrames)};
        std::vector<std::thread> threads;
        for (const int size : sizes) {
            if (bytes.Byte() % 4 == 0) continue;
            threads.emplace_back([this, size] {
                std::vector<float> out(2 * 4096);
                for (int i = 0; i < 3; ++i) kal.render(kal.priv, out.data(), size);
                for (const float x : out) Check(std::fabs(x) <= 1.0f);
            });
        }
        threads.emplace_back([this] {
            const float silence = 0;
            const KalBufferParam one{&silence, 32, 1, 1, 48000};
            if (KalSampleBuffer* const made = kal.createBuffer(kal.priv, &one)) kal.freeBuffer(kal.priv, made);
        });
        const unsigned action = bytes.Byte() % 3;
        if (action == 0) Init();
        for (int i = action == 1 ? 20 : 1; i > 0; --i) Respatialize();
        for (std::thread& thread : threads) thread.join();
    }

    KalSampleBuffer*& Slot() { return buffers[bytes.Byte() % buffers.size()]; }

    Bytes& bytes;
    KalContext kal{};
    float occlusion = 1.0f;
    std::array<KalSampleBuffer*, 6> buffers{};
    std::vector<float> stream;
};

} // namespace

// Read by the sanitizer when a program starts.
extern "C" const char* __asan_default_options()
{
    return "hard_rss_limit_mb=2048";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    kal::test::LimitAllocations(kMostBytes);
    Bytes bytes(data, size);
    Host one(bytes), other(bytes);
    one.Init();
    for (std::size_t calls = 0; calls < kMostCalls && !bytes.AtEnd(); ++calls) (bytes.Byte() % 4 ? one : other).Call();
    return 0;
}
