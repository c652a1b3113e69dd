// The pattern table, after the encoding tables of the ARMv7-M and ARMv8-M Architecture Reference Manuals. The first
// row that matches wins, so that special cases stand before the general ones.
#include "probe/thumb/ThumbTable.h"

#include <bit>

namespace Thumb {
namespace {

constexpr uint32_t Bits(uint32_t Word, int High, int Low) { return (Word >> Low) & ((2u << (High - Low)) - 1u); }

constexpr int32_t SignExtend(uint32_t Value, int NumBits) {
    return static_cast<int32_t>(Value << (32 - NumBits)) >> (32 - NumBits);
}

// The architecture leaves the result open; here it is a fault.
void Unpredictable(CInst& I) {
    I.Code = OP_UNDEFINED;
    I.Flags = FLAG_OPEN;
}

// Data processing with the result's special destinations sorted out.
void SetAlu(CInst& I, EAlu Alu, bool SetFlags, EOperand Operand) {
    I.Code = AluOp(Alu, SetFlags, Operand);
    if (I.Rd == 13 && Alu < ALU_TST) {
        I.Code = OP_ALU_TO_SP;
        I.Flags = static_cast<uint8_t>(Alu << 4 | Operand << 1 | (SetFlags ? 1 : 0));
    }
}

// A 16-bit instruction that sets the flags outside an IT block only.
void SetAlu16(CInst& I, EAlu Alu, EOperand Operand) {
    I.Code = AluOp(Alu, true, Operand);
    I.CodeInIT = AluOp(Alu, Alu >= ALU_TST, Operand);
}

void SetShift(CInst& I, uint32_t Type, uint32_t Amount) {
    I.ShType = static_cast<uint8_t>(Type);
    I.ShAmt = static_cast<uint8_t>(Amount);
    if (Amount == 0 && Type == SHIFT_ROR) {
        I.ShType = SHIFT_RRX;
    } else if (Amount == 0 && Type != SHIFT_LSL) {
        I.ShAmt = 32;
    }
}

bool IsPlain(const CInst& I) { return I.ShType == SHIFT_LSL && I.ShAmt == 0; }

// --- 16-bit forms: w is the halfword ---------------------------------------------------------------------------

void ShiftImm16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rd = w & 7;
    I.Rm = Bits(w, 5, 3);
    SetShift(I, Bits(w, 12, 11), Bits(w, 10, 6));
    SetAlu16(I, ALU_MOV, IsPlain(I) ? OPERAND_REG : OPERAND_SHIFT);
    if (IsPlain(I)) {
        I.CodeInIT = OP_UNDEFINED; // MOVS Rd, Rm has no form for IT blocks
    }
}

void AddSub3(CInst& I, uint32_t w, uint32_t, uint32_t Alu) {
    I.Rd = w & 7;
    I.Rn = Bits(w, 5, 3);
    I.Rm = Bits(w, 8, 6);
    I.Imm = Bits(w, 8, 6);
    SetAlu16(I, static_cast<EAlu>(Alu), (w & 0x0400) ? OPERAND_IMM : OPERAND_REG);
}

void Imm8(CInst& I, uint32_t w, uint32_t, uint32_t Alu) {
    I.Rd = I.Rn = Bits(w, 10, 8);
    I.Imm = w & 0xFF;
    SetAlu16(I, static_cast<EAlu>(Alu), OPERAND_IMM);
}

void AluReg16(CInst& I, uint32_t w, uint32_t, uint32_t Alu) {
    I.Rd = I.Rn = w & 7;
    I.Rm = Bits(w, 5, 3);
    SetAlu16(I, static_cast<EAlu>(Alu), OPERAND_REG);
}

void Neg16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rd = w & 7;
    I.Rn = Bits(w, 5, 3);
    SetAlu16(I, ALU_RSB, OPERAND_IMM);
}

void ShiftReg16(CInst& I, uint32_t w, uint32_t, uint32_t Type) {
    I.Code = OP_SHIFT_BY_REG;
    I.Rd = I.Rn = w & 7;
    I.Rm = Bits(w, 5, 3);
    I.ShType = static_cast<uint8_t>(Type);
    I.Flags = FLAG_SETS_FLAGS;
}

void Mul16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_MUL;
    I.Rd = I.Rm = w & 7;
    I.Rn = Bits(w, 5, 3);
    I.Flags = FLAG_SETS_FLAGS;
}

void AddHigh(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    I.Rd = I.Rn = static_cast<uint8_t>((w & 7) | Bits(w, 7, 7) << 3);
    I.Rm = Bits(w, 6, 3);
    if (I.Rd == 15) {
        I.Code = I.Rm == 15 ? OP_UNDEFINED : OP_ADD_TO_PC;
        I.Imm = Addr + 4;
    } else if (I.Rm == 15) {
        I.Imm = Addr + 4;
        SetAlu(I, ALU_ADD, false, OPERAND_IMM);
    } else {
        SetAlu(I, ALU_ADD, false, OPERAND_REG);
    }
}

void CmpHigh(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rn = static_cast<uint8_t>((w & 7) | Bits(w, 7, 7) << 3);
    I.Rm = Bits(w, 6, 3);
    SetAlu(I, ALU_CMP, true, OPERAND_REG);
    if (I.Rn == 15 || I.Rm == 15) {
        Unpredictable(I);
    }
}

void MovHigh(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    I.Rd = static_cast<uint8_t>((w & 7) | Bits(w, 7, 7) << 3);
    I.Rm = Bits(w, 6, 3);
    if (I.Rd == 15) {
        I.Code = I.Rm == 15 ? OP_B : OP_MOV_TO_PC;
        I.Imm = Addr + 4;
    } else if (I.Rm == 15) {
        I.Imm = Addr + 4;
        SetAlu(I, ALU_MOV, false, OPERAND_IMM);
    } else {
        SetAlu(I, ALU_MOV, false, OPERAND_REG);
    }
}

