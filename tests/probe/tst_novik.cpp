// Session, memory, download, registers and injected faults through the exported functions.
#include "NovikFixture.h"
#include "ScratchFolder.h"
#include "tests/FileSizeLimit.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <unistd.h>

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

std::vector<std::string>& Texts() {
    static std::vector<std::string> Texts;
    return Texts;
}

void NoteText(const char* sText) { Texts().push_back(sText); }

TEST(NovikSession, DevicesWithoutASimulationSayWhy) {
    for (const char* sDevice : {"ARM7TDMI", "LPC2148", "Cortex-A8", "MCIMX6Q5", "TMS570LS3137", "Cortex-R5"}) {
        Texts().clear();
        ASSERT_EQ(NOVIKARM_SelectUSB(0), 0);
        NOVIKARM_SetErrorOutHandler(NoteText);
        ASSERT_EQ(NOVIKARM_Open(), nullptr);
        ASSERT_EQ(NOVIKARM_ExecCommand((std::string("device=") + sDevice).c_str(), nullptr, 0), 0) << sDevice;
        EXPECT_NE(NOVIKARM_Connect(), 0) << sDevice;
        ASSERT_EQ(Texts().size(), 1u) << sDevice;
        EXPECT_EQ(Texts()[0].find("Could not connect to target: the simulated target has no core \""), 0u)
            << Texts()[0];
        NOVIKARM_Close();
    }
}

TEST(NovikSession, ALogThatTheDeviceRefusesEndsWithOneError) {
    const CScratchFolder Folder;
    const CFileSizeLimit Full(5);
    NOVIKARM_SetLogFile(Folder.Path("log.txt").c_str());
    Texts().clear();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(NOVIKARM_SelectUSB(0), 0);
        NOVIKARM_SetErrorOutHandler(NoteText);
        ASSERT_EQ(NOVIKARM_Open(), nullptr);
        NOVIKARM_ExecCommand("device=Cortex-A8", nullptr, 0);
        NOVIKARM_Connect();
        NOVIKARM_Close();
    }
    EXPECT_EQ(std::count_if(Texts().begin(), Texts().end(),
                            [](const std::string& s) { return s.find("Log file ended") == 0; }),
              1);
    NOVIKARM_SetLogFile("");
}

TEST(NovikSession, CloseForgetsEverything) {
    ASSERT_EQ(NOVIKARM_SelectUSB(0), 0);
    NOVIKARM_EnableLog(NoteText);
    ASSERT_EQ(NOVIKARM_Open(), nullptr);
    EXPECT_EQ(NOVIKARM_IsOpen(), 1);
    ASSERT_EQ(NOVIKARM_ExecCommand("device=Cortex-M0", nullptr, 0), 0);
    NOVIKARM_SetSpeed(123);
    EXPECT_EQ(NOVIKARM_GetSpeed(), 123u);
    NOVIKARM_Close();
    Texts().clear();
    EXPECT_EQ(NOVIKARM_IsOpen(), 0);
    EXPECT_NE(NOVIKARM_GetSpeed(), 123u);
    EXPECT_NE(NOVIKARM_Open(), nullptr) << "the selection went with it";
    ASSERT_EQ(NOVIKARM_SelectUSB(0), 0);
    ASSERT_EQ(NOVIKARM_Open(), nullptr);
    EXPECT_NE(NOVIKARM_Connect(), 0) << "no device";
    EXPECT_TRUE(Texts().empty()) << "the log handler went too";
    EXPECT_EQ(NOVIKARM_SelectUSB(3), -1);
    NOVIKARM_Close();
}

TEST(NovikSession, SpeedKeepsItsSpecialValues) {
    const std::pair<uint32_t, uint32_t> Cases[] = {
        {0, 0}, {0xFFFF, 0xFFFF}, {4000, 4000}, {50001, 50000}, {100000, 50000}};
    for (const auto& [Set, Got] : Cases) {
        NOVIKARM_SetSpeed(Set);
        EXPECT_EQ(NOVIKARM_GetSpeed(), Got);
    }
    NOVIKARM_Close();
}

