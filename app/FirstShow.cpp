#include "app/FirstShow.h"

#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/MainWindow.h"
#include "app/ProjectControl.h"
#include "app/RecentProjects.h"
#include "app/dialogs/WelcomeScreen.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/Project.h"
#include "settings/SettingsMap.h"
#include "settings/SysVars.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

namespace {

bool IsProjectName(const QString& sArg) {
    return QFileInfo(sArg).suffix().compare(QLatin1String("dbgprj"), Qt::CaseInsensitive) == 0 &&
           !sArg.startsWith(QLatin1Char('-'));
}

void ShowOpenProjectDialog(CMainWindow& MainWindow) {
    const QString sKey = QStringLiteral("AppData/MainWindow/DefaultDirOpen");
    const QString sPath = QFileDialog::getOpenFileName(&MainWindow, QStringLiteral("Open Project"),
                                                       ReadSetting(sKey, QDir::homePath()).toString(),
                                                       QStringLiteral("Project Files (*.dbgprj)"));
    if (!sPath.isEmpty()) {
        WriteSetting(sKey, QFileInfo(sPath).absolutePath());
        CCommandTable::Execute(CMD_FILE_OPEN, {sPath});
    }
}

void ShowWelcomeScreen(CMainWindow& MainWindow) {
    CWelcomeScreen Screen(MainWindow.GetRecentProjects().Get(), &MainWindow);
    switch (Screen.Choose()) {
    case CWelcomeScreen::NEW_PROJECT:
        CCommandTable::Execute(CMD_FILE_NEW_PROJECT);
        break;
    case CWelcomeScreen::NEW_PROJECT_WIZARD:
        MainWindow.GetProjects().CreateEmpty();
        CCommandTable::Execute(CMD_FILE_NEW_PROJECT_WIZARD);
        break;
    case CWelcomeScreen::OPEN_DIALOG:
        ShowOpenProjectDialog(MainWindow);
        break;
    case CWelcomeScreen::OPEN_RECENT:
        CCommandTable::Execute(CMD_FILE_OPEN, {Screen.GetProject()});
        break;
    case CWelcomeScreen::NOTHING:
        break;
    }
}

} // namespace

void OnFirstShow(CMainWindow& MainWindow) {
    constexpr int SEPARATOR_LIGHTER_PERCENT = 115;
    MainWindow.setStyleSheet(
        QStringLiteral("QMainWindow::separator:vertical {background: %1; width: 1px; height: 1px;}")
            .arg(MainWindow.palette().color(QPalette::Button).lighter(SEPARATOR_LIGHTER_PERCENT).name()));
    const QString sFound = QStringLiteral("Novik software found at: ") + CDevice::Get().Facts().LibPath.Get();
    ConsolePrint(sFound);
    qDebug("%s", qPrintable(sFound));
    const QStringList Recent = MainWindow.GetRecentProjects().Get();
    const QString sFirst = GetCmdLineArgs().value(0);
    if (IsProjectName(sFirst)) {
        CCommandTable::Execute(CMD_FILE_OPEN, {sFirst});
        if (!CProject::Get().IsOpenPending()) {
            MainWindow.GetProjects().OnProjectError();
        }
    } else if (!GetCmdLine().Device.isEmpty()) {
        MainWindow.GetProjects().CreateFromCmdLine();
    } else if (Recent.isEmpty()) {
        MainWindow.GetProjects().CreateEmpty();
        if (!IsUnattended()) {
            MainWindow.GetProjects().ShowWizard();
        }
    } else if (SysVarValue(PREF_START_WITH_MOST_RECENT_PROJ) != 0) {
        CCommandTable::Execute(CMD_FILE_OPEN, {Recent.first()});
    } else if (!IsUnattended()) {
        ShowWelcomeScreen(MainWindow);
    }
    MainWindow.UpdateActions();
    for (const QString& sName : CCommandTable::GetUnknownActionNames()) {
        qWarning("Unknown GUI action could not be linked: %s", qPrintable(sName));
    }
}
