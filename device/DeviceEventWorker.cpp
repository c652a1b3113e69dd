#include "device/DeviceEventWorker.h"

#include "device/Device.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

constexpr int TICK_MS = 1;
constexpr QEvent::Type EVENT_NOTICE = QEvent::User;

} // namespace

CDeviceEventWorker::CDeviceEventWorker(QObject* pParent) : QObject(pParent) {
    CDeviceEvents& Ring = CDevice::Get().EventRing();
    m_NextTick.setSingleShot(true);
    m_NextTick.setInterval(TICK_MS);
    m_NextTick.setTimerType(Qt::PreciseTimer);
    connect(&m_NextTick, &QTimer::timeout, this, &CDeviceEventWorker::Tick);
    Ring.Reset();
    Ring.SetNotifier([this] { QCoreApplication::postEvent(this, new QEvent(EVENT_NOTICE)); });
}

CDeviceEventWorker::~CDeviceEventWorker() { Stop(); }

void CDeviceEventWorker::Stop() {
    m_IsStopped = true;
    m_NextTick.stop();
    CDevice::Get().EventRing().SetNotifier(nullptr);
}

bool CDeviceEventWorker::event(QEvent* pEvent) {
    if (pEvent->type() != EVENT_NOTICE) {
        return QObject::event(pEvent);
    }
    if (!m_NextTick.isActive()) {
        Tick();
    }
    return true;
}

// The notice is taken before the ring is looked at, so that what comes in between is noticed again. A tick of what is
// left is set up before the delivery: that may run an event loop of its own, in which events go on to come.
void CDeviceEventWorker::Tick() {
    if (m_IsStopped) {
        return;
    }
    CDeviceEvents& Ring = CDevice::Get().EventRing();
    Ring.TakeNotice();
    if (!Ring.IsEmpty()) {
        m_NextTick.start();
        DeliverDeviceEvents(MAX_EVENTS_PER_TICK);
    }
}

int DeliverDeviceEvents(int MaxEvents) { return CDevice::Current().DeliverEvents(MaxEvents); }
