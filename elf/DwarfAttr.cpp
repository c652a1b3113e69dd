#include "elf/DwarfAttr.h"

#include "elf/DwarfConst.h"

// Attribute forms (DWARF 5, section 7.5.5).

namespace {

constexpr U32 MAX_TEXT_SIZE = 16'384; ///< a longer name is damage, and every DIE may have the same one
constexpr U32 LISTS_HEADER_SIZE = 8;  ///< of .debug_addr and .debug_str_offsets, where the unit names no base

std::string_view StringAt(const DWARF_STORE& S, U32 Section, U64 Off) {
    CByteReader R = DWARF_At(S, Section, Off, Off + MAX_TEXT_SIZE);
    return R.GetString();
}

std::string_view IndexedString(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Idx) {
    const U64 Base = Unit.StrOffsetsBase != 0 ? Unit.StrOffsetsBase : LISTS_HEADER_SIZE;
    if (Idx > S.aSection[DSEC_STR_OFFSETS].Size) {
        return {};
    }
    CByteReader R = DWARF_At(S, DSEC_STR_OFFSETS, Base + Idx * Unit.OffsetSize);
    const U64 Off = R.Get(Unit.OffsetSize);
    return R.IsOk() ? StringAt(S, DSEC_STR, Off) : std::string_view();
}

U32 DieOfSignature(const DWARF_STORE& S, U64 Signature) {
    const auto It = S.UnitOfSignature.find(Signature);
    if (It == S.UnitOfSignature.end()) {
        return 0;
    }
    const DWARF_UNIT& Unit = S.Units[It->second];
    return DWARF_DieAt(S, Unit.Section, Unit.TypeOff);
}

bool SetBlock(CByteReader& R, U64 Size, U8 Class, DWARF_ATTR* pAttr) {
    if (Size > R.GetLeft()) {
        return false;
    }
    pAttr->Class = Class;
    pAttr->pBlock = R.GetPtr();
    pAttr->BlockSize = static_cast<U32>(Size);
    return R.Skip(Size);
}

void SetNumber(DWARF_ATTR* pAttr, U8 Class, U64 Value) {
    pAttr->Class = Class;
    pAttr->Value = Value;
}

void SetText(DWARF_ATTR* pAttr, std::string_view sText) {
    pAttr->Class = ATTR_STRING;
    pAttr->sText = sText;
}

bool ReadForm(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, U32 SpecIdx, U32 Form, DWARF_ATTR* pAttr) {
    pAttr->Form = static_cast<U16>(Form);
    const int Size = DWARF_FormSize(Form, Unit);
    const auto Number = [&] { return Size == SKIP_ULEB ? R.GetULeb() : R.Get(static_cast<U32>(Size)); };
    switch (Form) {
    case DW_FORM_addr:
        SetNumber(pAttr, ATTR_ADDR, Number());
        return R.IsOk();
    case DW_FORM_addrx:
    case DW_FORM_addrx1:
    case DW_FORM_addrx2:
    case DW_FORM_addrx3:
    case DW_FORM_addrx4:
        pAttr->Class = ATTR_ADDR;
        return DWARF_ReadAddrIndex(S, Unit, Number(), &pAttr->Value) && R.IsOk();
    case DW_FORM_data1:
    case DW_FORM_data2:
    case DW_FORM_data4:
    case DW_FORM_data8:
    case DW_FORM_udata:
        SetNumber(pAttr, ATTR_NUM, Number());
        return R.IsOk();
    case DW_FORM_sdata:
        SetNumber(pAttr, ATTR_SNUM, static_cast<U64>(R.GetSLeb()));
        return R.IsOk();
    case DW_FORM_implicit_const:
        SetNumber(pAttr, ATTR_SNUM, static_cast<U64>(DWARF_ImplicitConst(S, SpecIdx)));
        return true;
    case DW_FORM_data16:
        return SetBlock(R, 16, ATTR_BLOCK, pAttr);
    case DW_FORM_flag:
        SetNumber(pAttr, ATTR_FLAG, R.GetU8() != 0);
        return R.IsOk();
    case DW_FORM_flag_present:
        SetNumber(pAttr, ATTR_FLAG, 1);
        return true;
    case DW_FORM_ref1:
    case DW_FORM_ref2:
    case DW_FORM_ref4:
    case DW_FORM_ref8:
    case DW_FORM_ref_udata: {
        const U64 Off = DWARF_ReadReference(R, Form, Unit);
        SetNumber(pAttr, ATTR_REF, Off >= Unit.Off && Off < Unit.End ? DWARF_DieAt(S, Unit.Section, Off) : 0);
        return R.IsOk();
    }
    case DW_FORM_ref_addr:
        SetNumber(pAttr, ATTR_REF, DWARF_DieAt(S, DSEC_INFO, Number()));
        return R.IsOk();
    case DW_FORM_ref_sig8:
        SetNumber(pAttr, ATTR_REF, DieOfSignature(S, R.GetU64()));
        return R.IsOk();
    case DW_FORM_sec_offset:
        SetNumber(pAttr, ATTR_OFFSET, Number());
        return R.IsOk();
    case DW_FORM_loclistx:
    case DW_FORM_rnglistx:
        SetNumber(pAttr, ATTR_INDEX, Number());
        return R.IsOk();
    case DW_FORM_string:
        SetText(pAttr, R.GetString());
        return R.IsOk();
    case DW_FORM_strp:
    case DW_FORM_line_strp:
        SetText(pAttr, StringAt(S, Form == DW_FORM_strp ? DSEC_STR : DSEC_LINE_STR, Number()));
        return R.IsOk();
    case DW_FORM_strx:
    case DW_FORM_strx1:
    case DW_FORM_strx2:
    case DW_FORM_strx3:
    case DW_FORM_strx4:
        SetText(pAttr, IndexedString(S, Unit, Number()));
        return R.IsOk();
    case DW_FORM_block1:
        return SetBlock(R, R.GetU8(), ATTR_BLOCK, pAttr);
    case DW_FORM_block2:
        return SetBlock(R, R.GetU16(), ATTR_BLOCK, pAttr);
    case DW_FORM_block4:
        return SetBlock(R, R.GetU32(), ATTR_BLOCK, pAttr);
    case DW_FORM_block:
        return SetBlock(R, R.GetULeb(), ATTR_BLOCK, pAttr);
    case DW_FORM_exprloc:
        return SetBlock(R, R.GetULeb(), ATTR_EXPR, pAttr);
    default:
        return DWARF_SkipForm(R, Form, Unit); // of another file: there, but without a value
    }
}

bool FindIn(const DWARF_STORE& S, const DWARF_UNIT& Unit, const DWARF_ABBREV& Abbrev, CByteReader& R, U32 At,
            DWARF_ATTR* pAttr) {
    for (U32 i = Abbrev.FirstAttr; i < Abbrev.FirstAttr + Abbrev.NumAttrs; ++i) {
        if (S.AttrSpecs[i].At == At) {
            *pAttr = {};
            return DWARF_ReadValue(S, Unit, R, i, pAttr) && pAttr->Class != ATTR_NONE;
        }
        if (!DWARF_SkipForm(R, S.AttrSpecs[i].Form, Unit)) {
            return false;
        }
    }
    return false;
}

bool HasSpec(const DWARF_STORE& S, const DWARF_ABBREV& Abbrev, U32 At) {
    for (U32 i = Abbrev.FirstAttr; i < Abbrev.FirstAttr + Abbrev.NumAttrs; ++i) {
        if (S.AttrSpecs[i].At == At) {
            return true;
        }
    }
    return false;
}

} // namespace

