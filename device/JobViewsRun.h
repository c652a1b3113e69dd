#pragma once

// Jobs of connection and run control.

#include "device/JobView.h"

constexpr U32 NOVIK_ERROR_TEXT_SIZE = 512; ///< the block has one byte more for the zero

PLAIN_JOB(DISCONNECT_JOB, JT_DISCONNECT, Connection.Disconnect, Disconnect)

struct CONNECT_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_CONNECT;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, CONNECT_MODES Mode) { return P.Begin(TYPE_ID, {U64(Mode)}); }
    CONNECT_MODES Mode() const { return CONNECT_MODES(Word(0)); }
    static int Run(CTarget& T, Job& J) { return T.Connection.Connect(CONNECT_JOB(J).Mode()); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceConnectDone(CONNECT_JOB(J).Mode()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceConnectFailed(CONNECT_JOB(J).Mode()); }
};

struct RESET_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_RESET;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, RESET_MODES Mode) { return P.Begin(TYPE_ID, {U64(Mode)}); }
    RESET_MODES Mode() const { return RESET_MODES(Word(0)); }
    U32 PC() const { return U32(m_J.Result[0]); }
    static int Run(CTarget& T, Job& J) { return T.Run.Reset(RESET_JOB(J).Mode()); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceResetDone(RESET_JOB(J).PC(), RESET_JOB(J).Mode()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceResetFailed(RESET_JOB(J).PC(), RESET_JOB(J).Mode()); }
};

struct HALT_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_HALT;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P) { return P.Begin(TYPE_ID); }
    U32 PC() const { return U32(m_J.Result[0]); }
    HALT_REASONS Reason() const { return HALT_REASONS(m_J.Result[1]); }
    static int Run(CTarget& T, Job&) { return T.Run.Halt(); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceHaltDone(HALT_JOB(J).PC(), HALT_JOB(J).Reason()); }
    static void Failed(LISTENER& L, const Job&) { L.OnDeviceHaltFailed(); }
};

struct CONTINUE_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_CONTINUE;
    static constexpr DEVICE_EVENT_KINDS ANNOUNCED_BY = DEV_EVENT_ABOUT_TO_RESUME;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, RESUME_MODES Mode) { return P.Begin(TYPE_ID, {U64(Mode)}); }
    RESUME_MODES Mode() const { return RESUME_MODES(Word(0)); }
    static int Run(CTarget& T, Job&) { return T.Run.Continue(); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceResumeDone(CONTINUE_JOB(J).Mode()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceResumeFailed(CONTINUE_JOB(J).Mode()); }
};

/// The four steps; OnDeviceStepped() follows in the dispatcher.
template <U32 TYPE, int (*BODY)(CTarget& T), auto DONE, auto FAILED> struct STEP_JOB : CJobView {
    static constexpr U32 TYPE_ID = TYPE;
    static constexpr DEVICE_EVENT_KINDS ANNOUNCED_BY = DEV_EVENT_ABOUT_TO_STEP;
    static bool Pack(CPackedJob& P) { return P.Begin(TYPE); }
    static int Run(CTarget& T, Job&) { return BODY(T); }
    static void Done(LISTENER& L, const Job& J) { (L.*DONE)(U32(J.Result[0])); }
    static void Failed(LISTENER& L, const Job& J) { (L.*FAILED)(U32(J.Result[0])); }
};

inline int RunStepInst(CTarget& T) { return T.Stepper.StepInst(); }
inline int RunStepInto(CTarget& T) { return T.Stepper.StepInto(); }
inline int RunStepOver(CTarget& T) { return T.Stepper.StepOver(1); }
inline int RunStepOut(CTarget& T) { return T.Stepper.StepOut(); }

using STEP_INST_JOB = STEP_JOB<JT_STEP_INST, RunStepInst, &CDeviceEventListener::OnDeviceStepInstDone,
                               &CDeviceEventListener::OnDeviceStepInstFailed>;
using STEP_INTO_JOB = STEP_JOB<JT_STEP_INTO, RunStepInto, &CDeviceEventListener::OnDeviceStepIntoDone,
                               &CDeviceEventListener::OnDeviceStepIntoFailed>;
using STEP_OVER_JOB = STEP_JOB<JT_STEP_OVER, RunStepOver, &CDeviceEventListener::OnDeviceStepOverDone,
                               &CDeviceEventListener::OnDeviceStepOverFailed>;
using STEP_OUT_JOB = STEP_JOB<JT_STEP_OUT, RunStepOut, &CDeviceEventListener::OnDeviceStepOutDone,
                              &CDeviceEventListener::OnDeviceStepOutFailed>;

struct RUN_TO_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_RUN_TO;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, U32 Addr) { return P.Begin(TYPE_ID, {Addr}); }
    U32 Addr() const { return Word(0); }
    U32 PC() const { return U32(m_J.Result[0]); }
    static int Run(CTarget& T, Job& J) { return T.Run.RunTo(RUN_TO_JOB(J).Addr()); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceRunToSymbolDone(RUN_TO_JOB(J).PC()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceRunToSymbolFailed(RUN_TO_JOB(J).PC()); }
};

struct EXEC_NOVIK_CMD_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_EXEC_NOVIK_CMD;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QByteArray& sCommand) {
        return P.Begin(TYPE_ID) && P.Full(0, sCommand) && P.Buf(1, nullptr, NOVIK_ERROR_TEXT_SIZE);
    }
    const char* Command() const { return Buf<const char>(0); }
    char* Error() const { return Buf<char>(1); }
    static int Run(CTarget& T, Job& J) {
        const EXEC_NOVIK_CMD_JOB V(J);
        J.Result[0] = T.Connection.ExecNovikCmd(V.Command(), J.BufSize[1], V.Error());
        return J.Result[0] == 0 ? 0 : -1;
    }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceExecNovikCmdDone(EXEC_NOVIK_CMD_JOB(J).Command()); }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceExecNovikCmdFailed(EXEC_NOVIK_CMD_JOB(J).Command(), EXEC_NOVIK_CMD_JOB(J).Error());
    }
};
