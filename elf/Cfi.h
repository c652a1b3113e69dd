#pragma once

// Call frame information out of .debug_frame (DWARF 5, section 6.4): for each program counter how to compute the frame
// address (CFA) and where the caller's registers are. Addresses are those of the file. No lock of its own; see Elf.h.

#include "elf/Elf.h"
#include "elf/ElfSymLoc.h"

#include <memory>

constexpr U32 NUM_UNWIND_REGS = 30; ///< rules of a frame, by DWARF register number of ARM
constexpr U32 CFI_REG_CFA = 1436;   ///< column of a rule that counts from the CFA

struct CFI_FDE {
    U32 AddrLo;
    U32 AddrHi; ///< exclusive
    U32 Cie;    ///< index into CFI_TABLE::Cies
    U64 Off;    ///< instructions, in the section
    U32 NumBytes;
};

struct CFI_CIE {
    U64 CodeAlign;
    I64 DataAlign;
    U64 Off; ///< initial instructions, in the section
    U32 NumBytes;
    bool HasAugmentation; ///< FDEs begin with a block of its data
};

struct CFI_TABLE {
    std::vector<CFI_CIE> Cies;
    std::vector<CFI_FDE> FdeList; ///< as in the section
    std::vector<U32> FdeByAddr;   ///< indices, by AddrLo
    const U8* pData = nullptr;
    U64 Size = 0;
    bool IsBig = false;
    bool HasCodeAtZero = true; ///< false: descriptions of address 0 belong to functions that the linker dropped
    I32 CfaFactor = 1;         ///< multiplies the offset of the stack pointer's rule
    I32 DataAlign = 0;         ///< of the first CIE
    U32 CachedCfaPC = 0xFFFFFFFF;
    ELF_SYM_LOC CachedCfaLoc;
};

/// Reads the frame section; empty without one, up to the first damaged entry otherwise.
std::shared_ptr<CFI_TABLE> ELF_LoadCfi(const ELF_FILE* pFile);

/// Table of the open file, read when it is first asked for; null without a file.
CFI_TABLE* ELF_GetCfi();

/// Rules at PC for registers 0 to 29: NUM_UNWIND_REGS, or 0 if no frame description covers it. The rule of the stack
/// pointer is the CFA.
I32 ELF_GetRegRules(CFI_TABLE* pTable, U32 PC, ELF_SYM_LOC* paRules);
/// CFA rule at PC, or the empty location. The last answer is kept.
ELF_SYM_LOC ELF_GetCFA(CFI_TABLE* pTable, U32 PC);
/// Largest stack use in bytes of the function around PC; 0 if it can't be told, -1 without a description.
I32 ELF_GetStackSize(const CFI_TABLE* pTable, U32 PC);
U32 ELF_GetFdeCnt(const CFI_TABLE* pTable);
/// Range of a description; 0 for an index out of range.
U32 ELF_GetFdeAddrLo(const CFI_TABLE* pTable, U32 i);
U32 ELF_GetFdeAddrHi(const CFI_TABLE* pTable, U32 i);