void BranchReg(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rm = Bits(w, 6, 3);
    if (I.Rm == 15) {
        Unpredictable(I);
    }
}

void LdrLit16(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    I.Code = LoadOp(SIZE_W, ADDR_LITERAL);
    I.Rd = Bits(w, 10, 8);
    I.Imm = ((Addr + 4) & ~3u) + (w & 0xFF) * 4;
}

void LoadReg16(CInst& I, uint32_t w, uint32_t, uint32_t Size) {
    I.Code = LoadOp(static_cast<ESize>(Size), ADDR_REG);
    I.Rd = w & 7;
    I.Rn = Bits(w, 5, 3);
    I.Rm = Bits(w, 8, 6);
}

void StoreReg16(CInst& I, uint32_t w, uint32_t Addr, uint32_t Size) {
    LoadReg16(I, w, Addr, Size);
    I.Code = StoreOp(static_cast<ESize>(Size), ADDR_REG);
}

void MemImm16(CInst& I, uint32_t w, uint32_t, uint32_t Size) {
    const int Shift = Size == SIZE_W ? 2 : Size == SIZE_H ? 1 : 0;
    I.Rd = w & 7;
    I.Rn = Bits(w, 5, 3);
    I.Imm = Bits(w, 10, 6) << Shift;
    I.Code =
        (w & 0x0800) ? LoadOp(static_cast<ESize>(Size), ADDR_OFFSET) : StoreOp(static_cast<ESize>(Size), ADDR_OFFSET);
}

void MemSp16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rd = Bits(w, 10, 8);
    I.Rn = 13;
    I.Imm = (w & 0xFF) * 4;
    I.Code = (w & 0x0800) ? LoadOp(SIZE_W, ADDR_OFFSET) : StoreOp(SIZE_W, ADDR_OFFSET);
}

void Adr16(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    I.Rd = Bits(w, 10, 8);
    I.Imm = ((Addr + 4) & ~3u) + (w & 0xFF) * 4;
    SetAlu(I, ALU_MOV, false, OPERAND_IMM);
}

void AddSpImm16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rd = Bits(w, 10, 8);
    I.Rn = 13;
    I.Imm = (w & 0xFF) * 4;
    SetAlu(I, ALU_ADD, false, OPERAND_IMM);
}

// SP stays a multiple of 4, so that the plain form serves.
void AdjustSp16(CInst& I, uint32_t w, uint32_t, uint32_t Alu) {
    I.Rd = I.Rn = 13;
    I.Imm = (w & 0x7F) * 4;
    I.Code = AluOp(static_cast<EAlu>(Alu), false, OPERAND_IMM);
}

void Cbz(CInst& I, uint32_t w, uint32_t Addr, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.CodeInIT = OP_UNDEFINED;
    I.Rn = w & 7;
    I.Imm = Addr + 4 + (Bits(w, 9, 9) << 6 | Bits(w, 7, 3) << 1);
}

void Extend16(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = w & 7;
    I.Rm = Bits(w, 5, 3);
}

void Push16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_PUSH;
    I.Imm = (w & 0xFF) | (w & 0x100 ? 1u << 14 : 0);
    if (I.Imm == 0) {
        Unpredictable(I);
    }
}

void Pop16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_POP;
    I.Imm = (w & 0xFF) | (w & 0x100 ? 1u << 15 : 0);
    if (I.Imm == 0) {
        Unpredictable(I);
    }
}

void Multiple16(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rn = Bits(w, 10, 8);
    I.Imm = w & 0xFF;
    const bool BaseLoaded = Op == OP_LDM && (I.Imm >> I.Rn & 1);
    I.Flags = BaseLoaded ? 0 : FLAG_WRITEBACK;
    if (I.Imm == 0) {
        Unpredictable(I);
    }
}

void Cps16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_CPS;
    I.CodeInIT = OP_UNDEFINED;
    I.Imm = w & 0x13; // bit 4: disable, bit 1: PRIMASK, bit 0: FAULTMASK
}

void Simple(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Imm = w & 0xFF;
}

void It16(CInst& I, uint32_t w, uint32_t, uint32_t) {
    const uint32_t Cond = Bits(w, 7, 4);
    I.Code = OP_IT;
    I.CodeInIT = OP_UNDEFINED;
    I.Imm = w & 0xFF;
    if (Cond == 15 || (Cond == 14 && std::popcount(w & 15u) != 1)) {
        Unpredictable(I);
    }
}

void BCond16(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    I.Code = static_cast<uint16_t>(OP_B_COND + Bits(w, 11, 8));
    I.CodeInIT = OP_UNDEFINED;
    I.Imm = Addr + 4 + static_cast<uint32_t>(SignExtend(w & 0xFF, 8) * 2);
}

void B16(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    I.Code = OP_B;
    I.Imm = Addr + 4 + static_cast<uint32_t>(SignExtend(w & 0x7FF, 11) * 2);
}

// --- 32-bit forms: w is first halfword << 16 | second ------------------------------------------------------------

// ThumbExpandImm_C: Ra is 1 when the carry becomes bit 31 of the constant.
void ExpandImm(CInst& I, uint32_t w) {
    const uint32_t Code = Bits(w, 26, 26) << 11 | Bits(w, 14, 12) << 8 | (w & 0xFF);
    const uint32_t Byte = Code & 0xFF;
    switch (Code >> 10 == 0 ? Code >> 8 & 3 : 4) {
    case 0:
        I.Imm = Byte;
        break;
    case 1:
        I.Imm = Byte << 16 | Byte;
        break;
    case 2:
        I.Imm = Byte << 24 | Byte << 8;
        break;
    case 3:
        I.Imm = Byte * 0x01010101u;
        break;
    default:
        I.Imm = std::rotr(0x80u | (Code & 0x7F), static_cast<int>(Code >> 7));
        I.Ra = 1;
        break;
    }
}

