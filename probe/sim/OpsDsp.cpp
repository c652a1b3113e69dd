// The DSP extension, after the pseudocode of the ARMv7-M Architecture Reference Manual, chapter A7.
#include "probe/sim/Handlers.h"

#include <bit>

namespace Sim {
namespace {

using namespace Thumb;

int32_t Low(uint32_t Value) { return static_cast<int16_t>(Value); }

int32_t High(uint32_t Value) { return static_cast<int16_t>(Value >> 16); }

uint32_t Pack(int32_t HighHalf, int32_t LowHalf) {
    return static_cast<uint32_t>(HighHalf) << 16 | (static_cast<uint32_t>(LowHalf) & 0xFFFF);
}

int64_t Clamp(int64_t Value, int64_t Min, int64_t Max) { return Value < Min ? Min : Value > Max ? Max : Value; }

// Signed saturation to 32 bits; sets Q.
uint32_t SaturateQ(CCpu& C, int64_t Value) {
    const int64_t Result = Clamp(Value, INT32_MIN, INT32_MAX);
    C.Q |= Result != Value;
    return static_cast<uint32_t>(Result);
}

uint32_t PackHalves(const CCpu& C, const COp& Op) {
    const uint32_t n = C.R[Op.Rn], m = C.R[Op.Rm];
    if (Op.Flags & 2) { // PKHTB; a shift by 0 stands for 32
        const uint32_t Shifted = static_cast<uint32_t>(static_cast<int32_t>(m) >> (Op.ShAmt ? Op.ShAmt : 31));
        return (n & 0xFFFF0000) | (Shifted & 0xFFFF);
    }
    return (n & 0xFFFF) | (m << Op.ShAmt & 0xFFFF0000);
}

uint32_t SaturateHalves(CCpu& C, const COp& Op) {
    const bool IsUnsigned = Op.ShType == DSP_USAT16;
    const uint32_t Bits = Op.Imm & 15;
    const int32_t Max = (1 << Bits) - 1, Min = IsUnsigned ? 0 : -(1 << Bits);
    const int32_t Halves[2] = {Low(C.R[Op.Rn]), High(C.R[Op.Rn])};
    int32_t Results[2];
    for (int Index = 0; Index < 2; Index++) {
        Results[Index] = static_cast<int32_t>(Clamp(Halves[Index], Min, Max));
        C.Q |= Results[Index] != Halves[Index];
    }
    return Pack(Results[1], Results[0]);
}

uint32_t ExtendAdd(const CCpu& C, const COp& Op) {
    const uint32_t Turned = std::rotr(C.R[Op.Rm], Op.ShAmt);
    const uint32_t n = Op.Rn == 15 ? 0 : C.R[Op.Rn];
    switch (Op.Flags >> 4) {
    case 0:
        return n + static_cast<uint32_t>(Low(Turned));
    case 1:
        return n + (Turned & 0xFFFF);
    case 2:
        return Pack(High(n) + static_cast<int8_t>(Turned >> 16), Low(n) + static_cast<int8_t>(Turned));
    case 3:
        return Pack(High(n) + static_cast<int32_t>(Turned >> 16 & 0xFF), Low(n) + static_cast<int32_t>(Turned & 0xFF));
    case 4:
        return n + static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(Turned)));
    default:
        return n + (Turned & 0xFF);
    }
}

// One lane of a parallel addition or subtraction. Variant: 0 plain, 1 saturating, 2 halving; bit 2: unsigned.
uint32_t Lane(int32_t a, int32_t b, bool Subtract, int NumBits, uint32_t Variant, bool& Ge) {
    const bool IsUnsigned = Variant & 4;
    const int32_t Value = Subtract ? a - b : a + b;
    Ge = IsUnsigned && !Subtract ? Value >= 1 << NumBits : Value >= 0;
    switch (Variant & 3) {
    case 1:
        return static_cast<uint32_t>(IsUnsigned ? Clamp(Value, 0, (1 << NumBits) - 1)
                                                : Clamp(Value, -(1 << (NumBits - 1)), (1 << (NumBits - 1)) - 1));
    case 2:
        return static_cast<uint32_t>(Value >> 1);
    default:
        return static_cast<uint32_t>(Value);
    }
}

