#include "probe/sim/Cpu.h"

#include "probe/sim/Handlers.h"

#include <algorithm>

namespace Sim {

using namespace Thumb;

CCpu::CCpu(const CCoreTraits& CoreTraits)
    : Traits(CoreTraits), pRingBase(static_cast<uint32_t*>(std::calloc(RING_SIZE, sizeof(uint32_t)))) {
    pRing = pSliceStart = pStop = pLimit = pRingBase.get();
}

void CCpu::ClearTrace() {
    pRing = pSliceStart = pRingBase.get();
    RingTotal = SkipTotal = 0;
    Mem.ClearCounters();
}

// --- Program status ---------------------------------------------------------------------------------------------

uint32_t CCpu::Apsr() const {
    return (N & 0x80000000) | (Z == 0 ? 0x40000000u : 0) | C << 29 | (V >> 31) << 28 | Q << 27 | GE << 16;
}

void CCpu::SetApsr(uint32_t Value) {
    N = Value & 0x80000000;
    Z = !(Value & 0x40000000);
    C = Value >> 29 & 1;
    V = Value << 3 & 0x80000000;
    Q = IsV6() ? 0 : Value >> 27 & 1;
}

uint32_t CCpu::Xpsr() const { return Apsr() | (IT & 3u) << 25 | (IT & 0xFCu) << 8 | (T ? 0x01000000u : 0) | Ipsr; }

// Mask: the bits to take from Value. The exception number can't be changed.
void CCpu::SetXpsr(uint32_t Value, uint32_t Mask) {
    Value = (Value & Mask) | (Xpsr() & ~Mask);
    SetApsr(Value);
    GE = Traits.Arch >= ARCH_V7EM ? Value >> 16 & 15 : 0;
    IT = IsV6() ? 0 : static_cast<uint8_t>((Value >> 25 & 3) | (Value >> 8 & 0xFC));
    T = Value >> 24 & 1;
}

void CCpu::SetControl(uint32_t Value) {
    const uint32_t Mask = 2u | (Traits.CpuId != 0x410CC200 ? 1u : 0) | (Traits.HasFpu ? 4u : 0);
    WithStackSwitch([&] { Control = Value & Mask; });
    FpReady = false;
    UpdateSlots();
}

uint32_t CCpu::ReadSpecial(uint32_t Sysm) const {
    switch (Sysm) {
    case 0: // APSR
    case 2:
    case 4:
        return Apsr() & 0xF80F0000;
    case 1: // IAPSR
    case 3:
    case 5: // IPSR
    case 7:
        return ((Sysm & 4) ? 0 : Apsr() & 0xF80F0000) | (IsPrivileged() ? Ipsr : 0);
    case 20:
        return Control;
    default:
        break;
    }
    if (!IsPrivileged()) {
        return 0;
    }
    switch (Sysm) {
    case 8:
        return Msp();
    case 9:
        return Psp();
    case 10:
        return IsV8() ? MspLim : 0;
    case 11:
        return IsV8() ? PspLim : 0;
    case 16:
        return Primask;
    case 17:
    case 18:
        return Basepri;
    case 19:
        return Faultmask;
    default:
        return 0;
    }
}

void CCpu::WriteSpecial(uint32_t Sysm, uint32_t Mask, uint32_t Value) {
    if (Sysm < 8) {
        if (!(Sysm & 4) && (Mask & 2)) {
            SetApsr(Value);
        }
        if (!(Sysm & 4) && (Mask & 1) && Traits.Arch >= ARCH_V7EM) {
            GE = Value >> 16 & 15;
        }
        return;
    }
    if (!IsPrivileged()) {
        return;
    }
    const uint32_t PrioMask = 0xFFu << (8 - Traits.PrioBits) & 0xFF;
    switch (Sysm) {
    case 8:
        SetMsp(Value);
        break;
    case 9:
        SetPsp(Value);
        break;
    case 10:
        MspLim = IsV8() ? Value & ~7u : 0;
        break;
    case 11:
        PspLim = IsV8() ? Value & ~7u : 0;
        break;
    case 16:
        Primask = Value & 1;
        break;
    case 17:
        Basepri = IsV6() ? 0 : Value & PrioMask;
        break;
    case 18:
        if (!IsV6() && (Value & PrioMask) && ((Value & PrioMask) < Basepri || Basepri == 0)) {
            Basepri = Value & PrioMask;
        }
        break;
    case 19:
        if (!IsV6() && (!(Value & 1) || ExecutionPriority() > -1)) {
            Faultmask = Value & 1;
        }
        break;
    case 20:
        // In handler mode the stack pointer selection can't be changed.
        SetControl(Ipsr ? (Value & ~2u) | (Control & 2) : Value);
        break;
    default:
        break;
    }
}

// --- Decoding ---------------------------------------------------------------------------------------------------

bool CCpu::CondPasses(uint32_t Cond) const {
    const bool Negative = N >> 31, Overflow = V >> 31;
    const bool Results[8] = {
        Z == 0, C != 0, Negative, Overflow, C && Z != 0, Negative == Overflow, Z != 0 && Negative == Overflow, true};
    return Cond >= 14 || Results[Cond >> 1] != ((Cond & 1) != 0);
}

void CCpu::DecodeAt(COp* pOp, uint32_t Addr) {
    CRegion* pRegion = Mem.Find(Addr);
    const uint32_t Offset = Addr - pRegion->Base;
    const uint16_t First = ReadHost<uint16_t>(&pRegion->pData[Offset]);
    const bool IsLong = Is32Bit(First);
    const bool Fits = !IsLong || Offset + 4 <= pRegion->Size;
    const uint16_t Second = IsLong && Fits ? ReadHost<uint16_t>(&pRegion->pData[Offset + 2]) : 0;
    static_cast<CInst&>(*pOp) = Decode(Addr, First, Second, Traits.Arch);
    // The stack limits apply to an adjustment of SP too.
    const bool AddsToSp = pOp->Rd == 13 && pOp->Rn == 13 && pOp->Code == AluOp(ALU_ADD, false, OPERAND_IMM);
    if (IsV8() && (AddsToSp || (pOp->Rd == 13 && pOp->Code == AluOp(ALU_SUB, false, OPERAND_IMM)))) {
        pOp->Code = pOp->CodeInIT = OP_ALU_TO_SP;
        pOp->Flags = static_cast<uint8_t>((AddsToSp ? ALU_ADD : ALU_SUB) << 4 | OPERAND_IMM << 1);
    }
    if (pOp->Code >= OP_VFP) {
        const bool TooNew = pOp->Code == VfpOp(VFP_FPV5) && !HasFpv5();
        if (!Traits.HasFpu) {
            pOp->Code = pOp->CodeInIT = OP_NO_COPROC;
        } else if (TooNew) {
            pOp->Code = pOp->CodeInIT = VfpOp(VFP_UNDEFINED);
        }
    }
    if (!Fits) {
        pOp->Code = pOp->CodeInIT = OP_FETCH_FAULT;
    }
    if (IsBreakpoint(Addr)) {
        pOp->Code = pOp->CodeInIT = OP_BREAKPOINT;
    }
    pRegion->pCodePage[Offset >> CRegion::CODE_PAGE_SHIFT] |= PAGE_CODE;
    if (IsLong && Fits) {
        pRegion->pCodePage[(Offset + 2) >> CRegion::CODE_PAGE_SHIFT] |= PAGE_CODE;
    }
}

COp* CCpu::LookupCode() {
    if (!T) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_INVSTATE);
        return nullptr;
    }
    const bool NeverExecute = (Pc >> 29) == 2 || Pc >= 0xA0000000;
    if (NeverExecute || ((MpuCtrl & 1) && !CheckAccess(Pc, 2, EAccess::Fetch, IsPrivileged()))) {
        RaiseFault(EXC_MEM_MANAGE, CFSR_IACCVIOL);
        return nullptr;
    }
    if (Pc - CodeBase >= CodeSize) {
        CRegion* pRegion = Mem.Find(Pc);
        if (!pRegion) {
            RaiseFault(EXC_BUS_FAULT, CFSR_IBUSERR);
            return nullptr;
        }
        CodeBase = pRegion->Base;
        CodeSize = pRegion->Size;
        pCodeOps = pRegion->pOps.get();
    }
    return &pCodeOps[(Pc - CodeBase) / 2];
}

