// Breakpoint and watchpoint lists and what of them reaches the probe.

#include "tests/device/DeviceFixture.h"

namespace {

class CBreakpointTest : public CDeviceTest {
protected:
    CBreakpointTest() { ConnectHalted(0x8000); }
};

WP MakeWP(U32 Addr, U32 AccessType = 2, U32 AccessSize = 4) {
    WP Wp;
    Wp.Addr = Addr;
    Wp.State = BP_STATE_ON;
    Wp.AccessType = AccessType;
    Wp.AccessSize = AccessSize;
    return Wp;
}

} // namespace

TEST(BPList, StaysPackedAndEndsAt256) {
    CBPList List;
    for (U32 i = 0; i < BP_LIST_SIZE; i++) {
        ASSERT_EQ(List.Insert(i * 2, BP_STATE_ON, BP_TYPE_ANY), int(i));
    }
    EXPECT_EQ(List.Insert(0x9999, BP_STATE_ON, BP_TYPE_ANY), -1);
    EXPECT_EQ(List.Insert(20, BP_STATE_DISABLED, BP_TYPE_SOFT), 10); // an update needs no room
    EXPECT_EQ(List.GetInsertPos(), -1);
    EXPECT_EQ(List.Remove(10), 0);
    EXPECT_EQ(List.Remove(255), -1);
    EXPECT_EQ(List.Remove(-1), -1);
    EXPECT_EQ(List.Find(20), -1);
    EXPECT_EQ(List.Find(22), 10);
    EXPECT_EQ(List.GetInsertPos(), 255);
    EXPECT_FALSE(List.IsOccupied(255));
}

TEST_F(CBreakpointTest, FollowsTheTransitionsOfAnEntry) {
    struct {
        BP_STATES From, To;
        BP_TYPES FromType, ToType;
        bool FailSet, FailClear;
        int Result;
        BP_STATES Listed;
        int NumInProbe;
    } const aCases[] = {
        {BP_STATE_OFF, BP_STATE_ON, BP_TYPE_ANY, BP_TYPE_HARD, false, false, 0, BP_STATE_ON, 1},
        {BP_STATE_OFF, BP_STATE_DISABLED, BP_TYPE_ANY, BP_TYPE_ANY, false, false, 0, BP_STATE_DISABLED, 0},
        {BP_STATE_OFF, BP_STATE_ON, BP_TYPE_ANY, BP_TYPE_ANY, true, false, -1, BP_STATE_OFF, 0},
        {BP_STATE_ON, BP_STATE_ON, BP_TYPE_HARD, BP_TYPE_SOFT, false, false, 0, BP_STATE_ON, 1},
        {BP_STATE_ON, BP_STATE_ON, BP_TYPE_HARD, BP_TYPE_SOFT, true, false, 0, BP_STATE_DISABLED, 0},
        {BP_STATE_ON, BP_STATE_ON, BP_TYPE_HARD, BP_TYPE_SOFT, false, true, -1, BP_STATE_ON, 1},
        {BP_STATE_ON, BP_STATE_DISABLED, BP_TYPE_ANY, BP_TYPE_ANY, false, false, 0, BP_STATE_DISABLED, 0},
        {BP_STATE_ON, BP_STATE_OFF, BP_TYPE_ANY, BP_TYPE_ANY, false, false, 0, BP_STATE_OFF, 0},
        {BP_STATE_ON, BP_STATE_OFF, BP_TYPE_ANY, BP_TYPE_ANY, false, true, -1, BP_STATE_ON, 1},
    };
    U32 Addr = 0x100;
    for (const auto& Case : aCases) {
        T().BPs.ClearAllBreakpoints();
        Addr += 0x10;
        ASSERT_EQ(T().BPs.SetBreakpoint(Addr, Case.From, Case.FromType), 0);
        if (Case.FailSet) {
            Fake.Answers["SetBPEx"] = {0};
        }
        if (Case.FailClear) {
            Fake.Answers["ClrBPEx"] = {1};
        }
        EXPECT_EQ(T().BPs.SetBreakpoint(Addr, Case.To, Case.ToType), Case.Result) << Addr;
        EXPECT_EQ(pDevice->GetBreakpoint(Addr).State, Case.Listed) << Addr;
        EXPECT_EQ(Fake.BPs.size(), Case.NumInProbe) << Addr;
        Fake.Answers.clear();
    }
}

TEST_F(CBreakpointTest, AnUnchangedBreakpointIsNotSetTwice) {
    T().BPs.SetBreakpoint(0x100, BP_STATE_ON, BP_TYPE_HARD);
    Fake.TakeCalls();
    T().BPs.SetBreakpoint(0x100, BP_STATE_ON, BP_TYPE_HARD);
    EXPECT_EQ(Fake.TakeCalls(), QStringList());
    EXPECT_EQ(T().BPs.GetNovikBPInfo(0x100), NOVIK_BP_IMPL_HARD);
    EXPECT_EQ(T().BPs.GetNovikBPInfo(0x200), 0u);
}

