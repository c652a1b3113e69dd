#include "tests/probe/ConformanceTarget.h"

#include "tests/device/FakeProbe.h"

#include <cstring>

namespace {

constexpr uint16_t Code[] = {0x2000, 0x4902, 0x3001, 0x6008, 0xBF00, 0xE7FB, 0x0000, 0x2000};

// --- The simulated target, through the library as the debugger loads it ------------------------------------------

class CSimulated : public CConformanceTarget {
public:
    CSimulated() {
        m_pFuncs = &LoadNovikLibrary();
        m_RamEnd = 0x20100000;
        m_NumHard = 6;
        m_sDevice = "Cortex-M4";
    }
    ~CSimulated() override {
        char sError[64] = "";
        m_pFuncs->NOVIKARM_ExecCommand("SimPowerCycle", sError, sizeof(sError));
        m_pFuncs->NOVIKARM_Close();
    }
    void Select() override { m_pFuncs->NOVIKARM_SelectUSB(0); }
};

// --- The scripted probe, which replays a recording of the program ------------------------------------------------

class CScripted : public CConformanceTarget {
public:
    CScripted() {
        m_pFuncs = &m_Fake.Funcs;
        m_RamEnd = CProgram::RAM + 0x1000;
        m_NumHard = 4;
        m_sDevice = "Fake1";
        m_Fake.IsOpen = m_Fake.IsConnected = false;
        m_Fake.NumUnits = m_NumHard;
        m_Fake.Regions = {{CProgram::FLASH, 0x4000, true}, {CProgram::RAM, 0x1000, false}};
        for (const FAKE_REGION& Region : m_Fake.Regions) {
            m_Fake.Poke(Region.Addr, QByteArray(qsizetype(Region.Size), Region.IsFlash ? '\xFF' : '\0'));
        }
        Record();
    }
    void Select() override {}

private:
    static FAKE_STATE State(uint32_t PC, uint32_t R0, uint32_t R1) {
        return {{{NOVIK_REG_PC, PC}, {NOVIK_REG_R0, R0}, {1, R1}}};
    }
    // The states before each instruction of the first rounds.
    void Record() {
        constexpr uint32_t NUM_ROUNDS = 100;
        m_Fake.Recording = {State(CProgram::CODE, 0, 0), State(CProgram::CODE + 2, 0, 0)};
        m_Fake.Recording[0].Regs[NOVIK_REG_SP] = CProgram::STACK;
        m_Fake.Recording[0].Regs[NOVIK_REG_XPSR] = 0x01000000;
        for (uint32_t Round = 0; Round < NUM_ROUNDS; Round++) {
            FAKE_STATE Store = State(CProgram::STORE, Round + 1, CProgram::RAM);
            Store.WriteAddr = CProgram::RAM;
            Store.WriteSize = 4;
            Store.WriteValue = Round + 1;
            m_Fake.Recording += {State(CProgram::LOOP, Round, CProgram::RAM), Store,
                                 State(CProgram::BEHIND_STORE, Round + 1, CProgram::RAM),
                                 State(CProgram::CODE + 10, Round + 1, CProgram::RAM)};
        }
    }

    CFakeProbe m_Fake;
};

template <class TARGET> std::unique_ptr<CConformanceTarget> Make() { return std::make_unique<TARGET>(); }

} // namespace

std::vector<uint8_t> CProgram::Image() {
    std::vector<uint8_t> Image(CODE + sizeof(Code), 0);
    const uint32_t Vectors[2] = {STACK, CODE | 1};
    std::memcpy(Image.data(), Vectors, sizeof(Vectors));
    std::memcpy(Image.data() + CODE, Code, sizeof(Code));
    return Image;
}

const std::vector<CConformanceBackend>& ConformanceBackends() {
    static const std::vector<CConformanceBackend> Backends = {
        {"Simulated", Make<CSimulated>},
        {"Scripted", Make<CScripted>},
    };
    return Backends;
}
