#pragma once

// Functions of the current file by address.

#include "elf/ElfSym.h"

#include <unordered_map>

/// Functions by address. Inline expansions are read when the function around them is first asked for.
class CFuncIndex {
public:
    /// Functions of the ELF symbol table count where none of the debug information starts, expansions left aside.
    void Build(const ELF_FILE* pFile);
    void Clear() { *this = CFuncIndex(); }
    /// Functions and inline expansions that overlap the addresses [First, Last] of the target, outermost first, each
    /// once.
    std::vector<ELF_SYM_HANDLE> Find(U32 First, U32 Last);
    const std::vector<ELF_SYM_HANDLE>& ElfFuncs() const { return m_ElfFuncs; }

private:
    struct ENTRY {
        U32 Lo;
        U32 Hi; ///< exclusive
        U32 ID;
        U32 IsElf;
        /// Outermost first: a function of the symbol table is around the expansions that it consists of.
        bool operator<(const ENTRY& Other) const {
            return Lo != Other.Lo ? Lo < Other.Lo : Hi != Other.Hi ? Hi > Other.Hi : IsElf > Other.IsElf;
        }
    };
    static ELF_SYM_HANDLE HandleOf(const ENTRY& Entry);
    void Add(std::vector<ENTRY>* pTo, U32 Lo, U32 Hi, U32 Die) const;
    void AddDwarf(const DWARF_STORE& S);
    void AddElf(const ELF_FILE* pFile);
    const std::vector<ENTRY>& InlinesOf(U32 Func);

    std::vector<ENTRY> m_Entries; ///< by Lo, wider ones first
    std::vector<U32> m_MaxHi;     ///< highest Hi of the entries up to this one
    std::vector<ELF_SYM_HANDLE> m_ElfFuncs;
    std::unordered_map<U32, std::vector<ENTRY>> m_Inlines; ///< by DIE of the function
    size_t m_NumInlines = 0;
    bool m_HasZero = false; ///< the program has code at address 0
};