bool DWARF_ReadAddrIndex(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Idx, U64* pAddr) {
    const U64 Base = Unit.AddrBase != 0 ? Unit.AddrBase : LISTS_HEADER_SIZE;
    if (Idx > S.aSection[DSEC_ADDR].Size) {
        return false;
    }
    CByteReader R = DWARF_At(S, DSEC_ADDR, Base + Idx * Unit.AddrSize);
    *pAddr = R.Get(Unit.AddrSize);
    return R.IsOk();
}

bool DWARF_ReadValue(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, U32 SpecIdx, DWARF_ATTR* pAttr) {
    U32 Form = S.AttrSpecs[SpecIdx].Form;
    if (Form == DW_FORM_indirect) {
        const U64 Real = R.GetULeb();
        if (Real == DW_FORM_indirect || Real == DW_FORM_implicit_const || Real > 0xFFFF) {
            return false;
        }
        Form = static_cast<U32>(Real);
    }
    return ReadForm(S, Unit, R, SpecIdx, Form, pAttr);
}

bool DWARF_ReadForm(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, U32 Form, DWARF_ATTR* pAttr) {
    return Form != DW_FORM_indirect && Form != DW_FORM_implicit_const &&
           ReadForm(S, Unit, R, static_cast<U32>(S.AttrSpecs.size()), Form, pAttr);
}

