#include "app/ConsoleWindow.h"

#include "app/ConsoleOutput.h"
#include "base/ConsoleLog.h"
#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "settings/Fonts.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QTimer>
#include <QVBoxLayout>
#include <cstdio>

namespace {

constexpr int UPDATE_MS = 100;
constexpr int MAX_MESSAGES_PER_TICK = 20'000; ///< what a tick shows without a stall

CConsoleWindow* pReader; ///< of the ring

} // namespace

CConsoleWindow::CConsoleWindow(QWidget* pParent) : CWindow(QStringLiteral("Console"), pParent) {
    auto* pCentral = new QWidget(this);
    auto* pLayout = new QVBoxLayout(pCentral);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->setSpacing(0);
    m_pOutput = new CConsoleOutput(pCentral);
    m_pInput = new QLineEdit(pCentral);
    m_pInput->setPlaceholderText(QStringLiteral("Command, for example: Debug.Start    (? for help)"));
    m_pInput->installEventFilter(this);
    pLayout->addWidget(m_pOutput, 1);
    pLayout->addWidget(m_pInput);
    setCentralWidget(pCentral);
    setFocusProxy(m_pInput);
    CConsoleWindow::ApplyFont(FONT_CONSOLE, GetFont(FONT_CONSOLE));
    connect(m_pOutput, &CConsoleOutput::customContextMenuRequested, this, &CConsoleWindow::OnContextMenuRequested);

    auto* pHelp = new QAction(QStringLiteral("Help"), this);
    pHelp->setObjectName(QStringLiteral("actionConsoleHelp"));
    Connect(pHelp, this, [] { CCommandTable::Execute(CMD_HELP_COMMANDS); });
    CCommandTable::LinkActions(this);
    AddCommandListener(this);

    auto* pTimer = new QTimer(this);
    connect(pTimer, &QTimer::timeout, this, &CConsoleWindow::OnUpdateTimerTimeout);
    pTimer->start(UPDATE_MS);
    pReader = this;
    ConsoleSetReader([] { pReader->DrainRing(); });
}

CConsoleWindow::~CConsoleWindow() {
    ConsoleSetReader(nullptr);
    pReader = nullptr;
    while (DrainRing()) {
    }
}

void CConsoleWindow::Clear() { m_pOutput->Clear(); }

QString CConsoleWindow::GetText() const { return m_pOutput->GetText(); }

bool CConsoleWindow::HasInputFocus() const { return m_pInput->hasFocus() || m_pOutput->hasFocus(); }

void CConsoleWindow::ApplyFont(int, const QFont&) {
    m_pInput->setFont(GetFont(FONT_CONSOLE));
    m_pOutput->SetTextFont(GetFont(FONT_CONSOLE));
}

bool CConsoleWindow::DrainRing() {
    QList<CONSOLE_MSG> Msgs;
    CONSOLE_MSG Msg;
    while (Msgs.size() < MAX_MESSAGES_PER_TICK && ConsoleTake(&Msg)) {
        Msgs.append(Msg);
    }
    if (Msgs.isEmpty()) {
        return false;
    }
    m_pOutput->Append(Msgs);
    for (const CONSOLE_MSG& Shown : std::as_const(Msgs)) {
        if (m_IsEchoedToStdout) {
            std::fprintf(stdout, "%s\n", Shown.sText.constData());
        }
    }
    std::fflush(stdout);
    return true;
}

void CConsoleWindow::OnUpdateTimerTimeout() {
    DrainRing();
    const QString sError = FlushConsoleLog();
    if (!sError.isEmpty()) {
        ConsolePrintError(sError);
    }
}

void CConsoleWindow::OnContextMenuRequested(const QPoint& Pos) {
    QMenu Menu(this);
    Menu.addAction(QStringLiteral("Copy"), m_pOutput, &CConsoleOutput::Copy)->setEnabled(m_pOutput->HasSelection());
    Menu.addAction(QStringLiteral("Select All"), m_pOutput, &CConsoleOutput::SelectAll);
    Menu.addAction(QStringLiteral("Clear"), this, &CConsoleWindow::Clear);
    Menu.addSeparator();
    Menu.addAction(findChild<QAction*>(QStringLiteral("actionConsoleHelp")));
    Menu.exec(m_pOutput->viewport()->mapToGlobal(Pos));
}

bool CConsoleWindow::BrowseHistory(int Key) {
    const int Size = static_cast<int>(m_History.size());
    if (Size == 0) {
        return true;
    }
    if (Key == Qt::Key_Up) {
        m_HistoryPos = m_HistoryPos >= 0 && m_HistoryPos <= Size - 2 ? m_HistoryPos + 1 : 0;
    } else {
        m_HistoryPos = m_HistoryPos < 1 || m_HistoryPos > Size ? Size - 1 : m_HistoryPos - 1;
    }
    m_pInput->setText(m_History[m_HistoryPos]);
    return true;
}

