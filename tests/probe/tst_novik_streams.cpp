// Trace, RTT, stimulus ports and sampling through the exported functions.
#include "NovikFixture.h"

#include <cstring>

namespace {

using CNovikStreams = CNovikTest;

TEST_F(CNovikStreams, TraceIsNewestFirstAndCountsSkips) {
    // movs r0,#1; cmp r0,#1; ite eq; moveq r1,#5; movne r1,#6; bne .; bkpt
    Load({0x2001, 0x2801, 0xBF0C, 0x2105, 0x2106, 0xD1FE, 0xBE00});
    uint32_t Addrs[16];
    EXPECT_LT(NOVIK_STRACE_Read(Addrs, 16), 0) << "not started";
    ASSERT_EQ(NOVIK_STRACE_Start(), 0);
    RunToHalt();
    ASSERT_EQ(NOVIK_STRACE_Read(Addrs, 16), 7);
    for (uint32_t Index = 0; Index < 7; Index++) {
        EXPECT_EQ(Addrs[Index], CODE + 12 - 2 * Index);
    }
    EXPECT_EQ(Reg(1), 5u);
    NOVIK_STRACE_INST_STAT Stats[16];
    ASSERT_EQ(NOVIK_STRACE_GetInstStats(Stats, CODE, 16, 8, 9), 16);
    const uint64_t Skips[7] = {0, 0, 0, 0, 1, 1, 0};
    for (int Index = 0; Index < 7; Index++) {
        EXPECT_EQ(Stats[Index].Count, 1u) << Index;
        EXPECT_EQ(Stats[8 + Index].Count, Skips[Index]) << Index;
    }
    EXPECT_EQ(Stats[7].Count, 7u);
    EXPECT_EQ(Stats[15].Count, 2u);
}

TEST_F(CNovikStreams, RttFollowsTheControlBlock) {
    ASSERT_EQ(NOVIKARM_Halt(), 0);
    struct {
        char Id[16];
        uint32_t NumUp, NumDown;
        uint32_t Up[6], Down[6];
    } Block = {"VANTLE RTT", 1, 1, {0, RAM + 0x200, 8, 2, 6, 0}, {0, RAM + 0x300, 4, 0, 0, 0}};
    NOVIKARM_WriteMem(RAM + 0x100, sizeof(Block), &Block);
    NOVIKARM_WriteMem(RAM + 0x200, 8, "CDxxxxAB");
    char Data[16] = "";
    EXPECT_LT(NOVIK_RTTERMINAL_Read(0, Data, 16), 0) << "not started";
    ASSERT_EQ(NOVIK_RTTERMINAL_Control(NOVIK_RTT_CMD_START, nullptr), 0);
    EXPECT_EQ(NOVIK_RTTERMINAL_Read(0, Data, 16), 4);
    EXPECT_STREQ(Data, "ABCD");
    EXPECT_EQ(NOVIK_RTTERMINAL_Read(0, Data, 16), 0);
    EXPECT_EQ(NOVIK_RTTERMINAL_Read(1, Data, 16), 0) << "no such buffer";
    EXPECT_EQ(NOVIK_RTTERMINAL_Write(0, "hello", 5), 3) << "room for size - 1";
    EXPECT_EQ(Word(RAM + 0x300) & 0xFFFFFF, 0x6C6568u);
    // An offset outside the buffer must not be followed.
    NOVIKARM_WriteU32(RAM + 0x100 + 24 + 12, 0xFFFFFFF0);
    EXPECT_EQ(NOVIK_RTTERMINAL_Read(0, Data, 16), 0);
}

TEST_F(CNovikStreams, StimulusPortsAreReadAndDropped) {
    // ldr r0,=0xE0000000; movs r1,#65; strb r1,[r0]; adds r1,#1; strb r1,[r0]; bkpt
    Load({0x4803, 0x2141, 0x7001, 0x3101, 0x7001, 0xBE00, 0xBF00, 0xBF00, 0x0000, 0xE000});
    ASSERT_GE(NOVIKARM_SWO_EnableTarget(100000000, 4000000, 0, 1), 0);
    RunToHalt();
    uint8_t Data[8] = {};
    for (int Round = 0; Round < 2; Round++) {
        ASSERT_EQ(NOVIKARM_SWO_ReadStimulus(0, Data, 8), 2) << "reading does not consume";
    }
    EXPECT_STREQ(reinterpret_cast<char*>(Data), "AB");
    uint32_t Drop = 1;
    EXPECT_GE(NOVIKARM_SWO_Control(NOVIK_SWO_CMD_FLUSH, &Drop), 0);
    EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(0, Data, 8), 1);
    uint32_t Speeds[3];
    EXPECT_EQ(NOVIKARM_SWO_GetCompatibleSpeeds(100000000, 0, Speeds, 3), 3);
    EXPECT_EQ(Speeds[0], 100000000u / 23);
}