bool DWARF_OpenDie(const DWARF_STORE& S, U32 Die, DWARF_DIE* pDie) {
    return DWARF_IsDie(S, Die) && DWARF_OpenKnownDie(S, Die, pDie);
}

bool DWARF_OpenKnownDie(const DWARF_STORE& S, U32 Die, DWARF_DIE* pDie) {
    const U32 Section = DWARF_SectionOf(Die, S);
    const U32 Off = DWARF_OffsetOf(Die, S);
    pDie->pUnit = DWARF_UnitAt(S, Section, Off);
    if (pDie->pUnit == nullptr) {
        return false;
    }
    pDie->R = DWARF_At(S, Section, Off, pDie->pUnit->End);
    pDie->pAbbrev = DWARF_FindAbbrev(S, *pDie->pUnit, pDie->R.GetULeb());
    return pDie->pAbbrev != nullptr;
}

bool DWARF_GetAttr(const DWARF_STORE& S, const DWARF_DIE& D, U32 At, DWARF_ATTR* pAttr) {
    CByteReader R = D.R;
    return HasSpec(S, *D.pAbbrev, At) && FindIn(S, *D.pUnit, *D.pAbbrev, R, At, pAttr);
}

bool DWARF_GetAttr(const DWARF_STORE& S, U32 Die, U32 At, DWARF_ATTR* pAttr) {
    DWARF_DIE D;
    return DWARF_OpenDie(S, Die, &D) && DWARF_GetAttr(S, D, At, pAttr);
}

U32 DWARF_PeekReference(const DWARF_STORE& S, const DWARF_DIE& D, U32 At) {
    if (!HasSpec(S, *D.pAbbrev, At)) {
        return 0;
    }
    CByteReader R = D.R;
    for (U32 i = D.pAbbrev->FirstAttr; i < D.pAbbrev->FirstAttr + D.pAbbrev->NumAttrs; ++i) {
        const U32 Form = S.AttrSpecs[i].Form;
        if (S.AttrSpecs[i].At == At) {
            const U64 Off = DWARF_ReadReference(R, Form, *D.pUnit);
            return Off > D.pUnit->Off && Off < D.pUnit->End ? DWARF_MakeID(D.pUnit->Section, static_cast<U32>(Off)) : 0;
        }
        if (!DWARF_SkipForm(R, Form, *D.pUnit)) {
            return 0;
        }
    }
    return 0;
}

bool DWARF_GetUnitAttr(const DWARF_STORE& S, const DWARF_UNIT& Unit, U32 At, DWARF_ATTR* pAttr) {
    CByteReader R = DWARF_At(S, Unit.Section, Unit.DieOff, Unit.End);
    const DWARF_ABBREV* pAbbrev = DWARF_FindAbbrev(S, Unit, R.GetULeb());
    return pAbbrev != nullptr && FindIn(S, Unit, *pAbbrev, R, At, pAttr);
}
