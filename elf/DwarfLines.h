#pragma once

// Source lines out of the line number programs of all units, one table for each program.

#include "elf/DwarfUnits.h"

/// The line programs while they are read.
struct DWARF_LINES;

/// Appends the tasks that read the line programs of all units.
std::shared_ptr<DWARF_LINES> DWARF_StartLines(DWARF_STORE& S, DWARF_TIMES* pTimes, std::vector<ELF_TASK>* pTasks);
/// Joins what the tasks found, when the units are walked and the symbols read, too. A damaged program is reported; what
/// was read of it stays.
ELF_LINES DWARF_EndLines(const DWARF_STORE& S, DWARF_LINES* pLines);
/// The same in one go, for a file that is open.
ELF_LINES DWARF_ReadLines(DWARF_STORE& S);
