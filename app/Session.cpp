#include "app/Session.h"

#include "app/Ask.h"
#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/ProjectControl.h"
#include "app/StatusBar.h"
#include "app/Toolbars.h"
#include "app/dialogs/MessageBox.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "datafile/JFile.h"
#include "device/Device.h"
#include "device/TraceConfig.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "framework/WindowList.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "project/SourceLocation.h"
#include "script/JScript.h"
#include "settings/Colors.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QDesktopServices>
#include <QThread>
#include <QUrl>

// The chain of a session: start, connect, reset, run, disconnect. What writes the program is in SessionDownload.cpp,
// what comes from the device in SessionEvents.cpp.

namespace {

constexpr int HALT_DELAY_MS = 100; ///< the target must stay halted so long before AfterTargetHalt runs
constexpr int MESSAGE_DELAY_MS = 100;

/// Switches the suppress bytes of job types on for the time of a scope.
class CSuppress {
public:
    explicit CSuppress(std::initializer_list<U32> Types) : m_Types(Types) { Set(1); }
    ~CSuppress() { Set(0); }
    CSuppress(const CSuppress&) = delete;
    CSuppress& operator=(const CSuppress&) = delete;

private:
    void Set(U8 Value) {
        for (const U32 Type : m_Types) {
            CDevice::Get().SetSuppressByte(Type, Value);
        }
    }
    std::vector<U32> m_Types;
};

} // namespace

namespace {

/// Reading or writing a data file blocks the main thread, so the bar is painted here and not by its timer.
class CFileProgress : public JFile::CProgressSink {
public:
    explicit CFileProgress(CMainWindow& MainWindow) : m_MainWindow(MainWindow) {}
    ~CFileProgress() override { JFile::SetProgressSink(nullptr); }
    void StartProgress(const QString& sText, I64 Maximum) override {
        Bar().SetProgressMessage(sText);
        Bar().StartProgress(0, Clamp(Maximum));
        Show();
    }
    void SetProgressValue(I64 Value) override {
        Bar().SetProgressValue(Clamp(Value));
        Show();
    }
    void EndProgress() override { Bar().EndProgress(); }

private:
    static int Clamp(I64 Value) { return static_cast<int>(std::min<I64>(Value, 0x7FFFFFFF)); }
    void Show() {
        Bar().Refresh();
        Bar().repaint();
    }
    CStatusBar& Bar() { return m_MainWindow.GetStatusBar(); }
    CMainWindow& m_MainWindow;
};

} // namespace

CSession::CSession(CMainWindow& MainWindow)
    : m_MainWindow(MainWindow), m_pFileProgress(std::make_unique<CFileProgress>(MainWindow)) {
    JFile::SetProgressSink(m_pFileProgress.get());
    m_HaltTimer.setSingleShot(true);
    m_HaltTimer.setInterval(HALT_DELAY_MS);
    connect(&m_HaltTimer, &QTimer::timeout, this, [this] {
        const CDevice& Device = CDevice::Get();
        const bool IsLeaving = Device.IsJobQueued(JT_RUN_TO) || Device.IsJobQueued(JT_CONTINUE);
        if (Device.IsSessionReady() && Device.IsHalted() && !IsLeaving) {
            ExecuteScriptFunction(SF_AFTER_TARGET_HALT);
        }
    });
    m_MessageBoxTimer.setSingleShot(true);
    m_MessageBoxTimer.setInterval(MESSAGE_DELAY_MS);
    connect(&m_MessageBoxTimer, &QTimer::timeout, this, [] {
        AskUser(QStringLiteral("Break at Symbol"),
                QStringLiteral("Symbol %1 is unknown. Program halts at first instruction.")
                    .arg(SysVarTextValue(VAR_BREAK_AT_THIS_SYMBOL)),
                QMessageBox::Ok, QMessageBox::Ok, nullptr, UNTIL_PROGRAM_END);
    });
}

CSession::~CSession() = default;

void CSession::InvalidateViews() {
    CWindow::TellAll([](CWindow& Window) { Window.Invalidate(); });
}

void CSession::SetStatus(const QString& sText) { m_MainWindow.GetStatusBar().SetStatusMessage(sText); }

