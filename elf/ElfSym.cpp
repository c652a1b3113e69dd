#include "elf/ElfSym.h"

#include "elf/Cfi.h"
#include "elf/DwarfConst.h"
#include "elf/ElfReloc.h"

#include <algorithm>

namespace {

constexpr U64 HANDLE_MAGIC = 0xE0FE0F00;
constexpr U32 HANDLE_DWARF = 1;
constexpr U32 HANDLE_ELF = 2;
constexpr U32 MAX_FILE_INDEX = 2;
constexpr U32 ID_MASK = 0x3FFFFFF;

ELF_SYM_HANDLE MakeHandle(U32 Type, U32 ID) {
    return (HANDLE_MAGIC << 32) | (static_cast<U64>(Type) << 29) | (ID & ID_MASK);
}

U32 SymID(ELF_SYM_HANDLE h) { return static_cast<U32>(h) & ID_MASK; }

/// Every slot of the file table holds the one open file.
bool HasOpenFile(ELF_SYM_HANDLE h) {
    return ((static_cast<U32>(h) >> 26) & 7) <= MAX_FILE_INDEX && ELF_GetCurrentFile() != nullptr;
}

const Elf32_Sym* ElfSymOf(ELF_SYM_HANDLE h) {
    return IsElfSymbolHandle(h) && HasOpenFile(h) ? ELF_GetSym(ELF_GetCurrentFile(), SymID(h)) : nullptr;
}

/// Attribute number of the DIE behind a handle, -1 without one.
I64 NumberOf(ELF_SYM_HANDLE h, U32 At) {
    U64 Value = 0;
    const U32 Die = GetDie(h);
    return Die != 0 && GetAttributeAsU64(*ELF_GetStore(), Die, At, &Value) ? static_cast<I64>(Value) : -1;
}

template <typename FUNC, typename... ARGS> auto Ask(ELF_SYM_HANDLE h, FUNC pfAsk, ARGS... Args) {
    using RESULT = std::decay_t<decltype(pfAsk(*ELF_GetStore(), 0u, Args...))>;
    const U32 Die = GetDie(h);
    return Die != 0 ? RESULT(pfAsk(*ELF_GetStore(), Die, Args...)) : RESULT();
}

U32 LocAttrOf(U32 Tag) {
    switch (Tag) {
    case DW_TAG_member:
    case DW_TAG_inheritance:
        return DW_AT_data_member_location;
    case DW_TAG_subprogram:
    case DW_TAG_inlined_subroutine:
        return DW_AT_frame_base;
    default:
        return DW_AT_location;
    }
}

std::vector<std::string> DataSymsAtZero(const ELF_FILE* pFile) {
    constexpr U32 FIRST_RESERVED_SECTION = 0xFF00;
    std::vector<std::string> Names;
    for (const U32 Idx : pFile->papSymByAddr) {
        const Elf32_Sym& Sym = pFile->paSym[Idx];
        if (Sym.st_value != 0) {
            break;
        }
        const char* sName = ELF_GetSymNameByIdx(pFile, Idx);
        if (ELF_GetSymType(Sym) <= STT_OBJECT && Sym.st_shndx != 0 && Sym.st_shndx < FIRST_RESERVED_SECTION &&
            sName != nullptr && sName[0] != '$') {
            Names.push_back(sName);
        }
    }
    return Names;
}

const std::vector<U32>* GetList(ELF_SYM_LISTS List) {
    const DWARF_STORE* p = ELF_GetStore();
    if (p == nullptr) {
        return nullptr;
    }
    switch (List) {
    case ELF_LIST_GLOBALS:
        return &p->GlobalVars;
    case ELF_LIST_FUNCS:
        return &p->Funcs;
    case ELF_LIST_INLINES:
        return &p->InlineFuncs;
    case ELF_LIST_NAMESPACES:
        return &p->Namespaces;
    default:
        return &p->Types;
    }
}

} // namespace

bool IsValidSymbolHandle(ELF_SYM_HANDLE h) { return h >> 32 == HANDLE_MAGIC; }
U32 GetSymbolHandleType(ELF_SYM_HANDLE h) { return IsValidSymbolHandle(h) ? (static_cast<U32>(h) >> 29) & 7 : 0; }
bool IsElfSymbolHandle(ELF_SYM_HANDLE h) { return GetSymbolHandleType(h) == HANDLE_ELF; }
bool IsDwarfSymbolHandle(ELF_SYM_HANDLE h) { return GetSymbolHandleType(h) == HANDLE_DWARF; }

