#include "app/Location.h"

#include "elf/ElfApi.h"

#include <QFileInfo>
#include <QRegularExpression>

bool ParseSourceLocation(const QString& sText, I32* pFile, U32* pLine) {
    static const QRegularExpression Form(QStringLiteral("^(.+?):\\s*(\\d+)(?::\\s*\\d+)?$"));
    const QRegularExpressionMatch Match = Form.match(sText.trimmed());
    if (!Match.hasMatch()) {
        return false;
    }
    *pFile = ElfApi_FindSrcFile(Match.captured(1).trimmed());
    *pLine = Match.captured(2).toUInt();
    return *pFile >= 0 && *pLine > 0;
}

QString CanonicalLocation(const QString& sText) {
    I32 File = -1;
    U32 Line = 0;
    if (!ParseSourceLocation(sText, &File, &Line)) {
        return {};
    }
    return QStringLiteral("%1:%2").arg(QFileInfo(ElfApi_GetSrcFile(File)).fileName()).arg(Line);
}

I64 ParseAddress(const QString& sText, bool HexDefault) {
    const QString sTrimmed = sText.trimmed();
    bool IsNumber = false;
    U64 Value = sTrimmed.toULongLong(&IsNumber, HexDefault ? 16 : 0);
    return IsNumber && Value <= 0xFFFFFFFF ? static_cast<I64>(Value) : -1;
}

I64 ResolveLocation(const QString& sText) {
    const I64 Addr = ParseAddress(sText);
    if (Addr >= 0) {
        return Addr & ~1LL;
    }
    I32 File = -1;
    U32 Line = 0;
    if (ParseSourceLocation(sText, &File, &Line)) {
        return ElfApi_GetAddrOfLine(File, Line, false);
    }
    const I64 Symbol = ElfApi_GetSymbolAddr(sText.trimmed());
    return Symbol >= 0 ? Symbol & ~1LL : -1;
}

bool EvaluateText(const QString& sText, I64* pValue) {
    bool IsNumber = false;
    *pValue = sText.trimmed().toLongLong(&IsNumber, 0);
    if (!IsNumber) {
        *pValue = ElfApi_GetSymbolAddr(sText.trimmed());
    }
    return IsNumber || *pValue >= 0;
}
