#pragma once
// The fast path of loads and stores: a memory of the target reached by the top byte of the address, an aligned item, no
// watchpoint and no protection. All else goes through CCpu::Load and Store. CPU thread.
#include "probe/sim/Handlers.h"

namespace Sim {

// A load while data is watched: pages without a watched byte need no closer look.
[[gnu::noinline]] inline uint8_t* WatchedRead(CCpu& C, uint32_t Addr, uint32_t Size) {
    const CSlot& Slot = C.WatchedReadSlots[Addr >> 24];
    const uint32_t Offset = Addr - Slot.Base;
    const bool IsPlain = Offset < Slot.SizeLess3 && !(Addr & (Size - 1)) &&
                         !(Slot.pCodePage[Offset >> CRegion::CODE_PAGE_SHIFT] & PAGE_WATCHED);
    return IsPlain ? Slot.pData + Offset : nullptr;
}

template <uint32_t Size> inline uint8_t* FastRead(CCpu& C, uint32_t Addr) {
    const CSlot& Slot = C.ReadSlots[Addr >> 24];
    const uint32_t Offset = Addr - Slot.Base;
    if (SIM_LIKELY(Offset < Slot.SizeLess3 && !(Addr & (Size - 1)))) {
        return Slot.pData + Offset;
    }
    return C.WatchesReads ? WatchedRead(C, Addr, Size) : nullptr;
}

// Memory that instructions were decoded from is left to the slow path, which forgets them.
template <uint32_t Size> inline uint8_t* FastWrite(CCpu& C, uint32_t Addr) {
    const CSlot& Slot = C.WriteSlots[Addr >> 24];
    const uint32_t Offset = Addr - Slot.Base;
    if (SIM_LIKELY(Offset < Slot.SizeLess3 && !(Addr & (Size - 1))) &&
        SIM_LIKELY(!Slot.pCodePage[Offset >> CRegion::CODE_PAGE_SHIFT])) {
        return Slot.pData + Offset;
    }
    return nullptr;
}

template <uint32_t Size> inline uint32_t ReadItem(const uint8_t* p) {
    if constexpr (Size == 4) {
        return ReadHost<uint32_t>(p);
    } else if constexpr (Size == 2) {
        return ReadHost<uint16_t>(p);
    } else {
        return *p;
    }
}

template <uint32_t Size> inline void WriteItem(uint8_t* p, uint32_t Value) {
    if constexpr (Size == 4) {
        WriteHost<uint32_t>(p, Value);
    } else if constexpr (Size == 2) {
        WriteHost<uint16_t>(p, static_cast<uint16_t>(Value));
    } else {
        *p = static_cast<uint8_t>(Value);
    }
}

// Stack limit of the ARMv8-M: a write-back that takes SP below it faults. True if all is well.
inline bool StackAllows(CCpu& C, uint32_t Value) {
    const uint32_t Limit = C.UsesPsp() ? C.PspLim : C.MspLim;
    if (SIM_LIKELY(Value >= Limit)) {
        return true;
    }
    C.RaiseFault(EXC_USAGE_FAULT, CFSR_STKOF);
    return false;
}

// True if NumBytes from Addr on can be read or written on the host side without further checks.
inline uint8_t* FastBlock(const CSlot& Slot, uint32_t Addr, uint32_t NumBytes) {
    const uint32_t Offset = Addr - Slot.Base;
    return Offset < Slot.SizeLess3 && Slot.SizeLess3 - Offset >= NumBytes && !(Addr & 3) ? Slot.pData + Offset
                                                                                         : nullptr;
}

inline uint8_t* FastReadBlock(CCpu& C, uint32_t Addr, uint32_t NumBytes) {
    if (SIM_LIKELY(!C.WatchesReads)) {
        return FastBlock(C.ReadSlots[Addr >> 24], Addr, NumBytes);
    }
    const CSlot& Slot = C.WatchedReadSlots[Addr >> 24];
    uint8_t* p = FastBlock(Slot, Addr, NumBytes);
    const uint32_t Offset = Addr - Slot.Base;
    const bool IsWatched = p && ((Slot.pCodePage[Offset >> CRegion::CODE_PAGE_SHIFT] |
                                  Slot.pCodePage[(Offset + NumBytes - 1) >> CRegion::CODE_PAGE_SHIFT]) &
                                 PAGE_WATCHED);
    return IsWatched ? nullptr : p;
}

inline uint8_t* FastWriteBlock(CCpu& C, uint32_t Addr, uint32_t NumBytes) {
    const CSlot& Slot = C.WriteSlots[Addr >> 24];
    uint8_t* p = FastBlock(Slot, Addr, NumBytes);
    if (p && (Slot.pCodePage[(Addr - Slot.Base) >> CRegion::CODE_PAGE_SHIFT] |
              Slot.pCodePage[(Addr - Slot.Base + NumBytes - 1) >> CRegion::CODE_PAGE_SHIFT])) {
        return nullptr;
    }
    return p;
}

} // namespace Sim
