#include "elf/ElfIndex.h"

#include "elf/ElfReloc.h"

#include <algorithm>
#include <bit>
#include <libdwarf/dwarf.h>
#include <thread>

namespace {

constexpr size_t MIN_PER_THREAD = 10'000; ///< fewer symbols aren't worth a thread
constexpr U32 MAX_FUNC_SIZE = 1'000'000;  ///< no function is as large: such a range is damage

/// Runs Work(first, end) over [0, Num) on up to four threads. Work must not throw.
void _RunParallel(size_t Num, const std::function<void(size_t, size_t)>& Work) {
    const size_t NumThreads =
        std::clamp<size_t>(std::min<size_t>(Num / MIN_PER_THREAD, std::thread::hardware_concurrency()), 1, 4);
    std::vector<std::thread> Threads;
    for (size_t i = 1; i < NumThreads; ++i) {
        Threads.emplace_back(Work, Num * i / NumThreads, Num * (i + 1) / NumThreads);
    }
    Work(0, Num / NumThreads);
    for (std::thread& Thread : Threads) {
        Thread.join();
    }
}

struct FUNC_INFO {
    U32 Lo = 0;
    U32 Hi = 0;
    U32 Origin = 0;
    bool HasRanges = false;
};

/// What the index needs of a function, in one go over its attributes.
FUNC_INFO _ReadFunc(const DWARF_STORE& S, U32 Die) {
    FUNC_INFO Info;
    DWARF_DIE D{nullptr, nullptr, DWARF_READER(nullptr, 0, false)};
    if (!DWARF_OpenDie(S, Die, &D)) {
        return Info;
    }
    bool HasLow = false;
    DWARF_ATTR High;
    for (U32 i = D.pAbbrev->FirstAttr; i < D.pAbbrev->FirstAttr + D.pAbbrev->NumAttrs; ++i) {
        const DWARF_ATTR_SPEC Spec = S.AttrSpecs[i];
        DWARF_ATTR Attr;
        const bool IsWanted = Spec.At == DW_AT_low_pc || Spec.At == DW_AT_high_pc || Spec.At == DW_AT_abstract_origin;
        if (!(IsWanted ? DWARF_ReadValue(S, *D.pUnit, D.R, i, &Attr) : DWARF_SkipForm(D.R, Spec.Form, *D.pUnit))) {
            break;
        }
        if (Spec.At == DW_AT_low_pc && Attr.Class == ATTR_ADDR) {
            Info.Lo = static_cast<U32>(Attr.Value);
            HasLow = true;
        } else if (Spec.At == DW_AT_high_pc) {
            High = Attr;
        } else if (Spec.At == DW_AT_abstract_origin && Attr.Class == ATTR_REF) {
            Info.Origin = static_cast<U32>(Attr.Value);
        }
        Info.HasRanges |= Spec.At == DW_AT_ranges;
    }
    if (HasLow && High.Class != ATTR_NONE) {
        Info.Hi = static_cast<U32>(High.Class == ATTR_ADDR ? High.Value : Info.Lo + High.Value);
    }
    return Info;
}

/// True if the program has a function at address 0. Otherwise debug information that says so belongs to code that the
/// linker dropped.
bool _HasFuncAtZero(const ELF_FILE* pFile) {
    return std::any_of(pFile->paSym.begin(), pFile->paSym.end(), [](const Elf32_Sym& Sym) {
        return ELF_IsFuncType(ELF_GetSymType(Sym)) && Sym.st_value <= 1 && Sym.st_shndx != 0;
    });
}

} // namespace

U32 CNameIndex::HashOf(std::string_view sName) {
    U64 Hash = 0x9E3779B97F4A7C15ull ^ sName.size();
    size_t i = 0;
    for (; i + 8 <= sName.size(); i += 8) {
        U64 Word = 0;
        std::memcpy(&Word, sName.data() + i, 8);
        Hash = (Hash ^ Word) * 0xFF51AFD7ED558CCDull;
        Hash ^= Hash >> 32;
    }
    U64 Word = 0;
    if (i < sName.size()) {
        std::memcpy(&Word, sName.data() + i, sName.size() - i);
    }
    Hash = (Hash ^ Word) * 0xC4CEB9FE1A85EC53ull;
    const U32 Result = static_cast<U32>(Hash ^ (Hash >> 32));
    return Result != 0 ? Result : 1;
}

