#include "app/Ask.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "base/Files.h"
#include "framework/DockWindow.h"
#include "framework/LayoutText.h"
#include "project/Project.h"

#include <QFileInfo>
#include <QToolBar>

// The layout of the windows of a project: written to its user file when it closes, applied when it opens.

namespace {

constexpr qint64 MAX_USER_FILE_SIZE = 1024 * 1024; ///< more is no layout

int AreaOf(const QMainWindow& Window, CDockWindow* pDock) {
    if (pDock->isFloating()) {
        return AREA_FLOATING;
    }
    switch (Window.dockWidgetArea(pDock)) {
    case Qt::LeftDockWidgetArea:
        return AREA_LEFT;
    case Qt::RightDockWidgetArea:
        return AREA_RIGHT;
    default:
        return AREA_BOTTOM;
    }
}

/// The dock that shows where a tabbed dock lies: one behind another tab has no place of its own.
const CDockWindow* VisibleOfTabs(const QMainWindow& Window, CDockWindow* pDock) {
    if (pDock->x() >= 0 && pDock->y() >= 0) {
        return pDock;
    }
    for (QDockWidget* pOther : Window.tabifiedDockWidgets(pDock)) {
        if (pOther->x() >= 0 && pOther->y() >= 0) {
            return qobject_cast<CDockWindow*>(pOther);
        }
    }
    return pDock;
}

QPoint OriginOfArea(const QMainWindow& Window, const QList<CDockWindow*>& Docks, int Area) {
    QPoint Origin(INT_MAX, INT_MAX);
    for (CDockWindow* pDock : Docks) {
        if (!pDock->isHidden() && AreaOf(Window, pDock) == Area) {
            const CDockWindow* pShown = VisibleOfTabs(Window, pDock);
            Origin = QPoint(qMin(Origin.x(), pShown->x()), qMin(Origin.y(), pShown->y()));
        }
    }
    return Origin;
}

DOCK_LAYOUT LayoutOf(const QMainWindow& Window, const QList<CDockWindow*>& Docks, CDockWindow* pDock) {
    DOCK_LAYOUT Layout;
    Layout.sName = pDock->GetWindow()->GetName();
    Layout.Area = AreaOf(Window, pDock);
    const CDockWindow* pShown = VisibleOfTabs(Window, pDock);
    const bool IsFloating = Layout.Area == AREA_FLOATING;
    const QRect Frame = IsFloating ? pDock->frameGeometry() : pShown->geometry();
    const QPoint Pos = IsFloating ? Frame.topLeft() : Frame.topLeft() - OriginOfArea(Window, Docks, Layout.Area);
    Layout.x = Pos.x();
    Layout.y = Pos.y();
    Layout.w = Frame.width();
    Layout.h = Frame.height();
    return Layout;
}

Qt::DockWidgetArea QtArea(int Area) {
    return Area == AREA_LEFT ? Qt::LeftDockWidgetArea
                             : (Area == AREA_RIGHT ? Qt::RightDockWidgetArea : Qt::BottomDockWidgetArea);
}

QString ReadUserFile(const QString& sPath) {
    QByteArray Text;
    return ReadRegularFile(sPath, MAX_USER_FILE_SIZE, &Text).isEmpty() ? QString::fromUtf8(Text) : QString();
}

struct PLACED_DOCK {
    CDockWindow* pDock;
    DOCK_LAYOUT Layout;
};

/// Docks of one area in the order of their places, side by side or, at one place, behind each other.
void Arrange(QMainWindow* pWindow, QList<PLACED_DOCK> Docks, int Area) {
    const bool IsRow = Area == AREA_BOTTOM;
    std::stable_sort(Docks.begin(), Docks.end(), [IsRow](const PLACED_DOCK& a, const PLACED_DOCK& b) {
        return IsRow ? a.Layout.x < b.Layout.x : a.Layout.y < b.Layout.y;
    });
    const PLACED_DOCK* pLast = nullptr;
    QList<QDockWidget*> Shown;
    QList<int> Sizes;
    for (const PLACED_DOCK& Dock : std::as_const(Docks)) {
        pWindow->addDockWidget(QtArea(Area), Dock.pDock, IsRow ? Qt::Horizontal : Qt::Vertical);
        if (pLast != nullptr && pLast->Layout.x == Dock.Layout.x && pLast->Layout.y == Dock.Layout.y) {
            pWindow->tabifyDockWidget(pLast->pDock, Dock.pDock);
        } else {
            Shown.append(Dock.pDock);
            Sizes.append(qMax(1, IsRow ? Dock.Layout.w : Dock.Layout.h));
        }
        pLast = &Dock;
    }
    if (pLast != nullptr) {
        pWindow->resizeDocks(Shown, Sizes, IsRow ? Qt::Horizontal : Qt::Vertical);
        const int Depth = qMax(1, IsRow ? pLast->Layout.h : pLast->Layout.w);
        pWindow->resizeDocks({Shown.first()}, {Depth}, IsRow ? Qt::Vertical : Qt::Horizontal);
    }
}

} // namespace

