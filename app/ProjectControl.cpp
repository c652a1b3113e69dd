#include "app/ProjectControl.h"

#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/ProjectHints.h"
#include "app/ProjectSettings.h"
#include "app/RecentProjects.h"
#include "app/Session.h"
#include "app/Toolbars.h"
#include "app/UserFile.h"
#include "app/dialogs/ProjectWizard.h"
#include "base/ConsoleRing.h"
#include "base/Files.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/SysVars.h"

#include <QFileInfo>
#include <QTimer>

namespace {

constexpr int MAX_EVENTS_PER_ROUND = 100;
constexpr int SCRIPT_END_POLL_MS = 10;

struct CONFIG_DEFAULT {
    DEV_CONFIG_PARAMS Param;
    int Value;
};

/// What a project finds of the probe's and target's configuration; the texts are empty.
constexpr CONFIG_DEFAULT aConfigDefault[] = {
    {DEV_CFG_HOST_IF, 1}, {DEV_CFG_USB_SN, 0}, {DEV_CFG_USE_SN, 0}, {DEV_CFG_TARGET_IF, 0},    {DEV_CFG_SPEED, 0},
    {DEV_CFG_ENDIAN, 0},  {DEV_CFG_DR_PRE, 0}, {DEV_CFG_IR_PRE, 0}, {DEV_CFG_MULTI_TARGET, 0},
};

void ResetDeviceConfig() {
    CDevice& Device = CDevice::Get();
    for (const CONFIG_DEFAULT& Row : aConfigDefault) {
        Device.PostSetConfigParam(Row.Param, Row.Value);
    }
    for (const DEV_CONFIG_PARAMS Param : {DEV_CFG_DEVICE_NAME, DEV_CFG_LOG_FILE}) {
        Device.PostSetConfigParam(Param, QByteArray());
    }
}

} // namespace

CProjectControl::CProjectControl(CMainWindow& MainWindow) : QObject(&MainWindow), m_MainWindow(MainWindow) {
    connect(&CProject::Get(), &CProject::Opened, this, &CProjectControl::OnFileOpened);
    connect(&CProject::Get(), &CProject::Closed, this, &CProjectControl::OnFileClosed);
}

bool CProjectControl::CreateFromCmdLine() {
    const CMD_LINE_PARAMS& Params = GetCmdLine();
    if (Params.Device.isEmpty() || Params.HostIF.isEmpty() || Params.TargetIF.isEmpty()) {
        return false;
    }
    const QStringList Commands = CollectCmdLineSettings(Params);
    // An absolute path stays what it is when the working folder changes.
    const QString sFile = Params.ProjectFile.isEmpty() ? QString() : QFileInfo(Params.ProjectFile).absoluteFilePath();
    if (QFileInfo(sFile).isFile()) {
        if (CProject::Get().UpdateSettings(sFile, Commands) != 0) {
            qCritical("Could not write Novik settings to the project file. See the log file for details.");
        }
        Open(sFile);
    } else {
        Create(sFile, Commands);
    }
    return true;
}

void CProjectControl::CreateEmpty() {
    Create(QString(), {});
    CProject::Get().SetModified(false);
}

void CProjectControl::ShowWizard() {
    CProjectWizard Wizard(&m_MainWindow);
    connect(&Wizard, &CProjectWizard::Finished, this,
            [this](const QStringList& Commands) { Create(QString(), Commands); });
    Wizard.exec();
}

bool CProjectControl::AskCloseSession() {
    if (!CDevice::Get().IsConnected()) {
        return true;
    }
    if (AskUser(QStringLiteral("Stop Debugging"), QStringLiteral("Close this Session?"),
                QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes, "control-power-red.svg") != QMessageBox::Yes) {
        return false;
    }
    m_MainWindow.GetSession().DisconnectTarget();
    CDevice::Get().WaitForJob(JT_DISCONNECT);
    return true;
}

bool CProjectControl::AskSave() {
    if (!CProject::Get().IsModified()) {
        return true;
    }
    const auto Answer = AskUser(
        QStringLiteral("Save Project Changes?"), QStringLiteral("The current project was modified. Save changes?"),
        QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, IsUnattended() ? QMessageBox::No : QMessageBox::Yes);
    if (Answer == QMessageBox::Yes) {
        const QString sPath = CProject::Get().GetPath();
        if (!QFileInfo(sPath).isFile()) {
            return CCommandTable::Execute(CMD_FILE_SAVE_PROJECT_AS) == 0;
        }
        const QString sError = CProject::Get().Save(sPath, CollectProjectSettings());
        if (!sError.isEmpty()) {
            TellSaveFailed(sPath, sError, true);
        }
        return sError.isEmpty();
    }
    return Answer == QMessageBox::No;
}

