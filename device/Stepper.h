#pragma once

// Source steps from single instruction steps and hidden breakpoints: short stretches are walked and judged after each
// instruction with the line table, longer ones become a run to a hidden breakpoint. Device thread.

#include "base/Types.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"

#include <array>

class CTarget;

constexpr U32 MAX_STEP_INSTS = 1000; ///< instructions walked in one go

class CStepper {
public:
    explicit CStepper(CTarget& Target) : m_T(Target) {}

    /// Bodies of the step jobs: 0, -1 if no step is possible, 1 if the step goes on as a run.
    int StepInst();
    int StepInto();
    int StepOver(U8 DoStoreContext);
    int StepOut();

    /// One instruction at the library; a semihosting trap is passed over.
    int StepInstBasic();
    /// The target can be stepped or run to an address. 0 or -1, with sPrefix's message logged.
    bool IsStepPossible() const;
    int CheckStepPossible();
    /// The halt sequence comes here from a hidden breakpoint. 1: the step goes on.
    int CompleteSrcStepOnHiddenBP(U32 PC);

private:
    struct CONTEXT {
        U32 Count = 0; ///< entries used in aVisited
        U32 StartPC = 0;
        U32 StartSP = 0;
        I64 StartReturnAddr = -1;
        CSrcLoc Start;
        U64 hStartFunc = 0;
        U64 hReturnFunc = 0;
        std::array<U32, MAX_STEP_INSTS> aVisited;
    };

    void StoreContext();
    bool NoteVisited(U32 PC);
    bool IsVisited(U32 PC) const;
    bool IsUserBreakpoint(U32 PC, const CSrcLoc& Start) const;
    I64 ReturnAddrOfLastCall() const;
    void StepIntoSimple();
    int StepOverSimple(U32 MaxSingleSteps);
    int JudgeStepOver(U32 PC, U32 SP, U32 MaxSingleSteps);
    void StepOutSimple();
    I64 FindRunTarget() const;
    int RunForStep(U32 Job, U32 Addr);
    int LeaveCall();
    int LeaveCircle();
    int FinishSrcStep();

    static bool IsSameLine(const CSrcLoc& A, const CSrcLoc& B);
    static bool HasSrcPosition(U64 hFunc);

    CTarget& m_T;
    CONTEXT m_Ctx;
};
