#include "probe/sim/Memory.h"

#include <algorithm>
#include <cstring>

namespace Sim {

namespace {

template <typename T> CZeroArray<T> AllocZero(size_t Count) {
    return CZeroArray<T>(static_cast<T*>(std::calloc(Count, sizeof(T))));
}

} // namespace

bool CMemory::AddRegion(ERegion Kind, uint32_t Base, uint32_t Size) {
    constexpr uint32_t Page = 1u << CRegion::CODE_PAGE_SHIFT;
    const uint64_t End = uint64_t(Base) + Size;
    const bool Overlaps = std::any_of(m_Regions.begin(), m_Regions.end(), [&](const CRegion& R) {
        return Base < uint64_t(R.Base) + R.Size && R.Base < End;
    });
    if (Size == 0 || Size % Page || Base % Page || End > 0x100000000u || Overlaps) {
        return false;
    }
    CRegion Region;
    Region.Base = Base;
    Region.Size = Size;
    Region.Kind = Kind;
    Region.pData = AllocZero<uint8_t>(Size);
    Region.pOps = AllocZero<COp>(Size / 2 + 1);
    Region.pCodePage = AllocZero<uint8_t>(Size / Page);
    if (!Region.pData || !Region.pOps || !Region.pCodePage) {
        return false;
    }
    Region.pOps[Size / 2].Code = Region.pOps[Size / 2].CodeInIT = Thumb::OP_REGION_END;
    if (Kind == ERegion::Flash) {
        std::memset(Region.pData.get(), 0xFF, Size);
    }
    m_Regions.push_back(std::move(Region));
    return true;
}

CRegion* CMemory::Find(uint32_t Addr) {
    for (CRegion& Region : m_Regions) {
        if (Region.Contains(Addr)) {
            return &Region;
        }
    }
    return nullptr;
}

bool CMemory::Read(uint32_t Addr, void* pData, uint32_t NumBytes) {
    const CRegion* pRegion = Find(Addr);
    if (!pRegion || NumBytes > pRegion->Size - (Addr - pRegion->Base)) {
        return false;
    }
    std::memcpy(pData, &pRegion->pData[Addr - pRegion->Base], NumBytes);
    return true;
}

bool CMemory::Write(uint32_t Addr, const void* pData, uint32_t NumBytes) {
    CRegion* pRegion = Find(Addr);
    if (!pRegion || NumBytes > pRegion->Size - (Addr - pRegion->Base)) {
        return false;
    }
    std::memcpy(&pRegion->pData[Addr - pRegion->Base], pData, NumBytes);
    Invalidate(*pRegion, Addr, NumBytes);
    return true;
}

void CMemory::Invalidate(CRegion& Region, uint32_t Addr, uint32_t NumBytes) {
    if (NumBytes == 0) {
        return;
    }
    // A 32-bit instruction one halfword in front of the range has bytes in it.
    const uint32_t First = Addr - Region.Base >= 2 ? (Addr - Region.Base - 2) & ~1u : 0;
    const uint32_t Last = Addr - Region.Base + NumBytes - 1;
    for (uint32_t Page = First >> CRegion::CODE_PAGE_SHIFT; Page <= Last >> CRegion::CODE_PAGE_SHIFT; Page++) {
        if (!(Region.pCodePage[Page] & PAGE_CODE)) {
            continue;
        }
        const uint32_t From = std::max(First, Page << CRegion::CODE_PAGE_SHIFT);
        const uint32_t To = std::min(Last, ((Page + 1) << CRegion::CODE_PAGE_SHIFT) - 1);
        for (uint32_t Index = From / 2; Index <= To / 2; Index++) {
            Region.pOps[Index].Code = Region.pOps[Index].CodeInIT = Thumb::OP_NOT_DECODED;
        }
    }
}

void CMemory::ClearWatchedPages() {
    for (CRegion& Region : m_Regions) {
        for (uint32_t Page = 0; Page < Region.Size >> CRegion::CODE_PAGE_SHIFT; Page++) {
            if (Region.pCodePage[Page] & PAGE_WATCHED) { // untouched pages of the array stay so
                Region.pCodePage[Page] &= static_cast<uint8_t>(~PAGE_WATCHED);
            }
        }
    }
}

void CMemory::MarkWatched(uint32_t First, uint32_t Last) {
    for (CRegion& Region : m_Regions) {
        const uint32_t From = std::max(First, Region.Base), To = std::min(Last, Region.Base + (Region.Size - 1));
        for (uint32_t Page = From >> CRegion::CODE_PAGE_SHIFT; From <= To && Page <= To >> CRegion::CODE_PAGE_SHIFT;
             Page++) {
            Region.pCodePage[Page - (Region.Base >> CRegion::CODE_PAGE_SHIFT)] |= PAGE_WATCHED;
        }
    }
}

void CMemory::ClearCounters() {
    constexpr uint32_t OpsPerPage = (1u << CRegion::CODE_PAGE_SHIFT) / 2;
    for (CRegion& Region : m_Regions) {
        for (uint32_t Index = 0; Index < Region.Size / 2; Index++) {
            if (!(Region.pCodePage[Index / OpsPerPage] & PAGE_CODE)) {
                Index += OpsPerPage - 1; // nothing of this page was ever executed
                continue;
            }
            Region.pOps[Index].Count = Region.pOps[Index].Skip = 0;
        }
    }
}

} // namespace Sim
