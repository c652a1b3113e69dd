// Run control, breakpoints, watchpoints, exceptions and faults through the exported functions.
#include "NovikFixture.h"

#include <algorithm>

namespace {

using CNovikDebug = CNovikTest;

// r0 counts, [RAM] holds the count: movs r0,#0; ldr r1,=RAM; loop: adds r0,#1; str r0,[r1]; nop; b loop
const std::vector<uint16_t> Counter = {0x2000, 0x4902, 0x3001, 0x6008, 0xBF00, 0xE7FB, 0x0000, 0x2000};

TEST_F(CNovikDebug, HardwareBreakpointsAreAsManyAsTheDeviceHas) {
    Load(Counter);
    std::vector<uint32_t> Handles;
    while (const uint32_t Handle = NOVIKARM_SetBPEx(CODE + 4, NOVIK_BP_TYPE_ANY | NOVIK_BP_MODE_THUMB)) {
        Handles.push_back(Handle);
        ASSERT_LE(Handles.size(), 100u);
    }
    EXPECT_EQ(Handles.size(), 6u);
    EXPECT_EQ(NOVIKARM_SetBPEx(CODE, NOVIK_BP_TYPE_SOFT), 0u) << "flash";
    EXPECT_EQ(NOVIKARM_SetBPEx(RAM, NOVIK_BP_TYPE_HARD), 0u) << "out of reach of the unit";
    EXPECT_NE(NOVIKARM_SetBPEx(RAM, NOVIK_BP_TYPE_ANY), 0u);
    EXPECT_EQ(NOVIKARM_GetBPInfoEx(-1, nullptr), 7);
    NOVIKARM_BP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    EXPECT_EQ(NOVIKARM_GetBPInfoEx(6, &Info), 7);
    EXPECT_EQ(Info.ImplFlags, NOVIK_BP_IMPL_SOFT_RAM);
    Info.Handle = Handles[2];
    EXPECT_EQ(NOVIKARM_GetBPInfoEx(-1, &Info), 7);
    EXPECT_EQ(Info.Addr, CODE + 4);
    EXPECT_EQ(Info.ImplFlags, NOVIK_BP_IMPL_HARD);
    EXPECT_EQ(NOVIKARM_ClrBPEx(Handles[0]), 0);
    EXPECT_NE(NOVIKARM_ClrBPEx(Handles[0]), 0) << "cleared already";
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 4) << "others remain at the address";
    EXPECT_NE(Word(0xE000ED30) & 2, 0u) << "DFSR.BKPT";
    EXPECT_EQ(NOVIKARM_ClrBPEx(NOVIK_HANDLE_ALL), 0);
    EXPECT_EQ(NOVIKARM_GetBPInfoEx(-1, nullptr), 0);
}

