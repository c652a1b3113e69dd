#include "settings/Colors.h"
#include "settings/Fonts.h"

#include <QGuiApplication>
#include <QPalette>
#include <QSet>
#include <gtest/gtest.h>

class ColorsAndFonts : public ::testing::Test {
protected:
    void TearDown() override {
        InitColors();
        InitFonts();
    }
};

TEST_F(ColorsAndFonts, EachRowStandsAtItsId) {
    QSet<QString> Names;
    for (int i = 0; i < NUM_COLORS; ++i) {
        EXPECT_EQ(aColorRow[i].Id, static_cast<U32>(i));
        EXPECT_EQ(FindColor(QString(aColorRow[i].sName).toLower()), i);
        EXPECT_EQ(aColorRow[i].Default >> 24, 0xFFu) << aColorRow[i].sName << ": colours are opaque";
        EXPECT_FALSE(QString(aColorRow[i].sLabel).isEmpty() || QString(aColorRow[i].sToolTip).isEmpty());
        EXPECT_EQ(GetColorValue(i), aColorRow[i].Default);
        Names.insert(aColorRow[i].sName);
    }
    EXPECT_EQ(NUM_COLORS, 46);
    EXPECT_EQ(Names.size(), 46);
    for (int i = 0; i < NUM_FONTS; ++i) {
        EXPECT_EQ(aFontRow[i].Id, i);
        EXPECT_EQ(FindFont(QString(aFontRow[i].sName).toLower()), i);
        EXPECT_LT(aFontRow[i].DefaultId, i) << "defaults lead to lower rows, so following them ends";
    }
    EXPECT_EQ(NUM_FONTS, 11);
}

TEST_F(ColorsAndFonts, MarkersFollowThePalette) {
    const QPalette Saved = QGuiApplication::palette();
    QPalette Dark = Saved;
    Dark.setColor(QPalette::Base, QColor(1, 2, 3));
    Dark.setColor(QPalette::Window, QColor(4, 5, 6));
    QGuiApplication::setPalette(Dark);
    SetColorValue(COLOR_PC_ACTIVE, COLOR_MARK_WINDOW);
    EXPECT_EQ(GetColor(COLOR_CHANGE_LEVEL_1_BG), QColor(1, 2, 3));
    EXPECT_EQ(GetColor(COLOR_PC_ACTIVE), QColor(4, 5, 6));
    QGuiApplication::setPalette(Saved);
    EXPECT_EQ(GetColor(COLOR_CHANGE_LEVEL_1_BG), Saved.color(QPalette::Base));
}

TEST_F(ColorsAndFonts, ReadingColors) {
    struct ROW {
        const char* sText;
        bool IsOk;
        U32 Argb;
    };
    const ROW aRow[] = {{"red", true, 0xFFFF0000},
                        {" #102030 ", true, 0xFF102030},
                        {"#80102030", true, 0x80102030},
                        {"0x102030FF", true, 0xFF102030},
                        {"0x10203040", true, 0x40102030},
                        {"255", true, 0xFF000000},
                        {"", false, 0},
                        {"nocolor", false, 0},
                        {"#12", false, 0},
                        {"0x1FFFFFFFF", false, 0},
                        {"-1", false, 0}};
    for (const ROW& Row : aRow) {
        U32 Argb = 0;
        EXPECT_EQ(ParseColor(Row.sText, &Argb), Row.IsOk) << Row.sText;
        EXPECT_EQ(Argb, Row.Argb) << Row.sText;
    }
}

TEST_F(ColorsAndFonts, IdsOutOfRange) {
    for (const char* sText : {"46", "-1", "", "COLOR_", "red"}) {
        EXPECT_EQ(FindColor(sText), -1) << sText;
    }
    for (const char* sText : {"11", "-1", "", "FONT_", "Courier"}) {
        EXPECT_EQ(FindFont(sText), -1) << sText;
    }
    EXPECT_EQ(FindColor("0x2D"), 45);
    EXPECT_EQ(FindFont("0xA"), 10);
    SetColorValue(-1, 5);
    SetColorValue(46, 5);
    EXPECT_EQ(GetColorValue(46), 0u);
    EXPECT_FALSE(GetColor(-1).isValid());
    SetFont(11, QFont("Courier", 20), true);
    EXPECT_EQ(GetFont(11).pointSize(), 8);
}

TEST_F(ColorsAndFonts, FontsFollowTheirDefaultUntilTheyAreSet) {
    EXPECT_EQ(GetFont(FONT_APP).pointSize(), 8);
    SetFont(FONT_APP, QFont("Courier New", 13), false);
    for (const int Id : {FONT_APP_MONO, FONT_ITEM_NAME, FONT_ITEM_VALUE, FONT_TABLE_HEADER, FONT_SRC_CODE,
                         FONT_SRC_ASM_CODE, FONT_ASM_CODE, FONT_CONSOLE}) {
        EXPECT_EQ(GetFont(Id), QFont("Courier New", 13)) << aFontRow[Id].sName;
    }
    EXPECT_EQ(GetFont(FONT_LINE_NUMBERS).pointSize(), 8);
    SetFont(FONT_CONSOLE, QFont("Courier", 9), false);
    SetFont(FONT_SRC_CODE, QFont("Courier", 10), false);
    SetFont(FONT_APP, QFont("Courier New", 14), false);
    EXPECT_EQ(GetFont(FONT_CONSOLE).pointSize(), 9);
    EXPECT_EQ(GetFont(FONT_SRC_ASM_CODE).pointSize(), 10) << "follows the source font, not the application's";
    EXPECT_EQ(GetFont(FONT_ASM_CODE).pointSize(), 14);
    EXPECT_EQ(GetFont(FONT_TABLE_HEADER).pointSize(), 14);
}

TEST_F(ColorsAndFonts, FontTextsGoThereAndBack) {
    QFont Font("Courier New", 10);
    const std::pair<std::pair<bool, bool>, const char*> aStyle[] = {{{false, false}, "Courier New,  10pt,  Normal"},
                                                                    {{true, false}, "Courier New,  10pt,  Bold"},
                                                                    {{false, true}, "Courier New,  10pt,  Italic"},
                                                                    {{true, true}, "Courier New,  10pt,  Bold Italic"}};
    for (const auto& [Style, sText] : aStyle) {
        Font.setBold(Style.first);
        Font.setItalic(Style.second);
        EXPECT_EQ(FontText(Font), sText);
        QFont Read;
        ASSERT_TRUE(ParseFont(sText, &Read)) << sText;
        EXPECT_EQ(Read.family(), Font.family());
        EXPECT_EQ(Read.pointSize(), 10);
        EXPECT_EQ(Read.bold(), Style.first);
        EXPECT_EQ(Read.italic(), Style.second);
    }
    QFont Read("Untouched");
    EXPECT_TRUE(ParseFont("Courier,8,bold", &Read));
    EXPECT_EQ(Read.pointSize(), 8);
    for (const char* sText :
         {"", "Courier", "Courier, 8pt", ", 8pt, Bold", "Courier, x, Bold", "Courier, 0pt, Bold", "Courier, -3pt, Bold",
          "Courier, 8pt, Heavy", "a, b, c, d", "Courier, 2147483647pt, Bold"}) {
        EXPECT_FALSE(ParseFont(sText, &Read)) << sText;
    }
    EXPECT_EQ(Read.family(), "Courier");
}
