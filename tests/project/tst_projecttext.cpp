#include "project/ProjectText.h"

#include <gtest/gtest.h>

// Rewriting lines of OnProjectLoad in a project's text.

namespace {

const QString sMarker = "  //\n  // Dialog-generated settings\n  //\n";

QString Rewrite(QString sText, const QStringList& Names, const QString& sBehind, const QStringList& Commands) {
    return RewriteProjectText(&sText, Names, sBehind, Commands) ? sText : "refused: " + sText;
}

} // namespace

TEST(ProjectText, BodyOfOnProjectLoad) {
    struct ROW {
        const char* sText;
        const char* sBody; ///< null: not found
    };
    const ROW aRow[] = {
        {"void OnProjectLoad (void) {\n A(); }\nvoid B (void) { }", "\n A(); "},
        {"void OnProjectLoad(void){}", ""},
        {"void OnProjectLoad (void) { if (1) { A(); } B(); }", " if (1) { A(); } B(); "},
        {"// OnProjectLoad stands below\nvoid X (void) { X1(); }\nvoid OnProjectLoad (void) { A(); }", " X1(); "},
        {"void OnProjectLoad (void) { A();", nullptr},
        {"void OnProjectLoad (void);", nullptr},
        {"void Other (void) { A(); }", nullptr},
        {"", nullptr},
    };
    for (const ROW& Row : aRow) {
        qsizetype Start = 0;
        qsizetype End = 0;
        EXPECT_EQ(FindProjectLoadBody(Row.sText, &Start, &End), Row.sBody != nullptr) << Row.sText;
        if (Row.sBody != nullptr) {
            EXPECT_EQ(QString(Row.sText).mid(Start, End - Start), QString(Row.sBody)) << Row.sText;
        }
    }
}

TEST(ProjectText, LinesGoBehindTheMarkerAndOldOnesGo) {
    const QString sText = "void OnProjectLoad (void) {\n" + sMarker +
                          "  A.Set (1);\n  B.Set (2);\n  //\n}\nvoid X (void) {\n  A.Set (9);\n}\n";
    EXPECT_EQ(Rewrite(sText, {"A.Set"}, sMarker, {"A.Set (3);", "C.Set (4);"}),
              "void OnProjectLoad (void) {\n" + sMarker +
                  "  A.Set (3);\n  C.Set (4);\n  B.Set (2);\n  //\n}\nvoid X (void) {\n  A.Set (9);\n}\n");
    EXPECT_EQ(Rewrite(sText, {"Nothing.There", "C.Set"}, sMarker, {}), sText) << "names outside the body stay";
}

TEST(ProjectText, AMarkerInsideALineMeansBehindThatLine) {
    EXPECT_EQ(Rewrite("void OnProjectLoad (void) {\n  A.Speed (1); // fast\n  B();\n}\n", {}, "A.Speed", {"T (1);"}),
              "void OnProjectLoad (void) {\n  A.Speed (1); // fast\n  T (1);\n  B();\n}\n");
}

TEST(ProjectText, WithoutTheMarkerLinesComeFirst) {
    const std::pair<const char*, const char*> aRow[] = {
        {"void OnProjectLoad (void) {\n  B();\n}\n", "void OnProjectLoad (void) {\n  A (1);\n  B();\n}\n"},
        {"void OnProjectLoad (void) {}", "void OnProjectLoad (void) {\n  A (1);\n}"},
        {"void OnProjectLoad (void) { B(); }", "void OnProjectLoad (void) {\n  A (1);\n B(); }"},
    };
    for (const auto& [sText, sResult] : aRow) {
        EXPECT_EQ(Rewrite(sText, {}, sMarker, {"A (1);"}), QString(sResult)) << sText;
    }
}

TEST(ProjectText, TheFirstOccurrenceIsTheOneThatGoesEvenInAComment) {
    const QString sText = "void OnProjectLoad (void) {\n  // was A.Set (0);\n  A.Set (1);\n}\n";
    EXPECT_EQ(Rewrite(sText, {"A.Set"}, sMarker, {"A.Set (2);"}),
              "void OnProjectLoad (void) {\n  A.Set (2);\n  A.Set (1);\n}\n");
}

TEST(ProjectText, ALineThatSharesItsLineWithTheBracesLeavesThem) {
    EXPECT_EQ(Rewrite("void OnProjectLoad (void) { A.Set (1); }", {"A.Set"}, sMarker, {}),
              "void OnProjectLoad (void) {\n}");
    EXPECT_EQ(Rewrite("void OnProjectLoad (void) {\n  B();\n  A.Set (1); }\n", {"A.Set"}, sMarker, {"C();"}),
              "void OnProjectLoad (void) {\n  C();\n  B();}\n");
}

TEST(ProjectText, ATextWithoutTheFunctionStaysAsItIs) {
    for (const char* sText :
         {"", "void Other (void) {\n  A.Set (1);\n}\n", "void OnProjectLoad (void) {\n  A.Set (1);\n"}) {
        EXPECT_EQ(Rewrite(sText, {"A.Set"}, sMarker, {"A.Set (2);"}), QString("refused: ") + sText);
    }
}

TEST(ProjectText, CommandNames) {
    const std::pair<const char*, const char*> aRow[] = {{"Project.SetDevice (\"x\");", "Project.SetDevice"},
                                                        {"  A(1, \"(\");", "A"},
                                                        {"NoParens", "NoParens"},
                                                        {"", ""}};
    for (const auto& [sLine, sName] : aRow) {
        EXPECT_EQ(CommandNameOfLine(sLine), QString(sName)) << sLine;
    }
}