bool CProjectControl::KeepUnsaved() {
    const QString sPath = CProject::Get().GetPath();
    if (!CProject::Get().IsModified() || !QFileInfo(sPath).isFile()) {
        return true;
    }
    const QString sKept = sPath + QStringLiteral(".unsaved");
    const QString sError = SaveFile(sKept, ScriptGetText().toUtf8());
    if (sError.isEmpty()) {
        ConsolePrint(QStringLiteral("The unsaved project was kept as ") + sKept);
    } else {
        TellSaveFailed(sKept, sError, false);
    }
    return true;
}

bool CProjectControl::Create(const QString& sFilePath, const QStringList& Commands) {
    if (!AskCloseSession() || !AskSave()) {
        return false;
    }
    FinishCreate(sFilePath, Commands);
    return true;
}

void CProjectControl::FinishCreate(const QString& sFilePath, const QStringList& Commands) {
    if (ScriptGetCallLevel() != 0) { // the running function asked for it: its script can't be replaced under it
        ScriptRequestClose();
        QTimer::singleShot(SCRIPT_END_POLL_MS, this, [=, this] { FinishCreate(sFilePath, Commands); });
        return;
    }
    CProject::Get().Close();
    ScriptSetPath(sFilePath);
    ResetState();
    ResetDeviceConfig();
    m_MainWindow.GetProgramFile().Open(QString());
    m_IsLayoutWaiting = false;
    CProject::Get().Create(Commands);
    m_MainWindow.GetToolbars().UpdateModePanels();
    m_MainWindow.UpdateTitle();
}

void CProjectControl::Open(const QString& sFileName) {
    if (!FileExists(sFileName) || !AskCloseSession() || !AskSave()) {
        return;
    }
    const QString sProbeSettings = CProject::Get().GetProbeSettingsPath();
    CDevice::Get().PostSetConfigParam(DEV_CFG_SCRIPT_FILE, sProbeSettings.toUtf8());
    m_MainWindow.GetProgramFile().Open(QString());
    ScriptRequestClose();
    CProject::Get().OpenDeferred(sFileName);
}

void CProjectControl::OnFileOpened(const QString& sFileName) {
    m_IsLayoutWaiting = true;
    m_MainWindow.GetRecentProjects().Add(sFileName);
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
    ResetState(); // also for a project that can't be used: nothing of the one before stays
    ResetDeviceConfig();
    if (ScriptHasError()) {
        ScriptTakeError();
        qWarning("Project file is not valid");
        CCommandTable::PrepareArgs(CMD_FILE_OPEN, {sFileName});
        m_MainWindow.GetConsole().PrintCommandError(CCommandTable::RenderCommand(CMD_FILE_OPEN), ScriptGetErrorText());
        CCommandTable::ClearArgs(CMD_FILE_OPEN);
        m_MainWindow.ShowConsole();
        OnProjectError();
        return;
    }
    m_MainWindow.GetSession().SetProjectLoading(true);
    m_MainWindow.GetSession().ExecuteScriptFunction(SF_ON_PROJECT_LOAD);
    while (CDevice::Get().DeliverEvents(MAX_EVENTS_PER_ROUND) >
           0) { // what the script's own settings caused is its business
    }
    m_MainWindow.GetSession().SetProjectLoading(false);
    if (m_MainWindow.IsCloseWaiting() || m_MainWindow.GetSession().IsClosing() || ScriptIsClosing()) {
        return; // it closes: what it lacks is of no interest, and its layout stays as it is
    }
    LoadDefaultCpuSvdFile();
    CheckRtosHints();
    LoadUserFile(m_MainWindow, sFileName);
    m_IsLayoutWaiting = false;
    m_MainWindow.GetToolbars().UpdateModePanels();
    m_MainWindow.UpdateTitle();
}

void CProjectControl::OnFileClosed(const QString& sFileName) {
    if (!sFileName.isEmpty() && !m_IsLayoutWaiting) {
        WriteUserFile(m_MainWindow, sFileName);
    }
}

void CProjectControl::OnProjectError() {
    if (m_EndsOnError) {
        qCritical("The project can't be used, and nobody is there to see to it: the program ends.");
        m_MainWindow.EndNow(1);
    }
}

void CProjectControl::ResetState() {
    ResetProjectSysVars();
    // A session runs to the break symbol unless the project says otherwise.
    SetSysVar(GetSysVar(VAR_RESET_MODE), RM_BREAK_AT_SYMBOL, false);
    SetSysVar(GetSysVar(VAR_CONNECT_MODE), CM_DOWNLOAD_RESET, false);
    m_MainWindow.GetToolbars().UpdateModePanels();
}
