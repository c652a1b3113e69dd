// Rules of the architecture that programs seldom meet: lockup, vector catch, stack limits, MPU aliases, comparators
// that the program sets up, bit-banding, access to the floating point unit.
#include "SimFixture.h"

namespace {

using namespace Sim;
using namespace Thumb;

TEST(SimUnits, FaultInTheHardFaultHandlerLocksUp) {
    CSimFixture Sim(ARCH_V7M);
    Sim.Load({0xDE00});
    const uint32_t Handler = CSimFixture::CODE | 1;
    Sim.pCpu->Mem.Write(EXC_HARD_FAULT * 4, &Handler, 4);
    EXPECT_EQ(Sim.pCpu->Run(100), uint32_t(EVENT_LOCKUP));
    EXPECT_TRUE(Sim.pCpu->LockedUp);
    EXPECT_EQ(Sim.pCpu->LockupPc, CSimFixture::CODE);
    EXPECT_EQ(Sim.pCpu->Ipsr, uint32_t(EXC_HARD_FAULT));
    EXPECT_EQ(Sim.pCpu->Hfsr, 1u << 30);
}

TEST(SimUnits, VectorCatchLooksAtTheNewFaultOnly) {
    for (const bool Enabled : {false, true}) {
        CSimFixture Sim(ARCH_V7M);
        Sim.Load({0xDE00});
        const uint32_t Handler = CSimFixture::CODE | 1;
        Sim.pCpu->Mem.Write(EXC_HARD_FAULT * 4, &Handler, 4);
        Sim.pCpu->Cfsr = CFSR_DIVBYZERO;                                  // of an earlier fault
        Sim.pCpu->DebugWrite(0xE000EDFC, 4, Enabled ? 1u << 7 : 1u << 6); // VC_STATERR, VC_CHKERR
        const uint32_t Events = Sim.pCpu->Step(false);
        EXPECT_EQ((Events & EVENT_CATCH) != 0, Enabled);
    }
}

TEST(SimUnits, StackLimitStopsAdjustmentsOfSp) {
    for (const std::vector<uint16_t>& Code : {std::vector<uint16_t>{0xB088}, {0xB4FF}, {0xF84D, 0x0D20}}) {
        CSimFixture Sim(ARCH_V8M);
        Sim.Load(Code); // sub sp, #32; push {r0-r7}; str r0, [sp, #-32]!
        Sim.pCpu->MspLim = CSimFixture::STACK - 16;
        Sim.pCpu->Step(false);
        EXPECT_TRUE(Sim.pCpu->Cfsr & CFSR_STKOF) << std::hex << Code[0];
        CSimFixture Free(ARCH_V8M);
        Free.Load(Code);
        Free.pCpu->MspLim = CSimFixture::STACK - 32;
        Free.pCpu->Step(false);
        EXPECT_EQ(Free.pCpu->Cfsr, 0u) << std::hex << Code[0];
        EXPECT_EQ(Free.pCpu->R[13], CSimFixture::STACK - 32);
    }
}

TEST(SimUnits, MpuAliasesReachTheirRegions) {
    CSimFixture V8(ARCH_V8M);
    V8.pCpu->DebugWrite(0xE000ED98, 4, 4);
    V8.pCpu->DebugWrite(0xE000EDAC, 4, 0x20000002); // RBAR_A2: region 6
    V8.pCpu->DebugWrite(0xE000EDB0, 4, 0x200000E1);
    EXPECT_EQ(V8.pCpu->MpuRegions[6].Rbar, 0x20000002u);
    EXPECT_EQ(V8.pCpu->MpuRegions[6].Rasr, 0x200000E1u);
    CSimFixture V7(ARCH_V7M);
    V7.pCpu->DebugWrite(0xE000EDA4, 4, 0x20000013); // RBAR_A1 with VALID: region 3
    V7.pCpu->DebugWrite(0xE000EDA8, 4, 0x03000001);
    EXPECT_EQ(V7.pCpu->MpuRegions[3].Rbar, 0x20000000u);
    EXPECT_EQ(V7.pCpu->MpuRegions[3].Rasr, 0x03000001u);
}

TEST(SimUnits, TestTargetTellsRegionAndRights) {
    CSimFixture Sim(ARCH_V8M);
    Sim.Load({0xE841, 0xF000, 0xE841, 0xF240}); // tt r0, r1; ttt r2, r1
    Sim.pCpu->DebugWrite(0xE000ED98, 4, 2);
    Sim.pCpu->DebugWrite(0xE000ED9C, 4, 0x20000000); // read and write, privileged only
    Sim.pCpu->DebugWrite(0xE000EDA0, 4, 0x200000E1);
    Sim.pCpu->DebugWrite(0xE000ED94, 4, 5);
    Sim.pCpu->R[1] = 0x20000040;
    Sim.pCpu->Step(false);
    Sim.pCpu->Step(false);
    EXPECT_EQ(Sim.pCpu->R[0], 0x000D0002u);
    EXPECT_EQ(Sim.pCpu->R[2], 0x00010002u);
}

TEST(SimUnits, ComparatorOfTheProgramMatchesAddressAndValue) {
    struct {
        uint32_t Function, Value;
        bool Hits;
    } const Cases[] = {{6, 1, true},  {5, 1, false},        {7, 1, true},
                       {0, 1, false}, {0x1906, 0x55, true}, {0x1906, 0x54, false}};
    for (const auto& Case : Cases) {
        CSimFixture Sim(ARCH_V7M);
        Sim.Load({0x6008, 0xBF00}); // str r0, [r1]
        const bool IsValue = Case.Function & 0x100;
        const uint32_t Base = IsValue ? 0xE0001020 : 0xE0001030;
        Sim.pCpu->DebugWrite(0xE0001030, 4, 0x20000100); // comparator 1: the address, 16 bytes
        Sim.pCpu->DebugWrite(0xE0001034, 4, 4);
        Sim.pCpu->DebugWrite(0xE0001020, 4, 0x55); // comparator 0: a value, linked to 1
        Sim.pCpu->DebugWrite(Base + 8, 4, Case.Function);
        Sim.pCpu->R[0] = Case.Value;
        Sim.pCpu->R[1] = 0x20000108;
        EXPECT_EQ((Sim.pCpu->Step(false) & EVENT_WATCHPOINT) != 0, Case.Hits) << std::hex << Case.Function;
    }
}

TEST(SimUnits, BitBandingIsThereOnSomeCoresOnly) {
    for (const EArch Arch : {ARCH_V7M, ARCH_V8M}) {
        CSimFixture Sim(Arch);
        const uint32_t Alias = 0x22000000 + 0x10 * 32 + 3 * 4;
        uint32_t Word = 0;
        EXPECT_EQ(Sim.pCpu->DebugWrite(Alias, 4, 1), Arch == ARCH_V7M);
        EXPECT_TRUE(Sim.pCpu->DebugRead(0x20000010, 4, Word));
        EXPECT_EQ(Word, Arch == ARCH_V7M ? 8u : 0u);
    }
}

TEST(SimUnits, FpuNeedsAccessAndMakesAContext) {
    CSimFixture Sim(ARCH_V7EM, true);
    Sim.Load({0xEE30, 0x0A20}); // vadd.f32 s0, s0, s1
    Sim.pCpu->Step(false);
    EXPECT_EQ(Sim.pCpu->Cfsr, uint32_t(CFSR_NOCP));
    Sim.pCpu->Reset();
    Sim.pCpu->DebugWrite(0xE000ED88, 4, 0x00F00000);
    Sim.pCpu->DebugWrite(0xE000EF3C, 4, 0x01C00000); // FPDSCR
    Sim.pCpu->S[0] = 0x3F800000;
    Sim.pCpu->S[1] = 0x33800000; // 1 + 2^-24: rounded by FPDSCR's mode, toward zero
    Sim.pCpu->Step(false);
    EXPECT_EQ(Sim.pCpu->S[0], 0x3F800000u);
    EXPECT_EQ(Sim.pCpu->Fpscr, 0x01C00010u);
    EXPECT_TRUE(Sim.pCpu->Control & 4);
}

TEST(SimUnits, BreakpointsThatTheProgramSetsStopIt) {
    struct {
        uint8_t FpbVersion;
        uint32_t Comp;
        uint32_t Stop;
    } const aCase[] = {
        {1, 0x40000000 | (CSimFixture::CODE + 4) | 1, CSimFixture::CODE + 4},
        {1, 0x80000000 | (CSimFixture::CODE + 4) | 1, CSimFixture::CODE + 6},
        {1, 0xC0000000 | (CSimFixture::CODE + 4) | 1, CSimFixture::CODE + 4},
        {2, (CSimFixture::CODE + 6) | 1, CSimFixture::CODE + 6},
    };
    for (const auto& Case : aCase) {
        CSimFixture Sim(ARCH_V7EM);
        CCpu& C = *Sim.pCpu;
        C.Traits.FpbVersion = Case.FpbVersion;
        Sim.Load({0xBF00, 0xBF00, 0xBF00, 0xBF00, 0xE7FE}); // nop x 4, b .
        C.DebugWrite(0xE000200C, 4, Case.Comp);
        EXPECT_EQ(C.Run(100), uint32_t(EVENT_BREAKPOINT));
        EXPECT_EQ(C.Pc, Case.Stop);
        uint32_t Value = 0;
        EXPECT_TRUE(C.DebugRead(0xE000200C, 4, Value));
        EXPECT_EQ(Value, Case.Comp);
        C.Step(false);
        EXPECT_EQ(C.Pc, Case.Stop + 2) << "a step leaves it";
        C.DebugWrite(0xE0002000, 4, 0); // without KEY nothing happens
        Sim.Load({0xBF00, 0xBF00, 0xBF00, 0xBF00, 0xE7FE});
        EXPECT_EQ(C.Run(100), uint32_t(EVENT_BREAKPOINT)) << "a reset keeps it";
        C.DebugWrite(0xE0002000, 4, 2);
        C.Reset();
        EXPECT_EQ(C.Run(100), 0u) << "the unit is off";
    }
}

// Instructions and system space stay little-endian; vectors, stack and data don't.
TEST(SimUnits, BigEndianDataLiesTheOtherWayRound) {
    constexpr uint32_t RAM = 0x20000000, HANDLER = 0x200;
    for (const EArch Arch : {ARCH_V6M, ARCH_V7EM, ARCH_V8M}) {
        CSimFixture Sim(Arch);
        CCpu& C = *Sim.pCpu;
        C.Traits.IsBigEndian = true;
        const std::vector<uint16_t> Code = {
            0x6808,        // ldr r0, [r1]
            0x880A,        // ldrh r2, [r1]
            0x780B,        // ldrb r3, [r1]
            0x6048,        // str r0, [r1, #4]
            0x810A,        // strh r2, [r1, #8]
            0x728B,        // strb r3, [r1, #10]
            0xB401,        // push {r0}
            0xBC10,        // pop {r4}
            0xC9C0,        // ldmia r1!, {r6, r7}
            0x4D01,        // ldr r5, [pc, #4]
            0x682D,        // ldr r5, [r5]
            0xDF00,        // svc #0
            0xE000, 0x0CED // the word 0xE000ED0C
        };
        const uint8_t Vectors[8] = {0x20, 0x00, 0x20, 0x00, 0x00, 0x00, 0x01, 0x01};
        const uint8_t SvcVector[4] = {0x00, 0x00, HANDLER >> 8, (HANDLER & 0xFF) | 1};
        const uint8_t Data[4] = {0x11, 0x22, 0x33, 0x44};
        C.Mem.Write(0, Vectors, sizeof(Vectors));
        C.Mem.Write(EXC_SVCALL * 4, SvcVector, sizeof(SvcVector));
        C.Mem.Write(CSimFixture::CODE, Code.data(), static_cast<uint32_t>(Code.size() * 2));
        const uint16_t Nop = 0xBF00;
        C.Mem.Write(HANDLER, &Nop, 2);
        C.Mem.Write(RAM, Data, sizeof(Data));
        C.Reset();
        ASSERT_EQ(C.R[13], 0x20002000u);
        ASSERT_EQ(C.Pc, CSimFixture::CODE);
        C.R[1] = RAM;
        const uint32_t Literal = CSimFixture::CODE + 24;
        const uint8_t Aircr[4] = {0xE0, 0x00, 0xED, 0x0C};
        C.Mem.Write(Literal, Aircr, sizeof(Aircr));
        for (int i = 0; i < 12; ++i) {
            C.Step(false);
        }
        EXPECT_EQ(C.R[0], 0x11223344u);
        EXPECT_EQ(C.R[2], 0x1122u);
        EXPECT_EQ(C.R[3], 0x11u);
        EXPECT_EQ(C.R[4], 0x11223344u);
        EXPECT_EQ(C.R[6], 0x11223344u);
        EXPECT_EQ(C.R[7], 0x11223344u);
        EXPECT_EQ(C.R[5], 0xFA058000u) << "AIRCR tells the byte order, in its own";
        EXPECT_EQ(C.Pc, HANDLER) << "the vector is data";
        uint8_t Bytes[12] = {};
        C.Mem.Read(RAM, Bytes, 11);
        const uint8_t Expected[11] = {0x11, 0x22, 0x33, 0x44, 0x11, 0x22, 0x33, 0x44, 0x11, 0x22, 0x11};
        EXPECT_TRUE(std::equal(Expected, Expected + 11, Bytes));
        C.Mem.Read(C.R[13] + 24, Bytes, 4); // the stacked return address
        const uint8_t Return[4] = {0, 0, 1, 24};
        EXPECT_TRUE(std::equal(Return, Return + 4, Bytes));
    }
}

} // namespace
