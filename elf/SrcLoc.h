#pragma once

// A source position, passed by value.

#include "base/Types.h"

#include <QHashFunctions>

constexpr U32 INVALID_FILE_ID = 0xFFFFFFFF;

/// The column takes no part in equality.
struct CSrcLoc {
    U32 FileId = INVALID_FILE_ID; ///< hash of the lower-cased path as it stands in the debug information
    U32 Line = 0;
    U32 Col = 0;
    bool IsValid() const { return FileId != INVALID_FILE_ID && (FileId != 0 || Line != 0); }
    friend bool operator==(const CSrcLoc& a, const CSrcLoc& b) { return a.FileId == b.FileId && a.Line == b.Line; }
};

inline size_t qHash(const CSrcLoc& Loc, size_t Seed = 0) { return ((Loc.FileId + 713u) * 31u + Loc.Line) ^ Seed; }
