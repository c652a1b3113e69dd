#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "project/RegisterFiles.h"
#include "script/JScript.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QFileInfo>
#include <QMenu>

// What the main window does with projects, from the first show on.

namespace {

constexpr int MAX_RECENT_PROJECTS = 4;
constexpr int MAX_EVENTS_PER_ROUND = 100;
constexpr int SCRIPT_END_POLL_MS = 10;

/// A command line as the echo would show it; empty if the first argument is.
void Collect(QStringList* pCommands, COMMAND_ID Id, const QVariantList& Args) {
    if (Args.first().toString().isEmpty()) {
        return;
    }
    pCommands->append(CCommandTable::RenderWith(Id, Args));
}

} // namespace

void CMainWindow::OnWindowShown() {
    constexpr int SEPARATOR_LIGHTER_PERCENT = 115;
    setStyleSheet(QStringLiteral("QMainWindow::separator:vertical {background: %1; width: 1px; height: 1px;}")
                      .arg(palette().color(QPalette::Button).lighter(SEPARATOR_LIGHTER_PERCENT).name()));
    const QString sFound = QStringLiteral("Novik software found at: ") + CDevice::Get().Facts().LibPath.Get();
    ConsolePrint(sFound);
    qDebug("%s", qPrintable(sFound));
    const QString sFirst = GetCmdLineArgs().value(0);
    if (QFileInfo(sFirst).suffix() == QLatin1String("dbgprj") && !sFirst.startsWith(QLatin1Char('-'))) {
        CCommandTable::Execute(CMD_FILE_OPEN, {sFirst});
    } else if (!GetCmdLine().Device.isEmpty()) {
        CreateProjectFromCmdLine();
    } else if (m_RecentProjects.isEmpty()) {
        CreateProject(QString(), {});
        CProject::Get().SetModified(false);
        ShowProjectWizard();
    } else if (SysVarValue(PREF_START_WITH_MOST_RECENT_PROJ) != 0) {
        CCommandTable::Execute(CMD_FILE_OPEN, {m_RecentProjects.first()});
    } else if (!IsUnattended()) {
        ShowWelcomeScreen();
    }
    UpdateActions();
    for (const QString& sName : CCommandTable::GetUnknownActionNames()) {
        qWarning("Unknown GUI action could not be linked: %s", qPrintable(sName));
    }
}

bool CMainWindow::CreateProjectFromCmdLine() {
    const CMD_LINE_PARAMS& Params = GetCmdLine();
    if (Params.Device.isEmpty() || Params.HostIF.isEmpty() || Params.TargetIF.isEmpty()) {
        return false;
    }
    QStringList Commands;
    Collect(&Commands, CMD_PROJECT_SET_DEVICE, {Params.Device});
    Collect(&Commands, CMD_PROJECT_SET_HOST_IF, {Params.HostIF, Params.HostIdent});
    Collect(&Commands, CMD_PROJECT_SET_TARGET_IF, {Params.TargetIF});
    Collect(&Commands, CMD_PROJECT_SET_TIF_SPEED, {Params.Speed});
    Collect(&Commands, CMD_PROJECT_SET_NOVIK_SCRIPT, {Params.ScriptFile});
    const QStringList Chain = Params.JTAGConfig.split(QLatin1Char(','));
    if (Chain.size() == 2) {
        Collect(&Commands, CMD_PROJECT_SET_JTAG_CONFIG, {Chain[0].trimmed(), Chain[1].trimmed()});
    }
    for (const QString& sFile : GetDefaultSvdFiles(Params.Device)) {
        Collect(&Commands, CMD_PROJECT_ADD_SVD_FILE, {sFile});
    }
    Collect(&Commands, CMD_FILE_OPEN, {Params.DataFile});
    Commands.removeAll(QString());
    if (QFileInfo(Params.ProjectFile).isFile()) {
        if (CProject::Get().UpdateSettings(Params.ProjectFile, Commands) != 0) {
            qCritical("Could not write Novik settings to the project file. See the log file for details.");
        }
        OpenProject(Params.ProjectFile);
    } else {
        CreateProject(Params.ProjectFile, Commands);
    }
    return true;
}

bool CMainWindow::AskCloseSession() {
    if (!CDevice::Get().IsConnected()) {
        return true;
    }
    if (AskUser(QStringLiteral("Stop Debugging"), QStringLiteral("Close this Session?"),
                QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes, "control-power-red.svg") != QMessageBox::Yes) {
        return false;
    }
    m_pSession->DisconnectTarget();
    CDevice::Get().WaitForJob(JT_DISCONNECT);
    return true;
}

bool CMainWindow::CreateProject(const QString& sFilePath, const QStringList& Commands) {
    if (!AskCloseSession() || !AskSaveProject()) {
        return false;
    }
    FinishCreateProject(sFilePath, Commands);
    return true;
}

void CMainWindow::FinishCreateProject(const QString& sFilePath, const QStringList& Commands) {
    if (ScriptGetCallLevel() != 0) { // the running function asked for it: its script can't be replaced under it
        ScriptRequestClose();
        QTimer::singleShot(SCRIPT_END_POLL_MS, this, [=, this] { FinishCreateProject(sFilePath, Commands); });
        return;
    }
    CProject::Get().Close();
    ScriptSetPath(sFilePath);
    ResetProjectState();
    m_pSession->OpenDataFile(QString());
    CProject::Get().Create(Commands);
    UpdateModePanels();
    UpdateTitle();
}

