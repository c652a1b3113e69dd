#pragma once

#include "base/Types.h"

/// Waits, as a script call of the command does, until the device has done its jobs; then delivers what has come in.
/// Main thread.
void WaitForCommandJobs(U32 CommandId);
/// False if a script's call can't do anything: a Target.* command without a device thread or connection.
bool MayScriptCall(U32 CommandId);
