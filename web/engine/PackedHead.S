// The file KAL_PACKED_HEAD and its length as the symbols of PackedHead.cpp.

#include "Kal/Platform/KalData.h"

        KAL_DATA(packedHead, .LpackedHeadEnd - packedHead)
        .balign 4
KAL_SYMBOL(packedHead):
        .incbin KAL_PACKED_HEAD
.LpackedHeadEnd:

        KAL_DATA(packedHeadSize, 4)
        .balign 4
KAL_SYMBOL(packedHeadSize):
        .long   .LpackedHeadEnd - KAL_SYMBOL(packedHead)

        KAL_DATA_END
