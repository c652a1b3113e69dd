#include "tests/script/ScriptRunner.h"

// Statements, program structure and the error texts with their lines.

TEST(ScriptStatement, ControlFlow) {
    const std::pair<const char*, QList<I64>> aRow[] = {
        {"if (2) Out(1); else Out(2);", {1}},
        {"if (0) Out(1); else Out(2);", {2}},
        {"if (0) { Out(1); Out(2); } Out(3);", {3}},
        {"if (1) if (0) Out(1); else Out(2);", {2}},
        {"if (0) if (1) Out(1); else Out(2); Out(3);", {3}},
        {"if (0) Out(1); else if (1) Out(2); else Out(3);", {2}},
        {"int i; i = 0; while (i < 3) { Out(i); i += 1; } Out(9);", {0, 1, 2, 9}},
        {"while (0) Out(1); Out(2);", {2}},
        {"int i; i = 0; do { Out(i); i += 1; } while (i < 3); Out(9);", {0, 1, 2, 9}},
        {"do Out(1); while (0); Out(2);", {1, 2}},
        {"int i; int j; i = 0; while (i < 2) { j = 0; while (j < 2) { Out(i * 2 + j); j += 1; } i += 1; }",
         {0, 1, 2, 3}},
        {"int i; i = 0; while (1) { i += 1; if (i == 3) return 1; Out(i); } Out(9);", {1, 2}},
        {"{ { return 1; } Out(1); } Out(2);", {}},
        {"if (0) { return 1; Out(1); } Out(2);", {2}},
        {"if (0) { while (1) { do { Out(1); } while (1); } } Out(2);", {2}},
        {"if (0) { int x; } x = 3; Out(x);", {3}}, // a declaration takes effect in a branch that is passed over
    };
    for (const auto& [sBody, Values] : aRow) {
        EXPECT_EQ(ValuesOf(sBody), Values) << sBody;
    }
}

TEST(ScriptStatement, ErrorsInBodiesWithTheirLines) {
    const std::pair<const char*, const char*> aRow[] = {
        {"\n\nx = 1;", "3: Syntax error."},
        {"\nUnknown.Call();", "2: Syntax error."},
        {"\nOut(Unknown.Call());", "2: Unknown identifier."},
        {"\nOut(1 +);", "2: Expected a value or an identifier."},
        {"\nOut(-TEN);", "2: Expected a value or an identifier."},
        {"\nOut('a');", "2: Expected a value or an identifier."},
        {"\nOut 1;", "2: Expected a '('"},
        {"\nOut(1;", "2: Expected a ')'"},
        {"\nOut(1) Out(2);", "2: Expected a ';'"},
        {"\nif 1 Out(1);", "2: Expected a '('"},
        {"\nint x; if (0) { x = 1 }", "2: Expected a ';'"},
        {"\nif (0) { for (;;) ; }", "2: Keyword \"for\" is not yet supported"},
        {"\nif (0) { Out(Nope); }", "2: Unknown identifier."},
        {"\niffy(1);", "2: Syntax error."},
        {"\nif.x(1);", "2: Syntax error."},
        {"\nelse Out(1);", "2: Keyword \"else\" is not allowed without \"if\""},
        {"\ndo { Out(1); }\n Out(2);", "3: Syntax error. missing \"while\" at line 3"},
        {"\nreturn;", "2: Expected a value or an identifier."},
        {"\nreturn \"a\";", "2: Expected a value."},
        {"\nint x = 1;", "2: Expected a ';'"},
        {"\nint 5;", "2: Expected an identifier."},
        {"\nint a[x];", "2: Expected an integer value"},
        {"\nint a[2;", "2: Expected a ']'"},
        {"\nconst TEN x;", "2: Currently only basic data types for local variables are allowed."},
        {"\nint a[4]; a[4] = 1;", "2: Array index out of range."},
        {"\nint a[4]; a[-1] = 1;", "2: Array index out of range."},
        {"\nint a[4]; Out(a[4]);", "2: Array index out of range."},
        {"\nint a[4]; a[1] += 2;", "2: Expected a base type."},
        {"\nint a[4]; Out(a);", "2: Expected a '['"},
        {"\nint a[4]; Out(a[\"x\"]);", "2: Expected a value."},
        {"\nint a[4]; a[\"x\"] = 1;", "2: Expected a value."},
        {"\nchar* p; p = 1;", "2: Assignments are allowed for base types only"},
        {"\nchar* p; Out(p);", "2: Expected a base type."},
        {"\nchar* p[2]; p[0] = 1;", "2: Assignments are allowed for base types only"},
        {"\nchar* p[2]; Out(p[0]);", "2: Currently, only arrays of base type variables are allowed."},
        {"\nvoid v; v = 1;", "2: Base type size must be at least 1 byte"},
        {"\nvoid v; Out(v);", "2: Unsupported base type size."},
        {"\nint x; x = \"a\";", "2: Expected a base type."},
        {"\nOut(1 + \"a\");", "2: Expected a base type."},
        {"\nOut(int);", "2: Syntax error. Unexpected type"},
        {"\nSay(\"a\\q\");", "2: Unexpected escape character."},
        {"\nSay(\"a\\\");", "2: Unexpected escape character."},
        {"\nSay(\"a\nb\");", "2: Illegal character in string"},
        {"\nSay(\"a\\\"b\");", "2: Unexpected escape character."},
        {"\nSay(\"a\" + 1);", "2: Expected a ')'"},
        {"\nint x; x = 1 / 0;", "2: Division by zero"},
        {"\nint x; x = 1; x /= 0;", "2: Division by zero"},
        {"\nint x; x 5;", "2: Syntax error."},
        {"\n;", "2: Syntax error."},
        {"\nTEN;", "2: Syntax error."},
    };
    for (const auto& [sBody, sError] : aRow) {
        EXPECT_EQ(ErrorOf(sBody), QString(sError)) << sBody;
    }
}

