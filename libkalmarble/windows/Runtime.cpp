// What the compiler's run-time, a copy of which is inside the DLL, leaves undone when it is loaded and unloaded.

#include <cstdlib>
#include <windows.h>

namespace __gnu_cxx {
void __freeres(); // libstdc++'s: frees the memory that it keeps for exceptions when there is no other
}

#ifdef __i386__
extern "C" {
// libgcc's; its headers do not declare them.
void __register_frame_info(const void* firstFrame, void* object);
void* __deregister_frame_info(const void* firstFrame);
const void* _Unwind_Find_FDE(void* code, void* bases);

extern const IMAGE_DOS_HEADER __ImageBase; // the linker's
extern const char kalAmongFrames;          // somewhere in the section of the DLL's unwind tables
}
asm(".section .eh_frame\n_kalAmongFrames:\n.text");
#endif

namespace {

#ifdef __i386__
/// The first of the unwind tables, which fill their section.
const void* FirstFrame()
{
    const auto image = reinterpret_cast<const char*>(&__ImageBase);
    const auto headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + __ImageBase.e_lfanew);
    const auto offset = static_cast<DWORD>(&kalAmongFrames - image);
    const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(headers);
    while (offset - section->VirtualAddress >= section->Misc.VirtualSize) ++section;
    return image + section->VirtualAddress;
}

void ForgetFrames()
{
    __deregister_frame_info(FirstFrame());
}

// The start-up code announces the unwind tables to the shared run-time when that is in the process already, as it is in
// every C++ program that MinGW builds with its default flags. But the DLL throws through its own copy.
void AnnounceFrames()
{
    void* bases[3];
    if (_Unwind_Find_FDE(reinterpret_cast<void*>(&ForgetFrames), bases)) return;
    static void* object[8]; // the run-time's note of the tables, six words
    __register_frame_info(FirstFrame(), object);
    std::atexit(ForgetFrames);
}
#else
// 64-bit Windows finds the unwind tables by itself.
void AnnounceFrames() {}
#endif

/// What the thread library took of the process's 1088 indices of thread-local storage. It takes one when it first needs
/// it, and keeps it when the DLL goes.
DWORD threadIndex = TLS_OUT_OF_INDEXES;

DWORD WINAPI TlsAllocRemembered()
{
    const FARPROC tlsAlloc = GetProcAddress(GetModuleHandleA("KERNEL32"), "TlsAlloc");
    threadIndex = reinterpret_cast<DWORD(WINAPI*)()>(reinterpret_cast<void*>(tlsAlloc))();
    return threadIndex;
}

void GiveBackThreadIndex()
{
    if (threadIndex != TLS_OUT_OF_INDEXES) TlsFree(threadIndex);
}

// Before any other constructor; what it registers runs after every destructor.
[[gnu::constructor(101)]] void Begin()
{
    std::atexit(GiveBackThreadIndex);
    std::atexit(__gnu_cxx::__freeres);
    AnnounceFrames();
}

} // namespace

#ifdef __i386__
#define KAL_TLS_ALLOC_IMPORT "__imp__TlsAlloc@0"
#else
#define KAL_TLS_ALLOC_IMPORT "__imp_TlsAlloc"
#endif

/// Stands for the system's function wherever the DLL calls it: the entry of the import table, by its linker's name.
extern "C" [[gnu::used]] DWORD(WINAPI* const kTlsAllocImport)() asm(KAL_TLS_ALLOC_IMPORT) = TlsAllocRemembered;