TEST_F(CNovikStreams, SamplingDeliversWholeSamplesInSimulatedTime) {
    Load({0x2000, 0x4902, 0x3001, 0x6008, 0xBF00, 0xE7FB, 0x0000, 0x2000}); // counts in [RAM]
    const NOVIK_HSS_MEM_BLOCK Block = {RAM, 4, 0, 0};
    EXPECT_EQ(NOVIK_HSS_Start(&Block, 512, 10, 0), NOVIK_HSS_ERR_TOO_MANY_BLOCKS);
    ASSERT_EQ(NOVIK_HSS_Start(&Block, 1, 10, 0), NOVIK_HSS_OK);
    NOVIKARM_GoEx(0, 1);
    uint32_t Data[20];
    int32_t Got = 0;
    while (Got < 80) {
        const int32_t Now = NOVIK_HSS_Read(reinterpret_cast<char*>(Data) + Got, static_cast<uint32_t>(80 - Got) | 3);
        ASSERT_GE(Now, 0);
        ASSERT_EQ(Now % 8, 0);
        Got += Now;
    }
    for (int Sample = 1; Sample < 10; Sample++) {
        EXPECT_EQ(Data[Sample * 2] - Data[Sample * 2 - 2], 10u) << "microseconds";
        EXPECT_EQ(Data[Sample * 2 + 1] - Data[Sample * 2 - 1], 250u) << "1000 cycles, 4 a round";
    }
    EXPECT_EQ(NOVIK_HSS_Stop(), 0);
    EXPECT_LT(NOVIK_HSS_Read(Data, 80), 0);
}

TEST_F(CNovikStreams, SamplesGoOnInSimulatedTimeWhileTheProcessorSleeps) {
    Load({0xBF30, 0xE7FD, 0x4770}, {{15, CODE + 4}});  // loop: wfi; b loop; SysTick: bx lr
    ASSERT_EQ(NOVIKARM_WriteU32(0xE000E014, 9999), 0); // every 100 us
    ASSERT_EQ(NOVIKARM_WriteU32(0xE000E018, 0), 0);
    ASSERT_EQ(NOVIKARM_WriteU32(0xE000E010, 7), 0);
    const NOVIK_HSS_MEM_BLOCK Block = {RAM, 2, 0, 0};
    ASSERT_EQ(NOVIK_HSS_Start(&Block, 1, 10, 0), NOVIK_HSS_OK);
    NOVIKARM_GoEx(0, 1);
    std::vector<uint8_t> Data;
    while (Data.size() < 600) {
        uint8_t Piece[600];
        const int32_t Got = NOVIK_HSS_Read(Piece, sizeof(Piece));
        ASSERT_GE(Got, 0);
        Data.insert(Data.end(), Piece, Piece + Got);
    }
    for (size_t Sample = 1; Sample < 100; Sample++) {
        uint32_t Times[2];
        std::memcpy(&Times[0], &Data[(Sample - 1) * 6], 4);
        std::memcpy(&Times[1], &Data[Sample * 6], 4);
        ASSERT_EQ(Times[1] - Times[0], 10u) << Sample;
    }
}

