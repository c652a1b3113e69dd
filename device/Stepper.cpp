#include "device/Stepper.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"
#include "icache/InstStore.h"

#include <algorithm>

namespace {

enum STEP_RESULTS : int {
    STEP_STOPPED = -1, ///< for an outer reason
    STEP_ARRIVED = 0,
    STEP_CALL_ENTERED = 1,
    STEP_CIRCULAR = 2,
    STEP_BUDGET_USED = 3,
    STEP_GO_ON = 4, ///< of one judgement: walk on
};

constexpr int JOB_GOES_ON = 1; ///< the step has become a run
constexpr U32 FIRST_WALK = 2;  ///< instructions walked before a run is looked for
constexpr U32 TRAP_SIZE = 2;
constexpr U32 THUMB_BL_MASK = 0xF800;
constexpr U32 THUMB_BL_PREFIX = 0xF000; ///< first half of a BL of two halfwords, on cores without Thumb-2

bool IsSameFunc(U32 A, U32 B) { return ElfApi_GetFuncAtAddr(A) == ElfApi_GetFuncAtAddr(B); }

} // namespace

bool CStepper::IsStepPossible() const {
    return m_T.State.Connected && m_T.Run.IsTargetHalted() && m_T.State.HiddenBPAddr < 0;
}

int CStepper::CheckStepPossible() {
    if (!m_T.State.Connected) {
        m_T.LogDebug("cannot step. target not connected");
    } else if (!m_T.Run.IsTargetHalted()) {
        m_T.LogDebug("cannot step. target not halted");
    } else if (m_T.State.HiddenBPAddr >= 0) {
        m_T.LogWarn("cannot step. hidden breakpoint is set");
    } else {
        return 0;
    }
    return -1;
}

int CStepper::StepInstBasic() {
    if (!m_T.State.Connected) {
        return -1;
    }
    U32 PC = 0;
    if (m_T.Regs.ReadPC(&PC) && ICACHE_IsSemihostingTrap(PC)) {
        m_T.Regs.WritePC(PC + TRAP_SIZE);
    }
    const int Result = m_T.Novik.NOVIKARM_Step();
    m_T.State.ReturnAddr = -1;
    m_T.State.HasRunSinceTraceRead = 1;
    if (Result != 0) {
        m_T.Run.TestConnectionLost();
    }
    return Result;
}

int CStepper::StepInst() {
    if (CheckStepPossible() != 0) {
        return -1;
    }
    const int Result = StepInstBasic();
    m_T.HaltSeq.OnStepped();
    return Result == 0 ? 0 : -1;
}

bool CStepper::IsSameLine(const CSrcLoc& A, const CSrcLoc& B) { return A.IsValid() && A == B; }

bool CStepper::HasSrcPosition(U64 hFunc) { return hFunc != 0 && ElfApi_GetSymSrcLoc(hFunc).IsValid(); }

// False if the array is full. A BL of two halfwords counts for both: a step may stop between them.
bool CStepper::NoteVisited(U32 PC) {
    if (m_Ctx.Count >= MAX_STEP_INSTS) {
        return false;
    }
    m_Ctx.aVisited[m_Ctx.Count++] = PC;
    if (m_T.Facts.InstSet == 1 && m_Ctx.Count < MAX_STEP_INSTS && ICACHE_GetMode(PC) == ICACHE_MODE_THUMB) {
        const I64 HalfWord = ICACHE_GetInstBits(PC, 2);
        if (HalfWord >= 0 && (HalfWord & THUMB_BL_MASK) == THUMB_BL_PREFIX) {
            m_Ctx.aVisited[m_Ctx.Count++] = PC + 2;
        }
    }
    return true;
}

bool CStepper::IsVisited(U32 PC) const {
    const auto End = m_Ctx.aVisited.begin() + m_Ctx.Count;
    return std::find(m_Ctx.aVisited.begin(), End, PC) != End;
}

