#include "elf/DwarfList.h"

#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"

#include <iterator>

namespace {

constexpr U32 MAX_ENTRIES = 100'000;
constexpr U32 HEADER_SIZE = 12; ///< in front of a table of lists; where it ends if the unit names no base

enum OP : U8 {
    OP_END,
    OP_BASEX,
    OP_STARTX_ENDX,
    OP_STARTX_LENGTH,
    OP_OFFSET_PAIR,
    OP_DEFAULT,
    OP_BASE,
    OP_START_END,
    OP_START_LENGTH,
    OP_VIEW_PAIR, ///< GNU: numbers of the views at both ends, in front of the entry
};

/// By the code in the file.
constexpr OP aRangeOp[] = {OP_END,         OP_BASEX, OP_STARTX_ENDX, OP_STARTX_LENGTH,
                           OP_OFFSET_PAIR, OP_BASE,  OP_START_END,   OP_START_LENGTH};
constexpr OP aLocOp[] = {OP_END,     OP_BASEX, OP_STARTX_ENDX, OP_STARTX_LENGTH, OP_OFFSET_PAIR,
                         OP_DEFAULT, OP_BASE,  OP_START_END,   OP_START_LENGTH,  OP_VIEW_PAIR};
static_assert(aRangeOp[DW_RLE_start_length] == OP_START_LENGTH && aLocOp[DW_LLE_start_length] == OP_START_LENGTH);

} // namespace

CDwarfList::CDwarfList(const DWARF_STORE& S, const DWARF_UNIT& Unit, bool HasExprs, const DWARF_ATTR& Attr)
    : m_S(S), m_Unit(Unit), m_HasExprs(HasExprs), m_Base(Unit.LowPC) {
    const U32 Section = Unit.Version >= 5 ? HasExprs ? DSEC_LOCLISTS : DSEC_RNGLISTS
                        : HasExprs        ? DSEC_LOC
                                          : DSEC_RANGES;
    m_R = DWARF_At(S, Section, GetOffset(Attr));
}

/// Where the list begins; behind any section if the table has no such entry.
U64 CDwarfList::GetOffset(const DWARF_ATTR& Attr) const {
    if (Attr.Class != ATTR_INDEX) {
        return Attr.Value;
    }
    const U32 Section = m_HasExprs ? DSEC_LOCLISTS : DSEC_RNGLISTS;
    const U32 UnitBase = m_HasExprs ? m_Unit.LocListsBase : m_Unit.RngListsBase;
    const U64 Base = UnitBase != 0 ? UnitBase : HEADER_SIZE;
    if (Attr.Value > m_S.aSection[Section].Size) {
        return ~0ull;
    }
    CByteReader R = DWARF_At(m_S, Section, Base + Attr.Value * m_Unit.OffsetSize);
    const U64 Off = R.Get(m_Unit.OffsetSize);
    return R.IsOk() ? Base + Off : ~0ull;
}

bool CDwarfList::Next() {
    ENTRY Entry = ENTRY_PASSED;
    while (Entry == ENTRY_PASSED && m_R.IsOk() && m_NumRead < MAX_ENTRIES) {
        ++m_NumRead;
        Entry = m_Unit.Version >= 5 ? ReadEntry() : ReadPair();
    }
    if (!m_R.IsOk()) {
        DWARF_ReportError(m_HasExprs ? DWERR_LOCLIST : DWERR_RANGES,
                          m_HasExprs ? "dwarf_loclist_n" : "dwarf_get_ranges");
    }
    return Entry == ENTRY_FOUND && m_R.IsOk();
}

CDwarfList::ENTRY CDwarfList::ReadPair() {
    const U64 Mark = m_Unit.AddrSize == 8 ? ~0ull : 0xFFFFFFFF;
    m_Lo = m_R.Get(m_Unit.AddrSize);
    m_Hi = m_R.Get(m_Unit.AddrSize);
    if (!m_R.IsOk() || (m_Lo == 0 && m_Hi == 0)) {
        return ENTRY_END;
    }
    if (m_Lo == Mark) {
        m_Base = m_Hi;
        return ENTRY_PASSED;
    }
    m_HasRange = true;
    m_Lo += m_Base;
    m_Hi += m_Base;
    if (m_HasExprs) {
        ReadExpr(m_R.GetU16());
    }
    return ENTRY_FOUND;
}

CDwarfList::ENTRY CDwarfList::ReadEntry() {
    const U8 Code = m_R.GetU8();
    const size_t NumOps = m_HasExprs ? std::size(aLocOp) : std::size(aRangeOp);
    const OP Op = Code >= NumOps ? OP_END : m_HasExprs ? aLocOp[Code] : aRangeOp[Code];
    m_HasRange = true;
    switch (Op) {
    case OP_END:
        return ENTRY_END;
    case OP_BASEX:
        m_Base = ReadIndexedAddr();
        return ENTRY_PASSED;
    case OP_BASE:
        m_Base = m_R.Get(m_Unit.AddrSize);
        return ENTRY_PASSED;
    case OP_VIEW_PAIR:
        m_R.GetULeb();
        m_R.GetULeb();
        return ENTRY_PASSED;
    case OP_DEFAULT:
        m_HasRange = false;
        break;
    case OP_STARTX_ENDX:
        m_Lo = ReadIndexedAddr();
        m_Hi = ReadIndexedAddr();
        break;
    case OP_STARTX_LENGTH:
        m_Lo = ReadIndexedAddr();
        m_Hi = m_Lo + m_R.GetULeb();
        break;
    case OP_OFFSET_PAIR:
        m_Lo = m_Base + m_R.GetULeb();
        m_Hi = m_Base + m_R.GetULeb();
        break;
    case OP_START_END:
        m_Lo = m_R.Get(m_Unit.AddrSize);
        m_Hi = m_R.Get(m_Unit.AddrSize);
        break;
    case OP_START_LENGTH:
        m_Lo = m_R.Get(m_Unit.AddrSize);
        m_Hi = m_Lo + m_R.GetULeb();
        break;
    }
    if (m_HasExprs) {
        ReadExpr(m_R.GetULeb());
    }
    return ENTRY_FOUND;
}

U64 CDwarfList::ReadIndexedAddr() {
    U64 Addr = 0;
    if (!DWARF_ReadAddrIndex(m_S, m_Unit, m_R.GetULeb(), &Addr)) {
        m_R.Fail();
    }
    return Addr;
}

void CDwarfList::ReadExpr(U64 Size) {
    m_pExpr = m_R.GetPtr();
    m_ExprSize = m_R.Skip(Size) ? static_cast<U32>(Size) : 0;
}
