#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfList.h"

#include <algorithm>

// Which expression of a location list holds at a PC.

namespace {

constexpr U32 PC_NONE = 0xFFFFFFFF;
constexpr U32 AT_GNU_LOCVIEWS = 0x2137;

struct FOUND {
    const U8* pExpr = nullptr;
    U32 Size = 0;
};

/// The entry that holds at PC. An empty range holds at its address only where no other entry does, and with location
/// views not at all: it tells a state between two statements, neither of which has code there. An entry without range
/// holds where no other does.
FOUND FindEntry(CDwarfList* pList, U32 PC, bool HasViews) {
    FOUND Found;
    while (PC != PC_NONE && pList->Next()) {
        if (pList->ExprSize() == 0) {
            continue;
        }
        const U64 Hi = std::min<U64>(pList->Hi(), 0xFFFFFFFF);
        const bool IsHit = pList->HasRange() && (PC == 0 || (PC >= pList->Lo() && PC < Hi));
        const bool IsSpare = !pList->HasRange() || (pList->Lo() == Hi && PC == Hi && !HasViews);
        if (IsHit || (IsSpare && Found.pExpr == nullptr)) {
            Found = {pList->Expr(), pList->ExprSize()};
        }
        if (IsHit) {
            break;
        }
    }
    return Found;
}

/// DIE that the attribute stands in: offsets of lists are relative to its unit.
bool FindAttr(const DWARF_STORE& S, U32 Die, U32 At, DWARF_ATTR* pAttr, U32* pAttrDie) {
    constexpr int MAX_DEPTH = 5;
    for (int i = 0; i < MAX_DEPTH && Die != 0; ++i) {
        if (DWARF_GetAttr(S, Die, At, pAttr)) {
            *pAttrDie = Die;
            return true;
        }
        U32 Next = GetReferenceDie(S, Die, DW_AT_specification);
        Next = Next != 0 ? Next : GetReferenceDie(S, Die, DW_AT_abstract_origin);
        Die = Next != 0 ? Next : GetDefinitionDie(S, Die);
    }
    return false;
}

} // namespace

bool DWARF_FindExpr(const DWARF_STORE& S, U32 Die, U32 At, U32 PC, const U8** ppExpr, U32* pSize, U32* pAttrDie) {
    DWARF_ATTR Attr;
    if (!FindAttr(S, Die, At, &Attr, pAttrDie)) {
        return false;
    }
    const DWARF_UNIT& Unit = *DWARF_UnitOf(S, *pAttrDie);
    FOUND Found;
    if (Attr.Class == ATTR_EXPR || Attr.Class == ATTR_BLOCK) {
        Found = {Attr.BlockSize != 0 ? Attr.pBlock : nullptr, Attr.BlockSize};
    } else if (Attr.Class == ATTR_INDEX || Attr.Class == ATTR_OFFSET ||
               (Unit.Version < 4 && (Attr.Form == DW_FORM_data4 || Attr.Form == DW_FORM_data8) &&
                At != DW_AT_data_member_location)) {
        CDwarfList List(S, Unit, true, Attr);
        Found = FindEntry(&List, PC, HasAttribute(S, *pAttrDie, AT_GNU_LOCVIEWS));
    }
    *ppExpr = Found.pExpr;
    *pSize = Found.Size;
    return Found.pExpr != nullptr;
}
