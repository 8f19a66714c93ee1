// A host that asks for the impossible, calls at odd times and from odd threads, and keeps its processor in odd states.
#include "support.h"

#include <limits.h>
#include <pthread.h>
#include <stdint.h>
#include <time.h>
#include <xmmintrin.h>

enum { kBlock = 512, kMaxBlock = 1024 };

static float stream[2 * kMaxBlock + 1]; // one more, as a guard

static void Pause(int milliseconds)
{
    const struct timespec time = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    nanosleep(&time, NULL);
}

// The left ear after a sound that was started has certainly begun.
static float Settled(const KalContext* kal)
{
    for (int block = 0; block < 25; ++block) kal->render(kal->priv, stream, kBlock);
    return stream[2 * kBlock - 2];
}

static void RefusesOrServesEveryInitialization(void)
{
    static const char kNegativeThreads[] = "Invalid thread count: 4294967295";
    const struct {
        double rate;
        int32_t threads, polyphonics;
        const char* text; // the start of what is refused with
    } cases[] = {
        {48000, -1, 8, kNegativeThreads},
        {48000, INT32_MIN, 8, "Invalid thread count: 2147483648"},
        {48000, INT32_MAX, 8, "Invalid thread count: 2147483647"},
        {48000, 257, 8, "Invalid thread count: 257"},
        {NAN, 1, 8, "Invalid sampling rate: "},
        {HUGE_VAL, 1, 8, "Invalid sampling rate: "},
        {-HUGE_VAL, 1, 8, "Invalid sampling rate: "},
        {1e300, 1, 8, "Invalid sampling rate: 1"},
        {1e-300, 1, 8, "Invalid sampling rate: 0.000000"},
        {-48000, 1, 8, "Invalid sampling rate: -48000.000000"},
        {3999, 1, 8, "Invalid sampling rate: 3999.000000"},
        {4000, 1, 8, NULL},
        {300000, 64, 8, NULL},
        {48000, 2, INT32_MIN, NULL},
        {48000, 2, INT32_MAX, NULL},
    };
    for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
        KalInitParam parameters = Parameters(cases[i].rate);
        KalContext kal = Uninitialized();
        parameters.numThreads = cases[i].threads;
        parameters.maxPolyphonics = cases[i].polyphonics;
        kal.init(kal.priv, &parameters);
        const char* error = kal.checkError(kal.priv);
        if (cases[i].text)
            CHECK(error && strncmp(error, cases[i].text, strlen(cases[i].text)) == 0);
        else
            CHECK_TEXT(error, NULL);
        if (!cases[i].text) {
            KalBuffer* sound = ConstantSound(&kal, 0.25f, 4800);
            int round;
            for (round = 0; round < 5; ++round) {
                kal.playRelative(kal.priv, sound, &kOnTheRight, &kPlain);
                kal.render(kal.priv, stream, kBlock);
            }
            kal.respatialize(kal.priv, &kOrigin, &kAhead, &kUp, &kNoRoom);
            CHECK_TEXT(kal.checkError(kal.priv), NULL);
            kal.freeBuffer(kal.priv, sound);
        }
        kal.destroy(kal.priv);
    }
}

static void RefusesBuffersThatCannotBe(void)
{
    static const char large[] = "Buffer is too large.", negative[] = "Buffer size is negative.";
    const struct {
        int32_t bits, channels, frames;
        const char* text;
    } cases[] = {
        {8, 1, 1 << 30, "Buffer data is null."},
        {8, 2, 1 << 30, large},
        {16, 1, 1 << 30, large},
        {32, 2, 1 << 28, large},
        {32, 1, 1 << 29, large}, // as 32 bits the bytes of these would be 0 or below
        {32, 1 << 16, 1 << 16, large},
        {8, INT32_MAX, INT32_MAX, large},
        {8, 1, -1, negative},
        {8, -1, 1, negative},
        {32, -2, -2, negative},
        {32, INT32_MIN, INT32_MIN, negative},
        {16, 1, INT32_MIN, negative},
        {31, 1, 1, "Invalid sample bits."},
    };
    KalContext kal = StartedAt(48000);
    for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
        const KalBufferParam samples = {i ? stream : NULL, cases[i].bits, cases[i].channels, cases[i].frames, 48000};
        kal.freeBuffer(kal.priv, NULL);
        CHECK(kal.createBuffer(kal.priv, &samples) == NULL);
        CHECK_TEXT(kal.checkError(kal.priv), cases[i].text);
    }
    kal.destroy(kal.priv);
}

static void* Destroy(void* context)
{
    const KalContext* kal = (const KalContext*)context;
    kal->destroy(kal->priv);
    return NULL;
}

