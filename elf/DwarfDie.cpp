#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"

#include <algorithm>
#include <bit>

// Attributes with inheritance, references and relatives of a DIE.

namespace {

constexpr U32 MAX_ATTR_DEPTH = 5;
constexpr U32 MAX_MEMBER_DEPTH = 20;
constexpr U32 MAX_PARENT_DEPTH = 6;
constexpr U32 MAX_TYPE_STEPS = 100; ///< of a chain along DW_AT_type; more is a cycle
constexpr U32 MAX_CONST_DATA = 256;

bool IsAnyOf(U32 Tag, std::initializer_list<U32> Tags) {
    return std::find(Tags.begin(), Tags.end(), Tag) != Tags.end();
}

bool IsFunction(U32 Tag) { return IsAnyOf(Tag, {DW_TAG_subprogram, DW_TAG_inlined_subroutine}); }

bool IsDataType(U32 Tag) {
    return DWARF_IsCompound(Tag) ||
           IsAnyOf(Tag,
                   {DW_TAG_base_type, DW_TAG_array_type, DW_TAG_ptr_to_member_type, DW_TAG_pointer_type,
                    DW_TAG_reference_type, DW_TAG_rvalue_reference_type, DW_TAG_subprogram, DW_TAG_subroutine_type});
}

/// First scope at or behind the offset.
std::vector<DWARF_SCOPE>::const_iterator FindScope(const std::vector<DWARF_SCOPE>& Scopes, U32 Off) {
    return std::lower_bound(Scopes.begin(), Scopes.end(), Off,
                            [](const DWARF_SCOPE& Scope, U32 Key) { return Scope.Off < Key; });
}

/// Index of the innermost scope around the offset; -1 if there is none.
int ScopeAround(const std::vector<DWARF_SCOPE>& Scopes, U32 Off) {
    const auto It = FindScope(Scopes, Off);
    I64 Idx = It - Scopes.begin() - 1;
    while (Idx >= 0 && Scopes[static_cast<size_t>(Idx)].End <= Off) {
        const U32 Parent = Scopes[static_cast<size_t>(Idx)].Parent;
        Idx = Parent == 0xFFFFFFFF ? -1 : static_cast<I64>(Parent);
    }
    return static_cast<int>(Idx);
}

template <typename PREDICATE> U32 FindAncestor(const DWARF_STORE& S, U32 Die, PREDICATE IsWanted) {
    if (!DWARF_IsDie(S, Die)) {
        return 0;
    }
    const std::vector<DWARF_SCOPE>& Scopes = DWARF_ScopesOf(S, Die);
    for (int i = ScopeAround(Scopes, DWARF_OffsetOf(Die, S)); i >= 0;
         i = static_cast<int>(Scopes[static_cast<size_t>(i)].Parent)) {
        const U32 Ancestor = DWARF_MakeID(DWARF_SectionOf(Die, S), Scopes[static_cast<size_t>(i)].Off);
        if (IsWanted(GetDieType(S, Ancestor))) {
            return Ancestor;
        }
    }
    return 0;
}

U32 DeclarationOf(const DWARF_STORE& S, U32 Die) { return GetReferenceDie(S, Die, DW_AT_specification); }

/// Nearest ancestor of a kind, of the DIE, of its declaration, or of what it is an instance of.
template <typename PREDICATE> U32 FindParent(const DWARF_STORE& S, U32 Die, PREDICATE IsWanted) {
    U32 Found = 0;
    for (U32 i = 0; Found == 0 && i < MAX_PARENT_DEPTH && Die != 0; ++i) {
        Found = FindAncestor(S, Die, IsWanted);
        const U32 Decl = Found == 0 ? DeclarationOf(S, Die) : 0;
        Found = Decl != 0 ? FindAncestor(S, Decl, IsWanted) : Found;
        Die = GetAbstractInstanceOf(S, Die);
    }
    return Found;
}

/// The next start of a DIE at or behind Off and below End; End if there is none.
U32 NextDieStart(const std::vector<U64>& Bits, U32 Off, U32 End) {
    while (Off < End) {
        const U64 Word = Bits[Off / 64] >> (Off % 64);
        if (Word != 0) {
            return std::min(End, Off + static_cast<U32>(std::countr_zero(Word)));
        }
        Off = (Off / 64 + 1) * 64;
    }
    return End;
}

/// Calls Visit(child) for each DIE directly below, in section order; it may return false to stop. Children of children
/// are skipped by the scopes.
template <typename VISIT> void ForEachChild(const DWARF_STORE& S, U32 Die, VISIT Visit) {
    if (!DWARF_IsDie(S, Die)) {
        return;
    }
    const U32 Section = DWARF_SectionOf(Die, S);
    const std::vector<DWARF_SCOPE>& Scopes = DWARF_ScopesOf(S, Die);
    const std::vector<U64>& Bits = S.aDieStore[Section == DSEC_TYPES];
    const U32 DieOff = DWARF_OffsetOf(Die, S);
    auto It = FindScope(Scopes, DieOff);
    if (It == Scopes.end() || It->Off != DieOff) {
        return; // no children
    }
    const U32 End = It->End;
    ++It;
    for (U32 Off = NextDieStart(Bits, DieOff + 1, End); Off < End;) {
        if (!Visit(DWARF_MakeID(Section, Off))) {
            return;
        }
        while (It != Scopes.end() && It->Off < Off) {
            ++It;
        }
        const U32 Next = It != Scopes.end() && It->Off == Off ? It->End : Off + 1;
        Off = NextDieStart(Bits, Next, End);
    }
}

bool IsArtificial(const DWARF_STORE& S, U32 Die) {
    DWARF_ATTR Attr;
    return DWARF_GetAttr(S, Die, DW_AT_artificial, &Attr) && Attr.Value != 0;
}

/// Of a type with variants (an enumeration of Rust's) each variant's members are its members: they share their place.
void AddMembers(const DWARF_STORE& S, U32 Die, U32 Depth, std::vector<U32>* pMembers) {
    constexpr U32 MAX_VARIANT_DEPTH = 4;
    ForEachChild(S, Die, [&](U32 Child) {
        const U32 Tag = GetDieType(S, Child);
        if (IsAnyOf(Tag, {DW_TAG_variant_part, DW_TAG_variant})) {
            if (Depth < MAX_VARIANT_DEPTH) {
                AddMembers(S, Child, Depth + 1, pMembers);
            }
        } else if (IsAnyOf(Tag, {DW_TAG_member, DW_TAG_variable, DW_TAG_subprogram, DW_TAG_enumerator}) &&
                   !IsArtificial(S, Child)) { // a variable: version 5's static member
            const U32 Definition = GetDefinitionDie(S, Child);
            pMembers->push_back(Definition != 0 ? Definition : Child);
        }
        return pMembers->size() < MAX_CHILDREN;
    });
}

void AddLocalVars(const DWARF_STORE& S, U32 Die, U32 Depth, std::vector<U32>* pVars) {
    constexpr U32 MAX_BLOCK_DEPTH = 200;
    ForEachChild(S, Die, [&](U32 Child) {
        const U32 Tag = GetDieType(S, Child);
        DWARF_ATTR Attr;
        if (IsAnyOf(Tag, {DW_TAG_variable, DW_TAG_formal_parameter})) {
            if (!DWARF_GetAttr(S, Child, DW_AT_declaration, &Attr) || Attr.Value == 0) {
                pVars->push_back(Child);
            }
        } else if (IsAnyOf(Tag, {DW_TAG_lexical_block, DW_TAG_try_block, DW_TAG_catch_block}) &&
                   Depth < MAX_BLOCK_DEPTH) {
            AddLocalVars(S, Child, Depth + 1, pVars);
        }
        return pVars->size() < MAX_CHILDREN;
    });
}

/// Variables of the abstract instance that the instance doesn't speak of: static ones, which have but one place.
void AddOriginsLocalVars(const DWARF_STORE& S, U32 Die, std::vector<U32>* pVars) {
    const U32 Origin = GetAbstractInstanceOf(S, Die);
    std::vector<U32> OriginVars;
    if (Origin != 0 && Origin != Die && IsFunction(GetDieType(S, Origin))) {
        AddLocalVars(S, Origin, 0, &OriginVars);
    }
    std::erase_if(OriginVars, [&](U32 Var) { return !HasAttribute(S, Var, DW_AT_location); });
    for (const U32 Var : *pVars) {
        std::erase(OriginVars, OriginVars.empty() ? 0 : GetAbstractInstanceOf(S, Var));
    }
    for (size_t i = 0; i < OriginVars.size() && pVars->size() < MAX_CHILDREN; ++i) {
        pVars->push_back(OriginVars[i]);
    }
}

/// The DIE, or what stands for it if it is a type that is only declared.
U32 Described(const DWARF_STORE& S, U32 Die) {
    const U32 Complete = DWARF_CompleteTypeOf(S, Die);
    return Complete != 0 ? Complete : Die;
}

} // namespace

