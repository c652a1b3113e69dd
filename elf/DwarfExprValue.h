#pragma once

// Typed values of the expression stack (DWARF 5, section 2.5.1): the generic type is an integer of the address size
// with unspecified sign; others are integers or IEEE floating point numbers of 1 to 8 bytes.

#include "elf/DwarfExpr.h"

struct ELF_EXPR_VALUE {
    U64 Bits = 0; ///< cut to the type's size
    ELF_EXPR_TYPE Type{4, 0};
};

constexpr ELF_EXPR_TYPE ELF_EXPR_GENERIC{4, 0};

inline bool ELF_ExprIsGeneric(const ELF_EXPR_TYPE& Type) { return Type.Encoding == 0; }
bool ELF_ExprIsFloat(const ELF_EXPR_TYPE& Type);
bool ELF_ExprIsSigned(const ELF_EXPR_TYPE& Type);
/// The value cut to its type's size.
ELF_EXPR_VALUE ELF_ExprMake(U64 Bits, const ELF_EXPR_TYPE& Type);
/// The value sign-extended to 64 bits, whatever the type's sign.
I64 ELF_ExprToSigned(const ELF_EXPR_VALUE& Value);
/// Number conversion as C does it; false for a type that isn't a number of 1 to 8 bytes.
bool ELF_ExprConvert(const ELF_EXPR_VALUE& Value, const ELF_EXPR_TYPE& Type, ELF_EXPR_VALUE* pResult);
/// One two-operand operation: DW_OP_and, div, minus, mod, mul, or, plus, shl, shr, shra, xor, eq, ge, gt, le, lt, ne.
/// False if the types don't fit or a divisor is 0.
bool ELF_ExprBinary(U8 Op, const ELF_EXPR_VALUE& Left, const ELF_EXPR_VALUE& Right, ELF_EXPR_VALUE* pResult);
/// DW_OP_abs, neg, not.
bool ELF_ExprUnary(U8 Op, const ELF_EXPR_VALUE& Value, ELF_EXPR_VALUE* pResult);
