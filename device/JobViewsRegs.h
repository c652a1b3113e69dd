#pragma once

// Jobs of registers and of the execution state.

#include "device/JobView.h"

constexpr qsizetype MAX_READ_REGS = 64;

PLAIN_JOB(RESET_TARGET_EXEC_STATE_JOB, JT_RESET_TARGET_EXEC_STATE, Regs.ResetTargetExecState, ResetTargetExecState)

struct READ_REG_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_READ_REG;
    using CJobView::CJobView;
    /// IsTold: an error line says why it could not be read.
    static bool Pack(CPackedJob& P, U32 Idx, bool IsProtected = false, bool IsTold = false) {
        return P.Begin(TYPE_ID, {Idx, IsTold}) && P.Protect(IsProtected);
    }
    U32 Idx() const { return Word(0); }
    static int Run(CTarget& T, Job& J) {
        const int Result = T.Regs.ReadReg(READ_REG_JOB(J).Idx(), &J.Result[0]);
        if (Result != 0 && J.Param[1]) {
            T.Report.NoteRegisterRead(READ_REG_JOB(J).Idx());
        }
        return Result;
    }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceReadRegDone(READ_REG_JOB(J).Idx(), J.Result[0]); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceReadRegFailed(READ_REG_JOB(J).Idx()); }
};

struct WRITE_REG_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_WRITE_REG;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, U32 Idx, I64 Value) { return P.Begin(TYPE_ID, {Idx, U64(Value)}); }
    U32 Idx() const { return Word(0); }
    I64 Value() const { return I64(m_J.Param[1]); }
    static int Run(CTarget& T, Job& J) { return T.Regs.WriteReg(WRITE_REG_JOB(J).Idx(), WRITE_REG_JOB(J).Value()); }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceWriteRegDone(WRITE_REG_JOB(J).Idx(), WRITE_REG_JOB(J).Value());
    }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceWriteRegFailed(WRITE_REG_JOB(J).Idx()); }
};

struct READ_REGS_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_READ_REGS;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QList<U32>& Idxs) {
        return Idxs.size() <= MAX_READ_REGS && P.Begin(TYPE_ID, {U64(Idxs.size())}) && P.Full(0, Idxs) &&
               P.Buf(1, QList<I64>(Idxs.size(), -1));
    }
    U32 NumAsked() const { return Word(0); }
    U32 Num() const { return std::min(Count<U32>(0, 0), Count<I64>(0, 1)); }
    U32* Idxs() const { return Buf<U32>(0); }
    I64* Values() const { return Buf<I64>(1); }
    static int Run(CTarget& T, Job& J) {
        const READ_REGS_JOB V(J);
        return T.Regs.ReadRegs(V.Num(), V.Idxs(), V.Values());
    }
    static void Done(LISTENER& L, const Job& J) {
        const READ_REGS_JOB V(J);
        L.OnDeviceReadRegsDone(V.NumAsked(), V.Idxs(), V.Values());
    }
    static void Failed(LISTENER& L, const Job& J) {
        const READ_REGS_JOB V(J);
        L.OnDeviceReadRegsFailed(V.NumAsked(), V.Idxs(), V.Values());
    }
};

struct READ_CP_REG_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_READ_CP_REG;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const ARM_CPR& Reg) { return P.Begin(TYPE_ID) && P.Buf(0, &Reg, sizeof(Reg)); }
    ARM_CPR* Reg() const { return Buf<ARM_CPR>(0); }
    static int Run(CTarget& T, Job& J) { return T.Regs.ReadCPR(READ_CP_REG_JOB(J).Reg(), &J.Result[0]); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceReadCPRDone(READ_CP_REG_JOB(J).Reg(), J.Result[0]); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceReadCPRFailed(READ_CP_REG_JOB(J).Reg()); }
};

struct WRITE_CP_REG_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_WRITE_CP_REG;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const ARM_CPR& Reg, U32 Value) {
        return P.Begin(TYPE_ID, {Value}) && P.Buf(0, &Reg, sizeof(Reg));
    }
    ARM_CPR* Reg() const { return Buf<ARM_CPR>(0); }
    U32 Value() const { return Word(0); }
    static int Run(CTarget& T, Job& J) {
        return T.Regs.WriteCPR(WRITE_CP_REG_JOB(J).Reg(), WRITE_CP_REG_JOB(J).Value());
    }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceWriteCPRDone(WRITE_CP_REG_JOB(J).Reg(), J.Result[0]); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceWriteCPRFailed(WRITE_CP_REG_JOB(J).Reg()); }
};

struct SET_TARGET_EXEC_STATE_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_SET_TARGET_EXEC_STATE;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QList<I64>& RegVals) {
        return P.Begin(TYPE_ID, {U64(RegVals.size())}) && P.Full(0, RegVals);
    }
    U32 NumAsked() const { return Word(0); }
    U32 Num() const { return Count<I64>(0, 0); }
    I64* Values() const { return Buf<I64>(0); }
    static int Run(CTarget& T, Job& J) {
        const SET_TARGET_EXEC_STATE_JOB V(J);
        return T.Regs.SetTargetExecState(V.Num(), V.Values());
    }
    static void Done(LISTENER& L, const Job& J) {
        const SET_TARGET_EXEC_STATE_JOB V(J);
        L.OnDeviceSetTargetExecStateDone(V.NumAsked(), V.Values());
    }
    static void Failed(LISTENER& L, const Job& J) {
        const SET_TARGET_EXEC_STATE_JOB V(J);
        L.OnDeviceSetTargetExecStateFailed(V.NumAsked(), V.Values());
    }
};
