#pragma once

// CConsoleWindow: the textual face of the command path. It shows every command the user runs with its error, takes
// typed commands, and carries the program's messages out of the console ring. Main thread.

#include "framework/Window.h"

#include <QPointer>

class CConsoleOutput;
class QLineEdit;

class CConsoleWindow : public CWindow {
    Q_OBJECT

public:
    explicit CConsoleWindow(QWidget* pParent);
    ~CConsoleWindow() override;

    void Clear() override;
    void ApplyFont(int FontID, const QFont& Font) override;
    /// Runs one line: 1 if it ran, 2 if it is disabled, 0 if it is unknown.
    int ExecuteCommand(const QString& sCommand);
    void AddCommandListener(CWindow* pWindow);
    void RemoveCommandListener(CWindow* pWindow);
    void PrintCommandHelp();
    void PrintCommandDisabled(const QString& sCommand);
    /// The error line of a command: the line without ";", ":" and the text, "unknown command" and a hint without one.
    void PrintCommandError(const QString& sLine, const QString& sError = QString());
    bool HasInputFocus() const;
    /// Everything printed so far, as shown.
    QString GetText() const;
    /// Also prints each message to stdout, for sessions without a screen.
    void SetEchoToStdout(bool IsOn) { m_IsEchoedToStdout = IsOn; }
    /// Prints what waits in the ring, up to the number of a timer tick. False if there was nothing.
    bool DrainRing();

public slots:
    void OnCommandEntered(const QString& sCommand);
    void OnActionTriggered(QAction* pAction);
    void OnActionPerformed(QAction* pAction);

protected:
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;

private slots:
    void OnUpdateTimerTimeout();
    void OnContextMenuRequested(const QPoint& Pos);

private:
    bool BrowseHistory(int Key);

    CConsoleOutput* m_pOutput;
    QLineEdit* m_pInput;
    QStringList m_History; ///< newest first
    int m_HistoryPos = -1; ///< -1: not browsing
    QList<QPointer<CWindow>> m_Listened;
    bool m_IsEchoedToStdout = false;
};
