#include "tests/app/AppFixture.h"
#include "tests/app/CommandCases.h"

#include "script/JScript.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QTest>

// Console line, menu entry, hot key and script call of one command: the same effect and the same echo.

namespace {

enum ROAD { ROAD_CONSOLE, ROAD_ACTION, ROAD_KEY, ROAD_SCRIPT };

enum STATE { STATE_IDLE, STATE_HALTED, STATE_RUNNING };

struct ROAD_CASE {
    COMMAND_ID Id;
    STATE State;
    const char* sEcho; ///< what the console shows, and what is typed
    QStringList Args;
    QList<QKeyCombination> Keys; ///< none: the command has no hot key
    std::function<bool()> HasHappened;
};

} // namespace

class CRoadTest : public CAppTest {
protected:
    static void PressKey(QKeyCombination Key) { QTest::keyClick(&Window(), Key.key(), Key.keyboardModifiers()); }

    static void Bring(STATE State) {
        ASSERT_TRUE(StopSession());
        if (State == STATE_IDLE) {
            return;
        }
        ASSERT_TRUE(StartSession());
        if (State == STATE_RUNNING) {
            ASSERT_TRUE(Run("Debug.Continue()"));
            ASSERT_TRUE(WaitUntil([] { return !Device().IsHalted(); }));
        }
        // Keys and menus go by the actions' states, which follow the events.
        ASSERT_TRUE(
            WaitUntil([=] { return CCommandTable::IsAvailable(CMD_DEBUG_CONTINUE, true) == (State == STATE_HALTED); }));
    }

    static void RunScript(const QString& sLine) {
        ASSERT_EQ(ScriptOpenText("void OnProjectLoad (void) {\n  " + sLine + ";\n}\n"), 0);
        Window().GetSession().ExecuteScriptFunction(SF_ON_PROJECT_LOAD);
        EXPECT_FALSE(ScriptHasError()) << ScriptGetErrorText().toStdString();
    }

    static void Take(ROAD Road, const ROAD_CASE& Case, QKeyCombination Key) {
        switch (Road) {
        case ROAD_CONSOLE:
            EXPECT_EQ(Window().GetConsole().ExecuteCommand(Case.sEcho), 1);
            break;
        case ROAD_ACTION:
            if (!Case.Args.isEmpty()) {
                CCommandTable::SetArgs(Case.Id, Case.Args);
                Window().UpdateActions();
            }
            CCommandTable::GetAction(Case.Id)->trigger();
            break;
        case ROAD_KEY:
            PressKey(Key);
            break;
        case ROAD_SCRIPT:
            RunScript(Case.sEcho);
            break;
        }
    }

    void Check(ROAD Road, const ROAD_CASE& Case, QKeyCombination Key = {}) {
        SCOPED_TRACE(QStringLiteral("%1, road %2").arg(Case.sEcho).arg(Road).toStdString());
        Device().PostClearAllBreakpoints();
        Bring(Case.State);
        if (HasFatalFailure()) {
            return;
        }
        MarkConsole();
        Take(Road, Case, Key);
        EXPECT_TRUE(WaitUntil(Case.HasHappened)) << NewText();
        EXPECT_EQ(NewLines().filter(QString(Case.sEcho).section(QLatin1Char('('), 0, 0).trimmed()),
                  QStringList{QLatin1String(Case.sEcho) + ";"})
            << NewText();
    }

    void CheckAllRoads(const ROAD_CASE& Case) {
        for (const ROAD Road : {ROAD_CONSOLE, ROAD_ACTION, ROAD_SCRIPT}) {
            Check(Road, Case);
        }
        for (const QKeyCombination Key : Case.Keys) {
            Check(ROAD_KEY, Case, Key);
        }
    }

    static bool WasWritten(U32 Addr, U32 Expected) {
        U32 Value = 0;
        return Device().ReadMemBlocking(Addr, sizeof(Value), &Value) == 0 && Value == Expected;
    }
};

TEST_F(CRoadTest, RunControl) {
    const I64 Main = AddressOf("main");
    const I64 Sort = AddressOf("Calc_Sort");
    CheckAllRoads({CMD_DEBUG_START, STATE_IDLE, "Debug.Start()", {}, {Qt::Key_F5}, [=] { return IsHaltedAt(Main); }});
    CheckAllRoads({CMD_DEBUG_CONTINUE, STATE_HALTED, "Debug.Continue()", {}, {Qt::Key_F5}, [] {
                       return Device().IsConnected() && !Device().IsHalted();
                   }});
    CheckAllRoads({CMD_DEBUG_HALT, STATE_RUNNING, "Debug.Halt()", {}, {Qt::CTRL | Qt::Key_F5, Qt::Key_F6}, [] {
                       return Device().IsHalted();
                   }});
    CheckAllRoads({CMD_DEBUG_STEP_INTO, STATE_HALTED, "Debug.StepInto()", {}, {Qt::Key_F11}, [=] {
                       return Device().IsHalted() && Device().GetPC() != Main;
                   }});
    CheckAllRoads({CMD_DEBUG_RUN_TO, STATE_HALTED, "Debug.RunTo (\"Calc_Sort\")", {"Calc_Sort"}, {}, [=] {
                       return IsHaltedAt(Sort);
                   }});
    CheckAllRoads({CMD_DEBUG_STOP, STATE_HALTED, "Debug.Stop()", {}, {Qt::SHIFT | Qt::Key_F5}, [] {
                       return !Device().IsConnected();
                   }});
    CheckAllRoads({CMD_DEBUG_STOP, STATE_RUNNING, "Debug.Stop()", {}, {Qt::SHIFT | Qt::Key_F5}, [] {
                       return !Device().IsConnected();
                   }});
}

