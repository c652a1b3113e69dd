#pragma once

// CSession runs the debug session: the order of connect, reset, download and run, the project's event functions
// between the steps, and what the user is told. Each step posts a device job or runs an event function; the next step
// runs in the event of that job, so the main thread never waits for the target here. Main thread.

#include "base/Types.h"
#include "device/DeviceEventListener.h"

#include <QObject>
#include <QTimer>

class CMainWindow;

class CSession : public QObject, public CDeviceEventListener {
    Q_OBJECT

public:
    explicit CSession(CMainWindow& MainWindow);

    /// The whole start, as the user asks for it: checks, then DebugStart or the chain. False if the user declined.
    bool Start();
    void ConnectTarget(CONNECT_MODES Mode);
    void DisconnectTarget();
    void ResetTarget(RESET_MODES Mode);
    /// Goes on behind the download of the program.
    void FinishDownload();
    void ResumeTarget();
    /// 0, or -1 if there is no symbol to run to.
    int RunToBreakSymbol();
    void ShowPC(U32 PC);
    void ReadIntoTraceCache(U32 Addr, U32 Size);

    /// Runs an event function with the project checks; what the script host gave, -1 if it didn't run.
    int ExecuteScriptFunction(int Id);
    /// No script function starts from here on.
    void SetClosing() { m_IsClosing = true; }
    bool IsClosing() const { return m_IsClosing; }
    void SetProjectLoading(bool IsLoading) { m_IsProjectLoading = IsLoading; }

    void OnDeviceConnectDone(CONNECT_MODES Mode) override;
    void OnDeviceConnectFailed(CONNECT_MODES Mode) override;
    void OnDeviceConnectCanceled(CONNECT_MODES Mode) override;
    void OnDeviceDisconnectDone() override;
    void OnDeviceResumeDone(RESUME_MODES Mode) override;
    void OnDeviceHaltDone(U32 PC, HALT_REASONS Reason) override;
    void OnDeviceResetDone(U32 PC, RESET_MODES Mode) override;
    void OnDeviceRunToSymbolDone(U32 PC) override;
    void OnDeviceStepped(U32 PC) override;
    void OnDeviceConfigParamChanged(int Param, int Value) override;
    void OnDeviceConnectionLost() override;
    void OnDeviceAboutToDisconnect() override;
    void OnDeviceSetStatusMsg(const char* sMsg) override;
    void OnDeviceSetProgressMsg(const char* sMsg) override;
    void OnDeviceStartProgress(int Min, int Max) override;
    void OnDeviceEndProgress() override;
    void OnDeviceSetProgressValue(int Value) override;
    void OnDeviceLogMsg(const char* sMsg, MSG_INFO_FLAGS Flags) override;
    void OnDeviceEvalBPCondition(U32 Addr) override;
    void OnDeviceExecNovikCmdFailed(const char* sCommand, const char* sError) override;

private:
    void SetStatus(const QString& sText);
    static void InvalidateViews();
    void AttachTrace();

    CMainWindow& m_MainWindow;
    QTimer m_HaltTimer;       ///< runs AfterTargetHalt when the target has stayed halted
    QTimer m_MessageBoxTimer; ///< shows the break symbol box after the current event
    bool m_IsClosing = false;
    bool m_IsProjectLoading = false;
    bool m_IsHaltPassing = false; ///< the chain goes on after a reset: the halt reported with it isn't the session's
};