constexpr int8_t AluOfCode[16] = {ALU_AND, ALU_BIC, ALU_ORR, ALU_ORN, ALU_EOR, -1,      -1,      -1,
                                  ALU_ADD, -1,      ALU_ADC, ALU_SBC, -1,      ALU_SUB, ALU_RSB, -1};

// Picks the operation of a 32-bit data processing instruction: compare forms have Rd 15, move forms Rn 15.
bool PickAlu(CInst& I, uint32_t w, EAlu& Alu) {
    const int Code = AluOfCode[Bits(w, 24, 21)];
    const bool SetFlags = w & 0x00100000;
    if (Code < 0) {
        return false;
    }
    Alu = static_cast<EAlu>(Code);
    if (I.Rd == 15) {
        const EAlu Compare = Alu == ALU_AND   ? ALU_TST
                             : Alu == ALU_EOR ? ALU_TEQ
                             : Alu == ALU_ADD ? ALU_CMN
                             : Alu == ALU_SUB ? ALU_CMP
                                              : ALU_MOV;
        Alu = Compare;
        return SetFlags && Compare != ALU_MOV && I.Rn != 15;
    }
    if (I.Rn == 15) {
        Alu = Alu == ALU_ORR ? ALU_MOV : Alu == ALU_ORN ? ALU_MVN : ALU_TST;
        return Alu != ALU_TST;
    }
    return true;
}

void DataImm(CInst& I, uint32_t w, uint32_t, uint32_t) {
    EAlu Alu;
    I.Rd = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    ExpandImm(I, w);
    if (!PickAlu(I, w, Alu)) {
        return Unpredictable(I);
    }
    SetAlu(I, Alu, w & 0x00100000, OPERAND_IMM);
}

void DataReg(CInst& I, uint32_t w, uint32_t, uint32_t) {
    EAlu Alu;
    I.Rd = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    SetShift(I, Bits(w, 5, 4), Bits(w, 14, 12) << 2 | Bits(w, 7, 6));
    if (!PickAlu(I, w, Alu) || I.Rm == 15 || (w & 0x8000)) {
        return Unpredictable(I);
    }
    SetAlu(I, Alu, w & 0x00100000, IsPlain(I) ? OPERAND_REG : OPERAND_SHIFT);
}

void PlainImm12(CInst& I, uint32_t w, uint32_t Addr, uint32_t Alu) {
    I.Rd = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    I.Imm = Bits(w, 26, 26) << 11 | Bits(w, 14, 12) << 8 | (w & 0xFF);
    if (I.Rd == 15) {
        return Unpredictable(I);
    }
    if (I.Rn == 15) { // ADR
        const uint32_t Base = (Addr + 4) & ~3u;
        I.Imm = Alu == ALU_ADD ? Base + I.Imm : Base - I.Imm;
        Alu = ALU_MOV;
    }
    SetAlu(I, static_cast<EAlu>(Alu), false, OPERAND_IMM);
}

void MovImm16(CInst& I, uint32_t w, uint32_t, uint32_t Top) {
    I.Rd = Bits(w, 11, 8);
    I.Imm = Bits(w, 19, 16) << 12 | Bits(w, 26, 26) << 11 | Bits(w, 14, 12) << 8 | (w & 0xFF);
    I.Code = Top ? static_cast<uint16_t>(OP_MOVT) : AluOp(ALU_MOV, false, OPERAND_IMM);
    if (I.Rd == 13 || I.Rd == 15) {
        Unpredictable(I);
    }
}

bool IsBadReg(uint32_t Reg) { return Reg == 13 || Reg == 15; }

void BitField(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    I.ShAmt = static_cast<uint8_t>(Bits(w, 14, 12) << 2 | Bits(w, 7, 6)); // lowest bit
    I.Imm = w & 31;                                                       // highest bit, or width - 1
    const bool Bad = Op == OP_BFI ? I.Imm < I.ShAmt || I.Rn == 13 : I.ShAmt + I.Imm > 31 || IsBadReg(I.Rn);
    if (Bad || IsBadReg(I.Rd)) {
        Unpredictable(I);
    }
}

void Saturate(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = Bits(w, 11, 8);
    I.Rn = I.Rm = Bits(w, 19, 16);
    I.Imm = (w & 31) + (Op == OP_SSAT ? 1 : 0);
    SetShift(I, (w & 0x00200000) ? SHIFT_ASR : SHIFT_LSL, Bits(w, 14, 12) << 2 | Bits(w, 7, 6));
    // ASR #0 is the place of the 16-bit forms.
    if (IsBadReg(I.Rd) || IsBadReg(I.Rn) || ((w & 0x00200000) && I.ShAmt == 32)) {
        Unpredictable(I);
    }
}

void ShiftReg32(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_SHIFT_BY_REG;
    I.Rd = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    I.ShType = static_cast<uint8_t>(Bits(w, 22, 21));
    I.Flags = (w & 0x00100000) ? FLAG_SETS_FLAGS : 0;
    if (IsBadReg(I.Rd) || IsBadReg(I.Rn) || IsBadReg(I.Rm)) {
        Unpredictable(I);
    }
}

void Extend32(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = Bits(w, 11, 8);
    I.Rm = w & 15;
    I.ShAmt = static_cast<uint8_t>(Bits(w, 5, 4) * 8);
    if (IsBadReg(I.Rd) || IsBadReg(I.Rm)) {
        Unpredictable(I);
    }
}

