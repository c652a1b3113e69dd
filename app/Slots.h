#pragma once

// The slots of the commands: what each operation does, in one table a group. What a command needs stands in its row and
// is checked before its slot runs; the slot reads its arguments, sets the command's error if one is wrong, and acts.
// Main thread.

#include "command/CommandIds.h"

#include <QString>
#include <span>

class CMainWindow;

/// What must hold for a slot to run, checked in this order behind the number of arguments; the first that doesn't is
/// the command's error.
enum SLOT_NEEDS : unsigned {
    NEEDS_NOTHING = 0,
    NEEDS_IDLE = 1,    ///< "already connected"
    NEEDS_TARGET = 2,  ///< "not connected"
    NEEDS_HALT = 4,    ///< a connected target, "program is running"
    NEEDS_NO_STEP = 8, ///< "step in progress"
    NEEDS_SCREEN = 16, ///< a dialog: without a screen the command does nothing
    GIVES_VALUE = 32,  ///< no need: the result is -1 until the slot sets one
    GIVES_STATUS = 64, ///< no need: the result is 0, or -1 with an error
    IS_ACCESS = 128,   ///< no need: likewise, and the command ends when the target has done the jobs that it has posted
};

constexpr int ARGS_ALL = -1; ///< as many arguments as the prototype has

struct ACTION_SLOT {
    COMMAND_ID Id;
    void (*pfSlot)(CMainWindow& MainWindow);
    unsigned Needs = NEEDS_NOTHING;
    int MinArgs = ARGS_ALL;
};

/// Runs a slot if all that its row asks for holds.
void RunSlot(const ACTION_SLOT& Slot, CMainWindow& MainWindow);

std::span<const ACTION_SLOT> GetFileSlots();
std::span<const ACTION_SLOT> GetDebugSlots();
std::span<const ACTION_SLOT> GetTargetSlots();
std::span<const ACTION_SLOT> GetBreakSlots();
std::span<const ACTION_SLOT> GetDataBreakSlots();
std::span<const ACTION_SLOT> GetProjectSlots();
std::span<const ACTION_SLOT> GetEditSlots();
std::span<const ACTION_SLOT> GetViewSlots();

/// Sets the command's error.
void FailCommand(COMMAND_ID Id, const char* sText);
void FailCommand(COMMAND_ID Id, const QString& sText);
/// Argument of the running command; empty if it has fewer.
QString GetCommandArg(COMMAND_ID Id, int Index);

/// Shows a value that a command gives, if a person asked for it: a script takes it as the result of its call.
void ReportCommandValue(unsigned Value);
/// Address or value in argument Index. False, with "invalid parameter", if it doesn't parse.
bool ReadNumberArg(COMMAND_ID Id, int Index, unsigned* pValue);
