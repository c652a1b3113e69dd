#include "QemuOracle.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The eight hexadecimal digits at p.
uint32_t Hex(const char* p) {
    uint32_t Value = 0;
    for (int Index = 0; Index < 8; Index++) {
        const uint32_t c = static_cast<uint8_t>(p[Index]);
        Value = Value << 4 | ((c & 15) + (c >> 6) * 9);
    }
    return Value;
}

} // namespace

std::string Describe(const CQemuState& State, bool WithFp) {
    std::string sText;
    char s[32];
    for (int Index = 0; Index < 16; Index++) {
        std::snprintf(s, sizeof(s), "r%d=%08x ", Index, State.R[Index]);
        sText += s;
    }
    std::snprintf(s, sizeof(s), "xpsr=%08x", State.Xpsr);
    sText += s;
    for (int Index = 0; WithFp && Index < 32; Index++) {
        std::snprintf(s, sizeof(s), "%ss%d=%08x", Index % 16 ? " " : "\n       ", Index, State.S[Index]);
        sText += s;
    }
    std::snprintf(s, sizeof(s), " fpscr=%08x", State.Fpscr);
    return WithFp ? sText + s : sText;
}

CQemuState StateOf(const Sim::CCpu& Cpu, bool WithFp) {
    CQemuState State{};
    std::copy(Cpu.R, Cpu.R + 15, State.R);
    State.R[15] = Cpu.Pc;
    State.Xpsr = Cpu.Xpsr();
    if (WithFp) {
        std::copy(Cpu.S.begin(), Cpu.S.end(), State.S);
        State.Fpscr = Cpu.Fpscr;
    }
    return State;
}

bool IsClearedEntry(uint32_t, const CQemuState& Theirs, const CQemuState& Ours) {
    CQemuState Cleared = Ours;
    for (const size_t Reg : {0, 1, 2, 3, 12}) {
        Cleared.R[Reg] = 0;
    }
    Cleared.Xpsr &= 0x010001FF;
    return (Theirs.Xpsr & 0x1FF) && (Theirs.R[14] & 0xFFFFFF80) == 0xFFFFFF80 && Theirs == Cleared;
}

bool CQemuOracle::IsInstalled() { return std::system("command -v qemu-system-arm >/dev/null 2>&1") == 0; }

CQemuOracle::CQemuOracle(const std::vector<std::string>& Options, bool WithFp) : m_WithFp(WithFp), m_Buffer(1u << 20) {
    std::vector<std::string> Args = {"qemu-system-arm",
                                     "-display",
                                     "none",
                                     "-monitor",
                                     "none",
                                     "-serial",
                                     "none",
                                     "-d",
                                     WithFp ? "cpu,fpu,nochain" : "cpu,nochain",
                                     "-singlestep",
                                     "-icount",
                                     "shift=0",
                                     "-D",
                                     "/dev/stdout"};
    Args.insert(Args.end(), Options.begin(), Options.end());
    std::vector<char*> Argv;
    for (std::string& sArg : Args) {
        Argv.push_back(sArg.data());
    }
    Argv.push_back(nullptr);
    int Pipe[2];
    if (pipe(Pipe) != 0) {
        return;
    }
    m_Pid = fork();
    if (m_Pid == 0) {
        dup2(Pipe[1], STDOUT_FILENO);
        close(Pipe[0]);
        close(Pipe[1]);
        if (!std::freopen("/dev/null", "w", stderr)) {
            _exit(126);
        }
        execvp(Argv[0], Argv.data());
        _exit(127);
    }
    close(Pipe[1]);
    m_Fd = Pipe[0];
}

CQemuOracle::~CQemuOracle() {
    if (m_Fd >= 0) {
        close(m_Fd);
    }
    if (m_Pid > 0) {
        kill(m_Pid, SIGKILL);
        waitpid(m_Pid, nullptr, 0);
    }
}

bool CQemuOracle::ReadLine() {
    for (;;) {
        const char* pStart = m_Buffer.data() + m_Pos;
        if (const void* p = std::memchr(pStart, '\n', m_End - m_Pos)) {
            m_pLine = pStart;
            m_LineSize = static_cast<size_t>(static_cast<const char*>(p) - pStart);
            m_Pos += m_LineSize + 1;
            return true;
        }
        std::memmove(m_Buffer.data(), pStart, m_End - m_Pos);
        m_End -= m_Pos;
        m_Pos = 0;
        const ssize_t Got = m_End < m_Buffer.size() ? read(m_Fd, m_Buffer.data() + m_End, m_Buffer.size() - m_End) : 0;
        if (Got <= 0) {
            return false;
        }
        m_End += static_cast<size_t>(Got);
    }
}

