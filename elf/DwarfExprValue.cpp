#include "elf/DwarfExprValue.h"

#include "elf/DwarfConst.h"

#include <cmath>
#include <cstring>

namespace {

constexpr ELF_EXPR_TYPE FLAG_TYPE = ELF_EXPR_GENERIC; ///< of a comparison's result

bool IsSizeSound(const ELF_EXPR_TYPE& Type) {
    return ELF_ExprIsFloat(Type) ? Type.ByteSize == 4 || Type.ByteSize == 8 : Type.ByteSize >= 1 && Type.ByteSize <= 8;
}

bool IsNumber(U32 Encoding) {
    switch (Encoding) {
    case 0:
    case DW_ATE_address:
    case DW_ATE_boolean:
    case DW_ATE_float:
    case DW_ATE_signed:
    case DW_ATE_signed_char:
    case DW_ATE_unsigned:
    case DW_ATE_unsigned_char:
    case DW_ATE_UTF:
        return true;
    default:
        return false;
    }
}

U64 Mask(U32 ByteSize) { return ByteSize >= 8 ? ~0ULL : (1ULL << (8 * ByteSize)) - 1; }

double ToDouble(const ELF_EXPR_VALUE& Value) {
    if (!ELF_ExprIsFloat(Value.Type)) {
        return ELF_ExprIsSigned(Value.Type) ? static_cast<double>(ELF_ExprToSigned(Value))
                                            : static_cast<double>(Value.Bits);
    }
    if (Value.Type.ByteSize == 4) {
        float f = 0;
        std::memcpy(&f, &Value.Bits, 4);
        return static_cast<double>(f);
    }
    double d = 0;
    std::memcpy(&d, &Value.Bits, 8);
    return d;
}

ELF_EXPR_VALUE FromDouble(double d, const ELF_EXPR_TYPE& Type) {
    U64 Bits = 0;
    if (Type.ByteSize == 4) {
        const float f = static_cast<float>(d);
        std::memcpy(&Bits, &f, 4);
    } else {
        std::memcpy(&Bits, &d, 8);
    }
    return ELF_ExprMake(Bits, Type);
}

bool Compare(U8 Op, bool IsLess, bool IsEqual, bool IsOrdered) {
    switch (Op) {
    case DW_OP_eq:
        return IsEqual;
    case DW_OP_ne:
        return !IsEqual;
    case DW_OP_lt:
        return IsLess;
    case DW_OP_le:
        return IsLess || IsEqual;
    case DW_OP_gt:
        return IsOrdered && !IsLess && !IsEqual;
    default:
        return IsOrdered && !IsLess;
    }
}

bool IsComparison(U8 Op) { return Op >= DW_OP_eq && Op <= DW_OP_ne; }

bool FloatBinary(U8 Op, const ELF_EXPR_VALUE& Left, const ELF_EXPR_VALUE& Right, ELF_EXPR_VALUE* pResult) {
    const double a = ToDouble(Left);
    const double b = ToDouble(Right);
    if (IsComparison(Op)) {
        *pResult = ELF_ExprMake(Compare(Op, a < b, a == b, !std::isnan(a) && !std::isnan(b)) ? 1 : 0, FLAG_TYPE);
        return true;
    }
    switch (Op) {
    case DW_OP_plus:
        *pResult = FromDouble(a + b, Left.Type);
        return true;
    case DW_OP_minus:
        *pResult = FromDouble(a - b, Left.Type);
        return true;
    case DW_OP_mul:
        *pResult = FromDouble(a * b, Left.Type);
        return true;
    case DW_OP_div:
        if (b == 0) {
            return false;
        }
        *pResult = FromDouble(a / b, Left.Type);
        return true;
    default:
        return false;
    }
}

/// Division is signed for the generic type and the signed ones, the remainder for the signed ones only.
bool Divide(U8 Op, const ELF_EXPR_VALUE& Left, const ELF_EXPR_VALUE& Right, U64* pBits) {
    if (Right.Bits == 0) {
        return false;
    }
    const bool IsSigned = ELF_ExprIsSigned(Left.Type) || (Op == DW_OP_div && ELF_ExprIsGeneric(Left.Type));
    const I64 a = ELF_ExprToSigned(Left);
    const I64 b = ELF_ExprToSigned(Right);
    if (!IsSigned) {
        *pBits = Op == DW_OP_div ? Left.Bits / Right.Bits : Left.Bits % Right.Bits;
    } else if (b == -1) {
        *pBits = Op == DW_OP_div ? 0 - static_cast<U64>(a) : 0; // the lowest number has no negative
    } else {
        *pBits = static_cast<U64>(Op == DW_OP_div ? a / b : a % b);
    }
    return true;
}

U64 ShiftValue(U8 Op, const ELF_EXPR_VALUE& Left, U64 Count) {
    const U64 NumBits = 8ULL * Left.Type.ByteSize;
    if (Op == DW_OP_shra) {
        return static_cast<U64>(ELF_ExprToSigned(Left) >> (Count < NumBits ? Count : NumBits - 1));
    }
    if (Count >= NumBits) {
        return 0;
    }
    return Op == DW_OP_shl ? Left.Bits << Count : Left.Bits >> Count;
}

} // namespace