TEST(NovikSession, NothingWorksWithoutAConnectionAndNothingBreaks) {
    NOVIKARM_Close();
    uint32_t Data[4] = {}, Index = 0;
    uint8_t Status[4];
    char sText[8] = "x";
    EXPECT_LT(NOVIKARM_IsHalted(), 0);
    EXPECT_NE(NOVIKARM_Connect(), 0);
    EXPECT_NE(NOVIKARM_Halt() && NOVIKARM_Step() && NOVIKARM_Reset(), 0);
    NOVIKARM_GoEx(0, 1);
    EXPECT_LT(NOVIKARM_ReadMemU32(0, 1, Data, Status), 0);
    EXPECT_LT(NOVIKARM_ReadMemEx(0, 4, Data, 0), 0);
    EXPECT_NE(NOVIKARM_ReadMemHW(0, 4, Data), 0);
    EXPECT_LT(NOVIKARM_WriteMem(0, 4, Data), 0);
    EXPECT_NE(NOVIKARM_WriteU64(0, 0), 0);
    NOVIKARM_BeginDownload(0);
    EXPECT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_ERR_UNSPECIFIED);
    EXPECT_EQ(NOVIKARM_ReadReg(0), 0u);
    EXPECT_NE(NOVIKARM_ReadRegs(&Index, Data, Status, 1), 0);
    EXPECT_NE(NOVIKARM_WriteReg(0, 0), 0);
    EXPECT_EQ(NOVIKARM_SetBPEx(0, NOVIK_BP_TYPE_ANY), 0u);
    EXPECT_NE(NOVIKARM_ClrBPEx(NOVIK_HANDLE_ALL), 0);
    EXPECT_LT(NOVIKARM_GetBPInfoEx(-1, nullptr), 0);
    EXPECT_LT(NOVIKARM_SetDataEvent(nullptr, nullptr), 0);
    EXPECT_LT(NOVIKARM_GetWPInfoEx(-1, nullptr), 0);
    EXPECT_NE(NOVIK_RTTERMINAL_Control(0, nullptr), 0);
    EXPECT_LT(NOVIK_RTTERMINAL_Read(0, sText, 8), 0);
    EXPECT_LT(NOVIK_HSS_Start(nullptr, 0, 0, 0), 0);
    EXPECT_LT(NOVIK_HSS_Stop(), 0);
    EXPECT_LT(NOVIKARM_SWO_EnableTarget(1, 1, 0, 1), 0);
    EXPECT_LT(NOVIKARM_SWO_Control(NOVIK_SWO_CMD_FLUSH, nullptr), 0);
    EXPECT_LE(NOVIKARM_MeasureCPUSpeedEx(0x20000000, 1, 1), 0);
    EXPECT_LT(NOVIK_STRACE_Start(), 0);
    EXPECT_LT(NOVIK_STRACE_Read(Data, 4), 0);
    EXPECT_LT(NOVIK_STRACE_GetInstStats(nullptr, 0, 4, 8, 9), 0);
    EXPECT_NE(NOVIKARM_GetDebugInfo(NOVIK_DEBUGINFO_HAS_SECURITY_EXT, Data), 0);
    EXPECT_EQ(NOVIKARM_GetSN(), 0u);
    EXPECT_EQ(NOVIKARM_EMU_HasCapEx(NOVIK_CAP_SWO), 0);
    NOVIKARM_GetFirmwareString(sText, sizeof(sText));
    EXPECT_STREQ(sText, "");
    auto* pfEndian = reinterpret_cast<NOVIK_ENDIAN_FUNC*>(NOVIK_GetpFunc(NOVIK_FUNC_GET_ENDIAN));
    EXPECT_LT(pfEndian(), 0);
}

using CNovikIdentity = CNovikTest;