void CNameIndex::Build(const std::vector<U32>& IDs, const std::function<U32(U32)>& Hash) {
    Clear();
    std::vector<U32> Hashes(IDs.size());
    _RunParallel(IDs.size(), [&](size_t First, size_t End) {
        for (size_t i = First; i < End; ++i) {
            Hashes[i] = Hash(IDs[i]);
        }
    });
    m_Slots.resize(std::bit_ceil(IDs.size() * 3 / 2 + 16));
    m_Entries.resize(IDs.size());
    const size_t Mask = m_Slots.size() - 1;
    for (size_t i = IDs.size(); i-- > 0;) { // backwards, so that chains come out in order
        if (Hashes[i] == 0) {
            continue;
        }
        size_t Pos = Hashes[i] & Mask;
        while (m_Slots[Pos].Head != 0 && m_Slots[Pos].Hash != Hashes[i]) {
            Pos = (Pos + 1) & Mask;
        }
        m_Entries[i] = {IDs[i], m_Slots[Pos].Head};
        m_Slots[Pos] = {Hashes[i], static_cast<U32>(i + 1)};
    }
    m_IsBuilt = true;
}

void CNameIndex::Clear() {
    std::vector<SLOT>().swap(m_Slots);
    std::vector<ENTRY>().swap(m_Entries);
    m_IsBuilt = false;
}

U32 CNameIndex::HeadOf(U32 Hash) const {
    if (m_Slots.empty()) {
        return 0;
    }
    const size_t Mask = m_Slots.size() - 1;
    size_t Pos = Hash & Mask;
    while (m_Slots[Pos].Head != 0 && m_Slots[Pos].Hash != Hash) {
        Pos = (Pos + 1) & Mask;
    }
    return m_Slots[Pos].Head;
}

void CFuncIndex::Clear() {
    std::vector<ENTRY>().swap(m_Entries);
    std::vector<U32>().swap(m_MaxHi);
    std::vector<DWARF_PAIR>().swap(m_Expansions);
    m_ElfFuncs.clear();
}

void CFuncIndex::AddDwarf(const DWARF_STORE& S, bool HasZero) {
    // A range takes 2 bytes at least and belongs to one function: more than fit aren't a compiler's work.
    U64 RangesLeft = (S.aSection[DSEC_RANGES].Size + U64{S.aSection[DSEC_RNGLISTS].Size}) / 2;
    for (const std::vector<U32>* pList : {&S.Funcs, &S.InlineFuncs}) {
        std::vector<FUNC_INFO> Infos(pList->size());
        _RunParallel(pList->size(), [&](size_t First, size_t End) {
            for (size_t i = First; i < End; ++i) {
                Infos[i] = _ReadFunc(S, (*pList)[i]);
            }
        });
        const auto Add = [&](U32 Lo, U32 Hi, U32 Die) {
            if (Hi > Lo && Hi - Lo < MAX_FUNC_SIZE && (Lo != 0 || HasZero)) {
                m_Entries.push_back({ELF_Relocate(Lo & ~1u), ELF_Relocate(Hi & ~1u, true), Die, 0,
                                     static_cast<U8>(pList == &S.InlineFuncs)});
            }
        };
        for (size_t i = 0; i < pList->size(); ++i) {
            const U32 Die = (*pList)[i];
            if (pList == &S.InlineFuncs && Infos[i].Origin != 0) {
                m_Expansions.push_back({Infos[i].Origin, Die});
            }
            if (!Infos[i].HasRanges) {
                Add(Infos[i].Lo, Infos[i].Hi, Die);
                continue;
            }
            const std::vector<DWARF_RANGE> Ranges = RangesLeft != 0 ? _GetDieRanges(S, Die) : std::vector<DWARF_RANGE>();
            RangesLeft -= std::min<U64>(RangesLeft, Ranges.size());
            for (const DWARF_RANGE& Range : Ranges) {
                Add(Range.Lo, Range.Hi, Die);
            }
        }
    }
    std::stable_sort(m_Expansions.begin(), m_Expansions.end(),
                     [](const DWARF_PAIR& a, const DWARF_PAIR& b) { return a.Key < b.Key; });
}

