#include "settings/SysVars.h"

#include "settings/SysVarRows.h"
#include "settings/SysVarText.h"

#include <QSet>
#include <array>
#include <cstring>

namespace {

constexpr const char* DEFAULT_BREAK_SYMBOL = "main";

/// The values as one record, so that all defaults are copied in one step.
struct SYS_VAR_STORE {
    std::array<I32, SYS_VAR_COUNT> aValue{};
    std::array<I32, SYS_VAR_COUNT> aDefault{};
    std::array<I32, SYS_VAR_COUNT> aStored{};
    char sBreakSymbol[SYS_VAR_TEXT_SIZE] = "main";
    std::array<I32*, 3> apDevice{}; ///< speed, DR bits, IR bits in the device configuration
    std::array<SYS_VAR, SYS_VAR_COUNT> aVar{};
    QSet<int> ExplicitRows;
    bool IsBuilt = false;
};

SYS_VAR_STORE& GetStore() {
    static SYS_VAR_STORE Store;
    return Store;
}

I32* ValuePointer(SYS_VAR_STORE& Store, int Index) {
    if (Index >= VAR_TIF_SPEED && Index <= VAR_TIF_SCAN_CHAIN_LEN) {
        I32* pDevice = Store.apDevice[static_cast<size_t>(Index - VAR_TIF_SPEED)];
        return pDevice != nullptr ? pDevice : &Store.aValue[static_cast<size_t>(Index)];
    }
    if (Index == VAR_BREAK_AT_THIS_SYMBOL) {
        return reinterpret_cast<I32*>(Store.sBreakSymbol);
    }
    return &Store.aValue[static_cast<size_t>(Index)];
}

void Build(SYS_VAR_STORE& Store) {
    for (int i = 0; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR_ROW& Row = aSysVarRow[i];
        const auto n = static_cast<size_t>(i);
        Store.aDefault[n] = Row.Default;
        Store.aVar[n] = {
            Row.sName,         Row.sDescription, GetSysVarType(Row.Kind), ValuePointer(Store, i), &Store.aDefault[n],
            &Store.aStored[n], Row.sKey,         Row.sSelection};
    }
    Store.IsBuilt = true;
}

SYS_VAR_STORE& BuiltStore() {
    SYS_VAR_STORE& Store = GetStore();
    if (!Store.IsBuilt) {
        Build(Store);
        Store.aValue = Store.aDefault;
        Store.aStored = Store.aDefault;
    }
    return Store;
}

void CopyDefaults(SYS_VAR_STORE& Store, int First, int End) {
    for (int i = First; i < End; ++i) {
        if (i != VAR_BREAK_AT_THIS_SYMBOL) {
            *Store.aVar[static_cast<size_t>(i)].pValue = Store.aDefault[static_cast<size_t>(i)];
        }
        Store.aStored[static_cast<size_t>(i)] = Store.aDefault[static_cast<size_t>(i)];
        Store.ExplicitRows.remove(i);
    }
    qstrncpy(Store.sBreakSymbol, DEFAULT_BREAK_SYMBOL, SYS_VAR_TEXT_SIZE);
}

} // namespace

void BindDeviceSysVars(I32* pSpeedHz, I32* pDrPre, I32* pIrPre) {
    GetStore().apDevice = {pSpeedHz, pDrPre, pIrPre};
    Build(GetStore());
}

void InitSysVars() {
    SYS_VAR_STORE& Store = BuiltStore();
    CopyDefaults(Store, 0, SYS_VAR_COUNT);
    Store.ExplicitRows.clear();
}

void ResetProjectSysVars() { CopyDefaults(BuiltStore(), 0, PREF_SHOW_LINE_NUMBERS); }

const SYS_VAR* GetSysVar(int Index) {
    return Index >= 0 && Index < SYS_VAR_COUNT ? &BuiltStore().aVar[static_cast<size_t>(Index)] : nullptr;
}

const SYS_VAR* FindSysVar(const QString& sText) {
    bool IsNumber = false;
    const int Index = sText.trimmed().toInt(&IsNumber, 0);
    if (IsNumber) {
        return GetSysVar(Index);
    }
    for (const SYS_VAR& Var : BuiltStore().aVar) {
        if (sText.trimmed().compare(QLatin1String(Var.sName), Qt::CaseInsensitive) == 0) {
            return &Var;
        }
    }
    return nullptr;
}

int SysVarIndex(const SYS_VAR* pVar) {
    const SYS_VAR* pFirst = BuiltStore().aVar.data();
    return pVar >= pFirst && pVar < pFirst + SYS_VAR_COUNT ? static_cast<int>(pVar - pFirst) : -1;
}

bool IsTextSysVar(const SYS_VAR* pVar) { return pVar != nullptr && pVar->pType == GetSysVarType(SVK_TEXT); }
bool IsSelectionSysVar(const SYS_VAR* pVar) { return pVar != nullptr && pVar->pType == GetSysVarType(SVK_SELECTION); }

I32 SysVarValue(int Index) {
    const SYS_VAR* pVar = GetSysVar(Index);
    return pVar != nullptr && !IsTextSysVar(pVar) ? __atomic_load_n(pVar->pValue, __ATOMIC_RELAXED) : -1;
}

QString SysVarTextValue(int Index) {
    return IsTextSysVar(GetSysVar(Index)) ? QString::fromUtf8(GetStore().sBreakSymbol) : QString();
}

int SetSysVar(const SYS_VAR* pVar, I32 Value, bool AlsoStored) {
    if (pVar == nullptr || IsTextSysVar(pVar)) {
        return -1;
    }
    __atomic_store_n(pVar->pValue, Value, __ATOMIC_RELAXED);
    if (AlsoStored) {
        *pVar->pStored = Value;
    }
    GetStore().ExplicitRows.insert(SysVarIndex(pVar));
    return 0;
}

I32 ParseSysVar(const SYS_VAR* pVar, const QString& sText, bool* pOk) {
    bool Ok = false;
    I32 Value = -1;
    if (pVar != nullptr && !IsTextSysVar(pVar)) {
        Value = ParseSysVarText(pVar, sText, &Ok);
        if (Ok) {
            GetStore().ExplicitRows.insert(SysVarIndex(pVar));
        }
    }
    if (pOk != nullptr) {
        *pOk = Ok;
    }
    return Value;
}

int SetSysVarText(const SYS_VAR* pVar, const QString& sText) {
    if (!IsTextSysVar(pVar)) {
        return -1;
    }
    GetStore().ExplicitRows.insert(SysVarIndex(pVar));
    return pVar->pType->pfFromText(pVar, sText, nullptr);
}

QString SysVarText(const SYS_VAR* pVar, I64 Value) {
    if (pVar == nullptr) {
        return {};
    }
    const I32 Shown = Value == -1 && !IsTextSysVar(pVar) ? *pVar->pValue : static_cast<I32>(Value);
    const QString sText = pVar->pType->pfToText(pVar, Shown);
    return sText.isEmpty() && !IsTextSysVar(pVar) ? SpeedText(static_cast<U32>(Shown)) : sText;
}

bool IsSysVarSet(const SYS_VAR* pVar) { return GetStore().ExplicitRows.contains(SysVarIndex(pVar)); }