bool DWARF_IsCompound(U32 Tag) {
    return IsAnyOf(Tag, {DW_TAG_structure_type, DW_TAG_class_type, DW_TAG_union_type, DW_TAG_enumeration_type});
}

U32 GetDieType(const DWARF_STORE& S, U32 Die) {
    DWARF_DIE D;
    return DWARF_OpenDie(S, Die, &D) ? D.pAbbrev->Tag : 0;
}

bool HasAttribute(const DWARF_STORE& S, U32 Die, U32 At) {
    DWARF_ATTR Attr;
    return DWARF_GetAttr(S, Die, At, &Attr);
}

bool CreateDieAttrEx(const DWARF_STORE& S, U32 Die, U32 At, DWARF_ATTR* pAttr, U32 Depth) {
    if (DWARF_GetAttr(S, Die, At, pAttr)) {
        return true;
    }
    if (Depth >= MAX_ATTR_DEPTH ||
        IsAnyOf(At, {DW_AT_specification, DW_AT_abstract_origin, DW_AT_declaration, DW_AT_extension})) {
        return false;
    }
    if (GetDieType(S, Die) == DW_TAG_namespace) {
        for (const U32 Ext : S.NamespaceExts) {
            if (GetReferenceDie(S, Ext, DW_AT_extension) == Die) {
                return DWARF_GetAttr(S, Ext, At, pAttr);
            }
        }
        return false;
    }
    if (const U32 Decl = DeclarationOf(S, Die); Decl != 0) {
        return DWARF_GetAttr(S, Decl, At, pAttr);
    }
    if (const U32 Origin = GetReferenceDie(S, Die, DW_AT_abstract_origin); Origin != 0 && Origin != Die) {
        return CreateDieAttrEx(S, Origin, At, pAttr, Depth + 1);
    }
    const U32 Definition = GetDefinitionDie(S, Die);
    return Definition != 0 && DWARF_GetAttr(S, Definition, At, pAttr);
}

