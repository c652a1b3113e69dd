#include "framework/WindowList.h"

#include "framework/DockLayout.h"
#include "framework/DockWindow.h"
#include "framework/Window.h"

#include <QApplication>

CWindowList::CWindowList(QMainWindow* pMain) : QObject(pMain), m_pMain(pMain) {}

void CWindowList::Create(std::span<const WINDOW_ROW> Rows) {
    m_Rows = Rows;
    for (const WINDOW_ROW& Row : Rows) {
        CWindow* pWindow = Row.pfCreate(m_pMain);
        m_Windows.append(pWindow);
        if (Row.Area == AREA_NONE) {
            m_pMain->setCentralWidget(pWindow);
            continue;
        }
        auto* pDock = new CDockWindow(pWindow, m_pMain);
        m_Docks.append(pDock);
        m_pMain->addDockWidget(ToQtArea(Row.Area), pDock);
        connect(pDock, &CDockWindow::CloseRequested, this, &CWindowList::CloseRequested);
    }
    ShowDefaults();
}

void CWindowList::DeleteAll() {
    while (!m_Windows.isEmpty()) {
        CWindow* pWindow = m_Windows.takeLast();
        if (CDockWindow* pDock = GetDock(pWindow)) {
            m_Docks.removeAll(pDock);
            delete pDock;
        } else {
            delete m_pMain->takeCentralWidget();
        }
    }
}

void CWindowList::ShowDefaults() {
    for (const WINDOW_ROW& Row : m_Rows) {
        if (CDockWindow* pDock = GetDock(GetWindow(Row))) {
            pDock->setVisible(Row.IsShown);
        }
    }
}

CWindow* CWindowList::Find(const QString& sName) const {
    for (CWindow* pWindow : m_Windows) {
        if (sName.compare(pWindow->GetName(), Qt::CaseInsensitive) == 0 ||
            sName.compare(pWindow->GetDisplayName(), Qt::CaseInsensitive) == 0) {
            return pWindow;
        }
    }
    return nullptr;
}

CDockWindow* CWindowList::GetDock(const CWindow* pWindow) const {
    for (CDockWindow* pDock : m_Docks) {
        if (pDock->GetWindow() == pWindow) {
            return pDock;
        }
    }
    return nullptr;
}

void CWindowList::Show(CWindow* pWindow, bool IsShown) {
    if (CDockWindow* pDock = GetDock(pWindow)) {
        pDock->setVisible(IsShown);
        pDock->raise();
    }
}

CDockWindow* CWindowList::GetFocusedDock() const {
    for (CDockWindow* pDock : m_Docks) {
        if (pDock->isAncestorOf(QApplication::focusWidget())) {
            return pDock;
        }
    }
    return nullptr;
}

QStringList CWindowList::FormatLayout() const { return FormatDockLayouts(*m_pMain, m_Docks); }
void CWindowList::ApplyLayout(const QStringList& Lines) { ApplyDockLayouts(m_pMain, m_Docks, Lines); }
