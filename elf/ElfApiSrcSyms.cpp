#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "elf/ElfApiState.h"

// Where symbols stand in the source, and positions, addresses and locations out of texts.

namespace {

/// Position from a file name and a line of the debug information. Without a name the file is that of the symbol's code.
CSrcLoc LocOf(ELF_SYM_HANDLE h, const QString& sFile, I64 Line) {
    U32 FileId = ElfApi_GetFileId(sFile);
    if (sFile.isEmpty()) {
        const I64 Addr = ElfApi_GetSymAddr(h);
        FileId = Addr >= 0 ? ElfApi_GetSrcLoc(static_cast<U32>(Addr)).FileId : INVALID_FILE_ID;
    }
    return FileId != INVALID_FILE_ID ? CSrcLoc{FileId, static_cast<U32>(Line), 0} : CSrcLoc();
}

/// A call without a recorded line: the last position at the symbol's address that lies in its parent function.
CSrcLoc FindCallLoc(ELF_SYM_HANDLE h) {
    const ELF_SYM_HANDLE hParent = ElfApi_GetParentFunc(h);
    const I64 Addr = ElfApi_GetSymAddr(h);
    const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(hParent);
    if (hParent == 0 || Addr < 0 || Range.Size == 0) {
        return {};
    }
    const CSrcLoc First = ElfApi_GetSrcLoc(Range.Addr);
    const CSrcLoc Last = ElfApi_GetLastSrcLoc(Range.Addr + Range.Size - 2);
    const QList<CSrcLoc> Locs = ElfApi_GetSrcLocs(static_cast<U32>(Addr));
    for (auto It = Locs.crbegin(); It != Locs.crend(); ++It) {
        if (It->FileId == First.FileId && It->Line >= First.Line && It->Line <= Last.Line) {
            return *It;
        }
    }
    return {};
}

I64 ParseHex(const QString& sText) {
    bool IsNumber = false;
    const qulonglong Value = sText.trimmed().toULongLong(&IsNumber, 16);
    return IsNumber && Value <= 0xFFFFFFFF ? static_cast<I64>(Value) : -1;
}

/// "file:line" or "file:line:column"; the file a path or a FileId.
CSrcLoc ParsePosition(const QString& sText) {
    const QStringList Parts = sText.trimmed().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    bool IsLine = false;
    CSrcLoc Loc;
    Loc.Line = Parts.value(1).trimmed().toUInt(&IsLine, 0);
    if (Parts.size() < 2 || !IsLine) {
        return {};
    }
    bool IsNumber = false;
    Loc.Col = Parts.value(2).trimmed().toUInt(&IsNumber, 0);
    Loc.FileId = Parts[0].trimmed().toUInt(&IsNumber, 0);
    Loc.FileId = IsNumber ? Loc.FileId : ElfApi_GetFileId(Parts[0].trimmed());
    return Loc.FileId != INVALID_FILE_ID ? Loc : CSrcLoc();
}

constexpr qsizetype MAX_CACHED = 1 << 19;

// Positions that the debug information gives; others depend on the frame that is looked at.
QHash<ELF_SYM_HANDLE, CSrcLoc> DeclLocCache;
QHash<ELF_SYM_HANDLE, CSrcLoc> CallLocCache;

CSrcLoc Keep(QHash<ELF_SYM_HANDLE, CSrcLoc>* pCache, ELF_SYM_HANDLE h, const CSrcLoc& Loc) {
    if (pCache->size() >= MAX_CACHED) {
        pCache->clear();
    }
    pCache->insert(h, Loc);
    return Loc;
}

} // namespace

void ElfApi_ExitSrcSyms() {
    DeclLocCache.clear();
    CallLocCache.clear();
}

CSrcLoc ElfApi_GetSymDeclLoc(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (const auto It = DeclLocCache.constFind(h); It != DeclLocCache.constEnd()) {
        return *It;
    }
    const I64 Line = ElfApi_GetSymDeclLine(h);
    if (Line >= 0) {
        return Keep(&DeclLocCache, h, LocOf(h, ElfApi_GetSymDeclFileName(h), Line));
    }
    const I64 Addr = ElfApi_GetSymAddr(h);
    CSrcLoc Loc = Addr >= 0 ? ElfApi_GetSrcLoc(static_cast<U32>(Addr)) : CSrcLoc();
    Loc.Line -= Loc.IsValid() && Loc.Line > 0 ? 1 : 0; // the line before the first code
    return Loc;
}

