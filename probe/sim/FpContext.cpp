// The floating point context: access rights, its place in exception frames, lazy stacking. ARMv7-M Architecture
// Reference Manual, chapter B1.5, ARMv8-M Architecture Reference Manual, chapter B3.
#include "probe/sim/Cpu.h"

#include <algorithm>

namespace Sim {

namespace {

// Bits of FPCCR. The READY bits say which exceptions could have been taken at the time of the stacking.
enum EFpccr : uint32_t {
    FPCCR_LSPACT = 1u << 0,
    FPCCR_USER = 1u << 1,
    FPCCR_THREAD = 1u << 3,
    FPCCR_HFRDY = 1u << 4,
    FPCCR_MMRDY = 1u << 5,
    FPCCR_BFRDY = 1u << 6,
    FPCCR_MONRDY = 1u << 8,
    FPCCR_SPLIMVIOL = 1u << 9,
    FPCCR_UFRDY = 1u << 10,
    FPCCR_CLRONRET = 1u << 28,
    FPCCR_LSPEN = 1u << 30,
    FPCCR_ASPEN = 1u << 31,
};

constexpr uint32_t CONTROL_FPCA = 4;

} // namespace

bool CCpu::IsFpuAccessible(bool Privileged) const {
    const uint32_t Access = Cpacr >> 20 & 3; // coprocessor 10; 11 is to have the same
    return Access == 3 || (Access == 1 && Privileged);
}

bool CCpu::BeginFp() {
    if (!IsFpuAccessible(IsPrivileged())) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_NOCP);
        return false;
    }
    if ((Fpccr & FPCCR_LSPACT) && !PreserveFpState()) {
        return false;
    }
    if ((Fpccr & FPCCR_ASPEN) && !(Control & CONTROL_FPCA)) {
        SetFpscr(Fpdscr);
        Control |= CONTROL_FPCA;
    }
    FpReady = true;
    return true;
}

// Writes the registers to the place that was kept for them, with the rights of the code they belong to. The state is
// no longer owed even if that fails.
bool CCpu::PreserveFpState() {
    const bool Privileged = !(Fpccr & FPCCR_USER);
    bool Ok = IsFpuAccessible(Privileged);
    if (!Ok) {
        Cfsr |= CFSR_NOCP;
        FaultException = EXC_USAGE_FAULT;
    } else if (Fpccr & FPCCR_SPLIMVIOL) { // the place was below the stack limit: nothing is written
        Fpccr &= ~FPCCR_LSPACT;
        return true;
    }
    for (uint32_t Index = 0; Ok && Index < 17; Index++) {
        const uint32_t Value = Index < 16 ? S[Index] : Fpscr;
        Ok = PushWord(Fpcar + Index * 4, Value, Privileged, CFSR_MLSPERR, CFSR_LSPERR);
    }
    Fpccr &= ~FPCCR_LSPACT;
    if (Ok) {
        return true;
    }
    const uint32_t Ready = FaultException == EXC_MEM_MANAGE  ? FPCCR_MMRDY
                           : FaultException == EXC_BUS_FAULT ? FPCCR_BFRDY
                                                             : FPCCR_UFRDY;
    Hfsr |= (Fpccr & Ready) ? 0 : 1u << 30;
    FaultException = (Fpccr & Ready) ? FaultException : uint32_t(EXC_HARD_FAULT);
    Events |= EVENT_FAULT;
    return false;
}

void CCpu::WriteFpccr(uint32_t Value) {
    if (Traits.HasFpu) {
        constexpr uint32_t PLAIN = FPCCR_ASPEN | FPCCR_LSPEN | FPCCR_MONRDY | FPCCR_BFRDY | FPCCR_MMRDY | FPCCR_HFRDY |
                                   FPCCR_THREAD | FPCCR_USER | FPCCR_LSPACT;
        constexpr uint32_t PLAIN_V8 = PLAIN | FPCCR_CLRONRET | FPCCR_UFRDY | FPCCR_SPLIMVIOL;
        Fpccr = Value & (IsV8() ? PLAIN_V8 : PLAIN);
    }
}

// The extended part of an exception frame: saved now, or with FPCCR.LSPEN when the registers are used next.
bool CCpu::PushFpFrame(uint32_t Frame) {
    if (!(Fpccr & FPCCR_LSPEN)) {
        bool Ok = IsFpuAccessible(IsPrivileged());
        if (!Ok) {
            Cfsr |= CFSR_NOCP;
            FaultException = EXC_USAGE_FAULT;
        }
        for (uint32_t Index = 0; Ok && Index < 17; Index++) {
            const uint32_t Value = Index < 16 ? S[Index] : Fpscr;
            Ok = PushWord(Frame + Index * 4, Value, IsPrivileged(), CFSR_MSTKERR, CFSR_STKERR);
        }
        if (Ok) { // what the handler finds in them is open: nothing
            std::fill_n(S.begin(), 16, 0u);
            Fpscr = 0;
        }
        return Ok;
    }
    const int Prio = ExecutionPriority();
    const auto IsReady = [&](uint32_t Exception) { return Enabled.test(Exception) && Prio > Priority[Exception]; };
    Fpcar = Frame & ~7u;
    Fpccr &= FPCCR_ASPEN | FPCCR_LSPEN | FPCCR_CLRONRET;
    Fpccr |= FPCCR_LSPACT | (Ipsr == 0 ? uint32_t(FPCCR_THREAD) : 0) | (IsPrivileged() ? 0 : uint32_t(FPCCR_USER)) |
             (Prio > -1 ? uint32_t(FPCCR_HFRDY) : 0) | (IsReady(EXC_MEM_MANAGE) ? uint32_t(FPCCR_MMRDY) : 0) |
             (IsReady(EXC_BUS_FAULT) ? uint32_t(FPCCR_BFRDY) : 0);
    Fpccr |= IsV8() && IsReady(EXC_USAGE_FAULT) ? uint32_t(FPCCR_UFRDY) : 0;
    return true;
}

// FPCCR.CLRONRET: a return to code without a floating point context leaves it nothing of the handler's.
void CCpu::ClearFpOnReturn() {
    if ((Fpccr & FPCCR_CLRONRET) && (Control & CONTROL_FPCA) && IsV8()) {
        std::fill_n(S.begin(), 16, 0u);
        Fpscr = 0;
    }
}

bool CCpu::PopFpFrame(uint32_t Frame, bool Privileged) {
    if (Fpccr & FPCCR_LSPACT) { // never saved: the registers still hold the values
        Fpccr &= ~FPCCR_LSPACT;
        return true;
    }
    if (!IsFpuAccessible(Privileged)) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_NOCP);
        return false;
    }
    uint32_t Words[17];
    for (uint32_t Index = 0; Index < 17; Index++) {
        if (!PopWord(Frame + Index * 4, Words[Index], Privileged)) {
            return false;
        }
    }
    std::copy(Words, Words + 16, S.begin());
    SetFpscr(Words[16]);
    return true;
}

} // namespace Sim
