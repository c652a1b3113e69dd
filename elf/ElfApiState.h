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
U32 ElfApi_GetCurrentPC();
