// Encodings of the floating point extension, single precision: ARMv7-M Architecture Reference Manual, chapters A6 and
// A7, and the additions of ARMv8-M. What the extension has no meaning for gives VFP_UNDEFINED, which is NOCP as long as
// the coprocessor is off.
#include "probe/thumb/ThumbTable.h"

namespace Thumb {
namespace {

constexpr uint32_t Bits(uint32_t Word, int High, int Low) { return (Word >> Low) & ((2u << (High - Low)) - 1u); }

void Set(CInst& I, uint32_t Vfp) { I.Code = VfpOp(Vfp); }

// The architecture leaves the result open; here it is a fault.
void SetOpen(CInst& I) {
    Set(I, VFP_UNDEFINED);
    I.Flags = FLAG_OPEN;
}

// Numbers of the single precision registers: the low bit stands apart.
void Registers(CInst& I, uint32_t w) {
    I.Rd = static_cast<uint8_t>(Bits(w, 15, 12) << 1 | Bits(w, 22, 22));
    I.Rn = static_cast<uint8_t>(Bits(w, 19, 16) << 1 | Bits(w, 7, 7));
    I.Rm = static_cast<uint8_t>((w & 15) << 1 | Bits(w, 5, 5));
}

bool IsBadReg(uint32_t Reg) { return Reg == 13 || Reg == 15; }

// --- Data processing --------------------------------------------------------------------------------------------

void Fixed(CInst& I, uint32_t Vfp, bool Unsigned, uint32_t Round, uint32_t Size, uint32_t FracBits) {
    Set(I, Vfp);
    I.Flags = Unsigned ? FLAG_UNSIGNED : 0;
    I.ShType = static_cast<uint8_t>(Round);
    I.Ra = static_cast<uint8_t>(Size);
    I.ShAmt = static_cast<uint8_t>(FracBits);
}

void FixedPoint(CInst& I, uint32_t w) {
    const uint32_t Size = (w & 0x80) ? 32 : 16, Imm = (w & 15) << 1 | Bits(w, 5, 5);
    if (Imm > Size) {
        return SetOpen(I);
    }
    const bool ToFixed = w & 0x40000, Unsigned = w & 0x10000;
    I.Rm = I.Rd;
    Fixed(I, ToFixed ? VFP_TO_FIXED : VFP_FROM_FIXED, Unsigned, ToFixed ? VFP_RZ : VFP_RN, Size, Size - Imm);
}

void RoundInt(CInst& I, uint32_t Round, bool Exact) {
    Set(I, VFP_FPV5);
    I.ShAmt = VFP5_VRINT;
    I.ShType = static_cast<uint8_t>(Round);
    I.Flags = Exact ? FLAG_SIGNAL : 0;
}

// Instructions with one operand: opc2 in bits 19 to 16, its variant in bit 7.
void OneOperand(CInst& I, uint32_t w) {
    const bool High = w & 0x80;
    const uint32_t Opc2 = Bits(w, 19, 16);
    switch (Opc2) {
    case 0:
        return Set(I, High ? VFP_VABS : VFP_VMOV);
    case 1:
        return Set(I, High ? VFP_VSQRT : VFP_VNEG);
    case 2:
    case 3:
        I.Flags = High ? FLAG_TOP : 0;
        return Set(I, Opc2 == 2 ? VFP_FROM_HALF : VFP_TO_HALF);
    case 4:
    case 5:
        I.Flags = static_cast<uint8_t>((High ? FLAG_SIGNAL : 0) | (Opc2 == 5 ? FLAG_WITH_ZERO : 0));
        return Opc2 == 5 && I.Rm != 0 ? SetOpen(I) : Set(I, VFP_VCMP);
    case 6:
        return RoundInt(I, High ? VFP_RZ : VFP_RFPSCR, false);
    case 7:
        return High ? Set(I, VFP_UNDEFINED) : RoundInt(I, VFP_RFPSCR, true);
    case 8:
        return Fixed(I, VFP_FROM_FIXED, !High, VFP_RFPSCR, 32, 0);
    case 12:
    case 13:
        return Fixed(I, VFP_TO_FIXED, Opc2 == 12, High ? VFP_RZ : VFP_RFPSCR, 32, 0);
    case 9:
        return Set(I, VFP_UNDEFINED);
    default:
        return FixedPoint(I, w);
    }
}

// Eight bits of sign, exponent and fraction.
void MoveConstant(CInst& I, uint32_t w) {
    const uint32_t Imm = Bits(w, 19, 16) << 4 | (w & 15);
    (w & 0xA0) ? SetOpen(I) : Set(I, VFP_VMOV_IMM);
    I.Imm = (Imm & 0x80) << 24 | ((Imm & 0x40) ? 0x3E000000u : 0x40000000u) | (Imm & 0x3F) << 19;
}

void DataProcessing(CInst& I, uint32_t w) {
    static constexpr uint8_t Rows[7][2] = {
        {VFP_VMLA, VFP_VMLS},      {VFP_VNMLS, VFP_VNMLA}, {VFP_VMUL, VFP_VNMUL}, {VFP_VADD, VFP_VSUB},
        {VFP_VDIV, VFP_UNDEFINED}, {VFP_VFNMS, VFP_VFNMA}, {VFP_VFMA, VFP_VFMS},
    };
    const uint32_t Row = Bits(w, 23, 23) << 2 | Bits(w, 21, 20);
    Registers(I, w);
    if (w & 0x100) { // double precision
        Set(I, VFP_UNDEFINED);
    } else if (Row < 7) {
        Set(I, Rows[Row][Bits(w, 6, 6)]);
    } else if (w & 0x40) {
        OneOperand(I, w);
    } else {
        MoveConstant(I, w);
    }
}

// The unconditional instructions of version 5, which are UNPREDICTABLE inside an IT block.
void Version5(CInst& I, uint32_t w) {
    static constexpr uint8_t Rounds[4] = {VFP_RA, VFP_RN, VFP_RP, VFP_RM};
    Registers(I, w);
    Set(I, VFP_FPV5);
    I.CodeInIT = VfpOp(VFP_UNDEFINED);
    if (w & 0x110) {
        Set(I, VFP_UNDEFINED);
    } else if (!(w & 0x800000) && !(w & 0x40)) {
        static constexpr uint8_t Conds[4] = {0, 6, 10, 12}; // EQ, VS, GE, GT
        I.ShAmt = VFP5_VSEL;
        I.ShType = Conds[Bits(w, 21, 20)];
    } else if ((w & 0xB00000) == 0x800000) {
        I.ShAmt = (w & 0x40) ? VFP5_VMINNM : VFP5_VMAXNM;
    } else if ((w & 0xBC00C0) == 0xB80040) {
        RoundInt(I, Rounds[Bits(w, 17, 16)], false);
    } else if ((w & 0xBC0040) == 0xBC0040) {
        Fixed(I, VFP_FPV5, !(w & 0x80), Rounds[Bits(w, 17, 16)], 32, 0);
        I.ShAmt = VFP5_VCVT;
    } else {
        Set(I, VFP_UNDEFINED);
    }
}

// --- Moves between core and extension registers -----------------------------------------------------------------

void MoveOne(CInst& I, uint32_t w) {
    const bool ToCore = w & 0x100000, IsScalar = w & 0x100;
    const uint32_t Opc1 = Bits(w, 23, 21);
    Registers(I, w);
    I.Rd = Bits(w, 15, 12);
    const bool IsStatus = !IsScalar && Opc1 == 7, IsSingle = !IsScalar && Opc1 == 0;
    const bool IsWord = IsScalar && Opc1 < 2 && !(w & 0x60); // other sizes of item need the vector extension
    if (!IsStatus && !IsSingle && !IsWord) {
        return Set(I, VFP_UNDEFINED);
    }
    const bool HighDouble = IsScalar && (w & 0x80);
    const bool BadReg = IsStatus && ToCore ? I.Rd == 13 : IsBadReg(I.Rd);
    if (HighDouble) {
        return Set(I, VFP_UNDEFINED);
    }
    if ((w & (IsStatus ? 0xEF : 0x6F)) || BadReg || (IsStatus && Bits(w, 19, 16) != 1)) {
        return SetOpen(I);
    }
    I.Rn = IsScalar ? static_cast<uint8_t>(Bits(w, 19, 16) << 1 | Opc1) : I.Rn;
    Set(I, IsStatus ? (ToCore ? VFP_VMRS : VFP_VMSR) : ToCore ? VFP_FROM_S : VFP_TO_S);
}

void MoveTwo(CInst& I, uint32_t w) {
    const bool ToCore = w & 0x100000, IsDouble = w & 0x100;
    Registers(I, w);
    I.Rd = Bits(w, 15, 12);
    I.Ra = Bits(w, 19, 16);
    if ((w & 0xD0) != 0x10 || (IsDouble && (I.Rm & 1))) {
        return Set(I, VFP_UNDEFINED);
    }
    if (IsBadReg(I.Rd) || IsBadReg(I.Ra) || (ToCore && I.Rd == I.Ra) || I.Rm == 31) {
        return SetOpen(I);
    }
    I.Rm = IsDouble ? static_cast<uint8_t>((w & 15) << 1) : I.Rm;
    Set(I, ToCore ? VFP_FROM_2S : VFP_TO_2S);
}

// --- Loads and stores -------------------------------------------------------------------------------------------

void LoadStore(CInst& I, uint32_t w, uint32_t Addr) {
    const bool Pre = w & 0x1000000, Up = w & 0x800000, Write = w & 0x200000, IsLoad = w & 0x100000,
               IsDouble = w & 0x100;
    const uint32_t Bytes = (w & 0xFF) * 4;
    Registers(I, w);
    I.Rn = Bits(w, 19, 16);
    const bool HighDouble = IsDouble && (I.Rd & 1); // the upper 16 double precision registers don't exist
    const bool IsSingle = Pre && !Write;
    if (HighDouble || (!IsSingle && Pre == Up)) {
        return Set(I, VFP_UNDEFINED);
    }
    if (IsSingle) {
        I.ShAmt = IsDouble ? 2 : 1;
        I.Imm = Up ? Bytes : 0u - Bytes;
        if (I.Rn == 15) {
            I.Flags = FLAG_LITERAL;
            I.Imm += (Addr + 4) & ~3u;
        }
        return I.Rn == 15 && !IsLoad ? SetOpen(I) : Set(I, IsLoad ? VFP_VLDR : VFP_VSTR);
    }
    const uint32_t NumWords = IsDouble ? w & 0xFE : w & 0xFF;
    if (NumWords == 0 || I.Rd + NumWords > 32 || I.Rn == 15) {
        return SetOpen(I);
    }
    I.ShAmt = static_cast<uint8_t>(NumWords);
    I.Imm = Bytes; // one word more than the registers take in the older format with an odd count
    I.Flags = static_cast<uint8_t>((Write ? FLAG_WRITEBACK : 0) | (Pre ? FLAG_DECREMENT : 0));
    Set(I, IsLoad ? VFP_VLDM : VFP_VSTM);
}

} // namespace

void Vfp(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    const bool IsData = (w & 0x02000000) != 0;
    if (w & 0x10000000) {
        return IsData ? Version5(I, w) : Set(I, VFP_UNDEFINED);
    }
    if (IsData) {
        return (w & 0x10) ? MoveOne(I, w) : DataProcessing(I, w);
    }
    return (w & 0x01E00000) == 0x00400000 ? MoveTwo(I, w) : LoadStore(I, w, Addr);
}

} // namespace Thumb
