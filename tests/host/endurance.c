// A host that goes on for long: sounds by the hundred thousand, contexts by the hundred, the library loaded again and
// again. What it must not see is memory that grows, a call that hangs or an error.
#include "support.h"

#include <pthread.h>
#include <sched.h>

enum { kBlock = 480 };

// The audio thread: renders until told to stop and counts its blocks.
typedef struct AudioThread {
    const KalContext* kal;
    pthread_t thread;
    int running, blocks;
} AudioThread;

static void* RunAudioThread(void* argument)
{
    AudioThread* audio = (AudioThread*)argument;
    static float stream[2 * kBlock];
    while (__atomic_load_n(&audio->running, __ATOMIC_ACQUIRE)) {
        audio->kal->render(audio->kal->priv, stream, kBlock);
        __atomic_add_fetch(&audio->blocks, 1, __ATOMIC_RELEASE);
    }
    return NULL;
}

static void StartAudioThread(AudioThread* audio, const KalContext* kal)
{
    audio->kal = kal;
    audio->running = 1;
    audio->blocks = 0;
    CHECK(pthread_create(&audio->thread, NULL, RunAudioThread, audio) == 0);
}

static void StopAudioThread(AudioThread* audio)
{
    __atomic_store_n(&audio->running, 0, __ATOMIC_RELEASE);
    CHECK(pthread_join(audio->thread, NULL) == 0);
}

// Short sounds of every kind, so many to a block, while the audio thread renders and the listener turns.
static void PlayMany(const KalContext* kal, AudioThread* audio, KalBuffer* sound, int sounds)
{
    enum { kToABlock = 90 };
    for (int i = 0; i < sounds; ++i) {
        const float angle = (float)i * 0.01f;
        const KalVector3 front = {sinf(angle), 0, cosf(angle)}, place = {3 * cosf(7 * angle), 1, 3 * sinf(7 * angle)};
        if (i % 3 == 0)
            kal->playLocal(kal->priv, sound, &kPlain);
        else if (i % 3 == 1)
            kal->playAbsolute(kal->priv, sound, &place, &kPlain);
        else
            kal->playRelative(kal->priv, sound, &place, &kPlain);
        if (i % kToABlock == 0) {
            const int block = __atomic_load_n(&audio->blocks, __ATOMIC_ACQUIRE);
            kal->respatialize(kal->priv, &kOrigin, &front, &kUp, &kNoRoom);
            while (__atomic_load_n(&audio->blocks, __ATOMIC_ACQUIRE) == block) sched_yield();
        }
    }
}

// The bound is half of what the smallest block of the heap, 32 bytes, would come to if each sound left one behind.
static void PlaysAHundredThousandSounds(void)
{
    KalContext kal = StartedAt(48000);
    KalBuffer* sound = ConstantSound(&kal, 0.01f, 16);
    AudioThread audio;
    double before, after;
    StartAudioThread(&audio, &kal);
    PlayMany(&kal, &audio, sound, 10000);
    before = HeldMemory();
    PlayMany(&kal, &audio, sound, 100000);
    after = HeldMemory();
    printf("  from %.1f to %.1f MB in %d blocks\n", before * 1e-6, after * 1e-6, audio.blocks);
    CHECK(after - before < 1.6e6);
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    StopAudioThread(&audio);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

static void PlayBriefly(int blocks)
{
    static float stream[2 * kBlock];
    KalContext kal = StartedAt(48000);
    KalBuffer* sound = ConstantSound(&kal, 0.25f, 48000);
    kal.playLocal(kal.priv, sound, &kPlain);
    kal.playRelative(kal.priv, sound, &kOnTheRight, &kPlain);
    while (blocks-- > 0) kal.render(kal.priv, stream, kBlock);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv); // while both play
}

static const char* path;

// The bound is a hundredth of what one context holds, for each.
static void LoadsAndUnloads(void)
{
    double before = 0;
    for (int i = 0; i < 200; ++i) {
        if (i == 20) before = HeldMemory();
        kalCloseLibrary(library);
        CHECK(!IsLoaded(path));
        library = kalOpenLibrary(path);
        CHECK(library.initialize != NULL);
        if (!library.initialize) return;
        PlayBriefly(i % 3);
    }
    printf("  from %.1f to %.1f MB\n", before * 1e-6, HeldMemory() * 1e-6);
    CHECK(HeldMemory() - before < 9e6);
}

static void Cases(void)
{
    RUN(PlaysAHundredThousandSounds);
    RUN(LoadsAndUnloads);
}

int main(int argc, char** argv)
{
    path = argc > 1 ? argv[1] : "";
    return RunHost(path, Cases);
}
