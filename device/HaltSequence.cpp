#include "device/HaltSequence.h"

#include "device/DeviceEvents.h"
#include "device/JobQueue.h"
#include "device/SemiHostHook.h"
#include "device/Target.h"
#include "icache/InstStore.h"

namespace {

constexpr U32 HALT_POLL_INTERVAL_MS = 50;
constexpr U32 RESUME_POLL_INTERVAL_MS = HALTED_POLL_INTERVAL_MS;

} // namespace

void CHaltSequence::CheckHandleNotifications() {
    FinishDeferredConnect();
    FinishDeferredReset();
    FinishDeferredInit();
    CheckHandleConditionAnswer();
}

void CHaltSequence::FinishDeferredConnect() {
    const int Mode = m_T.State.DeferredConnectMode.Exchange(-1);
    if (Mode >= 0) {
        m_T.Connection.FinishConnect(CONNECT_MODES(Mode));
        const U32 Status = m_T.State.Connected ? JOB_STATUS_DONE : JOB_STATUS_FAILED;
        m_T.PostCompletion(JT_CONNECT, Status, m_T.State.Regs[REG_IDX_PC], 0, U64(Mode));
    }
}

void CHaltSequence::FinishDeferredReset() {
    const int Mode = m_T.State.DeferredResetMode.Exchange(-1);
    if (Mode >= 0) {
        const int Result = m_T.Run.FinishReset(RESET_MODES(Mode));
        const U32 Status = Result == 0 ? JOB_STATUS_DONE : JOB_STATUS_FAILED;
        m_T.PostCompletion(JT_RESET, Status, m_T.State.Regs[REG_IDX_PC], 0, U64(Mode));
    }
}

void CHaltSequence::FinishDeferredInit() {
    if (m_T.State.InitSPandPCWanted.Exchange(0)) {
        m_T.Report.Begin();
        if (m_T.Run.InitTargetSPandPC() != 0) {
            m_T.Report.PrintFailure("set SP and PC from the program");
        }
        m_T.PostCompletion(JT_HALT, JOB_STATUS_DONE, m_T.State.Regs[REG_IDX_PC], HR_INIT);
    }
}

void CHaltSequence::CheckHandleConditionAnswer() {
    const int Answer = m_T.State.ConditionAnswer.Exchange(-1);
    if (Answer < 0 || !m_T.State.HaltSeqActive || m_T.State.Regs[REG_IDX_PC] != I64(m_T.State.ConditionPC)) {
        return; // of a halt that a reset or a new connection has ended
    }
    if (m_T.State.Running) {
        m_T.State.HaltSeqActive = 0; // somebody has resumed the target meanwhile
    } else if (Answer) {
        CompleteSrcStepAndContHaltSeq(m_T.State.ConditionPC);
    } else {
        m_T.Run.Continue();
        m_T.State.HaltSeqActive = 0;
    }
}

U32 CHaltSequence::GetIdleMs() const {
    if (!m_T.State.Connected || m_T.State.ConnectionLost) {
        return WAIT_FOR_EVER;
    }
    // A poll is due when more than its interval has gone by.
    return (m_T.State.Running ? HALT_POLL_INTERVAL_MS : RESUME_POLL_INTERVAL_MS) + 1;
}

void CHaltSequence::CheckHandleResume() {
    if (m_T.State.Running || !m_T.State.Connected || m_T.State.HaltSeqActive || m_T.State.ConnectionLost) {
        return;
    }
    const int Answer = m_T.Run.PollTargetHaltStatus(RESUME_POLL_INTERVAL_MS);
    if (Answer == POLL_TOO_EARLY || Answer > 0) {
        return;
    }
    if (Answer < 0) {
        m_T.Run.OnInvalidHaltStatus();
        return;
    }
    m_T.State.StateValid = 0;
    m_T.State.Halted = 0;
    m_T.State.Running = 1;
    m_T.PostCompletion(JT_CONTINUE, JOB_STATUS_DONE, 0, 0, GO_USER);
}

// True if the target has just halted.
bool CHaltSequence::BeginHaltSequence() {
    if (!m_T.State.Running || !m_T.State.Connected || m_T.State.ConnectionLost ||
        (m_T.State.HaltSeqActive && !m_T.State.HaltRequested)) {
        return false;
    }
    const int Answer = m_T.Run.PollTargetHaltStatus(HALT_POLL_INTERVAL_MS);
    if (Answer == POLL_TOO_EARLY || Answer == 0) {
        return false;
    }
    if (Answer < 0) {
        m_T.Run.OnInvalidHaltStatus();
        m_T.State.HaltSeqActive = 0;
        return false;
    }
    m_T.State.HaltSeqActive = 1;
    m_T.State.Running = 0;
    m_T.State.Halted = 1;
    m_T.LogDebug("Target has halted. Evaluating halt conditions...");
    return true;
}

void CHaltSequence::CheckHandleHalt() {
    if (!BeginHaltSequence()) {
        return;
    }
    // A halt request beats breakpoints and semihosting.
    if (m_T.State.HaltRequested.Exchange(0)) {
        m_T.Regs.UpdateTargetExecState();
        OnHalted(true);
        return;
    }
    U32 PC = 0;
    m_T.Regs.ReadPC(&PC);
    if (ResumeWhenSHIRQIsDiscarded(PC) || CheckHandleSemihostingIRQ(PC)) {
        m_T.State.HaltSeqActive = 0;
        return;
    }
    m_T.Regs.UpdateTargetExecState();
    EvalBPCondAndContinueHaltSeq(PC);
}