TEST_F(CBreakpointTest, TheHiddenOneStandsOutsideTheList) {
    T().BPs.SetBreakpoint(0x100, BP_STATE_ON_HIDDEN, BP_TYPE_ANY);
    EXPECT_TRUE(pDevice->GetBreakpoints().isEmpty());
    EXPECT_EQ(pDevice->GetBreakpoint(0x100).State, BP_STATE_ON_HIDDEN);
    EXPECT_EQ(T().BPs.ClearAllBreakpoints(BP_STATE_ON_HIDDEN), 1u);
    EXPECT_EQ(pDevice->GetBreakpoint(0x100).Valid, 0);
    EXPECT_TRUE(Fake.BPs.isEmpty());
}

TEST_F(CBreakpointTest, ListsOfBreakpointsGoOnAfterAFailure) {
    Fake.Answers["SetBPEx"] = {7, 0, 8};
    pDevice->PostSetBreakpoints({0x10, 0x20, 0x30}, BP_STATE_ON, BP_TYPE_ANY);
    EXPECT_EQ(Pass(), QStringList("BPStateChanged"));
    EXPECT_EQ(pDevice->GetBreakpoints().size(), 2);
    pDevice->PostClearBreakpoints({0x10, 0x30});
    Pass();
    EXPECT_TRUE(pDevice->GetBreakpoints().isEmpty());
    T().BPs.List().Insert(0x50, BP_STATE_ON, BP_TYPE_ANY);
    T().BPs.List().CountHit(0x50);
    pDevice->PostResetBreakpoints();
    Pass();
    EXPECT_EQ(pDevice->GetBreakpoint(0x50).HitCount, 0u);
}

TEST(Watchpoints, AccessBitsFollowTypeAndSize) {
    struct {
        U32 Type, Size;
        U8 Access, Mask;
    } const aCases[] = {{0, 0, 0, 0x16}, {0, 1, 0, 0x10}, {1, 2, 3, 0x10},
                        {1, 4, 5, 0x10}, {2, 4, 4, 0x11}, {2, 0, 0, 0x17}};
    for (const auto& Case : aCases) {
        const NOVIKARM_DATA_EVENT Event = CTargetWatchpoints::MakeDataEvent(MakeWP(0x100, Case.Type, Case.Size));
        EXPECT_EQ(Event.Access, Case.Access) << Case.Type << ' ' << Case.Size;
        EXPECT_EQ(Event.AccessMask, Case.Mask) << Case.Type << ' ' << Case.Size;
    }
}

TEST_F(CBreakpointTest, WatchpointsAreSetOnceAndFoundAgain) {
    EXPECT_EQ(T().WPs.SetWatchpoint(MakeWP(0x100)), 0);
    EXPECT_EQ(T().WPs.SetWatchpoint(MakeWP(0x100)), 0);
    EXPECT_EQ(T().WPs.SetWatchpoint(MakeWP(0x100, 1)), 0); // another access type is another watchpoint
    EXPECT_EQ(Fake.WPs.size(), 2);
    WP Off = MakeWP(0x100);
    Off.State = BP_STATE_DISABLED;
    EXPECT_EQ(T().WPs.SetWatchpoint(Off), 0);
    EXPECT_EQ(Fake.WPs.size(), 1);
    EXPECT_EQ(pDevice->GetWatchpoints().size(), 2);
    EXPECT_EQ(T().WPs.ClearAllWatchpoints(BP_STATE_DISABLED), 1u);
    EXPECT_EQ(T().WPs.ClearAllWatchpoints(), 0);
    EXPECT_TRUE(Fake.WPs.isEmpty());
}

TEST_F(CBreakpointTest, AWatchpointThatCannotBeSetStaysListedWithItsReason) {
    struct {
        I32 Code;
        const char* sText;
    } const aCases[] = {
        {I32(0x80000000), "unknown error"},
        {I32(0x80000001), "no more events"},
        {I32(0x80000003), "no more events"},
        {I32(0x80000002), "no more address comparision units"},
        {I32(0x80000004), "no more data comparision units"},
        {I32(0x80000020), "address mask invalid or not supported by target device"},
        {I32(0x800000C0), "access mask invalid or not supported by target device"},
        {I32(0x80000040), "value mask invalid or not supported by target device"},
        {0, ""},
    };
    U32 Addr = 0x100;
    for (const auto& Case : aCases) {
        Addr += 4;
        Fake.Answers["SetDataEvent"] = {Case.Code};
        EXPECT_EQ(T().WPs.SetWatchpoint(MakeWP(Addr)), Case.Code);
        const WP Listed = pDevice->GetWatchpoints().last();
        EXPECT_EQ(Listed.State, Case.Code ? BP_STATE_DISABLED : BP_STATE_ON);
        EXPECT_STREQ(GetDataEventErrorText(Listed.ErrCode), Case.sText);
    }
}
