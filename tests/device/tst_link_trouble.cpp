// The device thread on a probe that is slow, fails for good or changes under its hands.

#include "tests/device/DeviceFixture.h"

#include <functional>
#include <utility>

namespace {

class CLinkTest : public CDeviceTest {};

TEST_F(CLinkTest, ResetGivesUpAfterItsTimeOutHoweverSlowThePolls) {
    ConnectHalted(0x100);
    Resume();
    Fake.FixedAnswers["IsHalted"] = 0; // it never halts
    Fake.CostsMs["IsHalted"] = 400;
    const U64 Start = Clock.NowMs();
    ASSERT_EQ(pDevice->PostReset(RM_RESET_HALT), 0);
    const QStringList Heard = Pass(0);
    EXPECT_TRUE(Heard.filter("ResetFailed").size() == 1) << Heard.join(" | ").toStdString();
    const U64 Took = Clock.NowMs() - Start;
    EXPECT_GE(Took, 2000u);
    EXPECT_LT(Took, 4000u) << "the wait counts time, not polls";
}

TEST_F(CLinkTest, ConnectionThatGoesDuringAnyCallIsReportedOnce) {
    const std::pair<const char*, std::function<void()>> Cases[] = {
        {"ReadMemEx", [this] { pDevice->PostReadMem(0x20000000, 3, 0, 0, 0); }},
        {"ReadRegs",
         [this] {
             pDevice->PostReadRegs({0, 1});
         }},
        {"Step", [this] { pDevice->PostStepInst(); }},
        {"SetBPEx", [this] { pDevice->PostSetBreakpoint(0x200, BP_STATE_ON, BP_TYPE_ANY); }},
        {"WriteReg", [this] { pDevice->PostWriteReg(0, 1); }},
    };
    Fake.Poke(0x20000000, QByteArray(8, 0));
    for (const auto& [sCall, fPost] : Cases) {
        ConnectHalted(0x100);
        bool WasCalled = false;
        Fake.Hooks[sCall] = [this, &WasCalled] {
            WasCalled = true;
            Fake.FixedAnswers["IsHalted"] = -1;
        };
        fPost();
        QStringList Heard;
        for (int i = 0; i < 4; i++) {
            Heard += Pass(6000);
        }
        EXPECT_TRUE(WasCalled) << sCall;
        EXPECT_EQ(Heard.count("ConnectionLost"), 1) << sCall << ": " << Heard.join(" | ").toStdString();
        Fake.FixedAnswers.clear();
        Fake.Hooks.clear();
        pDevice->PostDisconnect();
        Pass();
    }
}

} // namespace
