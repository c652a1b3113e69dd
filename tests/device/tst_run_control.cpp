// Connection, run control, the halt sequence and steps, against the scripted probe.

#include "device/SemiHostHook.h"
#include "tests/device/DeviceFixture.h"

#include <QRegularExpression>

namespace {

const QByteArray BKPT_AB("\xAB\xBE", 2);
const QByteArray BKPT_00("\x00\xBE", 2);
const QByteArray NOP("\x00\xBF", 2);

class CSemiHost : public CSemiHostHook {
public:
    bool IsEnabled() const override { return true; }
    int HandleInterrupt(U32 PC) override {
        PCs += PC;
        AutoResume = AutoResume && !NeedsUser;
        return Result;
    }
    QList<U32> PCs;
    int Result = 0;
    bool NeedsUser = false;
};

class CConnectTest : public CDeviceTest {};
class CRunTest : public CDeviceTest {};
class CHaltTest : public CDeviceTest {};

} // namespace

TEST_F(CConnectTest, SelectsTheConfiguredHostInterface) {
    struct {
        int HostIF, UseSN, SN;
        const char* sFail;
        const char* sCall;
        const char* sMessage;
    } const aCases[] = {
        {1, 0, 77, "SelectUSB", "SelectUSB", "Connect: serial number not found on usb"},
        {1, 1, 77, "SelectByUSBSN", "SelectByUSBSN 4d", "Connect: serial number not found on usb"},
        {1, 1, 0, "SelectUSB", "SelectUSB", "Connect: serial number not found on usb"},
        {2, 0, 0, "SelectIP", "SelectIP", "Connect: error during configuration of IP interface"},
        {3, 0, 0, "", "", "Connect: unknown host interface"},
    };
    for (const auto& Case : aCases) {
        T().Config.SetNumber(DEV_CFG_HOST_IF, Case.HostIF);
        T().Config.SetNumber(DEV_CFG_USE_SN, Case.UseSN);
        T().Config.SetNumber(DEV_CFG_USB_SN, Case.SN);
        Listener.Log.clear();
        Fake.TakeCalls();
        Fake.Answers[Case.sFail] = {Case.HostIF == 2 ? 1 : -1};
        EXPECT_EQ(T().Connection.ConnectSimple(), -1);
        Pass();
        EXPECT_TRUE(Listener.Log.contains(Case.sMessage)) << Case.sMessage;
        EXPECT_TRUE(Fake.TakeCalls().join('|').contains(Case.sCall)) << Case.sCall;
    }
}

TEST_F(CConnectTest, FailsWhereTheProbeFails) {
    struct {
        const char* sCall;
        std::deque<int> Answers;
        bool IsOk;
        const char* sMessage;
    } const aCases[] = {
        {"Open", {1}, false, "Open: NOVIK API call failed with error message: no probe"},
        {"Connect", {1}, true, "Connecting to target..."},
        {"IsConnected", {0}, true, "Connecting to target..."},
        {"Connect", {1, 1}, false, "Connect: NOVIK API call failed"},
    };
    for (const auto& Case : aCases) {
        Fake.Answers.clear();
        Fake.Answers[Case.sCall] = Case.Answers;
        Fake.TakeCalls();
        Listener.Log.clear();
        pDevice->PostConnect(CM_SILENT);
        Pass();
        EXPECT_EQ(pDevice->IsConnected(), Case.IsOk) << Case.sMessage;
        EXPECT_TRUE(Listener.Log.contains(Case.sMessage)) << Case.sMessage;
        T().Connection.Disconnect();
    }
}

TEST_F(CConnectTest, ConfiguresInOrder) {
    T().Config.SetNumber(DEV_CFG_MULTI_TARGET, 1);
    T().Config.SetNumber(DEV_CFG_IR_PRE, 4);
    T().Config.SetNumber(DEV_CFG_DR_PRE, 1);
    T().Connection.SetConfigParam(DEV_CFG_DEVICE_NAME, "Fake Device 2");
    T().Connection.SetConfigParam(DEV_CFG_SPEED, 2000000);
    Fake.TakeCalls();
    T().Connection.ConnectSimple();
    const QString sCalls = Fake.TakeCalls().join('|');
    EXPECT_TRUE(sCalls.contains("ExecCommand device=Fake Device 2|SetEndian 0|TIF_Select 0|ConfigJTAG 4 1|SetSpeed 7d0|"
                                "Connect"))
        << sCalls.toStdString();
    EXPECT_EQ(pDevice->GetInterfaceSpeed(), 4000000u);
    EXPECT_EQ(T().Facts.FirmwareText.Get(), QByteArray("Fake V1"));
    EXPECT_EQ(T().Facts.Family, int(DF_CORTEX_M4));

    Fake.sExecError = "unknown device";
    EXPECT_EQ(T().Connection.ConnectSimple(), -1);
    EXPECT_FALSE(pDevice->IsConnected());
}

