#pragma once

#include "Kal/Base/KalAlignedVector.h"

namespace kal {

/// The buses that one worker renders a block of n frames into; they are summed when all workers are done.
struct ThreadLocalBuffer {
    AlignedVector mix;        ///< 2n, interleaved stereo; worker 0's becomes the output
    AlignedVector scratch;    ///< n, one voice's mono signal on its way to its spatializer source
    AlignedVector spatialOut; ///< 2n, interleaved stereo of the directions that this worker finished
    AlignedVector reverbSend; ///< n, mono send into the reverb network
    AlignedVector lowSend;    ///< n, mono send into the low-band enhancer

    bool isUsed = false; ///< the worker takes part in the block

    /// [render] Makes room for blocks of up to n frames. Allocates only for a block longer than any before.
    void Reserve(unsigned n)
    {
        for (AlignedVector* stereo : {&mix, &spatialOut}) stereo->reserve(2 * std::size_t{n});
        for (AlignedVector* mono : {&scratch, &reverbSend, &lowSend}) mono->reserve(n);
    }

    /// [render] Sizes every bus for n frames, for which there is room, and clears it.
    void Clear(unsigned n) noexcept
    {
        for (AlignedVector* stereo : {&mix, &spatialOut}) stereo->assign(2 * std::size_t{n}, 0.0f);
        for (AlignedVector* mono : {&scratch, &reverbSend, &lowSend}) mono->assign(n, 0.0f);
        isUsed = true;
    }
};

} // namespace kal
