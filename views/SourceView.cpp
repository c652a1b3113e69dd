#include "views/SourceView.h"

#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>

namespace {

constexpr int ROW_PADDING = 2;
constexpr int SIDE_BAR_WIDTH = 22;
constexpr int CONTEXT_ROWS = 4; ///< rows kept between a shown line and the edge of the view

constexpr QRgb COLOR_BREAKPOINT = 0xFFD02020;
constexpr QRgb COLOR_CODE_DOT = 0xFF9A9A9A;
constexpr QRgb COLOR_PC_ARROW = 0xFF2E9E2E;

bool IsOn(int Preference) { return SysVarValue(Preference) != 0; }

/// Text that stays readable on a marked line, whatever the palette is.
QColor TextColorOn(const QColor& Background, const QColor& Text) {
    return qAbs(Background.lightness() - Text.lightness()) < 60 ? (Background.lightness() > 128 ? Qt::black : Qt::white)
                                                                : Text;
}

} // namespace

bool IsLineNumberShown(int Line, int CursorLine, int Frequency) {
    switch (Frequency) {
    case 1:
        return Line == CursorLine;
    case 2:
        return true;
    case 3:
        return Line % 5 == 0 || Line == CursorLine;
    case 4:
        return Line % 10 == 0 || Line == CursorLine;
    default:
        return false;
    }
}

CSourceView::CSourceView(QWidget* pParent) : QAbstractScrollArea(pParent) {
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::NoFrame);
    viewport()->setCursor(Qt::IBeamCursor);
    ApplyFonts();
}

void CSourceView::ApplyFonts() {
    m_TextFont = GetFont(FONT_SRC_CODE);
    m_NumberFont = GetFont(FONT_LINE_NUMBERS);
    UpdateScrollBars();
    viewport()->update();
}

bool CSourceView::LoadFile(const QString& sPath, QString* pError) {
    if (!m_Document.Load(sPath, pError)) {
        return false;
    }
    m_CursorLine = qBound(1, m_CursorLine, qMax(1, m_Document.GetNumLines()));
    UpdateScrollBars();
    viewport()->update();
    return true;
}

bool CSourceView::ReloadIfChanged() {
    QString sError;
    return m_Document.HasChangedOnDisk() && LoadFile(m_Document.GetPath(), &sError);
}

SOURCE_GEOMETRY CSourceView::GetGeometry() const {
    const QFontMetrics Metrics(m_TextFont);
    const QFontMetrics NumberMetrics(m_NumberFont);
    SOURCE_GEOMETRY Geometry;
    Geometry.RowHeight = Metrics.height() + ROW_PADDING;
    Geometry.CharWidth = Metrics.horizontalAdvance(QLatin1Char('0'));
    Geometry.SideBarWidth = IsOn(PREF_SHOW_SIDEBAR_SRC) ? SIDE_BAR_WIDTH : 0;
    if (IsOn(PREF_SHOW_LINE_NUMBERS)) {
        const QString sWidest(qMax(3, QString::number(m_Document.GetNumLines()).size()), QLatin1Char('8'));
        Geometry.LineNumberWidth = NumberMetrics.horizontalAdvance(sWidest) + 14;
    }
    Geometry.TopRow = verticalScrollBar()->value();
    Geometry.ScrollX = horizontalScrollBar()->value();
    return Geometry;
}

void CSourceView::UpdateScrollBars() {
    const SOURCE_GEOMETRY Geometry = GetGeometry();
    const int VisibleRows = qMax(1, viewport()->height() / Geometry.RowHeight);
    verticalScrollBar()->setPageStep(VisibleRows);
    verticalScrollBar()->setRange(0, qMax(0, m_Document.GetNumLines() - VisibleRows));
    const int TextWidth = (m_Document.GetMaxLineLength() + 2) * Geometry.CharWidth;
    const int ViewWidth = viewport()->width() - Geometry.SideBarWidth - Geometry.LineNumberWidth;
    horizontalScrollBar()->setPageStep(qMax(1, ViewWidth));
    horizontalScrollBar()->setSingleStep(Geometry.CharWidth);
    horizontalScrollBar()->setRange(0, qMax(0, TextWidth - ViewWidth));
}

void CSourceView::resizeEvent(QResizeEvent*) { UpdateScrollBars(); }

