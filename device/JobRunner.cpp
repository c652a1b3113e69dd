#include "device/JobRunner.h"

#include "device/DeviceEvents.h"
#include "device/JobQueue.h"
#include "device/JobTable.h"
#include "device/Target.h"

namespace {

constexpr int RING_READS = 1;
constexpr int RING_BACKGROUND = 2;
constexpr int RESULT_GOES_ON = 1; ///< of a step: the halt sequence reports it

bool ChangesRunState(U32 Type) {
    return Type == JT_RESET || Type == JT_HALT || Type == JT_CONTINUE || JobTypeMatches(JT_STEP_ANY, Type);
}

bool IsSrcStep(U32 Type) { return Type == JT_STEP_INTO || Type == JT_STEP_OVER || Type == JT_STEP_OUT; }

} // namespace

int CJobRunner::RunPass() {
    int NumJobs = 0;
    for (; NumJobs < MAX_JOBS_PER_PASS; NumJobs++) {
        m_T.HaltSeq.CheckHandleNotifications();
        m_T.HaltSeq.CheckHandleHalt();
        m_T.HaltSeq.CheckHandleResume();
        Job* pJob = m_T.Queue.Pick();
        if (!pJob) {
            break;
        }
        RunJob(pJob);
        if (m_T.NumLockWaiters != 0) {
            return NumJobs + 1;
        }
    }
    return NumJobs;
}

void CJobRunner::RunJob(Job* pJob) {
    if (!m_T.Queue.IsPending(pJob, pJob->SeqNo)) {
        pJob->Status = JOB_STATUS_DROPPED;
        m_T.Queue.Finish(pJob);
        if (IsDataRead(pJob->Type)) {
            m_T.PostJobEvent(pJob); // what it was to read is to be asked for anew
        } else {
            m_T.Queue.Release(pJob);
        }
        m_T.Queue.NotifyFinished();
        return;
    }
    CancelOutdatedReads(pJob->Type);
    // A target that is halted already needs no halt; asking the probe would count as a halt request later.
    const bool IsNeedless = pJob->Type == JT_HALT && m_T.State.Halted;
    m_T.Report.Begin();
    Complete(pJob, IsNeedless ? 0 : GetJobTypeRow(pJob->Type).pfRun(m_T, *pJob));
}

// Reads queued before a run-state change would read a different target.
void CJobRunner::CancelOutdatedReads(U32 Type) {
    if (ChangesRunState(Type)) {
        m_T.Queue.Cancel(JT_ANY, RING_BACKGROUND);
        m_T.Queue.Cancel(JT_ANY, RING_READS);
    }
}

void CJobRunner::Complete(Job* pJob, int Result) {
    pJob->Status = Result == -1 ? JOB_STATUS_FAILED : Result < 0 ? JOB_STATUS_DROPPED : JOB_STATUS_DONE;
    if (Result < 0) {
        m_T.Report.PrintFailure(*pJob);
        m_T.Queue.NoteFailed(*pJob);
    }
    const U32 Type = pJob->Type;
    bool IsReported = pJob->Status != JOB_STATUS_DROPPED;
    if (IsReported) {
        if (Type == JT_RESET || JobTypeMatches(JT_STEP_ANY, Type)) {
            pJob->Result[0] = m_T.State.Regs[REG_IDX_PC];
        }
        if (Type == JT_HALT || Type == JT_RUN_TO || (IsSrcStep(Type) && Result == RESULT_GOES_ON)) {
            IsReported = false;
        }
        if (Type == JT_WRITE_REG || Type == JT_WRITE_LOCATION) {
            m_T.Regs.UpdateTargetExecState();
        }
    }
    m_T.Queue.Finish(pJob);
    if (IsReported) {
        m_T.PostJobEvent(pJob);
    } else {
        m_T.Queue.Counters().NumSilent++;
        m_T.Queue.Release(pJob);
    }
    m_T.Queue.NotifyFinished();
}
