#include "app/MainWindow.h"

#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/ConsoleOutput.h"
#include "app/ConsoleWindow.h"
#include "app/MenuTable.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/StatusBar.h"
#include "app/Theme.h"
#include "base/Application.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "device/DeviceEventWorker.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "framework/DockWindow.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/Fonts.h"
#include "settings/SettingsMap.h"
#include "settings/SysVars.h"
#include "views/SourceWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>

// Construction: actions, menus, tool bars, docks and what connects them.

namespace {

constexpr int TOOLBAR_UPDATE_MS = 200;
constexpr int SHOWN_DELAY_MS = 10;
constexpr int TOOL_BUTTON_HEIGHT = 26;
constexpr QSize TOOL_ICON_SIZE(16, 16);

CMainWindow* pInstance;

QIcon Icon(unsigned CommandId) {
    const char* sFile = GetCommandIcon(CommandId);
    return sFile != nullptr ? QIcon(QStringLiteral(":/icons/") + QLatin1String(sFile)) : QIcon();
}

std::array<std::span<const ACTION_SLOT>, 7> AllSlots() {
    return {GetFileSlots(),   GetEditSlots(),  GetDebugSlots(), GetProjectSlots(),
            GetTargetSlots(), GetBreakSlots(), GetViewSlots()};
}

/// Text of a menu entry: the short help, or the command's last word.
QString ActionText(const COMMAND_ROW& Row) {
    return QString(Row.ShortHelp).replace(QLatin1Char('&'), QLatin1String("&&"));
}

QString ToolbarKey(const QString& sName) {
    const QString sShort = sName == QLatin1String("Views")         ? QStringLiteral("Window")
                           : sName == QLatin1String("Breakpoints") ? QStringLiteral("Breakpoint")
                                                                   : sName;
    return QStringLiteral("AppData/Perspectives/Debug/Toolbar%1State").arg(sShort);
}

bool HasSelectedText(const QWidget* pWidget) {
    const auto* pLine = qobject_cast<const QLineEdit*>(pWidget);
    const auto* pText = qobject_cast<const CConsoleOutput*>(pWidget);
    return (pLine != nullptr && pLine->hasSelectedText()) || (pText != nullptr && pText->HasSelection());
}

/// True if the nearest window above the action is the main window, the source viewer, or one that holds the focus.
bool MayTakeKey(const QAction* pAction, const QMainWindow* pMain, const QMainWindow* pSource) {
    const QObject* pObject = pAction;
    while (pObject != nullptr && qobject_cast<const QMainWindow*>(pObject) == nullptr) {
        pObject = pObject->parent();
    }
    const auto* pWindow = qobject_cast<const QMainWindow*>(pObject);
    return pWindow != nullptr &&
           (pWindow == pMain || pWindow == pSource || pWindow->isAncestorOf(QApplication::focusWidget()));
}

} // namespace

CMainWindow& CMainWindow::Get() { return *pInstance; }

CMainWindow::CMainWindow() : CWindow(QStringLiteral("MainWindow")), m_pTheme(new CTheme(this)) {
    pInstance = this;
    setFocusPolicy(Qt::StrongFocus);
    new CDeviceEventWorker(this);
    LoadSettingsMap();
    m_pTheme->Start();
    CDevice& Device = CDevice::Get();
    BindDeviceSysVars(Device.GetConfigParamPtr(DEV_CFG_SPEED), Device.GetConfigParamPtr(DEV_CFG_DR_PRE),
                      Device.GetConfigParamPtr(DEV_CFG_IR_PRE));
    InitSysVars();
    LoadUserPrefs();
    LoadColorsAndFonts();
    m_pSession = std::make_unique<CSession>(*this);
    CreateActions();
    m_pStatusBar = new CStatusBar(this);
    setStatusBar(m_pStatusBar);
    m_pSource = new CSourceWindow(this);
    setCentralWidget(m_pSource);
    CreateSourceActions();
    CreateDocks();
    CCommandTable::LinkActions(this);
    m_pConsole->AddCommandListener(this);
    m_pConsole->AddCommandListener(m_pSource);
    CreateMenus();
    CreateToolbars();
    setLocale(QLocale(QLocale::English));
    setWindowIcon(QIcon(QStringLiteral(":/icons/magnifier.svg")));

    ConnectSignals();
    qApp->installEventFilter(this);
    RestoreState();
    ResetProjectState();
    UpdateTitle();
    UpdateActions();
}

