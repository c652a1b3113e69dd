#pragma once

// What callers are known to pass (DWARF 5, section 3.4, and the GNU form before it): the value that a parameter had on
// entry to a function, as an expression over the caller's frame. The function may have been entered by a jump at the
// end of the one that was called; an answer is given only if there is just one way.
// The caller of these functions holds ElfApi's lock.

#include "elf/ElfSym.h"

struct CALL_VALUE {
    U32 Die = 0;            ///< of the call's parameter: unit and function of the expressions
    std::vector<U8> Expr;   ///< the value
    std::vector<U8> Target; ///< gives the called address, which must be Entry; empty where that is known already
    U32 Entry = 0;
    U32 JumpPC = 0; ///< not 0: Expr stands at a jump in a function that left its frame to this one
};

/// Function of the debug information whose code holds the address; 0 if there is none.
U32 CALL_FuncAt(U32 PC);
/// What the call that returns to ReturnPC passes to the function around PC in the place that the entry value's block
/// names. False if that isn't known.
bool CALL_FindValue(U32 PC, U32 ReturnPC, const U8* pBlock, U32 NumBytes, CALL_VALUE* pValue);
/// The same for a parameter given as the DIE of its declaration.
bool CALL_FindParam(U32 PC, U32 ReturnPC, U32 Param, CALL_VALUE* pValue);
