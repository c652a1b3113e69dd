#include "app/Ask.h"
#include "app/Location.h"
#include "app/MainWindow.h"
#include "app/Theme.h"
#include "app/dialogs/CommandPalette.h"
#include "app/dialogs/ProjectWizard.h"
#include "app/dialogs/WelcomeScreen.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "elf/ElfApi.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "project/RegisterFiles.h"
#include "settings/Colors.h"
#include "settings/SettingsMap.h"

#include <QDir>
#include <QFileDialog>

// What the main window asks and offers around projects.

namespace {

struct RTOS_HINT {
    const char* sSymbol;
    const char* sMessage;
};

constexpr RTOS_HINT aRtosHint[] = {
    {"OS_Global",
     "The target application seems to be using Tavos, but Tavos-awareness is not enabled.\n"
     "To enable Tavos-awareness in Brask, add command 'Project.SetOSPlugin(\"tavosPlugin\")' to the project file."},
    {"pxCurrentTCB", "The target application seems to be using FreeRTOS, but FreeRTOS-awareness is not enabled.\n"
                     "To enable FreeRTOS-awareness in Brask, add command 'Project.SetOSPlugin(\"FreeRTOSPlugin\")' to "
                     "the project file."},
};

} // namespace

void CMainWindow::ShowWelcomeScreen() {
    CWelcomeScreen Screen(m_RecentProjects, this);
    switch (Screen.Choose()) {
    case CWelcomeScreen::NEW_PROJECT:
        CCommandTable::Execute(CMD_FILE_NEW_PROJECT);
        break;
    case CWelcomeScreen::NEW_PROJECT_WIZARD:
        CreateProject(QString(), {});
        CProject::Get().SetModified(false);
        CCommandTable::Execute(CMD_FILE_NEW_PROJECT_WIZARD);
        break;
    case CWelcomeScreen::OPEN_DIALOG:
        ShowOpenProjectDialog();
        break;
    case CWelcomeScreen::OPEN_RECENT:
        CCommandTable::Execute(CMD_FILE_OPEN, {Screen.GetProject()});
        break;
    case CWelcomeScreen::NOTHING:
        break;
    }
}

void CMainWindow::ShowOpenProjectDialog() {
    const QString sKey = QStringLiteral("AppData/MainWindow/DefaultDirOpen");
    const QString sPath = QFileDialog::getOpenFileName(this, QStringLiteral("Open Project"),
                                                       ReadSetting(sKey, QDir::homePath()).toString(),
                                                       QStringLiteral("Project Files (*.dbgprj)"));
    if (!sPath.isEmpty()) {
        WriteSetting(sKey, QFileInfo(sPath).absolutePath());
        CCommandTable::Execute(CMD_FILE_OPEN, {sPath});
    }
}

void CMainWindow::ShowProjectWizard() {
    if (!IsUnattended()) {
        CProjectWizard Wizard(this);
        connect(&Wizard, &CProjectWizard::Finished, this, &CMainWindow::OnProjectWizardFinished);
        Wizard.exec();
    }
}

void CMainWindow::OnProjectWizardFinished(QStringList& CommandList) { CreateProject(QString(), CommandList); }

void CMainWindow::ShowCommandPalette() {
    auto* pPalette = new CCommandPalette(this);
    pPalette->setAttribute(Qt::WA_DeleteOnClose);
    pPalette->open();
}

void CMainWindow::SaveSettingsToProject(const QString& sTitle, const QStringList& Lines, bool IsTrace) {
    if (Lines.isEmpty() || AskUser(sTitle, QStringLiteral("Do you want to save the configuration to the project?"),
                                   QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) != QMessageBox::Yes) {
        return;
    }
    CProject& Project = CProject::Get();
    const int Result = IsTrace ? Project.UpdateTraceSettings(Project.GetPath(), Lines)
                               : Project.UpdateProbeSettings(Project.GetPath(), Lines);
    if (Result != 0) {
        qCritical("Could not write %s settings to the project file. See the log file for details.",
                  IsTrace ? "trace" : "Novik");
    }
}

void CMainWindow::LoadDefaultCpuSvdFile() {
    if (CProject::Get().HasCpuSvdFile()) {
        return;
    }
    const QString sDefault = GetDefaultCpuSvdFile();
    if (sDefault.isEmpty()) {
        ConsolePrint(QStringLiteral(
            "Project Warning: no CPU register set description file specified and could not determine default."));
        return;
    }
    ConsolePrint(QStringLiteral("No CPU register set description file specified, loading default: ") + sDefault);
    CCommandTable::Execute(CMD_PROJECT_ADD_SVD_FILE, {sDefault});
}

void CMainWindow::CheckRtosHints() {
    for (const RTOS_HINT& Hint : aRtosHint) {
        if (ElfApi_IsOpen() && GetSymbolAddress(QLatin1String(Hint.sSymbol)) >= 0) {
            AskUser(QStringLiteral("RTOS Awareness"), QString::fromLatin1(Hint.sMessage), QMessageBox::Ok,
                    QMessageBox::Ok);
        }
    }
}

void CMainWindow::OnFilePathResolutionStatsChanged() {
    const CFileFinder& Finder = CFileFinder::Get();
    if (Finder.GetNumFound() != 0) {
        qDebug("%d source file paths resolved", Finder.GetNumFound());
    }
    if (Finder.GetNumMissing() != 0) {
        qDebug("%d source files not found", Finder.GetNumMissing());
    }
}

void CMainWindow::OnThemeChanged() {
    for (CWindow* pWindow : GetWindows()) {
        for (int Id = 0; Id < NUM_COLORS; ++Id) {
            pWindow->SetColor(Id, GetColor(Id));
        }
        pWindow->Repaint();
    }
}
