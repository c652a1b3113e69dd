#pragma once

// Reads of target data for the main thread: the results of read jobs come here alone. The blocking reads schedule a
// protected job, deliver events while they wait, and hand the bytes over. Main thread only.

#include "device/DeviceEventListener.h"

#include <QHash>

class CDevice;

class CDeviceDataProvider : public CDeviceEventListener {
public:
    explicit CDeviceDataProvider(CDevice& Device);
    ~CDeviceDataProvider() override;

    /// Made at first use, together with the device.
    static CDeviceDataProvider& Get();

    /// Reads NumBytes; pStatus (may be null) gets one byte for each data byte, 0 read, 1 not read. Returns 0 if all
    /// bytes were read, else -1.
    int ReadMem(U32 Addr, U32 NumBytes, void* pData, U8* pStatus = nullptr, U32 AccessWidth = MEM_ACCESS_WIDTH_DEFAULT,
                U32 Flags = 0);
    /// Reads a register by the index of the probe library. 0, or -1 with *pValue -1.
    int ReadReg(U32 Idx, I64* pValue);

    /// What a wait calls when it takes long, and once each millisecond from then on: it keeps the program live and
    /// gives false to end the wait. Null: waits only deliver events.
    void SetPump(bool (*pfPump)()) { m_pfPump = pfPump; }
    /// Ends all waits; what they wait for isn't read. False if there is none.
    bool CancelWaits();

    void OnDeviceJobDone(Job* pJob) override;

private:
    struct REQUEST {
        U32 NumBytes;
        U8* pData;
        U8* pStatus;
        I64 Value;
        bool IsDone;
        bool IsOk;
    };
    bool Wait(U64 SeqNo, REQUEST* pRequest, U32 JobType);

    CDevice& m_Device;
    bool (*m_pfPump)() = nullptr;
    QHash<U64, REQUEST*> m_Pending; ///< by sequence number of the job; the records live on the waiting stack
};
