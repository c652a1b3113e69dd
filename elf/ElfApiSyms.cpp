#include "elf/ElfApiSyms.h"

#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiFrame.h"
#include "elf/ElfApiState.h"
#include "elf/ElfReloc.h"

#include <QHash>
#include <QStringList>
#include <algorithm>

// Properties of symbols.

namespace {

constexpr U32 MAX_RANGE_SIZE = 1'000'000;
constexpr int MAX_NAMESPACE_DEPTH = 64;
constexpr qsizetype MAX_CACHED = 1 << 19; ///< answers of one kind

QHash<U64, QString> NameCache;
QHash<U64, QString> QualifiedCache;
QHash<U64, QString> ScopeCache;
QHash<U64, QString> NamespaceCache;
QHash<U64, U32> TypeCache;
QHash<U64, U32> AccessibilityCache;
QHash<U64, ELF_ADDR_RANGE> RangeCache;
QHash<U64, U32> SizeCache;
QHash<U64, ELF_SYM_LOC> LocCache;
QHash<U64, ELF_SYM_HANDLE> ParentFuncCache;
QHash<QPair<U64, QString>, int> MemberIdxCache;
bool (*pfFrameSource)(ELF_FRAME* pFrame);

/// The answer kept under the key, or the one that Make() gives, which is then kept.
template <typename KEY, typename VALUE, typename MAKE>
VALUE Cached(QHash<KEY, VALUE>& Cache, const KEY& Key, MAKE Make) {
    const auto It = Cache.constFind(Key);
    if (It != Cache.constEnd()) {
        return *It;
    }
    if (Cache.size() >= MAX_CACHED) {
        Cache.clear();
    }
    VALUE Value = Make();
    Cache.insert(Key, Value);
    return Value;
}

QString Text(const std::string& s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

ELF_ADDR_RANGE MakeRange(ELF_SYM_HANDLE h) {
    U32 Lo = 0xFFFFFFFF;
    U32 Hi = 0;
    for (const ELF_RANGE& Range : ELF_GetSymAddrRanges(h)) {
        Lo = std::min(Lo, Range.Lo);
        Hi = std::max(Hi, Range.Hi);
    }
    Lo &= ~1u;
    Hi &= ElfApi_IsFunc(h) || !ELF_IsElfSymbol(h) ? ~1u : ~0u; // data may end at an odd address
    return Hi == 0 || Hi < Lo || Hi - Lo >= MAX_RANGE_SIZE ? ELF_ADDR_RANGE() : ELF_ADDR_RANGE{Lo, Hi - Lo};
}

QString MakeNamespacePath(ELF_SYM_HANDLE h) {
    QString sPath;
    ELF_SYM_HANDLE hSpace = ELF_GetSymParentNamespace(h);
    for (int i = 0; i < MAX_NAMESPACE_DEPTH && hSpace != 0; ++i) {
        const QString sName = ElfApi_GetSymName(hSpace);
        sPath.prepend((sName.isEmpty() ? QStringLiteral("(anonymous namespace)") : sName) + QStringLiteral("::"));
        hSpace = ELF_GetSymParentNamespace(hSpace);
    }
    return sPath;
}

QString MakeScopeName(ELF_SYM_HANDLE h) {
    if (const ELF_SYM_HANDLE hType = ELF_GetSymParentType(h); hType != 0) {
        return ElfApi_GetSymName(hType);
    }
    const ELF_SYM_LIST Types = ElfApi_FindSyms(ElfApi_GetSymName(h), false, false, true, false);
    return Types.isEmpty() || Types.contains(h) ? QString() : ElfApi_GetSymName(Types.first());
}

QString MakeQualifiedName(ELF_SYM_HANDLE h) {
    QString sName = ElfApi_GetSymName(h);
    if (ELF_IsElfSymbol(h)) {
        return sName;
    }
    ELF_SYM_HANDLE hType = ELF_GetSymParentType(h);
    for (int i = 0; i < MAX_NAMESPACE_DEPTH && hType != 0; ++i) {
        const QString sType = ElfApi_GetSymName(hType);
        sName.prepend(sType.isEmpty() ? QString() : sType + QStringLiteral("::"));
        hType = ELF_GetSymParentType(hType);
    }
    return ElfApi_GetNamespacePath(h) + sName;
}

ELF_SYM_LIST Handles(const std::vector<U32>& Dies) {
    ELF_SYM_LIST List;
    List.reserve(static_cast<qsizetype>(Dies.size()));
    for (const U32 Die : Dies) {
        List.append(ELF_MakeDwarfHandle(Die));
    }
    return List;
}

template <typename FUNC> ELF_SYM_LIST ListOf(ELF_SYM_HANDLE h, FUNC pfList) {
    const U32 Die = GetDie(h);
    return Die != 0 ? Handles(pfList(*ELF_GetStore(), Die)) : ELF_SYM_LIST();
}

bool IsMemory(U32 Kind) {
    return Kind == ELF_LOC_MEM || Kind == ELF_LOC_MEM_OFF || Kind == ELF_LOC_MEM_BASE || Kind == ELF_LOC_MEM_SP ||
           Kind == ELF_LOC_MEM_BP || Kind == ELF_LOC_MEM_CFA;
}

} // namespace

void ElfApi_ExitSyms() {
    NameCache.clear();
    QualifiedCache.clear();
    ScopeCache.clear();
    NamespaceCache.clear();
    TypeCache.clear();
    AccessibilityCache.clear();
    RangeCache.clear();
    SizeCache.clear();
    LocCache.clear();
    ParentFuncCache.clear();
    MemberIdxCache.clear();
    ElfApi_ExitSrcSyms();
}

U32 ElfApi_GetSymType(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(TypeCache, h, [h] { return ELF_GetSymType(h); });
}

QString ElfApi_GetSymName(ELF_SYM_HANDLE h, bool Qualified) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Qualified ? Cached(QualifiedCache, h, [h] { return MakeQualifiedName(h); })
                     : Cached(NameCache, h, [h] { return Text(ELF_GetSymName(h)); });
}

