#pragma once

// Target data for the main thread. Windows don't read the target: they ask here, are answered from caches that hold
// while the target stands still, and hear of the rest by the same slot when it has come. Equal questions cost one
// transfer. Everything is forgotten, and every request dropped, by an event behind which the target may be another:
// connect, disconnect, resume, halt, reset, step, a write, another byte order. Who shows data asks again then; the
// provider hears of events before any window does. Main thread only.

#include "device/BlockingReads.h"
#include "device/DeviceEventListener.h"
#include "device/ReadRequests.h"
#include "device/TargetCache.h"

#include <deque>
#include <vector>

class CDevice;
struct MEM_RANGE;

class CDeviceDataProvider : public CDeviceEventListener {
public:
    /// Bytes that one question may be about.
    static constexpr U32 MAX_QUESTION_BYTES = 16 * 1024 * 1024;

    explicit CDeviceDataProvider(CDevice& Device);
    ~CDeviceDataProvider() override;

    /// Made at first use, together with the device.
    static CDeviceDataProvider& Get();

    /// Questions with an answer by a slot of the listener, in this call if it is known (DATA_VALID, DATA_ERROR), later
    /// if the result is DATA_PENDING: OnDeviceReadMemDone() with a status for each byte, OnDeviceReadRegsDone() with -1
    /// for what couldn't be read, OnDeviceReadCPRDone(), OnDeviceReadLocDone(), or the Failed slot of each. A listener
    /// that asks the same while it waits is answered once. It may go away, or ask, at any time.
    /// Flags: MEM_FLAG_*; with MEM_FLAG_REFRESH, and while the target runs, what is known isn't an answer.
    DATA_STATUS ReadMemAsync(CDeviceEventListener* pListener, U32 Addr, U32 NumBytes, U32 ChunkSize = 0,
                             U32 AccessWidth = MEM_ACCESS_WIDTH_DEFAULT, U32 Flags = 0);
    /// By index of the probe library, at most 255; known only while the target is halted.
    DATA_STATUS GetRegsAsync(CDeviceEventListener* pListener, const QList<U32>& Regs);
    DATA_STATUS GetCPRAsync(CDeviceEventListener* pListener, const ARM_CPR& Cpr);
    /// A constant, memory or a register, at most 8 bytes. Values of 2, 4 and 8 bytes arrive in the host's order.
    DATA_STATUS ReadLocAsync(CDeviceEventListener* pListener, const ELF_SYM_LOC& Loc, U32 NumBytes);
    /// Texts into the instruction store, told by OnDeviceDisassInstsDone() and its like. Ranges hold at most 1000
    /// instructions a job; they need a session and accessible memory.
    DATA_STATUS DisassInstsAsync(CDeviceEventListener* pListener, const QList<U32>& Addrs);
    DATA_STATUS DisassARangeAsync(CDeviceEventListener* pListener, U32 Start, U32 End);
    DATA_STATUS DisassARangesAsync(CDeviceEventListener* pListener, const QList<MEM_RANGE>& Ranges);

    /// Questions that wait for the answer, at most 150 ms, while they deliver events; DATA_PENDING if it took longer.
    /// What the slot of an event does may make the caller's own data outdated: look again.
    DATA_STATUS GetRegSync(U32 Idx, U32* pValue);
    DATA_STATUS GetMemSync(U32 Addr, U32 NumBytes, U8* paData, U32 AccessWidth = MEM_ACCESS_WIDTH_DEFAULT);
    DATA_STATUS GetCPRSync(const ARM_CPR& Cpr, U32* pValue);
    DATA_STATUS ReadLocSync(const ELF_SYM_LOC& Loc, U32 NumBytes, U8* paData);

    /// Drops what windows wait for in memory and takes the reads back that haven't begun.
    void CancelAllReads();

    /// Reads of the target itself, whatever is known: what commands do.
    CBlockingReads& Direct() { return m_Direct; }

    /// A listener goes away: every provider drops what it waits for.
    static void ForgetListener(const CDeviceEventListener* pListener);

    qsizetype GetNumRequests() const { return m_Requests.Count(); }

    void OnDeviceJobDone(Job* pJob) override;
    void OnDeviceReadMemDone(U32 Addr, U32 NumBytes, U8* paData, U8* paStatus) override {
        m_Cache.StoreMem(Addr, NumBytes, paData, paStatus);
    }
    void OnDeviceReadMemFailed(U32 Addr, U32 NumBytes) override { m_Cache.StoreMemFailed(Addr, NumBytes); }
    void OnDeviceReadRegDone(U32 Idx, I64 Value) override { m_Cache.StoreRegs(1, &Idx, &Value); }
    void OnDeviceReadRegFailed(U32 Idx) override { m_Cache.StoreRegs(1, &Idx, nullptr); }
    void OnDeviceReadRegsDone(U32 Cnt, U32* paRegs, I64* paValues) override {
        m_Cache.StoreRegs(Cnt, paRegs, paValues);
    }
    void OnDeviceReadRegsFailed(U32 Cnt, U32* paRegs, I64*) override { m_Cache.StoreRegs(Cnt, paRegs, nullptr); }
    void OnDeviceReadCPRDone(ARM_CPR* pReg, I64 Value) override { m_Cache.StoreCpr(*pReg, Value); }
    void OnDeviceReadCPRFailed(ARM_CPR* pReg) override { m_Cache.StoreCpr(*pReg, -1); }
    void OnDeviceConnectDone(CONNECT_MODES) override { ForgetAll(); }
    void OnDeviceDisconnectDone() override { ForgetAll(); }
    void OnDeviceResumeDone(RESUME_MODES) override { ForgetAll(); }
    void OnDeviceHaltDone(U32, HALT_REASONS) override { ForgetAll(); }
    void OnDeviceResetDone(U32, RESET_MODES) override { ForgetAll(); }
    void OnDeviceStepped(U32) override { ForgetAll(); }
    void OnDeviceResetTargetExecStateDone() override { ForgetAll(); }
    void OnDeviceEvalBPCondition(U32) override { ForgetAll(); }
    void OnDeviceEndianessChanged(int, int) override { ForgetAll(); }
    void OnDeviceWriteAccess() override { ForgetAll(); }

private:
    void ForgetAll();
    void AskAgain();

    DATA_STATUS Ask(const READ_REQUEST& Request);
    bool Settle(U64 Id);
    void ServeWatching(DATA_PLACES Place, U64 First, U64 End);
    void ServeDeferred();
    void Answer(const READ_REQUEST& Request, DATA_STATUS Status);
    void AnswerMem(const READ_REQUEST& Request, DATA_STATUS Worst);
    void AnswerRegs(const READ_REQUEST& Request, DATA_STATUS Status);
    DATA_STATUS MakeLocRequest(const ELF_SYM_LOC& Loc, U32 NumBytes, READ_REQUEST* pRequest);
    void GetLocData(const READ_REQUEST& Request, U8* paData);
    bool IsAskable(U32 NumBytes, U32 Flags);
    DATA_STATUS WaitForData(const READ_REQUEST& Request, const char* sWhat);

    CDevice& m_Device;
    CTargetCache m_Cache;
    CReadRequests m_Requests;
    std::vector<U8> m_AnswerBuffer;
    std::deque<U64> m_Deferred; ///< requests that no job is under way for yet
    CBlockingReads m_Direct;
    CDeviceDataProvider* m_pNext = nullptr;
};