void CCpu::UpdateSlots() {
    ReadSlots.fill(CSlot());
    WriteSlots.fill(CSlot());
    WatchedReadSlots.fill(CSlot());
    if ((MpuCtrl & 1) || Traits.IsBigEndian) { // needs a look at each access
        return;
    }
    // Stores look at the page anyway; loads do so only while something is watched.
    WatchesReads = HasWatchpoints();
    std::array<CSlot, 256>& Reads = WatchesReads ? WatchedReadSlots : ReadSlots;
    for (const CRegion& Region : Mem.GetRegions()) {
        const uint64_t End = uint64_t(Region.Base) + Region.Size;
        const CSlot Slot{Region.Base, Region.Size - 3, Region.pData.get(), Region.pCodePage.get()};
        for (uint64_t Top = Region.Base >> 24; Top << 24 < End; Top++) {
            if (!Reads[Top].SizeLess3) {
                Reads[Top] = Slot;
            }
            if (!WriteSlots[Top].SizeLess3 && Region.Kind == ERegion::Ram) {
                WriteSlots[Top] = Slot;
            }
        }
    }
}

void CCpu::UpdateWatches() {
    Mem.ClearWatchedPages();
    for (const CWatch& Watch : Watches) {
        Mem.MarkWatched(Watch.Addr & ~Watch.AddrMask, Watch.Addr | Watch.AddrMask);
    }
    for (const CRawComparator& Comp : DwtComp) {
        if (Comp.Function & 0x100) { // a value anywhere
            Mem.MarkWatched(0, 0xFFFFFFFF);
        } else if (Comp.Function & 15) {
            const uint32_t Mask = IsV8() ? 3 : (1u << (Comp.Mask & 31)) - 1;
            Mem.MarkWatched(Comp.Comp & ~Mask, Comp.Comp | Mask);
        }
    }
    UpdateSlots();
}