bool CConsoleWindow::eventFilter(QObject* pObject, QEvent* pEvent) {
    if (pObject == m_pInput && pEvent->type() == QEvent::KeyPress) {
        const int Key = static_cast<QKeyEvent*>(pEvent)->key();
        if (Key == Qt::Key_Return || Key == Qt::Key_Enter) {
            OnCommandEntered(m_pInput->text());
            return true;
        }
        if (Key == Qt::Key_Up || Key == Qt::Key_Down) {
            return BrowseHistory(Key);
        }
    }
    return CWindow::eventFilter(pObject, pEvent);
}

void CConsoleWindow::OnCommandEntered(const QString& sCommand) {
    m_HistoryPos = -1;
    m_pInput->clear();
    if (sCommand.isEmpty()) {
        ConsolePrint(QStringLiteral(" "));
        return;
    }
    if (!m_History.contains(sCommand)) {
        m_History.prepend(sCommand);
    }
    ExecuteCommand(sCommand);
}

int CConsoleWindow::ExecuteCommand(const QString& sCommand) {
    if (sCommand == QLatin1String("?") || sCommand.compare(QLatin1String("help"), Qt::CaseInsensitive) == 0) {
        CCommandTable::Execute(CMD_HELP_COMMANDS);
        return 1;
    }
    const COMMAND_ROW Row = sCommand.trimmed().isEmpty() ? COMMAND_ROW() : CCommandTable::Find(sCommand);
    if (Row.Id >= CMD_COUNT) {
        PrintCommandError(sCommand);
        return 0;
    }
    if (!CCommandTable::IsAvailable(Row.Id, false)) {
        PrintCommandDisabled(CCommandTable::GetName(Row.Id));
        return 2;
    }
    CCommandTable::Trigger(Row.Id);
    return 1;
}

void CConsoleWindow::AddCommandListener(CWindow* pWindow) {
    if (m_Listened.contains(pWindow)) {
        return;
    }
    m_Listened.append(pWindow);
    connect(pWindow, &CWindow::ActionTriggered, this, &CConsoleWindow::OnActionTriggered);
    connect(pWindow, &CWindow::ActionPerformed, this, &CConsoleWindow::OnActionPerformed);
}

void CConsoleWindow::RemoveCommandListener(CWindow* pWindow) {
    m_Listened.removeAll(pWindow);
    disconnect(pWindow, nullptr, this, nullptr);
}

void CConsoleWindow::PrintCommandHelp() { ConsolePrintList(CCommandTable::ListCommands()); }

void CConsoleWindow::PrintCommandDisabled(const QString& sCommand) {
    ConsolePrint(sCommand + QStringLiteral(": Command disabled"), CC_USER);
}

void CConsoleWindow::PrintCommandError(const QString& sLine, const QString& sError) {
    const QString sHead = QString(sLine).remove(QLatin1Char(';')) + QStringLiteral(": ");
    ConsolePrintError(sHead + (sError.isEmpty()
                                   ? QStringLiteral("unknown command. Type ? or help for a list of available commands.")
                                   : sError));
}

void CConsoleWindow::OnActionTriggered(QAction* pAction) {
    const int Id = CCommandTable::GetIdOfAction(pAction);
    const COMMAND_ROW Row = CCommandTable::GetRow(static_cast<U32>(Id));
    if (Row.Id >= CMD_COUNT || Row.EchoAfter != 0) {
        return;
    }
    const QString sText = CCommandTable::RenderCommand(Row.Id);
    if (sText.isEmpty()) {
        CCommandTable::ClearArgs(Row.Id);
    } else if (Row.IsPublic != 0 && Row.Id != CMD_UTIL_LOG) {
        ConsolePrint(sText, CC_USER);
    }
}

void CConsoleWindow::OnActionPerformed(QAction* pAction) {
    const int Id = CCommandTable::GetIdOfAction(pAction);
    const COMMAND_ROW Row = CCommandTable::GetRow(static_cast<U32>(Id));
    if (Row.Id >= CMD_COUNT) {
        pAction->setData(QVariant());
        return;
    }
    if (CCommandTable::IsCancelled(Row.Id)) {
        CCommandTable::ClearArgs(Row.Id);
        return;
    }
    const QString sText = CCommandTable::RenderCommand(Row.Id);
    if (!sText.isEmpty()) {
        if (Row.EchoAfter != 0 && Row.IsPublic != 0) {
            ConsolePrint(sText, CC_USER);
        }
        const QString sError = CCommandTable::GetError(Row.Id);
        if (!sError.isEmpty()) {
            PrintCommandError(sText, sError);
        }
    }
    CCommandTable::ClearArgs(Row.Id);
}
