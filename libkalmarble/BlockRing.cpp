#include "libkalmarble/BlockRing.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace kalmarble {

// The turns keep the ring empty here: there is nothing to take over.
void BlockRing::Reserve(std::size_t count)
{
    std::lock_guard lock(ringMutex);
    if (ring.size() >= count) return;
    std::size_t size = kLeastSize;
    while (size < count) size *= 2;
    ring = std::vector<float>(size);
    ringReadPos = 0;
}

void BlockRing::Write(const std::vector<float>& block) noexcept
{
    std::lock_guard lock(ringMutex);
    if (block.empty()) return;
    // A block starts where the reader stands.
    const std::size_t beforeEnd = std::min(block.size(), ring.size() - ringReadPos);
    std::copy_n(block.begin(), beforeEnd, ring.begin() + static_cast<std::ptrdiff_t>(ringReadPos));
    std::copy(block.begin() + static_cast<std::ptrdiff_t>(beforeEnd), block.end(), ring.begin());
    ringCount = block.size();
    HandOver();
}

void BlockRing::Fail(std::size_t count, std::exception_ptr error) noexcept
{
    std::lock_guard lock(ringMutex);
    ring = std::vector<float>();
    ringReadPos = 0;
    failedCount = count;
    failure = std::move(error);
    HandOver();
}

void BlockRing::Read(float* out, std::size_t count)
{
    for (bool isRead = count == 0; !isRead;) {
        producerGate.Pass();
        std::lock_guard lock(ringMutex);
        const std::exception_ptr failed = std::exchange(failure, nullptr);
        isRead = (failed ? failedCount : ringCount) == count;
        if (!failed) {
            if (isRead) {
                const std::size_t beforeEnd = std::min(ringCount, ring.size() - ringReadPos);
                const auto start = ring.begin() + static_cast<std::ptrdiff_t>(ringReadPos);
                std::copy_n(ring.begin(), ringCount - beforeEnd, std::copy_n(start, beforeEnd, out));
            }
            ringReadPos = (ringReadPos + ringCount) % ring.size();
            ringCount = 0;
        }
        TakeTurnBack(); // last: the first thing that the other side does in its turn is to take the lock
        if (failed && isRead) std::rethrow_exception(failed);
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
