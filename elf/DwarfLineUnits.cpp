#include "elf/DwarfLineUnits.h"

#include <cstring>
#include <libdwarf/dwarf.h>

namespace {

constexpr const char* asSection[NUM_LINE_SECTIONS] = {".debug_info",        ".debug_abbrev",   ".debug_line",
                                                      ".debug_str",         ".debug_line_str", ".debug_str_offsets",
                                                      ".debug_addr",        ".debug_ranges",   ".debug_rnglists"};
constexpr U32 ADDR_SIZE = 4;
constexpr U64 MAX_ABBREV_WORK = 100'000'000; ///< bytes of abbreviations led over in search of root DIEs, all units
constexpr U32 NUM_UNIT_RANGES = 100'000;

/// What is kept of a root DIE until its bases are known.
struct ROOT {
    DWARF_LINE_VALUE Name;
    DWARF_LINE_VALUE Dir;
    DWARF_LINE_VALUE Low;
    DWARF_LINE_VALUE High;
    DWARF_LINE_VALUE Ranges;
    U64 AddrBase = 8; ///< behind the header of the section's only part
    U64 StrBase = 8;
    U64 RangesBase = 12;
};

class CUnitReader {
public:
    CUnitReader(const DWARF_LINE_SECTIONS& Sections, std::vector<DWARF_LINE_UNIT>* pUnits)
        : m_Sections(Sections), m_pUnits(pUnits) {}
    bool ReadAll();

private:
    bool ReadUnit(CByteReader In);
    bool FindAbbrev(U64 Off, U64 Code, CByteReader* pSpec);
    void Keep(U64 At, const DWARF_LINE_VALUE& Value, ROOT* pRoot, DWARF_LINE_UNIT* pUnit) const;
    const char* Text(const DWARF_LINE_VALUE& Value, const ROOT& Root) const;
    U64 Address(const DWARF_LINE_VALUE& Value, const ROOT& Root) const;
    void ReadRanges(const ROOT& Root, DWARF_LINE_UNIT* pUnit) const;
    void ReadOldRanges(U64 Off, U64 Base, DWARF_LINE_UNIT* pUnit) const;
    void ReadRangeList(U64 Off, U64 Base, const ROOT& Root, DWARF_LINE_UNIT* pUnit) const;
    static void AddRange(U64 Lo, U64 Hi, DWARF_LINE_UNIT* pUnit) {
        if (Lo < Hi && Hi <= 0xFFFFFFFF && pUnit->Ranges.size() < NUM_UNIT_RANGES) {
            pUnit->Ranges.push_back({static_cast<U32>(Lo), static_cast<U32>(Hi)});
        }
    }

