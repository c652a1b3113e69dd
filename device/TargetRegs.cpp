#include "device/TargetRegs.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "settings/SysVars.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

constexpr U32 NUM_LOGICAL_REGS = 17; ///< R0 to R15 and the CPSR
constexpr U32 MAX_REGS_PER_READ = 63;
constexpr U32 MAX_LOC_SIZE = 8;
constexpr U32 CP15 = 15;
constexpr U32 CPSR_MODE_BITS = 0x1F;
constexpr U32 CPSR_T_BIT = 1u << 5;
constexpr I64 PC_MASK = ~I64(1);

// Banked registers of the classic cores: SP and LR stand next to each other in each bank.
I32 ClassicBankedIdx(I32 Logical, int Mode) {
    const I32 Off = Logical - I32(REG_IDX_SP);
    switch (Mode) {
    case MODE_USR:
    case MODE_SYS:
        return 15 + Off;
    case MODE_FIQ:
        return 23 + Off;
    case MODE_SVC:
        return 26 + Off;
    case MODE_ABT:
        return 29 + Off;
    case MODE_IRQ:
        return 32 + Off;
    case MODE_UND:
        return 35 + Off;
    default:
        return -1;
    }
}

I32 ClassicSpsrIdx(int Mode) {
    switch (Mode) {
    case MODE_FIQ:
        return 17;
    case MODE_SVC:
        return 25;
    case MODE_ABT:
        return 28;
    case MODE_IRQ:
        return 31;
    case MODE_UND:
        return 34;
    default:
        return -1;
    }
}

I32 ClassicIdx(I32 Logical, int Mode) {
    if (Logical <= 7) {
        return Logical;
    }
    if (Logical <= 12) {
        return Logical + (Mode == MODE_FIQ ? 10 : 2);
    }
    switch (U32(Logical)) {
    case REG_IDX_SP:
    case REG_IDX_LR:
        return ClassicBankedIdx(Logical, Mode);
    case REG_IDX_PC:
        return 9;
    case REG_IDX_CPSR:
        return 8;
    case REG_IDX_SPSR:
        return ClassicSpsrIdx(Mode);
    default:
        return -1;
    }
}

} // namespace

I32 CTargetRegs::GetNovikRegIdx(I32 Logical, int Mode) const {
    if (Logical < 0) {
        return -1;
    }
    if (Logical > I32(NUM_NOVIK_REGS) || m_T.Facts.IsCortexM()) {
        return Logical;
    }
    return m_T.Facts.IsClassicArm() ? ClassicIdx(Logical, Mode == MODE_CURRENT ? int(m_T.State.CpuMode) : Mode) : -1;
}

bool CTargetRegs::IsPCIdx(U32 Idx) const { return I32(Idx) == GetNovikRegIdx(REG_IDX_PC); }

int CTargetRegs::ReadReg(U32 Idx, I64* pOutRegVal) {
    *pOutRegVal = -1;
    if (Idx >= NUM_NOVIK_REGS) {
        m_T.LogWarn("ReadReg: Index out of bounds");
        return -1;
    }
    if (!m_T.State.Connected || !m_T.Run.IsTargetHalted()) {
        m_T.LogDebug(m_T.State.Connected ? "ReadReg: not halted" : "ReadReg: not connected");
        return -1;
    }
    const I64 Value = m_T.Novik.NOVIKARM_ReadReg(Idx);
    U32 Same = 0;
    U8 Status = 1;
    // The library gives 0 for a register that it can't read as well.
    if (Value == 0 && (m_T.Novik.NOVIKARM_ReadRegs(&Idx, &Same, &Status, 1) != 0 || Status != 0)) {
        m_T.LogWarn("ReadReg: NOVIK API call failed");
        return -1;
    }
    *pOutRegVal = IsPCIdx(Idx) ? Value & PC_MASK : Value;
    return 0;
}

