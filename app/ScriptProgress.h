#pragma once

// CScriptProgress: shows a script function that runs long in the status bar, where it can be stopped, and does what had
// to wait for its end. Main thread; one object.

#include <QObject>
#include <QTimer>

class CMainWindow;

class CScriptProgress : public QObject {
    Q_OBJECT

public:
    explicit CScriptProgress(CMainWindow& MainWindow);
    ~CScriptProgress() override;

    /// Stops the functions that run, if the status bar shows one. False if it doesn't.
    bool StopShown();

private:
    void OnRun(bool IsRunning);
    void Show();

    CMainWindow& m_MainWindow;
    QTimer m_ShowTimer;
};
