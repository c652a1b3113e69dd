#include "elf/Cfi.h"

#include "elf/ByteReader.h"
#include "elf/CfiRow.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"
#include "elf/ElfInternal.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace {

constexpr U32 REG_SP = 13;
constexpr U32 MAX_OVERLAP = 64; ///< descriptions looked at below a PC; in sound files they don't overlap
constexpr I32 WORD_FACTOR = 4;  ///< offsets counted in words
constexpr const char* LOADER = "dwarf_get_fde_list";
constexpr const char* SIGNAL_FRAME = "S"; ///< augmentation of GCC's for handlers' return code; it has no data

class CCfiLoader {
public:
    explicit CCfiLoader(CFI_TABLE* pTable) : m_pTable(pTable) {}
    void ReadAll();

private:
    bool ReadEntry(U64 Off, bool IsCie);
    CByteReader At(U64 Off) const {
        CByteReader In(m_pTable->pData, m_pTable->Size, m_pTable->IsBig);
        In.Skip(Off);
        return In;
    }
    int ReadCie(U64 Off);
    bool ReadFde(CByteReader In, U64 CieOff);
    CFI_TABLE* m_pTable;
    std::unordered_map<U64, int> m_CieOfOffset; ///< -1: damaged
};

/// Length and ID of the entry at the reader; the entry's rest. Failed at the section's end or a damaged length.
CByteReader OpenEntry(CByteReader& In, U64* pId, bool* pIsCie) {
    U64 Length = In.GetU32();
    const bool Is64 = Length == 0xFFFFFFFF;
    Length = Is64 ? In.Get(8) : Length;
    CByteReader Entry = In.Sub(Length);
    *pId = Entry.Get(Is64 ? 8 : 4);
    *pIsCie = *pId == (Is64 ? ~0ULL : 0xFFFFFFFFULL);
    return Entry;
}

int CCfiLoader::ReadCie(U64 Off) {
    const auto [It, IsNew] = m_CieOfOffset.try_emplace(Off, -1);
    if (!IsNew) {
        return It->second;
    }
    U64 Id = 0;
    bool IsCie = false;
    CByteReader In = At(Off);
    CByteReader Entry = OpenEntry(In, &Id, &IsCie);
    const U8 Version = Entry.GetU8();
    const std::string_view sAugmentation = Entry.GetString();
    if (!In.IsOk() || !IsCie) {
        DWARF_ReportError(DWERR_FRAME_CIE, LOADER);
        return -1;
    }
    if (Version != 1 && Version != 3 && Version != 4) {
        DWARF_ReportError(DWERR_FRAME_VERSION, LOADER);
        return -1;
    }
    if (!sAugmentation.empty() && !sAugmentation.starts_with('z') && sAugmentation != "armcc+" &&
        sAugmentation != SIGNAL_FRAME) {
        DWARF_ReportError(DWERR_AUGMENTATION, LOADER);
        return -1;
    }
    if (Version == 4 && (Entry.GetU8() != 4 || Entry.GetU8() != 0)) {
        return -1; // other than 4-byte addresses, or segments
    }
    CFI_CIE Cie{};
    Cie.CodeAlign = Entry.GetULeb();
    Cie.DataAlign = Entry.GetSLeb();
    if (Version == 1) {
        Entry.GetU8(); // return address register
    } else {
        Entry.GetULeb();
    }
    Cie.HasAugmentation = sAugmentation.starts_with('z');
    if (Cie.HasAugmentation) {
        Entry.Skip(Entry.GetULeb());
    }
    Cie.Off = static_cast<U64>(Entry.GetPtr() - m_pTable->pData);
    Cie.NumBytes = static_cast<U32>(Entry.GetLeft());
    if (!Entry.IsOk()) {
        return -1;
    }
    m_pTable->Cies.push_back(Cie);
    It->second = static_cast<int>(m_pTable->Cies.size() - 1);
    return It->second;
}