void Unary32(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = Bits(w, 11, 8);
    I.Rm = w & 15;
    if (Bits(w, 19, 16) != I.Rm || IsBadReg(I.Rd) || IsBadReg(I.Rm)) {
        Unpredictable(I);
    }
}

void Multiply(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = Bits(w, 11, 8);
    I.Ra = Bits(w, 15, 12);
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    if (IsBadReg(I.Rd) || IsBadReg(I.Rn) || IsBadReg(I.Rm) || (Op == OP_MLA && I.Ra == 13) ||
        (Op == OP_MLS && IsBadReg(I.Ra))) {
        Unpredictable(I);
    }
}

void Divide(CInst& I, uint32_t w, uint32_t Addr, uint32_t Op) {
    Multiply(I, w, Addr, OP_MUL);
    if (I.Code == OP_MUL) {
        I.Code = static_cast<uint16_t>(Op);
    }
}

// Rd: low word, Ra: high word.
void LongMultiply(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rd = Bits(w, 15, 12);
    I.Ra = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    if (IsBadReg(I.Rd) || IsBadReg(I.Ra) || IsBadReg(I.Rn) || IsBadReg(I.Rm) || I.Rd == I.Ra) {
        Unpredictable(I);
    }
}

// Kind of a 16-bit, dual or most significant word multiply: op1 and op2 of the encoding.
EDsp DspMultiply(uint32_t w) {
    const uint32_t Op2 = Bits(w, 7, 4);
    static constexpr EDsp Kinds[8] = {DSP_NONE,  DSP_SMLA_XY, DSP_SMLAD, DSP_SMLAW,
                                      DSP_SMLSD, DSP_SMMLA,   DSP_SMMLS, DSP_USADA8};
    if (w & 0x00800000) {
        const uint32_t Op1 = Bits(w, 22, 20);
        return Op1 == 4 && (Op2 & 12) == 8    ? DSP_SMLAL_XY
               : Op1 == 4 && (Op2 & 14) == 12 ? DSP_SMLALD
               : Op1 == 5 && (Op2 & 14) == 12 ? DSP_SMLSLD
                                              : DSP_NONE;
    }
    const EDsp Kind = Kinds[Bits(w, 22, 20)];
    const uint32_t MaxOp2 = Kind == DSP_SMLA_XY ? 3 : Kind == DSP_USADA8 ? 0 : 1;
    return Op2 <= MaxOp2 ? Kind : DSP_NONE;
}

EDsp DspKind(uint32_t w) {
    const uint32_t Op1 = Bits(w, 22, 20), Op2 = Bits(w, 7, 4);
    switch (w >> 24) {
    case 0xEA:
        return DSP_PKH;
    case 0xF3:
        return (w & 0x00800000) ? DSP_USAT16 : DSP_SSAT16;
    case 0xFA:
        break;
    default:
        return DspMultiply(w);
    }
    if (!(w & 0x00800000)) {
        const bool IsDual = Op1 == 2 || Op1 == 3;
        return Op1 <= 5 && (IsDual || Bits(w, 19, 16) != 15) && (Op2 & 12) == 8 ? DSP_EXTEND_ADD : DSP_NONE;
    }
    if (Op2 < 8) {
        return Op1 != 3 && Op1 != 7 && (Op2 & 3) != 3 ? DSP_PARALLEL : DSP_NONE;
    }
    return Op1 == 0 && Op2 < 12 ? DSP_SATURATING : Op1 == 2 && Op2 == 8 ? DSP_SEL : DSP_NONE;
}

// Flags: op1 in the high nibble (bits 22 to 20), op2 in the low one.
void Dsp(CInst& I, uint32_t w, uint32_t, uint32_t) {
    const EDsp Kind = DspKind(w);
    I.Code = OP_DSP;
    I.ShType = Kind;
    I.Rd = Bits(w, 11, 8);
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    I.Ra = Bits(w, 15, 12);
    I.Flags = static_cast<uint8_t>(Bits(w, 22, 20) << 4 | Bits(w, 7, 4));
    I.ShAmt = static_cast<uint8_t>(Kind == DSP_PKH ? Bits(w, 14, 12) << 2 | Bits(w, 7, 6) : Bits(w, 5, 4) * 8);
    I.Imm = w & 31;
    const bool Saturates16 = Kind == DSP_SSAT16 || Kind == DSP_USAT16;
    const bool IsLong = Kind >= DSP_SMLAL_XY;
    const bool Multiplies = Kind >= DSP_SMLA_XY && !IsLong;
    const bool BadN = I.Rn == 13 || (I.Rn == 15 && Kind != DSP_EXTEND_ADD);
    const bool BadA =
        (Multiplies && I.Ra == 13) || (IsLong && (IsBadReg(I.Ra) || I.Ra == I.Rd)) || (Kind == DSP_SMMLS && I.Ra == 15);
    if (Kind == DSP_NONE || IsBadReg(I.Rd) || BadN || BadA || (!Saturates16 && IsBadReg(I.Rm))) {
        Unpredictable(I);
    }
}

// Loads and stores of one item. Rt of 15 in a byte or halfword load is a memory hint.
void PlaceSingle(CInst& I, uint32_t w, ESize Size, EAddrMode Mode) {
    const bool IsLoad = w & 0x00100000;
    I.Rd = Bits(w, 15, 12);
    if (!IsLoad) {
        I.Code = StoreOp(Size, Mode);
        if (I.Rd == 15 || I.Rn == 15 || (Size != SIZE_W && I.Rd == 13)) {
            Unpredictable(I);
        }
    } else if (I.Rd == 15 && Size != SIZE_W) {
        const bool IsHint = Mode != ADDR_PRE && Mode != ADDR_POST && !(I.Flags & FLAG_UNPRIV);
        I.Code = OP_NOP;
        if (!IsHint) {
            Unpredictable(I);
        }
    } else if (I.Rd == 15 || I.Rd == 13) {
        I.Code = OP_LOAD_GENERIC;
        I.Ra = Mode;
        if (Size != SIZE_W || (I.Flags & FLAG_UNPRIV)) {
            Unpredictable(I);
        }
    } else {
        I.Code = LoadOp(Size, Mode);
    }
    if ((Mode == ADDR_PRE || Mode == ADDR_POST) && I.Rd == I.Rn) {
        Unpredictable(I);
    }
}

