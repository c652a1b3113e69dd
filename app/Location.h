#pragma once

// Locations as commands take them: an address in any C base, "file:line" (with or without a column), a symbol's name.
// Main thread.

#include "base/Types.h"

#include <QString>

/// "main.c:10" with the program's name of the file, if the text is a source location of the program; else empty.
QString CanonicalLocation(const QString& sText);
/// File index and line of a source location. False if the text is none.
bool ParseSourceLocation(const QString& sText, I32* pFile, U32* pLine);
/// Code address of any form of location; -1 if it has none.
I64 ResolveLocation(const QString& sText);
/// An unsigned number with "0x" or in decimal, or hexadecimal digits alone where HexDefault is set. -1 if it is none.
I64 ParseAddress(const QString& sText, bool HexDefault = false);
/// Value of a number or symbol address. False if the text is neither.
bool EvaluateText(const QString& sText, I64* pValue);
