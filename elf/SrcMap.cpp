#include "elf/SrcMap.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace {

constexpr U32 MAX_RANGE_SIZE = 1'000'000; ///< bytes; a unit of more isn't one program's

U32 _Id(const QString& sPath) { return static_cast<U32>(qHash(sPath.toLower())); }

U64 _Key(const CSrcLoc& Loc) { return static_cast<U64>(Loc.FileId) << 32 | Loc.Line; }

bool _Holds(const ELF_RANGE& Range, U32 Addr) { return Addr >= Range.Lo && Addr < Range.Hi; }

} // namespace

QString CSrcMap::Normalise(const QString& sPath) {
    return QDir::cleanPath(QString(sPath).replace(QLatin1Char('\\'), QLatin1Char('/')));
}

void CSrcMap::AddFiles(const ELF_LINES& Lines, std::vector<U32>* pIds) {
    for (const std::string& Path : Lines.SrcFiles) {
        const QString sPath = QString::fromStdString(Path);
        pIds->push_back(_Id(sPath));
        FilePathTable.insert(pIds->back(), sPath);
    }
    for (const std::string& Path : Lines.OtherFiles) {
        const QString sPath = QString::fromStdString(Path);
        FilePathTable.insert(_Id(sPath), sPath);
    }
    for (auto It = FilePathTable.cbegin(); It != FilePathTable.cend(); ++It) {
        FileExistsTable.insert(It.key(), QFileInfo::exists(It.value()));
    }
}

std::vector<CSrcMap::LINK> CSrcMap::CollectLinks(const ELF_LINES& Lines, const std::vector<U32>& Ids, U32 Floor,
                                                 U32 (*pfRelocate)(U32, bool)) {
    std::vector<LINK> Links;
    Links.reserve(Lines.Lines.size() + Lines.Points.size());
    for (const std::vector<ELF_LINE>* pRows : {&Lines.Points, &Lines.Lines}) { // a point comes before what replaces it
        for (const ELF_LINE& Row : *pRows) {
            const U32 Addr = pfRelocate != nullptr ? pfRelocate(Row.AddrLo, false) : Row.AddrLo;
            if (Addr < Floor) {
                ++SkippedLines;
                continue;
            }
            const CSrcLoc Loc{Ids[Row.File], Row.Line, Row.Col};
            if (Loc.Line != 0) {
                Links.push_back({Addr, static_cast<U32>(Links.size()), Loc});
            }
        }
    }
    const auto IsLess = [](const LINK& a, const LINK& b) { return a.Addr != b.Addr ? a.Addr < b.Addr : a.Order < b.Order; };
    if (!std::is_sorted(Links.begin(), Links.end(), IsLess)) {
        std::sort(Links.begin(), Links.end(), IsLess);
    }
    U32 LastId = INVALID_FILE_ID;
    U32* pLow = nullptr;
    U32* pHigh = nullptr;
    for (const LINK& Link : Links) {
        if (Link.Loc.FileId != LastId || pLow == nullptr) {
            LastId = Link.Loc.FileId;
            if (!FileLowAddrTable.contains(LastId)) {
                FileLowAddrTable.insert(LastId, 0xFFFFFFFF);
                FileHighAddrTable.insert(LastId, 0);
            }
            pLow = &FileLowAddrTable[LastId];
            pHigh = &FileHighAddrTable[LastId];
        }
        *pLow = std::min(*pLow, Link.Addr);
        *pHigh = std::max(*pHigh, Link.Addr);
        LowestAddr = std::min(LowestAddr, Link.Addr);
        HighestAddr = std::max(HighestAddr, Link.Addr);
    }
    return Links;
}

