#include "elf/DwarfConst.h"
#include "elf/DwarfReader.h"
#include "elf/DwarfUnits.h"

#include <algorithm>
#include <iterator>

// Abbreviations, and how to lead over the values of each form (DWARF 5, sections 7.5.3 and 7.5.6).

namespace {

constexpr U32 MAX_ATTRS = 4096; ///< of one abbreviation; compilers stay below 30

U8 ActionOf(U16 Tag) {
    switch (Tag) {
    case DW_TAG_variable:
        return DACT_VARIABLE;
    case DW_TAG_subprogram:
        return DACT_FUNC;
    case DW_TAG_inlined_subroutine:
        return DACT_INLINE;
    case DW_TAG_typedef:
        return DACT_TYPEDEF;
    case DW_TAG_class_type:
    case DW_TAG_structure_type:
    case DW_TAG_union_type:
    case DW_TAG_enumeration_type:
        return DACT_TYPE;
    case DW_TAG_namespace:
        return DACT_NAMESPACE;
    case DW_TAG_member:
    case DW_TAG_enumerator:
    case DW_TAG_formal_parameter:
    case DW_TAG_inheritance:
        return DACT_MEMBER;
    default:
        return DACT_NONE;
    }
}

constexpr U32 Bit(DWARF_FIELD Field) { return 1u << Field; }

/// Fields that the linear pass reads of a DIE, by what it does with it.
U32 FieldsOf(U8 Action) {
    constexpr U32 KEPT = Bit(DFLD_DECLARATION) | Bit(DFLD_ARTIFICIAL) | Bit(DFLD_SPECIFICATION);
    switch (Action) {
    case DACT_VARIABLE:
        return KEPT | Bit(DFLD_NAME);
    case DACT_FUNC:
        return KEPT | Bit(DFLD_NAME) | Bit(DFLD_LOW) | Bit(DFLD_HIGH) | Bit(DFLD_RANGES) | Bit(DFLD_ORIGIN) |
               Bit(DFLD_MAIN);
    case DACT_INLINE:
        return KEPT | Bit(DFLD_LOW) | Bit(DFLD_HIGH) | Bit(DFLD_RANGES) | Bit(DFLD_ORIGIN);
    case DACT_TYPEDEF:
        return Bit(DFLD_NAME);
    case DACT_TYPE:
        return KEPT | Bit(DFLD_NAME) | Bit(DFLD_SIZE);
    case DACT_NAMESPACE:
        return Bit(DFLD_NAME) | Bit(DFLD_EXTENSION);
    case DACT_MEMBER:
        return KEPT;
    default:
        return 0;
    }
}

struct FIELD_OF_ATTR {
    U16 At;
    DWARF_FIELD Field;
};

constexpr FIELD_OF_ATTR aField[] = {
    {DW_AT_name, DFLD_NAME},
    {DW_AT_low_pc, DFLD_LOW},
    {DW_AT_high_pc, DFLD_HIGH},
    {DW_AT_ranges, DFLD_RANGES},
    {DW_AT_declaration, DFLD_DECLARATION},
    {DW_AT_artificial, DFLD_ARTIFICIAL},
    {DW_AT_byte_size, DFLD_SIZE},
    {DW_AT_specification, DFLD_SPECIFICATION},
    {DW_AT_abstract_origin, DFLD_ORIGIN},
    {DW_AT_main_subprogram, DFLD_MAIN},
    {DW_AT_extension, DFLD_EXTENSION},
};
static_assert(std::size(aField) == NUM_DFLD);

/// Appends a skip or look program to the list; neighbouring byte counts become one.
class CSkipWriter {
public:
    explicit CSkipWriter(std::vector<U16>* pSkips) : m_pSkips(pSkips), m_First(pSkips->size()) {}
    void Add(int SizeOrCode) {
        if (SizeOrCode == 0) {
            return;
        }
        const bool IsSize = SizeOrCode < LOOK_FIRST;
        if (IsSize && m_IsLastSize && m_pSkips->back() + SizeOrCode < LOOK_FIRST) {
            m_pSkips->back() = static_cast<U16>(m_pSkips->back() + SizeOrCode);
        } else {
            m_pSkips->push_back(static_cast<U16>(SizeOrCode));
        }
        m_IsLastSize = IsSize;
    }
    void AddLook(DWARF_FIELD Field, U32 Form) {
        m_pSkips->push_back(static_cast<U16>(static_cast<U32>(LOOK_FIRST) + Field));
        m_pSkips->push_back(static_cast<U16>(Form));
        m_IsLastSize = false;
    }
    U32 First() const { return static_cast<U32>(m_First); }
    U16 Num() const { return static_cast<U16>(m_pSkips->size() - m_First); }

private:
    std::vector<U16>* m_pSkips;
    size_t m_First;
    bool m_IsLastSize = false;
};

void WriteSkips(DWARF_STORE& S, const DWARF_UNIT& Unit, DWARF_ABBREV* pAbbrev) {
    CSkipWriter Skips(&S.Skips);
    for (U32 i = 0; i < pAbbrev->NumAttrs; ++i) {
        Skips.Add(DWARF_FormSize(S.AttrSpecs[pAbbrev->FirstAttr + i].Form, Unit));
    }
    pAbbrev->FirstSkip = Skips.First();
    pAbbrev->NumSkips = Skips.Num();
}

void WriteLooks(DWARF_STORE& S, const DWARF_UNIT& Unit, DWARF_ABBREV* pAbbrev) {
    const U32 Fields = FieldsOf(pAbbrev->Action);
    CSkipWriter Looks(&S.Skips);
    bool HasFields = false;
    for (U32 i = 0; Fields != 0 && i < pAbbrev->NumAttrs; ++i) {
        const DWARF_ATTR_SPEC Spec = S.AttrSpecs[pAbbrev->FirstAttr + i];
        const auto* pField = std::find_if(std::begin(aField), std::end(aField),
                                          [&](const FIELD_OF_ATTR& Field) { return Field.At == Spec.At; });
        if (pField != std::end(aField) && (Fields & Bit(pField->Field)) != 0) {
            const bool IsZero =
                Spec.Form == DW_FORM_implicit_const && DWARF_ImplicitConst(S, pAbbrev->FirstAttr + i) == 0;
            if (IsZero) {
                // as if it weren't there
            } else if (Spec.Form == DW_FORM_flag_present && pField->Field == DFLD_DECLARATION) {
                pAbbrev->IsRefused |= 1;
            } else if (Spec.Form == DW_FORM_flag_present && pField->Field == DFLD_ARTIFICIAL) {
                pAbbrev->IsRefused |= 2;
            } else {
                Looks.AddLook(pField->Field, Spec.Form);
                HasFields = true;
            }
        }
        Looks.Add(DWARF_FormSize(Spec.Form, Unit));
    }
    if (!HasFields) {
        S.Skips.resize(Looks.First());
        return;
    }
    pAbbrev->FirstLook = Looks.First();
    pAbbrev->NumLooks = Looks.Num();
}

/// Reads the attribute list of one abbreviation. False if it is damaged.
bool ReadAttrs(DWARF_STORE& S, CByteReader& R, const DWARF_UNIT& Unit, DWARF_ABBREV* pAbbrev) {
    for (U32 n = 0; n < MAX_ATTRS; ++n) {
        const U64 At = R.GetULeb();
        const U64 Form = R.GetULeb();
        if (!R.IsOk()) {
            return false;
        }
        if (At == 0 && Form == 0) {
            pAbbrev->NumAttrs = static_cast<U16>(n);
            WriteSkips(S, Unit, pAbbrev);
            WriteLooks(S, Unit, pAbbrev);
            return true;
        }
        if (Form > 0xFFFF || DWARF_FormSize(static_cast<U32>(Form), Unit) < 0) {
            return false; // of unknown length: nothing behind it could be read
        }
        if (Form == DW_FORM_implicit_const) {
            S.ImplicitConsts.push_back(R.GetSLeb());
            S.ImplicitKeys.push_back(static_cast<U32>(S.AttrSpecs.size()));
        }
        S.AttrSpecs.push_back({static_cast<U16>(At <= 0xFFFF ? At : 0), static_cast<U16>(Form)});
    }
    return false;
}

} // namespace