void CMainWindow::OpenProject(const QString& sFileName) {
    if (!FileExists(sFileName) || !AskCloseSession() || !AskSaveProject()) {
        return;
    }
    const QString sProbeSettings = CProject::Get().GetProbeSettingsPath();
    if (!sProbeSettings.isEmpty()) {
        CDevice::Get().PostSetConfigParam(DEV_CFG_SCRIPT_FILE, sProbeSettings.toUtf8());
    }
    m_pSession->OpenDataFile(QString());
    ScriptRequestClose();
    CProject::Get().OpenDeferred(sFileName);
}

void CMainWindow::OnProjectFileOpened(const QString& sFileName) {
    AddRecentProject(sFileName);
    UpdateActions();
    UpdateTitle();
    if (ScriptHasError()) {
        qWarning("Project file is not valid");
        CCommandTable::PrepareArgs(CMD_FILE_OPEN, {sFileName});
        m_pConsole->PrintCommandError(CCommandTable::RenderCommand(CMD_FILE_OPEN), ScriptGetErrorText());
        CCommandTable::ClearArgs(CMD_FILE_OPEN);
        ShowConsole();
        OnProjectError();
        return;
    }
    ResetProjectState();
    m_pSession->SetProjectLoading(true);
    m_pSession->ExecuteScriptFunction(SF_ON_PROJECT_LOAD);
    while (CDevice::Get().DeliverEvents(MAX_EVENTS_PER_ROUND) >
           0) { // what the script's own settings caused is its business
    }
    m_pSession->SetProjectLoading(false);
    LoadDefaultCpuSvdFile();
    CheckRtosHints();
    LoadUserFile(sFileName);
    UpdateModePanels();
    UpdateTitle();
}

void CMainWindow::OnProjectFileClosed(const QString& sFileName) {
    if (!sFileName.isEmpty()) {
        WriteUserFile(sFileName);
    }
}

void CMainWindow::OnProjectError() {
    if (m_EndsOnProjectError) {
        qCritical("The project can't be used, and nobody is there to see to it: the program ends.");
        m_ExitCode = 1;
        CloseLater();
    }
}

void CMainWindow::OnProjectModifiedChanged() {
    UpdateTitle();
    UpdateActions();
}

void CMainWindow::ResetProjectState() {
    ResetProjectSysVars();
    // A session runs to the break symbol unless the project says otherwise.
    SetSysVar(GetSysVar(VAR_RESET_MODE), RM_BREAK_AT_SYMBOL, false);
    SetSysVar(GetSysVar(VAR_CONNECT_MODE), CM_DOWNLOAD_RESET, false);
    UpdateModePanels();
}

QStringList CMainWindow::CollectProjectSettings() const {
    const CDevice& Device = CDevice::Get();
    const int Speed = Device.GetConfigParam(DEV_CFG_SPEED);
    QStringList Commands;
    Collect(&Commands, CMD_PROJECT_SET_DEVICE, {QString::fromUtf8(Device.GetConfigText(DEV_CFG_DEVICE_NAME))});
    Collect(&Commands, CMD_PROJECT_SET_HOST_IF,
            {Device.GetConfigParam(DEV_CFG_HOST_IF) == 2 ? "IP" : "USB", QString()});
    Collect(&Commands, CMD_PROJECT_SET_TARGET_IF, {Device.GetConfigParam(DEV_CFG_TARGET_IF) == 1 ? "SWD" : "JTAG"});
    Collect(&Commands, CMD_PROJECT_SET_TIF_SPEED,
            {Speed == 65535 ? QStringLiteral("adaptive") : SpeedText(static_cast<U32>(Speed))});
    for (const QString& sFile : CProject::Get().GetSvdFiles()) {
        Collect(&Commands, CMD_PROJECT_ADD_SVD_FILE, {sFile});
    }
    Collect(&Commands, CMD_FILE_OPEN, {CProject::Get().GetProgramFile()});
    return Commands;
}

void CMainWindow::AddRecentProject(const QString& sPath, const QString& sOldPath) {
    if (!sOldPath.isEmpty() && m_RecentProjects.contains(sOldPath)) {
        m_RecentProjects.replace(m_RecentProjects.indexOf(sOldPath), sPath);
    } else if (m_RecentProjects.size() >= MAX_RECENT_PROJECTS && !m_RecentProjects.contains(sPath)) {
        m_RecentProjects.removeLast();
    }
    m_RecentProjects.removeAll(sPath);
    if (QFileInfo(sPath).isFile()) {
        m_RecentProjects.prepend(sPath);
    }
    UpdateRecentMenu();
}

void CMainWindow::UpdateRecentMenu() {
    m_pRecentMenu->clear();
    m_pRecentMenu->setEnabled(!m_RecentProjects.isEmpty());
    for (const QString& sPath : std::as_const(m_RecentProjects)) {
        m_pRecentMenu->addAction(sPath, this, [sPath] { CCommandTable::Execute(CMD_FILE_OPEN, {sPath}); });
    }
}
