#pragma once

// A data location as the debug information describes it, passed by value; all zero means no location.

#include "base/Types.h"

enum ELF_LOC_KINDS : U32 {
    ELF_LOC_NONE = 0,
    ELF_LOC_CONST = 1,         ///< the constant in Value
    ELF_LOC_MEM = 2,           ///< memory at Addr
    ELF_LOC_MEM_OFF = 3,       ///< memory at Addr + Off
    ELF_LOC_REG = 4,           ///< the value is in register Reg
    ELF_LOC_REG_OFF = 5,       ///< the value is Reg + Off
    ELF_LOC_MEM_BASE = 6,      ///< memory at the address that Base gives
    ELF_LOC_SP = 7,            ///< the value is SP + Off
    ELF_LOC_BP = 8,            ///< the value is frame base + Off
    ELF_LOC_CFA = 9,           ///< the value is CFA + Off
    ELF_LOC_MEM_SP = 10,       ///< memory at SP + Off
    ELF_LOC_MEM_BP = 11,       ///< memory at frame base + Off
    ELF_LOC_MEM_CFA = 12,      ///< memory at CFA + Off
    ELF_LOC_PARENT_VALUE = 13, ///< the parent's value + Off
    ELF_LOC_PARENT_LOC = 14,   ///< memory at the parent's location + Off
    ELF_LOC_ON_ENTRY = 15,     ///< the value that Base had on entry to the function
    ELF_LOC_COMPUTED = 16,     ///< Base gives the value itself
    /// Several operations: ElfApi_GetSymPlace() evaluates them. Addr, Value and Reg only tell one such location from
    /// another.
    ELF_LOC_EXPR = 17,
};

constexpr U32 ELF_REG_UNSPECIFIED = 1034;
constexpr U32 ELF_REG_SAME_AS_CALLER = 1035;

/// The inner location of the kinds that have one.
struct ELF_SYM_LOC_BASE {
    U32 Kind = ELF_LOC_NONE;
    U32 Addr = 0;
    U32 Reg = 0;
    I32 Off = 0;
};

struct ELF_SYM_LOC {
    U32 Kind = ELF_LOC_NONE;
    U32 Addr = 0;
    U32 Reg = 0; ///< DWARF numbering
    I32 Off = 0;
    ELF_SYM_LOC_BASE Base;
    U64 Value = 0;
};

/// Value or address is told by the location alone, without a frame.
inline bool IsMemLoc(const ELF_SYM_LOC& Loc) { return Loc.Kind == ELF_LOC_MEM || Loc.Kind == ELF_LOC_MEM_OFF; }
inline bool IsRegLoc(const ELF_SYM_LOC& Loc) { return Loc.Kind == ELF_LOC_REG || Loc.Kind == ELF_LOC_REG_OFF; }
/// Address of a location in memory.
inline U32 ElfLocMemAddr(const ELF_SYM_LOC& Loc) { return Loc.Addr + (Loc.Kind == ELF_LOC_MEM_OFF ? U32(Loc.Off) : 0); }