I64 DWARF_ImplicitConst(const DWARF_STORE& S, U32 SpecIdx) {
    const auto It = std::lower_bound(S.ImplicitKeys.begin(), S.ImplicitKeys.end(), SpecIdx);
    return It != S.ImplicitKeys.end() && *It == SpecIdx
               ? S.ImplicitConsts[static_cast<size_t>(It - S.ImplicitKeys.begin())]
               : 0;
}

int DWARF_FormSize(U32 Form, const DWARF_UNIT& Unit) {
    switch (Form) {
    case DW_FORM_flag_present:
    case DW_FORM_implicit_const:
        return 0;
    case DW_FORM_data1:
    case DW_FORM_ref1:
    case DW_FORM_flag:
    case DW_FORM_strx1:
    case DW_FORM_addrx1:
        return 1;
    case DW_FORM_data2:
    case DW_FORM_ref2:
    case DW_FORM_strx2:
    case DW_FORM_addrx2:
        return 2;
    case DW_FORM_strx3:
    case DW_FORM_addrx3:
        return 3;
    case DW_FORM_data4:
    case DW_FORM_ref4:
    case DW_FORM_strx4:
    case DW_FORM_addrx4:
    case DW_FORM_ref_sup4:
        return 4;
    case DW_FORM_data8:
    case DW_FORM_ref8:
    case DW_FORM_ref_sig8:
    case DW_FORM_ref_sup8:
        return 8;
    case DW_FORM_data16:
        return 16;
    case DW_FORM_addr:
        return Unit.AddrSize;
    case DW_FORM_strp:
    case DW_FORM_line_strp:
    case DW_FORM_strp_sup:
    case DW_FORM_sec_offset:
    case DW_FORM_GNU_ref_alt:
    case DW_FORM_GNU_strp_alt:
        return Unit.OffsetSize;
    case DW_FORM_ref_addr:
        return Unit.Version < 3 ? Unit.AddrSize : Unit.OffsetSize;
    case DW_FORM_sdata:
    case DW_FORM_udata:
    case DW_FORM_ref_udata:
    case DW_FORM_strx:
    case DW_FORM_addrx:
    case DW_FORM_loclistx:
    case DW_FORM_rnglistx:
        return SKIP_ULEB;
    case DW_FORM_string:
        return SKIP_STRING;
    case DW_FORM_block1:
        return SKIP_BLOCK1;
    case DW_FORM_block2:
        return SKIP_BLOCK2;
    case DW_FORM_block4:
        return SKIP_BLOCK4;
    case DW_FORM_block:
    case DW_FORM_exprloc:
        return SKIP_BLOCK;
    case DW_FORM_indirect:
        return SKIP_INDIRECT;
    default:
        return -1;
    }
}

