#pragma once

// Symbols by the hashes of their names.

#include "elf/NameHash.h"

#include <cstddef>
#include <vector>

/// Name of a DIE, or of an ELF symbol by its index, as its hash, see ELF_HashName().
struct DWARF_NAME {
    U32 Hash;
    U32 Die;
};

/// Name to symbols; several symbols may share a name. Holds hashes only: the caller compares the names.
class CNameIndex {
public:
    /// Replaces the content by all lists, one after the other. A hash of 0 leaves an entry out.
    void Build(const std::vector<std::vector<DWARF_NAME>>& Lists);
    void Clear();
    bool IsBuilt() const { return !m_First.empty(); }
    /// IDs of a hash in the order of the list.
    template <typename VISIT> void ForEach(U32 Hash, VISIT Visit) const {
        if (!IsBuilt()) {
            return;
        }
        const size_t Bucket = Hash >> m_Shift;
        for (U32 i = m_First[Bucket]; i < m_First[Bucket + 1]; ++i) {
            if (m_Entries[i].Hash == Hash) {
                Visit(m_Entries[i].Die);
            }
        }
    }

private:
    // Entries in buckets by the upper bits of the hash; bucket b runs from m_First[b] to m_First[b + 1].
    std::vector<U32> m_First;
    std::vector<DWARF_NAME> m_Entries;
    U32 m_Shift = 0;
};
