#include "app/Application.h"

#include "app/AccessWaits.h"
#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/ProjectControl.h"
#include "app/ScriptWaits.h"
#include "app/Signals.h"
#include "app/UnattendedWatch.h"
#include "base/Application.h"
#include "base/ConsoleLog.h"
#include "base/ConsoleRing.h"
#include "base/Log.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "device/DeviceDataProvider.h"
#include "elf/ElfApi.h"
#include "project/SourceLocation.h"
#include "script/JScript.h"
#include "settings/Fonts.h"
#include "settings/SettingsMap.h"

#include <QApplication>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int DRAG_DISTANCE = 30;

void OnElfMessage(const char* sText, U32 Level) {
    constexpr U32 LEVEL_ALWAYS = 65;
    if (Level == LEVEL_ALWAYS || IsVerboseLogging()) {
        LogMessage(sText, Level | MSG_FROM_ELF);
    }
}

void ReportDisabled(const QString& sName) { CMainWindow::Get().GetConsole().PrintCommandDisabled(sName); }

/// The console has gone: a person is told in a box, anything else by the error output and the exit code.
int TellAtExit(const QString& sText) {
    if (sText.isEmpty()) {
        return 0;
    }
    if (!IsUnattended()) {
        AskUser(QStringLiteral("Saving Failed"), sText, QMessageBox::Ok, QMessageBox::Ok, "exclamation-button.svg");
        return 0;
    }
    std::fprintf(stderr, "%s\n", qPrintable(sText));
    return 1;
}

/// Writes what outlives the run. Exit code.
int SaveAtExit() {
    const QString sError = SaveSettingsMap();
    const int Result = TellAtExit(sError.isEmpty() ? QString() : QStringLiteral("Could not write file ") + sError);
    const int LogResult = TellAtExit(CloseConsoleLog());
    CloseProgramLog();
    return Result != 0 ? Result : LogResult;
}

/// Saves a picture of the main window at exit, where the session has no screen.
void SaveScreenshotAtExit(CMainWindow* pWindow, const QString& sPath) {
    QObject::connect(qApp, &QApplication::lastWindowClosed, pWindow, [pWindow, sPath] { pWindow->grab().save(sPath); });
}

} // namespace

void InstallHooks() {
    CCommandTable::SetHost({.pfScriptText = ScriptGetText,
                            .pfMayCall = MayScriptCall,
                            .pfMarkDevice = MarkCommandJobs,
                            .pfWaitForDevice = WaitForCommandJobs,
                            .pfCanonicalLocation = CanonicalLocation,
                            .pfEvaluate = EvaluateText,
                            .pfReportDisabled = ReportDisabled});
    CDeviceDataProvider::Get().Direct().SetPump(PumpDuringRead);
    ElfApi_SetMsgHandler(OnElfMessage);
}

int RunApplication(int argc, char** argv) {
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication App(argc, argv);
    QApplication::setOrganizationName(QLatin1String(ORGANISATION_NAME));
    QApplication::setApplicationName(QLatin1String(APPLICATION_NAME));
    QApplication::setStartDragDistance(DRAG_DISTANCE);
    const QStringList Args = QApplication::arguments().mid(1);
    SetCmdLine(ParseCommandLine(Args), Args);
    const CMD_LINE_PARAMS& Params = GetCmdLine();
    if (!Params.LogFile.isEmpty()) {
        const QString sError = OpenProgramLog(Params.LogFile, Params.LogInterval.toInt());
        if (!sError.isEmpty()) {
            ConsolePrintError(QStringLiteral("Could not write file ") + Params.LogFile + QStringLiteral(": ") + sError);
        }
    }
    SetLogDebugMode(Params.DebugMode);
    QApplication::setFont(GetFont(FONT_APP));
    InstallQtMessageHandler();
    InstallHooks();
    int Result = 0;
    {
        CDeviceDataProvider::Get();
        CMainWindow MainWindow;
        const qsizetype Shot = Args.indexOf(QStringLiteral("--screenshot"));
        if (Shot >= 0 && Shot + 1 < Args.size()) {
            SaveScreenshotAtExit(&MainWindow, Args[Shot + 1]);
        }
        MainWindow.GetConsole().SetEchoToStdout(IsUnattended());
        std::unique_ptr<CUnattendedWatch> pWatch;
        if (IsUnattended()) {
            MainWindow.GetProjects().SetEndsOnError();
            pWatch = std::make_unique<CUnattendedWatch>(MainWindow, ParseTimeout(Params.Timeout));
        }
        InstallSignalHandlers(MainWindow);
        MainWindow.show();
        Result = QApplication::exec();
        Result = Result != 0 ? Result : MainWindow.GetExitCode();
    }
    const int SaveResult = SaveAtExit();
    if (!CDevice::Get().isFinished()) {
        // A call of the probe library still waits for its link; what is to be kept is on the disk.
        std::fflush(nullptr);
        std::_Exit(Result != 0 ? Result : SaveResult);
    }
    return Result != 0 ? Result : SaveResult;
}
