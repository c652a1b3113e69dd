#pragma once

// Evaluation of frame instructions up to one program counter.

#include "elf/Cfi.h"

enum CFI_RULE_KIND : U8 {
    CFI_SAME, ///< also where nothing is said: ARM's callee-saved registers mostly aren't mentioned
    CFI_UNDEFINED,
    CFI_OFFSET,     ///< saved at CFA + Off
    CFI_VAL_OFFSET, ///< is CFA + Off
    CFI_REGISTER,   ///< is in register Reg
    CFI_REG_OFFSET, ///< is Reg + Off; the CFA's rule
    CFI_EXPRESSION,
    CFI_VAL_EXPRESSION,
};

struct CFI_RULE {
    CFI_RULE_KIND Kind = CFI_SAME;
    U32 Reg = 0;
    I32 Off = 0;
};

struct CFI_ROW {
    CFI_RULE Cfa;
    CFI_RULE aReg[NUM_UNWIND_REGS];
};

/// Description that covers PC; null if there is none.
const CFI_FDE* CFI_FindFde(const CFI_TABLE* pTable, U32 PC);
/// The row at PC. False if the instructions are damaged before it is reached.
bool CFI_EvalRow(const CFI_TABLE* pTable, const CFI_FDE& Fde, U32 PC, CFI_ROW* pRow);
