// The questions that CDeviceDataProvider answers.

#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/DeviceDataProvider.h"
#include "icache/InstStore.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr U64 SYNC_TIMEOUT_MS = 150;
constexpr U32 WAIT_ROUND_MS = 1;
constexpr int EVENTS_PER_ROUND = 10;

} // namespace

// What can't be read without halting the target isn't asked for: nobody halts it behind the user's back.
bool CDeviceDataProvider::IsAskable(U32 NumBytes, U32 Flags) {
    const bool MayHalt = (Flags & MEM_FLAG_HALT) && m_Device.IsConnected();
    return NumBytes != 0 && NumBytes <= MAX_QUESTION_BYTES && (MayHalt || m_Device.IsMemoryAccessible());
}

DATA_STATUS CDeviceDataProvider::ReadMemAsync(CDeviceEventListener* pListener, U32 Addr, U32 NumBytes, U32 ChunkSize,
                                              U32 AccessWidth, U32 Flags) {
    READ_REQUEST Request{REQUEST_MEM, pListener, Addr, NumBytes, {ChunkSize, AccessWidth, Flags}, {}, {}, {}};
    if (!IsAskable(NumBytes, Flags) || Request.End() > MEM_SPACE_SIZE) {
        pListener->OnDeviceReadMemFailed(Addr, NumBytes);
        return DATA_ERROR;
    }
    if ((Flags & MEM_FLAG_REFRESH) || !m_Device.IsStateValid()) {
        m_Cache.ForgetMem(Addr, NumBytes);
    }
    return Ask(Request);
}

DATA_STATUS CDeviceDataProvider::GetRegsAsync(CDeviceEventListener* pListener, const QList<U32>& Regs) {
    READ_REQUEST Request;
    Request.Kind = REQUEST_REGS;
    Request.pListener = pListener;
    Request.Regs = Regs;
    if (std::any_of(Regs.begin(), Regs.end(), [](U32 Reg) { return Reg >= REG_CACHE_LIMIT; })) {
        AnswerRegs(Request, DATA_ERROR);
        return DATA_ERROR;
    }
    return Ask(Request);
}

DATA_STATUS CDeviceDataProvider::GetCPRAsync(CDeviceEventListener* pListener, const ARM_CPR& Cpr) {
    READ_REQUEST Request;
    Request.Kind = REQUEST_CPR;
    Request.pListener = pListener;
    Request.Cpr = Cpr;
    if (GetCprIdx(Cpr) < 0) {
        Answer(Request, DATA_ERROR);
        return DATA_ERROR;
    }
    return Ask(Request);
}

// DATA_PENDING: the request is to be asked. Else it can be answered at once with that status.
DATA_STATUS CDeviceDataProvider::MakeLocRequest(const ELF_SYM_LOC& Loc, U32 NumBytes, READ_REQUEST* pRequest) {
    pRequest->Kind = REQUEST_LOC;
    pRequest->Loc = Loc;
    pRequest->NumBytes = NumBytes;
    if (NumBytes == 0 || NumBytes > MAX_LOC_SIZE_OF_JOB) {
        return DATA_ERROR;
    }
    switch (Loc.Kind) {
    case ELF_LOC_CONST:
        return DATA_VALID;
    case ELF_LOC_MEM:
    case ELF_LOC_MEM_OFF:
        pRequest->Addr = ElfLocMemAddr(Loc);
        pRequest->Mode.AccessWidth = MEM_ACCESS_WIDTH_DEFAULT;
        if (!IsAskable(NumBytes, 0) || pRequest->End() > MEM_SPACE_SIZE) {
            return DATA_ERROR;
        }
        if (!m_Device.IsStateValid()) {
            m_Cache.ForgetMem(pRequest->Addr, NumBytes);
        }
        return DATA_PENDING;
    case ELF_LOC_REG:
    case ELF_LOC_REG_OFF: {
        if (Loc.Reg == ELF_REG_UNSPECIFIED || Loc.Reg == ELF_REG_SAME_AS_CALLER) {
            return DATA_VALID;
        }
        const I32 Idx = m_Device.GetNovikRegIdx(I32(Loc.Reg));
        pRequest->Regs = {U32(Idx)};
        return U32(Idx) < REG_CACHE_LIMIT ? DATA_PENDING : DATA_ERROR;
    }
    default:
        return DATA_ERROR;
    }
}