int CSession::ExecuteScriptFunction(int Id) {
    const QString sName = ScriptGetFunctionName(Id);
    if (ScriptHasError()) {
        qWarning("Not executing script function: %s. Project file contains errors", qPrintable(sName));
        return -1;
    }
    if (m_IsClosing) {
        qWarning("Not executing script function: %s. Project is about to close", qPrintable(sName));
        return -1;
    }
    const int Result = ScriptExecute(Id);
    if (ScriptTakeError()) {
        m_MainWindow.ShowConsole();
        ConsolePrintError(QStringLiteral("Error in project file: ") + ScriptGetErrorText());
        m_MainWindow.GetProjects().OnProjectError();
    }
    return Result;
}

bool CSession::Start() {
    SetSysVar(GetSysVar(VAR_ALLOW_DEBUG_MODIFIED_SRC), 1, false);
    while (!ScriptHasError()) {
        const QStringList Problems = CProject::Get().CheckFiles();
        if (Problems.isEmpty()) {
            break;
        }
        const auto Answer =
            ShowWarnings(QStringLiteral("Project File Errors"), QStringLiteral("The project file contains errors:"),
                         Problems, QStringLiteral("Some debugging features might be disabled."),
                         QMessageBox::Open | QMessageBox::Ignore | QMessageBox::Cancel, QMessageBox::Ignore);
        if (Answer == QMessageBox::Open) {
            QDesktopServices::openUrl(QUrl::fromLocalFile(ScriptGetPath()));
            continue;
        }
        if (Answer != QMessageBox::Ignore) {
            m_MainWindow.UpdateActions();
            return false;
        }
        break;
    }
    if (ScriptIsDefined(SF_DEBUG_START)) {
        ExecuteScriptFunction(SF_DEBUG_START);
    } else {
        ConnectTarget(static_cast<CONNECT_MODES>(SysVarValue(VAR_CONNECT_MODE)));
    }
    return true;
}

void CSession::UpdateTrace() {
    // No view needs the trace, so the probe doesn't have to record it.
    CDevice::Get().PostDisableInstTrace();
}

void CSession::ConnectTarget(CONNECT_MODES Mode) {
    CDevice& Device = CDevice::Get();
    if (Device.IsConnected()) {
        return;
    }
    SetStatus(QStringLiteral("Connecting..."));
    UpdateTrace();
    ExecuteScriptFunction(SF_BEFORE_TARGET_CONNECT);
    if (!ScriptIsDefined(SF_TARGET_CONNECT)) {
        Device.PostConnect(Mode);
        return;
    }
    qDebug("Executing Script Function SF_TARGET_CONNECT");
    {
        const CSuppress Suppress({JT_CONNECT});
        ExecuteScriptFunction(SF_TARGET_CONNECT);
    }
    Device.SetDeferredConnectMode(static_cast<CONNECT_MODES>(SysVarValue(VAR_CONNECT_MODE)));
}

void CSession::ResetTarget(RESET_MODES Mode) {
    CDevice& Device = CDevice::Get();
    if (!Device.IsConnected()) {
        return;
    }
    SetStatus(QStringLiteral("Resetting Device..."));
    ExecuteScriptFunction(SF_BEFORE_TARGET_RESET);
    if (!ScriptIsDefined(SF_TARGET_RESET)) {
        Device.PostReset(Mode);
        return;
    }
    {
        const CSuppress Suppress({JT_RESET, JT_HALT});
        Device.PostHalt();
        ExecuteScriptFunction(SF_TARGET_RESET);
    }
    Device.SetDeferredResetMode(Mode == RM_PRE_DOWNLOAD ? RM_PRE_DOWNLOAD
                                                        : static_cast<RESET_MODES>(SysVarValue(VAR_RESET_MODE)));
}

void CSession::ResumeTarget() {
    if (CDevice::Get().IsConnected() && CDevice::Get().IsHalted()) {
        ExecuteScriptFunction(SF_BEFORE_TARGET_RESUME);
        CDevice::Get().PostContinue(GO_USER);
    }
}

int CSession::RunToBreakSymbol() {
    CDevice& Device = CDevice::Get();
    const int Addr = Device.GetConfigParam(DEV_CFG_BREAK_ADDR);
    if (!Device.IsConnected() || Addr == -1 || (static_cast<U32>(Addr) & ~1u) == static_cast<U32>(Device.GetPC())) {
        return -1;
    }
    if (!Device.IsHalted()) {
        Device.PostHalt();
    }
    Device.PostRunTo(static_cast<U32>(Addr));
    return 0;
}

