#pragma once
// What the conformance suite tests: a probe library's functions and a connected target that runs a known program. A
// backend is one row of the table in ConformanceTarget.cpp.

#include "device/NovikFuncs.h"

#include <cstdint>
#include <memory>
#include <vector>

// The program: r0 counts, [RAM] holds the count.
//   +0 movs r0, #0   +2 ldr r1, =RAM   +4 loop: adds r0, #1   +6 str r0, [r1]   +8 nop   +10 b loop   +12 RAM
struct CProgram {
    static constexpr uint32_t FLASH = 0, CODE = 0x100, RAM = 0x20000000, STACK = 0x20000800;
    static constexpr uint32_t LOOP = CODE + 4, STORE = CODE + 6, BEHIND_STORE = CODE + 8;
    static std::vector<uint8_t> Image(); // from FLASH on: vector table and code
};

class CConformanceTarget {
public:
    virtual ~CConformanceTarget() = default;
    const NOVIK_FUNCS& Funcs() const { return *m_pFuncs; }
    uint32_t RamEnd() const { return m_RamEnd; } // nothing can be read from here on
    int NumHardBreakpoints() const { return m_NumHard; }
    // Selects the probe. The suite opens and connects.
    virtual void Select() = 0;
    const char* Device() const { return m_sDevice; }

protected:
    const NOVIK_FUNCS* m_pFuncs = nullptr;
    uint32_t m_RamEnd = 0;
    int m_NumHard = 0;
    const char* m_sDevice = "";
};

struct CConformanceBackend {
    const char* sName;
    std::unique_ptr<CConformanceTarget> (*pfMake)();
};

const std::vector<CConformanceBackend>& ConformanceBackends();
