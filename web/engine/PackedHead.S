// The file KAL_PACKED_HEAD as the symbol of PackedHead.cpp.

#include "Kal/Platform/KalData.h"

        KAL_DATA(packedHead, .LpackedHeadEnd - packedHead)
        .balign 4
KAL_SYMBOL(packedHead):
        .incbin KAL_PACKED_HEAD
.LpackedHeadEnd:

        KAL_DATA_END
