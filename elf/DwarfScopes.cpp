#include "elf/DwarfDieStream.h"

#include <algorithm>

// The nesting of a unit's DIEs, read when the first question about it comes: most units are never asked, and writing
// down the nesting of all takes a third of the size of .debug_info in memory. A megabyte of DIEs takes a millisecond.

namespace {

constexpr U32 NO_SCOPE = 0xFFFFFFFF;

/// The same steps as the pass over all units, up to the same place where a unit is damaged.
std::vector<DWARF_SCOPE> ReadScopes(const DWARF_STORE& S, const DWARF_UNIT& Unit) {
    const CDieStream Stream(S, Unit);
    std::vector<DWARF_SCOPE> Scopes;
    DWARF_LOOK NoLook;
    U32 Open = NO_SCOPE; // the innermost scope that hasn't ended
    const U8* p = Stream.Begin();
    bool IsOk = true;
    do {
        const U32 Off = Stream.OffsetOf(p);
        const U64 Code = Stream.ReadUleb(p);
        if (Code == 0) {
            IsOk = p <= Stream.End();
            if (Open != NO_SCOPE) {
                Scopes[Open].End = Stream.OffsetOf(p);
                Open = Scopes[Open].Parent;
            }
            continue;
        }
        const DWARF_ABBREV* pAbbrev = p <= Stream.End() ? Stream.FindAbbrev(Code) : nullptr;
        if (pAbbrev == nullptr) {
            break;
        }
        IsOk = Stream.RunProgram(pAbbrev->FirstSkip, pAbbrev->NumSkips, p, NoLook);
        if (IsOk && pAbbrev->HasChildren != 0) {
            IsOk = Scopes.size() <= Stream.MaxScopes();
            if (IsOk) {
                Scopes.push_back({Off, Unit.End, Open});
                Open = static_cast<U32>(Scopes.size()) - 1;
            }
        }
    } while (IsOk && Open != NO_SCOPE && p < Stream.End());
    Scopes.shrink_to_fit();
    return Scopes;
}

} // namespace

const std::vector<DWARF_SCOPE>& DWARF_ScopesOf(const DWARF_STORE& S, U32 Die) {
    static const std::vector<DWARF_SCOPE> Nothing;
    const DWARF_UNIT* pUnit = DWARF_UnitOf(S, Die);
    if (pUnit == nullptr) {
        return Nothing;
    }
    DWARF_SCOPES& Scopes = S.ParentTable[static_cast<size_t>(pUnit - S.Units.data())];
    if (!Scopes.IsRead) {
        Scopes.List = ReadScopes(S, *pUnit);
        Scopes.IsRead = true;
    }
    return Scopes.List;
}
