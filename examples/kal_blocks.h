/*
 * Fixed blocks for a device that asks for varying numbers of frames. The library is at its best with one block size:
 * when the size changes, the block that waits is dropped, which is heard as a gap. Here every frame is handed on, at
 * the price of up to one block of delay. C99 and C++.
 *
 *     static KalBlocks blocks;                             // zeros: nothing waits yet
 *     kalRenderBlocks(&blocks, &kal, stream, numFrames);   // in the audio callback, in place of kal.render
 *
 * A size of about what the device asks for is best: one that is much larger adds delay, one that is much smaller makes
 * the callback wait for the renderer between two blocks.
 */
#ifndef KAL_BLOCKS_H
#define KAL_BLOCKS_H

#include "KALMarble.h"

#include <string.h>

#ifndef KAL_BLOCK_FRAMES
#define KAL_BLOCK_FRAMES 512
#endif

typedef struct KalBlocks {
    float block[2 * KAL_BLOCK_FRAMES];
    int waiting; /* frames at the block's end that are still to be handed out */
} KalBlocks;

/* Writes the next numFrames frames, left and right interleaved. Blocks that the library cannot render are silent. */
static inline void kalRenderBlocks(KalBlocks* blocks, const KalContext* kal, float* stream, int numFrames)
{
    while (numFrames > 0) {
        int count;
        if (blocks->waiting == 0) {
            memset(blocks->block, 0, sizeof blocks->block);
            kal->render(kal->priv, blocks->block, KAL_BLOCK_FRAMES);
            blocks->waiting = KAL_BLOCK_FRAMES;
        }
        count = numFrames < blocks->waiting ? numFrames : blocks->waiting;
        memcpy(stream, blocks->block + (size_t)2 * (size_t)(KAL_BLOCK_FRAMES - blocks->waiting),
               (size_t)2 * (size_t)count * sizeof *stream);
        stream += (size_t)2 * (size_t)count;
        blocks->waiting -= count;
        numFrames -= count;
    }
}

#endif /* KAL_BLOCKS_H */
