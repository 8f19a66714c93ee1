/* A host that calls every entry of the real library, rightly and wrongly, and looks at what comes back. */
#include "support.h"

/* The renderer's first block has this size, so that a host that asks for it loses none. */
enum { kBlock = 512, kMaxBlock = 1024 };

/* Where every case renders; one float more than the largest block, as a guard. */
static float stream[2 * kMaxBlock + 1];

typedef struct Heard {
    float peak;       /* of both ears */
    double energy[2]; /* of the left and of the right ear */
} Heard;

static Heard Listen(const KalContext* kal, int blocks)
{
    Heard heard = {0, {0, 0}};
    int i;
    while (blocks-- > 0) {
        kal->render(kal->priv, stream, kBlock);
        for (i = 0; i < 2 * kBlock; ++i) {
            heard.peak = fmaxf(heard.peak, fabsf(stream[i]));
            heard.energy[i % 2] += (double)stream[i] * stream[i];
        }
    }
    return heard;
}

/* Number of non-silent frames from now until `blocks` blocks have passed; every one of them must be the
 * given pair. */
static int CountFrames(const KalContext* kal, float left, float right, int blocks)
{
    int count = 0, others = 0, i;
    while (blocks-- > 0) {
        kal->render(kal->priv, stream, kBlock);
        for (i = 0; i < kBlock; ++i) {
            const int silent = stream[2 * i] == 0 && stream[2 * i + 1] == 0;
            count += !silent;
            others += !silent && !(stream[2 * i] == left && stream[2 * i + 1] == right);
        }
    }
    CHECK(others <= 1); /* the last frame, between the last sample and silence, at rates that are not 48 kHz */
    return count;
}

/* A sound starts up to 10000 frames into the block after the next, which these blocks cover. */
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
    size_t i;
    memset(&untouched, 0xA5, sizeof untouched);
    for (i = 0; i < sizeof cases / sizeof *cases; ++i) {
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

/* The call fails with this text, which it writes itself: another one stands there before. */
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
    KalBuffer* threeChannels;

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
    threeChannels = kal.createBuffer(kal.priv, &samples);
    CHECK(threeChannels != NULL);
    FAILS(kal.playLocal(kal.priv, threeChannels, &kPlain), "Invalid channel count: 3");

    CHECK(Listen(&kal, kBlocksToStart).peak == 0); /* no failed call is heard */
    kal.playLocal(kal.priv, sound, &kPlain);       /* and none that works takes the text back */
    CHECK_TEXT(kal.checkError(kal.priv), "Invalid channel count: 3");
    kal.freeBuffer(kal.priv, threeChannels);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

/* A constant plays as that constant, for linear interpolation between equals is exact and neither limiter nor clip
 * moves so soft a sound. */
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
    size_t c;
    int i, frames;
    for (c = 0; c < sizeof cases / sizeof *cases; ++c) {
        KalBufferParam samples = {cases[c].data, cases[c].bits, cases[c].channels, 1000, 48000};
        KalBuffer* sound;
        for (i = 0; i < 2000; ++i) {
            const int right = cases[c].channels == 2 && i % 2;
            bytes[i] = right ? 112 : 160;
            words[i] = right ? -4096 : 8192;
            floats[i] = right ? -0.125f : 0.25f;
        }
        sound = kal.createBuffer(kal.priv, &samples);
        memset(bytes, 255, sizeof bytes); /* the library has a copy of its own */
        memset(words, 255, sizeof words);
        memset(floats, 255, sizeof floats);
        kal.playLocal(kal.priv, sound, &kPlain);
        kal.freeBuffer(kal.priv, sound); /* and keeps it while it plays */
        frames = CountFrames(&kal, cases[c].left, cases[c].right, kBlocksToStart + 1000 / kBlock);
        CHECK(frames == 1000);
    }
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.destroy(kal.priv);
}

