// Memory accesses off the fast path: alignment, protection, watchpoints, bit-banding, system space.
#include "probe/sim/Cpu.h"

#include <algorithm>
#include <cstring>

namespace Sim {

using namespace Thumb;

namespace {

constexpr uint32_t SYSTEM_BASE = 0xE0000000, SYSTEM_SIZE = 0x100000;
constexpr uint32_t CCR_UNALIGN_TRP = 8, CCR_BFHFNMIGN = 0x100;

bool IsSystem(uint32_t Addr) { return Addr - SYSTEM_BASE < SYSTEM_SIZE; }

uint32_t SizeMask(uint32_t Size) { return Size == 4 ? 0xFFFFFFFF : (1u << Size * 8) - 1; }

// The bits of the first 1 MB of SRAM and of peripheral space have a word each at 0x22000000 and 0x42000000.
bool IsBitBand(uint32_t Addr) { return (Addr & 0xFE000000) == 0x22000000 || (Addr & 0xFE000000) == 0x42000000; }

uint32_t BitBandByte(uint32_t Addr) { return (Addr & 0xE0000000) + (Addr & 0x01FFFFFF) / 32; }

} // namespace

// --- Protection -------------------------------------------------------------------------------------------------

bool CCpu::CheckAccess(uint32_t Addr, uint32_t Size, EAccess Access, bool Privileged) {
    if (!(MpuCtrl & 1) || IsSystem(Addr)) {
        return true;
    }
    if (!(MpuCtrl & 2) && ExecutionPriority() < 0) { // HFNMIENA
        return true;
    }
    const bool First = MpuAllows(Addr, Access, Privileged);
    return First && (Size == 1 || MpuAllows(Addr + Size - 1, Access, Privileged));
}

bool CCpu::MpuAllows(uint32_t Addr, EAccess Access, bool Privileged) const {
    if (IsV8()) {
        return MpuAllowsV8(Addr, Access, Privileged);
    }
    for (int Index = Traits.NumMpuRegions - 1; Index >= 0; Index--) {
        const CMpuRegion& Region = MpuRegions[static_cast<size_t>(Index)];
        const uint32_t Log = (Region.Rasr >> 1 & 31) + 1;
        const uint32_t Mask = Log >= 32 ? 0xFFFFFFFF : (1u << Log) - 1;
        if (!(Region.Rasr & 1) || ((Addr ^ Region.Rbar) & ~Mask)) {
            continue;
        }
        if (Log >= 8 && (Region.Rasr >> (8 + ((Addr & Mask) >> (Log - 3))) & 1)) {
            continue; // subregion switched off
        }
        // By AP field: what the privileged, then the unprivileged may do. 0 nothing, 1 read, 2 read and write.
        static constexpr uint8_t Privilege[8] = {0, 2, 2, 2, 0, 1, 1, 1}, User[8] = {0, 0, 1, 2, 0, 0, 1, 1};
        const uint32_t Ap = Region.Rasr >> 24 & 7;
        const uint8_t Rights = Privileged ? Privilege[Ap] : User[Ap];
        if (Access == EAccess::Fetch) {
            return Rights > 0 && !(Region.Rasr >> 28 & 1);
        }
        return Rights > (Access == EAccess::Write ? 1 : 0);
    }
    return (MpuCtrl & 4) && Privileged; // PRIVDEFENA
}

int CCpu::FindRegionV8(uint32_t Addr) const {
    int Hit = -1;
    for (int Index = 0; Index < Traits.NumMpuRegions; Index++) {
        const CMpuRegion& Region = MpuRegions[static_cast<size_t>(Index)];
        if ((Region.Rasr & 1) && Addr >= (Region.Rbar & ~31u) && Addr <= (Region.Rasr | 31u)) {
            if (Hit >= 0) {
                return -2;
            }
            Hit = Index;
        }
    }
    return Hit;
}

bool CCpu::MpuAllowsV8(uint32_t Addr, EAccess Access, bool Privileged) const {
    const int Index = FindRegionV8(Addr);
    if (Index < 0) { // overlapping regions fault
        return Index == -1 && (MpuCtrl & 4) && Privileged;
    }
    const CMpuRegion& Region = MpuRegions[static_cast<size_t>(Index)];
    const bool UserToo = Region.Rbar & 2, ReadOnly = Region.Rbar & 4, NeverExecute = Region.Rbar & 1;
    return (Privileged || UserToo) && !(ReadOnly && Access == EAccess::Write) &&
           !(NeverExecute && Access == EAccess::Fetch);
}

// Bits 7 to 0: MPU region, valid with MRVALID (bit 16); R (bit 18), RW (bit 19). As non-secure code sees it.
uint32_t CCpu::TestTarget(uint32_t Addr, bool Unpriv) const {
    const bool Privileged = IsPrivileged() && !Unpriv;
    const bool IsOn = (MpuCtrl & 1) && ((MpuCtrl & 2) || ExecutionPriority() >= 0);
    const int Region = MpuCtrl & 1 ? FindRegionV8(Addr) : -1;
    if (!IsPrivileged()) { // neither the region nor the rights are told to unprivileged code, but by TTT's own check
        return 0;
    }
    const bool CanRead = !IsOn || MpuAllowsV8(Addr, EAccess::Read, Privileged);
    const bool CanWrite = !IsOn || MpuAllowsV8(Addr, EAccess::Write, Privileged);
    return (Region >= 0 ? static_cast<uint32_t>(Region) | 1u << 16 : 0) | (CanRead ? 1u << 18 : 0) |
           (CanWrite ? 1u << 19 : 0);
}

// --- Bus --------------------------------------------------------------------------------------------------------

bool CCpu::BusRead(uint32_t Addr, uint32_t Size, uint32_t& Value, bool Privileged) {
    Value = 0;
    if (Mem.Read(Addr, &Value, Size)) {
        Value = DataOrder(Value, Size);
        return true;
    }
    if (IsSystem(Addr)) {
        if (!Privileged) {
            return false;
        }
        Value = ReadSystem(Addr & ~3u) >> (Addr & 3) * 8 & SizeMask(Size);
        return true;
    }
    if (Traits.HasBitBand && IsBitBand(Addr)) {
        const uint32_t Byte = BitBandByte(Addr);
        uint8_t Data;
        if (!Mem.Read(Byte, &Data, 1)) {
            return false;
        }
        Value = Data >> ((Addr >> 2) & 7) & 1;
        return true;
    }
    return false;
}

bool CCpu::BusWrite(uint32_t Addr, uint32_t Size, uint32_t Value, bool Privileged) {
    if (const CRegion* pRegion = Mem.Find(Addr)) {
        Value = DataOrder(Value, Size);
        return pRegion->Kind == ERegion::Ram && Mem.Write(Addr, &Value, Size);
    }
    if (IsSystem(Addr)) {
        // The software trigger register and the stimulus ports can be opened to unprivileged code.
        const bool IsOpen =
            (Addr == 0xE000EF00 && (Ccr & 2)) || (Addr < 0xE0000080 && !(ItmTpr >> (Addr >> 5 & 3) & 1));
        if (!Privileged && !IsOpen) {
            return false;
        }
        const uint32_t Shift = (Addr & 3) * 8;
        WriteSystem(Addr & ~3u, Value << Shift, Size, SizeMask(Size) << Shift);
        return true;
    }
    if (Traits.HasBitBand && IsBitBand(Addr)) {
        const uint32_t Byte = BitBandByte(Addr);
        uint8_t Data;
        if (!Mem.Read(Byte, &Data, 1)) {
            return false;
        }
        const uint8_t Bit = static_cast<uint8_t>(1u << ((Addr >> 2) & 7));
        Data = static_cast<uint8_t>((Value & 1) ? Data | Bit : Data & ~Bit);
        return BusWrite(Byte, 1, Data, true);
    }
    return false;
}

void CCpu::RaiseAccessFault(uint32_t Addr, bool IsMpu) {
    if (IsMpu) {
        Mmfar = Addr;
        RaiseFault(EXC_MEM_MANAGE, CFSR_DACCVIOL | CFSR_MMARVALID);
    } else {
        Bfar = Addr;
        RaiseFault(EXC_BUS_FAULT, CFSR_PRECISERR | CFSR_BFARVALID);
    }
}

bool CCpu::Load(uint32_t Addr, uint32_t Size, uint32_t& Value, bool Unpriv) {
    const bool Privileged = IsPrivileged() && !Unpriv;
    if ((Addr & (Size - 1)) && (IsV6() || (Ccr & CCR_UNALIGN_TRP) || IsSystem(Addr))) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_UNALIGNED);
        return false;
    }
    const bool Allowed = CheckAccess(Addr, Size, EAccess::Read, Privileged);
    if (Allowed && BusRead(Addr, Size, Value, Privileged)) {
        if (HasWatchpoints()) {
            CheckWatchpoints(Addr, Size, Value, false);
        }
        return true;
    }
    if (Allowed && (Ccr & CCR_BFHFNMIGN) && ExecutionPriority() < 0) {
        Value = 0;
        return true;
    }
    RaiseAccessFault(Addr, !Allowed);
    return false;
}

