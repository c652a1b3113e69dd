#pragma once

// The one home of locations as users write and read them: an address in any C base, "file:line" (with or without a
// column), a symbol's name. Main thread.

#include "base/Types.h"
#include "elf/SrcLoc.h"

#include <QString>

/// As much of a file's path, from its end, as tells it from all other files of the program: "main.c", or "a/util.c"
/// beside "b/util.c". The whole path if any end of it is also that of another one; empty for no file.
QString ShortestSrcPath(U32 FileId);
/// "main.c:10" with the shortest path; empty for an invalid location.
QString FormatSourceLocation(const CSrcLoc& Loc);
/// The text in that form, if it is a source location of the program; else empty.
QString CanonicalLocation(const QString& sText);
/// FileId of the program's source file that a path on this machine stands for; INVALID_FILE_ID if it is none of them.
U32 FindSrcFileOfPath(const QString& sPath);
/// Source location that a text names; the file may lack directories if only one of the program ends in what is given.
/// Invalid if the text is none.
CSrcLoc ParseSourceLocation(const QString& sText);
/// Lowest address of the location's line, or of the next line with code; -1 if there is none.
I64 GetCodeAddress(const CSrcLoc& Loc);
/// Code address of any form of location; -1 if it has none.
I64 ResolveLocation(const QString& sText);
/// An unsigned number with "0x" or in decimal, or hexadecimal digits alone where HexDefault is set. -1 if it is none.
I64 ParseAddress(const QString& sText, bool HexDefault = false);
/// Address of the first function or variable of that name that has one; -1 if there is none.
I64 GetSymbolAddress(const QString& sName);
/// Value of a number or symbol address. False if the text is neither.
bool EvaluateText(const QString& sText, I64* pValue);
