#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "elf/ElfApiState.h"
#include "elf/ElfApiSyms.h"
#include "elf/ElfReloc.h"
#include "elf/LoadLog.h"

#include <QHash>
#include <algorithm>

// Symbols by name and by address. Tables by address are built when they are first asked; the others with the load.

namespace {

constexpr qsizetype MAX_CACHED = 1 << 19;
constexpr int MAX_NAMESPACE_DEPTH = 24; ///< deeper ones are not found by name

CFuncIndex FuncTree;
CNameIndex GlobalNames; ///< instances of functions stand here as the DIE that they have their name from
CNameIndex ElfNames;
CNameIndex ElfDataNames;   ///< made by the first question that nothing else answers
std::vector<U32> CodeSyms; ///< ELF symbols in sections with code
QHash<U32, ELF_SYM_LIST> FuncsAtAddrCache;
qsizetype NumFuncsCached; ///< in all lists, and one for each list
QHash<U32, ELF_SYM_LIST> DwarfAtAddr;
QHash<U32, ELF_SYM_LIST> ElfAtAddr;
bool IsDwarfAtAddrBuilt;
bool IsElfAtAddrBuilt;
std::optional<ELF_SYM_HANDLE> hRttControlBlock; ///< found by the first question
ELF_SYM_HANDLE hCurrentFunc;
U32 CurrentPC;
ELF_SYM_LIST Locals;
QHash<QString, ELF_SYM_LIST> LocalNames;

/// Hash of the qualified name, under which a namespace is found.
U32 HashOfNamespace(const DWARF_STORE& S, U32 Idx) {
    std::string sPath;
    for (int i = 0; i < MAX_NAMESPACE_DEPTH && Idx < S.NamespaceParents.size(); ++i) {
        DWARF_ATTR Attr; // an unnamed one's definition would be searched in vain
        const bool HasName = DWARF_GetAttr(S, S.Namespaces[Idx], DW_AT_name, &Attr);
        sPath.insert(0, i != 0 ? "::" : "").insert(0, HasName ? Attr.sText : std::string_view());
        Idx = S.NamespaceParents[Idx];
    }
    return ELF_HashName(sPath);
}

/// Own names are known from the pass over the debug information; the few others are looked up here.
void AddNamesOfOthers(DWARF_STORE& S) {
    std::vector<DWARF_NAME>& Names = S.Names.emplace_back();
    for (const U32 Die : S.NamedByOthers) {
        const std::string_view sName = GetDieRawName(S, Die);
        Names.push_back({sName.empty() ? 0 : ELF_HashName(sName), Die});
    }
    for (U32 i = 0; i < S.Namespaces.size(); ++i) {
        Names.push_back({HashOfNamespace(S, i), S.Namespaces[i]});
    }
}

void BuildElfNames(const ELF_FILE* pFile) {
    for (U32 i = 0; i < pFile->NumSyms; ++i) {
        if ((ELF_GetSectionFlags(pFile, pFile->paSym[i].st_shndx) & SHF_EXECINSTR) != 0) {
            CodeSyms.push_back(i);
        }
    }
    std::vector<std::vector<DWARF_NAME>> Lists(1);
    std::vector<DWARF_NAME>& Names = Lists.front();
    Names.reserve(CodeSyms.size());
    for (const U32 Idx : CodeSyms) {
        const char* s = ELF_GetSymNameByIdx(pFile, Idx);
        Names.push_back({s != nullptr && *s != '\0' ? ELF_HashName(s) : 0, Idx});
    }
    ElfNames.Build(Lists);
}

/// A namespace has its qualified name here, anything else its plain one.
bool HasGivenName(const DWARF_STORE& S, U32 Die, const DWARF_DIE& D, const std::string& sName) {
    const bool IsPlain = GetDieRawName(S, Die, D) == sName;
    if (!IsPlain && sName.find("::") == std::string::npos) {
        return false;
    }
    return D.pAbbrev->Tag != DW_TAG_namespace
               ? IsPlain
               : ElfApi_GetSymName(ELF_MakeDwarfHandle(Die), true).toStdString() == sName;
}

/// DIEs that may have a name. A name with several results has them all over the file: what is read of each is fetched
/// into the cache for all of them first.
class CCandidates {
public:
    /// HasRelatives: declarations and instances will be looked at, too.
    CCandidates(const DWARF_STORE& S, bool HasRelatives) : m_S(S), m_HasRelatives(HasRelatives) {}
    bool IsFull() const { return m_Num == MAX_NUM; }
    void Add(U32 Die) {
        DWARF_PrefetchKnownDie(m_S, Die);
        m_aDie[m_Num++].ID = Die;
    }
    /// Calls Visit(ID, tag) for those that have the name, in order, and forgets all.
    template <typename VISIT> void Take(const std::string& sName, VISIT Visit) {
        for (U32 i = 0; i < m_Num; ++i) {
            m_aDie[i].IsOpen = DWARF_OpenKnownDie(m_S, m_aDie[i].ID, &m_aDie[i].D);
            if (m_HasRelatives && m_aDie[i].IsOpen && m_Num > 1) {
                PrefetchRelatives(m_aDie[i]);
            }
        }
        for (U32 i = 0; i < m_Num; ++i) {
            if (m_aDie[i].IsOpen && HasGivenName(m_S, m_aDie[i].ID, m_aDie[i].D, sName)) {
                Visit(m_aDie[i].ID, m_aDie[i].D.pAbbrev->Tag);
            }
        }
        m_Num = 0;
    }

private:
    static constexpr U32 MAX_NUM = 16;
    struct CANDIDATE {
        U32 ID;
        bool IsOpen;
        DWARF_DIE D;
    };
    void PrefetchRelatives(const CANDIDATE& Candidate) const {
        if (const U32 Declaration = DWARF_PeekReference(m_S, Candidate.D, DW_AT_specification); Declaration != 0) {
            DWARF_PrefetchDie(m_S, Declaration);
        }
        DWARF_PrefetchReferrers(m_S, Candidate.ID);
    }
    const DWARF_STORE& m_S;
    bool m_HasRelatives;
    U32 m_Num = 0;
    CANDIDATE m_aDie[MAX_NUM];
};

template <typename VISIT>
void ForEachNamed(const CNameIndex& Names, const DWARF_STORE& S, const std::string& sName, VISIT Visit) {
    CCandidates Candidates(S, &Names == &GlobalNames);
    Names.ForEach(ELF_HashName(sName), [&](U32 Die) {
        if (Candidates.IsFull()) {
            Candidates.Take(sName, Visit);
        }
        Candidates.Add(Die);
    });
    Candidates.Take(sName, Visit);
}

/// Place of a kind of DIE among the results, and the DIE.
using RANKED_DIE = std::pair<int, U32>;

/// The DIE if a list holds it, and all that have its name from it: definitions, instances, inline expansions.
void AddInstances(const DWARF_STORE& S, U32 Die, U32 Tag, U32 Depth, std::vector<RANKED_DIE>* pFound) {
    constexpr U32 MAX_DEPTH = 5;
    constexpr size_t MAX_FOUND = 1'000'000; // references of a damaged file may lead to the same DIEs again and again
    if (Tag != DW_TAG_subprogram || std::binary_search(S.Funcs.begin(), S.Funcs.end(), Die)) {
        pFound->emplace_back(Tag == DW_TAG_inlined_subroutine ? 0
                             : Tag == DW_TAG_subprogram       ? 1
                             : Tag == DW_TAG_variable         ? 2
                                                              : 3,
                             Die);
    }
    for (const U32 Other : Depth < MAX_DEPTH ? DWARF_ReferrersOf(S, Die) : std::vector<U32>()) {
        DWARF_ATTR Attr;
        if (pFound->size() < MAX_FOUND && !DWARF_GetAttr(S, Other, DW_AT_name, &Attr)) {
            AddInstances(S, Other, GetDieType(S, Other), Depth + 1, pFound);
        }
    }
}

void AddGlobals(const std::string& sName, ELF_SYM_LIST* pFound) {
    const DWARF_STORE* pStore = ELF_GetStore();
    if (pStore == nullptr) {
        return;
    }
    std::vector<RANKED_DIE> Dies;
    ForEachNamed(GlobalNames, *pStore, sName, [&](U32 Die, U32 Tag) { AddInstances(*pStore, Die, Tag, 0, &Dies); });
    std::sort(Dies.begin(), Dies.end());
    Dies.erase(std::unique(Dies.begin(), Dies.end()), Dies.end());
    for (const auto& [Rank, Die] : Dies) {
        pFound->append(ELF_MakeDwarfHandle(Die));
    }
}

void AddTypes(const std::string& sName, ELF_SYM_LIST* pFound) {
    if (const DWARF_STORE* pStore = ELF_GetStore(); pStore != nullptr) {
        ForEachNamed(pStore->TypeIndex, *pStore, sName,
                     [&](U32 Die, U32) { pFound->append(ELF_MakeDwarfHandle(Die)); });
    }
}

/// Data and linker symbols, for names that nothing else has: most programs are asked for none, so the first question
/// makes the index.
void BuildElfDataNames(const ELF_FILE* pFile) {
    std::vector<std::vector<DWARF_NAME>> Lists(1);
    for (U32 i = 0; i < pFile->NumSyms; ++i) {
        const Elf32_Sym& Sym = pFile->paSym[i];
        const char* sName = ELF_GetSymNameByIdx(pFile, i);
        if (ELF_GetSymType(Sym) <= STT_OBJECT && Sym.st_shndx != 0 && sName != nullptr && sName[0] != '\0' &&
            sName[0] != '$') {
            Lists[0].push_back({ELF_HashName(sName), i});
        }
    }
    ElfDataNames.Build(Lists);
}

void AddElfSyms(const CNameIndex& Names, const std::string& sName, ELF_SYM_LIST* pFound) {
    Names.ForEach(ELF_HashName(sName), [&](U32 Idx) {
        if (ELF_GetSymName(ELF_MakeElfHandle(Idx)) == sName) {
            pFound->append(ELF_MakeElfHandle(Idx));
        }
    });
}

void AddLocals(const QString& sName, ELF_SYM_LIST* pFound) {
    if (LocalNames.isEmpty()) {
        for (const ELF_SYM_HANDLE h : std::as_const(Locals)) {
            LocalNames[ElfApi_GetSymName(h)].append(h);
        }
    }
    pFound->append(LocalNames.value(sName));
}

/// Inline expansions, other symbols of the debug information, ELF symbols. A name may have a hundred thousand of them,
/// so each is looked at once.
void Sort(ELF_SYM_LIST* pList) {
    ELF_SYM_LIST aRank[3];
    for (const ELF_SYM_HANDLE h : std::as_const(*pList)) {
        aRank[ELF_IsElfSymbol(h) ? 2 : ELF_GetSymType(h) == DW_TAG_inlined_subroutine ? 0 : 1].append(h);
    }
    *pList = aRank[0] + aRank[1] + aRank[2];
}

ELF_SYM_LIST FindByName(const QString& sScope, const QString& sName, bool Globals, bool FromLocals, bool Types) {
    ELF_SYM_LIST Found;
    const std::string sUtf8 = sName.toStdString();
    if (FromLocals) {
        AddLocals(sName, &Found);
    }
    if (Globals) {
        AddGlobals(sUtf8, &Found);
    }
    if (Types) {
        AddTypes(sUtf8, &Found);
    }
    if (!sScope.isEmpty()) {
        Found.removeIf([&](ELF_SYM_HANDLE h) { return ElfApi_GetSymScopeName(h) != sScope; });
    }
    return Found;
}

/// Position of the last "::" outside of template arguments; -1 without one.
qsizetype LastColons(const QString& sName) {
    int Depth = 0;
    for (qsizetype i = sName.size() - 1; i > 0; --i) {
        Depth += sName[i] == QLatin1Char('>') ? 1 : sName[i] == QLatin1Char('<') ? -1 : 0;
        if (Depth == 0 && sName[i] == QLatin1Char(':') && sName[i - 1] == QLatin1Char(':')) {
            return i - 1;
        }
    }
    return -1;
}

/// Names with namespaces in front: symbols of the last part whose qualified name is the whole.
ELF_SYM_LIST FindQualified(const QString& sName, bool Globals, bool FromLocals, bool Types) {
    const qsizetype Last = LastColons(sName);
    ELF_SYM_LIST Found = FindByName(QString(), Last < 0 ? sName : sName.mid(Last + 2), Globals, FromLocals, Types);
    Found.append(FindByName(QString(), sName, Globals, false, false)); // a namespace
    Found.removeIf([&](ELF_SYM_HANDLE h) { return ElfApi_GetSymName(h, true) != sName; });
    return Found;
}

void BuildDwarfAtAddr() {
    const DWARF_STORE* pStore = ELF_GetStore();
    IsDwarfAtAddrBuilt = true;
    if (pStore == nullptr) {
        return;
    }
    for (const std::vector<U32>* pList : {&pStore->InlineFuncs, &pStore->Funcs, &pStore->GlobalVars}) {
        for (const U32 Die : *pList) {
            const ELF_SYM_HANDLE h = ELF_MakeDwarfHandle(Die);
            if (const I64 Addr = ElfApi_GetSymAddr(h); Addr >= 0) {
                DwarfAtAddr[static_cast<U32>(Addr)].append(h);
            }
        }
    }
}

U32 CodeAddr(const ELF_FILE* pFile, U32 Idx) {
    const U32 Addr = ELF_Relocate(pFile->paSym[Idx].st_value);
    return Addr & ~1u;
}

void BuildElfAtAddr(const ELF_FILE* pFile) {
    IsElfAtAddrBuilt = true;
    for (const U32 Idx : CodeSyms) {
        ElfAtAddr[CodeAddr(pFile, Idx)].append(ELF_MakeElfHandle(Idx));
    }
}

} // namespace