bool GetAttributeAsU64(const DWARF_STORE& S, U32 Die, U32 At, U64* pValue) {
    DWARF_ATTR Attr;
    if (!CreateDieAttrEx(S, Die, At, &Attr)) {
        return false;
    }
    switch (Attr.Class) {
    case ATTR_ADDR:
    case ATTR_NUM:
    case ATTR_SNUM:
    case ATTR_FLAG:
    case ATTR_REF:
    case ATTR_OFFSET:
        *pValue = Attr.Value;
        return true;
    default:
        DWARF_ReportError(DWERR_FORM, "dwarf_formudata");
        return false;
    }
}

U32 GetAttributeData(const DWARF_STORE& S, U32 Die, U8* pBuf) {
    DWARF_ATTR Attr;
    if (!CreateDieAttrEx(S, Die, DW_AT_const_value, &Attr)) {
        return 0;
    }
    if (Attr.Class == ATTR_BLOCK || Attr.Class == ATTR_EXPR) {
        const U32 Size = std::min(Attr.BlockSize, MAX_CONST_DATA);
        std::memcpy(pBuf, Attr.pBlock, Size);
        return Size;
    }
    if (Attr.Class == ATTR_STRING && !Attr.sText.empty()) {
        const size_t Size = std::min<size_t>(Attr.sText.size() + 1, MAX_CONST_DATA);
        std::memcpy(pBuf, Attr.sText.data(), Size);
        return static_cast<U32>(Size);
    }
    if (Attr.Class != ATTR_NUM && Attr.Class != ATTR_SNUM && Attr.Class != ATTR_FLAG) {
        return 0;
    }
    // Four bytes hold what fits; a wider value would be a wrong one.
    const I64 Signed = static_cast<I64>(Attr.Value);
    const U32 Size = Attr.Value <= 0xFFFFFFFF || (Signed < 0 && Signed >= -0x80000000ll) ? 4 : 8;
    std::memcpy(pBuf, &Attr.Value, Size);
    return Size;
}

