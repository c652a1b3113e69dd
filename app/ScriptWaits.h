#pragma once

#include "base/Types.h"

/// Waits, as a script call of the command does, until the device has done its jobs; then delivers what has come in. 0,
/// or -1 if one of those behind the mark failed. Main thread.
I32 WaitForCommandJobs(U32 CommandId, U64 Mark);
/// False if a script's call can't do anything: a Target.* command without a device thread or connection.
bool MayScriptCall(U32 CommandId);