static void IsDestroyedByAnotherThread(void)
{
    for (int i = 0; i < 10; ++i) {
        KalContext kal = StartedAt(48000);
        KalBuffer* sound = ConstantSound(&kal, 0.25f, 48000);
        pthread_t thread;
        kal.playLocal(kal.priv, sound, &kPlain);
        kal.playAbsolute(kal.priv, sound, &kOnTheRight, &kPlain);
        if (i % 2) kal.render(kal.priv, stream, kBlock);
        kal.freeBuffer(kal.priv, sound);
        CHECK(pthread_create(&thread, NULL, Destroy, &kal) == 0);
        CHECK(pthread_join(thread, NULL) == 0);
    }
}

// A ramp of one step a frame shows whether a frame is lost.
static void GoesOnAfterPausesAndInBursts(void)
{
    enum { kFrames = 400000 };
    const float step = 1.0f / 1048576;
    float* ramp = (float*)malloc(kFrames * sizeof *ramp);
    KalBufferParam samples = {NULL, 32, 1, kFrames, 48000};
    KalContext kal = StartedAt(48000);
    for (int i = 0; i < kFrames; ++i) ramp[i] = (float)(i + 1) * step;
    samples.data = ramp;
    KalBuffer* sound = kal.createBuffer(kal.priv, &samples);
    kal.playLocal(kal.priv, sound, &kPlain);
    float last = Settled(&kal);
    CHECK(last > 0);
    for (int seconds = 0; seconds < 3; ++seconds) {
        Pause(seconds * 1000);
        for (int block = 0; block < 100; ++block) { // as fast as they come
            int steps = 1;
            kal.render(kal.priv, stream, kBlock);
            for (int i = 0; i < kBlock; ++i) steps &= stream[2 * i] == last + (float)(i + 1) * step;
            CHECK(steps);
            last = stream[2 * kBlock - 2];
        }
    }
    for (int block = 0; block < 100; ++block) { // sizes that alternate lose whole blocks, never a part of one
        static const int sizes[] = {512, 64, 100, 1, 256, 441, 480, 0, 1000, 1024, 3};
        const int size = sizes[block / 3 % 11];
        int steps = 1;
        stream[2 * size] = 7;
        kal.render(kal.priv, stream, size);
        for (int i = 1; i < size; ++i) steps &= stream[2 * i] - stream[2 * i - 2] == step;
        CHECK(steps && stream[2 * size] == 7);
        if (size == 0) continue;
        CHECK(block % 3 ? stream[0] - last == step : stream[0] > last);
        last = stream[2 * size - 2];
    }
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.freeBuffer(kal.priv, sound);
    free(ramp);
    kal.destroy(kal.priv);
}

