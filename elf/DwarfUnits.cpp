#include "elf/DwarfUnits.h"

#include "elf/DwarfAttr.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"
#include "elf/DwarfReader.h"
#include "elf/ElfInternal.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <tuple>

// Unit headers (DWARF 5, section 7.5.1) and the start of the store.

namespace {

constexpr U32 LANG_UNKNOWN = 0;
constexpr U32 LANG_C = 1;
constexpr U32 LANG_CPP = 2;

struct SECTION_NAME {
    U32 Id;
    const char* sName;
};

constexpr SECTION_NAME aSectionName[] = {
    {DSEC_INFO, ".debug_info"},     {DSEC_TYPES, ".debug_types"},       {DSEC_ABBREV, ".debug_abbrev"},
    {DSEC_STR, ".debug_str"},       {DSEC_LINE_STR, ".debug_line_str"}, {DSEC_STR_OFFSETS, ".debug_str_offsets"},
    {DSEC_ADDR, ".debug_addr"},     {DSEC_RNGLISTS, ".debug_rnglists"}, {DSEC_LOCLISTS, ".debug_loclists"},
    {DSEC_RANGES, ".debug_ranges"}, {DSEC_LOC, ".debug_loc"},           {DSEC_LINE, ".debug_line"},
};
static_assert(std::size(aSectionName) == NUM_DSEC);

void FindSections(DWARF_STORE& S) {
    for (const SECTION_NAME& Name : aSectionName) {
        const int Idx = ELF_FindSection(S.pFile, Name.sName);
        const U8* pData = Idx >= 0 ? ELF_GetSectionData(S.pFile, static_cast<U32>(Idx)) : nullptr;
        if (pData == nullptr) {
            continue;
        }
        S.aSection[Name.Id] = {pData, ELF_GetSectionSize(S.pFile, static_cast<U32>(Idx)), static_cast<U32>(Idx)};
    }
    // The handle has no room for offsets beyond these.
    const U32 MaxInfo = S.aSection[DSEC_TYPES].Size != 0 ? DIE_ID_TYPES - DIE_ID_INFO : MAX_DIE_ID - DIE_ID_INFO;
    if (S.aSection[DSEC_INFO].Size > MaxInfo) {
        ELF_Report(ELF_MSG_READER, (".debug_info is read up to byte " + std::to_string(MaxInfo) + " only.").c_str());
    }
    S.aSection[DSEC_INFO].Size = std::min(S.aSection[DSEC_INFO].Size, MaxInfo);
    S.aSection[DSEC_TYPES].Size = std::min(S.aSection[DSEC_TYPES].Size, MAX_DIE_ID - DIE_ID_TYPES);
}

/// Reads one header. False at damage or a version that isn't known: units behind it can't be found.
bool ReadHeader(const DWARF_STORE& S, U32 Section, U32 Off, DWARF_UNIT* pUnit, U64* pAbbrevOff) {
    CByteReader R = DWARF_At(S, Section, Off);
    pUnit->Off = Off;
    pUnit->Section = Section;
    U64 Length = R.GetU32();
    if (Length == 0xFFFFFFFF) {
        pUnit->OffsetSize = 8;
        Length = R.GetU64();
    }
    if (!R.IsOk() || Length > R.GetLeft() || Length < 7) {
        DWARF_ReportError(DWERR_UNIT, "dwarf_next_cu_header_c", "cu_offset", Off);
        return false;
    }
    pUnit->End = static_cast<U32>(S.aSection[Section].Size - R.GetLeft() + Length);
    pUnit->Version = R.GetU16();
    if (pUnit->Version < 2 || pUnit->Version > 5) {
        DWARF_ReportError(DWERR_VERSION, "dwarf_next_cu_header_c", "cu_version", pUnit->Version);
        return false;
    }
    pUnit->UnitType = Section == DSEC_TYPES ? DW_UT_type : DW_UT_compile;
    if (pUnit->Version == 5) {
        pUnit->UnitType = R.GetU8();
        pUnit->AddrSize = R.GetU8();
        *pAbbrevOff = R.Get(pUnit->OffsetSize);
    } else {
        *pAbbrevOff = R.Get(pUnit->OffsetSize);
        pUnit->AddrSize = R.GetU8();
    }
    if (pUnit->UnitType == DW_UT_skeleton || pUnit->UnitType == DW_UT_split_compile) {
        R.Skip(8);
    } else if (pUnit->UnitType == DW_UT_type || pUnit->UnitType == DW_UT_split_type) {
        pUnit->Signature = R.GetU64();
        const U64 TypeOff = R.Get(pUnit->OffsetSize);
        pUnit->TypeOff = TypeOff < pUnit->End - Off ? Off + static_cast<U32>(TypeOff) : 0;
    }
    pUnit->DieOff = static_cast<U32>(S.aSection[Section].Size - R.GetLeft());
    pUnit->IsBad = !R.IsOk() || pUnit->DieOff >= pUnit->End || (pUnit->AddrSize != 4 && pUnit->AddrSize != 8);
    return R.IsOk();
}

U8 LanguageOf(U64 Lang) {
    switch (Lang) {
    case DW_LANG_C89:
    case DW_LANG_C:
    case DW_LANG_C99:
    case DW_LANG_C11:
        return LANG_C;
    case DW_LANG_C_plus_plus:
    case DW_LANG_C_plus_plus_03:
    case DW_LANG_C_plus_plus_11:
    case DW_LANG_C_plus_plus_14:
    case 0x2A: // C++17, C++20 of later editions of the standard's list
    case 0x2B:
        return LANG_CPP;
    default:
        return LANG_UNKNOWN;
    }
}

U8 LanguageOfName(std::string_view sName) {
    if (sName.find(".cpp") != std::string_view::npos) {
        return LANG_CPP;
    }
    return sName.find(".c") != std::string_view::npos ? LANG_C : LANG_UNKNOWN;
}

/// A signature of .debug_types means the first child of the unit's root. In a namespace that is not the type itself,
/// which then stands where the header says.
void FindFirstChild(const DWARF_STORE& S, DWARF_UNIT* pUnit) {
    CByteReader R = DWARF_At(S, pUnit->Section, pUnit->DieOff, pUnit->End);
    const DWARF_ABBREV* pAbbrev = DWARF_FindAbbrev(S, *pUnit, R.GetULeb());
    for (U32 i = 0; pAbbrev != nullptr && i < pAbbrev->NumSkips; ++i) {
        DWARF_SkipCode(R, S.Skips[pAbbrev->FirstSkip + i], *pUnit);
    }
    const U32 Child = pUnit->End - static_cast<U32>(R.GetLeft());
    const DWARF_ABBREV* pChild = R.IsOk() ? DWARF_FindAbbrev(S, *pUnit, R.GetULeb()) : nullptr;
    if (pChild != nullptr && pChild->Tag != DW_TAG_namespace) {
        pUnit->TypeOff = Child;
    }
}

/// What the root DIE says about the whole unit. The bases come first: other attributes may be indices into them.
void ReadRoot(DWARF_STORE& S, DWARF_UNIT* pUnit) {
    struct BASE {
        U32 At;
        U32 DWARF_UNIT::*pField;
    };
    static constexpr BASE aBase[] = {{DW_AT_str_offsets_base, &DWARF_UNIT::StrOffsetsBase},
                                     {DW_AT_addr_base, &DWARF_UNIT::AddrBase},
                                     {DW_AT_rnglists_base, &DWARF_UNIT::RngListsBase},
                                     {DW_AT_loclists_base, &DWARF_UNIT::LocListsBase}};
    DWARF_ATTR Attr;
    for (const BASE& Base : aBase) {
        if (DWARF_GetUnitAttr(S, *pUnit, Base.At, &Attr)) {
            pUnit->*Base.pField = static_cast<U32>(std::min<U64>(Attr.Value, 0xFFFFFFFF));
        }
    }
    if (DWARF_GetUnitAttr(S, *pUnit, DW_AT_low_pc, &Attr) && Attr.Class == ATTR_ADDR) {
        pUnit->LowPC = static_cast<U32>(Attr.Value);
    }
    if (DWARF_GetUnitAttr(S, *pUnit, DW_AT_language, &Attr)) {
        pUnit->Lang = LanguageOf(Attr.Value);
    } else if (DWARF_GetUnitAttr(S, *pUnit, DW_AT_name, &Attr)) {
        pUnit->Lang = LanguageOfName(Attr.sText);
    }
    S.SrcLang = pUnit->Lang == LANG_CPP ? LANG_CPP : S.SrcLang;
    if (pUnit->Section == DSEC_TYPES) {
        FindFirstChild(S, pUnit);
    }
}

void ReadSection(DWARF_STORE& S, U32 Section, U64* pBudget) {
    static const U32 MIN_UNIT_SIZE = 11;
    std::map<std::tuple<U64, U8, U8, bool>, int> Sets;
    for (U64 Off = 0; Off + MIN_UNIT_SIZE <= S.aSection[Section].Size;) {
        DWARF_UNIT Unit;
        U64 AbbrevOff = 0;
        if (!ReadHeader(S, Section, static_cast<U32>(Off), &Unit, &AbbrevOff)) {
            break;
        }
        Off = Unit.End;
        S.DwarfVersion = Section == DSEC_INFO ? std::max<U32>(S.DwarfVersion, Unit.Version) : S.DwarfVersion;
        if (!Unit.IsBad) {
            const auto [It, IsNew] =
                Sets.try_emplace({AbbrevOff, Unit.AddrSize, Unit.OffsetSize, Unit.Version < 3}, -1);
            if (IsNew) {
                It->second = DWARF_ReadAbbrevs(S, AbbrevOff, Unit, pBudget);
            }
            Unit.IsBad = It->second < 0;
            Unit.AbbrevSet = Unit.IsBad ? 0 : static_cast<U32>(It->second);
        }
        if (!Unit.IsBad) {
            ReadRoot(S, &Unit);
        }
        S.Units.push_back(Unit);
    }
}

int ReadUnits(DWARF_STORE& S) {
    constexpr U64 SPARE = 64 << 10; // units of different address sizes may share a table
    U64 Budget = S.aSection[DSEC_ABBREV].Size + SPARE;
    ReadSection(S, DSEC_INFO, &Budget);
    S.FirstTypesUnit = static_cast<U32>(S.Units.size());
    ReadSection(S, DSEC_TYPES, &Budget);
    for (U32 i = 0; i < S.Units.size(); ++i) {
        if (S.Units[i].UnitType == DW_UT_type && !S.Units[i].IsBad) {
            S.UnitOfSignature.emplace(S.Units[i].Signature, i);
            ++S.NumTypeUnits;
        }
    }
    return S.Units.empty() ? -1 : 0;
}

} // namespace