bool CCpu::Store(uint32_t Addr, uint32_t Size, uint32_t Value, bool Unpriv) {
    const bool Privileged = IsPrivileged() && !Unpriv;
    if ((Addr & (Size - 1)) && (IsV6() || (Ccr & CCR_UNALIGN_TRP) || IsSystem(Addr))) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_UNALIGNED);
        return false;
    }
    Value &= SizeMask(Size);
    const bool Allowed = CheckAccess(Addr, Size, EAccess::Write, Privileged);
    if (Allowed && BusWrite(Addr, Size, Value, Privileged)) {
        if (HasWatchpoints()) {
            CheckWatchpoints(Addr, Size, Value, true);
        }
        return true;
    }
    if (Allowed && (Ccr & CCR_BFHFNMIGN) && ExecutionPriority() < 0) {
        return true;
    }
    RaiseAccessFault(Addr, !Allowed);
    return false;
}

bool CCpu::LoadAligned(uint32_t Addr, uint32_t Size, uint32_t& Value) {
    if (Addr & (Size - 1)) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_UNALIGNED);
        return false;
    }
    return Load(Addr, Size, Value);
}

bool CCpu::StoreAligned(uint32_t Addr, uint32_t Size, uint32_t Value) {
    if (Addr & (Size - 1)) {
        RaiseFault(EXC_USAGE_FAULT, CFSR_UNALIGNED);
        return false;
    }
    return Store(Addr, Size, Value);
}

