#include "elf/ElfIndex.h"

#include "elf/ElfInternal.h"
#include "elf/ElfReloc.h"

#include <algorithm>
#include <unordered_set>

namespace {

constexpr size_t MAX_OVERLAP = 256;             ///< functions over one address, inline ones not counted; more is damage
constexpr U32 MAX_FUNC_SIZE = 1'000'000;        ///< no function is as large: such a range is damage
constexpr size_t MAX_INLINES = 1'000'000;       ///< ranges of expansions that are kept
constexpr size_t MAX_INLINES_OF_FUNC = 100'000; ///< ranges that are looked at in one function; more is damage

} // namespace

ELF_SYM_HANDLE CFuncIndex::HandleOf(const ENTRY& Entry) {
    return Entry.IsElf != 0 ? ELF_MakeElfHandle(Entry.ID) : ELF_MakeDwarfHandle(Entry.ID);
}

void CFuncIndex::Add(std::vector<ENTRY>* pTo, U32 Lo, U32 Hi, U32 Die) const {
    if (Hi > Lo && Hi - Lo < MAX_FUNC_SIZE && (Lo != 0 || m_HasZero)) {
        pTo->push_back({ELF_Relocate(Lo & ~1u), ELF_Relocate(Hi & ~1u, true), Die, 0});
    }
}

void CFuncIndex::AddDwarf(const DWARF_STORE& S) {
    m_Entries.reserve(S.Code.size());
    // A range takes 2 bytes at least and belongs to one function: more than fit aren't a compiler's work.
    U64 RangesLeft = (S.aSection[DSEC_RANGES].Size + U64{S.aSection[DSEC_RNGLISTS].Size}) / 2;
    for (const DWARF_CODE& Code : S.Code) {
        if (Code.Hi != 0) {
            Add(&m_Entries, Code.Lo, Code.Hi, Code.Die);
            continue;
        }
        const std::vector<ELF_RANGE> Ranges = RangesLeft != 0 ? GetDieRanges(S, Code.Die) : std::vector<ELF_RANGE>();
        RangesLeft -= std::min<U64>(RangesLeft, Ranges.size());
        for (const ELF_RANGE& Range : Ranges) {
            Add(&m_Entries, Range.Lo, Range.Hi, Code.Die);
        }
    }
    std::stable_sort(m_Entries.begin(), m_Entries.end());
}

/// The entries are sorted by now.
void CFuncIndex::AddElf(const ELF_FILE* pFile) {
    const size_t NumDwarf = m_Entries.size();
    const auto IsInline = [pFile](U32 Die) {
        return std::binary_search(pFile->pDwarf->InlineFuncs.begin(), pFile->pDwarf->InlineFuncs.end(), Die);
    };
    m_ElfFuncs.reserve(pFile->NumFuncSyms);
    for (U32 i = 0; i < pFile->NumFuncSyms; ++i) {
        const U32 Idx = pFile->papFuncSym[i];
        const Elf32_Sym& Sym = pFile->paSym[Idx];
        const U32 Lo = ELF_Relocate(Sym.st_value & ~1u);
        if (Sym.st_shndx == 0) {
            continue; // of another file
        }
        m_ElfFuncs.push_back(ELF_MakeElfHandle(Idx));
        const auto End = m_Entries.begin() + static_cast<I64>(NumDwarf);
        auto It =
            std::lower_bound(m_Entries.begin(), End, Lo, [](const ENTRY& Entry, U32 Key) { return Entry.Lo < Key; });
        while (It != End && It->Lo == Lo && IsInline(It->ID)) {
            ++It;
        }
        if (Sym.st_size != 0 && (It == End || It->Lo != Lo)) {
            m_Entries.push_back({Lo, Lo + Sym.st_size, Idx, 1});
        }
    }
    std::stable_sort(m_Entries.begin() + static_cast<I64>(NumDwarf), m_Entries.end());
    std::inplace_merge(m_Entries.begin(), m_Entries.begin() + static_cast<I64>(NumDwarf), m_Entries.end());
}

void CFuncIndex::Build(const ELF_FILE* pFile) {
    Clear();
    if (pFile == nullptr) {
        return;
    }
    m_HasZero = pFile->HasCodeAtZero;
    if (pFile->pDwarf != nullptr) {
        AddDwarf(*pFile->pDwarf);
    }
    AddElf(pFile);
    m_Entries.shrink_to_fit();
    m_MaxHi.resize(m_Entries.size());
    U32 MaxHi = 0;
    for (size_t i = 0; i < m_Entries.size(); ++i) {
        MaxHi = std::max(MaxHi, m_Entries[i].Hi);
        m_MaxHi[i] = MaxHi;
    }
}

/// Ranges of the expansions below the function, by address.
const std::vector<CFuncIndex::ENTRY>& CFuncIndex::InlinesOf(U32 Func) {
    if (m_NumInlines > MAX_INLINES) {
        m_Inlines.clear();
        m_NumInlines = 0;
    }
    const auto [It, IsNew] = m_Inlines.try_emplace(Func);
    const DWARF_STORE* pStore = ELF_GetStore();
    if (IsNew && pStore != nullptr) {
        const std::vector<U32>& All = pStore->InlineFuncs;
        const U32 End = DWARF_EndOfDie(*pStore, Func);
        size_t NumSeen = 0;
        for (auto Die = std::lower_bound(All.begin(), All.end(), Func);
             Die != All.end() && *Die < End && NumSeen < MAX_INLINES_OF_FUNC; ++Die) {
            for (const ELF_RANGE& Range : GetDieRanges(*pStore, *Die)) {
                Add(&It->second, Range.Lo, Range.Hi, *Die);
                ++NumSeen;
            }
        }
        std::stable_sort(It->second.begin(), It->second.end());
        m_NumInlines += It->second.size();
    }
    return It->second;
}

std::vector<ELF_SYM_HANDLE> CFuncIndex::Find(U32 First, U32 Last) {
    std::vector<ENTRY> Found;
    const auto It = std::upper_bound(m_Entries.begin(), m_Entries.end(), Last,
                                     [](U32 Key, const ENTRY& Entry) { return Key < Entry.Lo; });
    const size_t MaxFound = First == Last ? MAX_OVERLAP : m_Entries.size();
    for (size_t i = static_cast<size_t>(It - m_Entries.begin());
         i-- > 0 && m_MaxHi[i] > First && Found.size() < MaxFound;) {
        if (m_Entries[i].Hi > First) {
            Found.push_back(m_Entries[i]);
        }
    }
    std::reverse(Found.begin(), Found.end());
    for (size_t i = 0, Num = Found.size(); i < Num; ++i) {
        // Several units may describe one function that the linker kept of their copies: its expansions count once.
        const bool IsCopy =
            i > 0 && Found[i - 1].IsElf == 0 && Found[i].Lo == Found[i - 1].Lo && Found[i].Hi == Found[i - 1].Hi;
        if (Found[i].IsElf != 0 || IsCopy) {
            continue;
        }
        for (const ENTRY& Inline : InlinesOf(Found[i].ID)) {
            if (Inline.Lo > Last) {
                break;
            }
            if (Inline.Hi > First) {
                Found.push_back(Inline);
            }
        }
    }
    std::stable_sort(Found.begin(), Found.end());
    std::vector<ELF_SYM_HANDLE> Handles;
    std::unordered_set<ELF_SYM_HANDLE> Known; // a function may be in several pieces
    for (const ENTRY& Entry : Found) {
        if (const ELF_SYM_HANDLE h = HandleOf(Entry); Known.insert(h).second) {
            Handles.push_back(h);
        }
    }
    return Handles;
}