TEST_F(CNovikIdentity, WhatTheConnectedProbeSaysOfItself) {
    char sText[256];
    NOVIKARM_GetFirmwareString(sText, sizeof(sText));
    EXPECT_NE(std::string(sText).find(" compiled "), std::string::npos);
    EXPECT_GE(NOVIKARM_GetDLLVersion(), 61000u) << "below it there is no streaming trace";
    EXPECT_NE(NOVIKARM_EMU_HasCapEx(NOVIK_CAP_SWO), 0);
    EXPECT_EQ(NOVIKARM_EMU_HasCapEx(1), 0);
    uint32_t Value = 1;
    EXPECT_EQ(NOVIKARM_GetDebugInfo(NOVIK_DEBUGINFO_HAS_SECURITY_EXT, &Value), 0);
    EXPECT_EQ(Value, 0u);
    EXPECT_NE(NOVIKARM_GetDebugInfo(1, &Value), 0);
    EXPECT_EQ(NOVIKARM_RAWTRACE_Control(NOVIK_RAWTRACE_CMD_GET_CAPS, &Value), 0);
    EXPECT_NE(Value & NOVIK_RAWTRACE_CAP_STREAMING, 0u);
    EXPECT_NE(reinterpret_cast<NOVIK_BMA_FUNC*>(NOVIK_GetpFunc(NOVIK_FUNC_BACKGROUND_MEM_ACCESS))(), 0);
    EXPECT_EQ(reinterpret_cast<NOVIK_ENDIAN_FUNC*>(NOVIK_GetpFunc(NOVIK_FUNC_GET_ENDIAN))(), 0);
    NOVIK_WEB_INFO Info = {};
    Info.Port = 99;
    reinterpret_cast<NOVIK_WEB_INFO_FUNC*>(NOVIK_GetpFunc(NOVIK_FUNC_WEB_INFO))(&Info);
    EXPECT_EQ(Info.Port, 0);
    NOVIKARM_SetWarnOutHandler(NoteText);
    Texts().clear();
    NOVIKARM_SetEndian(NOVIK_ENDIAN_LITTLE);
    EXPECT_TRUE(Texts().empty());
    NOVIKARM_SetEndian(NOVIK_ENDIAN_BIG);
    NOVIKARM_SetCoreIndex(1);
    NOVIKARM_ConfigJTAG(4, 1);
    NOVIKARM_TIF_Select(7);
    NOVIKARM_SetResetType(2);
    NOVIK_STRACE_Config("PortWidth=3");
    NOVIK_STRACE_Config("nonsense");
    const std::vector<std::string> Expected = {"Cortex-M4 is little-endian and stays so",
                                               "The target has one core; core index 1 is ignored",
                                               "The target is alone on its scan chain; its position is ignored",
                                               "Target interface 7 is not known",
                                               "Reset type 2 is not known, the normal reset is used",
                                               "PortWidth: expected 1, 2 or 4",
                                               "Unknown trace setting \"nonsense\""};
    EXPECT_EQ(Texts(), Expected);
    NOVIK_STRACE_Config("PortWidth=4");
    EXPECT_EQ(Texts().size(), Expected.size());
}

using CNovikCommands = CNovikTest;

