#pragma once

// The job rings: fixed records between any number of threads that schedule and the device thread that runs. A record
// stays in its slot from scheduling until its event has been delivered, so a ring is full when the slot at its tail
// has not been released yet.

#include "device/Job.h"
#include "device/SharedValue.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <initializer_list>
#include <mutex>

constexpr U32 NUM_JOB_RINGS = 5; ///< only the first three are used
constexpr U32 JOB_RING_SIZE = 10000;
constexpr int RING_OF_TYPE = 3; ///< ring selector: the ring of the type asked for
constexpr int RING_ALL = 4;

constexpr U32 WAIT_FOR_EVER = 0xFFFFFFFF;

constexpr int JOB_SCHEDULED = 0;
constexpr int JOB_INVALID = -1;
constexpr int JOB_RING_FULL = -2;

class CJobQueue {
public:
    CJobQueue();
    CJobQueue(const CJobQueue&) = delete;
    CJobQueue& operator=(const CJobQueue&) = delete;
    ~CJobQueue();

    /// Copies the record into its ring, which owns the buffers from then on; J gets its ring and sequence number. A
    /// record that can't be scheduled loses its buffers. JOB_SCHEDULED, JOB_INVALID or JOB_RING_FULL. Any thread.
    int Schedule(Job& J);
    /// Next record to run, by ring and then by age; null if there is none. Device thread.
    Job* Pick();
    /// Ends the run of a picked record: it no longer counts as pending. Device thread; NotifyFinished() follows when
    /// its event is on its way.
    void Finish(Job* pJob);
    void NotifyFinished();
    /// Frees the record's buffers and its slot.
    void Release(Job* pJob);
    /// A record for an event without a job behind it, all zero but for its type. Device thread and main thread.
    Job* NewCompletion(U32 Type);

    /// Index in its ring of the first job of that type, -1 if there is none; the ring goes to *pRing. Any thread.
    int Find(U32 Type, int RingSel, U32* pRing = nullptr) const;
    bool IsQueued(U32 Type) const;
    /// Takes Pending from every unprotected record of that type; returns the number. The scheduler then releases them.
    int Cancel(U32 Type, int RingSel);
    /// The connection is lost: Cancel() over all five rings, used or not.
    int CancelAll();
    /// Takes Pending from everything that waits, protected or not.
    void MarkAllDone();
    /// Cancels the jobs numbered First to Last, protected ones included; one of them that runs is asked to end early.
    /// Number of them. Any thread.
    int CancelNumbered(U64 First, U64 Last);
    /// Asks the running job to end early if its type is one of those; false if none of them runs. Any thread.
    bool CancelRunning(std::initializer_list<U32> Types);
    /// True from then until the running job has ended. Device thread.
    bool IsRunCancelled() const { return m_IsRunCancelled.load(std::memory_order_relaxed); }

    /// Oldest job of that type that waits or runs, and its sequence number; null if there is none.
    const Job* FindUnfinished(U32 Type, U64* pSeqNo) const;
    /// True if one of the jobs numbered First to Last, of that type, waits or runs. Any thread.
    bool IsUnfinished(U64 First, U64 Last, U32 Type = JT_ANY) const;
    /// True if no job waits or runs. Any thread.
    bool IsIdle() const;
    /// True while the record is the job of that number and neither finished nor cancelled.
    bool IsPending(const Job* pJob, U64 SeqNo) const;

    U8 GetSuppressed(U32 Type) const {
        return Type < JT_LAST ? m_aSuppressed[Type].load(std::memory_order_acquire) : 0;
    }
    void SetSuppressed(U32 Type, U8 Value);

    /// Number that the newest scheduled job has. Any thread.
    U64 LastSeqNo() const;
    void NoteFailed(const Job& J);
    /// True if the newest job of that type that has failed or was cancelled is one of those. Any thread.
    bool HasFailed(U32 Type, U64 First, U64 Last = ~U64(0)) const {
        const U64 SeqNo = m_aLastFailed[Type].load(std::memory_order_acquire);
        return SeqNo >= First && SeqNo <= Last;
    }

    /// Auto-reset event, set by Schedule() and Wake(). False when the time (ms) has gone by.
    bool WaitForWork(U32 TimeoutMs);
    void Wake();
    /// Number of jobs finished so far, and a wait for more than that, at most TimeoutMs. Taking the number before
    /// looking for a result makes sure that none is missed.
    U64 NumFinished();
    void WaitForFinished(U64 NumSeen, U32 TimeoutMs);

    /// In the end each started job is cancelled, silent, skipped or heard of by the listeners, once.
    struct COUNTERS {
        std::atomic<U64> NumStarted{0};
        std::atomic<U64> NumCancelled{0};
        std::atomic<U64> NumSilent{0}; ///< jobs that finished without an event
        std::atomic<U64> NumReleased{0};
        std::atomic<U64> NumPosted{0};
        std::atomic<U64> NumSkipped{0}; ///< posted jobs of which no listener heard: out of date when they came
    };
    COUNTERS& Counters() { return m_Counters; }

private:
    struct RING {
        std::array<Job, JOB_RING_SIZE> aJobs;
        U32 Head = 0;       ///< next to run
        U32 Tail = 0;       ///< next free
        U32 NumWaiting = 0; ///< from Head on; the slots behind them, up to Tail, still await their delivery
    };
    const Job* FindWaiting(U32 Ring, U32 Type, U32* pIdx) const;
    int TakePending(U32 Ring, U32 Type, bool AlsoProtected);

    std::array<RING, NUM_JOB_RINGS> m_aRings;
    std::array<Job, JOB_RING_SIZE> m_aCompletions;
    U32 m_CompletionIdx = 0;
    U64 m_NextSeqNo = 1;
    std::array<std::atomic<U8>, JT_LAST> m_aSuppressed{};
    std::array<std::atomic<U64>, JT_LAST> m_aLastFailed{}; ///< number of the newest failed job, by type
    const Job* m_pRunning = nullptr;
    std::atomic<bool> m_IsRunCancelled{false};
    COUNTERS m_Counters;

    mutable std::mutex m_Mutex; ///< guards the rings: indices, free slots and the Pending flags
    std::mutex m_WakeMutex;
    std::condition_variable m_Wake;
    bool m_HasWork = false;
    std::mutex m_FinishMutex;
    std::condition_variable m_Finished;
    U64 m_NumFinished = 0;
};
