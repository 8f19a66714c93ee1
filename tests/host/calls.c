// A host that calls every entry of the real library, rightly and wrongly, and looks at what comes back.
#include "support.h"

// The renderer's first block has this size, so that a host that asks for it loses none.
enum { kBlock = 512 };

static float stream[2 * kBlock];

// The peak of both ears over some blocks.
static float Listen(const KalContext* kal, int blocks)
{
    float peak = 0;
    while (blocks-- > 0) {
        kal->render(kal->priv, stream, kBlock);
        for (int i = 0; i < 2 * kBlock; ++i) peak = fmaxf(peak, fabsf(stream[i]));
    }
    return peak;
}

// Number of non-silent frames from now until `blocks` blocks have passed; every one of them must be the given
// pair.
static int CountFrames(const KalContext* kal, float left, float right, int blocks)
{
    int count = 0, others = 0;
    while (blocks-- > 0) {
        kal->render(kal->priv, stream, kBlock);
        for (int i = 0; i < kBlock; ++i) {
            const int silent = stream[2 * i] == 0 && stream[2 * i + 1] == 0;
            count += !silent;
            others += !silent && !(stream[2 * i] == left && stream[2 * i + 1] == right);
        }
    }
    CHECK(others <= 1); // the last frame, between the last sample and silence, at rates that are not 48 kHz
    return count;
}

// A sound starts up to 10000 frames into the block after the next, which these blocks cover.
enum { kBlocksToStart = 25 };

static void RefusesAWrongInitialization(void)
{
    static const char* const magic = "Magic is invalid.";
    static const char* const record = "Null pointer for context return destination!";
    static const char* const version = "Interface version unmatch. This library's version is '1'.";
    const struct {
        uint32_t magic;
        int32_t version;
        int hasRecord;
        const char* text;
    } cases[] = {
        {0, 1, 1, magic},   {0, 1, 0, magic},   {0, 2, 0, magic},    {1, 1, 0, record}, {1, 2, 0, record},
        {1, 2, 1, version}, {1, 0, 1, version}, {1, -1, 1, version}, {1, 1, 1, NULL},   {0xFFFFFFFFu, 1, 1, NULL},
    };
    KalContext untouched, kal;
    memset(&untouched, 0xA5, sizeof untouched);
    for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
        kal = untouched;
        CHECK_TEXT(library.initialize(cases[i].magic, cases[i].version, cases[i].hasRecord ? &kal : NULL),
                   cases[i].text);
        CHECK((memcmp(&kal, &untouched, sizeof kal) == 0) == (cases[i].text != NULL));
        if (cases[i].text) continue;
        CHECK_TEXT(kal.checkError(kal.priv), NULL);
        kal.destroy(kal.priv);
        kal.destroy(NULL);
    }
}

#define REFUSED(call)                                                                                                  \
    do {                                                                                                               \
        KalContext kal = Uninitialized();                                                                              \
        call;                                                                                                          \
        CHECK_TEXT(kal.checkError(kal.priv), "Not initialized.");                                                      \
        kal.destroy(kal.priv);                                                                                         \
    } while (0)

static void RefusesEverythingBeforeInit(void)
{
    REFUSED(CHECK(kal.createBuffer(kal.priv, NULL) == NULL));
    REFUSED(kal.freeBuffer(kal.priv, NULL));
    REFUSED(kal.respatialize(kal.priv, NULL, NULL, NULL, NULL));
    REFUSED(kal.playAbsolute(kal.priv, NULL, NULL, NULL));
    REFUSED(kal.playRelative(kal.priv, NULL, NULL, NULL));
    REFUSED(kal.playLocal(kal.priv, NULL, NULL));
    REFUSED(kal.render(kal.priv, NULL, kBlock));
}

// The call fails with this text, which it writes itself: another one stands there before.
#define FAILS(call, text)                                                                                              \
    do {                                                                                                               \
        kal.freeBuffer(kal.priv, NULL);                                                                                \
        CHECK_TEXT(kal.checkError(kal.priv), "Parameter is null.");                                                    \
        kal.render(kal.priv, NULL, kBlock);                                                                            \
        CHECK_TEXT(kal.checkError(kal.priv), "Parameter stream is null.");                                             \
        call;                                                                                                          \
        CHECK_TEXT(kal.checkError(kal.priv), text);                                                                    \
    } while (0)

