#pragma once

// Steps of ELF_Open() that live in files of their own.

#include "elf/Elf.h"

/// Symbols: load, sort, fill in sizes, collect mapping and function symbols. 0 or -1.
int ELF_LoadSymbols(ELF_FILE* pFile);
/// Load-image table and symbol address range of the current file.
void ELF_BuildImage(const ELF_FILE* pFile);
void ELF_ClearImage();
/// True if the bytes [Off, Off + Size) lie inside the file.
bool ELF_IsInFile(const ELF_FILE* pFile, U64 Off, U64 Size);
/// True if the section's name begins with the NumBytes bytes at s; with the zero that ends s, if it is s.
bool ELF_IsSectionName(const ELF_FILE* pFile, U32 Section, const char* s, size_t NumBytes);
U16 ELF_Swap16(U16 v);
U32 ELF_Swap32(U32 v);
