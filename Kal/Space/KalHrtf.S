// The file KAL_HRTF_DATA as the symbols of KalHrtf.h.

#include "Kal/Platform/KalData.h"

        KAL_DATA(hrtfData, .LhrtfDataEnd - hrtfData)
        .balign 64
KAL_SYMBOL(hrtfData):
        .incbin KAL_HRTF_DATA
        .byte   0
.LhrtfDataEnd:

        KAL_DATA(hrtfDataSize, 4)
        .balign 4
KAL_SYMBOL(hrtfDataSize):
        .long   .LhrtfDataEnd - KAL_SYMBOL(hrtfData)

        KAL_DATA_END
