// What the host programs share: checks that report and go on, a context that runs, sounds whose samples are known, and
// the memory that the process holds.
#ifndef HOST_SUPPORT_H
#define HOST_SUPPORT_H

#ifndef __cplusplus
#define _GNU_SOURCE // for RTLD_NOLOAD; C++ has it anyway
#endif
#define PSAPI_VERSION 2 // for the process's memory from kernel32 itself

#include "examples/kal_loader.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#ifdef _WIN32
#include <psapi.h>
#else
#include <unistd.h>
#endif

static int failures;

#define CHECK(condition)                                                                                               \
    ((condition) ? (void)0 : (void)(++failures, printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition)))
#define CHECK_TEXT(actual, expected) CheckText(actual, expected, __FILE__, __LINE__)

// Either text may be null, which equals null only.
static inline void CheckText(const char* actual, const char* expected, const char* file, int line)
{
    const int equal = actual && expected ? strcmp(actual, expected) == 0 : actual == expected;
    if (equal) return;
    ++failures;
    printf("%s:%d: \"%s\" where \"%s\" was due\n", file, line, actual ? actual : "(null)",
           expected ? expected : "(null)");
}

// Runs one case under its name.
#define RUN(name) (puts(#name), fflush(stdout), name())

static KalLibrary library;
static const KalVector3 kOrigin = {0, 0, 0}, kAhead = {0, 0, -1}, kUp = {0, 1, 0}, kOnTheRight = {2, 0, 0};
static const KalReverbParam kNoRoom = {0, 0, 0, 0, 0};
static const KalPlayParam kPlain = {1, 1, 1};

static inline void KAL_CALL NoWalls(const KalVector3* position, float* result, void* userData)
{
    (void)position;
    (void)userData;
    *result = 1;
}

static inline KalInitParam Parameters(double samplingRate)
{
    const KalInitParam parameters = {samplingRate, NoWalls, NULL, 2, 8, NULL, NULL};
    return parameters;
}

// A fresh private record, without a renderer yet.
static inline KalContext Uninitialized(void)
{
    KalContext kal;
    memset(&kal, 0, sizeof kal);
    CHECK_TEXT(library.initialize(1, KAL_INTERFACE_VERSION, &kal), NULL);
    return kal;
}

static inline KalContext Started(const KalInitParam* parameters)
{
    KalContext kal = Uninitialized();
    kal.init(kal.priv, parameters);
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    return kal;
}

static inline KalContext StartedAt(double samplingRate)
{
    const KalInitParam parameters = Parameters(samplingRate);
    return Started(&parameters);
}

// A mono sound of 48 kHz that holds one value.
static inline KalBuffer* ConstantSound(const KalContext* kal, float value, int frames)
{
    KalBufferParam parameters = {NULL, 32, 1, 0, 48000};
    float* samples = (float*)malloc((size_t)frames * sizeof *samples);
    for (int i = 0; i < frames; ++i) samples[i] = value;
    parameters.data = samples;
    parameters.numSamples = frames;
    KalBuffer* sound = kal->createBuffer(kal->priv, &parameters);
    CHECK(sound != NULL);
    free(samples);
    return sound;
}

// Bytes of memory that the process holds now.
static inline double HeldMemory(void)
{
#ifdef _WIN32
    PROCESS_MEMORY_COUNTERS counters;
    CHECK(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
    return (double)counters.WorkingSetSize;
#else
    long total = 0, resident = 0;
    FILE* file = fopen("/proc/self/statm", "r");
    CHECK(file && fscanf(file, "%ld %ld", &total, &resident) == 2);
    if (file) fclose(file);
    return (double)resident * (double)sysconf(_SC_PAGESIZE);
#endif
}

static inline int IsLoaded(const char* path)
{
#ifdef _WIN32
    return GetModuleHandleA(path) != NULL;
#else
    void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != NULL;
#endif
}

// Loads the library at `path`, runs the cases and tells how it went, as main does.
static inline int RunHost(const char* path, void (*cases)(void))
{
    library = kalOpenLibrary(path);
    if (!library.initialize) {
        printf("The library cannot be loaded: %s\n", library.error);
        return 1;
    }
    CHECK(IsLoaded(path));
    cases();
    kalCloseLibrary(library);
    printf("%d checks failed\n", failures);
    return failures != 0;
}

#endif // HOST_SUPPORT_H
