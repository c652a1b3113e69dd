#include "command/ScriptCalls.h"

#include "base/ConsoleRing.h"
#include "command/CommandParams.h"
#include "command/TextTable.h"

#include <array>
#include <utility>

namespace {

struct KIND_PREFIX {
    COMMAND_PARAM_KIND Kind;
    const char* sPrefix; ///< group of the shared text table
};

constexpr KIND_PREFIX aKindPrefix[] = {
    {PK_RESET_MODE, "RM_"},   {PK_CONNECT_MODE, "CM_"}, {PK_DISPLAY_FORMAT, "DISPLAY_FORMAT_"},
    {PK_ACCESS_WIDTH, "AW_"}, {PK_ACCESS_TYPE, "AT_"},  {PK_BP_TYPE, "BP_TYPE_"},
};

const COMMAND_PARAM_ROW* FindParams(U32 Id) {
    for (const COMMAND_PARAM_ROW& Row : CommandParamRows) {
        if (Row.Id == Id) {
            return &Row;
        }
    }
    return nullptr;
}

QString Hex(I64 Value) {
    return QStringLiteral("0x%1").arg(static_cast<U32>(Value), 0, 16).toUpper().replace("X", "x");
}

QString NumberText(COMMAND_PARAM_KIND Kind, I64 Value) {
    if (Value < INT32_MIN || Value > UINT32_MAX) { // shown as it is; the command refuses it
        return Value < 0 ? QString::number(Value) : QStringLiteral("0x") + QString::number(Value, 16).toUpper();
    }
    if (Kind == PK_ADDR) {
        return QStringLiteral("0x") + QString::number(static_cast<U32>(Value), 16).toUpper().rightJustified(8, '0');
    }
    for (const KIND_PREFIX& Prefix : aKindPrefix) {
        if (Prefix.Kind == Kind) {
            const TEXT_ROW* pRow = FindTextRowByValue(Prefix.sPrefix, static_cast<I32>(Value));
            return pRow != nullptr ? QString::fromLatin1(pRow->sName) : Hex(Value);
        }
    }
    // A script variable reads as unsigned: an int that holds a negative number arrives with bit 31 set.
    if (Kind == PK_INT && static_cast<I32>(Value) < 0) {
        return QString::number(static_cast<I32>(Value));
    }
    return Hex(Value);
}

bool CollectArgs(const COMMAND_PARAM_ROW& Row, const I64* paArgs, U32 NumArgs, QVariantList* pOut) {
    const COMMAND_HOST& Host = CCommandTable::GetHost();
    for (U32 i = 0; i < NumArgs && i < MAX_COMMAND_PARAMS && Row.aKind[i] != PK_NONE; ++i) {
        if (Row.aKind[i] != PK_TEXT) {
            pOut->append(NumberText(Row.aKind[i], paArgs[i]));
            continue;
        }
        const char* sText = Host.pfScriptText != nullptr ? Host.pfScriptText(paArgs[i]) : nullptr;
        if (sText == nullptr) {
            ConsolePrintError(
                QStringLiteral("Invalid user function parameter: %1 (%2)").arg(Hex(paArgs[i])).arg(paArgs[i]));
            return false;
        }
        pOut->append(QString::fromUtf8(sText));
    }
    return true;
}

I32 CallFromScript(U32 Id, const I64* paArgs, U32 NumArgs) {
    const COMMAND_HOST& Host = CCommandTable::GetHost();
    QVariantList Args;
    if (!CollectArgs(*FindParams(Id), paArgs, NumArgs, &Args)) {
        return -1;
    }
    if (Host.pfMayCall != nullptr && !Host.pfMayCall(Id)) {
        return -1;
    }
    const U64 Mark = Host.pfMarkDevice != nullptr ? Host.pfMarkDevice() : 0;
    const I32 Result = CCommandTable::Execute(Id, Args);
    const bool IsRefused = Result >= 0 && Host.pfWaitForDevice != nullptr && Host.pfWaitForDevice(Id, Mark) != 0;
    return IsRefused ? -1 : Result;
}

template <U32 Id> I32 Handler(const I64* paArgs, U32 NumArgs) { return CallFromScript(Id, paArgs, NumArgs); }

template <size_t... Ids>
constexpr std::array<COMMAND_HANDLER, sizeof...(Ids)> MakeHandlers(std::index_sequence<Ids...>) {
    return {&Handler<static_cast<U32>(Ids)>...};
}

constexpr auto aHandler = MakeHandlers(std::make_index_sequence<CMD_COUNT>());

} // namespace

COMMAND_HANDLER GetScriptHandler(U32 Id) { return FindParams(Id) != nullptr ? aHandler[Id] : nullptr; }
