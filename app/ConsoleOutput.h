#pragma once

// CConsoleOutput: the console's output pane. It keeps a bounded number of lines; what a line costs doesn't depend on
// how many are there. Main thread.

#include "base/ConsoleRing.h"

#include <QList>
#include <QPlainTextEdit>

constexpr int CONSOLE_MAX_LINES = 100'000; ///< kept in the output pane

class CConsoleOutput : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit CConsoleOutput(QWidget* pParent);
    /// Appends the messages in one step and shows the newest; a selection stays.
    void Append(const QList<CONSOLE_MSG>& Msgs);

private:
    QTextCharFormat FormatOf(const CONSOLE_MSG& Msg) const;
};
