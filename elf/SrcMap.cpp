#include "elf/SrcMap.h"

#include "elf/LoadLog.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace {

constexpr U32 MAX_RANGE_SIZE = 1'000'000; ///< bytes; a unit of more isn't one program's

U32 IdOf(const QString& sPath) { return static_cast<U32>(qHash(sPath.toLower())); }

bool Holds(const ELF_RANGE& Range, U32 Addr) { return Addr >= Range.Lo && Addr < Range.Hi; }

} // namespace

QString CSrcMap::Normalise(const QString& sPath) {
    return QDir::cleanPath(QString(sPath).replace(QLatin1Char('\\'), QLatin1Char('/')));
}

/// Paths that differ in case only are one file.
void CSrcMap::AddFiles(const ELF_LINES& Lines) {
    for (const std::string& Path : Lines.SrcFiles) {
        const QString sPath = QString::fromStdString(Path);
        const U32 Id = IdOf(sPath);
        FilePathTable.insert(Id, sPath);
        const auto It = FileNumbers.constFind(Id);
        FileOfPath.push_back(It != FileNumbers.constEnd() ? *It : static_cast<U32>(Files.size()));
        if (It == FileNumbers.constEnd()) {
            FileNumbers.insert(Id, FileOfPath.back());
            Files.emplace_back().FileId = Id;
        }
    }
    ELF_NoteStep(ELF_STEP_PATHS_OF_LINES); // the file tables hold the paths of the lines, too
    ELF_NoteStep(ELF_STEP_PATHS_OF_FILES);
    for (auto It = FilePathTable.cbegin(); It != FilePathTable.cend(); ++It) {
        FileExistsTable.insert(It.key(), QFileInfo::exists(It.value()));
    }
    ELF_NoteStep(ELF_STEP_FILES_EXIST);
}

void CSrcMap::BuildFileRanges() {
    Rows.ForEachSpan([this](U32 Path, U32 Lo, U32 Hi) {
        SRC_FILE& File = Files[FileOfPath[Path]];
        File.LowAddr = std::min(File.LowAddr, Lo);
        File.HighAddr = std::max(File.HighAddr, Hi);
    });
    std::vector<std::vector<ELF_RANGE>> Raw(Files.size());
    for (const ELF_LINE_TABLE& Table : Rows.GetTables()) {
        std::vector<bool> HasRows(Table.Files.size());
        for (const ELF_LINE_SPAN& Span : Table.Spans) {
            if (Span.File < HasRows.size() && Table.Files[Span.File] < FileOfPath.size()) {
                HasRows[Span.File] = true;
            }
        }
        for (size_t i = 0; i < HasRows.size(); ++i) {
            if (!HasRows[i]) {
                continue;
            }
            const U32 Number = FileOfPath[Table.Files[i]];
            for (ELF_RANGE Range : Table.Ranges) {
                Range.Hi &= ~1u;
                if (Range.Hi > Range.Lo && Range.Hi - Range.Lo <= MAX_RANGE_SIZE &&
                    Range.Lo <= Files[Number].HighAddr && Range.Hi > Files[Number].LowAddr) {
                    Raw[Number].push_back(Range);
                }
            }
        }
    }
    std::vector<ELF_INTERVAL> Intervals;
    for (size_t i = 0; i < Raw.size(); ++i) {
        std::sort(Raw[i].begin(), Raw[i].end(), [](const ELF_RANGE& a, const ELF_RANGE& b) { return a.Lo < b.Lo; });
        QList<ELF_RANGE>& Merged = Files[i].Ranges;
        for (const ELF_RANGE& Range : Raw[i]) {
            if (!Merged.isEmpty() && Range.Lo <= Merged.last().Hi) {
                Merged.last().Hi = std::max(Merged.last().Hi, Range.Hi);
            } else {
                Merged.append(Range);
            }
        }
        for (const ELF_RANGE& Range : std::as_const(Merged)) {
            Intervals.push_back({Range.Lo, Range.Hi - 1, Files[i].FileId});
        }
        if (!Merged.isEmpty()) {
            Files[i].Range = {Merged.first().Lo, Merged.last().Hi};
        }
    }
    FileTree.Build(std::move(Intervals));
    ELF_NoteStep(ELF_STEP_FILE_TREE);
}

