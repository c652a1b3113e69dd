#include "app/AccessWaits.h"
#include "app/Ask.h"
#include "app/Slots.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/SourceLocation.h"
#include "script/JScript.h"

namespace {

struct NEED_ROW {
    unsigned Need;
    bool (*pfHolds)(const CDevice& Device);
    const char* sError;
};

constexpr NEED_ROW aNeed[] = {
    {NEEDS_IDLE, [](const CDevice& Device) { return !Device.IsConnected(); }, "already connected"},
    {NEEDS_TARGET | NEEDS_HALT, [](const CDevice& Device) { return Device.IsConnected(); }, "not connected"},
    {NEEDS_HALT, [](const CDevice& Device) { return Device.IsHalted(); }, "program is running"},
    {NEEDS_NO_STEP, [](const CDevice& Device) { return !Device.IsSrcStepActive() && !Device.IsJobQueued(JT_STEP_ANY); },
     "step in progress"},
};

/// False if a numeric argument doesn't fit into 32 bits, signed or not: cut, it would name another address or value.
bool HasFittingNumbers(COMMAND_ID Id) {
    const QStringList Args = CCommandTable::GetArgs(Id);
    for (int i = 0; i < Args.size(); ++i) {
        bool IsPositive = false;
        bool IsNegative = false;
        const qulonglong Positive = Args[i].trimmed().toULongLong(&IsPositive, 0);
        const qlonglong Negative = Args[i].trimmed().toLongLong(&IsNegative, 0);
        const bool IsTooLarge = IsPositive && Positive > UINT32_MAX;
        if (!CCommandTable::IsTextParam(Id, i) && (IsTooLarge || (IsNegative && Negative < INT32_MIN))) {
            return false;
        }
    }
    return true;
}

} // namespace

void FailCommand(COMMAND_ID Id, const char* sText) { CCommandTable::SetError(Id, QString::fromLatin1(sText)); }
void FailCommand(COMMAND_ID Id, const QString& sText) { CCommandTable::SetError(Id, sText); }
QString GetCommandArg(COMMAND_ID Id, int Index) { return CCommandTable::GetArgs(Id).value(Index); }

void RunSlot(const ACTION_SLOT& Slot, CMainWindow& MainWindow) {
    if ((Slot.Needs & (GIVES_VALUE | GIVES_STATUS | IS_ACCESS)) != 0) {
        CCommandTable::SetResult(Slot.Id, -1);
    }
    if (!CCommandTable::CheckArgs(Slot.Id, Slot.MinArgs)) {
        return;
    }
    if (!HasFittingNumbers(Slot.Id)) {
        CCommandTable::SetError(Slot.Id, QStringLiteral("invalid parameter"));
        return;
    }
    for (const NEED_ROW& Row : aNeed) {
        if ((Slot.Needs & Row.Need) != 0 && !Row.pfHolds(CDevice::Get())) {
            CCommandTable::SetError(Slot.Id, QLatin1String(Row.sError));
            return;
        }
    }
    if ((Slot.Needs & NEEDS_SCREEN) != 0 && IsUnattended()) {
        return;
    }
    const U64 Mark = (Slot.Needs & IS_ACCESS) != 0 ? MarkCommandJobs() : 0;
    Slot.pfSlot(MainWindow);
    if ((Slot.Needs & IS_ACCESS) != 0) {
        WaitForAccess(Slot.Id, Mark);
    }
    if ((Slot.Needs & (GIVES_STATUS | IS_ACCESS)) != 0 && CCommandTable::GetError(Slot.Id).isEmpty()) {
        CCommandTable::SetResult(Slot.Id, 0);
    }
}

bool ReadNumberArg(COMMAND_ID Id, int Index, unsigned* pValue) {
    const QString sText = CCommandTable::GetArgs(Id).value(Index);
    I64 Value = ParseAddress(sText);
    if (Value < 0) {
        bool IsNumber = false;
        const qlonglong Signed = sText.toLongLong(&IsNumber, 0);
        Value = IsNumber && Signed < 0 && Signed >= INT32_MIN ? static_cast<I64>(static_cast<U32>(Signed)) : -1;
    }
    if (Value < 0 && !(EvaluateText(sText, &Value) && Value >= 0 && Value <= 0xFFFFFFFF)) {
        CCommandTable::SetError(Id, QStringLiteral("invalid parameter"));
        return false;
    }
    *pValue = static_cast<unsigned>(Value);
    return true;
}

void ReportCommandValue(unsigned Value) {
    if (ScriptGetCallLevel() == 0) {
        ConsolePrint(QStringLiteral("0x") + QString::number(Value, 16).toUpper().rightJustified(8, QLatin1Char('0')) +
                     QStringLiteral(" (%1)").arg(Value));
    }
}
