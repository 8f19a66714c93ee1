// For assembler sources that embed a file: what differs between object formats. No quotation marks are put around the
// section's type, so that each assembler reads it as its own.
//
//     KAL_DATA(name, size)     begins constant data of so many bytes under a name that C knows; its label follows
//     KAL_SYMBOL(name)         that label
//     KAL_DATA_END             after the last

// clang-format off
#if defined(__ELF__)
#define KAL_SYMBOL(name) name
#define KAL_DATA(name, bytes) \
        .section .rodata, "a", %progbits ; .globl name ; .hidden name ; .type name, %object ; .size name, bytes
// Without this note the linker would give the whole program an executable stack.
#define KAL_DATA_END .section .note.GNU-stack, "", %progbits
#elif defined(__wasm__)
#define KAL_SYMBOL(name) name
#define KAL_DATA(name, bytes) \
        .section .rodata.name,"",@ ; .globl name ; .hidden name ; .type name,@object ; .size name, bytes
#define KAL_DATA_END
#elif defined(_WIN32)
#ifdef __i386__
#define KAL_SYMBOL(name) _##name // where C names have an underscore in front
#else
#define KAL_SYMBOL(name) name
#endif
#define KAL_DATA(name, bytes) .section .rdata, "dr" ; .globl KAL_SYMBOL(name)
#define KAL_DATA_END
#endif
// clang-format on