uint32_t ParallelBytes(CCpu& C, const COp& Op, uint32_t Variant, bool Subtract) {
    uint32_t Result = 0, Flags = 0;
    for (int Byte = 0; Byte < 4; Byte++) {
        const uint32_t a = C.R[Op.Rn] >> Byte * 8 & 0xFF, b = C.R[Op.Rm] >> Byte * 8 & 0xFF;
        const bool IsUnsigned = Variant & 4;
        bool Ge;
        const uint32_t Item =
            Lane(IsUnsigned ? static_cast<int32_t>(a) : static_cast<int8_t>(a),
                 IsUnsigned ? static_cast<int32_t>(b) : static_cast<int8_t>(b), Subtract, 8, Variant, Ge);
        Result |= (Item & 0xFF) << Byte * 8;
        Flags |= Ge ? 1u << Byte : 0;
    }
    C.GE = (Variant & 3) == 0 ? Flags : C.GE;
    return Result;
}

uint32_t ParallelHalves(CCpu& C, const COp& Op, uint32_t Variant, bool SubLow, bool SubHigh, bool Exchange) {
    const uint32_t n = C.R[Op.Rn], m = Exchange ? std::rotr(C.R[Op.Rm], 16) : C.R[Op.Rm];
    const bool IsUnsigned = Variant & 4;
    const auto Item = [&](uint32_t Value, bool Upper) {
        const uint32_t Half = Upper ? Value >> 16 : Value & 0xFFFF;
        return IsUnsigned ? static_cast<int32_t>(Half) : static_cast<int16_t>(Half);
    };
    bool GeLow, GeHigh;
    const uint32_t ResultLow = Lane(Item(n, false), Item(m, false), SubLow, 16, Variant, GeLow);
    const uint32_t ResultHigh = Lane(Item(n, true), Item(m, true), SubHigh, 16, Variant, GeHigh);
    if ((Variant & 3) == 0) {
        C.GE = (GeLow ? 3u : 0) | (GeHigh ? 12u : 0);
    }
    return ResultHigh << 16 | (ResultLow & 0xFFFF);
}

uint32_t Parallel(CCpu& C, const COp& Op) {
    const uint32_t Variant = Op.Flags & 7;
    switch (Op.Flags >> 4) {
    case 0:
        return ParallelBytes(C, Op, Variant, false);
    case 1:
        return ParallelHalves(C, Op, Variant, false, false, false);
    case 2: // ASX
        return ParallelHalves(C, Op, Variant, true, false, true);
    case 4:
        return ParallelBytes(C, Op, Variant, true);
    case 5:
        return ParallelHalves(C, Op, Variant, true, true, false);
    default: // SAX
        return ParallelHalves(C, Op, Variant, false, true, true);
    }
}

// QADD, QDADD, QSUB, QDSUB
uint32_t Saturating(CCpu& C, const COp& Op) {
    int64_t n = static_cast<int32_t>(C.R[Op.Rn]);
    const int64_t m = static_cast<int32_t>(C.R[Op.Rm]);
    if (Op.Flags & 1) {
        n = static_cast<int32_t>(SaturateQ(C, n * 2));
    }
    return SaturateQ(C, (Op.Flags & 2) ? m - n : m + n);
}

uint32_t Select(const CCpu& C, const COp& Op) {
    uint32_t Mask = 0;
    for (int Byte = 0; Byte < 4; Byte++) {
        Mask |= (C.GE >> Byte & 1) ? 0xFFu << Byte * 8 : 0;
    }
    return (C.R[Op.Rn] & Mask) | (C.R[Op.Rm] & ~Mask);
}

int32_t HalfOf(uint32_t Value, bool Upper) { return Upper ? High(Value) : Low(Value); }

uint32_t AbsoluteDifferences(const CCpu& C, const COp& Op, uint32_t Sum) {
    for (int Byte = 0; Byte < 4; Byte++) {
        const int32_t a = static_cast<int32_t>(C.R[Op.Rn] >> Byte * 8 & 0xFF);
        const int32_t b = static_cast<int32_t>(C.R[Op.Rm] >> Byte * 8 & 0xFF);
        Sum += static_cast<uint32_t>(a > b ? a - b : b - a);
    }
    return Sum;
}

