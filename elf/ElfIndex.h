#pragma once

// Indices over the symbols of the current file: by name, and functions by address.

#include "elf/ElfSym.h"

#include <functional>

/// Name to symbols; several symbols may share a name. Holds hashes only: the caller compares the names.
class CNameIndex {
public:
    /// Replaces the content by IDs with the hash that Hash(ID) gives; 0 leaves one out. Runs Hash on several threads.
    void Build(const std::vector<U32>& IDs, const std::function<U32(U32)>& Hash);
    void Clear();
    bool IsBuilt() const { return m_IsBuilt; }
    /// IDs of a hash in the order of the list.
    template <typename VISIT>
    void ForEach(U32 Hash, VISIT Visit) const {
        for (U32 i = HeadOf(Hash); i != 0; i = m_Entries[i - 1].Next) {
            Visit(m_Entries[i - 1].ID);
        }
    }
    static U32 HashOf(std::string_view sName); ///< never 0

private:
    struct SLOT {
        U32 Hash;
        U32 Head; ///< number of the first entry; 0 for an empty slot
    };
    struct ENTRY {
        U32 ID;
        U32 Next;
    };
    U32 HeadOf(U32 Hash) const;
    std::vector<SLOT> m_Slots;
    std::vector<ENTRY> m_Entries;
    bool m_IsBuilt = false;
};

/// Functions and inline expansions by address, one entry for each of their ranges.
class CFuncIndex {
public:
    /// Reads the ranges of all functions of the file. Functions of the ELF symbol table count where no other starts.
    void Build(const ELF_FILE* pFile);
    void Clear();
    /// Functions that overlap the addresses [First, Last] of the target, outermost first.
    std::vector<ELF_SYM_HANDLE> Find(U32 First, U32 Last) const;
    /// Inline expansions of an abstract instance, in order of discovery.
    std::vector<U32> ExpansionsOf(U32 Origin) const;
    /// Abstract instances that have expansions, each once.
    std::vector<U32> Origins() const;
    size_t NumExpansions() const { return m_Expansions.size(); }
    /// Functions of the debug information, then those of the ELF symbol table.
    const std::vector<ELF_SYM_HANDLE>& ElfFuncs() const { return m_ElfFuncs; }

private:
    struct ENTRY {
        U32 Lo;
        U32 Hi;    ///< exclusive
        U32 ID;
        U8 IsElf;
        U8 IsInline;
    };
    void AddDwarf(const DWARF_STORE& S, bool HasZero);
    void AddElf(const ELF_FILE* pFile);
    void Sort();
    std::vector<ENTRY> m_Entries;       ///< by Lo, wider ones first
    std::vector<U32> m_MaxHi;           ///< highest Hi of the entries up to this one
    std::vector<DWARF_PAIR> m_Expansions; ///< abstract instance and expansion, sorted
    std::vector<ELF_SYM_HANDLE> m_ElfFuncs;
};
