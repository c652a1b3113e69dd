#include "device/RunControl.h"

#include "device/DeviceClock.h"
#include "device/DeviceEvents.h"
#include "device/JobQueue.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"
#include "elf/ElfApi.h"
#include "icache/InstStore.h"
#include "settings/SysVars.h"

namespace {

constexpr U64 RESET_HALT_TIMEOUT_MS = 2000;
constexpr U32 HALT_QUERY_INTERVAL_MS = 50; ///< a question is due when more than this has gone by

} // namespace

int CRunControl::ResetHardware() {
    if (!m_T.State.Connected) {
        m_T.LogDebug("Reset: not connected");
        return -1;
    }
    const auto Endian = ARM_ENDIAN(m_T.Config.GetNumber(DEV_CFG_ENDIAN));
    m_T.Novik.NOVIKARM_SetResetType(0);
    m_T.Novik.NOVIKARM_SetResetDelay(0);
    m_T.Novik.NOVIKARM_SetInitRegsOnReset(1);
    m_T.Novik.NOVIKARM_Halt();
    m_T.Novik.NOVIKARM_SetEndian(Endian);
    const int Result = m_T.Novik.NOVIKARM_Reset();
    m_T.Novik.NOVIKARM_Halt();
    m_T.Connection.ApplyDataEndianess(Endian);
    if (Result != 0) {
        m_T.LogWarn("Reset: NOVIK API call failed");
        return -1;
    }
    return 0;
}

int CRunControl::Reset(RESET_MODES Mode) {
    if (!m_T.State.Connected) {
        m_T.LogDebug("Reset: not connected");
        return -1;
    }
    if (Mode == RM_SILENT) {
        return ResetHardware() == 0 ? SettleSilentReset() : -1;
    }
    m_T.LogDebug("Resetting target...");
    if (ResetHardware() != 0) {
        return -1;
    }
    m_T.BPs.ClearAllBreakpoints(BP_STATE_ON_HIDDEN);
    return FinishReset(Mode);
}

// A script goes on at once: its next command must find the target halted, and the registers of the reset.
int CRunControl::SettleSilentReset() {
    if (m_T.State.Halted) {
        m_T.Regs.UpdateTargetExecState();
    } else {
        m_LastPollMs = 0;
        m_T.HaltSeq.CheckHandleHalt();
    }
    return 0;
}

int CRunControl::FinishReset(RESET_MODES) {
    if (WaitForHaltedOrTimeout(RESET_HALT_TIMEOUT_MS) != 0) {
        m_T.LogError("Target did not halt following reset");
        return -1;
    }
    // The reset reports this halt. If it were met again as one of a running target, behind a run to an address, its end
    // would clear that run's hidden breakpoint.
    m_T.State.Running = 0;
    m_T.State.HaltRequested = 0;
    m_T.State.HaltSeqActive = 0;
    m_T.State.SrcStepActive = 0;
    m_T.State.HiddenBPJob = JT_NONE;
    const int Result = m_T.Regs.UpdateTargetExecState();
    m_T.State.StateValid = Result == 0 ? 1 : 0;
    return Result;
}

int CRunControl::WaitForHaltedOrTimeout(U64 Timeout) {
    const U64 Start = m_T.Clock.NowMs();
    for (;;) {
        const bool IsHalted = m_T.State.Connected && IsTargetHalted();
        m_T.State.Halted = IsHalted;
        if (IsHalted) {
            return 0;
        }
        if (m_T.StopRequested || m_T.Clock.NowMs() - Start > Timeout) {
            return -1;
        }
        m_T.Clock.SleepMs(1);
    }
}

int CRunControl::Halt() {
    if (!m_T.State.Connected) {
        m_T.LogDebug("Halt: not connected");
        return -1;
    }
    if (m_T.Novik.NOVIKARM_Halt() != 0) {
        m_T.LogWarn("Halt: NOVIK API call failed");
        TestConnectionLost();
        return -1;
    }
    m_T.State.HaltRequested = 1;
    return 0;
}

// A breakpoint instruction built into the program would stop the target again at once.
void CRunControl::SkipBreakpointInst() {
    const I64 PC = m_T.State.Regs[REG_IDX_PC];
    U32 Size = 0;
    if (PC >= 0 && ICACHE_IsBreakpointInst(U32(PC), &Size)) {
        m_T.Regs.WritePC(U32(PC) + Size);
    }
}

int CRunControl::Continue() {
    if (!m_T.State.Connected) {
        m_T.LogDebug("Continue: not connected");
        return -1;
    }
    if (m_T.State.ConnectionLost) {
        m_T.LogDebug("Continue: connection lost");
        return -1;
    }
    if (!m_T.State.Halted) {
        m_T.LogDebug("Continue: not halted");
        return 0;
    }
    m_T.LogDebug("Resuming target...");
    SkipBreakpointInst();
    if (m_T.State.Regs[REG_IDX_PC] == 0) {
        m_T.Novik.NOVIKARM_Step();
    }
    m_T.Novik.NOVIKARM_GoEx(0, 1);
    m_T.State.Running = 1;
    m_T.State.StateValid = 0;
    m_T.State.Halted = 0;
    m_T.State.HaltRequested = 0;
    return 0;
}

