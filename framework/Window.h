#pragma once

// CWindow: base of all debug windows. It knows what to do when the target halts or the connection ends, how it is
// named for commands, and brackets every action of a window so that the console hears of it. Main thread.
//
// All that a window hears of comes by one road, the list of listeners, in one order: the data provider, the main
// window, the windows in the order of their table, the session. What the target does comes as OnDevice..., of which
// CWindow makes Update() and Invalidate(); what the user or the session does comes through TellAll(). So when the
// session acts on an event, every window already shows it.

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

    /// Makes the window's own action of a command row. Its hot key works while the window holds the focus.
    QAction* AddAction(U32 CommandId, const std::function<void()>& Slot);

    /// Calls Fn for every window, in the order of the road. Windows may come and go meanwhile.
    static void TellAll(const std::function<void(CWindow&)>& Fn);

    virtual void Clear() {}
    virtual void Repaint() { update(); }
    /// The target stands at NewPC: it halted or stepped, or the window has become visible while it stands there.
    virtual void Update(U32 /*NewPC*/) {}
    /// What was read of the target may be out of date: it was reset, memory or a register was written.
    virtual void Invalidate() {}
    /// A program file was opened, or its symbols moved.
    virtual void OnProgramChanged() {}
    /// The program file is about to go: nothing of it may be asked for any more.
    virtual void OnProgramClosing() {}
    /// The user chose a frame of the call stack; 0 is the innermost.
    virtual void OnCallFrameEvaluated(int /*Index*/) {}
    /// True if the window shows the code at an address, so that the session may lead the user to it.
    virtual bool ShowsCodeAt(U32 /*Addr*/) const { return false; }
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

    void OnDeviceHaltDone(U32 PC, HALT_REASONS Reason) override;
    void OnDeviceStepped(U32 PC) override;
    void OnDeviceResetDone(U32 PC, RESET_MODES Mode) override;
    void OnDeviceWriteAccess() override;

signals:
    void StatusTextChanged();
    void ActivationChanged(bool Active);
    void ActionTriggered(QAction* pAction);
    void ActionPerformed(QAction* pAction);

protected:
    void showEvent(QShowEvent* pEvent) override;

private:
    void UpdateIfShown(U32 PC);

    QString m_sName;
    bool m_Active = false;
};

/// State of the debug session from the two flags of the device.
DEBUG_STATES GetDebugState();
