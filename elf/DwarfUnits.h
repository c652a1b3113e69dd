#pragma once

// Steps of opening the debug information that live in files of their own.

#include "elf/DwarfStore.h"
#include "elf/ElfTasks.h"

#include <memory>

/// Finds the sections and reads the unit headers and what the root DIEs say about the units. 0, also without debug
/// information, or -1 if it has some but no unit that can be read.
int DWARF_Begin(ELF_FILE* pFile);

/// Reads the abbreviations at the offset of .debug_abbrev. Number of the set, or -1 if it is damaged. The budget bounds
/// the bytes that all sets together may take, so that overlapping sets can't fill the memory.
int DWARF_ReadAbbrevs(DWARF_STORE& S, U64 Off, const DWARF_UNIT& Unit, U64* pBudget);

/// The pass over all DIEs while it runs.
struct DWARF_WALK;
/// Appends the tasks that walk over all units.
std::shared_ptr<DWARF_WALK> DWARF_StartWalk(DWARF_STORE& S, DWARF_TIMES* pTimes, std::vector<ELF_TASK>* pTasks);
/// Fills the lists from what the tasks found.
void DWARF_EndWalk(DWARF_STORE& S, DWARF_WALK* pWalk);
