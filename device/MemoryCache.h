#pragma once

// What is known of the target's memory: a byte and its status for each address, in pages of 64 KiB that are made when
// they are first needed. A fresh page is unknown; so is every page after Clear(): its blocks are emptied when they are
// first looked at again. Main thread only.

#include "base/Types.h"

#include <array>
#include <memory>
#include <vector>

/// Of a byte, a register, a range. Of a range it is the greatest of its bytes.
enum DATA_STATUS : U8 {
    DATA_VALID,
    DATA_ERROR,   ///< the read failed
    DATA_PENDING, ///< a job is under way
    DATA_UNKNOWN,
};

constexpr U32 MEM_PAGE_SIZE = 0x10000;
constexpr U64 MEM_SPACE_SIZE = U64(1) << 32;

class CMemoryCache {
public:
    static constexpr U32 NUM_PAGES = U32(MEM_SPACE_SIZE / MEM_PAGE_SIZE);
    /// Pages that stay in memory, 128 KiB each: beyond that the one looked at longest ago is forgotten.
    static constexpr U32 MAX_PAGES = 2048;

    CMemoryCache();

    /// Everything is unknown from now on.
    void Clear();

    /// Worst status of Addr to End (exclusive, at most MEM_SPACE_SIZE); DATA_VALID for an empty range.
    DATA_STATUS GetStatus(U64 Addr, U64 End);
    /// First address from Addr on whose status is (IsIt) or isn't DATA_UNKNOWN; End if there is none.
    U64 FindUnknown(U64 Addr, U64 End, bool IsIt = true);
    /// First address from Addr on that is neither valid nor an error; End if there is none.
    U64 FindOpen(U64 Addr, U64 End);
    /// Gives the status To to the bytes of the range that have the status From.
    void Change(U64 Addr, U64 End, DATA_STATUS From, DATA_STATUS To);
    /// All bytes of the range but those that are pending are unknown.
    void ForgetKnown(U64 Addr, U64 End);
    /// Stores bytes with their status, one each; without one they are valid. A byte that isn't valid becomes 0.
    void Store(U64 Addr, U32 NumBytes, const U8* paData, const U8* paStatus);
    /// Bytes that aren't valid read as 0. paStatus may be null.
    void Load(U64 Addr, U32 NumBytes, U8* paData, U8* paStatus);

    U32 GetNumPages() const { return m_NumPages; }

private:
    static constexpr U32 BLOCK_SIZE = 0x1000;
    struct PAGE {
        std::array<U8, MEM_PAGE_SIZE> aData;
        std::array<U8, MEM_PAGE_SIZE> aStatus;
        std::array<U64, MEM_PAGE_SIZE / BLOCK_SIZE> aEpoch{}; ///< m_Epoch when the block was last emptied
        U64 LastUsed = 0;                                     ///< of m_NumUses
    };
    template <class FUNC> void ChangeWords(U64 Addr, U64 End, FUNC&& Func);
    template <class FUNC> void ForEachBlock(U64 Addr, U64 End, FUNC&& Func);
    PAGE& GetPage(U32 Idx, U32 Block);
    void DropOldestPage();

    std::vector<std::unique_ptr<PAGE>> m_apPage; ///< by the upper 16 bits of the address
    U32 m_NumPages = 0;
    U64 m_Epoch = 1;
    U64 m_NumUses = 0;
};
