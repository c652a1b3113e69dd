#include "app/ConsoleWindow.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "app/StatusBar.h"
#include "base/Application.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "framework/DockWindow.h"
#include "project/Project.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QFileInfo>
#include <QToolBar>
#include <QToolButton>

// What the main window shows of the session's state, and windows by name.

namespace {

void SetState(COMMAND_ID Id, bool IsEnabled, bool IsVisible) {
    CCommandTable::SetCommandEnabled(Id, IsEnabled, true);
    if (QAction* pAction = CCommandTable::GetAction(Id)) {
        pAction->setVisible(IsVisible);
    }
}

bool HasArgs(COMMAND_ID Id) { return !CCommandTable::GetArgs(Id).isEmpty(); }

/// Copies icon and texts of a drop-down entry to its button.
void ShowMode(QToolButton* pButton, unsigned RunId, unsigned EntryId) {
    const QAction* pEntry = CCommandTable::GetAction(EntryId);
    const QAction* pRun = CCommandTable::GetAction(RunId);
    if (pButton == nullptr || pEntry == nullptr || pRun == nullptr) {
        return;
    }
    QString sTip = pEntry->text().replace(QLatin1String("&&"), QLatin1String("&"));
    if (!pRun->shortcut().isEmpty()) {
        sTip += QStringLiteral(" (%1)").arg(pRun->shortcut().toString(QKeySequence::NativeText));
    }
    pButton->setToolTip(sTip);
    pButton->setStatusTip(pEntry->statusTip());
}

} // namespace

void CMainWindow::UpdateActions() {
    const CDevice& Device = CDevice::Get();
    const bool IsConnected = Device.IsConnected();
    const bool IsHalted = IsConnected && Device.IsHalted();
    SetState(CMD_DEBUG_START, true, !IsConnected);
    SetState(CMD_DEBUG_STOP, IsConnected, IsConnected);
    SetState(CMD_DEBUG_CONTINUE, IsHalted, IsHalted);
    SetState(CMD_DEBUG_HALT, IsConnected && !IsHalted, !IsHalted);
    for (const COMMAND_ID Id : {CMD_DEBUG_STEP_INTO, CMD_DEBUG_STEP_OVER, CMD_DEBUG_STEP_OUT}) {
        SetState(Id, IsHalted, true);
    }
    for (const COMMAND_ID Id : {CMD_DEBUG_SET_NEXT_PC, CMD_DEBUG_SET_NEXT_STATEMENT, CMD_DEBUG_RUN_TO, CMD_VIEW_DATA,
                                CMD_VIEW_SOURCE, CMD_VIEW_DISASSEMBLY, CMD_VIEW_CALL_GRAPH, CMD_WATCH_ADD}) {
        SetState(Id, HasArgs(Id), true);
    }
    const bool HasBreakpoints = !Device.GetBreakpoints().isEmpty();
    const bool HasWatchpoints = !Device.GetWatchpoints().isEmpty();
    const bool IsProjectOpen = CProject::Get().IsOpen();
    CCommandTable::SetCommandEnabled(CMD_BREAK_CLEAR_ALL, HasBreakpoints, HasBreakpoints);
    CCommandTable::SetCommandEnabled(CMD_BREAK_CLEAR_ALL_ON_DATA, HasWatchpoints, HasWatchpoints);
    CCommandTable::SetCommandEnabled(CMD_FILE_SAVE_PROJECT_AS, IsProjectOpen, IsProjectOpen);
    const bool CanSave = IsProjectOpen && CProject::Get().IsModified();
    CCommandTable::SetCommandEnabled(CMD_FILE_SAVE_ALL, CanSave, CanSave);
    if (m_pConnectPanel != nullptr) {
        m_pConnectPanel->setEnabled(!IsConnected);
        m_pResetPanel->setEnabled(IsConnected);
    }
}

void CMainWindow::OnToolbarUpdateTimerTimeout() {
    const CDevice& Device = CDevice::Get();
    if (Device.isRunning()) {
        const bool IsHalted = Device.IsConnected() && Device.IsHalted();
        SetState(CMD_DEBUG_CONTINUE, IsHalted, IsHalted);
        SetState(CMD_DEBUG_HALT, Device.IsConnected() && !IsHalted, !IsHalted);
    }
}

void CMainWindow::UpdateTitle() {
    const bool IsConnected = CDevice::Get().IsConnected();
    const QString sPath = CProject::Get().GetPath();
    QString sName = QStringLiteral("New Project");
    if (!sPath.isEmpty()) {
        sName = IsConnected ? QFileInfo(sPath).completeBaseName() : sPath;
    }
    QString sSeparator = QStringLiteral(" - ");
    if (IsConnected && !CProject::Get().GetProgramFile().isEmpty()) {
        sName = CProject::Get().GetProgramFile();
    } else if (CProject::Get().IsModified()) {
        sSeparator = QStringLiteral(" - *");
    }
    setWindowTitle(GetAppTitle(true, true) + sSeparator + sName);
}

