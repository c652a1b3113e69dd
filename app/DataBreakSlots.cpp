#include "app/Slots.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "device/Device.h"
#include "project/SourceLocation.h"

#include <algorithm>

// Break.* on data: by address and mask, or by the name of a symbol. A data breakpoint is the one with all its
// parameters.

namespace {

enum DATA_BREAK_OP { DO_SET, DO_CLEAR, DO_ENABLE, DO_DISABLE };

constexpr U32 MAX_ACCESS_TYPE = 2; ///< read or write

/// Access type, access size, value and mask: the arguments from First on.
bool ReadCondition(COMMAND_ID Id, int First, WP* pWp) {
    I32 Type = 0;
    I32 Size = 0;
    if (!ParseTextValue("AT_", GetCommandArg(Id, First), &Type) || static_cast<U32>(Type) > MAX_ACCESS_TYPE ||
        !ParseTextValue("AW_", GetCommandArg(Id, First + 1), &Size)) {
        FailCommand(Id, "invalid parameter");
        return false;
    }
    pWp->AccessType = static_cast<U32>(Type);
    pWp->AccessSize = static_cast<U32>(Size);
    return ReadNumberArg(Id, First + 2, &pWp->Data) && ReadNumberArg(Id, First + 3, &pWp->DataMask);
}

bool ReadOnData(COMMAND_ID Id, WP* pWp) {
    return ReadNumberArg(Id, 0, &pWp->Addr) && ReadNumberArg(Id, 1, &pWp->AddrMask) && ReadCondition(Id, 2, pWp);
}

bool ReadOnSymbol(COMMAND_ID Id, WP* pWp) {
    const I64 Addr = GetSymbolAddress(GetCommandArg(Id, 0));
    if (Addr < 0) {
        FailCommand(Id, "unknown symbol");
        return false;
    }
    pWp->Addr = static_cast<U32>(Addr);
    return ReadCondition(Id, 1, pWp);
}

/// Why the operation can't be done on a data breakpoint in that state, BP_STATE_OFF for one that isn't listed; or null.
const char* WhyNot(DATA_BREAK_OP Op, BP_STATES State) {
    switch (Op) {
    case DO_SET:
        return State == BP_STATE_ON ? "Breakpoint already set" : nullptr;
    case DO_ENABLE:
        return State == BP_STATE_DISABLED ? nullptr : "Breakpoint not disabled";
    case DO_DISABLE:
        return State == BP_STATE_ON ? nullptr : "Breakpoint not set";
    default:
        return nullptr;
    }
}

void Apply(COMMAND_ID Id, DATA_BREAK_OP Op, WP Wp) {
    CDevice& Device = CDevice::Get();
    const QList<WP> Listed = Device.GetWatchpoints();
    const auto It = std::find_if(Listed.begin(), Listed.end(), [&Wp](const WP& Entry) { return IsSameWP(Entry, Wp); });
    if (It == Listed.end() && Op != DO_SET) {
        FailCommand(Id, "No breakpoint matches the given parameters.");
        return;
    }
    if (const char* sWhy = WhyNot(Op, It == Listed.end() ? BP_STATE_OFF : It->State)) {
        FailCommand(Id, sWhy);
        return;
    }
    Wp.State = Op == DO_DISABLE ? BP_STATE_DISABLED : BP_STATE_ON;
    if ((Op == DO_CLEAR ? Device.PostClearWatchpoints({Wp}) : Device.PostSetWatchpoints({Wp})) != 0) {
        FailCommand(Id, "too many target accesses are waiting");
    }
}

template <COMMAND_ID Id, DATA_BREAK_OP Op, bool (*pfRead)(COMMAND_ID, WP*)> void Slot(CMainWindow&) {
    WP Wp;
    if (pfRead(Id, &Wp)) {
        Apply(Id, Op, Wp);
    }
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_BREAK_SET_ON_DATA, Slot<CMD_BREAK_SET_ON_DATA, DO_SET, ReadOnData>, IS_ACCESS},
    {CMD_BREAK_CLEAR_ON_DATA, Slot<CMD_BREAK_CLEAR_ON_DATA, DO_CLEAR, ReadOnData>, IS_ACCESS},
    {CMD_BREAK_ENABLE_ON_DATA, Slot<CMD_BREAK_ENABLE_ON_DATA, DO_ENABLE, ReadOnData>, IS_ACCESS},
    {CMD_BREAK_DISABLE_ON_DATA, Slot<CMD_BREAK_DISABLE_ON_DATA, DO_DISABLE, ReadOnData>, IS_ACCESS},
    {CMD_BREAK_SET_ON_SYMBOL, Slot<CMD_BREAK_SET_ON_SYMBOL, DO_SET, ReadOnSymbol>, IS_ACCESS},
    {CMD_BREAK_CLEAR_ON_SYMBOL, Slot<CMD_BREAK_CLEAR_ON_SYMBOL, DO_CLEAR, ReadOnSymbol>, IS_ACCESS},
    {CMD_BREAK_ENABLE_ON_SYMBOL, Slot<CMD_BREAK_ENABLE_ON_SYMBOL, DO_ENABLE, ReadOnSymbol>, IS_ACCESS},
    {CMD_BREAK_DISABLE_ON_SYMBOL, Slot<CMD_BREAK_DISABLE_ON_SYMBOL, DO_DISABLE, ReadOnSymbol>, IS_ACCESS},
};

} // namespace

std::span<const ACTION_SLOT> GetDataBreakSlots() { return aSlot; }
