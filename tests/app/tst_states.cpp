#include "tests/app/AppFixture.h"

#include "app/HotKeys.h"
#include "base/Application.h"
#include "project/Project.h"
#include "settings/SysVars.h"

#include <QKeyEvent>
#include <QRegularExpression>
#include <QTimer>

// What the main window shows of a session: action states, title, status bar.

namespace {

struct ACTION_STATE {
    COMMAND_ID Id;
    const char* sIdle; ///< "ev": enabled and visible, "-v": visible only, "--": neither
    const char* sHalted;
    const char* sRunning;
};

constexpr ACTION_STATE aState[] = {
    {CMD_DEBUG_START, "ev", "--", "--"},       {CMD_DEBUG_STOP, "--", "ev", "ev"},
    {CMD_DEBUG_CONTINUE, "--", "ev", "--"},    {CMD_DEBUG_HALT, "-v", "--", "ev"},
    {CMD_DEBUG_STEP_INTO, "-v", "ev", "-v"},   {CMD_DEBUG_STEP_OVER, "-v", "ev", "-v"},
    {CMD_DEBUG_STEP_OUT, "-v", "ev", "-v"},    {CMD_DEBUG_RUN_TO, "-v", "-v", "-v"},
    {CMD_DEBUG_SET_NEXT_PC, "-v", "-v", "-v"}, {CMD_DEBUG_SET_NEXT_STATEMENT, "-v", "-v", "-v"},
};

std::string StateOf(COMMAND_ID Id) {
    // For Qt an action that is hidden is disabled, whatever it was set to.
    const QAction* pAction = CCommandTable::GetAction(Id);
    return std::string(pAction->isEnabled() ? "e" : "-") + (pAction->isVisible() ? "v" : "-");
}

} // namespace

class CStateTest : public CAppTest {
protected:
    static void CheckActions(const char* ACTION_STATE::*pExpected) {
        for (const ACTION_STATE& State : aState) {
            EXPECT_EQ(StateOf(State.Id), State.*pExpected) << CCommandTable::GetName(State.Id).toStdString();
            EXPECT_TRUE(CCommandTable::IsAvailable(State.Id, false)) << CCommandTable::GetName(State.Id).toStdString();
        }
    }

    static bool WaitForStatus(const QString& sText) {
        return WaitUntil([&] { return Window().GetStatusBar().GetStatusMessage() == sText; });
    }
};

TEST_F(CStateTest, ActionsFollowTheSession) {
    Window().UpdateActions();
    CheckActions(&ACTION_STATE::sIdle);
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(WaitForStatus("CPU halted"));
    CheckActions(&ACTION_STATE::sHalted);
    ASSERT_TRUE(Run("Debug.Continue()"));
    ASSERT_TRUE(WaitForStatus("CPU running..."));
    CheckActions(&ACTION_STATE::sRunning);
    ASSERT_TRUE(StopSession());
    CheckActions(&ACTION_STATE::sIdle);
}

TEST_F(CStateTest, BreakpointCommandsNeedBreakpoints) {
    Window().UpdateActions();
    EXPECT_FALSE(CCommandTable::IsAvailable(CMD_BREAK_CLEAR_ALL, true));
    EXPECT_EQ(Window().GetConsole().ExecuteCommand("Break.ClearAll()"), 2);
    EXPECT_EQ(NewLines(), QStringList{"Break.ClearAll: Command disabled"});
    ASSERT_TRUE(Run("Break.SetOnSrc (\"Calc_Sort\")"));
    ASSERT_TRUE(WaitUntil([] { return CCommandTable::IsAvailable(CMD_BREAK_CLEAR_ALL, false); }));
    EXPECT_TRUE(CCommandTable::IsAvailable(CMD_BREAK_CLEAR_ALL, true));
    EXPECT_EQ(Window().GetConsole().ExecuteCommand("Break.ClearAll()"), 1);
    EXPECT_TRUE(WaitUntil([] { return !CCommandTable::IsAvailable(CMD_BREAK_CLEAR_ALL, false); }));
    EXPECT_TRUE(Device().GetBreakpoints().isEmpty());
}

