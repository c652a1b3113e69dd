#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"

#include <algorithm>

// Locations that one operation describes, alone or as a value by DW_OP_stack_value, as plain records. Any other
// expression is left to the evaluator: the record then says where it stands.

namespace {

constexpr U32 MAX_ENTRY_DEPTH = 4; ///< of entry values inside entry values

void SetConst(ELF_SYM_LOC* pLoc, U64 Value) {
    pLoc->Kind = ELF_LOC_CONST;
    pLoc->Value = Value;
}

void SetImplicitValue(const DWARF_STORE& S, CByteReader& R, ELF_SYM_LOC* pLoc) {
    const U64 Size = R.GetULeb();
    const U8* pBytes = R.GetPtr();
    if (!R.Skip(Size)) {
        return;
    }
    if (Size > 8) {
        ELF_Report(ELF_MSG_READER, "DW_OP_implicit_value with data size greater than 8 bytes is not supported");
    }
    U64 Value = 0;
    const U32 NumBytes = static_cast<U32>(std::min<U64>(Size, 8));
    std::memcpy(&Value, pBytes, NumBytes);
    if (S.IsBig && NumBytes != 0) {
        Value = __builtin_bswap64(Value) >> (8 * (8 - NumBytes));
    }
    SetConst(pLoc, Value);
}

struct EVALUATION {
    const DWARF_STORE& S;
    const DWARF_UNIT& Unit;
    U32 Die; ///< that has the attribute
    bool IsFrameBase;
};

ELF_SYM_LOC Evaluate(const EVALUATION& E, const U8* pExpr, U32 Size, U32 Depth);

/// Only a register means the same inside and outside of an entry value; the evaluator knows the rest.
void SetEntryValue(const EVALUATION& E, CByteReader& R, U32 Depth, ELF_SYM_LOC* pLoc) {
    const U64 Size = R.GetULeb();
    const U8* pInner = R.GetPtr();
    if (Size == 0 || !R.Skip(Size)) {
        DWARF_ReportError(DWERR_LOC_EXPR, "dwarf_loclist_from_expr");
        return;
    }
    const ELF_SYM_LOC Inner =
        Depth < MAX_ENTRY_DEPTH ? Evaluate(E, pInner, static_cast<U32>(Size), Depth + 1) : ELF_SYM_LOC();
    if (Inner.Kind == ELF_LOC_NONE) {
        ELF_Report(ELF_MSG_READER,
                   "'DW_OP_entry_value' operation encountered that does not specify an entry location.");
        return;
    }
    pLoc->Kind = Inner.Kind == ELF_LOC_REG ? ELF_LOC_ON_ENTRY : ELF_LOC_EXPR;
    pLoc->Base = {Inner.Kind, Inner.Addr, Inner.Reg, Inner.Off};
}

void SetRegOffset(const EVALUATION& E, U64 Reg, I64 Off, ELF_SYM_LOC* pLoc) {
    if (E.IsFrameBase) {
        pLoc->Kind = ELF_LOC_REG_OFF;
        pLoc->Reg = static_cast<U32>(Reg);
        pLoc->Off = static_cast<I32>(Off);
    } else {
        pLoc->Kind = ELF_LOC_MEM_BASE;
        pLoc->Base = {ELF_LOC_REG_OFF, 0, static_cast<U32>(Reg), static_cast<I32>(Off)};
    }
}

void SetOffset(U32 Kind, I64 Off, ELF_SYM_LOC* pLoc) {
    pLoc->Kind = Kind;
    pLoc->Off = static_cast<I32>(Off);
}

void SetReg(U64 Reg, ELF_SYM_LOC* pLoc) {
    pLoc->Kind = ELF_LOC_REG;
    pLoc->Reg = static_cast<U32>(Reg);
}

void SetAddr(U64 Addr, ELF_SYM_LOC* pLoc) {
    pLoc->Kind = ELF_LOC_MEM;
    pLoc->Addr = static_cast<U32>(Addr);
}

/// The first operation decides.
ELF_SYM_LOC EvaluateFirst(const EVALUATION& E, CByteReader& R, U32 Depth) {
    ELF_SYM_LOC Loc;
    const U8 Op = R.GetU8();
    U64 Value = 0;
    if (Op >= DW_OP_reg0 && Op <= DW_OP_reg31) {
        SetReg(Op - DW_OP_reg0, &Loc);
    } else if (Op >= DW_OP_breg0 && Op <= DW_OP_breg31) {
        SetRegOffset(E, Op - DW_OP_breg0, R.GetSLeb(), &Loc);
    } else if (Op >= DW_OP_lit0 && Op <= DW_OP_lit31 && !R.IsAtEnd()) {
        SetConst(&Loc, Op - DW_OP_lit0); // alone it is an address
    } else {
        switch (Op) {
        case DW_OP_addr:
            SetAddr(R.Get(E.Unit.AddrSize), &Loc);
            break;
        case DW_OP_addrx:
        case DW_OP_GNU_addr_index:
            if (DWARF_ReadAddrIndex(E.S, E.Unit, R.GetULeb(), &Value)) {
                SetAddr(Value, &Loc);
            }
            break;
        case DW_OP_constx:
        case DW_OP_GNU_const_index:
            if (DWARF_ReadAddrIndex(E.S, E.Unit, R.GetULeb(), &Value)) {
                SetConst(&Loc, Value);
            }
            break;
        case DW_OP_const1u:
            SetConst(&Loc, R.GetU8());
            break;
        case DW_OP_const1s:
            SetConst(&Loc, static_cast<U64>(R.GetSigned(1)));
            break;
        case DW_OP_const2u:
            SetConst(&Loc, R.GetU16());
            break;
        case DW_OP_const2s:
            SetConst(&Loc, static_cast<U64>(R.GetSigned(2)));
            break;
        case DW_OP_const4u:
            SetConst(&Loc, R.GetU32());
            break;
        case DW_OP_const4s:
            SetConst(&Loc, static_cast<U64>(R.GetSigned(4)));
            break;
        case DW_OP_const8u:
        case DW_OP_const8s:
            SetConst(&Loc, R.GetU64());
            break;
        case DW_OP_constu:
            SetConst(&Loc, R.GetULeb());
            break;
        case DW_OP_consts:
            SetConst(&Loc, static_cast<U64>(R.GetSLeb()));
            break;
        case DW_OP_regx:
            SetReg(R.GetULeb(), &Loc);
            break;
        case DW_OP_bregx:
            Value = R.GetULeb();
            SetRegOffset(E, Value, R.GetSLeb(), &Loc);
            break;
        case DW_OP_fbreg:
            SetOffset(ELF_LOC_MEM_BP, R.GetSLeb(), &Loc);
            break;
        case DW_OP_plus_uconst:
            SetOffset(ELF_LOC_PARENT_LOC, static_cast<I64>(R.GetULeb()), &Loc);
            break;
        case DW_OP_call_frame_cfa:
            SetOffset(ELF_LOC_CFA, 0, &Loc);
            break;
        case DW_OP_implicit_value:
            SetImplicitValue(E.S, R, &Loc);
            break;
        case DW_OP_entry_value:
        case DW_OP_GNU_entry_value:
            SetEntryValue(E, R, Depth, &Loc);
            break;
        default:
            Loc.Kind = ELF_LOC_EXPR;
            break;
        }
    }
    return R.IsOk() ? Loc : ELF_SYM_LOC();
}

ELF_SYM_LOC ExprLoc(const EVALUATION& E, const U8* pExpr, U32 Size) {
    ELF_SYM_LOC Loc;
    Loc.Kind = ELF_LOC_EXPR;
    Loc.Addr = static_cast<U32>(pExpr - E.S.pFile->pData.get());
    Loc.Reg = E.Die;
    Loc.Value = Size;
    return Loc;
}

/// What the first operation says, if the expression ends behind it or behind a DW_OP_stack_value.
ELF_SYM_LOC Evaluate(const EVALUATION& E, const U8* pExpr, U32 Size, U32 Depth) {
    CByteReader R(pExpr, Size, E.S.IsBig);
    ELF_SYM_LOC Loc = EvaluateFirst(E, R, Depth);
    const bool IsValue = R.GetLeft() == 1 && *R.GetPtr() == DW_OP_stack_value;
    if (Loc.Kind == ELF_LOC_EXPR || (Loc.Kind != ELF_LOC_NONE && !R.IsAtEnd() && !IsValue)) {
        return ExprLoc(E, pExpr, Size);
    }
    if (!IsValue || Loc.Kind == ELF_LOC_NONE ||
        Loc.Kind == ELF_LOC_ON_ENTRY) { // the last says already that it is a value
        return Loc;
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

ELF_SYM_LOC MemberLoc(const DWARF_STORE& S, U32 Die) {
    ELF_SYM_LOC Loc;
    U64 Off = 0;
    if (GetAttributeAsU64(S, Die, DW_AT_data_member_location, &Off)) {
        SetOffset(ELF_LOC_PARENT_LOC, static_cast<I64>(Off), &Loc);
    } else if (GetAttributeAsU64(S, Die, DW_AT_data_bit_offset, &Off)) {
        SetOffset(ELF_LOC_PARENT_LOC, static_cast<I64>(GetDieBitFieldByte(S, Die, Off)), &Loc);
    } else if (GetDieType(S, GetParentDie(S, Die)) == DW_TAG_union_type) {
        SetOffset(ELF_LOC_PARENT_LOC, 0, &Loc);
    }
    return Loc;
}

} // namespace

ELF_SYM_LOC GetDieLoc(const DWARF_STORE& S, U32 Die, U32 At, U32 PC) {
    const U8* pExpr = nullptr;
    U32 Size = 0;
    U32 AttrDie = 0;
    ELF_SYM_LOC Loc;
    if (DWARF_FindExpr(S, Die, At, PC, &pExpr, &Size, &AttrDie)) {
        Loc = Evaluate({S, *DWARF_UnitOf(S, AttrDie), AttrDie, At == DW_AT_frame_base}, pExpr, Size, 0);
    }
    if (At != DW_AT_data_member_location) {
        return Loc;
    }
    Loc = Loc.Kind == ELF_LOC_NONE ? MemberLoc(S, Die) : Loc; // DWARF 2 gives an expression
    Loc.Off += Loc.Kind == ELF_LOC_PARENT_LOC ? static_cast<I32>(GetDieBitFieldShift(S, Die)) : 0;
    return Loc;
}
