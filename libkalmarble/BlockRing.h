#pragma once

#include "Kal/Base/KalGate.h"
#include "Kal/Base/KalLock.h"

#include <cstddef>
#include <exception>
#include <vector>

namespace kalmarble {

/// Hands rendered blocks from the background thread to the host's audio thread, one at a time: a block waits to be read
/// before the next one is begun. A block whose size is not the one asked for is dropped.
class BlockRing {
public:
    /// [background] Waits until no block waits to be read. Returns at once after Close.
    void WaitForTurn() { consumerGate.Pass(); }

    /// [background] In its turn: makes room for a block of `count` floats.
    void Reserve(std::size_t count);

    /// [background] Hands over a block for which there is room; an empty one is no block.
    void Write(const std::vector<float>& block) noexcept;

    /// [background] Hands over the failure to render a block of `count` floats, and gives back the room for it; the
    /// Read that asks for it throws it.
    void Fail(std::size_t count, std::exception_ptr error) noexcept;

    /// [audio] Waits for a block of `count` floats and copies it to out; drops blocks of another size and the failures
    /// to render one. Throws what was handed over instead of the block.
    void Read(float* out, std::size_t count);

    /// [control] Lets a background thread that waits for its turn go on, for the last time.
    void Close();

private:
    void HandOver();
    void TakeTurnBack();

    static constexpr std::size_t kLeastSize = 1024;

    std::vector<float> ring = std::vector<float>(kLeastSize);
    std::size_t ringReadPos = 0;
    std::size_t ringCount = 0;
    std::exception_ptr failure;  ///< handed over instead of a block
    std::size_t failedCount = 0; ///< floats of that block
    kal::Mutex ringMutex;        ///< guards all of the above

    // Each is locked by one side and unlocked by the other.
    kal::Gate producerGate{false}; ///< locked while no block is ready for the reader; only Read waits on it
    kal::Gate consumerGate{true};  ///< locked while a block waits to be read; only the background thread waits on it
};

} // namespace kalmarble