void CMainWindow::ConnectSignals() {
    m_ToolbarTimer.setInterval(TOOLBAR_UPDATE_MS);
    m_ShownTimer.setInterval(SHOWN_DELAY_MS);
    m_ShownTimer.setSingleShot(true);
    connect(&m_ToolbarTimer, &QTimer::timeout, this, &CMainWindow::OnToolbarUpdateTimerTimeout);
    connect(&m_ShownTimer, &QTimer::timeout, this, &CMainWindow::OnWindowShown);
    connect(&CProject::Get(), &CProject::Opened, this, &CMainWindow::OnProjectFileOpened);
    connect(&CProject::Get(), &CProject::Closed, this, &CMainWindow::OnProjectFileClosed);
    connect(&CProject::Get(), &CProject::ModifiedChanged, this, &CMainWindow::OnProjectModifiedChanged);
    connect(&CFileFinder::Get(), &CFileFinder::SrcFilePathResolved, this, ElfApi_OnSrcFileLocated);
    connect(&CFileFinder::Get(), &CFileFinder::SrcFileResStatsChanged, this,
            &CMainWindow::OnFilePathResolutionStatsChanged);
    connect(m_pTheme, &CTheme::Changed, this, &CMainWindow::OnThemeChanged);
    connect(m_pSource, &CWindow::StatusTextChanged, this, &CMainWindow::UpdatePosition);
    connect(m_pSource, &CSourceWindow::BreakpointToggleRequested, this, [](const QString& sLocation, bool DoSet) {
        CCommandTable::Execute(DoSet ? CMD_BREAK_SET_ON_SRC : CMD_BREAK_CLEAR_ON_SRC, {sLocation});
    });
    connect(m_pSource, &CSourceWindow::ContextMenuRequested, this, [this](QPoint Pos) {
        QMenu Menu(this);
        for (const unsigned Id : {CMD_BP_SET, CMD_SRC_RUN_TO_CURSOR, CMD_SRC_SET_NEXT_STMNT}) {
            Menu.addAction(CCommandTable::GetAction(Id));
        }
        Menu.addSeparator();
        Menu.addAction(CCommandTable::GetAction(CMD_SRC_VIEW_PC));
        Menu.addAction(CCommandTable::GetAction(CMD_SRC_VIEW_LINE));
        Menu.exec(Pos);
    });
}

CMainWindow::~CMainWindow() {
    qApp->removeEventFilter(this);
    CCommandTable::UnlinkActions(this);
    // The windows go while everything that they report to is still there.
    disconnect(m_pSource, nullptr, this, nullptr);
    delete takeCentralWidget();
    qDeleteAll(m_Docks);
    pInstance = nullptr;
}

void CMainWindow::CreateActions() {
    for (const std::span<const ACTION_SLOT> Group : AllSlots()) {
        for (const ACTION_SLOT& Slot : Group) {
            const COMMAND_ROW Row = CCommandTable::GetRow(Slot.Id);
            auto* pAction = new QAction(Icon(Slot.Id), ActionText(Row), this);
            pAction->setObjectName(Row.ActionName);
            addAction(pAction);
            Connect(pAction, this, [this, &Slot] { RunSlot(Slot, *this); });
        }
    }
}

void CMainWindow::CreateSourceActions() {
    for (const ACTION_SLOT& Slot : GetSourceSlots()) {
        const COMMAND_ROW Row = CCommandTable::GetRow(Slot.Id);
        auto* pAction = new QAction(ActionText(Row), m_pSource);
        pAction->setObjectName(Row.ActionName);
        pAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        m_pSource->addAction(pAction);
        m_pSource->Connect(pAction, this, [this, &Slot] { RunSlot(Slot, *this); });
    }
}

void CMainWindow::CreateMenus() {
    for (const MENU_ROW& Row : GetMenus()) {
        QMenu* pMenu = menuBar()->addMenu(QString::fromLatin1(Row.sTitle));
        pMenu->setToolTipsVisible(true);
        for (const unsigned Item : Row.Items) {
            if (Item == MENU_SEPARATOR) {
                pMenu->addSeparator();
            } else if (Item == MENU_RECENT_PROJECTS) {
                m_pRecentMenu = pMenu->addMenu(QStringLiteral("Recent Projects"));
            } else if (Item == MENU_COMMAND_PALETTE) {
                pMenu->addAction(QIcon(QStringLiteral(":/icons/magnifier.svg")), QStringLiteral("Find Command..."),
                                 QKeySequence(QStringLiteral("Ctrl+Shift+A")), this, &CMainWindow::ShowCommandPalette);
            } else if (QAction* pAction = CCommandTable::GetAction(Item)) {
                pMenu->addAction(pAction);
            }
        }
    }
}

