// Reset, exception entry and return, priorities, faults: ARMv7-M Architecture Reference Manual, chapter B1, and its
// ARMv6-M and ARMv8-M counterparts (without the security extension).
#include "probe/sim/Cpu.h"

#include <algorithm>

namespace Sim {

using namespace Thumb;

namespace {
constexpr int LOWEST_PRIORITY = 256; // thread mode
constexpr uint32_t HFSR_VECTTBL = 1u << 1, HFSR_FORCED = 1u << 30;
constexpr uint32_t CCR_NONBASETHRDENA = 1, CCR_STKALIGN = 0x200;
constexpr uint32_t SCR_SLEEPONEXIT = 2, SCR_SEVONPEND = 16;
} // namespace

void CCpu::Reset() {
    for (uint32_t& Reg : R) {
        Reg = 0;
    }
    N = C = V = Q = GE = 0;
    Z = 1;
    IT = NextIT = 0;
    T = true;
    Ipsr = Control = Primask = Basepri = Faultmask = MspLim = PspLim = OtherSp = 0;
    R[14] = 0xFFFFFFFF;
    Events = 0;
    Sleeping = EventRegister = ExclusiveValid = LockedUp = false;
    S.fill(0);
    Fpscr = Fpcar = Fpdscr = Cpacr = 0;
    Fpccr = Traits.HasFpu ? 0xC0000000 : 0;
    Priority.fill(0);
    Pending.reset();
    Enabled.reset();
    Active.reset();
    AircrGroup = Scr = Cfsr = Hfsr = Mmfar = Bfar = 0;
    Ccr = IsV6() ? 0x208 : IsV8() ? 0x201 : 0x200;
    SystCsr = SystRvr = SystCvr = 0;
    SystCountFlag = false;
    MpuCtrl = MpuRnr = Mair0 = Mair1 = 0;
    MpuRegions.fill({});
    ItmTer = ItmTcr = ItmTpr = 0;
    CodeSize = 0;
    FpReady = false;
    Vtor = ResetVtor;
    for (const CRegion& Region : Mem.GetRegions()) {
        uint32_t Word = 0xFFFFFFFF;
        if (Region.Kind == ERegion::Flash && Mem.Read(Region.Base, &Word, 4) && Word != 0xFFFFFFFF) {
            Vtor = Region.Base;
            break;
        }
    }
    UpdateSlots();
    uint32_t Sp = 0xFFFFFFFF, Entry = 0xFFFFFFFF;
    Mem.Read(Vtor, &Sp, 4);
    Mem.Read(Vtor + 4, &Entry, 4);
    Sp = DataOrder(Sp, 4);
    Entry = DataOrder(Entry, 4);
    R[13] = Sp & ~3u;
    Pc = Entry & ~1u;
    T = Entry & 1;
    if (Demcr & 1) {
        Dfsr |= DFSR_VCATCH;
        Events |= EVENT_CATCH;
    }
}

// --- Priorities -------------------------------------------------------------------------------------------------

int CCpu::PriorityOf(uint32_t Exception) const {
    switch (Exception) {
    case EXC_RESET:
        return -3;
    case EXC_NMI:
        return -2;
    case EXC_HARD_FAULT:
        return -1;
    default:
        return Priority[Exception];
    }
}

int CCpu::GroupPriority(int Prio) const { return Prio < 0 ? Prio : Prio & ~((2 << AircrGroup) - 1); }

int CCpu::ExecutionPriority() const {
    int Best = LOWEST_PRIORITY;
    if (Active.any()) {
        for (uint32_t Exception = 1; Exception < EXC_IRQ0 + uint32_t(Traits.NumIrqs); Exception++) {
            if (Active.test(Exception)) {
                Best = std::min(Best, GroupPriority(PriorityOf(Exception)));
            }
        }
    }
    if (Basepri) {
        Best = std::min(Best, GroupPriority(static_cast<int>(Basepri)));
    }
    if (Primask) {
        Best = std::min(Best, 0);
    }
    if (Faultmask) {
        Best = std::min(Best, -1);
    }
    return Best;
}

// The pending exception of the highest priority, the lowest number first; 0 if there is none.
uint32_t CCpu::BestPending() const {
    uint32_t Best = 0;
    int BestPrio = LOWEST_PRIORITY;
    for (uint32_t Exception = 2; Exception < EXC_IRQ0 + uint32_t(Traits.NumIrqs); Exception++) {
        const bool IsMasked = MaskInterrupts && Exception >= EXC_PENDSV;
        if (Pending.test(Exception) && !IsMasked && (Exception < EXC_IRQ0 || Enabled.test(Exception)) &&
            PriorityOf(Exception) < BestPrio) {
            Best = Exception;
            BestPrio = PriorityOf(Exception);
        }
    }
    return Best;
}

bool CCpu::TakePendingException() {
    const uint32_t Exception = BestPending();
    if (Exception == 0 || GroupPriority(PriorityOf(Exception)) >= ExecutionPriority()) {
        return false;
    }
    Sleeping = false;
    EnterException(Exception, Pc);
    return true;
}

// PRIMASK doesn't keep a pending exception from waking the processor.
bool CCpu::WouldWake() {
    const uint32_t Exception = BestPending();
    const uint32_t OldPrimask = std::exchange(Primask, 0);
    const int Prio = ExecutionPriority();
    Primask = OldPrimask;
    return (Exception && GroupPriority(PriorityOf(Exception)) < Prio) || ((Scr & SCR_SEVONPEND) && Pending.any());
}

// --- Faults -----------------------------------------------------------------------------------------------------

void CCpu::RaiseFault(EException Exception, uint32_t CfsrBits) {
    if (!IsV6()) {
        Cfsr |= CfsrBits;
    }
    FaultBits = CfsrBits;
    FaultException = IsV6() ? EXC_HARD_FAULT : Exception;
    Events |= EVENT_FAULT;
}

// The exception a fault really leads to: HardFault if its own is off or not important enough.
uint32_t CCpu::DerivedException(uint32_t Exception) const {
    const bool IsConfigurable = Exception >= EXC_MEM_MANAGE && Exception <= EXC_USAGE_FAULT;
    if (IsConfigurable && Enabled.test(Exception) && GroupPriority(PriorityOf(Exception)) < ExecutionPriority()) {
        return Exception;
    }
    return EXC_HARD_FAULT;
}

void CCpu::EnterFault() {
    const uint32_t Exception = DerivedException(FaultException);
    if (Exception == EXC_HARD_FAULT && ExecutionPriority() <= -1) {
        return Lockup();
    }
    if (Exception != FaultException) {
        Hfsr |= HFSR_FORCED;
    }
    CheckVectorCatch(Exception);
    EnterException(Exception, Pc);
}

void CCpu::CheckVectorCatch(uint32_t Exception) {
    const struct {
        uint32_t DemcrBit, CfsrBits;
    } Catches[] = {{4, 0xFF},
                   {8, 0xFF00},
                   {5, CFSR_NOCP},
                   {6, CFSR_UNALIGNED | CFSR_DIVBYZERO},
                   {7, CFSR_UNDEFINSTR | CFSR_INVSTATE | CFSR_INVPC},
                   {9, CFSR_MUNSTKERR | CFSR_MSTKERR | CFSR_UNSTKERR | CFSR_STKERR | CFSR_STKOF}};
    bool Hit = Exception == EXC_HARD_FAULT && (Demcr & 0x400);
    for (const auto& Catch : Catches) {
        Hit |= (Demcr >> Catch.DemcrBit & 1) && (FaultBits & Catch.CfsrBits);
    }
    if (Hit) {
        Dfsr |= DFSR_VCATCH;
        Events |= EVENT_CATCH;
    }
}

void CCpu::Lockup() {
    LockedUp = true;
    LockupPc = Pc;
    Pc = 0xFFFFFFFE;
    Events = (Events & EVENTS_HALT) | EVENT_LOCKUP;
}

// --- Entry and return -------------------------------------------------------------------------------------------

bool CCpu::PushWord(uint32_t Addr, uint32_t Value, bool Privileged, uint32_t MpuBit, uint32_t BusBit) {
    if (!CheckAccess(Addr, 4, EAccess::Write, Privileged)) {
        Cfsr |= IsV6() ? 0 : MpuBit;
        FaultBits = MpuBit;
        FaultException = EXC_MEM_MANAGE;
        return false;
    }
    if (!BusWrite(Addr, 4, Value, Privileged)) {
        Cfsr |= IsV6() ? 0 : BusBit;
        FaultBits = BusBit;
        FaultException = EXC_BUS_FAULT;
        return false;
    }
    return true;
}

bool CCpu::PushFrame(uint32_t ReturnAddr, uint32_t& ExcReturn) {
    const bool WithFp = Traits.HasFpu && (Control & 4);
    const bool Aligns = WithFp || (Ccr & CCR_STKALIGN);
    const uint32_t Size = WithFp ? 0x68 : 0x20;
    const uint32_t Frame = (R[13] - Size) & (Aligns ? ~4u : ~0u);
    const uint32_t Status = (Xpsr() & ~0x200u) | (Aligns && (R[13] & 4) ? 0x200 : 0);
    const uint32_t Words[8] = {R[0], R[1], R[2], R[3], R[12], R[14], ReturnAddr, Status};
    const uint32_t Limit = UsesPsp() ? PspLim : MspLim;
    bool Ok = Frame >= Limit;
    if (!Ok) {
        Cfsr |= CFSR_STKOF;
        FaultBits = CFSR_STKOF;
        FaultException = EXC_USAGE_FAULT;
    }
    for (uint32_t Index = 0; Ok && Index < 8; Index++) {
        Ok = PushWord(Frame + Index * 4, Words[Index], IsPrivileged(), CFSR_MSTKERR, CFSR_STKERR);
    }
    if (WithFp) {
        Ok = Ok && PushFpFrame(Frame + 0x20);
    }
    const uint32_t Mode = Ipsr ? 1 : UsesPsp() ? 0xD : 9;
    ExcReturn = IsV8() ? 0xFFFFFFB0 | (Mode & 0xC) : 0xFFFFFFF0 | Mode;
    if (WithFp) {
        ExcReturn &= ~0x10u;
    }
    R[13] = Frame;
    return Ok;
}

void CCpu::EnterException(uint32_t Exception, uint32_t ReturnAddr) {
    uint32_t ExcReturn = 0;
    Pending.reset(Exception);
    if (!PushFrame(ReturnAddr, ExcReturn)) {
        const uint32_t Derived = DerivedException(FaultException);
        if (Derived == EXC_HARD_FAULT && (PriorityOf(Exception) <= -1 || ExecutionPriority() <= -1)) {
            return Lockup();
        }
        Hfsr |= Derived != FaultException ? HFSR_FORCED : 0;
        CheckVectorCatch(Derived);
        const bool DerivedFirst = PriorityOf(Derived) < PriorityOf(Exception);
        Pending.set(DerivedFirst ? Exception : Derived);
        Exception = DerivedFirst ? Derived : Exception;
    }
    StartHandler(Exception, ExcReturn);
}

// The frame is stacked: the handler begins.
void CCpu::StartHandler(uint32_t Exception, uint32_t ExcReturn) {
    uint32_t Vector;
    if (!BusRead(Vtor + Exception * 4, 4, Vector, true)) {
        if (PriorityOf(Exception) <= -1) {
            return Lockup();
        }
        Hfsr |= HFSR_VECTTBL;
        Exception = EXC_HARD_FAULT;
        if (!BusRead(Vtor + EXC_HARD_FAULT * 4, 4, Vector, true)) {
            return Lockup();
        }
    }
    const bool WasPsp = UsesPsp();
    Ipsr = Exception;
    Control &= ~6u;
    FpReady = false;
    if (WasPsp) {
        std::swap(R[13], OtherSp);
    }
    Active.set(Exception);
    Pending.reset(Exception);
    IT = 0;
    R[14] = ExcReturn;
    Pc = Vector & ~1u;
    T = Vector & 1;
    ExclusiveValid = false;
    EventRegister = true;
}

bool CCpu::PopWord(uint32_t Addr, uint32_t& Value, bool Privileged) {
    if (!CheckAccess(Addr, 4, EAccess::Read, Privileged)) {
        RaiseFault(EXC_MEM_MANAGE, CFSR_MUNSTKERR);
        return false;
    }
    if (!BusRead(Addr, 4, Value, Privileged)) {
        RaiseFault(EXC_BUS_FAULT, CFSR_UNSTKERR);
        return false;
    }
    return true;
}

// Takes the registers back from the stack in use, which is that of the code returned to.
bool CCpu::PopFrame(uint32_t ExcReturn) {
    const bool WithFp = Traits.HasFpu && !(ExcReturn & 0x10);
    const bool Privileged = (ExcReturn & 8) ? !(Control & 1) : true;
    const uint32_t Frame = R[13];
    uint32_t Words[8];
    for (uint32_t Index = 0; Index < 8; Index++) {
        if (!PopWord(Frame + Index * 4, Words[Index], Privileged)) {
            return false;
        }
    }
    if (WithFp && !PopFpFrame(Frame + 0x20, Privileged)) {
        return false;
    }
    if (!WithFp) {
        ClearFpOnReturn();
    }
    const bool ToThread = ExcReturn & 8;
    const uint32_t NewIpsr = Words[7] & 0x1FF;
    if (ToThread != (NewIpsr == 0)) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_INVPC);
        return false;
    }
    R[0] = Words[0], R[1] = Words[1], R[2] = Words[2], R[3] = Words[3];
    R[12] = Words[4], R[14] = Words[5];
    Pc = Words[6] & ~1u;
    R[13] = (Frame + (WithFp ? 0x68 : 0x20)) | ((WithFp || (Ccr & CCR_STKALIGN)) && (Words[7] & 0x200) ? 4 : 0);
    Control = (Control & ~4u) | (WithFp ? 4u : 0);
    FpReady = false;
    SetXpsr(Words[7], ~0u);
    Ipsr = NewIpsr;
    return true;
}

