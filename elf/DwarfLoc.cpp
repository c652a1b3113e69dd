#include "elf/Dwarf.h"

#include <algorithm>
#include <libdwarf/dwarf.h>

// Locations: which expression of a location list holds at a PC (DWARF 5, section 7.7.3; before that .debug_loc), and
// what its first operation says.

namespace {

constexpr U32 PC_NONE = 0xFFFFFFFF;
constexpr U32 MAX_LIST_ENTRIES = 100'000;
constexpr U32 MAX_ENTRY_DEPTH = 4; ///< of entry values inside entry values
constexpr U8 LLE_GNU_VIEW_PAIR = 9;

/// Kinds of operands, one character each: numbers are bytes, u and s LEB128, a an address, o an offset, b a block with
/// a LEB128 length, c a block with a one-byte length.
const char* _OperandsOf(U8 Op) {
    if ((Op >= DW_OP_lit0 && Op <= DW_OP_lit31) || (Op >= DW_OP_reg0 && Op <= DW_OP_reg31)) {
        return "";
    }
    if (Op >= DW_OP_breg0 && Op <= DW_OP_breg31) {
        return "s";
    }
    switch (Op) {
    case DW_OP_addr:
        return "a";
    case DW_OP_const1u:
    case DW_OP_const1s:
    case DW_OP_pick:
    case DW_OP_deref_size:
    case DW_OP_xderef_size:
        return "1";
    case DW_OP_const2u:
    case DW_OP_const2s:
    case DW_OP_skip:
    case DW_OP_bra:
    case DW_OP_call2:
        return "2";
    case DW_OP_const4u:
    case DW_OP_const4s:
    case DW_OP_call4:
    case 0xFA: // DW_OP_GNU_parameter_ref
        return "4";
    case DW_OP_const8u:
    case DW_OP_const8s:
        return "8";
    case DW_OP_constu:
    case DW_OP_plus_uconst:
    case DW_OP_regx:
    case DW_OP_piece:
    case DW_OP_addrx:
    case DW_OP_constx:
    case DW_OP_convert:
    case DW_OP_reinterpret:
    case 0xF7: // DW_OP_GNU_convert
    case 0xF9: // DW_OP_GNU_reinterpret
        return "u";
    case DW_OP_consts:
    case DW_OP_fbreg:
        return "s";
    case DW_OP_bregx:
        return "us";
    case DW_OP_bit_piece:
    case DW_OP_regval_type:
    case 0xF5: // DW_OP_GNU_regval_type
        return "uu";
    case DW_OP_call_ref:
    case 0xFD: // DW_OP_GNU_variable_value
        return "o";
    case DW_OP_implicit_value:
    case DW_OP_entry_value:
    case DW_OP_GNU_entry_value:
        return "b";
    case DW_OP_implicit_pointer:
    case 0xF2: // DW_OP_GNU_implicit_pointer
        return "os";
    case DW_OP_const_type:
    case 0xF4: // DW_OP_GNU_const_type
        return "uc";
    case DW_OP_deref_type:
    case DW_OP_xderef_type:
    case 0xF6: // DW_OP_GNU_deref_type
        return "1u";
    default:
        return "";
    }
}

void _SkipOperands(DWARF_READER& R, const DWARF_UNIT& Unit, const char* sKinds) {
    for (; *sKinds != '\0' && R.IsOk(); ++sKinds) {
        switch (*sKinds) {
        case 'u':
            R.GetUleb();
            break;
        case 's':
            R.GetSleb();
            break;
        case 'a':
            R.Skip(Unit.AddrSize);
            break;
        case 'o':
            R.Skip(Unit.OffsetSize);
            break;
        case 'b':
            R.Skip(R.GetUleb());
            break;
        case 'c':
            R.Skip(R.Get<U8>());
            break;
        default:
            R.Skip(static_cast<U64>(*sKinds - '0'));
            break;
        }
    }
}

U8 _LastOp(const DWARF_STORE& S, const DWARF_UNIT& Unit, const U8* pExpr, U32 Size) {
    DWARF_READER R(pExpr, Size, S.IsSwapped);
    U8 Op = 0;
    while (!R.IsAtEnd()) {
        Op = R.Get<U8>();
        _SkipOperands(R, Unit, _OperandsOf(Op));
    }
    return R.IsOk() ? Op : 0;
}

void _SetConst(ELF_SYM_LOC* pLoc, U64 Value) {
    pLoc->Kind = ELF_LOC_CONST;
    pLoc->Value = Value;
}

void _SetImplicitValue(const DWARF_STORE& S, DWARF_READER& R, ELF_SYM_LOC* pLoc) {
    const U64 Size = R.GetUleb();
    if (Size > R.NumLeft()) {
        return;
    }
    if (Size > 8) {
        ELF_Report(ELF_MSG_READER, "DW_OP_implicit_value with data size greater than 8 bytes is not supported");
    }
    U64 Value = 0;
    const U32 NumBytes = static_cast<U32>(std::min<U64>(Size, 8));
    std::memcpy(&Value, R.p, NumBytes);
    if (S.IsSwapped && NumBytes != 0) {
        Value = __builtin_bswap64(Value) >> (8 * (8 - NumBytes));
    }
    _SetConst(pLoc, Value);
}

struct EVALUATION {
    const DWARF_STORE& S;
    const DWARF_UNIT& Unit;
    bool IsFrameBase;
};

ELF_SYM_LOC _Evaluate(const EVALUATION& E, const U8* pExpr, U32 Size, U32 Depth);

void _SetEntryValue(const EVALUATION& E, DWARF_READER& R, U32 Depth, ELF_SYM_LOC* pLoc) {
    const U64 Size = R.GetUleb();
    if (Size == 0 || Size > R.NumLeft()) {
        ELF_Report(ELF_MSG_LIBDWARF, "libdwarf: Invalid location expression in func dwarf_loclist_from_expr");
        return;
    }
    const ELF_SYM_LOC Inner =
        Depth < MAX_ENTRY_DEPTH ? _Evaluate(E, R.p, static_cast<U32>(Size), Depth + 1) : ELF_SYM_LOC();
    if (Inner.Kind == ELF_LOC_NONE) {
        ELF_Report(ELF_MSG_READER,
                   "'DW_OP_entry_value' operation encountered that does not specify an entry location.");
        return;
    }
    pLoc->Kind = ELF_LOC_ON_ENTRY;
    pLoc->Base = {Inner.Kind, Inner.Addr, Inner.Reg, Inner.Off};
}

void _SetRegOffset(const EVALUATION& E, U64 Reg, I64 Off, ELF_SYM_LOC* pLoc) {
    if (E.IsFrameBase) {
        pLoc->Kind = ELF_LOC_REG_OFF;
        pLoc->Reg = static_cast<U32>(Reg);
        pLoc->Off = static_cast<I32>(Off);
    } else {
        pLoc->Kind = ELF_LOC_MEM_BASE;
        pLoc->Base = {ELF_LOC_REG_OFF, 0, static_cast<U32>(Reg), static_cast<I32>(Off)};
    }
}

void _SetOffset(U32 Kind, I64 Off, ELF_SYM_LOC* pLoc) {
    pLoc->Kind = Kind;
    pLoc->Off = static_cast<I32>(Off);
}

void _SetReg(U64 Reg, ELF_SYM_LOC* pLoc) {
    pLoc->Kind = ELF_LOC_REG;
    pLoc->Reg = static_cast<U32>(Reg);
}

void _SetAddr(U64 Addr, ELF_SYM_LOC* pLoc) {
    pLoc->Kind = ELF_LOC_MEM;
    pLoc->Addr = static_cast<U32>(Addr);
}

/// The first operation decides.
ELF_SYM_LOC _EvaluateFirst(const EVALUATION& E, DWARF_READER& R, U32 Depth) {
    ELF_SYM_LOC Loc;
    const U8 Op = R.Get<U8>();
    U64 Value = 0;
    if (Op >= DW_OP_reg0 && Op <= DW_OP_reg31) {
        _SetReg(Op - DW_OP_reg0, &Loc);
    } else if (Op >= DW_OP_breg0 && Op <= DW_OP_breg31) {
        _SetRegOffset(E, Op - DW_OP_breg0, R.GetSleb(), &Loc);
    } else if (Op >= DW_OP_lit0 && Op <= DW_OP_lit31) {
        _SetConst(&Loc, Op - DW_OP_lit0);
    } else {
        switch (Op) {
        case DW_OP_addr:
            _SetAddr(R.GetSized(E.Unit.AddrSize), &Loc);
            break;
        case DW_OP_addrx:
            if (DWARF_ReadAddrIndex(E.S, E.Unit, R.GetUleb(), &Value)) {
                _SetAddr(Value, &Loc);
            }
            break;
        case DW_OP_constx:
            if (DWARF_ReadAddrIndex(E.S, E.Unit, R.GetUleb(), &Value)) {
                _SetConst(&Loc, Value);
            }
            break;
        case DW_OP_const1u:
            _SetConst(&Loc, R.Get<U8>());
            break;
        case DW_OP_const1s:
            _SetConst(&Loc, static_cast<U64>(static_cast<I64>(R.Get<I8>())));
            break;
        case DW_OP_const2u:
            _SetConst(&Loc, R.Get<U16>());
            break;
        case DW_OP_const2s:
            _SetConst(&Loc, static_cast<U64>(static_cast<I64>(R.Get<I16>())));
            break;
        case DW_OP_const4u:
            _SetConst(&Loc, R.Get<U32>());
            break;
        case DW_OP_const4s:
            _SetConst(&Loc, static_cast<U64>(static_cast<I64>(R.Get<I32>())));
            break;
        case DW_OP_const8u:
        case DW_OP_const8s:
            _SetConst(&Loc, R.Get<U64>());
            break;
        case DW_OP_constu:
            _SetConst(&Loc, R.GetUleb());
            break;
        case DW_OP_consts:
            _SetConst(&Loc, static_cast<U64>(R.GetSleb()));
            break;
        case DW_OP_regx:
            _SetReg(R.GetUleb(), &Loc);
            break;
        case DW_OP_bregx:
            Value = R.GetUleb();
            _SetRegOffset(E, Value, R.GetSleb(), &Loc);
            break;
        case DW_OP_fbreg:
            _SetOffset(ELF_LOC_MEM_BP, R.GetSleb(), &Loc);
            break;
        case DW_OP_plus_uconst:
            _SetOffset(ELF_LOC_PARENT_LOC, static_cast<I64>(R.GetUleb()), &Loc);
            break;
        case DW_OP_call_frame_cfa:
            _SetOffset(ELF_LOC_CFA, 0, &Loc);
            break;
        case DW_OP_implicit_value:
            _SetImplicitValue(E.S, R, &Loc);
            break;
        case DW_OP_entry_value:
        case DW_OP_GNU_entry_value:
            _SetEntryValue(E, R, Depth, &Loc);
            break;
        default:
            break;
        }
    }
    return R.IsOk() ? Loc : ELF_SYM_LOC();
}

ELF_SYM_LOC _Evaluate(const EVALUATION& E, const U8* pExpr, U32 Size, U32 Depth) {
    DWARF_READER R(pExpr, Size, E.S.IsSwapped);
    ELF_SYM_LOC Loc = _EvaluateFirst(E, R, Depth);
    if (Loc.Kind == ELF_LOC_NONE || _LastOp(E.S, E.Unit, pExpr, Size) != DW_OP_stack_value) {
        return Loc;
    }
    if (Loc.Kind == ELF_LOC_ON_ENTRY) {
        return Loc; // says already that it is a value
    }
    if (Loc.Kind != ELF_LOC_MEM_BASE) { // of that kind the base is the value
        Loc.Base = {Loc.Kind, Loc.Addr, Loc.Reg, Loc.Off};
    }
    Loc.Kind = ELF_LOC_COMPUTED;
    Loc.Addr = 0;
    Loc.Reg = 0;
    Loc.Off = 0;
    return Loc;
}

struct FOUND {
    const U8* pExpr = nullptr;
    U32 Size = 0;
};

/// Searches a location list of either format for the entry that holds at PC.
class CLocList {
public:
    CLocList(const DWARF_STORE& S, const DWARF_UNIT& Unit, U32 PC, FOUND* pFound)
        : m_S(S), m_Unit(Unit), m_PC(PC), m_Base(Unit.LowPC), m_Found(*pFound) {}

