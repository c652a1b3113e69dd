#pragma once

// CProjectControl: projects from the user's point of view, opened, created, saved before they go. Main thread.

#include <QObject>
#include <QStringList>

class CMainWindow;

class CProjectControl : public QObject {
    Q_OBJECT

public:
    explicit CProjectControl(CMainWindow& MainWindow);

    /// Opens the project as soon as no script function runs. Asks before a session or changes are lost.
    void Open(const QString& sFileName);
    /// A new project with these command lines. False if the user declined.
    bool Create(const QString& sFilePath, const QStringList& Commands);
    /// A new project without a line, nothing in it to be saved.
    void CreateEmpty();
    /// The project that the command line describes. False if it describes none.
    bool CreateFromCmdLine();
    /// The wizard of a new project.
    void ShowWizard();
    /// Asks for changes of the project to be saved. False if the user wants to go on with the project.
    bool AskSave();
    /// Writes changes of the project into a file beside it, for an end that nobody can be asked about. True.
    bool KeepUnsaved();
    /// System variables and session modes as a project finds them.
    void ResetState();

    /// An error in the project's script ends the program, for sessions that nobody attends.
    void SetEndsOnError() { m_EndsOnError = true; }
    void OnProjectError();

private:
    bool AskCloseSession();
    void FinishCreate(const QString& sFilePath, const QStringList& Commands);
    void OnFileOpened(const QString& sFileName);
    void OnFileClosed(const QString& sFileName);

    CMainWindow& m_MainWindow;
    bool m_IsLayoutWaiting = false; ///< the windows don't have the layout of the open project yet
    bool m_EndsOnError = false;
};
