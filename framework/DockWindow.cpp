#include "framework/DockWindow.h"

#include "framework/Window.h"

#include <QCloseEvent>

CDockWindow::CDockWindow(CWindow* pWindow, QWidget* pParent)
    : QDockWidget(pWindow->GetDisplayName(), pParent), m_pWindow(pWindow) {
    setObjectName(pWindow->GetName());
    setWidget(pWindow);
}

void CDockWindow::closeEvent(QCloseEvent* pEvent) {
    pEvent->ignore();
    emit CloseRequested(m_pWindow->GetName());
}
