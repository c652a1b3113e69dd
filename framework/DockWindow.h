#pragma once

#include <QDockWidget>

class CWindow;

/// Dock of a debug window. Its close button doesn't close it directly: it asks for the close command, so that the
/// close is echoed like any other.
class CDockWindow : public QDockWidget {
    Q_OBJECT

public:
    CDockWindow(CWindow* pWindow, QWidget* pParent);
    CWindow* GetWindow() const { return m_pWindow; }
    /// Hides the dock for good, on behalf of the close command.
    void CloseByCommand() { hide(); }

signals:
    void CloseRequested(QString sWindowName);

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private:
    CWindow* m_pWindow;
};
