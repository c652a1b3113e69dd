#include "device/DeviceEventWorker.h"

#include "device/Device.h"

CDeviceEventWorker::CDeviceEventWorker(QObject* pParent) : QTimer(pParent) {
    CDevice::Get().EventRing().Reset();
    setTimerType(Qt::PreciseTimer);
    start(1);
}

void CDeviceEventWorker::timerEvent(QTimerEvent*) { DeliverDeviceEvents(MAX_EVENTS_PER_TICK); }

int DeliverDeviceEvents(int MaxEvents) { return CDevice::Current().DeliverEvents(MaxEvents); }
