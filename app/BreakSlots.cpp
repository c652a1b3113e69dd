#include "app/Location.h"
#include "app/MainWindow.h"
#include "app/Slots.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "device/Device.h"
#include "settings/SysVars.h"

// Break.* on addresses and source lines.

namespace {

enum BREAK_OP { BO_SET, BO_CLEAR, BO_ENABLE, BO_DISABLE };

bool _IsListed(U32 Addr) { return CDevice::Get().GetBreakpoint(Addr).Valid != 0; }

BP_TYPES _DefaultType() { return static_cast<BP_TYPES>(SysVarValue(VAR_BREAKPOINT_TYPE)); }

void _Set(COMMAND_ID Id, U32 Addr, BP_TYPES Type) {
    if (_IsListed(Addr) && CDevice::Get().GetBreakpoint(Addr).State == BP_STATE_ON) {
        FailCommand(Id, "Breakpoint already set");
        return;
    }
    CDevice::Get().PostSetBreakpoint(Addr, BP_STATE_ON, Type);
}

void _Apply(COMMAND_ID Id, BREAK_OP Op, U32 Addr, BP_TYPES Type) {
    if (Op == BO_SET) {
        _Set(Id, Addr, Type);
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
    } else {
        CDevice::Get().PostSetBreakpoint(Addr, Op == BO_ENABLE ? BP_STATE_ON : BP_STATE_DISABLED, Entry.Type);
    }
}

/// Second argument as a breakpoint type, the default without one. False with the error.
bool _ReadType(COMMAND_ID Id, BP_TYPES* pType) {
    I32 Type = static_cast<I32>(_DefaultType());
    const QStringList Args = CCommandTable::GetArgs(Id);
    if (Args.size() > 1 && !ParseTextValue("BP_TYPE_", Args[1], &Type)) {
        FailCommand(Id, "invalid parameter");
        return false;
    }
    *pType = static_cast<BP_TYPES>(Type);
    return true;
}

void _OnAddress(COMMAND_ID Id, BREAK_OP Op) {
    unsigned Addr = 0;
    BP_TYPES Type = BP_TYPE_ANY;
    if (CCommandTable::CheckArgs(Id) && ReadNumberArg(Id, 0, &Addr) && _ReadType(Id, &Type)) {
        _Apply(Id, Op, Addr & ~1u, Type);
    }
}

void _OnSource(COMMAND_ID Id, BREAK_OP Op) {
    BP_TYPES Type = BP_TYPE_ANY;
    if (!CCommandTable::CheckArgs(Id) || !_ReadType(Id, &Type)) {
        return;
    }
    const I64 Addr = ResolveLocation(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    _Apply(Id, Op, static_cast<U32>(Addr), Type);
}

void _BreakSet(CMainWindow&) { _OnAddress(CMD_BREAK_SET, BO_SET); }
void _BreakSetEx(CMainWindow&) { _OnAddress(CMD_BREAK_SET_EX, BO_SET); }
void _BreakClear(CMainWindow&) { _OnAddress(CMD_BREAK_CLEAR, BO_CLEAR); }
void _BreakEnable(CMainWindow&) { _OnAddress(CMD_BREAK_ENABLE, BO_ENABLE); }
void _BreakDisable(CMainWindow&) { _OnAddress(CMD_BREAK_DISABLE, BO_DISABLE); }
void _BreakSetOnSrc(CMainWindow&) { _OnSource(CMD_BREAK_SET_ON_SRC, BO_SET); }
void _BreakSetOnSrcEx(CMainWindow&) { _OnSource(CMD_BREAK_SET_ON_SRC_EX, BO_SET); }
void _BreakClearOnSrc(CMainWindow&) { _OnSource(CMD_BREAK_CLEAR_ON_SRC, BO_CLEAR); }
void _BreakEnableOnSrc(CMainWindow&) { _OnSource(CMD_BREAK_ENABLE_ON_SRC, BO_ENABLE); }
void _BreakDisableOnSrc(CMainWindow&) { _OnSource(CMD_BREAK_DISABLE_ON_SRC, BO_DISABLE); }

void _BreakClearAll(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_BREAK_CLEAR_ALL)) {
        CDevice::Get().PostClearAllBreakpoints();
        MainWindow.UpdateActions();
    }
}

void _BreakClearAllOnData(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_BREAK_CLEAR_ALL_ON_DATA)) {
        CDevice::Get().PostClearAllWatchpoints();
        MainWindow.UpdateActions();
    }
}

void _BreakSetType(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_BREAK_SET_TYPE;
    BP_TYPES Type = BP_TYPE_ANY;
    if (!CCommandTable::CheckArgs(Id) || !_ReadType(Id, &Type)) {
        return;
    }
    const I64 Addr = ResolveLocation(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0 || !_IsListed(static_cast<U32>(Addr))) {
        FailCommand(Id, Addr < 0 ? "invalid parameter" : "No breakpoint matches the given parameters.");
        return;
    }
    CDevice::Get().PostSetBreakpoint(static_cast<U32>(Addr), CDevice::Get().GetBreakpoint(static_cast<U32>(Addr)).State,
                                     Type);
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_BREAK_SET, _BreakSet},
    {CMD_BREAK_SET_EX, _BreakSetEx},
    {CMD_BREAK_CLEAR, _BreakClear},
    {CMD_BREAK_ENABLE, _BreakEnable},
    {CMD_BREAK_DISABLE, _BreakDisable},
    {CMD_BREAK_SET_ON_SRC, _BreakSetOnSrc},
    {CMD_BREAK_SET_ON_SRC_EX, _BreakSetOnSrcEx},
    {CMD_BREAK_CLEAR_ON_SRC, _BreakClearOnSrc},
    {CMD_BREAK_ENABLE_ON_SRC, _BreakEnableOnSrc},
    {CMD_BREAK_DISABLE_ON_SRC, _BreakDisableOnSrc},
    {CMD_BREAK_CLEAR_ALL, _BreakClearAll},
    {CMD_BREAK_CLEAR_ALL_ON_DATA, _BreakClearAllOnData},
    {CMD_BREAK_SET_TYPE, _BreakSetType},
};

} // namespace

std::span<const ACTION_SLOT> GetBreakSlots() { return aSlot; }