QString ElfApi_GetSymDataTypeName(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Text(ELF_GetSymDataTypeName(h));
}

QString ElfApi_GetNamespacePath(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(NamespaceCache, h, [h] { return MakeNamespacePath(h); });
}

QString ElfApi_GetSymScopeName(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(ScopeCache, h, [h] { return MakeScopeName(h); });
}

ELF_ADDR_RANGE ElfApi_GetSymAddrRange(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(RangeCache, h, [h] { return MakeRange(h); });
}

U32 ElfApi_GetSymSize(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(SizeCache, h, [h] { return ELF_GetSymSize(h); });
}

I64 ElfApi_GetSymAddr(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h); Range.Addr != 0 || Range.Size != 0) {
        return Range.Addr;
    }
    if (ELF_FRAME Frame; pfFrameSource != nullptr && ElfApi_IsLocal(h) && pfFrameSource(&Frame)) {
        const ELF_SYM_PLACE Place = ElfApi_GetSymPlace(h, Frame);
        const bool IsInMemory = Place.Pieces.size() == 1 && Place.Pieces[0].Kind == ELF_EXPR_PIECE_MEM;
        return IsInMemory ? static_cast<I64>(Place.Pieces[0].Addr) : -1;
    }
    const ELF_SYM_LOC Loc = ElfApi_GetSymLoc(h, 0xFFFFFFFF);
    if (Loc.Kind == ELF_LOC_MEM || Loc.Kind == ELF_LOC_MEM_OFF) {
        return static_cast<U32>(Loc.Addr + static_cast<U32>(Loc.Off));
    }
    return IsMemory(Loc.Kind) && Loc.Addr != 0 ? static_cast<I64>(Loc.Addr) : -1;
}

ELF_SYM_LOC ElfApi_GetSymLoc(ELF_SYM_HANDLE h, U32 PC) {
    const std::lock_guard Lock(ElfApi_Mutex());
    PC = PC == 0xFFFFFFFF ? ElfApi_GetCurrentPC() : PC;
    if (ElfApi_IsInScope(h, PC) == 0) {
        return {};
    }
    if (ElfApi_IsFunc(h) || ElfApi_IsLocal(h)) {
        return ELF_GetSymLoc(h, PC);
    }
    return Cached(LocCache, h, [h, PC] { return ELF_GetSymLoc(h, PC); });
}

