/*
 * KALMarble: real-time 3-D audio for games. This header is all that a game includes; C99 and C++17 read it alike.
 *
 * In short:
 *
 *     KalContext kal;
 *     const char* error = KalInitialize(1, KAL_INTERFACE_VERSION, &kal);   // from the library, by name
 *     kal.init(kal.priv, &initParam);                                      // starts the renderer
 *     KalSampleBuffer* sound = kal.createBuffer(kal.priv, &bufferParam);   // copies the samples
 *     kal.playAbsolute(kal.priv, sound, &position, &playParam);            // once a sound
 *     kal.respatialize(kal.priv, &eye, &front, &up, &reverbParam);         // once a game frame
 *     kal.render(kal.priv, stream, numFrames);                             // in the audio callback
 *     if ((error = kal.checkError(kal.priv))) log(error);
 *     kal.destroy(kal.priv);
 *
 * Threads: one game thread makes every call but render; one audio thread calls render. Other threads may call
 * createBuffer and freeBuffer at any time, to load sounds, and checkError. Two threads in render are served one after
 * the other. Calls on different contexts are independent.
 *
 * Floating point: a call may come with any rounding, precision, flushing or trapping and leaves it as it was. Callbacks
 * run in the usual state: to nearest, nothing flushed, nothing trapped.
 *
 * Errors: a call that fails changes nothing that is heard, stores its text for checkError and returns as usual
 * (createBuffer returns null). Beside those named at each call, every call but destroy, checkError and freeBuffer may
 * fail for want of memory: "std::bad_alloc". No exception crosses this interface, except that KalInitialize lets a C++
 * std::bad_alloc through, which a host written in C cannot catch: it ends there.
 *
 * Callbacks: each returns, throws nothing, does not leave by longjmp and does not call back into the library. Those of
 * a context that a second init has replaced may still be called, with the user data of old, until every call that was
 * under way when init returned has returned.
 *
 * The caller's part, which the library cannot check: `priv` is the one that KalInitialize gave and destroy has not yet
 * taken; a buffer handle is one that createBuffer gave and freeBuffer has not yet taken; pointers point to complete
 * records; `param` of init is not null; occlusionQuery is not null when playAbsolute is used.
 */
#ifndef KALMARBLE_H
#define KALMARBLE_H

#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#define KAL_CALL __cdecl
#else
#define KAL_CALL
#endif

/* The version of this interface; KalInitialize refuses any other. */
#define KAL_INTERFACE_VERSION 1

