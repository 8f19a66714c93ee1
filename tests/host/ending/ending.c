// A host whose plug-in uses the library. It unloads the plug-in, or ends with it loaded.
//
//     host_ending LIBRARY PLUGIN unload|exit
#define _GNU_SOURCE // for RTLD_NOLOAD
#include "plugin.h"
#include "tests/host/support.h"

#include <time.h>

static const char* pluginPath;

static void RunPlugin(const char* path, KalLibrary* plugin)
{
    PluginBegin begin = NULL;
    *plugin = kalOpenLibrary(pluginPath); // which does not find the library's function, and leaves it open
#ifdef _WIN32
    const FARPROC symbol = GetProcAddress((HMODULE)plugin->handle, "Begin");
#else
    void* const symbol = dlsym(plugin->handle, "Begin");
#endif
    memcpy(&begin, &symbol, sizeof symbol);
    CHECK_TEXT(begin(path), NULL);
}

// Its threads leave the library soon after the context's end, if they could not before.
static int IsGoneSoon(const char* path)
{
    const time_t start = time(NULL);
    while (IsLoaded(path))
        if (time(NULL) - start > 20) return 0;
    return 1;
}

int main(int argc, char** argv)
{
    KalLibrary plugin;
    if (argc != 4) return 2;
    pluginPath = argv[2];
    for (int i = 0; strcmp(argv[3], "unload") == 0 && i < 5; ++i) {
        RunPlugin(argv[1], &plugin);
        kalCloseLibrary(plugin);
        CHECK(IsGoneSoon(argv[1]));
    }
    if (strcmp(argv[3], "exit") == 0) RunPlugin(argv[1], &plugin);
    printf("%d checks failed\n", failures);
    return failures != 0;
}
