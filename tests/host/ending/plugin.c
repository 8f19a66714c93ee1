// A library of the host's own that uses this one. It ends what it began as it is unloaded, by the host or with the
// process: on Windows with the loader's lock held, in the latter case with every other thread gone, wherever it stood.
#include "plugin.h"

#include "examples/kal_loader.h"

#ifdef _WIN32
#define EXPORT __declspec(dllexport)
#else
#define EXPORT __attribute__((visibility("default")))
#endif

enum { kRate = 48000, kBlock = 5 * kRate, kSounds = 64 };

static const KalInitParam kParameters = {kRate, NULL, NULL, 2, kSounds, NULL, NULL};
static float samples[2 * kBlock], stream[2 * kBlock];
static KalLibrary library;
static KalContext kal;

EXPORT const char* Begin(const char* path);
EXPORT const char* Begin(const char* path)
{
    static const KalBufferParam kSound = {samples, 32, 1, 2 * kBlock, kRate};
    static const KalPlayParam kPlain = {1, 1, 1};
    static const KalVector3 kAhead = {0, 0, 1};
    KalSampleBuffer* sound;
    library = kalOpenLibrary(path);
    if (!library.initialize) return library.error;
    if (library.initialize(1, KAL_INTERFACE_VERSION, &kal)) return "no context";
    kal.init(kal.priv, &kParameters);
    sound = kal.createBuffer(kal.priv, &kSound);
    for (int i = 0; i < kSounds; ++i) kal.playRelative(kal.priv, sound, &kAhead, &kPlain);
    kal.freeBuffer(kal.priv, sound);
    kal.render(kal.priv, stream, kBlock); // and the next one is begun
    return kal.checkError(kal.priv);
}

// Whatever of this cannot be done must not hang.
__attribute__((destructor)) static void End(void)
{
    if (!library.initialize) return;
#ifdef _WIN32 // elsewhere the library's own static objects may have gone before
    KalContext brief;
    if (!library.initialize(1, KAL_INTERFACE_VERSION, &brief)) {
        brief.init(brief.priv, &kParameters); // its threads cannot begin while the loader's lock is held
        brief.destroy(brief.priv);
    }
    kal.init(kal.priv, &kParameters);
#endif
    kal.destroy(kal.priv);
    kalCloseLibrary(library);
}
