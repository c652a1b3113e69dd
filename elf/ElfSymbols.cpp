#include "elf/Elf.h"
#include "elf/ElfInternal.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr U32 MAX_FILLED_SIZE = 10'000'000; ///< a larger gap to the next symbol says nothing about a size
constexpr U32 NOTHING = 0xFFFFFFFF;

U32 SectionEnd(const ELF_FILE* pFile, const Elf32_Sym& Sym) {
    return ELF_GetSectionAddr(pFile, Sym.st_shndx) + ELF_GetSectionSize(pFile, Sym.st_shndx);
}

int CopySymbols(ELF_FILE* pFile) {
    U64 NumBytes = 0;
    for (U32 i = 0; i < ELF_GetNumSections(pFile); ++i) {
        const Elf32_Shdr& Section = pFile->paShdr[i];
        if ((Section.sh_type != SHT_SYMTAB && Section.sh_type != SHT_DYNSYM) || Section.sh_entsize == 0) {
            continue;
        }
        const U8* pData = ELF_GetSectionData(pFile, i);
        NumBytes += Section.sh_size;
        // Sections that share their bytes would let a small file fill the memory.
        if (pData == nullptr || Section.sh_entsize < sizeof(Elf32_Sym) || NumBytes > pFile->FileSize) {
            return -1;
        }
        const U32 First = static_cast<U32>(pFile->paSym.size());
        if (Section.sh_type == SHT_DYNSYM && pFile->DynSyms.End == 0) {
            pFile->DynSyms = {First, First + Section.sh_size / Section.sh_entsize, Section.sh_link};
        }
        const U32 Num = Section.sh_size / Section.sh_entsize;
        if (Num > pFile->paSym.size()) { // many small tables grow together as a vector does
            pFile->paSym.reserve(pFile->paSym.size() + Num);
        }
        for (U32 n = 0; n < Num; ++n) {
            Elf32_Sym Sym;
            std::memcpy(&Sym, pData + static_cast<size_t>(n) * Section.sh_entsize, sizeof(Sym));
            if (ELF_IsFileDataSwapped(pFile) != 0) {
                Sym.st_name = ELF_Swap32(Sym.st_name);
                Sym.st_value = ELF_Swap32(Sym.st_value);
                Sym.st_size = ELF_Swap32(Sym.st_size);
                Sym.st_shndx = ELF_Swap16(Sym.st_shndx);
            }
            pFile->paSym.push_back(Sym);
        }
    }
    pFile->NumSyms = static_cast<U32>(pFile->paSym.size());
    return 0;
}

void SortByAddr(ELF_FILE* pFile) {
    pFile->papSymByAddr.resize(pFile->NumSyms);
    for (U32 i = 0; i < pFile->NumSyms; ++i) {
        pFile->papSymByAddr[i] = i;
    }
    std::stable_sort(pFile->papSymByAddr.begin(), pFile->papSymByAddr.end(),
                     [&](U32 a, U32 b) { return pFile->paSym[a].st_value < pFile->paSym[b].st_value; });
}

void FillDataSizes(ELF_FILE* pFile) {
    for (size_t i = 0; i < pFile->papSymByAddr.size(); ++i) {
        Elf32_Sym& Sym = pFile->paSym[pFile->papSymByAddr[i]];
        if (ELF_GetSymType(Sym) != STT_OBJECT || Sym.st_size != 0) {
            continue;
        }
        U32 End = SectionEnd(pFile, Sym);
        if (i + 1 < pFile->papSymByAddr.size()) {
            End = std::min(End, pFile->paSym[pFile->papSymByAddr[i + 1]].st_value);
        }
        const U32 Size = End > Sym.st_value ? End - Sym.st_value : 0;
        Sym.st_size = Size <= MAX_FILLED_SIZE ? Size : 0;
    }
}