    /// .debug_loc of versions 2 to 4
    bool FindPairs(U64 Off) {
        DWARF_READER R(m_S, DSEC_LOC, Off);
        const U64 Mark = m_Unit.AddrSize == 8 ? ~0ull : 0xFFFFFFFF;
        for (U32 i = 0; i < MAX_LIST_ENTRIES; ++i) {
            const U64 Lo = R.GetSized(m_Unit.AddrSize);
            const U64 Hi = R.GetSized(m_Unit.AddrSize);
            if (!R.IsOk() || (Lo == 0 && Hi == 0)) {
                return false;
            }
            if (Lo == Mark) {
                m_Base = Hi;
            } else if (Take(R, R.Get<U16>(), m_Base + Lo, m_Base + Hi)) {
                return true;
            }
        }
        return false;
    }

    /// .debug_loclists of version 5
    bool FindEntries(U64 Off) {
        DWARF_READER R(m_S, DSEC_LOCLISTS, Off);
        for (U32 i = 0; i < MAX_LIST_ENTRIES && R.IsOk(); ++i) {
            const U8 Kind = R.Get<U8>();
            if (!R.IsOk() || Kind == DW_LLE_end_of_list) {
                return false;
            }
            bool IsDone = false;
            if (!ReadEntry(R, Kind, &IsDone)) {
                return false;
            }
            if (IsDone) {
                return true;
            }
        }
        return false;
    }

private:
    bool Take(DWARF_READER& R, U64 Size, U64 Lo, U64 Hi) {
        const U8* pExpr = R.p;
        if (!R.Skip(Size) || Size == 0 || m_PC == PC_NONE) {
            return false;
        }
        Hi = std::min<U64>(Hi, 0xFFFFFFFF);
        const bool IsHit = m_PC == 0 || (Lo == Hi ? m_PC == Lo : m_PC >= Lo && m_PC < Hi);
        if (IsHit) {
            m_Found = {pExpr, static_cast<U32>(Size)};
        }
        return IsHit;
    }

