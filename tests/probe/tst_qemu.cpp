// Every register after every instruction, against QEMU's log of the same program. Skipped where QEMU is missing.
#include "SimFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>

namespace {

using namespace Thumb;

struct CState {
    uint32_t R[16];
    uint32_t Xpsr;
    bool operator==(const CState&) const = default;
};

// A scratch folder that goes when the test ends.
class CQemuTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v qemu-system-arm >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "qemu-system-arm is not installed";
        }
        char Name[] = "/tmp/novik-qemu-XXXXXX";
        ASSERT_NE(mkdtemp(Name), nullptr);
        m_Folder = Name;
    }
    void TearDown() override {
        if (!m_Folder.empty()) {
            std::filesystem::remove_all(m_Folder);
        }
    }
    std::string Path(const char* sName) const { return (m_Folder / sName).string(); }
    // States before each instruction, at most about MaxBytes of log.
    std::vector<CState> RunQemu(const std::string& sMachine, const std::string& sImage, size_t MaxBytes);

private:
    std::filesystem::path m_Folder;
};

std::vector<CState> CQemuTest::RunQemu(const std::string& sMachine, const std::string& sImage, size_t MaxBytes) {
    const std::string sLog = Path("log");
    const std::string sCommand =
        "timeout 8 qemu-system-arm -M " + sMachine + " -kernel '" + sImage +
        "' -display none -monitor none -serial none -d cpu,nochain -singlestep -icount shift=0 "
        "-D /dev/stdout 2>/dev/null | head -c " +
        std::to_string(MaxBytes) + " > '" + sLog + "'";
    if (std::system(sCommand.c_str()) < 0) {
        return {};
    }
    std::ifstream Log(sLog);
    std::string sLine;
    std::vector<CState> States;
    CState State{};
    while (std::getline(Log, sLine)) {
        if (sLine.rfind("XPSR=", 0) == 0 && sLine.size() >= 13) {
            State.Xpsr = static_cast<uint32_t>(std::strtoul(sLine.c_str() + 5, nullptr, 16));
            if (States.empty() || !(States.back() == State)) { // a stopped block is printed twice
                States.push_back(State);
            }
        } else if (sLine.size() > 2 && sLine[0] == 'R' && sLine.find('=') == 3) {
            for (size_t Pos = 0; Pos + 12 <= sLine.size(); Pos += 13) {
                const unsigned long Reg = std::strtoul(sLine.c_str() + Pos + 1, nullptr, 10);
                State.R[Reg & 15] = static_cast<uint32_t>(std::strtoul(sLine.c_str() + Pos + 4, nullptr, 16));
            }
        }
    }
    return States;
}

std::string Describe(const CState& State) {
    std::string sText;
    for (int Index = 0; Index < 16; Index++) {
        char s[24];
        std::snprintf(s, sizeof(s), "r%d=%08x ", Index, State.R[Index]);
        sText += s;
    }
    char s[24];
    std::snprintf(s, sizeof(s), "xpsr=%08x", State.Xpsr);
    return sText + s;
}

CState StateOf(const Sim::CCpu& Cpu) {
    CState State{};
    std::copy(Cpu.R, Cpu.R + 15, State.R);
    State.R[15] = Cpu.Pc;
    State.Xpsr = Cpu.Xpsr();
    return State;
}

// Compares until the end of the shorter run or the first difference; the number of equal states.
size_t Compare(Sim::CCpu& Cpu, const std::vector<CState>& Expected) {
    size_t Index = 0;
    Cpu.SetXpsr(Expected[0].Xpsr, 0xF8000000); // QEMU starts with the zero flag set
    for (; Index < Expected.size(); Index++) {
        const CState Ours = StateOf(Cpu);
        if (!(Ours == Expected[Index])) {
            const uint32_t From = Index ? Expected[Index - 1].R[15] : 0;
            uint16_t Halves[2] = {};
            Cpu.Mem.Read(From, Halves, 4);
            ADD_FAILURE() << "step " << Index << " after " << std::hex << Halves[0] << " " << Halves[1] << " at "
                          << From << "\nbefore " << (Index ? Describe(Expected[Index - 1]) : "") << "\nQEMU   "
                          << Describe(Expected[Index]) << "\nours   " << Describe(Ours);
            break;
        }
        if (Cpu.Step(false)) {
            return Index + 1;
        }
    }
    return Index;
}

