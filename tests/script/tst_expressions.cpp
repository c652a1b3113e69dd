#include "tests/script/ScriptRunner.h"

// Values: operators and their grouping, widths, calls.

TEST(ScriptExpression, OperatorsAndGrouping) {
    const std::pair<const char*, I64> aRow[] = {
        // Equal operators group from the right, and each operator has a rank of its own.
        {"10 - 3 - 2", 9},
        {"10 - 3 + 2", 5},
        {"10 + 3 - 2", 11},
        {"8 / 2 * 2", 2},
        {"8 * 2 / 4", 4},
        {"100 / 10 / 2", 20},
        {"2 * 3 + 1", 7},
        {"1 + 2 * 3", 7},
        {"(10 - 3) - 2", 5},
        {"1 << 2 << 1", 16},
        {"256 >> 4 >> 2", 128},
        {"256 >> 2 << 1", 16},
        {"3 > 2 > 0", 1},
        {"2 < 1 > 5", 0},
        {"5 == 5 != 0", 1},
        {"1 < 2 == 1", 1},
        {"6 & 3 == 3", 0},
        {"(6 & 3) == 2", 1},
        {"1 | 6 & 3 ^ 8", 11},
        {"12 ^ 4 & 4", 8},
        {"1 || 0 && 0", 1},
        {"0 && 0 || 1", 1},
        {"1 + 1 << 2", 8},
        {"16 >> 1 + 1", 4},
        // Each operator alone.
        {"3 >= 3", 1},
        {"2 >= 3", 0},
        {"3 <= 3", 1},
        {"4 <= 3", 0},
        {"2 && 4", 1},
        {"2 && 0", 0},
        {"0 || 4", 1},
        {"0 || 0", 0},
        {"5 == 5", 1},
        {"5 == 6", 0},
        {"5 != 5", 0},
        {"5 != 6", 1},
        {"5 << 65", 10},
        {"-8 >> 1", -4},
        {"-8 >> 65", -4},
        {"6 * -7", -42},
        {"-7 / 2", -3},
        {"7 / -2", -3},
        {"6 + -7", -1},
        {"6 - 7", -1},
        {"-1 > 0", 0},
        {"1 > 0", 1},
        {"-1 < 0", 1},
        {"0 < 0", 0},
        {"12 & 10", 8},
        {"12 | 10", 14},
        {"12 ^ 10", 6},
        // Numbers, signs and constants.
        {"0x1fF", 511},
        {"-0x10", -16},
        {"7-2", 5},
        {"7 -2", 5},
        {"7 - -2", 9},
        {"TEN", 10},
        {"MINUS", -5},
        {"0xFFFFFFFFFFFFFFFF", -1},
        {"18446744073709551615", -1},
        {"010", 10},
        {"0x7FFFFFFFFFFFFFFF + 1", std::numeric_limits<I64>::min()},
        {"(0 - 0x7FFFFFFFFFFFFFFF - 0) / 1", -0x7FFFFFFFFFFFFFFF},
        {"0x8000000000000000 / -1", std::numeric_limits<I64>::min()},
        {"((((1))))", 1},
        {" 1/*a*/+//b\n2", 3},
        // Results of the host are signed until they are stored.
        {"Fail()", -1},
        {"Fail() < 0", 1},
        {"Fail() + 1", 0},
        {"Out(-3)", -3},
    };
    for (const auto& [sExpression, Value] : aRow) {
        const QList<I64> Values = ValuesOf(QByteArray("Out(") + sExpression + ");");
        ASSERT_FALSE(Values.isEmpty()) << sExpression;
        EXPECT_EQ(Values.last(), Value) << sExpression;
    }
}

TEST(ScriptExpression, VariablesReadAsUnsignedOfTheirWidth) {
    const std::pair<const char*, QList<I64>> aRow[] = {
        {"int x; x = 4294967295; Out(x == 0xFFFFFFFF); Out(x < 0);", {1, 0}},
        {"int x; x = -1; Out(x);", {0xFFFFFFFF}},
        {"int x; x = Fail(); Out(x < 0); Out(x == 0xFFFFFFFF);", {0, 1}},
        {"char c; c = -1; Out(c); c = 0x1234; Out(c);", {255, 0x34}},
        {"unsigned char c; c = 300; Out(c);", {44}},
        {"signed int x; x = -2; Out(x);", {0xFFFFFFFE}},
        {"__int64 x; x = -1; Out(x < 0);", {1}},
        {"const volatile unsigned int x; x = 3; Out(x);", {3}},
        {"int x; x = 0x7FFFFFFF; x += 1; Out(x);", {0x80000000}},
    };
    for (const auto& [sBody, Values] : aRow) {
        EXPECT_EQ(ValuesOf(sBody), Values) << sBody;
    }
}