void CSrcMap::Build(ELF_LINES Lines, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd)) {
    Clear();
    AddFiles(Lines);
    Rows.Build(std::move(Lines.Tables), Floor, pfRelocate);
    ELF_NoteStep(ELF_STEP_LINES);
    ELF_NoteStep(ELF_STEP_LINES_SORTED);
    BuildFileRanges();
    BuildSlots();
    ELF_NoteStep(ELF_STEP_FILE_RANGES);
    ELF_NoteStep(ELF_STEP_LINES_CLEANED); // what is outside of its file's ranges is none
}

void CSrcMap::BuildSlots() {
    for (const ELF_LINE_TABLE& Table : Rows.GetTables()) {
        for (const U32 Path : Table.Files) {
            const SRC_FILE* pFile = Path < FileOfPath.size() ? &Files[FileOfPath[Path]] : nullptr;
            Slots.push_back(pFile != nullptr ? SLOT{pFile->FileId, pFile->Range} : SLOT{INVALID_FILE_ID, {1, 0}});
        }
    }
}

/// Position of a row, or invalid: line tables of sections that the linker dropped can point anywhere, so that a row
/// outside of its file's code is none.
CSrcLoc CSrcMap::LocOf(const CLineTable::CURSOR& Cursor) const {
    const ELF_LINE Line = Rows.Get(Cursor);
    const U32 Slot = Rows.SlotOf(Cursor, Line.File);
    const bool IsLink = Line.Line != 0 && Slot < Slots.size() && Holds(Slots[Slot].Range, Line.Addr);
    return IsLink ? CSrcLoc{Slots[Slot].FileId, Line.Line, Line.Col} : CSrcLoc();
}

const CSrcMap::SRC_FILE* CSrcMap::FileOf(U32 FileId) const {
    const auto It = FileNumbers.constFind(FileId);
    return It != FileNumbers.constEnd() ? &Files[*It] : nullptr;
}

const std::vector<CSrcMap::LINE_ADDR>& CSrcMap::LinesOf(U32 FileId) const {
    static const std::vector<LINE_ADDR> Nothing;
    const auto It = FileNumbers.constFind(FileId);
    if (It == FileNumbers.constEnd()) {
        return Nothing;
    }
    SRC_FILE& File = Files[*It];
    if (!File.HasLines) {
        for (U32 Path = 0; Path < FileOfPath.size(); ++Path) {
            if (FileOfPath[Path] == *It) {
                Rows.ForEachRowOf(Path, [&File](const ELF_LINE& Row) {
                    if (Row.Line != 0 && Holds(File.Range, Row.Addr)) {
                        File.Lines.push_back({Row.Line, Row.Addr});
                    }
                });
            }
        }
        std::sort(File.Lines.begin(), File.Lines.end());
        File.Lines.erase(std::unique(File.Lines.begin(), File.Lines.end()), File.Lines.end());
        File.HasLines = true;
    }
    return File.Lines;
}

QList<ELF_RANGE> CSrcMap::GetFileRanges(U32 FileId) const {
    const SRC_FILE* pFile = FileOf(FileId);
    return pFile != nullptr ? pFile->Ranges : QList<ELF_RANGE>();
}

U32 CSrcMap::GetFileId(const QString& sPath) const {
    if (sPath.isEmpty()) {
        return INVALID_FILE_ID;
    }
    const U32 Id = IdOf(sPath);
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
        const SRC_FILE* pFile = FileOf(It.key());
        if (pFile != nullptr && (pFile->LowAddr <= pFile->HighAddr || !pFile->Ranges.isEmpty())) {
            Ids.append(It.key());
        }
    }
    std::sort(Ids.begin(), Ids.end());
    return Ids;
}