TEST_F(CConnectTest, AMissingLibraryIsAClearError) {
    const NOVIK_FUNCS None = LoadNovikFuncs("/nonexistent/libnovik.so");
    CDevice Device(None, Clock);
    Device.PostConnect(CM_ATTACH);
    Device.RunPass();
    Device.DeliverEvents(100);
    EXPECT_TRUE(Listener.Heard.contains("ConnectFailed 1"));
    EXPECT_TRUE(Listener.Log.join('|').contains("cannot load the probe library /nonexistent/libnovik.so"));
}

TEST_F(CConnectTest, ListsOutliveADisconnectAndALostConnection) {
    ConnectHalted(0x8000);
    pDevice->PostSetBreakpoint(0x8010, BP_STATE_ON, BP_TYPE_HARD);
    pDevice->PostSetBreakpoint(0x8020, BP_STATE_DISABLED, BP_TYPE_ANY);
    Pass();
    Resume();
    Fake.Answers["IsHalted"] = {-1};
    EXPECT_EQ(Pass(), QStringList("ConnectionLost"));
    EXPECT_TRUE(pDevice->IsConnectionLost());
    Fake.TakeCalls();
    EXPECT_EQ(T().Run.Continue(), -1);
    T().Connection.Disconnect();
    EXPECT_EQ(Fake.CountCalls("ClrBPEx"), 0);
    EXPECT_EQ(Fake.CountCalls("Close"), 1);
    EXPECT_EQ(pDevice->GetBreakpoints().size(), 2);
    // A breakpoint set meanwhile reaches the probe with the next connect; the disabled one doesn't.
    T().BPs.SetBreakpoint(0x8030, BP_STATE_ON, BP_TYPE_ANY);
    Fake.BPs.clear();
    T().Connection.Connect(CM_ATTACH);
    ASSERT_EQ(Fake.BPs.size(), 2);
    EXPECT_EQ(Fake.BPs[0].Addr, 0x8010u);
    EXPECT_EQ(Fake.BPs[0].Flags, 0xFFFFFF00u);
    EXPECT_EQ(Fake.BPs[1].Addr, 0x8030u);
}

TEST_F(CRunTest, AHaltOfAHaltedTargetReachesNobody) {
    ConnectHalted(0x8000);
    pDevice->PostHalt();
    EXPECT_EQ(Pass(), QStringList());
    EXPECT_EQ(Fake.CountCalls("Halt"), 0);
}

TEST_F(CRunTest, ContinuePassesOverWhatWouldStopItAgain) {
    struct {
        U32 PC;
        QByteArray Inst;
        QStringList Calls;
    } const aCases[] = {
        {0x100, NOP, {"GoEx"}},
        {0x100, BKPT_00, {"WriteReg f 102", "GoEx"}},
        {0, NOP, {"Step", "GoEx"}},
    };
    for (const auto& Case : aCases) {
        Fake.Poke(Case.PC, Case.Inst);
        ConnectHalted(Case.PC);
        T().Run.Continue();
        const QStringList Calls = Fake.TakeCalls().filter(QRegularExpression("^(WriteReg|Step|GoEx)"));
        EXPECT_EQ(Calls, Case.Calls) << Case.PC;
    }
    Fake.TakeCalls();
    EXPECT_EQ(T().Run.Continue(), 0); // runs already
    EXPECT_EQ(Fake.CountCalls("GoEx"), 0);
}

TEST_F(CRunTest, ResetHaltsAndReports) {
    ConnectHalted(0x8000);
    Resume();
    Fake.Regs[NOVIK_REG_PC] = 0x100;
    pDevice->PostReset(RM_RESET_HALT);
    const QStringList Heard = Pass();
    EXPECT_TRUE(Heard.contains("ResetDone 100 0"));
    const QString sCalls = Fake.TakeCalls().join(' ');
    EXPECT_TRUE(sCalls.contains("Halt SetEndian 0 Reset Halt")) << sCalls.toStdString();
}

