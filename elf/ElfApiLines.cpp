#include "elf/ElfApiLines.h"

#include "base/Log.h"
#include "elf/Cfi.h"
#include "elf/DwarfLines.h"
#include "elf/Elf.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiState.h"
#include "elf/ElfReloc.h"
#include "elf/SrcMap.h"

#include <QDebug>
#include <QElapsedTimer>
#include <algorithm>
#include <tuple>

namespace {

constexpr U32 NEAR_DISTANCE = 256;    ///< bytes behind a line's address that still count as that line
constexpr U32 MAX_BLOCK = 256;        ///< bytes of one block of a line
constexpr U32 MAX_LINE_SEARCH = 1000; ///< lines
constexpr U32 MAX_ADDR_SEARCH = 1000; ///< bytes
constexpr U32 MIN_BLOCK_DISTANCE = 5; ///< bytes; nearer than one wide instruction is the same block

QHash<U32, ELF_SYM_LIST> FileFuncs; ///< filled when first asked
bool AreFileFuncsBuilt;

/// Lowest address of a function: line records below belong to functions that the linker dropped.
U32 FloorRow(const ELF_FILE* pFile) {
    U32 Floor = 0xFFFFFFFF;
    for (const U32 Idx : pFile->papFuncSym) {
        const U32 Addr = pFile->paSym[Idx].st_value & ~1u;
        Floor = Addr != 0 ? std::min(Floor, ELF_Relocate(Addr)) : Floor;
    }
    return Floor;
}

std::shared_ptr<CSrcMap> MakeMap(ELF_FILE* pFile) {
    auto pMap = std::make_shared<CSrcMap>();
    pMap->Build(std::move(pFile->Lines), FloorRow(pFile), ELF_HasRelocs() ? ELF_Relocate : nullptr);
    return pMap;
}

CSrcMap& GetMap() {
    static CSrcMap Nothing;
    ELF_FILE* pFile = ELF_GetCurrentFile();
    return pFile != nullptr && pFile->pSrcMap != nullptr ? *pFile->pSrcMap : Nothing;
}

/// Positions of an address, in the order of the line records: of one that begins no line those of the near search.
SRC_LOCS FindLocs(U32 Addr) {
    const CSrcMap& Map = GetMap();
    if (Addr == 0 || Addr == 0xFFFFFFFF || Map.IsEmpty()) {
        return {};
    }
    SRC_LOCS Exact = Map.GetLocs(Addr);
    if (!Exact.isEmpty()) {
        return Exact;
    }
    const U64 hFunc = ElfApi_GetFuncAtAddr(Addr);
    const I64 Prev = hFunc != 0 ? Map.GetPrevAddr(Addr) : -1;
    const bool IsNear =
        Prev >= 0 && Addr - Prev <= NEAR_DISTANCE && ElfApi_GetFuncAtAddr(static_cast<U32>(Prev)) == hFunc;
    return IsNear ? Map.GetLocs(static_cast<U32>(Prev)) : SRC_LOCS();
}

/// By line, then column, then file.
SRC_LOCS SortedLocs(U32 Addr) {
    SRC_LOCS Locs = FindLocs(Addr);
    std::sort(Locs.begin(), Locs.end(), [](const CSrcLoc& a, const CSrcLoc& b) {
        return std::tie(a.Line, a.Col, a.FileId) < std::tie(b.Line, b.Col, b.FileId);
    });
    return Locs;
}

/// Bytes from the address to the next instruction or data item; 0 if it can't be told.
U32 StepAt(U32 Addr) {
    U32 Hi = 0;
    U16 Code = 0;
    switch (ElfApi_GetMemRegionKind(Addr, nullptr, &Hi)) {
    case ELF_REGION_DATA:
        return Hi - Addr < 4 ? 2 : 4;
    case ELF_REGION_ARM:
        return 4;
    default:
        return ElfApi_ReadMem(Addr, sizeof(Code), &Code) != 0 ? 0 : (Code & 0xF800) >= 0xE800 ? 4 : 2;
    }
}

void AddFileFuncs(const ELF_SYM_LIST& Funcs) {
    for (const ELF_SYM_HANDLE h : Funcs) {
        const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h);
        const U32 FileId = Range.Size != 0 ? GetMap().GetFileAtAddr(Range.Addr) : INVALID_FILE_ID;
        if (FileId != INVALID_FILE_ID) {
            FileFuncs[FileId].append(h);
        }
    }
}

} // namespace