DWARF_STORE* ELF_GetStore() {
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    return pFile != nullptr ? pFile->pDwarf.get() : nullptr;
}

U32 GetDie(ELF_SYM_HANDLE h) {
    const DWARF_STORE* pStore = ELF_GetStore();
    if (pStore == nullptr || !IsDwarfSymbolHandle(h) || !HasOpenFile(h)) {
        return 0;
    }
    return DWARF_IsDie(*pStore, SymID(h)) ? SymID(h) : 0;
}

ELF_SYM_HANDLE ELF_MakeDwarfHandle(U32 Die) { return Die != 0 ? MakeHandle(HANDLE_DWARF, Die) : 0; }
ELF_SYM_HANDLE ELF_MakeElfHandle(U32 Idx) { return Idx <= ID_MASK ? MakeHandle(HANDLE_ELF, Idx) : 0; }

bool ELF_IsElfSymbol(ELF_SYM_HANDLE h) { return IsElfSymbolHandle(h); }

U32 ELF_GetSymType(ELF_SYM_HANDLE h) {
    if (const Elf32_Sym* pSym = ElfSymOf(h); pSym != nullptr) {
        return ELF_GetSymType(*pSym);
    }
    const U32 Die = GetDie(h);
    return Die != 0 ? GetDieType(*ELF_GetStore(), Die) : ELF_SYM_TYPE_BAD;
}

U32 ELF_GetSymBinding(ELF_SYM_HANDLE h) {
    const Elf32_Sym* pSym = ElfSymOf(h);
    return pSym != nullptr ? ELF_GetSymBinding(*pSym) : ELF_SYM_BINDING_NONE;
}

std::string ELF_GetSymName(ELF_SYM_HANDLE h) {
    if (ElfSymOf(h) != nullptr) {
        const char* sName = ELF_GetSymNameByIdx(ELF_GetCurrentFile(), SymID(h));
        return sName != nullptr ? sName : "";
    }
    return Ask(h, GetDieName, 0u);
}

U32 ELF_GetSymValue(ELF_SYM_HANDLE h) {
    const Elf32_Sym* pSym = ElfSymOf(h);
    return pSym != nullptr ? pSym->st_value : 0;
}

U32 ELF_GetSymSectionIdx(ELF_SYM_HANDLE h) {
    if (const Elf32_Sym* pSym = ElfSymOf(h); pSym != nullptr) {
        return pSym->st_shndx;
    }
    const U32 Die = GetDie(h);
    return Die != 0 ? ELF_GetStore()->aSection[DWARF_SectionOf(Die, *ELF_GetStore())].Idx : 0;
}

std::vector<ELF_RANGE> ELF_GetSymAddrRanges(ELF_SYM_HANDLE h) {
    std::vector<ELF_RANGE> Ranges = Ask(h, GetDieRanges);
    if (const Elf32_Sym* pSym = ElfSymOf(h); pSym != nullptr) {
        Ranges.push_back({pSym->st_value, pSym->st_value + pSym->st_size});
    }
    if (ELF_HasRelocs()) {
        for (ELF_RANGE& Range : Ranges) {
            Range = {ELF_Relocate(Range.Lo), ELF_Relocate(Range.Hi, true)};
        }
    }
    return Ranges;
}

U32 ELF_GetSymAddrRangeCnt(ELF_SYM_HANDLE h) { return static_cast<U32>(ELF_GetSymAddrRanges(h).size()); }

I64 ELF_GetSymAddrRangeLo(ELF_SYM_HANDLE h, U32 i) {
    const std::vector<ELF_RANGE> Ranges = ELF_GetSymAddrRanges(h);
    return i < Ranges.size() ? static_cast<I64>(Ranges[i].Lo) : -1;
}

I64 ELF_GetSymAddrRangeHi(ELF_SYM_HANDLE h, U32 i) {
    const std::vector<ELF_RANGE> Ranges = ELF_GetSymAddrRanges(h);
    return i < Ranges.size() ? static_cast<I64>(Ranges[i].Hi) : -1;
}

U32 ELF_GetSymSize(ELF_SYM_HANDLE h) {
    const Elf32_Sym* pSym = ElfSymOf(h);
    return pSym != nullptr ? pSym->st_size : Ask(h, GetDieSizeRecursive);
}

