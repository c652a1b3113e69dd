#include "device/MemoryCache.h"

#include <algorithm>
#include <cstring>

namespace {

// Eight status bytes at once. A status has two bits: the upper one is set in what is pending or unknown, both in what
// is unknown.
constexpr U64 LOW_BITS = 0x0101010101010101;
constexpr U32 WORD_SIZE = sizeof(U64);

U64 LoadWord(const U8* pStatus) {
    U64 Word = 0;
    std::memcpy(&Word, pStatus, WORD_SIZE);
    return Word;
}

struct IS_OPEN {
    static U64 Bits(U64 Word) { return (Word >> 1) & LOW_BITS; }
};
struct IS_UNKNOWN {
    static U64 Bits(U64 Word) { return Word & (Word >> 1) & LOW_BITS; }
};
struct IS_KNOWN {
    static U64 Bits(U64 Word) { return ~IS_UNKNOWN::Bits(Word) & LOW_BITS; }
};

// Index of the first byte that TEST has a bit for, NumBytes if there is none.
template <class TEST> U32 FindFirst(const U8* pStatus, U32 NumBytes) {
    U32 Pos = 0;
    while (Pos + WORD_SIZE <= NumBytes && TEST::Bits(LoadWord(pStatus + Pos)) == 0) {
        Pos += WORD_SIZE;
    }
    while (Pos < NumBytes && TEST::Bits(pStatus[Pos]) % 2 == 0) {
        Pos++;
    }
    return Pos;
}

DATA_STATUS WorstOf(const U8* pStatus, U32 NumBytes) {
    U64 Error = 0;
    U64 Open = 0;
    U64 Unknown = 0;
    U32 Pos = 0;
    const auto Add = [&](U64 Word) {
        Error |= Word & LOW_BITS;
        Open |= IS_OPEN::Bits(Word);
        Unknown |= IS_UNKNOWN::Bits(Word);
    };
    for (; Pos + WORD_SIZE <= NumBytes; Pos += WORD_SIZE) {
        Add(LoadWord(pStatus + Pos));
    }
    for (; Pos < NumBytes; Pos++) {
        Add(pStatus[Pos]);
    }
    return Unknown ? DATA_UNKNOWN : Open ? DATA_PENDING : Error ? DATA_ERROR : DATA_VALID;
}

} // namespace

CMemoryCache::CMemoryCache() : m_apPage(NUM_PAGES) {}

void CMemoryCache::Clear() { m_Epoch++; }

void CMemoryCache::DropOldestPage() {
    std::unique_ptr<PAGE>* ppOldest = nullptr;
    for (std::unique_ptr<PAGE>& pPage : m_apPage) {
        if (pPage && (!ppOldest || pPage->LastUsed < (*ppOldest)->LastUsed)) {
            ppOldest = &pPage;
        }
    }
    ppOldest->reset();
    m_NumPages--;
}

CMemoryCache::PAGE& CMemoryCache::GetPage(U32 Idx, U32 Block) {
    std::unique_ptr<PAGE>& pPage = m_apPage[Idx];
    if (!pPage) {
        if (m_NumPages == MAX_PAGES) {
            DropOldestPage();
        }
        pPage = std::unique_ptr<PAGE>(new PAGE); // its bytes are set block by block
        m_NumPages++;
    }
    if (pPage->aEpoch[Block] != m_Epoch) {
        pPage->aEpoch[Block] = m_Epoch;
        std::memset(&pPage->aData[size_t(Block) * BLOCK_SIZE], 0, BLOCK_SIZE);
        std::memset(&pPage->aStatus[size_t(Block) * BLOCK_SIZE], DATA_UNKNOWN, BLOCK_SIZE);
    }
    pPage->LastUsed = ++m_NumUses;
    return *pPage;
}

// Func gets a page, the offset of a part of one block in it, the number of bytes there and their position in the range;
// false ends the walk.
template <class FUNC> void CMemoryCache::ForEachBlock(U64 Addr, U64 End, FUNC&& Func) {
    End = std::min(End, MEM_SPACE_SIZE);
    for (U64 Pos = Addr; Pos < End;) {
        const U32 Off = U32(Pos % MEM_PAGE_SIZE);
        const U32 NumBytes = U32(std::min<U64>(End - Pos, BLOCK_SIZE - Off % BLOCK_SIZE));
        if (!Func(GetPage(U32(Pos / MEM_PAGE_SIZE), Off / BLOCK_SIZE), Off, NumBytes, U32(Pos - Addr))) {
            break;
        }
        Pos += NumBytes;
    }
}