void ElfApi_ExitLines() {
    FileFuncs.clear();
    AreFileFuncsBuilt = false;
}

void ElfApi_BuildLines() {
    ELF_FILE* pFile = ELF_GetCurrentFile();
    pFile->pSrcMap = MakeMap(pFile);
}

void ElfApi_RebuildLines() {
    ElfApi_ExitLines();
    ELF_FILE* pFile = ELF_GetCurrentFile();
    const std::shared_ptr<CSrcMap> pOld = pFile->pSrcMap;
    if (pFile->pDwarf != nullptr) {
        pFile->Lines = DWARF_ReadLines(*pFile->pDwarf);
    }
    ElfApi_BuildLines();
    if (pOld != nullptr) {
        pFile->pSrcMap->TakeLocated(*pOld);
    }
}

U32 ElfApi_GetFileId(const QString& sPath) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetFileId(sPath);
}

QString ElfApi_GetFilePath(U32 FileId) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetFilePath(FileId);
}

bool ElfApi_FileExists(U32 FileId) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().FileExists(FileId);
}

QList<U32> ElfApi_GetSrcFileIds() {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetSrcFileIds();
}

QStringList ElfApi_GetSrcFiles() {
    const std::lock_guard Lock(ElfApi_Mutex());
    QStringList Paths;
    for (const U32 FileId : GetMap().GetSrcFileIds()) {
        Paths.append(GetMap().GetFilePath(FileId));
    }
    return Paths;
}

void ElfApi_OnSrcFileLocated(const QString& sOldPath, const QString& sNewPath) {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (ELF_GetCurrentFile() != nullptr) {
        GetMap().OnSrcFileLocated(sOldPath, sNewPath);
    }
}

QList<CSrcLoc> ElfApi_GetSrcLocs(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const SRC_LOCS Locs = SortedLocs(Addr);
    return QList<CSrcLoc>(Locs.begin(), Locs.end());
}

CSrcLoc ElfApi_GetSrcLoc(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const SRC_LOCS Locs = SortedLocs(Addr);
    return Locs.isEmpty() ? CSrcLoc() : Locs.first();
}

CSrcLoc ElfApi_GetLastSrcLoc(U32 Addr) {
    const QList<CSrcLoc> Locs = ElfApi_GetSrcLocs(Addr);
    return Locs.isEmpty() ? CSrcLoc() : Locs.last();
}

CSrcLoc ElfApi_GetExactSrcLoc(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetFirstLoc(Addr);
}

bool ElfApi_HasSrcLoc(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return !FindLocs(Addr).isEmpty();
}

bool ElfApi_RangeHasSrcLoc(const ELF_ADDR_RANGE& Range) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const I64 Next = GetMap().GetNextAddr(Range.Addr);
    return !FindLocs(Range.Addr).isEmpty() || (Next >= 0 && Next < static_cast<I64>(Range.Addr) + Range.Size);
}

QList<U32> ElfApi_GetAddrs(const CSrcLoc& Loc) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const std::vector<U32> Addrs = GetMap().GetAddrs(Loc);
    return QList<U32>(Addrs.begin(), Addrs.end());
}

I64 ElfApi_GetAddr(const CSrcLoc& Loc) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetAddr(Loc);
}

QList<U32> ElfApi_GetAddrBlock(const CSrcLoc& Loc, U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    QList<U32> Block = {Addr};
    for (U32 Next = Addr;;) {
        const U32 Step = StepAt(Next);
        Next += Step;
        if (Step == 0 || Next - Addr >= MAX_BLOCK || !FindLocs(Next).contains(Loc)) {
            return Block;
        }
        Block.append(Next);
    }
}

