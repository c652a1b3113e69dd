#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"
#include "elf/DwarfLineHeader.h"

// File names by number, from the header of a unit's line program.

std::string GetDieFileName(DWARF_STORE& S, U32 Die, U32 At) {
    constexpr int MAX_DEPTH = 5;
    DWARF_ATTR Attr;
    U32 Owner = Die;
    for (int i = 0; i < MAX_DEPTH && Owner != 0 && !DWARF_GetAttr(S, Owner, At, &Attr); ++i) {
        const U32 Decl = GetReferenceDie(S, Owner, DW_AT_specification);
        Owner = Decl != 0 ? Decl : GetReferenceDie(S, Owner, DW_AT_abstract_origin);
    }
    DWARF_ATTR List;
    const DWARF_UNIT* pUnit = Attr.Class != ATTR_NONE && Owner != 0 ? DWARF_UnitOf(S, Owner) : nullptr;
    if (pUnit == nullptr || !DWARF_GetUnitAttr(S, *pUnit, DW_AT_stmt_list, &List)) {
        return {};
    }
    const U32 Off = static_cast<U32>(List.Value);
    const auto [It, IsNew] = S.FileNames.try_emplace(Off);
    if (DWARF_LINE_HEADER Header; IsNew && DWARF_ReadLineHeader(S, *pUnit, List.Value, &Header)) {
        It->second = DWARF_MakePaths(Header, &S.FileNameBudget);
    }
    if (Attr.Value >= It->second.size()) {
        DWARF_ReportError(DWERR_FILE_NUMBER, "dwarf_srcfiles", "file_number", static_cast<U32>(Attr.Value));
        return {};
    }
    return It->second[Attr.Value];
}
