#include "settings/Colors.h"
#include "views/SourceColoring.h"
#include "views/SourceDocument.h"

#include <gtest/gtest.h>
#include <random>

// Colour runs of source lines, as text: one letter for each character.

namespace {

/// k keyword, s string, i integer, c comment, d directive, t text.
QString ColorsOf(const QString& sLine, bool* pIsInComment) {
    static const QMap<int, QChar> Letter = {{COLOR_SYNTAX_KEYWORD, 'k'},   {COLOR_SYNTAX_STRING, 's'},
                                            {COLOR_SYNTAX_INTEGER, 'i'},   {COLOR_SYNTAX_COMMENT, 'c'},
                                            {COLOR_SYNTAX_DIRECTIVE, 'd'}, {COLOR_SYNTAX_TEXT, 't'}};
    QString sColors;
    for (const TEXT_RUN& Run : ColorSourceLine(sLine, pIsInComment)) {
        EXPECT_EQ(Run.Start, sColors.size()) << "runs have no gaps: " << qPrintable(sLine);
        EXPECT_GT(Run.Length, 0) << qPrintable(sLine);
        sColors += QString(Run.Length, Letter.value(Run.ColorId, '?'));
    }
    EXPECT_EQ(sColors.size(), sLine.size()) << qPrintable(sLine);
    return sColors;
}

} // namespace

TEST(SourceColoring, SingleLines) {
    const std::pair<const char*, const char*> aRow[] = {
        {"int x = 0x1F;", "kkktttttiiiit"},
        {"integer", "ttttttt"},
        {"return 1; // int", "kkkkkktittcccccc"},
        {"a /* b */ int", "ttccccccctkkk"},
        {"\"a // b\" c", "sssssssstt"},
        {"\"a\\\"b\" c", "sssssstt"},
        {"'\\'' c", "sssstt"},
        {"\"open", "sssss"},
        {"\"open\\", "ssssss"},
        {"#include <a.h>", "ddddddddtttttt"},
        {"  #if 1", "ttdddti"},
        {"a # b", "ttttt"},
        {"/**/x", "cccct"},
        {"a/b", "ttt"},
        {"x1 = 12u;", "tttttiiit"},
        {"", ""},
    };
    for (const auto& [sLine, sColors] : aRow) {
        bool IsInComment = false;
        EXPECT_EQ(ColorsOf(sLine, &IsInComment), QString(sColors)) << sLine;
        EXPECT_FALSE(IsInComment) << sLine;
    }
}

TEST(SourceColoring, BlockCommentsGoOnOverLines) {
    struct ROW {
        const char* sLine;
        const char* sColors;
        bool IsOpen;
    };
    const ROW aRow[] = {{"int a; /* begins", "kkkttttccccccccc", true},
                        {"", "", true},
                        {"int // \"", "cccccccc", true},
                        {"*/ int /* again", "cctkkktcccccccc", true},
                        {"x*/y", "ccct", false},
                        {"/*/", "ccc", true},
                        {"*/", "cc", false}};
    bool IsInComment = false;
    for (const ROW& Row : aRow) {
        EXPECT_EQ(ColorsOf(Row.sLine, &IsInComment), QString(Row.sColors)) << Row.sLine;
        EXPECT_EQ(IsInComment, Row.IsOpen) << Row.sLine;
    }
}

TEST(SourceColoring, AnyTextIsCoveredWithoutGaps) {
    const QString sPieces = "/*\"'\\# \ta1\n{};";
    std::mt19937 Random(20240613);
    bool IsInComment = false;
    for (int Round = 0; Round < 3000; ++Round) {
        QString sLine;
        for (U32 n = Random() % 40; n > 0; --n) {
            sLine += sPieces[static_cast<qsizetype>(Random() % static_cast<U32>(sPieces.size()))];
        }
        ColorsOf(sLine, &IsInComment);
    }
}
