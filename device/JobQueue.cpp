#include "device/JobQueue.h"

#include "device/JobTable.h"

#include <algorithm>
#include <chrono>

CJobQueue::CJobQueue() = default;

CJobQueue::~CJobQueue() {
    for (RING& Ring : m_aRings) {
        for (Job& J : Ring.aJobs) {
            JobFreeBufs(&J);
        }
    }
    for (Job& J : m_aCompletions) {
        JobFreeBufs(&J);
    }
}

int CJobQueue::Schedule(Job& J) {
    if (!IsValidJob(J)) {
        JobFreeBufs(&J);
        return JOB_INVALID;
    }
    {
        std::lock_guard Lock(m_Mutex);
        const U32 RingIdx = GetJobTypeRow(J.Type).Ring;
        RING& Ring = m_aRings[RingIdx];
        Job& Slot = Ring.aJobs[Ring.Tail];
        if (Slot.Type != JT_NONE) {
            JobFreeBufs(&J);
            return JOB_RING_FULL;
        }
        J.SeqNo = m_NextSeqNo++;
        J.Queue = RingIdx;
        J.Flags |= JOB_FLAG_PENDING;
        Slot = J;
        Ring.Tail = (Ring.Tail + 1) % JOB_RING_SIZE;
        Ring.NumWaiting++;
    }
    Wake();
    return JOB_SCHEDULED;
}

Job* CJobQueue::Pick() {
    std::lock_guard Lock(m_Mutex);
    for (RING& Ring : m_aRings) {
        if (Ring.NumWaiting) {
            Job* pJob = &Ring.aJobs[Ring.Head];
            Ring.Head = (Ring.Head + 1) % JOB_RING_SIZE;
            Ring.NumWaiting--;
            m_pRunning = pJob;
            m_IsRunCancelled.store(false, std::memory_order_relaxed);
            m_Counters.NumStarted++;
            return pJob;
        }
    }
    return nullptr;
}

void CJobQueue::Finish(Job* pJob) {
    std::lock_guard Lock(m_Mutex);
    pJob->Flags &= ~JOB_FLAG_PENDING;
    m_pRunning = nullptr;
}

void CJobQueue::NotifyFinished() {
    {
        std::lock_guard Lock(m_FinishMutex);
        m_NumFinished++;
    }
    m_Finished.notify_all();
}

void CJobQueue::Release(Job* pJob) {
    JobFreeBufs(pJob);
    m_Counters.NumReleased++;
    std::lock_guard Lock(m_Mutex);
    *pJob = Job();
}

Job* CJobQueue::NewCompletion(U32 Type) {
    std::lock_guard Lock(m_Mutex);
    Job* pJob = &m_aCompletions[m_CompletionIdx];
    m_CompletionIdx = (m_CompletionIdx + 1) % JOB_RING_SIZE;
    *pJob = Job();
    pJob->Type = Type;
    pJob->Queue = NUM_JOB_RINGS;
    return pJob;
}

const Job* CJobQueue::FindWaiting(U32 Ring, U32 Type, U32* pIdx) const {
    const RING& R = m_aRings[Ring];
    for (U32 i = 0; i < R.NumWaiting; i++) {
        const U32 Idx = (R.Head + i) % JOB_RING_SIZE;
        if (JobTypeMatches(Type, R.aJobs[Idx].Type)) {
            *pIdx = Idx;
            return &R.aJobs[Idx];
        }
    }
    return nullptr;
}

int CJobQueue::Find(U32 Type, int RingSel, U32* pRing) const {
    std::lock_guard Lock(m_Mutex);
    for (U32 Ring = 0; Ring < 3; Ring++) {
        const bool IsWanted = RingSel == RING_ALL || int(Ring) == RingSel ||
                              (RingSel == RING_OF_TYPE && Ring == GetJobTypeRow(Type).Ring);
        U32 Idx = 0;
        if (IsWanted && FindWaiting(Ring, Type, &Idx)) {
            if (pRing) {
                *pRing = Ring;
            }
            return int(Idx);
        }
    }
    return -1;
}

bool CJobQueue::IsQueued(U32 Type) const { return Find(Type, Type == JT_STEP_ANY ? 0 : RING_OF_TYPE) >= 0; }

bool CJobQueue::IsIdle() const {
    const std::lock_guard Lock(m_Mutex);
    return m_pRunning == nullptr &&
           std::all_of(m_aRings.begin(), m_aRings.end(), [](const RING& R) { return R.NumWaiting == 0; });
}

int CJobQueue::TakePending(U32 Ring, U32 Type, bool AlsoProtected) {
    RING& R = m_aRings[Ring];
    int Count = 0;
    for (U32 i = 0; i < R.NumWaiting; i++) {
        Job& J = R.aJobs[(R.Head + i) % JOB_RING_SIZE];
        if (JobTypeMatches(Type, J.Type) && (J.Flags & JOB_FLAG_PENDING) &&
            (AlsoProtected || !(J.Flags & JOB_FLAG_PROTECTED))) {
            J.Flags &= ~JOB_FLAG_PENDING;
            NoteFailed(J);
            Count++;
        }
    }
    m_Counters.NumCancelled += U64(Count);
    return Count;
}

int CJobQueue::Cancel(U32 Type, int RingSel) {
    std::lock_guard Lock(m_Mutex);
    int Count = 0;
    for (U32 Ring = 0; Ring < 3; Ring++) {
        if (RingSel == RING_ALL || int(Ring) == RingSel ||
            (RingSel == RING_OF_TYPE && Ring == GetJobTypeRow(Type).Ring)) {
            Count += TakePending(Ring, Type, false);
        }
    }
    return Count;
}