TEST_F(CNovikStreams, SamplingRefusesWhatItCanNotDo) {
    const std::vector<NOVIK_HSS_MEM_BLOCK> Many(512, {RAM, 4, 0, 0});
    const NOVIK_HSS_MEM_BLOCK Large = {RAM, 100000, 0, 0};
    const struct {
        const NOVIK_HSS_MEM_BLOCK* pBlocks;
        int32_t Count, Period, Result;
    } Cases[] = {
        {Many.data(), 511, 100, NOVIK_HSS_OK},
        {Many.data(), 512, 100, NOVIK_HSS_ERR_TOO_MANY_BLOCKS},
        {Many.data(), 0, 100, NOVIK_HSS_ERR_UNSPECIFIED},
        {nullptr, 1, 100, NOVIK_HSS_ERR_UNSPECIFIED},
        {Many.data(), 1, -1, NOVIK_HSS_ERR_UNSPECIFIED},
        {&Large, 1, 100, NOVIK_HSS_ERR_NO_MEMORY},
        {Many.data(), 1, 0, NOVIK_HSS_OK},
    };
    for (const auto& Case : Cases) {
        EXPECT_EQ(NOVIK_HSS_Start(Case.pBlocks, Case.Count, Case.Period, 0), Case.Result);
    }
}

// A control block whose only up buffer holds one letter.
void PutControlBlock(uint32_t Addr, char Letter) {
    struct {
        char Id[16];
        uint32_t NumUp, NumDown;
        uint32_t Up[6];
    } const Block = {"VANTLE RTT", 1, 0, {0, Addr + 0x80, 8, 1, 0, 0}};
    NOVIKARM_WriteMem(Addr, sizeof(Block), &Block);
    NOVIKARM_WriteMem(Addr + 0x80, 1, &Letter);
}

TEST_F(CNovikStreams, RttBlockIsTakenWhereItIsSaidToBe) {
    constexpr uint32_t SECOND_RAM = 0x10000000;
    const struct {
        std::vector<const char*> Commands;
        const char* sRead;
    } Cases[] = {
        {{}, "B"}, // the first in the order of the device's memories
        {{"SetRTTAddr 0x20003000"}, "C"},
        {{"SetRTTAddr 0x20004000"}, ""}, // nothing there: no search
        {{"SetRTTSearchRanges 0x20002000 0x2000"}, "C"},
        {{"SetRTTSearchRanges 0x20000000 0x100, 0x10000000 0x1000"}, "A"},
        {{"SetRTTSearchRanges 0x20008000 0x1000"}, ""},
        {{"SetRTTSearchRanges 0x20008000 0x1000", "SetRTTAddr 0x20001000"}, "B"},
    };
    for (const auto& Case : Cases) {
        Connect("Cortex-M4");
        ASSERT_EQ(NOVIKARM_Halt(), 0);
        PutControlBlock(SECOND_RAM + 0x10, 'A');
        PutControlBlock(RAM + 0x1000, 'B');
        PutControlBlock(RAM + 0x3000, 'C');
        for (const char* sCommand : Case.Commands) {
            ASSERT_EQ(Exec(sCommand), "");
        }
        ASSERT_EQ(NOVIK_RTTERMINAL_Control(NOVIK_RTT_CMD_START, nullptr), 0);
        char Data[8] = "";
        EXPECT_EQ(NOVIK_RTTERMINAL_Read(0, Data, 8), static_cast<int32_t>(std::strlen(Case.sRead)));
        EXPECT_STREQ(Data, Case.sRead);
        EXPECT_EQ(NOVIK_RTTERMINAL_Control(NOVIK_RTT_CMD_STOP, nullptr), 0);
        EXPECT_LT(NOVIK_RTTERMINAL_Read(0, Data, 8), 0);
    }
    EXPECT_NE(NOVIK_RTTERMINAL_Control(2, nullptr), 0);
}

