#include "settings/SysVarText.h"

#include "base/Utf8.h"

#include <cstring>

namespace {

constexpr U32 SPEED_ADAPTIVE = 65535;

bool IsRange(const SYS_VAR* pVar) { return std::strstr(pVar->sSelection, "SysVarMin") != nullptr; }

struct SELECTION_ITEM {
    QString sName;
    I32 Value;
};

QList<SELECTION_ITEM> ItemsOf(const SYS_VAR* pVar) {
    QList<SELECTION_ITEM> Items;
    if (IsRange(pVar)) {
        return Items;
    }
    for (const QString& sPair : QString::fromLatin1(pVar->sSelection).split(QLatin1Char(','))) {
        const qsizetype Equal = sPair.lastIndexOf(QLatin1Char('='));
        Items.append({sPair.left(Equal), static_cast<I32>(sPair.mid(Equal + 1).toLongLong(nullptr, 0))});
    }
    return Items;
}

QString SelectionToText(const SYS_VAR* pVar, I32 Value) {
    for (const SELECTION_ITEM& Item : ItemsOf(pVar)) {
        if (Item.Value == Value) {
            return Item.sName;
        }
    }
    return {};
}

QString UnsignedToText(const SYS_VAR*, I32 Value) { return QString::number(static_cast<U32>(Value)); }
QString SignedToText(const SYS_VAR*, I32 Value) { return QString::number(Value); }
QString FrequencyToText(const SYS_VAR*, I32 Value) { return SpeedText(static_cast<U32>(Value)); }
QString TextToText(const SYS_VAR* pVar, I32) { return QString::fromUtf8(reinterpret_cast<const char*>(pVar->pValue)); }

void ReportError(QString* pError, const QString& sText) {
    if (pError != nullptr) {
        *pError = QStringLiteral("  ***ERROR: %1\n\n").arg(sText);
    }
}

/// Direct input of a number, character by character: blanks skipped, "0x" introduces hexadecimal digits, a leading
/// "-" only where the kind is signed. The result must lie in the range.
int NumberFromText(const SYS_VAR* pVar, const QString& sText, QString* pError, bool IsSigned) {
    const QByteArray Text = sText.toLatin1();
    const char* s = Text.constData();
    s += std::strspn(s, " \t\r\n");
    const bool IsNegative = IsSigned && *s == '-';
    s += IsNegative ? 1 : 0;
    const bool IsHex = s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    s += IsHex ? 2 : 0;
    const size_t NumDigits = std::strspn(s, IsHex ? "0123456789abcdefABCDEF" : "0123456789");
    if (NumDigits == 0 || NumDigits > 12) {
        ReportError(pError, IsHex ? QStringLiteral("Expected a hex value") : QStringLiteral("Expected a dec value"));
        return -1;
    }
    I64 Value = QByteArray(s, static_cast<qsizetype>(NumDigits)).toLongLong(nullptr, IsHex ? 16 : 10);
    Value = IsNegative ? -Value : Value;
    I64 Min = 0;
    I64 Max = 0;
    if (GetSysVarLimits(pVar, &Min, &Max) && (Value < Min || Value > Max)) {
        ReportError(pError, QStringLiteral("The value is out of range (Min: %1, Max: %2)").arg(Min).arg(Max));
        return -1;
    }
    return SetSysVar(pVar, static_cast<I32>(Value), false);
}

int UnsignedFromText(const SYS_VAR* pVar, const QString& sText, QString* pError) {
    return NumberFromText(pVar, sText, pError, false);
}

int SignedFromText(const SYS_VAR* pVar, const QString& sText, QString* pError) {
    return NumberFromText(pVar, sText, pError, true);
}

int FrequencyFromText(const SYS_VAR* pVar, const QString& sText, QString* pError) {
    const I32 Speed = ParseSpeed(sText);
    return Speed >= 0 ? SetSysVar(pVar, Speed, false) : NumberFromText(pVar, sText, pError, false);
}

int SelectionFromText(const SYS_VAR* pVar, const QString& sText, QString*) {
    bool Ok = false;
    const I32 Value = ParseSysVarText(pVar, sText, &Ok);
    return Ok ? SetSysVar(pVar, Value, false) : -1;
}

int TextFromText(const SYS_VAR* pVar, const QString& sText, QString*) {
    QByteArray Text = sText.toUtf8();
    Text.truncate(FittingUtf8Length(Text, SYS_VAR_TEXT_SIZE - 1));
    qstrncpy(reinterpret_cast<char*>(pVar->pValue), Text.constData(), SYS_VAR_TEXT_SIZE);
    return 0;
}

int Zero(const SYS_VAR*) { return 0; }

const SYS_VAR_TYPE aType[] = {
    {SelectionToText, SelectionFromText, Zero, "string selection"},
    {UnsignedToText, UnsignedFromText, Zero, "unsigned int"},
    {SignedToText, SignedFromText, Zero, "signed int"},
    {FrequencyToText, FrequencyFromText, Zero, "unsigned int"},
    {TextToText, TextFromText, Zero, "string"},
};

I64 LimitAfter(const char* sSelection, const char* sKey) {
    const char* sFound = std::strstr(sSelection, sKey);
    return sFound != nullptr ? std::strtoll(sFound + std::strlen(sKey), nullptr, 0) : 0;
}

} // namespace

