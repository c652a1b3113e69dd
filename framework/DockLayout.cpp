#include "framework/DockLayout.h"

#include "framework/DockWindow.h"
#include "framework/LayoutText.h"
#include "framework/Window.h"

#include <QGuiApplication>
#include <QMainWindow>
#include <QScreen>
#include <algorithm>

namespace {

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

constexpr int MAX_EXTENT = 32767; ///< pixels, of a place or size that a layout may name: 15 bits, as in window systems

struct PLACED_DOCK {
    CDockWindow* pDock;
    DOCK_LAYOUT Layout;
};

/// The docks that have a line, each by its first one, with numbers that can be computed with.
QList<PLACED_DOCK> FindPlaces(const QList<CDockWindow*>& Docks, const QStringList& Lines) {
    QList<PLACED_DOCK> Found;
    for (const QString& sLine : Lines) {
        std::optional<DOCK_LAYOUT> Layout = ParseDockLayout(sLine);
        for (CDockWindow* pDock : Docks) {
            const bool IsPlaced = std::any_of(Found.begin(), Found.end(),
                                              [pDock](const PLACED_DOCK& Place) { return Place.pDock == pDock; });
            if (Layout && Layout->Area != AREA_NONE && !IsPlaced && pDock->objectName() == Layout->sName) {
                for (int* pPlace : {&Layout->x, &Layout->y}) {
                    *pPlace = std::clamp(*pPlace, -MAX_EXTENT, MAX_EXTENT);
                }
                for (int* pExtent : {&Layout->w, &Layout->h}) {
                    *pExtent = std::clamp(*pExtent, 1, MAX_EXTENT);
                }
                Found.append({pDock, *Layout});
            }
        }
    }
    return Found;
}

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
        pWindow->addDockWidget(ToQtArea(Area), Dock.pDock, IsRow ? Qt::Horizontal : Qt::Vertical);
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

void PlaceFloating(const PLACED_DOCK& Dock) {
    Dock.pDock->setFloating(true);
    Dock.pDock->show();
    const QSize Border = Dock.pDock->frameGeometry().size() - Dock.pDock->size();
    const QSize Wanted = QSize(Dock.Layout.w, Dock.Layout.h).expandedTo(Dock.pDock->minimumSizeHint() + Border);
    const QRect Frame = FitToScreens(QRect(QPoint(Dock.Layout.x, Dock.Layout.y), Wanted));
    Dock.pDock->resize((Frame.size() - Border).expandedTo(QSize(1, 1)));
    Dock.pDock->move(Frame.topLeft());
}

} // namespace

Qt::DockWidgetArea ToQtArea(int Area) {
    return Area == AREA_LEFT ? Qt::LeftDockWidgetArea
                             : (Area == AREA_RIGHT ? Qt::RightDockWidgetArea : Qt::BottomDockWidgetArea);
}

QRect FitToScreens(const QRect& Wanted) {
    const QScreen* pScreen = QGuiApplication::screenAt(Wanted.center());
    if (pScreen == nullptr) {
        pScreen = QGuiApplication::primaryScreen();
    }
    if (pScreen == nullptr) {
        return Wanted;
    }
    const QRect Area = pScreen->availableGeometry();
    const QSize Size = Wanted.size().expandedTo(QSize(1, 1)).boundedTo(Area.size());
    return {QPoint(std::clamp(Wanted.x(), Area.left(), Area.right() + 1 - Size.width()),
                   std::clamp(Wanted.y(), Area.top(), Area.bottom() + 1 - Size.height())),
            Size};
}

QStringList FormatDockLayouts(const QMainWindow& Window, const QList<CDockWindow*>& Docks) {
    QStringList Lines;
    for (CDockWindow* pDock : Docks) {
        if (!pDock->isHidden()) {
            Lines.append(FormatLayout(LayoutOf(Window, Docks, pDock)));
        }
    }
    return Lines;
}

void ApplyDockLayouts(QMainWindow* pWindow, const QList<CDockWindow*>& AllDocks, const QStringList& Lines) {
    const QList<PLACED_DOCK> Found = FindPlaces(AllDocks, Lines);
    if (Found.isEmpty()) {
        return;
    }
    for (CDockWindow* pDock : AllDocks) {
        pDock->CloseByCommand();
    }
    for (const int Area : {AREA_LEFT, AREA_RIGHT, AREA_BOTTOM}) {
        QList<PLACED_DOCK> Docks;
        for (const PLACED_DOCK& Dock : Found) {
            if (Dock.Layout.Area == Area) {
                Dock.pDock->setFloating(false);
                Dock.pDock->show();
                Docks.append(Dock);
            }
        }
        Arrange(pWindow, Docks, Area);
    }
    for (const PLACED_DOCK& Dock : Found) {
        if (Dock.Layout.Area == AREA_FLOATING) {
            PlaceFloating(Dock);
        }
    }
}
