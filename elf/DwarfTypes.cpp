#include "elf/Dwarf.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfList.h"

#include <algorithm>

// Sizes, array dimensions, signs, bit fields and address ranges.

namespace {

constexpr U32 MAX_TYPE_STEPS = 100;
constexpr U32 MAX_ARRAY_DEPTH = 16;
constexpr U32 MAX_EXTENT = 10'000'000; ///< a larger span of ranges is no size

U32 SizeOf(const DWARF_STORE& S, U32 Die, U32 ArrayDepth);

U32 NextType(const DWARF_STORE& S, U32 Die) {
    DWARF_ATTR Attr;
    return CreateDieAttrEx(S, Die, DW_AT_type, &Attr) && Attr.Class == ATTR_REF ? static_cast<U32>(Attr.Value) : 0;
}

U32 OwnSize(const DWARF_STORE& S, U32 Die, U32 ArrayDepth) {
    switch (GetDieType(S, Die)) {
    case DW_TAG_pointer_type:
    case DW_TAG_reference_type:
    case DW_TAG_rvalue_reference_type:
        return DWARF_UnitOf(S, Die)->AddrSize;
    case DW_TAG_ptr_to_member_type: { // to a function: with the adjustment of "this" (C++ ABI for the Arm Architecture)
        const bool IsFunction = GetDieType(S, NextType(S, Die)) == DW_TAG_subroutine_type;
        return DWARF_UnitOf(S, Die)->AddrSize * (IsFunction ? 2u : 1u);
    }
    case DW_TAG_array_type:
        return GetDieArrayInfo(S, Die, ArrayDepth + 1).TotalSize;
    default: {
        U64 Size = 0;
        if (GetAttributeAsU64(S, Die, DW_AT_byte_size, &Size) && Size != 0) {
            return static_cast<U32>(Size);
        }
        // A bit field is read as a whole of its type.
        const bool IsMember = GetDieType(S, Die) == DW_TAG_member;
        return !IsMember && GetAttributeAsU64(S, Die, DW_AT_bit_size, &Size) ? static_cast<U32>(Size / 8) : 0;
    }
    }
}

U32 SizeOf(const DWARF_STORE& S, U32 Die, U32 ArrayDepth) {
    if (ArrayDepth > MAX_ARRAY_DEPTH) {
        return 0;
    }
    for (U32 i = 0; i < MAX_TYPE_STEPS && Die != 0; ++i) {
        if (const U32 Size = OwnSize(S, Die, ArrayDepth); Size != 0) {
            return Size;
        }
        Die = NextType(S, Die);
    }
    return 0;
}

U32 CountOf(const DWARF_STORE& S, U32 Subrange) {
    const auto Number = [&](U32 At, U64* pValue) { // a bound may also be a variable, which has no fixed value
        DWARF_ATTR Attr;
        const bool IsNumber =
            DWARF_GetAttr(S, Subrange, At, &Attr) && (Attr.Class == ATTR_NUM || Attr.Class == ATTR_SNUM);
        *pValue = IsNumber ? Attr.Value : 0;
        return IsNumber;
    };
    U64 Count = 0;
    U64 Upper = 0;
    U64 Lower = 0;
    if (Number(DW_AT_count, &Count)) {
        return static_cast<U32>(Count);
    }
    Number(DW_AT_upper_bound, &Upper);
    Number(DW_AT_lower_bound, &Lower);
    return static_cast<U32>(Upper - Lower + 1);
}

} // namespace

std::vector<ELF_RANGE> GetDieRanges(const DWARF_STORE& S, U32 Die) {
    std::vector<ELF_RANGE> Ranges;
    const DWARF_UNIT* pUnit = DWARF_IsDie(S, Die) ? DWARF_UnitOf(S, Die) : nullptr;
    if (pUnit == nullptr) {
        return Ranges;
    }
    DWARF_ATTR Attr;
    if (DWARF_GetAttr(S, Die, DW_AT_ranges, &Attr)) {
        CDwarfList List(S, *pUnit, false, Attr);
        while (List.Next()) {
            if (List.Hi() >= List.Lo() && List.Lo() + List.Hi() != 0 && List.Hi() <= 0xFFFFFFFF) {
                Ranges.push_back({static_cast<U32>(List.Lo()), static_cast<U32>(List.Hi())});
            }
        }
        return Ranges;
    }
    DWARF_ATTR High;
    if (DWARF_GetAttr(S, Die, DW_AT_low_pc, &Attr) && Attr.Class == ATTR_ADDR) {
        U64 Hi = 0;
        if (DWARF_GetAttr(S, Die, DW_AT_high_pc, &High)) {
            Hi = High.Class == ATTR_ADDR ? High.Value : Attr.Value + High.Value;
        }
        Ranges.push_back({static_cast<U32>(Attr.Value), Hi <= 0xFFFFFFFF ? static_cast<U32>(Hi) : 0});
    }
    return Ranges;
}