TEST_F(CNovikDebug, BreakpointsAreImplementedAsTheDeviceAndTheFlagsAllow) {
    constexpr uint32_t ANY = NOVIK_BP_TYPE_ANY, HARD = NOVIK_BP_TYPE_HARD, SOFT = NOVIK_BP_TYPE_SOFT;
    const struct {
        const char* sDevice;
        bool SoftAllowed, FlashAllowed;
        uint32_t Flags, Addr, Impl; // 0: refused
        int Room;                   // how many of them there is room for, up to 20
    } Cases[] = {
        {"Cortex-M4", true, false, HARD, 0x100, NOVIK_BP_IMPL_HARD, 6},
        {"Cortex-M0", true, false, HARD, 0x100, NOVIK_BP_IMPL_HARD, 4},
        {"MKL25Z128XXX4", true, false, HARD, 0x100, NOVIK_BP_IMPL_HARD, 2},
        {"Cortex-M7", true, false, HARD, 0x20000100, NOVIK_BP_IMPL_HARD, 8}, // its unit reaches RAM
        {"Cortex-M4", true, false, HARD, 0x20000100, 0, 0},
        {"Cortex-M4", true, false, ANY, 0x20000100, NOVIK_BP_IMPL_SOFT_RAM, 20},
        {"Cortex-M4", false, false, ANY, 0x20000100, 0, 0},
        {"Cortex-M4", false, false, SOFT, 0x20000100, 0, 0},
        {"Cortex-M4", true, true, SOFT, 0x100, NOVIK_BP_IMPL_SOFT_FLASH, 20},
        {"Cortex-M4", true, false, SOFT, 0x100, 0, 0},
    };
    for (const auto& Case : Cases) {
        Connect(Case.sDevice);
        NOVIKARM_EnableSoftBPs(Case.SoftAllowed);
        ASSERT_EQ(Exec(Case.FlashAllowed ? "SimFlashBreakpoints 1" : "SimFlashBreakpoints 0"), "");
        int Room = 0;
        for (uint32_t Index = 0; Index < 20; Index++) {
            const uint32_t Handle = NOVIKARM_SetBPEx(Case.Addr + Index * 2, Case.Flags | NOVIK_BP_MODE_THUMB);
            Room += Handle != 0;
            NOVIKARM_BP_INFO Info = {};
            Info.SizeOfStruct = sizeof(Info);
            Info.Handle = Handle;
            EXPECT_EQ(Handle != 0, Handle != 0 && NOVIKARM_GetBPInfoEx(-1, &Info) > 0 && Info.ImplFlags == Case.Impl);
        }
        EXPECT_EQ(Room, Case.Room) << Case.sDevice << std::hex << " " << Case.Flags << " " << Case.Addr;
    }
    NOVIKARM_BP_INFO Short = {};
    Short.SizeOfStruct = 4;
    EXPECT_LT(NOVIKARM_GetBPInfoEx(0, &Short), 0) << "size of record not set";
}

TEST_F(CNovikDebug, ResetSetsOrKeepsTheRegisters) {
    for (const int Init : {1, 0}) {
        Load(Counter);
        NOVIKARM_SetInitRegsOnReset(Init);
        for (uint32_t Index = 0; Index < 13; Index++) {
            ASSERT_EQ(NOVIKARM_WriteReg(Index, 0x5000 + Index), 0);
        }
        NOVIKARM_WriteReg(NOVIK_REG_PC, RAM);
        ASSERT_EQ(NOVIKARM_Reset(), 0);
        for (uint32_t Index = 0; Index < 13; Index++) {
            EXPECT_EQ(Reg(Index), Init ? 0 : 0x5000 + Index);
        }
        EXPECT_EQ(Reg(NOVIK_REG_PC), CODE);
        EXPECT_EQ(Reg(NOVIK_REG_SP), STACK);
        EXPECT_EQ(Reg(NOVIK_REG_XPSR) & 0x01000000, 0x01000000u);
    }
    for (uint32_t Index : {NOVIK_REG_LR, NOVIK_REG_PSP, NOVIK_REG_MSP}) {
        EXPECT_EQ(NOVIKARM_WriteReg(Index, 0x20000404), 0);
        EXPECT_EQ(Reg(Index), 0x20000404u) << Index;
    }
}

TEST_F(CNovikDebug, SoftwareBreakpointInRamLeavesMemoryAlone) {
    Load(Counter);
    for (size_t Index = 0; Index < Counter.size(); Index++) {
        NOVIKARM_WriteU16(RAM + 0x800 + static_cast<uint32_t>(Index) * 2, Counter[Index]);
    }
    NOVIKARM_WriteReg(NOVIK_REG_PC, RAM + 0x800);
    ASSERT_NE(NOVIKARM_SetBPEx(RAM + 0x806, NOVIK_BP_TYPE_SOFT), 0u);
    EXPECT_EQ(Word(RAM + 0x804), 0x60083001u);
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), RAM + 0x806);
    NOVIKARM_WriteU16(RAM + 0x804, 0x3002); // adds r0, #2: rewritten code takes effect
    RunToHalt();
    EXPECT_EQ(Reg(0), 3u);
}

NOVIKARM_DATA_EVENT MakeEvent(uint32_t Addr, uint8_t Access, uint8_t AccessMask) {
    NOVIKARM_DATA_EVENT Event = {};
    Event.SizeOfStruct = sizeof(Event);
    Event.Type = NOVIK_EVENT_TYPE_BP;
    Event.Addr = Addr;
    Event.DataMask = 0xFFFFFFFF;
    Event.Access = Access;
    Event.AccessMask = AccessMask | NOVIK_ACCESS_MASK_ALWAYS;
    return Event;
}