QList<U32> ElfApi_GetLineEntryAddrs(const CSrcLoc& Loc) {
    const std::lock_guard Lock(ElfApi_Mutex());
    QList<U32> Addrs = ElfApi_GetAddrs(Loc);
    if (Addrs.size() < 2) {
        return Addrs;
    }
    QList<U32> Starts;
    I64 BlockEnd = -1; // last address of the blocks so far; they come in ascending order
    for (qsizetype i = 0; i < Addrs.size(); ++i) {
        if ((i != 0 && Addrs[i] - Addrs[i - 1] < MIN_BLOCK_DISTANCE) || Addrs[i] <= BlockEnd) {
            continue;
        }
        Starts.append(Addrs[i]);
        for (const U32 Addr : ElfApi_GetAddrBlock(Loc, Addrs[i])) {
            if (ElfApi_GetMemRegionKind(Addr) == ELF_REGION_DATA) {
                break;
            }
            BlockEnd = std::max<I64>(BlockEnd, Addr);
        }
    }
    return Starts;
}

CSrcLoc ElfApi_GetNextCodeLine(const CSrcLoc& Loc) {
    const std::lock_guard Lock(ElfApi_Mutex());
    for (U32 i = 1; i <= MAX_LINE_SEARCH && Loc.Line <= 0xFFFFFFFF - i; ++i) {
        const CSrcLoc Next{Loc.FileId, Loc.Line + i, 0};
        if (GetMap().HasLoc(Next)) {
            return Next;
        }
    }
    return {};
}

CSrcLoc ElfApi_GetPrevCodeLine(const CSrcLoc& Loc) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetPrevLoc(Loc);
}

I64 ElfApi_GetPrevAddr(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetPrevAddr(Addr);
}

I64 ElfApi_GetNextAddr(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetNextAddr(Addr);
}

I64 ElfApi_GetNextLineAddr(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const CSrcLoc Loc = ElfApi_GetSrcLoc(Addr);
    const I64 Last = std::min<I64>(static_cast<I64>(Addr) + MAX_ADDR_SEARCH, GetMap().GetHighestAddr());
    for (I64 Next = static_cast<I64>(Addr) + 2; Next <= Last; Next += 2) {
        const CSrcLoc At = ElfApi_GetExactSrcLoc(static_cast<U32>(Next));
        if (At.IsValid() && !(At == Loc)) {
            return Next;
        }
    }
    return -1;
}

bool ElfApi_IsLineStart(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    const CSrcLoc Loc = ElfApi_GetExactSrcLoc(Addr);
    if (!Loc.IsValid()) {
        return false;
    }
    const I64 Prev = GetMap().GetPrevAddr(Addr);
    return ElfApi_GetAddrs(Loc).size() == 1 || Prev < 0 || !FindLocs(static_cast<U32>(Prev)).contains(Loc);
}

U32 ElfApi_GetFileAtAddr(U32 Addr) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return GetMap().GetFileAtAddr(Addr);
}

ELF_SYM_LIST ElfApi_GetFuncsOfFile(U32 FileId) {
    const std::lock_guard Lock(ElfApi_Mutex());
    if (!AreFileFuncsBuilt && ELF_GetCurrentFile() != nullptr) {
        QElapsedTimer Timer;
        Timer.start();
        AddFileFuncs(ElfApi_Functions());
        AreFileFuncsBuilt = true;
        if (IsVerboseLogging()) {
            qDebug("hashed file functions: %lld ms", static_cast<long long>(Timer.elapsed()));
        }
    }
    return FileFuncs.value(FileId);
}

I32 ElfApi_GetRegRules(U32 PC, ELF_SYM_LOC* paRules) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetRegRules(ELF_GetCfi(), ELF_Unrelocate(PC), paRules);
}

ELF_SYM_LOC ElfApi_GetCFA(U32 PC) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetCFA(ELF_GetCfi(), ELF_Unrelocate(PC));
}

I32 ElfApi_GetStackSize(U32 PC) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetStackSize(ELF_GetCfi(), ELF_Unrelocate(PC));
}

U32 ElfApi_GetFdeCnt() {
    const std::lock_guard Lock(ElfApi_Mutex());
    return ELF_GetFdeCnt(ELF_GetCfi());
}

U32 ElfApi_GetFdeAddrLo(U32 i) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return i < ELF_GetFdeCnt(ELF_GetCfi()) ? ELF_Relocate(ELF_GetFdeAddrLo(ELF_GetCfi(), i)) : 0;
}

U32 ElfApi_GetFdeAddrHi(U32 i) {
    const std::lock_guard Lock(ElfApi_Mutex());
    return i < ELF_GetFdeCnt(ELF_GetCfi()) ? ELF_Relocate(ELF_GetFdeAddrHi(ELF_GetCfi(), i), true) : 0;
}
