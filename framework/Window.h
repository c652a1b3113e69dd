#pragma once

// CWindow: base of all debug windows. It knows what to do when the target halts or the connection ends, how it is
// named for commands, and brackets every action of a window so that the console hears of it. Main thread.

#include "base/Types.h"
#include "device/DeviceEventListener.h"

#include <QAction>
#include <QMainWindow>

/// What windows are told when they have nothing to show.
enum DEBUG_STATES : int { DS_NONE, DS_RUNNING, DS_HALTED, DS_DISCONNECTED };

class CWindow : public QMainWindow, public CDeviceEventListener {
    Q_OBJECT

public:
    explicit CWindow(const QString& sName, QWidget* pParent = nullptr);

    QString GetName() const { return m_sName; }
    QString GetDisplayName() const { return windowTitle().isEmpty() ? m_sName : windowTitle(); }

    /// Connects an action to its slot between OnActionTriggered() and OnActionPerformed().
    void Connect(QAction* pAction, QObject* pReceiver, const std::function<void()>& Slot);

    virtual void Clear() {}
    virtual void Repaint() { update(); }
    virtual void Update(U32 /*NewPC*/) {}
    virtual void SetColor(int /*ColorID*/, const QColor& /*Color*/) {}
    virtual void ApplyFont(int /*FontID*/, const QFont& /*Font*/) {}
    virtual void SetPreference(int /*VarID*/, int /*Value*/) {}
    virtual void SetActive(bool Active);
    bool IsActive() const { return m_Active; }
    virtual QString GetEmptyWindowText(DEBUG_STATES State) const;
    virtual QString GetStatusText() const { return {}; }
    /// Lines for the user file; empty for none.
    virtual QString GetUserConfigStr() const { return {}; }
    /// The whole text of a user file, for what the window finds of itself in it.
    virtual void SetUserConfigStr(const QString& /*sConfig*/) {}

signals:
    void StatusTextChanged();
    void ActivationChanged(bool Active);
    void ActionTriggered(QAction* pAction);
    void ActionPerformed(QAction* pAction);

private:
    QString m_sName;
    bool m_Active = false;
};

/// State of the debug session from the two flags of the device.
DEBUG_STATES GetDebugState();
