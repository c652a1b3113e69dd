#include "app/ConsoleOutput.h"
#include "script/JScript.h"
#include "tests/app/AppFixture.h"

#include <QLineEdit>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTest>

class CConsoleTest : public CAppTest {
protected:
    static QLineEdit* Input() { return Window().GetConsole().findChild<QLineEdit*>(); }
    static void Type(const QString& sLine) {
        Input()->setText(sLine);
        QTest::keyClick(Input(), Qt::Key_Return);
    }
    static std::string Browse(Qt::Key Key) {
        QTest::keyClick(Input(), Key);
        return Input()->text().toStdString();
    }
};

TEST_F(CConsoleTest, HistoryGoesAroundInBothDirections) {
    for (const char* sLine : {"history.one", "history.two", "history.three", "history.two"}) {
        Type(sLine);
        EXPECT_TRUE(Input()->text().isEmpty());
    }
    const std::string sNewest = Browse(Qt::Key_Up);
    EXPECT_EQ(sNewest, "history.three"); // the repeated line keeps its place
    EXPECT_EQ(Browse(Qt::Key_Up), "history.two");
    EXPECT_EQ(Browse(Qt::Key_Up), "history.one");
    EXPECT_EQ(Browse(Qt::Key_Down), "history.two");
    EXPECT_EQ(Browse(Qt::Key_Down), "history.three");
    const std::string sOldest = Browse(Qt::Key_Down);
    EXPECT_EQ(Browse(Qt::Key_Up), sNewest); // behind the oldest the newest follows
    Type("History.One");                    // another letter case is another line
    EXPECT_EQ(Browse(Qt::Key_Up), "History.One");
    EXPECT_EQ(Browse(Qt::Key_Down), sOldest);
    Input()->clear();
}

TEST_F(CConsoleTest, LinesGiveTheirEchoOrTheirError) {
    const QString sHint = ": unknown command. Type ? or help for a list of available commands.";
    struct {
        const char* sLine;
        int Result;
        QStringList Output;
    } const aCase[] = {
        {"nonsense", 0, {"nonsense" + sHint}},
        {"Debug.Nonsense (1, 2);", 0, {"Debug.Nonsense (1, 2)" + sHint}},
        {"help me", 0, {"help me" + sHint}},
        {"   ", 0, {"   " + sHint}},
        {"Util.Log (\"a, b\")", 1, {"a, b"}},
        {"util.log \"lower case\"", 1, {"lower case"}},
        {"Debug.Continue", 1, {"Debug.Continue();", "Debug.Continue(): not connected"}},
        {"debug.continue ();", 1, {"Debug.Continue();", "Debug.Continue(): not connected"}},
        {"Debug.Continue (void)", 1, {"Debug.Continue();", "Debug.Continue(): not connected"}},
        {"Debug.Continue (1)", 1, {"Debug.Continue (1);", "Debug.Continue (1): wrong parameter count"}},
        {"Project.SetHostIF", 1, {"Project.SetHostIF();", "Project.SetHostIF(): wrong parameter count"}},
        {"Project.SetTIFSpeed 4000", 1, {"Project.SetTIFSpeed (\"4000\");"}},
        {"Project.SetRootPath (\"/nowhere\")", 1, {"Project.AddRootPath (\"/nowhere\");"}},
        {"Debug.SetResetMode 0", 1, {"Debug.SetResetMode (0);"}},
        {"Debug.SetResetMode (RM_BREAK_AT_MAIN)", 1, {"Debug.SetResetMode (RM_BREAK_AT_SYMBOL);"}},
        {"View.Line (4294967296)", 1, {"View.Line (4294967296);", "View.Line (4294967296): invalid parameter"}},
        {"Break.Set 0x120000000", 1, {"Break.Set (0x120000000);", "Break.Set (0x120000000): invalid parameter"}},
        {"Project.SetJTAGConfig (-2147483649, 1)",
         1,
         {"Project.SetJTAGConfig (-2147483649, 1);", "Project.SetJTAGConfig (-2147483649, 1): invalid parameter"}},
        {"Edit.SysVar (VAR_SEMIHOSTING_ENABLED, 0x100000001)",
         1,
         {"Edit.SysVar (VAR_SEMIHOSTING_ENABLED, 0x100000001);",
          "Edit.SysVar (VAR_SEMIHOSTING_ENABLED, 0x100000001): invalid parameter"}},
        {"Target.WriteU32 0x99999999999999999999 1",
         1,
         {"Target.WriteU32 (0x99999999999999999999, 1);",
          "Target.WriteU32 (0x99999999999999999999, 1): not connected"}},
        {"Debug.SetResetMode (RM_NONSENSE)",
         1,
         {"Debug.SetResetMode (RM_NONSENSE);", "Debug.SetResetMode (RM_NONSENSE): invalid parameter"}},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sLine);
        MarkConsole();
        const int Result = Window().GetConsole().ExecuteCommand(Case.sLine);
        EXPECT_EQ(Result, Case.Result);
        EXPECT_EQ(NewLines(), Case.Output) << NewText();
    }
}

