#pragma once
// Programs of random single instructions: each has its operands loaded from tables of special values, and a fault
// handler that records the fault and goes on behind the instruction.

#include "probe/thumb/Thumb.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

struct CFuzzTarget {
    const char* sName;
    const char* sMachine; // of QEMU
    Thumb::EArch Arch;
    bool HasFpu;
    uint32_t CodeBase; // of the image, which begins with the vector table
    uint32_t RamBase;  // 16 KB of it are used
};

struct CFuzzProgram {
    std::vector<uint16_t> Image;
    std::vector<uint32_t> CaseAddrs; // of the instructions tested
    uint32_t EndAddr = 0;
    uint32_t BfarAddr = 0; // the handler's load of BFAR into R3
    size_t NumCases = 0;
    size_t NumUndefined = 0; // of them, those that must fault
};

// Seed and number fix the program.
CFuzzProgram MakeFuzzProgram(const CFuzzTarget& Target, uint32_t Seed, size_t NumCases);

// Where the architecture leaves the result open, or QEMU departs from it, the name of the reason; else null.
const char* FindOracleException(const CFuzzTarget& Target, uint16_t First, uint16_t Second);
