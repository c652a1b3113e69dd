// The caller's thread at work while the processor's thread runs: what ThreadSanitizer is to look at. Each round checks
// what it reads.
#include "NovikFixture.h"

#include <thread>

namespace {

class CNovikThreads : public CNovikTest {
protected:
    // r0 counts, [RAM] holds the count: movs r0,#0; ldr r1,=RAM; loop: adds r0,#1; str r0,[r1]; nop; b loop
    void SetUp() override {
        CNovikTest::SetUp();
        Load({0x2000, 0x4902, 0x3001, 0x6008, 0xBF00, 0xE7FB, 0x0000, 0x2000});
    }
};

constexpr uint32_t LOOP_END = 0x10C;

TEST_F(CNovikThreads, HaltStepReadWriteWhileItRuns) {
    uint32_t Last = 0;
    for (uint32_t Round = 0; Round < 200; Round++) {
        NOVIKARM_GoEx(0, 1);
        EXPECT_EQ(NOVIKARM_IsHalted(), 0);
        const uint32_t Count = Word(RAM);
        EXPECT_GE(Count, Last) << "the program only counts up";
        ASSERT_EQ(NOVIKARM_WriteU32(RAM + 0x100, Round), 0);
        EXPECT_EQ(Word(RAM + 0x100), Round) << "background writes arrive";
        uint8_t Block[4096];
        ASSERT_EQ(NOVIKARM_ReadMemEx(RAM, sizeof(Block), Block, 0), static_cast<int32_t>(sizeof(Block)));
        ASSERT_EQ(NOVIKARM_Halt(), 0);
        ASSERT_EQ(NOVIKARM_IsHalted(), 1);
        const uint32_t Pc = Reg(NOVIK_REG_PC);
        EXPECT_TRUE(Pc >= CODE && Pc < LOOP_END) << std::hex << Pc;
        Last = Word(RAM);
        EXPECT_EQ(Word(RAM), Last) << "halted: nothing moves";
        ASSERT_EQ(NOVIKARM_Step(), 0);
        EXPECT_NE(Reg(NOVIK_REG_PC), Pc);
        Last = Word(RAM);
    }
}

TEST_F(CNovikThreads, BreakpointsWatchpointsAndStreamsChangeWhileItRuns) {
    const NOVIK_HSS_MEM_BLOCK Block = {RAM, 4, 0, 0};
    ASSERT_EQ(NOVIK_RTTERMINAL_Control(NOVIK_RTT_CMD_START, nullptr), 0);
    ASSERT_GE(NOVIKARM_SWO_EnableTarget(100000000, 4000000, 0, 1), 0);
    ASSERT_EQ(NOVIK_STRACE_Start(), 0);
    NOVIKARM_DATA_EVENT Event = {};
    Event.SizeOfStruct = sizeof(Event);
    Event.Type = NOVIK_EVENT_TYPE_BP;
    Event.Addr = RAM + 0x200; // never written
    Event.DataMask = 0xFFFFFFFF;
    Event.Access = NOVIK_ACCESS_WRITE;
    Event.AccessMask = NOVIK_ACCESS_MASK_SIZE | NOVIK_ACCESS_MASK_ALWAYS;
    for (uint32_t Round = 0; Round < 100; Round++) {
        NOVIKARM_GoEx(0, 1);
        ASSERT_EQ(NOVIK_HSS_Start(&Block, 1, 10, 0), NOVIK_HSS_OK);
        uint32_t Watch = 0;
        ASSERT_EQ(NOVIKARM_SetDataEvent(&Event, &Watch), 0);
        char Data[256];
        EXPECT_EQ(NOVIK_RTTERMINAL_Read(0, Data, sizeof(Data)), 0);
        EXPECT_EQ(NOVIKARM_SWO_ReadStimulus(0, reinterpret_cast<uint8_t*>(Data), sizeof(Data)), 0);
        EXPECT_GE(NOVIK_HSS_Read(Data, sizeof(Data)), 0);
        EXPECT_LT(NOVIK_STRACE_Read(reinterpret_cast<uint32_t*>(Data), 4), 0) << "only of a halted target";
        NOVIK_STRACE_INST_STAT Stats[4];
        EXPECT_EQ(NOVIK_STRACE_GetInstStats(Stats, CODE + 4, 4, 8, 9), 4);
        const uint32_t Handle = NOVIKARM_SetBPEx(CODE + 6, NOVIK_BP_TYPE_ANY);
        ASSERT_NE(Handle, 0u);
        while (NOVIKARM_IsHalted() == 0) {
            std::this_thread::yield();
        }
        EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 6);
        EXPECT_EQ(NOVIKARM_ClrBPEx(Handle), 0);
        EXPECT_EQ(NOVIKARM_ClrDataEvent(Watch), 0);
        EXPECT_GE(NOVIK_HSS_Stop(), 0);
    }
}

TEST_F(CNovikThreads, CloseAndConnectWhileItRuns) {
    uint32_t Last = 0;
    for (int Round = 0; Round < 30; Round++) {
        NOVIKARM_GoEx(0, 1);
        Connect("Cortex-M4"); // closes first
        EXPECT_EQ(NOVIKARM_IsHalted(), 0) << "it ran before and runs again";
        const uint32_t Count = Word(RAM);
        EXPECT_GE(Count, Last);
        Last = Count;
    }
    EXPECT_EQ(Exec("SimPowerCycle"), "");
    EXPECT_EQ(NOVIKARM_Halt(), 0);
    EXPECT_EQ(Word(RAM), 0u) << "RAM is empty after a power cycle";
}

} // namespace
