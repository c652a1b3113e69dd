#include "app/ConsoleOutput.h"

#include "settings/Colors.h"
#include "settings/Fonts.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

namespace {

constexpr int MARGIN = 4; ///< pixels left of the text

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

QColor ColorOf(CONSOLE_CLASS Class, const QPalette& Palette) {
    for (const CLASS_COLOR& Row : aClassColor) {
        if (Row.Class == Class) {
            return GetColor(Row.ColorId);
        }
    }
    return Palette.color(QPalette::Text);
}

bool IsWordChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

} // namespace

CConsoleOutput::CConsoleOutput(QWidget* pParent) : QAbstractScrollArea(pParent) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setContextMenuPolicy(Qt::CustomContextMenu);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
}

void CConsoleOutput::SetTextFont(const QFont& Font) {
    m_Font = Font;
    m_FixedFont = GetFixedPitchFont(Font);
    m_LineHeight = std::max({1, QFontMetrics(m_Font).lineSpacing(), QFontMetrics(m_FixedFont).lineSpacing()});
    m_Width = 0;
    UpdateScrollBars();
    viewport()->update();
}

void CConsoleOutput::AddText(const CONSOLE_MSG& Msg) {
    const QString sText = QString::fromUtf8(Msg.sText);
    qsizetype Start = 0;
    if (!Msg.IsNewLine && !m_Lines.empty()) {
        const qsizetype End = sText.indexOf(QLatin1Char('\n'));
        LINE& Last = m_Lines.back();
        Last.More.append({static_cast<int>(Last.sText.size()), Msg.Class, Msg.IsFixedFont});
        Last.sText += sText.left(End);
        if (End < 0) {
            return;
        }
        Start = End + 1;
    }
    for (qsizetype End = 0; End >= 0; Start = End + 1) {
        End = sText.indexOf(QLatin1Char('\n'), Start);
        m_Lines.push_back({sText.mid(Start, End < 0 ? -1 : End - Start), {0, Msg.Class, Msg.IsFixedFont}, {}});
    }
}

void CConsoleOutput::Append(const QList<CONSOLE_MSG>& Msgs) {
    for (const CONSOLE_MSG& Msg : Msgs) {
        AddText(Msg);
        if (m_Lines.size() > CONSOLE_MAX_LINES) {
            const auto NumOld = static_cast<std::ptrdiff_t>(m_Lines.size() - CONSOLE_MAX_LINES);
            m_Lines.erase(m_Lines.begin(), m_Lines.begin() + NumOld);
            m_NumGone += NumOld;
        }
    }
    for (PLACE* pPlace : {&m_Anchor, &m_Caret}) {
        *pPlace = std::max(*pPlace, PLACE{m_NumGone, 0});
    }
    UpdateScrollBars();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    horizontalScrollBar()->setValue(0);
    viewport()->update();
}

void CConsoleOutput::Clear() {
    m_NumGone += static_cast<qint64>(m_Lines.size());
    m_Lines.clear();
    m_Anchor = m_Caret = {m_NumGone, 0};
    m_Width = 0;
    UpdateScrollBars();
    viewport()->update();
}

QString CConsoleOutput::GetText() const {
    QStringList Lines;
    for (const LINE& Line : m_Lines) {
        Lines.append(Line.sText);
    }
    return Lines.join(QLatin1Char('\n'));
}

QString CConsoleOutput::GetSelectedText() const {
    const auto [From, To] = std::minmax(m_Anchor, m_Caret);
    QStringList Lines;
    for (qint64 i = From.Line; i <= To.Line && HasSelection(); ++i) {
        const QString& sText = At(i).sText;
        const int Start = i == From.Line ? From.Column : 0;
        Lines.append(sText.mid(Start, (i == To.Line ? To.Column : static_cast<int>(sText.size())) - Start));
    }
    return Lines.join(QLatin1Char('\n'));
}

void CConsoleOutput::Copy() const {
    if (HasSelection()) {
        QGuiApplication::clipboard()->setText(GetSelectedText());
    }
}

void CConsoleOutput::SelectAll() {
    m_Anchor = {m_NumGone, 0};
    m_Caret = End();
    viewport()->update();
}

CConsoleOutput::PLACE CConsoleOutput::End() const {
    return m_Lines.empty() ? PLACE{m_NumGone, 0}
                           : PLACE{m_NumGone + static_cast<qint64>(m_Lines.size()) - 1,
                                   static_cast<int>(m_Lines.back().sText.size())};
}

void CConsoleOutput::UpdateScrollBars() {
    const int NumVisible = std::max(1, viewport()->height() / m_LineHeight);
    verticalScrollBar()->setRange(0, std::max(0, static_cast<int>(m_Lines.size()) - NumVisible));
    verticalScrollBar()->setPageStep(NumVisible);
    horizontalScrollBar()->setRange(0, std::max(0, m_Width + 2 * MARGIN - viewport()->width()));
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(m_LineHeight);
}

std::unique_ptr<QTextLayout> CConsoleOutput::LayOut(const LINE& Line) const {
    auto pLayout = std::make_unique<QTextLayout>(Line.sText, m_Font);
    QList<QTextLayout::FormatRange> Formats;
    const qsizetype NumRuns = Line.More.size() + 1;
    for (qsizetype i = 0; i < NumRuns; ++i) {
        const RUN& Run = i == 0 ? Line.First : Line.More[i - 1];
        const int Next = i + 1 < NumRuns ? Line.More[i].Start : static_cast<int>(Line.sText.size());
        QTextLayout::FormatRange Range;
        Range.start = Run.Start;
        Range.length = Next - Run.Start;
        Range.format.setForeground(ColorOf(Run.Class, palette()));
        Range.format.setFont(Run.IsFixedFont ? m_FixedFont : m_Font);
        Formats.append(Range);
    }
    pLayout->setFormats(Formats);
    pLayout->beginLayout();
    pLayout->createLine();
    pLayout->endLayout();
    return pLayout;
}

