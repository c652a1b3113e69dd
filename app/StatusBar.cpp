#include "app/StatusBar.h"

#include "settings/SysVars.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <QToolButton>

namespace {

constexpr int REFRESH_MS = 200;
constexpr int PROGRESS_LINGER_MS = 250;
constexpr unsigned SPEED_ADAPTIVE = 65535;

} // namespace

QString FormatConnectionInfo(bool IsConnected, unsigned SpeedHz, unsigned ConfiguredSpeedHz) {
    if (!IsConnected) {
        return QStringLiteral("Disconnected");
    }
    return QStringLiteral("Connected @ ") +
           (ConfiguredSpeedHz == SPEED_ADAPTIVE ? QStringLiteral("adaptive") : SpeedText(SpeedHz));
}

CStatusBar::CStatusBar(QWidget* pParent) : QStatusBar(pParent) {
    auto* pRow = new QWidget(this);
    auto* pLayout = new QHBoxLayout(pRow);
    pLayout->setContentsMargins(6, 1, 6, 1);
    pLayout->setSpacing(10);
    m_pMessage = new QLabel(pRow);
    m_pProgress = new QProgressBar(pRow);
    m_pProgress->setFixedWidth(180);
    m_pProgress->setMaximumHeight(16);
    m_pProgress->setTextVisible(false);
    m_pCancel = new QToolButton(pRow);
    m_pCancel->setText(QStringLiteral("Cancel"));
    m_pConnection = new QLabel(pRow);
    m_pWindowStatus = new QLabel(pRow);
    for (QLabel* pLabel : {m_pMessage, m_pConnection, m_pWindowStatus}) {
        pLabel->setTextFormat(Qt::PlainText);
    }
    m_pMessage->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    pLayout->addWidget(m_pMessage, 1);
    for (QWidget* pWidget : std::initializer_list<QWidget*>{m_pProgress, m_pCancel, m_pConnection, m_pWindowStatus}) {
        pLayout->addWidget(pWidget);
    }
    addPermanentWidget(pRow, 1); // Qt hides ordinary widgets while a transient text is shown
    setSizeGripEnabled(false);
    connect(m_pCancel, &QToolButton::clicked, this, [this] {
        if (IsProgressCancellable()) {
            emit CancelRequested();
        } else {
            emit ScriptStopRequested();
        }
    });
    connect(this, &QStatusBar::messageChanged, this, [this](const QString& sText) {
        m_sTemporary = sText;
        m_IsDirty = true;
        Refresh();
    });
    auto* pTimer = new QTimer(this);
    connect(pTimer, &QTimer::timeout, this, &CStatusBar::Refresh);
    pTimer->start(REFRESH_MS);
    Refresh();
}

QString CStatusBar::GetShownMessage() const {
    if (!m_sTemporary.isEmpty()) {
        return m_sTemporary;
    }
    if (m_IsProgressVisible && !m_sProgress.isEmpty()) {
        return m_sProgress;
    }
    return m_sScript.isEmpty()
               ? m_sStatus
               : QStringLiteral("Script function ") + m_sScript + QStringLiteral(" runs (Esc stops it)");
}

void CStatusBar::Refresh() {
    if (m_IsEnding && m_EndTime.elapsed() > PROGRESS_LINGER_MS) {
        m_IsEnding = false;
        m_IsProgressVisible = false;
        m_IsDirty = true;
    }
    if (!m_IsDirty) {
        return;
    }
    m_IsDirty = false;
    m_pMessage->setText(GetShownMessage());
    m_pProgress->setVisible(m_IsProgressVisible);
    m_pCancel->setVisible(IsProgressCancellable() || !m_sScript.isEmpty());
    m_pProgress->setRange(m_Minimum, m_Maximum);
    m_pProgress->setValue(m_Value);
    m_pConnection->setText(m_sConnection);
    m_pWindowStatus->setText(m_sWindowStatus);
}

void CStatusBar::SetStatusMessage(const QString& sText) {
    m_sStatus = sText;
    m_IsDirty = true;
}

void CStatusBar::SetRunningScript(const QString& sName) {
    if (m_sScript != sName) {
        m_sScript = sName;
        m_IsDirty = true;
        Refresh();
    }
}

void CStatusBar::SetProgressMessage(const QString& sText) {
    m_sProgress = sText;
    m_IsDirty = true;
}

void CStatusBar::SetConnectionInfo(const QString& sText) {
    m_sConnection = sText;
    m_IsDirty = true;
}

void CStatusBar::SetActiveWindowStatus(const QString& sText) {
    m_sWindowStatus = sText;
    m_IsDirty = true;
}

void CStatusBar::StartProgress(int Minimum, int Maximum) {
    m_Minimum = Minimum;
    m_Maximum = Maximum;
    m_Value = Minimum;
    m_IsProgressVisible = true;
    m_IsEnding = false;
    m_IsDirty = true;
}

void CStatusBar::SetProgressValue(int Value) {
    m_Value = Value;
    m_IsDirty = true;
}

void CStatusBar::EndProgress() {
    if (m_IsProgressVisible && !m_IsEnding) {
        m_IsEnding = true;
        m_EndTime.start();
    }
}