bool ELF_IsDropped(ELF_SYM_HANDLE h) {
    const U32 Die = GetDie(h);
    const ELF_SYM_LOC Loc = Die != 0 ? GetDieLoc(*ELF_GetStore(), Die, DW_AT_location, 0) : ELF_SYM_LOC();
    if (Loc.Kind != ELF_LOC_MEM || Loc.Addr != 0) {
        return false;
    }
    DWARF_STORE& S = *ELF_GetStore();
    if (S.pSymsAtZero == nullptr) {
        S.pSymsAtZero = std::make_unique<std::vector<std::string>>(DataSymsAtZero(ELF_GetCurrentFile()));
    }
    // The linker's name may have more than the variable's: "_ZN5outer4NameE", "Name.12".
    const std::string_view sName = GetDieRawName(S, Die);
    return std::none_of(S.pSymsAtZero->begin(), S.pSymsAtZero->end(),
                        [&](const std::string& sSym) { return sSym.find(sName) != std::string::npos; });
}

ELF_SYM_LOC ELF_GetSymLoc(ELF_SYM_HANDLE h, U32 PC) {
    ELF_SYM_LOC Loc;
    if (const Elf32_Sym* pSym = ElfSymOf(h); pSym != nullptr) {
        if (!ELF_IsFuncType(ELF_GetSymType(*pSym))) {
            Loc.Kind = ELF_LOC_MEM;
            Loc.Addr = ELF_Relocate(pSym->st_value);
        }
        return Loc;
    }
    const U32 Die = GetDie(h);
    if (Die == 0) {
        return Loc;
    }
    const DWARF_STORE& S = *ELF_GetStore();
    Loc = GetDieLoc(S, Die, LocAttrOf(GetDieType(S, Die)), ELF_Unrelocate(PC));
    if (Loc.Kind == ELF_LOC_CFA && Loc.Off == 0) {
        // A frame base that is the CFA: its rule at PC says which register that counts from.
        const ELF_SYM_LOC Rule = ELF_GetCFA(ELF_GetCfi(), ELF_Unrelocate(PC));
        Loc = Rule.Kind != ELF_LOC_NONE ? Rule : Loc;
    }
    if (Loc.Kind == ELF_LOC_MEM && Loc.Addr == 0 && ELF_IsDropped(h)) {
        return {};
    }
    if (Loc.Kind == ELF_LOC_MEM || Loc.Kind == ELF_LOC_MEM_OFF) {
        Loc.Addr = ELF_Relocate(Loc.Addr);
    }
    if (Loc.Base.Kind == ELF_LOC_MEM || Loc.Base.Kind == ELF_LOC_MEM_OFF) {
        Loc.Base.Addr = ELF_Relocate(Loc.Base.Addr);
    }
    return Loc;
}

int ELF_GetSymSign(ELF_SYM_HANDLE h) { return Ask(h, GetDieSign); }
U32 ELF_GetSymAccessibility(ELF_SYM_HANDLE h) { return Ask(h, GetDieAccessibility); }

U32 ELF_GetSymConstValueData(ELF_SYM_HANDLE h, const U8** ppData) {
    static U8 aData[256];
    *ppData = aData;
    const U32 Die = GetDie(h);
    return Die != 0 ? GetAttributeData(*ELF_GetStore(), Die, aData) : 0;
}

U32 ELF_GetSymBitWidth(ELF_SYM_HANDLE h) { return Ask(h, GetDieBitWidth); }
U32 ELF_GetSymBitOffset(ELF_SYM_HANDLE h) { return Ask(h, GetDieBitOffset); }
std::string ELF_GetSymDataTypeName(ELF_SYM_HANDLE h) { return Ask(h, GetDieTypeStr); }

ELF_SYM_HANDLE ELF_GetSymDataType(ELF_SYM_HANDLE h, bool Resolve) {
    return ELF_MakeDwarfHandle(Ask(h, GetDataTypeDie, Resolve));
}

std::string ELF_GetSymDeclFileName(ELF_SYM_HANDLE h) {
    return Ask(h, GetDieFileName, static_cast<U32>(DW_AT_decl_file));
}
I64 ELF_GetSymDeclLine(ELF_SYM_HANDLE h) { return NumberOf(h, DW_AT_decl_line); }
std::string ELF_GetSymCallFileName(ELF_SYM_HANDLE h) {
    return Ask(h, GetDieFileName, static_cast<U32>(DW_AT_call_file));
}
I64 ELF_GetSymCallLine(ELF_SYM_HANDLE h) { return NumberOf(h, DW_AT_call_line); }

