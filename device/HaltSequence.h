#pragma once

// What happens between two jobs: a halt of the target is seen, judged and reported, or the target goes on silently.
// A halt at a breakpoint with a condition waits for the main thread's answer; HaltSeqActive holds the sequence
// meanwhile. Device thread.

#include "base/Types.h"

class CTarget;

/// How often a halted target is asked whether it still answers: a lost connection is to be told within a second.
constexpr U32 HALTED_POLL_INTERVAL_MS = 400;

class CHaltSequence {
public:
    explicit CHaltSequence(CTarget& Target) : m_T(Target) {}

    void CheckHandleNotifications();
    void CheckHandleHalt();
    void CheckHandleResume();

    /// Longest wait for jobs until the target is to be asked again, in ms; WAIT_FOR_EVER without a target.
    U32 GetIdleMs() const;

    void CompleteSrcStepAndContHaltSeq(U32 PC);

    /// All halt conditions were passed: the halt is reported to whom it concerns. A halt that was asked for is the
    /// user's, whatever breakpoint lies there.
    void OnHalted(bool WasRequested = false);
    /// After a step that the user sees.
    void OnStepped();

private:
    bool BeginHaltSequence();
    void CheckHandleConditionAnswer();
    void FinishDeferredConnect();
    void FinishDeferredReset();
    void FinishDeferredInit();
    bool ResumeWhenSHIRQIsDiscarded(U32 PC);
    bool CheckHandleSemihostingIRQ(U32 PC);
    void EvalBPCondAndContinueHaltSeq(U32 PC);
    void RestoreSavedBP();
    void ReportHiddenBPHalt(I64 PC);
    bool IsStopWanted(U32 PC) const;

    CTarget& m_T;
};