int CTargetRegs::WriteReg(U32 Idx, I64 RegValue) {
    const int Result = TryWriteReg(Idx, RegValue);
    if (Result != 0) {
        m_T.Report.NoteRegister(Idx, RegValue);
    }
    return Result;
}

int CTargetRegs::TryWriteReg(U32 Idx, I64 RegValue) {
    if (Idx >= NUM_NOVIK_REGS) {
        m_T.LogWarn("WriteReg: Index out of bounds");
        return -1;
    }
    if (RegValue < 0) {
        m_T.LogWarn("WriteReg: invalid register value");
        return -1;
    }
    if (!m_T.State.Connected || !m_T.Run.IsTargetHalted()) {
        m_T.LogDebug(m_T.State.Connected ? "WriteReg: Not halted" : "WriteReg: Not connected");
        return -1;
    }
    if (m_T.Novik.NOVIKARM_WriteReg(Idx, U32(RegValue)) != 0) {
        m_T.LogWarn("WriteReg: NOVIK API call failed");
        return -1;
    }
    return 0;
}

int CTargetRegs::ReadRegs(U32 Cnt, const U32* paNovikRegIdxs, I64* paOutRegVals) {
    if (!m_T.State.Connected) {
        m_T.LogDebug("ReadRegs: not connected");
        return -1;
    }
    if (Cnt == 0 || Cnt > MAX_REGS_PER_READ ||
        std::find(paNovikRegIdxs, paNovikRegIdxs + Cnt, ~0u) != paNovikRegIdxs + Cnt) {
        m_T.LogWarn("ReadRegs: Invalid register index");
        return -1;
    }
    const int HaltStatus = m_T.Novik.NOVIKARM_IsHalted();
    if (HaltStatus < 0) {
        m_T.LogWarn("ReadRegs: invalid halt status");
        return -1;
    }
    if (HaltStatus != 1) {
        m_T.LogDebug("ReadRegs: not halted");
        return -1;
    }
    std::array<U32, MAX_REGS_PER_READ> aValues{};
    std::array<U8, MAX_REGS_PER_READ> aStatus;
    aStatus.fill(0xFF);
    if (m_T.Novik.NOVIKARM_ReadRegs(paNovikRegIdxs, aValues.data(), aStatus.data(), Cnt) != 0) {
        m_T.LogWarn("ReadRegs: NOVIK API call failed");
        return -1;
    }
    for (U32 i = 0; i < Cnt; i++) {
        const I64 Value = IsPCIdx(paNovikRegIdxs[i]) ? I64(aValues[i]) & PC_MASK : I64(aValues[i]);
        paOutRegVals[i] = aStatus[i] == 0 ? Value : -1;
    }
    return 0;
}

int CTargetRegs::ReadCPR(const ARM_CPR* pReg, I64* pOutValue) {
    *pOutValue = -1;
    if (!m_T.State.Connected || !m_T.Run.IsTargetHalted()) {
        m_T.LogDebug(m_T.State.Connected ? "ReadCPR: not halted" : "ReadCPR: not connected");
        return -1;
    }
    U32 Value = 0;
    if (pReg->CpNum != CP15 || m_T.Novik.NOVIKARM_CP15_ReadEx(U8(pReg->Sel[0]), U8(pReg->Sel[1]), U8(pReg->Sel[2]),
                                                              U8(pReg->Sel[3]), &Value) != 0) {
        return -1;
    }
    *pOutValue = Value;
    return 0;
}

int CTargetRegs::WriteCPR(const ARM_CPR* pReg, U32 Value) {
    if (!m_T.State.Connected || !m_T.Run.IsTargetHalted()) {
        m_T.LogDebug(m_T.State.Connected ? "WriteCpReg: not halted" : "WriteCpReg: not connected");
        return -1;
    }
    if (pReg->CpNum != CP15) {
        return -1;
    }
    const int Result =
        m_T.Novik.NOVIKARM_CP15_WriteEx(U8(pReg->Sel[0]), U8(pReg->Sel[1]), U8(pReg->Sel[2]), U8(pReg->Sel[3]), Value);
    return Result == 0 ? 0 : -1;
}

