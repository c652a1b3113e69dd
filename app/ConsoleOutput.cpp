#include "app/ConsoleOutput.h"

#include "settings/Colors.h"
#include "settings/Fonts.h"

#include <QScrollBar>

namespace {

struct CLASS_COLOR {
    CONSOLE_CLASS Class;
    int ColorId;
};

/// A class without a row is shown in the default text colour.
constexpr CLASS_COLOR aClassColor[] = {
    {CC_SCRIPT, COLOR_LOGGING_SCRIPT},
    {CC_USER, COLOR_LOGGING_USER},
    {CC_NOVIK, COLOR_LOGGING_NOVIK},
    {CC_ERROR, COLOR_LOGGING_ERROR},
};

} // namespace

CConsoleOutput::CConsoleOutput(QWidget* pParent) : QPlainTextEdit(pParent) {
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setFrameShape(QFrame::NoFrame);
    setMaximumBlockCount(CONSOLE_MAX_LINES);
    setContextMenuPolicy(Qt::CustomContextMenu);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

QTextCharFormat CConsoleOutput::FormatOf(const CONSOLE_MSG& Msg) const {
    QTextCharFormat Format;
    Format.setForeground(palette().color(QPalette::Text));
    for (const CLASS_COLOR& Row : aClassColor) {
        if (Row.Class == Msg.Class) {
            Format.setForeground(GetColor(Row.ColorId));
        }
    }
    Format.setFont(Msg.IsFixedFont ? GetFixedPitchFont(GetFont(FONT_CONSOLE)) : GetFont(FONT_CONSOLE));
    return Format;
}

void CConsoleOutput::Append(const QList<CONSOLE_MSG>& Msgs) {
    QTextCursor Cursor(document());
    Cursor.movePosition(QTextCursor::End);
    Cursor.beginEditBlock(); // the document lays out and drops its oldest lines once, not with each line
    bool IsEmpty = document()->isEmpty();
    const CONSOLE_MSG* pLast = nullptr;
    QTextCharFormat Format;
    for (const CONSOLE_MSG& Msg : Msgs) {
        if (pLast == nullptr || pLast->Class != Msg.Class || pLast->IsFixedFont != Msg.IsFixedFont) {
            Format = FormatOf(Msg); // finding a font costs more than a line
        }
        pLast = &Msg;
        if (Msg.IsNewLine && !IsEmpty) {
            Cursor.insertBlock();
        }
        Cursor.insertText(QString::fromUtf8(Msg.sText), Format);
        IsEmpty = false;
    }
    Cursor.endEditBlock();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    horizontalScrollBar()->setValue(0);
}