// Products of both halves, those of Rm exchanged by the X forms.
struct CDual {
    int64_t LowProduct, HighProduct;
};
CDual DualProducts(const CCpu& C, const COp& Op) {
    const uint32_t n = C.R[Op.Rn], m = (Op.Flags & 1) ? std::rotr(C.R[Op.Rm], 16) : C.R[Op.Rm];
    return {int64_t(Low(n)) * Low(m), int64_t(High(n)) * High(m)};
}

// Adds the accumulator; Q is set when the sum does not fit, the result wraps.
uint32_t AccumulateQ(CCpu& C, int64_t Product, int64_t Addend) {
    const int64_t Value = Product + Addend;
    C.Q |= Value != static_cast<int32_t>(Value);
    return static_cast<uint32_t>(Value);
}

uint32_t Multiply(CCpu& C, const COp& Op) {
    const uint32_t n = C.R[Op.Rn], m = C.R[Op.Rm];
    const bool HasAddend = Op.Ra != 15;
    const int64_t Addend = HasAddend ? static_cast<int32_t>(C.R[Op.Ra]) : 0;
    const int64_t Round = (Op.Flags & 1) ? 0x80000000 : 0;
    const int64_t Full = int64_t(static_cast<int32_t>(n)) * static_cast<int32_t>(m);
    const CDual Dual = DualProducts(C, Op);
    switch (Op.ShType) {
    case DSP_SMLA_XY:
        return AccumulateQ(C, int64_t(HalfOf(n, Op.Flags & 2)) * HalfOf(m, Op.Flags & 1), Addend);
    case DSP_SMLAD:
        return AccumulateQ(C, Dual.LowProduct + Dual.HighProduct, Addend);
    case DSP_SMLAW:
        return AccumulateQ(C, int64_t(static_cast<int32_t>(n)) * HalfOf(m, Op.Flags & 1) >> 16, Addend);
    case DSP_SMLSD:
        return AccumulateQ(C, Dual.LowProduct - Dual.HighProduct, Addend);
    case DSP_SMMLA:
        return static_cast<uint32_t>(((static_cast<uint64_t>(Addend) << 32) + static_cast<uint64_t>(Full + Round)) >>
                                     32);
    case DSP_SMMLS:
        return static_cast<uint32_t>(
            ((static_cast<uint64_t>(Addend) << 32) - static_cast<uint64_t>(Full) + static_cast<uint64_t>(Round)) >> 32);
    default:
        return AbsoluteDifferences(C, Op, HasAddend ? C.R[Op.Ra] : 0);
    }
}

// Rd: high word, Ra: low word.
void MultiplyLong(CCpu& C, const COp& Op) {
    const CDual Dual = DualProducts(C, Op);
    const int64_t Product = Op.ShType == DSP_SMLAL_XY
                                ? int64_t(HalfOf(C.R[Op.Rn], Op.Flags & 2)) * HalfOf(C.R[Op.Rm], Op.Flags & 1)
                            : Op.ShType == DSP_SMLALD ? Dual.LowProduct + Dual.HighProduct
                                                      : Dual.LowProduct - Dual.HighProduct;
    const uint64_t Value = (uint64_t(C.R[Op.Rd]) << 32 | C.R[Op.Ra]) + static_cast<uint64_t>(Product);
    C.R[Op.Ra] = static_cast<uint32_t>(Value);
    C.R[Op.Rd] = static_cast<uint32_t>(Value >> 32);
}

uint32_t DspResult(CCpu& C, const COp& Op) {
    switch (Op.ShType) {
    case DSP_PKH:
        return PackHalves(C, Op);
    case DSP_SSAT16:
    case DSP_USAT16:
        return SaturateHalves(C, Op);
    case DSP_EXTEND_ADD:
        return ExtendAdd(C, Op);
    case DSP_PARALLEL:
        return Parallel(C, Op);
    case DSP_SATURATING:
        return Saturating(C, Op);
    case DSP_SEL:
        return Select(C, Op);
    default:
        return Multiply(C, Op);
    }
}

} // namespace

void Op_Dsp(SIM_ARGS) {
    if (pOp->ShType >= DSP_SMLAL_XY) {
        MultiplyLong(C, *pOp);
    } else {
        C.R[pOp->Rd] = DspResult(C, *pOp);
    }
    SIM_NEXT(2);
}

} // namespace Sim
