#pragma once

// What stands on which page of the preferences dialog: each preference, colour and font once.

#include "base/Types.h"

#include <span>

enum PREFERENCE_KIND : U8 { PK_VARIABLE, PK_COLOR, PK_FONT };

struct PREFERENCE_ITEM {
    PREFERENCE_KIND Kind;
    int Id; ///< SYS_VAR_ID, COLOR_ID or FONT_ID
};

struct PREFERENCE_PAGE {
    const char* sTitle;
    int Level; ///< 1 stands below the nearest page of level 0 above it
    std::span<const PREFERENCE_ITEM> Items;
};

std::span<const PREFERENCE_PAGE> GetPreferencePages();
