#pragma once

// Header of a line number program with its directories and files (DWARF 5, section 6.2.4; versions 2 to 5).

#include "elf/DwarfReader.h"

#include <atomic>

struct DWARF_LINE_FILE {
    std::string_view sName;
    U64 Dir = 0;
};

struct DWARF_LINE_HEADER {
    U64 Size = 0; ///< bytes of header and program in the section
    U32 Version = 0;
    U32 MinInstLength = 1;
    bool DefaultIsStmt = true;
    int LineBase = 0;
    U32 LineRange = 1;
    U32 OpcodeBase = 1;
    const U8* pOpcodeLengths = nullptr; ///< OpcodeBase - 1 bytes
    CByteReader Program;
    std::string_view sUnitDir; ///< compilation directory
    std::vector<std::string_view> Dirs;
    std::vector<DWARF_LINE_FILE> Files; ///< by number; version 5 counts from 0, of the others 0 is no file
};

/// Reads the header at the offset of .debug_line that a unit points to. False if it is damaged.
bool DWARF_ReadLineHeader(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Off, DWARF_LINE_HEADER* pHeader);
/// Paths of the header's files by number: name behind directory behind compilation directory, from the last absolute
/// one on; empty for what is no file on a disk. Joined from few bytes of a damaged file, paths could fill the memory:
/// the list ends where the budget of bytes, which tasks may share, is used up.
std::vector<std::string> DWARF_MakePaths(const DWARF_LINE_HEADER& Header, std::atomic<I64>* pBudget);
