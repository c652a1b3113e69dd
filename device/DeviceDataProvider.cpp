#include "device/DeviceDataProvider.h"

#include "device/Device.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t MAX_KEPT_BUFFER = 4 * 1024 * 1024;

CDeviceDataProvider* _pFirstProvider = nullptr;

/// The target's memory or state may be another behind it, whether it ends well or not.
bool ChangesTarget(U32 Type) {
    switch (Type) {
    case JT_WRITE_REG:
    case JT_WRITE_CP_REG:
    case JT_WRITE_MEM:
    case JT_WRITE_MEM_MULTIPLE:
    case JT_WRITE_LOCATION:
    case JT_END_DOWNLOAD:
    case JT_EXEC_NOVIK_CMD:
        return true;
    default:
        return false;
    }
}

} // namespace

CDeviceDataProvider::CDeviceDataProvider(CDevice& Device)
    : m_Device(Device),
      m_Cache(Device, [this](DATA_PLACES Place, U64 First, U64 End) { ServeWatching(Place, First, End); }),
      m_Direct(Device), m_pNext(std::exchange(_pFirstProvider, this)) {
    m_Device.SetDataProvider(this);
}

CDeviceDataProvider::~CDeviceDataProvider() {
    m_Device.SetDataProvider(nullptr);
    CDeviceDataProvider** ppLink = &_pFirstProvider;
    while (*ppLink != this) {
        ppLink = &(*ppLink)->m_pNext;
    }
    *ppLink = m_pNext;
}

CDeviceDataProvider& CDeviceDataProvider::Get() {
    static CDeviceDataProvider Provider(CDevice::Get());
    return Provider;
}

void CDeviceDataProvider::ForgetListener(const CDeviceEventListener* pListener) {
    for (CDeviceDataProvider* pProvider = _pFirstProvider; pProvider; pProvider = pProvider->m_pNext) {
        pProvider->m_Requests.DropListener(pListener);
    }
}

void CDeviceDataProvider::ForgetAll() {
    m_Requests.Clear();
    m_Deferred.clear();
    m_Cache.ForgetJobs();
    m_Cache.Forget();
}

// A change that windows aren't told of: who waits is still to be answered.
void CDeviceDataProvider::AskAgain() {
    m_Cache.Forget();
    for (U64 Id : m_Requests.GetAll()) {
        if (!Settle(Id)) {
            m_Deferred.push_back(Id);
        }
    }
}

void CDeviceDataProvider::OnDeviceJobDone(Job* pJob) {
    m_Cache.OnJobDone(*pJob);
    m_Direct.OnJobDone(*pJob);
    if (pJob->Status == JOB_STATUS_DROPPED) {
        m_Cache.TakeBack(*pJob);
    } else {
        CDeviceEventListener::OnDeviceJobDone(pJob);
    }
    const bool IsTold = pJob->Status == JOB_STATUS_DONE && m_Device.IsSessionReady();
    if (ChangesTarget(pJob->Type) && !IsTold) {
        AskAgain();
    }
    ServeDeferred();
}

// Answers the request or makes sure that something will; false if it has to wait until jobs of ours have ended.
bool CDeviceDataProvider::Settle(U64 Id) {
    const READ_REQUEST* pRequest = m_Requests.Find(Id);
    if (!pRequest) {
        return true;
    }
    DATA_STATUS Status = m_Cache.GetStatus(*pRequest);
    if (Status == DATA_UNKNOWN) {
        m_Cache.RequestMissing(*pRequest);
    }
    if (Status >= DATA_PENDING) {
        const U64 Place = m_Cache.FindOpenPlace(*pRequest, &Status);
        if (Status == DATA_PENDING) {
            const DATA_PLACES Kind = pRequest->IsMem()               ? PLACE_MEM
                                     : pRequest->Kind == REQUEST_CPR ? PLACE_CPR
                                                                     : PLACE_REG;
            m_Requests.Watch(Id, Kind, Place);
            return true;
        }
        if (m_Cache.GetNumJobs() != 0) {
            return false;
        }
    }
    // Without a job under way nothing would ever come.
    Answer(*m_Requests.Take(Id), Status == DATA_UNKNOWN ? DATA_ERROR : Status);
    return true;
}