ESize SizeOfLoadStore(uint32_t w) {
    const bool IsSigned = w & 0x01000000;
    switch (Bits(w, 22, 21)) {
    case 0:
        return IsSigned ? SIZE_SB : SIZE_B;
    case 1:
        return IsSigned ? SIZE_SH : SIZE_H;
    default:
        return SIZE_W;
    }
}

void SingleImm12(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rn = Bits(w, 19, 16);
    I.Imm = w & 0xFFF;
    PlaceSingle(I, w, SizeOfLoadStore(w), ADDR_OFFSET);
}

void SingleImm8(CInst& I, uint32_t w, uint32_t, uint32_t) {
    const bool Pre = w & 0x400, Up = w & 0x200, Write = w & 0x100;
    I.Rn = Bits(w, 19, 16);
    I.Imm = Up ? w & 0xFF : 0u - (w & 0xFF);
    if (!Pre && !Write) {
        return Unpredictable(I);
    }
    if (Pre && Up && !Write) {
        I.Flags = FLAG_UNPRIV;
    }
    PlaceSingle(I, w, SizeOfLoadStore(w), !Write ? ADDR_OFFSET : Pre ? ADDR_PRE : ADDR_POST);
}

void SingleReg(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    I.ShAmt = Bits(w, 5, 4);
    PlaceSingle(I, w, SizeOfLoadStore(w), ADDR_REG);
    if (IsBadReg(I.Rm)) {
        Unpredictable(I);
    }
}

void SingleLiteral(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    const uint32_t Base = (Addr + 4) & ~3u;
    I.Rn = 15;
    I.Imm = (w & 0x00800000) ? Base + (w & 0xFFF) : Base - (w & 0xFFF);
    PlaceSingle(I, w, SizeOfLoadStore(w), ADDR_LITERAL);
}

void Dual(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    const bool Pre = w & 0x01000000, Up = w & 0x00800000, Write = w & 0x00200000, IsLoad = w & 0x00100000;
    I.Code = IsLoad ? OP_LDRD : OP_STRD;
    I.Rn = Bits(w, 19, 16);
    I.Rd = Bits(w, 15, 12);
    I.Ra = Bits(w, 11, 8);
    I.Imm = Up ? (w & 0xFF) * 4 : 0u - (w & 0xFF) * 4;
    I.Flags = static_cast<uint8_t>((Write ? FLAG_WRITEBACK : 0) | (Pre ? 0 : FLAG_POST));
    if (I.Rn == 15) {
        I.Flags |= FLAG_LITERAL;
        I.Imm += (Addr + 4) & ~3u;
    }
    const bool BadBase = Write && (I.Rn == I.Rd || I.Rn == I.Ra || I.Rn == 15);
    if (IsBadReg(I.Rd) || IsBadReg(I.Ra) || BadBase || (IsLoad ? I.Rd == I.Ra : I.Rn == 15)) {
        Unpredictable(I);
    }
}

void Multiple32(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    const bool Write = w & 0x00200000, Decrement = w & 0x01000000;
    const uint32_t List = w & 0xFFFF;
    I.Code = static_cast<uint16_t>(Op);
    I.Rn = Bits(w, 19, 16);
    I.Imm = List;
    I.Flags = static_cast<uint8_t>((Write ? FLAG_WRITEBACK : 0) | (Decrement ? FLAG_DECREMENT : 0));
    if (Op == OP_LDM && I.Rn == 13 && Write && !Decrement) {
        I.Code = OP_POP;
    } else if (Op == OP_STM && I.Rn == 13 && Write && Decrement) {
        I.Code = OP_PUSH;
    }
    const bool BadList = (List & 0x2000) || (Op == OP_STM ? (List & 0x8000) != 0 : (List & 0xC000) == 0xC000);
    if (I.Rn == 15 || std::popcount(List) < 2 || BadList || (Write && (List >> I.Rn & 1))) {
        Unpredictable(I);
    }
}

// Rd: data, Ra: status, ShAmt: item size as ESize, Imm: offset.
void ExclusiveWord(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rn = Bits(w, 19, 16);
    I.Rd = Bits(w, 15, 12);
    I.Ra = Bits(w, 11, 8);
    I.Imm = (w & 0xFF) * 4;
    I.ShAmt = SIZE_W;
    if (IsBadReg(I.Rd) || I.Rn == 15 || (Op == OP_STREX && (IsBadReg(I.Ra) || I.Ra == I.Rn || I.Ra == I.Rd))) {
        Unpredictable(I);
    }
}

void ExclusiveItem(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    static constexpr uint8_t Sizes[4] = {SIZE_B, SIZE_H, SIZE_W, SIZE_W};
    I.Code = static_cast<uint16_t>(Op);
    I.Rn = Bits(w, 19, 16);
    I.Rd = Bits(w, 15, 12);
    I.Ra = w & 15;
    I.ShAmt = Sizes[Bits(w, 5, 4)];
    const bool IsStore = Op == OP_STREX || Op == OP_STLEX;
    if (IsBadReg(I.Rd) || I.Rn == 15 || (IsStore && (IsBadReg(I.Ra) || I.Ra == I.Rn || I.Ra == I.Rd))) {
        Unpredictable(I);
    }
}