void CCpu::ReturnFromException(uint32_t ExcReturn) {
    const uint32_t Exception = Ipsr;
    const size_t NumActive = Active.count();
    const uint32_t Low = ExcReturn & 0xF;
    const uint32_t Mode = IsV8() ? (Low | 1) : Low; // ARMv8-M: bit 0 tells the security state
    bool Valid = (ExcReturn >> 5 & 0x7FFFFF) == 0x7FFFFF || IsV8();
    Valid = Valid && Active.test(Exception) && (Mode == 1 || Mode == 9 || Mode == 0xD);
    Valid = Valid && (Traits.HasFpu || (ExcReturn & 0x10));
    if (Mode == 1) {
        Valid = Valid && NumActive > 1;
    } else {
        Valid = Valid && (NumActive == 1 || (Ccr & CCR_NONBASETHRDENA));
    }
    Active.reset(Exception);
    if (Exception != EXC_NMI) {
        Faultmask = 0;
    }
    if (!Valid) {
        R[14] = 0xF0000000 | ExcReturn;
        RaiseFault(EXC_USAGE_FAULT, CFSR_INVPC);
        return;
    }
    // Tail-chaining: the frame stays where it is for an exception that would come next.
    const uint32_t Next = BestPending();
    if (Next && GroupPriority(PriorityOf(Next)) < ExecutionPriority()) {
        return StartHandler(Next, ExcReturn);
    }
    const bool ToPsp = Mode == 0xD;
    if (ToPsp) { // handler mode is on the main stack
        std::swap(R[13], OtherSp);
    }
    const uint32_t HandlerIpsr = Ipsr;
    if (!PopFrame(ExcReturn)) {
        if (ToPsp) {
            std::swap(R[13], OtherSp);
        }
        Ipsr = HandlerIpsr;
        return;
    }
    Control = (Control & ~2u) | (ToPsp ? 2u : 0);
    ExclusiveValid = false;
    EventRegister = true;
    if (Mode != 1 && (Scr & SCR_SLEEPONEXIT)) {
        Events |= EVENT_SLEEP;
    }
}

bool CCpu::BranchExchange(uint32_t Target) {
    const bool LooksLikeReturn = IsV8() ? Target >= 0xFF000000 : Target >= 0xF0000000;
    if (Ipsr != 0 && LooksLikeReturn) {
        Pc = Target;
        Events |= EVENT_EXC_RETURN;
        return false;
    }
    if (!(Target & 1)) {
        IT = IT ? NextIT : 0;
        T = false;
        Pc = Target;
        return false;
    }
    return true;
}

} // namespace Sim
