#include "app/Location.h"

#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace {

/// FileId of a path, or of the only file of the program whose path ends in it.
U32 FindSrcFile(const QString& sPath) {
    U32 Found = ElfApi_GetFileId(sPath);
    if (Found != INVALID_FILE_ID) {
        return Found;
    }
    const QString sEnd = QLatin1Char('/') + QString(sPath).replace(QLatin1Char('\\'), QLatin1Char('/'));
    for (const U32 FileId : ElfApi_GetSrcFileIds()) {
        if (ElfApi_GetFilePath(FileId)
                .replace(QLatin1Char('\\'), QLatin1Char('/'))
                .endsWith(sEnd, Qt::CaseInsensitive)) {
            if (Found != INVALID_FILE_ID) {
                return INVALID_FILE_ID;
            }
            Found = FileId;
        }
    }
    return Found;
}

} // namespace

CSrcLoc ParseSourceLocation(const QString& sText) {
    static const QRegularExpression Form(QStringLiteral("^(.+?):\\s*(\\d+)(?::\\s*\\d+)?$"));
    const QRegularExpressionMatch Match = Form.match(sText.trimmed());
    const U32 Line = Match.captured(2).toUInt();
    const U32 FileId = Line != 0 ? FindSrcFile(Match.captured(1).trimmed()) : INVALID_FILE_ID;
    return FileId != INVALID_FILE_ID ? CSrcLoc{FileId, Line, 0} : CSrcLoc();
}

QString CanonicalLocation(const QString& sText) {
    const CSrcLoc Loc = ParseSourceLocation(sText);
    return Loc.IsValid()
               ? QStringLiteral("%1:%2").arg(QFileInfo(ElfApi_GetFilePath(Loc.FileId)).fileName()).arg(Loc.Line)
               : QString();
}

I64 GetCodeAddress(const CSrcLoc& Loc) {
    const I64 Addr = ElfApi_GetAddr(Loc);
    return Addr >= 0 ? Addr : ElfApi_GetAddr(ElfApi_GetNextCodeLine(Loc));
}

I64 ParseAddress(const QString& sText, bool HexDefault) {
    const QString sTrimmed = sText.trimmed();
    bool IsNumber = false;
    U64 Value = sTrimmed.toULongLong(&IsNumber, HexDefault ? 16 : 0);
    return IsNumber && Value <= 0xFFFFFFFF ? static_cast<I64>(Value) : -1;
}

I64 GetSymbolAddress(const QString& sName) {
    for (const ELF_SYM_HANDLE h : ElfApi_FindSyms(sName.trimmed(), true, false, false, true)) {
        if (const I64 Addr = ElfApi_GetSymAddr(h); Addr >= 0) {
            return Addr;
        }
    }
    return -1;
}

I64 ResolveLocation(const QString& sText) {
    const I64 Addr = ParseAddress(sText);
    if (Addr >= 0) {
        return Addr & ~1LL;
    }
    const CSrcLoc Loc = ParseSourceLocation(sText);
    const I64 Resolved = Loc.IsValid() ? GetCodeAddress(Loc) : GetSymbolAddress(sText);
    return Resolved >= 0 ? Resolved & ~1LL : -1;
}

bool EvaluateText(const QString& sText, I64* pValue) {
    bool IsNumber = false;
    *pValue = sText.trimmed().toLongLong(&IsNumber, 0);
    if (!IsNumber) {
        *pValue = GetSymbolAddress(sText);
    }
    return IsNumber || *pValue >= 0;
}