// A breakpoint in the line that the step started on doesn't end the step.
bool CStepper::IsUserBreakpoint(U32 PC, const CSrcLoc& Start) const {
    return m_T.BPs.GetEntry(PC).State == BP_STATE_ON && !IsSameLine(ElfApi_GetSrcLoc(PC), Start);
}

void CStepper::StepIntoSimple() {
    U32 PC = 0;
    m_T.Regs.ReadPC(&PC);
    const CSrcLoc Start = ElfApi_GetSrcLoc(PC);
    const U64 hStartFunc = ElfApi_GetFuncAtAddr(PC);
    const char* sReason = nullptr;
    U32 NumSteps = 0;
    m_Ctx.Count = 0;
    while (!sReason && NumSteps < MAX_STEP_INSTS && !m_T.StopRequested && NoteVisited(PC)) {
        if (StepInstBasic() != 0 || !m_T.Regs.ReadPC(&PC)) {
            break;
        }
        NumSteps++;
        const CSrcLoc Pos = ElfApi_GetSrcLoc(PC);
        const U64 hFunc = ElfApi_GetFuncAtAddr(PC);
        if (IsUserBreakpoint(PC, Start)) {
            sReason = "User breakpoint hit";
        } else if (IsVisited(PC)) {
            sReason = "Circular step sequence encountered";
        } else if (Pos.IsValid() && !IsSameLine(Pos, Start)) {
            sReason = "PC is on a new source line";
        } else if (hFunc == 0 && hStartFunc != 0) {
            sReason = "Unknown function was entered";
        } else if (!HasSrcPosition(hFunc)) {
            sReason = "Function was entered that has no source line info";
        }
    }
    if (sReason) {
        m_T.LogDebug(sReason);
    }
    m_T.Events.Log(DEV_LOG_DEBUG, "Stepped %d machine instruction(s)", int(NumSteps));
}

int CStepper::FinishSrcStep() {
    m_T.HaltSeq.OnStepped();
    m_T.State.SrcStepActive = 0;
    return 0;
}

int CStepper::StepInto() {
    if (CheckStepPossible() != 0) {
        return -1;
    }
    m_T.LogDebug("-------------------- Step Into -------------------------");
    m_T.State.SrcStepActive = 1;
    StepIntoSimple();
    return FinishSrcStep();
}

void CStepper::StoreContext() {
    U32 PC = 0;
    U32 SP = 0;
    m_T.Regs.ReadPC(&PC);
    m_T.Regs.ReadSP(&SP);
    m_Ctx.Count = 0;
    m_Ctx.StartPC = PC;
    m_Ctx.StartSP = SP;
    m_Ctx.StartReturnAddr = m_T.State.ReturnAddr;
    m_Ctx.Start = ElfApi_GetSrcLoc(PC);
    m_Ctx.Start.Col = 0;
    m_Ctx.hStartFunc = ElfApi_GetFuncAtAddr(PC);
    m_Ctx.hReturnFunc = m_Ctx.StartReturnAddr >= 0 ? ElfApi_GetFuncAtAddr(U32(m_Ctx.StartReturnAddr)) : 0;
}

// Where the instruction stepped last goes on after a call.
I64 CStepper::ReturnAddrOfLastCall() const {
    if (m_Ctx.Count == 0) {
        return -1;
    }
    const U32 Addr = m_Ctx.aVisited[m_Ctx.Count - 1];
    return (I64(Addr) + ICACHE_GetInstSize(Addr)) & ~I64(1);
}

