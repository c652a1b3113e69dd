// Breakpoints and watchpoints of the simulated target: what the units of the device allow.
#include "probe/sim/SimBackend.h"

#include <algorithm>

namespace Sim {

uint32_t CSimBackend::ChooseImplementation(uint32_t Addr, uint32_t TypeFlags) {
    CSimTarget::CAccess Cpu(*m_pTarget);
    const CRegion* pRegion = Cpu->Mem.Find(Addr);
    const bool IsRam = pRegion && pRegion->Kind == ERegion::Ram;
    const bool MaySoft = (TypeFlags & 0xF0) != 0, MayHard = (TypeFlags & 0xFFFFFF00) != 0;
    const auto NumHard = std::count_if(m_Breakpoints.begin(), m_Breakpoints.end(), [](const NOVIKARM_BP_INFO& Info) {
        return Info.ImplFlags == NOVIK_BP_IMPL_HARD;
    });
    const bool InReach = Cpu->Traits.FpbVersion == 2 || Addr < 0x20000000; // earlier units compare code addresses only
    if (MaySoft && IsRam && m_SoftBreakpoints) {
        return NOVIK_BP_IMPL_SOFT_RAM;
    }
    if (MayHard && InReach && NumHard < Cpu->Traits.NumBreakpoints) {
        return NOVIK_BP_IMPL_HARD;
    }
    if (MaySoft && pRegion && !IsRam && m_SoftBreakpoints && m_FlashBreakpoints) {
        return NOVIK_BP_IMPL_SOFT_FLASH;
    }
    return 0;
}

uint32_t CSimBackend::SetBreakpoint(uint32_t Addr, uint32_t TypeFlags) {
    if (!m_pTarget) {
        return 0;
    }
    const uint32_t Impl = ChooseImplementation(Addr & ~1u, TypeFlags);
    if (!Impl) {
        return 0;
    }
    NOVIKARM_BP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    Info.Handle = m_NextHandle++;
    Info.Addr = Addr & ~1u;
    Info.ImplFlags = Impl;
    m_Breakpoints.push_back(Info);
    CSimTarget::CAccess(*m_pTarget)->SetBreakpoint(Info.Addr);
    return Info.Handle;
}

bool CSimBackend::ClearBreakpoint(uint32_t Handle) {
    if (!m_pTarget) {
        return false;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    bool Found = Handle == NOVIK_HANDLE_ALL;
    for (size_t Index = m_Breakpoints.size(); Index-- > 0;) {
        const NOVIKARM_BP_INFO Info = m_Breakpoints[Index];
        if (Handle != NOVIK_HANDLE_ALL && Info.Handle != Handle) {
            continue;
        }
        Found = true;
        m_Breakpoints.erase(m_Breakpoints.begin() + static_cast<std::ptrdiff_t>(Index));
        const bool IsShared = std::any_of(m_Breakpoints.begin(), m_Breakpoints.end(),
                                          [&](const NOVIKARM_BP_INFO& Other) { return Other.Addr == Info.Addr; });
        if (!IsShared) {
            Cpu->ClearBreakpoint(Info.Addr);
        }
    }
    return Found;
}

namespace {

// A comparator ignores low address bits only, at most 15 of them.
bool IsAddrMaskGood(uint32_t Mask) { return (Mask & (Mask + 1)) == 0 && Mask <= 0x7FFF; }

bool IsDataMaskGood(uint32_t Mask) {
    return Mask == 0 || Mask == 0xFFFF0000 || Mask == 0xFFFFFF00 || Mask == 0xFFFFFFFF;
}

// A value needs a comparator of its own beside the one of the address.
uint32_t NumComparators(const CWatch& Watch) { return Watch.DataMask == 0xFFFFFFFF ? 1 : 2; }

} // namespace

int32_t CSimBackend::SetWatchpoint(const NOVIKARM_DATA_EVENT& Event, uint32_t& Handle) {
    if (!m_pTarget || Event.Type != NOVIK_EVENT_TYPE_BP) {
        return static_cast<int32_t>(NOVIK_EVENT_ERR_UNKNOWN);
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    CWatch Watch;
    Watch.Addr = Event.Addr;
    Watch.AddrMask = Event.AddrMask;
    Watch.Data = Event.Data;
    Watch.DataMask = Event.DataMask;
    Watch.Access = Event.Access;
    Watch.AccessMask = Event.AccessMask;
    uint32_t Used = 0;
    bool UsesData = false;
    for (const CWatch& Other : Cpu->Watches) {
        Used += NumComparators(Other);
        UsesData = UsesData || NumComparators(Other) == 2;
    }
    const bool WantsData = NumComparators(Watch) == 2;
    uint32_t Error = 0;
    if (Cpu->Traits.NumWatchpoints == 0) {
        Error = NOVIK_EVENT_ERR_NO_MORE_EVENTS;
    } else if (Used + 1 > Cpu->Traits.NumWatchpoints) {
        Error = NOVIK_EVENT_ERR_NO_MORE_ADDR_COMP;
    } else if (WantsData && (UsesData || !Cpu->Traits.HasDataCompare || Used + 2 > Cpu->Traits.NumWatchpoints)) {
        Error = NOVIK_EVENT_ERR_NO_MORE_DATA_COMP;
    } else if (!IsAddrMaskGood(Watch.AddrMask)) {
        Error = NOVIK_EVENT_ERR_INV_ADDR_MASK;
    } else if ((Watch.Access & 6) == 6 || (Watch.AccessMask & ~0x17)) {
        Error = NOVIK_EVENT_ERR_INV_ACCESS_MASK;
    } else if (!IsDataMaskGood(Watch.DataMask)) {
        Error = NOVIK_EVENT_ERR_INV_DATA_MASK;
    }
    if (Error) {
        return static_cast<int32_t>(Error);
    }
    Watch.Handle = Handle = m_NextHandle++;
    Cpu->Watches.push_back(Watch);
    Cpu->UpdateWatches();
    return 0;
}

bool CSimBackend::ClearWatchpoint(uint32_t Handle) {
    if (!m_pTarget) {
        return false;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    const auto NumErased = std::erase_if(
        Cpu->Watches, [&](const CWatch& Watch) { return Handle == NOVIK_HANDLE_ALL || Watch.Handle == Handle; });
    Cpu->UpdateWatches();
    return NumErased > 0 || Handle == NOVIK_HANDLE_ALL;
}

std::vector<NOVIKARM_WP_INFO> CSimBackend::GetWatchpoints() {
    std::vector<NOVIKARM_WP_INFO> Infos;
    if (!m_pTarget) {
        return Infos;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    for (const CWatch& Watch : Cpu->Watches) {
        NOVIKARM_WP_INFO Info = {};
        Info.SizeOfStruct = sizeof(Info);
        Info.Handle = Watch.Handle;
        Info.Addr = Watch.Addr;
        Info.AddrMask = Watch.AddrMask ? Watch.AddrMask : 3;
        Info.Data = Watch.Data;
        Info.DataMask = Watch.DataMask;
        Info.Access = Watch.Access;
        Info.AccessMask = Watch.AccessMask;
        Infos.push_back(Info);
    }
    return Infos;
}

} // namespace Sim
