// Programs built from C: every register after every instruction as QEMU has them.
#include "QemuOracle.h"
#include "SimFixture.h"

namespace {

TEST(QemuProgram, DemoRunsAlike) {
    if (!CQemuOracle::IsInstalled()) {
        GTEST_SKIP() << "qemu-system-arm is not installed";
    }
    const std::string sImage = std::string(BRASK_SOURCE_DIR) + "/examples/demo/demo.elf";
    CSimFixture Sim(Thumb::ARCH_V7EM, true);
    Sim.LoadElf(sImage);
    CQemuOracle Oracle({"-M", "mps2-an386", "-kernel", sImage}, true);
    EXPECT_EQ(CompareWithQemu(Oracle, *Sim.pCpu, 100000, 0xFFFFFFFF, false).Steps, 100000u);
}

} // namespace
