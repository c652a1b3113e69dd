#pragma once

// CDownload: how a file gets into the target's memory, and what is done when it has or hasn't. Main thread.

#include "base/Types.h"
#include "device/DeviceEventListener.h"

#include <QString>

class CMainWindow;

/// What is downloaded, and what follows: DL_PROGRAM goes on with the session, DL_LOAD runs the project's function for
/// it, DL_EXEC does nothing more.
enum DOWNLOAD_KIND : int { DL_PROGRAM, DL_LOAD, DL_EXEC };

class CDownload : public CDeviceEventListener {
public:
    explicit CDownload(CMainWindow& MainWindow) : m_MainWindow(MainWindow) {}

    /// Runs the project's function before it and writes the file; Address is that of a binary file. Nothing without a
    /// target, or without a path for the kinds that need one.
    void Start(const QString& sPath, DOWNLOAD_KIND Kind, I64 Address);
    /// Writes the file without more ado; a failure is told and stops the session at its first instruction.
    void Write(const QString& sPath, I64 Address);
    DOWNLOAD_KIND GetKind() const { return m_Kind; }

    void OnDeviceEndDownloadDone(const char* sPath) override;
    void OnDeviceEndDownloadFailed(const char* sPath, int Result) override;

private:
    void Stop(const QString& sProblem);
    void End();

    CMainWindow& m_MainWindow;
    DOWNLOAD_KIND m_Kind = DL_PROGRAM; ///< of the download begun last
};