TEST_F(CNovikCommands, EachTextCommandChecksItsArguments) {
    const struct {
        const char* sCommand;
        const char* sError; // begins with this; empty: succeeds
    } Cases[] = {
        {"SetRTTAddr 0x20000100", ""},
        {"SetRTTAddr", "SetRTTAddr: expected an address"},
        {"SetRTTAddr here", "SetRTTAddr: expected an address"},
        {"SetRTTAddr 0x100000000", "SetRTTAddr: expected an address"},
        {"SetRTTSearchRanges 0x20000000 0x100, 0x20001000 0x100", ""},
        {"SetRTTSearchRanges 0x20000000", "SetRTTSearchRanges: expected pairs"},
        {"ReadIntoTraceCache 0x0 0x100", ""},
        {"ReadIntoTraceCache 0x0", "ReadIntoTraceCache: expected an address and a size"},
        {"TraceSampleAdjust TD = 2000", ""},
        {"TraceSampleAdjust TD0 = 1000 TD1 = -1000 TD2 = 0 TD3 = 5", ""},
        {"TraceSampleAdjust TD", "TraceSampleAdjust: expected"},
        {"TraceSampleAdjust TD4 = 1", "TraceSampleAdjust: expected"},
        {"TraceSampleAdjust TD = 200000", "TraceSampleAdjust: expected"},
        {"TraceSampleAdjust", "TraceSampleAdjust: expected"},
        {"PortWidth=2", ""},
        {"PortWidth=3", "PortWidth: expected 1, 2 or 4"},
        {"SelectTraceSource=1", ""},
        {"SelectTraceSource=2", "SelectTraceSource: expected 0 or 1"},
        {"HideDeviceSelection=1", ""},
        {"HideDeviceSelection=maybe", "HideDeviceSelection: expected 0 or 1"},
        {"ScriptFile=/nonexistent/file", "Could not open script \"/nonexistent/file\""},
        {"device=", "Unknown device \"\""},
        {"device=Cortex-M0", "The device can't be changed while connected"},
        {"device=\"cortex-m4\"", ""},
        {"  device = Cortex-M4 ", ""},
        {"", "No command"},
        {" \t", "No command"},
        {"SimStepInterrupts 1", ""},
        {"SimStepInterrupts x", "SimStepInterrupts: expected"},
        {"SimFlashBreakpoints", "SimFlashBreakpoints: expected 0 or 1"},
        {"SimPendInterrupt 500", "SimPendInterrupt: expected the number of an interrupt"},
        {"Nonsense", "Unknown command \"Nonsense\""},
        {"ScriptFile=/dev/zero", "Script \"/dev/zero\" is not a regular file"},
        {"ScriptFile=/tmp", "Script \"/tmp\" is not a regular file"},
        {"ScriptFile=/no/such", "Could not open script \"/no/such\""},
    };
    for (const auto& Case : Cases) {
        const std::string sError = Exec(Case.sCommand);
        EXPECT_EQ(sError.substr(0, std::strlen(Case.sError)), Case.sError) << Case.sCommand;
        EXPECT_EQ(sError.empty(), Case.sError[0] == 0) << Case.sCommand << ": " << sError;
    }
    EXPECT_EQ(Exec(std::string(1024, 'x')).substr(0, 15), "Unknown command");
    EXPECT_EQ(Exec(std::string(1025, 'x')), "Command is too long");
    char sShort[6] = "";
    EXPECT_NE(NOVIKARM_ExecCommand("Nonsense", sShort, sizeof(sShort)), 0);
    EXPECT_STREQ(sShort, "Unkno");
    EXPECT_NE(NOVIKARM_ExecCommand(nullptr, sShort, sizeof(sShort)), 0);
}

TEST_F(CNovikCommands, ScriptsRunLineByLineAndNameTheBadOne) {
    char sName[] = "/tmp/novik-script-XXXXXX";
    const int File = mkstemp(sName);
    ASSERT_GE(File, 0);
    close(File);
    const std::string sCommand = std::string("ScriptFile=") + sName;
    std::ofstream(sName) << "# comment\n\n  // comment\nSimHaltStatus lost\r\n";
    EXPECT_EQ(Exec(sCommand), "");
    EXPECT_LT(NOVIKARM_IsHalted(), 0);
    std::ofstream(sName) << "SimHaltStatus real\nPortWidth 7\nSimHaltStatus lost\n";
    EXPECT_EQ(Exec(sCommand), std::string(sName) + ":2: PortWidth: expected 1, 2 or 4");
    EXPECT_GE(NOVIKARM_IsHalted(), 0) << "lines behind the bad one don't run";
    std::ofstream(sName) << sCommand << "\n";
    EXPECT_NE(Exec(sCommand).find("Scripts are nested too deep"), std::string::npos);
    unlink(sName);
}

using CNovikMemory = CNovikTest;

using CNovikMemory = CNovikTest;

TEST_F(CNovikMemory, WhatCanNotBeGivenWholeIsRefused) {
    uint8_t Data[16], Status[1];
    EXPECT_NE(NOVIKARM_ReadMem(0x20100000 - 6, 16, Data), 0) << "1 MB of RAM";
    EXPECT_LT(NOVIKARM_ReadMemU8(RAM, 1, nullptr, Status), 0);
    EXPECT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_OK) << "nothing was held back";
}

} // namespace