// Plays a two-channel constant where each of its numbers has to be rounded, and listens to what becomes of it.
static void Scene(float heard[3])
{
    static const KalVector3 eye = {0.1f, 0.7f, -0.3f}, ahead = {0.6f, 0.1f, -0.77f};
    static const KalVector3 places[] = {{3.3f, 1.7f, -2.9f}, {4.3f, 1.7f, -2.9f}, {-5.3f, 0.7f, 2.9f}};
    static const KalReverbParam room = {0, 55.5f, 33.3f, 0, 0};
    const KalPlayParam how = {0.77f, 1, 0.9f};
    float samples[2 * 4800];
    KalBufferParam parameters = {samples, 32, 2, 4800, 48000};
    KalContext kal = StartedAt(48000);
    for (int i = 0; i < 2 * 4800; ++i) samples[i] = 0.3f;
    KalBuffer* sound = kal.createBuffer(kal.priv, &parameters);
    for (int i = 0; i < 3; ++i) {
        int block;
        kal.respatialize(kal.priv, &eye, &ahead, &kUp, &room);
        kal.playAbsolute(kal.priv, sound, &places[i], &how);
        heard[i] = 0;
        for (block = 0; block < 40; ++block) {
            kal.render(kal.priv, stream, kBlock);
            if (heard[i] == 0) heard[i] = stream[kBlock]; // of a block's middle: constant from there on
        }
    }
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

static uint16_t ControlWord(void)
{
    uint16_t word;
    __asm__ volatile("fnstcw %0" : "=m"(word));
    return word;
}

static void SetControlWord(uint16_t word)
{
    __asm__ volatile("fldcw %0" : : "m"(word));
}

static void SoundsTheSameInEveryFloatingPointState(void)
{
    const struct {
        unsigned mxcsr;
        uint16_t controlWord;
    } states[] = {
        {0x1f80, 0x37f}, // the usual one
        {0x1f80, 0x07f}, // the x87 unit in single precision
        {0x9fc0, 0x37f}, // flush to zero, denormals are zero
        {0x3f80, 0x77f}, // round down
        {0x5f80, 0xb7f}, // round up
        {0x7f80, 0xc7f}, // round toward zero, in single precision
        {0x0000, 0x340}, // every trap armed, but for those of x87 rounding and denormals
    };
    float usual[3] = {0, 0, 0}, heard[3];
    const unsigned mxcsr = _mm_getcsr();
    const uint16_t controlWord = ControlWord();
    Scene(usual);
    CHECK(usual[0] > 0 && usual[1] > 0 && usual[2] > 0);
    for (size_t i = 0; i < sizeof states / sizeof *states; ++i) {
        const KalInitParam parameters = Parameters(48000);
        const unsigned armed = states[i].mxcsr & 0x1f80;
        unsigned mxcsrAfter;
        uint16_t controlWordAfter;
        if (armed == 0x1f80) { // the host's own arithmetic in Scene would be trapped otherwise
            _mm_setcsr(states[i].mxcsr);
            SetControlWord(states[i].controlWord);
            Scene(heard);
            _mm_setcsr(mxcsr);
            SetControlWord(controlWord);
            CHECK(memcmp(heard, usual, sizeof usual) == 0);
        }
        KalContext kal = Uninitialized();
        KalBuffer* sound = NULL;
        _mm_setcsr(states[i].mxcsr);
        SetControlWord(states[i].controlWord);
        kal.init(kal.priv, &parameters);
        {
            static const int16_t samples[4] = {1, 2, 3, 4};
            static const KalBufferParam four = {samples, 16, 2, 2, 44100};
            sound = kal.createBuffer(kal.priv, &four);
        }
        kal.respatialize(kal.priv, &kOrigin, &kAhead, &kUp, &kNoRoom);
        kal.playLocal(kal.priv, sound, &kPlain);
        kal.playAbsolute(kal.priv, sound, &kOnTheRight, &kPlain);
        kal.playRelative(kal.priv, sound, &kOnTheRight, &kPlain);
        kal.render(kal.priv, stream, kBlock);
        kal.render(kal.priv, stream, -1);
        kal.freeBuffer(kal.priv, sound);
        kal.destroy(kal.priv);
        mxcsrAfter = _mm_getcsr();
        controlWordAfter = ControlWord();
        _mm_setcsr(mxcsr);
        SetControlWord(controlWord);
        CHECK(mxcsrAfter == states[i].mxcsr);
        CHECK(controlWordAfter == states[i].controlWord);
    }
}

#ifdef __i386__
// Calls an entry with up to five arguments and a stack that is `shift` bytes off its alignment.
static void CallOff(uintptr_t entry, uintptr_t shift, uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e)
{
    const uintptr_t arguments[] = {a, b, c, d, e, shift};
    __asm__ volatile("movl %%esp, %%ebx\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl 20(%0), %%esp\n\t"
                     "pushl 16(%0)\n\t"
                     "pushl 12(%0)\n\t"
                     "pushl 8(%0)\n\t"
                     "pushl 4(%0)\n\t"
                     "pushl (%0)\n\t"
                     "call *%1\n\t"
                     "movl %%ebx, %%esp"
                     :
                     : "S"(arguments), "D"(entry)
                     : "eax", "ebx", "ecx", "edx", "memory", "cc");
}

static void WorksOnStacksAlignedToFourBytes(void)
{
    const KalInitParam parameters = Parameters(48000);
    for (uintptr_t shift = 0; shift < 16; shift += 4) {
        KalContext kal = Uninitialized();
        const uintptr_t priv = (uintptr_t)kal.priv, front = (uintptr_t)&kAhead, up = (uintptr_t)&kUp;
        uintptr_t sound;
        int block;
        CallOff((uintptr_t)kal.init, shift, priv, (uintptr_t)&parameters, 0, 0, 0);
        sound = (uintptr_t)ConstantSound(&kal, 0.25f, 48000);
        CallOff((uintptr_t)kal.respatialize, shift, priv, (uintptr_t)&kOrigin, front, up, (uintptr_t)&kNoRoom);
        CallOff((uintptr_t)kal.playAbsolute, shift, priv, sound, (uintptr_t)&kOnTheRight, (uintptr_t)&kPlain, 0);
        CallOff((uintptr_t)kal.playRelative, shift, priv, sound, (uintptr_t)&kOnTheRight, (uintptr_t)&kPlain, 0);
        for (block = 0; block < 30; ++block)
            CallOff((uintptr_t)kal.render, shift, priv, (uintptr_t)stream, kBlock, 0, 0);
        CHECK(stream[2 * kBlock - 1] != 0);
        CallOff((uintptr_t)kal.playLocal, shift, priv, 0, 0, 0, 0);
        CHECK_TEXT(kal.checkError(kal.priv), "Parameter buffer is null.");
        CallOff((uintptr_t)kal.freeBuffer, shift, priv, sound, 0, 0, 0);
        CallOff((uintptr_t)kal.destroy, shift, priv, 0, 0, 0, 0);
    }
}
#endif

static void Cases(void)
{
    RUN(RefusesOrServesEveryInitialization);
    RUN(RefusesBuffersThatCannotBe);
    RUN(IsDestroyedByAnotherThread);
    RUN(GoesOnAfterPausesAndInBursts);
    RUN(SoundsTheSameInEveryFloatingPointState);
#ifdef __i386__
    RUN(WorksOnStacksAlignedToFourBytes);
#endif
}

int main(int argc, char** argv)
{
    return RunHost(argc > 1 ? argv[1] : "", Cases);
}
