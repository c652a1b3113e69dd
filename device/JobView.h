#pragma once

// What the views of jobs are made of (JobViews*.h). A view is one struct a job type: Pack() fills the record, its
// functions read it, Run() is its body, Done() and Failed() tell a listener. A new job is its row in JobTable.cpp, its
// view and its body.

#include "device/DeviceEventListener.h"
#include "device/DeviceEvents.h"
#include "device/Job.h"
#include "device/Target.h"

#include <QByteArray>
#include <QList>
#include <algorithm>
#include <initializer_list>
#include <utility>

/// A record on its way to the queue; owns the buffers until then. Each function is false if the record can't be built.
class CPackedJob {
public:
    CPackedJob() = default;
    CPackedJob(const CPackedJob&) = delete;
    CPackedJob& operator=(const CPackedJob&) = delete;
    ~CPackedJob() { JobFreeBufs(&m_J); }

    bool Begin(U32 Type, std::initializer_list<U64> Params = {}) {
        m_J.Type = Type;
        std::copy(Params.begin(), Params.end(), m_J.Param);
        return true;
    }
    /// A block of that many bytes, zeroed without a source.
    bool Buf(int Idx, const void* pSrc, U64 NumBytes) {
        return NumBytes <= JOB_MAX_BUF_SIZE && JobAttachBuf(&m_J, Idx, pSrc, U32(NumBytes));
    }
    bool Buf(int Idx, const QByteArray& Data) { return Buf(Idx, Data.constData(), U64(Data.size())); }
    template <class T> bool Buf(int Idx, const QList<T>& List) {
        return Buf(Idx, List.constData(), U64(List.size()) * sizeof(T));
    }
    /// A list or text that may not be empty.
    template <class T> bool Full(int Idx, const T& Data) { return !Data.isEmpty() && Buf(Idx, Data); }
    bool Protect(bool IsProtected) {
        m_J.Flags = IsProtected ? JOB_FLAG_PROTECTED : 0;
        return true;
    }
    /// The record; whoever takes it has the buffers.
    Job Take() { return std::exchange(m_J, Job()); }

private:
    Job m_J;
};

/// The record of a job that runs or is over.
class CJobView {
public:
    using LISTENER = CDeviceEventListener;
    static constexpr U8 NEEDS_BUF = 0; ///< 1: without Buf[0] the record is no job

    explicit CJobView(const Job& J) : m_J(J) {}

protected:
    U32 Word(int Idx) const { return U32(m_J.Param[Idx]); }
    template <class T> T* Buf(int Idx) const { return static_cast<T*>(m_J.Buf[Idx]); }
    /// A count in a parameter, limited by what a buffer holds.
    template <class T> U32 Count(int Param, int Idx) const {
        return U32(std::min<U64>(m_J.Param[Param], m_J.BufSize[Idx] / sizeof(T)));
    }

    const Job& m_J;
};

/// A list is done when it has been gone through; the count tells how much of it was good.
inline int JobCountResult(Job& J, I64 Count) {
    J.Result[0] = Count;
    return 0;
}

/// The same for what changes the target: whoever waits for it learns that not all was done.
inline int JobCountResult(CTarget& T, Job& J, I64 Count, I64 NumAsked) {
    if (Count < NumAsked) {
        T.Queue.NoteFailed(J);
    }
    return JobCountResult(J, Count);
}

/// A job without arguments and results.
#define PLAIN_JOB(NAME, TYPE, BODY, EVENT)                                                                             \
    struct NAME : CJobView {                                                                                           \
        static constexpr U32 TYPE_ID = TYPE;                                                                           \
        static bool Pack(CPackedJob& P) { return P.Begin(TYPE); }                                                      \
        static int Run(CTarget& T, Job&) { return T.BODY(); }                                                          \
        static void Done(LISTENER& L, const Job&) { L.OnDevice##EVENT##Done(); }                                       \
        static void Failed(LISTENER& L, const Job&) { L.OnDevice##EVENT##Failed(); }                                   \
    };
