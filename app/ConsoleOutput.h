#pragma once

// CConsoleOutput: the console's output pane. It keeps a bounded number of lines and looks only at those in sight, so
// that a line costs the same however many are there. Text can be selected with mouse and keyboard and copied. Main
// thread.

#include "base/ConsoleRing.h"

#include <QAbstractScrollArea>
#include <QFont>
#include <QList>
#include <QTextLayout>
#include <compare>
#include <deque>
#include <memory>

constexpr qsizetype CONSOLE_MAX_LINES = 100'000; ///< kept in the output pane

class CConsoleOutput : public QAbstractScrollArea {
    Q_OBJECT

public:
    explicit CConsoleOutput(QWidget* pParent);

    /// Appends the messages in one step and shows the newest; a selection stays.
    void Append(const QList<CONSOLE_MSG>& Msgs);
    void Clear();
    void SetTextFont(const QFont& Font);
    QString GetText() const;
    bool HasSelection() const { return m_Anchor != m_Caret; }
    QString GetSelectedText() const;

public slots:
    void Copy() const;
    void SelectAll();

protected:
    void paintEvent(QPaintEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void mouseDoubleClickEvent(QMouseEvent* pEvent) override;
    void keyPressEvent(QKeyEvent* pEvent) override;

private:
    /// A part of a line that looks the same, up to the next one.
    struct RUN {
        int Start;
        CONSOLE_CLASS Class;
        bool IsFixedFont;
    };
    struct LINE {
        QString sText;
        RUN First;
        QList<RUN> More;
    };
    /// Lines are counted since the start, so that a place stays what it is when old lines go.
    struct PLACE {
        qint64 Line = 0;
        int Column = 0;
        auto operator<=>(const PLACE&) const = default;
    };
    void AddText(const CONSOLE_MSG& Msg);
    std::unique_ptr<QTextLayout> LayOut(const LINE& Line) const;
    QList<QTextLayout::FormatRange> SelectionIn(qint64 LineNumber) const;
    const LINE& At(qint64 LineNumber) const { return m_Lines[static_cast<size_t>(LineNumber - m_NumGone)]; }
    PLACE PlaceAt(QPoint Pos) const;
    PLACE End() const;
    void UpdateScrollBars();

    std::deque<LINE> m_Lines;
    qint64 m_NumGone = 0; ///< lines that are no longer kept
    PLACE m_Anchor;       ///< of the selection
    PLACE m_Caret;        ///< where it ends
    QFont m_Font;
    QFont m_FixedFont;
    int m_LineHeight = 1;
    int m_Width = 0; ///< of the widest line seen so far, in pixels
};