int CJobQueue::CancelAll() {
    std::lock_guard Lock(m_Mutex);
    int Count = 0;
    for (U32 Ring = 0; Ring < NUM_JOB_RINGS; Ring++) {
        Count += TakePending(Ring, JT_ANY, false);
    }
    return Count;
}

void CJobQueue::MarkAllDone() {
    std::lock_guard Lock(m_Mutex);
    for (U32 Ring = 0; Ring < NUM_JOB_RINGS; Ring++) {
        TakePending(Ring, JT_ANY, true);
    }
}

int CJobQueue::CancelNumbered(U64 First, U64 Last) {
    std::lock_guard Lock(m_Mutex);
    int Count = 0;
    for (RING& R : m_aRings) {
        for (U32 i = 0; i < R.NumWaiting; i++) {
            Job& J = R.aJobs[(R.Head + i) % JOB_RING_SIZE];
            if (J.SeqNo >= First && J.SeqNo <= Last && (J.Flags & JOB_FLAG_PENDING)) {
                J.Flags &= ~JOB_FLAG_PENDING;
                NoteFailed(J);
                Count++;
            }
        }
    }
    m_Counters.NumCancelled += U64(Count);
    if (m_pRunning && m_pRunning->SeqNo >= First && m_pRunning->SeqNo <= Last) {
        m_IsRunCancelled.store(true, std::memory_order_relaxed);
        Count++;
    }
    return Count;
}

bool CJobQueue::CancelRunning(std::initializer_list<U32> Types) {
    std::lock_guard Lock(m_Mutex);
    if (!m_pRunning || std::find(Types.begin(), Types.end(), m_pRunning->Type) == Types.end()) {
        return false;
    }
    m_IsRunCancelled.store(true, std::memory_order_relaxed);
    return true;
}

void CJobQueue::NoteFailed(const Job& J) {
    std::atomic<U64>& Last = m_aLastFailed[J.Type];
    U64 Known = Last.load(std::memory_order_relaxed);
    while (Known < J.SeqNo && !Last.compare_exchange_weak(Known, J.SeqNo, std::memory_order_acq_rel)) {
    }
}

const Job* CJobQueue::FindUnfinished(U32 Type, U64* pSeqNo) const {
    std::lock_guard Lock(m_Mutex);
    const Job* pFound = nullptr;
    if (m_pRunning && JobTypeMatches(Type, m_pRunning->Type)) {
        pFound = m_pRunning;
    }
    for (U32 Ring = 0; Ring < NUM_JOB_RINGS && !pFound; Ring++) {
        U32 Idx = 0;
        pFound = FindWaiting(Ring, Type, &Idx);
    }
    if (!pFound || !(pFound->Flags & JOB_FLAG_PENDING)) {
        return nullptr;
    }
    *pSeqNo = pFound->SeqNo;
    return pFound;
}

bool CJobQueue::IsUnfinished(U64 First, U64 Last, U32 Type) const {
    const auto IsOne = [=](const Job& J) {
        return J.SeqNo >= First && J.SeqNo <= Last && JobTypeMatches(Type, J.Type) && (J.Flags & JOB_FLAG_PENDING);
    };
    std::lock_guard Lock(m_Mutex);
    if (m_pRunning && IsOne(*m_pRunning)) {
        return true;
    }
    for (const RING& R : m_aRings) {
        for (U32 i = 0; i < R.NumWaiting; i++) {
            if (IsOne(R.aJobs[(R.Head + i) % JOB_RING_SIZE])) {
                return true;
            }
        }
    }
    return false;
}

bool CJobQueue::IsPending(const Job* pJob, U64 SeqNo) const {
    std::lock_guard Lock(m_Mutex);
    return pJob->SeqNo == SeqNo && (pJob->Flags & JOB_FLAG_PENDING);
}

U64 CJobQueue::LastSeqNo() const {
    std::lock_guard Lock(m_Mutex);
    return m_NextSeqNo - 1;
}

void CJobQueue::SetSuppressed(U32 Type, U8 Value) {
    if (Type < JT_LAST) {
        m_aSuppressed[Type].store(Value, std::memory_order_release);
    }
}

bool CJobQueue::WaitForWork(U32 TimeoutMs) {
    std::unique_lock Lock(m_WakeMutex);
    const auto HasCome = [this] { return m_HasWork; };
    if (TimeoutMs == WAIT_FOR_EVER) {
        m_Wake.wait(Lock, HasCome);
    }
    const bool HasWork = m_Wake.wait_for(Lock, std::chrono::milliseconds(TimeoutMs), HasCome);
    m_HasWork = false;
    return HasWork;
}

void CJobQueue::Wake() {
    {
        std::lock_guard Lock(m_WakeMutex);
        m_HasWork = true;
    }
    m_Wake.notify_one();
}

U64 CJobQueue::NumFinished() {
    std::lock_guard Lock(m_FinishMutex);
    return m_NumFinished;
}

void CJobQueue::WaitForFinished(U64 NumSeen, U32 TimeoutMs) {
    std::unique_lock Lock(m_FinishMutex);
    m_Finished.wait_for(Lock, std::chrono::milliseconds(TimeoutMs), [&] { return m_NumFinished != NumSeen; });
}