bool CCfiLoader::ReadFde(CByteReader In, U64 CieOff) {
    const int Cie = ReadCie(CieOff);
    const U32 Lo = In.GetU32();
    const U32 Size = In.GetU32();
    if (Cie < 0) {
        return true; // an unknown kind of frame; others may be known
    }
    if (m_pTable->Cies[static_cast<size_t>(Cie)].HasAugmentation) {
        In.Skip(In.GetULeb());
    }
    if (!In.IsOk()) {
        return false;
    }
    m_pTable->FdeList.push_back({Lo, Size > 0xFFFFFFFF - Lo ? 0xFFFFFFFF : Lo + Size, static_cast<U32>(Cie),
                                 static_cast<U64>(In.GetPtr() - m_pTable->pData), static_cast<U32>(In.GetLeft())});
    return true;
}

void CCfiLoader::ReadAll() {
    CByteReader In = At(0);
    while (!In.IsAtEnd()) {
        const U64 Off = static_cast<U64>(In.GetPtr() - m_pTable->pData);
        U64 Id = 0;
        bool IsCie = false;
        const CByteReader Entry = OpenEntry(In, &Id, &IsCie);
        if (!In.IsOk()) {
            DWARF_ReportError(DWERR_FRAME_SIZE, LOADER);
            ELF_Report(ELF_MSG_READER, "call frame information could not be parsed.");
            return;
        }
        if (IsCie) {
            ReadCie(Off);
        } else if (!ReadFde(Entry, Id)) {
            DWARF_ReportError(DWERR_FRAME_SIZE, LOADER);
            ELF_Report(ELF_MSG_READER, "call frame information could not be parsed.");
            return;
        }
    }
}

ELF_SYM_LOC MakeLoc(U32 Kind, U32 Reg, I32 Off) {
    ELF_SYM_LOC Loc;
    Loc.Kind = Kind;
    Loc.Reg = Reg;
    Loc.Off = Off;
    return Loc;
}

/// The rule of register Reg as a location.
ELF_SYM_LOC RuleToLoc(const CFI_RULE& Rule, U32 Reg) {
    switch (Rule.Kind) {
    case CFI_SAME:
        return MakeLoc(ELF_LOC_REG, Reg, 0);
    case CFI_UNDEFINED:
        return MakeLoc(ELF_LOC_REG, ELF_REG_UNSPECIFIED, 0);
    case CFI_REGISTER:
        return MakeLoc(ELF_LOC_REG, Rule.Reg, 0);
    case CFI_REG_OFFSET:
        return MakeLoc(ELF_LOC_REG_OFF, Rule.Reg, Rule.Off);
    case CFI_OFFSET:
        // R0 and SP aren't callee-saved: a rule for them counts from the CFA's own column.
        return Reg != 0 && Reg != REG_SP ? MakeLoc(ELF_LOC_MEM_CFA, 0, Rule.Off)
                                         : MakeLoc(ELF_LOC_REG_OFF, CFI_REG_CFA, Rule.Off);
    case CFI_VAL_OFFSET:
        return MakeLoc(ELF_LOC_CFA, 0, Rule.Off);
    case CFI_EXPRESSION:
        ELF_Report(ELF_MSG_READER, "LibDwarf: evaluation of 'DW_EXPR_EXPRESSION' not implemented");
        return {};
    case CFI_VAL_EXPRESSION:
        ELF_Report(ELF_MSG_READER, "LibDwarf: evaluation of 'DW_EXPR_VAL_EXPRESSION' not implemented");
        return {};
    }
    ELF_Report(ELF_MSG_READER, "LibDwarf: unknown cfi register table value type");
    return {};
}

} // namespace

