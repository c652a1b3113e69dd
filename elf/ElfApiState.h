#pragma once

// What the parts of ElfApi share. The lock is held by whoever touches the rest.

#include "elf/ElfIndex.h"

#include <mutex>

std::recursive_mutex& ElfApi_Mutex();
const CFuncIndex& ElfApi_FuncIndex();
/// Empties what is kept of answers.
void ElfApi_ExitSyms();
/// Builds the indices of the file that was just opened.
void ElfApi_InitFind();
void ElfApi_ExitFind();
void ElfApi_ExitLines();
/// Makes the source map again, at the addresses that are now those of the target.
void ElfApi_RebuildLines();
U32 ElfApi_GetCurrentPC();