void CMainWindow::CreateModePanel(QToolBar* pBar, unsigned RunId, const QList<unsigned>& Entries,
                                  QToolButton** ppButton) {
    auto* pButton = new QToolButton(pBar);
    auto* pMenu = new QMenu(pButton);
    for (const unsigned Entry : Entries) {
        pMenu->addAction(CCommandTable::GetAction(Entry));
    }
    pButton->setDefaultAction(CCommandTable::GetAction(RunId));
    pButton->setMenu(pMenu);
    pButton->setPopupMode(QToolButton::MenuButtonPopup);
    pButton->setFixedHeight(TOOL_BUTTON_HEIGHT);
    pBar->addWidget(pButton);
    *ppButton = pButton;
}

void CMainWindow::CreateToolbars() {
    for (const MENU_ROW& Row : GetToolbars()) {
        const QString sTitle = QString::fromLatin1(Row.sTitle);
        QToolBar* pBar = addToolBar(sTitle);
        pBar->setObjectName(QStringLiteral("Toolbar") + sTitle);
        pBar->setIconSize(TOOL_ICON_SIZE);
        pBar->setContextMenuPolicy(Qt::PreventContextMenu);
        m_Toolbars.insert(sTitle, pBar);
        for (const unsigned Item : Row.Items) {
            if (Item == MENU_SEPARATOR) {
                pBar->addSeparator();
            } else if (Item == CMD_DEBUG_START) {
                CreateModePanel(pBar, Item, {CMD_DEBUG_DOWNLOAD_RESET, CMD_DEBUG_ATTACH, CMD_DEBUG_ATTACH_HALT},
                                &m_pConnectPanel);
            } else if (Item == CMD_DEBUG_RESET) {
                CreateModePanel(pBar, Item,
                                {CMD_DEBUG_RESET_HALT, CMD_DEBUG_RESET_BREAK_AT_SYMBOL, CMD_DEBUG_RESET_RUN},
                                &m_pResetPanel);
            } else if (QAction* pAction = CCommandTable::GetAction(Item)) {
                pBar->addAction(pAction);
                pBar->widgetForAction(pAction)->setFixedHeight(TOOL_BUTTON_HEIGHT);
            }
        }
    }
}

void CMainWindow::CreateDocks() {
    m_pConsole = new CConsoleWindow(this);
    auto* pDock = new CDockWindow(m_pConsole, this);
    addDockWidget(Qt::BottomDockWidgetArea, pDock);
    m_Docks.append(pDock);
    for (CDockWindow* p : std::as_const(m_Docks)) {
        connect(p, &CDockWindow::CloseRequested, this,
                [](const QString& sName) { CCommandTable::Execute(CMD_WINDOW_CLOSE, {sName}); });
    }
    resizeDocks({pDock}, {190}, Qt::Vertical);
}

void CMainWindow::RestoreState() {
    const QByteArray Geometry = ReadSetting(QStringLiteral("AppData/MainWindow/Geometry")).toByteArray();
    if (Geometry.isEmpty() || !restoreGeometry(Geometry)) {
        resize(1100, 760);
    }
    restoreState(ReadSetting(QStringLiteral("AppData/Perspectives/Debug/WindowState")).toByteArray());
    for (auto It = m_Toolbars.constBegin(); It != m_Toolbars.constEnd(); ++It) {
        const bool IsDefault = It.key() == QLatin1String("File") || It.key() == QLatin1String("Debug");
        It.value()->setVisible(ReadSetting(ToolbarKey(It.key()), IsDefault).toBool());
    }
    for (const QString& sKey :
         {QStringLiteral("AppData/MainWindow/DefaultDirOpen"), QStringLiteral("AppData/MainWindow/DefaultDirSave")}) {
        WriteSetting(sKey, ReadSetting(sKey, QDir::homePath()));
    }
    for (const QString& sPath : ReadSetting(QStringLiteral("AppData/MainWindow/RecentProjects")).toStringList()) {
        if (sPath.endsWith(QLatin1String(".dbgprj"), Qt::CaseInsensitive) && QFileInfo(sPath).isFile()) {
            m_RecentProjects.append(sPath);
        }
    }
    UpdateRecentMenu();
}

