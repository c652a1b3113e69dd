#pragma once

#include "base/Types.h"
#include "command/CommandIds.h"

/// The constant part of a command row, as data.
struct COMMAND_ROW_DATA {
    U32 Id;
    U8 IsPublic;
    U8 EchoAfter;
    const char* sHotKey;
    const char* sPrototype;
    const char* sArgNames;
    const char* sLongHelp;
    const char* sShortHelp;
    const char* sActionName;
};

extern const COMMAND_ROW_DATA CommandRowData[CMD_COUNT];