U32 GetReferenceDie(const DWARF_STORE& S, U32 Die, U32 At) {
    DWARF_ATTR Attr;
    return DWARF_GetAttr(S, Die, At, &Attr) && Attr.Class == ATTR_REF ? static_cast<U32>(Attr.Value) : 0;
}

U32 GetDefinitionDie(const DWARF_STORE& S, U32 Die) {
    if (const U32 Definition = DWARF_DefinitionOf(S, Die); Definition != 0) {
        return Definition;
    }
    if (const U32 Type = GetReferenceDie(S, Die, DW_AT_signature); Type != 0) {
        return Type; // a stub for a type in a unit of its own
    }
    return DWARF_CompleteTypeOf(S, Die);
}

U32 GetAbstractInstanceOf(const DWARF_STORE& S, U32 Die) { return GetReferenceDie(S, Die, DW_AT_abstract_origin); }

U32 GetTypeDie(const DWARF_STORE& S, U32 Die, U32 Tag) {
    for (U32 i = 0; i < MAX_TYPE_STEPS && Die != 0; ++i) {
        if (GetDieType(S, Die) == Tag) {
            return Die;
        }
        DWARF_ATTR Attr;
        Die = CreateDieAttrEx(S, Die, DW_AT_type, &Attr) ? static_cast<U32>(Attr.Value) : 0;
    }
    return 0;
}

U32 GetDataTypeDie(const DWARF_STORE& S, U32 Die, bool Resolve) {
    for (U32 i = 0; i < MAX_TYPE_STEPS && Die != 0; ++i) {
        if ((i != 0 || Resolve) && IsDataType(GetDieType(S, Die))) {
            const U32 Definition = GetDefinitionDie(S, Die);
            return Definition != 0 ? Definition : Die;
        }
        DWARF_ATTR Attr;
        Die = CreateDieAttrEx(S, Die, DW_AT_type, &Attr) && Attr.Class == ATTR_REF ? static_cast<U32>(Attr.Value) : 0;
    }
    return 0;
}

U32 DWARF_EndOfDie(const DWARF_STORE& S, U32 Die) {
    const std::vector<DWARF_SCOPE>& Scopes = DWARF_ScopesOf(S, Die);
    const U32 Off = DWARF_OffsetOf(Die, S);
    const auto It = FindScope(Scopes, Off);
    return It != Scopes.end() && It->Off == Off ? Die + (It->End - Off) : Die + 1;
}

U32 GetParentDie(const DWARF_STORE& S, U32 Die) {
    return FindAncestor(S, Die, [](U32) { return true; });
}

U32 GetDieAncestor(const DWARF_STORE& S, U32 Die) {
    return FindAncestor(S, Die, [](U32 Tag) { return Tag == DW_TAG_compile_unit || Tag == DW_TAG_partial_unit; });
}

U32 GetDieParentNamespace(const DWARF_STORE& S, U32 Die) {
    const auto IsNamespace = [](U32 Tag) { return Tag == DW_TAG_namespace; };
    U32 Found = FindAncestor(S, Die, IsNamespace);
    for (U32 i = 0; Found == 0 && i < MAX_ATTR_DEPTH; ++i) {
        U32 Next = DeclarationOf(S, Die);
        Next = Next != 0 ? Next : GetAbstractInstanceOf(S, Die);
        if (Next == 0) { // a stub for a type in a unit of its own stands in no namespace
            const U32 Type = DWARF_IsCompound(GetDieType(S, Die)) ? Die : GetDieParentType(S, Die);
            Next = GetReferenceDie(S, Type, DW_AT_signature);
        }
        if (Next == 0 || Next == Die) {
            break;
        }
        Die = Next;
        Found = FindAncestor(S, Die, IsNamespace);
    }
    return Found;
}

