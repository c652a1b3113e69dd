#include "app/MainWindow.h"

#include "app/ActionStates.h"
#include "app/Ask.h"
#include "app/ConsoleWindow.h"
#include "app/Download.h"
#include "app/FileProgress.h"
#include "app/FirstShow.h"
#include "app/HotKeys.h"
#include "app/MenuTable.h"
#include "app/Menus.h"
#include "app/ProgramFile.h"
#include "app/ProjectControl.h"
#include "app/RecentProjects.h"
#include "app/ScriptProgress.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/StatusBar.h"
#include "app/Theme.h"
#include "app/Toolbars.h"
#include "app/WindowTable.h"
#include "base/Application.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "device/DeviceEventWorker.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "framework/DockLayout.h"
#include "framework/DockWindow.h"
#include "framework/PlainText.h"
#include "framework/WindowList.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SettingsMap.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>

namespace {

constexpr int SHOWN_DELAY_MS = 10;
constexpr int CONSOLE_HEIGHT = 190;
constexpr QSize FIRST_SIZE(1100, 760);

CMainWindow* pInstance;

std::array<std::span<const ACTION_SLOT>, 8> AllSlots() {
    return {GetFileSlots(),   GetEditSlots(),  GetDebugSlots(),     GetProjectSlots(),
            GetTargetSlots(), GetBreakSlots(), GetDataBreakSlots(), GetViewSlots()};
}

/// An action of a command that belongs to the main window.
QAction* MakeAction(unsigned CommandId, CMainWindow* pWindow) {
    const COMMAND_ROW Row = CCommandTable::GetRow(CommandId);
    auto* pAction = new QAction(EscapeMnemonic(Row.ShortHelp), pWindow);
    pAction->setObjectName(Row.ActionName);
    pWindow->addAction(pAction);
    return pAction;
}

void SetIcons() {
    for (unsigned Id = 0; Id < CMD_COUNT; ++Id) {
        const char* sFile = GetCommandIcon(Id);
        QAction* pAction = sFile != nullptr ? CCommandTable::GetAction(Id) : nullptr;
        if (pAction != nullptr) {
            pAction->setIcon(QIcon(QStringLiteral(":/icons/") + QLatin1String(sFile)));
        }
    }
}

void ReportPathStats() {
    const CFileFinder& Finder = CFileFinder::Get();
    if (Finder.GetNumFound() != 0) {
        qDebug("%d source file paths resolved", Finder.GetNumFound());
    }
    if (Finder.GetNumMissing() != 0) {
        qDebug("%d source files not found", Finder.GetNumMissing());
    }
}

constexpr int MAX_DEVICE_STOP_MS = 1200; ///< of the 2 s that closing may take

/// Waits for the device thread to let the target go, but not for a link that takes longer than that.
void StopDevice() {
    CDevice& Device = CDevice::Get();
    Device.MarkAllPendingJobsDone();
    Device.disconnect();
    Device.RequestStop();
    const QDeadlineTimer End(MAX_DEVICE_STOP_MS);
    while (!Device.wait(1) && !End.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
    }
}

} // namespace

CMainWindow& CMainWindow::Get() { return *pInstance; }

CMainWindow::CMainWindow()
    : CWindow(QStringLiteral("MainWindow")), m_pTheme(new CTheme(this)), m_pWindows(new CWindowList(this)),
      m_pRecentProjects(new CRecentProjects(this)) {
    pInstance = this;
    setFocusPolicy(Qt::StrongFocus);
    m_pEventWorker = new CDeviceEventWorker(this);
    LoadSettings();
    CreateActions();
    m_pStatusBar = new CStatusBar(this);
    setStatusBar(m_pStatusBar);
    CreateWindows();
    SetIcons();
    CreateMenus(*this);
    m_pToolbars = new CToolbars(this);
    setLocale(QLocale(QLocale::English));
    setWindowIcon(QIcon(QStringLiteral(":/icons/magnifier.svg")));

    m_pActionStates = new CActionStates(this);
    m_pScriptProgress = new CScriptProgress(*this);
    m_pFileProgress = std::make_unique<CFileProgress>(*m_pStatusBar);
    m_pProgramFile = std::make_unique<CProgramFile>(*this);
    m_pDownload = std::make_unique<CDownload>(*this);
    m_pSession = std::make_unique<CSession>(*this);
    m_pProjects = new CProjectControl(*this);
    ConnectSignals();
    qApp->installEventFilter(this);
    RestoreState();
    m_pProjects->ResetState();
    UpdateTitle();
    UpdateActions();
}

CMainWindow::~CMainWindow() {
    qApp->removeEventFilter(this);
    CCommandTable::UnlinkActions(this);
    m_pWindows->DeleteAll();
    pInstance = nullptr;
}

void CMainWindow::LoadSettings() {
    LoadSettingsMap();
    m_pTheme->Start();
    CDevice& Device = CDevice::Get();
    BindDeviceSysVars(Device.GetConfigParamPtr(DEV_CFG_SPEED), Device.GetConfigParamPtr(DEV_CFG_DR_PRE),
                      Device.GetConfigParamPtr(DEV_CFG_IR_PRE));
    InitSysVars();
    LoadUserPrefs();
    LoadColorsAndFonts();
}

