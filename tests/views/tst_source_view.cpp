#include "settings/Colors.h"
#include "settings/SysVars.h"
#include "views/SourceView.h"

#include <QFile>
#include <QImage>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

// The source viewer: geometry apart from the widget, then what is painted and where clicks and keys lead.

TEST(SourceGeometry, RowsAndTheirPixels) {
    SOURCE_GEOMETRY Geometry;
    Geometry.RowHeight = 16;
    Geometry.SideBarWidth = 20;
    Geometry.LineNumberWidth = 30;
    Geometry.TopRow = 5;
    Geometry.ScrollX = 7;
    EXPECT_EQ(Geometry.GetTextX(), 43);
    const std::pair<int, int> aRow[] = {{0, 5}, {15, 5}, {16, 6}, {160, 15}};
    for (const auto& [y, Row] : aRow) {
        EXPECT_EQ(Geometry.GetRowAt(y), Row) << y;
        EXPECT_EQ(Geometry.GetRowY(Row), y / 16 * 16) << y;
    }
}

TEST(SourceGeometry, LineNumbersByTheirPreference) {
    struct ROW {
        int Frequency;
        QList<int> Shown; ///< of lines 1 to 12, with the cursor in line 7
    };
    const ROW aRow[] = {{0, {}}, {1, {7}}, {2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}, {3, {5, 7, 10}}, {4, {7, 10}},
                        {5, {}}, {-1, {}}};
    for (const ROW& Row : aRow) {
        QList<int> Shown;
        for (int Line = 1; Line <= 12; ++Line) {
            if (IsLineNumberShown(Line, 7, Row.Frequency)) {
                Shown.append(Line);
            }
        }
        EXPECT_EQ(Shown, Row.Shown) << Row.Frequency;
    }
}

class SourceView : public ::testing::Test {
protected:
    void SetUp() override {
        InitSysVars();
        InitColors();
        QFile File(m_Dir.filePath("a.c"));
        ASSERT_TRUE(File.open(QIODevice::WriteOnly));
        for (int i = 1; i <= NUM_LINES; ++i) {
            File.write("\tx = " + QByteArray::number(i) + ";\n");
        }
        File.close();
        QString sError;
        ASSERT_TRUE(m_View.LoadFile(File.fileName(), &sError));
        m_View.resize(500, 300);
        m_View.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_View));
    }
    void TearDown() override { InitSysVars(); }

    /// Lines, from the top of the view, whose background at the right edge has the colour.
    QList<int> LinesOf(const QColor& Color) {
        const QImage Image = m_View.viewport()->grab().toImage();
        QList<int> Lines;
        for (int y = 0; y < Image.height(); ++y) {
            const int Line = m_View.verticalScrollBar()->value() + y / RowHeight() + 1;
            if (Image.pixelColor(Image.width() - 3, y) == Color && !Lines.contains(Line)) {
                Lines.append(Line);
            }
        }
        return Lines;
    }
    /// From the widget itself: rows in the view are its page step.
    int RowHeight() {
        const QImage Image = m_View.viewport()->grab().toImage();
        return Image.height() / m_View.verticalScrollBar()->pageStep();
    }

    static constexpr int NUM_LINES = 200;
    QTemporaryDir m_Dir;
    CSourceView m_View;
};

TEST_F(SourceView, TheLineOfTheProgramCounterHasItsColor) {
    const QColor Active = GetColor(COLOR_PC_ACTIVE);
    const QColor Inactive = GetColor(COLOR_PC_INACTIVE);
    EXPECT_TRUE(LinesOf(Active).isEmpty());
    m_View.SetPcLine(4, true);
    const QImage Image = m_View.viewport()->grab().toImage();
    int NumRows = 0;
    int FirstRow = -1;
    for (int y = 0; y < Image.height(); ++y) {
        if (Image.pixelColor(Image.width() - 3, y) == Active) {
            FirstRow = FirstRow < 0 ? y : FirstRow;
            ++NumRows;
        }
    }
    ASSERT_GT(NumRows, 5) << "one row of text is coloured";
    EXPECT_EQ(FirstRow, 3 * NumRows) << "it is the fourth";
    m_View.SetPcLine(4, false);
    EXPECT_TRUE(LinesOf(Active).isEmpty());
    EXPECT_FALSE(LinesOf(Inactive).isEmpty());
    m_View.SetPcLine(0, true);
    EXPECT_TRUE(LinesOf(Active).isEmpty());
    EXPECT_TRUE(LinesOf(Inactive).isEmpty());
    SetColorValue(COLOR_PC_ACTIVE, 0xFF123456);
    m_View.SetPcLine(2, true);
    EXPECT_FALSE(LinesOf(QColor(0x12, 0x34, 0x56)).isEmpty());
}