// Lines of four registers "R00=xxxxxxxx ...", the status "XPSR=xxxxxxxx", lines "s00=xxxxxxxx s01=xxxxxxxx", "FPSCR:
// x".
bool CQemuOracle::ReadState(CQemuState& State) {
    while (ReadLine()) {
        const char* p = m_pLine;
        if (m_LineSize >= 51 && p[0] == 'R' && p[3] == '=') {
            const size_t First = static_cast<size_t>((p[1] - '0') * 10 + p[2] - '0') & 12;
            for (size_t Index = 0; Index < 4; Index++) {
                State.R[First + Index] = Hex(p + Index * 13 + 4);
            }
        } else if (m_LineSize >= 13 && std::memcmp(p, "XPSR=", 5) == 0) {
            State.Xpsr = Hex(p + 5);
            if (!m_WithFp) {
                return true;
            }
        } else if (m_LineSize >= 25 && p[0] == 's' && p[3] == '=') {
            const size_t First = static_cast<size_t>((p[1] - '0') * 10 + p[2] - '0') & 30;
            State.S[First] = Hex(p + 4);
            State.S[First + 1] = Hex(p + 17);
        } else if (m_LineSize >= 15 && std::memcmp(p, "FPSCR: ", 7) == 0) {
            State.Fpscr = Hex(p + 7);
            return true;
        }
    }
    return false;
}

// A stopped block is printed twice, which no instruction but a branch to itself could do.
bool CQemuOracle::Next(CQemuState& State) {
    do {
        if (!ReadState(State)) {
            return false;
        }
    } while (m_HasLast && State == m_Last);
    m_Last = State;
    m_HasLast = true;
    return true;
}

namespace {

void TakeOver(Sim::CCpu& Cpu, const CQemuState& State) {
    std::copy(State.R, State.R + 15, Cpu.R);
    Cpu.Pc = State.R[15];
    Cpu.Ipsr = State.Xpsr & 0x1FF;
    Cpu.SetXpsr(State.Xpsr, ~0x1FFu);
    std::copy(std::begin(State.S), std::end(State.S), Cpu.S.begin());
    Cpu.Fpscr = State.Fpscr;
}

} // namespace

CComparison CompareWithQemu(CQemuOracle& Oracle, Sim::CCpu& Cpu, uint64_t MaxSteps, uint32_t EndAddr,
                            bool WithInterrupts, const FIsKnown& IsKnown) {
    CComparison Result;
    CQemuState Theirs, Before;
    do { // what runs before the program is not compared
        if (!Oracle.Next(Theirs)) {
            ADD_FAILURE() << "QEMU's log doesn't come to the program";
            return Result;
        }
    } while (Theirs.R[15] != Cpu.Pc);
    // Neither the flags nor R0 to R12 and LR have values fixed at reset, or what ran before has left some in them.
    Cpu.SetXpsr(Theirs.Xpsr, 0xF8000000);
    std::copy(Theirs.R, Theirs.R + 13, Cpu.R);
    Cpu.R[14] = Theirs.R[14];
    do {
        CQemuState Ours = StateOf(Cpu, Oracle.HasFp());
        if (WithInterrupts && Cpu.Pending.any()) {
            const bool WasPrinted = Ours == Theirs;
            Cpu.TakeInterrupts();
            Ours = StateOf(Cpu, Oracle.HasFp());
            // A block that the interrupt stops before its first instruction is printed as if it ran.
            if (WasPrinted && !(Ours == Theirs) && !Oracle.Next(Theirs)) {
                break;
            }
        }
        if (!(Ours == Theirs)) {
            if (Result.Steps && IsKnown && IsKnown(Before.R[15], Theirs, Ours)) {
                Result.Exceptions++;
            } else {
                uint16_t Halves[2] = {};
                Cpu.Mem.Read(Before.R[15], Halves, 4);
                char sInst[16];
                std::snprintf(sInst, sizeof(sInst), "%04x %04x", Halves[0], Halves[1]);
                ADD_FAILURE() << "step " << Result.Steps << " after " << sInst << "\nbefore "
                              << Describe(Before, Oracle.HasFp()) << "\nQEMU   " << Describe(Theirs, Oracle.HasFp())
                              << "\nours   " << Describe(Ours, Oracle.HasFp());
                return Result;
            }
            TakeOver(Cpu, Theirs);
        }
        Result.Steps++;
        if (Theirs.R[15] == EndAddr || Result.Steps >= MaxSteps) {
            break;
        }
        Before = Theirs;
        Cpu.Step(WithInterrupts);
    } while (Oracle.Next(Theirs));
    return Result;
}