TEST_F(CRunTest, ResetThatDoesNotHaltTimesOut) {
    ConnectHalted(0x8000);
    Resume();
    Fake.Answers["Halt"] = {1, 1};
    pDevice->PostReset(RM_RESET_HALT);
    EXPECT_TRUE(Pass().join(' ').contains("ResetFailed"));
    EXPECT_TRUE(Listener.Log.contains("Target did not halt following reset"));
    Fake.Answers["Reset"] = {1};
    pDevice->PostReset(RM_SILENT);
    EXPECT_FALSE(Pass().join(' ').contains("Reset"));
    EXPECT_TRUE(Listener.Log.contains("Reset: NOVIK API call failed"));
}

TEST_F(CRunTest, DeferredStepsAreFinishedByTheThread) {
    ConnectHalted(0x8000);
    pDevice->SetDeferredConnectMode(CM_DOWNLOAD_RESET);
    EXPECT_EQ(Pass(), QStringList("ConnectDone 0"));
    EXPECT_FALSE(pDevice->IsSessionReady());
    pDevice->SetDeferredResetMode(RM_BREAK_AT_SYMBOL);
    EXPECT_EQ(Pass(), QStringList({"ResetDone 8000 1", "HaltDone 8000 0"}));
    pDevice->RequestInitTargetSPandPC();
    EXPECT_EQ(Pass(), QStringList("HaltDone 8000 1"));
    EXPECT_EQ(Pass(), QStringList());
    pDevice->MarkSessionReady();
    EXPECT_EQ(Pass(), QStringList("HaltDone 8000 0"));
}

TEST_F(CHaltTest, AHaltIsReportedByItsReason) {
    ConnectHalted(0x8000);
    T().BPs.SetBreakpoint(0x8010, BP_STATE_ON, BP_TYPE_ANY);
    Resume();
    EXPECT_EQ(StopAt(0x8010), QStringList("HaltDone 8010 2"));
    EXPECT_EQ(pDevice->GetBreakpoint(0x8010).HitCount, 1u);
    Resume();
    EXPECT_EQ(StopAt(0x8011 + 0x10), QStringList("HaltDone 8020 0")); // bit 0 of the PC is clear
    EXPECT_TRUE(pDevice->IsStateValid());
}

TEST_F(CHaltTest, ARequestBeatsABreakpoint) {
    ConnectHalted(0x8000);
    T().BPs.SetBreakpoint(0x8010, BP_STATE_ON, BP_TYPE_ANY);
    Resume();
    pDevice->PostHalt();
    Fake.Regs[NOVIK_REG_PC] = 0x8010;
    EXPECT_EQ(Pass(), QStringList()); // the halt itself posts nothing
    EXPECT_EQ(Pass(), QStringList("HaltDone 8010 0"));
    EXPECT_EQ(pDevice->GetBreakpoint(0x8010).HitCount, 0u);
}

TEST_F(CHaltTest, AHaltBeforeTheSessionIsSilentButValid) {
    ConnectHalted(0x8000);
    pDevice->ClearSessionReady();
    Resume();
    EXPECT_EQ(StopAt(0x8010), QStringList());
    EXPECT_TRUE(pDevice->IsStateValid());
}

TEST_F(CHaltTest, ATrapIsPassedWhileSemihostingIsOff) {
    Fake.Poke(0x8010, BKPT_AB);
    ConnectHalted(0x8000);
    Resume();
    EXPECT_EQ(StopAt(0x8010), QStringList());
    EXPECT_FALSE(pDevice->IsHalted());
    EXPECT_EQ(Fake.CountCalls("WriteReg f 8012"), 1);
    // With a breakpoint on the trap the user wants to stop there.
    T().BPs.SetBreakpoint(0x8010, BP_STATE_ON, BP_TYPE_ANY);
    EXPECT_EQ(StopAt(0x8010), QStringList("HaltDone 8010 2"));
}

TEST_F(CHaltTest, ATrapIsServedWhileSemihostingIsOn) {
    struct {
        int Result;
        bool NeedsUser;
        bool HasBreakpoint;
        bool IsResumed;
    } const aCases[] = {
        {0, false, false, true}, {0, true, false, false}, {1, false, false, false}, {0, false, true, false}};
    Fake.Poke(0x8010, BKPT_AB);
    CSemiHost SemiHost;
    pDevice->SetSemiHost(&SemiHost);
    ConnectHalted(0x8000);
    for (const auto& Case : aCases) {
        SemiHost.Result = Case.Result;
        SemiHost.NeedsUser = Case.NeedsUser;
        SemiHost.PCs.clear();
        T().BPs.SetBreakpoint(0x8010, Case.HasBreakpoint ? BP_STATE_ON : BP_STATE_OFF, BP_TYPE_ANY);
        Resume();
        const QStringList Heard = StopAt(0x8010);
        EXPECT_EQ(SemiHost.PCs, QList<U32>({0x8010}));
        EXPECT_EQ(Heard.contains("ResumeDone 0"), Case.IsResumed);
        EXPECT_EQ(pDevice->IsHalted(), !Case.IsResumed);
        EXPECT_EQ(!Heard.filter("HaltDone").isEmpty(), !Case.IsResumed);
        StopAt(0x8020);
    }
    pDevice->SetSemiHost(nullptr);
}