int CStepper::JudgeStepOver(U32 PC, U32 SP, U32 MaxSingleSteps) {
    const U64 hFunc = ElfApi_GetFuncAtAddr(PC);
    const bool IsCall = hFunc && hFunc != m_Ctx.hStartFunc && hFunc != m_Ctx.hReturnFunc && SP <= m_Ctx.StartSP;
    const CSrcLoc Pos = ElfApi_GetSrcLoc(PC);
    const auto End = [this](const char* sReason, int Result) {
        m_T.LogDebug(sReason);
        return Result;
    };
    if (IsUserBreakpoint(PC, m_Ctx.Start)) {
        return End("User breakpoint hit", STEP_ARRIVED);
    }
    if (IsVisited(PC)) {
        return End("Circular step sequence encountered", STEP_CIRCULAR);
    }
    if (IsCall) {
        m_T.State.ReturnAddr = ReturnAddrOfLastCall();
        return End("Function was entered", STEP_CALL_ENTERED);
    }
    if (Pos.IsValid() && !IsSameLine(Pos, m_Ctx.Start)) {
        return End("PC is on a new source line", STEP_ARRIVED);
    }
    if (!hFunc && m_Ctx.hStartFunc) {
        m_T.State.ReturnAddr = ReturnAddrOfLastCall();
        return End("Unknown function was entered", STEP_CALL_ENTERED);
    }
    if (m_T.State.CurFunc && !HasSrcPosition(m_T.State.CurFunc)) {
        return End("Function was entered that has no source line info", STEP_ARRIVED);
    }
    if (m_Ctx.Count >= MaxSingleSteps) {
        return End("Maximum step count reached", STEP_BUDGET_USED);
    }
    return m_T.StopRequested ? STEP_STOPPED : STEP_GO_ON;
}

int CStepper::StepOverSimple(U32 MaxSingleSteps) {
    U32 PC = 0;
    U32 SP = 0;
    int Result = m_T.Regs.ReadPC(&PC) ? int(STEP_GO_ON) : int(STEP_STOPPED);
    while (Result == STEP_GO_ON) {
        if (!NoteVisited(PC) || StepInstBasic() != 0 || !m_T.Regs.ReadPC(&PC) || !m_T.Regs.ReadSP(&SP)) {
            Result = STEP_STOPPED;
        } else {
            Result = JudgeStepOver(PC, SP, MaxSingleSteps);
        }
    }
    m_T.Events.Log(DEV_LOG_DEBUG, "Stepped a total of %d machine instruction(s)", int(m_Ctx.Count));
    return Result;
}

// Lowest address of the next line with code, if the program can only get there straight on; -1 otherwise.
I64 CStepper::FindRunTarget() const {
    const I64 Addr = m_Ctx.Start.IsValid() ? ElfApi_GetAddr(ElfApi_GetNextCodeLine(m_Ctx.Start)) : -1;
    if (Addr <= I64(m_Ctx.StartPC) || !IsSameFunc(U32(Addr), m_Ctx.StartPC)) {
        return -1;
    }
    return ICACHE_HasBranchInRange(m_Ctx.StartPC, U32(Addr)) ? -1 : Addr;
}

int CStepper::RunForStep(U32 JobType, U32 Addr) {
    m_T.State.HiddenBPJob = JobType;
    const int Result = m_T.Run.RunTo(Addr);
    if (Result != JOB_GOES_ON) {
        m_T.State.HiddenBPJob = JT_NONE;
    }
    return Result;
}

int CStepper::LeaveCall() {
    m_T.LogDebug("Stepping out");
    const I64 ReturnAddr = m_T.State.ReturnAddr;
    if (ReturnAddr == m_T.State.Regs[REG_IDX_PC]) {
        return 0;
    }
    return ReturnAddr < 0 ? StepOut() : RunForStep(JT_STEP_OVER, U32(ReturnAddr));
}

int CStepper::LeaveCircle() {
    m_T.LogDebug("Stepping out of circular instruction sequence");
    const U32 PC = U32(m_T.State.Regs[REG_IDX_PC]);
    const I64 Addr = ElfApi_GetNextLineAddr(PC);
    return Addr >= 0 && IsSameFunc(U32(Addr), PC) ? RunForStep(JT_STEP_OVER, U32(Addr)) : 0;
}