/// Walks downwards, so that the next function above is known without a search.
void FillFuncSizes(ELF_FILE* pFile) {
    U32 Above = NOTHING; // lowest function value above the current one
    U32 Current = NOTHING;
    for (size_t i = pFile->papSymByAddr.size(); i-- > 0;) {
        Elf32_Sym& Sym = pFile->paSym[pFile->papSymByAddr[i]];
        if (!ELF_IsFuncType(ELF_GetSymType(Sym))) {
            continue;
        }
        if (Sym.st_value != Current) {
            Above = Current;
            Current = Sym.st_value;
        }
        if (Sym.st_size != 0) {
            continue;
        }
        const U32 Start = Sym.st_value & ~1u;
        U32 End = SectionEnd(pFile, Sym) & ~1u;
        if (End > Start && Above != NOTHING) {
            End = std::min(End, Above) & ~1u;
        }
        const U32 Size = End - Start;
        Sym.st_size = End > Start && Size <= MAX_FILLED_SIZE ? Size : 0;
    }
}

U32 MappingKind(const char* sName) {
    if (sName == nullptr || sName[0] != '$' || sName[1] == '\0' || (sName[2] != '\0' && sName[2] != '.')) {
        return ELF_REGION_NONE;
    }
    switch (sName[1]) {
    case 'a':
        return ELF_REGION_ARM;
    case 't':
        return ELF_REGION_THUMB;
    case 'd':
        return ELF_REGION_DATA;
    default:
        return ELF_REGION_NONE;
    }
}

void CollectMappingSymbols(ELF_FILE* pFile) {
    for (const U32 Idx : pFile->papSymByAddr) {
        const Elf32_Sym& Sym = pFile->paSym[Idx];
        if (ELF_GetSymType(Sym) == STT_NOTYPE && ELF_GetSymBinding(Sym) == STB_LOCAL &&
            (ELF_GetSectionFlags(pFile, Sym.st_shndx) & SHF_EXECINSTR) != 0 &&
            MappingKind(ELF_GetSymNameByIdx(pFile, Idx)) != ELF_REGION_NONE) {
            pFile->papMapSym.push_back(Idx);
        }
    }
    pFile->NumMapSyms = static_cast<U32>(pFile->papMapSym.size());
}

void CollectFunctions(ELF_FILE* pFile) {
    U32 Previous = 0;
    for (const U32 Idx : pFile->papSymByAddr) {
        const Elf32_Sym& Sym = pFile->paSym[Idx];
        const char* sName = ELF_GetSymNameByIdx(pFile, Idx);
        if (!ELF_IsFuncType(ELF_GetSymType(Sym)) || Sym.st_value < 2 || sName == nullptr || *sName == '\0' ||
            *sName == '?' || *sName == '$') {
            continue;
        }
        const Elf32_Sym& Last = pFile->paSym[Previous];
        if (pFile->papFuncSym.empty() || Sym.st_value != Last.st_value) {
            pFile->papFuncSym.push_back(Idx);
            Previous = Idx;
        } else if (Sym.st_size > Last.st_size || (Sym.st_size == Last.st_size && Idx < Previous)) {
            pFile->papFuncSym.back() = Idx;
            Previous = Idx;
        }
    }
    pFile->NumFuncSyms = static_cast<U32>(pFile->papFuncSym.size());
}

/// Position of the last entry with st_value at or below the key; for equal values any of them. -1 if none.
int FloorSearch(const ELF_FILE* pFile, const std::vector<U32>& Indices, U32 Key) {
    const auto It = std::upper_bound(Indices.begin(), Indices.end(), Key,
                                     [&](U32 Value, U32 Idx) { return Value < pFile->paSym[Idx].st_value; });
    return static_cast<int>(It - Indices.begin()) - 1;
}

/// True if a function or a mapping symbol of code is there.
bool FindCodeAtZero(const ELF_FILE* pFile) {
    const Elf32_Sym* pFirst = pFile->papMapSym.empty() ? nullptr : &pFile->paSym[pFile->papMapSym.front()];
    if (pFirst != nullptr && pFirst->st_value == 0 &&
        MappingKind(ELF_GetSymNameByIdx(pFile, pFile->papMapSym.front())) != ELF_REGION_DATA) {
        return true;
    }
    return std::any_of(pFile->paSym.begin(), pFile->paSym.end(), [](const Elf32_Sym& Sym) {
        return ELF_IsFuncType(ELF_GetSymType(Sym)) && Sym.st_value <= 1 && Sym.st_shndx != 0;
    });
}

} // namespace