// TT and TTT; TTA and TTAT belong to the security extension. Imm: 1 for an unprivileged access.
void TestTarget(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = (w & 0x80) ? OP_UNDEFINED : OP_TT;
    I.Rn = Bits(w, 19, 16);
    I.Rd = Bits(w, 11, 8);
    I.Imm = Bits(w, 6, 6);
    if (I.Code == OP_TT && (IsBadReg(I.Rd) || I.Rn == 15)) {
        Unpredictable(I);
    }
}

void TableBranch(CInst& I, uint32_t w, uint32_t, uint32_t Op) {
    I.Code = static_cast<uint16_t>(Op);
    I.Rn = Bits(w, 19, 16);
    I.Rm = w & 15;
    if (I.Rn == 13 || IsBadReg(I.Rm)) {
        Unpredictable(I);
    }
}

void BCond32(CInst& I, uint32_t w, uint32_t Addr, uint32_t) {
    const uint32_t Offset = Bits(w, 26, 26) << 20 | Bits(w, 11, 11) << 19 | Bits(w, 13, 13) << 18 |
                            Bits(w, 21, 16) << 12 | Bits(w, 10, 0) << 1;
    I.Code = static_cast<uint16_t>(OP_B_COND + Bits(w, 25, 22));
    I.CodeInIT = OP_UNDEFINED;
    I.Imm = Addr + 4 + static_cast<uint32_t>(SignExtend(Offset, 21));
}

void BLong(CInst& I, uint32_t w, uint32_t Addr, uint32_t Op) {
    const uint32_t S = Bits(w, 26, 26);
    const uint32_t I1 = Bits(w, 13, 13) ^ S ^ 1, I2 = Bits(w, 11, 11) ^ S ^ 1;
    const uint32_t Offset = S << 24 | I1 << 23 | I2 << 22 | Bits(w, 25, 16) << 12 | Bits(w, 10, 0) << 1;
    I.Code = static_cast<uint16_t>(Op);
    I.Imm = Addr + 4 + static_cast<uint32_t>(SignExtend(Offset, 25));
}

void Mrs(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_MRS;
    I.Rd = Bits(w, 11, 8);
    I.Imm = w & 0xFF;
    if (IsBadReg(I.Rd)) {
        Unpredictable(I);
    }
}

void Msr(CInst& I, uint32_t w, uint32_t, uint32_t) {
    I.Code = OP_MSR;
    I.Rn = Bits(w, 19, 16);
    I.Imm = w & 0xFF;
    I.Ra = Bits(w, 11, 10); // mask: bit 1 flags, bit 0 GE
    if (IsBadReg(I.Rn)) {
        Unpredictable(I);
    }
}

constexpr uint8_t V6 = ARCH_V6M | ARCH_V8B | ARCH_V7M | ARCH_V7EM | ARCH_V8M;
constexpr uint8_t V7 = ARCH_V7M | ARCH_V7EM | ARCH_V8M;
constexpr uint8_t V8B = V7 | ARCH_V8B; // ARMv7-M instructions that ARMv8-M baseline has too
constexpr uint8_t DSP = ARCH_V7EM | ARCH_V8M;
constexpr uint8_t V8 = ARCH_V8B | ARCH_V8M;

} // namespace

