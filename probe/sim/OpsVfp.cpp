// Handlers of the floating point extension.
#include "probe/sim/FastAccess.h"
#include "probe/sim/Handlers.h"
#include "probe/sim/SoftFloat.h"

#include <algorithm>
#include <utility>

namespace Sim {
namespace {

using namespace Thumb;

constexpr uint32_t SIGN = 0x80000000;

// The check that each instruction of the extension begins with.
#define SIM_BEGIN_FP()                                                                                                 \
    do {                                                                                                               \
        if (SIM_UNLIKELY(!C.FpReady)) {                                                                                \
            SIM_SYNC();                                                                                                \
            if (!C.BeginFp()) {                                                                                        \
                SIM_TAIL LeaveChain(C, pOp, PC, pRing);                                                                \
            }                                                                                                          \
        }                                                                                                              \
    } while (0)

ERound RoundOf(const CCpu& C, const COp* pOp) {
    static constexpr ERound Rounds[] = {ERound::Nearest, ERound::Plus, ERound::Minus, ERound::Zero, ERound::Away};
    return pOp->ShType == VFP_RFPSCR ? RoundingMode(C.Fpscr) : Rounds[pOp->ShType];
}

// Two roundings: the product is a number of its own.
template <bool NegateSum, bool NegateProduct> uint32_t MultiplyAdd(CCpu& C, const COp* pOp) {
    const uint32_t Product = FloatMul(C.S[pOp->Rn], C.S[pOp->Rm], C.Fpscr);
    return FloatAdd(C.S[pOp->Rd] ^ (NegateSum ? SIGN : 0), Product ^ (NegateProduct ? SIGN : 0), C.Fpscr);
}

template <bool NegateSum, bool NegateFactor> uint32_t FusedMultiplyAdd(CCpu& C, const COp* pOp) {
    return FloatMulAdd(C.S[pOp->Rd] ^ (NegateSum ? SIGN : 0), C.S[pOp->Rn] ^ (NegateFactor ? SIGN : 0), C.S[pOp->Rm],
                       C.Fpscr);
}

template <EVfp Vfp> uint32_t Compute(CCpu& C, const COp* pOp) {
    const uint32_t n = C.S[pOp->Rn & 31], m = C.S[pOp->Rm & 31];
    switch (Vfp) {
    case VFP_VMLA:
        return MultiplyAdd<false, false>(C, pOp);
    case VFP_VMLS:
        return MultiplyAdd<false, true>(C, pOp);
    case VFP_VNMLS:
        return MultiplyAdd<true, false>(C, pOp);
    case VFP_VNMLA:
        return MultiplyAdd<true, true>(C, pOp);
    case VFP_VMUL:
        return FloatMul(n, m, C.Fpscr);
    case VFP_VNMUL:
        return FloatMul(n, m, C.Fpscr) ^ SIGN;
    case VFP_VADD:
        return FloatAdd(n, m, C.Fpscr);
    case VFP_VSUB: { // not an addition of the negated operand: a NaN keeps its sign
        const bool IsNan = (m & 0x7FFFFFFF) > 0x7F800000;
        return FloatAdd(n, IsNan ? m : m ^ SIGN, C.Fpscr);
    }
    case VFP_VDIV:
        return FloatDiv(n, m, C.Fpscr);
    case VFP_VFMA:
        return FusedMultiplyAdd<false, false>(C, pOp);
    case VFP_VFMS:
        return FusedMultiplyAdd<false, true>(C, pOp);
    case VFP_VFNMS:
        return FusedMultiplyAdd<true, false>(C, pOp);
    case VFP_VFNMA:
        return FusedMultiplyAdd<true, true>(C, pOp);
    case VFP_VMOV_IMM:
        return pOp->Imm;
    case VFP_VMOV:
        return m;
    case VFP_VABS:
        return m & ~SIGN;
    case VFP_VNEG:
        return m ^ SIGN;
    case VFP_VSQRT:
        return FloatSqrt(m, C.Fpscr);
    case VFP_FROM_HALF:
        return HalfToFloat(static_cast<uint16_t>((pOp->Flags & FLAG_TOP) ? m >> 16 : m), C.Fpscr);
    case VFP_TO_HALF: {
        const uint32_t Half = FloatToHalf(m, C.Fpscr), Old = C.S[pOp->Rd];
        return (pOp->Flags & FLAG_TOP) ? (Old & 0xFFFF) | Half << 16 : (Old & 0xFFFF0000) | Half;
    }
    case VFP_FROM_FIXED:
        return FixedToFloat(m, pOp->Ra, pOp->ShAmt, pOp->Flags & FLAG_UNSIGNED, RoundOf(C, pOp), C.Fpscr);
    default: // VFP_TO_FIXED
        return FloatToFixed(m, pOp->Ra, pOp->ShAmt, pOp->Flags & FLAG_UNSIGNED, RoundOf(C, pOp), C.Fpscr);
    }
}

template <EVfp Vfp> void Op_Compute(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.S[pOp->Rd] = Compute<Vfp>(C, pOp);
    SIM_NEXT(2);
}

void Op_VfpUndefined(SIM_ARGS) {
    SIM_SYNC();
    const bool IsOn = C.IsFpuAccessible(C.IsPrivileged());
    C.RaiseFault(EXC_USAGE_FAULT, IsOn ? CFSR_UNDEFINSTR : CFSR_NOCP);
    SIM_TAIL LeaveChain(C, pOp, PC, pRing);
}

uint32_t Version5Result(CCpu& C, const COp* pOp) {
    const uint32_t n = C.S[pOp->Rn & 31], m = C.S[pOp->Rm & 31];
    switch (pOp->ShAmt) {
    case VFP5_VSEL:
        return C.CondPasses(pOp->ShType) ? n : m;
    case VFP5_VMAXNM:
        return FloatMaxNum(n, m, C.Fpscr);
    case VFP5_VMINNM:
        return FloatMinNum(n, m, C.Fpscr);
    case VFP5_VRINT:
        return FloatRoundInt(m, RoundOf(C, pOp), pOp->Flags & FLAG_SIGNAL, C.Fpscr);
    default: // VFP5_VCVT
        return FloatToFixed(m, 32, 0, pOp->Flags & FLAG_UNSIGNED, RoundOf(C, pOp), C.Fpscr);
    }
}

void Op_Version5(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.S[pOp->Rd] = Version5Result(C, pOp);
    SIM_NEXT(2);
}

void Op_Vcmp(SIM_ARGS) {
    SIM_BEGIN_FP();
    const uint32_t Other = (pOp->Flags & FLAG_WITH_ZERO) ? 0 : C.S[pOp->Rm];
    const uint32_t Flags = FloatCompare(C.S[pOp->Rd], Other, pOp->Flags & FLAG_SIGNAL, C.Fpscr);
    C.Fpscr = (C.Fpscr & 0x0FFFFFFF) | Flags;
    SIM_NEXT(2);
}

void Op_Vmrs(SIM_ARGS) {
    SIM_BEGIN_FP();
    if (pOp->Rd == 15) {
        C.N = C.Fpscr & SIGN;
        C.Z = !(C.Fpscr & 0x40000000);
        C.C = C.Fpscr >> 29 & 1;
        C.V = C.Fpscr << 3 & SIGN;
    } else {
        C.R[pOp->Rd] = C.Fpscr;
    }
    SIM_NEXT(2);
}

void Op_Vmsr(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.SetFpscr(C.R[pOp->Rd]);
    SIM_NEXT(2);
}

void Op_ToS(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.S[pOp->Rn] = C.R[pOp->Rd];
    SIM_NEXT(2);
}

void Op_FromS(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.R[pOp->Rd] = C.S[pOp->Rn];
    SIM_NEXT(2);
}

void Op_To2S(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.S[pOp->Rm] = C.R[pOp->Rd];
    C.S[pOp->Rm + 1] = C.R[pOp->Ra];
    SIM_NEXT(2);
}

void Op_From2S(SIM_ARGS) {
    SIM_BEGIN_FP();
    C.R[pOp->Rd] = C.S[pOp->Rm];
    C.R[pOp->Ra] = C.S[pOp->Rm + 1];
    SIM_NEXT(2);
}

// --- Loads and stores -------------------------------------------------------------------------------------------

// Nothing changes when a fault is raised, so that the instruction can start again.
[[gnu::noinline]] bool LoadWords(CCpu& C, uint32_t Addr, uint32_t First, uint32_t Count) {
    uint32_t Values[32];
    if (const uint8_t* p = FastReadBlock(C, Addr, Count * 4)) {
        std::memcpy(&C.S[First], p, Count * 4);
        return true;
    }
    for (uint32_t Index = 0; Index < Count; Index++) {
        if (!C.LoadAligned(Addr + Index * 4, 4, Values[Index])) {
            return false;
        }
    }
    std::copy(Values, Values + Count, C.S.begin() + First);
    return true;
}

[[gnu::noinline]] bool StoreWords(CCpu& C, uint32_t Addr, uint32_t First, uint32_t Count) {
    if (uint8_t* p = FastWriteBlock(C, Addr, Count * 4)) {
        std::memcpy(p, &C.S[First], Count * 4);
        return true;
    }
    for (uint32_t Index = 0; Index < Count; Index++) {
        if (!C.StoreAligned(Addr + Index * 4, 4, C.S[First + Index])) {
            return false;
        }
    }
    return true;
}

template <bool IsLoad> bool MoveWords(CCpu& C, uint32_t Addr, uint32_t First, uint32_t Count) {
    return IsLoad ? LoadWords(C, Addr, First, Count) : StoreWords(C, Addr, First, Count);
}

template <bool IsLoad> void Op_VloadStore(SIM_ARGS) {
    SIM_BEGIN_FP();
    const uint32_t Addr = (pOp->Flags & FLAG_LITERAL) ? pOp->Imm : C.R[pOp->Rn] + pOp->Imm;
    SIM_SYNC();
    if (!MoveWords<IsLoad>(C, Addr, pOp->Rd, pOp->ShAmt)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    SIM_NEXT(2);
}

template <bool IsLoad> void Op_VloadStoreMultiple(SIM_ARGS) {
    SIM_BEGIN_FP();
    const bool Decrement = pOp->Flags & FLAG_DECREMENT;
    const uint32_t Base = C.R[pOp->Rn], NewBase = Decrement ? Base - pOp->Imm : Base + pOp->Imm;
    SIM_SYNC();
    const bool Allowed = pOp->Rn != 13 || !Decrement || StackAllows(C, NewBase);
    if (!Allowed || !MoveWords<IsLoad>(C, Decrement ? NewBase : Base, pOp->Rd, pOp->ShAmt)) {
        SIM_TAIL LeaveChain(C, pOp, PC, pRing);
    }
    if (pOp->Flags & FLAG_WRITEBACK) {
        C.R[pOp->Rn] = NewBase;
    }
    SIM_NEXT(2);
}

template <size_t... Index> void AddComputing(FHandlerTable& Table, std::index_sequence<Index...>) {
    ((Table[VfpOp(VFP_VMLA + Index)] = &Op_Compute<static_cast<EVfp>(VFP_VMLA + Index)>), ...);
}

} // namespace

void AddVfpHandlers(FHandlerTable& Table) {
    AddComputing(Table, std::make_index_sequence<VFP_TO_FIXED - VFP_VMLA + 1>());
    Table[VfpOp(VFP_UNDEFINED)] = Op_VfpUndefined;
    Table[VfpOp(VFP_VCMP)] = Op_Vcmp;
    Table[VfpOp(VFP_VLDR)] = Op_VloadStore<true>;
    Table[VfpOp(VFP_VSTR)] = Op_VloadStore<false>;
    Table[VfpOp(VFP_VLDM)] = Op_VloadStoreMultiple<true>;
    Table[VfpOp(VFP_VSTM)] = Op_VloadStoreMultiple<false>;
    Table[VfpOp(VFP_TO_S)] = Op_ToS;
    Table[VfpOp(VFP_FROM_S)] = Op_FromS;
    Table[VfpOp(VFP_TO_2S)] = Op_To2S;
    Table[VfpOp(VFP_FROM_2S)] = Op_From2S;
    Table[VfpOp(VFP_VMRS)] = Op_Vmrs;
    Table[VfpOp(VFP_VMSR)] = Op_Vmsr;
    Table[VfpOp(VFP_FPV5)] = Op_Version5;
}

} // namespace Sim
