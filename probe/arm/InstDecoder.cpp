#include "probe/arm/InstDecoder.h"

#include "probe/arm/InstTable.h"
#include "probe/thumb/Thumb.h"

#include <cstring>

namespace Arm {

namespace {

constexpr uint32_t REG_SP = 13, REG_LR = 14, REG_PC = 15;

const struct {
    uint32_t Mask, Core;
    EArch Arch;
} Cores[] = {
    {0xFFFF0000, 0x06010000, M_V8B}, // Cortex-M23
    {0xFFFF0000, 0x0E020000, M_V8},  // Cortex-M33
    {0xFF000000, 0x01000000, M_BASE}, {0xFF000000, 0x03000000, M_MAIN},
    {0xFF000000, 0x06000000, M_BASE}, {0xFF000000, 0x0E000000, M_DSP},
    {0xFF000000, 0x07000000, V4T},    {0xFFF00000, 0x09200000, V4T}, // ARM920T, ARM922T; ARM926EJ-S stands below
    {0xFF000000, 0x09000000, V5TE},   {0xFF000000, 0x0B000000, V6},
    {0xFF000000, 0x08000000, V7},     {0xFF000000, 0x0C000000, V7},
    {0xFF000000, 0x0D000000, V7},     {0xFF000000, 0x0F000000, V7},
};

const CRow& FindRow(const CRow* pRow, uint32_t Bits, uint16_t Arch) {
    while ((Bits & pRow->Mask) != pRow->Value || !(pRow->Arch & Arch)) {
        pRow++;
    }
    return *pRow;
}

// What a row's flow means for one instruction. Reg: the register it jumps to or that it loads into. Base: base
// register of a load.
struct COperands {
    uint32_t Reg, Base;
    bool LoadsPc;
};

void Describe(EFlow Flow, const COperands& Operands, NOVIK_INST_INFO& Info) {
    const bool IsLoad = (Flow == FLOW_LOAD || Flow == FLOW_LOAD_LIST || Flow == FLOW_POP_PC) && Operands.LoadsPc;
    const bool ToReg = Flow == FLOW_BX || Flow == FLOW_MOV_PC;
    Info.IsCall = Flow == FLOW_CALL || Flow == FLOW_CALL_REG;
    Info.IsReturn = Flow == FLOW_EXC_RETURN || (ToReg && Operands.Reg == REG_LR) || (IsLoad && Operands.Base == REG_SP);
    Info.IsIndirect = Info.IsReturn || ToReg || IsLoad || Flow == FLOW_CALL_REG || Flow == FLOW_INDIRECT;
    Info.IsBranch = Info.IsIndirect || Info.IsCall || Flow == FLOW_JUMP || Flow == FLOW_JUMP_IF;
    Info.IsConditional = Flow == FLOW_JUMP_IF;
}

// Data processing with the PC as destination jumps; from LR unchanged, or with the status restored, it returns.
EFlow FlowOfData(uint32_t Word) {
    constexpr uint32_t SET_FLAGS = 1u << 20;
    const bool IsMovLr = (Word & 0x0FFFFFFF) == 0x01A0F00E;
    const bool IsExcReturn = (Word & SET_FLAGS) != 0;
    return (Word >> 12 & 15) != REG_PC ? FLOW_NONE : IsMovLr || IsExcReturn ? FLOW_EXC_RETURN : FLOW_INDIRECT;
}

// The set of the simulator's table that holds the architecture's instructions.
Thumb::EArch TableArch(uint16_t Arch) {
    switch (Arch) {
    case M_BASE:
        return Thumb::ARCH_V6M;
    case M_V8B:
        return Thumb::ARCH_V8B;
    case M_MAIN:
        return Thumb::ARCH_V7M;
    case M_DSP:
        return Thumb::ARCH_V7EM;
    default:
        return Thumb::ARCH_V8M;
    }
}

template <EArch Arch> int Decode(NOVIK_INST_INFO* pInfo, const void* pInst, uint32_t Addr, uint8_t Mode) {
    if (!pInfo || !pInst) {
        return -1;
    }
    uint16_t Halves[2] = {};
    std::memcpy(&Halves[0], pInst, 2);
    if (Mode == NOVIK_INST_MODE_ARM || Thumb::Is32Bit(Halves[0])) {
        std::memcpy(&Halves[1], static_cast<const uint8_t*>(pInst) + 2, 2);
    }
    return Mode == NOVIK_INST_MODE_ARM ? DecodeA32(uint32_t(Halves[1]) << 16 | Halves[0], Arch, *pInfo)
                                       : DecodeT32(Addr, Halves[0], Halves[1], Arch, *pInfo);
}

} // namespace

uint16_t ArchOfCore(uint32_t Core) {
    if ((Core & 0xFFFF0000) == 0x09260000) {
        return V5TE;
    }
    for (const auto& Row : Cores) {
        if ((Core & Row.Mask) == Row.Core) {
            return Row.Arch;
        }
    }
    return 0;
}

bool IsMProfile(uint16_t Arch) { return Arch & ANY_M; }

int DecodeA32(uint32_t Word, uint16_t Arch, NOVIK_INST_INFO& Info) {
    Info = {};
    const uint32_t Cond = Word >> 28;
    EFlow Flow = FindRow(Cond == 15 ? ArmUnconditionalRows : ArmRows, Word, Arch).Flow;
    if (Flow == FLOW_UNDEFINED) {
        return 0;
    }
    Flow = Flow == FLOW_DATA ? FlowOfData(Word) : Flow;
    const bool LoadsPc = Flow == FLOW_LOAD ? (Word >> 12 & 15) == REG_PC : (Word & 0x8000) != 0;
    Describe(Flow, {Word & 15, Word >> 16 & 15, LoadsPc}, Info);
    Info.IsConditional = Cond < 14;
    Info.Length = 4;
    return 4;
}

int DecodeT32(uint32_t Addr, uint16_t First, uint16_t Second, uint16_t Arch, NOVIK_INST_INFO& Info) {
    Info = {};
    const bool IsLong = Thumb::Is32Bit(First);
    const uint32_t Bits = IsLong ? uint32_t(First) << 16 | Second : First;
    const CRow& Row = FindRow(IsLong ? Thumb32Rows : Thumb16Rows, Bits, Arch);
    if (Row.Flow == FLOW_UNDEFINED) {
        // No row of its own: an instruction if the simulator's table has it. Before ARMv7 only calls are long.
        const bool IsShortOnly = Arch & (V4T | V5TE | V6);
        const bool IsKnown = Thumb::Decode(Addr, First, Second, TableArch(Arch)).Code != Thumb::OP_UNDEFINED;
        if (!IsKnown || (IsLong && IsShortOnly)) {
            return 0;
        }
    }
    COperands Operands = {Bits >> 3 & 15, Bits >> 16 & 15, true};
    if (Row.Flow == FLOW_POP_PC) {
        Operands.Base = REG_SP;
    }
    Describe(Row.Flow, Operands, Info);
    Info.IT = Row.Flow == FLOW_IT ? static_cast<uint8_t>((First & 15) | (First & 0xF0)) : 0;
    Info.Length = IsLong ? 4 : 2;
    return Info.Length;
}

NOVIK_DECODER* GetDecoder(uint16_t Arch) {
    switch (Arch) {
    case V4T:
        return Decode<V4T>;
    case V5TE:
        return Decode<V5TE>;
    case V6:
        return Decode<V6>;
    case V7:
        return Decode<V7>;
    case M_BASE:
        return Decode<M_BASE>;
    case M_MAIN:
        return Decode<M_MAIN>;
    case M_DSP:
        return Decode<M_DSP>;
    case M_V8B:
        return Decode<M_V8B>;
    case M_V8:
        return Decode<M_V8>;
    default:
        return nullptr;
    }
}

} // namespace Arm
