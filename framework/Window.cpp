#include "framework/Window.h"

#include "command/CommandTable.h"
#include "device/Device.h"
#include "framework/PlainText.h"

#include <QShowEvent>

CWindow::CWindow(const QString& sName, QWidget* pParent) : QMainWindow(pParent), m_sName(sName) {
    setObjectName(sName);
    setWindowFlags(pParent != nullptr ? Qt::Widget : Qt::Window);
}

void CWindow::Connect(QAction* pAction, QObject* pReceiver, const std::function<void()>& Slot) {
    connect(pAction, &QAction::triggered, this, [this, pAction] { emit ActionTriggered(pAction); });
    connect(pAction, &QAction::triggered, pReceiver, [Slot] { Slot(); });
    connect(pAction, &QAction::triggered, this, [this, pAction] { emit ActionPerformed(pAction); });
}

QAction* CWindow::AddAction(U32 CommandId, const std::function<void()>& Slot) {
    const COMMAND_ROW Row = CCommandTable::GetRow(CommandId);
    auto* pAction = new QAction(EscapeMnemonic(Row.ShortHelp), this);
    pAction->setObjectName(Row.ActionName);
    pAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    addAction(pAction);
    Connect(pAction, this, Slot);
    return pAction;
}

void CWindow::TellAll(const std::function<void(CWindow&)>& Fn) {
    CDeviceEventListener::ForEach([&Fn](CDeviceEventListener& Listener) {
        if (auto* pWindow = dynamic_cast<CWindow*>(&Listener)) {
            Fn(*pWindow);
        }
    });
}

void CWindow::UpdateIfShown(U32 PC) {
    constexpr U32 THUMB_BIT = 1;
    const I64 CurrentPC = qMax<I64>(CDevice::Current().GetPC(), 0);
    if (((static_cast<U32>(CurrentPC) ^ PC) & ~THUMB_BIT) != 0) {
        qDebug("Not updating window as PC is superseeded");
    } else if (isVisible()) {
        Update(PC);
    }
}

void CWindow::OnDeviceHaltDone(U32 PC, HALT_REASONS) { UpdateIfShown(PC); }
void CWindow::OnDeviceStepped(U32 PC) { UpdateIfShown(PC); }
void CWindow::OnDeviceResetDone(U32, RESET_MODES) { Invalidate(); }
void CWindow::OnDeviceWriteAccess() { Invalidate(); }

void CWindow::showEvent(QShowEvent* pEvent) {
    QMainWindow::showEvent(pEvent);
    if (GetDebugState() == DS_HALTED) {
        Update(static_cast<U32>(CDevice::Current().GetPC()));
    }
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