void CMainWindow::SaveState() {
    WriteSetting(QStringLiteral("AppData/MainWindow/Geometry"), saveGeometry());
    WriteSetting(QStringLiteral("AppData/MainWindow/RecentProjects"), m_RecentProjects);
    WriteSetting(QStringLiteral("AppData/MainWindow/Version"), GetAppVersion());
    WriteSetting(QStringLiteral("AppData/Perspectives/Debug/WindowState"), saveState());
    for (auto It = m_Toolbars.constBegin(); It != m_Toolbars.constEnd(); ++It) {
        WriteSetting(ToolbarKey(It.key()), !It.value()->isHidden());
    }
}

bool CMainWindow::AskSaveProject() {
    if (!CProject::Get().IsModified()) {
        return true;
    }
    const auto Answer = AskUser(
        QStringLiteral("Save Project Changes?"), QStringLiteral("The current project was modified. Save changes?"),
        QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, IsUnattended() ? QMessageBox::No : QMessageBox::Yes);
    if (Answer == QMessageBox::Yes) {
        const QString sPath = CProject::Get().GetPath();
        if (!QFileInfo(sPath).isFile()) {
            return CCommandTable::Execute(CMD_FILE_SAVE_PROJECT_AS) == 0;
        }
        const QString sError = CProject::Get().Save(sPath, CollectProjectSettings());
        if (!sError.isEmpty()) {
            TellSaveFailed(sPath, sError, true);
        }
        return sError.isEmpty();
    }
    return Answer == QMessageBox::No;
}

void CMainWindow::StopDevice() {
    CDevice& Device = CDevice::Get();
    Device.MarkAllPendingJobsDone();
    Device.disconnect();
    Device.RequestStop();
    while (!Device.wait(1)) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
    }
}

void CMainWindow::CloseLater() { QTimer::singleShot(0, this, &QWidget::close); }

void CMainWindow::closeEvent(QCloseEvent* pEvent) {
    if (m_pSession->IsClosing()) {
        QMainWindow::closeEvent(pEvent);
        return;
    }
    if (!AskSaveProject()) {
        pEvent->ignore();
        return;
    }
    m_pSession->SetClosing();
    for (QTimer* pTimer : findChildren<QTimer*>()) {
        if (pTimer->parent() == this) {
            pTimer->stop();
        }
    }
    m_ToolbarTimer.stop();
    SaveState();
    CProject::Get().Close(); // ends the script, too
    StopDevice();
    while (m_pConsole->DrainRing()) {
    }
    ElfApi_Deinit();
    SaveColorsAndFonts();
    SaveUserPrefs();
    QMainWindow::closeEvent(pEvent);
    QApplication::closeAllWindows();
    pEvent->accept();
}

void CMainWindow::StartToolbarTimer() { m_ToolbarTimer.start(); }
void CMainWindow::StopToolbarTimer() { m_ToolbarTimer.stop(); }

void CMainWindow::OnActivated() {
    if (m_pSession->IsClosing() || !m_IsShown) {
        return;
    }
    if (ScriptReload() != 0 && ScriptHasError()) {
        ShowConsole();
        ConsolePrintError(QStringLiteral("Error in project file: ") + ScriptGetErrorText());
    }
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

bool CMainWindow::TakeAlternativeKey(QEvent* pEvent) {
    const auto* pKey = static_cast<QKeyEvent*>(pEvent);
    const QString sKey = QKeySequence(pKey->keyCombination()).toString(QKeySequence::PortableText);
    if (sKey == QLatin1String("Shift+Alt+S") || sKey == QLatin1String("Alt+Shift+S") ||
        (sKey == QLatin1String("Esc") && QApplication::activeWindow() == this &&
         QApplication::activePopupWidget() == nullptr && QApplication::activeModalWidget() == nullptr &&
         !HasSelectedText(QApplication::focusWidget()))) {
        m_pSource->setFocus();
        return true;
    }
    for (const U32 Id : CCommandTable::FindByAlternativeKey(sKey)) {
        if (MayTakeKey(CCommandTable::GetAction(Id), this, m_pSource)) {
            CCommandTable::Trigger(Id);
            return true;
        }
    }
    return false;
}

bool CMainWindow::eventFilter(QObject* pObject, QEvent* pEvent) {
    if (pObject == this && pEvent->type() == QEvent::Paint && !m_IsShown) {
        m_IsShown = true;
        m_ShownTimer.start();
    }
    if (pEvent->type() == QEvent::KeyPress && pObject->isWidgetType() && TakeAlternativeKey(pEvent)) {
        return true;
    }
    return CWindow::eventFilter(pObject, pEvent);
}