TEST_F(CNovikStreams, PortsAreApartAndDroppedAllAtOnce) {
    // ldr r0,=0xE0000000; movs r1,#65; strb r1,[r0]; strb r1,[r0,#4]; strb r1,[r0,#8]; bkpt
    Load({0x4803, 0x2141, 0x7001, 0x7101, 0x7201, 0xBE00, 0xBF00, 0xBF00, 0x0000, 0xE000});
    EXPECT_LT(NOVIKARM_SWO_EnableTarget(0, 4000000, 0, 3), 0);
    EXPECT_LT(NOVIKARM_SWO_EnableTarget(1000000, 4000000, 0, 3), 0) << "faster than the processor";
    ASSERT_GE(NOVIKARM_SWO_EnableTarget(100000000, 4000000, 0, 3), 0);
    RunToHalt();
    uint8_t Data[8] = {};
    EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(0, Data, 8), 1);
    EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(1, Data, 8), 1);
    EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(2, Data, 8), 0) << "port is not in the mask";
    EXPECT_LT(NOVIKARM_SWO_ReadStimulus(32, Data, 8), 0);
    EXPECT_LT(NOVIKARM_SWO_Control(1, nullptr), 0);
    EXPECT_GE(NOVIKARM_SWO_Control(NOVIK_SWO_CMD_FLUSH, nullptr), 0);
    EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(0, Data, 8) + NOVIKARM_SWO_ReadStimulus(1, Data, 8), 0);
    EXPECT_GE(NOVIKARM_SWO_DisableTarget(NOVIK_HANDLE_ALL), 0);
    NOVIKARM_WriteReg(NOVIK_REG_PC, CODE);
    RunToHalt();
    EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(0, Data, 8), 0);
    Connect("Cortex-M0");
    EXPECT_LT(NOVIKARM_SWO_EnableTarget(48000000, 4000000, 0, 1), 0) << "no trace unit";
    uint32_t Speed = 0;
    EXPECT_EQ(NOVIKARM_SWO_GetCompatibleSpeeds(0, 0, &Speed, 1), 0);
    EXPECT_EQ(NOVIKARM_SWO_GetCompatibleSpeeds(3000000, 0, &Speed, 1), 1);
    EXPECT_EQ(Speed, 3000000u) << "no faster than the processor";
}

TEST_F(CNovikStreams, StatisticsGiveTheCountsOfTheirRangeAndOfTheWhole) {
    Load({0x2000, 0x4902, 0x3001, 0x6008, 0xBF00, 0xE7FB, 0x0000, 0x2000});
    NOVIK_STRACE_INST_STAT Stats[10];
    EXPECT_LT(NOVIK_STRACE_GetInstStats(Stats, CODE, 10, 8, 9), 0) << "not started";
    ASSERT_EQ(NOVIK_STRACE_Start(), 0);
    for (int Step = 0; Step < 10; Step++) {
        NOVIKARM_Step();
    }
    ASSERT_EQ(NOVIK_STRACE_GetInstStats(Stats, CODE + 4, 10, 8, 9), 10);
    for (const int Item : {0, 1, 2, 3}) {
        EXPECT_EQ(Stats[Item].Count, 2u) << Item;
        EXPECT_EQ(Stats[5 + Item].Count, 0u);
    }
    EXPECT_EQ(Stats[4].Count, 10u) << "of the whole program";
    EXPECT_LT(NOVIK_STRACE_GetInstStats(Stats, CODE, 3, 8, 9), 0);
    EXPECT_LT(NOVIK_STRACE_GetInstStats(Stats, CODE + 1, 4, 8, 9), 0);
    EXPECT_LT(NOVIK_STRACE_GetInstStats(Stats, CODE, 4, 4, 9), 0) << "items are of 8 bytes";
    uint32_t Addrs[3];
    ASSERT_EQ(NOVIK_STRACE_Read(Addrs, 3), 3) << "the newest ones";
    EXPECT_EQ(Addrs[0], CODE + 10);
    EXPECT_EQ(Addrs[2], CODE + 6);
    EXPECT_GE(NOVIK_STRACE_Stop(), 0);
    EXPECT_LT(NOVIK_STRACE_Read(Addrs, 3), 0);
}

TEST_F(CNovikStreams, SpeedIsMeasuredInRamOfAHaltedTarget) {
    Connect("STM32F407IG");
    ASSERT_EQ(NOVIKARM_Halt(), 0);
    EXPECT_EQ(NOVIKARM_MeasureCPUSpeedEx(0x20000000, 1, 1), 168000000);
    EXPECT_LE(NOVIKARM_MeasureCPUSpeedEx(0x08000000, 1, 1), 0) << "flash";
    EXPECT_LE(NOVIKARM_MeasureCPUSpeedEx(0x50000000, 1, 1), 0);
    Connect("Cortex-M4");
    Load({0xE7FE});
    NOVIKARM_GoEx(0, 1);
    EXPECT_LE(NOVIKARM_MeasureCPUSpeedEx(0x20000000, 1, 1), 0) << "it runs";
}

} // namespace
