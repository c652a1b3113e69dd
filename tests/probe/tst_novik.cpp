// Session, memory, download, registers and injected faults through the exported functions.
#include "NovikFixture.h"

#include <cstring>
#include <map>

namespace {

TEST(NovikDevices, TableIsReadableBeforeOpen) {
    const int32_t Count = NOVIKARM_DEVICE_GetInfo(-1, nullptr);
    ASSERT_GT(Count, 40);
    for (int32_t Index = 0; Index < Count; Index++) {
        NOVIKARM_DEVICE_INFO Info = {};
        Info.SizeOfStruct = sizeof(Info);
        ASSERT_EQ(NOVIKARM_DEVICE_GetInfo(Index, &Info), 0);
        EXPECT_EQ(NOVIKARM_DEVICE_GetIndex(Info.sName), Index) << Info.sName;
        char sCore[64];
        NOVIKARM_Core2CoreName(Info.Core, sCore, sizeof(sCore));
        EXPECT_EQ(sCore[0] == 0, Index == 0) << Info.sName;
    }
    NOVIKARM_DEVICE_INFO Info = {};
    EXPECT_LT(NOVIKARM_DEVICE_GetInfo(1, &Info), 0) << "size of record not set";
    Info.SizeOfStruct = sizeof(Info);
    EXPECT_LT(NOVIKARM_DEVICE_GetInfo(Count, &Info), 0);
    EXPECT_LT(NOVIKARM_DEVICE_GetIndex("no such device"), 0);
    ASSERT_EQ(NOVIKARM_DEVICE_GetInfo(NOVIKARM_DEVICE_GetIndex("stm32f407ig"), &Info), 0);
    EXPECT_EQ(Info.Core, uint32_t(NOVIK_CORE_CORTEX_M4));
    EXPECT_EQ(Info.MemAddr, 0x08000000u);
    EXPECT_EQ(Info.MemSize, 0x100000u);
    EXPECT_EQ(Info.RAMAddr, 0x20000000u);
    EXPECT_EQ(Info.RAMSize, 0x20000u);
}

TEST(NovikSession, SelectionDecidesWhatOpens) {
    NOVIKARM_Close();
    EXPECT_EQ(NOVIKARM_SelectIP("localhost", 0), 1);
    EXPECT_NE(NOVIKARM_Open(), nullptr);
    EXPECT_LT(NOVIKARM_EMU_SelectByUSBSN(1), 0);
    EXPECT_NE(NOVIKARM_Open(), nullptr);
    EXPECT_EQ(NOVIKARM_IsHalted(), -1) << "not connected";
    EXPECT_GE(NOVIKARM_EMU_SelectByUSBSN(100000001), 0);
    ASSERT_EQ(NOVIKARM_Open(), nullptr);
    EXPECT_EQ(NOVIKARM_GetSN(), 100000001u);
    EXPECT_NE(NOVIKARM_Connect(), 0) << "no device selected";
    char sError[128] = "";
    EXPECT_NE(NOVIKARM_ExecCommand("device=nonsense", sError, sizeof(sError)), 0);
    EXPECT_STREQ(sError, "Unknown device \"nonsense\"");
    std::memset(sError, 0, sizeof(sError));
    NOVIKARM_ExecCommand("device=Cortex-A9", sError, sizeof(sError));
    EXPECT_STREQ(sError, "");
    EXPECT_NE(NOVIKARM_Connect(), 0) << "can't be simulated";
    EXPECT_EQ(NOVIKARM_IsConnected(), 0);
    NOVIKARM_ExecCommand("Frobnicate 1", sError, sizeof(sError));
    EXPECT_STREQ(sError, "Unknown command \"Frobnicate\"");
    NOVIKARM_Close();
}

using CNovikMemory = CNovikTest;

TEST_F(CNovikMemory, ItemsOutsideTheMemoriesFailOneByOne) {
    ASSERT_EQ(NOVIKARM_Halt(), 0);
    uint32_t Data[4];
    uint8_t Status[4];
    const uint32_t End = 0x20100000; // 1 MB of RAM
    ASSERT_EQ(NOVIKARM_WriteU32(End - 4, 0x12345678), 0);
    EXPECT_EQ(NOVIKARM_ReadMemU32(End - 8, 4, Data, Status), 2);
    EXPECT_EQ(Data[1], 0x12345678u);
    EXPECT_EQ(Status[0] | Status[1], 0);
    EXPECT_EQ(Status[2] & Status[3], 1);
    EXPECT_EQ(NOVIKARM_ReadMemEx(End - 6, 16, Data, 0), 6);
    EXPECT_NE(NOVIKARM_ReadMem(End - 6, 16, Data), 0);
    EXPECT_EQ(NOVIKARM_WriteMemEx(End - 2, 8, Data, 1), 2);
    EXPECT_NE(NOVIKARM_WriteU32(End, 0), 0);
    EXPECT_LT(NOVIKARM_ReadMemEx(RAM, 4, Data, 3), 0) << "no such width";
    EXPECT_LT(NOVIKARM_ReadMemU8(RAM, 1, nullptr, Status), 0);
}

TEST_F(CNovikMemory, FlashChangesOnlyThroughADownload) {
    ASSERT_EQ(NOVIKARM_Halt(), 0);
    EXPECT_EQ(Word(0x1000), 0xFFFFFFFFu);
    EXPECT_NE(NOVIKARM_WriteU32(0x1000, 1), 0);
    EXPECT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_OK) << "nothing was held back";
    NOVIKARM_BeginDownload(0);
    EXPECT_EQ(NOVIKARM_WriteU32(0x1000, 0x11223344), 0);
    EXPECT_EQ(Word(0x1000), 0xFFFFFFFFu) << "held back";
    EXPECT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_OK);
    EXPECT_EQ(Word(0x1000), 0x11223344u);
    EXPECT_EQ(Word(0x1004), 0xFFFFFFFFu);
}

