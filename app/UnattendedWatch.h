#pragma once

// CUnattendedWatch: ends a session that nobody attends when nothing can come of it any more, with a reason and the
// exit code 1. Main thread.

#include "device/DeviceEventListener.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class CMainWindow;

class CUnattendedWatch : public QObject, public CDeviceEventListener {
    Q_OBJECT

public:
    /// TimeoutSec: how long a script may wait or the target may run without a sign of life.
    CUnattendedWatch(CMainWindow& MainWindow, int TimeoutSec);

    void OnDeviceConnectDone(CONNECT_MODES) override { OnProgress(); }
    void OnDeviceConnectFailed(CONNECT_MODES) override { OnProgress(); }
    void OnDeviceDisconnectDone() override { OnProgress(); }
    void OnDeviceResumeDone(RESUME_MODES) override { OnProgress(); }
    void OnDeviceHaltDone(U32, HALT_REASONS) override { OnProgress(); }
    void OnDeviceResetDone(U32, RESET_MODES) override { OnProgress(); }
    void OnDeviceStepped(U32) override { OnProgress(); }
    void OnDeviceEndDownloadDone(const char*) override { OnProgress(); }
    void OnDeviceSetProgressValue(int) override { OnProgress(); }

private:
    void Check();
    void OnProgress() { m_LastProgress.start(); }
    void End(const QString& sReason);

    CMainWindow& m_MainWindow;
    int m_TimeoutSec;
    U64 m_NumPrinted = 0;
    QElapsedTimer m_LastProgress; ///< since the last line in the console or change of the target's state
    QTimer m_Timer;
};

/// Seconds of the option's text; the default of 120 if it is no number above 0.
int ParseTimeout(const QString& sText);