TEST_F(CNovikDebug, WatchpointsMatchDirectionSizeAndValue) {
    Load(Counter);
    uint32_t Handle = 0;
    NOVIKARM_DATA_EVENT Event = MakeEvent(RAM, NOVIK_ACCESS_WRITE | NOVIK_ACCESS_SIZE_4, 0);
    Event.Data = 1000;
    Event.DataMask = 0;
    ASSERT_EQ(NOVIKARM_SetDataEvent(&Event, &Handle), 0);
    RunToHalt();
    EXPECT_EQ(Reg(0), 1000u);
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 8) << "behind the store";
    EXPECT_NE(Word(0xE000ED30) & 4, 0u) << "DFSR.DWTTRAP";
    NOVIKARM_WP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    EXPECT_EQ(NOVIKARM_GetWPInfoEx(0, &Info), 1);
    EXPECT_EQ(Info.Handle, Handle);
    EXPECT_EQ(Info.AddrMask, 3u);
    ASSERT_EQ(NOVIKARM_ClrDataEvent(Handle), 0);
    // None of these matches a word written to RAM; the breakpoint ends the run.
    for (const NOVIKARM_DATA_EVENT& Other :
         {MakeEvent(RAM, 0, NOVIK_ACCESS_MASK_SIZE), MakeEvent(RAM, NOVIK_ACCESS_WRITE, 0),
          MakeEvent(RAM + 4, NOVIK_ACCESS_WRITE, NOVIK_ACCESS_MASK_SIZE)}) {
        ASSERT_EQ(NOVIKARM_SetDataEvent(&Other, &Handle), 0);
    }
    ASSERT_NE(NOVIKARM_SetBPEx(CODE + 6, NOVIK_BP_TYPE_ANY), 0u);
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 6);
    NOVIKARM_ClrDataEvent(NOVIK_HANDLE_ALL);
    NOVIKARM_DATA_EVENT Block = MakeEvent(RAM + 0x40, NOVIK_ACCESS_WRITE, NOVIK_ACCESS_MASK_SIZE);
    Block.AddrMask = 0x7F;
    ASSERT_EQ(NOVIKARM_SetDataEvent(&Block, &Handle), 0);
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 8);
}

TEST_F(CNovikDebug, WatchpointsRefusedGiveTheReason) {
    NOVIKARM_DATA_EVENT BadAddr = MakeEvent(RAM, 1, 6), BadData = BadAddr, BadAccess = BadAddr, BadType = BadAddr;
    BadAddr.AddrMask = 0x14;
    BadData.DataMask = 0x0F0F0F0F;
    BadAccess.Access = 7;
    BadType.Type = 9;
    const std::pair<NOVIKARM_DATA_EVENT, uint32_t> Cases[] = {{BadAddr, NOVIK_EVENT_ERR_INV_ADDR_MASK},
                                                              {BadData, NOVIK_EVENT_ERR_INV_DATA_MASK},
                                                              {BadAccess, NOVIK_EVENT_ERR_INV_ACCESS_MASK},
                                                              {BadType, NOVIK_EVENT_ERR_UNKNOWN}};
    uint32_t Handle;
    for (const auto& [Event, Reason] : Cases) {
        EXPECT_EQ(static_cast<uint32_t>(NOVIKARM_SetDataEvent(&Event, &Handle)), Reason);
    }
    NOVIKARM_DATA_EVENT Value = MakeEvent(RAM, 1, 6), Plain = Value;
    Value.DataMask = 0;
    ASSERT_EQ(NOVIKARM_SetDataEvent(&Value, &Handle), 0);
    EXPECT_EQ(static_cast<uint32_t>(NOVIKARM_SetDataEvent(&Value, &Handle)), NOVIK_EVENT_ERR_NO_MORE_DATA_COMP);
    ASSERT_EQ(NOVIKARM_SetDataEvent(&Plain, &Handle), 0);
    ASSERT_EQ(NOVIKARM_SetDataEvent(&Plain, &Handle), 0);
    EXPECT_EQ(static_cast<uint32_t>(NOVIKARM_SetDataEvent(&Plain, &Handle)), NOVIK_EVENT_ERR_NO_MORE_ADDR_COMP);
}