CFuncIndex& ElfApi_FuncIndex() { return FuncTree; }

U32 ElfApi_GetCurrentPC() { return CurrentPC; }

void ElfApi_StartFind(std::vector<ELF_TASK>* pTasks) {
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    DWARF_STORE* pStore = ELF_GetStore();
    if (pStore != nullptr) {
        pTasks->push_back({[pStore] { // the only task that asks what the store puts in order when it is first asked
            AddNamesOfOthers(*pStore);
            GlobalNames.Build(pStore->Names);
            pStore->Names.clear();
        }});
    }
    pTasks->push_back({[pFile] {
        FuncTree.Build(pFile);
        ELF_NoteStep(ELF_STEP_FUNCS);
        ELF_NoteStep(ELF_STEP_FUNC_TREE);
    }});
    pTasks->push_back({[pFile, pStore] {
        BuildElfNames(pFile);
        ELF_NoteStep(ELF_STEP_SYMBOLS);
        if (pStore != nullptr) {
            pStore->TypeIndex.Build(pStore->TypeNames);
            pStore->TypeNames.clear();
        }
    }});
}

void ElfApi_OnRelocated() {
    FuncTree.Build(ELF_GetCurrentFile());
    FuncsAtAddrCache.clear();
    DwarfAtAddr.clear();
    ElfAtAddr.clear();
    IsDwarfAtAddrBuilt = false;
    IsElfAtAddrBuilt = false;
}