bool ElfApi_IsMemOrRegLoc(const ELF_SYM_LOC& Loc) {
    switch (Loc.Kind) {
    case ELF_LOC_MEM:
    case ELF_LOC_MEM_OFF:
        return Loc.Addr != 0;
    case ELF_LOC_REG:
    case ELF_LOC_REG_OFF:
        return Loc.Reg != ELF_REG_UNSPECIFIED && Loc.Reg != ELF_REG_SAME_AS_CALLER;
    default:
        return false;
    }
}

QString ElfApi_LocToText(const ELF_SYM_LOC& Loc) { return Text(ELF_LocToText(Loc)); }

bool ElfApi_IsSymSigned(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymSign(h) != 0;
}

U32 ElfApi_GetSymBitWidth(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymBitWidth(h);
}

U32 ElfApi_GetSymBitOffset(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymBitOffset(h);
}

QByteArray ElfApi_GetSymConstValue(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const U8* pData = nullptr;
    const U32 Size = ELF_GetSymConstValueData(h, &pData);
    return QByteArray(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(Size));
}

ELF_SYM_HANDLE ElfApi_GetSymDataType(ELF_SYM_HANDLE h, bool Resolve) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymDataType(h, Resolve);
}

QList<U32> ElfApi_GetSymArrayDims(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const ELF_SYM_ARRAY_INFO Info = ELF_GetSymArrayInfo(h);
    return QList<U32>(Info.aDim, Info.aDim + Info.NumDims);
}

U32 ElfApi_GetSymAccessibility(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(AccessibilityCache, h, [h] { return ELF_GetSymAccessibility(h); });
}

QString ElfApi_GetSymDeclFileName(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Text(ELF_GetSymDeclFileName(h));
}

I64 ElfApi_GetSymDeclLine(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymDeclLine(h);
}

QString ElfApi_GetSymCallFileName(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Text(ELF_GetSymCallFileName(h));
}

I64 ElfApi_GetSymCallLine(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymCallLine(h);
}

ELF_SYM_HANDLE ElfApi_GetParentFunc(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(ParentFuncCache, h, [h] { return ELF_GetSymParentFunc(h); });
}

ELF_SYM_HANDLE ElfApi_GetAbstrInstance(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymAbstrInstance(h);
}

bool ElfApi_IsFunc(ELF_SYM_HANDLE h) {
    const U32 Type = ElfApi_GetSymType(h);
    return ELF_IsElfSymbol(h)
               ? ELF_IsFuncType(Type)
               : Type == DW_TAG_subprogram || Type == DW_TAG_inlined_subroutine || Type == DW_TAG_subroutine_type;
}

bool ElfApi_IsLocal(ELF_SYM_HANDLE h) { return ElfApi_GetParentFunc(h) != 0; }

int ElfApi_IsInScope(ELF_SYM_HANDLE h, U32 PC) {
    constexpr int UNKNOWN = 255;
    const std::lock_guard Lock(ElfApi_Mutex());
    PC = PC == 0xFFFFFFFF ? ElfApi_GetCurrentPC() : PC;
    if (!ElfApi_IsLocal(h)) {
        return UNKNOWN;
    }
    const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(ELF_GetSymParentScope(h));
    if (Range.Size == 0) {
        return 0;
    }
    if (PC < Range.Addr) {
        return UNKNOWN;
    }
    return PC - Range.Addr < Range.Size ? 1 : 0;
}

ELF_SYM_LIST ElfApi_GetMembers(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ListOf(h, [](const DWARF_STORE& S, U32 Die) { return DWARF_GetMembers(S, Die); });
}

int ElfApi_GetMemberIdx(ELF_SYM_HANDLE h, const QString& sName) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return Cached(MemberIdxCache, qMakePair(h, sName),
                  [&] { return ELF_GetSymMemberIdx(h, sName.toUtf8().constData()); });
}

