#pragma once
// A bare simulated processor with 1 MB of flash at 0 and 1 MB of RAM at 0x20000000.

#include "probe/sim/Cpu.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

struct CSimFixture {
    static constexpr uint32_t CODE = 0x100;
    static constexpr uint32_t STACK = 0x20002000; // within the 16 KB of the smallest machine compared with

    explicit CSimFixture(Thumb::EArch Arch);
    // Puts the program behind a vector table and resets.
    void Load(const std::vector<uint16_t>& Code);
    void LoadElf(const std::string& sPath);

    std::unique_ptr<Sim::CCpu> pCpu;
};