const CPattern Patterns16[] = {
    {0xF800, 0x0000, V6, ShiftImm16, 0},
    {0xF800, 0x0800, V6, ShiftImm16, 0},
    {0xF800, 0x1000, V6, ShiftImm16, 0},
    {0xFA00, 0x1800, V6, AddSub3, ALU_ADD},
    {0xFA00, 0x1A00, V6, AddSub3, ALU_SUB},
    {0xF800, 0x2000, V6, Imm8, ALU_MOV},
    {0xF800, 0x2800, V6, Imm8, ALU_CMP},
    {0xF800, 0x3000, V6, Imm8, ALU_ADD},
    {0xF800, 0x3800, V6, Imm8, ALU_SUB},
    {0xFFC0, 0x4000, V6, AluReg16, ALU_AND},
    {0xFFC0, 0x4040, V6, AluReg16, ALU_EOR},
    {0xFFC0, 0x4080, V6, ShiftReg16, SHIFT_LSL},
    {0xFFC0, 0x40C0, V6, ShiftReg16, SHIFT_LSR},
    {0xFFC0, 0x4100, V6, ShiftReg16, SHIFT_ASR},
    {0xFFC0, 0x4140, V6, AluReg16, ALU_ADC},
    {0xFFC0, 0x4180, V6, AluReg16, ALU_SBC},
    {0xFFC0, 0x41C0, V6, ShiftReg16, SHIFT_ROR},
    {0xFFC0, 0x4200, V6, AluReg16, ALU_TST},
    {0xFFC0, 0x4240, V6, Neg16, 0},
    {0xFFC0, 0x4280, V6, AluReg16, ALU_CMP},
    {0xFFC0, 0x42C0, V6, AluReg16, ALU_CMN},
    {0xFFC0, 0x4300, V6, AluReg16, ALU_ORR},
    {0xFFC0, 0x4340, V6, Mul16, 0},
    {0xFFC0, 0x4380, V6, AluReg16, ALU_BIC},
    {0xFFC0, 0x43C0, V6, AluReg16, ALU_MVN},
    {0xFF00, 0x4400, V6, AddHigh, 0},
    {0xFF00, 0x4500, V6, CmpHigh, 0},
    {0xFF00, 0x4600, V6, MovHigh, 0},
    {0xFF80, 0x4700, V6, BranchReg, OP_BX},
    {0xFF80, 0x4780, V6, BranchReg, OP_BLX_REG},
    {0xF800, 0x4800, V6, LdrLit16, 0},
    {0xFE00, 0x5000, V6, StoreReg16, SIZE_W},
    {0xFE00, 0x5200, V6, StoreReg16, SIZE_H},
    {0xFE00, 0x5400, V6, StoreReg16, SIZE_B},
    {0xFE00, 0x5600, V6, LoadReg16, SIZE_SB},
    {0xFE00, 0x5800, V6, LoadReg16, SIZE_W},
    {0xFE00, 0x5A00, V6, LoadReg16, SIZE_H},
    {0xFE00, 0x5C00, V6, LoadReg16, SIZE_B},
    {0xFE00, 0x5E00, V6, LoadReg16, SIZE_SH},
    {0xF000, 0x6000, V6, MemImm16, SIZE_W},
    {0xF000, 0x7000, V6, MemImm16, SIZE_B},
    {0xF000, 0x8000, V6, MemImm16, SIZE_H},
    {0xF000, 0x9000, V6, MemSp16, 0},
    {0xF800, 0xA000, V6, Adr16, 0},
    {0xF800, 0xA800, V6, AddSpImm16, 0},
    {0xFF80, 0xB000, V6, AdjustSp16, ALU_ADD},
    {0xFF80, 0xB080, V6, AdjustSp16, ALU_SUB},
    {0xFD00, 0xB100, V8B, Cbz, OP_CBZ},
    {0xFFC0, 0xB200, V6, Extend16, OP_SXTH},
    {0xFFC0, 0xB240, V6, Extend16, OP_SXTB},
    {0xFFC0, 0xB280, V6, Extend16, OP_UXTH},
    {0xFFC0, 0xB2C0, V6, Extend16, OP_UXTB},
    {0xFE00, 0xB400, V6, Push16, 0},
    {0xFFEC, 0xB660, V6, Cps16, 0},
    {0xFD00, 0xB900, V8B, Cbz, OP_CBNZ},
    {0xFFC0, 0xBA00, V6, Extend16, OP_REV},
    {0xFFC0, 0xBA40, V6, Extend16, OP_REV16},
    {0xFFC0, 0xBAC0, V6, Extend16, OP_REVSH},
    {0xFE00, 0xBC00, V6, Pop16, 0},
    {0xFF00, 0xBE00, V6, Simple, OP_BKPT},
    {0xFFFF, 0xBF20, V6, Simple, OP_WFE},
    {0xFFFF, 0xBF30, V6, Simple, OP_WFI},
    {0xFFFF, 0xBF40, V6, Simple, OP_SEV},
    {0xFF0F, 0xBF00, V6, Simple, OP_NOP},
    {0xFF00, 0xBF00, V7, It16, 0},
    {0xF800, 0xC000, V6, Multiple16, OP_STM},
    {0xF800, 0xC800, V6, Multiple16, OP_LDM},
    {0xFF00, 0xDE00, V6, Simple, OP_UNDEFINED},
    {0xFF00, 0xDF00, V6, Simple, OP_SVC},
    {0xF000, 0xD000, V6, BCond16, 0},
    {0xF800, 0xE000, V6, B16, 0},
    {0, 0, 0, nullptr, 0},
};

