#pragma once

// The instruction store (ICACHE): what the debugger knows of the program's instructions - size, mode, class and text -
// answered from the program image wherever that is possible. What lies above it (the target's memory, the mode of the
// function at the PC) comes in through hooks. All functions may be called from any thread.

#include "base/Types.h"

#include <QByteArray>
#include <functional>

enum ICACHE_MODES : U32 { ICACHE_MODE_UNKNOWN, ICACHE_MODE_ARM, ICACHE_MODE_THUMB };

/// Kinds of memory regions as ElfApi_GetMemRegionKind() gives them.
enum ICACHE_REGIONS : U32 {
    ICACHE_REGION_NONE = 0,
    ICACHE_REGION_ARM = 1,
    ICACHE_REGION_THUMB = 2,
    ICACHE_REGION_DATA = 4
};

struct ICACHE_CONFIG {
    U32 InstSet = 2; ///< 0 ARM only, 1 16-bit Thumb, 2 Thumb-2
    int DataEndian = 0;
    int InstEndian = 0; ///< 1: instructions in target memory are big-endian
};

/// Execution mode of the function that holds the PC. An empty range: the mode holds for all addresses.
struct ICACHE_MODE_RANGE {
    U32 Mode = ICACHE_MODE_UNKNOWN;
    U32 Start = 0;
    U32 End = 0;
};

/// What an instruction does to the flow of the program.
struct ICACHE_INST {
    U32 Length = 0;             ///< bytes; 0: the bits are no instruction, or nobody can tell
    bool IsBranch = false;      ///< goes on elsewhere, calls and returns included
    bool IsCall = false;        ///< comes back
    bool IsIndirect = false;    ///< the target comes from a register or from memory
    bool IsReturn = false;      ///< to the caller, or from an exception
    bool IsConditional = false; ///< under a condition of its own
};

struct ICACHE_HOOKS {
    std::function<int(U32 Addr, U32 NumBytes, void* pBuf)> fReadMem; ///< target memory; 0 or -1
    std::function<ICACHE_MODE_RANGE()> fModeRange;
    std::function<ICACHE_CONFIG()> fConfig;
    /// Decodes 4 bytes in little-endian order; behind a 16-bit instruction they may be 0. Any thread.
    std::function<ICACHE_INST(U32 Addr, const U8* paBytes, U32 Mode)> fDecode;
};

/// Forgets all texts and installs the hooks; a hook may be empty.
void ICACHE_Reset(const ICACHE_HOOKS& Hooks);

/// ICACHE_MODES of the instruction at Addr: from the mapping symbols, else the mode in force.
U32 ICACHE_GetMode(U32 Addr);
/// Bytes of the instruction or data item at Addr: 2 or 4, 0 for a negative address. Never crosses from code to data.
U32 ICACHE_GetInstSize(I64 Addr);
/// The same size from a given one (2 or 4), cut where the kind of memory changes inside the instruction.
U32 ICACHE_CorrectInstSize(U32 Addr, U32 Size);
/// Opcode bits of 2 or 4 bytes, from the image, else from the target; -1 if neither has them. A 32-bit Thumb
/// instruction has its first halfword in the low 16 bits.
I64 ICACHE_GetInstBits(U32 Addr, U32 Size);

/// The instruction at Addr as the decoder sees it; of length 0 if it can't be read or there is no decoder.
ICACHE_INST ICACHE_Decode(U32 Addr);
/// False if the instruction can't be read.
bool ICACHE_IsSemihostingTrap(U32 Addr);
bool ICACHE_IsBreakpointInst(U32 Addr, U32* pSize);
/// True if an instruction in the range may leave the straight path for good, or if nobody can tell.
bool ICACHE_HasBranchInRange(U32 Start, U32 End);

/// Texts of disassembled instructions; empty if there is none.
QByteArray ICACHE_GetInstText(U32 Addr);
/// Keeps the first text of an address, its mnemonic padded to 12 columns and without a comment.
void ICACHE_SetInstText(I64 Addr, const QByteArray& sText);
void ICACHE_ClearInstTexts();