    const DWARF_LINE_SECTIONS& m_Sections;
    std::vector<DWARF_LINE_UNIT>* m_pUnits;
    U32 m_OffsetSize = 4;
    U64 m_Work = 0;
};

bool CUnitReader::ReadAll() {
    CByteReader In = m_Sections.At(LSEC_INFO, 0);
    while (!In.IsAtEnd()) {
        U64 Length = In.GetU32();
        m_OffsetSize = 4;
        if (Length == 0xFFFFFFFF) {
            Length = In.Get(8);
            m_OffsetSize = 8;
        }
        const CByteReader Unit = In.Sub(Length);
        if (In.IsFailed() || !ReadUnit(Unit)) {
            return false;
        }
    }
    return true;
}

bool CUnitReader::ReadUnit(CByteReader In) {
    DWARF_LINE_UNIT Unit;
    Unit.Version = In.GetU16();
    if (Unit.Version < 2 || Unit.Version > 5) {
        return false;
    }
    U32 Type = DW_UT_compile;
    U64 AbbrevOff = 0;
    U32 AddrSize = 0;
    if (Unit.Version == 5) {
        Type = In.GetU8();
        AddrSize = In.GetU8();
        AbbrevOff = In.Get(m_OffsetSize);
        In.Skip(Type == DW_UT_skeleton || Type == DW_UT_split_compile                ? 8
                : Type == DW_UT_type || Type == DW_UT_split_type ? 8 + m_OffsetSize : 0);
    } else {
        AbbrevOff = In.Get(m_OffsetSize);
        AddrSize = In.GetU8();
    }
    CByteReader Spec;
    if (In.IsFailed() || AddrSize != ADDR_SIZE || !FindAbbrev(AbbrevOff, In.GetULeb(), &Spec)) {
        return true; // this unit says nothing; the next one may
    }
    ROOT Root;
    while (!Spec.IsFailed()) {
        const U64 At = Spec.GetULeb();
        const U64 Form = Spec.GetULeb();
        DWARF_LINE_VALUE Value;
        Value.Form = static_cast<U32>(Form);
        if (At == 0 && Form == 0) {
            break;
        }
        if (Form == DW_FORM_implicit_const) {
            Value.Value = static_cast<U64>(Spec.GetSLeb());
        } else if (Form > 0xFFFF || !DWARF_ReadLineValue(m_Sections, In, static_cast<U32>(Form), m_OffsetSize, Unit.Version, &Value)) {
            break;
        }
        Keep(At, Value, &Root, &Unit);
    }
    Unit.sName = Text(Root.Name, Root);
    Unit.sDir = Text(Root.Dir, Root);
    ReadRanges(Root, &Unit);
    m_pUnits->push_back(std::move(Unit));
    return true;
}

bool CUnitReader::FindAbbrev(U64 Off, U64 Code, CByteReader* pSpec) {
    CByteReader In = m_Sections.At(LSEC_ABBREV, Off);
    const U64 Start = In.GetLeft();
    bool IsFound = false;
    while (!In.IsFailed() && Code != 0 && !IsFound && m_Work + Start - In.GetLeft() < MAX_ABBREV_WORK) {
        const U64 Entry = In.GetULeb();
        if (Entry == 0) {
            break;
        }
        In.GetULeb();
        In.GetU8();
        *pSpec = In;
        IsFound = Entry == Code && !In.IsFailed();
        U64 At = 1;
        U64 Form = 1;
        while (!IsFound && (At != 0 || Form != 0) && !In.IsFailed()) {
            At = In.GetULeb();
            Form = In.GetULeb();
            if (Form == DW_FORM_implicit_const) {
                In.GetSLeb();
            }
        }
    }
    m_Work += Start - In.GetLeft();
    return IsFound;
}

void CUnitReader::Keep(U64 At, const DWARF_LINE_VALUE& Value, ROOT* pRoot, DWARF_LINE_UNIT* pUnit) const {
    switch (At) {
    case DW_AT_stmt_list:
        pUnit->HasLines = true;
        pUnit->LineOff = Value.Value;
        break;
    case DW_AT_language:
        pUnit->Lang = static_cast<U32>(Value.Value);
        break;
    case DW_AT_name:
        pRoot->Name = Value;
        break;
    case DW_AT_comp_dir:
        pRoot->Dir = Value;
        break;
    case DW_AT_low_pc:
        pRoot->Low = Value;
        break;
    case DW_AT_high_pc:
        pRoot->High = Value;
        break;
    case DW_AT_ranges:
        pRoot->Ranges = Value;
        break;
    case DW_AT_addr_base:
    case DW_AT_GNU_addr_base:
        pRoot->AddrBase = Value.Value;
        break;
    case DW_AT_str_offsets_base:
        pRoot->StrBase = Value.Value;
        break;
    case DW_AT_rnglists_base:
        pRoot->RangesBase = Value.Value;
        break;
    default:
        break;
    }
}

bool _IsStrx(U32 Form) { return Form == DW_FORM_strx || (Form >= DW_FORM_strx1 && Form <= DW_FORM_strx4) || Form == DW_FORM_GNU_str_index; }
bool _IsAddrx(U32 Form) { return Form == DW_FORM_addrx || (Form >= DW_FORM_addrx1 && Form <= DW_FORM_addrx4) || Form == DW_FORM_GNU_addr_index; }

const char* CUnitReader::Text(const DWARF_LINE_VALUE& Value, const ROOT& Root) const {
    if (Value.sText != nullptr || !_IsStrx(Value.Form) || Value.Value > 0xFFFFFFFF) {
        return Value.sText != nullptr ? Value.sText : "";
    }
    return m_Sections.GetString(LSEC_STR, m_Sections.At(LSEC_STR_OFFSETS, Root.StrBase + Value.Value * m_OffsetSize).Get(m_OffsetSize));
}

U64 CUnitReader::Address(const DWARF_LINE_VALUE& Value, const ROOT& Root) const {
    if (!_IsAddrx(Value.Form)) {
        return Value.Value;
    }
    return Value.Value > 0xFFFFFFFF ? 0 : m_Sections.At(LSEC_ADDR, Root.AddrBase + Value.Value * ADDR_SIZE).Get(ADDR_SIZE);
}

void CUnitReader::ReadRanges(const ROOT& Root, DWARF_LINE_UNIT* pUnit) const {
    const U64 Low = Address(Root.Low, Root);
    if (Root.Ranges.Form == 0) {
        const bool IsAddr = Root.High.Form == DW_FORM_addr || _IsAddrx(Root.High.Form);
        AddRange(Low, IsAddr ? Address(Root.High, Root) : Low + Root.High.Value, pUnit);
        return;
    }
    U64 Off = Root.Ranges.Value;
    if (Root.Ranges.Form == DW_FORM_rnglistx) {
        Off = Off > 0xFFFFFFFF ? ~0ULL : Root.RangesBase + m_Sections.At(LSEC_RNGLISTS, Root.RangesBase + Off * m_OffsetSize).Get(m_OffsetSize);
    }
    if (pUnit->Version >= 5) {
        ReadRangeList(Off, Low, Root, pUnit);
    } else {
        ReadOldRanges(Off, Low, pUnit);
    }
}

/// Versions 2 to 4: pairs of addresses; a first address of all ones sets the base.
void CUnitReader::ReadOldRanges(U64 Off, U64 Base, DWARF_LINE_UNIT* pUnit) const {
    CByteReader In = m_Sections.At(LSEC_RANGES, Off);
    while (!In.IsFailed() && pUnit->Ranges.size() < NUM_UNIT_RANGES) {
        const U64 Lo = In.GetU32();
        const U64 Hi = In.GetU32();
        if (Lo == 0 && Hi == 0) {
            break;
        }
        if (Lo == 0xFFFFFFFF) {
            Base = Hi;
        } else if (!In.IsFailed()) {
            AddRange(Base + Lo, Base + Hi, pUnit);
        }
    }
}

/// DWARF 5, section 7.25.
void CUnitReader::ReadRangeList(U64 Off, U64 Base, const ROOT& Root, DWARF_LINE_UNIT* pUnit) const {
    CByteReader In = m_Sections.At(LSEC_RNGLISTS, Off);
    const auto Indexed = [&] { return Address({DW_FORM_addrx, In.GetULeb(), nullptr}, Root); };
    while (!In.IsFailed() && pUnit->Ranges.size() < NUM_UNIT_RANGES) {
        const U8 Kind = In.GetU8();
        U64 Lo = 0;
        U64 Hi = 0;
        switch (Kind) {
        case DW_RLE_base_addressx:
            Base = Indexed();
            continue;
        case DW_RLE_base_address:
            Base = In.Get(ADDR_SIZE);
            continue;
        case DW_RLE_startx_endx:
            Lo = Indexed();
            Hi = Indexed();
            break;
        case DW_RLE_startx_length:
            Lo = Indexed();
            Hi = Lo + In.GetULeb();
            break;
        case DW_RLE_offset_pair:
            Lo = Base + In.GetULeb();
            Hi = Base + In.GetULeb();
            break;
        case DW_RLE_start_end:
            Lo = In.Get(ADDR_SIZE);
            Hi = In.Get(ADDR_SIZE);
            break;
        case DW_RLE_start_length:
            Lo = In.Get(ADDR_SIZE);
            Hi = Lo + In.GetULeb();
            break;
        default:
            return; // the end, or what can't be read on
        }
        if (!In.IsFailed()) {
            AddRange(Lo, Hi, pUnit);
        }
    }
}

} // namespace

