#include "device/Device.h"

#include "device/DeviceClock.h"
#include "device/DeviceDataProvider.h"
#include "device/DeviceEventListener.h"
#include "device/JobTable.h"
#include "device/NovikFuncs.h"

#include <QCoreApplication>

namespace {

constexpr U32 LOCK_PAUSE_MS = 2;    ///< time that the device thread leaves to who waits for its lock
constexpr U32 NUM_NEXT_EVENTS = 10; ///< events looked ahead for a later step
constexpr U32 WAIT_ROUND_MS = 1;

CDevice* _pDelivering = nullptr; // main thread

} // namespace

CDevice& CDevice::Get() {
    static CDeviceClock Clock;
    static CDevice Device(LoadNovikLibrary(), Clock);
    static const bool IsStarted = (Device.start(QThread::InheritPriority), true);
    Q_UNUSED(IsStarted);
    return Device;
}

CDevice& CDevice::Current() { return _pDelivering ? *_pDelivering : Get(); }

CDevice::CDevice(const NOVIK_FUNCS& Funcs, CDeviceClock& Clock)
    : CDeviceJobs(*pQueue, Events), m_Clock(Clock), m_Queue(*pQueue), m_Events(Events),
      m_Target(Funcs, Clock, m_Queue, m_Events), m_Runner(m_Target) {}

CDevice::~CDevice() {
    RequestStop();
    wait();
}

void CDevice::RequestStop() {
    m_Target.StopRequested = 1;
    m_Queue.Wake();
}

bool CDevice::LockScheduler(const std::function<bool()>& fPump) {
    m_Target.NumLockWaiters++;
    bool IsLocked = m_SchedulerMutex.try_lock();
    while (!IsLocked && fPump()) {
        IsLocked = m_SchedulerMutex.try_lock();
    }
    m_Target.NumLockWaiters--;
    return IsLocked;
}

int CDevice::RunPass() {
    std::lock_guard Lock(m_SchedulerMutex);
    return m_Runner.RunPass();
}

void CDevice::run() {
    m_Target.EnterDeviceThread();
    setPriority(QThread::LowestPriority);
    m_Target.Info.ReadLibraryFacts();
    m_Target.Info.UpdateNovikFuncPtrs();
    while (!m_Target.StopRequested) {
        const int NumJobs = RunPass();
        if (m_Target.NumLockWaiters != 0) {
            m_Clock.SleepMs(LOCK_PAUSE_MS);
        } else if (NumJobs < MAX_JOBS_PER_PASS && !m_Target.StopRequested) {
            m_Queue.WaitForWork(m_Target.HaltSeq.GetIdleMs());
        }
    }
    std::lock_guard Lock(m_SchedulerMutex);
    m_Target.Connection.Disconnect();
}

int CDevice::WaitForJob(U32 Type, bool ProcessEvents, int TimeoutMs, bool (*pfIsCancelled)()) {
    U64 SeqNo = 0;
    const Job* pJob = m_Queue.FindUnfinished(Type, &SeqNo);
    if (!pJob) {
        return 1;
    }
    const bool IsStep = JobTypeMatches(JT_STEP_ANY, Type) || Type == JT_STEP_ANY;
    const U64 Limit = TimeoutMs < 0 ? GetJobTypeRow(Type).TimeoutMs : U64(TimeoutMs);
    const U64 Start = m_Clock.NowMs();
    bool HasSeenStep = false;
    for (;;) {
        const U64 NumFinished = m_Queue.NumFinished();
        if (!m_Queue.IsPending(pJob, SeqNo)) {
            return 0;
        }
        // A step is over for the user when the source step ends, a little before its job does.
        const bool IsStepActive = IsStep && IsSrcStepActive();
        if (HasSeenStep && !IsStepActive) {
            return 0;
        }
        HasSeenStep |= IsStepActive;
        if (isFinished() || m_Target.StopRequested || m_Clock.NowMs() - Start > Limit) {
            m_Events.Log(DEV_LOG_WARN, "Timeout while waiting for Job %s", GetJobTypeName(Type));
            return -1;
        }
        if (ProcessEvents) {
            QCoreApplication::processEvents();
        }
        if (pfIsCancelled != nullptr && pfIsCancelled()) {
            return -1;
        }
        m_Queue.WaitForFinished(NumFinished, WAIT_ROUND_MS);
    }
}

int CDevice::ReadMemBlocking(U32 Addr, U32 NumBytes, void* pData, U8* pStatus) {
    if (isRunning() && IsRunningThread()) {
        QByteArray Status(qsizetype(NumBytes), 0);
        U8* const paStatus = pStatus ? pStatus : reinterpret_cast<U8*>(Status.data());
        return m_Target.Memory.ReadMem(Addr, NumBytes, 0, 0, 0, static_cast<U8*>(pData), paStatus) == NumBytes ? 0 : -1;
    }
    auto* pProvider = dynamic_cast<CDeviceDataProvider*>(m_pDataProvider);
    return pProvider ? pProvider->Direct().ReadMem(Addr, NumBytes, pData, pStatus) : -1;
}

int CDevice::ReadRegBlocking(U32 Idx, I64* pValue) {
    if (isRunning() && IsRunningThread()) {
        return m_Target.Regs.ReadReg(Idx, pValue);
    }
    auto* pProvider = dynamic_cast<CDeviceDataProvider*>(m_pDataProvider);
    *pValue = -1;
    return pProvider ? pProvider->Direct().ReadReg(Idx, pValue) : -1;
}

void CDevice::FinishConditionalHalt(U32 PC, bool IsConditionTrue) {
    m_Target.State.ConditionPC = PC;
    m_Target.State.ConditionAnswer = IsConditionTrue ? 1 : 0;
    m_Queue.Wake();
}

