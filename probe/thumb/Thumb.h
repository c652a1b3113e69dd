#pragma once
// Thumb instruction decoder: one table of bit patterns (ThumbTable.cpp) that the simulator executes from and that the
// library's instruction decoder classifies by. Pure functions; any thread.

#include <cstdint>

namespace Thumb {

// Architecture versions as a bit set: a pattern exists in the versions whose bits it has.
enum EArch : uint8_t {
    ARCH_V6M = 1,  // ARMv6-M
    ARCH_V8B = 2,  // ARMv8-M baseline
    ARCH_V7M = 4,  // ARMv7-M
    ARCH_V7EM = 8, // ARMv7-M with the DSP extension
    ARCH_V8M = 16, // ARMv8-M mainline with DSP
};

enum EAlu : uint8_t {
    ALU_AND,
    ALU_BIC,
    ALU_ORR,
    ALU_ORN,
    ALU_EOR,
    ALU_ADD,
    ALU_ADC,
    ALU_SBC,
    ALU_SUB,
    ALU_RSB,
    ALU_MOV,
    ALU_MVN,
    ALU_TST,
    ALU_TEQ,
    ALU_CMN,
    ALU_CMP,
};
// Second operand of a data processing instruction: constant, register, shifted register.
enum EOperand : uint8_t { OPERAND_IMM, OPERAND_REG, OPERAND_SHIFT };
enum EShift : uint8_t { SHIFT_LSL, SHIFT_LSR, SHIFT_ASR, SHIFT_ROR, SHIFT_RRX };
enum ESize : uint8_t { SIZE_W, SIZE_H, SIZE_B, SIZE_SH, SIZE_SB };
enum EAddrMode : uint8_t { ADDR_OFFSET, ADDR_PRE, ADDR_POST, ADDR_REG, ADDR_LITERAL };

// What an instruction does; each code has one handler in the simulator. Codes from OP_ALU on are computed.
enum EOp : uint16_t {
    OP_NOT_DECODED, // value of a fresh cache entry
    OP_BREAKPOINT,  // set by the simulator in place of the instruction
    OP_REGION_END,  // stands behind the last halfword of a memory region
    OP_FETCH_FAULT, // set by the simulator: the instruction reaches out of its memory
    OP_UNDEFINED,
    OP_NO_COPROC,
    OP_NOP,
    OP_ALU_TO_SP, // data processing into SP, any operand: Flags holds the ALU operation and operand kind
    OP_MOV_TO_PC,
    OP_ADD_TO_PC,
    OP_SHIFT_BY_REG, // ShType, Rn by Rm; FLAG_SETS_FLAGS
    OP_MOVT,
    OP_MUL,
    OP_MLA,
    OP_MLS,
    OP_UMULL,
    OP_SMULL,
    OP_UMLAL,
    OP_SMLAL,
    OP_UMAAL,
    OP_SDIV,
    OP_UDIV,
    OP_BFI,
    OP_SBFX,
    OP_UBFX,
    OP_SSAT,
    OP_USAT,
    OP_SXTB,
    OP_SXTH,
    OP_UXTB,
    OP_UXTH,
    OP_CLZ,
    OP_RBIT,
    OP_REV,
    OP_REV16,
    OP_REVSH,
    OP_LOAD_GENERIC, // LDR of PC or SP; Ra: EAddrMode
    OP_LDRD,
    OP_STRD,
    OP_LDM,
    OP_STM,
    OP_PUSH,
    OP_POP,
    OP_LDREX,
    OP_STREX,
    OP_LDA,
    OP_STL,
    OP_LDAEX,
    OP_STLEX,
    OP_CLREX,
    OP_TT,
    OP_TBB,
    OP_TBH,
    OP_B,
    OP_BL,
    OP_BX,
    OP_BLX_REG,
    OP_CBZ,
    OP_CBNZ,
    OP_IT,
    OP_SVC,
    OP_BKPT,
    OP_CPS,
    OP_MRS,
    OP_MSR,
    OP_WFI,
    OP_WFE,
    OP_SEV,
    OP_BARRIER,
    OP_DSP,                   // DSP extension; Imm holds the instruction
    OP_B_COND,                // 14 codes, one a condition
    OP_LOAD = OP_B_COND + 14, // ESize * 5 + EAddrMode
    OP_STORE = OP_LOAD + 25,  // ESize * 4 + EAddrMode, sizes W, H, B
    OP_ALU = OP_STORE + 12,   // (EAlu * 2 + sets flags) * 3 + EOperand
    OP_VFP = OP_ALU + 96,     // EVfp
    OP_COUNT = OP_VFP + 35,
};

constexpr uint16_t AluOp(EAlu Alu, bool SetFlags, EOperand Operand) {
    return static_cast<uint16_t>(OP_ALU + (Alu * 2 + (SetFlags ? 1 : 0)) * 3 + Operand);
}
constexpr uint16_t LoadOp(ESize Size, EAddrMode Mode) { return static_cast<uint16_t>(OP_LOAD + Size * 5 + Mode); }
constexpr uint16_t StoreOp(ESize Size, EAddrMode Mode) { return static_cast<uint16_t>(OP_STORE + Size * 4 + Mode); }

// DSP extension: what OP_DSP does, in ShType. Flags holds the variant bits of the encoding.
enum EDsp : uint8_t {
    DSP_PKH,
    DSP_SSAT16,
    DSP_USAT16,
    DSP_EXTEND_ADD,
    DSP_PARALLEL,
    DSP_SATURATING,
    DSP_SEL,
    DSP_SMLA_XY,
    DSP_SMLAD,
    DSP_SMLAW,
    DSP_SMLSD,
    DSP_SMMLA,
    DSP_SMMLS,
    DSP_USADA8,
    DSP_SMLAL_XY,
    DSP_SMLALD,
    DSP_SMLSLD,
    DSP_NONE,
};

// Floating point extension: OP_VFP + EVfp. Rd, Rn, Rm are numbers of single precision registers (a double precision
// register is the first of its two) where not said otherwise.
enum EVfp : uint8_t {
    VFP_UNDEFINED, // in the coprocessor's space: NOCP goes first
    VFP_VMLA,
    VFP_VMLS,
    VFP_VNMLS,
    VFP_VNMLA,
    VFP_VMUL,
    VFP_VNMUL,
    VFP_VADD,
    VFP_VSUB,
    VFP_VDIV,
    VFP_VFNMS,
    VFP_VFNMA,
    VFP_VFMA,
    VFP_VFMS,
    VFP_VMOV_IMM, // Imm
    VFP_VMOV,
    VFP_VABS,
    VFP_VNEG,
    VFP_VSQRT,
    VFP_FROM_HALF, // Flags: FLAG_TOP
    VFP_TO_HALF,
    VFP_VCMP,       // Flags: FLAG_SIGNAL, FLAG_WITH_ZERO
    VFP_FROM_FIXED, // Flags: FLAG_UNSIGNED; ShType: EVfpRound; ShAmt: bits behind the point; Ra: size in bits
    VFP_TO_FIXED,
    VFP_VLDR,    // Rn: core register; Imm: offset, with FLAG_LITERAL the address; ShAmt: number of words
    VFP_VSTR,    //
    VFP_VLDM,    // FLAG_WRITEBACK, FLAG_DECREMENT; Imm: bytes the base moves by
    VFP_VSTM,    //
    VFP_TO_S,    // Rd: core register, Rn: single precision register
    VFP_FROM_S,  //
    VFP_TO_2S,   // Rd, Ra: core registers, Rm: the first of two single precision registers
    VFP_FROM_2S, //
    VFP_VMRS,    // Rd: core register, 15 for the flags
    VFP_VMSR,    //
    VFP_FPV5,    // instructions of version 5 only; ShAmt: EVfp5
    VFP_COUNT,
};
constexpr uint16_t VfpOp(uint32_t Vfp) { return static_cast<uint16_t>(OP_VFP + Vfp); }
static_assert(VfpOp(VFP_COUNT) == OP_COUNT);
enum EVfp5 : uint8_t { VFP5_VSEL, VFP5_VMAXNM, VFP5_VMINNM, VFP5_VRINT, VFP5_VCVT };
// Rounding of an instruction: one of its own, or that of FPSCR. VSEL has its condition there.
enum EVfpRound : uint8_t { VFP_RN, VFP_RP, VFP_RM, VFP_RZ, VFP_RA, VFP_RFPSCR };

enum EFlags : uint8_t {
    FLAG_UNSIGNED = 1,
    FLAG_TOP = 2,
    FLAG_SIGNAL = 4,    // VCMPE; VRINTX: a change of the value is inexact
    FLAG_WITH_ZERO = 8, // VCMP with 0
    FLAG_SETS_FLAGS = 1,
    FLAG_WRITEBACK = 2,
    FLAG_DECREMENT = 4, // LDM, STM: decrement before
    FLAG_POST = 8,      // LDRD, STRD, LDR of PC: index after the access
    FLAG_LITERAL = 16,  // LDRD: Imm is the address
    FLAG_UNPRIV = 32,   // LDRT, STRT
    FLAG_OPEN = 64,     // OP_UNDEFINED, VFP_UNDEFINED: UNPREDICTABLE rather than UNDEFINED
};

// A decoded instruction. Field use by code: see the forms in ThumbTable.cpp.
struct CInst {
    uint16_t Code = OP_NOT_DECODED;
    uint16_t CodeInIT = OP_NOT_DECODED; // inside an IT block, where most 16-bit instructions leave the flags alone
    uint32_t Imm = 0;                   // constant, offset, register list, or absolute address of a branch or literal
    uint8_t Rd = 0;
    uint8_t Rn = 0;
    uint8_t Rm = 0;
    uint8_t Ra = 0;
    uint8_t ShType = 0;
    uint8_t ShAmt = 0;
    uint8_t Len = 0; // bytes, 2 or 4
    uint8_t Flags = 0;
};

// True if Half is the first halfword of a 32-bit instruction.
constexpr bool Is32Bit(uint16_t Half) { return (Half & 0xE000) == 0xE000 && (Half & 0x1800) != 0; }

// Decodes the instruction at Addr. Second is read only for 32-bit instructions. UNDEFINED bit patterns, and the
// UNPREDICTABLE ones that would need a choice, give OP_UNDEFINED.
CInst Decode(uint32_t Addr, uint16_t First, uint16_t Second, EArch Arch);

} // namespace Thumb