void CSrcMap::BuildFileRanges(const ELF_LINES& Lines, const std::vector<U32>& Ids, U32 (*pfRelocate)(U32, bool)) {
    QHash<U32, std::vector<ELF_RANGE>> Raw;
    for (const ELF_LINE_TABLE& Table : Lines.Tables) {
        for (const U32 File : Table.Files) {
            const U32 Id = Ids[File];
            if (!FileLowAddrTable.contains(Id)) {
                continue;
            }
            std::vector<ELF_RANGE>& Ranges = Raw[Id];
            for (ELF_RANGE Range : Table.Ranges) {
                if (pfRelocate != nullptr) {
                    Range = {pfRelocate(Range.Lo, false), pfRelocate(Range.Hi, true)};
                }
                Range.Hi &= ~1u;
                if (Range.Hi > Range.Lo && Range.Hi - Range.Lo <= MAX_RANGE_SIZE &&
                    Range.Lo <= FileHighAddrTable.value(Id) && Range.Hi > FileLowAddrTable.value(Id)) {
                    Ranges.push_back(Range);
                }
            }
        }
    }
    std::vector<ELF_INTERVAL> Intervals;
    for (auto It = Raw.begin(); It != Raw.end(); ++It) {
        std::sort(It->begin(), It->end(), [](const ELF_RANGE& a, const ELF_RANGE& b) { return a.Lo < b.Lo; });
        QList<ELF_RANGE> Merged;
        for (const ELF_RANGE& Range : *It) {
            if (!Merged.isEmpty() && Range.Lo <= Merged.last().Hi) {
                Merged.last().Hi = std::max(Merged.last().Hi, Range.Hi);
            } else {
                Merged.append(Range);
            }
        }
        if (Merged.isEmpty()) {
            continue;
        }
        for (const ELF_RANGE& Range : Merged) {
            Intervals.push_back({Range.Lo, Range.Hi - 1, It.key()});
        }
        FileRangeTable.insert(It.key(), {Merged.first().Lo, Merged.last().Hi});
        FileRangesTable.insert(It.key(), Merged);
    }
    FileTree.Build(std::move(Intervals));
}

/// Line tables of sections that the linker dropped can point anywhere: a link outside of its file's code goes.
void CSrcMap::RemoveForeign(std::vector<LINK>* pLinks) const {
    U32 LastId = INVALID_FILE_ID;
    ELF_RANGE Range{1, 0};
    std::erase_if(*pLinks, [&](const LINK& Link) {
        if (Link.Loc.FileId != LastId) {
            LastId = Link.Loc.FileId;
            Range = FileRangeTable.value(LastId, ELF_RANGE{1, 0});
        }
        return !_Holds(Range, Link.Addr);
    });
}

void CSrcMap::BuildTables(std::vector<LINK> Links) {
    for (const LINK& Link : Links) {
        if (AddrList.empty() || AddrList.back() != Link.Addr) {
            AddrList.push_back(Link.Addr);
            AddrFirst.push_back(static_cast<U32>(AddrLocs.size()));
        }
        const auto First = AddrLocs.begin() + AddrFirst.back();
        if (std::find(First, AddrLocs.end(), Link.Loc) == AddrLocs.end()) {
            AddrLocs.push_back(Link.Loc);
        }
    }
    AddrFirst.push_back(static_cast<U32>(AddrLocs.size()));
    const U32 Base = AddrList.empty() ? 0 : AddrList.front();
    const U32 Span = AddrList.empty() ? 0 : AddrList.back() - Base;
    for (StepShift = 2; StepShift < 31 && Span >> StepShift > 2 * AddrList.size() + 64; ++StepShift) {
    }
    size_t Idx = 0;
    for (U32 Step = 0; Step <= Span >> StepShift; ++Step) {
        while (Idx < AddrList.size() && (AddrList[Idx] - Base) >> StepShift < Step) {
            ++Idx;
        }
        Steps.push_back(static_cast<U32>(Idx));
    }
    Steps.push_back(static_cast<U32>(AddrList.size()));
    std::sort(Links.begin(), Links.end(), [](const LINK& a, const LINK& b) {
        return _Key(a.Loc) != _Key(b.Loc) ? _Key(a.Loc) < _Key(b.Loc) : a.Addr < b.Addr;
    });
    for (const LINK& Link : Links) {
        const bool IsNew = LocKeys.empty() || LocKeys.back() != _Key(Link.Loc);
        if (IsNew) {
            LocKeys.push_back(_Key(Link.Loc));
            LocFirst.push_back(static_cast<U32>(LocAddrs.size()));
        }
        if (IsNew || LocAddrs.back() != Link.Addr) {
            LocAddrs.push_back(Link.Addr);
        }
    }
    LocFirst.push_back(static_cast<U32>(LocAddrs.size()));
}

void CSrcMap::Build(const ELF_LINES& Lines, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd)) {
    Clear();
    std::vector<U32> Ids;
    AddFiles(Lines, &Ids);
    std::vector<LINK> Links = CollectLinks(Lines, Ids, Floor, pfRelocate);
    BuildFileRanges(Lines, Ids, pfRelocate);
    RemoveForeign(&Links);
    BuildTables(std::move(Links));
}

U32 CSrcMap::GetFileId(const QString& sPath) const {
    if (sPath.isEmpty()) {
        return INVALID_FILE_ID;
    }
    const U32 Id = _Id(sPath);
    if (FileAliasTable.contains(Id)) {
        return FileAliasTable.value(Id);
    }
    if (FilePathTable.contains(Id)) {
        return Id;
    }
    const QString sNormal = Normalise(sPath);
    for (auto It = FilePathTable.cbegin(); It != FilePathTable.cend(); ++It) {
        if (!FileRedirectTable.contains(It.key()) && Normalise(It.value()).compare(sNormal, Qt::CaseInsensitive) == 0) {
            return It.key();
        }
    }
    return INVALID_FILE_ID;
}

