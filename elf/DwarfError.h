#pragma once

// Faults of the debug information itself go to one place, at the level of the decoder's messages.

#include "base/Types.h"

enum DWARF_ERROR : U32 {
    DWERR_UNIT = 7,
    DWERR_VERSION = 8,
    DWERR_ABBREV = 9,
    DWERR_LOC_EXPR = 11,
    DWERR_LOCLIST = 13,
    DWERR_FORM = 14,
    DWERR_LINES = 15,
    DWERR_FILE_NUMBER = 16,
    DWERR_FRAME_SIZE = 18,
    DWERR_FRAME_CIE = 19,
    DWERR_AUGMENTATION = 20,
    DWERR_FRAME_EXEC = 21,
    DWERR_FRAME_VERSION = 22,
    DWERR_RANGES = 26,
};

/// Text of an error number, 0 to 28.
const char* DWARF_ErrorText(U32 Error);
/// Reports an error of a function; with sArg the value that it stumbled over. The same report twice in a row goes out
/// once.
void DWARF_ReportError(U32 Error, const char* sFunc, const char* sArg = nullptr, U32 Value = 0);
