#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"

// Types that are only declared where they are used: what a pointer hides in C, and classes that a compiler describes in
// one unit of the program. The description in another unit stands for them.

namespace {

constexpr U32 MAX_CANDIDATES = 64;
constexpr int MAX_DEPTH = 64;
constexpr size_t MAX_CACHED = 1 << 19;

bool IsUnit(U32 Tag) { return Tag == DW_TAG_compile_unit || Tag == DW_TAG_partial_unit || Tag == DW_TAG_type_unit; }

/// "class" and "struct" may stand for each other.
U32 KindOf(U32 Tag) { return Tag == DW_TAG_class_type ? static_cast<U32>(DW_TAG_structure_type) : Tag; }

/// True if both stand in namespaces and types of the same names. Unnamed namespaces of two units aren't the same.
bool HaveSameScope(const DWARF_STORE& S, U32 A, U32 B) {
    for (int i = 0; i < MAX_DEPTH; ++i) {
        A = GetParentDie(S, A);
        B = GetParentDie(S, B);
        const U32 TagA = GetDieType(S, A);
        const U32 TagB = GetDieType(S, B);
        if (IsUnit(TagA) || IsUnit(TagB)) {
            return IsUnit(TagA) && IsUnit(TagB);
        }
        const std::string_view sName = GetDieRawName(S, A);
        if (KindOf(TagA) != KindOf(TagB) || sName.empty() || sName != GetDieRawName(S, B)) {
            return false;
        }
    }
    return false;
}

U32 Find(const DWARF_STORE& S, U32 Die, U32 Tag, std::string_view sName) {
    U32 Found = 0;
    U32 Size = 0;
    U32 NumLeft = MAX_CANDIDATES;
    bool IsAmbiguous = false;
    S.TypeIndex.ForEach(ELF_HashName(sName), [&](U32 Type) {
        if (NumLeft == 0 || IsAmbiguous || KindOf(GetDieType(S, Type)) != KindOf(Tag) ||
            GetDieRawName(S, Type) != sName) {
            return;
        }
        --NumLeft;
        if (!HaveSameScope(S, Die, Type)) {
            return;
        }
        const U32 TypeSize = GetDieSizeRecursive(S, Type);
        IsAmbiguous = Found != 0 && TypeSize != Size; // two types of one name: either would be a guess
        Found = Found != 0 ? Found : Type;
        Size = TypeSize;
    });
    return IsAmbiguous ? 0 : Found;
}

} // namespace

U32 DWARF_CompleteTypeOf(const DWARF_STORE& S, U32 Die) {
    DWARF_DIE D;
    DWARF_ATTR Attr;
    if (!DWARF_OpenDie(S, Die, &D) || !DWARF_IsCompound(D.pAbbrev->Tag) ||
        !DWARF_GetAttr(S, D, DW_AT_declaration, &Attr) || Attr.Value == 0) {
        return 0;
    }
    if (S.CompleteTypes.size() >= MAX_CACHED) {
        S.CompleteTypes.clear();
    }
    if (const auto It = S.CompleteTypes.find(Die); It != S.CompleteTypes.end()) {
        return It->second;
    }
    const bool HasName = DWARF_GetAttr(S, D, DW_AT_name, &Attr) && !Attr.sText.empty();
    const U32 Complete = HasName ? Find(S, Die, D.pAbbrev->Tag, Attr.sText) : 0;
    S.CompleteTypes.emplace(Die, Complete);
    return Complete;
}