void CDevice::SetDeferredConnectMode(CONNECT_MODES Mode) {
    m_Target.State.DeferredConnectMode = Mode;
    m_Queue.Wake();
}

void CDevice::SetDeferredResetMode(RESET_MODES Mode) {
    m_Target.State.DeferredResetMode = Mode;
    m_Queue.Wake();
}

void CDevice::RequestInitTargetSPandPC() {
    m_Target.State.InitSPandPCWanted = 1;
    m_Queue.Wake();
}

void CDevice::MarkSessionReady() {
    m_Target.State.SessionReady = 1;
    if (m_Target.State.StateValid) {
        m_Target.PostCompletion(JT_HALT, JOB_STATUS_DONE, GetPC(), HR_USER);
    }
}

void CDevice::NotifyAboutToDisconnect() { m_Events.Raise(DEV_EVENT_ABOUT_TO_DISCONNECT); }

bool CDevice::IsKnownDevice(const QByteArray& sDeviceName) const {
    return m_Target.Novik.NOVIKARM_DEVICE_GetIndex != nullptr &&
           m_Target.Novik.NOVIKARM_DEVICE_GetIndex(sDeviceName.constData()) >= 0;
}

namespace {

DEVICE_ENTRY ReadDeviceEntry(const NOVIK_FUNCS& Novik, int Index) {
    constexpr U32 CORE_NAME_SIZE = 64;
    NOVIKARM_DEVICE_INFO Record = {};
    Record.SizeOfStruct = sizeof(Record);
    DEVICE_ENTRY Entry;
    if (Index < 0 || Novik.NOVIKARM_DEVICE_GetInfo(Index, &Record) < 0 || Record.sName == nullptr) {
        return Entry;
    }
    char acCore[CORE_NAME_SIZE + 1] = {};
    Novik.NOVIKARM_Core2CoreName(Record.Core, acCore, CORE_NAME_SIZE);
    Entry.sName = QString::fromUtf8(Record.sName);
    Entry.sManufacturer = QString::fromUtf8(Record.sManu);
    Entry.sCore = QString::fromUtf8(acCore);
    Entry.Core = Record.Core;
    Entry.FlashSize = Record.MemSize;
    Entry.RamSize = Record.RAMSize;
    return Entry;
}

} // namespace

QList<DEVICE_ENTRY> CDevice::GetKnownDevices() const {
    QList<DEVICE_ENTRY> Devices;
    const NOVIK_FUNCS& Novik = m_Target.Novik;
    const int Count = Novik.NOVIKARM_DEVICE_GetInfo != nullptr ? Novik.NOVIKARM_DEVICE_GetInfo(-1, nullptr) : 0;
    for (int i = 0; i < Count; ++i) {
        const DEVICE_ENTRY Entry = ReadDeviceEntry(Novik, i);
        if (!Entry.sName.isEmpty()) {
            Devices.append(Entry);
        }
    }
    return Devices;
}

DEVICE_ENTRY CDevice::GetKnownDevice(const QByteArray& sDeviceName) const {
    const NOVIK_FUNCS& Novik = m_Target.Novik;
    return Novik.NOVIKARM_DEVICE_GetIndex != nullptr && Novik.NOVIKARM_DEVICE_GetInfo != nullptr
               ? ReadDeviceEntry(Novik, Novik.NOVIKARM_DEVICE_GetIndex(sDeviceName.constData()))
               : DEVICE_ENTRY();
}

bool CDevice::IsJobEventOutdated(const Job& J) const {
    const bool IsStateOutdated = !IsStateValid() || J.Result[0] != GetPC();
    switch (J.Type) {
    case JT_CONNECT:
        return J.Param[0] == CM_CONNECT_ONLY || J.Param[0] == CM_SILENT;
    case JT_RESET:
        return J.Param[0] == RM_SILENT;
    case JT_HALT:
        return IsStateOutdated;
    case JT_STEP_INST:
    case JT_STEP_INTO:
    case JT_STEP_OVER:
    case JT_STEP_OUT:
        return IsStateOutdated || IsSrcStepActive() || m_Events.AnyNext(NUM_NEXT_EVENTS, [](const DeviceEvent& Event) {
            return Event.Kind == DEV_EVENT_JOB &&
                   JobTypeMatches(JT_STEP_ANY, reinterpret_cast<const Job*>(Event.A)->Type);
        });
    default:
        return !IsValidJob(J);
    }
}

void CDevice::DeliverJob(Job* pJob) {
    if (IsJobEventOutdated(*pJob)) {
        m_Queue.Counters().NumSkipped += pJob->SeqNo != 0;
        qDebug("Skipping job event %s", GetJobTypeName(pJob->Type));
    } else if (IsDataRead(pJob->Type)) {
        if (m_pDataProvider) {
            m_pDataProvider->OnDeviceJobDone(pJob);
        }
    } else {
        CDeviceEventListener::ForEach([pJob](CDeviceEventListener& L) { L.OnDeviceJobDone(pJob); });
    }
    m_Queue.Release(pJob);
}

int CDevice::DeliverEvents(int MaxEvents) {
    CDevice* const pOuter = std::exchange(_pDelivering, this);
    int Count = 0;
    for (; Count < MaxEvents; Count++) {
        const DeviceEvent Event = m_Events.Take();
        if (Event.Kind == DEV_EVENT_NONE) {
            break;
        }
        if (Event.Kind == DEV_EVENT_JOB) {
            DeliverJob(reinterpret_cast<Job*>(Event.A));
        } else {
            m_Events.Deliver(Event);
        }
    }
    _pDelivering = pOuter;
    return Count;
}
