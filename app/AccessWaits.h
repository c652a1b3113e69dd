#pragma once

// The wait of a command for the target accesses that it asks for: who types a command learns from itself whether the
// target did it. From 20 ms on the window lives on meanwhile, and Esc or the end of the program ends the wait. Main
// thread.

#include "base/Types.h"
#include "command/CommandIds.h"

/// Number of the newest job: those of a command that runs now come behind it. Any thread.
U64 MarkCommandJobs();
/// Waits until the jobs behind the mark are done, then delivers what has come in. True if the target did all of them;
/// else the command has an error, if it didn't have one before. Arguments and error of the command outlive what runs
/// meanwhile.
bool WaitForAccess(COMMAND_ID Id, U64 Mark);
/// Ends the waits, blocking reads among them, and cancels the jobs that they are for. False if there is none.
bool CancelAccess();

/// Reads memory for a command. False with the command's error; a line of the console has address, size and reason.
bool ReadForCommand(COMMAND_ID Id, U32 Addr, U32 NumBytes, void* pData);
/// Reads a register by the index of the probe library, likewise.
bool ReadRegForCommand(COMMAND_ID Id, U32 Idx, I64* pValue);
/// Keeps the program live while a command waits for the target; false if it is to end.
bool PumpDuringRead();
