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
        {"// OnProjectLoad stands below\nvoid X (void) { X1(); }\nvoid OnProjectLoad (void) { A(); }", " A(); "},
        {"void X (void) { OnProjectLoad(); }\nvoid OnProjectLoad (void) { A(\"}\"); /* } */ // }\n }",
         " A(\"}\"); /* } */ // }\n "},
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

TEST(ProjectText, OnlyTheCallGoes) {
    const std::pair<const char*, const char*> aRow[] = {
        {"{\n  // was A.Set (0);\n  A.Set (1);\n}\n", "{\n  N();\n  // was A.Set (0);\n}\n"},
        {"{ A.Set (1); }", "{\n  N();\n }"},
        {"{ A.Set (1); User (2); }", "{\n  N();\n User (2); }"},
        {"{ User (1); A.Set (\"a); b\"); User (2); }", "{\n  N();\n User (1); User (2); }"},
        {"{\n  A.Set (1); // mine\n}\n", "{\n  N();\n   // mine\n}\n"},
        {"{\n  B();\n  A.Set (1); }\n", "{\n  N();\n  B();\n   }\n"},
        {"{\n  A.Set (\n    1);\n  B();\n}\n", "{\n  N();\n  B();\n}\n"},
        {"{\n  if (x) A.Set (1);\n  B();\n}\n", "{\n  N();\n  if (x) A.Set (1);\n  B();\n}\n"},
        {"{\n  A.SetAll (1); Say(\"A.Set (1);\");\n}\n", "{\n  N();\n  A.SetAll (1); Say(\"A.Set (1);\");\n}\n"},
    };
    for (const auto& [sText, sResult] : aRow) {
        const QString sHead = "void OnProjectLoad (void) ";
        EXPECT_EQ(Rewrite(sHead + sText, {"A.Set"}, sMarker, {"N();"}), sHead + sResult) << sText;
    }
    const QString sLine = "void OnProjectLoad (void) { A.Speed (1); User(); }\nvoid X (void) {\n" + sMarker + "}\n";
    for (const QString& sBehind : {QString("A.Speed"), sMarker}) {
        EXPECT_EQ(Rewrite(sLine, {}, sBehind, {"N();"}), QString(sLine).replace("{ A", "{\n  N();\n A"))
            << "new lines stay in the function";
    }
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
