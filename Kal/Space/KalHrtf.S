// The file KAL_HRTF_DATA as the symbols of KalHrtf.h.

#if defined(_WIN32) && defined(__i386__)
#define hrtfData _hrtfData // where C names have an underscore in front
#define hrtfDataSize _hrtfDataSize
#endif

#ifdef __ELF__
        .section .rodata, "a", @progbits
        .hidden hrtfData
        .hidden hrtfDataSize
        .type   hrtfData, @object
        .size   hrtfData, dataEnd - hrtfData
        .type   hrtfDataSize, @object
        .size   hrtfDataSize, 4
#else
        .section .rdata, "dr"
#endif

        .globl  hrtfData
        .balign 64
hrtfData:
        .incbin KAL_HRTF_DATA
        .byte   0
dataEnd:

        .globl  hrtfDataSize
        .balign 4
hrtfDataSize:
        .long   dataEnd - hrtfData

#ifdef __ELF__
        // Without this note the linker would give the whole program an executable stack.
        .section .note.GNU-stack, "", @progbits
#endif
