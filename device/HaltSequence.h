#pragma once

// What happens between two jobs: a halt of the target is seen, judged and reported, or the target goes on silently.
// Device thread, except that the main thread finishes a halt whose condition it was asked to evaluate; HaltSeqActive
// keeps the device thread out meanwhile.

#include "base/Types.h"

class CTarget;

class CHaltSequence {
public:
    explicit CHaltSequence(CTarget& Target) : m_T(Target) {}

    void CheckHandleNotifications();
    void CheckHandleHalt();
    void CheckHandleResume();

    /// The answer to a breakpoint condition.
    void FinishConditionalHalt(U32 PC, bool IsConditionTrue);
    void CompleteSrcStepAndContHaltSeq(U32 PC);

    /// All halt conditions were passed: the halt is reported to whom it concerns.
    void OnHalted();
    /// After a step that the user sees.
    void OnStepped();

private:
    void BeginHaltSequence();
    bool ResumeWhenSHIRQIsDiscarded(U32 PC);
    bool CheckHandleSemihostingIRQ(U32 PC);
    void EvalBPCondAndContinueHaltSeq(U32 PC);
    void RemoveHiddenBreakpoint();
    void ReportHiddenBPHalt(I64 PC);
    bool IsStopWanted(U32 PC) const;

    CTarget& m_T;
};
