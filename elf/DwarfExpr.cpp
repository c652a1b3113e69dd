#include "elf/DwarfExpr.h"

#include "elf/ByteReader.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfExprValue.h"

#include <utility>

namespace {

constexpr U32 ADDR_SIZE = 4;
constexpr U32 WIDE_CONST_SIZE = 8;

/// What the operation last read says of the object's place; memory is the plain meaning of the top of the stack.
enum PLACE : int { PLACE_STACK, PLACE_REG, PLACE_VALUE, PLACE_BYTES, PLACE_IMPLICIT_PTR };

class CEvaluator {
public:
    explicit CEvaluator(const ELF_EXPR_ENV& Env) : m_Env(Env) {}
    void Push(U64 Value) { PushValue(ELF_ExprMake(Value, ELF_EXPR_GENERIC)); }
    int Run(const U8* pExpr, U32 NumBytes, U32 Depth);
    int Finish(ELF_EXPR_RESULT* pResult);
    int FinishValue(U64* pValue) const;

private:
    int RunOp(U8 Op, U32 Depth);
    int RunStackOp(U8 Op);
    int RunConst(U8 Op);
    int RunRegOp(U8 Op);
    int RunTypedOp(U8 Op);
    int RunContextOp(U8 Op, U32 Depth);
    int RunPlaceOp(U8 Op);
    int RunBranch(U8 Op);
    int RunCall(U8 Op, U32 Depth);
    int RunDeref(U32 NumBytes, const ELF_EXPR_TYPE& Type);
    int RunEntryValue();
    int PushReg(U64 Reg, I64 Off);
    bool ReadTyped(U32 Reg, U32 ByteSize, U64* pBits) const;
    int PushAddr(int (*pfGet)(void*, U32*));
    int PushIndexed(int (*pfGet)(void*, U64, U32*), U64 Idx);
    int PushNamed(int (*pfGet)(void*, U64, U64*), U64 Off);
    int AddPiece(U64 BitSize, U64 BitOffset);
    int GetType(U64 Off, ELF_EXPR_TYPE* pType) const;
    bool IsPlaceKnown() const { return m_Place != PLACE_STACK; }
    ELF_EXPR_PIECE MakePiece() const;
    int PushValue(const ELF_EXPR_VALUE& Value) {
        if (m_Stack.size() >= ELF_EXPR_MAX_STACK) {
            return ELF_EXPR_INVALID;
        }
        m_Stack.push_back(Value);
        return ELF_EXPR_OK;
    }
    bool Pop(ELF_EXPR_VALUE* pValue) {
        if (m_Stack.empty()) {
            return false;
        }
        *pValue = m_Stack.back();
        m_Stack.pop_back();
        return true;
    }