std::shared_ptr<CFI_TABLE> ELF_LoadCfi(const ELF_FILE* pFile) {
    auto pTable = std::make_shared<CFI_TABLE>();
    const int Idx = ELF_FindSection(pFile, ".debug_frame");
    pTable->pData = Idx >= 0 ? ELF_GetSectionData(pFile, static_cast<U32>(Idx)) : nullptr;
    pTable->Size = pTable->pData != nullptr ? ELF_GetSectionSize(pFile, static_cast<U32>(Idx)) : 0;
    pTable->IsBig = ELF_IsFileDataSwapped(pFile) != 0;
    pTable->CfaFactor = ELF_FindSection(pFile, ".note.iar") >= 0 ? WORD_FACTOR : 1;
    CCfiLoader(pTable.get()).ReadAll();
    pTable->DataAlign = pTable->Cies.empty() ? 0 : static_cast<I32>(pTable->Cies[0].DataAlign);
    pTable->FdeByAddr.resize(pTable->FdeList.size());
    for (U32 i = 0; i < pTable->FdeByAddr.size(); ++i) {
        pTable->FdeByAddr[i] = i;
    }
    const std::vector<CFI_FDE>& List = pTable->FdeList;
    // The search goes downwards: of several for one address, those of dropped copies of a function, the first is right.
    std::sort(pTable->FdeByAddr.begin(), pTable->FdeByAddr.end(), [&List](U32 a, U32 b) {
        return List[a].AddrLo != List[b].AddrLo ? List[a].AddrLo < List[b].AddrLo : a > b;
    });
    return pTable;
}

CFI_TABLE* ELF_GetCfi() {
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    return pFile != nullptr ? pFile->pCfi.get() : nullptr;
}

const CFI_FDE* CFI_FindFde(const CFI_TABLE* pTable, U32 PC) {
    if (pTable == nullptr) {
        return nullptr;
    }
    auto It = std::upper_bound(pTable->FdeByAddr.begin(), pTable->FdeByAddr.end(), PC,
                               [pTable](U32 Addr, U32 Idx) { return Addr < pTable->FdeList[Idx].AddrLo; });
    for (U32 i = 0; i < MAX_OVERLAP && It != pTable->FdeByAddr.begin(); ++i) {
        const CFI_FDE& Fde = pTable->FdeList[*--It];
        if (PC < Fde.AddrHi) {
            return Fde.AddrLo != 0 || pTable->HasCodeAtZero ? &Fde : nullptr;
        }
    }
    return nullptr;
}

I32 ELF_GetRegRules(CFI_TABLE* pTable, U32 PC, ELF_SYM_LOC* paRules) {
    const CFI_FDE* pFde = CFI_FindFde(pTable, PC);
    CFI_ROW Row;
    if (pFde == nullptr || paRules == nullptr || !CFI_EvalRow(pTable, *pFde, PC, &Row)) {
        return 0;
    }
    for (U32 Reg = 0; Reg < NUM_UNWIND_REGS; ++Reg) {
        paRules[Reg] = RuleToLoc(Reg == REG_SP ? Row.Cfa : Row.aReg[Reg], Reg);
    }
    paRules[REG_SP].Off = static_cast<I32>(static_cast<U32>(paRules[REG_SP].Off) * static_cast<U32>(pTable->CfaFactor));
    return NUM_UNWIND_REGS;
}

ELF_SYM_LOC ELF_GetCFA(CFI_TABLE* pTable, U32 PC) {
    if (pTable == nullptr) {
        return {};
    }
    if (pTable->CachedCfaPC == PC && PC != 0xFFFFFFFF) {
        return pTable->CachedCfaLoc;
    }
    const CFI_FDE* pFde = CFI_FindFde(pTable, PC);
    CFI_ROW Row;
    if (pFde == nullptr || !CFI_EvalRow(pTable, *pFde, PC, &Row)) {
        return {};
    }
    pTable->CachedCfaLoc = RuleToLoc(Row.Cfa, REG_SP);
    pTable->CachedCfaPC = PC;
    return pTable->CachedCfaLoc;
}

