// What the plug-in offers its host, by the name Begin: loads the library at `path` and leaves a context in the middle
// of a long block. Null, or what went wrong.
#ifndef HOST_PLUGIN_H
#define HOST_PLUGIN_H

typedef const char* (*PluginBegin)(const char* path);

#endif // HOST_PLUGIN_H