TEST_F(CStateTest, TitleNamesProjectThenProgramFile) {
    const QString sHead = GetAppTitle(true, true);
    EXPECT_EQ(Window().windowTitle(), sHead + " - " + Path("demo.dbgprj"));
    CProject::Get().SetModified(true);
    EXPECT_EQ(Window().windowTitle(), sHead + " - *" + Path("demo.dbgprj"));
    ASSERT_TRUE(StartSession());
    EXPECT_EQ(Window().windowTitle(), sHead + " - " BRASK_SOURCE_DIR "/examples/demo/demo.elf");
    ASSERT_TRUE(StopSession());
    EXPECT_TRUE(WaitUntil([&] { return Window().windowTitle() == sHead + " - *" + Path("demo.dbgprj"); }));
    CProject::Get().SetModified(false);

    ASSERT_TRUE(OpenProject("bare.dbgprj", "void OnProjectLoad (void) {\n  Project.SetDevice (\"Cortex-M4\");\n"
                                           "  Project.SetTargetIF (\"SWD\");\n}\n"));
    ASSERT_TRUE(Run("Debug.Connect()"));
    EXPECT_TRUE(WaitUntil([&] { return Window().windowTitle() == sHead + " - bare"; }))
        << Window().windowTitle().toStdString();
    ASSERT_TRUE(StopSession());

    ASSERT_TRUE(Run("File.NewProject()"));
    CProject::Get().SetModified(false);
    EXPECT_EQ(Window().windowTitle(), sHead + " - New Project");
}

TEST_F(CStateTest, StatusBarTellsStateAndSpeed) {
    CStatusBar& Bar = Window().GetStatusBar();
    EXPECT_EQ(Bar.GetStatusMessage(), "Ready");
    EXPECT_EQ(Bar.GetConnectionInfo(), "Disconnected");
    ASSERT_TRUE(StartSession());
    EXPECT_TRUE(WaitForStatus("CPU halted"));
    EXPECT_EQ(Bar.GetConnectionInfo(), "Connected @ 4 MHz");
    ASSERT_TRUE(Run("Debug.Continue()"));
    EXPECT_TRUE(WaitForStatus("CPU running..."));
    ASSERT_TRUE(Run("Debug.Halt()"));
    EXPECT_TRUE(WaitForStatus("CPU halted"));
    ASSERT_TRUE(StopSession());
    EXPECT_TRUE(WaitForStatus("Ready"));
    ASSERT_TRUE(Run("Project.SetDevice (\"No such device\")"));
    ASSERT_TRUE(Run("Debug.Start()"));
    EXPECT_TRUE(WaitForStatus("Novik: error connecting to device"));
}

TEST_F(CStateTest, ProgressBarShowsARunIfThePreferenceSaysSo) {
    ASSERT_TRUE(StartSession());
    for (const bool IsWanted : {true, false}) {
        SetSysVar(GetSysVar(PREF_SHOW_PROGBAR_WHILE_RUNNING), IsWanted ? 1 : 0, false);
        ASSERT_TRUE(WaitUntil([] { return !Window().GetStatusBar().IsProgressVisible(); }));
        ASSERT_TRUE(Run("Debug.Continue()"));
        ASSERT_TRUE(WaitForStatus("CPU running..."));
        EXPECT_EQ(Window().GetStatusBar().IsProgressVisible(), IsWanted);
        EXPECT_EQ(Window().GetStatusBar().GetShownMessage(), "CPU running...");
        ASSERT_TRUE(Run("Debug.Halt()"));
        ASSERT_TRUE(WaitForStatus("CPU halted"));
    }
    EXPECT_TRUE(WaitUntil([] { return !Window().GetStatusBar().IsProgressVisible(); }));
}

TEST_F(CStateTest, AnUnknownBreakSymbolHaltsAtTheFirstInstruction) {
    ASSERT_TRUE(Run("Edit.SysVar (VAR_BREAK_AT_THIS_SYMBOL, \"no_such_symbol\")"));
    EXPECT_TRUE(NewText().ends_with(": unknown symbol")) << NewText();
    ASSERT_TRUE(Run("Debug.Start()"));
    EXPECT_TRUE(WaitForHaltAt(AddressOf("Reset_Handler")));
    EXPECT_TRUE(WaitUntil([this] {
        return NewLines().contains(
            "Break at Symbol: Symbol no_such_symbol is unknown. Program halts at first instruction.");
    })) << NewText();
    MarkConsole();
    ASSERT_TRUE(Run("Debug.StepInto()"));
    EXPECT_TRUE(WaitUntil([] { return Device().IsHalted() && Device().GetPC() != AddressOf("Reset_Handler"); }));
}

TEST_F(CStateTest, ABreakSymbolAtThePcNeedsNoRun) {
    ASSERT_TRUE(Run("Edit.SysVar (VAR_BREAK_AT_THIS_SYMBOL, \"Reset_Handler\")"));
    ASSERT_TRUE(Run("Debug.Start()"));
    EXPECT_TRUE(WaitForHaltAt(AddressOf("Reset_Handler")));
    EXPECT_TRUE(WaitUntil([this] {
        return NewText().find("Break at Symbol: Symbol Reset_Handler is unknown.") != std::string::npos;
    })) << NewText();
}

