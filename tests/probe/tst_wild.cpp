// Programs gone wild: whatever they do, the processor goes on, halts or locks up, and gives the same trace each time,
// in whatever pieces it is run. Nothing is allocated while it runs.
#include "SimFixture.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <random>

namespace {
std::atomic<uint64_t> NumAllocations{0};
}

void* operator new(size_t Size) {
    NumAllocations++;
    if (void* p = std::malloc(Size ? Size : 1)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace {

using namespace Sim;
using namespace Thumb;

// What a run leaves behind: registers, and all addresses executed.
uint64_t Fingerprint(const CCpu& Cpu) {
    uint64_t Hash = 14695981039346656037u;
    const auto Add = [&](uint64_t Value) { Hash = (Hash ^ Value) * 1099511628211u; };
    for (const uint32_t Reg : Cpu.R) {
        Add(Reg);
    }
    for (const uint32_t Reg : Cpu.S) {
        Add(Reg);
    }
    Add(Cpu.Pc);
    Add(Cpu.Xpsr());
    Add(Cpu.Fpscr);
    Add(Cpu.Cfsr);
    Add(Cpu.TraceTotal());
    Add(Cpu.SkipTotal);
    for (const uint32_t* p = Cpu.pRingBase.get(); p < Cpu.pRing; p++) {
        Add(*p);
    }
    return Hash;
}

enum class EProgram { RandomBytes, StackOverflow, DoubleFault, JumpNowhere, SelfModifying, ExceptionStorm };

// The program's start; handlers and what it works on are random where it doesn't matter.
std::vector<uint16_t> MakeProgram(EProgram Program, std::mt19937& Random) {
    std::vector<uint16_t> Code(2048);
    for (uint16_t& Half : Code) {
        Half = static_cast<uint16_t>(Random());
    }
    const auto Begin = [&](std::initializer_list<uint16_t> Start) {
        std::copy(Start.begin(), Start.end(), Code.begin());
    };
    switch (Program) {
    case EProgram::RandomBytes:
        break;
    case EProgram::StackOverflow: // push {r0-r7,lr}; bl .-2
        Begin({0xB5FF, 0xF7FF, 0xFFFD});
        break;
    case EProgram::DoubleFault: // msr msp, r7 (nowhere); udf
        Begin({0xF387, 0x8808, 0xDE00});
        break;
    case EProgram::JumpNowhere: // bx r6
        Begin({0x4730});
        break;
    case EProgram::SelfModifying: // copies itself to RAM and goes on there, writing ahead of itself
        Begin({0x4678, 0x1F00, 0x2100, 0x5842, 0x506A, 0x1D09, 0x29FC, 0xDBFA, 0x1C6B, 0x3310, 0x552C, 0x3401, 0x4718});
        break;
    case EProgram::ExceptionStorm: // everything pending at once, again and again; most handlers return soon
        for (uint16_t& Half : Code) {
            Half = Random() % 4 ? 0x4770 : Half;
        }
        Begin({0x6028, 0x6030, 0xE7FC});
        break;
    }
    return Code;
}

void Prepare(CSimFixture& Sim, EProgram Program, uint32_t Seed) {
    std::mt19937 Random(Seed);
    Sim.Load(MakeProgram(Program, Random));
    CCpu& Cpu = *Sim.pCpu;
    for (uint32_t Vector = 2; Vector < 64; Vector++) {
        const uint32_t Target = CSimFixture::CODE + (Random() & 0x7FE) + (Random() % 16 ? 1 : 0);
        Cpu.Mem.Write(Vector * 4, &Target, 4);
    }
    for (uint32_t Index = 0; Index < 13; Index++) {
        Cpu.R[Index] = Random() % 2 ? 0x20000000 + (Random() & 0xFFFFC) : static_cast<uint32_t>(Random());
    }
    Cpu.DebugWrite(0xE000ED88, 4, 0x00F00000);
    Cpu.DebugWrite(0xE000ED24, 4, Random() % 2 ? 0x70000 : 0);
    if (Program == EProgram::ExceptionStorm) {
        Cpu.R[5] = 0xE000E200; // NVIC_ISPR0
        Cpu.R[6] = 0xE000ED04; // ICSR
        Cpu.R[0] = 0x14000000 | 0x00FFFFFF;
        Cpu.DebugWrite(0xE000E100, 4, 0xFFFFFFFF);
        for (uint32_t Word = 0; Word < 8; Word++) {
            Cpu.DebugWrite(0xE000E400 + Word * 4, 4, static_cast<uint32_t>(Random()));
        }
        Cpu.DebugWrite(0xE000E014, 4, 50);
        Cpu.DebugWrite(0xE000E010, 4, 7);
    }
    if (Program == EProgram::SelfModifying) {
        Cpu.R[5] = 0x20000000;
    }
    Cpu.Events = 0;
}

// Runs in pieces of that many instructions; stops of the program itself are passed over.
void RunInPieces(CCpu& Cpu, uint64_t Total, uint64_t Piece) {
    while (Cpu.TraceTotal() < Total && !Cpu.LockedUp) {
        const uint64_t Before = Cpu.TraceTotal();
        const uint64_t Count = std::min(Piece, Total - Before);
        if (Cpu.Run(Count) && !Cpu.LockedUp) {
            Cpu.Pc += 2; // a breakpoint instruction
        }
        if (Cpu.Sleeping && Cpu.TraceTotal() == Before) {
            return;
        }
    }
}

class CWild : public ::testing::TestWithParam<EProgram> {};

TEST_P(CWild, EndsAndIsTheSameInAnyPieces) {
    for (const EArch Arch : {ARCH_V6M, ARCH_V8B, ARCH_V7M, ARCH_V7EM, ARCH_V8M}) {
        for (uint32_t Seed = 1; Seed <= 12; Seed++) {
            uint64_t Prints[3];
            const uint64_t Pieces[3] = {20000, 20000, 7};
            for (int Round = 0; Round < 3; Round++) {
                CSimFixture Sim(Arch, Arch >= ARCH_V7EM);
                Prepare(Sim, GetParam(), Seed);
                RunInPieces(*Sim.pCpu, 20000, Pieces[Round]);
                Prints[Round] = Fingerprint(*Sim.pCpu);
            }
            EXPECT_EQ(Prints[0], Prints[1]) << "architecture " << int(Arch) << " seed " << Seed;
            EXPECT_EQ(Prints[0], Prints[2]) << "pieces of 7, architecture " << int(Arch) << " seed " << Seed;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Programs, CWild,
                         ::testing::Values(EProgram::RandomBytes, EProgram::StackOverflow, EProgram::DoubleFault,
                                           EProgram::JumpNowhere, EProgram::SelfModifying, EProgram::ExceptionStorm));

TEST(SimRun, StepsAndRunsGiveTheSameTrace) {
    // Floating point, memory, a call and a conditional branch; SysTick interrupts every 97 cycles.
    const std::vector<uint16_t> Code = {0xED2D, 0x0A04, 0xECBD, 0x0A04, 0xEE30, 0x0A20, 0x3001, 0x6008,
                                        0x1E52, 0xD1F5, 0xF000, 0xF801, 0xE7F2, 0x4770, 0x3701, 0x4770};
    uint64_t Prints[2];
    for (const bool Steps : {false, true}) {
        CSimFixture Sim(ARCH_V7EM, true);
        Sim.Load(Code);
        const uint32_t Handler = (CSimFixture::CODE + 28) | 1;
        Sim.pCpu->Mem.Write(EXC_SYSTICK * 4, &Handler, 4);
        Sim.pCpu->R[1] = 0x20001000;
        Sim.pCpu->R[2] = 5;
        Sim.pCpu->DebugWrite(0xE000ED88, 4, 0x00F00000);
        Sim.pCpu->DebugWrite(0xE000E014, 4, 96);
        Sim.pCpu->DebugWrite(0xE000E010, 4, 7);
        while (Sim.pCpu->TraceTotal() < 5000) {
            Steps ? Sim.pCpu->Step(true) : Sim.pCpu->Run(5000 - Sim.pCpu->TraceTotal());
        }
        EXPECT_GT(Sim.pCpu->R[7], 10u) << "the interrupt was taken";
        Prints[Steps] = Fingerprint(*Sim.pCpu);
    }
    EXPECT_EQ(Prints[0], Prints[1]);
}

TEST(SimRun, AllocatesNothing) {
    CSimFixture Sim(ARCH_V7EM, true);
    Prepare(Sim, EProgram::ExceptionStorm, 1);
    Sim.pCpu->Mem.Write(CSimFixture::CODE + 6, "\x70\x47", 2); // bx lr, for every exception
    for (uint32_t Vector = 2; Vector < 64; Vector++) {
        const uint32_t Target = (CSimFixture::CODE + 6) | 1;
        Sim.pCpu->Mem.Write(Vector * 4, &Target, 4);
    }
    CWatch Watch;
    Watch.Addr = 0x20003000;
    Sim.pCpu->Watches.push_back(Watch);
    Sim.pCpu->UpdateWatches();
    Sim.pCpu->SetBreakpoint(CSimFixture::CODE + 0x900);
    const uint64_t Before = NumAllocations;
    RunInPieces(*Sim.pCpu, 300000, 1000);
    EXPECT_EQ(NumAllocations, Before);
    EXPECT_GT(Sim.pCpu->TraceTotal(), 1000u);
}

} // namespace