const SYS_VAR_TYPE* GetSysVarType(SYS_VAR_KIND Kind) { return &aType[Kind]; }

bool GetSysVarLimits(const SYS_VAR* pVar, I64* pMin, I64* pMax) {
    if (!IsRange(pVar)) {
        return false;
    }
    *pMin = LimitAfter(pVar->sSelection, "SysVarMin=");
    *pMax = LimitAfter(pVar->sSelection, "SysVarMax=");
    return true;
}

I32 ParseSysVarText(const SYS_VAR* pVar, const QString& sText, bool* pOk) {
    const QString sTrimmed = sText.trimmed();
    const QList<SELECTION_ITEM> Items = ItemsOf(pVar);
    for (const SELECTION_ITEM& Item : Items) {
        if (sTrimmed.compare(Item.sName, Qt::CaseInsensitive) == 0) {
            *pOk = true;
            return Item.Value;
        }
    }
    bool IsNumber = false;
    I64 Value = sTrimmed.toLongLong(&IsNumber, 0);
    if (!IsNumber && Items.isEmpty()) {
        Value = ParseSpeed(sTrimmed);
        IsNumber = Value >= 0;
    }
    *pOk = false;
    if (!IsNumber) {
        return -1;
    }
    for (const SELECTION_ITEM& Item : Items) {
        *pOk = *pOk || Item.Value == Value;
    }
    I64 Min = 0;
    I64 Max = 0;
    if (GetSysVarLimits(pVar, &Min, &Max)) {
        *pOk = Value >= Min && Value <= Max;
    }
    return static_cast<I32>(Value);
}

QStringList SysVarNames(const SYS_VAR* pVar) {
    QStringList Names;
    for (const SELECTION_ITEM& Item : pVar != nullptr ? ItemsOf(pVar) : QList<SELECTION_ITEM>()) {
        Names.append(Item.sName);
    }
    return Names;
}

QList<I32> SysVarValues(const SYS_VAR* pVar) {
    QList<I32> Values;
    for (const SELECTION_ITEM& Item : pVar != nullptr ? ItemsOf(pVar) : QList<SELECTION_ITEM>()) {
        Values.append(Item.Value);
    }
    return Values;
}

QString SysVarRange(const SYS_VAR* pVar) {
    I64 Min = 0;
    I64 Max = 0;
    if (pVar == nullptr || !GetSysVarLimits(pVar, &Min, &Max)) {
        return {};
    }
    return QStringLiteral("%1 - %2").arg(Min).arg(Max);
}

I32 ParseSpeed(const QString& sText) {
    struct UNIT {
        const char* sName;
        double Factor;
    };
    static constexpr UNIT aUnit[] = {{"mhz", 1e6}, {"khz", 1e3}, {"hz", 1}};
    QString sSpeed = sText.trimmed().toLower();
    if (sSpeed == QLatin1String("auto") || sSpeed == QLatin1String("auto speed")) {
        return 0;
    }
    if (sSpeed == QLatin1String("adaptive") || sSpeed == QLatin1String("adaptive speed")) {
        return SPEED_ADAPTIVE;
    }
    double Factor = 0;
    for (const UNIT& Unit : aUnit) {
        if (Factor == 0 && sSpeed.endsWith(QLatin1String(Unit.sName))) {
            sSpeed.chop(static_cast<qsizetype>(std::strlen(Unit.sName)));
            Factor = Unit.Factor;
        }
    }
    bool IsNumber = false;
    const double Value = sSpeed.trimmed().toDouble(&IsNumber) * Factor;
    if (!IsNumber || Factor == 0 || !(Value >= 0 && Value <= 0x7FFFFFFF)) { // no "nan" either
        return -1;
    }
    return static_cast<I32>(Value + 0.5);
}

QString SpeedText(U32 SpeedHz) {
    constexpr U32 MHZ = 1'000'000;
    constexpr U32 KHZ = 1'000;
    if (SpeedHz == 0) {
        return QStringLiteral("auto");
    }
    if (SpeedHz % MHZ == 0) {
        return QStringLiteral("%1 MHz").arg(SpeedHz / MHZ);
    }
    if (SpeedHz % KHZ == 0 && SpeedHz < MHZ) {
        return QStringLiteral("%1 kHz").arg(SpeedHz / KHZ);
    }
    return QStringLiteral("%1 Hz").arg(SpeedHz);
}