U64 DWARF_ReadReference(CByteReader& R, U32 Form, const DWARF_UNIT& Unit) {
    switch (Form) {
    case DW_FORM_ref_addr:
        return Unit.Section == DSEC_INFO ? R.Get(static_cast<U32>(DWARF_FormSize(Form, Unit))) : 0;
    case DW_FORM_ref_udata:
        return Unit.Off + R.GetULeb();
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
    case DW_FORM_ref8:
        return Unit.Off + R.Get(static_cast<U32>(DWARF_FormSize(Form, Unit)));
    default:
        return 0;
    }
}

bool DWARF_SkipCode(CByteReader& R, U32 Code, const DWARF_UNIT& Unit) {
    switch (Code) {
    case SKIP_ULEB:
        while (R.GetU8() >= 0x80 && R.IsOk()) {
        }
        return R.IsOk();
    case SKIP_STRING:
        R.GetString();
        return R.IsOk();
    case SKIP_BLOCK1:
        return R.Skip(R.GetU8());
    case SKIP_BLOCK2:
        return R.Skip(R.GetU16());
    case SKIP_BLOCK4:
        return R.Skip(R.GetU32());
    case SKIP_BLOCK:
        return R.Skip(R.GetULeb());
    case SKIP_INDIRECT: {
        const U64 Form = R.GetULeb();
        return Form != DW_FORM_indirect && Form <= 0xFFFF && DWARF_SkipForm(R, static_cast<U32>(Form), Unit);
    }
    default:
        return R.Skip(Code);
    }
}