void CSession::DisconnectTarget() {
    if (CDevice::Get().IsConnected()) {
        ExecuteScriptFunction(SF_BEFORE_TARGET_DISCONNECT);
        CDevice::Get().NotifyAboutToDisconnect();
        CDevice::Get().PostDisconnect();
    }
}

void CSession::ShowPC(U32 PC) {
    for (CWindow* pWindow : m_MainWindow.GetWindows().GetWindows()) {
        if (pWindow->ShowsCodeAt(PC)) {
            pWindow->SetActive(true);
            if (!m_MainWindow.IsConsoleTyping()) {
                pWindow->setFocus();
            }
            break;
        }
    }
    m_MainWindow.UpdatePosition();
}

void CSession::AttachTrace() {
    if (SysVarValue(VAR_TRACE_INIT_ON_ATTACH) != 0) {
        for (const CMemBlock& Block : CProject::Get().GetProgramData()) {
            ReadIntoTraceCache(Block.Addr, Block.Size);
        }
    }
}

void CSession::ReadIntoTraceCache(U32 Addr, U32 Size) {
    CDevice::Get().PostExecNovikCmd(QStringLiteral("ReadIntoTraceCache 0x%1 0x%2")
                                        .arg(QString::number(Addr, 16).toUpper(), QString::number(Size, 16).toUpper())
                                        .toLatin1());
}

bool CSession::EvaluateBreakSymbol() {
    const I64 Addr = GetSymbolAddress(SysVarTextValue(VAR_BREAK_AT_THIS_SYMBOL));
    // Stored at once as well: the chain asks for it in the same turn of the event loop.
    CDevice::Get().StoreConfigParam(DEV_CFG_BREAK_ADDR, static_cast<I32>(Addr));
    return Addr >= 0;
}

void CSession::OnSysVarChanged(int Index, I32 Value) {
    switch (Index) {
    case VAR_RESET_MODE:
    case VAR_CONNECT_MODE:
        m_MainWindow.GetToolbars().UpdateModePanels();
        break;
    case VAR_TIF_SPEED:
        CDevice::Get().PostSetConfigParam(DEV_CFG_SPEED, Value);
        break;
    case VAR_TRACE_SOURCE:
        UpdateTrace();
        break;
    case VAR_BREAK_AT_THIS_SYMBOL:
        if (ElfApi_IsOpen() && !EvaluateBreakSymbol()) {
            CCommandTable::SetError(CMD_EDIT_SYS_VAR, QStringLiteral("unknown symbol"));
        }
        break;
    case VAR_TRACE_PORT_DELAY_0:
    case VAR_TRACE_PORT_DELAY_1:
    case VAR_TRACE_PORT_DELAY_2:
    case VAR_TRACE_PORT_DELAY_3:
        if (CDevice::Get().IsConnected()) {
            CDevice::Get().PostExecNovikCmd(
                TraceSampleAdjustCommand(SysVarValue(VAR_TRACE_PORT_WIDTH),
                                         {SysVarValue(VAR_TRACE_PORT_DELAY_0), SysVarValue(VAR_TRACE_PORT_DELAY_1),
                                          SysVarValue(VAR_TRACE_PORT_DELAY_2), SysVarValue(VAR_TRACE_PORT_DELAY_3)}));
        }
        break;
    case VAR_TRACE_PORT_WIDTH: {
        constexpr U32 MIN_VERSION = 61402;
        if (CDevice::Get().Facts().LibVersion < MIN_VERSION) {
            ConsolePrint(QStringLiteral("Configuration of the trace port width is not supported by this version of the "
                                        "Novik library. Please update to version 6.14b or later."));
            SetSysVar(GetSysVar(Index), *GetSysVar(Index)->pDefault, false);
        }
        break;
    }
    default:
        break;
    }
}

void CSession::ShowMainFunc() {
    const I64 Main = GetSymbolAddress(QStringLiteral("main"));
    const CSrcLoc Loc = Main >= 0 ? ElfApi_GetSrcLoc(static_cast<U32>(Main)) : CSrcLoc();
    if (Loc.IsValid()) {
        const QString sPath = CFileFinder::Get().FindFile(ElfApi_GetFilePath(Loc.FileId));
        if (FileExists(sPath)) {
            m_MainWindow.GetSourceWindow().ShowLocation(sPath, static_cast<int>(Loc.Line));
        }
    }
}
