#pragma once

// Locations as commands take them: an address in any C base, "file:line" (with or without a column), a symbol's name.
// Main thread.

#include "elf/SrcLoc.h"

#include <QString>

/// "main.c:10" with the program's name of the file, if the text is a source location of the program; else empty.
QString CanonicalLocation(const QString& sText);
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
