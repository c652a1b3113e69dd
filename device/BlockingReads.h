#pragma once

// Reads of the target that wait for their job: what commands and scripts do. Events are delivered meanwhile. Main
// thread only.

#include "device/DeviceTypes.h"

#include <QHash>

class CDevice;
struct Job;

class CBlockingReads {
public:
    explicit CBlockingReads(CDevice& Device) : m_Device(Device) {}

    /// Waits as long as the job may take. pStatus (may be null) gets one byte for each data byte, 0 read, 1 not read.
    /// Returns 0 if all bytes were read, else -1.
    int ReadMem(U32 Addr, U32 NumBytes, void* pData, U8* pStatus = nullptr, U32 AccessWidth = MEM_ACCESS_WIDTH_DEFAULT,
                U32 Flags = 0);
    /// The same for a register by the index of the probe library. 0, or -1 with *pValue -1.
    int ReadReg(U32 Idx, I64* pValue);

    /// What a wait calls when it takes long, and once each millisecond from then on: it keeps the program live and
    /// gives false to end the wait. Null: waits only deliver events.
    void SetPump(bool (*pfPump)()) { m_pfPump = pfPump; }
    /// Ends all waits; what they wait for isn't read. False if there is none.
    bool CancelWaits();

    /// A read job is over; the waiting call gets its result.
    void OnJobDone(const Job& J);

private:
    struct READ {
        U32 NumBytes;
        U8* pData;
        U8* pStatus;
        I64 Value;
        bool IsDone;
        bool IsOk;
    };
    bool Wait(U64 SeqNo, READ* pRead, U32 JobType);

    CDevice& m_Device;
    bool (*m_pfPump)() = nullptr;
    QHash<U64, READ*> m_Reads; ///< by sequence number of the job; the records live on the waiting stack
};
