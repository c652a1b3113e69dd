#include "app/ActionStates.h"
#include "app/Ask.h"
#include "app/Download.h"
#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/Session.h"
#include "app/StatusBar.h"
#include "base/ConsoleRing.h"
#include "base/Log.h"
#include "device/Device.h"
#include "project/Project.h"
#include "project/RegisterFiles.h"
#include "script/JScript.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <utility>

// What the device reports, and the step of the session that follows.

namespace {

void PrintProbeLine(const char* sText) { ConsolePrint(QString::fromLatin1(sText), CC_NOVIK); }

} // namespace

void CSession::OnDeviceConnectDone(CONNECT_MODES Mode) {
    CDevice& Device = CDevice::Get();
    m_MainWindow.UpdateActions();
    PrintProbeLine("Novik: connected to target device");
    SetStatus(QStringLiteral("Connected"));
    m_MainWindow.UpdateConnectionInfo();
    m_MainWindow.UpdateTitle();
    ExecuteScriptFunction(SF_AFTER_TARGET_CONNECT);
    if (SysVarValue(VAR_CONNECT_MODE) != Mode) {
        qDebug("Changing the connection mode while the connection sequence is in progress may lead to undefined "
               "behaviour.");
    }
    switch (Mode) {
    case CM_DOWNLOAD_RESET:
        ResetTarget(RM_PRE_DOWNLOAD);
        break;
    case CM_ATTACH:
        if (Device.IsHalted()) {
            Device.PostHalt();
        } else {
            m_MainWindow.GetStatusBar().SetProgressMessage(QStringLiteral("CPU running..."));
            m_MainWindow.GetStatusBar().StartProgress(0, 0);
        }
        AttachTrace();
        break;
    case CM_ATTACH_HALT:
        Device.PostHalt();
        AttachTrace();
        break;
    default:
        break;
    }
    m_MainWindow.GetActionStates().StartFollowing();
}

void CSession::OnDeviceConnectFailed(CONNECT_MODES) {
    SetStatus(QStringLiteral("Novik: error connecting to device"));
    PrintProbeLine("Connection failed");
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
}

void CSession::OnDeviceConnectCanceled(CONNECT_MODES) {
    SetStatus(QStringLiteral("Ready"));
    ConsolePrint(QStringLiteral("Connection aborted"));
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
}

void CSession::OnDeviceDisconnectDone() {
    PrintProbeLine("Novik: disconnected from target device");
    SetStatus(QStringLiteral("Ready"));
    m_MainWindow.GetStatusBar().EndProgress();
    m_MainWindow.UpdateConnectionInfo();
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
    ExecuteScriptFunction(SF_AFTER_TARGET_DISCONNECT);
    SetSysVar(GetSysVar(VAR_ALLOW_DEBUG_MODIFIED_SRC), 0, false);
}

void CSession::OnDeviceResumeDone(RESUME_MODES) {
    SetStatus(QStringLiteral("CPU running..."));
    if (SysVarValue(PREF_SHOW_PROGBAR_WHILE_RUNNING) != 0) {
        m_MainWindow.GetStatusBar().SetProgressMessage(QStringLiteral("CPU running..."));
        m_MainWindow.GetStatusBar().StartProgress(0, 0);
    }
    m_HaltTimer.stop(); // a target that runs hasn't stayed halted
    m_MainWindow.UpdateActions();
}

void CSession::OnDeviceHaltDone(U32 PC, HALT_REASONS Reason) {
    ShowPC(PC);
    SetStatus(QStringLiteral("CPU halted"));
    m_MainWindow.GetStatusBar().EndProgress();
    m_MainWindow.UpdateActions();
    if (std::exchange(m_IsHaltPassing, false)) {
        m_HaltTimer.stop();
    } else if (Reason == HR_USER || Reason == HR_BREAKPOINT) {
        m_HaltTimer.start(0);
    } else if (Reason == HR_RUN_TO) {
        m_HaltTimer.start(100);
    }
}

void CSession::OnDeviceStepped(U32 PC) {
    SetStatus(QStringLiteral("CPU halted"));
    m_MainWindow.GetStatusBar().EndProgress();
    m_HaltTimer.start(100);
    ShowPC(PC);
    m_MainWindow.UpdateActions();
}

