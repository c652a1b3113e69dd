#pragma once

#include "command/CommandTable.h"

/// Entry point of a command for script calls; null for a row that is no script function. The handler turns the
/// arguments into text, runs the command and waits for its device job. Main thread.
COMMAND_HANDLER GetScriptHandler(U32 Id);
