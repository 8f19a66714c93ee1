/* A library that is wrong in every way that the check knows: it exports too much and, on Windows, under a decorated
 * name, needs a library beyond the two that are allowed and is too large. */
#ifdef _WIN32
#include <windows.h>
#define EXPORT __declspec(dllexport)
EXPORT int __stdcall KalInitialize(int sound)
{
    return MessageBeep((UINT)sound);
}
#else
#define EXPORT __attribute__((visibility("default")))
EXPORT int KalInitialize(int sound)
{
    return sound;
}
#endif

EXPORT const char ballast[1500000] = {1};