TEST(ScriptStatement, AnErrorEndsTheRunAndStays) {
    CScriptRunner Runner("int g (void) { Out(1); Nope(); return 1; }\n"
                         "void f (void) { while (1) { Out(g()); Out(2); } }\n");
    EXPECT_EQ(Runner.Run(), -1);
    EXPECT_EQ(Runner.Values, QList<I64>{1});
    EXPECT_EQ(Runner.NumErrors, 1);
    EXPECT_EQ(Runner.ErrorLine, 1);
    EXPECT_EQ(Runner.Run(), -1) << "a script with an error runs no more";
    EXPECT_EQ(Runner.Values.size(), 1);
}

TEST(ScriptStatement, TheStopFlagEndsARunAtTheNextStatement) {
    CScriptRunner Runner("int g (void) { Stop(); Out(1); return 1; }\n"
                         "void f (void) { while (1) { g(); Out(2); } Out(3); }\n");
    EXPECT_EQ(Runner.Run(), 0);
    EXPECT_TRUE(Runner.Values.isEmpty());
    EXPECT_EQ(Runner.NumErrors, 0);
    CScriptRunner Loop("void f (void) { while (1) Tick(); }");
    EXPECT_EQ(Loop.Run(), 0);
    EXPECT_EQ(Loop.NumTicks, 200);
    CScriptRunner DoLoop("void f (void) { do { Tick(); } while (1); Out(1); }");
    EXPECT_EQ(DoLoop.Run(), 0);
    EXPECT_TRUE(DoLoop.Values.isEmpty());
}

TEST(ScriptStructure, LoadingReadsHeadersAndBraces) {
    struct ROW {
        const char* sText;
        const char* sError; ///< null: it loads
        I32 Line;
    };
    const ROW aRow[] = {
        {"", nullptr, 0},
        {" // only a comment", nullptr, 0},
        {"/* a\n { */ void f (void) { /* } */ // }\n }", nullptr, 0},
        {"void f (void) { this is not read { } at load time }", nullptr, 0},
        {"const unsigned int f (const char* s, int x) { }", nullptr, 0},
        {"void f (void* p) { }", nullptr, 0},
        {"void f (void) { }\r\nvoid g () { }\r\n", nullptr, 0},
        {"/* open", "C-comment has not been closed properly", 1},
        {"void f (void) { /* open }", "C-comment has not been closed properly", 1},
        {"\nnothing", "Syntax error.", 2},
        {"void f (void) { }\n}", "Syntax error.", 2},
        {"void f (void) { }\nint", "Expected an identifier.", 2},
        {"const", "Syntax error.", 1},
        {"void (void) { }", "Expected an identifier.", 1},
        {"void f { }", "Expected a '('", 1},
        {"void f (int) { }", "Expected an identifier.", 1},
        {"void f (Nope x) { }", "Syntax error.", 1},
        {"void f (void)\n;", "Expected '{'", 2},
        {"void f (void) {\n{ }\n", "Unexpected end of file looking for '}'", 3},
        {"void f (void) { Say(\"{\"); Say(\"}}\"); }\nvoid g (void) { }", nullptr, 0}, // braces in strings are text
        {"void f (void) { Say(\"/* \"); } void g (void) { Say(\"// \"); }", nullptr, 0},
        {"void f (void) { Say(\"open {\n\"}\"); }", nullptr, 0}, // an error when it is read
        {"int x;", "Expected a '('", 1},
    };
    for (const ROW& Row : aRow) {
        CScriptRunner Runner(Row.sText);
        EXPECT_EQ(Runner.ParseResult, Row.sError == nullptr ? 0 : -1) << Row.sText;
        EXPECT_EQ(Runner.sError, QString(Row.sError)) << Row.sText;
        if (Row.sError != nullptr) {
            EXPECT_EQ(Runner.ErrorLine, Row.Line) << Row.sText;
        }
    }
    CScriptRunner Constant("TEN f (void) { }");
    EXPECT_EQ(Constant.ParseResult, -1);
    EXPECT_EQ(Constant.NumErrors, 0) << "this kind of symbol ends the load without a text";
}

TEST(ScriptStructure, FunctionsAreFoundByExactName) {
    CScriptRunner Runner("void f (void) { Out(1); } void ff (void) { Out(2); } void a.b (void) { Out(3); }");
    EXPECT_EQ(Runner.Run("ff"), 0);
    EXPECT_EQ(Runner.Run("a.b"), 0);
    for (const char* sName : {"F", "fff", "", "Out", "TEN", "int"}) {
        EXPECT_EQ(Runner.Run(sName), -2) << sName;
    }
    EXPECT_EQ(Runner.Values, QList<I64>({2, 3}));
    EXPECT_EQ(TransFindSymbol(Runner.Get(), "ffx", 2)->Kind, SK_FUNCTION);
    EXPECT_EQ(TransFindSymbol(Runner.Get(), "f.", 2), nullptr);
}

TEST(ScriptStructure, PrototypesOfTheHostMustEndWithASemicolon) {
    CScriptRunner Runner("void f (void) { Out(Early(3)); }");
    const auto Handler = [](const I64* paArgs, U32 NumArgs) { return static_cast<I32>(paArgs[0] + NumArgs); };
    EXPECT_EQ(TransAddApiFunction(Runner.Get(), "__api__ int Early (int x);", Handler), 0);
    EXPECT_EQ(Runner.Run(), 0);
    EXPECT_EQ(Runner.Values, QList<I64>{4});
    EXPECT_EQ(TransAddApiFunction(Runner.Get(), "__api__ int Late (int x)", Handler), -1);
}
