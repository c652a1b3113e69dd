#include "tests/script/ScriptRunner.h"

#include <QRegularExpression>
#include <random>

// What a script can't do: use up the host's stack or memory, crash it, or run on when it is asked to stop.

namespace {

QByteArray Repeat(const char* sText, int Count) { return QByteArray(sText).repeated(Count); }

} // namespace

TEST(ScriptLimits, DeepNestingEndsWithAnError) {
    constexpr int DEPTH = 100'000;
    const std::pair<const char*, QByteArray> aRow[] = {
        {"parentheses", "void f (void) { Out(" + Repeat("(", DEPTH) + "1" + Repeat(")", DEPTH) + "); }"},
        {"operators", "void f (void) { Out(1" + Repeat(" - 1", DEPTH) + "); }"},
        {"blocks", "void f (void) " + Repeat("{", DEPTH) + Repeat("}", DEPTH)},
        {"branches", "void f (void) { " + Repeat("if (1) ", DEPTH) + "Out(1); }"},
        {"branches passed over", "void f (void) { " + Repeat("if (0) ", DEPTH) + "Out(1); }"},
        {"loops", "void f (void) { " + Repeat("do ", DEPTH) + "Out(1); }"},
        {"calls in arguments", "void f (void) { Out(" + Repeat("Out(", DEPTH) + "1" + Repeat(")", DEPTH) + "); }"},
        {"recursion", "void f (void) { f(); }"},
        {"recursion in arguments", "int g (int n) { return g(n + 1) + 1; } void f (void) { Out(1 + g(0)); }"},
        {"recursion with locals", "int f (void) { int a[100]; { if (1) { while (1) { a[0] = (1 + f()); } } } }"},
    };
    for (const auto& [sName, Text] : aRow) {
        CScriptRunner Runner(Text);
        ASSERT_EQ(Runner.ParseResult, 0) << sName;
        EXPECT_EQ(Runner.Run(), -1) << sName;
        EXPECT_EQ(Runner.sError, "Out of memory.") << sName;
        EXPECT_TRUE(Runner.Values.isEmpty()) << sName;
        EXPECT_EQ(Runner.Get()->Nesting, 0) << sName;
    }
}

TEST(ScriptLimits, ReasonableNestingRuns) {
    EXPECT_EQ(ValuesOf("Out(" + Repeat("(", 500) + "7" + Repeat(")", 500) + ");"), QList<I64>{7});
    CScriptRunner Runner(
        "int g (int n) { if (n == 0) { return 0; } return 1 + g(n - 1); } void f (void) { Out(g(150)); }");
    EXPECT_EQ(Runner.Run(), 0) << qPrintable(Runner.sError);
    EXPECT_EQ(Runner.Values, QList<I64>{150});
}

TEST(ScriptLimits, TheHeapRunsOutWithAnError) {
    const QByteArray aBody[] = {
        "while (1) { Say(\"a string literal is never freed\"); }",
        "while (1) { int x; }",
        "int a[900000]; int b[900000]; a[0] = 1;",
        "char a[400000]; char b[400000]; char c[400000]; a[0] = 1; c[0] = 1;",
    };
    for (const QByteArray& Body : aBody) {
        CScriptRunner Runner("void f (void) { " + Body + " }");
        EXPECT_EQ(Runner.Run(), -1) << Body.constData();
        EXPECT_FALSE(Runner.sError.isEmpty()) << Body.constData();
    }
    // Some 31 bytes of text and its symbols: the literal must have been good for thousands of rounds.
    CScriptRunner Runner("void f (void) { while (1) { Say(\"a string literal is never freed\"); } }");
    Runner.Run();
    EXPECT_EQ(Runner.sError, "Out of memory.");
    EXPECT_GT(Runner.Texts.size(), 5'000);
    EXPECT_EQ(Runner.Texts.last(), "a string literal is never freed");
}

TEST(ScriptLimits, ArraysThatDoNotFitCanNotBeWritten) {
    for (const char* sCount :
         {"999999", "1000001", "4294967296", "9223372036854775807", "-1", "-9223372036854775808", "0"}) {
        const QByteArray Declaration = QByteArray("int a[") + sCount + "]; ";
        EXPECT_TRUE(ErrorOf(Declaration).isEmpty()) << sCount << ": the declaration itself reports nothing";
        EXPECT_FALSE(ErrorOf(Declaration + "a[0] = 1;").isEmpty()) << sCount;
        EXPECT_FALSE(ErrorOf(Declaration + "a = 1;").isEmpty()) << sCount;
        EXPECT_FALSE(ErrorOf(Declaration + "Out(a[0]);").isEmpty()) << sCount;
    }
}

TEST(ScriptLimits, StringsAreGivenBackBehindEachFunction) {
    CScriptRunner Runner("void g (void) { Say(\"one\"); Say(\"two\"); Say(\"three\"); Say(\"four\"); }\n"
                         "void f (void) { int i; i = 0; while (i < 100) { g(); i += 1; } Say(\"five\"); }");
    const U8* pLow = Runner.Get()->pLow;
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(Runner.Run(), 0) << i << qPrintable(Runner.sError);
    }
    EXPECT_EQ(Runner.Get()->pLow, pLow);
    EXPECT_EQ(Runner.Texts.size(), 2000 * 401);
    EXPECT_EQ(Runner.Texts.last(), "five");
}

