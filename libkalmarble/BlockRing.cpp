#include "libkalmarble/BlockRing.h"

#include <algorithm>
#include <utility>

namespace kalmarble {

void BlockRing::Write(const std::vector<float>& block)
{
    std::lock_guard lock(ringMutex);
    if (block.empty()) return;
    if (ring.size() - ringCount < block.size()) {
        std::size_t size = ring.size();
        while (size < ringCount + block.size()) size *= 2;
        std::vector<float> grown(size);
        for (std::size_t i = 0; i < ringCount; ++i) grown[i] = ring[(ringReadPos + i) % ring.size()];
        ring.swap(grown);
        ringReadPos = 0;
    }
    // The turns keep the ring empty here, so a block starts where the reader stands.
    const std::size_t beforeEnd = std::min(block.size(), ring.size() - ringReadPos);
    std::copy_n(block.begin(), beforeEnd, ring.begin() + static_cast<std::ptrdiff_t>(ringReadPos));
    std::copy(block.begin() + static_cast<std::ptrdiff_t>(beforeEnd), block.end(), ring.begin());
    const bool wasEmpty = ringCount == 0;
    ringCount += block.size();
    if (wasEmpty) HandOver();
}

void BlockRing::Fail(std::size_t count, std::exception_ptr error)
{
    std::lock_guard lock(ringMutex);
    failedCount = count;
    failure = std::move(error);
    HandOver();
}

void BlockRing::Read(float* out, std::size_t count)
{
    for (std::size_t remaining = count; remaining != 0;) {
        producerGate.Pass();
        std::lock_guard lock(ringMutex);
        const std::exception_ptr failed = std::exchange(failure, nullptr);
        if (failed && failedCount == remaining) {
            TakeTurnBack();
            std::rethrow_exception(failed);
        }
        if (remaining == ringCount) {
            const std::size_t beforeEnd = std::min(ringCount, ring.size() - ringReadPos);
            const auto start = ring.begin() + static_cast<std::ptrdiff_t>(ringReadPos);
            out = std::copy_n(start, beforeEnd, out);
            out = std::copy_n(ring.begin(), ringCount - beforeEnd, out);
            remaining -= ringCount;
        }
        ringReadPos = (ringReadPos + ringCount) % ring.size();
        ringCount = 0;
        TakeTurnBack();
    }
}

void BlockRing::Close()
{
    std::lock_guard lock(ringMutex);
    if (ringCount == 0 && !failure) return;
    ringCount = 0;
    failure = nullptr;
    TakeTurnBack();
}

void BlockRing::HandOver()
{
    producerGate.Unlock();
    consumerGate.Lock();
}

void BlockRing::TakeTurnBack()
{
    producerGate.Lock();
    consumerGate.Unlock();
}

} // namespace kalmarble
