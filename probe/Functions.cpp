// The optional entry points: background access and endianness queries, instruction decoder, disassembler.
#include "probe/DeviceTable.h"
#include "probe/Session.h"
#include "probe/thumb/Thumb.h"

#include <capstone/capstone.h>
#include <cstring>

using namespace Novik;
using namespace Thumb;

namespace {

int BackgroundMemAccess() {
    const CBackend* pTarget = CSession::Get().Target();
    return !pTarget || pTarget->CanReadWhileRunning();
}

int GetEndian() {
    return CSession::Get().Target() ? 0 : -1; // the simulated target is little-endian
}

bool IsStackLoadOfPc(const CInst& Inst) {
    const bool Multiple = (Inst.Code == OP_POP || (Inst.Code == OP_LDM && Inst.Rn == 13)) && (Inst.Imm & 0x8000);
    return Multiple || (Inst.Code == OP_LOAD_GENERIC && Inst.Rd == 15 && Inst.Rn == 13);
}

bool IsIndirectFlow(const CInst& Inst) {
    return Inst.Code == OP_BX || Inst.Code == OP_BLX_REG || Inst.Code == OP_MOV_TO_PC || Inst.Code == OP_ADD_TO_PC ||
           Inst.Code == OP_TBB || Inst.Code == OP_TBH ||
           ((Inst.Code == OP_LDM || Inst.Code == OP_POP) && (Inst.Imm & 0x8000)) ||
           (Inst.Code == OP_LOAD_GENERIC && Inst.Rd == 15);
}

void DescribeThumb(const CInst& Inst, NOVIK_INST_INFO& Info) {
    const bool HasCondition = Inst.Code >= OP_B_COND && Inst.Code < OP_B_COND + 14;
    const bool IsCompare = Inst.Code == OP_CBZ || Inst.Code == OP_CBNZ;
    Info.Length = Inst.Len;
    Info.IsCall = Inst.Code == OP_BL || Inst.Code == OP_BLX_REG;
    Info.IsIndirect = IsIndirectFlow(Inst);
    Info.IsBranch = Info.IsIndirect || Info.IsCall || HasCondition || IsCompare || Inst.Code == OP_B;
    Info.IsReturn = ((Inst.Code == OP_BX || Inst.Code == OP_MOV_TO_PC) && Inst.Rm == 14) || IsStackLoadOfPc(Inst);
    Info.IsConditional = HasCondition || IsCompare;
    Info.IT = Inst.Code == OP_IT ? static_cast<uint8_t>(Inst.Imm) : 0;
}

// Classes of the A32 instructions that change the PC; ARMv7-A and R Architecture Reference Manual, chapter A5.
void DescribeArm(uint32_t w, NOVIK_INST_INFO& Info) {
    const uint32_t Cond = w >> 28;
    const bool IsBlxImm = (w & 0xFE000000) == 0xFA000000;
    const bool IsB = Cond != 15 && (w & 0x0F000000) == 0x0A000000, IsBl = Cond != 15 && (w & 0x0F000000) == 0x0B000000;
    const bool IsBx = Cond != 15 && (w & 0x0FFFFFD0) == 0x012FFF10,
               IsBlxReg = Cond != 15 && (w & 0x0FFFFFF0) == 0x012FFF30;
    const bool IsLdrPc =
        Cond != 15 && (w & 0x0C10F000) == 0x0410F000 && (w & 0x02000010) != 0x02000010 && !(w & 0x00400000);
    const bool IsLdmPc = Cond != 15 && (w & 0x0E108000) == 0x08108000;
    const uint32_t DataOp = w >> 21 & 15;
    const bool IsMultiply = (w & 0x0E000090) == 0x00000090;
    const bool IsDataPc = Cond != 15 && (w & 0x0C00F000) == 0x0000F000 && (DataOp < 8 || DataOp > 11) && !IsMultiply;
    Info.Length = 4;
    Info.IsCall = IsBl || IsBlxImm || IsBlxReg;
    Info.IsIndirect = IsBx || IsBlxReg || IsLdrPc || IsLdmPc || IsDataPc;
    Info.IsBranch = Info.IsIndirect || Info.IsCall || IsB;
    const bool IsMovPcLr = IsDataPc && (w & 0x0FFFFFFF) == 0x01A0F00E;
    const bool FromStack = (IsLdrPc || IsLdmPc) && (w >> 16 & 15) == 13;
    Info.IsReturn = (IsBx && (w & 0x1F) == 0x1E) || IsMovPcLr || FromStack;
    Info.IsConditional = Cond < 14;
}

template <EArch Arch> int DecodeInst(NOVIK_INST_INFO* pInfo, const void* pInst, uint32_t Addr, uint8_t Mode) {
    if (!pInfo || !pInst) {
        return -1;
    }
    *pInfo = {};
    if (Mode == NOVIK_INST_MODE_ARM) {
        uint32_t Word;
        std::memcpy(&Word, pInst, 4);
        DescribeArm(Word, *pInfo);
        return 4;
    }
    uint16_t Halves[2];
    std::memcpy(&Halves[0], pInst, 2);
    Halves[1] = 0;
    if (Is32Bit(Halves[0])) {
        std::memcpy(&Halves[1], static_cast<const uint8_t*>(pInst) + 2, 2);
    }
    const CInst Inst = Decode(Addr, Halves[0], Halves[1], Arch);
    if (Inst.Code == OP_UNDEFINED && (Halves[0] & 0xFF00) != 0xDE00) {
        return 0;
    }
    DescribeThumb(Inst, *pInfo);
    return Inst.Len;
}

// A32 and the Thumb of cores that run both: the largest Thumb set serves for all of them.
int GetDecoder(uint32_t Core, void** ppOut) {
    if (!ppOut || GetCoreName(Core).empty()) {
        return -1;
    }
    NOVIK_DECODER* pfDecoder = DecodeInst<ARCH_V8M>;
    switch (Core) {
    case NOVIK_CORE_CORTEX_M0:
    case NOVIK_CORE_CORTEX_M1:
        pfDecoder = DecodeInst<ARCH_V6M>;
        break;
    case NOVIK_CORE_CORTEX_M23:
        pfDecoder = DecodeInst<ARCH_V8B>;
        break;
    case NOVIK_CORE_CORTEX_M4:
    case NOVIK_CORE_CORTEX_M7:
        pfDecoder = DecodeInst<ARCH_V7EM>;
        break;
    default:
        pfDecoder = (Core >> 24) == 3 ? DecodeInst<ARCH_V7M> : pfDecoder;
        break;
    }
    *ppOut = reinterpret_cast<void*>(pfDecoder);
    return 0;
}

// A context of its own for each call: the library carries the state of an IT block from one call into the next.
template <bool IsMProfile>
int Disassemble(char* sText, uint32_t TextSize, const void* pInst, uint32_t NumBytes, uint32_t Addr, uint8_t Mode) {
    csh Handle;
    if (!sText || TextSize == 0 || !pInst || NumBytes < 2 || NumBytes > 16) {
        return -1;
    }
    sText[0] = 0;
    const int Flags = Mode == NOVIK_INST_MODE_ARM ? CS_MODE_ARM
                      : IsMProfile                ? CS_MODE_THUMB | CS_MODE_MCLASS
                                                  : CS_MODE_THUMB;
    if (cs_open(CS_ARCH_ARM, static_cast<cs_mode>(Flags), &Handle) != CS_ERR_OK) {
        return -1;
    }
    cs_insn* pText = nullptr;
    int Length = -1;
    if (cs_disasm(Handle, static_cast<const uint8_t*>(pInst), NumBytes, Addr, 1, &pText) == 1) {
        const std::string sOperands = pText->op_str;
        CopyText(sText, TextSize, sOperands.empty() ? pText->mnemonic : std::string(pText->mnemonic) + " " + sOperands);
        Length = pText->size;
        cs_free(pText, 1);
    }
    cs_close(&Handle);
    return Length;
}

int GetDisassembler(uint32_t Core, void** ppOut) {
    if (!ppOut || GetCoreName(Core).empty()) {
        return -1;
    }
    const uint32_t Family = Core >> 24;
    const bool IsMProfile = Family == 1 || Family == 3 || Family == 6 || Family == 0x0E;
    NOVIK_DISASSEMBLER* pfDisassembler = IsMProfile ? Disassemble<true> : Disassemble<false>;
    *ppOut = reinterpret_cast<void*>(pfDisassembler);
    return 0;
}

} // namespace

void* NOVIK_GetpFunc(uint32_t FuncId) {
    switch (FuncId) {
    case NOVIK_FUNC_BACKGROUND_MEM_ACCESS:
        return reinterpret_cast<void*>(&BackgroundMemAccess);
    case NOVIK_FUNC_GET_ENDIAN:
        return reinterpret_cast<void*>(&GetEndian);
    case NOVIK_FUNC_GET_DECODER:
        return reinterpret_cast<void*>(&GetDecoder);
    case NOVIK_FUNC_GET_DISASSEMBLER:
        return reinterpret_cast<void*>(&GetDisassembler);
    default:
        return nullptr;
    }
}