TEST_F(CStateTest, TheSameProgramFileIsDownloadedAgainANewOneIsNot) {
    ASSERT_TRUE(OpenProject("log.dbgprj", DemoProject({}, "void BeforeTargetDownload (void) {\n"
                                                          "  Util.Log (\"[BeforeTargetDownload]\");\n}\n")));
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(Run("Debug.StepInto()"));
    ASSERT_TRUE(WaitUntil([] { return Device().IsHalted() && Device().GetPC() != AddressOf("main"); }));
    MarkConsole();
    ASSERT_TRUE(Run("File.Open (\"" BRASK_SOURCE_DIR "/examples/demo/demo.elf\")"));
    EXPECT_TRUE(WaitForHaltAt(AddressOf("main")));
    EXPECT_TRUE(NewLines().contains("[BeforeTargetDownload]")) << NewText();

    QFile Demo(BRASK_SOURCE_DIR "/examples/demo/demo.elf");
    ASSERT_TRUE(Demo.open(QIODevice::ReadOnly));
    const QString sCopy = WriteFile("copy.elf", Demo.readAll());
    MarkConsole();
    ASSERT_TRUE(Run("File.Open (\"" + sCopy + "\")"));
    ASSERT_TRUE(WaitUntil([this] { return NewText().find("File.Open: completed in") != std::string::npos; }));
    ASSERT_TRUE(Run("Debug.Continue()")); // the reset of a download would have been queued in front of this
    ASSERT_TRUE(WaitForStatus("CPU running..."));
    EXPECT_FALSE(NewLines().contains("[BeforeTargetDownload]")) << NewText();
}

TEST_F(CStateTest, AResetRunsTheHaltFunctionOnlyWhereItStops) {
    ASSERT_TRUE(OpenProject(
        "halts.dbgprj",
        DemoProject({}, "void AfterTargetHalt (void) {\n"
                        "  unsigned int PC;\n"
                        "  PC = Target.GetReg (\"PC\");\n"
                        "  if (PC == Elf.GetExprValue (\"main\")) { Util.Log (\"[at main]\"); }\n"
                        "  else if (PC == Elf.GetExprValue (\"Reset_Handler\")) { Util.Log (\"[at entry]\"); }\n"
                        "  else { Util.Log (\"[elsewhere]\"); }\n"
                        "}\n")));
    MarkConsole();
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(WaitUntil([this] { return NewLines().contains("[at main]"); })) << NewText();
    struct {
        const char* sMode;
        const char* sPlace;
    } const aCase[] = {
        {"RM_RESET_HALT", "[at entry]"}, {"RM_BREAK_AT_SYMBOL", "[at main]"}, {"RM_RESET_HALT", "[at entry]"}};
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sMode);
        ASSERT_TRUE(Run(QStringLiteral("Debug.SetResetMode (%1)").arg(Case.sMode)));
        ASSERT_TRUE(Run("Debug.Continue()"));
        ASSERT_TRUE(WaitForStatus("CPU running..."));
        MarkConsole();
        ASSERT_TRUE(Run("Debug.Reset()"));
        EXPECT_TRUE(WaitUntil([&] { return NewLines().contains(Case.sPlace); })) << NewText();
        EXPECT_EQ(NewLines().filter(QRegularExpression("^\\[")), QStringList{Case.sPlace}) << NewText();
    }
}

TEST_F(CStateTest, ATypedAccessOnASlowLinkCanBeCancelled) {
    ASSERT_TRUE(StartSession());
    const QString sFile = Path("x.bin");
    const QStringList Lines = {"Target.FillMemory (0x20010000, 0x80000, 0x0)", "Target.WriteU32 (0x20010000, 0x1)",
                               "Target.ReadU32 (0x20010000)",
                               "Target.SaveMemory (\"" + sFile + "\", 0x20010000, 0x80000)", "Break.Set (0x00000100)"};
    ASSERT_TRUE(Run("Exec.Command (\"SimSlowLink 300\")"));
    for (const QString& sLine : Lines) {
        MarkConsole();
        // Runs when the wait begins to let the window live.
        QTimer::singleShot(0, &Window(), [] {
            EXPECT_TRUE(TakeAlternativeKey(Window(), QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier)));
        });
        ASSERT_TRUE(Run(sLine));
        EXPECT_EQ(NewLines().filter(sLine.section(' ', 0, 0)), QStringList({sLine + ";", sLine + ": cancelled"}));
    }
    EXPECT_FALSE(QFile::exists(sFile));
    ASSERT_TRUE(WaitUntil([] { return Device().IsIdle(); }));
    ASSERT_TRUE(Run("Exec.Command (\"SimFaultsOff\")"));
    Device().PostClearAllBreakpoints();
}
