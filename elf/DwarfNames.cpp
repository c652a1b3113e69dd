#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"

#include <algorithm>

// Names of symbols and the text of their data types.

namespace {

constexpr U32 MAX_NAME_DEPTH = 21;
constexpr size_t MAX_NAME_SIZE = 511;
constexpr size_t MAX_TYPE_TEXT = 498;
constexpr int MAX_TYPE_STEPS = 25;
constexpr U32 MAX_TYPE_DIES = 2000; ///< read for one text: parameters of parameters could go on for ever

struct SHORT_NAME {
    std::initializer_list<const char*> Found;
    const char* sShort;
};

const SHORT_NAME aShortName[] = {
    {{"unsigned char"}, "uchar"},
    {{"short unsigned int", "unsigned short int", "unsigned short"}, "ushort"},
    {{"unsigned int"}, "uint"},
    {{"long unsigned int", "long uint", "unsigned long int", "unsigned long"}, "ulong"},
    {{"long long unsigned int", "unsigned long long int", "unsigned long long"}, "long ulong"},
    {{"signed char"}, "char"},
    {{"short signed int", "signed short int", "signed short", "short int"}, "short"},
    {{"signed int"}, "int"},
    {{"long signed int", "signed long int", "signed long", "long int"}, "long"},
    {{"long long signed int", "signed long long int", "signed long long", "long long int"}, "long long"},
};

class CTypeText {
public:
    CTypeText(DWARF_STORE& S, U32* pBudget) : m_S(S), m_Budget(*pBudget) {}

    std::string Build(U32 Die) {
        U32 Step = Die;
        for (int i = 0; i < MAX_TYPE_STEPS && Step != 0; ++i) {
            if (m_Budget == 0) {
                return {};
            }
            --m_Budget;
            const U32 Tag = GetDieType(m_S, Step);
            AddStep(Step, Tag);
            DWARF_ATTR Attr;
            const bool HasNext = Tag != DW_TAG_enumeration_type && CreateDieAttrEx(m_S, Step, DW_AT_type, &Attr);
            Step = HasNext && Attr.Class == ATTR_REF ? static_cast<U32>(Attr.Value) : 0;
        }
        if (m_sText.empty() || m_sText == "*") {
            m_sText = m_sTypedef.empty() ? "void*" : m_sTypedef + m_sText;
        } else if (m_sText[0] == '*') { // a pointer to a pointer to nothing, or a function that gives one
            m_sText.insert(0, "void");
        }
        m_sText = m_sQualifier + m_sText;
        if (IsStaticDie(m_S, Die)) {
            m_sText = "static " + m_sText;
        }
        U64 Virtuality = 0;
        if (GetAttributeAsU64(m_S, Die, DW_AT_virtuality, &Virtuality) && Virtuality != 0) {
            m_sText = "virtual " + m_sText;
        }
        return m_sText;
    }

private:
    void Prepend(std::string_view sText) {
        m_sText.insert(0, sText);
        if (m_sText.size() > 2 * MAX_NAME_SIZE) {
            m_Budget = 0; // too long to be shown
        }
    }

    void AddStep(U32 Die, U32 Tag) {
        switch (Tag) {
        case DW_TAG_array_type:
            AddArray(Die);
            break;
        case DW_TAG_class_type:
            AddCompound(Die, "class");
            break;
        case DW_TAG_structure_type:
            AddCompound(Die, "struct");
            break;
        case DW_TAG_union_type:
            AddCompound(Die, "union");
            break;
        case DW_TAG_enumeration_type:
            AddCompound(Die, "enum");
            break;
        case DW_TAG_pointer_type:
            Prepend("*");
            break;
        case DW_TAG_reference_type:
            Prepend("&");
            break;
        case DW_TAG_rvalue_reference_type:
            Prepend("&&");
            break;
        case DW_TAG_ptr_to_member_type:
            Prepend(" " + GetDieName(m_S, GetReferenceDie(m_S, Die, DW_AT_containing_type)) + "::*");
            break;
        case DW_TAG_subroutine_type:
        case DW_TAG_subprogram:
        case DW_TAG_inlined_subroutine:
            AddParameters(Die);
            break;
        case DW_TAG_typedef:
            m_sTypedef = GetDieName(m_S, Die);
            break;
        case DW_TAG_base_type:
            Prepend(GetDieName(m_S, Die));
            break;
        case DW_TAG_const_type:
            m_sQualifier = "const ";
            break;
        case DW_TAG_volatile_type:
            m_sQualifier = "volatile ";
            break;
        default:
            break;
        }
    }

    void AddArray(U32 Die) {
        const ELF_SYM_ARRAY_INFO Info = GetDieArrayInfo(m_S, Die);
        std::string sDims;
        for (U32 i = 0; i < Info.NumDims; ++i) {
            sDims += (i != 0 ? "][" : "") + std::to_string(Info.aDim[i]);
        }
        Prepend("[" + sDims + "]");
    }

