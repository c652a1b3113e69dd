#pragma once

// CSourceView paints one source document: side bar with marks, line numbers, text, and the line of the program
// counter. Rows are the lines of the text; geometry is in SOURCE_GEOMETRY, apart from the widget. Main thread.

#include "device/DeviceTypes.h"
#include "views/SourceDocument.h"

#include <QAbstractScrollArea>
#include <QMap>
#include <QSet>
#include <memory>

/// Pixel geometry of the rows, without a widget.
struct SOURCE_GEOMETRY {
    int RowHeight = 1;
    int CharWidth = 1;
    int SideBarWidth = 0;
    int LineNumberWidth = 0;
    int TopRow = 0;  ///< first visible row, 0 for line 1
    int ScrollX = 0; ///< pixels
    int GetTextX() const { return SideBarWidth + LineNumberWidth - ScrollX; }
    int GetRowY(int Row) const { return (Row - TopRow) * RowHeight; }
    int GetRowAt(int y) const { return TopRow + y / RowHeight; }
};

/// True if the line's number is shown under the preference: 0 off, 1 current line, 2 all, 3 every 5, 4 every 10.
bool IsLineNumberShown(int Line, int CursorLine, int Frequency);

class CSourceView : public QAbstractScrollArea {
    Q_OBJECT

public:
    explicit CSourceView(QWidget* pParent = nullptr);

    bool LoadFile(const QString& sPath, QString* pError);
    bool ReloadIfChanged();
    const CSourceDocument& GetDocument() const { return m_Document; }
    QString GetPath() const { return m_Document.GetPath(); }

    /// Line of the program counter, 0 for none; inactive while the target runs or another view leads.
    void SetPcLine(int Line, bool IsActive);
    int GetPcLine() const { return m_PcLine; }
    void SetBreakpoints(const QMap<int, BP_STATES>& Lines);
    void SetCodeLines(const QSet<int>& Lines);
    void SetCursorLine(int Line);
    int GetCursorLine() const { return m_CursorLine; }
    void EnsureLineVisible(int Line);
    void ApplyFonts();

signals:
    void CursorMoved(int Line);
    void BreakpointToggled(int Line);
    void ContextMenuRequested(QPoint ScreenPos);

protected:
    void paintEvent(QPaintEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;
    void keyPressEvent(QKeyEvent* pEvent) override;
    void mousePressEvent(QMouseEvent* pEvent) override;
    void contextMenuEvent(QContextMenuEvent* pEvent) override;

private:
    SOURCE_GEOMETRY GetGeometry() const;
    void UpdateScrollBars();
    void PaintRow(QPainter& Painter, const SOURCE_GEOMETRY& Geometry, int Row);
    void PaintMarks(QPainter& Painter, const SOURCE_GEOMETRY& Geometry, int Line, int y) const;
    void PaintText(QPainter& Painter, const SOURCE_GEOMETRY& Geometry, int Line, int y);

    CSourceDocument m_Document;
    int m_PcLine = 0;
    bool m_IsPcActive = false;
    int m_CursorLine = 1;
    QMap<int, BP_STATES> m_Breakpoints;
    QSet<int> m_CodeLines;
    QFont m_TextFont;
    QFont m_NumberFont;
};