bool CCpu::DebugRead(uint32_t Addr, uint32_t Size, uint32_t& Value) {
    if ((Addr & (Size - 1)) || !BusRead(Addr, Size, Value, true)) {
        return false;
    }
    Value = Mem.Find(Addr) ? DataOrder(Value, Size) : Value;
    return true;
}

bool CCpu::DebugWrite(uint32_t Addr, uint32_t Size, uint32_t Value) {
    Value = Mem.Find(Addr) ? DataOrder(Value, Size) : Value;
    return !(Addr & (Size - 1)) && BusWrite(Addr, Size, Value & SizeMask(Size), true);
}

// --- Watchpoints ------------------------------------------------------------------------------------------------

bool CCpu::HasWatchpoints() const {
    const auto IsOn = [](const CRawComparator& Comp) { return (Comp.Function & 15) != 0; };
    return !Watches.empty() || std::any_of(DwtComp.begin(), DwtComp.end(), IsOn);
}

namespace {

// True if the watched value appears in the access, with the value's own bytes placed where its address says.
bool DataMatches(const CWatch& Watch, uint32_t Addr, uint32_t Size, uint32_t Value) {
    if (Watch.DataMask == 0xFFFFFFFF) {
        return true;
    }
    const uint32_t Offset = (Watch.Addr & ~Watch.AddrMask) - Addr;
    const uint32_t Item = Offset < Size ? Value >> Offset * 8 : Value;
    const uint32_t Compared = ~Watch.DataMask;
    return ((Item ^ Watch.Data) & Compared) == 0;
}

bool WatchMatches(const CWatch& Watch, uint32_t Addr, uint32_t Size, uint32_t Value, bool IsWrite) {
    const uint32_t First = Watch.Addr & ~Watch.AddrMask, Last = Watch.Addr | Watch.AddrMask;
    const uint32_t End = Addr + Size - 1;
    if (End < First || Addr > Last) {
        return false;
    }
    if (!(Watch.AccessMask & 1) && IsWrite != ((Watch.Access & 1) != 0)) {
        return false;
    }
    const uint32_t WatchSize = (Watch.Access & 6) ? Watch.Access & 6u : 1;
    if ((Watch.AccessMask & 6) != 6 && WatchSize != Size) {
        return false;
    }
    return DataMatches(Watch, Addr, Size, Value);
}

} // namespace

