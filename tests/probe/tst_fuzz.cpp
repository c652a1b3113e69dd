// Random single instructions of all encodings: results, flags, faults and UNDEFINED decisions as QEMU has them.
#include "FuzzProgram.h"
#include "QemuOracle.h"
#include "ScratchFolder.h"
#include "SimFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using namespace Thumb;

const CFuzzTarget Targets[] = {
    {"CortexM0", "microbit", ARCH_V6M, false, 0, 0x20000000},
    {"CortexM3", "mps2-an385", ARCH_V7M, false, 0, 0x20000000},
    {"CortexM4F", "mps2-an386", ARCH_V7EM, true, 0, 0x20000000},
    {"CortexM33", "mps2-an505", ARCH_V8M, true, 0x10000, 0x28000000},
};

std::vector<std::string> OptionsFor(const CFuzzTarget& Target, const std::string& sImage) {
    if (Target.Arch != ARCH_V8M) {
        return {"-M", Target.sMachine, "-kernel", sImage};
    }
    // The board starts in its secure state, which a program of ours leaves.
    return {"-M",      Target.sMachine,
            "-kernel", FIRMWARE_DIR "/secure.elf",
            "-device", "loader,force-raw=on,addr=0x10000,file=" + sImage};
}

class CFuzzTest : public ::testing::TestWithParam<CFuzzTarget> {};

TEST_P(CFuzzTest, RandomInstructionsMatchQemu) {
    if (!CQemuOracle::IsInstalled()) {
        GTEST_SKIP() << "qemu-system-arm is not installed";
    }
    const CFuzzTarget& Target = GetParam();
    if (Target.Arch == ARCH_V8M && !std::filesystem::exists(FIRMWARE_DIR "/secure.elf")) {
        GTEST_SKIP() << "the cross compiler is not installed";
    }
    const char* sCases = std::getenv("BRASK_FUZZ_CASES");
    const size_t Wanted = sCases ? std::strtoul(sCases, nullptr, 10) : 20000;
    constexpr size_t PER_PROGRAM = 8000; // the program fits in the flash of the smallest machine
    const CScratchFolder Folder;
    size_t NumCases = 0, NumUndefined = 0;
    uint64_t Steps = 0;
    for (uint32_t Seed = 1; NumCases < Wanted && !HasFailure(); Seed++) {
        const CFuzzProgram Program = MakeFuzzProgram(Target, Seed, PER_PROGRAM);
        const uint32_t Size = static_cast<uint32_t>(Program.Image.size() * 2);
        std::ofstream(Folder.Path("image.bin"), std::ios::binary)
            .write(reinterpret_cast<const char*>(Program.Image.data()), Size);
        CSimFixture Sim(Target.Arch, Target.HasFpu, Sim::ERegion::Ram);
        Sim.LoadImage(Target.CodeBase, Program.Image);
        CQemuOracle Oracle(OptionsFor(Target, Folder.Path("image.bin")), Target.HasFpu);
        const auto IsKnown = [&](uint32_t Addr, const CQemuState& Theirs, const CQemuState& Ours) {
            // QEMU tells the part of an unaligned access that failed, the architecture the address of the whole.
            const bool IsPart = Addr == Program.BfarAddr && (Theirs.R[3] ^ Ours.R[3]) < 8;
            return IsPart || (Target.Arch == ARCH_V8M && IsClearedEntry(Addr, Theirs, Ours));
        };
        const CComparison Result = CompareWithQemu(Oracle, *Sim.pCpu, ~uint64_t(0), Program.EndAddr, true, IsKnown);
        EXPECT_EQ(Sim.pCpu->Pc, Program.EndAddr) << "the program didn't get to its end, seed " << Seed;
        NumCases += Program.NumCases;
        NumUndefined += Program.NumUndefined;
        Steps += Result.Steps;
    }
    std::printf("%s: %zu cases, %zu of them undefined, %llu states compared\n", Target.sName, NumCases, NumUndefined,
                static_cast<unsigned long long>(Steps));
}

INSTANTIATE_TEST_SUITE_P(Cores, CFuzzTest, ::testing::ValuesIn(Targets),
                         [](const auto& Info) { return std::string(Info.param.sName); });

} // namespace