TEST_F(CRoadTest, ResetFromElsewhereStopsAtMain) {
    const I64 Main = AddressOf("main");
    CheckAllRoads(
        {CMD_DEBUG_RESET, STATE_RUNNING, "Debug.Reset()", {}, {Qt::Key_F4}, [=] { return IsHaltedAt(Main); }});
}

TEST_F(CRoadTest, BreakpointsMemoryAndRegisters) {
    const auto SpareRam = 0x20000800u;
    const U32 Sort = static_cast<U32>(AddressOf("Calc_Sort"));
    const QString sHex =
        QStringLiteral("0x%1").arg(QString::number(Sort, 16).toUpper().rightJustified(8, QLatin1Char('0')));
    const QByteArray Set = "Break.Set (" + sHex.toLatin1() + ")";
    CheckAllRoads({CMD_BREAK_SET, STATE_HALTED, Set.constData(), {sHex}, {}, [=] {
                       return Device().GetBreakpoint(Sort).State == BP_STATE_ON;
                   }});
    CheckAllRoads({CMD_BREAK_SET_ON_SRC, STATE_HALTED, "Break.SetOnSrc (\"Calc_Sort\")", {"Calc_Sort"}, {}, [=] {
                       return Device().GetBreakpoint(Sort).State == BP_STATE_ON;
                   }});
    CheckAllRoads({CMD_TARGET_WRITE_U32,
                   STATE_HALTED,
                   "Target.WriteU32 (0x20000800, 0x12345678)",
                   {"0x20000800", "0x12345678"},
                   {},
                   [=] { return WasWritten(SpareRam, 0x12345678); }});
    CheckAllRoads({CMD_TARGET_SET_REG, STATE_HALTED, "Target.SetReg (\"R5\", 0xCAFE)", {"R5", "0xCAFE"}, {}, [] {
                       return Device().GetCachedReg(5) == 0xCAFE;
                   }});
    CheckAllRoads({CMD_TARGET_GET_REG, STATE_HALTED, "Target.GetReg (\"PC\")", {"PC"}, {}, [] {
                       return CCommandTable::GetResult(CMD_TARGET_GET_REG) == AddressOf("main");
                   }});
    CheckAllRoads({CMD_TARGET_READ_U32, STATE_HALTED, "Target.ReadU32 (0x00000004)", {"0x00000004"}, {}, [] {
                       return CCommandTable::GetResult(CMD_TARGET_READ_U32) == (AddressOf("Reset_Handler") | 1);
                   }});
}

TEST_F(CRoadTest, DropDownEntriesSetTheModeAndRun) {
    struct {
        COMMAND_ID Entry;
        STATE State;
        QStringList Echo;
        std::function<bool()> HasHappened;
    } const aCase[] = {
        {CMD_DEBUG_DOWNLOAD_RESET,
         STATE_IDLE,
         {"Debug.SetConnectMode (CM_DOWNLOAD_RESET);", "Debug.Start();"},
         [] { return IsHaltedAt(AddressOf("main")); }},
        {CMD_DEBUG_RESET_HALT,
         STATE_RUNNING,
         {"Debug.SetResetMode (RM_RESET_HALT);", "Debug.Reset();"},
         [] { return IsHaltedAt(AddressOf("Reset_Handler")); }},
        {CMD_DEBUG_RESET_RUN,
         STATE_HALTED,
         {"Debug.SetResetMode (RM_RESET_AND_RUN);", "Debug.Reset();"},
         [] { return Device().IsConnected() && !Device().IsHalted(); }},
        {CMD_DEBUG_RESET_BREAK_AT_SYMBOL,
         STATE_RUNNING,
         {"Debug.SetResetMode (RM_BREAK_AT_SYMBOL);", "Debug.Reset();"},
         [] { return IsHaltedAt(AddressOf("main")); }},
        {CMD_DEBUG_ATTACH_HALT,
         STATE_IDLE,
         {"Debug.SetConnectMode (CM_ATTACH_HALT);", "Debug.Start();"},
         [] { return Device().IsConnected() && Device().IsHalted(); }},
        {CMD_DEBUG_ATTACH,
         STATE_IDLE,
         {"Debug.SetConnectMode (CM_ATTACH);", "Debug.Start();"},
         [] { return Device().IsConnected(); }},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.Echo[0].toStdString());
        SetSysVar(GetSysVar(VAR_RESET_MODE), RM_BREAK_AT_SYMBOL, false);
        SetSysVar(GetSysVar(VAR_CONNECT_MODE), CM_DOWNLOAD_RESET, false);
        Bring(Case.State);
        if (HasFatalFailure()) {
            return;
        }
        MarkConsole();
        CCommandTable::GetAction(Case.Entry)->trigger();
        EXPECT_TRUE(WaitUntil(Case.HasHappened)) << NewText();
        EXPECT_EQ(NewLines().filter(QStringLiteral("Debug.")), Case.Echo);
    }
}

TEST_F(CRoadTest, TheConsoleRefusesWhatAScriptIsRefused) {
    for (const LINE_CASE& Case : aCommandCase) {
        MarkConsole();
        ASSERT_TRUE(Run(QString::fromLatin1(Case.sCall).remove(';'))) << Case.sCall;
        const QString sLast = NewLines().value(NewLines().size() - 1);
        if (Case.sError != nullptr) {
            EXPECT_TRUE(sLast.endsWith(QStringLiteral("): ") + Case.sError)) << Case.sCall << "\n" << NewText();
        } else {
            EXPECT_FALSE(sLast.contains(QStringLiteral("): "))) << Case.sCall << "\n" << NewText();
        }
    }
    InitSysVars();
    InitColors();
    InitFonts();
}
