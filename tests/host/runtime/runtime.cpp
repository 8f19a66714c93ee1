// A host whose own exceptions and the library's go through different copies of the compiler's run-time, or the same
// one: each catches its own, before, while and after the library is loaded.
#include "tests/host/support.h"

#include <stdexcept>

static const char* path;

static void ThrowsItself(void)
{
    try {
        throw std::runtime_error("the host's own");
    } catch (const std::exception& error) {
        CHECK_TEXT(error.what(), "the host's own");
    }
}

static void Run(void)
{
    for (int i = 0; i < 3; ++i) {
        KalContext kal;
        ThrowsItself();
        CHECK_TEXT(library.initialize(1, KAL_INTERFACE_VERSION, &kal), nullptr);
        kal.playLocal(kal.priv, nullptr, nullptr);
        CHECK_TEXT(kal.checkError(kal.priv), "Not initialized.");
        ThrowsItself();
        kal.destroy(kal.priv);
        kalCloseLibrary(library);
        ThrowsItself();
        library = kalOpenLibrary(path);
        CHECK(library.initialize != nullptr);
    }
}

int main(int argc, char** argv)
{
    path = argc > 1 ? argv[1] : "";
    ThrowsItself();
    return RunHost(path, Run);
}
