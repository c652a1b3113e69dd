#pragma once

// Carries the device's events to the listeners. Main thread only.

#include <QTimer>

/// Sleeps until an event comes into the empty ring, then delivers at most MAX_EVENTS_PER_TICK a millisecond, so that
/// paint and input have their turn between them.
class CDeviceEventWorker : public QObject {
    Q_OBJECT

public:
    /// Empties the event ring's indices and listens to it.
    explicit CDeviceEventWorker(QObject* pParent = nullptr);
    ~CDeviceEventWorker() override;

    /// From here on events stay where they are.
    void Stop();

protected:
    bool event(QEvent* pEvent) override;

private:
    void Tick();

    QTimer m_NextTick;
    bool m_IsStopped = false;
};

constexpr int MAX_EVENTS_PER_TICK = 10;

/// Delivers up to MaxEvents events of the device; returns the number delivered. Every wait that must go on hearing of
/// the target calls this.
int DeliverDeviceEvents(int MaxEvents = MAX_EVENTS_PER_TICK);
