// Trace, RTT, stimulus ports, sampling, decoder and disassembler through the exported functions.
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

template <typename T> T* GetFunction(uint32_t Getter, uint32_t Core) {
    void* p = nullptr;
    auto* pfGet = reinterpret_cast<NOVIK_GET_DECODER_FUNC*>(NOVIK_GetpFunc(Getter));
    return pfGet(Core, &p) >= 0 ? reinterpret_cast<T*>(p) : nullptr;
}

TEST(NovikDecoder, ClassesOfInstructions) {
    auto* pfDecode = GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, NOVIK_CORE_CORTEX_M4);
    ASSERT_NE(pfDecode, nullptr);
    struct {
        uint16_t Bits[2];
        uint8_t Mode;
        int Length;
        const char* sClasses; // Branch, Call, Indirect, Return, Own condition
        uint8_t IT;
    } const Cases[] = {
        {{0x2000, 0}, 2, 2, "", 0},          {{0xE7FE, 0}, 2, 2, "B", 0},        {{0xD0FE, 0}, 2, 2, "BO", 0},
        {{0x4770, 0}, 2, 2, "BIR", 0},       {{0x4718, 0}, 2, 2, "BI", 0},       {{0x4798, 0}, 2, 2, "BCI", 0},
        {{0xF000, 0xF800}, 2, 4, "BC", 0},   {{0xBD10, 0}, 2, 2, "BIR", 0},      {{0xBC10, 0}, 2, 2, "", 0},
        {{0xE8BD, 0x8010}, 2, 4, "BIR", 0},  {{0xF85D, 0xFB04}, 2, 4, "BIR", 0}, {{0x46F7, 0}, 2, 2, "BIR", 0},
        {{0xE8DF, 0xF000}, 2, 4, "BI", 0},   {{0xBF18, 0}, 2, 2, "", 0x18},      {{0xB100, 0}, 2, 2, "BO", 0},
        {{0xF3AF, 0x8000}, 2, 4, "", 0},     {{0xFF1E, 0xE12F}, 1, 4, "BIR", 0}, {{0x0000, 0xEB00}, 1, 4, "BC", 0},
        {{0x8000, 0x08BD}, 1, 4, "BIRO", 0}, {{0x0000, 0x0A00}, 1, 4, "BO", 0},  {{0xE800, 0x0000}, 2, 0, "", 0},
        {{0xF00E, 0xE1A0}, 1, 4, "BIR", 0},  {{0xFF33, 0xE12F}, 1, 4, "BCI", 0}, {{0xDE00, 0}, 2, 2, "", 0},
    };
    for (const auto& Case : Cases) {
        NOVIK_INST_INFO Info = {};
        EXPECT_EQ(pfDecode(&Info, Case.Bits, 0x1000, Case.Mode), Case.Length) << std::hex << Case.Bits[0];
        const std::string sClasses = std::string(Info.IsBranch ? "B" : "") + (Info.IsCall ? "C" : "") +
                                     (Info.IsIndirect ? "I" : "") + (Info.IsReturn ? "R" : "") +
                                     (Info.IsConditional ? "O" : "");
        EXPECT_EQ(sClasses, Case.sClasses) << std::hex << Case.Bits[0];
        EXPECT_EQ(Info.IT, Case.IT);
    }
    EXPECT_EQ((GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, 0x12345678)), nullptr);
}

TEST(NovikDisassembler, KeepsNoStateBetweenCalls) {
    auto* pfText = GetFunction<NOVIK_DISASSEMBLER>(NOVIK_FUNC_GET_DISASSEMBLER, NOVIK_CORE_CORTEX_M4);
    ASSERT_NE(pfText, nullptr);
    const uint16_t It = 0xBF08, Mov = 0x2105, Bl[2] = {0xF000, 0xF800}, Bad[2] = {0xFFFF, 0xFFFF};
    char sText[256];
    EXPECT_EQ(pfText(sText, sizeof(sText), &It, 2, 0x100, 2), 2);
    EXPECT_EQ(pfText(sText, sizeof(sText), &Mov, 2, 0x102, 2), 2);
    EXPECT_STREQ(sText, "movs r1, #5");
    EXPECT_EQ(pfText(sText, sizeof(sText), Bl, 4, 0x100, 2), 4);
    EXPECT_STREQ(sText, "bl #0x104");
    EXPECT_EQ(pfText(sText, 4, Bl, 4, 0x100, 2), 4);
    EXPECT_STREQ(sText, "bl ");
    EXPECT_LT(pfText(sText, sizeof(sText), Bad, 4, 0x100, 2), 2);
    EXPECT_LT(pfText(sText, sizeof(sText), Bl, 1, 0x100, 2), 2);
    EXPECT_EQ(NOVIK_GetpFunc(4711), nullptr);
}

} // namespace
