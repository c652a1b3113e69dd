// Programs built from C: every register and xPSR, and with a floating point unit its registers and FPSCR, after every
// instruction as QEMU has them. Interrupts are pended by the programs themselves, so that both take them at the same
// instruction. Built into a separate case for each program, so that CTest runs them side by side.
#include "QemuOracle.h"
#include "SimFixture.h"

#include <algorithm>
#include <filesystem>

namespace {

using namespace Thumb;

struct CFirmware {
    const char* sName; // of the image in FIRMWARE_DIR
    const char* sMachine;
    EArch Arch;
    bool HasFpu;
};

class CQemuFirmware : public ::testing::TestWithParam<CFirmware> {};

TEST_P(CQemuFirmware, EveryStateIsTheSame) {
    const CFirmware& Firmware = GetParam();
    constexpr uint64_t NUM_STEPS = 260000; // two programs for each core
    if (!CQemuOracle::IsInstalled()) {
        GTEST_SKIP() << "qemu-system-arm is not installed";
    }
    const std::string sImage = std::string(FIRMWARE_DIR) + "/" + Firmware.sName + ".elf";
    if (!std::filesystem::exists(sImage)) {
        GTEST_SKIP() << "the cross compiler is not installed";
    }
    CSimFixture Sim(Firmware.Arch, Firmware.HasFpu);
    std::vector<std::string> Options = {"-M", Firmware.sMachine, "-kernel"};
    if (Firmware.Arch == ARCH_V8M) { // the board starts in its secure state
        Sim.LoadElf(sImage, 0x10000);
        Options.insert(Options.end(), {std::string(FIRMWARE_DIR) + "/secure.elf", "-device", "loader,file=" + sImage});
    } else {
        Sim.LoadElf(sImage);
        Options.push_back(sImage);
    }
    CQemuOracle Oracle(Options, Firmware.HasFpu);
    const CComparison Result = CompareWithQemu(Oracle, *Sim.pCpu, NUM_STEPS, 0xFFFFFFFF, true, IsClearedEntry);
    EXPECT_EQ(Result.Steps, NUM_STEPS);
    std::printf("%s: %llu states are the same\n", Firmware.sName, static_cast<unsigned long long>(Result.Steps));
}

INSTANTIATE_TEST_SUITE_P(Programs, CQemuFirmware,
                         ::testing::Values(CFirmware{"compute-m0", "microbit", ARCH_V6M, false},
                                           CFirmware{"tasks-m0", "microbit", ARCH_V6M, false},
                                           CFirmware{"compute-m3", "mps2-an385", ARCH_V7M, false},
                                           CFirmware{"tasks-m3", "mps2-an385", ARCH_V7M, false},
                                           CFirmware{"compute-m4f", "mps2-an386", ARCH_V7EM, true},
                                           CFirmware{"tasks-m4f", "mps2-an386", ARCH_V7EM, true},
                                           CFirmware{"tasks-eager-m4f", "mps2-an386", ARCH_V7EM, true},
                                           CFirmware{"compute-m33", "mps2-an505", ARCH_V8M, true},
                                           CFirmware{"tasks-m33", "mps2-an505", ARCH_V8M, true},
                                           CFirmware{"tasks-eager-m33", "mps2-an505", ARCH_V8M, true}),
                         [](const auto& Info) {
                             std::string sName = Info.param.sName;
                             std::replace(sName.begin(), sName.end(), '-', '_');
                             return sName;
                         });

TEST(QemuProgram, DemoRunsAlike) {
    if (!CQemuOracle::IsInstalled()) {
        GTEST_SKIP() << "qemu-system-arm is not installed";
    }
    // SysTick runs faster here than there: interrupts are left out.
    const std::string sImage = std::string(BRASK_SOURCE_DIR) + "/examples/demo/demo.elf";
    CSimFixture Sim(ARCH_V7EM, true);
    Sim.LoadElf(sImage);
    CQemuOracle Oracle({"-M", "mps2-an386", "-kernel", sImage}, true);
    EXPECT_EQ(CompareWithQemu(Oracle, *Sim.pCpu, 100000, 0xFFFFFFFF, false).Steps, 100000u);
}

} // namespace
