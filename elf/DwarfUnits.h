#pragma once

// Steps of DWARF_Load() that live in files of their own.

#include "elf/DwarfStore.h"

/// Reads the abbreviations at the offset of .debug_abbrev. Number of the set, or -1 if it is damaged. The budget bounds
/// the bytes that all sets together may take, so that overlapping sets can't fill the memory.
int DWARF_ReadAbbrevs(DWARF_STORE& S, U64 Off, const DWARF_UNIT& Unit, U64* pBudget);
/// Reads the unit headers of both sections and the bases that the root DIEs give. 0, or -1 if there is no unit.
int DWARF_ReadUnits(DWARF_STORE& S);
/// Walks over all DIEs and fills the tables and lists. Number of units that could not be walked to their end.
U32 DWARF_WalkUnits(DWARF_STORE& S);
