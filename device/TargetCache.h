#pragma once

// What is known of the target, and the jobs that bring what isn't: memory, registers, coprocessor registers. Values go
// from unknown to pending when a job is scheduled for them, to valid or error when it reports, and back to unknown when
// it is cancelled or the target may have changed. Main thread only.

#include "device/MemoryCache.h"
#include "device/ReadRequests.h"
#include "device/ValueCache.h"

#include <QSet>
#include <functional>

class CDevice;
class CPackedJob;
struct Job;

class CTargetCache {
public:
    /// Read jobs under way at a time: the ring has room for others.
    static constexpr qsizetype MAX_JOBS = 1000;

    /// fAnswered is called when places from First to End (exclusive) are no longer pending.
    using ANSWERED = std::function<void(DATA_PLACES Place, U64 First, U64 End)>;
    CTargetCache(CDevice& Device, ANSWERED fAnswered) : m_Device(Device), m_fAnswered(std::move(fAnswered)) {}

    /// Everything is unknown, but for the registers that a halt has brought.
    void Forget();
    /// Valid bytes and errors of the range are unknown. What is being read counts as new.
    void ForgetMem(U32 Addr, U32 NumBytes);

    /// Worst status of what the request is about.
    DATA_STATUS GetStatus(const READ_REQUEST& Request);
    /// The first place of the request that no answer has come for, with its status. There must be one.
    U64 FindOpenPlace(const READ_REQUEST& Request, DATA_STATUS* pStatus);
    /// Schedules jobs for what is unknown; what there is no room for stays unknown.
    void RequestMissing(const READ_REQUEST& Request);
    bool MayAsk() const { return m_Jobs.size() < MAX_JOBS; }
    /// Jobs whose end hasn't been heard of.
    qsizetype GetNumJobs() const { return m_Jobs.size(); }
    /// Jobs under way are no longer counted.
    void ForgetJobs() { m_Jobs.clear(); }

    /// A job has ended. The next functions store its results.
    void OnJobDone(const Job& J);
    void StoreMem(U32 Addr, U32 NumBytes, U8* paData, U8* paStatus);
    void StoreMemFailed(U32 Addr, U32 NumBytes);
    /// Negative values, and all without values, are errors.
    void StoreRegs(U32 Cnt, const U32* paRegs, const I64* paValues);
    void StoreCpr(const ARM_CPR& Cpr, I64 Value);
    /// A job was cancelled: what it was to read is unknown again.
    void TakeBack(const Job& J);

    /// Bytes of memory; 2, 4 and 8 of them as a value in the host's order.
    void LoadItem(U32 Addr, U32 NumBytes, U8* paData);
    CMemoryCache& Mem() { return m_Mem; }
    const CValueCache& Regs() const { return m_Regs; }
    const CValueCache& Cprs() const { return m_Cprs; }

private:
    bool Schedule(CPackedJob& Packed);
    bool ReadStretch(U64 Addr, U64 End, const READ_MODE& Mode);
    void ReadMemPartitioned(U64 Addr, U64 End, const READ_MODE& Mode);
    void RequestRegs(const QList<U32>& Regs);
    void TakeBackReg(U32 Reg);

    CDevice& m_Device;
    ANSWERED m_fAnswered;
    CMemoryCache m_Mem;
    CValueCache m_Regs;
    CValueCache m_Cprs;
    QSet<U64> m_Jobs; ///< by sequence number
};
