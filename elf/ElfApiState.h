#pragma once

// What the parts of ElfApi share. The lock is held by whoever touches the rest.

#include "elf/ElfIndex.h"
#include "elf/ElfTasks.h"

#include <mutex>

std::recursive_mutex& ElfApi_Mutex();
CFuncIndex& ElfApi_FuncIndex();
/// Empties what is kept of answers.
void ElfApi_ExitSyms();
void ElfApi_ExitSrcSyms();
/// Appends the tasks that build the indices of the file that was just opened, then finishes what they made.
void ElfApi_StartFind(std::vector<ELF_TASK>* pTasks);
/// Addresses of the target have changed.
void ElfApi_OnRelocated();
void ElfApi_ExitFind();
void ElfApi_ExitLines();
/// Builds the source map from the line tables of the open file, which it then gives up.
void ElfApi_BuildLines();
/// Makes the source map again, at the addresses that are now those of the target.
void ElfApi_RebuildLines();
U32 ElfApi_GetCurrentPC();
