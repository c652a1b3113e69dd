#include "elf/CallSite.h"

#include "elf/ByteReader.h"
#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfReloc.h"

#include <algorithm>

namespace {

constexpr size_t MAX_TAIL_FUNCS = 64; ///< that a way of jumps may lead through
constexpr U32 MAX_PARAM_DEPTH = 5;

U32 Reference(const DWARF_STORE& S, U32 Die, std::initializer_list<U32> Ats) {
    for (const U32 At : Ats) {
        if (const U32 Target = GetReferenceDie(S, Die, At); Target != 0) {
            return Target;
        }
    }
    return 0;
}

bool IsFlagSet(const DWARF_STORE& S, U32 Die, std::initializer_list<U32> Ats) {
    DWARF_ATTR Attr;
    return std::any_of(Ats.begin(), Ats.end(),
                       [&](U32 At) { return DWARF_GetAttr(S, Die, At, &Attr) && Attr.Value != 0; });
}

bool Block(const DWARF_STORE& S, U32 Die, std::initializer_list<U32> Ats, DWARF_ATTR* pAttr) {
    return std::any_of(Ats.begin(), Ats.end(), [&](U32 At) {
        return DWARF_GetAttr(S, Die, At, pAttr) && (pAttr->Class == ATTR_EXPR || pAttr->Class == ATTR_BLOCK);
    });
}

std::vector<U8> Copy(const DWARF_ATTR& Attr) { return {Attr.pBlock, Attr.pBlock + Attr.BlockSize}; }

std::vector<U32> CallSites(const DWARF_STORE& S, U32 Func) {
    std::vector<U32> Sites = DWARF_GetDescendants(S, Func, DW_TAG_call_site);
    const std::vector<U32> Gnu = DWARF_GetDescendants(S, Func, DW_TAG_GNU_call_site);
    Sites.insert(Sites.end(), Gnu.begin(), Gnu.end());
    return Sites;
}

U32 FindCallSite(const DWARF_STORE& S, U32 Func, U32 ReturnPC) {
    for (const U32 Site : CallSites(S, Func)) {
        DWARF_ATTR Attr;
        const U32 At = GetDieType(S, Site) == DW_TAG_call_site ? DW_AT_call_return_pc : DW_AT_low_pc;
        if (DWARF_GetAttr(S, Site, At, &Attr) && Attr.Class == ATTR_ADDR && (Attr.Value & ~1ull) == ReturnPC) {
            return Site;
        }
    }
    return 0;
}

bool EntryOf(const DWARF_STORE& S, U32 Func, U32* pAddr) {
    DWARF_ATTR Attr;
    if (DWARF_GetAttr(S, Func, DW_AT_low_pc, &Attr) && Attr.Class == ATTR_ADDR) {
        *pAddr = static_cast<U32>(Attr.Value) & ~1u;
        return true;
    }
    const std::vector<ELF_RANGE> Ranges = GetDieRanges(S, Func);
    if (!Ranges.empty()) {
        *pAddr = Ranges[0].Lo & ~1u;
    }
    return !Ranges.empty();
}

std::string_view LinkName(const DWARF_STORE& S, U32 Die) {
    DWARF_ATTR Attr;
    for (const U32 At : {DW_AT_linkage_name, DW_AT_MIPS_linkage_name, DW_AT_name}) {
        if (CreateDieAttrEx(S, Die, static_cast<U32>(At), &Attr) && Attr.Class == ATTR_STRING) {
            return Attr.sText;
        }
    }
    return {};
}

/// Code behind a DIE that names a function: its own, its definition's, or that of the function of the same name.
U32 DefinitionOf(const DWARF_STORE& S, U32 Func) {
    U32 Addr = 0;
    if (Func == 0 || EntryOf(S, Func, &Addr)) {
        return Func;
    }
    if (const U32 Definition = GetDefinitionDie(S, Func); Definition != 0 && EntryOf(S, Definition, &Addr)) {
        return Definition;
    }
    const std::string_view sLink = LinkName(S, Func);
    const std::string_view sName = GetDieRawName(S, Func);
    for (const ELF_SYM_HANDLE h : ElfApi_FindSyms(QString::fromUtf8(sName.data(), static_cast<qsizetype>(sName.size())),
                                                  true, false, false, false)) {
        const U32 Die = GetDie(h);
        DWARF_ATTR Attr;
        if (GetDieType(S, Die) == DW_TAG_subprogram && EntryOf(S, Die, &Addr) && LinkName(S, Die) == sLink &&
            CreateDieAttrEx(S, Die, DW_AT_external, &Attr) && Attr.Value != 0) {
            return Die;
        }
    }
    return 0;
}

bool IsTailCall(const DWARF_STORE& S, U32 Site) {
    return IsFlagSet(S, Site, {DW_AT_call_tail_call, DW_AT_GNU_tail_call});
}

/// Collects the jumps that lead into a function out of another one and all that this one jumps to. False if that isn't
/// known: a function doesn't tell all of its jumps, or not where one leads.
bool FindJumps(const DWARF_STORE& S, U32 From, U32 To, std::vector<U32>* pSites) {
    std::vector<U32> Seen = {From};
    for (size_t i = 0; i < Seen.size(); ++i) {
        if (!IsFlagSet(S, Seen[i],
                       {DW_AT_call_all_calls, DW_AT_call_all_tail_calls, DW_AT_call_all_source_calls,
                        DW_AT_GNU_all_call_sites, DW_AT_GNU_all_tail_call_sites})) {
            return false;
        }
        for (const U32 Site : CallSites(S, Seen[i])) {
            if (!IsTailCall(S, Site)) {
                continue;
            }
            const U32 Target = DefinitionOf(S, Reference(S, Site, {DW_AT_call_origin, DW_AT_abstract_origin}));
            if (Target == 0 || Seen.size() >= MAX_TAIL_FUNCS) {
                return false;
            }
            if (Target == To) {
                pSites->push_back(Site);
            } else if (std::find(Seen.begin(), Seen.end(), Target) == Seen.end()) {
                Seen.push_back(Target);
            }
        }
    }
    return true;
}

/// An address at the jump: of itself, or just in front of where it would return to.
U32 JumpPCOf(const DWARF_STORE& S, U32 Site) {
    DWARF_ATTR Attr;
    if (DWARF_GetAttr(S, Site, DW_AT_call_pc, &Attr) && Attr.Class == ATTR_ADDR) {
        return static_cast<U32>(Attr.Value) & ~1u;
    }
    const bool IsFound =
        DWARF_GetAttr(S, Site, DW_AT_call_return_pc, &Attr) || DWARF_GetAttr(S, Site, DW_AT_low_pc, &Attr);
    return IsFound ? (static_cast<U32>(Attr.Value) & ~1u) - 2 : 0;
}

/// The call or jump that entered the function around PC, with what is still to be asked to be sure of it; 0 if unknown.
U32 FindEntry(const DWARF_STORE& S, U32 PC, U32 ReturnPC, CALL_VALUE* pValue) {
    const U32 Func = CALL_FuncAt(PC);
    const U32 Caller = CALL_FuncAt(ReturnPC - 2);
    const U32 Site = Caller != 0 ? FindCallSite(S, Caller, ELF_Unrelocate(ReturnPC) & ~1u) : 0;
    U32 Entry = 0;
    std::vector<U32> Jumps;
    if (Func == 0 || Site == 0 || !EntryOf(S, Func, &Entry) || !FindJumps(S, Func, Func, &Jumps) || !Jumps.empty()) {
        return 0;
    }
    pValue->Entry = ELF_Relocate(Entry);
    if (const U32 Named = Reference(S, Site, {DW_AT_call_origin, DW_AT_abstract_origin}); Named != 0) {
        const U32 Called = DefinitionOf(S, Named);
        if (Called == Func || Called == 0) {
            return Called != 0 ? Site : 0;
        }
        if (!FindJumps(S, Called, Func, &Jumps) || Jumps.size() != 1) {
            return 0;
        }
        pValue->JumpPC = ELF_Relocate(JumpPCOf(S, Jumps[0]));
        return Jumps[0];
    }
    DWARF_ATTR Attr;
    if (!Block(S, Site, {DW_AT_call_target, DW_AT_GNU_call_site_target}, &Attr)) {
        return 0;
    }
    pValue->Target = Copy(Attr);
    return Site;
}

bool IsSameParam(const DWARF_STORE& S, U32 Die, U32 Param) {
    for (U32 i = 0; i < MAX_PARAM_DEPTH && Die != 0; ++i) {
        if (Die == Param) {
            return true;
        }
        Die = GetAbstractInstanceOf(S, Die);
    }
    return false;
}

/// DW_OP_bregN 0 + DW_OP_deref, with a size or without: what the register points to.
bool IsDerefOf(const U8* pBlock, U32 NumBytes) {
    return NumBytes >= 3 && pBlock[0] >= DW_OP_breg0 && pBlock[0] <= DW_OP_breg31 && pBlock[1] == 0 &&
           ((NumBytes == 3 && pBlock[2] == DW_OP_deref) ||
            (NumBytes == 4 && pBlock[2] == DW_OP_deref_size && pBlock[3] == 4));
}

/// Register that the block is; -1 for any other place.
I64 RegOf(const U8* pBlock, U32 NumBytes) {
    CByteReader R(pBlock, NumBytes, false);
    const U8 Op = R.GetU8();
    I64 Reg = -1;
    if (Op >= DW_OP_reg0 && Op <= DW_OP_reg31) {
        Reg = Op - DW_OP_reg0;
    } else if (Op == DW_OP_regx) {
        Reg = static_cast<I64>(R.GetULeb() & 0xFFFFFFFF);
    } else if (Op == DW_OP_regval_type || Op == DW_OP_GNU_regval_type) {
        Reg = static_cast<I64>(R.GetULeb() & 0xFFFFFFFF);
        R.GetULeb(); // type
    }
    return R.IsOk() && R.IsAtEnd() ? Reg : -1;
}

bool IsPlace(const DWARF_ATTR& Attr, const U8* pBlock, U32 NumBytes, bool IsDeref) {
    const I64 Reg = IsDeref ? pBlock[0] - DW_OP_breg0 : RegOf(pBlock, NumBytes);
    return Reg >= 0 ? Reg == RegOf(Attr.pBlock, Attr.BlockSize)
                    : Attr.BlockSize == NumBytes && std::equal(pBlock, pBlock + NumBytes, Attr.pBlock);
}

std::vector<U32> Params(const DWARF_STORE& S, U32 Site) {
    return DWARF_GetChildren(
        S, Site, GetDieType(S, Site) == DW_TAG_call_site ? DW_TAG_call_site_parameter : DW_TAG_GNU_call_site_parameter);
}

bool TakeValue(const DWARF_STORE& S, U32 Param, bool IsDeref, CALL_VALUE* pValue) {
    DWARF_ATTR Attr;
    const bool IsFound = IsDeref ? Block(S, Param, {DW_AT_call_data_value, DW_AT_GNU_call_site_data_value}, &Attr)
                                 : Block(S, Param, {DW_AT_call_value, DW_AT_GNU_call_site_value}, &Attr);
    if (IsFound) {
        pValue->Die = Param;
        pValue->Expr = Copy(Attr);
    }
    return IsFound;
}

} // namespace