void CSourceView::SetPcLine(int Line, bool IsActive) {
    if (m_PcLine != Line || m_IsPcActive != IsActive) {
        m_PcLine = Line;
        m_IsPcActive = IsActive;
        viewport()->update();
    }
}

void CSourceView::SetBreakpoints(const QMap<int, BP_STATES>& Lines) {
    if (m_Breakpoints != Lines) {
        m_Breakpoints = Lines;
        viewport()->update();
    }
}

void CSourceView::SetCodeLines(const QSet<int>& Lines) {
    m_CodeLines = Lines;
    viewport()->update();
}

void CSourceView::SetCursorLine(int Line) {
    Line = qBound(1, Line, qMax(1, m_Document.GetNumLines()));
    if (m_CursorLine != Line) {
        m_CursorLine = Line;
        viewport()->update();
    }
    emit CursorMoved(Line);
}

void CSourceView::EnsureLineVisible(int Line) {
    UpdateScrollBars();
    const int Row = Line - 1;
    const int Top = verticalScrollBar()->value();
    const int Visible = verticalScrollBar()->pageStep();
    const int Margin = qMin(CONTEXT_ROWS, Visible / 3);
    if (Row < Top + Margin || Row >= Top + Visible - Margin) {
        verticalScrollBar()->setValue(Row - Visible / 2);
    }
}

void CSourceView::paintEvent(QPaintEvent* pEvent) {
    QPainter Painter(viewport());
    const SOURCE_GEOMETRY Geometry = GetGeometry();
    Painter.fillRect(pEvent->rect(), palette().color(QPalette::Base));
    Painter.fillRect(QRect(0, 0, Geometry.SideBarWidth, viewport()->height()), palette().color(QPalette::Window));
    const int LastRow = qMin(Geometry.GetRowAt(viewport()->height()), m_Document.GetNumLines() - 1);
    for (int Row = Geometry.TopRow; Row <= LastRow; ++Row) {
        PaintRow(Painter, Geometry, Row);
    }
    if (Geometry.LineNumberWidth > 0) {
        const int x = Geometry.SideBarWidth + Geometry.LineNumberWidth - 4;
        Painter.setPen(GetColor(COLOR_LINE_NUMBER_SEPARATOR));
        Painter.drawLine(x, 0, x, viewport()->height());
    }
}

void CSourceView::PaintRow(QPainter& Painter, const SOURCE_GEOMETRY& Geometry, int Row) {
    const int Line = Row + 1;
    const int y = Geometry.GetRowY(Row);
    const int TextLeft = Geometry.SideBarWidth + Geometry.LineNumberWidth;
    if (Line == m_PcLine) {
        Painter.fillRect(TextLeft - 3, y, viewport()->width() - TextLeft + 3, Geometry.RowHeight,
                         GetColor(m_IsPcActive ? COLOR_PC_ACTIVE : COLOR_PC_INACTIVE));
    } else if (Line == m_CursorLine && hasFocus()) {
        Painter.fillRect(TextLeft - 3, y, viewport()->width() - TextLeft + 3, Geometry.RowHeight,
                         palette().color(QPalette::AlternateBase));
    }
    Painter.setClipRect(TextLeft - 2, y, viewport()->width(), Geometry.RowHeight);
    PaintText(Painter, Geometry, Line, y);
    Painter.setClipping(false);
    if (Geometry.LineNumberWidth > 0 && IsLineNumberShown(Line, m_CursorLine, SysVarValue(PREF_LINE_NUMBER_FREQ))) {
        Painter.setFont(m_NumberFont);
        Painter.setPen(GetColor(COLOR_LINE_NUMBERS));
        Painter.drawText(QRect(Geometry.SideBarWidth, y, Geometry.LineNumberWidth - 9, Geometry.RowHeight),
                         Qt::AlignRight | Qt::AlignVCenter, QString::number(Line));
    }
    if (Geometry.SideBarWidth > 0) {
        PaintMarks(Painter, Geometry, Line, y);
    }
}