TEST_F(SourceView, BreakpointsAreFilledWhenOnAndHollowWhenNot) {
    const auto CountRed = [&] {
        const QImage Image = m_View.viewport()->grab().toImage();
        int Count = 0;
        for (int y = 0; y < Image.height(); ++y) {
            for (int x = 0; x < 22; ++x) {
                const QColor Color = Image.pixelColor(x, y);
                Count += Color.red() > 180 && Color.green() < 80 && Color.blue() < 80 ? 1 : 0;
            }
        }
        return Count;
    };
    EXPECT_EQ(CountRed(), 0);
    m_View.SetBreakpoints({{3, BP_STATE_ON}});
    const int Filled = CountRed();
    EXPECT_GT(Filled, 20);
    m_View.SetBreakpoints({{3, BP_STATE_DISABLED}});
    const int Hollow = CountRed();
    EXPECT_GT(Hollow, 0);
    EXPECT_LT(Hollow, Filled);
    SetSysVar(GetSysVar(PREF_SHOW_SIDEBAR_SRC), 0, false);
    EXPECT_EQ(CountRed(), 0) << "no side bar, no marks";
}

TEST_F(SourceView, ClicksMoveTheCursorAndToggleInTheSideBar) {
    QSignalSpy Moved(&m_View, &CSourceView::CursorMoved);
    QSignalSpy Toggled(&m_View, &CSourceView::BreakpointToggled);
    const int Height = [&] {
        m_View.SetPcLine(1, true);
        const QImage Image = m_View.viewport()->grab().toImage();
        int y = 0;
        while (Image.pixelColor(Image.width() - 3, y) == GetColor(COLOR_PC_ACTIVE)) {
            ++y;
        }
        return y;
    }();
    ASSERT_GT(Height, 5);
    QTest::mouseClick(m_View.viewport(), Qt::LeftButton, {}, QPoint(200, Height * 2 + 1));
    EXPECT_EQ(m_View.GetCursorLine(), 3);
    EXPECT_EQ(Toggled.count(), 0);
    QTest::mouseClick(m_View.viewport(), Qt::LeftButton, {}, QPoint(5, Height * 5 + 1));
    EXPECT_EQ(m_View.GetCursorLine(), 6);
    ASSERT_EQ(Toggled.count(), 1);
    EXPECT_EQ(Toggled[0][0], 6);
    QTest::mouseClick(m_View.viewport(), Qt::RightButton, {}, QPoint(5, Height * 4 + 1));
    EXPECT_EQ(Toggled.count(), 1);
    EXPECT_EQ(Moved.count(), 3);
}

TEST_F(SourceView, KeysMoveTheCursorWithinTheText) {
    struct ROW {
        Qt::Key Key;
        Qt::KeyboardModifiers Modifiers;
        int Line;
    };
    const int Page = m_View.verticalScrollBar()->pageStep();
    for (const ROW& Row : {ROW{Qt::Key_Up, {}, 1}, ROW{Qt::Key_Down, {}, 2}, ROW{Qt::Key_PageDown, {}, 2 + Page},
                           ROW{Qt::Key_PageUp, {}, 2}, ROW{Qt::Key_End, Qt::ControlModifier, NUM_LINES},
                           ROW{Qt::Key_Down, {}, NUM_LINES}, ROW{Qt::Key_Home, Qt::ControlModifier, 1}}) {
        QTest::keyClick(&m_View, Row.Key, Row.Modifiers);
        EXPECT_EQ(m_View.GetCursorLine(), Row.Line) << Row.Key;
        const int Top = m_View.verticalScrollBar()->value();
        EXPECT_TRUE(Row.Line - 1 >= Top && Row.Line - 1 < Top + Page) << "the cursor stays in sight";
    }
    for (const int Line : {-5, 0, NUM_LINES + 1}) {
        m_View.SetCursorLine(Line);
        EXPECT_EQ(m_View.GetCursorLine(), qBound(1, Line, NUM_LINES));
    }
}

TEST_F(SourceView, ShownLinesComeIntoSightAndStayIfTheyAre) {
    const int Page = m_View.verticalScrollBar()->pageStep();
    m_View.EnsureLineVisible(100);
    const int Top = m_View.verticalScrollBar()->value();
    EXPECT_TRUE(99 > Top && 99 < Top + Page);
    m_View.EnsureLineVisible(101);
    EXPECT_EQ(m_View.verticalScrollBar()->value(), Top) << "a step to the next line doesn't scroll";
    m_View.EnsureLineVisible(NUM_LINES);
    EXPECT_EQ(m_View.verticalScrollBar()->value(), NUM_LINES - Page);
    m_View.EnsureLineVisible(1);
    EXPECT_EQ(m_View.verticalScrollBar()->value(), 0);
}

TEST_F(SourceView, AShorterTextOnDiskIsTakenOver) {
    m_View.SetCursorLine(150);
    m_View.EnsureLineVisible(150);
    m_View.SetPcLine(150, true);
    QFile File(m_View.GetPath());
    ASSERT_TRUE(File.open(QIODevice::WriteOnly));
    File.write("one\ntwo\n");
    ASSERT_TRUE(File.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    File.close();
    EXPECT_TRUE(m_View.ReloadIfChanged());
    EXPECT_FALSE(m_View.ReloadIfChanged());
    EXPECT_EQ(m_View.GetDocument().GetNumLines(), 2);
    EXPECT_EQ(m_View.verticalScrollBar()->maximum(), 0);
    EXPECT_LE(m_View.GetCursorLine(), 2);
    EXPECT_TRUE(LinesOf(GetColor(COLOR_PC_ACTIVE)).isEmpty());
}
