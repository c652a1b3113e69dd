// Handlers of data processing instructions.
#include "probe/sim/FastAccess.h"
#include "probe/sim/Handlers.h"

#include <bit>
#include <utility>

namespace Sim {
namespace {

using namespace Thumb;

template <EAlu Alu, bool SetFlags, EOperand Operand> void Op_Alu(SIM_ARGS) {
    uint32_t Carry = C.C;
    uint32_t b;
    if constexpr (Operand == OPERAND_IMM) {
        b = pOp->Imm;
        if (SetFlags && pOp->Ra) {
            Carry = b >> 31;
        }
    } else if constexpr (Operand == OPERAND_REG) {
        b = C.R[pOp->Rm];
    } else {
        b = ShiftC(C.R[pOp->Rm], pOp->ShType, pOp->ShAmt, Carry);
    }
    const uint32_t Result = AluResult<Alu, SetFlags>(C, C.R[pOp->Rn], b, Carry);
    if constexpr (Alu < ALU_TST) {
        C.R[pOp->Rd] = Result;
    }
    SIM_NEXT_LEN();
}

// Bits 0 and 1 of SP can't be set.
void Op_AluToSp(SIM_ARGS) {
    uint32_t Carry = C.C;
    uint32_t b = pOp->Imm;
    if ((pOp->Flags >> 1 & 3) != OPERAND_IMM) {
        b = ShiftC(C.R[pOp->Rm], pOp->ShType, pOp->ShAmt, Carry);
    } else if (pOp->Ra) {
        Carry = b >> 31;
    }
    const uint32_t a = C.R[pOp->Rn];
    uint32_t Result = 0;
    const uint32_t OldN = C.N, OldZ = C.Z, OldC = C.C, OldV = C.V;
    switch (pOp->Flags >> 4) {
#define SIM_CASE(Alu)                                                                                                  \
    case Alu:                                                                                                          \
        Result = AluResult<Alu, true>(C, a, b, Carry);                                                                 \
        break;
        SIM_CASE(ALU_AND)
        SIM_CASE(ALU_BIC)
        SIM_CASE(ALU_ORR)
        SIM_CASE(ALU_ORN)
        SIM_CASE(ALU_EOR)
        SIM_CASE(ALU_ADD)
        SIM_CASE(ALU_ADC)
        SIM_CASE(ALU_SBC)
        SIM_CASE(ALU_SUB)
        SIM_CASE(ALU_RSB)
        SIM_CASE(ALU_MOV)
        SIM_CASE(ALU_MVN)
#undef SIM_CASE
    }
    if (!(pOp->Flags & 1)) {
        C.N = OldN, C.Z = OldZ, C.C = OldC, C.V = OldV;
    }
    if (SIM_UNLIKELY(C.MspLim | C.PspLim)) {
        SIM_SYNC();
        if (!StackAllows(C, Result)) {
            SIM_TAIL LeaveChain(C, pOp, PC, pRing);
        }
    }
    C.R[13] = Result & ~3u;
    SIM_NEXT_LEN();
}

void Op_ShiftByReg(SIM_ARGS) {
    const uint32_t Amount = C.R[pOp->Rm] & 0xFF;
    uint32_t Carry = C.C;
    const uint32_t Value = C.R[pOp->Rn];
    const uint32_t Result = Amount ? ShiftC(Value, pOp->ShType, Amount, Carry) : Value;
    C.R[pOp->Rd] = Result;
    if ((pOp->Flags & FLAG_SETS_FLAGS) && !(pOp->Len == 2 && C.IT)) {
        C.C = Carry;
        SetNZ(C, Result);
    }
    SIM_NEXT_LEN();
}

void Op_Movt(SIM_ARGS) {
    C.R[pOp->Rd] = (C.R[pOp->Rd] & 0xFFFF) | pOp->Imm << 16;
    SIM_NEXT(2);
}

// The 16-bit form sets the flags only outside an IT block.
void Op_Mul(SIM_ARGS) {
    const uint32_t Result = C.R[pOp->Rn] * C.R[pOp->Rm];
    C.R[pOp->Rd] = Result;
    if (pOp->Flags && !C.IT) {
        SetNZ(C, Result);
    }
    SIM_NEXT_LEN();
}

void Op_Mla(SIM_ARGS) {
    C.R[pOp->Rd] = C.R[pOp->Ra] + C.R[pOp->Rn] * C.R[pOp->Rm];
    SIM_NEXT(2);
}

void Op_Mls(SIM_ARGS) {
    C.R[pOp->Rd] = C.R[pOp->Ra] - C.R[pOp->Rn] * C.R[pOp->Rm];
    SIM_NEXT(2);
}

inline void StoreLong(CCpu& C, const COp* pOp, uint64_t Value) {
    C.R[pOp->Rd] = static_cast<uint32_t>(Value);
    C.R[pOp->Ra] = static_cast<uint32_t>(Value >> 32);
}

inline uint64_t LongOf(const CCpu& C, const COp* pOp) { return uint64_t(C.R[pOp->Ra]) << 32 | C.R[pOp->Rd]; }

inline uint64_t UnsignedProduct(const CCpu& C, const COp* pOp) { return uint64_t(C.R[pOp->Rn]) * C.R[pOp->Rm]; }

inline uint64_t SignedProduct(const CCpu& C, const COp* pOp) {
    return static_cast<uint64_t>(int64_t(static_cast<int32_t>(C.R[pOp->Rn])) * static_cast<int32_t>(C.R[pOp->Rm]));
}

void Op_Umull(SIM_ARGS) {
    StoreLong(C, pOp, UnsignedProduct(C, pOp));
    SIM_NEXT(2);
}

void Op_Smull(SIM_ARGS) {
    StoreLong(C, pOp, SignedProduct(C, pOp));
    SIM_NEXT(2);
}

void Op_Umlal(SIM_ARGS) {
    StoreLong(C, pOp, UnsignedProduct(C, pOp) + LongOf(C, pOp));
    SIM_NEXT(2);
}

void Op_Smlal(SIM_ARGS) {
    StoreLong(C, pOp, SignedProduct(C, pOp) + LongOf(C, pOp));
    SIM_NEXT(2);
}

void Op_Umaal(SIM_ARGS) {
    StoreLong(C, pOp, UnsignedProduct(C, pOp) + C.R[pOp->Ra] + C.R[pOp->Rd]);
    SIM_NEXT(2);
}

// Division by zero gives 0 unless CCR.DIV_0_TRP is set.
template <bool IsSigned> void Op_Div(SIM_ARGS) {
    const uint32_t a = C.R[pOp->Rn], b = C.R[pOp->Rm];
    if (b == 0) {
        if (C.Ccr & 0x10) {
            SIM_SYNC();
            C.RaiseFault(EXC_USAGE_FAULT, CFSR_DIVBYZERO);
            SIM_TAIL LeaveChain(C, pOp, PC, pRing);
        }
        C.R[pOp->Rd] = 0;
    } else if constexpr (IsSigned) {
        // INT_MIN / -1 is INT_MIN here and a trap on the host
        C.R[pOp->Rd] =
            b == 0xFFFFFFFF ? 0u - a : static_cast<uint32_t>(static_cast<int32_t>(a) / static_cast<int32_t>(b));
    } else {
        C.R[pOp->Rd] = a / b;
    }
    SIM_NEXT(2);
}

void Op_Bfi(SIM_ARGS) {
    const uint32_t Width = pOp->Imm - pOp->ShAmt + 1u;
    const uint32_t Mask = static_cast<uint32_t>((uint64_t(1) << Width) - 1) << pOp->ShAmt;
    const uint32_t Source = pOp->Rn == 15 ? 0 : C.R[pOp->Rn]; // BFC
    C.R[pOp->Rd] = (C.R[pOp->Rd] & ~Mask) | ((Source << pOp->ShAmt) & Mask);
    SIM_NEXT(2);
}

void Op_Sbfx(SIM_ARGS) {
    const uint32_t Up = 31 - (pOp->ShAmt + pOp->Imm);
    C.R[pOp->Rd] = static_cast<uint32_t>(static_cast<int32_t>(C.R[pOp->Rn] << Up) >> (31 - pOp->Imm));
    SIM_NEXT(2);
}

void Op_Ubfx(SIM_ARGS) {
    const uint32_t Up = 31 - (pOp->ShAmt + pOp->Imm);
    C.R[pOp->Rd] = C.R[pOp->Rn] << Up >> (31 - pOp->Imm);
    SIM_NEXT(2);
}

void Op_Ssat(SIM_ARGS) {
    uint32_t Carry = 0;
    const int32_t Value = static_cast<int32_t>(ShiftC(C.R[pOp->Rn], pOp->ShType, pOp->ShAmt, Carry));
    const int32_t Max = static_cast<int32_t>((uint64_t(1) << (pOp->Imm - 1)) - 1);
    const int32_t Result = Value > Max ? Max : Value < -Max - 1 ? -Max - 1 : Value;
    C.Q |= Result != Value;
    C.R[pOp->Rd] = static_cast<uint32_t>(Result);
    SIM_NEXT(2);
}

void Op_Usat(SIM_ARGS) {
    uint32_t Carry = 0;
    const int64_t Value = static_cast<int32_t>(ShiftC(C.R[pOp->Rn], pOp->ShType, pOp->ShAmt, Carry));
    const int64_t Max = (int64_t(1) << pOp->Imm) - 1;
    const int64_t Result = Value > Max ? Max : Value < 0 ? 0 : Value;
    C.Q |= Result != Value;
    C.R[pOp->Rd] = static_cast<uint32_t>(Result);
    SIM_NEXT(2);
}

template <typename T> void Op_Extend(SIM_ARGS) {
    const T Item = static_cast<T>(std::rotr(C.R[pOp->Rm], pOp->ShAmt));
    C.R[pOp->Rd] = static_cast<uint32_t>(static_cast<int32_t>(Item));
    SIM_NEXT_LEN();
}

template <uint32_t (*pfFunc)(uint32_t)> void Op_Unary(SIM_ARGS) {
    C.R[pOp->Rd] = pfFunc(C.R[pOp->Rm]);
    SIM_NEXT_LEN();
}

uint32_t CountLeadingZeros(uint32_t Value) { return static_cast<uint32_t>(std::countl_zero(Value)); }

uint32_t ReverseBits(uint32_t Value) {
    Value = (Value >> 1 & 0x55555555) | (Value & 0x55555555) << 1;
    Value = (Value >> 2 & 0x33333333) | (Value & 0x33333333) << 2;
    Value = (Value >> 4 & 0x0F0F0F0F) | (Value & 0x0F0F0F0F) << 4;
    return __builtin_bswap32(Value);
}

uint32_t ReverseBytes(uint32_t Value) { return __builtin_bswap32(Value); }

uint32_t ReverseHalves(uint32_t Value) { return std::rotr(__builtin_bswap32(Value), 16); }

uint32_t ReverseSigned(uint32_t Value) {
    return static_cast<uint32_t>(
        static_cast<int32_t>(static_cast<int16_t>(__builtin_bswap16(static_cast<uint16_t>(Value)))));
}

template <size_t... Index> void AddAlu(FHandlerTable& Table, std::index_sequence<Index...>) {
    ((Table[OP_ALU + Index] =
          &Op_Alu<static_cast<EAlu>(Index / 6), (Index / 3) % 2 == 1, static_cast<EOperand>(Index % 3)>),
     ...);
}

} // namespace

void AddAluHandlers(FHandlerTable& Table) {
    AddAlu(Table, std::make_index_sequence<96>());
    Table[OP_ALU_TO_SP] = Op_AluToSp;
    Table[OP_SHIFT_BY_REG] = Op_ShiftByReg;
    Table[OP_MOVT] = Op_Movt;
    Table[OP_MUL] = Op_Mul;
    Table[OP_MLA] = Op_Mla;
    Table[OP_MLS] = Op_Mls;
    Table[OP_UMULL] = Op_Umull;
    Table[OP_SMULL] = Op_Smull;
    Table[OP_UMLAL] = Op_Umlal;
    Table[OP_SMLAL] = Op_Smlal;
    Table[OP_UMAAL] = Op_Umaal;
    Table[OP_SDIV] = Op_Div<true>;
    Table[OP_UDIV] = Op_Div<false>;
    Table[OP_BFI] = Op_Bfi;
    Table[OP_SBFX] = Op_Sbfx;
    Table[OP_UBFX] = Op_Ubfx;
    Table[OP_SSAT] = Op_Ssat;
    Table[OP_USAT] = Op_Usat;
    Table[OP_SXTB] = Op_Extend<int8_t>;
    Table[OP_SXTH] = Op_Extend<int16_t>;
    Table[OP_UXTB] = Op_Extend<uint8_t>;
    Table[OP_UXTH] = Op_Extend<uint16_t>;
    Table[OP_CLZ] = Op_Unary<CountLeadingZeros>;
    Table[OP_RBIT] = Op_Unary<ReverseBits>;
    Table[OP_REV] = Op_Unary<ReverseBytes>;
    Table[OP_REV16] = Op_Unary<ReverseHalves>;
    Table[OP_REVSH] = Op_Unary<ReverseSigned>;
}

} // namespace Sim
