// Trace, RTT, stimulus ports and sampling through the exported functions.
#include "NovikFixture.h"

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

} // namespace
