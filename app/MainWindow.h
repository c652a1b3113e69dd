#pragma once

// CMainWindow: the one main window. It makes windows, menus, tool bars, projects and session, wires them together, and
// takes them down in order. Main thread.

#include "framework/Window.h"

#include <QTimer>
#include <memory>

class CActionStates;
class CConsoleWindow;
class CDownload;
class CFileProgress;
class CProgramFile;
class CProjectControl;
class CRecentProjects;
class CScriptProgress;
class CDeviceEventWorker;
class CSession;
class CSourceWindow;
class CStatusBar;
class CTheme;
class CToolbars;
class CWindowList;

class CMainWindow : public CWindow {
    Q_OBJECT

public:
    CMainWindow();
    ~CMainWindow() override;
    static CMainWindow& Get();

    CWindowList& GetWindows() { return *m_pWindows; }
    CConsoleWindow& GetConsole() { return *m_pConsole; }
    CSourceWindow& GetSourceWindow() { return *m_pSource; }
    CToolbars& GetToolbars() { return *m_pToolbars; }
    CStatusBar& GetStatusBar() { return *m_pStatusBar; }
    CSession& GetSession() { return *m_pSession; }
    CProgramFile& GetProgramFile() { return *m_pProgramFile; }
    CDownload& GetDownload() { return *m_pDownload; }
    CProjectControl& GetProjects() { return *m_pProjects; }
    CRecentProjects& GetRecentProjects() { return *m_pRecentProjects; }
    CActionStates& GetActionStates() { return *m_pActionStates; }
    CScriptProgress& GetScriptProgress() { return *m_pScriptProgress; }

    // What follows from the state of session and project.
    void UpdateActions();
    void UpdateTitle();
    void UpdateConnectionInfo();
    void UpdatePosition();

    /// Shows and raises a window and gives it the focus, or hides it. The name is one for commands. False if there is
    /// no such window.
    bool ShowWindow(const QString& sName, bool IsShown);
    void ShowConsole();
    bool IsConsoleTyping() const;

    // What the settings commands change, to all windows.
    void OnUserPreferenceChanged(int Index, I32 Value);
    void OnColorChanged(int ColorId);
    void OnFontChanged(int FontId);
    void OnAllFontsChanged();

    /// Exit code of the program: 0 unless something set another one.
    int GetExitCode() const { return m_ExitCode; }
    /// Ends the program with this exit code as soon as the event loop is reached, without a question: what has not been
    /// saved of the project stays in a file beside it.
    void EndNow(int ExitCode);
    /// Closes the window when the running command and script function have ended.
    void CloseLater();
    bool IsCloseWaiting() const { return m_IsCloseWaiting; }
    /// Loads the project again if it has changed on the disk while a script function ran.
    void ReloadWaitingProject();

protected:
    void closeEvent(QCloseEvent* pEvent) override;
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;
    void changeEvent(QEvent* pEvent) override;

private:
    void LoadSettings();
    void CreateActions();
    void CreateWindows();
    void ConnectSignals();
    void RestoreState();
    void SaveState();
    void OnThemeChanged();
    void OnActivated();
    void ReloadProject();

    CTheme* m_pTheme;
    CWindowList* m_pWindows;
    CStatusBar* m_pStatusBar = nullptr;
    CToolbars* m_pToolbars = nullptr;
    CRecentProjects* m_pRecentProjects;
    CProjectControl* m_pProjects = nullptr;
    CActionStates* m_pActionStates = nullptr;
    CDeviceEventWorker* m_pEventWorker = nullptr;
    CScriptProgress* m_pScriptProgress = nullptr;
    CSourceWindow* m_pSource = nullptr;   ///< owned by m_pWindows
    CConsoleWindow* m_pConsole = nullptr; ///< owned by m_pWindows
    std::unique_ptr<CFileProgress> m_pFileProgress;
    std::unique_ptr<CProgramFile> m_pProgramFile;
    std::unique_ptr<CDownload> m_pDownload;
    std::unique_ptr<CSession> m_pSession;
    QTimer m_ShownTimer;
    bool m_IsShown = false;
    bool m_IsCloseWaiting = false;  ///< since CloseLater()
    bool m_IsReloadWaiting = false; ///< for the running script functions to end
    int m_ExitCode = 0;
    bool m_IsEndForced = false;
};
