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

#ifdef _WIN32
/* Loads the file at a wide path, as std::filesystem::path::c_str gives it. */
static inline KalLibrary kalOpenLibraryW(const wchar_t* path)
{
    KalLibrary library = {NULL, NULL, NULL};
    HMODULE handle = LoadLibraryW(path);
    FARPROC symbol = handle ? GetProcAddress(handle, "KalInitialize") : NULL;
    if (!handle)
        library.error = sizeof handle == 4 ? "the file is not there or not a 32-bit DLL"
                                           : "the file is not there or not a 64-bit DLL";
    else if (!symbol)
        library.error = "KalInitialize is not there";
    library.handle = (void*)handle;
    /* A copy of the bytes, for neither language converts these pointers to the function's type without complaint. */
    memcpy(&library.initialize, &symbol, sizeof symbol);
    return library;
}
#endif

/* Loads the file at `path`, in UTF-8. */
static inline KalLibrary kalOpenLibrary(const char* path)
{
#ifdef _WIN32
    KalLibrary unnamed = {NULL, NULL, "the path is too long or not in UTF-8"};
    wchar_t wide[1024];
    if (!MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, wide, 1024)) return unnamed;
    return kalOpenLibraryW(wide);
#else
    KalLibrary library = {NULL, NULL, NULL};
    void* symbol;
    library.handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    symbol = library.handle ? dlsym(library.handle, "KalInitialize") : NULL;
    if (!symbol) library.error = dlerror(); /* NOLINT(concurrency-mt-unsafe): each thread has its own text here */
    memcpy(&library.initialize, &symbol, sizeof symbol);
    return library;
#endif
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
