#include "elf/Dwarf.h"
#include "elf/DwarfError.h"

#include <algorithm>
#include <libdwarf/dwarf.h>

// Which expression of a location list holds at a PC (DWARF 5, section 7.7.3; before that .debug_loc).

namespace {

constexpr U32 PC_NONE = 0xFFFFFFFF;
constexpr U32 MAX_LIST_ENTRIES = 100'000;
constexpr U8 LLE_GNU_VIEW_PAIR = 9;
constexpr U32 AT_GNU_LOCVIEWS = 0x2137;

struct FOUND {
    const U8* pExpr = nullptr;
    U32 Size = 0;
};

/// Searches a location list of either format for the entry that holds at PC.
class CLocList {
public:
    CLocList(const DWARF_STORE& S, const DWARF_UNIT& Unit, U32 PC, bool HasViews, FOUND* pFound)
        : m_S(S), m_Unit(Unit), m_PC(PC), m_HasViews(HasViews), m_Base(Unit.LowPC), m_Found(*pFound) {}

    /// .debug_loc of versions 2 to 4
    bool FindPairs(U64 Off) {
        CByteReader R = DWARF_At(m_S, DSEC_LOC, Off);
        const U64 Mark = m_Unit.AddrSize == 8 ? ~0ull : 0xFFFFFFFF;
        for (U32 i = 0; i < MAX_LIST_ENTRIES; ++i) {
            const U64 Lo = R.Get(m_Unit.AddrSize);
            const U64 Hi = R.Get(m_Unit.AddrSize);
            if (!R.IsOk() || (Lo == 0 && Hi == 0)) {
                break;
            }
            if (Lo == Mark) {
                m_Base = Hi;
            } else if (Take(R, R.GetU16(), m_Base + Lo, m_Base + Hi)) {
                return true;
            }
        }
        return Finish(R);
    }

    /// .debug_loclists of version 5
    bool FindEntries(U64 Off) {
        CByteReader R = DWARF_At(m_S, DSEC_LOCLISTS, Off);
        for (U32 i = 0; i < MAX_LIST_ENTRIES && R.IsOk(); ++i) {
            const U8 Kind = R.GetU8();
            if (!R.IsOk() || Kind == DW_LLE_end_of_list) {
                break;
            }
            bool IsDone = false;
            if (!ReadEntry(R, Kind, &IsDone)) {
                break;
            }
            if (IsDone) {
                return true;
            }
        }
        return Finish(R);
    }

private:
    bool Finish(const CByteReader& R) const {
        if (!R.IsOk()) {
            DWARF_ReportError(DWERR_LOCLIST, "dwarf_loclist_n");
        }
        return m_Found.pExpr != nullptr;
    }

    /// True if the entry is the one. An empty range holds at its address only where no other entry does, and with
    /// location views not at all: it tells a state between two statements, neither of which has code there.
    bool Take(CByteReader& R, U64 Size, U64 Lo, U64 Hi) {
        const U8* pExpr = R.GetPtr();
        if (!R.Skip(Size) || Size == 0 || m_PC == PC_NONE) {
            return false;
        }
        Hi = std::min<U64>(Hi, 0xFFFFFFFF);
        const bool IsHit = m_PC == 0 || (m_PC >= Lo && m_PC < Hi);
        if (IsHit || (Lo == Hi && m_PC == Lo && !m_HasViews && m_Found.pExpr == nullptr)) {
            m_Found = {pExpr, static_cast<U32>(Size)};
        }
        return IsHit;
    }

    /// Holds where no bounded entry does.
    void TakeDefault(CByteReader& R) {
        const U64 Size = R.GetULeb();
        const U8* pExpr = R.GetPtr();
        if (R.Skip(Size) && Size != 0 && m_PC != PC_NONE && m_Found.pExpr == nullptr) {
            m_Found = {pExpr, static_cast<U32>(Size)};
        }
    }

    U64 Indexed(CByteReader& R) {
        U64 Addr = 0;
        if (!DWARF_ReadAddrIndex(m_S, m_Unit, R.GetULeb(), &Addr)) {
            R.Fail();
        }
        return Addr;
    }

