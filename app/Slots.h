#pragma once

// The slots of the commands: what each operation does, in one table a group. A slot checks its arguments and the state
// of the session, sets the command's error if either fails, and otherwise acts. Main thread.

#include "command/CommandIds.h"

#include <QString>
#include <span>

class CMainWindow;

struct ACTION_SLOT {
    COMMAND_ID Id;
    void (*pfSlot)(CMainWindow& MainWindow);
};

std::span<const ACTION_SLOT> GetFileSlots();
std::span<const ACTION_SLOT> GetDebugSlots();
std::span<const ACTION_SLOT> GetTargetSlots();
std::span<const ACTION_SLOT> GetBreakSlots();
std::span<const ACTION_SLOT> GetProjectSlots();
std::span<const ACTION_SLOT> GetEditSlots();
std::span<const ACTION_SLOT> GetViewSlots();
std::span<const ACTION_SLOT> GetSourceSlots(); ///< actions local to the source viewer

/// Sets the command's error.
void FailCommand(COMMAND_ID Id, const char* sText);
void FailCommand(COMMAND_ID Id, const QString& sText);
/// Argument of the running command; empty if it has fewer.
QString GetCommandArg(COMMAND_ID Id, int Index);

// Checks that many slots begin with. False, with the error set, if one fails.
bool CheckConnected(COMMAND_ID Id);
bool CheckConnectedAndHalted(COMMAND_ID Id);
/// Shows a value that a command gives, if a person asked for it: a script takes it as the result of its call.
void ReportCommandValue(unsigned Value);
/// Address or value in argument Index. False, with "invalid parameter", if it doesn't parse.
bool ReadNumberArg(COMMAND_ID Id, int Index, unsigned* pValue);