ELF_SYM_HANDLE ELF_GetSymAbstrInstance(ELF_SYM_HANDLE h) { return ELF_MakeDwarfHandle(Ask(h, GetAbstractInstanceOf)); }
ELF_SYM_HANDLE ELF_GetSymParentFunc(ELF_SYM_HANDLE h) { return ELF_MakeDwarfHandle(Ask(h, GetDieParentFunc)); }
ELF_SYM_HANDLE ELF_GetSymParentType(ELF_SYM_HANDLE h) { return ELF_MakeDwarfHandle(Ask(h, GetDieParentType)); }

ELF_SYM_HANDLE ELF_GetSymParentNamespace(ELF_SYM_HANDLE h) {
    return ELF_MakeDwarfHandle(Ask(h, GetDieParentNamespace));
}

ELF_SYM_HANDLE ELF_GetSymParentScope(ELF_SYM_HANDLE h) { return ELF_MakeDwarfHandle(Ask(h, GetAnyDieAncestor)); }

U32 ELF_GetSymMemberCount(ELF_SYM_HANDLE h) { return static_cast<U32>(Ask(h, DWARF_GetMembers, 0u).size()); }

ELF_SYM_HANDLE ELF_GetSymMember(ELF_SYM_HANDLE h, U32 i) {
    const std::vector<U32> Members = Ask(h, DWARF_GetMembers, 0u);
    return i < Members.size() ? ELF_MakeDwarfHandle(Members[i]) : 0;
}

int ELF_GetSymMemberIdx(ELF_SYM_HANDLE h, const char* sName) {
    const U32 Die = GetDie(h);
    return Die != 0 ? GetDieMemberIdx(*ELF_GetStore(), Die, sName) : -1;
}

I64 ELF_GetSymMemberOffset(ELF_SYM_HANDLE h) {
    const U32 Die = GetDie(h);
    if (Die == 0) {
        return -1;
    }
    const ELF_SYM_LOC Loc = GetDieLoc(*ELF_GetStore(), Die, DW_AT_data_member_location, 0);
    return Loc.Kind == ELF_LOC_PARENT_LOC ? Loc.Off : -1;
}

U32 ELF_GetSymInheritanceCnt(ELF_SYM_HANDLE h) { return static_cast<U32>(Ask(h, DWARF_GetInherited).size()); }

ELF_SYM_HANDLE ELF_GetSymInheritance(ELF_SYM_HANDLE h, U32 i) {
    const std::vector<U32> Bases = Ask(h, DWARF_GetInherited);
    return i < Bases.size() ? ELF_MakeDwarfHandle(Bases[i]) : 0;
}

ELF_SYM_ARRAY_INFO ELF_GetSymArrayInfo(ELF_SYM_HANDLE h) { return Ask(h, GetDieArrayInfo, 0u); }

ELF_SYM_HANDLE ELF_GetMainFunc() {
    DWARF_STORE* p = ELF_GetStore();
    if (p == nullptr) {
        return 0;
    }
    for (size_t i = 0; p->MainDie == 0 && i < p->Funcs.size(); ++i) {
        DWARF_ATTR Attr;
        if (DWARF_GetAttr(*p, p->Funcs[i], DW_AT_name, &Attr) && Attr.sText == "main") {
            p->MainDie = p->Funcs[i];
        }
    }
    return ELF_MakeDwarfHandle(p->MainDie);
}

U32 ELF_GetListCnt(ELF_SYM_LISTS List) {
    const std::vector<U32>* p = GetList(List);
    return p != nullptr ? static_cast<U32>(p->size()) : 0;
}

int ELF_FindRttControlBlock(const ELF_FILE* pFile) {
    if (pFile == nullptr || pFile->pDwarf == nullptr) {
        return -1;
    }
    const std::vector<U32>& Globals = pFile->pDwarf->GlobalVars;
    for (size_t i = 0; i < Globals.size(); ++i) {
        if (GetDieRawName(*pFile->pDwarf, Globals[i]) == "_VANTLE_RTT") {
            return static_cast<int>(i);
        }
    }
    return -1;
}