TEST_F(CConsoleTest, NumbersAreNeverCutTo32Bits) {
    ASSERT_TRUE(StartSession());
    const auto IsRefused = [&](const QString& sCommand) {
        MarkConsole();
        EXPECT_TRUE(Run(sCommand));
        return NewText().ends_with(": invalid parameter");
    };
    U32 Before = 0;
    ASSERT_EQ(Device().ReadMemBlocking(0x20000000, 4, &Before), 0);
    for (const char* sCommand : {"Target.WriteU32 (%1, 1)", "Target.WriteU32 (0x20000000, %1)", "Target.ReadU8 (%1)",
                                 "Target.FillMemory (%1, 4, 0)", "Target.SetReg (\"R0\", %1)", "Debug.SetNextPC (%1)",
                                 "View.Line (%1)", "Break.Set (%1)"}) {
        for (const char* sNumber :
             {"0x120000000", "4294967296", "-2147483649", "0x7FFFFFFFFFFFFFFF", "0x99999999999999999999"}) {
            EXPECT_TRUE(IsRefused(QString(sCommand).replace("%1", sNumber))) << sCommand << sNumber << "\n"
                                                                             << NewText();
        }
    }
    ASSERT_TRUE(Run("View.Source (\"main\")"));
    for (const char* sLine : {"0", "-1", "0x7FFFFFFF", "0x80000000", "4294967295"}) {
        EXPECT_TRUE(IsRefused(QString("View.Line (%1)").arg(sLine))) << sLine << NewText();
    }
    // The same from a script.
    ASSERT_TRUE(
        OpenProject("numbers.dbgprj", DemoProject({}, "void AfterTargetHalt (void) { Break.Set (0x120000000); }\n")));
    MarkConsole();
    Window().GetSession().ExecuteScriptFunction(SF_AFTER_TARGET_HALT);
    EXPECT_EQ(NewLines(), QStringList({"Break.Set (0x120000000);", "Break.Set (0x120000000): invalid parameter"}));
    EXPECT_TRUE(Device().GetBreakpoints().isEmpty());
}

TEST_F(CConsoleTest, AnEmptyLineIsNoError) {
    MarkConsole();
    Type("");
    EXPECT_EQ(NewLines().size(), 1);
    EXPECT_TRUE(NewLines()[0].trimmed().isEmpty());
}

TEST_F(CConsoleTest, ALongLineIsCutAtAThousandBytes) {
    MarkConsole();
    EXPECT_TRUE(Run("Util.Log (\"" + QString(5000, 'x') + "\")"));
    EXPECT_EQ(NewLines(), QStringList{QString(1000, 'x')});
}

TEST_F(CConsoleTest, TheOutputKeepsABoundedNumberOfLinesThatCanBeCopied) {
    CConsoleOutput Output(nullptr);
    Output.SetTextFont(QFont());
    Output.resize(600, 200);
    Output.Append({{"one\ntwo"}, {" and a half", CC_ERROR, false}, {"three", CC_USER, true, true}});
    EXPECT_EQ(Output.GetText(), "one\ntwo and a half\nthree");
    Output.SelectAll();
    EXPECT_EQ(Output.GetSelectedText(), Output.GetText());
    QList<CONSOLE_MSG> Msgs;
    for (int i = 4; i < CONSOLE_MAX_LINES + 2; ++i) {
        Msgs.append({QByteArray::number(i)});
    }
    Output.Append(Msgs);
    EXPECT_EQ(Output.GetSelectedText(), "two and a half\nthree") << "a selection stays, but for lines that go";
    Output.Append({{"x"}, {"y"}, {"z"}});
    EXPECT_FALSE(Output.HasSelection());
    EXPECT_EQ(Output.GetText().count('\n') + 1, CONSOLE_MAX_LINES);
    EXPECT_TRUE(Output.GetText().startsWith("5\n6\n"));
    QTest::mouseDClick(Output.viewport(), Qt::LeftButton, {}, {8, 3});
    EXPECT_EQ(Output.GetSelectedText(),
              Output.GetText().section('\n', Output.verticalScrollBar()->value(), Output.verticalScrollBar()->value()));
    Output.Clear();
    EXPECT_EQ(Output.GetText() + Output.GetSelectedText(), "");
}

TEST_F(CConsoleTest, AHaltLeavesTheFocusToWhoTypes) {
    ASSERT_TRUE(StartSession());
    Input()->setFocus();
    ASSERT_TRUE(WaitUntil([] { return Input()->hasFocus(); }));
    Type("Debug.StepInto()");
    ASSERT_TRUE(WaitUntil([] { return Device().IsHalted() && Device().GetPC() != AddressOf("main"); }));
    ASSERT_TRUE(WaitUntil([] { return CCommandTable::IsAvailable(CMD_DEBUG_STEP_INTO, true); }));
    EXPECT_TRUE(Input()->hasFocus());
}
