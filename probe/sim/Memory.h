#pragma once
// The simulated target's memories: regions of bytes, each with a cache of decoded instructions that also holds the
// execution counters. Used by the CPU thread, or by another one while the CPU stands still.

#include "probe/thumb/Thumb.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

namespace Sim {

// One halfword of a memory region: its decoded instruction and how often it was fetched, and fetched but not
// executed because its condition failed.
struct COp : Thumb::CInst {
    uint64_t Count;
    uint64_t Skip;
};
static_assert(sizeof(COp) == 32, "two entries share a cache line");

struct CFree {
    void operator()(void* p) const { std::free(p); }
};
// Zeroed memory that takes no space until it is touched.
template <typename T> using CZeroArray = std::unique_ptr<T[], CFree>;

enum EPage : uint8_t {
    PAGE_CODE = 1,    // an instruction of it was ever decoded
    PAGE_WATCHED = 2, // a data comparator covers some of it
};

enum class ERegion : uint8_t { Flash, Ram };

struct CRegion {
    static constexpr uint32_t CODE_PAGE_SHIFT = 8;

    uint32_t Base = 0;
    uint32_t Size = 0; // multiple of 256
    ERegion Kind = ERegion::Ram;
    CZeroArray<uint8_t> pData;
    CZeroArray<COp> pOps;          // one a halfword, and one of code OP_REGION_END behind the last
    CZeroArray<uint8_t> pCodePage; // one a 256 bytes: set of EPage; a store to one that is not 0 takes the slow path

    bool Contains(uint32_t Addr) const { return Addr - Base < Size; }
    COp* OpAt(uint32_t Addr) const { return &pOps[(Addr - Base) / 2]; }
};

class CMemory {
public:
    // Adds a region; false if it is empty, unaligned, overlaps another one or can't be allocated.
    bool AddRegion(ERegion Kind, uint32_t Base, uint32_t Size);
    const std::vector<CRegion>& GetRegions() const { return m_Regions; }
    CRegion* Find(uint32_t Addr);

    // Copies bytes; false, with nothing copied, unless the whole range lies in one region.
    bool Read(uint32_t Addr, void* pData, uint32_t NumBytes);
    bool Write(uint32_t Addr, const void* pData, uint32_t NumBytes);
    // Forgets the decoded instructions that have a byte in the range.
    void Invalidate(CRegion& Region, uint32_t Addr, uint32_t NumBytes);
    // Marks the pages of a range of addresses as watched; with Clear before that no page is.
    void ClearWatchedPages();
    void MarkWatched(uint32_t First, uint32_t Last);
    // Sets all execution counters to 0.
    void ClearCounters();

private:
    std::vector<CRegion> m_Regions;
};

} // namespace Sim