    void AddCompound(U32 Die, const char* sKeyword) {
        const std::string sName = GetDieName(m_S, Die);
        Prepend(sName.empty() ? m_sTypedef : sName);
        Prepend(m_sText.empty() ? sKeyword : std::string(sKeyword) + " ");
    }

    void AddParameters(U32 Die) {
        std::string sList;
        for (const U32 Param : DWARF_GetChildren(m_S, Die, DW_TAG_formal_parameter)) {
            DWARF_ATTR Attr;
            if (m_Budget == 0 || sList.size() > MAX_TYPE_TEXT) {
                break;
            }
            if (!CreateDieAttrEx(m_S, Param, DW_AT_artificial, &Attr) || Attr.Value == 0) {
                sList += (sList.empty() ? "" : ", ") + CTypeText(m_S, &m_Budget).Build(Param);
            }
        }
        Prepend("(" + sList + ")");
        DWARF_ATTR Attr;
        const bool HasType = CreateDieAttrEx(m_S, Die, DW_AT_type, &Attr) && Attr.Class == ATTR_REF;
        if (!HasType || GetDieType(m_S, static_cast<U32>(Attr.Value)) == DW_TAG_unspecified_type) { // an assembler's
            Prepend("void");
        }
    }

    DWARF_STORE& m_S;
    U32& m_Budget;
    std::string m_sText;
    std::string m_sQualifier;
    std::string m_sTypedef;
};

} // namespace

std::string DWARF_ShortenBaseType(std::string sName) {
    for (const SHORT_NAME& Name : aShortName) {
        for (const char* sFound : Name.Found) {
            if (const size_t Pos = sName.find(sFound); Pos != std::string::npos) {
                sName.replace(Pos, std::strlen(sFound), Name.sShort);
            }
        }
    }
    return sName;
}

std::string_view GetDieRawName(const DWARF_STORE& S, U32 Die, U32 Depth) {
    DWARF_DIE D;
    return Depth < MAX_NAME_DEPTH && DWARF_OpenDie(S, Die, &D) ? GetDieRawName(S, Die, D, Depth) : std::string_view();
}

std::string_view GetDieRawName(const DWARF_STORE& S, U32 Die, const DWARF_DIE& D, U32 Depth) {
    DWARF_ATTR Attr;
    if (DWARF_GetAttr(S, D, DW_AT_name, &Attr) && Attr.Class == ATTR_STRING) {
        return Attr.sText;
    }
    for (const U32 At : {DW_AT_abstract_origin, DW_AT_specification}) {
        if (DWARF_GetAttr(S, D, At, &Attr) && Attr.Class == ATTR_REF && Attr.Value != 0) {
            const U32 Target = static_cast<U32>(Attr.Value);
            return Target != Die ? GetDieRawName(S, Target, Depth + 1) : std::string_view();
        }
    }
    const U32 Definition = GetDefinitionDie(S, Die);
    return Definition != Die ? GetDieRawName(S, Definition, Depth + 2) : std::string_view();
}

std::string GetDieName(const DWARF_STORE& S, U32 Die, U32 Depth) {
    const std::string sName(GetDieRawName(S, Die, Depth).substr(0, MAX_NAME_SIZE));
    return GetDieType(S, Die) == DW_TAG_base_type ? DWARF_ShortenBaseType(sName) : sName;
}

const std::string& GetDieTypeStr(DWARF_STORE& S, U32 Die) {
    constexpr size_t MAX_CACHED = 1 << 20;
    if (S.TypeNameTable.size() > MAX_CACHED) {
        S.TypeNameTable.clear();
    }
    const auto [It, IsNew] = S.TypeNameTable.try_emplace(Die);
    if (IsNew && DWARF_IsDie(S, Die)) {
        U32 Budget = MAX_TYPE_DIES;
        std::string sText = CTypeText(S, &Budget).Build(Die);
        It->second = sText.size() <= MAX_TYPE_TEXT && Budget != 0 ? std::move(sText) : std::string();
    }
    return It->second;
}

bool IsStaticDie(const DWARF_STORE& S, U32 Die) {
    if (GetDieParentFunc(S, Die) != 0) {
        return GetDieLoc(S, Die, DW_AT_location, 0).Kind == ELF_LOC_MEM;
    }
    const U32 Tag = GetDieType(S, Die);
    const bool IsFunc = Tag == DW_TAG_subprogram || Tag == DW_TAG_inlined_subroutine || Tag == DW_TAG_subroutine_type;
    DWARF_ATTR Attr;
    return IsFunc && !CreateDieAttrEx(S, Die, DW_AT_object_pointer, &Attr);
}
