#include "elf/DwarfStore.h"

#include <algorithm>
#include <array>
#include <iterator>

// Who refers to a DIE. The references of a unit are put in order when the first question about them comes.

namespace {

/// About one step for eight references, a cache line of them.
void Sort(DWARF_REFS* p) {
    constexpr size_t REFS_PER_STEP = 8;
    std::stable_sort(p->Refs.begin(), p->Refs.end(),
                     [](const DWARF_REF& a, const DWARF_REF& b) { return a.Target < b.Target; });
    p->IsSorted = true;
    p->Base = p->Refs.front().Target;
    const U32 Span = p->Refs.back().Target - p->Base;
    while ((Span >> p->StepShift) > p->Refs.size() / REFS_PER_STEP) {
        ++p->StepShift;
    }
    p->Steps.reserve((Span >> p->StepShift) + 2);
    for (size_t i = 0; i < p->Refs.size(); ++i) {
        while (p->Steps.size() <= (p->Refs[i].Target - p->Base) >> p->StepShift) {
            p->Steps.push_back(static_cast<U32>(i));
        }
    }
    p->Steps.push_back(static_cast<U32>(p->Refs.size()));
}

/// References in the order of their targets; those of one target stay in the order of the section.
std::pair<const DWARF_REF*, const DWARF_REF*> RefsTo(DWARF_REFS* p, U32 Target) {
    if (p->Refs.empty()) {
        return {};
    }
    if (!p->IsSorted) {
        Sort(p);
    }
    const size_t Step = (Target - p->Base) >> p->StepShift; // of a target below the base it is too large
    if (Target < p->Base || Step + 1 >= p->Steps.size()) {
        return {};
    }
    const DWARF_REF* const pEnd = p->Refs.data() + p->Refs.size();
    const DWARF_REF* pFirst = std::lower_bound(p->Refs.data() + p->Steps[Step], p->Refs.data() + p->Steps[Step + 1],
                                               Target, [](const DWARF_REF& Ref, U32 Key) { return Ref.Target < Key; });
    const DWARF_REF* pLast = pFirst;
    while (pLast != pEnd && pLast->Target == Target) {
        ++pLast;
    }
    return {pFirst, pLast};
}

/// The references that may lead to the DIE: those of its own unit, then those across units.
std::array<DWARF_REFS*, 2> RefTablesOf(const DWARF_STORE& S, U32 Die) {
    const DWARF_UNIT* pUnit = DWARF_UnitOf(S, Die);
    DWARF_REFS* pForeign = S.DefTable.empty() ? nullptr : &S.DefTable.back();
    return {pUnit != nullptr ? &S.DefTable[static_cast<size_t>(pUnit - S.Units.data())] : nullptr, pForeign};
}

} // namespace

std::vector<U32> DWARF_ReferrersOf(const DWARF_STORE& S, U32 Die) {
    std::vector<U32> Found;
    for (DWARF_REFS* pTable : RefTablesOf(S, Die)) {
        if (pTable != nullptr) {
            const auto [pFirst, pLast] = RefsTo(pTable, Die);
            std::transform(pFirst, pLast, std::back_inserter(Found), [](const DWARF_REF& Ref) { return Ref.Die(); });
        }
    }
    return Found;
}

U32 DWARF_DefinitionOf(const DWARF_STORE& S, U32 Die) {
    U32 Found = 0;
    for (DWARF_REFS* pTable : RefTablesOf(S, Die)) {
        if (pTable != nullptr) {
            const auto [pFirst, pLast] = RefsTo(pTable, Die);
            for (const DWARF_REF* p = pFirst; p != pLast; ++p) {
                Found = p->IsSpecification() ? p->Die() : Found;
            }
        }
    }
    return Found;
}

void DWARF_PrefetchReferrers(const DWARF_STORE& S, U32 Die) {
    const DWARF_REFS* p = RefTablesOf(S, Die)[0];
    if (p != nullptr && p->IsSorted && Die >= p->Base) {
        const size_t Step = (Die - p->Base) >> p->StepShift;
        __builtin_prefetch(p->Refs.data() + (Step < p->Steps.size() ? p->Steps[Step] : 0));
    }
}
