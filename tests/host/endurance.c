// A host that goes on for long: sounds by the hundred thousand, the library loaded again and again. What it must not
// see is memory that grows, a call that hangs or an error.
#define _GNU_SOURCE // for RTLD_NOLOAD
#include "support.h"

#include <pthread.h>

enum { kBlock = 480, kLength = 48000 };

static const KalVector3 kOrigin = {0, 0, 0}, kAhead = {0, 0, -1};
static const KalReverbParam kNoRoom = {0, 0, 0, 0, 0};
static const KalPlayParam kPlain = {1, 1, 1};
static float samples[kLength], stream[4 * kBlock];
static const char* path;
static int loads;

static void KAL_CALL NoWalls(const KalVector3* position, float* result, void* userData)
{
    (void)position;
    (void)userData;
    *result = 1;
}

static KalContext StartedPlainly(void)
{
    const KalInitParam parameters = {48000, NoWalls, NULL, 2, 8, NULL, NULL};
    return Started(&parameters);
}

static KalSampleBuffer* Sound(const KalContext* kal, int frames)
{
    const KalBufferParam parameters = {samples, 32, 1, frames, 48000};
    return kal->createBuffer(kal->priv, &parameters);
}

// Short sounds of every kind, so many to a block, while the listener turns.
static void PlayMany(const KalContext* kal, KalSampleBuffer* sound, int sounds)
{
    enum { kToABlock = 90 };
    for (int i = 0; i < sounds; ++i) {
        const KalVector3 place = {3 * cosf(0.07f * (float)i), 1, 3 * sinf(0.07f * (float)i)};
        if (i % 3 == 0)
            kal->playLocal(kal->priv, sound, &kPlain);
        else
            (i % 3 == 1 ? kal->playAbsolute : kal->playRelative)(kal->priv, sound, &place, &kPlain);
        if (i % kToABlock != 0) continue;
        kal->respatialize(kal->priv, &kOrigin, &place, &kUp, &kNoRoom);
        kal->render(kal->priv, stream, kBlock);
    }
}

// The bound is half of what the smallest block of the heap, 32 bytes, would come to if each sound left one behind.
static void PlaysAHundredThousandSounds(void)
{
    const KalContext kal = StartedPlainly();
    KalSampleBuffer* sound = Sound(&kal, 16);
    PlayMany(&kal, sound, 10000);
    const double before = HeldMemory();
    PlayMany(&kal, sound, 100000);
    CHECK(HeldMemory() - before < 1.6e6);
    CHECK(stream[0] != 0);
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

static void* Destroy(void* context)
{
    const KalContext* kal = (const KalContext*)context;
    kal->destroy(kal->priv);
    return NULL;
}

// Another thread takes the context down while both sounds play and its thread makes its first block, or one of the last
// size, or waits with it; blocks of no frames never wait.
static void PlayBriefly(int blocks, int frames)
{
    KalContext kal = StartedPlainly();
    KalSampleBuffer* sound = Sound(&kal, kLength);
    pthread_t thread;
    kal.playLocal(kal.priv, sound, &kPlain);
    kal.playRelative(kal.priv, sound, &kAhead, &kPlain);
    while (blocks-- > 0) kal.render(kal.priv, stream, frames);
    kal.freeBuffer(kal.priv, sound);
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    CHECK(pthread_create(&thread, NULL, Destroy, &kal) == 0);
    CHECK(pthread_join(thread, NULL) == 0);
}

// A call that fails takes what a process has few of: on Windows the run-time keeps the exception in one of 1088
// indices.
static void FailOnce(void)
{
    KalContext kal;
    CHECK_TEXT(library.initialize(1, KAL_INTERFACE_VERSION, &kal), NULL);
    kal.playLocal(kal.priv, NULL, &kPlain);
    CHECK_TEXT(kal.checkError(kal.priv), "Not initialized.");
    kal.destroy(kal.priv);
}

// The bound is a hundredth of what one context holds, for each that plays.
static void LoadsAndUnloads(void)
{
    static const int kSizes[] = {kBlock, 0, 2 * kBlock, 64};
    double before = 0;
    for (int i = 0; i < loads; ++i) {
        if (i == loads / 2) before = HeldMemory();
        kalCloseLibrary(library);
        CHECK(!IsLoaded(path));
        library = kalOpenLibrary(path);
        CHECK(IsLoaded(path) && library.initialize);
        if (!library.initialize) return;
        FailOnce();
        if (i % 10 == 0) PlayBriefly(i / 10 % 3, kSizes[i / 10 % 4]);
    }
    CHECK(loads < 1000 || HeldMemory() - before < 9e6); // too few to tell from what a sanitizer notes down
}

static void Run(void)
{
    for (int i = 0; i < kLength; ++i) samples[i] = 0.01f;
    PlaysAHundredThousandSounds();
    LoadsAndUnloads();
}

int main(int argc, char** argv)
{
    path = argc > 1 ? argv[1] : "";
    loads = argc > 2 ? atoi(argv[2]) : 2000;
    return RunHost(path, Run);
}
