// The same tests on each backend: what the debugger expects of any probe, whatever stands behind it.
#include "tests/probe/ConformanceTarget.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <thread>

namespace {

class CConformance : public testing::TestWithParam<CConformanceBackend> {
protected:
    void SetUp() override {
        pTarget = GetParam().pfMake();
        N = pTarget->Funcs();
        ASSERT_TRUE(N.sError.isEmpty()) << N.sError.toStdString();
        Connect();
    }
    void TearDown() override { N.NOVIKARM_Close(); }

    void Connect() {
        pTarget->Select();
        ASSERT_EQ(N.NOVIKARM_Open(), nullptr);
        char sError[256] = "";
        const std::string sDevice = std::string("device=") + pTarget->Device();
        ASSERT_EQ(N.NOVIKARM_ExecCommand(sDevice.c_str(), sError, sizeof(sError)), 0) << sError;
        ASSERT_EQ(N.NOVIKARM_Connect(), 0);
        N.NOVIKARM_EnableSoftBPs(1);
        ASSERT_EQ(N.NOVIKARM_Halt(), 0);
    }
    // Downloads the program and halts before its first instruction.
    void Load() {
        const std::vector<uint8_t> Image = CProgram::Image();
        N.NOVIKARM_BeginDownload(0);
        ASSERT_EQ(N.NOVIKARM_WriteMemEx(CProgram::FLASH, uint32_t(Image.size()), Image.data(), 0), int(Image.size()));
        ASSERT_GE(N.NOVIKARM_EndDownload(), 0);
        ASSERT_EQ(N.NOVIKARM_Reset(), 0);
    }
    void RunToHalt() {
        N.NOVIKARM_GoEx(0, 1);
        while (N.NOVIKARM_IsHalted() == 0) {
            std::this_thread::yield();
        }
        ASSERT_GE(N.NOVIKARM_IsHalted(), 1);
    }
    uint32_t PC() { return N.NOVIKARM_ReadReg(NOVIK_REG_PC) & ~1u; }
    uint32_t Word(uint32_t Addr) {
        uint32_t Value = 0;
        uint8_t Status = 1;
        EXPECT_EQ(N.NOVIKARM_ReadMemU32(Addr, 1, &Value, &Status), 1);
        EXPECT_EQ(Status, 0);
        return Value;
    }
    NOVIKARM_BP_INFO BP(int32_t Index, uint32_t Handle, int32_t* pResult) {
        NOVIKARM_BP_INFO Info = {};
        Info.SizeOfStruct = sizeof(Info);
        Info.Handle = Handle;
        *pResult = N.NOVIKARM_GetBPInfoEx(Index, &Info);
        return Info;
    }