U32 GetDieParentType(const DWARF_STORE& S, U32 Die) { return FindParent(S, Die, DWARF_IsCompound); }

U32 GetDieParentFunc(const DWARF_STORE& S, U32 Die) { return FindParent(S, Die, IsFunction); }

U32 GetAnyDieAncestor(const DWARF_STORE& S, U32 Die) {
    return FindAncestor(S, Die, [](U32 Tag) {
        return IsFunction(Tag) || Tag == DW_TAG_subroutine_type || Tag == DW_TAG_lexical_block;
    });
}

std::vector<U32> DWARF_GetMembers(const DWARF_STORE& S, U32 Die, U32 Depth) {
    std::vector<U32> Members;
    if (Depth > MAX_MEMBER_DEPTH || Die == 0) {
        return Members;
    }
    if (DWARF_IsCompound(GetDieType(S, Die))) { // a declaration may have some of the functions
        AddMembers(S, Described(S, Die), 0, &Members);
    }
    const U32 Definition = Members.empty() ? GetDefinitionDie(S, Die) : 0;
    if (Definition != 0 && Definition != Die) {
        Members = DWARF_GetMembers(S, Definition, Depth + 1);
    }
    const U32 Decl = Members.empty() ? DeclarationOf(S, Die) : 0;
    return Decl != 0 && Decl != Die ? DWARF_GetMembers(S, Decl, Depth + 1) : Members;
}

std::vector<U32> DWARF_GetChildren(const DWARF_STORE& S, U32 Die, U32 Tag) {
    std::vector<U32> Children;
    ForEachChild(S, Die, [&](U32 Child) {
        if (GetDieType(S, Child) == Tag) {
            Children.push_back(Child);
        }
        return Children.size() < MAX_CHILDREN;
    });
    return Children;
}

std::vector<U32> DWARF_GetDescendants(const DWARF_STORE& S, U32 Die, U32 Tag) {
    std::vector<U32> Found;
    if (!DWARF_IsDie(S, Die)) {
        return Found;
    }
    const U32 Section = DWARF_SectionOf(Die, S);
    const U32 DieOff = DWARF_OffsetOf(Die, S);
    const std::vector<U64>& Bits = S.aDieStore[Section == DSEC_TYPES];
    const U32 End = DWARF_OffsetOf(DWARF_EndOfDie(S, Die), S);
    for (U32 Off = NextDieStart(Bits, DieOff + 1, End); Off < End; Off = NextDieStart(Bits, Off + 1, End)) {
        if (GetDieType(S, DWARF_MakeID(Section, Off)) == Tag) {
            Found.push_back(DWARF_MakeID(Section, Off));
        }
    }
    return Found;
}

std::vector<U32> DWARF_GetInherited(const DWARF_STORE& S, U32 Die) {
    std::vector<U32> Bases = DWARF_GetChildren(S, Described(S, Die), DW_TAG_inheritance);
    std::erase_if(Bases, [&](U32 Base) { return IsArtificial(S, Base); });
    return Bases;
}

std::vector<U32> DWARF_GetLocalVars(const DWARF_STORE& S, U32 Die) {
    std::vector<U32> Vars;
    if (IsFunction(GetDieType(S, Die))) {
        AddLocalVars(S, Die, 0, &Vars);
        AddOriginsLocalVars(S, Die, &Vars);
    }
    return Vars;
}

int GetDieMemberIdx(const DWARF_STORE& S, U32 Die, const char* sName) {
    const std::vector<U32> Members = DWARF_GetMembers(S, Die);
    const auto It =
        std::find_if(Members.begin(), Members.end(), [&](U32 Member) { return GetDieName(S, Member) == sName; });
    return It != Members.end() ? static_cast<int>(It - Members.begin()) : -1;
}
