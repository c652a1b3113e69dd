#pragma once

// Lists of ranges and of locations: .debug_ranges and .debug_loc of versions 2 to 4, .debug_rnglists and
// .debug_loclists of version 5 (DWARF 5, sections 7.25 and 7.7.3). Both have the same entries; those of a location list
// go on with an expression.

#include "elf/DwarfAttr.h"

class CDwarfList {
public:
    /// The list that the attribute's value names; it belongs to the unit.
    CDwarfList(const DWARF_STORE& S, const DWARF_UNIT& Unit, bool HasExprs, const DWARF_ATTR& Attr);
    CDwarfList(const CDwarfList&) = delete;
    CDwarfList& operator=(const CDwarfList&) = delete;

    /// Goes to the next entry; those that only set the base for others are passed over. False at the end of the list,
    /// of a damaged one too, which is reported.
    bool Next();
    /// Range of the entry, Hi exclusive. Without one it holds where no other entry does.
    bool HasRange() const { return m_HasRange; }
    U64 Lo() const { return m_Lo; }
    U64 Hi() const { return m_Hi; }
    const U8* Expr() const { return m_pExpr; }
    U32 ExprSize() const { return m_ExprSize; }

private:
    enum ENTRY : U8 { ENTRY_END, ENTRY_PASSED, ENTRY_FOUND };
    U64 GetOffset(const DWARF_ATTR& Attr) const;
    ENTRY ReadPair();
    ENTRY ReadEntry();
    U64 ReadIndexedAddr();
    void ReadExpr(U64 Size);

    const DWARF_STORE& m_S;
    const DWARF_UNIT& m_Unit;
    bool m_HasExprs;
    U64 m_Base;
    CByteReader m_R;
    U32 m_NumRead = 0;
    bool m_HasRange = false;
    U64 m_Lo = 0;
    U64 m_Hi = 0;
    const U8* m_pExpr = nullptr;
    U32 m_ExprSize = 0;
};