// A comparator that the program has set up. ARMv7-M: FUNCTION 5 read, 6 write, 7 both; with DATAVMATCH COMP is a value
// of the size DATAVSIZE at the address of the linked comparator. ARMv8-M: MATCH 4 both, 5 write, 6 read; ACTION 1
// halts.
bool CCpu::MatchesComparator(uint32_t Index, uint32_t Addr, uint32_t Size, uint32_t Value, bool IsWrite) const {
    const CRawComparator& Comp = DwtComp[Index];
    const uint32_t Function = Comp.Function & 15;
    const uint32_t Both = IsV8() ? 4 : 7, OneWay = IsV8() ? (IsWrite ? 5 : 6) : (IsWrite ? 6 : 5);
    if ((Function != Both && Function != OneWay) || (IsV8() && (Comp.Function >> 4 & 3) != 1)) {
        return false;
    }
    const auto Covers = [&](const CRawComparator& Range) {
        const uint32_t Mask = IsV8() ? (1u << (Comp.Function >> 10 & 3)) - 1 : (1u << (Range.Mask & 31)) - 1;
        return (Range.Comp & ~Mask) <= Addr + Size - 1 && (Range.Comp | Mask) >= Addr;
    };
    if (IsV8() || !(Comp.Function & 0x100)) {
        return Covers(Comp);
    }
    const uint32_t ValueSize = 1u << (Comp.Function >> 10 & 3), Linked = Comp.Function >> 12 & 15;
    const bool InPlace = Linked >= DwtComp.size() || Linked == Index || Covers(DwtComp[Linked]);
    return InPlace && ValueSize == Size && ((Value ^ Comp.Comp) & SizeMask(Size)) == 0;
}

// The access is completed; the program halts behind its instruction.
void CCpu::CheckWatchpoints(uint32_t Addr, uint32_t Size, uint32_t Value, bool IsWrite) {
    bool Hit = false;
    for (const CWatch& Watch : Watches) {
        Hit |= WatchMatches(Watch, Addr, Size, Value, IsWrite);
    }
    for (uint32_t Index = 0; Index < DwtComp.size(); Index++) {
        if (MatchesComparator(Index, Addr, Size, Value, IsWrite)) {
            DwtComp[Index].Function |= 1u << 24; // MATCHED
            Hit = true;
        }
    }
    if (Hit) {
        Dfsr |= DFSR_DWTTRAP;
        WatchAddr = Addr;
        Events |= EVENT_WATCHPOINT;
        EndSlice();
    }
}

} // namespace Sim