void CCpu::ForgetOp(uint32_t Addr) {
    if (CRegion* pRegion = Mem.Find(Addr)) {
        COp* pOp = pRegion->OpAt(Addr);
        pOp->Code = pOp->CodeInIT = OP_NOT_DECODED;
    }
}

void CCpu::SetBreakpoint(uint32_t Addr) {
    const auto it = std::lower_bound(Breakpoints.begin(), Breakpoints.end(), Addr);
    if (it == Breakpoints.end() || *it != Addr) {
        Breakpoints.insert(it, Addr);
    }
    ForgetOp(Addr);
}

void CCpu::ClearBreakpoint(uint32_t Addr) {
    const auto it = std::lower_bound(Breakpoints.begin(), Breakpoints.end(), Addr);
    if (it == Breakpoints.end() || *it != Addr) {
        return;
    }
    Breakpoints.erase(it);
    ForgetOp(Addr);
}

bool CCpu::IsBreakpoint(uint32_t Addr) const {
    return Addr != PassedBreakpoint &&
           (std::binary_search(Breakpoints.begin(), Breakpoints.end(), Addr) ||
            std::find(ProgramBreakpoints.begin(), ProgramBreakpoints.end(), Addr) != ProgramBreakpoints.end());
}

// Version 1: REPLACE, bits 31 and 30, says which halfword of the word; version 2: the address itself.
void CCpu::UpdateProgramBreakpoints() {
    std::vector<uint32_t> Old;
    Old.swap(ProgramBreakpoints);
    for (uint32_t Index = 0; Index < Traits.NumBreakpoints && Index < FpbComp.size() && FpbEnabled; Index++) {
        const uint32_t Comp = FpbComp[Index];
        if (!(Comp & 1)) {
            continue;
        }
        if (Traits.FpbVersion == 2) {
            ProgramBreakpoints.push_back(Comp & ~1u);
            continue;
        }
        for (const uint32_t Half : {0u, 2u}) {
            if (Comp >> (Half ? 31 : 30) & 1) {
                ProgramBreakpoints.push_back((Comp & 0x1FFFFFFC) | Half);
            }
        }
    }
    for (const std::vector<uint32_t>* pList : {&Old, &ProgramBreakpoints}) {
        for (const uint32_t Addr : *pList) {
            ForgetOp(Addr);
        }
    }
}

// --- Running ----------------------------------------------------------------------------------------------------

uint32_t CCpu::RunSlice(uint32_t NumInsts) {
    COp* pOp = LookupCode();
    if (!pOp) {
        return 0;
    }
    uint32_t* const pRingEnd = pRingBase.get() + RING_SIZE;
    if (pRing == pRingEnd) {
        pRing = pRingBase.get();
    }
    pSliceStart = pRing;
    pStop = pLimit = pRing + std::min<size_t>(NumInsts, static_cast<size_t>(pRingEnd - pRing));
    const uint64_t Before = Cycles;
    if (IT) {
        RunInIT(*this, pOp, Pc, pRing);
    } else {
        *pRing = Pc;
        pOp->Count++;
        Handlers[pOp->Code](*this, pOp, Pc, pRing + 1);
    }
    SettleTime();
    return static_cast<uint32_t>(Cycles - Before);
}