    std::unique_ptr<CConformanceTarget> pTarget;
    NOVIK_FUNCS N;
};

constexpr uint32_t RAM = CProgram::RAM;

TEST_P(CConformance, IdentityAndDeviceTable) {
    EXPECT_GT(N.NOVIKARM_GetDLLVersion(), 10000u);
    const int32_t Count = N.NOVIKARM_DEVICE_GetInfo(-1, nullptr);
    const int32_t Index = N.NOVIKARM_DEVICE_GetIndex(pTarget->Device());
    ASSERT_GE(Index, 0);
    ASSERT_LT(Index, Count);
    NOVIKARM_DEVICE_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    ASSERT_EQ(N.NOVIKARM_DEVICE_GetInfo(Index, &Info), 0);
    EXPECT_STREQ(Info.sName, pTarget->Device());
    EXPECT_NE(Info.Core, 0u);
    EXPECT_EQ(Info.RAMAddr, RAM);
    char sCore[64] = "";
    N.NOVIKARM_Core2CoreName(Info.Core, sCore, sizeof(sCore));
    EXPECT_NE(sCore[0], 0);
    EXPECT_LT(N.NOVIKARM_DEVICE_GetIndex("no such device"), 0);
    EXPECT_LT(N.NOVIKARM_DEVICE_GetInfo(Count, &Info), 0);
}

TEST_P(CConformance, CloseEndsTheConnectionAndConnectBeginsItAgain) {
    EXPECT_NE(N.NOVIKARM_IsOpen(), 0);
    EXPECT_NE(N.NOVIKARM_IsConnected(), 0);
    N.NOVIKARM_Close();
    EXPECT_EQ(N.NOVIKARM_IsOpen(), 0);
    EXPECT_EQ(N.NOVIKARM_IsConnected(), 0);
    uint32_t Data = 0, Index = 0;
    uint8_t Status;
    EXPECT_LT(N.NOVIKARM_IsHalted(), 0);
    EXPECT_NE(N.NOVIKARM_Halt(), 0);
    EXPECT_LT(N.NOVIKARM_ReadMemEx(RAM, 4, &Data, 0), 0);
    EXPECT_LT(N.NOVIKARM_ReadMemU32(RAM, 1, &Data, &Status), 0);
    EXPECT_LT(N.NOVIKARM_WriteMemEx(RAM, 4, &Data, 0), 0);
    EXPECT_NE(N.NOVIKARM_WriteU32(RAM, 1), 0);
    EXPECT_NE(N.NOVIKARM_ReadRegs(&Index, &Data, &Status, 1), 0);
    EXPECT_EQ(N.NOVIKARM_SetBPEx(0x100, NOVIK_BP_TYPE_ANY), 0u);
    EXPECT_LT(N.NOVIKARM_EndDownload(), 0);
    Connect();
    EXPECT_GE(N.NOVIKARM_IsHalted(), 1);
}

TEST_P(CConformance, ItemsAreReadAndWrittenInTheirWidths) {
    ASSERT_EQ(N.NOVIKARM_WriteU64(RAM + 0x100, 0x8877665544332211), 0);
    uint64_t Long = 0;
    uint32_t Words[2] = {};
    uint16_t Halves[4] = {};
    uint8_t Bytes[8] = {}, Status[8];
    EXPECT_EQ(N.NOVIKARM_ReadMemU64(RAM + 0x100, 1, &Long, Status), 1);
    EXPECT_EQ(Long, 0x8877665544332211u);
    EXPECT_EQ(N.NOVIKARM_ReadMemU32(RAM + 0x100, 2, Words, Status), 2);
    EXPECT_EQ(Words[1], 0x88776655u);
    EXPECT_EQ(N.NOVIKARM_ReadMemU16(RAM + 0x100, 4, Halves, Status), 4);
    EXPECT_EQ(Halves[3], 0x8877u);
    EXPECT_EQ(N.NOVIKARM_ReadMemU8(RAM + 0x100, 8, Bytes, Status), 8);
    EXPECT_EQ(Bytes[0], 0x11u);
    EXPECT_EQ(N.NOVIKARM_WriteU8(RAM + 0x101, 0xAA), 0);
    EXPECT_EQ(N.NOVIKARM_WriteU16(RAM + 0x102, 0xBBCC), 0);
    EXPECT_EQ(Word(RAM + 0x100), 0xBBCCAA11u);
    for (const int Width : {0, 1, 2, 4}) {
        const uint32_t Value = 0x01020304u * uint32_t(Width + 1);
        uint32_t Got = 0;
        EXPECT_EQ(N.NOVIKARM_WriteMemEx(RAM + 0x200, 4, &Value, Width), 4) << Width;
        EXPECT_EQ(N.NOVIKARM_ReadMemEx(RAM + 0x200, 4, &Got, Width), 4) << Width;
        EXPECT_EQ(Got, Value) << Width;
    }
    EXPECT_LT(N.NOVIKARM_ReadMemEx(RAM, 4, Bytes, 3), 0) << "no such width";
}

TEST_P(CConformance, AccessesStopWhereTheMemoryEnds) {
    const uint32_t End = pTarget->RamEnd();
    uint32_t Words[4] = {};
    uint8_t Bytes[16] = {}, Status[4] = {9, 9, 9, 9};
    ASSERT_EQ(N.NOVIKARM_WriteU32(End - 4, 0x12345678), 0);
    EXPECT_EQ(N.NOVIKARM_ReadMemU32(End - 8, 4, Words, Status), 2);
    EXPECT_EQ(Words[1], 0x12345678u);
    EXPECT_EQ(Status[0] + Status[1], 0);
    EXPECT_NE(Status[2], 0);
    EXPECT_NE(Status[3], 0);
    EXPECT_EQ(N.NOVIKARM_ReadMemEx(End - 6, 16, Bytes, 0), 6);
    EXPECT_EQ(Bytes[5], 0x12);
    EXPECT_EQ(N.NOVIKARM_WriteMemEx(End - 2, 8, Bytes, 1), 2);
    EXPECT_NE(N.NOVIKARM_WriteU32(End, 0), 0);
}

TEST_P(CConformance, FlashIsWrittenByDownloadsOnly) {
    Load();
    EXPECT_EQ(Word(CProgram::CODE), 0x49022000u);
    EXPECT_NE(N.NOVIKARM_WriteU32(0x1000, 1), 0);
    const uint32_t Before = Word(0x1000);
    N.NOVIKARM_BeginDownload(0);
    EXPECT_EQ(N.NOVIKARM_WriteU32(0x1000, 0x11223344), 0);
    EXPECT_EQ(Word(0x1000), Before) << "held back";
    EXPECT_GE(N.NOVIKARM_EndDownload(), 0);
    EXPECT_EQ(Word(0x1000), 0x11223344u);
    EXPECT_EQ(Word(CProgram::CODE), 0x49022000u) << "what was not written stays";
}

TEST_P(CConformance, ResetHaltsAndStepsFollowTheProgram) {
    Load();
    EXPECT_GE(N.NOVIKARM_IsHalted(), 1);
    EXPECT_EQ(PC(), CProgram::CODE);
    EXPECT_EQ(N.NOVIKARM_ReadReg(NOVIK_REG_SP), CProgram::STACK);
    for (const uint32_t Next : {2u, 4u, 6u, 8u, 10u, 4u, 6u}) {
        ASSERT_EQ(N.NOVIKARM_Step(), 0);
        EXPECT_EQ(PC(), CProgram::CODE + Next);
        EXPECT_GE(N.NOVIKARM_IsHalted(), 1);
    }
    EXPECT_EQ(N.NOVIKARM_ReadReg(0), 2u);
    EXPECT_EQ(N.NOVIKARM_ReadReg(1), RAM);
    EXPECT_EQ(Word(RAM), 1u);
}

TEST_P(CConformance, RegistersAreReadAndWrittenByIndex) {
    Load();
    for (uint32_t Index = 0; Index < 13; Index++) {
        ASSERT_EQ(N.NOVIKARM_WriteReg(Index, 0x1000 + Index), 0);
    }
    const uint32_t Indices[] = {12, 3, NOVIK_NUM_REGS + 5, 0};
    uint32_t Values[4] = {};
    uint8_t Status[4] = {9, 9, 9, 9};
    ASSERT_EQ(N.NOVIKARM_ReadRegs(Indices, Values, Status, 4), 0);
    EXPECT_EQ(Values[0], 0x100Cu);
    EXPECT_EQ(Values[1], 0x1003u);
    EXPECT_EQ(Values[3], 0x1000u);
    EXPECT_EQ(Status[0] + Status[1] + Status[3], 0);
    EXPECT_NE(Status[2], 0);
    EXPECT_EQ(N.NOVIKARM_ReadReg(3), 0x1003u);
    EXPECT_NE(N.NOVIKARM_WriteReg(NOVIK_NUM_REGS + 5, 0), 0);
}

TEST_P(CConformance, BreakpointsAreListedAndCleared) {
    std::set<uint32_t> Handles;
    for (int Index = 0; Index < pTarget->NumHardBreakpoints(); Index++) {
        const uint32_t Handle =
            N.NOVIKARM_SetBPEx(CProgram::CODE + uint32_t(Index) * 2, NOVIK_BP_TYPE_HARD | NOVIK_BP_MODE_THUMB);
        ASSERT_NE(Handle, 0u) << Index;
        Handles.insert(Handle);
    }
    const int Count = pTarget->NumHardBreakpoints();
    EXPECT_EQ(int(Handles.size()), Count) << "handles differ";
    EXPECT_EQ(N.NOVIKARM_SetBPEx(CProgram::CODE + 0x20, NOVIK_BP_TYPE_HARD), 0u) << "the units are used up";
    int32_t Result;
    BP(-1, 0, &Result);
    EXPECT_EQ(Result, Count);
    for (int Index = 0; Index < Count; Index++) {
        const NOVIKARM_BP_INFO Info = BP(Index, 0, &Result);
        EXPECT_GE(Result, 0);
        EXPECT_EQ(Handles.count(Info.Handle), 1u);
        const NOVIKARM_BP_INFO Same = BP(-1, Info.Handle, &Result);
        EXPECT_GE(Result, 0);
        EXPECT_EQ(Same.Addr, Info.Addr);
        EXPECT_NE(Same.ImplFlags & NOVIK_BP_IMPL_HARD, 0u);
    }
    const uint32_t First = *Handles.begin();
    EXPECT_EQ(N.NOVIKARM_ClrBPEx(First), 0);
    EXPECT_NE(N.NOVIKARM_ClrBPEx(First), 0);
    BP(-1, First, &Result);
    EXPECT_LT(Result, 0);
    BP(-1, 0, &Result);
    EXPECT_EQ(Result, Count - 1);
    EXPECT_EQ(N.NOVIKARM_ClrBPEx(NOVIK_HANDLE_ALL), 0);
    BP(-1, 0, &Result);
    EXPECT_EQ(Result, 0);
}

TEST_P(CConformance, EachResumeStepsOverTheBreakpointAtThePc) {
    Load();
    ASSERT_EQ(N.NOVIKARM_WriteU32(RAM, 0), 0);
    const uint32_t Handle = N.NOVIKARM_SetBPEx(CProgram::STORE, NOVIK_BP_TYPE_ANY | NOVIK_BP_MODE_THUMB);
    ASSERT_NE(Handle, 0u);
    for (uint32_t Round = 1; Round <= 4; Round++) {
        RunToHalt();
        EXPECT_EQ(PC(), CProgram::STORE);
        EXPECT_EQ(N.NOVIKARM_ReadReg(0), Round);
        EXPECT_EQ(Word(RAM), Round - 1) << "halted before the instruction";
    }
    EXPECT_EQ(N.NOVIKARM_ClrBPEx(Handle), 0);
    N.NOVIKARM_GoEx(0, 1);
    EXPECT_EQ(N.NOVIKARM_IsHalted(), 0) << "nothing stops it any more";
    EXPECT_EQ(N.NOVIKARM_Halt(), 0);
    EXPECT_GE(N.NOVIKARM_IsHalted(), 1);
    EXPECT_GE(Word(RAM), 3u);
}

TEST_P(CConformance, WatchpointsAreListedAndStopTheProgram) {
    Load();
    NOVIKARM_DATA_EVENT Event = {};
    Event.SizeOfStruct = sizeof(Event);
    Event.Type = NOVIK_EVENT_TYPE_BP;
    Event.Addr = RAM;
    Event.Data = 5;
    Event.DataMask = 0;
    Event.Access = NOVIK_ACCESS_WRITE;
    Event.AccessMask = NOVIK_ACCESS_MASK_SIZE | NOVIK_ACCESS_MASK_ALWAYS;
    uint32_t Handle = 0;
    ASSERT_GE(N.NOVIKARM_SetDataEvent(&Event, &Handle), 0);
    EXPECT_NE(Handle, 0u);
    NOVIKARM_WP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    EXPECT_EQ(N.NOVIKARM_GetWPInfoEx(-1, &Info), 1);
    ASSERT_GE(N.NOVIKARM_GetWPInfoEx(0, &Info), 0);
    EXPECT_EQ(Info.Handle, Handle);
    EXPECT_EQ(Info.Addr, RAM);
    EXPECT_EQ(Info.AddrMask, 3u) << "reported for a mask of 0";
    EXPECT_EQ(Info.Data, 5u);
    EXPECT_EQ(Info.Access & 7, uint32_t(NOVIK_ACCESS_WRITE));
    RunToHalt();
    EXPECT_EQ(Word(RAM), 5u);
    EXPECT_EQ(PC(), CProgram::BEHIND_STORE);
    EXPECT_EQ(N.NOVIKARM_ClrDataEvent(Handle), 0);
    EXPECT_NE(N.NOVIKARM_ClrDataEvent(Handle), 0);
    EXPECT_EQ(N.NOVIKARM_GetWPInfoEx(-1, nullptr), 0);
    EXPECT_EQ(N.NOVIKARM_ClrDataEvent(NOVIK_HANDLE_ALL), 0);
}

INSTANTIATE_TEST_SUITE_P(Backends, CConformance, testing::ValuesIn(ConformanceBackends()),
                         [](const auto& Info) { return std::string(Info.param.sName); });

} // namespace