bool ELF_ExprIsFloat(const ELF_EXPR_TYPE& Type) { return Type.Encoding == DW_ATE_float; }

bool ELF_ExprIsSigned(const ELF_EXPR_TYPE& Type) {
    return Type.Encoding == DW_ATE_signed || Type.Encoding == DW_ATE_signed_char;
}

ELF_EXPR_VALUE ELF_ExprMake(U64 Bits, const ELF_EXPR_TYPE& Type) { return {Bits & Mask(Type.ByteSize), Type}; }

I64 ELF_ExprToSigned(const ELF_EXPR_VALUE& Value) {
    const U32 Shift = 64 - 8 * Value.Type.ByteSize;
    return static_cast<I64>(Value.Bits << Shift) >> Shift;
}

bool ELF_ExprConvert(const ELF_EXPR_VALUE& Value, const ELF_EXPR_TYPE& Type, ELF_EXPR_VALUE* pResult) {
    if (!IsNumber(Type.Encoding) || !IsSizeSound(Type)) {
        return false;
    }
    if (ELF_ExprIsFloat(Type)) {
        *pResult = FromDouble(ToDouble(Value), Type);
        return true;
    }
    if (!ELF_ExprIsFloat(Value.Type)) {
        const U64 Bits = ELF_ExprIsSigned(Value.Type) ? static_cast<U64>(ELF_ExprToSigned(Value)) : Value.Bits;
        *pResult = ELF_ExprMake(Bits, Type);
        return true;
    }
    const double d = std::trunc(ToDouble(Value));
    if (!(d >= -9223372036854775808.0 && d < 18446744073709551616.0)) {
        return false;
    }
    *pResult = ELF_ExprMake(d < 0 ? static_cast<U64>(static_cast<I64>(d)) : static_cast<U64>(d), Type);
    return true;
}

bool ELF_ExprBinary(U8 Op, const ELF_EXPR_VALUE& Left, const ELF_EXPR_VALUE& Right, ELF_EXPR_VALUE* pResult) {
    const bool IsShift = Op == DW_OP_shl || Op == DW_OP_shr || Op == DW_OP_shra;
    if (!IsShift &&
        (Left.Type.ByteSize != Right.Type.ByteSize || ELF_ExprIsFloat(Left.Type) != ELF_ExprIsFloat(Right.Type))) {
        return false;
    }
    if (ELF_ExprIsFloat(Left.Type)) {
        return !IsShift && FloatBinary(Op, Left, Right, pResult);
    }
    if (IsComparison(Op)) {
        const bool IsSigned = ELF_ExprIsSigned(Left.Type) || ELF_ExprIsGeneric(Left.Type);
        const bool IsLess = IsSigned ? ELF_ExprToSigned(Left) < ELF_ExprToSigned(Right) : Left.Bits < Right.Bits;
        *pResult = ELF_ExprMake(Compare(Op, IsLess, Left.Bits == Right.Bits, true) ? 1 : 0, FLAG_TYPE);
        return true;
    }
    U64 Bits = 0;
    switch (Op) {
    case DW_OP_and:
        Bits = Left.Bits & Right.Bits;
        break;
    case DW_OP_or:
        Bits = Left.Bits | Right.Bits;
        break;
    case DW_OP_xor:
        Bits = Left.Bits ^ Right.Bits;
        break;
    case DW_OP_plus:
        Bits = Left.Bits + Right.Bits;
        break;
    case DW_OP_minus:
        Bits = Left.Bits - Right.Bits;
        break;
    case DW_OP_mul:
        Bits = Left.Bits * Right.Bits;
        break;
    case DW_OP_div:
    case DW_OP_mod:
        if (!Divide(Op, Left, Right, &Bits)) {
            return false;
        }
        break;
    default:
        Bits = ShiftValue(Op, Left, Right.Bits);
        break;
    }
    *pResult = ELF_ExprMake(Bits, Left.Type);
    return true;
}

bool ELF_ExprUnary(U8 Op, const ELF_EXPR_VALUE& Value, ELF_EXPR_VALUE* pResult) {
    if (ELF_ExprIsFloat(Value.Type)) {
        const double d = ToDouble(Value);
        *pResult = FromDouble(Op == DW_OP_abs ? std::fabs(d) : -d, Value.Type);
        return Op != DW_OP_not;
    }
    const bool IsNegative = ELF_ExprToSigned(Value) < 0 && Value.Type.Encoding != DW_ATE_unsigned;
    const U64 Negated = 0 - Value.Bits;
    const U64 Bits = Op == DW_OP_not ? ~Value.Bits : Op == DW_OP_neg || IsNegative ? Negated : Value.Bits;
    *pResult = ELF_ExprMake(Bits, Value.Type);
    return true;
}