DWARF_LINE_SECTIONS::DWARF_LINE_SECTIONS(const ELF_FILE* pFile) : IsBig(ELF_IsFileDataSwapped(pFile) != 0) {
    for (U32 i = 0; i < NUM_LINE_SECTIONS; ++i) {
        const int Idx = ELF_FindSection(pFile, asSection[i]);
        apData[i] = Idx >= 0 ? ELF_GetSectionData(pFile, static_cast<U32>(Idx)) : nullptr;
        aSize[i] = apData[i] != nullptr ? ELF_GetSectionSize(pFile, static_cast<U32>(Idx)) : 0;
    }
}

CByteReader DWARF_LINE_SECTIONS::At(U32 Section, U64 Off) const {
    CByteReader In(apData[Section], aSize[Section], IsBig);
    In.Skip(Off);
    return In;
}

const char* DWARF_LINE_SECTIONS::GetString(U32 Section, U64 Off) const { return At(Section, Off).GetString(); }

bool DWARF_ReadLineUnits(const DWARF_LINE_SECTIONS& Sections, std::vector<DWARF_LINE_UNIT>* pUnits) {
    return CUnitReader(Sections, pUnits).ReadAll();
}

bool DWARF_ReadLineValue(const DWARF_LINE_SECTIONS& Sections, CByteReader& In, U32 Form, U32 OffsetSize, U32 Version,
                         DWARF_LINE_VALUE* pValue) {
    pValue->Form = Form;
    switch (Form) {
    case DW_FORM_string:
        pValue->sText = In.GetString();
        break;
    case DW_FORM_strp:
        pValue->sText = Sections.GetString(LSEC_STR, In.Get(OffsetSize));
        break;
    case DW_FORM_line_strp:
        pValue->sText = Sections.GetString(LSEC_LINE_STR, In.Get(OffsetSize));
        break;
    case DW_FORM_data1:
    case DW_FORM_ref1:
    case DW_FORM_flag:
    case DW_FORM_strx1:
    case DW_FORM_addrx1:
        pValue->Value = In.Get(1);
        break;
    case DW_FORM_data2:
    case DW_FORM_ref2:
    case DW_FORM_strx2:
    case DW_FORM_addrx2:
        pValue->Value = In.Get(2);
        break;
    case DW_FORM_strx3:
    case DW_FORM_addrx3:
        pValue->Value = In.Get(3);
        break;
    case DW_FORM_addr:
    case DW_FORM_data4:
    case DW_FORM_ref4:
    case DW_FORM_ref_sup4:
    case DW_FORM_strx4:
    case DW_FORM_addrx4:
        pValue->Value = In.Get(4);
        break;
    case DW_FORM_data8:
    case DW_FORM_ref8:
    case DW_FORM_ref_sig8:
    case DW_FORM_ref_sup8:
        pValue->Value = In.Get(8);
        break;
    case DW_FORM_data16:
        In.Skip(16);
        break;
    case DW_FORM_sdata:
        pValue->Value = static_cast<U64>(In.GetSLeb());
        break;
    case DW_FORM_udata:
    case DW_FORM_ref_udata:
    case DW_FORM_strx:
    case DW_FORM_addrx:
    case DW_FORM_loclistx:
    case DW_FORM_rnglistx:
    case DW_FORM_GNU_str_index:
    case DW_FORM_GNU_addr_index:
        pValue->Value = In.GetULeb();
        break;
    case DW_FORM_sec_offset:
    case DW_FORM_strp_sup:
    case DW_FORM_GNU_ref_alt:
    case DW_FORM_GNU_strp_alt:
        pValue->Value = In.Get(OffsetSize);
        break;
    case DW_FORM_ref_addr:
        pValue->Value = In.Get(Version == 2 ? ADDR_SIZE : OffsetSize);
        break;
    case DW_FORM_flag_present:
        pValue->Value = 1;
        break;
    case DW_FORM_block1:
        In.Skip(In.Get(1));
        break;
    case DW_FORM_block2:
        In.Skip(In.Get(2));
        break;
    case DW_FORM_block4:
        In.Skip(In.Get(4));
        break;
    case DW_FORM_block:
    case DW_FORM_exprloc:
        In.Skip(In.GetULeb());
        break;
    default:
        return false;
    }
    return !In.IsFailed();
}