void ElfApi_ExitFind() {
    FuncTree.Clear();
    GlobalNames.Clear();
    ElfNames.Clear();
    ElfDataNames.Clear();
    CodeSyms.clear();
    FuncsAtAddrCache.clear();
    NumFuncsCached = 0;
    DwarfAtAddr.clear();
    ElfAtAddr.clear();
    IsDwarfAtAddrBuilt = false;
    IsElfAtAddrBuilt = false;
    hRttControlBlock.reset();
    hCurrentFunc = 0;
    CurrentPC = 0;
    Locals.clear();
    LocalNames.clear();
}

void ElfApi_SetCurrentPC(U32 PC) {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (ELF_GetCurrentFile() == nullptr) {
        return;
    }
    CurrentPC = PC;
    const ELF_SYM_HANDLE hFunc = ElfApi_GetFuncAtAddr(PC, false);
    if (hFunc != hCurrentFunc) {
        hCurrentFunc = hFunc;
        Locals = ElfApi_LocalVars(hFunc);
        LocalNames.clear();
    }
}

ELF_SYM_LIST ElfApi_FindSyms(const QString& sName, bool Globals, bool FromLocals, bool Types, bool ElfSyms) {
    const std::lock_guard Lock(ElfApi_Mutex());
    ELF_SYM_LIST Found;
    if (sName.isEmpty() || ELF_GetCurrentFile() == nullptr) {
        return Found;
    }
    if (FromLocals && sName == QLatin1String("this") && hCurrentFunc != 0) {
        const ELF_SYM_HANDLE hThis = ElfApi_GetThisPointer(hCurrentFunc);
        return hThis != 0 ? ELF_SYM_LIST{hThis} : ELF_SYM_LIST();
    }
    const qsizetype Colon = sName.indexOf(QLatin1String("::"));
    bool IsInOrder = !FromLocals; // what one look for globals gives is
    Found = Colon < 0 ? FindByName(QString(), sName, Globals, FromLocals, Types)
                      : FindByName(sName.left(Colon), sName.mid(Colon + 2), Globals, FromLocals, Types);
    if (Found.isEmpty() && Colon >= 0) {
        Found = FindQualified(sName, Globals, FromLocals, Types);
        IsInOrder = false;
    }
    if (ElfSyms) {
        AddElfSyms(ElfNames, sName.toStdString(), &Found);
        if (Found.isEmpty()) {
            if (!ElfDataNames.IsBuilt()) {
                BuildElfDataNames(ELF_GetCurrentFile());
            }
            AddElfSyms(ElfDataNames, sName.toStdString(), &Found);
        }
    }
    if (!IsInOrder) {
        Sort(&Found);
    }
    return Found;
}

