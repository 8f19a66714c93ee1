/* A small game: you stand in the middle of a square while a recording walks around you through three rooms, and every
 * second step behind a wall; another recording plays as music. The audio callback is SDL's, the game loop runs at 60
 * Hz.
 *
 *     sdl_host MUSIC.wav STEP.wav [SECONDS]
 */
#include "KALMarble.h"
#include "kal_blocks.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

static KalContext kal;
static KalBlocks blocks;

/* The device asks for as many bytes as it likes; the library renders blocks of one size. */
static void SDLCALL FillStream(void* unused, Uint8* stream, int numBytes)
{
    (void)unused;
    kalRenderBlocks(&blocks, &kal, (float*)stream, numBytes / (int)(2 * sizeof(float)));
}

/* A wall stands behind the listener, at z = 1. */
static void KAL_CALL AskWalls(const KalVector3* position, float* result, void* userData)
{
    (void)userData;
    *result = position->z > 1 ? 0.1f : 1.0f;
}

static void KAL_CALL Log(const char* message, void* userData)
{
    (void)userData;
    fprintf(stderr, "%s\n", message);
}

/* Reads a WAV file of any format as floats at the device's rate, with its own channels up to two. */
static KalSampleBuffer* LoadSound(const char* path, int samplingRate)
{
    KalBufferParam param = {NULL, 32, 0, 0, samplingRate};
    KalSampleBuffer* buffer = NULL;
    SDL_AudioSpec file;
    SDL_AudioCVT convert;
    Uint8* bytes;
    Uint32 numBytes;
    if (!SDL_LoadWAV(path, &file, &bytes, &numBytes)) return NULL;
    param.numChannels = file.channels < 2 ? 1 : 2;
    if (SDL_BuildAudioCVT(&convert, file.format, file.channels, file.freq, AUDIO_F32SYS, (Uint8)param.numChannels,
                          samplingRate) >= 0) {
        convert.len = (int)numBytes;
        convert.buf = (Uint8*)SDL_malloc((size_t)convert.len * (size_t)convert.len_mult);
        if (convert.buf) {
            SDL_memcpy(convert.buf, bytes, numBytes);
            convert.len_cvt = convert.len;
            SDL_ConvertAudio(&convert);
            param.data = convert.buf;
            param.numSamples = convert.len_cvt / (int)sizeof(float) / param.numChannels;
            buffer = kal.createBuffer(kal.priv, &param);
            SDL_free(convert.buf);
        }
    }
    SDL_FreeWAV(bytes);
    return buffer;
}

static void Play(KalSampleBuffer* music, KalSampleBuffer* step, int seconds)
{
    static const KalReverbParam kRooms[] = {
        {0.2f, 75, 110, 5, 0.2f}, {0.9f, 75, 110, 5, 0.9f}, {1, 12000, 3600, 40, 1}}; /* a field, a chamber, a hall */
    static const char* const kNames[] = {"a field", "a chamber", "a hall"};
    const KalVector3 eye = {0, 1.7f, 0}, front = {0, 0, -1}, up = {0, 1, 0}; /* +x is on the right */
    const KalPlayParam soft = {0.3f, 1, 1}, plain = {1, 1, 4};
    int frame;
    kal.playLocal(kal.priv, music, &soft);
    for (frame = 0; frame < 60 * seconds; ++frame) {
        const int room = frame / 240 % 3; /* four seconds each */
        if (frame % 240 == 0) printf("%s\n", kNames[room]);
        kal.respatialize(kal.priv, &eye, &front, &up, &kRooms[room]);
        if (frame % 30 == 0) {
            const float angle = (float)frame * 0.0262f; /* once around in four seconds */
            const KalVector3 place = {3 * sinf(angle), 0, -3 * cosf(angle)};
            kal.playAbsolute(kal.priv, step, &place, &plain);
        }
        SDL_Delay(16); /* where a game would draw */
    }
}

int main(int argc, char** argv)
{
    const SDL_AudioSpec wanted = {48000, AUDIO_F32SYS, 2, 0, KAL_BLOCK_FRAMES, 0, 0, FillStream, NULL};
    KalInitParam param = {0, AskWalls, NULL, 2, 64, Log, NULL};
    KalSampleBuffer *music, *step;
    SDL_AudioDeviceID device;
    SDL_AudioSpec got;
    const char* error = KalInitialize(1, KAL_INTERFACE_VERSION, &kal);
    if (argc < 3 || error) return fprintf(stderr, "%s\n", error ? error : "usage: sdl_host MUSIC.wav STEP.wav"), 2;
    SDL_SetMainReady();
    if (SDL_Init(SDL_INIT_AUDIO) < 0 ||
        !(device = SDL_OpenAudioDevice(NULL, 0, &wanted, &got,
                                       SDL_AUDIO_ALLOW_FREQUENCY_CHANGE | SDL_AUDIO_ALLOW_SAMPLES_CHANGE)))
        return fprintf(stderr, "no sound: %s\n", SDL_GetError()), 1;

    param.samplingRate = got.freq; /* the device's, so that nothing is converted twice */
    kal.init(kal.priv, &param);
    music = LoadSound(argv[1], got.freq);
    step = LoadSound(argv[2], got.freq);
    SDL_PauseAudioDevice(device, 0); /* from here on the callback runs */
    if (music && step) Play(music, step, argc > 3 ? atoi(argv[3]) : 12);

    SDL_CloseAudioDevice(device); /* the callback has returned for good */
    error = music && step ? kal.checkError(kal.priv) : "the recordings cannot be read";
    if (error) fprintf(stderr, "%s\n", error);
    if (music) kal.freeBuffer(kal.priv, music);
    if (step) kal.freeBuffer(kal.priv, step);
    kal.destroy(kal.priv);
    SDL_Quit();
    return error != NULL;
}