static void ChecksArgumentsInOrder(void)
{
    KalContext kal = StartedAt(48000);
    KalBuffer* sound = ConstantSound(&kal, 0.25f, 480);
    const KalPlayParam still = {1, 0, 1}, speedless = {1, NAN, 1}, gainless = {NAN, 1, 1};
    KalBufferParam samples = {stream, 24, 1, 480, 48000};

    FAILS(CHECK(kal.createBuffer(kal.priv, NULL) == NULL), "Parameter is null.");
    FAILS(kal.freeBuffer(kal.priv, NULL), "Parameter is null.");
    FAILS(kal.respatialize(kal.priv, NULL, NULL, NULL, NULL), "Parameter eye is null.");
    FAILS(kal.respatialize(kal.priv, &kOrigin, NULL, NULL, NULL), "Parameter front is null.");
    FAILS(kal.respatialize(kal.priv, &kOrigin, &kAhead, NULL, NULL), "Parameter up is null.");
    FAILS(kal.respatialize(kal.priv, &kOrigin, &kAhead, &kUp, NULL), "Parameter reverb is null.");
    FAILS(kal.playAbsolute(kal.priv, NULL, NULL, NULL), "Parameter buffer is null.");
    FAILS(kal.playAbsolute(kal.priv, sound, NULL, NULL), "Parameter origin is null.");
    FAILS(kal.playAbsolute(kal.priv, sound, &kOrigin, NULL), "Parameter params is null.");
    FAILS(kal.playRelative(kal.priv, NULL, NULL, NULL), "Parameter buffer is null.");
    FAILS(kal.playRelative(kal.priv, sound, NULL, NULL), "Parameter origin is null.");
    FAILS(kal.playRelative(kal.priv, sound, &kOrigin, NULL), "Parameter params is null.");
    FAILS(kal.playLocal(kal.priv, NULL, NULL), "Parameter buffer is null.");
    FAILS(kal.playLocal(kal.priv, sound, NULL), "Parameter params is null.");
    FAILS(kal.render(kal.priv, stream, -1), "Frame count is negative.");
    kal.freeBuffer(kal.priv, NULL);
    kal.render(kal.priv, NULL, -1);
    CHECK_TEXT(kal.checkError(kal.priv), "Parameter stream is null.");

    FAILS(kal.playLocal(kal.priv, sound, &still), "Speed is not positive.");
    FAILS(kal.playRelative(kal.priv, sound, &kOnTheRight, &speedless), "NaN speed.");
    FAILS(kal.playLocal(kal.priv, sound, &gainless), "NaN gain.");
    FAILS(CHECK(kal.createBuffer(kal.priv, &samples) == NULL), "Invalid sample bits.");
    samples.sampleBits = 8;
    samples.numChannels = 3;
    samples.numSamples = 100;
    KalBuffer* threeChannels = kal.createBuffer(kal.priv, &samples);
    CHECK(threeChannels != NULL);
    FAILS(kal.playLocal(kal.priv, threeChannels, &kPlain), "Invalid channel count: 3");

    CHECK(Listen(&kal, kBlocksToStart) == 0); // no failed call is heard
    kal.playLocal(kal.priv, sound, &kPlain);  // and none that works takes the text back
    CHECK_TEXT(kal.checkError(kal.priv), "Invalid channel count: 3");
    kal.freeBuffer(kal.priv, threeChannels);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

// A constant plays as that constant, for linear interpolation between equals is exact and neither limiter nor clip
// moves so soft a sound.
static void PlaysEverySampleFormatAsItIs(void)
{
    static uint8_t bytes[2000];
    static int16_t words[2000];
    static float floats[2000];
    const struct {
        const void* data;
        int bits, channels;
        float left, right;
    } cases[] = {
        {bytes, 8, 1, 0.25f, 0.25f},   {words, 16, 1, 0.25f, 0.25f},   {floats, 32, 1, 0.25f, 0.25f},
        {bytes, 8, 2, 0.25f, -0.125f}, {words, 16, 2, 0.25f, -0.125f}, {floats, 32, 2, 0.25f, -0.125f},
    };
    KalContext kal = StartedAt(48000);
    int i, frames;
    for (size_t c = 0; c < sizeof cases / sizeof *cases; ++c) {
        KalBufferParam samples = {cases[c].data, cases[c].bits, cases[c].channels, 1000, 48000};
        for (i = 0; i < 2000; ++i) {
            const int right = cases[c].channels == 2 && i % 2;
            bytes[i] = right ? 112 : 160;
            words[i] = right ? -4096 : 8192;
            floats[i] = right ? -0.125f : 0.25f;
        }
        KalBuffer* sound = kal.createBuffer(kal.priv, &samples);
        memset(bytes, 255, sizeof bytes); // the library has a copy of its own
        memset(words, 255, sizeof words);
        memset(floats, 255, sizeof floats);
        kal.playLocal(kal.priv, sound, &kPlain);
        kal.freeBuffer(kal.priv, sound); // and keeps it while it plays
        frames = CountFrames(&kal, cases[c].left, cases[c].right, kBlocksToStart + 1000 / kBlock);
        CHECK(frames == 1000);
    }
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.destroy(kal.priv);
}

static void ReplacesTheRunningContext(void)
{
    KalContext kal = StartedAt(48000);
    KalInitParam parameters = Parameters(3999);
    KalBuffer* sound = ConstantSound(&kal, 0.25f, 48000);
    kal.playLocal(kal.priv, sound, &kPlain);
    CHECK(Listen(&kal, kBlocksToStart) == 0.25f);
    kal.init(kal.priv, &parameters);
    CHECK_TEXT(kal.checkError(kal.priv), "Invalid sampling rate: 3999.000000");
    parameters.samplingRate = 0;
    kal.init(kal.priv, &parameters);
    CHECK_TEXT(kal.checkError(kal.priv), "Invalid sampling rate: 0.000000");
    CHECK(Listen(&kal, 1) == 0.25f); // a failed init leaves what plays alone
    parameters.samplingRate = 24000;
    kal.init(kal.priv, &parameters);
    CHECK(Listen(&kal, kBlocksToStart) == 0);
    kal.playLocal(kal.priv, sound, &kPlain); // a buffer outlives its context
    CHECK(abs(CountFrames(&kal, 0.25f, 0.25f, 24000 / kBlock + kBlocksToStart) - 24000) <= 1);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

static void Cases(void)
{
    RUN(RefusesAWrongInitialization);
    RUN(RefusesEverythingBeforeInit);
    RUN(ChecksArgumentsInOrder);
    RUN(PlaysEverySampleFormatAsItIs);
    RUN(ReplacesTheRunningContext);
}

int main(int argc, char** argv)
{
    return RunHost(argc > 1 ? argv[1] : "", Cases);
}