int CTargetRegs::ReadRegLoc(const ELF_SYM_LOC& Loc, U32* pValue) {
    I64 Value = Loc.Reg < NUM_LOGICAL_REGS ? I64(m_T.State.Regs[Loc.Reg]) : -1;
    if (Value < 0) {
        const I32 Idx = GetNovikRegIdx(I32(Loc.Reg));
        if (Idx < 0 || ReadReg(U32(Idx), &Value) != 0) {
            return -1;
        }
    }
    *pValue = U32(Value) + (Loc.Kind == ELF_LOC_REG_OFF ? U32(Loc.Off) : 0);
    return 0;
}

int CTargetRegs::ReadLoc(const ELF_SYM_LOC& Loc, U32 NumBytes, U8* paOutData) {
    if (NumBytes == 0 || NumBytes > MAX_LOC_SIZE || !(IsMemLoc(Loc) || IsRegLoc(Loc))) {
        return -1;
    }
    std::memset(paOutData, 0, NumBytes);
    if (IsMemLoc(Loc)) {
        U8 aStatus[MAX_LOC_SIZE] = {};
        const I8 AW = I8(SysVarValue(VAR_ACCESS_WIDTH));
        if (m_T.Memory.ReadMem(ElfLocMemAddr(Loc), NumBytes, 0, AW, 0, paOutData, aStatus) != NumBytes) {
            std::memset(paOutData, 0, NumBytes);
            return -1;
        }
        return 0;
    }
    U32 Value = 0;
    if (ReadRegLoc(Loc, &Value) != 0) {
        return -1;
    }
    std::memcpy(paOutData, &Value, std::min<U32>(NumBytes, sizeof(Value)));
    return 0;
}

int CTargetRegs::ReadLocs(U32 Cnt, const ELF_SYM_LOC* paDataLocs, I64* paOutVals) {
    int Count = 0;
    for (U32 i = 0; i < Cnt; i++) {
        U64 Value = 0;
        const bool IsOk = ReadLoc(paDataLocs[i], sizeof(U32), reinterpret_cast<U8*>(&Value)) == 0;
        paOutVals[i] = IsOk ? I64(Value) : -1;
        Count += IsOk;
    }
    return Count;
}

int CTargetRegs::WriteLoc(const ELF_SYM_LOC& Loc, U32 NumBytes, const U8* paData) {
    if (NumBytes == 0 || NumBytes > MAX_LOC_SIZE || !paData) {
        return -1;
    }
    if (IsMemLoc(Loc)) {
        const I8 AW = I8(SysVarValue(VAR_ACCESS_WIDTH));
        const U32 Count = m_T.Memory.WriteMem(ElfLocMemAddr(Loc), NumBytes, 0, AW, MEM_FLAG_DOWNLOAD, paData);
        return Count == NumBytes ? 0 : -1;
    }
    const I32 Idx = IsRegLoc(Loc) ? GetNovikRegIdx(I32(Loc.Reg)) : -1;
    U32 Value = 0;
    std::memcpy(&Value, paData, std::min<U32>(NumBytes, sizeof(Value)));
    return Idx < 0 ? -1 : WriteReg(U32(Idx), Value);
}

bool CTargetRegs::ReadPC(U32* pPC) {
    I64 PC = -1;
    if (ReadReg(U32(GetNovikRegIdx(REG_IDX_PC)), &PC) != 0) {
        return false;
    }
    *pPC = U32(PC & PC_MASK);
    m_T.State.Regs[REG_IDX_PC] = I64(*pPC);
    return true;
}

bool CTargetRegs::ReadSP(U32* pSP) {
    I64 SP = -1;
    if (ReadReg(U32(GetNovikRegIdx(REG_IDX_SP)), &SP) != 0) {
        return false;
    }
    *pSP = U32(SP);
    m_T.State.Regs[REG_IDX_SP] = SP;
    return true;
}