CSrcLoc ElfApi_GetSymCallLoc(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (const auto It = CallLocCache.constFind(h); It != CallLocCache.constEnd()) {
        return *It;
    }
    const I64 Line = ElfApi_GetSymCallLine(h);
    return Line >= 0 ? Keep(&CallLocCache, h, LocOf(h, ElfApi_GetSymCallFileName(h), Line)) : FindCallLoc(h);
}

CSrcLoc ElfApi_GetSymSrcLoc(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    CSrcLoc Loc = ElfApi_GetSymType(h) == DW_TAG_inlined_subroutine ? ElfApi_GetSymCallLoc(h) : CSrcLoc();
    Loc = Loc.IsValid() ? Loc : ElfApi_GetSymDeclLoc(h);
    const I64 Addr = Loc.IsValid() ? -1 : ElfApi_GetSymAddr(h);
    Loc = Addr >= 0 ? ElfApi_GetSrcLoc(static_cast<U32>(Addr)) : Loc;
    const ELF_SYM_HANDLE hParent = Loc.IsValid() ? 0 : ElfApi_GetParentFunc(h);
    return hParent != 0 ? ElfApi_GetSymDeclLoc(hParent) : Loc;
}

CSrcLoc ElfApi_ParseSrcLoc(const QString& sText) {
    const std::lock_guard Lock(ElfApi_Mutex());
    CSrcLoc Loc = ParsePosition(sText);
    const I64 Addr = Loc.IsValid() ? -1 : ParseHex(sText);
    if (Addr >= 0) {
        Loc = ElfApi_GetSrcLoc(static_cast<U32>(Addr));
        return Loc.IsValid() ? Loc : ElfApi_GetSymSrcLoc(ElfApi_GetFuncAtAddr(static_cast<U32>(Addr), true));
    }
    if (!Loc.IsValid()) {
        for (const ELF_SYM_HANDLE h : ElfApi_FindSyms(sText, true, true, false, true)) {
            Loc = ElfApi_GetSymSrcLoc(h);
            if (Loc.IsValid()) {
                break;
            }
        }
    }
    return Loc;
}

ELF_ADDR_RANGE ElfApi_ParseAddr(const QString& sText, int* pKind) {
    const std::lock_guard Lock(ElfApi_Mutex());
    *pKind = ELF_ADDR_KIND_NONE;
    const I64 Number = ParseHex(sText);
    if (Number >= 0) {
        *pKind = ELF_ADDR_KIND_NUMBER;
        return {static_cast<U32>(Number), 0};
    }
    const ELF_SYM_LIST Syms = ElfApi_FindSyms(sText, true, true, false, true);
    for (const ELF_SYM_HANDLE h : Syms) {
        const I64 Addr = ElfApi_GetSymAddr(h);
        if (Addr >= 0) {
            *pKind = ELF_ADDR_KIND_SYMBOL;
            return {static_cast<U32>(Addr), ElfApi_GetSymSize(h)};
        }
    }
    for (const ELF_SYM_HANDLE h : Syms) {
        const I64 Addr = ElfApi_GetAddr(ElfApi_GetSymDeclLoc(h));
        if (Addr >= 0) {
            *pKind = ELF_ADDR_KIND_DECLARATION;
            return {static_cast<U32>(Addr), 0};
        }
    }
    const I64 Addr = ElfApi_GetAddr(ParsePosition(sText));
    *pKind = Addr >= 0 ? ELF_ADDR_KIND_POSITION : ELF_ADDR_KIND_NONE;
    return {Addr >= 0 ? static_cast<U32>(Addr) : 0, 0};
}

ELF_SYM_LOC ElfApi_ParseLoc(const QString& sText, U32 PC, U32* pSize) {
    const std::lock_guard Lock(ElfApi_Mutex());
    ELF_SYM_LOC Loc;
    *pSize = 0;
    const I64 Number = ParseHex(sText);
    const ELF_SYM_HANDLE h = Number < 0 ? ElfApi_FindSym(sText, true, true, true, true) : 0;
    const I64 Addr = h != 0 && ElfApi_IsFunc(h) ? ElfApi_GetSymAddr(h) : Number;
    if (Addr >= 0) {
        Loc.Kind = ELF_LOC_MEM;
        Loc.Addr = static_cast<U32>(Addr);
    } else if (h != 0) {
        Loc = ElfApi_GetSymLoc(h, PC);
        *pSize = ElfApi_GetSymSize(h);
    }
    return Loc;
}
