#include "app/Session.h"

#include "app/Ask.h"
#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/ProjectControl.h"
#include "app/StatusBar.h"
#include "app/dialogs/MessageBox.h"
#include "base/ConsoleRing.h"
#include "device/Device.h"
#include "framework/WindowList.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/SysVars.h"

#include <QDesktopServices>
#include <QThread>
#include <QUrl>

// The chain of a session: start, connect, reset, run, disconnect. What comes from the device is in SessionEvents.cpp.

namespace {

constexpr int HALT_DELAY_MS = 100; ///< the target must stay halted so long before AfterTargetHalt runs
constexpr int MESSAGE_DELAY_MS = 100;
constexpr int INIT_SP_PC_PAUSE_MS = 25; ///< time for the device thread to take up the set-up of SP and PC

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

CSession::CSession(CMainWindow& MainWindow) : m_MainWindow(MainWindow) {
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

void CSession::ConnectTarget(CONNECT_MODES Mode) {
    CDevice& Device = CDevice::Get();
    if (Device.IsConnected()) {
        return;
    }
    SetStatus(QStringLiteral("Connecting..."));
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

void CSession::FinishDownload() {
    CDevice& Device = CDevice::Get();
    if (ScriptIsDefined(SF_AFTER_TARGET_DOWNLOAD)) {
        ExecuteScriptFunction(SF_AFTER_TARGET_DOWNLOAD);
    } else {
        Device.RequestInitTargetSPandPC();
        QThread::msleep(INIT_SP_PC_PAUSE_MS);
    }
    if (SysVarValue(VAR_CONNECT_MODE) == CM_DOWNLOAD_RESET) {
        switch (SysVarValue(VAR_RESET_MODE)) {
        case RM_BREAK_AT_SYMBOL:
            if (RunToBreakSymbol() == 0) {
                Device.SetSessionReady();
            } else {
                m_MessageBoxTimer.start();
                Device.MarkSessionReady();
                Device.PostHalt();
            }
            break;
        case RM_RESET_AND_RUN:
            Device.SetSessionReady();
            ResumeTarget();
            break;
        default:
            Device.MarkSessionReady();
            Device.PostHalt();
            break;
        }
    }
    InvalidateViews();
}
