/*
 * Loads the library at run time and finds its one function, on Windows and Linux: the only lines of a host that differ
 * from one to the other. C99 and C++.
 */
#ifndef KAL_LOADER_H
#define KAL_LOADER_H

#include "KALMarble.h"

#include <string.h>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

typedef struct KalLibrary {
    void* handle;                     /* null when the file could not be loaded */
    KalInitializeFunction initialize; /* null when the file could not be loaded or is not this library */
    const char* error;                /* why initialize is null */
} KalLibrary;

/* Loads the file at `path`. */
static inline KalLibrary kalOpenLibrary(const char* path)
{
    KalLibrary library = {NULL, NULL, NULL};
#ifdef _WIN32
    HMODULE handle = LoadLibraryA(path);
    FARPROC symbol = handle ? GetProcAddress(handle, "KalInitialize") : NULL;
    if (!symbol) library.error = handle ? "KalInitialize is not there" : "the file is not there or not a 32-bit DLL";
#else
    void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    void* symbol = handle ? dlsym(handle, "KalInitialize") : NULL;
    if (!symbol) library.error = dlerror(); /* NOLINT(concurrency-mt-unsafe): each thread has its own text here */
#endif
    library.handle = (void*)handle;
    /* A copy of the bytes, for neither language converts these pointers to the function's type without complaint. */
    memcpy(&library.initialize, &symbol, sizeof symbol);
    return library;
}

/* Unloads the library; every context must have been destroyed. */
static inline void kalCloseLibrary(KalLibrary library)
{
    if (!library.handle) return;
#ifdef _WIN32
    FreeLibrary((HMODULE)library.handle);
#else
    dlclose(library.handle);
#endif
}

#endif /* KAL_LOADER_H */