const CPattern Patterns32[] = {
    // Load and store multiple
    {0xFFD00000, 0xE8800000, V7, Multiple32, OP_STM},
    {0xFFD00000, 0xE8900000, V7, Multiple32, OP_LDM},
    {0xFFD00000, 0xE9000000, V7, Multiple32, OP_STM},
    {0xFFD00000, 0xE9100000, V7, Multiple32, OP_LDM},
    // Exclusive, table branch, dual
    {0xFFF00FFF, 0xE8C00F8F, V8, ExclusiveItem, OP_STL},
    {0xFFF00FFF, 0xE8C00F9F, V8, ExclusiveItem, OP_STL},
    {0xFFF00FFF, 0xE8C00FAF, V8, ExclusiveItem, OP_STL},
    {0xFFF00FFF, 0xE8D00F8F, V8, ExclusiveItem, OP_LDA},
    {0xFFF00FFF, 0xE8D00F9F, V8, ExclusiveItem, OP_LDA},
    {0xFFF00FFF, 0xE8D00FAF, V8, ExclusiveItem, OP_LDA},
    {0xFFF00FEF, 0xE8D00FCF, V8, ExclusiveItem, OP_LDAEX},
    {0xFFF00FFF, 0xE8D00FEF, V8, ExclusiveItem, OP_LDAEX},
    {0xFFF00FE0, 0xE8C00FC0, V8, ExclusiveItem, OP_STLEX},
    {0xFFF00FF0, 0xE8C00FE0, V8, ExclusiveItem, OP_STLEX},
    {0xFFF0F03F, 0xE840F000, V8, TestTarget, 0},
    {0xFFFFFFFF, 0xE97FE97F, V8, Simple, OP_NOP}, // SG: nothing without the security extension
    {0xFFF00000, 0xE8400000, V8B, ExclusiveWord, OP_STREX},
    {0xFFF00F00, 0xE8500F00, V8B, ExclusiveWord, OP_LDREX},
    {0xFFF00FE0, 0xE8C00F40, V8B, ExclusiveItem, OP_STREX},
    {0xFFF00FEF, 0xE8D00F4F, V8B, ExclusiveItem, OP_LDREX},
    {0xFFF0FFF0, 0xE8D0F000, V7, TableBranch, OP_TBB},
    {0xFFF0FFF0, 0xE8D0F010, V7, TableBranch, OP_TBH},
    {0xFE600000, 0xE8600000, V7, Dual, 0},
    {0xFF400000, 0xE9400000, V7, Dual, 0},
    // Data processing
    {0xFFF08010, 0xEAC00000, DSP, Dsp, 0}, // PKHBT, PKHTB
    {0xFE000000, 0xEA000000, V7, DataReg, 0},
    {0xFBF08000, 0xF2000000, V7, PlainImm12, ALU_ADD},
    {0xFBF08000, 0xF2A00000, V7, PlainImm12, ALU_SUB},
    {0xFBF08000, 0xF2400000, V8B, MovImm16, 0},
    {0xFBF08000, 0xF2C00000, V8B, MovImm16, 1},
    {0xFFF0F0F0, 0xF3200000, DSP, Dsp, 0}, // SSAT16
    {0xFFF0F0F0, 0xF3A00000, DSP, Dsp, 0}, // USAT16
    {0xFFD08020, 0xF3000000, V7, Saturate, OP_SSAT},
    {0xFFD08020, 0xF3800000, V7, Saturate, OP_USAT},
    {0xFFF08020, 0xF3400000, V7, BitField, OP_SBFX},
    {0xFFF08020, 0xF3600000, V7, BitField, OP_BFI},
    {0xFFF08020, 0xF3C00000, V7, BitField, OP_UBFX},
    {0xFA008000, 0xF0000000, V7, DataImm, 0},
    // Branches and system
    {0xFFF0F300, 0xF3808000, V6, Msr, 0},
    {0xFFFFF000, 0xF3EF8000, V6, Mrs, 0},
    {0xFFF0FFF0, 0xF3B08F20, V8B, Simple, OP_CLREX},
    {0xFFF0FF00, 0xF3B08F00, V6, Simple, OP_BARRIER},
    {0xFFF0D7FF, 0xF3A08002, V7, Simple, OP_WFE},
    {0xFFF0D7FF, 0xF3A08003, V7, Simple, OP_WFI},
    {0xFFF0D7FF, 0xF3A08004, V7, Simple, OP_SEV},
    {0xFFF0D700, 0xF3A08000, V7, Simple, OP_NOP},
    {0xFFF0F000, 0xF7F0A000, V6, Simple, OP_UNDEFINED},
    {0xFB80D000, 0xF3808000, V7, Simple, OP_UNDEFINED},
    {0xF800D000, 0xF0008000, V7, BCond32, 0},
    {0xF800D000, 0xF0009000, V8B, BLong, OP_B},
    {0xF800D000, 0xF000D000, V6, BLong, OP_BL},
    // Load and store single
    {0xFF7F0000, 0xF81F0000, V7, SingleLiteral, 0},
    {0xFF7F0000, 0xF83F0000, V7, SingleLiteral, 0},
    {0xFF7F0000, 0xF85F0000, V7, SingleLiteral, 0},
    {0xFF7F0000, 0xF91F0000, V7, SingleLiteral, 0},
    {0xFF7F0000, 0xF93F0000, V7, SingleLiteral, 0},
    {0xFF100000, 0xF9000000, V7, Simple, OP_UNDEFINED}, // no signed stores
    {0xFE600000, 0xF8600000, V7, Simple, OP_UNDEFINED},
    {0xFF600000, 0xF9400000, V7, Simple, OP_UNDEFINED},
    {0xFE800000, 0xF8800000, V7, SingleImm12, 0},
    {0xFE800800, 0xF8000800, V7, SingleImm8, 0},
    {0xFE800FC0, 0xF8000000, V7, SingleReg, 0},
    // Register data processing
    {0xFF80F0F0, 0xFA00F000, V7, ShiftReg32, 0},
    {0xFFFFF0C0, 0xFA0FF080, V7, Extend32, OP_SXTH},
    {0xFFFFF0C0, 0xFA1FF080, V7, Extend32, OP_UXTH},
    {0xFFFFF0C0, 0xFA4FF080, V7, Extend32, OP_SXTB},
    {0xFFFFF0C0, 0xFA5FF080, V7, Extend32, OP_UXTB},
    {0xFF80F080, 0xFA00F080, DSP, Dsp, 0}, // extend and add, SXTB16, UXTB16
    {0xFFF0F0F0, 0xFA90F080, V7, Unary32, OP_REV},
    {0xFFF0F0F0, 0xFA90F090, V7, Unary32, OP_REV16},
    {0xFFF0F0F0, 0xFA90F0A0, V7, Unary32, OP_RBIT},
    {0xFFF0F0F0, 0xFA90F0B0, V7, Unary32, OP_REVSH},
    {0xFFF0F0F0, 0xFAB0F080, V7, Unary32, OP_CLZ},
    {0xFF80F000, 0xFA80F000, DSP, Dsp, 0}, // parallel add and subtract, QADD and the like, SEL
    // Multiply and divide
    {0xFFF0F0F0, 0xFB00F000, V7, Multiply, OP_MUL},
    {0xFFF000F0, 0xFB000000, V7, Multiply, OP_MLA},
    {0xFFF000F0, 0xFB000010, V7, Multiply, OP_MLS},
    {0xFFF000F0, 0xFB800000, V7, LongMultiply, OP_SMULL},
    {0xFFF0F0F0, 0xFB90F0F0, V8B, Divide, OP_SDIV},
    {0xFFF000F0, 0xFBA00000, V7, LongMultiply, OP_UMULL},
    {0xFFF0F0F0, 0xFBB0F0F0, V8B, Divide, OP_UDIV},
    {0xFFF000F0, 0xFBC00000, V7, LongMultiply, OP_SMLAL},
    {0xFFF000F0, 0xFBE00000, V7, LongMultiply, OP_UMLAL},
    {0xFFF000F0, 0xFBE00060, DSP, LongMultiply, OP_UMAAL},
    {0xFF000000, 0xFB000000, DSP, Dsp, 0}, // 16-bit and dual multiplies
    // Coprocessors
    {0xEF000000, 0xEF000000, V7, Simple, OP_UNDEFINED},
    {0xEC000E00, 0xEC000A00, V7, Vfp, 0},
    {0xEC000000, 0xEC000000, V7, Simple, OP_NO_COPROC},
    {0, 0, 0, nullptr, 0},
};

} // namespace Thumb