void CDeviceDataProvider::GetLocData(const READ_REQUEST& Request, U8* paData) {
    if (Request.Loc.Kind == ELF_LOC_CONST) {
        std::memcpy(paData, &Request.Loc.Value, Request.NumBytes);
    } else if (!Request.Regs.isEmpty()) {
        const U32 Value =
            m_Cache.Regs().Get(Request.Regs[0]) + (Request.Loc.Kind == ELF_LOC_REG_OFF ? U32(Request.Loc.Off) : 0);
        std::memcpy(paData, &Value, std::min<size_t>(Request.NumBytes, sizeof(Value)));
    } else if (IsMemLoc(Request.Loc)) {
        m_Cache.LoadItem(Request.Addr, Request.NumBytes, paData);
    }
}

DATA_STATUS CDeviceDataProvider::ReadLocAsync(CDeviceEventListener* pListener, const ELF_SYM_LOC& Loc, U32 NumBytes) {
    READ_REQUEST Request;
    const DATA_STATUS Status = MakeLocRequest(Loc, NumBytes, &Request);
    Request.pListener = pListener;
    if (Status != DATA_PENDING) {
        Answer(Request, Status);
        return Status;
    }
    return Ask(Request);
}

DATA_STATUS CDeviceDataProvider::DisassInstsAsync(CDeviceEventListener* pListener, const QList<U32>& Addrs) {
    QList<U32> Copy = Addrs;
    if (std::none_of(Addrs.begin(), Addrs.end(), [](U32 Addr) { return ICACHE_GetInstText(Addr).isEmpty(); })) {
        pListener->OnDeviceDisassInstsDone(U32(Copy.size()), Copy.data());
        return DATA_VALID;
    }
    if (m_Device.IsConnected() && m_Device.IsSessionReady() && m_Device.Post<DISASS_INSTS_JOB>(Addrs) == 0) {
        return DATA_PENDING;
    }
    pListener->OnDeviceDisassInstsFailed(U32(Copy.size()), Copy.data());
    return DATA_ERROR;
}

DATA_STATUS CDeviceDataProvider::DisassARangeAsync(CDeviceEventListener* pListener, U32 Start, U32 End) {
    if (m_Device.IsMemoryAccessible() && m_Device.IsSessionReady() &&
        m_Device.Post<DISASS_ARANGE_JOB>(Start, End, false) == 0) {
        return DATA_PENDING;
    }
    pListener->OnDeviceDisassArangeFailed(Start, End, MAX_DISASS_ADDRS, nullptr);
    return DATA_ERROR;
}

DATA_STATUS CDeviceDataProvider::DisassARangesAsync(CDeviceEventListener* pListener, const QList<MEM_RANGE>& Ranges) {
    if (m_Device.IsMemoryAccessible() && m_Device.IsSessionReady() && m_Device.Post<DISASS_ARANGES_JOB>(Ranges) == 0) {
        return DATA_PENDING;
    }
    QList<MEM_RANGE> Copy = Ranges;
    pListener->OnDeviceDisassArangesFailed(U32(Copy.size()), reinterpret_cast<U32*>(Copy.data()));
    return DATA_ERROR;
}

