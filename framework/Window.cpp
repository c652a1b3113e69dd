#include "framework/Window.h"

#include "device/Device.h"

#include <QPointer>

CWindow::CWindow(const QString& sName, QWidget* pParent) : QMainWindow(pParent), m_sName(sName) {
    setObjectName(sName);
    setWindowFlags(pParent != nullptr ? Qt::Widget : Qt::Window);
}

void CWindow::Connect(QAction* pAction, QObject* pReceiver, const std::function<void()>& Slot) {
    connect(pAction, &QAction::triggered, this, [this, pAction] { emit ActionTriggered(pAction); });
    connect(pAction, &QAction::triggered, pReceiver, [Slot] { Slot(); });
    connect(pAction, &QAction::triggered, this, [this, pAction] { emit ActionPerformed(pAction); });
}

void CWindow::SetActive(bool Active) {
    if (m_Active != Active) {
        m_Active = Active;
        emit ActivationChanged(Active);
    }
}

QString CWindow::GetEmptyWindowText(DEBUG_STATES State) const {
    switch (State) {
    case DS_RUNNING:
        return QStringLiteral("Program running");
    case DS_DISCONNECTED:
        return QStringLiteral("No target connection");
    default:
        return QStringLiteral("No data");
    }
}

DEBUG_STATES GetDebugState() {
    if (!CDevice::Get().IsConnected()) {
        return DS_DISCONNECTED;
    }
    return CDevice::Get().IsHalted() ? DS_HALTED : DS_RUNNING;
}