    const ELF_EXPR_ENV& m_Env;
    CByteReader m_In;
    const U8* m_pStart = nullptr;
    const U8* m_pEnd = nullptr;
    std::vector<ELF_EXPR_VALUE> m_Stack;
    std::vector<ELF_EXPR_PIECE> m_Pieces;
    PLACE m_Place = PLACE_STACK;
    ELF_EXPR_PIECE m_Found; ///< the place, if it isn't PLACE_STACK
    U32 m_NumSteps = 0;
    bool m_IsPieced = false;
};

int CEvaluator::Run(const U8* pExpr, U32 NumBytes, U32 Depth) {
    const CByteReader Outer = m_In;
    const U8* pOuterStart = m_pStart;
    const U8* pOuterEnd = m_pEnd;
    m_In = CByteReader(pExpr, NumBytes, m_Env.IsBigEndian);
    m_pStart = pExpr;
    m_pEnd = pExpr + NumBytes;
    int Status = ELF_EXPR_OK;
    while (Status == ELF_EXPR_OK && !m_In.IsAtEnd()) {
        Status = ++m_NumSteps > ELF_EXPR_MAX_STEPS ? ELF_EXPR_INVALID : RunOp(m_In.GetU8(), Depth);
        Status = Status == ELF_EXPR_OK && !m_In.IsOk() ? ELF_EXPR_INVALID : Status;
    }
    m_In = Outer;
    m_pStart = pOuterStart;
    m_pEnd = pOuterEnd;
    return Status;
}

int CEvaluator::RunOp(U8 Op, U32 Depth) {
    const bool IsPieceOp = Op == DW_OP_piece || Op == DW_OP_bit_piece;
    if (IsPlaceKnown() && !IsPieceOp && Op != DW_OP_nop && Op != DW_OP_GNU_uninit) {
        return ELF_EXPR_INVALID; // a register, value or pointer ends the description of its piece
    }
    if (Op == DW_OP_nop || Op == DW_OP_GNU_uninit) {
        return ELF_EXPR_OK;
    }
    if (Op == DW_OP_addr || (Op >= DW_OP_const1u && Op <= DW_OP_consts) || (Op >= DW_OP_lit0 && Op <= DW_OP_lit31)) {
        return RunConst(Op);
    }
    if ((Op >= DW_OP_reg0 && Op <= DW_OP_breg31) || Op == DW_OP_regx || Op == DW_OP_bregx) {
        return RunRegOp(Op);
    }
    if (Op == DW_OP_skip || Op == DW_OP_bra) {
        return RunBranch(Op);
    }
    if (Op >= DW_OP_dup && Op <= DW_OP_ne) {
        return RunStackOp(Op);
    }
    const int Status = RunPlaceOp(Op);
    if (Status >= 0) {
        return Status;
    }
    const int TypedStatus = RunTypedOp(Op);
    return TypedStatus >= 0 ? TypedStatus : RunContextOp(Op, Depth);
}

int CEvaluator::RunConst(U8 Op) {
    U64 Value = 0;
    switch (Op) {
    case DW_OP_addr:
        Value = m_In.GetU32();
        Value = m_Env.pfMapAddr != nullptr ? m_Env.pfMapAddr(static_cast<U32>(Value)) : Value;
        break;
    case DW_OP_const1u:
        Value = m_In.Get(1);
        break;
    case DW_OP_const1s:
        Value = static_cast<U64>(m_In.GetSigned(1));
        break;
    case DW_OP_const2u:
        Value = m_In.Get(2);
        break;
    case DW_OP_const2s:
        Value = static_cast<U64>(m_In.GetSigned(2));
        break;
    case DW_OP_const4u:
        Value = m_In.Get(4);
        break;
    case DW_OP_const4s:
        Value = static_cast<U64>(m_In.GetSigned(4));
        break;
    case DW_OP_const8u:
    case DW_OP_const8s:
        Value = m_In.Get(8);
        break;
    case DW_OP_constu:
        Value = m_In.GetULeb();
        break;
    case DW_OP_consts:
        Value = static_cast<U64>(m_In.GetSLeb());
        break;
    default:
        Value = static_cast<U64>(Op - DW_OP_lit0);
        break;
    }
    if (!m_In.IsAtEnd() && *m_In.GetPtr() == DW_OP_stack_value) { // the object itself: it may be wider than an address
        return PushValue({Value, {WIDE_CONST_SIZE, 0}});
    }
    return PushValue(ELF_ExprMake(Value, ELF_EXPR_GENERIC));
}

int CEvaluator::PushReg(U64 Reg, I64 Off) {
    U64 Value = 0;
    if (Reg > 0xFFFFFFFF || m_Env.pfReadReg == nullptr ||
        m_Env.pfReadReg(m_Env.pContext, static_cast<U32>(Reg), &Value) != 0) {
        return ELF_EXPR_UNAVAILABLE;
    }
    return PushValue(ELF_ExprMake(Value + static_cast<U64>(Off), ELF_EXPR_GENERIC));
}

int CEvaluator::RunRegOp(U8 Op) {
    if (Op == DW_OP_bregx) {
        const U64 Reg = m_In.GetULeb();
        return PushReg(Reg, m_In.GetSLeb());
    }
    if (Op >= DW_OP_breg0 && Op <= DW_OP_breg31) {
        return PushReg(static_cast<U64>(Op - DW_OP_breg0), m_In.GetSLeb());
    }
    m_Place = PLACE_REG;
    m_Found = {};
    m_Found.Kind = ELF_EXPR_PIECE_REG;
    const U64 Reg = Op == DW_OP_regx ? m_In.GetULeb() : static_cast<U64>(Op - DW_OP_reg0);
    m_Found.Reg = static_cast<U32>(Reg);
    return Reg <= 0xFFFFFFFF ? ELF_EXPR_OK : ELF_EXPR_INVALID;
}

int CEvaluator::RunBranch(U8 Op) {
    const I64 Distance = m_In.GetSigned(2);
    ELF_EXPR_VALUE Condition;
    if (!m_In.IsOk() || (Op == DW_OP_bra && !Pop(&Condition))) {
        return ELF_EXPR_INVALID;
    }
    if (Op == DW_OP_bra && Condition.Bits == 0) {
        return ELF_EXPR_OK;
    }
    const I64 Target = (m_In.GetPtr() - m_pStart) + Distance;
    if (Target < 0 || Target > m_pEnd - m_pStart) {
        return ELF_EXPR_INVALID;
    }
    m_In = CByteReader(m_pStart + Target, static_cast<U64>(m_pEnd - m_pStart - Target), m_Env.IsBigEndian);
    return ELF_EXPR_OK;
}

int CEvaluator::RunStackOp(U8 Op) {
    const size_t Count = m_Stack.size();
    const size_t Pick = Op == DW_OP_dup ? 0 : Op == DW_OP_over ? 1 : Op == DW_OP_pick ? m_In.GetU8() : 0;
    ELF_EXPR_VALUE a;
    ELF_EXPR_VALUE b;
    switch (Op) {
    case DW_OP_dup:
    case DW_OP_over:
    case DW_OP_pick:
        return Pick < Count ? PushValue(ELF_EXPR_VALUE(m_Stack[Count - 1 - Pick])) : ELF_EXPR_INVALID;
    case DW_OP_drop:
        return Pop(&a) ? ELF_EXPR_OK : ELF_EXPR_INVALID;
    case DW_OP_swap:
        return Count < 2 ? ELF_EXPR_INVALID : (std::swap(m_Stack[Count - 1], m_Stack[Count - 2]), ELF_EXPR_OK);
    case DW_OP_rot: // the top goes below the two others
        if (Count < 3) {
            return ELF_EXPR_INVALID;
        }
        std::swap(m_Stack[Count - 1], m_Stack[Count - 2]);
        std::swap(m_Stack[Count - 2], m_Stack[Count - 3]);
        return ELF_EXPR_OK;
    case DW_OP_xderef:
        return ELF_EXPR_INVALID; // one address space
    case DW_OP_abs:
    case DW_OP_neg:
    case DW_OP_not:
        return Pop(&a) && ELF_ExprUnary(Op, a, &b) ? PushValue(b) : ELF_EXPR_INVALID;
    case DW_OP_plus_uconst:
        if (!Pop(&a) || ELF_ExprIsFloat(a.Type)) {
            return ELF_EXPR_INVALID;
        }
        return PushValue(ELF_ExprMake(a.Bits + m_In.GetULeb(), a.Type));
    default:
        return Pop(&b) && Pop(&a) && ELF_ExprBinary(Op, a, b, &a) ? PushValue(a) : ELF_EXPR_INVALID;
    }
}

ELF_EXPR_PIECE CEvaluator::MakePiece() const {
    if (IsPlaceKnown()) {
        return m_Found;
    }
    ELF_EXPR_PIECE Piece;
    if (!m_Stack.empty()) {
        Piece.Kind = ELF_EXPR_PIECE_MEM;
        Piece.Addr = static_cast<U32>(m_Stack.back().Bits);
    }
    return Piece;
}

int CEvaluator::AddPiece(U64 BitSize, U64 BitOffset) {
    if (BitSize == 0 || BitSize > 0xFFFFFFFF || BitOffset > 0xFFFFFFFF || m_Pieces.size() >= ELF_EXPR_MAX_PIECES) {
        return ELF_EXPR_INVALID;
    }
    ELF_EXPR_PIECE Piece = MakePiece();
    Piece.BitSize = static_cast<U32>(BitSize);
    Piece.BitOffset = static_cast<U32>(BitOffset);
    m_Pieces.push_back(Piece);
    if (!IsPlaceKnown() && !m_Stack.empty()) {
        m_Stack.pop_back();
    }
    m_Place = PLACE_STACK;
    m_IsPieced = true;
    return ELF_EXPR_OK;
}

/// Operations that say what the object's place is; -1 for any other.
int CEvaluator::RunPlaceOp(U8 Op) {
    ELF_EXPR_VALUE Top;
    switch (Op) {
    case DW_OP_piece: {
        const U64 NumBytes = m_In.GetULeb();
        return NumBytes > 0x1FFFFFFF ? ELF_EXPR_INVALID : AddPiece(NumBytes * 8, 0);
    }
    case DW_OP_bit_piece: {
        const U64 BitSize = m_In.GetULeb();
        return AddPiece(BitSize, m_In.GetULeb());
    }
    case DW_OP_stack_value:
        if (!Pop(&Top)) {
            return ELF_EXPR_INVALID;
        }
        m_Place = PLACE_VALUE;
        m_Found = {};
        m_Found.Kind = ELF_EXPR_PIECE_VALUE;
        m_Found.Value = Top.Bits;
        m_Found.NumBytes = Top.Type.ByteSize;
        return ELF_EXPR_OK;
    case DW_OP_implicit_value: {
        const U64 NumBytes = m_In.GetULeb();
        m_Place = PLACE_BYTES;
        m_Found = {};
        m_Found.Kind = ELF_EXPR_PIECE_BYTES;
        m_Found.pData = m_In.GetPtr();
        m_Found.NumBytes = static_cast<U32>(NumBytes);
        m_In.Skip(NumBytes);
        return ELF_EXPR_OK;
    }
    case DW_OP_implicit_pointer:
    case DW_OP_GNU_implicit_pointer:
        m_Place = PLACE_IMPLICIT_PTR;
        m_Found = {};
        m_Found.Kind = ELF_EXPR_PIECE_IMPLICIT_PTR;
        m_Found.Value = m_In.Get(m_Env.OffsetSize);
        m_Found.Off = static_cast<I32>(m_In.GetSLeb());
        return ELF_EXPR_OK;
    default:
        return -1;
    }
}

int CEvaluator::GetType(U64 Off, ELF_EXPR_TYPE* pType) const {
    if (Off == 0) {
        *pType = ELF_EXPR_GENERIC;
        return ELF_EXPR_OK;
    }
    return m_Env.pfGetType != nullptr && m_Env.pfGetType(m_Env.pContext, Off, pType) == 0 && pType->ByteSize >= 1 &&
                   pType->ByteSize <= 8
               ? ELF_EXPR_OK
               : ELF_EXPR_INVALID;
}

int CEvaluator::RunDeref(U32 NumBytes, const ELF_EXPR_TYPE& Type) {
    ELF_EXPR_VALUE Addr;
    if (NumBytes < 1 || NumBytes > 8 || !Pop(&Addr) || ELF_ExprIsFloat(Addr.Type)) {
        return ELF_EXPR_INVALID;
    }
    U8 aByte[8] = {};
    if (m_Env.pfReadMem == nullptr ||
        m_Env.pfReadMem(m_Env.pContext, static_cast<U32>(Addr.Bits), NumBytes, aByte) != 0) {
        return ELF_EXPR_UNAVAILABLE;
    }
    return PushValue(ELF_ExprMake(CByteReader(aByte, NumBytes, m_Env.IsBigEndian).Get(NumBytes), Type));
}

/// Operations with a type of their own; -1 for any other.
/// A type wider than a core register takes the next one too.
bool CEvaluator::ReadTyped(U32 Reg, U32 ByteSize, U64* pBits) const {
    constexpr U32 LAST_CORE_REG = 15;
    U64 Next = 0;
    const bool IsPair = ByteSize > 4 && Reg < LAST_CORE_REG;
    if (m_Env.pfReadReg == nullptr || m_Env.pfReadReg(m_Env.pContext, Reg, pBits) != 0 ||
        (IsPair && m_Env.pfReadReg(m_Env.pContext, Reg + 1, &Next) != 0)) {
        return false;
    }
    if (IsPair) {
        *pBits = m_Env.IsBigEndian ? (*pBits << 32) | (Next & 0xFFFFFFFF) : (Next << 32) | (*pBits & 0xFFFFFFFF);
    }
    return true;
}

int CEvaluator::RunTypedOp(U8 Op) {
    ELF_EXPR_TYPE Type = ELF_EXPR_GENERIC;
    ELF_EXPR_VALUE Value;
    U64 Reg = 0;
    U64 Bits = 0;
    U32 NumBytes = 0;
    switch (Op) {
    case DW_OP_deref:
        return RunDeref(ADDR_SIZE, Type);
    case DW_OP_deref_size:
        NumBytes = m_In.GetU8();
        return NumBytes > ADDR_SIZE ? ELF_EXPR_INVALID : RunDeref(NumBytes, Type);
    case DW_OP_deref_type:
    case DW_OP_GNU_deref_type:
        NumBytes = m_In.GetU8();
        return GetType(m_In.GetULeb(), &Type) == ELF_EXPR_OK && Type.ByteSize == NumBytes ? RunDeref(NumBytes, Type)
                                                                                          : ELF_EXPR_INVALID;
    case DW_OP_const_type:
    case DW_OP_GNU_const_type: {
        const U64 Off = m_In.GetULeb();
        NumBytes = m_In.GetU8();
        if (NumBytes > 8 || GetType(Off, &Type) != ELF_EXPR_OK || Type.ByteSize != NumBytes) {
            return ELF_EXPR_INVALID;
        }
        return PushValue(ELF_ExprMake(m_In.Get(NumBytes), Type));
    }
    case DW_OP_regval_type:
    case DW_OP_GNU_regval_type:
        Reg = m_In.GetULeb();
        if (GetType(m_In.GetULeb(), &Type) != ELF_EXPR_OK || Reg > 0xFFFFFFFF) {
            return ELF_EXPR_INVALID;
        }
        return ReadTyped(static_cast<U32>(Reg), Type.ByteSize, &Bits) ? PushValue(ELF_ExprMake(Bits, Type))
                                                                      : ELF_EXPR_UNAVAILABLE;
    case DW_OP_convert:
    case DW_OP_GNU_convert:
        return GetType(m_In.GetULeb(), &Type) == ELF_EXPR_OK && Pop(&Value) && ELF_ExprConvert(Value, Type, &Value)
                   ? PushValue(Value)
                   : ELF_EXPR_INVALID;
    case DW_OP_reinterpret:
    case DW_OP_GNU_reinterpret:
        return GetType(m_In.GetULeb(), &Type) == ELF_EXPR_OK && Pop(&Value) && Value.Type.ByteSize == Type.ByteSize
                   ? PushValue(ELF_ExprMake(Value.Bits, Type))
                   : ELF_EXPR_INVALID;
    default:
        return -1;
    }
}

int CEvaluator::PushAddr(int (*pfGet)(void*, U32*)) {
    U32 Addr = 0;
    if (pfGet == nullptr || pfGet(m_Env.pContext, &Addr) != 0) {
        return ELF_EXPR_UNAVAILABLE;
    }
    return PushValue(ELF_ExprMake(Addr, ELF_EXPR_GENERIC));
}

int CEvaluator::PushIndexed(int (*pfGet)(void*, U64, U32*), U64 Idx) {
    U32 Addr = 0;
    if (pfGet == nullptr || pfGet(m_Env.pContext, Idx, &Addr) != 0) {
        return ELF_EXPR_UNAVAILABLE;
    }
    return PushValue(ELF_ExprMake(Addr, ELF_EXPR_GENERIC));
}

int CEvaluator::RunCall(U8 Op, U32 Depth) {
    const U64 Off = m_In.Get(Op == DW_OP_call2 ? 2 : Op == DW_OP_call4 ? 4 : m_Env.OffsetSize);
    const U8* pExpr = nullptr;
    U32 NumBytes = 0;
    if (Depth + 1 >= ELF_EXPR_MAX_DEPTH || !m_In.IsOk()) {
        return ELF_EXPR_INVALID;
    }
    if (m_Env.pfGetExpr == nullptr ||
        m_Env.pfGetExpr(m_Env.pContext, Off, Op != DW_OP_call_ref, &pExpr, &NumBytes) != 0) {
        return ELF_EXPR_UNAVAILABLE;
    }
    return Run(pExpr, NumBytes, Depth + 1);
}

int CEvaluator::RunEntryValue() {
    const U64 NumBytes = m_In.GetULeb();
    const U8* pExpr = m_In.GetPtr();
    m_In.Skip(NumBytes);
    if (!m_In.IsOk() || NumBytes == 0) {
        return ELF_EXPR_INVALID;
    }
    U64 Value = 0; // what a register held on entry is gone unless the caller still has it
    const int Status = m_Env.pfGetEntryValue != nullptr
                           ? m_Env.pfGetEntryValue(m_Env.pContext, pExpr, static_cast<U32>(NumBytes), &Value)
                           : ELF_EXPR_OPTIMIZED_OUT;
    ELF_EXPR_TYPE Type = ELF_EXPR_GENERIC;
    if (*pExpr == DW_OP_regval_type || *pExpr == DW_OP_GNU_regval_type) {
        CByteReader In(pExpr + 1, NumBytes - 1, m_Env.IsBigEndian);
        In.GetULeb(); // register
        if (GetType(In.GetULeb(), &Type) != ELF_EXPR_OK || !In.IsOk()) {
            return ELF_EXPR_INVALID;
        }
        if (Type.ByteSize > ADDR_SIZE) { // its other half was passed in another register
            return ELF_EXPR_OPTIMIZED_OUT;
        }
    }
    return Status == ELF_EXPR_OK ? PushValue(ELF_ExprMake(Value, Type)) : Status;
}

int CEvaluator::PushNamed(int (*pfGet)(void*, U64, U64*), U64 Off) {
    U64 Value = 0;
    const int Status = pfGet != nullptr ? pfGet(m_Env.pContext, Off, &Value) : ELF_EXPR_UNAVAILABLE;
    return Status == ELF_EXPR_OK ? PushValue(ELF_ExprMake(Value, ELF_EXPR_GENERIC)) : Status;
}

int CEvaluator::RunContextOp(U8 Op, U32 Depth) {
    ELF_EXPR_VALUE Value;
    switch (Op) {
    case DW_OP_fbreg: {
        const I64 Off = m_In.GetSLeb();
        const int Status = PushAddr(m_Env.pfGetFrameBase);
        if (Status == ELF_EXPR_OK) {
            m_Stack.back() = ELF_ExprMake(m_Stack.back().Bits + static_cast<U64>(Off), ELF_EXPR_GENERIC);
        }
        return Status;
    }
    case DW_OP_call_frame_cfa:
        return PushAddr(m_Env.pfGetCfa);
    case DW_OP_push_object_address:
        return PushAddr(m_Env.pfGetObjectAddr);
    case DW_OP_addrx:
    case DW_OP_constx:
    case DW_OP_GNU_addr_index:
    case DW_OP_GNU_const_index:
        return PushIndexed(m_Env.pfGetAddr, m_In.GetULeb());
    case DW_OP_form_tls_address:
    case DW_OP_GNU_push_tls_address:
        return Pop(&Value) ? PushIndexed(m_Env.pfGetTlsAddr, Value.Bits) : ELF_EXPR_INVALID;
    case DW_OP_call2:
    case DW_OP_call4:
    case DW_OP_call_ref:
        return RunCall(Op, Depth);
    case DW_OP_entry_value:
    case DW_OP_GNU_entry_value:
        return RunEntryValue();
    case DW_OP_GNU_parameter_ref:
        return PushNamed(m_Env.pfGetParam, m_In.Get(4));
    case DW_OP_GNU_variable_value:
        return PushNamed(m_Env.pfGetVariable, m_In.Get(m_Env.OffsetSize));
    default:
        return ELF_EXPR_INVALID;
    }
}

int CEvaluator::Finish(ELF_EXPR_RESULT* pResult) {
    if (m_IsPieced) {
        bool IsSeen = false;
        for (const ELF_EXPR_PIECE& Piece : m_Pieces) {
            IsSeen = IsSeen || Piece.Kind != ELF_EXPR_PIECE_NONE;
        }
        if (IsPlaceKnown()) {
            return ELF_EXPR_INVALID; // a description behind the last piece belongs to nothing
        }
        pResult->Pieces = IsSeen ? std::move(m_Pieces) : std::vector<ELF_EXPR_PIECE>();
        return IsSeen ? ELF_EXPR_OK : ELF_EXPR_OPTIMIZED_OUT;
    }
    const ELF_EXPR_PIECE Piece = MakePiece();
    if (Piece.Kind == ELF_EXPR_PIECE_NONE) {
        return ELF_EXPR_OPTIMIZED_OUT;
    }
    if (!IsPlaceKnown() && ELF_ExprIsFloat(m_Stack.back().Type)) {
        return ELF_EXPR_INVALID;
    }
    pResult->Pieces = {Piece};
    return ELF_EXPR_OK;
}

int CEvaluator::FinishValue(U64* pValue) const {
    if (m_IsPieced || (IsPlaceKnown() && m_Place != PLACE_VALUE)) {
        return ELF_EXPR_INVALID;
    }
    if (!IsPlaceKnown() && m_Stack.empty()) {
        return ELF_EXPR_OPTIMIZED_OUT;
    }
    *pValue = IsPlaceKnown() ? m_Found.Value : m_Stack.back().Bits;
    return ELF_EXPR_OK;
}

} // namespace

