#include "device/DeviceDataProvider.h"

#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/JobTable.h"

#include <cstring>

namespace {
constexpr U32 WAIT_ROUND_MS = 1;
constexpr int EVENTS_PER_ROUND = 10;
constexpr U64 PUMP_AFTER_MS = 20; ///< a wait of less is over before anybody would see it
} // namespace

CDeviceDataProvider::CDeviceDataProvider(CDevice& Device) : m_Device(Device) { m_Device.SetDataProvider(this); }

CDeviceDataProvider::~CDeviceDataProvider() { m_Device.SetDataProvider(nullptr); }

CDeviceDataProvider& CDeviceDataProvider::Get() {
    static CDeviceDataProvider Provider(CDevice::Get());
    return Provider;
}

int CDeviceDataProvider::ReadMem(U32 Addr, U32 NumBytes, void* pData, U8* pStatus, U32 AccessWidth, U32 Flags) {
    if (NumBytes == 0) {
        return 0;
    }
    if (pStatus) {
        std::memset(pStatus, 1, NumBytes);
    }
    REQUEST Request{NumBytes, static_cast<U8*>(pData), pStatus, -1, false, false};
    CPackedJob Packed;
    if (!READ_MEM_JOB::Pack(Packed, Addr, NumBytes, 0, AccessWidth, Flags, true)) {
        return -1;
    }
    Job J = Packed.Take();
    return m_Device.PostJob(J) == 0 && Wait(J.SeqNo, &Request, JT_READ_MEM) ? 0 : -1;
}

int CDeviceDataProvider::ReadReg(U32 Idx, I64* pValue) {
    *pValue = -1;
    CPackedJob Packed;
    READ_REG_JOB::Pack(Packed, Idx, true);
    Job J = Packed.Take();
    REQUEST Request{0, nullptr, nullptr, -1, false, false};
    if (m_Device.PostJob(J) != 0 || !Wait(J.SeqNo, &Request, JT_READ_REG)) {
        return -1;
    }
    *pValue = Request.Value;
    return 0;
}

bool CDeviceDataProvider::Wait(U64 SeqNo, REQUEST* pRequest, U32 JobType) {
    m_Pending.insert(SeqNo, pRequest);
    const U64 Start = m_Device.Clock().NowMs();
    while (!pRequest->IsDone) {
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
    m_Pending.remove(SeqNo);
    return pRequest->IsOk;
}

bool CDeviceDataProvider::CancelWaits() {
    for (REQUEST* pRequest : std::as_const(m_Pending)) {
        pRequest->IsDone = true;
    }
    return !m_Pending.isEmpty();
}

void CDeviceDataProvider::OnDeviceJobDone(Job* pJob) {
    REQUEST* pRequest = m_Pending.value(pJob->SeqNo);
    if (!pRequest) {
        CDeviceEventListener::OnDeviceJobDone(pJob);
        return;
    }
    pRequest->IsDone = true;
    pRequest->IsOk = pJob->Status == JOB_STATUS_DONE;
    pRequest->Value = pJob->Result[0];
    const READ_MEM_JOB Read(*pJob);
    if (pJob->Type != JT_READ_MEM || !Read.Data() || !Read.Status()) {
        return;
    }
    std::memcpy(pRequest->pData, Read.Data(), pRequest->NumBytes);
    if (pRequest->pStatus) {
        std::memcpy(pRequest->pStatus, Read.Status(), pRequest->NumBytes);
    }
    // A read that got some of its bytes is done; the caller asked for all of them.
    pRequest->IsOk = pRequest->IsOk && !std::memchr(Read.Status(), 1, pRequest->NumBytes);
}
