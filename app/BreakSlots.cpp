#include "app/MainWindow.h"
#include "app/Slots.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "device/Device.h"
#include "project/SourceLocation.h"
#include "settings/SysVars.h"

// Break.* on addresses and source lines.

namespace {

enum BREAK_OP { BO_SET, BO_CLEAR, BO_ENABLE, BO_DISABLE };

bool IsListed(U32 Addr) { return CDevice::Get().GetBreakpoint(Addr).Valid != 0; }

BP_TYPES DefaultType() { return static_cast<BP_TYPES>(SysVarValue(VAR_BREAKPOINT_TYPE)); }

void Set(COMMAND_ID Id, U32 Addr, BP_TYPES Type) {
    const BPEntry Entry = CDevice::Get().GetBreakpoint(Addr);
    if (Entry.State == BP_STATE_ON && Entry.Type == Type) {
        FailCommand(Id, "Breakpoint already set");
        return;
    }
    CDevice::Get().PostSetBreakpoint(Addr, BP_STATE_ON, Type);
}

void Apply(COMMAND_ID Id, BREAK_OP Op, U32 Addr, BP_TYPES Type) {
    if (Op == BO_SET) {
        Set(Id, Addr, Type);
        return;
    }
    const BPEntry Entry = CDevice::Get().GetBreakpoint(Addr);
    if (Entry.Valid == 0 || Entry.State == BP_STATE_ON_HIDDEN) {
        FailCommand(Id, "Breakpoint not set");
        return;
    }
    if (Op == BO_CLEAR) {
        CDevice::Get().PostClearBreakpoint(Addr);
    } else if (Op == BO_ENABLE && Entry.State != BP_STATE_DISABLED) {
        FailCommand(Id, "Breakpoint not disabled");
    } else if (Op == BO_DISABLE && Entry.State != BP_STATE_ON) {
        FailCommand(Id, "Breakpoint not set");
    } else {
        CDevice::Get().PostSetBreakpoint(Addr, Op == BO_ENABLE ? BP_STATE_ON : BP_STATE_DISABLED, Entry.Type);
    }
}

/// Second argument as a breakpoint type, the default without one. False with the error.
bool ReadType(COMMAND_ID Id, BP_TYPES* pType) {
    I32 Type = static_cast<I32>(DefaultType());
    const QStringList Args = CCommandTable::GetArgs(Id);
    if (Args.size() > 1 && !ParseTextValue("BP_TYPE_", Args[1], &Type)) {
        CCommandTable::SetError(Id, QStringLiteral("invalid parameter"), Args[1]);
        return false;
    }
    *pType = static_cast<BP_TYPES>(Type);
    return true;
}

void OnAddress(COMMAND_ID Id, BREAK_OP Op) {
    unsigned Addr = 0;
    BP_TYPES Type = BP_TYPE_ANY;
    if (ReadNumberArg(Id, 0, &Addr) && ReadType(Id, &Type)) {
        Apply(Id, Op, Addr & ~1u, Type);
    }
}

void OnSource(COMMAND_ID Id, BREAK_OP Op) {
    BP_TYPES Type = BP_TYPE_ANY;
    if (!ReadType(Id, &Type)) {
        return;
    }
    const I64 Addr = ResolveLocation(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    Apply(Id, Op, static_cast<U32>(Addr), Type);
}

void BreakSet(CMainWindow&) { OnAddress(CMD_BREAK_SET, BO_SET); }
void BreakSetEx(CMainWindow&) { OnAddress(CMD_BREAK_SET_EX, BO_SET); }
void BreakClear(CMainWindow&) { OnAddress(CMD_BREAK_CLEAR, BO_CLEAR); }
void BreakEnable(CMainWindow&) { OnAddress(CMD_BREAK_ENABLE, BO_ENABLE); }
void BreakDisable(CMainWindow&) { OnAddress(CMD_BREAK_DISABLE, BO_DISABLE); }
void BreakSetOnSrc(CMainWindow&) { OnSource(CMD_BREAK_SET_ON_SRC, BO_SET); }
void BreakSetOnSrcEx(CMainWindow&) { OnSource(CMD_BREAK_SET_ON_SRC_EX, BO_SET); }
void BreakClearOnSrc(CMainWindow&) { OnSource(CMD_BREAK_CLEAR_ON_SRC, BO_CLEAR); }
void BreakEnableOnSrc(CMainWindow&) { OnSource(CMD_BREAK_ENABLE_ON_SRC, BO_ENABLE); }
void BreakDisableOnSrc(CMainWindow&) { OnSource(CMD_BREAK_DISABLE_ON_SRC, BO_DISABLE); }

void BreakClearAll(CMainWindow& MainWindow) {
    CDevice::Get().PostClearAllBreakpoints();
    MainWindow.UpdateActions();
}

void BreakClearAllOnData(CMainWindow& MainWindow) {
    CDevice::Get().PostClearAllWatchpoints();
    MainWindow.UpdateActions();
}

void BreakSetType(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_BREAK_SET_TYPE;
    BP_TYPES Type = BP_TYPE_ANY;
    if (!ReadType(Id, &Type)) {
        return;
    }
    const I64 Addr = ResolveLocation(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0 || !IsListed(static_cast<U32>(Addr))) {
        FailCommand(Id, Addr < 0 ? "invalid parameter" : "No breakpoint matches the given parameters.");
        return;
    }
    CDevice::Get().PostSetBreakpoint(static_cast<U32>(Addr), CDevice::Get().GetBreakpoint(static_cast<U32>(Addr)).State,
                                     Type);
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_BREAK_SET, BreakSet, IS_ACCESS},
    {CMD_BREAK_SET_EX, BreakSetEx, IS_ACCESS},
    {CMD_BREAK_CLEAR, BreakClear, IS_ACCESS},
    {CMD_BREAK_ENABLE, BreakEnable, IS_ACCESS},
    {CMD_BREAK_DISABLE, BreakDisable, IS_ACCESS},
    {CMD_BREAK_SET_ON_SRC, BreakSetOnSrc, IS_ACCESS},
    {CMD_BREAK_SET_ON_SRC_EX, BreakSetOnSrcEx, IS_ACCESS},
    {CMD_BREAK_CLEAR_ON_SRC, BreakClearOnSrc, IS_ACCESS},
    {CMD_BREAK_ENABLE_ON_SRC, BreakEnableOnSrc, IS_ACCESS},
    {CMD_BREAK_DISABLE_ON_SRC, BreakDisableOnSrc, IS_ACCESS},
    {CMD_BREAK_CLEAR_ALL, BreakClearAll, IS_ACCESS},
    {CMD_BREAK_CLEAR_ALL_ON_DATA, BreakClearAllOnData, IS_ACCESS},
    {CMD_BREAK_SET_TYPE, BreakSetType, IS_ACCESS},
};

} // namespace

std::span<const ACTION_SLOT> GetBreakSlots() { return aSlot; }
