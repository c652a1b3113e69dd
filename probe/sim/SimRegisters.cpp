// Registers of the simulated target, by the numbers of the library.
#include "probe/sim/SimBackend.h"

namespace Sim {

uint32_t* CSimBackend::RegisterOf(CCpu& Cpu, uint32_t Index) {
    if (Index < 15) {
        return &Cpu.R[Index];
    }
    if (Index >= NOVIK_REG_S0 && Index < NOVIK_REG_S0 + 32 && Cpu.Traits.HasFpu) {
        return &Cpu.S[Index - NOVIK_REG_S0];
    }
    return Index == NOVIK_REG_PC ? &Cpu.Pc : nullptr;
}

bool CSimBackend::ReadSpecialReg(CCpu& Cpu, uint32_t Index, uint32_t& Value) {
    switch (Index) {
    case NOVIK_REG_XPSR:
        Value = Cpu.Xpsr();
        return true;
    case NOVIK_REG_MSP:
        Value = Cpu.Msp();
        return true;
    case NOVIK_REG_PSP:
        Value = Cpu.Psp();
        return true;
    case NOVIK_REG_CFBP:
        Value = Cpu.Control << 24 | Cpu.Faultmask << 16 | Cpu.Basepri << 8 | Cpu.Primask;
        return true;
    case NOVIK_REG_APSR:
        Value = Cpu.Apsr();
        return true;
    case NOVIK_REG_EPSR:
        Value = Cpu.Xpsr() & 0x0700FC00;
        return true;
    case NOVIK_REG_IPSR:
        Value = Cpu.Ipsr;
        return true;
    case NOVIK_REG_PRIMASK:
        Value = Cpu.Primask;
        return true;
    case NOVIK_REG_BASEPRI:
        Value = Cpu.Basepri;
        return !Cpu.IsV6();
    case NOVIK_REG_FAULTMASK:
        Value = Cpu.Faultmask;
        return !Cpu.IsV6();
    case NOVIK_REG_CONTROL:
        Value = Cpu.Control;
        return true;
    case NOVIK_REG_MSPLIM:
        Value = Cpu.MspLim;
        return Cpu.IsV8();
    case NOVIK_REG_PSPLIM:
        Value = Cpu.PspLim;
        return Cpu.IsV8();
    case NOVIK_REG_FPSCR:
        Value = Cpu.Fpscr;
        return Cpu.Traits.HasFpu;
    case NOVIK_REG_CYCCNT:
        Value = static_cast<uint32_t>(Cpu.Now() - Cpu.CyccntBase);
        return true;
    default:
        return false;
    }
}

bool CSimBackend::WriteSpecialReg(CCpu& Cpu, uint32_t Index, uint32_t Value) {
    switch (Index) {
    case NOVIK_REG_XPSR:
        Cpu.SetXpsr(Value, ~0x1FFu);
        return true;
    case NOVIK_REG_MSP:
        Cpu.SetMsp(Value);
        return true;
    case NOVIK_REG_PSP:
        Cpu.SetPsp(Value);
        return true;
    case NOVIK_REG_APSR:
        Cpu.SetXpsr(Value, 0xF80F0000);
        return true;
    case NOVIK_REG_EPSR:
        Cpu.SetXpsr(Value, 0x0700FC00);
        return true;
    case NOVIK_REG_CFBP:
        Cpu.Primask = Value & 1;
        Cpu.Basepri = Cpu.IsV6() ? 0 : Value >> 8 & 0xFF;
        Cpu.Faultmask = Cpu.IsV6() ? 0 : Value >> 16 & 1;
        Cpu.SetControl(Value >> 24);
        return true;
    case NOVIK_REG_PRIMASK:
        Cpu.Primask = Value & 1;
        return true;
    case NOVIK_REG_BASEPRI:
        Cpu.Basepri = Value & 0xFF;
        return !Cpu.IsV6();
    case NOVIK_REG_FAULTMASK:
        Cpu.Faultmask = Value & 1;
        return !Cpu.IsV6();
    case NOVIK_REG_CONTROL:
        Cpu.SetControl(Value);
        return true;
    case NOVIK_REG_FPSCR:
        Cpu.SetFpscr(Value);
        return Cpu.Traits.HasFpu;
    default:
        return false;
    }
}

bool CSimBackend::ReadReg(uint32_t Index, uint32_t& Value) {
    if (!m_pTarget || !m_pTarget->IsHalted()) {
        return false;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    if (const uint32_t* pReg = RegisterOf(*Cpu, Index)) {
        Value = *pReg;
        return true;
    }
    return ReadSpecialReg(*Cpu, Index, Value);
}

bool CSimBackend::WriteReg(uint32_t Index, uint32_t Value) {
    if (!m_pTarget || !m_pTarget->IsHalted()) {
        return false;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    uint32_t* pReg = RegisterOf(*Cpu, Index);
    if (!pReg) {
        return WriteSpecialReg(*Cpu, Index, Value);
    }
    *pReg = Index == NOVIK_REG_SP ? Value & ~3u : Index == NOVIK_REG_PC ? Value & ~1u : Value;
    if (Index == NOVIK_REG_PC) {
        // A new place ends an IT block, a sleep and the state of a jump to ARM code.
        Cpu->IT = 0;
        Cpu->T = true;
        Cpu->Sleeping = Cpu->LockedUp = false;
        Cpu->Events = 0;
    }
    return true;
}

} // namespace Sim
