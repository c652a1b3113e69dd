// ITM, DWT, FPB and the debug registers of the system control space: ARMv7-M Architecture Reference Manual, chapter C1.
#include "probe/sim/DebugUnits.h"

#include "probe/sim/Cpu.h"

namespace Sim {

namespace {
constexpr uint32_t DEMCR_TRCENA = 0x01000000;
} // namespace

uint32_t ReadDwt(const CCpu& C, uint32_t Addr) {
    if (Addr == 0xE0001000) {
        return uint32_t(C.Traits.NumWatchpoints) << 28 | C.DwtCtrl;
    }
    if (Addr == 0xE0001004) {
        return static_cast<uint32_t>(C.Now() - C.CyccntBase);
    }
    if (Addr == 0xE000101C) {
        return C.Pc;
    }
    if (IsIn(Addr, 0xE0001020, 16)) {
        const auto& Comp = C.DwtComp[(Addr - 0xE0001020) / 16];
        const uint32_t Values[4] = {Comp.Comp, Comp.Mask, Comp.Function, 0};
        return Values[(Addr >> 2) & 3];
    }
    return 0;
}

void WriteDwt(CCpu& C, uint32_t Addr, uint32_t Value) {
    if (Addr == 0xE0001000) {
        C.DwtCtrl = Value & 0x0FFFFFFF;
    } else if (Addr == 0xE0001004) {
        C.CyccntBase = C.Now() - Value;
    } else if (IsIn(Addr, 0xE0001020, 16)) {
        const uint32_t Index = (Addr - 0xE0001020) / 16;
        auto& Comp = C.DwtComp[Index];
        if (Index < C.Traits.NumWatchpoints) {
            uint32_t* const pFields[4] = {&Comp.Comp, &Comp.Mask, &Comp.Function, nullptr};
            if (uint32_t* pField = pFields[(Addr >> 2) & 3]) {
                *pField = Value;
            }
        }
        C.UpdateWatches();
    }
}

uint32_t ReadDebug(const CCpu& C, uint32_t Addr) {
    switch (Addr) {
    case 0xE000EDF0: // S_REGRDY, S_HALT, S_SLEEP, S_LOCKUP
        return (C.Dhcsr & 0xF) | 0x10000 | (C.Dhcsr & 2 ? 0x20000u : 0) | (C.Sleeping ? 0x40000u : 0) |
               (C.LockedUp ? 0x80000u : 0);
    case 0xE000EDF8:
        return C.Dcrdr;
    case 0xE000EDFC:
        return C.Demcr;
    default:
        return 0;
    }
}

// Which register DCRSR selects.
static uint32_t* CoreRegister(CCpu& C, uint32_t Select) {
    return Select < 15 ? &C.R[Select] : Select == 15 ? &C.Pc : nullptr;
}

static void WriteDcrsr(CCpu& C, uint32_t Value) {
    const uint32_t Select = Value & 0x7F;
    const bool IsWrite = Value & 0x10000;
    if (uint32_t* pReg = CoreRegister(C, Select)) {
        if (IsWrite) {
            *pReg = Select == 13 ? C.Dcrdr & ~3u : Select == 15 ? C.Dcrdr & ~1u : C.Dcrdr;
        } else {
            C.Dcrdr = *pReg;
        }
        return;
    }
    switch (Select) {
    case 16:
        IsWrite ? C.SetXpsr(C.Dcrdr, ~0x1FFu) : void(C.Dcrdr = C.Xpsr());
        break;
    case 17:
        IsWrite ? C.SetMsp(C.Dcrdr) : void(C.Dcrdr = C.Msp());
        break;
    case 18:
        IsWrite ? C.SetPsp(C.Dcrdr) : void(C.Dcrdr = C.Psp());
        break;
    case 20:
        if (IsWrite) {
            C.Primask = C.Dcrdr & 1, C.Basepri = C.Dcrdr >> 8 & 0xFF, C.Faultmask = C.Dcrdr >> 16 & 1;
            C.SetControl(C.Dcrdr >> 24);
        } else {
            C.Dcrdr = C.Control << 24 | C.Faultmask << 16 | C.Basepri << 8 | C.Primask;
        }
        break;
    case 33:
        IsWrite ? C.SetFpscr(C.Dcrdr) : void(C.Dcrdr = C.Fpscr);
        break;
    default:
        if (Select >= 64 && Select < 96) {
            (IsWrite ? C.S[Select - 64] : C.Dcrdr) = IsWrite ? C.Dcrdr : C.S[Select - 64];
        }
        break;
    }
}

void WriteDebug(CCpu& C, uint32_t Addr, uint32_t Value) {
    switch (Addr) {
    case 0xE000EDF0:
        if (Value >> 16 == 0xA05F) {
            // C_HALT belongs to the run control of the target; a program that halts itself sets the request.
            C.Dhcsr = (C.Dhcsr & 2) | (Value & 0xD) | 1;
            C.Events |= (Value & 2) && !(C.Dhcsr & 2) ? uint32_t(EVENT_REQUEST) : 0;
        }
        break;
    case 0xE000EDF4:
        if (C.Dhcsr & 2) {
            WriteDcrsr(C, Value);
        }
        break;
    case 0xE000EDF8:
        C.Dcrdr = Value;
        break;
    case 0xE000EDFC:
        C.Demcr = Value & 0x010F07F1;
        break;
    default:
        break;
    }
}

uint32_t ReadItm(const CCpu& C, uint32_t Addr) {
    switch (Addr) {
    case 0xE0000E00:
        return C.ItmTer;
    case 0xE0000E40:
        return C.ItmTpr;
    case 0xE0000E80:
        return C.ItmTcr;
    default:
        return Addr < 0xE0000080 ? 1 : 0; // a stimulus port is always ready
    }
}

static void WriteStimulus(CCpu& C, uint32_t Port, uint32_t Value, uint32_t Size) {
    constexpr size_t MAX_PENDING = 4u << 20; // bytes a port holds for the debugger, older ones go
    const bool IsOn = (C.Demcr & DEMCR_TRCENA) && (C.ItmTcr & 1) && (C.ItmTer >> Port & 1);
    std::string& Out = C.ItmOut[Port];
    if (!IsOn || !C.ItmCapture) {
        return;
    }
    for (uint32_t Byte = 0; Byte < Size; Byte++) {
        Out.push_back(static_cast<char>(Value >> Byte * 8));
    }
    if (Out.size() > MAX_PENDING) {
        Out.erase(0, Out.size() - MAX_PENDING / 2);
    }
}

void WriteItm(CCpu& C, uint32_t Addr, uint32_t Value, uint32_t Size) {
    if (Addr < 0xE0000080) {
        WriteStimulus(C, (Addr - 0xE0000000) / 4, Value, Size);
    } else if (Addr == 0xE0000E00) {
        C.ItmTer = Value;
    } else if (Addr == 0xE0000E40) {
        C.ItmTpr = Value & 15;
    } else if (Addr == 0xE0000E80) {
        C.ItmTcr = Value & 0x7FFFFF;
    }
}

void WriteFpb(CCpu& C, uint32_t Addr, uint32_t Value) {
    if (Addr == 0xE0002000) {
        if (!(Value & 2)) { // KEY
            return;
        }
        C.FpbEnabled = Value & 1;
    } else if (IsIn(Addr, 0xE0002008, C.FpbComp.size())) {
        C.FpbComp[(Addr - 0xE0002008) / 4] = Value;
    }
    C.UpdateProgramBreakpoints();
}

// The breakpoint unit shows what the program wrote to it, else what the debugger set in it.
uint32_t ReadFpb(const CCpu& C, uint32_t Addr) {
    if (Addr == 0xE0002000) {
        const uint32_t Num = C.Traits.NumBreakpoints;
        return (C.Traits.FpbVersion == 2 ? 0x10000000u : 0) | (Num & 0x70) << 8 | (Num & 15) << 4 | C.FpbEnabled;
    }
    const uint32_t Index = (Addr - 0xE0002008) / 4;
    if (Index < C.Traits.NumBreakpoints && Index < C.FpbComp.size() && C.FpbComp[Index]) {
        return C.FpbComp[Index];
    }
    if (Index < C.Traits.NumBreakpoints && Index < C.Breakpoints.size()) {
        const uint32_t Break = C.Breakpoints[Index];
        return C.Traits.FpbVersion == 2 ? Break | 1 : (Break & 0x1FFFFFFC) | (Break & 2 ? 0x80000000 : 0x40000000) | 1;
    }
    return 0;
}

} // namespace Sim