    /// False if the list can't be read on.
    bool ReadEntry(CByteReader& R, U8 Kind, bool* pIsDone) {
        U64 Lo = 0;
        U64 Hi = 0;
        switch (Kind) {
        case DW_LLE_base_addressx:
            m_Base = Indexed(R);
            return R.IsOk();
        case DW_LLE_base_address:
            m_Base = R.Get(m_Unit.AddrSize);
            return R.IsOk();
        case LLE_GNU_VIEW_PAIR:
            R.GetULeb();
            R.GetULeb();
            return R.IsOk();
        case DW_LLE_default_location:
            TakeDefault(R);
            return R.IsOk();
        case DW_LLE_startx_endx:
            Lo = Indexed(R);
            Hi = Indexed(R);
            break;
        case DW_LLE_startx_length:
            Lo = Indexed(R);
            Hi = Lo + R.GetULeb();
            break;
        case DW_LLE_offset_pair:
            Lo = m_Base + R.GetULeb();
            Hi = m_Base + R.GetULeb();
            break;
        case DW_LLE_start_end:
            Lo = R.Get(m_Unit.AddrSize);
            Hi = R.Get(m_Unit.AddrSize);
            break;
        case DW_LLE_start_length:
            Lo = R.Get(m_Unit.AddrSize);
            Hi = Lo + R.GetULeb();
            break;
        default:
            return false;
        }
        *pIsDone = Take(R, R.GetULeb(), Lo, Hi);
        return R.IsOk();
    }

    const DWARF_STORE& m_S;
    const DWARF_UNIT& m_Unit;
    U32 m_PC;
    bool m_HasViews;
    U64 m_Base;
    FOUND& m_Found;
};

bool _FindIndexed(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Idx, CLocList* pList) {
    constexpr U32 HEADER_SIZE = 12; // where the unit names no base
    const U64 Base = Unit.LocListsBase != 0 ? Unit.LocListsBase : HEADER_SIZE;
    if (Idx > S.aSection[DSEC_LOCLISTS].Size) {
        return false;
    }
    CByteReader R = DWARF_At(S, DSEC_LOCLISTS, Base + Idx * Unit.OffsetSize);
    const U64 Off = R.Get(Unit.OffsetSize);
    return R.IsOk() && pList->FindEntries(Base + Off);
}

/// DIE that the attribute stands in: offsets of lists are relative to its unit.
bool _FindAttr(const DWARF_STORE& S, U32 Die, U32 At, DWARF_ATTR* pAttr, U32* pAttrDie) {
    constexpr int MAX_DEPTH = 5;
    for (int i = 0; i < MAX_DEPTH && Die != 0; ++i) {
        if (DWARF_GetAttr(S, Die, At, pAttr)) {
            *pAttrDie = Die;
            return true;
        }
        U32 Next = _GetReferenceDie(S, Die, DW_AT_specification);
        Next = Next != 0 ? Next : _GetReferenceDie(S, Die, DW_AT_abstract_origin);
        Die = Next != 0 ? Next : _GetDefinitionDie(S, Die);
    }
    return false;
}

} // namespace

bool DWARF_FindExpr(const DWARF_STORE& S, U32 Die, U32 At, U32 PC, const U8** ppExpr, U32* pSize, U32* pAttrDie) {
    DWARF_ATTR Attr;
    if (!_FindAttr(S, Die, At, &Attr, pAttrDie)) {
        return false;
    }
    const DWARF_UNIT& Unit = *DWARF_UnitOf(S, *pAttrDie);
    FOUND Found;
    CLocList List(S, Unit, PC, _HasAttribute(S, *pAttrDie, AT_GNU_LOCVIEWS), &Found);
    bool IsFound = false;
    if (Attr.Class == ATTR_EXPR || Attr.Class == ATTR_BLOCK) {
        Found = {Attr.pBlock, Attr.BlockSize};
        IsFound = Attr.BlockSize != 0;
    } else if (Attr.Class == ATTR_INDEX) {
        IsFound = _FindIndexed(S, Unit, Attr.Value, &List);
    } else if (Attr.Class == ATTR_OFFSET ||
               (Unit.Version < 4 && (Attr.Form == DW_FORM_data4 || Attr.Form == DW_FORM_data8) &&
                At != DW_AT_data_member_location)) {
        IsFound = Unit.Version >= 5 ? List.FindEntries(Attr.Value) : List.FindPairs(Attr.Value);
    }
    *ppExpr = Found.pExpr;
    *pSize = Found.Size;
    return IsFound;
}
