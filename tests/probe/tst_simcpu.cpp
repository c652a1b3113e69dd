// The processor by itself: determinism, random programs, timing of SysTick, IT blocks.
#include "SimFixture.h"

#include <random>

namespace {

using namespace Sim;

// Whatever the bytes are, the processor goes on, faults or locks up, and each run gives the same result.
TEST(SimCpu, RandomBytesNeverCrashAndAreDeterministic) {
    for (const Thumb::EArch Arch :
         {Thumb::ARCH_V6M, Thumb::ARCH_V7M, Thumb::ARCH_V7EM, Thumb::ARCH_V8B, Thumb::ARCH_V8M}) {
        for (uint32_t Seed = 1; Seed <= 60; Seed++) {
            uint32_t Pcs[2], Statuses[2];
            uint64_t Totals[2];
            for (int Round = 0; Round < 2; Round++) {
                std::mt19937 Random(Seed);
                CSimFixture Sim(Arch);
                std::vector<uint16_t> Code(4096);
                for (uint16_t& Half : Code) {
                    Half = static_cast<uint16_t>(Random());
                }
                Sim.Load(Code);
                for (uint32_t& Reg : Sim.pCpu->R) {
                    Reg = Random() % 2 ? 0x20000000 + (Random() & 0xFFFFC) : Random();
                }
                const uint32_t Handler = CSimFixture::CODE | 1;
                for (uint32_t Vector = 2; Vector < 64; Vector++) {
                    const uint32_t Target = Handler + Vector * 64;
                    Sim.pCpu->Mem.Write(Vector * 4, &Target, 4);
                }
                for (int Piece = 0; Piece < 50 && !Sim.pCpu->LockedUp; Piece++) {
                    Sim.pCpu->Run(1000);
                    Sim.pCpu->Step(true);
                }
                Pcs[Round] = Sim.pCpu->Pc;
                Statuses[Round] = Sim.pCpu->Xpsr();
                Totals[Round] = Sim.pCpu->TraceTotal();
            }
            EXPECT_EQ(Pcs[0], Pcs[1]) << "seed " << Seed;
            EXPECT_EQ(Statuses[0], Statuses[1]) << "seed " << Seed;
            EXPECT_EQ(Totals[0], Totals[1]) << "seed " << Seed;
        }
    }
}

TEST(SimCpu, EveryInstructionDecodesToAHandler) {
    for (uint32_t First = 0; First < 0x10000; First++) {
        const uint16_t Half = static_cast<uint16_t>(First);
        for (uint32_t Second = 0; Second < (Thumb::Is32Bit(Half) ? 0x10000u : 1u); Second += 0x101) {
            const Thumb::CInst Inst = Thumb::Decode(0x1000, Half, static_cast<uint16_t>(Second), Thumb::ARCH_V8M);
            ASSERT_LT(Inst.Code, Thumb::OP_COUNT) << std::hex << First << " " << Second;
            ASSERT_LT(Inst.CodeInIT, Thumb::OP_COUNT);
            ASSERT_NE(Inst.Code, Thumb::OP_NOT_DECODED);
            ASSERT_EQ(Inst.Len, Thumb::Is32Bit(Half) ? 4 : 2);
            ASSERT_LT(Inst.Rd | Inst.Rn | Inst.Rm, Inst.Code >= Thumb::OP_VFP ? 32 : 16);
        }
    }
}

TEST(SimCpu, OnlyTheExtensionsOfTheArchitectureExist) {
    struct {
        uint16_t First, Second;
        bool Exists[5]; // V6M, V8B, V7M, V7EM, V8M
    } const Cases[] = {
        {0xBF08, 0, {false, false, true, true, true}},       // it eq
        {0xB100, 0, {false, true, true, true, true}},        // cbz
        {0xFB90, 0xF1F2, {false, true, true, true, true}},   // sdiv
        {0xF04F, 0x0001, {false, false, true, true, true}},  // mov.w
        {0xF3BF, 0x8F4F, {true, true, true, true, true}},    // dsb
        {0xE8D0, 0x1FAF, {false, true, false, false, true}}, // lda
        {0xFA80, 0xF081, {false, false, false, true, true}}, // qadd
    };
    const Thumb::EArch Archs[] = {Thumb::ARCH_V6M, Thumb::ARCH_V8B, Thumb::ARCH_V7M, Thumb::ARCH_V7EM, Thumb::ARCH_V8M};
    for (const auto& Case : Cases) {
        for (int Index = 0; Index < 5; Index++) {
            const bool Exists = Thumb::Decode(0, Case.First, Case.Second, Archs[Index]).Code != Thumb::OP_UNDEFINED;
            EXPECT_EQ(Exists, Case.Exists[Index]) << std::hex << Case.First << " " << Index;
        }
    }
}

TEST(SimCpu, SysTickInterruptsEachPeriodExactly) {
    CSimFixture Sim(Thumb::ARCH_V7M);
    Sim.Load({0xE7FE, 0x3401, 0x4770}); // b . ; handler: adds r4,#1; bx lr
    const uint32_t Handler = (CSimFixture::CODE + 2) | 1;
    Sim.pCpu->Mem.Write(15 * 4, &Handler, 4);
    Sim.pCpu->DebugWrite(0xE000E014, 4, 99);
    Sim.pCpu->DebugWrite(0xE000E010, 4, 7);
    while (Sim.pCpu->Cycles < 1000) {
        ASSERT_EQ(Sim.pCpu->Run(1), 0u);
    }
    EXPECT_EQ(Sim.pCpu->R[4], 9u) << "one each 100 cycles, the tenth is pending";
    while (Sim.pCpu->Cycles < 1001) {
        ASSERT_EQ(Sim.pCpu->Run(1), 0u);
    }
    EXPECT_EQ(Sim.pCpu->R[4], 10u);
}

TEST(SimCpu, WaitForInterruptSkipsTime) {
    CSimFixture Sim(Thumb::ARCH_V7M);
    Sim.Load({0xBF30, 0xE7FD, 0x3401, 0x4770}); // loop: wfi; b loop; handler: adds r4,#1; bx lr
    const uint32_t Handler = (CSimFixture::CODE + 4) | 1;
    Sim.pCpu->Mem.Write(15 * 4, &Handler, 4);
    Sim.pCpu->Run(100);
    EXPECT_TRUE(Sim.pCpu->Sleeping) << "nothing can wake it";
    Sim.pCpu->DebugWrite(0xE000E014, 4, 9999);
    Sim.pCpu->DebugWrite(0xE000E010, 4, 7);
    Sim.pCpu->Run(100);
    EXPECT_GT(Sim.pCpu->R[4], 10u);
    EXPECT_GT(Sim.pCpu->Cycles, 100000u);
}

TEST(SimCpu, ProcessStackAndUnprivilegedCodeAreKeptApart) {
    CSimFixture Sim(Thumb::ARCH_V7M);
    // r0 = PSP; msr psp,r0; movs r0,#3; msr control,r0; isb; push {r0}; ldr r1,=0xE000ED00; ldr r2,[r1]
    Sim.Load({0x4805, 0xF380, 0x8809, 0x2003, 0xF380, 0x8814, 0xF3BF, 0x8F6F, 0xB401, 0x4902, 0x680A, 0xBF00, 0x0000,
              0x2000, 0xED00, 0xE000});
    const uint32_t Psp = 0x20001000, Handler = CSimFixture::CODE | 1;
    Sim.pCpu->Mem.Write(CSimFixture::CODE + 24, &Psp, 4);
    Sim.pCpu->Mem.Write(3 * 4, &Handler, 4);
    for (int Step = 0; Step < 7; Step++) {
        Sim.pCpu->Step(false);
    }
    EXPECT_EQ(Sim.pCpu->Psp(), Psp - 4);
    EXPECT_EQ(Sim.pCpu->Msp(), CSimFixture::STACK);
    EXPECT_FALSE(Sim.pCpu->IsPrivileged());
    Sim.pCpu->Step(false);
    EXPECT_EQ(Sim.pCpu->Ipsr, uint32_t(EXC_HARD_FAULT)) << "the system space is privileged";
    EXPECT_EQ(Sim.pCpu->R[14], 0xFFFFFFFDu);
    EXPECT_EQ(Sim.pCpu->R[13], CSimFixture::STACK) << "the handler is on the main stack";
    EXPECT_EQ(Sim.pCpu->Psp(), (Psp - 4 - 32) & ~7u) << "frame on the process stack, aligned";
}

TEST(SimCpu, MemoryProtectionFaults) {
    CSimFixture Sim(Thumb::ARCH_V7M);
    Sim.Load({0x6008, 0xBF00}); // str r0,[r1]
    const uint32_t Handler = (CSimFixture::CODE + 2) | 1;
    Sim.pCpu->Mem.Write(4 * 4, &Handler, 4);
    const std::pair<uint32_t, uint32_t> Setup[] = {
        {0xE000ED24, 0x10000},    {0xE000ED98, 0}, {0xE000ED9C, 0x20000000}, // MemManage on; region 0: RAM
        {0xE000EDA0, 0x06000027}, {0xE000ED94, 5},                           // 1 MB, read only; on, with background map
    };
    for (const auto& [Addr, Value] : Setup) {
        ASSERT_TRUE(Sim.pCpu->DebugWrite(Addr, 4, Value));
    }
    Sim.pCpu->R[1] = 0x20000010;
    Sim.pCpu->Step(false);
    EXPECT_NE(Sim.pCpu->Cfsr & (CFSR_DACCVIOL | CFSR_MSTKERR), 0u);
    EXPECT_EQ(Sim.pCpu->Mmfar, 0x20000010u);
}

} // namespace