int ELF_LoadSymbols(ELF_FILE* pFile) {
    if (CopySymbols(pFile) != 0) {
        return -1;
    }
    SortByAddr(pFile);
    FillDataSizes(pFile);
    FillFuncSizes(pFile);
    CollectMappingSymbols(pFile);
    CollectFunctions(pFile);
    pFile->HasCodeAtZero = FindCodeAtZero(pFile);
    return 0;
}

const Elf32_Sym* ELF_GetSym(const ELF_FILE* pFile, U32 Idx) {
    return pFile != nullptr && Idx < pFile->NumSyms ? &pFile->paSym[Idx] : nullptr;
}

const char* ELF_GetSymNameByIdx(const ELF_FILE* pFile, U32 Idx) {
    const Elf32_Sym* pSym = ELF_GetSym(pFile, Idx);
    if (pSym == nullptr || pSym->st_name == 0) {
        return nullptr;
    }
    const bool IsDynamic = Idx >= pFile->DynSyms.First && Idx < pFile->DynSyms.End;
    return ELF_GetSectionString(pFile, IsDynamic ? pFile->DynSyms.StrTabIdx : pFile->StrTabIdx, pSym->st_name);
}

int ELF_FindSymByAddr(const ELF_FILE* pFile, U32 Addr, int Type, int Binding) {
    int Pos = pFile != nullptr ? FloorSearch(pFile, pFile->papSymByAddr, Addr | 1) : -1;
    const auto IsAtAddr = [&](int p) {
        return (pFile->paSym[pFile->papSymByAddr[static_cast<size_t>(p)]].st_value & ~1u) == Addr;
    };
    if (Pos < 0 || !IsAtAddr(Pos)) {
        return -1;
    }
    while (Pos > 0 && IsAtAddr(Pos - 1)) {
        --Pos;
    }
    for (; Pos < static_cast<int>(pFile->NumSyms) && IsAtAddr(Pos); ++Pos) {
        const U32 Idx = pFile->papSymByAddr[static_cast<size_t>(Pos)];
        const Elf32_Sym& Sym = pFile->paSym[Idx];
        if ((Type == -1 || ELF_GetSymType(Sym) == static_cast<U32>(Type)) &&
            (Binding == -1 || ELF_GetSymBinding(Sym) == static_cast<U32>(Binding))) {
            return static_cast<int>(Idx);
        }
    }
    return -1;
}

U32 ELF_FindFuncSym(const ELF_FILE* pFile, U32 Addr, int Strict) {
    const U32 Key = Addr | 1;
    const int First = pFile != nullptr ? FloorSearch(pFile, pFile->papFuncSym, Key) : -1;
    if (First < 0) {
        return NOTHING;
    }
    const U32 Idx = pFile->papFuncSym[static_cast<size_t>(First)];
    const Elf32_Sym& Sym = pFile->paSym[Idx];
    const bool IsInside = Key - Sym.st_value < Sym.st_size || (Key & ~1u) - (Sym.st_value & ~1u) < Sym.st_size;
    return IsInside || Strict == 0 ? Idx : NOTHING;
}

U32 ELF_GetFuncSymCnt(const ELF_FILE* pFile) { return pFile != nullptr ? pFile->NumFuncSyms : 0; }

U32 ELF_GetFuncSymIdx(const ELF_FILE* pFile, U32 i) {
    return pFile != nullptr && i < pFile->NumFuncSyms ? pFile->papFuncSym[i] : NOTHING;
}

ELF_MEM_REGION ELF_GetMemRegion(U32 Addr) {
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    const int Pos = pFile != nullptr ? FloorSearch(pFile, pFile->papMapSym, Addr | 1) : -1;
    if (Pos < 0) {
        return {};
    }
    const U32 Idx = pFile->papMapSym[static_cast<size_t>(Pos)];
    const bool IsLast = Pos + 1 >= static_cast<int>(pFile->NumMapSyms);
    const U32 End = IsLast ? 0xFFFFFFFF : pFile->paSym[pFile->papMapSym[static_cast<size_t>(Pos) + 1]].st_value;
    const ELF_MEM_REGION Region = {pFile->paSym[Idx].st_value, End, MappingKind(ELF_GetSymNameByIdx(pFile, Idx))};
    if ((Addr | 1) < Region.AddrLo || (Addr | 1) >= Region.AddrHi) {
        return {};
    }
    return Region;
}
