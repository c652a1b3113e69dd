#include "app/Location.h"
#include "app/Slots.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "script/JScript.h"

void FailCommand(COMMAND_ID Id, const char* sText) { CCommandTable::SetError(Id, QString::fromLatin1(sText)); }
void FailCommand(COMMAND_ID Id, const QString& sText) { CCommandTable::SetError(Id, sText); }
QString GetCommandArg(COMMAND_ID Id, int Index) { return CCommandTable::GetArgs(Id).value(Index); }

bool CheckConnected(COMMAND_ID Id) {
    if (!CDevice::Get().IsConnected()) {
        CCommandTable::SetError(Id, QStringLiteral("not connected"));
        return false;
    }
    return true;
}

bool CheckConnectedAndHalted(COMMAND_ID Id) {
    if (!CheckConnected(Id)) {
        return false;
    }
    if (!CDevice::Get().IsHalted()) {
        CCommandTable::SetError(Id, QStringLiteral("program is running"));
        return false;
    }
    return true;
}

bool ReadNumberArg(COMMAND_ID Id, int Index, unsigned* pValue) {
    const QString sText = CCommandTable::GetArgs(Id).value(Index);
    I64 Value = ParseAddress(sText);
    if (Value < 0) {
        bool IsNumber = false;
        const qlonglong Signed = sText.toLongLong(&IsNumber, 0);
        Value = IsNumber && Signed >= -0x80000000LL ? static_cast<I64>(static_cast<U32>(Signed)) : -1;
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