U32 GetDieSizeRecursive(const DWARF_STORE& S, U32 Die) {
    if (!DWARF_IsDie(S, Die)) {
        return 0;
    }
    const U32 Tag = GetDieType(S, Die);
    const bool IsCode = Tag == DW_TAG_subprogram || Tag == DW_TAG_inlined_subroutine;
    const U32 Size = IsCode ? 0 : SizeOf(S, Die, 0); // its type is the type of the result
    if (Size != 0) {
        return Size;
    }
    U32 Lo = 0xFFFFFFFF;
    U32 Hi = 0;
    for (const ELF_RANGE& Range : GetDieRanges(S, Die)) {
        Lo = std::min(Lo, Range.Lo);
        Hi = std::max(Hi, Range.Hi);
    }
    return Hi > Lo && Hi - Lo <= MAX_EXTENT ? Hi - Lo : 0;
}

ELF_SYM_ARRAY_INFO GetDieArrayInfo(const DWARF_STORE& S, U32 Die, U32 Depth) {
    ELF_SYM_ARRAY_INFO Info;
    if (GetDieType(S, Die) != DW_TAG_array_type) {
        return Info;
    }
    for (const U32 Subrange : DWARF_GetChildren(S, Die, DW_TAG_subrange_type)) {
        if (Info.NumDims == std::size(Info.aDim)) {
            break;
        }
        const U32 Count = CountOf(S, Subrange);
        Info.aDim[Info.NumDims++] = Count;
        Info.ElemCount = Info.ElemCount == 0 ? Count : Info.ElemCount * Count;
    }
    Info.ElemSize = SizeOf(S, NextType(S, Die), Depth);
    Info.TotalSize = Info.ElemSize * Info.ElemCount;
    return Info;
}

int GetDieSign(const DWARF_STORE& S, U32 Die) {
    for (U32 i = 0; i < MAX_TYPE_STEPS && Die != 0; ++i) {
        const U32 Tag = GetDieType(S, Die);
        if (Tag == DW_TAG_pointer_type) {
            return 0;
        }
        if (Tag == DW_TAG_base_type) {
            U64 Encoding = 0;
            return GetAttributeAsU64(S, Die, DW_AT_encoding, &Encoding) &&
                   (Encoding == DW_ATE_signed || Encoding == DW_ATE_signed_char || Encoding == DW_ATE_signed_fixed);
        }
        Die = NextType(S, Die);
    }
    return 0;
}

U32 GetDieAccessibility(const DWARF_STORE& S, U32 Die) {
    U64 Value = 0;
    if (GetAttributeAsU64(S, Die, DW_AT_accessibility, &Value)) {
        return static_cast<U32>(Value);
    }
    switch (GetDieType(S, GetParentDie(S, Die))) {
    case DW_TAG_structure_type:
    case DW_TAG_union_type:
        return DW_ACCESS_public;
    case DW_TAG_class_type:
        return DW_ACCESS_private;
    default:
        return 0;
    }
}

U32 GetDieBitWidth(const DWARF_STORE& S, U32 Die) {
    U64 Width = 0;
    return GetAttributeAsU64(S, Die, DW_AT_bit_size, &Width) ? static_cast<U32>(Width) : 0;
}

U32 GetDieBitOffset(const DWARF_STORE& S, U32 Die) {
    U64 Off = 0;
    const U32 NumBits = GetDieSizeRecursive(S, Die) * 8;
    const U32 Width = GetDieBitWidth(S, Die);
    if (GetAttributeAsU64(S, Die, DW_AT_data_bit_offset, &Off)) {
        const U32 InUnit = static_cast<U32>(Off - GetDieBitFieldByte(S, Die, Off) * 8);
        return S.IsBig && NumBits >= InUnit + Width ? NumBits - InUnit - Width : InUnit;
    }
    if (!GetAttributeAsU64(S, Die, DW_AT_bit_offset, &Off)) {
        return 0;
    }
    const U32 FromTop = static_cast<U32>(Off) - 8 * GetDieBitFieldShift(S, Die);
    return FromTop + Width > NumBits ? 32 - Width - FromTop : NumBits - Width - FromTop;
}

U32 GetDieBitFieldShift(const DWARF_STORE& S, U32 Die) {
    U64 Off = 0;
    const U32 NumBits = GetDieSizeRecursive(S, Die) * 8;
    const bool IsSplit = S.IsBig && GetAttributeAsU64(S, Die, DW_AT_bit_offset, &Off) && Off < NumBits &&
                         Off + GetDieBitWidth(S, Die) > NumBits;
    return IsSplit ? static_cast<U32>(Off / 8) : 0;
}

U64 GetDieBitFieldByte(const DWARF_STORE& S, U32 Die, U64 BitOff) {
    const U32 Size = GetDieSizeRecursive(S, Die);
    if (Size == 0) {
        return 0;
    }
    const bool IsInUnit = BitOff % (8ull * Size) + GetDieBitWidth(S, Die) <= 8ull * Size;
    return IsInUnit ? BitOff / 8 / Size * Size : BitOff / 8; // a packed field may lie across two units
}