void CMainWindow::UpdateConnectionInfo() {
    const CDevice& Device = CDevice::Get();
    m_pStatusBar->SetConnectionInfo(FormatConnectionInfo(Device.IsConnected(), Device.GetInterfaceSpeed(),
                                                         static_cast<unsigned>(Device.GetConfigParam(DEV_CFG_SPEED))));
}

void CMainWindow::UpdateModePanels() {
    constexpr unsigned aConnect[] = {CMD_DEBUG_DOWNLOAD_RESET, CMD_DEBUG_ATTACH, CMD_DEBUG_ATTACH_HALT};
    constexpr unsigned aReset[] = {CMD_DEBUG_RESET_HALT, CMD_DEBUG_RESET_BREAK_AT_SYMBOL, CMD_DEBUG_RESET_RUN};
    ShowMode(m_pConnectPanel, CMD_DEBUG_START, aConnect[qBound(0, SysVarValue(VAR_CONNECT_MODE), 2)]);
    ShowMode(m_pResetPanel, CMD_DEBUG_RESET, aReset[qBound(0, SysVarValue(VAR_RESET_MODE), 2)]);
}

void CMainWindow::UpdatePosition() { m_pStatusBar->SetActiveWindowStatus(m_pSource->GetStatusText()); }

void CMainWindow::InvalidateViews() {
    m_pSource->UpdateMarks();
    m_pSource->Repaint();
}

void CMainWindow::ClearWindows() { m_pSource->Clear(); }

void CMainWindow::ShowConsole() { ShowWindow(m_pConsole->GetName(), true); }
bool CMainWindow::IsConsoleTyping() const { return m_pConsole->HasInputFocus(); }

void CMainWindow::OnSysVarChanged(int Index, I32 Value) { m_pSession->OnSysVarChanged(Index, Value); }

QList<CWindow*> CMainWindow::GetWindows() const { return {m_pSource, m_pConsole}; }

void CMainWindow::OnUserPreferenceChanged(int Index, I32 Value) {
    for (CWindow* pWindow : GetWindows()) {
        pWindow->SetPreference(Index, Value);
        pWindow->Repaint();
    }
}

void CMainWindow::OnColorChanged(int ColorId) {
    for (CWindow* pWindow : GetWindows()) {
        pWindow->SetColor(ColorId, GetColor(ColorId));
        pWindow->Repaint();
    }
}

void CMainWindow::OnFontChanged(int FontId) {
    if (FontId == FONT_APP) {
        QApplication::setFont(GetFont(FONT_APP));
    }
    for (CWindow* pWindow : GetWindows()) {
        pWindow->ApplyFont(FontId, GetFont(FontId));
    }
}

void CMainWindow::OnAllFontsChanged() {
    for (int Id = 0; Id < NUM_FONTS; ++Id) {
        OnFontChanged(Id);
    }
}

CWindow* CMainWindow::FindWindow(const QString& sName) const {
    for (const CDockWindow* pDock : m_Docks) {
        CWindow* pWindow = pDock->GetWindow();
        if (sName.compare(pWindow->GetName(), Qt::CaseInsensitive) == 0 ||
            sName.compare(pWindow->GetDisplayName(), Qt::CaseInsensitive) == 0) {
            return pWindow;
        }
    }
    return sName.compare(m_pSource->GetName(), Qt::CaseInsensitive) == 0 ? m_pSource : nullptr;
}

bool CMainWindow::ShowWindow(const QString& sName, bool IsShown) {
    CWindow* pWindow = FindWindow(sName);
    if (pWindow == nullptr) {
        return false;
    }
    for (CDockWindow* pDock : m_Docks) {
        if (pDock->GetWindow() == pWindow) {
            pDock->setVisible(IsShown);
            pDock->raise();
        }
    }
    if (IsShown && !(pWindow == m_pConsole && IsConsoleTyping())) {
        pWindow->setFocus();
    }
    return true;
}

QString CMainWindow::GetFocusedDockName() const {
    for (const CDockWindow* pDock : m_Docks) {
        if (pDock->isAncestorOf(QApplication::focusWidget())) {
            return pDock->GetWindow()->GetName();
        }
    }
    return {};
}

bool CMainWindow::ShowToolbar(const QString& sName, bool IsShown) {
    for (auto It = m_Toolbars.constBegin(); It != m_Toolbars.constEnd(); ++It) {
        if (It.key().compare(sName, Qt::CaseInsensitive) == 0) {
            It.value()->setVisible(IsShown);
            return true;
        }
    }
    return false;
}

bool CMainWindow::IsToolbarShown(const QString& sName) const {
    const QToolBar* pBar = m_Toolbars.value(sName);
    return pBar != nullptr && !pBar->isHidden();
}
