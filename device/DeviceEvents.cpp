#include "device/DeviceEvents.h"

#include "device/DeviceEventListener.h"

#include <QCoreApplication>
#include <QThread>
#include <QtDebug>
#include <cstdarg>
#include <cstdio>
#include <cstring>

int CDeviceEvents::Post(DEVICE_EVENT_KINDS Kind, U64 A, U64 B) {
    if (!Store(Kind, A, B)) {
        qWarning("Target event queue full. job not inserted");
        return -1;
    }
    Notify();
    return 0;
}

bool CDeviceEvents::Store(DEVICE_EVENT_KINDS Kind, U64 A, U64 B) {
    std::lock_guard Lock(m_WriteMutex);
    DeviceEvent& Slot = m_aEvents[m_WriteIdx];
    std::atomic_ref SlotKind(Slot.Kind);
    if (SlotKind.load(std::memory_order_acquire) != DEV_EVENT_NONE) {
        return false;
    }
    Slot.A = A;
    Slot.B = B;
    SlotKind.store(Kind, std::memory_order_seq_cst);
    m_WriteIdx = (m_WriteIdx + 1) % EVENT_RING_SIZE;
    return true;
}

void CDeviceEvents::Notify() {
    if (m_IsNoticed.exchange(true, std::memory_order_seq_cst)) {
        return; // whoever was told hasn't looked yet
    }
    std::lock_guard Lock(m_NotifyMutex);
    if (m_fNotify) {
        m_fNotify();
    }
}

void CDeviceEvents::SetNotifier(std::function<void()> fNotify) {
    std::lock_guard Lock(m_NotifyMutex);
    m_fNotify = std::move(fNotify);
    TakeNotice();
}

bool CDeviceEvents::IsEmpty() {
    std::lock_guard Lock(m_ReadMutex);
    return std::atomic_ref(m_aEvents[m_ReadIdx].Kind).load(std::memory_order_seq_cst) == DEV_EVENT_NONE;
}

int CDeviceEvents::PostText(DEVICE_EVENT_KINDS Kind, const QByteArray& sText, U64 B) {
    U32 Slot = 0;
    {
        std::lock_guard Lock(m_TextMutex);
        Slot = m_TextIdx;
        m_TextIdx = (m_TextIdx + 1) % EVENT_TEXT_COUNT;
        const size_t Len = size_t(std::min<qsizetype>(sText.size(), EVENT_TEXT_SIZE));
        std::memcpy(m_aTexts[Slot].data(), sText.constData(), Len);
        m_aTexts[Slot][Len] = 0;
    }
    return Post(Kind, Slot, B);
}

void CDeviceEvents::Raise(DEVICE_EVENT_KINDS Kind) {
    const QCoreApplication* pApp = QCoreApplication::instance();
    if (pApp && pApp->thread() == QThread::currentThread()) {
        Deliver(DeviceEvent{Kind, 0, 0});
    } else {
        Post(Kind);
    }
}

DeviceEvent CDeviceEvents::Take() {
    std::lock_guard Lock(m_ReadMutex);
    DeviceEvent& Slot = m_aEvents[m_ReadIdx];
    std::atomic_ref SlotKind(Slot.Kind);
    DeviceEvent Event;
    Event.Kind = SlotKind.load(std::memory_order_acquire);
    if (Event.Kind == DEV_EVENT_NONE) {
        return Event;
    }
    Event.A = Slot.A;
    Event.B = Slot.B;
    SlotKind.store(DEV_EVENT_NONE, std::memory_order_release);
    m_ReadIdx = (m_ReadIdx + 1) % EVENT_RING_SIZE;
    return Event;
}

QByteArray CDeviceEvents::GetText(U64 TextSlot) const {
    std::lock_guard Lock(m_TextMutex);
    return QByteArray(m_aTexts[TextSlot % EVENT_TEXT_COUNT].data());
}

void CDeviceEvents::Reset() {
    std::scoped_lock Lock(m_ReadMutex, m_WriteMutex);
    for (DeviceEvent& Slot : m_aEvents) {
        std::atomic_ref(Slot.Kind).store(DEV_EVENT_NONE, std::memory_order_release);
    }
    m_ReadIdx = m_WriteIdx = 0;
}

namespace {

using LISTENER = CDeviceEventListener;

// One row an event kind: how the record becomes a call. The text is empty for kinds that carry none.
using EVENT_DELIVERY = void(LISTENER& L, const DeviceEvent& E, const char* sText);

EVENT_DELIVERY* const _apfDeliver[DEV_EVENT_KIND_COUNT] = {
    nullptr,
    nullptr, // a job goes through OnDeviceJobDone()
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceEvalBPCondition(U32(E.A)); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceConfigParamChanged(int(E.A), int(E.B)); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceCapabilityChanged(int(E.A), int(E.B)); },
    [](LISTENER& L, const DeviceEvent&, const char*) { L.OnDeviceConnectionLost(); },
    [](LISTENER& L, const DeviceEvent&, const char*) { L.OnDeviceAboutToDisconnect(); },
    [](LISTENER& L, const DeviceEvent&, const char*) { L.OnDeviceAboutToResume(); },
    [](LISTENER& L, const DeviceEvent&, const char*) { L.OnDeviceAboutToStep(); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceCPUModeChanged(ARM_CPU_MODES(E.A)); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceExecModeChanged(ARM_EXEC_MODES(E.A)); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceEndianessChanged(int(E.A), int(E.B)); },
    nullptr,
    [](LISTENER& L, const DeviceEvent& E, const char* sText) { L.OnDeviceLogMsg(sText, MSG_INFO_FLAGS(E.B)); },
    [](LISTENER& L, const DeviceEvent&, const char* sText) { L.OnDeviceSetStatusMsg(sText); },
    [](LISTENER& L, const DeviceEvent&, const char* sText) { L.OnDeviceSetProgressMsg(sText); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceStartProgress(int(E.A), int(E.B)); },
    [](LISTENER& L, const DeviceEvent&, const char*) { L.OnDeviceEndProgress(); },
    [](LISTENER& L, const DeviceEvent& E, const char*) { L.OnDeviceSetProgressValue(int(E.A)); },
};

bool HasText(U32 Kind) {
    return Kind == DEV_EVENT_LOG_MSG || Kind == DEV_EVENT_SET_STATUS_MSG || Kind == DEV_EVENT_SET_PROGRESS_MSG;
}

} // namespace

void CDeviceEvents::Deliver(const DeviceEvent& Event) const {
    if (Event.Kind >= DEV_EVENT_KIND_COUNT || !_apfDeliver[Event.Kind]) {
        return;
    }
    const QByteArray sText = HasText(Event.Kind) ? GetText(Event.A) : QByteArray();
    CDeviceEventListener::ForEach(
        [&](CDeviceEventListener& L) { _apfDeliver[Event.Kind](L, Event, sText.constData()); });
}

void CDeviceEvents::Log(U32 Flags, const char* sFormat, ...) {
    char acText[EVENT_TEXT_SIZE + 1];
    va_list Args;
    va_start(Args, sFormat);
    std::vsnprintf(acText, sizeof(acText), sFormat, Args);
    va_end(Args);
    LogText(Flags, acText);
}

void CDeviceEvents::LogText(U32 Flags, const QByteArray& sText) {
    if ((Flags == DEV_LOG_DEBUG || Flags == DEV_LOG_WARN) && !IsVerboseLogging()) {
        return;
    }
    PostText(DEV_EVENT_LOG_MSG, sText, Flags);
}