QList<QTextLayout::FormatRange> CConsoleOutput::SelectionIn(qint64 LineNumber) const {
    const auto [From, To] = std::minmax(m_Anchor, m_Caret);
    const int Start = LineNumber == From.Line ? From.Column : 0;
    const int Stop = LineNumber == To.Line ? To.Column : static_cast<int>(At(LineNumber).sText.size());
    if (LineNumber < From.Line || LineNumber > To.Line || Start >= Stop) {
        return {};
    }
    QTextLayout::FormatRange Range;
    Range.start = Start;
    Range.length = Stop - Start;
    Range.format.setBackground(palette().brush(QPalette::Highlight));
    Range.format.setForeground(palette().brush(QPalette::HighlightedText));
    return {Range};
}

void CConsoleOutput::paintEvent(QPaintEvent*) {
    QPainter Painter(viewport());
    int Width = m_Width;
    int y = 0;
    const qint64 End = m_NumGone + static_cast<qint64>(m_Lines.size());
    for (qint64 i = m_NumGone + verticalScrollBar()->value(); i < End && y < viewport()->height(); ++i) {
        const std::unique_ptr<QTextLayout> pLayout = LayOut(At(i));
        pLayout->draw(&Painter, QPointF(MARGIN - horizontalScrollBar()->value(), y), SelectionIn(i));
        Width = std::max(Width, static_cast<int>(std::ceil(pLayout->maximumWidth())));
        y += m_LineHeight;
    }
    if (Width != m_Width) {
        m_Width = Width;
        UpdateScrollBars();
    }
}

void CConsoleOutput::resizeEvent(QResizeEvent*) {
    const bool IsAtEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    UpdateScrollBars();
    if (IsAtEnd) {
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    }
}

CConsoleOutput::PLACE CConsoleOutput::PlaceAt(QPoint Pos) const {
    const qint64 Row = verticalScrollBar()->value() + (Pos.y() >= 0 ? Pos.y() / m_LineHeight : -1);
    if (m_Lines.empty() || Row < 0) {
        return {m_NumGone, 0};
    }
    if (Row >= static_cast<qint64>(m_Lines.size())) {
        return End();
    }
    const std::unique_ptr<QTextLayout> pLayout = LayOut(At(m_NumGone + Row));
    return {m_NumGone + Row, pLayout->lineAt(0).xToCursor(Pos.x() - MARGIN + horizontalScrollBar()->value())};
}

void CConsoleOutput::mousePressEvent(QMouseEvent* pEvent) {
    if (pEvent->button() == Qt::LeftButton) {
        m_Caret = PlaceAt(pEvent->pos());
        m_Anchor = (pEvent->modifiers() & Qt::ShiftModifier) ? m_Anchor : m_Caret;
        viewport()->update();
    }
}

void CConsoleOutput::mouseMoveEvent(QMouseEvent* pEvent) {
    if (pEvent->buttons() & Qt::LeftButton) {
        const int y = pEvent->pos().y();
        const int Step = y < 0 ? -1 : (y >= viewport()->height() ? 1 : 0);
        verticalScrollBar()->setValue(verticalScrollBar()->value() + Step);
        m_Caret = PlaceAt(pEvent->pos());
        viewport()->update();
    }
}

void CConsoleOutput::mouseReleaseEvent(QMouseEvent*) {
    if (HasSelection() && QGuiApplication::clipboard()->supportsSelection()) {
        QGuiApplication::clipboard()->setText(GetSelectedText(), QClipboard::Selection);
    }
}

void CConsoleOutput::mouseDoubleClickEvent(QMouseEvent* pEvent) {
    m_Anchor = m_Caret = PlaceAt(pEvent->pos());
    if (m_Lines.empty()) {
        return;
    }
    const QString& sText = At(m_Caret.Line).sText;
    while (m_Anchor.Column > 0 && IsWordChar(sText[m_Anchor.Column - 1])) {
        --m_Anchor.Column;
    }
    while (m_Caret.Column < sText.size() && IsWordChar(sText[m_Caret.Column])) {
        ++m_Caret.Column;
    }
    viewport()->update();
}

void CConsoleOutput::keyPressEvent(QKeyEvent* pEvent) {
    struct SCROLL_KEY {
        int Key;
        QAbstractSlider::SliderAction Action;
    };
    static constexpr SCROLL_KEY aKey[] = {
        {Qt::Key_Up, QAbstractSlider::SliderSingleStepSub},   {Qt::Key_Down, QAbstractSlider::SliderSingleStepAdd},
        {Qt::Key_PageUp, QAbstractSlider::SliderPageStepSub}, {Qt::Key_PageDown, QAbstractSlider::SliderPageStepAdd},
        {Qt::Key_Home, QAbstractSlider::SliderToMinimum},     {Qt::Key_End, QAbstractSlider::SliderToMaximum},
    };
    if (pEvent->matches(QKeySequence::Copy)) {
        Copy();
        return;
    }
    if (pEvent->matches(QKeySequence::SelectAll)) {
        SelectAll();
        return;
    }
    for (const SCROLL_KEY& Row : aKey) {
        if (pEvent->key() == Row.Key) {
            verticalScrollBar()->triggerAction(Row.Action);
            return;
        }
    }
    QAbstractScrollArea::keyPressEvent(pEvent);
}