bool CTargetRegs::WritePC(U32 PC) {
    if (WriteReg(U32(GetNovikRegIdx(REG_IDX_PC)), PC) != 0) {
        return false;
    }
    m_T.State.Regs[REG_IDX_PC] = I64(PC) & PC_MASK;
    return true;
}

int CTargetRegs::SetTargetExecState(U32 Cnt, const I64* paRegVals) {
    if (!m_T.State.Connected) {
        m_T.LogDebug("SetTargetExecState: not connected");
        return -1;
    }
    I64 CPSR = 0;
    if (paRegVals) {
        CPSR = Cnt > REG_IDX_CPSR ? paRegVals[REG_IDX_CPSR] : 0;
    } else {
        ReadReg(U32(GetNovikRegIdx(REG_IDX_CPSR)), &CPSR);
    }
    UpdateCPUMode(U32(CPSR));
    UpdateExecMode(U32(CPSR));
    UpdateRegs(Cnt, paRegVals);
    const I64 PC = m_T.State.Regs[REG_IDX_PC];
    m_T.State.CurFunc = PC >= 0 ? ElfApi_GetFuncAtAddr(U32(PC)) : 0;
    m_T.State.CurSrcLoc = PC >= 0 ? ElfApi_GetSrcLoc(U32(PC)) : CSrcLoc();
    return 0;
}

void CTargetRegs::UpdateRegs(U32 Cnt, const I64* paRegVals) {
    std::array<I64, REG_CACHE_SIZE> aValues;
    aValues.fill(-1);
    if (paRegVals) {
        std::copy_n(paRegVals, std::min(Cnt, REG_CACHE_SIZE), aValues.begin());
    } else {
        std::array<U32, NUM_LOGICAL_REGS> aIdxs;
        for (U32 i = 0; i < NUM_LOGICAL_REGS; i++) {
            aIdxs[i] = U32(GetNovikRegIdx(I32(i)));
        }
        ReadRegs(NUM_LOGICAL_REGS, aIdxs.data(), aValues.data());
    }
    if (aValues[REG_IDX_PC] > 0) {
        aValues[REG_IDX_PC] &= PC_MASK;
    }
    for (U32 i = 0; i < REG_CACHE_SIZE; i++) {
        m_T.State.Regs[i] = aValues[i];
    }
}

int CTargetRegs::GetCPUModeFromCPSR(U32 CPSR) const {
    if (!m_T.State.Connected || !m_T.Run.IsTargetHalted()) {
        return MODE_UND;
    }
    const int Mode = int(CPSR & CPSR_MODE_BITS);
    switch (Mode) {
    case MODE_UND:
    case MODE_FIQ:
    case MODE_SVC:
    case MODE_ABT:
    case MODE_SYS:
    case MODE_IRQ:
        return Mode;
    default:
        return MODE_USR;
    }
}

int CTargetRegs::GetExecModeFromCPSR(U32 CPSR) const {
    if (!m_T.State.Connected || m_T.Facts.IsCortexM()) {
        return EXEC_MODE_THUMB;
    }
    return !m_T.Run.IsTargetHalted() || (CPSR & CPSR_T_BIT) ? EXEC_MODE_THUMB : EXEC_MODE_ARM;
}

void CTargetRegs::UpdateCPUMode(U32 CPSR) {
    const auto Mode = ARM_CPU_MODES(GetCPUModeFromCPSR(CPSR));
    if (m_T.State.CpuMode != Mode) {
        m_T.State.CpuMode = Mode;
        m_T.Events.Post(DEV_EVENT_CPU_MODE_CHANGED, U64(Mode));
    }
}

void CTargetRegs::UpdateExecMode(U32 CPSR) {
    const auto Mode = ARM_EXEC_MODES(GetExecModeFromCPSR(CPSR));
    if (m_T.State.ExecMode != Mode) {
        m_T.State.ExecMode = Mode;
        m_T.Events.Post(DEV_EVENT_EXEC_MODE_CHANGED, U64(Mode));
    }
}
