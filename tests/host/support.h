// What programs that load the library share: checks that report and go on, a context that runs and the memory that the
// process holds.
#ifndef HOST_SUPPORT_H
#define HOST_SUPPORT_H

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

static KalLibrary library;
static int failures;
static const KalVector3 kUp = {0, 1, 0};

#define CHECK(condition)                                                                                               \
    ((condition) ? (void)0 : (void)(++failures, printf("%s:%d: not so: %s\n", __FILE__, __LINE__, #condition)))
#define CHECK_TEXT(actual, expected) CheckText(actual, expected, __FILE__, __LINE__)

// Either text may be null, which equals null only.
static inline void CheckText(const char* actual, const char* expected, const char* file, int line)
{
    if (actual && expected ? strcmp(actual, expected) == 0 : actual == expected) return;
    ++failures;
    printf("%s:%d: \"%s\" where \"%s\" was due\n", file, line, actual ? actual : "(null)",
           expected ? expected : "(null)");
}

static inline KalContext Started(const KalInitParam* parameters)
{
    KalContext kal;
    CHECK_TEXT(library.initialize(1, KAL_INTERFACE_VERSION, &kal), NULL);
    kal.init(kal.priv, parameters);
    CHECK_TEXT(kal.checkError(kal.priv), NULL);
    return kal;
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

// Whether the process holds the library at `path`.
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

// Runs `cases` with the library at `path` and tells how it went, as main does.
static inline int RunHost(const char* path, void (*cases)(void))
{
    library = kalOpenLibrary(path);
    if (!library.initialize) {
        printf("The library cannot be loaded: %s\n", library.error);
        return 1;
    }
    cases();
    kalCloseLibrary(library);
    printf("%d checks failed\n", failures);
    return failures != 0;
}

#endif // HOST_SUPPORT_H
