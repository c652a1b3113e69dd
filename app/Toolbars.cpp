#include "app/Toolbars.h"

#include "app/MenuTable.h"
#include "app/WindowTable.h"
#include "command/CommandTable.h"
#include "framework/DockLayout.h"
#include "framework/LayoutText.h"
#include "settings/SettingsMap.h"
#include "settings/SysVars.h"

#include <QMainWindow>
#include <QMenu>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>

namespace {

constexpr int TOOL_BUTTON_HEIGHT = 26;
constexpr QSize TOOL_ICON_SIZE(16, 16);
constexpr unsigned aConnect[] = {CMD_DEBUG_DOWNLOAD_RESET, CMD_DEBUG_ATTACH, CMD_DEBUG_ATTACH_HALT}; // by CONNECT_MODES
constexpr unsigned aReset[] = {CMD_DEBUG_RESET_HALT, CMD_DEBUG_RESET_BREAK_AT_SYMBOL, CMD_DEBUG_RESET_RUN};

QString StateKey(const QString& sName) {
    const QString sShort = sName == QLatin1String("Views")         ? QStringLiteral("Window")
                           : sName == QLatin1String("Breakpoints") ? QStringLiteral("Breakpoint")
                                                                   : sName;
    return QStringLiteral("AppData/Perspectives/Debug/Toolbar%1State").arg(sShort);
}

/// Copies the texts of a drop-down entry to its button.
void ShowMode(QToolButton* pButton, unsigned RunId, unsigned EntryId) {
    const QAction* pEntry = CCommandTable::GetAction(EntryId);
    const QAction* pRun = CCommandTable::GetAction(RunId);
    if (pEntry == nullptr || pRun == nullptr) {
        return;
    }
    QString sTip = pEntry->text().replace(QLatin1String("&&"), QLatin1String("&"));
    if (!pRun->shortcut().isEmpty()) {
        sTip += QStringLiteral(" (%1)").arg(pRun->shortcut().toString(QKeySequence::NativeText));
    }
    pButton->setToolTip(sTip);
    pButton->setStatusTip(pEntry->statusTip());
}

/// A bar has no call of its own for this: it floats when it is a tool window.
void Float(QToolBar* pBar, const QPoint& Pos) {
    pBar->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    pBar->show();
    pBar->adjustSize();
    pBar->move(FitToScreens(QRect(Pos, pBar->size())).topLeft());
}

} // namespace

CToolbars::CToolbars(QMainWindow* pMain) : QObject(pMain), m_pMain(pMain) {
    for (const MENU_ROW& Row : GetToolbars()) {
        const QString sTitle = QString::fromLatin1(Row.sTitle);
        QToolBar* pBar = pMain->addToolBar(sTitle);
        pBar->setObjectName(QStringLiteral("Toolbar") + sTitle);
        pBar->setIconSize(TOOL_ICON_SIZE);
        pBar->setContextMenuPolicy(Qt::PreventContextMenu);
        m_Bars.insert(sTitle, pBar);
        Fill(pBar, Row.Items);
    }
}

void CToolbars::Fill(QToolBar* pBar, std::span<const unsigned> Items) {
    for (const unsigned Item : Items) {
        if (Item == MENU_SEPARATOR) {
            pBar->addSeparator();
        } else if (Item == MENU_WINDOWS) {
            for (const WINDOW_ROW& Row : GetWindowTable()) {
                const unsigned aOne[] = {Row.ShowCommand};
                Fill(pBar, aOne);
            }
        } else if (Item == CMD_DEBUG_START) {
            m_pConnectPanel = AddModePanel(pBar, Item, {std::begin(aConnect), std::end(aConnect)});
        } else if (Item == CMD_DEBUG_RESET) {
            m_pResetPanel = AddModePanel(pBar, Item, {std::begin(aReset), std::end(aReset)});
        } else if (QAction* pAction = CCommandTable::GetAction(Item)) {
            pBar->addAction(pAction);
            pBar->widgetForAction(pAction)->setFixedHeight(TOOL_BUTTON_HEIGHT);
        }
    }
}

QToolButton* CToolbars::AddModePanel(QToolBar* pBar, unsigned RunId, const QList<unsigned>& Entries) {
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
    return pButton;
}

void CToolbars::UpdateModePanels() {
    ShowMode(m_pConnectPanel, CMD_DEBUG_START, aConnect[qBound(0, SysVarValue(VAR_CONNECT_MODE), 2)]);
    ShowMode(m_pResetPanel, CMD_DEBUG_RESET, aReset[qBound(0, SysVarValue(VAR_RESET_MODE), 2)]);
}

void CToolbars::SetConnected(bool IsConnected) {
    m_pConnectPanel->setEnabled(!IsConnected);
    m_pResetPanel->setEnabled(IsConnected);
}

bool CToolbars::Show(const QString& sName, bool IsShown) {
    for (auto It = m_Bars.constBegin(); It != m_Bars.constEnd(); ++It) {
        if (It.key().compare(sName, Qt::CaseInsensitive) == 0) {
            It.value()->setVisible(IsShown);
            return true;
        }
    }
    return false;
}

bool CToolbars::IsShown(const QString& sName) const {
    const QToolBar* pBar = m_Bars.value(sName);
    return pBar != nullptr && !pBar->isHidden();
}

void CToolbars::RestoreState() {
    for (auto It = m_Bars.constBegin(); It != m_Bars.constEnd(); ++It) {
        const bool IsDefault = It.key() == QLatin1String("File") || It.key() == QLatin1String("Debug");
        It.value()->setVisible(ReadSetting(StateKey(It.key()), IsDefault).toBool());
    }
}

void CToolbars::SaveState() const {
    for (auto It = m_Bars.constBegin(); It != m_Bars.constEnd(); ++It) {
        WriteSetting(StateKey(It.key()), !It.value()->isHidden());
    }
}

QStringList CToolbars::FormatLayout() const {
    QStringList Lines;
    for (auto It = m_Bars.constBegin(); It != m_Bars.constEnd(); ++It) {
        const QToolBar* pBar = It.value();
        if (!pBar->isHidden()) {
            Lines.append(::FormatLayout(TOOLBAR_LAYOUT{It.key(), pBar->isFloating() ? 1 : 0, pBar->x(), pBar->y()}));
        }
    }
    return Lines;
}

void CToolbars::ApplyLayout(const QStringList& Lines) {
    QMap<QString, TOOLBAR_LAYOUT> Layouts;
    for (const QString& sLine : Lines) {
        if (const std::optional<TOOLBAR_LAYOUT> Layout = ParseToolbarLayout(sLine)) {
            Layouts.insert(Layout->sName, *Layout);
        }
    }
    if (Layouts.isEmpty()) {
        return;
    }
    for (auto It = m_Bars.constBegin(); It != m_Bars.constEnd(); ++It) {
        QToolBar* pBar = It.value();
        const TOOLBAR_LAYOUT Layout = Layouts.value(It.key());
        if (pBar->isFloating() && Layout.Floating == 0) {
            m_pMain->removeToolBar(pBar); // what adds it again makes it a part of the main window
            m_pMain->addToolBar(pBar);
        }
        pBar->setVisible(Layouts.contains(It.key()));
        if (Layouts.contains(It.key()) && Layout.Floating != 0) {
            constexpr int MAX_PLACE = 32767;
            Float(pBar,
                  QPoint(std::clamp(Layout.x, -MAX_PLACE, MAX_PLACE), std::clamp(Layout.y, -MAX_PLACE, MAX_PLACE)));
        }
    }
}