#ifdef __cplusplus
/* The library's own classes, opaque to a host. */
namespace kalmarble {
struct ContextPrivate;
class Buffer;
} // namespace kalmarble
typedef kalmarble::ContextPrivate KalPrivate;
typedef kalmarble::Buffer KalSampleBuffer;
extern "C" {
#else
typedef struct KalPrivate KalPrivate;
typedef struct KalSampleBuffer KalSampleBuffer;
#endif

/* A point or direction. World axes are the host's own; relative to the listener, +x is right, +y up and +z ahead. */
typedef struct KalVector3 {
    float x, y, z;
} KalVector3;

/* Answers how much a wall takes from an absolute sound. Called on the game thread, from playAbsolute and respatialize,
 * once for every absolute sound that plays; it must not call back into the library.
 * Answers are asked for again and again, but an answer that alone has changed is not sent.
 *   position  world coordinates of the sound
 *   result    to be set to a low-pass coefficient: 1 = unfiltered, towards 0 = duller; it is 1 when left alone */
typedef void(KAL_CALL* KalOcclusionQuery)(const KalVector3* position, float* result, void* userData);

/* Receives one diagnostic line, NUL-terminated, valid during the call. There are two, each as often as it is true:
 *   "Auto Load Control Activated: %d poly caused %d% CPU load. Limited to %d temporally."
 *                     on the renderer's own thread, for every block that took more than half of its time to make while
 *                     placed sounds were tracked, if their limit is below maxPolyphonics then: never with 16 or less
 *   "Read time exceeded 20% (%d%): possibly overload"
 *                     on the audio thread, for every render that took more than a fifth of its block's time
 * A renderer that cannot keep up sends both for every block, so the callback must be quick. */
typedef void(KAL_CALL* KalDebugLog)(const char* message, void* userData);

/* How a context is set up. */
typedef struct KalInitParam {
    double samplingRate;              /* output rate, Hz: 4000 to about 318000 */
    KalOcclusionQuery occlusionQuery; /* needed by playAbsolute */
    void* occlusionQueryUserData;     /* handed to occlusionQuery */
    int32_t numThreads;               /* threads that render a block, 1 to 256; 0 is a programming error that ends the
                                         process at the first block */
    int32_t maxPolyphonics;           /* positional sounds at a time: one more may play until the next respatialize. At
                                         0 or below each one stops the one before it, and respatialize all */
    KalDebugLog debugLog;             /* may be null */
    void* debugLogUserData;           /* handed to debugLog */
} KalInitParam;

/* The room around the listener. */
typedef struct KalReverbParam {
    float wetLevelA;  /* level of the reverb, 0 ... 1, to the fourth power */
    float roomVolume; /* cubic metres */
    float roomArea;   /* square metres of wall; below 0.01 counts as 0.01 */
    float roomSize;   /* metres; beyond 1.5 times it a sound's part in the reverb fades with distance */
    float wetLevelB;  /* level of the reverb, 0 ... 1, to the third power */
} KalReverbParam;

/* How one sound is played. */
typedef struct KalPlayParam {
    float volume;              /* linear gain */
    float speed;               /* playback rate, > 0; 1 = as recorded */
    float referenceDistanceSq; /* squared distance up to which the sound is not attenuated; beyond it, amplitude falls
                                  with distance */
} KalPlayParam;

/* The samples of one sound. */
typedef struct KalBufferParam {
    const void* data;    /* interleaved by channel; copied, so it may be freed after the call */
    int32_t sampleBits;  /* 8 (unsigned), 16 (signed) or 32 (float) */
    int32_t numChannels; /* 1 or 2 */
    int32_t numSamples;  /* frames */
    double samplingRate; /* Hz */
} KalBufferParam;

/* One sound context, filled by KalInitialize. The order of the entries is part of the binary interface. */
typedef struct KalContext {
    /* First argument of every entry. */
    KalPrivate* priv;

    /* Starts the renderer with these parameters, which are copied, and its threads. A second init replaces the running
     * context: its sounds end, and it waits for the block that is being rendered. When it fails, a context that was
     * running goes on.
     * Game thread. Errors: "Invalid sampling rate: %f", "Invalid thread count: %u" (above 256), and the system's text
     * when a thread cannot be started; "The process is ending." where destroy does nothing. */
    void(KAL_CALL* init)(KalPrivate* priv, const KalInitParam* param);

    /* Stops the threads, after the block that is being rendered, and frees everything but the buffers. No other call
     * may be under way; priv is gone afterwards. Null is ignored. The caller holds no lock that a callback needs.
     * On Windows it may be called from DllMain or a static destructor of the host's own DLL. Unloading there leaves the
     * threads behind, done but for their exit; they keep this library loaded until then. At the end of the process,
     * when the system has taken all threads, destroy does nothing. Any thread. Errors: none. */
    void(KAL_CALL* destroy)(KalPrivate* priv);

    /* The text of the latest failure of any call, or null when nothing ever failed. It stays until a later failure
     * replaces it: no success clears it. The text stays readable until destroy. Any thread. Errors: none. */
    const char*(KAL_CALL* checkError)(KalPrivate* priv);

    /* Copies samples into a new buffer, which belongs to the caller until freeBuffer. Null on failure. Any thread.
     * Errors: "Not initialized.", "Parameter is null.", "Invalid sample bits.", "Buffer size is negative.", "Buffer is
     * too large." (2 GiB and more), "Buffer data is null." */
    KalSampleBuffer*(KAL_CALL* createBuffer)(KalPrivate* priv, const KalBufferParam* param);

    /* Frees a buffer; sounds that play it play on. Any thread. Errors: "Not initialized.", "Parameter is null." */
    void(KAL_CALL* freeBuffer)(KalPrivate* priv, KalSampleBuffer* buffer);

    /* Moves the listener and sets the room; every sound that plays follows. The oldest sounds beyond the limit stop.
     * Call it once a game frame.
     *   eye    position, world coordinates
     *   front  where the listener looks, of unit length (it is used as given)
     *   up     not parallel to front; it is made perpendicular to it
     * What lies along the cross product front x up is heard on the right: (0, 0, -1) and (0, 1, 0) put +x there.
     * Game thread. Errors: "Not initialized.", "Parameter eye is null." and likewise front, up, reverb. */
    void(KAL_CALL* respatialize)(KalPrivate* priv, const KalVector3* eye, const KalVector3* front, const KalVector3* up,
                                 const KalReverbParam* reverb);

    /* Plays a buffer once at a place in the world; a two-channel buffer is attenuated by distance but not placed.
     * What is not a number in place or volume makes it silent.
     * Game thread. Errors: "Not initialized.", "Parameter buffer is null." and likewise origin, params; "Speed is not
     * positive.", "NaN speed.", "Invalid channel count: %d" unless the buffer has 1 or 2. */
    void(KAL_CALL* playAbsolute)(KalPrivate* priv, KalSampleBuffer* buffer, const KalVector3* origin,
                                 const KalPlayParam* params);

    /* Like playAbsolute, at a place relative to the listener that moves with it; occlusionQuery is not asked. Same
     * errors. */
    void(KAL_CALL* playRelative)(KalPrivate* priv, KalSampleBuffer* buffer, const KalVector3* origin,
                                 const KalPlayParam* params);

    /* Plays a buffer once as recorded: no place, no room, no limit on the number of sounds.
     * Game thread. Errors: those of playAbsolute but for origin, and "NaN gain." */
    void(KAL_CALL* playLocal)(KalPrivate* priv, KalSampleBuffer* buffer, const KalPlayParam* params);

    /* Writes the next numFrames frames of the mix, left and right interleaved, each sample within -1 ... 1, as
     * 2 * numFrames floats. Waits for the renderer when it is behind. A host should keep to one block size: the block
     * that waits when the size changes is dropped. Never ask for 0 frames: nothing is written, and until the next real
     * block the renderer goes round without waiting, which takes a whole core and sends thousands of lines to debugLog.
     * Audio thread. Errors: "Not initialized.", "Parameter stream is null.", "Frame count is negative.", "Frame count
     * is too large." (more than ten seconds), "std::bad_alloc" for a block too long for memory, which loses no sound.
     * On an error nothing is written to stream. */
    void(KAL_CALL* render)(KalPrivate* priv, float* stream, int numFrames);
} KalContext;

/* The one exported function, for GetProcAddress or dlsym. */
typedef const char*(KAL_CALL* KalInitializeFunction)(uint32_t magic, int32_t interfaceVersion, KalContext* context);

/* Fills *context with a new private record and the ten entries. Returns null, or the text of what is wrong, and then
 * *context is untouched. Any thread.
 *   magic             any value but 0: "Magic is invalid."
 *   context           not null: "Null pointer for context return destination!"
 *   interfaceVersion  KAL_INTERFACE_VERSION: "Interface version unmatch. This library's version is '1'." */
const char* KAL_CALL KalInitialize(uint32_t magic, int32_t interfaceVersion, KalContext* context);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* The layout is frozen: in a 32-bit build every offset below is part of the binary interface. The array of a negative
 * size is how C99 states it. */
#if defined(_WIN32) && !defined(_WIN64)
#include <stddef.h>
#define KAL_STATE(name, condition) typedef char kal_layout_##name[(condition) ? 1 : -1]
#define KAL_AT(record, field, offset) KAL_STATE(record##_##field, offsetof(record, field) == (offset))
KAL_AT(KalInitParam, samplingRate, 0);
KAL_AT(KalInitParam, occlusionQuery, 8);
KAL_AT(KalInitParam, occlusionQueryUserData, 12);
KAL_AT(KalInitParam, numThreads, 16);
KAL_AT(KalInitParam, maxPolyphonics, 20);
KAL_AT(KalInitParam, debugLog, 24);
KAL_AT(KalInitParam, debugLogUserData, 28);
KAL_STATE(KalInitParam, sizeof(KalInitParam) == 32);
KAL_AT(KalReverbParam, wetLevelA, 0);
KAL_AT(KalReverbParam, roomVolume, 4);
KAL_AT(KalReverbParam, roomArea, 8);
KAL_AT(KalReverbParam, roomSize, 12);
KAL_AT(KalReverbParam, wetLevelB, 16);
KAL_STATE(KalReverbParam, sizeof(KalReverbParam) == 20);
KAL_AT(KalPlayParam, volume, 0);
KAL_AT(KalPlayParam, speed, 4);
KAL_AT(KalPlayParam, referenceDistanceSq, 8);
KAL_STATE(KalPlayParam, sizeof(KalPlayParam) == 12);
KAL_AT(KalBufferParam, data, 0);
KAL_AT(KalBufferParam, sampleBits, 4);
KAL_AT(KalBufferParam, numChannels, 8);
KAL_AT(KalBufferParam, numSamples, 12);
KAL_AT(KalBufferParam, samplingRate, 16);
KAL_STATE(KalBufferParam, sizeof(KalBufferParam) == 24);
KAL_STATE(KalVector3, sizeof(KalVector3) == 12);
KAL_AT(KalContext, priv, 0);
KAL_AT(KalContext, init, 4);
KAL_AT(KalContext, destroy, 8);
KAL_AT(KalContext, checkError, 12);
KAL_AT(KalContext, createBuffer, 16);
KAL_AT(KalContext, freeBuffer, 20);
KAL_AT(KalContext, respatialize, 24);
KAL_AT(KalContext, playAbsolute, 28);
KAL_AT(KalContext, playRelative, 32);
KAL_AT(KalContext, playLocal, 36);
KAL_AT(KalContext, render, 40);
KAL_STATE(KalContext, sizeof(KalContext) == 44);
#undef KAL_AT
#undef KAL_STATE
#endif

#endif /* KALMARBLE_H */
