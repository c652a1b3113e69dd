#include "framework/LayoutText.h"

#include <gtest/gtest.h>

namespace {

TEST(LayoutText, DockLines) {
    const DOCK_LAYOUT Dock = {"Call Stack", AREA_FLOATING, -10, 20, 300, 200, 1, 0};
    const QString sLine = FormatLayout(Dock);
    EXPECT_EQ(sLine.toStdString(), "OpenWindow=\"Call Stack\", DockArea=FLOATING, x=-10, y=20, w=300, h=200, "
                                   "FilterBarShown=1, ExecCountersShown=0");
    const std::optional<DOCK_LAYOUT> Read = ParseDockLayout(sLine);
    ASSERT_TRUE(Read);
    EXPECT_EQ(FormatLayout(*Read), sLine);
}

TEST(LayoutText, DamagedDockLines) {
    struct CASE {
        const char* sLine;
        const char* sName; ///< null: no dock line
        int Area;
        int w;
    };
    const CASE aCase[] = {
        {"OpenWindow=\"a\", DockArea=Bottom-left, w=5", "a", AREA_BOTTOM, 5},
        {"OpenWindow=\"a, b\", DockArea=\"right\", w=x", "a, b", AREA_RIGHT, 0},
        {"  OpenWindow=\"a\"//, DockArea=LEFT", "a", AREA_NONE, 0},
        {"OpenWindow=\"a#1\", DockArea=LEFT # w=7", "a#1", AREA_LEFT, 0},
        {"OpenWindow", "OpenWindow", AREA_NONE, 0},
        {"OpenWindow=\"a\", w=99999999999999", "a", AREA_NONE, 0},
        {"OpenWindow=\"a\", w=2000000000", "a", AREA_NONE, 1000000},
        {"openwindow=\"a\"", nullptr, 0, 0},
        {"OpenToolbar=\"a\"", nullptr, 0, 0},
        {"", nullptr, 0, 0},
        {"\"\"\",,,=,=\x01", nullptr, 0, 0},
    };
    for (const CASE& Case : aCase) {
        const std::optional<DOCK_LAYOUT> Layout = ParseDockLayout(QString::fromUtf8(Case.sLine));
        ASSERT_EQ(Layout.has_value(), Case.sName != nullptr) << Case.sLine;
        if (Layout) {
            EXPECT_EQ(Layout->sName.toStdString(), Case.sName) << Case.sLine;
            EXPECT_EQ(Layout->Area, Case.Area) << Case.sLine;
            EXPECT_EQ(Layout->w, Case.w) << Case.sLine;
        }
    }
}

TEST(LayoutText, ToolbarsAndTables) {
    const QString sBar = FormatLayout(TOOLBAR_LAYOUT{"Debug", 1, 3, 4});
    EXPECT_EQ(sBar.toStdString(), "OpenToolbar=\"Debug\", Floating=1, x=3, y=4");
    const std::optional<TOOLBAR_LAYOUT> Bar = ParseToolbarLayout(sBar);
    ASSERT_TRUE(Bar);
    EXPECT_EQ(FormatLayout(*Bar), sBar);

    for (const TABLE_LAYOUT& Table : {TABLE_LAYOUT{"Functions", "Name", false, {"Name", "Size, bytes"}, {100, 200}},
                                      TABLE_LAYOUT{"Registers", "", true, {}, {}}}) {
        const QString sTable = FormatLayout(Table);
        const std::optional<TABLE_LAYOUT> Read = ParseTableLayout(sTable);
        ASSERT_TRUE(Read);
        EXPECT_EQ(Read->VisibleColumns, Table.VisibleColumns);
        EXPECT_EQ(Read->ColumnWidths, Table.ColumnWidths);
        EXPECT_EQ(FormatLayout(*Read), sTable);
    }
    EXPECT_EQ(FormatLayout(TABLE_LAYOUT{"Functions", "Name", false, {"A", "B"}, {100, 200}}).toStdString(),
              "TableHeader=\"Functions\", SortCol=\"Name\", SortOrder=\"DESCENDING\", VisibleCols=[\"A\";\"B\"], "
              "ColWidths=[100;200]");
}

} // namespace