TEST(ScriptExpression, AssignmentOperators) {
    const std::pair<const char*, I64> aRow[] = {{"+=", 15}, {"-=", 9},  {"*=", 36},  {"/=", 4},  {"&=", 0},
                                                {"|=", 15}, {"^=", 15}, {"<<=", 96}, {">>=", 1}, {"=", 3}};
    for (const auto& [sOperator, Value] : aRow) {
        EXPECT_EQ(ValuesOf(QByteArray("int x; x = 12; x ") + sOperator + " 3; Out(x);"), QList<I64>{Value})
            << sOperator;
    }
    EXPECT_EQ(ValuesOf("int x; x = 20; x -= 3 - 2 - 1; Out(x);"), QList<I64>{18});
}

TEST(ScriptExpression, ArraysKeepTheirElementsApart) {
    EXPECT_EQ(ValuesOf("char a[4]; int i; i = 0; while (i < 4) { a[i] = 250 + i * 3; i += 1; }"
                       "Out(a[0]); Out(a[1]); Out(a[2]); Out(a[3]); Out(a[a[0] - 249]);"),
              QList<I64>({250, 253, 0, 3, 253}));
    EXPECT_EQ(ValuesOf("__int64 a[0x2]; int Behind; Behind = 7; a[1] = -1; a[0] = 1; Out(Behind); Out(a[1]);"),
              QList<I64>({7, -1}));
}

TEST(ScriptExpression, BothOperandsOfLogicalOperatorsAreEvaluated) {
    EXPECT_EQ(ValuesOf("int x; x = Out(0) && Out(1); x = Out(2) || Out(3);"), QList<I64>({0, 1, 2, 3}));
    EXPECT_EQ(ErrorOf("int x; x = 0; if ((x != 0) && (1000 / x)) { Out(1); }"), "1: Division by zero");
}

TEST(ScriptExpression, StringsReachTheHostWithEscapesTranslated) {
    // The slashes hide the rest of their line only from the search for the end of the body.
    CScriptRunner Runner(R"(void f (void) { Say("a b, (c) // d");
                            Say("x\\y\ty\b\r\n"); Say("cut\0off"); Say(""); Say("ä"); })");
    ASSERT_EQ(Runner.Run(), 0) << qPrintable(Runner.sError);
    EXPECT_EQ(Runner.Texts, QList<QByteArray>({"a b, (c) // d", "x\\y\ty\b\r\n", "cut", "", "ä"}));
}

TEST(ScriptExpression, CallsOfScriptFunctions) {
    const char* sText = "int Add (int a, unsigned int b) { return a * 10 + b; }\n"
                        "int Swap (int a int b) { int c; c = a; a = b; return a * 10 + c; }\n" // commas are optional
                        "int Nothing () { }\n"
                        "int Fact (int n) { if (n < 2) return 1; return n * Fact(n - 1); }\n"
                        "void Text (const char* s) { Say(\"inner\"); }\n"
                        "int Shadow (int x) { x = 99; return x; }\n"
                        "void f (void) {\n"
                        "  int x; x = 5;\n"
                        "  Out(Add(1, 2)); Out(Add(1 2)); Out(Swap(3, 4)); Out(Nothing()); Out(Fact(10));\n"
                        "  Text(\"a\"); Out(Shadow(x)); Out(x); Out(Nine(1, 2, 3, 4, 5, 6, 7, 8, 9));\n"
                        "}\n";
    CScriptRunner Runner(sText);
    ASSERT_EQ(Runner.ParseResult, 0) << qPrintable(Runner.sError);
    ASSERT_EQ(Runner.Run(), 0) << qPrintable(Runner.sError);
    EXPECT_EQ(Runner.Values, QList<I64>({12, 12, 43, -1, 3628800, 99, 5, 0}));
    EXPECT_EQ(Runner.Texts, QList<QByteArray>{"inner"});
}
