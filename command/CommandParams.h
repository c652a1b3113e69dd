#pragma once

#include "base/Types.h"
#include "command/CommandIds.h"

/// How one script argument becomes text.
enum COMMAND_PARAM_KIND : U8 {
    PK_NONE,
    PK_TEXT,       ///< address of a text in the script heap
    PK_ADDR,       ///< eight hexadecimal digits with prefix
    PK_HEX,        ///< hexadecimal with prefix
    PK_INT,        ///< as PK_HEX, decimal if negative
    PK_RESET_MODE, ///< name in the shared text table; so the kinds below
    PK_CONNECT_MODE,
    PK_DISPLAY_FORMAT,
    PK_ACCESS_WIDTH,
    PK_ACCESS_TYPE,
    PK_BP_TYPE,
};

constexpr U32 MAX_COMMAND_PARAMS = 8; ///< the script's call has room for eight arguments
constexpr U32 NUM_COMMAND_PARAM_ROWS = 146;

struct COMMAND_PARAM_ROW {
    U32 Id;
    COMMAND_PARAM_KIND aKind[MAX_COMMAND_PARAMS];
};

extern const COMMAND_PARAM_ROW CommandParamRows[NUM_COMMAND_PARAM_ROWS];