void CMainWindow::CreateActions() {
    for (const std::span<const ACTION_SLOT> Group : AllSlots()) {
        for (const ACTION_SLOT& Slot : Group) {
            Connect(MakeAction(Slot.Id, this), this, [this, &Slot] { RunSlot(Slot, *this); });
        }
    }
    for (const WINDOW_ROW& Row : GetWindowTable()) {
        if (Row.ShowCommand != NO_SHOW_COMMAND) {
            Connect(MakeAction(Row.ShowCommand, this), this,
                    [this, &Row] { ShowWindow(m_pWindows->GetWindow(Row)->GetName(), true); });
        }
    }
}

void CMainWindow::CreateWindows() {
    m_pWindows->Create(GetWindowTable());
    m_pSource = m_pWindows->Get<CSourceWindow>();
    m_pConsole = m_pWindows->Get<CConsoleWindow>();
    CCommandTable::LinkActions(this);
    m_pConsole->AddCommandListener(this);
    for (CWindow* pWindow : m_pWindows->GetWindows()) {
        m_pConsole->AddCommandListener(pWindow);
        connect(pWindow, &CWindow::StatusTextChanged, this, &CMainWindow::UpdatePosition);
    }
    connect(m_pWindows, &CWindowList::CloseRequested, this,
            [](const QString& sName) { CCommandTable::Execute(CMD_WINDOW_CLOSE, {sName}); });
    resizeDocks({m_pWindows->GetDock(m_pConsole)}, {CONSOLE_HEIGHT}, Qt::Vertical);
}

void CMainWindow::ConnectSignals() {
    m_ShownTimer.setInterval(SHOWN_DELAY_MS);
    m_ShownTimer.setSingleShot(true);
    connect(&m_ShownTimer, &QTimer::timeout, this, [this] { OnFirstShow(*this); });
    connect(m_pActionStates, &CActionStates::Updated, m_pToolbars,
            [this] { m_pToolbars->SetConnected(CDevice::Get().IsConnected()); });
    connect(&CProject::Get(), &CProject::ModifiedChanged, this, [this] {
        UpdateTitle();
        UpdateActions();
    });
    connect(&CFileFinder::Get(), &CFileFinder::SrcFilePathResolved, this, ElfApi_OnSrcFileLocated);
    connect(&CFileFinder::Get(), &CFileFinder::SrcFileResStatsChanged, this, ReportPathStats);
    connect(m_pTheme, &CTheme::Changed, this, &CMainWindow::OnThemeChanged);
}

void CMainWindow::RestoreState() {
    const QByteArray Geometry = ReadSetting(QStringLiteral("AppData/MainWindow/Geometry")).toByteArray();
    if (Geometry.isEmpty() || !restoreGeometry(Geometry)) {
        resize(FIRST_SIZE);
    }
    if (!isMaximized() && !isFullScreen()) {
        const QRect Fitting = FitToScreens(geometry());
        resize(Fitting.size());
        move(Fitting.topLeft());
    }
    restoreState(ReadSetting(QStringLiteral("AppData/Perspectives/Debug/WindowState")).toByteArray());
    m_pToolbars->RestoreState();
    for (const QString& sKey :
         {QStringLiteral("AppData/MainWindow/DefaultDirOpen"), QStringLiteral("AppData/MainWindow/DefaultDirSave")}) {
        WriteSetting(sKey, ReadSetting(sKey, QDir::homePath()));
    }
    m_pRecentProjects->RestoreState();
}

void CMainWindow::SaveState() {
    WriteSetting(QStringLiteral("AppData/MainWindow/Geometry"), saveGeometry());
    WriteSetting(QStringLiteral("AppData/MainWindow/Version"), GetAppVersion());
    WriteSetting(QStringLiteral("AppData/Perspectives/Debug/WindowState"), saveState());
    m_pRecentProjects->SaveState();
    m_pToolbars->SaveState();
}

void CMainWindow::UpdateActions() { m_pActionStates->Update(); }

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
    setWindowTitle(GetAppTitle(true, true) + sSeparator + EscapeTitle(sName));
}

void CMainWindow::UpdateConnectionInfo() {
    const CDevice& Device = CDevice::Get();
    m_pStatusBar->SetConnectionInfo(FormatConnectionInfo(Device.IsConnected(), Device.GetInterfaceSpeed(),
                                                         static_cast<unsigned>(Device.GetConfigParam(DEV_CFG_SPEED))));
}

void CMainWindow::UpdatePosition() {
    const CDockWindow* pDock = m_pWindows->GetFocusedDock();
    const QString sText = pDock != nullptr ? pDock->GetWindow()->GetStatusText() : QString();
    m_pStatusBar->SetActiveWindowStatus(sText.isEmpty() ? m_pSource->GetStatusText() : sText);
}