DATA_STATUS CMemoryCache::GetStatus(U64 Addr, U64 End) {
    DATA_STATUS Worst = DATA_VALID;
    ForEachBlock(Addr, End, [&](PAGE& Page, U32 Off, U32 NumBytes, U32) {
        Worst = std::max(Worst, WorstOf(&Page.aStatus[Off], NumBytes));
        return Worst != DATA_UNKNOWN;
    });
    return Worst;
}

U64 CMemoryCache::FindUnknown(U64 Addr, U64 End, bool IsIt) {
    U64 Found = End;
    ForEachBlock(Addr, End, [&](PAGE& Page, U32 Off, U32 NumBytes, U32 Pos) {
        const U8* const pStatus = &Page.aStatus[Off];
        const U32 First = IsIt ? FindFirst<IS_UNKNOWN>(pStatus, NumBytes) : FindFirst<IS_KNOWN>(pStatus, NumBytes);
        Found = First < NumBytes ? Addr + Pos + First : End;
        return First == NumBytes;
    });
    return Found;
}

U64 CMemoryCache::FindOpen(U64 Addr, U64 End) {
    U64 Found = End;
    ForEachBlock(Addr, End, [&](PAGE& Page, U32 Off, U32 NumBytes, U32 Pos) {
        const U32 First = FindFirst<IS_OPEN>(&Page.aStatus[Off], NumBytes);
        Found = First < NumBytes ? Addr + Pos + First : End;
        return First == NumBytes;
    });
    return Found;
}

// Func turns eight status bytes into others, each on its own.
template <class FUNC> void CMemoryCache::ChangeWords(U64 Addr, U64 End, FUNC&& Func) {
    ForEachBlock(Addr, End, [&](PAGE& Page, U32 Off, U32 NumBytes, U32) {
        U8* const pStatus = &Page.aStatus[Off];
        U32 Pos = 0;
        for (; Pos + WORD_SIZE <= NumBytes; Pos += WORD_SIZE) {
            const U64 Word = Func(LoadWord(pStatus + Pos));
            std::memcpy(pStatus + Pos, &Word, WORD_SIZE);
        }
        for (; Pos < NumBytes; Pos++) {
            pStatus[Pos] = U8(Func(pStatus[Pos]));
        }
        return true;
    });
}

void CMemoryCache::Change(U64 Addr, U64 End, DATA_STATUS From, DATA_STATUS To) {
    ChangeWords(Addr, End, [From, To](U64 Word) {
        const U64 Different = Word ^ (From * LOW_BITS);
        const U64 IsFrom = ~(Different | (Different >> 1)) & LOW_BITS;
        return Word ^ (IsFrom * U64(From ^ To));
    });
}

void CMemoryCache::ForgetKnown(U64 Addr, U64 End) {
    ChangeWords(Addr, End, [](U64 Word) {
        const U64 IsPending = IS_OPEN::Bits(Word) & ~Word;
        return DATA_UNKNOWN * LOW_BITS - IsPending;
    });
}

void CMemoryCache::Store(U64 Addr, U32 NumBytes, const U8* paData, const U8* paStatus) {
    ForEachBlock(Addr, Addr + NumBytes, [&](PAGE& Page, U32 Off, U32 Count, U32 Pos) {
        std::memcpy(&Page.aData[Off], paData + Pos, Count);
        if (!paStatus) {
            std::memset(&Page.aStatus[Off], DATA_VALID, Count);
            return true;
        }
        std::memcpy(&Page.aStatus[Off], paStatus + Pos, Count);
        const bool IsAllValid = WorstOf(paStatus + Pos, Count) == DATA_VALID;
        for (U32 i = 0; !IsAllValid && i < Count; i++) {
            if (Page.aStatus[Off + i] != DATA_VALID) {
                Page.aData[Off + i] = 0;
            }
        }
        return true;
    });
}

void CMemoryCache::Load(U64 Addr, U32 NumBytes, U8* paData, U8* paStatus) {
    std::memset(paData, 0, NumBytes);
    ForEachBlock(Addr, Addr + NumBytes, [&](PAGE& Page, U32 Off, U32 Count, U32 Pos) {
        std::memcpy(paData + Pos, &Page.aData[Off], Count);
        if (paStatus) {
            std::memcpy(paStatus + Pos, &Page.aStatus[Off], Count);
        }
        return true;
    });
}
