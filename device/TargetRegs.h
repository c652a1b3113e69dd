#pragma once

// Registers, coprocessor registers and the execution state that is derived from them. Two numberings: logical (0 to
// 15 R0 to R15, 16 the CPSR, 17 the SPSR) and that of the probe library. Device thread, except GetNovikRegIdx().

#include "device/DeviceTypes.h"
#include "elf/ElfSymLoc.h"

class CTarget;

constexpr U32 NUM_NOVIK_REGS = 82;

class CTargetRegs {
public:
    explicit CTargetRegs(CTarget& Target) : m_T(Target) {}

    /// Library index of a logical register in a CPU mode, -1 if it has none. An index above 82 stands for itself. Any
    /// thread.
    I32 GetNovikRegIdx(I32 Logical, int Mode = MODE_CURRENT) const;

    /// 0, or -1 with *pOutRegVal -1.
    int ReadReg(U32 Idx, I64* pOutRegVal);
    int WriteReg(U32 Idx, I64 RegValue);
    /// 1 to 63 registers; a value that could not be read is -1.
    int ReadRegs(U32 Cnt, const U32* paNovikRegIdxs, I64* paOutRegVals);
    int ReadCPR(const ARM_CPR* pReg, I64* pOutValue);
    int WriteCPR(const ARM_CPR* pReg, U32 Value);

    /// 1 to 8 bytes of a memory or register location; 0 or -1 with paOutData zeroed.
    int ReadLoc(const ELF_SYM_LOC& Loc, U32 NumBytes, U8* paOutData);
    /// Four bytes each; -1 for one that could not be read. Number of good reads.
    int ReadLocs(U32 Cnt, const ELF_SYM_LOC* paDataLocs, I64* paOutVals);
    int WriteLoc(const ELF_SYM_LOC& Loc, U32 NumBytes, const U8* paData);

    /// Reads registers, modes, function and source line of the PC. 0 or -1.
    int UpdateTargetExecState() { return SetTargetExecState(0, nullptr); }
    /// The same from given register values: the view of a task that doesn't run.
    int SetTargetExecState(U32 Cnt, const I64* paRegVals);
    int ResetTargetExecState() { return UpdateTargetExecState(); }

    /// Reads PC, or PC and SP, into the cache. False if the PC could not be read.
    bool ReadPC(U32* pPC);
    bool ReadSP(U32* pSP);
    bool WritePC(U32 PC);

    int GetCPUModeFromCPSR(U32 CPSR) const;
    int GetExecModeFromCPSR(U32 CPSR) const;

private:
    void UpdateCPUMode(U32 CPSR);
    void UpdateExecMode(U32 CPSR);
    void UpdateRegs(U32 Cnt, const I64* paRegVals);
    bool IsPCIdx(U32 Idx) const;
    int TryWriteReg(U32 Idx, I64 RegValue);
    int ReadRegLoc(const ELF_SYM_LOC& Loc, U32* pValue);

    CTarget& m_T;
};
