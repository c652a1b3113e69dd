#pragma once
// A bare simulated processor with 4 MB of program memory at 0 and 4 MB of RAM at 0x20000000 (ARMv8-M: 0x28000000 too).

#include "probe/sim/Cpu.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

struct CSimFixture {
    static constexpr uint32_t CODE = 0x100;
    static constexpr uint32_t STACK = 0x20002000; // within the 16 KB of the smallest machine compared with

    explicit CSimFixture(Thumb::EArch Arch, bool HasFpu = false, Sim::ERegion CodeKind = Sim::ERegion::Flash);
    // Puts the program behind a vector table and resets.
    void Load(const std::vector<uint16_t>& Code);
    // Puts an image that begins with a vector table at Addr and resets.
    void LoadImage(uint32_t Addr, const std::vector<uint16_t>& Image);
    // VectorTable: where the program has it.
    void LoadElf(const std::string& sPath, uint32_t VectorTable = 0);

    std::unique_ptr<Sim::CCpu> pCpu;

private:
    void ResetTo(uint32_t VectorTable);
};
