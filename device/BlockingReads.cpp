#include "device/BlockingReads.h"

#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/JobTable.h"

#include <cstring>

namespace {
constexpr U32 WAIT_ROUND_MS = 1;
constexpr int EVENTS_PER_ROUND = 10;
constexpr U64 PUMP_AFTER_MS = 20; ///< a wait of less is over before anybody would see it
} // namespace

int CBlockingReads::ReadMem(U32 Addr, U32 NumBytes, void* pData, U8* pStatus, U32 AccessWidth, U32 Flags) {
    if (NumBytes == 0) {
        return 0;
    }
    if (pStatus) {
        std::memset(pStatus, 1, NumBytes);
    }
    READ Read{NumBytes, static_cast<U8*>(pData), pStatus, -1, false, false};
    CPackedJob Packed;
    if (!READ_MEM_JOB::Pack(Packed, Addr, NumBytes, 0, AccessWidth, Flags, true)) {
        return -1;
    }
    Job J = Packed.Take();
    return m_Device.PostJob(J) == 0 && Wait(J.SeqNo, &Read, JT_READ_MEM) ? 0 : -1;
}

int CBlockingReads::ReadReg(U32 Idx, I64* pValue) {
    *pValue = -1;
    CPackedJob Packed;
    READ_REG_JOB::Pack(Packed, Idx, true);
    Job J = Packed.Take();
    READ Read{0, nullptr, nullptr, -1, false, false};
    if (m_Device.PostJob(J) != 0 || !Wait(J.SeqNo, &Read, JT_READ_REG)) {
        return -1;
    }
    *pValue = Read.Value;
    return 0;
}

bool CBlockingReads::Wait(U64 SeqNo, READ* pRead, U32 JobType) {
    m_Reads.insert(SeqNo, pRead);
    const U64 Start = m_Device.Clock().NowMs();
    while (!pRead->IsDone) {
        const U64 NumFinished = m_Device.Queue().NumFinished();
        if (m_Device.DeliverEvents(EVENTS_PER_ROUND) != 0) {
            continue;
        }
        const bool IsOver = !m_Device.isRunning() || m_Device.IsStopRequested();
        if (IsOver || m_Device.Clock().NowMs() - Start > GetJobTypeRow(JobType).TimeoutMs) {
            m_Device.EventRing().Log(DEV_LOG_WARN, "Timeout while waiting for Job %s", GetJobTypeName(JobType));
            break;
        }
        if (m_pfPump && m_Device.Clock().NowMs() - Start > PUMP_AFTER_MS && !m_pfPump()) {
            break;
        }
        m_Device.Queue().WaitForFinished(NumFinished, WAIT_ROUND_MS);
    }
    m_Reads.remove(SeqNo);
    return pRead->IsOk;
}

bool CBlockingReads::CancelWaits() {
    for (READ* pRead : std::as_const(m_Reads)) {
        pRead->IsDone = true;
    }
    return !m_Reads.isEmpty();
}

void CBlockingReads::OnJobDone(const Job& J) {
    READ* pRead = m_Reads.value(J.SeqNo);
    if (!pRead) {
        return;
    }
    pRead->IsDone = true;
    pRead->IsOk = J.Status == JOB_STATUS_DONE;
    pRead->Value = J.Result[0];
    const READ_MEM_JOB Read(J);
    if (J.Status == JOB_STATUS_DROPPED || J.Type != JT_READ_MEM || !Read.Data() || !Read.Status()) {
        return;
    }
    std::memcpy(pRead->pData, Read.Data(), pRead->NumBytes);
    if (pRead->pStatus) {
        std::memcpy(pRead->pStatus, Read.Status(), pRead->NumBytes);
    }
    // A read that got some of its bytes is done; the caller asked for all of them.
    pRead->IsOk = pRead->IsOk && !std::memchr(Read.Status(), 1, pRead->NumBytes);
}