TEST_F(CNovikDebug, FaultsEscalateAndLockUp) {
    // ldr r0,=0x60000000; ldr r1,[r0]: a bus fault that has no handler of its own
    const std::vector<uint16_t> BadLoad = {0x4801, 0x6801, 0xBF00, 0xBF00, 0x0000, 0x6000};
    Load(BadLoad, {{3, CODE + 4}});
    NOVIKARM_Step();
    NOVIKARM_Step();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 4);
    EXPECT_EQ(Reg(NOVIK_REG_IPSR), 3u);
    EXPECT_EQ(Reg(NOVIK_REG_LR), 0xFFFFFFF9u);
    EXPECT_EQ(Word(0xE000ED28), 0x8200u) << "PRECISERR, BFARVALID";
    EXPECT_EQ(Word(0xE000ED38), 0x60000000u);
    EXPECT_EQ(Word(0xE000ED2C), 0x40000000u) << "FORCED";
    EXPECT_EQ(Word(Reg(NOVIK_REG_SP) + 24), CODE + 2) << "return address: the instruction itself";
    // The same again in the handler locks the processor up, which counts as a halt.
    const std::vector<uint16_t> TwoBad = {0x4801, 0x6801, 0x6801, 0xBF00, 0x0000, 0x6000};
    Load(TwoBad, {{3, CODE + 4}});
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), 0xFFFFFFFEu);
    EXPECT_NE(Word(0xE000EDF0) & 0x80000, 0u) << "DHCSR.S_LOCKUP";
}

TEST_F(CNovikDebug, VectorCatchHaltsAtTheHandler) {
    Load({0xDE00}, {{3, CODE + 0x20}}); // permanently undefined
    ASSERT_EQ(NOVIKARM_WriteU32(0xE000EDFC, 0x400), 0);
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 0x20);
    EXPECT_EQ(Word(0xE000ED28), 0x00010000u) << "UNDEFINSTR";
    EXPECT_NE(Word(0xE000ED30) & 8, 0u) << "DFSR.VCATCH";
}

TEST_F(CNovikDebug, SemihostingTrapHalts) {
    Load({0x2005, 0xBEAB, 0x2006, 0xBEAB});
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 2);
    NOVIKARM_WriteReg(NOVIK_REG_PC, CODE + 4);
    RunToHalt();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE + 6);
    EXPECT_EQ(Reg(0), 6u);
}

TEST_F(CNovikDebug, NestedInterruptsFollowTheirPriorities) {
    // Main loops; handler 1 (low) pends handler 2 (high) by STIR: it must come in between.
    const std::vector<uint16_t> Code = {
        0xE7FE,                                         // 100: b .
        0xBF00,                                         //
        0x4A04, 0x2101, 0x6011, 0x3501, 0x462E, 0x4770, // 104: handler 1: ldr r2,=STIR; str 1; r5++; r6 = r5; bx lr
        0x3510, 0x4770,                                 // 110: handler 2: r5 += 16; bx lr
        0xBF00, 0xBF00, 0xEF00, 0xE000,                 // 118: literal
    };
    Load(Code, {{16, CODE + 4}, {17, CODE + 16}});
    ASSERT_EQ(NOVIKARM_WriteU32(0xE000E100, 3), 0);      // enable 0 and 1
    ASSERT_EQ(NOVIKARM_WriteU32(0xE000E400, 0x4080), 0); // interrupt 0: 0x80, interrupt 1: 0x40
    ASSERT_EQ(NOVIKARM_WriteReg(5, 0), 0);
    ASSERT_NE(NOVIKARM_SetBPEx(CODE + 14, NOVIK_BP_TYPE_ANY), 0u);
    ASSERT_EQ(Exec("SimPendInterrupt 0"), "");
    RunToHalt();
    EXPECT_EQ(Reg(6), 17u) << "the second handler ran before the first went on";
    EXPECT_EQ(Reg(NOVIK_REG_IPSR), 16u);
    NOVIKARM_Step();
    EXPECT_EQ(Reg(NOVIK_REG_PC), CODE);
    EXPECT_EQ(Reg(NOVIK_REG_SP), STACK);
}

} // namespace