bool DWARF_SkipForm(CByteReader& R, U32 Form, const DWARF_UNIT& Unit) {
    const int Size = DWARF_FormSize(Form, Unit);
    return Size >= 0 && DWARF_SkipCode(R, static_cast<U32>(Size), Unit) && R.IsOk();
}

const DWARF_ABBREV* DWARF_FindAbbrev(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Code) {
    const DWARF_ABBREV_SET& Set = S.AbbrevSets[Unit.AbbrevSet];
    const DWARF_ABBREV* pFirst = S.Abbrevs.data() + Set.First;
    if (Set.IsDense) {
        return Code - 1 < Set.Num ? pFirst + (Code - 1) : nullptr;
    }
    const DWARF_ABBREV* p =
        std::lower_bound(pFirst, pFirst + Set.Num, Code, [](const DWARF_ABBREV& a, U64 Key) { return a.Code < Key; });
    return p != pFirst + Set.Num && p->Code == Code ? p : nullptr;
}

int DWARF_ReadAbbrevs(DWARF_STORE& S, U64 Off, const DWARF_UNIT& Unit, U64* pBudget) {
    CByteReader R = DWARF_At(S, DSEC_ABBREV, Off);
    const U64 NumBytes = R.GetLeft();
    DWARF_ABBREV_SET Set;
    Set.First = static_cast<U32>(S.Abbrevs.size());
    Set.IsDense = true;
    bool IsOk = false;
    while (R.IsOk()) {
        DWARF_ABBREV Abbrev{};
        const U64 Code = R.GetULeb();
        if (!R.IsOk() || Code == 0) {
            IsOk = R.IsOk();
            break;
        }
        Abbrev.Code = static_cast<U32>(Code);
        const U64 Tag = R.GetULeb();
        Abbrev.Tag = static_cast<U16>(Tag);
        Abbrev.HasChildren = R.GetU8() != 0;
        Abbrev.Action = ActionOf(Abbrev.Tag);
        Abbrev.FirstAttr = static_cast<U32>(S.AttrSpecs.size());
        if (Code > 0xFFFFFFFF || Tag > 0xFFFF || NumBytes - R.GetLeft() > *pBudget || !ReadAttrs(S, R, Unit, &Abbrev)) {
            break;
        }
        Set.IsDense = Set.IsDense && Code == Set.Num + 1;
        S.Abbrevs.push_back(Abbrev);
        ++Set.Num;
    }
    *pBudget -= std::min(*pBudget, NumBytes - R.GetLeft());
    if (!Set.IsDense) {
        std::stable_sort(S.Abbrevs.begin() + Set.First, S.Abbrevs.end(),
                         [](const DWARF_ABBREV& a, const DWARF_ABBREV& b) { return a.Code < b.Code; });
    }
    S.AbbrevSets.push_back(Set);
    return IsOk ? static_cast<int>(S.AbbrevSets.size()) - 1 : -1;
}