/* A tenth of a second of sound lasts a tenth of a second at either rate, give or take the frame at its end. */
static void RunsTwoContextsAtDifferentRates(void)
{
    KalContext slow = StartedAt(44100), fast = StartedAt(96000);
    KalBuffer *slowSound = ConstantSound(&slow, 0.25f, 4800), *fastSound = ConstantSound(&fast, 0.5f, 4800);
    slow.playLocal(slow.priv, slowSound, &kPlain);
    fast.playLocal(fast.priv, fastSound, &kPlain);
    CHECK(abs(CountFrames(&slow, 0.25f, 0.25f, kBlocksToStart + 10) - 4410) <= 1);
    CHECK(abs(CountFrames(&fast, 0.5f, 0.5f, kBlocksToStart + 20) - 9600) <= 1);
    slow.freeBuffer(slow.priv, slowSound);
    slow.destroy(slow.priv);
    fast.playLocal(fast.priv, fastSound, &kPlain); /* goes on without the other */
    CHECK(Listen(&fast, kBlocksToStart).peak == 0.5f);
    fast.freeBuffer(fast.priv, fastSound);
    fast.destroy(fast.priv);
}

static void ReplacesTheRunningContext(void)
{
    KalContext kal = StartedAt(48000);
    KalInitParam parameters = Parameters(3999);
    KalBuffer* sound = ConstantSound(&kal, 0.25f, 48000);
    kal.playLocal(kal.priv, sound, &kPlain);
    CHECK(Listen(&kal, kBlocksToStart).peak == 0.25f);
    kal.init(kal.priv, &parameters);
    CHECK_TEXT(kal.checkError(kal.priv), "Invalid sampling rate: 3999.000000");
    parameters.samplingRate = 0;
    kal.init(kal.priv, &parameters);
    CHECK_TEXT(kal.checkError(kal.priv), "Invalid sampling rate: 0.000000");
    CHECK(Listen(&kal, 1).peak == 0.25f); /* a failed init leaves what plays alone */
    parameters.samplingRate = 24000;
    kal.init(kal.priv, &parameters);
    CHECK(Listen(&kal, kBlocksToStart).peak == 0);
    kal.playLocal(kal.priv, sound, &kPlain); /* a buffer outlives its context */
    CHECK(abs(CountFrames(&kal, 0.25f, 0.25f, 24000 / kBlock + kBlocksToStart) - 24000) <= 1);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

/* A ramp of one step a frame shows lost, doubled and swapped frames: each block must climb by that step, and go on
 * where the one before ended while the size is the same. */
static void RendersBlocksOfEverySize(void)
{
    static const int sizes[] = {512, 64, 100, 1, 256, 441, 480, 0, 1000, 1024, 3};
    enum { kFrames = 40000 };
    static float ramp[kFrames];
    const float step = 1.0f / 65536;
    const KalBufferParam samples = {ramp, 32, 1, kFrames, 48000};
    KalContext kal = StartedAt(48000);
    KalBuffer* sound;
    float last = 0;
    size_t s;
    int i, block;
    for (i = 0; i < kFrames; ++i) ramp[i] = (float)(i + 1) * step;
    sound = kal.createBuffer(kal.priv, &samples);
    kal.playLocal(kal.priv, sound, &kPlain);
    while (kal.render(kal.priv, stream, 512), stream[0] == 0) continue;
    for (s = 0; s < sizeof sizes / sizeof *sizes; ++s) {
        const int size = sizes[s];
        for (block = 0; block < 3; ++block) {
            int steps = 1;
            stream[2 * size] = 7;
            kal.render(kal.priv, stream, size);
            CHECK(stream[2 * size] == 7);
            if (size == 0) continue;
            CHECK(block ? stream[0] - last == step : stream[0] > last);
            for (i = 0; i < size; ++i) {
                steps &= i == 0 || stream[2 * i] - stream[2 * i - 2] == step;
                steps &= stream[2 * i] == stream[2 * i + 1];
            }
            CHECK(steps);
            last = stream[2 * size - 2];
        }
    }
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

typedef struct Wall {
    float answer;
    KalVector3 asked;
} Wall;

static void KAL_CALL AskWall(const KalVector3* position, float* result, void* userData)
{
    Wall* wall = (Wall*)userData;
    wall->asked = *position;
    *result = wall->answer;
}

/* White noise, so that every direction colours it much alike. */
static KalBuffer* NoiseSound(const KalContext* kal, int frames)
{
    static float noise[48000];
    const KalBufferParam samples = {noise, 32, 1, frames, 48000};
    uint32_t random = 1;
    int i;
    for (i = 0; i < frames; ++i) {
        random = random * 1664525u + 1013904223u;
        noise[i] = (float)(random >> 16) / 65536.0f - 0.5f;
    }
    return kal->createBuffer(kal->priv, &samples);
}

/* White noise beside the head is some 14 dB louder in the near ear; 6 dB leave room for the equaliser. */
static void PlacesSoundsAroundTheListener(void)
{
    static const KalVector3 eye = {10, 20, 30}, besideTheEye = {12, 20, 30}, behind = {0, 0, 1};
    const struct {
        int relative, turned, louder;                         /* the ear */
    } cases[] = {{0, 0, 1}, {0, 1, 0}, {1, 0, 1}, {1, 1, 1}}; /* relative sounds turn along with the listener */
    Wall wall = {1, {0, 0, 0}};
    KalInitParam parameters = Parameters(48000);
    KalContext kal;
    KalBuffer* sound;
    size_t c;
    parameters.occlusionQuery = AskWall;
    parameters.occlusionQueryUserData = &wall;
    kal = Started(&parameters);
    sound = NoiseSound(&kal, 4800);
    for (c = 0; c < sizeof cases / sizeof *cases; ++c) {
        const int louder = cases[c].louder;
        Heard heard;
        wall.answer = cases[c].relative ? 0.0f : 1.0f; /* and have no walls in their way */
        kal.respatialize(kal.priv, &eye, cases[c].turned ? &behind : &kAhead, &kUp, &kNoRoom);
        if (cases[c].relative)
            kal.playRelative(kal.priv, sound, &kOnTheRight, &kPlain);
        else
            kal.playAbsolute(kal.priv, sound, &besideTheEye, &kPlain);
        heard = Listen(&kal, kBlocksToStart + 20);
        CHECK(heard.energy[louder] > 4 * heard.energy[!louder]);
    }
    CHECK(wall.asked.x == 12 && wall.asked.y == 20 && wall.asked.z == 30);

    Listen(&kal, 100);
    wall.answer = 0; /* a low-pass coefficient of 0 lets nothing through, and there is no room to be heard by */
    kal.playAbsolute(kal.priv, sound, &besideTheEye, &kPlain);
    CHECK(Listen(&kal, kBlocksToStart + 20).peak < 1e-4f);
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
}

static void KAL_CALL KeepMessage(const char* message, void* userData)
{
    strncpy((char*)userData, message, 99);
}

/* A block of one frame lasts 21 microseconds, of which the wait for its rendering takes more than a fifth. */
static void ReportsLateBlocks(void)
{
    static const char start[] = "Read time exceeded 20% (", end[] = "%): possibly overload";
    char message[100] = "";
    KalInitParam parameters = Parameters(48000);
    KalContext kal;
    int i;
    parameters.debugLog = KeepMessage;
    parameters.debugLogUserData = message;
    kal = Started(&parameters);
    for (i = 0; i < 100 && !message[0]; ++i) kal.render(kal.priv, stream, 1);
    CHECK(strncmp(message, start, sizeof start - 1) == 0);
    CHECK(atoi(message + sizeof start - 1) > 20);
    CHECK(strstr(message, end) != NULL);
    kal.destroy(kal.priv);
}

static void Cases(void)
{
    RUN(RefusesAWrongInitialization);
    RUN(RefusesEverythingBeforeInit);
    RUN(ChecksArgumentsInOrder);
    RUN(PlaysEverySampleFormatAsItIs);
    RUN(RunsTwoContextsAtDifferentRates);
    RUN(ReplacesTheRunningContext);
    RUN(RendersBlocksOfEverySize);
    RUN(PlacesSoundsAroundTheListener);
    RUN(ReportsLateBlocks);
}

int main(int argc, char** argv)
{
    return RunHost(argc > 1 ? argv[1] : "", Cases);
}