// 0: a hidden breakpoint stands at Addr; 1: there is none, but the entry of Addr will do; -1: failure, logged.
int CRunControl::SetHiddenBreakpoint(U32 Addr) {
    const BPEntry Entry = m_T.BPs.GetEntry(Addr);
    if (Entry.State == BP_STATE_ON) {
        return 1;
    }
    if (Entry.State == BP_STATE_ON_HIDDEN) {
        return 0;
    }
    if (Entry.State == BP_STATE_DISABLED) {
        m_T.State.SavedBP = Entry;
    }
    const auto Fail = [&] {
        m_T.Report.PrintBreakpoint(Addr, BP_TYPES(SysVarValue(VAR_BREAKPOINT_TYPE)));
        m_T.Events.Log(DEV_LOG_WARN, "RunTo: could not set breakpoint on address %x", Addr);
        return -1;
    };
    const auto Type = BP_TYPES(SysVarValue(VAR_BREAKPOINT_TYPE));
    bool WasCleared = false;
    if (m_T.BPs.GetNovikBPHandle(Addr)) {
        if (Entry.Type == Type) {
            return 0;
        }
        if (m_T.BPs.ClearBreakpoint(Addr) != 0) {
            return Fail();
        }
        WasCleared = true;
    }
    if (m_T.Novik.NOVIKARM_SetBPEx(Addr, CTargetBreakpoints::GetNovikBPImplFlags(Addr, Type)) == 0) {
        if (!WasCleared) {
            return Fail();
        }
        m_T.Report.PrintBreakpoint(Addr, Type);
        m_T.BPs.List().Insert(Addr, BP_STATE_DISABLED, Type);
    }
    return 0;
}

int CRunControl::RunTo(U32 Addr) {
    if (!m_T.Stepper.IsStepPossible()) {
        m_T.LogDebug("run to: target not ready");
        return -1;
    }
    const int Result = SetHiddenBreakpoint(Addr);
    if (Result < 0) {
        return -1;
    }
    if (Result == 0) {
        m_T.State.HiddenBPAddr = Addr;
        if (m_T.State.HiddenBPJob == JT_NONE) {
            m_T.State.HiddenBPJob = JT_RUN_TO;
        }
    }
    m_T.PostContinue(GO_RUN_TO);
    return 1;
}

int CRunControl::PollTargetHaltStatus(U32 MinQueryIntervalMS) {
    if (!m_T.State.Connected) {
        return 0;
    }
    const U64 Now = m_T.Clock.NowMs();
    if (Now - m_LastPollMs <= MinQueryIntervalMS) {
        return POLL_TOO_EARLY;
    }
    m_LastPollMs = Now;
    const int Answer = m_T.Novik.NOVIKARM_IsHalted();
    // The library's own negative values must not be taken for "too early".
    return Answer < 0 ? -1 : Answer == 0 ? 0 : 1;
}

bool CRunControl::IsTargetHalted() {
    return m_T.State.Connected && (m_T.State.Halted || PollTargetHaltStatus(HALT_QUERY_INTERVAL_MS) == 1);
}

void CRunControl::TestConnectionLost() {
    if (m_T.Novik.NOVIKARM_IsHalted() < 0) {
        OnInvalidHaltStatus();
    }
}

void CRunControl::OnInvalidHaltStatus() {
    if (!m_T.State.Connected) {
        return;
    }
    m_T.LogWarn("Invalid connection status received");
    if (!m_T.State.ConnectionLost) {
        m_T.State.ConnectionLost = 1;
        m_T.State.StateValid = 0;
        m_T.Queue.CancelAll();
        m_T.Events.Post(DEV_EVENT_CONNECTION_LOST);
    }
}

int CRunControl::InitTargetSPandPC() {
    const I64 Base = ElfApi_GetBaseAddr();
    I64 Entry = ElfApi_GetEntryPointPC();
    if (m_T.Facts.IsCortexM() && Base >= 0) {
        // The vector table: initial SP, then the reset vector.
        U32 SP = 0;
        U32 PC = 0;
        if (m_T.Memory.ReadWord(U32(Base), &SP) == 0 &&
            m_T.Regs.WriteReg(U32(m_T.Regs.GetNovikRegIdx(REG_IDX_SP)), SP) == 0) {
            m_T.State.Regs[REG_IDX_SP] = SP;
        }
        if (m_T.Memory.ReadWord(U32(Base) + 4, &PC) != 0) {
            return -1;
        }
        Entry = PC;
    } else if (!m_T.Facts.IsCortexM() && Entry < 0) {
        Entry = Base;
    }
    if (Entry < 0) {
        return 0;
    }
    return m_T.Regs.WritePC(U32(Entry)) ? 0 : -1;
}