void CSrcMap::OnSrcFileLocated(const QString& sOldPath, const QString& sNewPath) {
    const U32 New = IdOf(sNewPath);
    const U32 Old = FileAliasTable.value(IdOf(sOldPath), IdOf(sOldPath)); // found elsewhere before: still the same file
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

bool CSrcMap::HasAddr(U32 Addr) const { return GetFirstLoc(Addr).IsValid(); }

CSrcLoc CSrcMap::GetFirstLoc(U32 Addr) const {
    CLineTable::CURSOR Cursor = Rows.Find(Addr);
    for (; Cursor.p != nullptr && Rows.AddrOf(Cursor) == Addr; Rows.Next(&Cursor)) {
        if (const CSrcLoc Loc = LocOf(Cursor); Loc.IsValid()) {
            return Loc;
        }
    }
    return {};
}

SRC_LOCS CSrcMap::GetLocs(U32 Addr) const {
    SRC_LOCS Locs;
    CLineTable::CURSOR Cursor = Rows.Find(Addr);
    for (; Cursor.p != nullptr && Rows.AddrOf(Cursor) == Addr; Rows.Next(&Cursor)) {
        const CSrcLoc Loc = LocOf(Cursor);
        if (Loc.IsValid() && !Locs.contains(Loc)) {
            Locs.append(Loc);
        }
    }
    return Locs;
}

std::vector<U32> CSrcMap::GetAddrs(const CSrcLoc& Loc) const {
    const std::vector<LINE_ADDR>& Lines = LinesOf(Loc.FileId);
    std::vector<U32> Addrs;
    for (auto It = std::lower_bound(Lines.begin(), Lines.end(), LINE_ADDR{Loc.Line, 0});
         It != Lines.end() && It->Line == Loc.Line; ++It) {
        Addrs.push_back(It->Addr);
    }
    return Addrs;
}

I64 CSrcMap::GetAddr(const CSrcLoc& Loc) const {
    const std::vector<LINE_ADDR>& Lines = LinesOf(Loc.FileId);
    const auto It = std::lower_bound(Lines.begin(), Lines.end(), LINE_ADDR{Loc.Line, 0});
    return It != Lines.end() && It->Line == Loc.Line ? static_cast<I64>(It->Addr) : -1;
}

bool CSrcMap::HasLoc(const CSrcLoc& Loc) const { return GetAddr(Loc) >= 0; }

CSrcLoc CSrcMap::GetPrevLoc(const CSrcLoc& Loc) const {
    const std::vector<LINE_ADDR>& Lines = LinesOf(Loc.FileId);
    const auto It = std::lower_bound(Lines.begin(), Lines.end(), LINE_ADDR{Loc.Line, 0});
    return It != Lines.begin() ? CSrcLoc{Loc.FileId, It[-1].Line, 0} : CSrcLoc();
}

I64 CSrcMap::GetPrevAddr(U32 Addr) const {
    CLineTable::CURSOR Cursor = Rows.Find(Addr);
    while (Rows.Prev(&Cursor)) {
        if (LocOf(Cursor).IsValid()) {
            return Rows.AddrOf(Cursor);
        }
    }
    return -1;
}

I64 CSrcMap::GetNextAddr(U32 Addr) const {
    CLineTable::CURSOR Cursor = Rows.Find(Addr);
    for (; Cursor.p != nullptr; Rows.Next(&Cursor)) {
        if (Rows.AddrOf(Cursor) > Addr && LocOf(Cursor).IsValid()) {
            return Rows.AddrOf(Cursor);
        }
    }
    return -1;
}

U32 CSrcMap::GetFileAtAddr(U32 Addr) const {
    std::vector<U64> Hits;
    FileTree.Query(Addr, Addr, &Hits);
    return Hits.empty() ? INVALID_FILE_ID : static_cast<U32>(Hits.back());
}