// True for instructions whose result the architecture fixes and that stay in the program and its stack.
bool IsComparable(const CInst& I, uint16_t First) {
    const auto Low = [](uint32_t Reg) { return Reg < 13; };
    if (I.Code >= OP_ALU) {
        const uint32_t Alu = (I.Code - OP_ALU) / 6, Operand = (I.Code - OP_ALU) % 3;
        const bool UsesRn = Alu != ALU_MOV && Alu != ALU_MVN;
        const bool WritesRd = Alu < ALU_TST;
        return (!UsesRn || Low(I.Rn)) && (!WritesRd || Low(I.Rd)) && (Operand == OPERAND_IMM || Low(I.Rm));
    }
    if ((First & 0xF000) == 0x9000) { // ldr, str relative to SP
        return true;
    }
    switch (I.Code) {
    case OP_SHIFT_BY_REG:
    case OP_MOVT:
    case OP_MUL:
    case OP_MLA:
    case OP_MLS:
    case OP_UMULL:
    case OP_SMULL:
    case OP_UMLAL:
    case OP_SMLAL:
    case OP_UMAAL:
    case OP_SDIV:
    case OP_UDIV:
    case OP_BFI:
    case OP_SBFX:
    case OP_UBFX:
    case OP_SSAT:
    case OP_USAT:
    case OP_SXTB:
    case OP_SXTH:
    case OP_UXTB:
    case OP_UXTH:
    case OP_CLZ:
    case OP_RBIT:
    case OP_REV:
    case OP_REV16:
    case OP_REVSH:
    case OP_DSP:
        return true;
    case OP_PUSH:
    case OP_POP:
        return !(I.Imm & 0xA000);
    case OP_LDRD:
    case OP_STRD:
        return I.Rn == 13 && I.Flags == 0;
    case OP_MRS:
        return I.Imm == 0 || I.Imm == 3 || I.Imm == 8 || I.Imm == 16;
    default:
        return false;
    }
}

// Straight-line program of random comparable instructions, with IT blocks.
std::vector<uint16_t> MakeProgram(uint32_t Seed, EArch Arch, size_t NumInsts) {
    std::mt19937 Random(Seed);
    std::vector<uint16_t> Code;
    int InIT = 0;
    for (size_t Count = 0; Count < NumInsts;) {
        if (InIT == 0 && Arch != ARCH_V6M && Random() % 12 == 0) {
            const uint16_t Mask = static_cast<uint16_t>(1 + Random() % 15);
            Code.push_back(static_cast<uint16_t>(0xBF00 | Random() % 14 << 4 | Mask));
            InIT = (Mask & 1) ? 4 : (Mask & 2) ? 3 : (Mask & 4) ? 2 : 1;
            continue;
        }
        const uint16_t First = static_cast<uint16_t>(Random() % 3 ? 0xE800 + Random() % 0x1800 : Random());
        const uint16_t Second = static_cast<uint16_t>(Random());
        const CInst Inst = Decode(0x1000, First, Second, Arch);
        const bool BadInIT = InIT && (Inst.CodeInIT == OP_UNDEFINED);
        if (Inst.Code == OP_UNDEFINED || BadInIT || !IsComparable(Inst, First)) {
            continue;
        }
        Code.push_back(First);
        if (Inst.Len == 4) {
            Code.push_back(Second);
        }
        InIT -= InIT > 0;
        Count++;
    }
    Code.push_back(0xBE00); // BKPT: QEMU takes it for a fault, locks up and ends
    return Code;
}

class CQemuRandom : public CQemuTest, public ::testing::WithParamInterface<std::pair<const char*, EArch>> {};

TEST_P(CQemuRandom, RandomInstructionsGiveTheSameRegisters) {
    const auto& [sMachine, Arch] = GetParam();
    constexpr size_t NUM_INSTS = 20000;
    size_t Total = 0;
    for (uint32_t Seed = 1; Seed <= 3; Seed++) {
        const std::vector<uint16_t> Code = MakeProgram(Seed, Arch, NUM_INSTS);
        CSimFixture Sim(Arch);
        Sim.Load(Code);
        std::vector<char> Image(CSimFixture::CODE + Code.size() * 2);
        Sim.pCpu->Mem.Read(0, Image.data(), static_cast<uint32_t>(Image.size()));
        std::ofstream(Path("image.bin"), std::ios::binary)
            .write(Image.data(), static_cast<std::streamsize>(Image.size()));
        const std::vector<CState> Expected = RunQemu(sMachine, Path("image.bin"), 40000000);
        ASSERT_GT(Expected.size(), NUM_INSTS) << "QEMU gave no log";
        const size_t Same = Compare(*Sim.pCpu, Expected);
        EXPECT_GE(Same, NUM_INSTS) << "seed " << Seed;
        Total += Same;
        if (HasFailure()) {
            break;
        }
    }
    RecordProperty("StatesCompared", static_cast<int>(Total));
}

INSTANTIATE_TEST_SUITE_P(
    Cores, CQemuRandom,
    ::testing::Values(std::pair<const char*, EArch>{"mps2-an385", ARCH_V7M},
                      std::pair<const char*, EArch>{"mps2-an386", ARCH_V7EM},
                      std::pair<const char*, EArch>{"microbit", ARCH_V6M}),
    [](const auto& Info) {
        return std::string(Info.param.first).substr(Info.param.first[0] == 'm' && Info.param.first[1] == 'p' ? 5 : 0);
    });

TEST_F(CQemuTest, DemoProgramRunsAlike) {
    const std::string sImage = std::string(BRASK_SOURCE_DIR) + "/examples/demo/demo.elf";
    const std::vector<CState> Expected = RunQemu("mps2-an386", sImage, 60000000);
    ASSERT_GT(Expected.size(), 100000u);
    CSimFixture Sim(ARCH_V7EM);
    Sim.LoadElf(sImage);
    EXPECT_GE(Compare(*Sim.pCpu, Expected), 100000u);
}

} // namespace
