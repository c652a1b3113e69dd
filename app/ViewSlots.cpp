#include "app/Ask.h"
#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/Toolbars.h"
#include "app/dialogs/ManualDialog.h"
#include "base/Application.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "elf/ElfApiLines.h"
#include "framework/DockWindow.h"
#include "framework/WindowList.h"
#include "project/FileFinder.h"
#include "project/SourceLocation.h"
#include "script/JScript.h"
#include "views/SourceWindow.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QTimer>

// View.*, Window.*, Toolbar.*, Util.*, Help.*

namespace {

constexpr int MAX_SLEEP_MS = 360'000;

/// Shows the source line of an address. False if it has none that can be shown.
bool ShowSourceOf(CMainWindow& MainWindow, U32 Addr) {
    const CSrcLoc Loc = ElfApi_GetSrcLoc(Addr);
    return Loc.IsValid() &&
           MainWindow.GetSourceWindow().ShowLocation(CFileFinder::Get().FindFile(ElfApi_GetFilePath(Loc.FileId)),
                                                     static_cast<int>(Loc.Line));
}

void ViewSource(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_VIEW_SOURCE;
    const I64 Addr = ResolveLocation(CCommandTable::GetArg0(Id));
    if (Addr < 0 || !ShowSourceOf(MainWindow, static_cast<U32>(Addr))) {
        FailCommand(Id, "invalid parameter");
    }
}

void ViewLine(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_VIEW_LINE;
    unsigned Line = 0;
    if (!ReadNumberArg(Id, 0, &Line)) {
        return;
    }
    CSourceView* pView = MainWindow.GetSourceWindow().GetActiveView();
    if (pView == nullptr || Line < 1 || Line > static_cast<unsigned>(pView->GetDocument().GetNumLines())) {
        FailCommand(Id, pView == nullptr ? "file is not open" : "invalid parameter");
        return;
    }
    pView->SetCursorLine(static_cast<int>(Line));
    pView->EnsureLineVisible(static_cast<int>(Line));
}

void ViewPCLine(CMainWindow& MainWindow) {
    MainWindow.GetSourceWindow().ShowPC(static_cast<U32>(CDevice::Get().GetPC()));
}

void WindowShow(CMainWindow& MainWindow) {
    if (!MainWindow.ShowWindow(CCommandTable::GetArg0(CMD_WINDOW_SHOW), true)) {
        FailCommand(CMD_WINDOW_SHOW, "unknown window");
    }
}

void WindowClose(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_WINDOW_CLOSE;
    QString sName = CCommandTable::GetArgs(Id).value(0);
    if (sName.isEmpty()) {
        const CDockWindow* pDock = MainWindow.GetWindows().GetFocusedDock();
        if (pDock == nullptr) {
            CCommandTable::Cancel(Id);
            return;
        }
        sName = pDock->GetWindow()->GetName();
        CCommandTable::PrepareArgs(Id, {sName});
    }
    if (!MainWindow.ShowWindow(sName, false)) {
        FailCommand(Id, "unknown window");
    }
}

void WindowClear(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_WINDOW_CLEAR;
    CWindow* pWindow = MainWindow.GetWindows().Find(CCommandTable::GetArg0(Id));
    if (pWindow == nullptr) {
        FailCommand(Id, "unknown window");
    } else {
        pWindow->Clear();
    }
}

void OnShowToolbar(COMMAND_ID Id, bool IsShown, CMainWindow& MainWindow) {
    if (!MainWindow.GetToolbars().Show(CCommandTable::GetArg0(Id), IsShown)) {
        FailCommand(Id, "unknown toolbar");
    }
}

void ToolbarShow(CMainWindow& MainWindow) { OnShowToolbar(CMD_TOOLBAR_SHOW, true, MainWindow); }
void ToolbarClose(CMainWindow& MainWindow) { OnShowToolbar(CMD_TOOLBAR_CLOSE, false, MainWindow); }

void ToggleToolbar(CMainWindow& MainWindow, const char* sName) {
    const QString sToolbar = QString::fromLatin1(sName);
    CCommandTable::Execute(MainWindow.GetToolbars().IsShown(sToolbar) ? CMD_TOOLBAR_CLOSE : CMD_TOOLBAR_SHOW,
                           {sToolbar});
}

void ToggleFileToolbar(CMainWindow& MainWindow) { ToggleToolbar(MainWindow, "File"); }
void ToggleDebugToolbar(CMainWindow& MainWindow) { ToggleToolbar(MainWindow, "Debug"); }

void ToggleViewsToolbar(CMainWindow& MainWindow) { ToggleToolbar(MainWindow, "Views"); }
void ToggleBreakpointToolbar(CMainWindow& MainWindow) { ToggleToolbar(MainWindow, "Breakpoints"); }

void UtilSleep(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_UTIL_SLEEP;
    bool IsNumber = false;
    const qlonglong Asked = CCommandTable::GetArg0(Id).toLongLong(&IsNumber, 0);
    if (!IsNumber) {
        FailCommand(Id, "not a number");
        return;
    }
    QTimer End;
    End.setSingleShot(true);
    End.setTimerType(Qt::PreciseTimer);
    if (Asked > 0) {
        End.start(static_cast<int>(qMin<qlonglong>(Asked, MAX_SLEEP_MS)));
    }
    while (End.isActive() && !MainWindow.GetSession().IsClosing() && !ScriptIsEnding()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

void UtilLog(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_UTIL_LOG;
    ConsolePrint(CCommandTable::GetArg0(Id), CC_SCRIPT);
    CCommandTable::Cancel(Id);
}

void HelpManual(CMainWindow& MainWindow) {
    auto* pManual = new CManualDialog(&MainWindow);
    pManual->setAttribute(Qt::WA_DeleteOnClose);
    pManual->show();
}

void HelpAbout(CMainWindow& MainWindow) {
    if (IsUnattended()) {
        ConsolePrint(GetAppTitle(true, true));
        return;
    }
    QMessageBox Box(QMessageBox::NoIcon, QStringLiteral("About Brask"), GetAppTitle(true, true), QMessageBox::Ok,
                    &MainWindow);
    Box.setInformativeText(QStringLiteral("A source-level debugger for embedded ARM targets.\nMIT licence."));
    Box.setIconPixmap(QIcon(QStringLiteral(":/icons/magnifier.svg")).pixmap(48, 48));
    Box.exec();
}

void HelpCommands(CMainWindow& MainWindow) {
    MainWindow.ShowConsole();
    MainWindow.GetConsole().PrintCommandHelp();
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_VIEW_SOURCE, ViewSource},
    {CMD_VIEW_LINE, ViewLine},
    {CMD_VIEW_PC_LINE, ViewPCLine, NEEDS_HALT},
    {CMD_WINDOW_SHOW, WindowShow},
    {CMD_WINDOW_CLOSE, WindowClose, NEEDS_NOTHING, 0},
    {CMD_WINDOW_CLEAR, WindowClear},
    {CMD_TOOLBAR_SHOW, ToolbarShow},
    {CMD_TOOLBAR_CLOSE, ToolbarClose},
    {CMD_TOOLBAR_SHOW_FILE, ToggleFileToolbar},
    {CMD_TOOLBAR_SHOW_DEBUG, ToggleDebugToolbar},
    {CMD_TOOLBAR_SHOW_VIEWS, ToggleViewsToolbar},
    {CMD_TOOLBAR_SHOW_BREAKPOINTS, ToggleBreakpointToolbar},
    {CMD_UTIL_SLEEP, UtilSleep},
    {CMD_UTIL_LOG, UtilLog},
    {CMD_HELP_MANUAL, HelpManual, NEEDS_SCREEN},
    {CMD_HELP_ABOUT, HelpAbout},
    {CMD_HELP_COMMANDS, HelpCommands},
};

} // namespace

std::span<const ACTION_SLOT> GetViewSlots() { return aSlot; }