DATA_STATUS CDeviceDataProvider::WaitForData(const READ_REQUEST& Request, const char* sWhat) {
    const U64 Start = m_Device.Clock().NowMs();
    for (;;) {
        const U64 NumFinished = m_Device.Queue().NumFinished();
        DATA_STATUS Status = m_Cache.GetStatus(Request);
        if (Status == DATA_UNKNOWN) {
            m_Cache.RequestMissing(Request); // at first, and when an event made it unknown meanwhile
            Status = m_Cache.GetStatus(Request);
        }
        if (Status < DATA_PENDING || m_Device.IsStopRequested()) {
            return Status;
        }
        if (m_Device.Clock().NowMs() - Start > SYNC_TIMEOUT_MS) {
            m_Device.EventRing().Log(DEV_LOG_WARN, "Timeout while waiting for %s data arrival", sWhat);
            return Status;
        }
        if (m_Device.DeliverEvents(EVENTS_PER_ROUND) == 0) {
            m_Device.Queue().WaitForFinished(NumFinished, WAIT_ROUND_MS);
        }
    }
}

DATA_STATUS CDeviceDataProvider::GetRegSync(U32 Idx, U32* pValue) {
    *pValue = 0;
    if (!m_Device.IsStateValid() || Idx >= REG_CACHE_LIMIT) {
        return DATA_ERROR;
    }
    READ_REQUEST Request;
    Request.Kind = REQUEST_REGS;
    Request.Regs = {Idx};
    const DATA_STATUS Status = WaitForData(Request, "register");
    *pValue = m_Cache.Regs().Get(Idx);
    return Status;
}

DATA_STATUS CDeviceDataProvider::GetMemSync(U32 Addr, U32 NumBytes, U8* paData, U32 AccessWidth) {
    const U64 End = U64(Addr) + NumBytes;
    if (m_Device.IsStateValid() && NumBytes <= MAX_QUESTION_BYTES && End <= MEM_SPACE_SIZE) {
        if (const DATA_STATUS Status = m_Cache.Mem().GetStatus(Addr, End); Status <= DATA_ERROR) {
            m_Cache.Mem().Load(Addr, NumBytes, paData, nullptr);
            return Status;
        }
    }
    std::memset(paData, 0, NumBytes);
    READ_REQUEST Request{REQUEST_MEM, nullptr, Addr, NumBytes, {0, AccessWidth, 0}, {}, {}, {}};
    if (!IsAskable(NumBytes, 0) || Request.End() > MEM_SPACE_SIZE) {
        return DATA_ERROR;
    }
    if (!m_Device.IsStateValid()) {
        m_Cache.ForgetMem(Addr, NumBytes);
    }
    const DATA_STATUS Status = WaitForData(Request, "memory");
    m_Cache.Mem().Load(Addr, NumBytes, paData, nullptr);
    return Status;
}

DATA_STATUS CDeviceDataProvider::GetCPRSync(const ARM_CPR& Cpr, U32* pValue) {
    *pValue = 0;
    if (GetCprIdx(Cpr) < 0) {
        return DATA_ERROR;
    }
    READ_REQUEST Request;
    Request.Kind = REQUEST_CPR;
    Request.Cpr = Cpr;
    const DATA_STATUS Status = WaitForData(Request, "coprocessor register");
    *pValue = m_Cache.Cprs().Get(U32(GetCprIdx(Cpr)));
    return Status;
}

DATA_STATUS CDeviceDataProvider::ReadLocSync(const ELF_SYM_LOC& Loc, U32 NumBytes, U8* paData) {
    READ_REQUEST Request;
    DATA_STATUS Status = MakeLocRequest(Loc, NumBytes, &Request);
    if (Status == DATA_PENDING) {
        Status = WaitForData(Request, Request.IsMem() ? "memory" : "register");
    }
    std::memset(paData, 0, NumBytes);
    if (Status == DATA_VALID) {
        GetLocData(Request, paData);
    }
    return Status;
}

// Reads that a command or a location waits for stay wanted: they are asked for again when their job comes back.
void CDeviceDataProvider::CancelAllReads() {
    for (U64 Id : m_Requests.GetAll()) {
        if (m_Requests.Find(Id)->Kind == REQUEST_MEM) {
            const READ_REQUEST Request = *m_Requests.Take(Id);
            m_Cache.Mem().Change(Request.Addr, Request.End(), DATA_PENDING, DATA_UNKNOWN);
        }
    }
    m_Device.Queue().Cancel(JT_READ_MEM, RING_ALL);
}
