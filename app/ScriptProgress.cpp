#include "app/ScriptProgress.h"

#include "app/MainWindow.h"
#include "app/StatusBar.h"
#include "device/Device.h"
#include "script/JScript.h"

namespace {

constexpr int SHOW_DELAY_MS = 500; ///< a function that takes less isn't shown

CScriptProgress* pInstance;

} // namespace

CScriptProgress::CScriptProgress(CMainWindow& MainWindow) : QObject(&MainWindow), m_MainWindow(MainWindow) {
    m_ShowTimer.setSingleShot(true);
    m_ShowTimer.setInterval(SHOW_DELAY_MS);
    connect(&m_ShowTimer, &QTimer::timeout, this, &CScriptProgress::Show);
    connect(&m_MainWindow.GetStatusBar(), &CStatusBar::ScriptStopRequested, this, &CScriptProgress::StopShown);
    connect(&m_MainWindow.GetStatusBar(), &CStatusBar::CancelRequested, this, [] { CDevice::Get().CancelTransfer(); });
    pInstance = this;
    ScriptSetRunHook([](bool IsRunning) { pInstance->OnRun(IsRunning); });
}

CScriptProgress::~CScriptProgress() { ScriptSetRunHook(nullptr); }

void CScriptProgress::OnRun(bool IsRunning) {
    if (IsRunning) {
        m_ShowTimer.start();
        return;
    }
    m_ShowTimer.stop();
    m_MainWindow.GetStatusBar().SetRunningScript(QString());
    m_MainWindow.ReloadWaitingProject();
}

void CScriptProgress::Show() { m_MainWindow.GetStatusBar().SetRunningScript(ScriptGetRunningFunction()); }

bool CScriptProgress::StopShown() {
    if (m_MainWindow.GetStatusBar().GetRunningScript().isEmpty()) {
        return false;
    }
    ScriptStop();
    return true;
}