int CStepper::StepOver(U8 DoStoreContext) {
    if (CheckStepPossible() != 0) {
        return -1;
    }
    m_T.LogDebug("-------------------- Step Over -------------------------");
    m_T.State.SrcStepActive = 1;
    if (DoStoreContext) {
        StoreContext();
    }
    int Result = StepOverSimple(FIRST_WALK);
    if (Result != STEP_ARRIVED) {
        const I64 Addr = FindRunTarget();
        if (Addr >= 0 && RunForStep(JT_STEP_OVER, U32(Addr)) == JOB_GOES_ON) {
            return JOB_GOES_ON;
        }
    }
    if (Result == STEP_BUDGET_USED) {
        Result = StepOverSimple(MAX_STEP_INSTS);
    }
    m_T.Events.PostText(DEV_EVENT_SET_STATUS_MSG, "CPU halted");
    if ((Result == STEP_CALL_ENTERED && LeaveCall() == JOB_GOES_ON) ||
        (Result == STEP_CIRCULAR && LeaveCircle() == JOB_GOES_ON)) {
        return JOB_GOES_ON;
    }
    return FinishSrcStep();
}

int CStepper::CompleteSrcStepOnHiddenBP(U32 PC) {
    const U32 JobType = m_T.State.HiddenBPJob;
    const QList<CSrcLoc> Locs = ElfApi_GetSrcLocs(PC);
    const bool IsArrived = !Locs.isEmpty() && (PC == m_Ctx.StartPC || !Locs.contains(m_Ctx.Start));
    if ((JobType != JT_STEP_INTO && JobType != JT_STEP_OVER) || IsArrived) {
        return FinishSrcStep();
    }
    m_T.LogDebug("Continueing source step after resume/halt cycle");
    m_T.BPs.ClearAllBreakpoints(BP_STATE_ON_HIDDEN);
    return StepOver(0) == JOB_GOES_ON ? JOB_GOES_ON : FinishSrcStep();
}

void CStepper::StepOutSimple() {
    U32 PC = 0;
    U32 StartSP = 0;
    if (!m_T.Regs.ReadPC(&PC) || !m_T.Regs.ReadSP(&StartSP)) {
        return;
    }
    const I64 LR = m_T.State.Regs[REG_IDX_LR];
    const bool HasStartFunc = ElfApi_GetFuncAtAddr(PC) != 0;
    const char* sReason = nullptr;
    U32 NumSteps = 0;
    while (!sReason && NumSteps < MAX_STEP_INSTS && !m_T.StopRequested) {
        U32 SP = 0;
        if (StepInstBasic() != 0 || !m_T.Regs.ReadPC(&PC) || !m_T.Regs.ReadSP(&SP)) {
            break;
        }
        NumSteps++;
        if (SP > StartSP) {
            sReason = "Function was exited";
        } else if (!HasStartFunc && SP == StartSP && ElfApi_GetFuncAtAddr(PC)) {
            sReason = "PC entered a program function from a non-program function";
        } else if (LR >= 0 && PC == U32(LR & ~I64(1))) {
            sReason = "PC adopted LR value";
        }
    }
    if (sReason) {
        m_T.LogDebug(sReason);
    }
    m_T.Events.Log(DEV_LOG_DEBUG, "Stepped %d machine instruction(s)", int(NumSteps));
}

int CStepper::StepOut() {
    if (CheckStepPossible() != 0) {
        return -1;
    }
    m_T.LogDebug("-------------------- Step Out -------------------------");
    m_T.Events.PostText(DEV_EVENT_SET_STATUS_MSG, "Stepping out...");
    m_T.State.SrcStepActive = 1;
    const I64 ReturnAddr = m_T.State.ReturnAddr;
    if (ReturnAddr >= 0 && RunForStep(JT_STEP_OUT, U32(ReturnAddr)) == JOB_GOES_ON) {
        return JOB_GOES_ON;
    }
    StepOutSimple();
    return FinishSrcStep();
}