TEST(ScriptLimits, LocalsAreGivenBackBehindEachCall) {
    CScriptRunner Runner("void g (void) { char a[500000]; a[0] = 1; }\n"
                         "void f (void) { int i; i = 0; while (i < 100) { g(); i += 1; } Out(i); }");
    const U8* pHigh = Runner.Get()->pHigh;
    EXPECT_EQ(Runner.Run(), 0) << qPrintable(Runner.sError);
    EXPECT_EQ(Runner.Values, QList<I64>{100});
    EXPECT_EQ(Runner.Get()->pHigh, pHigh);
}

TEST(ScriptLimits, ManyParametersAndManyFunctions) {
    QByteArray Params = "int p0";
    for (int i = 1; i < 15; ++i) {
        Params += ", int p" + QByteArray::number(i);
    }
    CScriptRunner Fifteen("int g (" + Params +
                          ") { return p0 + p14; } void f (void) { Out(g(1,2,3,4,5,6,7,8,9,10,11,12,13,14,15)); }");
    EXPECT_EQ(Fifteen.Run(), 0) << qPrintable(Fifteen.sError);
    EXPECT_EQ(Fifteen.Values, QList<I64>{16});
    EXPECT_EQ(CScriptRunner("int g (" + Params + ", int p15) { }").ParseResult, -1);
    CScriptRunner Many(Repeat("void f (void) { }\n", 50'000));
    EXPECT_EQ(Many.ParseResult, -1);
    EXPECT_EQ(Many.sError, "Out of memory.");
}

TEST(ScriptLimits, AnInterpreterWithoutMemoryIsNone) { EXPECT_EQ(TransInit(nullptr, ""), nullptr); }

// Scripts that were damaged at random end, with or without an error. Every loop that is left asks the host for leave
// to go on, so that none runs for ever.
TEST(ScriptLimits, DamagedScriptsEnd) {
    const QByteArray Seed =
        "int Add (int a, unsigned int b) { return a * 10 + b; }\n"
        "// comment with } and {\n"
        "void Text (const char* s) { Say(\"in\\tner\"); /* block */ }\n"
        "int Fact (int n) { if (n < 2) { return 1; } else { return n * Fact(n - 1); } }\n"
        "void f (void) {\n"
        "  int x; char a[8]; __int64 y; const char* p;\n"
        "  x = 0; y = -1 - 0x7FFFFFFF;\n"
        "  while (x < 5) { a[x] = Add(x, 2) << 3; x += 1; if (x == 3) Out(a[1]); else Text(\"t\"); }\n"
        "  do { x -= 1; y ^= x | 6 & 3; } while (x > 1);\n"
        "  Out(Fact(5) / (x + 1)); Out(y >> 2 >= 0 || TEN != MINUS && 1);\n"
        "}\n";
    const QList<QByteArray> Pieces = {
        "{",    "}",   "(",   ")",    "[",  "]",          ";",      ",",        "\"",     "/*",    "*/",  "//", "\n",
        "0x",   "-1",  "if",  "else", "do", "while",      "return", "int ",     "char* ", "void ", "a",   "x",  "f",
        "Fact", "Out", "<<=", "/",    "0",  "4294967296", "\\",     "__api__ ", "TEN",    "Add(",  "\xFF"};
    // The condition of each loop begins with the host's count, which the damage can't reach.
    static const QRegularExpression Loop("\\bwhile\\s*\\(");
    std::mt19937 Random(20240611);
    const auto Below = [&](qsizetype Max) { return static_cast<qsizetype>(Random() % static_cast<U32>(Max)); };
    int NumLoaded = 0;
    int NumFailed = 0;
    for (int Round = 0; Round < 3000; ++Round) {
        QByteArray Text = Seed;
        for (qsizetype n = 1 + Below(4); n > 0; --n) {
            const qsizetype Pos = Below(Text.size());
            switch (Below(4)) {
            case 0:
                Text.remove(Pos, 1 + Below(12));
                break;
            case 1:
                Text.insert(Pos, Pieces[Below(Pieces.size())]);
                break;
            case 2:
                Text[Pos] = static_cast<char>(1 + Below(255));
                break;
            default:
                Text.insert(Pos, Text.mid(Below(Text.size()), Below(60)));
                break;
            }
        }
        QString sLatin = QString::fromLatin1(Text);
        sLatin.replace(Loop, "while (Tick() && ");
        CScriptRunner Runner(sLatin.toLatin1());
        NumLoaded += Runner.ParseResult == 0 ? 1 : 0;
        const int Result = Runner.Run();
        NumFailed += Result == -1 ? 1 : 0;
        ASSERT_TRUE(Result == 0 || Result == -1 || Result == -2) << Text.constData();
        ASSERT_EQ(Runner.Get()->Nesting, 0) << Text.constData();
        ASSERT_LE(Runner.NumErrors, 1) << Text.constData();
        ASSERT_EQ(Runner.Get()->pLocals, nullptr) << Text.constData();
    }
    EXPECT_GT(NumLoaded, 500) << "the damage leaves scripts that run";
    EXPECT_GT(NumFailed, 500) << "and scripts that fail in their bodies";
}
