#include "tests/app/AppFixture.h"

#include "elf/ElfApiLines.h"
#include "settings/Colors.h"
#include "views/SourceWindow.h"

#include <QScrollBar>
#include <QTest>

// The source viewer as a user sees it: pixels and clicks.

namespace {

/// First and last row of pixels at the right edge of the view that have this colour; -1 for none.
struct BAND {
    int First = -1;
    int Last = -1;
    int GetHeight() const { return First < 0 ? 0 : Last - First + 1; }
};

BAND FindBand(const CSourceView* pView, const QColor& Color) {
    const QImage Image = pView->viewport()->grab().toImage();
    BAND Band;
    for (int y = 0; y < Image.height(); ++y) {
        if (Image.pixelColor(Image.width() - 3, y) == Color) {
            Band.First = Band.First < 0 ? y : Band.First;
            Band.Last = y;
        }
    }
    return Band;
}

} // namespace

class CSourceTest : public CAppTest {
protected:
    static CSourceView* View() { return Window().GetSourceWindow().GetActiveView(); }
    static bool WaitForPcIn(const QString& sFile) {
        return WaitUntil(
            [&] { return View() != nullptr && View()->GetPcLine() > 0 && View()->GetPath() == DemoSource(sFile); });
    }
    /// Middle of a line's row in the side bar. The height of a row is that of the mark of the program counter.
    static QPoint SideBarPos(int Line, int RowHeight) {
        return {4, (Line - 1 - View()->verticalScrollBar()->value()) * RowHeight + RowHeight / 2};
    }
};

TEST_F(CSourceTest, ThePcLineIsMarkedWhileHalted) {
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(WaitForPcIn("main.c"));
    EXPECT_EQ(View()->GetPath(), DemoSource("main.c"));
    EXPECT_EQ(View()->GetPcLine(), DemoLineWith("main.c", "int main(void)"));
    const BAND Band = FindBand(View(), GetColor(COLOR_PC_ACTIVE));
    ASSERT_GT(Band.GetHeight(), 8);
    EXPECT_EQ(Band.First / Band.GetHeight() + View()->verticalScrollBar()->value() + 1, View()->GetPcLine());

    ASSERT_TRUE(Run("Debug.Continue()"));
    ASSERT_TRUE(WaitUntil([] { return Window().GetStatusBar().GetStatusMessage() == "CPU running..."; }));
    EXPECT_EQ(FindBand(View(), GetColor(COLOR_PC_ACTIVE)).GetHeight(), 0);
    ASSERT_TRUE(StopSession());
    EXPECT_EQ(FindBand(View(), GetColor(COLOR_PC_ACTIVE)).GetHeight(), 0);
}

TEST_F(CSourceTest, AClickOnTheSideBarTogglesTheBreakpoint) {
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(WaitForPcIn("main.c"));
    const int RowHeight = FindBand(View(), GetColor(COLOR_PC_ACTIVE)).GetHeight();
    const int Line = DemoLineWith("main.c", "RunOnce(LoopCounter);");
    ASSERT_GT(Line, 0);
    View()->EnsureLineVisible(Line);
    const QPoint Pos = SideBarPos(Line, RowHeight);
    const QString sLocation = QStringLiteral("main.c:%1").arg(Line);
    const QImage Before = View()->viewport()->grab(QRect(0, Pos.y() - 2, 20, 5)).toImage();

    MarkConsole();
    QTest::mouseClick(View()->viewport(), Qt::LeftButton, {}, Pos);
    ASSERT_TRUE(WaitUntil([] { return Device().GetBreakpoints().size() == 1; }));
    EXPECT_EQ(NewLines(), QStringList{"Break.SetOnSrc (\"" + sLocation + "\");"});
    EXPECT_TRUE(WaitUntil([&] { return View()->viewport()->grab(QRect(0, Pos.y() - 2, 20, 5)).toImage() != Before; }));
    ASSERT_TRUE(Run("Debug.Continue()"));
    EXPECT_TRUE(WaitUntil([&] { return View()->GetPcLine() == Line; }));
    EXPECT_EQ(Device().GetPC(), I64(Device().GetBreakpoints().value(0).Addr));

    MarkConsole();
    QTest::mouseClick(View()->viewport(), Qt::LeftButton, {}, SideBarPos(Line, RowHeight));
    EXPECT_TRUE(WaitUntil([] { return Device().GetBreakpoints().isEmpty(); }));
    EXPECT_EQ(NewLines(), QStringList{"Break.ClearOnSrc (\"" + sLocation + "\");"});
}

TEST_F(CSourceTest, ALineWithoutCodeGivesItsBreakpointToTheCodeBelow) {
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(WaitForPcIn("main.c"));
    const int RowHeight = FindBand(View(), GetColor(COLOR_PC_ACTIVE)).GetHeight();
    const int Line = DemoLineWith("main.c", "int32_t Values[NUM_VALUES];");
    ASSERT_GT(Line, 0);
    View()->EnsureLineVisible(Line);
    QTest::mouseClick(View()->viewport(), Qt::LeftButton, {}, SideBarPos(Line, RowHeight));
    ASSERT_TRUE(WaitUntil([] { return Device().GetBreakpoints().size() == 1; }));
    const CSrcLoc Loc = ElfApi_GetSrcLoc(Device().GetBreakpoints()[0].Addr);
    ASSERT_TRUE(Loc.IsValid());
    EXPECT_EQ(int(Loc.Line), DemoLineWith("main.c", "static void FillValues"));
    QTest::mouseClick(View()->viewport(), Qt::LeftButton, {}, SideBarPos(Line, RowHeight));
    EXPECT_TRUE(WaitUntil([] { return Device().GetBreakpoints().isEmpty(); }));
}

TEST_F(CSourceTest, RelocatedCodeKeepsItsLines) {
    const int Line = DemoLineWith("main.c", "RunOnce(LoopCounter);");
    const I64 Main = AddressOf("main");
    const I64 Addr = ElfApi_GetAddr(ElfApi_ParseSrcLoc(DemoSource("main.c") + QStringLiteral(":%1").arg(Line)));
    ASSERT_GT(Addr, 0);
    ASSERT_TRUE(Run("Project.RelocateSymbols (\"*\", 0x1000)"));
    EXPECT_EQ(AddressOf("main"), Main + 0x1000);
    ASSERT_TRUE(Run(QStringLiteral("Break.SetOnSrc (\"main.c:%1\")").arg(Line)));
    ASSERT_TRUE(WaitUntil([] { return Device().GetBreakpoints().size() == 1; }));
    EXPECT_EQ(I64(Device().GetBreakpoints()[0].Addr), Addr + 0x1000);
    ASSERT_TRUE(Run(QStringLiteral("Break.ClearOnSrc (\"main.c:%1\")").arg(Line)));
    EXPECT_TRUE(WaitUntil([] { return Device().GetBreakpoints().isEmpty(); }));
    ASSERT_TRUE(Run("Project.RelocateSymbols (\"no such symbol\", -4)"));
    EXPECT_EQ(NewLines().last(), "Project.RelocateSymbols (\"no such symbol\", -4): unknown symbol");
    EXPECT_EQ(AddressOf("main"), Main + 0x1000);
}
