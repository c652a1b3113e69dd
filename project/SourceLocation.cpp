#include "project/SourceLocation.h"

#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "project/FileFinder.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace {

QString CleanSrcPath(U32 FileId) { return ElfApi_GetFilePath(FileId).replace(QLatin1Char('\\'), QLatin1Char('/')); }

/// True if a path is, or ends behind a separator in, the text.
bool EndsIn(const QString& sPath, const QString& sEnd) {
    return sPath.endsWith(sEnd, Qt::CaseInsensitive) &&
           (sPath.size() == sEnd.size() || sPath[sPath.size() - sEnd.size() - 1] == QLatin1Char('/'));
}

/// Files of the program whose path ends in the text.
QList<U32> FindSrcFiles(const QString& sEnd) {
    QList<U32> Found;
    for (const U32 FileId : ElfApi_GetSrcFileIds()) {
        if (EndsIn(CleanSrcPath(FileId), sEnd)) {
            Found.append(FileId);
        }
    }
    return Found;
}

/// FileId of a path, or of the only file of the program whose path ends in it.
U32 FindSrcFile(const QString& sPath) {
    const U32 Exact = ElfApi_GetFileId(sPath);
    if (Exact != INVALID_FILE_ID) {
        return Exact;
    }
    const QList<U32> Found = FindSrcFiles(QString(sPath).replace(QLatin1Char('\\'), QLatin1Char('/')));
    return Found.size() == 1 ? Found.first() : INVALID_FILE_ID;
}

} // namespace

QString ShortestSrcPath(U32 FileId) {
    const QString sPath = CleanSrcPath(FileId);
    qsizetype Start = sPath.size();
    while (Start > 0) {
        Start = Start < 2 ? 0 : sPath.lastIndexOf(QLatin1Char('/'), Start - 2) + 1;
        const QString sEnd = sPath.mid(Start);
        if (FindSrcFiles(sEnd).size() == 1) {
            return sEnd;
        }
    }
    return sPath;
}

QString FormatSourceLocation(const CSrcLoc& Loc) {
    return Loc.IsValid() ? ShortestSrcPath(Loc.FileId) + QLatin1Char(':') + QString::number(Loc.Line) : QString();
}

U32 FindSrcFileOfPath(const QString& sPath) {
    const QString sWanted = QFileInfo(sPath).canonicalFilePath();
    for (const U32 FileId : ElfApi_GetSrcFileIds()) {
        const QString sFile = ElfApi_GetFilePath(FileId);
        if (QFileInfo(sFile).fileName().compare(QFileInfo(sPath).fileName(), Qt::CaseInsensitive) == 0 &&
            QFileInfo(CFileFinder::Get().FindFile(sFile)).canonicalFilePath() == sWanted) {
            return FileId;
        }
    }
    return INVALID_FILE_ID;
}

CSrcLoc ParseSourceLocation(const QString& sText) {
    static const QRegularExpression Form(QStringLiteral("^(.+?):\\s*(\\d+)(?::\\s*\\d+)?$"));
    const QRegularExpressionMatch Match = Form.match(sText.trimmed());
    const U32 Line = Match.captured(2).toUInt();
    const U32 FileId = Line != 0 && Line <= INT32_MAX ? FindSrcFile(Match.captured(1).trimmed()) : INVALID_FILE_ID;
    return FileId != INVALID_FILE_ID ? CSrcLoc{FileId, Line, 0} : CSrcLoc();
}

QString CanonicalLocation(const QString& sText) { return FormatSourceLocation(ParseSourceLocation(sText)); }

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