TEST_F(CHaltTest, AConditionIsForTheMainThreadToJudge) {
    ConnectHalted(0x8000);
    T().BPs.SetBreakpoint(0x8010, BP_STATE_ON, BP_TYPE_ANY);
    pDevice->SetBPHasCondition(0x8010, true);
    Resume();
    EXPECT_EQ(StopAt(0x8010), QStringList("EvalBPCondition 8010"));
    EXPECT_EQ(Pass(), QStringList()); // the sequence waits
    EXPECT_FALSE(pDevice->IsStateValid());
    pDevice->FinishConditionalHalt(0x8010, false);
    EXPECT_EQ(Pass(), QStringList());
    EXPECT_EQ(Fake.CountCalls("GoEx"), 1);
    EXPECT_EQ(StopAt(0x8010), QStringList("EvalBPCondition 8010"));
    pDevice->FinishConditionalHalt(0x8010, true);
    EXPECT_EQ(Pass(), QStringList("HaltDone 8010 2"));
    EXPECT_EQ(pDevice->GetBreakpoint(0x8010).HitCount, 2u);
    // An answer that comes when the target has been resumed by hand belongs to a halt that is over.
    Resume();
    EXPECT_EQ(StopAt(0x8010), QStringList("EvalBPCondition 8010"));
    Fake.HaltStatus = 0;
    Resume();
    pDevice->FinishConditionalHalt(0x8010, true);
    EXPECT_EQ(Pass(), QStringList());
    EXPECT_FALSE(pDevice->IsHalted());
    EXPECT_EQ(StopAt(0x8010), QStringList("EvalBPCondition 8010"));
}

TEST_F(CHaltTest, RunToStopsAtAHiddenBreakpoint) {
    ConnectHalted(0x8000);
    pDevice->PostRunTo(0x8100);
    EXPECT_EQ(Pass(), QStringList({"AboutToResume", "ResumeDone 1"}));
    EXPECT_EQ(Fake.BPs.size(), 1);
    EXPECT_EQ(pDevice->GetBreakpoint(0x8100).State, BP_STATE_ON_HIDDEN);
    EXPECT_EQ(StopAt(0x8100), QStringList("HaltDone 8100 3"));
    EXPECT_TRUE(Fake.BPs.isEmpty());
    // A stop elsewhere takes the hidden breakpoint away, too.
    T().BPs.SetBreakpoint(0x8050, BP_STATE_ON, BP_TYPE_ANY);
    pDevice->PostRunTo(0x8200);
    Pass();
    EXPECT_EQ(StopAt(0x8050), QStringList("HaltDone 8050 2"));
    EXPECT_EQ(Fake.BPs.size(), 1);
}

// What ran before a reset doesn't run behind it: a halt met there would take the breakpoint of the next run away.
TEST_F(CHaltTest, ARunBehindAResetKeepsItsBreakpoint) {
    ConnectHalted(0x8000);
    Resume();
    pDevice->PostReset(RM_RESET_HALT);
    Pass(0);
    Fake.CostsMs["SetBPEx"] = 60; // so that the next poll is due before the target goes
    pDevice->PostRunTo(0x8100);
    EXPECT_EQ(Pass(0), QStringList({"AboutToResume", "ResumeDone 1"}));
    EXPECT_EQ(Fake.BPs.size(), 1);
}

