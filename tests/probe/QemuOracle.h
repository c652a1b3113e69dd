#pragma once
// QEMU as the judge of the simulated processor: runs a program there with a log of the registers before each
// instruction, and runs it here step by step beside the log.

#include "probe/sim/Cpu.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

struct CQemuState {
    uint32_t R[16] = {};
    uint32_t Xpsr = 0;
    uint32_t S[32] = {};
    uint32_t Fpscr = 0;
    bool operator==(const CQemuState&) const = default;
};

std::string Describe(const CQemuState& State, bool WithFp);
CQemuState StateOf(const Sim::CCpu& Cpu, bool WithFp);

class CQemuOracle {
public:
    static bool IsInstalled();

    // sMachine and its options, images included; WithFp: the log has the floating point registers.
    CQemuOracle(const std::vector<std::string>& Options, bool WithFp);
    ~CQemuOracle();
    CQemuOracle(const CQemuOracle&) = delete;
    CQemuOracle& operator=(const CQemuOracle&) = delete;

    // The state before the next instruction. False: QEMU has ended.
    bool Next(CQemuState& State);
    bool HasFp() const { return m_WithFp; }

private:
    bool ReadLine();
    bool ReadState(CQemuState& State);

    bool m_WithFp;
    pid_t m_Pid = -1;
    int m_Fd = -1;
    std::vector<char> m_Buffer;
    size_t m_Pos = 0, m_End = 0;
    const char* m_pLine = nullptr; // valid until the next ReadLine
    size_t m_LineSize = 0;
    CQemuState m_Last;
    bool m_HasLast = false;
};

// True if the two may differ so after the instruction at the address.
using FIsKnown = std::function<bool(uint32_t Addr, const CQemuState& Theirs, const CQemuState& Ours)>;

// On a core with the security extension, which QEMU's Cortex-M33 has, it clears R0 to R3, R12 and the flags when a
// non-secure exception is entered. Without the extension their values are open (ARMv8-M Architecture Reference Manual,
// exception entry), and here they stay.
bool IsClearedEntry(uint32_t Addr, const CQemuState& Theirs, const CQemuState& Ours);

struct CComparison {
    uint64_t Steps = 0;      // states compared
    uint64_t Exceptions = 0; // differences that IsKnown explained
};

// Steps the processor beside the log for MaxSteps, or until QEMU ends or the program gets to EndAddr. The first
// difference is a test failure with both states and ends the comparison; after one that is known QEMU's state is taken
// over. Without interrupts SysTick, PendSV and those above are not taken.
CComparison CompareWithQemu(CQemuOracle& Oracle, Sim::CCpu& Cpu, uint64_t MaxSteps, uint32_t EndAddr,
                            bool WithInterrupts = true, const FIsKnown& IsKnown = nullptr);