// True if somebody wants the target to stop at PC, whatever instruction is there.
bool CHaltSequence::IsStopWanted(U32 PC) const {
    return m_T.State.HiddenBPAddr == I64(PC) || m_T.BPs.GetEntry(PC).State == BP_STATE_ON;
}

bool CHaltSequence::ResumeWhenSHIRQIsDiscarded(U32 PC) {
    if (m_T.SemiHost().IsEnabled() || IsStopWanted(PC) || !ICACHE_IsSemihostingTrap(PC)) {
        return false;
    }
    m_T.Run.Continue();
    return true;
}

bool CHaltSequence::CheckHandleSemihostingIRQ(U32 PC) {
    CSemiHostHook& SemiHost = m_T.SemiHost();
    if (!SemiHost.IsEnabled() || !ICACHE_IsSemihostingTrap(PC)) {
        return false;
    }
    SemiHost.AutoResume = IsStopWanted(PC) ? 0 : 1;
    if (SemiHost.HandleInterrupt(PC) != 0 || !SemiHost.AutoResume) {
        return false;
    }
    m_T.PostContinue(GO_USER);
    return true;
}

void CHaltSequence::EvalBPCondAndContinueHaltSeq(U32 PC) {
    const BPEntry Entry = m_T.BPs.GetEntry(PC);
    if (Entry.State == BP_STATE_ON) {
        // Without room in the event ring nobody would answer: the halt stands.
        if (m_T.BPs.List().CountHit(PC).HasCondition && m_T.Events.Post(DEV_EVENT_EVAL_BP_CONDITION, PC) == 0) {
            return;
        }
    } else if (Entry.State == BP_STATE_ON_HIDDEN) {
        m_T.LogDebug("Target has halted on invisible BP");
        CompleteSrcStepAndContHaltSeq(PC);
        return;
    }
    OnHalted();
}

void CHaltSequence::CompleteSrcStepAndContHaltSeq(U32 PC) {
    const bool IsAtHiddenBP = m_T.State.HiddenBPAddr == I64(PC) && m_T.State.HaltSeqActive;
    if (IsAtHiddenBP && m_T.Stepper.CompleteSrcStepOnHiddenBP(PC) > 0) {
        m_T.State.HaltSeqActive = 0;
        return;
    }
    OnHalted();
}

void CHaltSequence::OnHalted(bool WasRequested) {
    const I64 PC = m_T.State.Regs[REG_IDX_PC];
    const BP_STATES BPState = PC >= 0 ? m_T.BPs.GetEntry(U32(PC)).State : BP_STATE_OFF;
    m_T.State.Halted = 1;
    m_T.State.StateValid = 1;
    m_T.State.HasRunSinceTraceRead = 1;
    m_T.LogDebug("Target has halted and all halt conditions were passed");
    const bool IsAtHiddenBP = PC >= 0 && m_T.State.HiddenBPAddr == PC;
    m_T.BPs.ClearAllBreakpoints(BP_STATE_ON_HIDDEN);
    RestoreSavedBP();
    if (IsAtHiddenBP) {
        ReportHiddenBPHalt(PC);
    } else if (m_T.State.SessionReady) {
        const bool IsBreakpoint = BPState == BP_STATE_ON && !WasRequested;
        m_T.PostCompletion(JT_HALT, JOB_STATUS_DONE, PC, IsBreakpoint ? HR_BREAKPOINT : HR_USER);
    }
    m_T.State.HiddenBPJob = JT_NONE;
    m_T.State.HaltSeqActive = 0;
    m_T.State.SrcStepActive = 0;
}

// Wherever the run has ended, it is over. What the user has made of the breakpoint meanwhile stays.
void CHaltSequence::RestoreSavedBP() {
    const BPEntry Saved = std::exchange(m_T.State.SavedBP, BPEntry());
    const BPEntry Now = m_T.BPs.GetEntry(Saved.Addr);
    if (Saved.Valid && (!Now.Valid || Now.State == BP_STATE_DISABLED)) {
        m_T.BPs.RestoreEntry(Saved);
    }
}

void CHaltSequence::ReportHiddenBPHalt(I64 PC) {
    const U32 JobType = m_T.State.HiddenBPJob;
    if (JobTypeMatches(JT_STEP_ANY, JobType)) {
        // The step is over; its event must not be held back as one of an active step.
        m_T.State.SrcStepActive = 0;
        m_T.PostCompletion(JobType, JOB_STATUS_DONE, PC);
    } else if (JobType == JT_RUN_TO) {
        if (I32(PC) == m_T.Config.GetNumber(DEV_CFG_BREAK_ADDR)) {
            m_T.State.SessionReady = 1;
            m_T.PostCompletion(JT_RUN_TO, JOB_STATUS_DONE, PC);
        }
        m_T.PostCompletion(JT_HALT, JOB_STATUS_DONE, PC, HR_RUN_TO);
    }
}

void CHaltSequence::OnStepped() {
    m_T.Regs.UpdateTargetExecState();
    CSemiHostHook& SemiHost = m_T.SemiHost();
    const I64 PC = m_T.State.Regs[REG_IDX_PC];
    if (PC >= 0 && SemiHost.IsEnabled() && ICACHE_IsSemihostingTrap(U32(PC))) {
        SemiHost.AutoResume = 0;
        if (SemiHost.HandleInterrupt(U32(PC)) == 0 && SemiHost.AutoResume) {
            m_T.PostContinue(GO_USER);
        }
    }
}