ELF_SYM_HANDLE ElfApi_FindSym(const QString& sName, bool Globals, bool FromLocals, bool Types, bool ElfSyms) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const ELF_SYM_LIST Found = ElfApi_FindSyms(sName, Globals, FromLocals, Types, ElfSyms);
    if (FromLocals) {
        for (const ELF_SYM_HANDLE h : Found) {
            if (ElfApi_IsInScope(h, CurrentPC) != 0) {
                return h;
            }
        }
    }
    return Found.isEmpty() ? 0 : Found.first();
}

ELF_SYM_LIST ElfApi_FindSymsAtAddr(U32 Addr, bool Dwarf, bool FromLocals) {
    const std::lock_guard Lock(ElfApi_Mutex());
    ELF_SYM_LIST Found;
    const ELF_FILE* pFile = ELF_GetCurrentFile();
    if (pFile == nullptr) {
        return Found;
    }
    const auto AtAddr = [Addr](ELF_SYM_HANDLE h) { return ElfApi_GetSymAddr(h) == static_cast<I64>(Addr); };
    if (FromLocals) {
        const auto It = std::find_if(Locals.cbegin(), Locals.cend(), AtAddr);
        if (It != Locals.cend()) {
            Found.append(*It);
        }
    }
    if (Dwarf) {
        if (!IsDwarfAtAddrBuilt) {
            BuildDwarfAtAddr();
        }
        Found.append(DwarfAtAddr.value(Addr));
    }
    if (!IsElfAtAddrBuilt) {
        BuildElfAtAddr(pFile);
    }
    Found.append(ElfAtAddr.value(Addr));
    Sort(&Found);
    return Found;
}

