#pragma once

// CMainWindow: the one main window. It owns menus, tool bars, docks, the source viewer and the session, and is the only
// place that wires them together. Main thread.

#include "framework/Window.h"

#include <QTimer>
#include <memory>

class CConsoleWindow;
class CDockWindow;
class CSession;
class CSourceWindow;
class CStatusBar;
class CTheme;
class QMenu;
class QToolBar;
class QToolButton;

class CMainWindow : public CWindow {
    Q_OBJECT

public:
    CMainWindow();
    ~CMainWindow() override;
    static CMainWindow& Get();

    CSession& GetSession() { return *m_pSession; }
    CConsoleWindow& GetConsole() { return *m_pConsole; }
    CSourceWindow& GetSourceWindow() { return *m_pSource; }
    CStatusBar& GetStatusBar() { return *m_pStatusBar; }

    // Projects.
    /// Opens the project as soon as no script function runs. Asks before a session or changes are lost.
    void OpenProject(const QString& sFileName);
    /// A new project with these command lines. False if the user declined.
    bool CreateProject(const QString& sFilePath, const QStringList& Commands);
    bool CreateProjectFromCmdLine();
    /// The wizard of a new project. Nothing happens in a session without a screen.
    void ShowProjectWizard();
    void ShowOpenProjectDialog();
    /// Puts lines that a settings dialog has made into the project, if the user wants that: into its file, or into the
    /// text of a project that has none yet.
    void SaveSettingsToProject(const QString& sTitle, const QStringList& Lines, bool IsTrace);
    /// Command lines of the settings in force, for a project that has no text.
    QStringList CollectProjectSettings() const;
    void AddRecentProject(const QString& sPath, const QString& sOldPath = QString());
    const QStringList& GetRecentProjects() const { return m_RecentProjects; }

    // What the session changes.
    void UpdateActions();
    void UpdateTitle();
    void UpdateConnectionInfo();
    void UpdateModePanels();
    void UpdatePosition();
    void InvalidateViews();
    void ClearWindows();
    void StartToolbarTimer();
    void StopToolbarTimer();
    void ShowConsole();
    bool IsConsoleTyping() const;

    // What the settings commands change.
    void OnSysVarChanged(int Index, I32 Value);
    void OnUserPreferenceChanged(int Index, I32 Value);
    void OnColorChanged(int ColorId);
    void OnFontChanged(int FontId);
    void OnAllFontsChanged();

    // Windows and tool bars by name.
    CWindow* FindWindow(const QString& sName) const;
    bool ShowWindow(const QString& sName, bool IsShown);
    QString GetFocusedDockName() const;
    bool ShowToolbar(const QString& sName, bool IsShown);
    bool IsToolbarShown(const QString& sName) const;

    /// An error in the project's script ends the program, for sessions that nobody attends.
    void SetEndsOnProjectError() { m_EndsOnProjectError = true; }
    void OnProjectError();
    /// Exit code of the program so far: 1 after such an end.
    int GetExitCode() const { return m_ExitCode; }

    /// Closes the window when the running command and script function have ended.
    void CloseLater();

    void OnDeviceBPStateChanged() override { UpdateActions(); }
    void OnDeviceWPStateChanged() override { UpdateActions(); }

public slots:
    /// First thing after the first paint: what the command line, the recent projects or the user want.
    void OnWindowShown();

protected:
    void closeEvent(QCloseEvent* pEvent) override;
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;
    void changeEvent(QEvent* pEvent) override;

private slots:
    void OnProjectFileOpened(const QString& sFileName);
    void OnProjectFileClosed(const QString& sFileName);
    void OnProjectWizardFinished(QStringList& CommandList);
    void OnFilePathResolutionStatsChanged();
    void OnThemeChanged();
    void ShowCommandPalette();
    void OnProjectModifiedChanged();
    void OnToolbarUpdateTimerTimeout();

private:
    void CreateActions();
    void CreateSourceActions();
    void CreateMenus();
    void CreateToolbars();
    void CreateDocks();
    void CreateModePanel(QToolBar* pBar, unsigned RunId, const QList<unsigned>& Entries, QToolButton** ppButton);
    void ConnectSignals();
    void FinishCreateProject(const QString& sFilePath, const QStringList& Commands);
    void RestoreState();
    void SaveState();
    void ShowWelcomeScreen();
    /// The register description of the core, if the project names none.
    void LoadDefaultCpuSvdFile();
    void CheckRtosHints();
    // The layout of the windows, in the user file beside the project.
    void WriteUserFile(const QString& sProjectPath) const;
    void LoadUserFile(const QString& sProjectPath);
    void ApplyDockLayouts(const QStringList& Lines);
    void ApplyToolbarLayouts(const QStringList& Lines);
    bool AskSaveProject();
    bool AskCloseSession();
    /// System variables and session modes as a project finds them.
    void ResetProjectState();
    void UpdateRecentMenu();
    bool TakeAlternativeKey(QEvent* pEvent);
    void OnActivated();
    void StopDevice();
    QList<CWindow*> GetWindows() const;

    CTheme* m_pTheme;
    std::unique_ptr<CSession> m_pSession;
    CSourceWindow* m_pSource = nullptr;
    CConsoleWindow* m_pConsole = nullptr;
    CStatusBar* m_pStatusBar = nullptr;
    QList<CDockWindow*> m_Docks;
    QMap<QString, QToolBar*> m_Toolbars;
    QMenu* m_pRecentMenu = nullptr;
    QToolButton* m_pConnectPanel = nullptr;
    QToolButton* m_pResetPanel = nullptr;
    QTimer m_ToolbarTimer;
    QTimer m_ShownTimer;
    QStringList m_RecentProjects;
    bool m_IsShown = false;
    bool m_EndsOnProjectError = false;
    int m_ExitCode = 0;
};