U32 CALL_FuncAt(U32 PC) {
    const U32 Addr = ELF_Unrelocate(PC) & ~1u;
    for (const ELF_SYM_HANDLE h : ElfApi_GetFuncsAtAddr(PC)) {
        const U32 Die = GetDie(h);
        if (Die == 0 || GetDieType(*ELF_GetStore(), Die) != DW_TAG_subprogram) {
            continue;
        }
        for (const ELF_RANGE& Range : GetDieRanges(*ELF_GetStore(), Die)) {
            if (Addr >= Range.Lo && Addr < Range.Hi) {
                return Die;
            }
        }
    }
    return 0;
}

bool CALL_FindValue(U32 PC, U32 ReturnPC, const U8* pBlock, U32 NumBytes, CALL_VALUE* pValue) {
    if (ELF_GetStore() == nullptr) {
        return false;
    }
    const DWARF_STORE& S = *ELF_GetStore();
    const bool IsDeref = IsDerefOf(pBlock, NumBytes);
    const U32 Site = FindEntry(S, PC, ReturnPC, pValue);
    for (const U32 Param : Params(S, Site)) {
        DWARF_ATTR Attr;
        if (Block(S, Param, {DW_AT_location}, &Attr) && IsPlace(Attr, pBlock, NumBytes, IsDeref)) {
            return TakeValue(S, Param, IsDeref, pValue);
        }
    }
    return false;
}

bool CALL_FindParam(U32 PC, U32 ReturnPC, U32 ParamDie, CALL_VALUE* pValue) {
    if (ELF_GetStore() == nullptr) {
        return false;
    }
    const DWARF_STORE& S = *ELF_GetStore();
    const U32 Site = FindEntry(S, PC, ReturnPC, pValue);
    for (const U32 Param : Params(S, Site)) {
        const U32 Named = Reference(S, Param, {DW_AT_call_parameter, DW_AT_abstract_origin});
        if (Named != 0 && (IsSameParam(S, ParamDie, Named) || IsSameParam(S, Named, ParamDie))) {
            return TakeValue(S, Param, false, pValue);
        }
    }
    return false;
}
