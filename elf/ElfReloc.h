#pragma once

// Moves addresses of the file to addresses on the target where a project says that parts of the program are loaded
// elsewhere. Without entries both are the same, which is the common and fast case.

#include "base/Types.h"

struct ELF_FILE;

/// Adds an entry. The text is "*", a range "low-high", a section's or a symbol's name; at most 64 characters count.
/// Entries live until the file is closed. 0, or -1 if the text names nothing in the open file (it may in the next one).
int ELF_AddReloc(const char* sSpec, I32 Offset);
/// Looks the names of all entries up again.
void ELF_ResolveRelocs(const ELF_FILE* pFile);
void ELF_ClearRelocs();
bool ELF_HasRelocs();
/// Address on the target of an address of the file. An end address belongs to the range that it ends.
U32 ELF_Relocate(U32 Addr, bool IsEnd = false);
/// The reverse.
U32 ELF_Unrelocate(U32 Addr, bool IsEnd = false);
