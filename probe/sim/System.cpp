// The private peripherals at 0xE0000000: SysTick, NVIC, system control block, MPU, FPU; DebugUnits.cpp has the rest.
// ARMv7-M Architecture Reference Manual, chapters B3 and C1.
#include "probe/sim/Cpu.h"
#include "probe/sim/DebugUnits.h"

#include <algorithm>
#include <cstring>

namespace Sim {

using namespace Thumb;

namespace {

// The 32 bits of the NVIC bit arrays that belong to word Index.
uint32_t IrqWord(const std::bitset<CCpu::NUM_EXC>& Set, uint32_t Index) {
    uint32_t Word = 0;
    for (uint32_t Bit = 0; Bit < 32; Bit++) {
        const uint32_t Exception = EXC_IRQ0 + Index * 32 + Bit;
        Word |= Exception < CCpu::NUM_EXC && Set.test(Exception) ? 1u << Bit : 0;
    }
    return Word;
}

void ChangeIrqWord(std::bitset<CCpu::NUM_EXC>& Set, uint32_t Index, uint32_t Bits, bool Value, uint32_t NumIrqs) {
    for (uint32_t Bit = 0; Bit < 32; Bit++) {
        const uint32_t Irq = Index * 32 + Bit;
        if ((Bits >> Bit & 1) && Irq < NumIrqs) {
            Set.set(EXC_IRQ0 + Irq, Value);
        }
    }
}

uint32_t ReadPriorities(const CCpu& C, uint32_t FirstException) {
    uint32_t Word = 0;
    for (uint32_t Byte = 0; Byte < 4; Byte++) {
        Word |= FirstException + Byte < CCpu::NUM_EXC ? uint32_t(C.Priority[FirstException + Byte]) << Byte * 8 : 0;
    }
    return Word;
}

void WritePriorities(CCpu& C, uint32_t FirstException, uint32_t Value, uint32_t Mask) {
    const uint32_t PrioMask = 0xFFu << (8 - C.Traits.PrioBits) & 0xFF;
    const uint32_t Limit = EXC_IRQ0 + uint32_t(C.Traits.NumIrqs);
    for (uint32_t Byte = 0; Byte < 4; Byte++) {
        if ((Mask >> Byte * 8 & 0xFF) && FirstException + Byte < Limit) {
            C.Priority[FirstException + Byte] = static_cast<uint8_t>(Value >> Byte * 8 & PrioMask);
        }
    }
}

// SHCSR: active and pending bits of the system exceptions, enable bits of three faults.
constexpr struct {
    uint8_t Bit, Exception;
} ShcsrActive[] = {{0, EXC_MEM_MANAGE}, {1, EXC_BUS_FAULT}, {3, EXC_USAGE_FAULT}, {7, EXC_SVCALL},
                   {8, EXC_DEBUG_MON},  {10, EXC_PENDSV},   {11, EXC_SYSTICK}},
  ShcsrPending[] = {{12, EXC_USAGE_FAULT}, {13, EXC_MEM_MANAGE}, {14, EXC_BUS_FAULT}, {15, EXC_SVCALL}},
  ShcsrEnabled[] = {{16, EXC_MEM_MANAGE}, {17, EXC_BUS_FAULT}, {18, EXC_USAGE_FAULT}};

uint32_t ReadShcsr(const CCpu& C) {
    uint32_t Value = 0;
    for (const auto& Row : ShcsrActive) {
        Value |= uint32_t(C.Active.test(Row.Exception)) << Row.Bit;
    }
    for (const auto& Row : ShcsrPending) {
        Value |= uint32_t(C.Pending.test(Row.Exception)) << Row.Bit;
    }
    for (const auto& Row : ShcsrEnabled) {
        Value |= uint32_t(C.Enabled.test(Row.Exception)) << Row.Bit;
    }
    return Value;
}

void WriteShcsr(CCpu& C, uint32_t Value) {
    for (const auto& Row : ShcsrActive) {
        C.Active.set(Row.Exception, Value >> Row.Bit & 1);
    }
    for (const auto& Row : ShcsrPending) {
        C.Pending.set(Row.Exception, Value >> Row.Bit & 1);
    }
    for (const auto& Row : ShcsrEnabled) {
        C.Enabled.set(Row.Exception, !C.IsV6() && (Value >> Row.Bit & 1));
    }
}

uint32_t ReadIcsr(CCpu& C) {
    uint32_t Best = 0;
    for (uint32_t Exception = CCpu::NUM_EXC - 1; Exception >= 2; Exception--) {
        const bool Counts = C.Pending.test(Exception) && (Exception < EXC_IRQ0 || C.Enabled.test(Exception));
        if (Counts && (!Best || C.Priority[Exception] <= C.Priority[Best])) {
            Best = Exception;
        }
    }
    bool AnyIrq = false;
    for (uint32_t Exception = EXC_IRQ0; Exception < CCpu::NUM_EXC; Exception++) {
        AnyIrq |= C.Pending.test(Exception);
    }
    return C.Ipsr | (C.Active.count() <= 1 ? 0x800u : 0) | Best << 12 | (AnyIrq ? 0x400000u : 0) |
           uint32_t(C.Pending.test(EXC_SYSTICK)) << 26 | uint32_t(C.Pending.test(EXC_PENDSV)) << 28 |
           uint32_t(C.Pending.test(EXC_NMI)) << 31;
}

void WriteIcsr(CCpu& C, uint32_t Value) {
    constexpr struct {
        uint8_t Bit, Exception;
        bool Set;
    } Rows[] = {{31, EXC_NMI, true},
                {28, EXC_PENDSV, true},
                {27, EXC_PENDSV, false},
                {26, EXC_SYSTICK, true},
                {25, EXC_SYSTICK, false}};
    for (const auto& Row : Rows) {
        if (Value >> Row.Bit & 1) {
            C.Pending.set(Row.Exception, Row.Set);
        }
    }
}

// Configuration and status registers of the system control block whose reads are plain values.
uint32_t ReadScb(CCpu& C, uint32_t Addr) {
    switch (Addr) {
    case 0xE000ED00:
        return C.Traits.CpuId;
    case 0xE000ED04:
        return ReadIcsr(C);
    case 0xE000ED08:
        return C.Vtor;
    case 0xE000ED0C:
        return 0xFA050000 | (C.Traits.IsBigEndian ? 1u << 15 : 0) | C.AircrGroup << 8;
    case 0xE000ED10:
        return C.Scr;
    case 0xE000ED14:
        return C.Ccr;
    case 0xE000ED18:
    case 0xE000ED1C:
    case 0xE000ED20:
        return ReadPriorities(C, Addr - 0xE000ED18 + 4);
    case 0xE000ED24:
        return ReadShcsr(C);
    case 0xE000ED28:
        return C.Cfsr;
    case 0xE000ED2C:
        return C.Hfsr;
    case 0xE000ED30:
        return C.Dfsr;
    case 0xE000ED34:
        return C.Mmfar;
    case 0xE000ED38:
        return C.Bfar;
    case 0xE000ED88:
        return C.Cpacr;
    case 0xE000EF34:
        return C.Fpccr;
    case 0xE000EF38:
        return C.Fpcar;
    case 0xE000EF3C:
        return C.Fpdscr;
    case 0xE000EF40: // MVFR0: single precision
        return C.Traits.HasFpu ? 0x10110021 : 0;
    case 0xE000EF44: // MVFR1
        return C.Traits.HasFpu ? 0x11000011 : 0;
    case 0xE000EF48: // MVFR2
        return C.HasFpv5() ? 0x40 : 0;
    default:
        return 0;
    }
}

void WriteAircr(CCpu& C, uint32_t Value) {
    if (Value >> 16 != 0x05FA) {
        return;
    }
    C.AircrGroup = C.IsV6() ? 0 : Value >> 8 & 7;
    if (Value & 4) { // SYSRESETREQ
        C.Events |= EVENT_RESET;
    }
}

void WriteScb(CCpu& C, uint32_t Addr, uint32_t Value, uint32_t Mask) {
    const bool V6 = C.IsV6();
    switch (Addr) {
    case 0xE000ED04:
        WriteIcsr(C, Value);
        break;
    case 0xE000ED08:
        C.Vtor = C.Traits.CpuId == 0x410CC200 ? C.Vtor : Value & ~0x7Fu; // Cortex-M0 has none
        break;
    case 0xE000ED0C:
        WriteAircr(C, Value);
        break;
    case 0xE000ED10:
        C.Scr = Value & 0x16;
        break;
    case 0xE000ED14:
        C.Ccr = V6 ? C.Ccr : (C.Ccr & ~(0x31Bu & Mask)) | (Value & 0x31B & Mask);
        break;
    case 0xE000ED18:
    case 0xE000ED1C:
    case 0xE000ED20:
        WritePriorities(C, Addr - 0xE000ED18 + 4, Value, Mask);
        break;
    case 0xE000ED24:
        WriteShcsr(C, Value);
        break;
    case 0xE000ED28: // cleared by writing ones
        C.Cfsr &= ~(Value & Mask);
        break;
    case 0xE000ED2C:
        C.Hfsr &= ~Value;
        break;
    case 0xE000ED30:
        C.Dfsr &= ~Value;
        break;
    case 0xE000ED34:
        C.Mmfar = Value;
        break;
    case 0xE000ED38:
        C.Bfar = Value;
        break;
    case 0xE000ED88:
        C.Cpacr = C.Traits.HasFpu ? Value & 0x00F00000 : 0;
        break;
    case 0xE000EF00:
        if ((Value & 0x1FF) < C.Traits.NumIrqs) {
            C.SetPending(EXC_IRQ0 + (Value & 0x1FF));
        }
        break;
    case 0xE000EF34:
        C.WriteFpccr(Value);
        break;
    case 0xE000EF38:
        C.Fpcar = C.Traits.HasFpu ? Value & ~7u : 0;
        break;
    case 0xE000EF3C:
        C.Fpdscr = C.Traits.HasFpu ? Value & 0x07C00000 : 0;
        break;
    default:
        break;
    }
}

uint32_t ReadSysTick(CCpu& C, uint32_t Addr) {
    switch (Addr) {
    case 0xE000E010: {
        const uint32_t Value = C.SystCsr | (C.SystCountFlag ? 0x10000u : 0);
        C.SystCountFlag = false;
        return Value;
    }
    case 0xE000E014:
        return C.SystRvr;
    case 0xE000E018:
        return C.SystCvr;
    case 0xE000E01C:
        return 0xC0000000; // no reference clock
    default:
        return 0;
    }
}

void WriteSysTick(CCpu& C, uint32_t Addr, uint32_t Value) {
    switch (Addr) {
    case 0xE000E010:
        C.SystCsr = (Value & 3) | 4;
        break;
    case 0xE000E014:
        C.SystRvr = Value & 0xFFFFFF;
        break;
    case 0xE000E018:
        C.SystCvr = 0;
        C.SystCountFlag = false;
        break;
    default:
        break;
    }
}

// Which region an address and which of its two registers: 0xE000ED9C and 0xE000EDA0 are those of MPU_RNR, the aliases
// behind them (ARMv7-M) the same again, or (ARMv8-M) those of the other regions of the same group of four.
struct CMpuPlace {
    uint32_t Region;
    bool IsLimit; // RASR or RLAR rather than RBAR
};

CMpuPlace FindMpuPlace(const CCpu& C, uint32_t Addr) {
    const uint32_t Word = (Addr - 0xE000ED9C) / 4;
    const uint32_t Region = C.IsV8() && Word >= 2 ? (C.MpuRnr & ~3u) | Word / 2 : C.MpuRnr;
    return {Region & 15, (Word & 1) != 0};
}

bool IsMpuRegion(uint32_t Addr) { return IsIn(Addr, 0xE000ED9C, 8); }

uint32_t ReadMpu(const CCpu& C, uint32_t Addr) {
    if (IsMpuRegion(Addr)) {
        const CMpuPlace Place = FindMpuPlace(C, Addr);
        const CCpu::CMpuRegion& Region = C.MpuRegions[Place.Region];
        return Place.IsLimit ? Region.Rasr : C.IsV8() ? Region.Rbar : (Region.Rbar & ~31u) | Place.Region;
    }
    switch (Addr) {
    case 0xE000ED90:
        return uint32_t(C.Traits.NumMpuRegions) << 8;
    case 0xE000ED94:
        return C.MpuCtrl;
    case 0xE000ED98:
        return C.MpuRnr;
    case 0xE000EDC0:
        return C.Mair0;
    case 0xE000EDC4:
        return C.Mair1;
    default:
        return 0;
    }
}

void WriteMpu(CCpu& C, uint32_t Addr, uint32_t Value) {
    if (C.Traits.NumMpuRegions == 0) {
        return;
    }
    if (IsMpuRegion(Addr)) {
        const bool SetsRegion = !C.IsV8() && !FindMpuPlace(C, Addr).IsLimit && (Value & 0x10);
        C.MpuRnr = SetsRegion ? Value & 15 : C.MpuRnr; // VALID: the region number comes with the address
        const CMpuPlace Place = FindMpuPlace(C, Addr);
        CCpu::CMpuRegion& Region = C.MpuRegions[Place.Region];
        (Place.IsLimit ? Region.Rasr : Region.Rbar) = Place.IsLimit || C.IsV8() ? Value : Value & ~31u;
    }
    switch (Addr) {
    case 0xE000ED94:
        C.MpuCtrl = Value & 7;
        break;
    case 0xE000ED98:
        C.MpuRnr = Value & 15;
        break;
    case 0xE000EDC0:
        C.Mair0 = Value;
        break;
    case 0xE000EDC4:
        C.Mair1 = Value;
        break;
    default:
        break;
    }
    C.CodeSize = 0;
    C.UpdateSlots();
}

uint32_t ReadNvic(const CCpu& C, uint32_t Addr) {
    if (IsIn(Addr, 0xE000E100, 8) || IsIn(Addr, 0xE000E180, 8)) {
        return IrqWord(C.Enabled, (Addr & 0x7F) / 4);
    }
    if (IsIn(Addr, 0xE000E200, 8) || IsIn(Addr, 0xE000E280, 8)) {
        return IrqWord(C.Pending, (Addr & 0x7F) / 4);
    }
    if (IsIn(Addr, 0xE000E300, 8)) {
        return IrqWord(C.Active, (Addr & 0x7F) / 4);
    }
    if (IsIn(Addr, 0xE000E400, 60)) {
        return ReadPriorities(C, Addr - 0xE000E400 + EXC_IRQ0);
    }
    return Addr == 0xE000E004 ? (C.Traits.NumIrqs + 31u) / 32 - 1 : 0;
}

void WriteNvic(CCpu& C, uint32_t Addr, uint32_t Value, uint32_t Mask) {
    const uint32_t Index = (Addr & 0x7F) / 4;
    const bool Set = !(Addr & 0x80);
    if (IsIn(Addr, 0xE000E100, 8) || IsIn(Addr, 0xE000E180, 8)) {
        ChangeIrqWord(C.Enabled, Index, Value, Set, C.Traits.NumIrqs);
    } else if (IsIn(Addr, 0xE000E200, 8) || IsIn(Addr, 0xE000E280, 8)) {
        ChangeIrqWord(C.Pending, Index, Value, Set, C.Traits.NumIrqs);
    } else if (IsIn(Addr, 0xE000E400, 60)) {
        WritePriorities(C, Addr - 0xE000E400 + EXC_IRQ0, Value, Mask);
    }
}

} // namespace

uint32_t CCpu::ReadSystem(uint32_t Addr) {
    SettleTime();
    switch (Addr >> 12 & 0xFF) {
    case 0x00:
        return ReadItm(*this, Addr);
    case 0x01:
        return ReadDwt(*this, Addr);
    case 0x02:
        return ReadFpb(*this, Addr);
    case 0x0E:
        break;
    default:
        return 0;
    }
    if (IsIn(Addr, 0xE000E010, 4)) {
        return ReadSysTick(*this, Addr);
    }
    if (IsIn(Addr, 0xE000ED90, 14)) {
        return ReadMpu(*this, Addr);
    }
    if (IsIn(Addr, 0xE000EDF0, 4)) {
        return ReadDebug(*this, Addr);
    }
    return Addr < 0xE000ED00 ? ReadNvic(*this, Addr) : ReadScb(*this, Addr);
}

void CCpu::WriteSystem(uint32_t Addr, uint32_t Value, uint32_t Size, uint32_t WordMask) {
    SettleTime();
    EndSlice(); // what follows may change what runs next
    FpReady = false;
    switch (Addr >> 12 & 0xFF) {
    case 0x00:
        return WriteItm(*this, Addr, Value, Size);
    case 0x01:
        return WriteDwt(*this, Addr, Value);
    case 0x02:
        return WriteFpb(*this, Addr, Value);
    case 0x0E:
        break;
    default:
        return;
    }
    if (IsIn(Addr, 0xE000E010, 4)) {
        WriteSysTick(*this, Addr, Value);
    } else if (IsIn(Addr, 0xE000ED90, 14)) {
        WriteMpu(*this, Addr, Value);
    } else if (IsIn(Addr, 0xE000EDF0, 4)) {
        WriteDebug(*this, Addr, Value);
    } else if (Addr < 0xE000ED00) {
        WriteNvic(*this, Addr, Value, WordMask);
    } else {
        WriteScb(*this, Addr, Value, WordMask);
    }
}

} // namespace Sim