    U64 Indexed(DWARF_READER& R) {
        U64 Addr = 0;
        if (!DWARF_ReadAddrIndex(m_S, m_Unit, R.GetUleb(), &Addr)) {
            R.IsFailed = true;
        }
        return Addr;
    }

    /// False if the list can't be read on.
    bool ReadEntry(DWARF_READER& R, U8 Kind, bool* pIsDone) {
        U64 Lo = 0;
        U64 Hi = 0;
        switch (Kind) {
        case DW_LLE_base_addressx:
            m_Base = Indexed(R);
            return R.IsOk();
        case DW_LLE_base_address:
            m_Base = R.GetSized(m_Unit.AddrSize);
            return R.IsOk();
        case LLE_GNU_VIEW_PAIR:
            R.GetUleb();
            R.GetUleb();
            return R.IsOk();
        case DW_LLE_default_location:
            Hi = 0xFFFFFFFF;
            break;
        case DW_LLE_startx_endx:
            Lo = Indexed(R);
            Hi = Indexed(R);
            break;
        case DW_LLE_startx_length:
            Lo = Indexed(R);
            Hi = Lo + R.GetUleb();
            break;
        case DW_LLE_offset_pair:
            Lo = m_Base + R.GetUleb();
            Hi = m_Base + R.GetUleb();
            break;
        case DW_LLE_start_end:
            Lo = R.GetSized(m_Unit.AddrSize);
            Hi = R.GetSized(m_Unit.AddrSize);
            break;
        case DW_LLE_start_length:
            Lo = R.GetSized(m_Unit.AddrSize);
            Hi = Lo + R.GetUleb();
            break;
        default:
            return false;
        }
        *pIsDone = Take(R, R.GetUleb(), Lo, Hi);
        return R.IsOk();
    }