ELF_SYM_HANDLE ElfApi_FindSymAtAddr(U32 Addr) {
    const ELF_SYM_LIST Found = ElfApi_FindSymsAtAddr(Addr, true, true);
    return Found.isEmpty() ? 0 : Found.first();
}

ELF_SYM_LIST ElfApi_GetFuncsAtAddr(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    Addr &= ~1u;
    const auto It = FuncsAtAddrCache.constFind(Addr);
    if (It != FuncsAtAddrCache.constEnd()) {
        return *It;
    }
    ELF_SYM_LIST List;
    if (ELF_GetCurrentFile() != nullptr) {
        for (const ELF_SYM_HANDLE h : FuncTree.Find(Addr, Addr)) {
            List.append(h);
        }
    }
    NumFuncsCached += List.size() + 1;
    if (NumFuncsCached > MAX_CACHED) {
        FuncsAtAddrCache.clear();
        NumFuncsCached = List.size() + 1;
    }
    FuncsAtAddrCache.insert(Addr, List);
    return List;
}

ELF_SYM_LIST ElfApi_GetFuncsInRange(const ELF_ADDR_RANGE& Range) {
    const std::lock_guard Lock(ElfApi_Mutex());
    ELF_SYM_LIST List;
    const U64 Last = static_cast<U64>(Range.Addr) + Range.Size - 1;
    if (Range.Size != 0 && ELF_GetCurrentFile() != nullptr) {
        for (const ELF_SYM_HANDLE h : FuncTree.Find(Range.Addr, static_cast<U32>(std::min<U64>(Last, 0xFFFFFFFF)))) {
            List.append(h);
        }
    }
    return List;
}

ELF_SYM_HANDLE ElfApi_GetFuncAtAddr(U32 Addr, bool NoInline) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const ELF_SYM_LIST Funcs = ElfApi_GetFuncsAtAddr(Addr);
    const auto It = std::find_if(Funcs.crbegin(), Funcs.crend(), [NoInline](ELF_SYM_HANDLE h) {
        const U32 Type = ELF_IsElfSymbol(h) ? 0 : ELF_GetSymType(h);
        return Type == DW_TAG_subprogram || (Type == DW_TAG_inlined_subroutine && !NoInline);
    });
    if (It != Funcs.crend()) {
        return *It;
    }
    return Funcs.isEmpty() ? 0 : Funcs.last();
}

ELF_SYM_HANDLE ElfApi_GetRttControlBlock() {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (!hRttControlBlock) {
        hRttControlBlock = ElfApi_FindSym(QStringLiteral("_VANTLE_RTT"), true, false, false, true);
    }
    return *hRttControlBlock;
}