namespace {

/// Leads over the operands of an instruction other than those that set a CFA offset. False for an unknown one.
bool SkipOperands(CByteReader& In, U8 Op) {
    switch (Op) {
    case DW_CFA_set_loc:
    case DW_CFA_advance_loc4:
        In.Skip(4);
        return true;
    case DW_CFA_advance_loc1:
        In.Skip(1);
        return true;
    case DW_CFA_advance_loc2:
        In.Skip(2);
        return true;
    case DW_CFA_remember_state:
    case DW_CFA_restore_state:
        return true;
    case DW_CFA_restore_extended:
    case DW_CFA_undefined:
    case DW_CFA_same_value:
    case DW_CFA_def_cfa_register:
    case 0x2E: // GNU_args_size
        In.GetULeb();
        return true;
    case DW_CFA_offset_extended:
    case DW_CFA_register:
    case DW_CFA_offset_extended_sf:
    case DW_CFA_val_offset:
    case DW_CFA_val_offset_sf:
    case 0x2F: // GNU_negative_offset_extended
        In.GetULeb();
        In.GetULeb();
        return true;
    case DW_CFA_def_cfa_expression:
        In.Skip(In.GetULeb());
        return true;
    case DW_CFA_expression:
    case DW_CFA_val_expression:
        In.GetULeb();
        In.Skip(In.GetULeb());
        return true;
    default:
        return false;
    }
}

} // namespace

I32 ELF_GetStackSize(const CFI_TABLE* pTable, U32 PC) {
    const CFI_FDE* pFde = CFI_FindFde(pTable, PC);
    if (pFde == nullptr) {
        return -1;
    }
    const I64 DataAlign = pTable->Cies[pFde->Cie].DataAlign;
    CByteReader In(pTable->pData + pFde->Off, pFde->NumBytes, pTable->IsBig);
    I64 Lowest = 0;
    I64 Highest = 0;
    I64 Value = 0;
    while (!In.IsAtEnd()) {
        const U8 Byte = In.GetU8();
        const U8 Op = Byte & 0x3F;
        if ((Byte & 0xC0) != 0) {
            if ((Byte & 0xC0) == DW_CFA_offset) {
                In.GetULeb();
            }
        } else if (Op == DW_CFA_def_cfa || Op == DW_CFA_def_cfa_sf || Op == DW_CFA_def_cfa_offset ||
                   Op == DW_CFA_def_cfa_offset_sf) {
            if (Op == DW_CFA_def_cfa || Op == DW_CFA_def_cfa_sf) {
                In.GetULeb();
            }
            const bool IsFactored = Op == DW_CFA_def_cfa_sf || Op == DW_CFA_def_cfa_offset_sf;
            Value = static_cast<I32>(
                IsFactored ? static_cast<I64>(static_cast<U64>(In.GetSLeb()) * static_cast<U64>(DataAlign))
                           : static_cast<I64>(In.GetULeb()));
        } else if (Op != DW_CFA_nop && !SkipOperands(In, Op)) {
            break;
        }
        Lowest = std::min(Lowest, Value);
        Highest = std::max(Highest, Value);
    }
    const I64 Size = std::max(Highest, -Lowest);
    return Size > 0x7FFFFFFF ? 0 : static_cast<I32>(Size);
}

U32 ELF_GetFdeCnt(const CFI_TABLE* pTable) { return pTable != nullptr ? static_cast<U32>(pTable->FdeList.size()) : 0; }

U32 ELF_GetFdeAddrLo(const CFI_TABLE* pTable, U32 i) {
    return i < ELF_GetFdeCnt(pTable) ? pTable->FdeList[i].AddrLo : 0;
}

U32 ELF_GetFdeAddrHi(const CFI_TABLE* pTable, U32 i) {
    return i < ELF_GetFdeCnt(pTable) ? pTable->FdeList[i].AddrHi : 0;
}
