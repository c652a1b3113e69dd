#pragma once

#include "settings/SysVars.h"

constexpr int SYS_VAR_TEXT_SIZE = 100; ///< buffer of a text value with its terminating zero

enum SYS_VAR_KIND : U8 { SVK_SELECTION, SVK_UNSIGNED, SVK_SIGNED, SVK_FREQUENCY, SVK_TEXT };

/// The constant part of a settings row, as data.
struct SYS_VAR_ROW {
    const char* sName;
    const char* sDescription;
    SYS_VAR_KIND Kind;
    I32 Default;
    const char* sKey;
    const char* sSelection;
};

extern const SYS_VAR_ROW aSysVarRow[SYS_VAR_COUNT];
