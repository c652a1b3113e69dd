#pragma once

// Carries the device's events to the listeners. Main thread only.

#include <QTimer>

class CDeviceEventWorker : public QTimer {
    Q_OBJECT

public:
    /// Empties the event ring's indices and starts a timer of 1 ms.
    explicit CDeviceEventWorker(QObject* pParent = nullptr);

protected:
    void timerEvent(QTimerEvent* pEvent) override;
};

constexpr int MAX_EVENTS_PER_TICK = 10;

/// Delivers up to MaxEvents events of the device; returns the number delivered. Every wait that must go on hearing of
/// the target calls this.
int DeliverDeviceEvents(int MaxEvents = MAX_EVENTS_PER_TICK);
