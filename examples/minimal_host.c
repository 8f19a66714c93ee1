/* The smallest complete host: loads the library, plays a tone on the listener's right and prints what either ear gets.
 *
 *     minimal_host path/to/libKALMarble.so     (or KALMarble.dll)
 */
#include "kal_loader.h"

#include <math.h>
#include <stdio.h>

enum { kSamplingRate = 48000, kBlockFrames = 512, kBlocks = 100, kToneFrames = 24000 };

static void KAL_CALL NoWalls(const KalVector3* position, float* result, void* userData)
{
    (void)position;
    (void)userData;
    *result = 1.0f;
}

int main(int argc, char** argv)
{
    const KalInitParam init = {kSamplingRate, NoWalls, NULL, 2, 64, NULL, NULL};
    const KalReverbParam room = {0.8f, 75.0f, 110.0f, 5.0f, 0.8f};
    const KalPlayParam play = {0.5f, 1.0f, 1.0f};
    const KalVector3 eye = {0, 0, 0}, front = {0, 0, -1}, up = {0, 1, 0}; /* so that +x is on the right */
    const KalVector3 onTheRight = {2, 0, 0};
    static float tone[kToneFrames], stream[2 * kBlockFrames];
    const KalBufferParam samples = {tone, 32, 1, kToneFrames, kSamplingRate};
    const KalLibrary library = kalOpenLibrary(argc > 1 ? argv[1] : "libKALMarble.so");
    double energy[2] = {0, 0};
    const char* error;
    KalContext kal;
    KalSampleBuffer* sound;
    int i, block;

    if (!library.initialize) {
        fprintf(stderr, "The library cannot be loaded: %s\n", library.error);
        return 1;
    }
    error = library.initialize(1, KAL_INTERFACE_VERSION, &kal);
    if (error) {
        fprintf(stderr, "%s\n", error);
        return 1;
    }
    for (i = 0; i < kToneFrames; ++i) tone[i] = (float)(sin(0.0576 * i) * exp(-i / 6000.0)); /* 440 Hz, dying away */

    /* The game thread's part. */
    kal.init(kal.priv, &init);
    sound = kal.createBuffer(kal.priv, &samples);
    kal.respatialize(kal.priv, &eye, &front, &up, &room);
    kal.playAbsolute(kal.priv, sound, &onTheRight, &play);

    /* The audio callback's part: it hands every stream to the sound card. */
    for (block = 0; block < kBlocks; ++block) {
        kal.render(kal.priv, stream, kBlockFrames);
        for (i = 0; i < 2 * kBlockFrames; ++i) energy[i % 2] += (double)stream[i] * stream[i];
    }
    for (i = 0; i < 2; ++i)
        printf("%s ear: %.1f dB\n", i ? "right" : "left", 10 * log10(energy[i] / (kBlocks * kBlockFrames)));

    error = kal.checkError(kal.priv);
    if (error) fprintf(stderr, "%s\n", error);
    if (sound) kal.freeBuffer(kal.priv, sound);
    kal.destroy(kal.priv);
    kalCloseLibrary(library);
    return error || !(energy[1] > energy[0]);
}