void CMainWindow::WriteUserFile(const QString& sProjectPath) const {
    if (!QFileInfo::exists(sProjectPath)) {
        return; // the project has gone from the disk, or has never been saved
    }
    QStringList Lines;
    for (CDockWindow* pDock : m_Docks) {
        if (!pDock->isHidden()) {
            Lines.append(FormatLayout(LayoutOf(*this, m_Docks, pDock)));
        }
    }
    for (const CWindow* pWindow : GetWindows()) {
        const QString sConfig = pWindow->GetUserConfigStr();
        if (!sConfig.isEmpty()) {
            Lines.append(sConfig);
        }
    }
    for (auto It = m_Toolbars.constBegin(); It != m_Toolbars.constEnd(); ++It) {
        const QToolBar* pBar = It.value();
        if (!pBar->isHidden()) {
            Lines.append(FormatLayout(TOOLBAR_LAYOUT{It.key(), pBar->isFloating() ? 1 : 0, pBar->x(), pBar->y()}));
        }
    }
    const QByteArray Text = Lines.join(QLatin1Char('\n')).toUtf8() + '\n';
    const QString sPath = CProject::Get().GetUserFilePath(sProjectPath);
    const QString sError = SaveFile(sPath, Text);
    if (!sError.isEmpty()) {
        TellSaveFailed(sPath, sError, m_pSession->IsClosing());
    }
}

void CMainWindow::ApplyDockLayouts(const QStringList& Lines) {
    QList<PLACED_DOCK> Found;
    for (const QString& sLine : Lines) {
        const std::optional<DOCK_LAYOUT> Layout = ParseDockLayout(sLine);
        for (CDockWindow* pDock : std::as_const(m_Docks)) {
            if (Layout && Layout->Area != AREA_NONE && qHash(pDock->objectName()) == qHash(Layout->sName)) {
                Found.append({pDock, *Layout});
            }
        }
    }
    if (Found.isEmpty()) {
        return;
    }
    for (CDockWindow* pDock : std::as_const(m_Docks)) {
        pDock->CloseByCommand();
    }
    for (const int Area : {AREA_LEFT, AREA_RIGHT, AREA_BOTTOM}) {
        QList<PLACED_DOCK> Docks;
        for (const PLACED_DOCK& Dock : std::as_const(Found)) {
            if (Dock.Layout.Area == Area) {
                Dock.pDock->setFloating(false);
                Dock.pDock->show();
                Docks.append(Dock);
            }
        }
        Arrange(this, Docks, Area);
    }
    for (const PLACED_DOCK& Dock : std::as_const(Found)) {
        if (Dock.Layout.Area == AREA_FLOATING) {
            Dock.pDock->setFloating(true);
            Dock.pDock->show();
            const QSize Border = Dock.pDock->frameGeometry().size() - Dock.pDock->size();
            Dock.pDock->resize((QSize(Dock.Layout.w, Dock.Layout.h) - Border).expandedTo(QSize(1, 1)));
            Dock.pDock->move(Dock.Layout.x, Dock.Layout.y);
        }
    }
}

void CMainWindow::ApplyToolbarLayouts(const QStringList& Lines) {
    QList<TOOLBAR_LAYOUT> Layouts;
    for (const QString& sLine : Lines) {
        if (const std::optional<TOOLBAR_LAYOUT> Layout = ParseToolbarLayout(sLine)) {
            Layouts.append(*Layout);
        }
    }
    if (Layouts.isEmpty()) {
        return;
    }
    for (auto It = m_Toolbars.constBegin(); It != m_Toolbars.constEnd(); ++It) {
        It.value()->setVisible(std::any_of(Layouts.begin(), Layouts.end(),
                                           [&](const TOOLBAR_LAYOUT& Layout) { return Layout.sName == It.key(); }));
    }
}

void CMainWindow::LoadUserFile(const QString& sProjectPath) {
    const QString sText = ReadUserFile(CProject::Get().GetUserFilePath(sProjectPath));
    if (sText.trimmed().isEmpty()) {
        return;
    }
    const QStringList Lines = sText.split(QLatin1Char('\n'));
    ApplyDockLayouts(Lines);
    ApplyToolbarLayouts(Lines);
    for (CWindow* pWindow : GetWindows()) {
        pWindow->SetUserConfigStr(sText);
    }
}
