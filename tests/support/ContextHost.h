#pragma once

#include "libkalmarble/Context.h"

#include <cmath>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kalmarble::test {

inline constexpr PlayParam kPlain = {1, 1, 1};
inline constexpr kal::Vector3 kEye = {0, 0, 0}, kAhead = {0, 0, -1}, kUp = {0, 1, 0};

/// Frames after which a sound that was started before has begun: the longest start offset and the block before.
inline constexpr int kStart = 10000 + 1024;

inline Buffer MakeBuffer(const std::vector<float>& samples, int channels, double rate = 48000)
{
    return Buffer({samples.data(), 32, channels, static_cast<int>(samples.size()) / channels, rate});
}

/// A sound of one value, long enough for most.
inline Buffer ConstantBuffer(float value, int channels, int frames = 480000)
{
    return MakeBuffer(std::vector<float>(static_cast<std::size_t>(channels * frames), value), channels);
}

/// A context with a host that answers occlusion queries, counts them and keeps what it is told.
struct ContextHost {
    explicit ContextHost(int maxPolyphonics = 8, double rate = 48000, int numThreads = 1)
        : context(std::make_shared<Context>(InitParam{rate, Ask, this, numThreads, maxPolyphonics, Keep, &log}))
    {
    }

    /// The next frames, interleaved, as one block. Frames are lost when the block before was of another size.
    std::vector<float> Render(int numFrames) const
    {
        std::vector<float> out(2 * static_cast<std::size_t>(numFrames), NAN);
        context->Render(out.data(), numFrames);
        return out;
    }

    /// The next frames and up to 511 more, in blocks of the size that the renderer begins with.
    std::vector<float> Hear(int numFrames) const
    {
        constexpr int kBlock = 512;
        std::vector<float> out;
        for (int done = 0; done < numFrames; done += kBlock) {
            const auto block = Render(kBlock);
            out.insert(out.end(), block.begin(), block.end());
        }
        return out;
    }

    /// The left ear of the last of the next frames. What was rendered ahead, and so knows nothing of the calls since,
    /// is dropped by asking for another size first.
    float ValueAfter(int numFrames) const
    {
        Render(1);
        return Render(numFrames)[2 * static_cast<std::size_t>(numFrames) - 2];
    }

    void Respatialize(const kal::Vector3& eye = kEye, float roomSize = 0, float wetLevel = 0) const
    {
        context->Respatialize(eye, kAhead, kUp, {wetLevel, 0, 0, roomSize, wetLevel});
    }

    float occlusion = 1.0f;
    int queries = 0;
    KalVector3 asked{}; ///< the latest place
    struct Log {
        std::vector<std::string> lines;
        std::mutex mutex; ///< guards lines, which come from two threads
    } log;
    std::shared_ptr<Context> context; ///< gone before what it calls

private:
    static void KAL_CALL Ask(const KalVector3* place, float* result, void* data)
    {
        auto* const host = static_cast<ContextHost*>(data);
        ++host->queries;
        host->asked = *place;
        *result = host->occlusion;
    }

    static void KAL_CALL Keep(const char* line, void* data)
    {
        auto* const log = static_cast<Log*>(data);
        std::lock_guard lock(log->mutex);
        log->lines.emplace_back(line);
    }
};

} // namespace kalmarble::test
