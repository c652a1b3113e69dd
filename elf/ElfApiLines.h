#pragma once

// ElfApi's questions about source lines and call frames. Any thread, one lock; 0, -1, empty or an invalid position
// where there is nothing to say. The tables are made when the first question about an open file comes, and go with the
// file.

#include "elf/ElfApiSyms.h"
#include "elf/SrcLoc.h"

#include <QList>
#include <QString>

/// FileId of a path, in any case, by its text or its normal form; 0xFFFFFFFF if unknown.
U32 ElfApi_GetFileId(const QString& sPath);
QString ElfApi_GetFilePath(U32 FileId);
bool ElfApi_FileExists(U32 FileId);
/// Files with code.
QList<U32> ElfApi_GetSrcFileIds();
QStringList ElfApi_GetSrcFiles(); ///< the same as paths
/// A source file of the program exists under another path: it keeps its FileId and is known under both.
void ElfApi_OnSrcFileLocated(const QString& sOldPath, const QString& sNewPath);

/// Positions of an address; of one that begins no line those of the line before it, within the same function and at
/// most 256 bytes below.
QList<CSrcLoc> ElfApi_GetSrcLocs(U32 Addr);
CSrcLoc ElfApi_GetSrcLoc(U32 Addr);      ///< the first of those
CSrcLoc ElfApi_GetLastSrcLoc(U32 Addr);  ///< the last of those
CSrcLoc ElfApi_GetExactSrcLoc(U32 Addr); ///< only if a line record begins there
bool ElfApi_HasSrcLoc(U32 Addr);
bool ElfApi_RangeHasSrcLoc(const ELF_ADDR_RANGE& Range);

QList<U32> ElfApi_GetAddrs(const CSrcLoc& Loc); ///< sorted
I64 ElfApi_GetAddr(const CSrcLoc& Loc);         ///< the lowest of them, or -1
/// Addresses of the instructions from Addr on that stay on the line, within 256 bytes.
QList<U32> ElfApi_GetAddrBlock(const CSrcLoc& Loc, U32 Addr);
/// One start address for each contiguous block of the line.
QList<U32> ElfApi_GetLineEntryAddrs(const CSrcLoc& Loc);
/// Nearest line with code behind or before this one, at most 1000 lines away behind; invalid if there is none.
CSrcLoc ElfApi_GetNextCodeLine(const CSrcLoc& Loc);
CSrcLoc ElfApi_GetPrevCodeLine(const CSrcLoc& Loc);

I64 ElfApi_GetPrevAddr(U32 Addr); ///< nearest address below at which a line begins, or -1
I64 ElfApi_GetNextAddr(U32 Addr);
I64 ElfApi_GetNextLineAddr(U32 Addr); ///< first address within 1000 bytes at which the position differs, or -1
bool ElfApi_IsLineStart(U32 Addr);
/// FileId of the file whose code holds the address, 0xFFFFFFFF if none.
U32 ElfApi_GetFileAtAddr(U32 Addr);
/// Functions whose code lies in the file: those of the debug information, then those of the ELF symbol table.
ELF_SYM_LIST ElfApi_GetFuncsOfFile(U32 FileId);
/// All functions and inline expansions that overlap the range, outermost first.
ELF_SYM_LIST ElfApi_GetFuncsInRange(const ELF_ADDR_RANGE& Range);

/// Where a symbol is declared, and where an inlined function is called.
CSrcLoc ElfApi_GetSymDeclLoc(ELF_SYM_HANDLE h);
CSrcLoc ElfApi_GetSymCallLoc(ELF_SYM_HANDLE h);
/// The position to open for a symbol: call, declaration, code, or the function it stands in.
CSrcLoc ElfApi_GetSymSrcLoc(ELF_SYM_HANDLE h);
/// "file:line[:column]" with a path or FileId, a hexadecimal address, or a symbol's name.
CSrcLoc ElfApi_ParseSrcLoc(const QString& sText);

enum ELF_ADDR_KINDS : int {
    ELF_ADDR_KIND_NONE = -1,
    ELF_ADDR_KIND_NUMBER = 0,
    ELF_ADDR_KIND_POSITION = 1,
    ELF_ADDR_KIND_SYMBOL = 2,
    ELF_ADDR_KIND_DECLARATION = 3, ///< of code at the symbol's declaration
};
/// Address and size that a text names: a hexadecimal number, a symbol or a position.
ELF_ADDR_RANGE ElfApi_ParseAddr(const QString& sText, int* pKind);
/// Location of an address or a symbol at PC, and the symbol's size.
ELF_SYM_LOC ElfApi_ParseLoc(const QString& sText, U32 PC, U32* pSize);

/// Where the caller's registers are at PC: 30 rules and 30, or 0 without a frame description. paRules must hold 30.
I32 ElfApi_GetRegRules(U32 PC, ELF_SYM_LOC* paRules);
ELF_SYM_LOC ElfApi_GetCFA(U32 PC);
I32 ElfApi_GetStackSize(U32 PC); ///< bytes; 0 if it can't be told, -1 without a frame description
U32 ElfApi_GetFdeCnt();
U32 ElfApi_GetFdeAddrLo(U32 i);
U32 ElfApi_GetFdeAddrHi(U32 i);