bool CMainWindow::ShowWindow(const QString& sName, bool IsShown) {
    CWindow* pWindow = m_pWindows->Find(sName);
    if (pWindow == nullptr) {
        return false;
    }
    m_pWindows->Show(pWindow, IsShown);
    if (IsShown && !(pWindow == m_pConsole && IsConsoleTyping())) {
        pWindow->setFocus();
    }
    return true;
}

void CMainWindow::ShowConsole() { ShowWindow(m_pConsole->GetName(), true); }
bool CMainWindow::IsConsoleTyping() const { return m_pConsole->HasInputFocus(); }

void CMainWindow::OnUserPreferenceChanged(int Index, I32 Value) {
    TellAll([=](CWindow& Window) {
        Window.SetPreference(Index, Value);
        Window.Repaint();
    });
}

void CMainWindow::OnColorChanged(int ColorId) {
    TellAll([=](CWindow& Window) {
        Window.SetColor(ColorId, GetColor(ColorId));
        Window.Repaint();
    });
}

void CMainWindow::OnFontChanged(int FontId) {
    if (FontId == FONT_APP) {
        QApplication::setFont(GetFont(FONT_APP));
    }
    TellAll([=](CWindow& Window) { Window.ApplyFont(FontId, GetFont(FontId)); });
}

void CMainWindow::OnAllFontsChanged() {
    for (int Id = 0; Id < NUM_FONTS; ++Id) {
        OnFontChanged(Id);
    }
}

void CMainWindow::OnThemeChanged() {
    for (int Id = 0; Id < NUM_COLORS; ++Id) {
        OnColorChanged(Id);
    }
}

void CMainWindow::CloseLater() {
    m_IsCloseWaiting = true;
    QTimer::singleShot(0, this, [this] {
        m_IsCloseWaiting = false; // the user may decline
        close();
    });
}

void CMainWindow::EndNow(int ExitCode) {
    m_ExitCode = ExitCode;
    m_IsEndForced = true;
    while (QWidget* pModal = QApplication::activeModalWidget()) {
        pModal->hide(); // ends its event loop as a cancel does
    }
    CloseLater();
}

void CMainWindow::closeEvent(QCloseEvent* pEvent) {
    if (m_pSession->IsClosing()) {
        QMainWindow::closeEvent(pEvent);
        return;
    }
    if (!(m_IsEndForced ? m_pProjects->KeepUnsaved() : m_pProjects->AskSave())) {
        pEvent->ignore();
        return;
    }
    m_pSession->SetClosing();
    for (QTimer* pTimer : findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
        pTimer->stop();
    }
    m_pActionStates->StopFollowing();
    m_ShownTimer.stop();
    m_pEventWorker->Stop();
    SaveState();
    SaveColorsAndFonts();
    SaveUserPrefs();
    CProject::Get().Close(); // ends the script, too
    SaveSettingsMap();       // told at the end of the program if it fails there, too
    StopDevice();
    while (m_pConsole->DrainRing()) {
    }
    ElfApi_Deinit();
    QMainWindow::closeEvent(pEvent);
    QApplication::closeAllWindows();
    pEvent->accept();
}

void CMainWindow::ReloadProject() {
    m_IsReloadWaiting = ScriptGetCallLevel() != 0;
    if (!m_IsReloadWaiting && ScriptReload() != 0 && ScriptTakeError()) {
        ShowConsole();
        ConsolePrintError(QStringLiteral("Error in project file: ") + ScriptGetErrorText());
    }
}

void CMainWindow::ReloadWaitingProject() {
    if (m_IsReloadWaiting && !m_pSession->IsClosing()) {
        QTimer::singleShot(0, this, &CMainWindow::ReloadProject);
    }
}

void CMainWindow::OnActivated() {
    if (m_pSession->IsClosing() || !m_IsShown) {
        return;
    }
    ReloadProject();
    m_pSource->ReloadChanged();
    if (CProject::Get().TakeProgramFileChanged() &&
        AskUser(
            QStringLiteral("Reload Program File"),
            QStringLiteral("The program file has been modified by another application.<br>Do you want to reload it?"),
            QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) == QMessageBox::Yes) {
        CCommandTable::Execute(CMD_FILE_OPEN, {CProject::Get().GetProgramFile()});
    }
}

void CMainWindow::changeEvent(QEvent* pEvent) {
    CWindow::changeEvent(pEvent);
    if (pEvent->type() == QEvent::ActivationChange && isActiveWindow()) {
        QTimer::singleShot(0, this, &CMainWindow::OnActivated);
    }
}

bool CMainWindow::eventFilter(QObject* pObject, QEvent* pEvent) {
    if (pObject == this && pEvent->type() == QEvent::Paint && !m_IsShown) {
        m_IsShown = true;
        m_ShownTimer.start();
    }
    if (pEvent->type() == QEvent::KeyPress && pObject->isWidgetType() &&
        TakeAlternativeKey(*this, *static_cast<QKeyEvent*>(pEvent))) {
        return true;
    }
    return CWindow::eventFilter(pObject, pEvent);
}
