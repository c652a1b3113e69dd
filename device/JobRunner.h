#pragma once

// Takes jobs from the queue and runs their bodies, with the rules that hold before and after a run. Device thread.

#include "device/Job.h"

class CTarget;

constexpr int MAX_JOBS_PER_PASS = 100;

class CJobRunner {
public:
    explicit CJobRunner(CTarget& Target) : m_T(Target) {}

    /// Looks at the target, then runs one job, and so on until no job is left or 100 have run; returns the number.
    int RunPass();

private:
    void RunJob(Job* pJob);
    void CancelOutdatedReads(U32 Type);
    void Complete(Job* pJob, int Result);

    CTarget& m_T;
};
