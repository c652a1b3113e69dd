#pragma once

#include <QElapsedTimer>
#include <QStatusBar>

class QLabel;
class QProgressBar;
class QToolButton;

/// The status bar: message, progress, connection, position. Texts and numbers are plain members that any caller on the
/// main thread changes; a timer of 200 ms shows them, so that events in quick succession cost one repaint.
class CStatusBar : public QStatusBar {
    Q_OBJECT

public:
    explicit CStatusBar(QWidget* pParent);

    void SetStatusMessage(const QString& sText);
    void SetProgressMessage(const QString& sText);
    void SetConnectionInfo(const QString& sText);
    void SetActiveWindowStatus(const QString& sText);
    /// Script function that runs long, with a way to stop it; empty for none.
    void SetRunningScript(const QString& sName);
    const QString& GetRunningScript() const { return m_sScript; }
    /// A range of 0 to 0 is the busy form.
    void StartProgress(int Minimum, int Maximum);
    void SetProgressValue(int Value);
    /// The bar hides when more than 250 ms have passed.
    void EndProgress();

    QString GetStatusMessage() const { return m_sStatus; }
    QString GetConnectionInfo() const { return m_sConnection; }
    /// What the message label reads: the transient text, the progress message, the running script or the status.
    QString GetShownMessage() const;
    bool IsProgressVisible() const { return m_IsProgressVisible; }
    /// Shows what has changed. Called by the timer.
    void Refresh();

signals:
    void CancelRequested();
    void ScriptStopRequested();

private:
    bool IsProgressCancellable() const { return m_IsProgressVisible && m_Maximum > m_Minimum; }
    QString m_sStatus = QStringLiteral("Ready");
    QString m_sProgress;
    QString m_sScript;
    QString m_sTemporary;
    QString m_sConnection = QStringLiteral("Disconnected");
    QString m_sWindowStatus = QStringLiteral("Ln 0  Ch 0");
    int m_Minimum = 0;
    int m_Maximum = 0;
    int m_Value = 0;
    bool m_IsProgressVisible = false;
    bool m_IsEnding = false;
    bool m_IsDirty = true;
    QElapsedTimer m_EndTime;
    QLabel* m_pMessage;
    QProgressBar* m_pProgress;
    QToolButton* m_pCancel;
    QLabel* m_pConnection;
    QLabel* m_pWindowStatus;
};

/// "Disconnected", or "Connected @ " and the speed, "adaptive" for 65535.
QString FormatConnectionInfo(bool IsConnected, unsigned SpeedHz, unsigned ConfiguredSpeedHz);