void CSourceView::PaintText(QPainter& Painter, const SOURCE_GEOMETRY& Geometry, int Line, int y) {
    const QString sLine = m_Document.GetLine(Line);
    const int TabWidth = SysVarValue(PREF_TAB_SPACING);
    const QString sShown = ExpandTabs(sLine, TabWidth);
    const QColor Background = Line == m_PcLine ? GetColor(m_IsPcActive ? COLOR_PC_ACTIVE : COLOR_PC_INACTIVE)
                                               : palette().color(QPalette::Base);
    Painter.setFont(m_TextFont);
    const QFontMetrics Metrics(m_TextFont);
    for (const TEXT_RUN& Run : m_Document.GetRuns(Line)) {
        const int Start = ColumnOfChar(sLine, Run.Start, TabWidth);
        const int End = ColumnOfChar(sLine, Run.Start + Run.Length, TabWidth);
        const int x = Geometry.GetTextX() + Metrics.horizontalAdvance(sShown.left(Start));
        if (x > viewport()->width()) {
            break;
        }
        Painter.setPen(TextColorOn(Background, GetColor(Run.ColorId)));
        Painter.drawText(QRect(x, y, 100'000, Geometry.RowHeight),
                         Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, sShown.mid(Start, End - Start));
    }
}

void CSourceView::PaintMarks(QPainter& Painter, const SOURCE_GEOMETRY& Geometry, int Line, int y) const {
    Painter.save();
    Painter.setRenderHint(QPainter::Antialiasing);
    const QPointF Center(Geometry.SideBarWidth / 2.0, y + Geometry.RowHeight / 2.0);
    const double Radius = qMin(Geometry.RowHeight, Geometry.SideBarWidth) * 0.32;
    const auto Breakpoint = m_Breakpoints.constFind(Line);
    if (Breakpoint != m_Breakpoints.constEnd()) {
        Painter.setPen(QPen(QColor(COLOR_BREAKPOINT), 1.4));
        Painter.setBrush(Breakpoint.value() == BP_STATE_ON ? QBrush(QColor(COLOR_BREAKPOINT)) : QBrush(Qt::NoBrush));
        Painter.drawEllipse(Center, Radius, Radius);
    } else if (m_CodeLines.contains(Line) && Line != m_PcLine) {
        Painter.setPen(Qt::NoPen);
        Painter.setBrush(QColor(COLOR_CODE_DOT));
        Painter.drawEllipse(Center, 2, 2);
    }
    if (Line == m_PcLine) {
        QPainterPath Arrow(Center + QPointF(-Radius * 0.7, -Radius * 0.9));
        Arrow.lineTo(Center + QPointF(Radius * 1.1, 0));
        Arrow.lineTo(Center + QPointF(-Radius * 0.7, Radius * 0.9));
        Arrow.closeSubpath();
        Painter.setPen(QPen(Qt::white, 0.8));
        Painter.setBrush(QColor(COLOR_PC_ARROW));
        Painter.drawPath(Arrow);
    }
    Painter.restore();
}

void CSourceView::keyPressEvent(QKeyEvent* pEvent) {
    const int Page = verticalScrollBar()->pageStep();
    const QMap<int, int> Moves = {
        {Qt::Key_Up, -1}, {Qt::Key_Down, 1}, {Qt::Key_PageUp, -Page}, {Qt::Key_PageDown, Page}};
    const auto Move = Moves.constFind(pEvent->key());
    if (Move != Moves.constEnd()) {
        SetCursorLine(m_CursorLine + Move.value());
    } else if (pEvent->key() == Qt::Key_Home && (pEvent->modifiers() & Qt::ControlModifier)) {
        SetCursorLine(1);
    } else if (pEvent->key() == Qt::Key_End && (pEvent->modifiers() & Qt::ControlModifier)) {
        SetCursorLine(m_Document.GetNumLines());
    } else {
        QAbstractScrollArea::keyPressEvent(pEvent);
        return;
    }
    EnsureLineVisible(m_CursorLine);
}

void CSourceView::mousePressEvent(QMouseEvent* pEvent) {
    const SOURCE_GEOMETRY Geometry = GetGeometry();
    const int Line = Geometry.GetRowAt(qRound(pEvent->position().y())) + 1;
    if (Line > m_Document.GetNumLines() || pEvent->button() == Qt::MiddleButton) {
        return;
    }
    SetCursorLine(Line);
    if (pEvent->button() == Qt::LeftButton && pEvent->position().x() < Geometry.SideBarWidth) {
        emit BreakpointToggled(Line);
    }
}

void CSourceView::contextMenuEvent(QContextMenuEvent* pEvent) { emit ContextMenuRequested(pEvent->globalPos()); }