void CSession::OnDeviceResetDone(U32 PC, RESET_MODES Mode) {
    if (Mode == RM_PRE_DOWNLOAD) {
        if (SysVarValue(VAR_CONNECT_MODE) == CM_DOWNLOAD_RESET) {
            ExecuteScriptFunction(SF_AFTER_TARGET_RESET);
            m_MainWindow.GetDownload().Start(m_MainWindow.GetProgramFile().GetPath(), DL_PROGRAM, -1);
            m_IsHaltPassing = true;
        }
        return;
    }
    InvalidateViews();
    if (Mode == RM_STATE_RESTORED) {
        return;
    }
    ExecuteScriptFunction(SF_AFTER_TARGET_RESET);
    switch (Mode) {
    case RM_RESET_HALT:
        SetStatus(QStringLiteral("Device was reset"));
        break;
    case RM_RESET_AND_RUN:
        ResumeTarget();
        m_IsHaltPassing = true;
        break;
    case RM_BREAK_AT_SYMBOL:
        m_IsHaltPassing = RunToBreakSymbol() == 0;
        if (!m_IsHaltPassing) {
            m_MessageBoxTimer.start();
        }
        break;
    default:
        break;
    }
    ShowPC(PC);
    m_MainWindow.UpdateActions();
}

void CSession::OnDeviceRunToSymbolDone(U32) {
    InvalidateViews();
    if (!m_MainWindow.IsConsoleTyping()) {
        m_MainWindow.GetSourceWindow().setFocus();
    }
}

void CSession::OnDeviceConfigParamChanged(int Param, int) {
    if (Param == DEV_CFG_SPEED) {
        m_MainWindow.UpdateConnectionInfo();
    }
    if (Param == DEV_CFG_DEVICE && !m_IsProjectLoading) {
        const QStringList Files =
            GetDefaultSvdFiles(QString::fromUtf8(CDevice::Get().GetConfigText(DEV_CFG_DEVICE_NAME)));
        if (!Files.isEmpty()) {
            CProject::Get().SetSvdFiles(Files);
        }
    }
}

void CSession::OnDeviceConnectionLost() {
    PrintProbeLine("Novik: connection to target device lost.");
    if (CDevice::Get().IsConnected() &&
        AskUser(QStringLiteral("Target Connection Lost"),
                QStringLiteral("Failed to read target status. Abort Debug Session?"),
                QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes, "control-power-red.svg") == QMessageBox::Yes) {
        DisconnectTarget();
    }
    m_MainWindow.UpdateActions();
    m_MainWindow.UpdateTitle();
}

void CSession::OnDeviceAboutToDisconnect() { m_MainWindow.GetActionStates().StopFollowing(); }

void CSession::OnDeviceSetStatusMsg(const char* sMsg) { SetStatus(QString::fromUtf8(sMsg)); }

void CSession::OnDeviceSetProgressMsg(const char* sMsg) {
    m_MainWindow.GetStatusBar().SetProgressMessage(QString::fromUtf8(sMsg));
}

void CSession::OnDeviceStartProgress(int Min, int Max) { m_MainWindow.GetStatusBar().StartProgress(Min, Max); }
void CSession::OnDeviceEndProgress() { m_MainWindow.GetStatusBar().EndProgress(); }
void CSession::OnDeviceSetProgressValue(int Value) { m_MainWindow.GetStatusBar().SetProgressValue(Value); }

void CSession::OnDeviceLogMsg(const char* sMsg, MSG_INFO_FLAGS Flags) { LogMessage(sMsg, Flags); }

void CSession::OnDeviceEvalBPCondition(U32 Addr) {
    // No view sets conditions yet, so a halt that is referred to the main thread stands.
    CDevice::Get().FinishConditionalHalt(Addr, true);
}

void CSession::OnDeviceExecNovikCmdFailed(const char* sCommand, const char* sError) {
    ConsolePrintError(QString::fromUtf8(sCommand) + QStringLiteral(": ") + QString::fromUtf8(sError));
}
