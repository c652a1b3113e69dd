#pragma once

// CActionStates: which commands are open to the user and to scripts, from the state of session, project and
// breakpoints. Main thread.

#include "device/DeviceEventListener.h"

#include <QObject>
#include <QTimer>

class CActionStates : public QObject, public CDeviceEventListener {
    Q_OBJECT

public:
    explicit CActionStates(QObject* pParent);
    void Update();
    /// From here to Stop() the buttons follow a target that starts or stops by itself.
    void StartFollowing() { m_Timer.start(); }
    void StopFollowing() { m_Timer.stop(); }

    void OnDeviceBPStateChanged() override { Update(); }
    void OnDeviceWPStateChanged() override { Update(); }

signals:
    void Updated();

private:
    void UpdateHaltResumeButtons();
    QTimer m_Timer;
};
