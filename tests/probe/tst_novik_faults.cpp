// Faults on demand: the text commands that docs/simulator.md describes, each through the exported functions.
#include "NovikFixture.h"

#include <chrono>
#include <cstring>

namespace {

class CNovikFaults : public CNovikTest {
protected:
    void SetUp() override {
        CNovikTest::SetUp();
        ASSERT_EQ(NOVIKARM_Halt(), 0);
    }
};

// Each operation's outcome as a caller sees it.
int ReadBytes(uint32_t Addr, uint32_t NumBytes) {
    uint8_t Data[256];
    return NOVIKARM_ReadMemEx(Addr, NumBytes, Data, 0);
}

int WriteBytes(uint32_t Addr, uint32_t NumBytes) {
    const uint8_t Data[256] = {};
    return NOVIKARM_WriteMemEx(Addr, NumBytes, Data, 0);
}

int StatusOfItem(uint32_t Addr) {
    uint32_t Data;
    uint8_t Status = 0xFF;
    return NOVIKARM_ReadMemU32(Addr, 1, &Data, &Status) == 1 ? Status : -Status;
}

int StatusOfReg(uint32_t Index) {
    uint32_t Value;
    uint8_t Status = 0xFF;
    return NOVIKARM_ReadRegs(&Index, &Value, &Status, 1) == 0 ? Status : -1;
}

int Download() {
    static uint32_t Value = 0x12345678;
    NOVIKARM_BeginDownload(0);
    NOVIKARM_WriteU32(0x2000, Value++);
    return NOVIKARM_EndDownload();
}

int SetBreakpoint() { return NOVIKARM_SetBPEx(0x100, NOVIK_BP_TYPE_ANY) != 0; }

int SetWatchpoint() {
    NOVIKARM_DATA_EVENT Event = {};
    Event.SizeOfStruct = sizeof(Event);
    Event.Type = NOVIK_EVENT_TYPE_BP;
    Event.Addr = 0x20000000;
    Event.DataMask = 0xFFFFFFFF;
    Event.AccessMask = NOVIK_ACCESS_MASK_ALWAYS;
    uint32_t Handle;
    return NOVIKARM_SetDataEvent(&Event, &Handle) == 0;
}

struct CFaultCase {
    const char* sCommand;
    int (*pfTry)();
    int Before, With; // outcome without and with the fault
};

const CFaultCase FaultCases[] = {
    {"SimHaltStatus running", [] { return int(NOVIKARM_IsHalted()); }, 1, 0},
    {"SimHaltStatus halted", [] { return int(NOVIKARM_IsHalted()); }, 1, 1},
    {"SimHaltStatus lost", [] { return int(NOVIKARM_IsHalted()); }, 1, -1},
    {"SimFailRange 0x20000100 0x10 r", [] { return ReadBytes(0x200000F8, 32); }, 32, 8},
    {"SimFailRange 0x20000100 0x10 r", [] { return ReadBytes(0x20000110, 32); }, 32, 32},
    {"SimFailRange 0x20000100 0x10 r", [] { return ReadBytes(0x20000108, 32); }, 32, 0},
    {"SimFailRange 0x20000100 0x10 r", [] { return WriteBytes(0x20000100, 16); }, 16, 16},
    {"SimFailRange 0x20000100 0x10 r", [] { return StatusOfItem(0x2000010C); }, 0, -1},
    {"SimFailRange 0x20000100 0x10 w", [] { return WriteBytes(0x200000F8, 32); }, 32, 8},
    {"SimFailRange 0x20000100 0x10 w", [] { return ReadBytes(0x20000100, 16); }, 16, 16},
    {"SimFailRange 0x20000100 0x10 w", [] { return NOVIKARM_WriteU32(0x20000100, 0); }, 0, -1},
    {"SimFailRange 0x20000100 0x10 rw", [] { return ReadBytes(0x20000100, 1) + WriteBytes(0x20000100, 1); }, 2, 0},
    {"SimShortReads 5", [] { return ReadBytes(0x20000000, 32); }, 32, 5},
    {"SimShortReads 3", [] { return StatusOfItem(0x20000000); }, 0, -1},
    {"SimShortReads 5", [] { return WriteBytes(0x20000000, 32); }, 32, 32},
    {"SimFailDownload compare", Download, NOVIK_DL_OK, NOVIK_DL_ERR_COMPARE},
    {"SimFailDownload program", Download, NOVIK_DL_OK, NOVIK_DL_ERR_PROGRAM_ERASE},
    {"SimFailDownload verify", Download, NOVIK_DL_OK, NOVIK_DL_ERR_VERIFY},
    {"SimFailDownload other", Download, NOVIK_DL_OK, NOVIK_DL_ERR_UNSPECIFIED},
    {"SimFailDownload none", Download, NOVIK_DL_OK, NOVIK_DL_OK},
    {"SimFailRegister 3", [] { return StatusOfReg(3); }, 0, 1},
    {"SimFailRegister 3", [] { return StatusOfReg(4); }, 0, 0},
    {"SimFailRegister 3", [] { return int(NOVIKARM_WriteReg(3, 0)); }, 0, 1},
    {"SimFailRegister all", [] { return StatusOfReg(15); }, 0, 1},
    {"SimFailBreakpoints 1", SetBreakpoint, 1, 0},
    {"SimFailBreakpoints 1", SetWatchpoint, 1, 0},
    {"SimFailReset 1", [] { return NOVIKARM_Reset(); }, 0, -1},
    {"SimLoseAfterCalls 0", [] { return NOVIKARM_Halt(); }, 0, -1},
    {"SimLoseAfterMs 0", [] { return NOVIKARM_Step(); }, 0, -1},
};

TEST_F(CNovikFaults, EachFaultDoesWhatItSaysAndEnds) {
    for (const CFaultCase& Case : FaultCases) {
        Connect("Cortex-M4");
        ASSERT_EQ(NOVIKARM_Halt(), 0);
        EXPECT_EQ(Case.pfTry(), Case.Before) << Case.sCommand;
        ASSERT_EQ(Exec(Case.sCommand), "");
        EXPECT_EQ(Case.pfTry(), Case.With) << Case.sCommand;
        if (std::strncmp(Case.sCommand, "SimLose", 7) != 0) {
            ASSERT_EQ(Exec("SimFaultsOff"), "");
            EXPECT_EQ(Case.pfTry(), Case.Before) << Case.sCommand << " is over";
        }
    }
}

TEST_F(CNovikFaults, BadArgumentsAreRefused) {
    const std::pair<const char*, const char*> Cases[] = {
        {"SimLoseAfterCalls", "SimLoseAfterCalls: expected a number of calls"},
        {"SimLoseAfterCalls -1", "SimLoseAfterCalls: expected a number of calls"},
        {"SimLoseAfterMs soon", "SimLoseAfterMs: expected a number of milliseconds"},
        {"SimHaltStatus asleep", "SimHaltStatus: expected running, halted, lost or real"},
        {"SimHaltStatus lost now", "SimHaltStatus: expected running, halted, lost or real"},
        {"SimFailRange 0 1", "SimFailRange: expected address, size and r, w or rw"},
        {"SimFailRange 0 1 x", "SimFailRange: expected address, size and r, w or rw"},
        {"SimShortReads all", "SimShortReads: expected a number of bytes"},
        {"SimSlowLink 10001", "SimSlowLink: expected 0 to 10000 milliseconds"},
        {"SimFailDownload never", "SimFailDownload: expected compare, program, verify, other or none"},
        {"SimFailRegister 82", "SimFailRegister: expected a register index or all"},
        {"SimFailBreakpoints 2", "SimFailBreakpoints: expected 0 or 1"},
        {"SimFailReset", "SimFailReset: expected 0 or 1"},
        {"SimFailConnect x", "SimFailConnect: expected a number of connects"},
        {"SimFaultsOff now", "SimFaultsOff: expected nothing"},
    };
    for (const auto& [sCommand, sError] : Cases) {
        EXPECT_EQ(Exec(sCommand), sError);
    }
    EXPECT_EQ(NOVIKARM_IsHalted(), 1) << "none of them took effect";
    EXPECT_EQ(SetBreakpoint(), 1);
}

TEST_F(CNovikFaults, LostConnectionFailsEverythingUntilClose) {
    ASSERT_EQ(Exec("SimLoseAfterCalls 2"), "");
    uint32_t Data;
    EXPECT_EQ(NOVIKARM_IsHalted(), 1);
    EXPECT_EQ(NOVIKARM_ReadMem(RAM, 4, &Data), 0);
    EXPECT_EQ(NOVIKARM_IsHalted(), -1);
    ASSERT_EQ(Exec("SimFaultsOff"), "");
    EXPECT_EQ(NOVIKARM_IsHalted(), -1) << "a connection that is gone doesn't come back by itself";
    EXPECT_NE(NOVIKARM_ReadMem(RAM, 4, &Data), 0);
    EXPECT_NE(NOVIKARM_Halt(), 0);
    EXPECT_NE(NOVIKARM_Step(), 0);
    EXPECT_EQ(NOVIKARM_SetBPEx(0x100, NOVIK_BP_TYPE_ANY), 0u);
    EXPECT_LT(NOVIK_RTTERMINAL_Control(NOVIK_RTT_CMD_START, nullptr), 0);
    EXPECT_LT(NOVIK_STRACE_Start(), 0);
    Connect("Cortex-M4");
    EXPECT_EQ(NOVIKARM_IsHalted(), 1) << "the target itself was not disturbed";
}

TEST_F(CNovikFaults, ConnectsFailAsOftenAsAsked) {
    ASSERT_EQ(Exec("SimFailConnect 2"), "");
    NOVIKARM_Close();
    for (const int Expected : {-1, -1, 0}) {
        ASSERT_EQ(NOVIKARM_SelectUSB(0), 0);
        ASSERT_EQ(NOVIKARM_Open(), nullptr);
        ASSERT_EQ(Exec("device=Cortex-M4"), "");
        EXPECT_EQ(NOVIKARM_Connect(), Expected);
        EXPECT_EQ(NOVIKARM_IsConnected(), Expected == 0);
    }
}

TEST_F(CNovikFaults, SlowLinkTakesItsTime) {
    ASSERT_EQ(Exec("SimSlowLink 20"), "");
    const auto Start = std::chrono::steady_clock::now();
    EXPECT_EQ(NOVIKARM_IsHalted(), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - Start, std::chrono::milliseconds(20));
}

TEST_F(CNovikFaults, AFailedDownloadLeavesItsTraces) {
    std::vector<uint8_t> Image(4096, 0x55), Flash(Image.size());
    ASSERT_EQ(Exec("SimFailDownload program"), "");
    NOVIKARM_BeginDownload(0);
    ASSERT_EQ(NOVIKARM_WriteMem(0x4000, 4096, Image.data()), 4096);
    EXPECT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_ERR_PROGRAM_ERASE);
    ASSERT_EQ(NOVIKARM_ReadMem(0x4000, 4096, Flash.data()), 0);
    EXPECT_EQ(Flash.front(), 0x55);
    EXPECT_EQ(Flash.back(), 0xFF) << "the second half was not reached";
    ASSERT_EQ(Exec("SimFailDownload none"), "");
    NOVIKARM_BeginDownload(0);
    ASSERT_EQ(NOVIKARM_WriteMem(0x4000, 4096, Image.data()), 4096);
    EXPECT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_OK);
    ASSERT_EQ(NOVIKARM_ReadMem(0x4000, 4096, Flash.data()), 0);
    EXPECT_EQ(Flash, Image);
}

} // namespace