TEST_F(CNovikMemory, InjectedDownloadFaultsGiveTheirCodes) {
    const std::pair<const char*, int> Phases[] = {{"compare", NOVIK_DL_ERR_COMPARE},
                                                  {"program", NOVIK_DL_ERR_PROGRAM_ERASE},
                                                  {"verify", NOVIK_DL_ERR_VERIFY},
                                                  {"other", NOVIK_DL_ERR_UNSPECIFIED},
                                                  {"none", NOVIK_DL_OK}};
    for (const auto& [sPhase, Code] : Phases) {
        ASSERT_EQ(Exec(std::string("SimFailDownload ") + sPhase), "");
        NOVIKARM_BeginDownload(0);
        NOVIKARM_WriteU32(0x2000, static_cast<uint32_t>(Code));
        EXPECT_EQ(NOVIKARM_EndDownload(), Code) << sPhase;
    }
    EXPECT_EQ(Exec("SimFailDownload never"), "SimFailDownload: expected compare, program, verify, other or none");
}

using CNovikFaults = CNovikTest;

TEST_F(CNovikFaults, LostConnectionFailsEverythingUntilClose) {
    ASSERT_EQ(NOVIKARM_Halt(), 0);
    ASSERT_EQ(Exec("SimLoseAfterCalls 2"), "");
    uint32_t Data;
    EXPECT_EQ(NOVIKARM_IsHalted(), 1);
    EXPECT_EQ(NOVIKARM_ReadMem(RAM, 4, &Data), 0);
    EXPECT_EQ(NOVIKARM_IsHalted(), -1);
    EXPECT_NE(NOVIKARM_ReadMem(RAM, 4, &Data), 0);
    EXPECT_NE(NOVIKARM_Halt(), 0);
    EXPECT_EQ(NOVIKARM_SetBPEx(0x100, NOVIK_BP_TYPE_ANY), 0u);
    Connect("Cortex-M4");
    EXPECT_EQ(NOVIKARM_IsHalted(), 1) << "the target itself was not disturbed";
}

TEST_F(CNovikFaults, StatusRangesRegistersAndConnects) {
    ASSERT_EQ(NOVIKARM_Halt(), 0);
    const std::map<std::string, int> States = {{"running", 0}, {"lost", -1}, {"halted", 1}};
    for (const auto& [sState, Value] : States) {
        ASSERT_EQ(Exec("SimHaltStatus " + sState), "");
        EXPECT_EQ(NOVIKARM_IsHalted(), Value) << sState;
    }
    ASSERT_EQ(Exec("SimHaltStatus real"), "");
    ASSERT_EQ(Exec("SimFailRange 0x20000100 0x10 r"), "");
    uint8_t Data[64];
    EXPECT_EQ(NOVIKARM_ReadMemEx(0x200000F8, 32, Data, 0), 8);
    EXPECT_EQ(NOVIKARM_ReadMemEx(0x20000110, 32, Data, 0), 32);
    EXPECT_EQ(NOVIKARM_WriteU32(0x20000100, 1), 0) << "only reads fail";
    ASSERT_EQ(Exec("SimShortReads 5"), "");
    EXPECT_EQ(NOVIKARM_ReadMemEx(RAM, 32, Data, 0), 5);
    ASSERT_EQ(Exec("SimFailRegister 3"), "");
    const uint32_t Indices[] = {2, 3, 4};
    uint32_t Values[3];
    uint8_t Status[3];
    EXPECT_EQ(NOVIKARM_ReadRegs(Indices, Values, Status, 3), 0);
    EXPECT_EQ(Status[0], 0);
    EXPECT_EQ(Status[1], 1);
    EXPECT_NE(NOVIKARM_WriteReg(3, 0), 0);
    EXPECT_EQ(Exec("SimFailRegister 82"), "SimFailRegister: expected a register index or all");
    ASSERT_EQ(Exec("SimFailConnect 1"), "");
    NOVIKARM_Close();
    ASSERT_EQ(NOVIKARM_Open(), nullptr);
    ASSERT_EQ(Exec("device=Cortex-M4"), "");
    EXPECT_NE(NOVIKARM_Connect(), 0);
    EXPECT_EQ(NOVIKARM_Connect(), 0) << "one failure was asked for";
}

} // namespace
