#pragma once

// Source positions to addresses and back, built once from the line tables of the open file. Addresses are those of the
// target. It belongs to ElfApi and is guarded by its lock, also for questions.

#include "elf/Elf.h"
#include "elf/IntervalTree.h"
#include "elf/SrcLoc.h"

#include <QHash>
#include <QString>
#include <QVarLengthArray>

/// Positions of one address: mostly one.
using SRC_LOCS = QVarLengthArray<CSrcLoc, 4>;

class CSrcMap {
public:
    /// Builds all tables. Line records below Floor are dropped and counted; pfRelocate moves addresses of the file to
    /// the target, null where they are the same.
    void Build(ELF_LINES Lines, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd));
    void Clear() { *this = CSrcMap(); }

    U32 GetFileId(const QString& sPath) const;
    QString GetFilePath(U32 FileId) const { return FilePathTable.value(FileRedirectTable.value(FileId, FileId)); }
    bool FileExists(U32 FileId) const { return FileExistsTable.value(FileRedirectTable.value(FileId, FileId)); }
    QList<U32> GetSrcFileIds() const;
    /// A source file was found under another path: its positions keep their FileId.
    void OnSrcFileLocated(const QString& sOldPath, const QString& sNewPath);
    /// Takes over where another map's files were found.
    void TakeLocated(const CSrcMap& Other);

    /// True if a line begins at the address.
    bool HasAddr(U32 Addr) const;
    /// Positions of an address, in the order of the line records; none unless a line begins there.
    SRC_LOCS GetLocs(U32 Addr) const;
    CSrcLoc GetFirstLoc(U32 Addr) const;                 ///< the first of those, or invalid
    std::vector<U32> GetAddrs(const CSrcLoc& Loc) const; ///< sorted
    I64 GetAddr(const CSrcLoc& Loc) const;               ///< the lowest of them, -1 if there is none
    bool HasLoc(const CSrcLoc& Loc) const;
    /// Nearest line with code before this one in the same file, column 0; invalid if there is none.
    CSrcLoc GetPrevLoc(const CSrcLoc& Loc) const;
    I64 GetPrevAddr(U32 Addr) const;
    I64 GetNextAddr(U32 Addr) const;
    /// File whose code holds the address, INVALID_FILE_ID if none.
    U32 GetFileAtAddr(U32 Addr) const;
    QList<ELF_RANGE> GetFileRanges(U32 FileId) const;
    bool IsEmpty() const { return Rows.IsEmpty(); }
    U32 GetSkippedLines() const { return Rows.GetNumSkipped(); }
    U32 GetLowestAddr() const { return Rows.GetLowestAddr(); }
    U32 GetHighestAddr() const { return Rows.GetHighestAddr(); }

private:
    /// A link from the side of the position.
    struct LINE_ADDR {
        U32 Line;
        U32 Addr;
        bool operator==(const LINE_ADDR& Other) const = default;
        bool operator<(const LINE_ADDR& Other) const {
            return Line != Other.Line ? Line < Other.Line : Addr < Other.Addr;
        }
    };
    struct SRC_FILE {
        U32 FileId = INVALID_FILE_ID;
        U32 LowAddr = 0xFFFFFFFF; ///< lowest and highest line address of the file
        U32 HighAddr = 0;
        ELF_RANGE Range{1, 0}; ///< overall range of its code
        QList<ELF_RANGE> Ranges;
        std::vector<LINE_ADDR> Lines; ///< sorted; made by the first question about the file
        bool HasLines = false;
    };
    static QString Normalise(const QString& sPath);
    void AddFiles(const ELF_LINES& Lines);
    void BuildFileRanges();
    /// What a row's file says about the row.
    struct SLOT {
        U32 FileId;
        ELF_RANGE Range; ///< of the file's code; empty for none
    };
    void BuildSlots();
    CSrcLoc LocOf(const CLineTable::CURSOR& Cursor) const;
    const SRC_FILE* FileOf(U32 FileId) const;
    const std::vector<LINE_ADDR>& LinesOf(U32 FileId) const;

    QHash<U32, QString> FilePathTable;
    QHash<U32, bool> FileExistsTable;
    QHash<U32, U32> FileRedirectTable; ///< FileId in the debug information to that of the path it was found at
    QHash<U32, U32> FileAliasTable;    ///< hash of that path to the FileId in the debug information
    QHash<U32, U32> FileNumbers;       ///< FileId to index into Files
    mutable std::vector<SRC_FILE> Files;
    std::vector<U32> FileOfPath; ///< index into ELF_LINES::SrcFiles to index into Files
    CIntervalTree FileTree;
    CLineTable Rows;
    std::vector<SLOT> Slots; ///< by CLineTable::SlotOf()
};