void CFuncIndex::AddElf(const ELF_FILE* pFile) {
    std::vector<U32> Starts; // an expansion at the start of a function doesn't stand for it
    for (const ENTRY& Entry : m_Entries) {
        if (Entry.IsInline == 0) {
            Starts.push_back(Entry.Lo);
        }
    }
    std::sort(Starts.begin(), Starts.end());
    for (U32 i = 0; i < pFile->NumFuncSyms; ++i) {
        const U32 Idx = pFile->papFuncSym[i];
        const Elf32_Sym& Sym = pFile->paSym[Idx];
        const U32 Lo = ELF_Relocate(Sym.st_value & ~1u);
        if (Sym.st_shndx == 0) {
            continue; // of another file
        }
        m_ElfFuncs.push_back(ELF_MakeElfHandle(Idx));
        if (Sym.st_size != 0 && !std::binary_search(Starts.begin(), Starts.end(), Lo)) {
            m_Entries.push_back({Lo, Lo + Sym.st_size, Idx, 1, 0});
        }
    }
}

void CFuncIndex::Sort() {
    std::stable_sort(m_Entries.begin(), m_Entries.end(), [](const ENTRY& a, const ENTRY& b) {
        return a.Lo != b.Lo ? a.Lo < b.Lo : a.Hi > b.Hi;
    });
}

void CFuncIndex::Build(const ELF_FILE* pFile) {
    Clear();
    if (pFile == nullptr) {
        return;
    }
    if (pFile->pDwarf != nullptr) {
        AddDwarf(*pFile->pDwarf, _HasFuncAtZero(pFile));
    }
    AddElf(pFile);
    Sort();
    m_Entries.shrink_to_fit();
    m_MaxHi.resize(m_Entries.size());
    U32 MaxHi = 0;
    for (size_t i = 0; i < m_Entries.size(); ++i) {
        MaxHi = std::max(MaxHi, m_Entries[i].Hi);
        m_MaxHi[i] = MaxHi;
    }
}

std::vector<ELF_SYM_HANDLE> CFuncIndex::Find(U32 First, U32 Last) const {
    std::vector<ELF_SYM_HANDLE> Found;
    const auto It = std::upper_bound(m_Entries.begin(), m_Entries.end(), Last,
                                     [](U32 Key, const ENTRY& Entry) { return Key < Entry.Lo; });
    for (size_t i = static_cast<size_t>(It - m_Entries.begin()); i-- > 0 && m_MaxHi[i] > First;) {
        if (m_Entries[i].Hi > First) {
            const ENTRY& Entry = m_Entries[i];
            Found.push_back(Entry.IsElf != 0 ? ELF_MakeElfHandle(Entry.ID) : ELF_MakeDwarfHandle(Entry.ID));
        }
    }
    std::reverse(Found.begin(), Found.end());
    return Found;
}

std::vector<U32> CFuncIndex::ExpansionsOf(U32 Origin) const {
    std::vector<U32> Found;
    auto It = std::lower_bound(m_Expansions.begin(), m_Expansions.end(), Origin,
                               [](const DWARF_PAIR& Pair, U32 Key) { return Pair.Key < Key; });
    for (; It != m_Expansions.end() && It->Key == Origin; ++It) {
        Found.push_back(It->Value);
    }
    return Found;
}

std::vector<U32> CFuncIndex::Origins() const {
    std::vector<U32> Found;
    for (const DWARF_PAIR& Pair : m_Expansions) {
        if (Found.empty() || Found.back() != Pair.Key) {
            Found.push_back(Pair.Key);
        }
    }
    return Found;
}
