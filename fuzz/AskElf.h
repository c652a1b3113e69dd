#pragma once

// Asks everything that can be asked of the program file that is open, of symbols and addresses spread over it.

#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"

/// NumAsked bounds the symbols of each list and the addresses of each kind.
void AskElf(U32 NumAsked);