void CCpu::SettleTime() {
    const uint32_t Executed = static_cast<uint32_t>(pRing - pSliceStart);
    Cycles += Executed;
    RingTotal += Executed;
    pSliceStart = pRing;
    AdvanceTime(Executed);
}

uint32_t CCpu::Run(uint64_t MaxInsts) {
    while (MaxInsts > 0) {
        if (Events & ~EVENTS_HALT) {
            HandleEvents();
            MaxInsts--; // a round without an instruction counts too, so that each call ends
            continue;
        }
        if (Events) {
            break;
        }
        if (Pending.any() && TakePendingException()) {
            continue;
        }
        if (Sleeping) {
            if (!Sleep()) {
                break;
            }
            MaxInsts--;
            continue;
        }
        // With the MPU on, each fetch is checked.
        const uint32_t Most = (MpuCtrl & 1) ? 1 : MAX_SLICE;
        const uint64_t Slice = std::min({MaxInsts, uint64_t(Most), CyclesToSysTick()});
        MaxInsts -= std::min<uint64_t>(MaxInsts, std::max(RunSlice(static_cast<uint32_t>(Slice)), 1u));
    }
    // Faults and calls of the last instruction belong to it.
    while (Events & ~EVENTS_HALT) {
        HandleEvents();
    }
    const uint32_t Halt = Events;
    Events = 0;
    return Halt;
}

void CCpu::TakeInterrupts() {
    while (Pending.any() && TakePendingException()) {
    }
}

uint32_t CCpu::Step(bool WithInterrupts) {
    const uint32_t Addr = Pc;
    const bool HadBreakpoint = IsBreakpoint(Addr);
    if (HadBreakpoint) {
        PassedBreakpoint = Addr;
        ForgetOp(Addr);
    }
    MaskInterrupts = !WithInterrupts;
    Sleeping = false;
    const uint32_t Halt = Run(1);
    MaskInterrupts = false;
    if (HadBreakpoint) {
        PassedBreakpoint = NO_ADDRESS;
        ForgetOp(Addr);
    }
    return Halt;
}

void CCpu::HandleEvents() {
    const uint32_t Now = Events;
    if (Now & EVENT_RESET) {
        Reset();
    } else if (Now & EVENT_FAULT) {
        Events &= ~EVENT_FAULT;
        EnterFault();
    } else if (Now & EVENT_EXC_RETURN) {
        Events &= ~EVENT_EXC_RETURN;
        ReturnFromException(Pc);
    } else if (Now & EVENT_SVC) {
        Events &= ~EVENT_SVC;
        if (GroupPriority(PriorityOf(EXC_SVCALL)) < ExecutionPriority()) {
            EnterException(EXC_SVCALL, Pc);
        } else {
            Hfsr |= 1u << 30;
            Pc -= 2;
            FaultException = EXC_HARD_FAULT;
            EnterFault();
        }
    } else if (Now & EVENT_SLEEP) {
        Events &= ~EVENT_SLEEP;
        Sleeping = !MaskInterrupts && !WouldWake();
    }
}

// True if time went on to the next event; false if only the debugger can end the sleep.
bool CCpu::Sleep() {
    if (WouldWake()) {
        Sleeping = false;
        return true;
    }
    const uint64_t Wait = CyclesToSysTick();
    if (Wait == ~uint64_t(0)) {
        return false;
    }
    Cycles += Wait;
    AdvanceTime(Wait);
    return true;
}

uint64_t CCpu::CyclesToSysTick() const {
    if (!(SystCsr & 1) || (SystCvr == 0 && SystRvr == 0)) {
        return ~uint64_t(0);
    }
    return SystCvr ? SystCvr : uint64_t(SystRvr) + 1;
}

// SysTick counts down by one each cycle; from 0 the next cycle loads the reload value.
void CCpu::AdvanceTime(uint64_t NumCycles) {
    if (!(SystCsr & 1)) {
        return;
    }
    while (NumCycles > 0) {
        if (SystCvr == 0) {
            if (SystRvr == 0) {
                return;
            }
            SystCvr = SystRvr;
            NumCycles--;
            continue;
        }
        const uint32_t Now = static_cast<uint32_t>(std::min<uint64_t>(NumCycles, SystCvr));
        SystCvr -= Now;
        NumCycles -= Now;
        if (SystCvr == 0) {
            SystCountFlag = true;
            if (SystCsr & 2) {
                SetPending(EXC_SYSTICK);
            }
        }
    }
}

} // namespace Sim