I64 ElfApi_GetMemberOffset(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetSymMemberOffset(h);
}

ELF_SYM_LIST ElfApi_GetBases(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ListOf(h, DWARF_GetInherited);
}

QPair<int, int> ElfApi_FindInherited(ELF_SYM_HANDLE h, const QString& sName) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const ELF_SYM_LIST Bases = ElfApi_GetBases(h);
    for (qsizetype i = 0; i < Bases.size(); ++i) {
        const int Member = ElfApi_GetMemberIdx(ELF_GetSymDataType(Bases[i], true), sName);
        if (Member >= 0) {
            return {static_cast<int>(i), Member};
        }
    }
    return {-1, -1};
}

QString ElfApi_GetBaseClassNames(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    QStringList Names;
    for (const ELF_SYM_HANDLE hBase : ElfApi_GetBases(h)) {
        Names.append(ElfApi_GetSymDataTypeName(hBase));
    }
    return Names.join(QStringLiteral(", "));
}

ELF_SYM_HANDLE ElfApi_GetThisPointer(ELF_SYM_HANDLE h) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const U32 Die = GetDie(h);
    if (Die == 0) {
        return 0;
    }
    const DWARF_STORE& S = *ELF_GetStore();
    if (const U32 Pointer = GetReferenceDie(S, Die, DW_AT_object_pointer); Pointer != 0) {
        return ELF_MakeDwarfHandle(Pointer);
    }
    // An expansion's own parameter has a place; the one of its abstract instance doesn't.
    for (const U32 Param : DWARF_GetChildren(S, Die, DW_TAG_formal_parameter)) {
        if (GetDieRawName(S, Param) == "this") {
            return ELF_MakeDwarfHandle(Param);
        }
    }
    DWARF_ATTR Attr;
    return CreateDieAttrEx(S, Die, DW_AT_object_pointer, &Attr) ? ELF_MakeDwarfHandle(static_cast<U32>(Attr.Value)) : 0;
}

ELF_SYM_LIST ElfApi_LocalVars(ELF_SYM_HANDLE hFunc) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ListOf(hFunc, DWARF_GetLocalVars);
}

ELF_SYM_LIST ElfApi_GlobalVars() {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetStore() != nullptr ? Handles(ELF_GetStore()->GlobalVars) : ELF_SYM_LIST();
}

ELF_SYM_LIST ElfApi_Functions() {
    const std::lock_guard Lock(ElfApi_Mutex());
    ELF_SYM_LIST List = ELF_GetStore() != nullptr ? Handles(ELF_GetStore()->Funcs) : ELF_SYM_LIST();
    for (const ELF_SYM_HANDLE h : ElfApi_FuncIndex().ElfFuncs()) {
        List.append(h);
    }
    return List;
}

ELF_SYM_LIST ElfApi_Types() {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetStore() != nullptr ? Handles(ELF_GetStore()->Types) : ELF_SYM_LIST();
}

ELF_SYM_LIST ElfApi_Namespaces() {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetStore() != nullptr ? Handles(ELF_GetStore()->Namespaces) : ELF_SYM_LIST();
}

ELF_SYM_HANDLE ElfApi_GetMainFunc() {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetMainFunc();
}

I64 ElfApi_GetEntryFuncPC() {
    const std::lock_guard Lock(ElfApi_Mutex());
    const I64 Base = ElfApi_GetBaseAddr();
    U32 Value = 0;
    const bool IsRead = Base >= 0 && ElfApi_ReadMem(static_cast<U32>(Base) + 4, sizeof(Value), &Value) == 0;
    return IsRead ? static_cast<I64>(Value) : -1;
}

bool ElfApi_IsBigEndian() {
    const int Encoding = ElfApi_GetDataEncoding();
    return Encoding == ELF_ENC_BE8 || Encoding == ELF_ENC_BE32;
}

void ElfApi_SetFrameSource(bool (*pfGetFrame)(ELF_FRAME* pFrame)) {
    const std::lock_guard Lock(ElfApi_Mutex());
    pfFrameSource = pfGetFrame;
}