TEST_F(CHaltTest, RunToLeavesTheUsersBreakpointsAsTheyWere) {
    ConnectHalted(0x8000);
    T().BPs.SetBreakpoint(0x8100, BP_STATE_DISABLED, BP_TYPE_HARD);
    T().BPs.SetBreakpoint(0x8200, BP_STATE_ON, BP_TYPE_ANY);
    pDevice->SetBPHasCondition(0x8100, true);
    pDevice->PostRunTo(0x8100);
    Pass();
    EXPECT_EQ(StopAt(0x8100), QStringList("HaltDone 8100 3"));
    const BPEntry Entry = pDevice->GetBreakpoint(0x8100);
    EXPECT_EQ(Entry.State, BP_STATE_DISABLED);
    EXPECT_EQ(Entry.Type, BP_TYPE_HARD);
    EXPECT_EQ(Entry.HasCondition, 1);
    EXPECT_EQ(Fake.BPs.size(), 1); // that at 0x8200
    pDevice->PostRunTo(0x8200);
    Pass();
    EXPECT_EQ(T().State.HiddenBPAddr, -1);
    EXPECT_EQ(StopAt(0x8200), QStringList("HaltDone 8200 2"));
    // A run that ends elsewhere leaves nothing for the end of a later one.
    pDevice->PostRunTo(0x8100);
    Pass();
    EXPECT_EQ(StopAt(0x8300), QStringList("HaltDone 8300 0"));
    EXPECT_EQ(pDevice->GetBreakpoint(0x8100).State, BP_STATE_DISABLED);
    T().BPs.SetBreakpoint(0x8100, BP_STATE_ON, BP_TYPE_HARD);
    pDevice->PostRunTo(0x8400);
    Pass();
    EXPECT_EQ(StopAt(0x8400), QStringList("HaltDone 8400 3"));
    EXPECT_EQ(pDevice->GetBreakpoint(0x8100).State, BP_STATE_ON);
}

TEST_F(CHaltTest, RunToTheStartSymbolOpensTheSession) {
    ConnectHalted(0x8000);
    pDevice->ClearSessionReady();
    T().Connection.SetConfigParam(DEV_CFG_BREAK_ADDR, 0x8100);
    pDevice->PostRunTo(0x8100);
    Pass();
    EXPECT_EQ(StopAt(0x8100), QStringList({"RunToSymbolDone 8100", "HaltDone 8100 3"}));
    EXPECT_TRUE(pDevice->IsSessionReady());
}

TEST_F(CHaltTest, AResumeFromOutsideAndALossAreNoticedWithinASecond) {
    ConnectHalted(0x8000);
    Fake.HaltStatus = 0;
    EXPECT_EQ(Pass(300), QStringList());
    EXPECT_EQ(Pass(500), QStringList("ResumeDone 0"));
    EXPECT_FALSE(pDevice->IsHalted());
    StopAt(0x8000);
    Fake.FixedAnswers["IsHalted"] = -1;
    EXPECT_EQ(Pass(900), QStringList("ConnectionLost"));
}

TEST_F(CHaltTest, PollsAtMostEveryFiftyMilliseconds) {
    ConnectHalted(0x8000);
    Resume();
    Pass(60);
    Fake.TakeCalls();
    for (int i = 0; i < 10; i++) {
        Pass(5);
    }
    EXPECT_EQ(Fake.CountCalls("IsHalted"), 0);
    Pass(1);
    EXPECT_EQ(Fake.CountCalls("IsHalted"), 1);
}

TEST_F(CHaltTest, StepsArePossibleOnlyWhenHaltedWithoutAHiddenBreakpoint) {
    EXPECT_EQ(T().Stepper.StepInst(), -1);
    ConnectHalted(0x8000);
    T().State.HiddenBPAddr = 0x9000;
    EXPECT_EQ(T().Stepper.StepInst(), -1);
    EXPECT_EQ(T().Run.RunTo(0x8100), -1);
    T().State.HiddenBPAddr = -1;
    EXPECT_EQ(Fake.CountCalls("Step"), 0);
    Fake.Poke(0x8000, BKPT_AB);
    EXPECT_EQ(T().Stepper.StepInst(), 0);
    EXPECT_EQ(pDevice->GetPC(), 0x8004); // past the trap, then one instruction
}

TEST_F(CHaltTest, AWalkEndsAtACircle) {
    ConnectHalted(0x8000);
    Fake.StepPCs = {0x8002, 0x8000};
    pDevice->PostStepOver();
    EXPECT_EQ(Pass(), QStringList({"AboutToStep", "StepOverDone 8000", "Stepped 8000"}));
    EXPECT_TRUE(Listener.Log.contains("Circular step sequence encountered"));
    EXPECT_FALSE(pDevice->IsSrcStepActive());
}

TEST_F(CHaltTest, StepOutRunsToAKnownReturnAddress) {
    ConnectHalted(0x8000);
    T().State.ReturnAddr = 0x8100;
    pDevice->PostStepOut();
    EXPECT_EQ(Pass(), QStringList({"AboutToStep", "AboutToResume", "ResumeDone 1"}));
    EXPECT_EQ(Fake.CountCalls("Step"), 0);
    EXPECT_TRUE(pDevice->IsSrcStepActive());
    EXPECT_EQ(StopAt(0x8100), QStringList({"StepOutDone 8100", "Stepped 8100"}));
    EXPECT_FALSE(pDevice->IsSrcStepActive());
}