ELF_EXPR_RESULT ELF_EvalExpr(const U8* pExpr, U32 NumBytes, const ELF_EXPR_ENV& Env, const U64* pInitial) {
    ELF_EXPR_RESULT Result;
    if (NumBytes == 0) {
        Result.Status = ELF_EXPR_OPTIMIZED_OUT;
        return Result;
    }
    CEvaluator Evaluator(Env);
    if (pInitial != nullptr) {
        Evaluator.Push(*pInitial);
    }
    Result.Status = Evaluator.Run(pExpr, NumBytes, 0);
    if (Result.Status == ELF_EXPR_OK) {
        Result.Status = Evaluator.Finish(&Result);
    }
    return Result;
}

int ELF_EvalExprValue(const U8* pExpr, U32 NumBytes, const ELF_EXPR_ENV& Env, const U64* pInitial, U64* pValue) {
    CEvaluator Evaluator(Env);
    if (pInitial != nullptr) {
        Evaluator.Push(*pInitial);
    }
    const int Status = Evaluator.Run(pExpr, NumBytes, 0);
    return Status == ELF_EXPR_OK ? Evaluator.FinishValue(pValue) : Status;
}

const char* ELF_ExprStatusText(int Status) {
    switch (Status) {
    case ELF_EXPR_OK:
        return "";
    case ELF_EXPR_OPTIMIZED_OUT:
        return "optimized out";
    case ELF_EXPR_UNAVAILABLE:
        return "not available";
    default:
        return "invalid location expression";
    }
}