void CDeviceDataProvider::ServeWatching(DATA_PLACES Place, U64 First, U64 End) {
    for (U64 Id : m_Requests.TakeWatching(Place, First, End)) {
        if (!Settle(Id)) {
            m_Deferred.push_back(Id);
        }
    }
}

void CDeviceDataProvider::ServeDeferred() {
    while (!m_Deferred.empty() && m_Cache.MayAsk()) {
        const U64 Id = m_Deferred.front();
        m_Deferred.pop_front();
        if (!Settle(Id)) {
            m_Deferred.push_front(Id);
            return;
        }
    }
}

DATA_STATUS CDeviceDataProvider::Ask(const READ_REQUEST& Request) {
    const DATA_STATUS Status = m_Cache.GetStatus(Request);
    if (Status <= DATA_ERROR) {
        m_Requests.DropSame(Request); // its turn hasn't come yet, and this is its answer
        Answer(Request, Status);
        return Status;
    }
    const U64 Id = m_Requests.Add(Request);
    if (!Settle(Id)) {
        m_Deferred.push_back(Id);
    }
    return DATA_PENDING;
}

void CDeviceDataProvider::Answer(const READ_REQUEST& Request, DATA_STATUS Status) {
    CDeviceEventListener& Listener = *Request.pListener;
    ARM_CPR Cpr = Request.Cpr;
    U8 aLocData[MAX_LOC_SIZE_OF_JOB] = {};
    switch (Request.Kind) {
    case REQUEST_MEM:
        AnswerMem(Request, Status);
        break;
    case REQUEST_REGS:
        AnswerRegs(Request, Status);
        break;
    case REQUEST_CPR:
        if (Status == DATA_VALID) {
            Listener.OnDeviceReadCPRDone(&Cpr, m_Cache.Cprs().Get(U32(GetCprIdx(Cpr))));
        } else {
            Listener.OnDeviceReadCPRFailed(&Cpr);
        }
        break;
    case REQUEST_LOC:
        if (Status == DATA_VALID) {
            GetLocData(Request, aLocData);
            Listener.OnDeviceReadLocDone(Request.Loc, Request.NumBytes, aLocData);
        } else {
            Listener.OnDeviceReadLocFailed(Request.Loc, Request.NumBytes);
        }
        break;
    }
}

// Data and status lie one behind the other in a buffer that is kept: fresh megabytes cost more than their contents. A
// slot that asks while it is told takes one of its own.
void CDeviceDataProvider::AnswerMem(const READ_REQUEST& Request, DATA_STATUS Worst) {
    const U32 NumBytes = Request.NumBytes;
    std::vector<U8> Buffer = std::exchange(m_AnswerBuffer, {});
    if (Buffer.size() < size_t(2) * NumBytes) {
        Buffer.resize(size_t(2) * NumBytes);
    }
    U8* const paData = Buffer.data();
    U8* const paStatus = paData + NumBytes;
    m_Cache.Mem().Load(Request.Addr, NumBytes, paData, paStatus);
    if (Worst != DATA_VALID) {
        std::replace_if(
            paStatus, paStatus + NumBytes, [](U8 S) { return S >= DATA_PENDING; }, U8(DATA_ERROR));
    }
    Request.pListener->OnDeviceReadMemDone(Request.Addr, NumBytes, paData, paStatus);
    if (Buffer.size() <= MAX_KEPT_BUFFER) {
        m_AnswerBuffer = std::move(Buffer);
    }
}

void CDeviceDataProvider::AnswerRegs(const READ_REQUEST& Request, DATA_STATUS Status) {
    QList<U32> Regs = Request.Regs;
    QList<I64> Values;
    for (U32 Reg : Regs) {
        const bool IsKnown = m_Device.IsStateValid() && m_Cache.Regs().GetStatus(Reg) == DATA_VALID;
        Values += IsKnown ? I64(m_Cache.Regs().Get(Reg)) : -1;
    }
    const bool IsAnyKnown = std::any_of(Values.begin(), Values.end(), [](I64 Value) { return Value >= 0; });
    if (Status == DATA_VALID || IsAnyKnown) {
        Request.pListener->OnDeviceReadRegsDone(U32(Regs.size()), Regs.data(), Values.data());
    } else {
        Request.pListener->OnDeviceReadRegsFailed(U32(Regs.size()), Regs.data(), Values.data());
    }
}