int DWARF_Begin(ELF_FILE* pFile) {
    pFile->pDwarf = std::make_shared<DWARF_STORE>();
    DWARF_STORE& S = *pFile->pDwarf;
    S.pFile = pFile;
    S.IsBig = ELF_IsFileDataSwapped(pFile) != 0;
    S.FileNameBudget = 2ll * pFile->FileSize;
    FindSections(S);
    return S.aSection[DSEC_INFO].Size != 0 ? ReadUnits(S) : 0;
}

const DWARF_UNIT* DWARF_UnitAt(const DWARF_STORE& S, U32 Section, U32 Off) {
    const bool IsTypes = Section == DSEC_TYPES;
    const auto First = S.Units.begin() + (IsTypes ? S.FirstTypesUnit : 0);
    const auto Last = IsTypes ? S.Units.end() : S.Units.begin() + S.FirstTypesUnit;
    auto It = std::upper_bound(First, Last, Off, [](U32 Key, const DWARF_UNIT& Unit) { return Key < Unit.Off; });
    if (It == First) {
        return nullptr;
    }
    --It;
    return Off < It->End && !It->IsBad ? &*It : nullptr;
}

const DWARF_UNIT* DWARF_UnitOf(const DWARF_STORE& S, U32 Die) {
    return DWARF_UnitAt(S, DWARF_SectionOf(Die, S), DWARF_OffsetOf(Die, S));
}

bool DWARF_IsDie(const DWARF_STORE& S, U32 Die) {
    return Die != 0 && DWARF_DieAt(S, DWARF_SectionOf(Die, S), DWARF_OffsetOf(Die, S)) == Die;
}

U32 DWARF_DieAt(const DWARF_STORE& S, U32 Section, U64 Off) {
    const std::vector<U64>& Bits = S.aDieStore[Section == DSEC_TYPES];
    return Off / 64 < Bits.size() && ((Bits[Off / 64] >> (Off % 64)) & 1) != 0
               ? DWARF_MakeID(Section, static_cast<U32>(Off))
               : 0;
}
