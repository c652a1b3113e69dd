#include "elf/NameIndex.h"

#include <algorithm>
#include <bit>

void CNameIndex::Build(const std::vector<std::vector<DWARF_NAME>>& Lists) {
    size_t Num = 0;
    for (const std::vector<DWARF_NAME>& List : Lists) {
        Num += List.size();
    }
    // A bucket for two to four names: they share a cache line, and the buckets of half a million fit a core's cache.
    const U32 NumBits = std::clamp<U32>(static_cast<U32>(std::bit_width(Num / 4)), 1, 24);
    m_Shift = 32 - NumBits;
    m_First.assign((size_t(1) << NumBits) + 2, 0);
    for (const std::vector<DWARF_NAME>& List : Lists) {
        for (const DWARF_NAME& Name : List) {
            m_First[(Name.Hash >> m_Shift) + 2] += Name.Hash != 0;
        }
    }
    for (size_t i = 1; i < m_First.size(); ++i) {
        m_First[i] += m_First[i - 1];
    }
    m_Entries.resize(m_First.back());
    for (const std::vector<DWARF_NAME>& List : Lists) {
        for (const DWARF_NAME& Name : List) {
            if (Name.Hash != 0) {
                m_Entries[m_First[(Name.Hash >> m_Shift) + 1]++] = Name; // ends as the start of the next bucket
            }
        }
    }
    m_First.pop_back();
}

void CNameIndex::Clear() {
    std::vector<U32>().swap(m_First);
    std::vector<DWARF_NAME>().swap(m_Entries);
}
