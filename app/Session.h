#pragma once

// CSession runs the debug session: the order of connect, reset, download and run, the project's event functions
// between the steps, and what the user is told. Each step posts a device job or runs an event function; the next step
// runs in the event of that job, so the main thread never waits for the target here. Main thread.

#include "base/Types.h"
#include "datafile/MemBlock.h"
#include "device/DeviceEventListener.h"

#include <QHash>
#include <QObject>
#include <QTimer>
#include <memory>

class CMainWindow;
namespace JFile {
class CProgressSink;
}

enum DOWNLOAD_KIND : int { DL_PROGRAM, DL_LOAD, DL_EXEC };

class CSession : public QObject, public CDeviceEventListener {
    Q_OBJECT

public:
    explicit CSession(CMainWindow& MainWindow);
    ~CSession() override;

    /// The whole start, as the user asks for it: checks, then DebugStart or the chain. False if the user declined.
    bool Start();
    void ConnectTarget(CONNECT_MODES Mode);
    void DisconnectTarget();
    void ResetTarget(RESET_MODES Mode);
    void DownloadProgram(const QString& sPath, DOWNLOAD_KIND Kind, I64 Address);
    void WriteDownload(const QString& sPath, I64 Address);
    void FinishDownload();
    void ResumeTarget();
    /// 0, or -1 if there is no symbol to run to.
    int RunToBreakSymbol();
    void ShowPC(U32 PC);
    void ReadIntoTraceCache(U32 Addr, U32 Size);

    /// Opens a program file (ELF or binary) for the session; an empty path closes the open one. An empty result, or
    /// the error text.
    QString OpenDataFile(const QString& sPath);
    /// Says where parts of the program are loaded, of the open one or the next. 0, or -1 if the text names nothing in
    /// the open one.
    int RelocateSymbols(const QString& sSymbols, I32 Offset);
    /// Keeps why a program file could not be opened; an empty error forgets it. Nothing is run meanwhile.
    void NoteOpenResult(const QString& sPath, const QString& sError);
    /// A sentence, empty if the last program file was opened.
    QString GetOpenError() const { return m_sOpenError; }
    void SetLoadAddress(I64 Address) { m_LoadAddress = Address; }
    void SetDownloadKind(DOWNLOAD_KIND Kind) { m_DownloadKind = Kind; }
    QString GetProgramFile() const { return m_sCurrentProgramFile; }
    void ShowMainFunc();

    /// Runs an event function with the project checks; what the script host gave, -1 if it didn't run.
    int ExecuteScriptFunction(int Id);
    /// No script function starts from here on.
    void SetClosing() { m_IsClosing = true; }
    bool IsClosing() const { return m_IsClosing; }
    void SetProjectLoading(bool IsLoading) { m_IsProjectLoading = IsLoading; }

    void OnSysVarChanged(int Index, I32 Value);
    /// Address of the break symbol into the device. False if the symbol is unknown.
    bool EvaluateBreakSymbol();

    void OnDeviceConnectDone(CONNECT_MODES Mode) override;
    void OnDeviceConnectFailed(CONNECT_MODES Mode) override;
    void OnDeviceConnectCanceled(CONNECT_MODES Mode) override;
    void OnDeviceDisconnectDone() override;
    void OnDeviceResumeDone(RESUME_MODES Mode) override;
    void OnDeviceHaltDone(U32 PC, HALT_REASONS Reason) override;
    void OnDeviceResetDone(U32 PC, RESET_MODES Mode) override;
    void OnDeviceRunToSymbolDone(U32 PC) override;
    void OnDeviceStepped(U32 PC) override;
    void OnDeviceEndDownloadDone(const char* sPath) override;
    void OnDeviceEndDownloadFailed(const char* sPath, int Result) override;
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
    static void TellProgramChanged();
    static void TellProgramClosing();
    void UpdateTrace();
    void AttachTrace();
    void EndOfDownload();
    void OnDataFileOpened(const QString& sPath, bool IsElf, qint64 ElapsedMs);
    void RestoreBreakpoints(bool IsSameFile);
    QString OpenRecords(const QString& sPath, bool IsBinary);
    static void ShowDownloadFailure(const QStringList& Problems);
    void StopAtFailedDownload(const QString& sProblem);
    U32 GetChunkSize() const;

    CMainWindow& m_MainWindow;
    std::unique_ptr<JFile::CProgressSink> m_pFileProgress;
    QTimer m_HaltTimer;       ///< runs AfterTargetHalt when the target has stayed halted
    QTimer m_MessageBoxTimer; ///< shows the break symbol box after the current event
    DOWNLOAD_KIND m_DownloadKind = DL_PROGRAM;
    I64 m_LoadAddress = -1;
    QString m_sCurrentProgramFile;
    QString m_sOpenError;                             ///< of the program file that was asked for last
    QHash<size_t, QList<BPEntry>> m_SavedBreakpoints; ///< by program file
    bool m_IsClosing = false;
    bool m_IsProjectLoading = false;
    bool m_IsHaltPassing = false; ///< the chain goes on after a reset: the halt reported with it isn't the session's
};