    const DWARF_STORE& m_S;
    const DWARF_UNIT& m_Unit;
    U32 m_PC;
    U64 m_Base;
    FOUND& m_Found;
};

bool _FindIndexed(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Idx, CLocList* pList) {
    constexpr U32 HEADER_SIZE = 12; // where the unit names no base
    const U64 Base = Unit.LocListsBase != 0 ? Unit.LocListsBase : HEADER_SIZE;
    if (Idx > S.aSection[DSEC_LOCLISTS].Size) {
        return false;
    }
    DWARF_READER R(S, DSEC_LOCLISTS, Base + Idx * Unit.OffsetSize);
    const U64 Off = R.GetSized(Unit.OffsetSize);
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

ELF_SYM_LOC _MemberLoc(const DWARF_STORE& S, U32 Die) {
    ELF_SYM_LOC Loc;
    U64 Off = 0;
    if (_GetAttributeAsU64(S, Die, DW_AT_data_member_location, &Off)) {
        _SetOffset(ELF_LOC_PARENT_LOC, static_cast<I64>(Off), &Loc);
    } else if (_GetAttributeAsU64(S, Die, DW_AT_data_bit_offset, &Off)) {
        const U32 Size = _GetDieSizeRecursive(S, Die);
        _SetOffset(ELF_LOC_PARENT_LOC, Size != 0 ? static_cast<I64>(Off / 8 / Size * Size) : 0, &Loc);
    } else if (_GetDieType(S, _GetParentDie(S, Die)) == DW_TAG_union_type) {
        _SetOffset(ELF_LOC_PARENT_LOC, 0, &Loc);
    }
    return Loc;
}

} // namespace

bool DWARF_FindExpr(const DWARF_STORE& S, U32 Die, U32 At, U32 PC, const U8** ppExpr, U32* pSize, U32* pAttrDie) {
    DWARF_ATTR Attr;
    if (!_FindAttr(S, Die, At, &Attr, pAttrDie)) {
        return false;
    }
    const DWARF_UNIT& Unit = *DWARF_UnitOf(S, *pAttrDie);
    FOUND Found;
    CLocList List(S, Unit, PC, &Found);
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

ELF_SYM_LOC _GetDieLoc(const DWARF_STORE& S, U32 Die, U32 At, U32 PC) {
    const U8* pExpr = nullptr;
    U32 Size = 0;
    U32 AttrDie = 0;
    ELF_SYM_LOC Loc;
    if (DWARF_FindExpr(S, Die, At, PC, &pExpr, &Size, &AttrDie)) {
        Loc = _Evaluate({S, *DWARF_UnitOf(S, AttrDie), At == DW_AT_frame_base}, pExpr, Size, 0);
    }
    return At == DW_AT_data_member_location && Loc.Kind == ELF_LOC_NONE ? _MemberLoc(S, Die) : Loc;
}