QList<U32> CSrcMap::GetSrcFileIds() const {
    QList<U32> Ids;
    for (auto It = FilePathTable.cbegin(); It != FilePathTable.cend(); ++It) {
        if (FileLowAddrTable.contains(It.key()) || FileRangeTable.contains(It.key())) {
            Ids.append(It.key());
        }
    }
    std::sort(Ids.begin(), Ids.end());
    return Ids;
}

void CSrcMap::OnSrcFileLocated(const QString& sOldPath, const QString& sNewPath) {
    const U32 New = _Id(sNewPath);
    const U32 Old = FileAliasTable.value(_Id(sOldPath), _Id(sOldPath)); // found elsewhere before: still the same file
    if (!FilePathTable.contains(Old)) {
        return; // no file of the program
    }
    FileRedirectTable.remove(Old);
    if (Old != New) {
        FileRedirectTable.insert(Old, New);
        FileAliasTable.insert(New, Old);
        FilePathTable.insert(New, sNewPath);
    }
    FileExistsTable.insert(New, true);
}

void CSrcMap::TakeLocated(const CSrcMap& Other) {
    for (auto It = Other.FileRedirectTable.cbegin(); It != Other.FileRedirectTable.cend(); ++It) {
        OnSrcFileLocated(FilePathTable.value(It.key()), Other.FilePathTable.value(It.value()));
    }
}

size_t CSrcMap::LowerBound(U32 Addr) const {
    if (AddrList.empty() || Addr <= AddrList.front()) {
        return 0;
    }
    if (Addr > AddrList.back()) {
        return AddrList.size();
    }
    const size_t Step = (Addr - AddrList.front()) >> StepShift;
    const auto First = AddrList.begin() + Steps[Step];
    return static_cast<size_t>(std::lower_bound(First, AddrList.begin() + Steps[Step + 1], Addr) - AddrList.begin());
}

I64 CSrcMap::FindAddr(U32 Addr) const {
    const size_t Idx = LowerBound(Addr);
    return Idx < AddrList.size() && AddrList[Idx] == Addr ? static_cast<I64>(Idx) : -1;
}

const CSrcLoc* CSrcMap::GetLocs(I64 Idx, U32* pNum) const {
    const size_t i = static_cast<size_t>(Idx);
    *pNum = Idx < 0 ? 0 : AddrFirst[i + 1] - AddrFirst[i];
    return Idx < 0 ? nullptr : &AddrLocs[AddrFirst[i]];
}

const U32* CSrcMap::GetAddrs(const CSrcLoc& Loc, U32* pNum) const {
    const auto It = std::lower_bound(LocKeys.begin(), LocKeys.end(), _Key(Loc));
    const size_t i = static_cast<size_t>(It - LocKeys.begin());
    const bool IsFound = It != LocKeys.end() && *It == _Key(Loc);
    *pNum = IsFound ? LocFirst[i + 1] - LocFirst[i] : 0;
    return IsFound ? &LocAddrs[LocFirst[i]] : nullptr;
}

bool CSrcMap::HasLoc(const CSrcLoc& Loc) const { return std::binary_search(LocKeys.begin(), LocKeys.end(), _Key(Loc)); }

CSrcLoc CSrcMap::GetPrevLoc(const CSrcLoc& Loc) const {
    const auto It = std::lower_bound(LocKeys.begin(), LocKeys.end(), _Key(Loc));
    const bool IsFound = It != LocKeys.begin() && It[-1] >> 32 == Loc.FileId;
    return IsFound ? CSrcLoc{Loc.FileId, static_cast<U32>(It[-1]), 0} : CSrcLoc();
}

I64 CSrcMap::GetPrevAddr(U32 Addr) const {
    const size_t Idx = LowerBound(Addr);
    return Idx == 0 ? -1 : static_cast<I64>(AddrList[Idx - 1]);
}

I64 CSrcMap::GetNextAddr(U32 Addr) const {
    size_t Idx = LowerBound(Addr);
    Idx += Idx < AddrList.size() && AddrList[Idx] == Addr ? 1 : 0;
    return Idx >= AddrList.size() ? -1 : static_cast<I64>(AddrList[Idx]);
}

U32 CSrcMap::GetFileAtAddr(U32 Addr) const {
    std::vector<U64> Hits;
    FileTree.Query(Addr, Addr, &Hits);
    return Hits.empty() ? INVALID_FILE_ID : static_cast<U32>(Hits.back());
}
