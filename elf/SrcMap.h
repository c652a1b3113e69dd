#pragma once

// Source positions to addresses and back, built once from the line tables of the open file and then only read. Addresses
// are those of the target. It belongs to ElfApi and is guarded by its lock.

#include "elf/Elf.h"
#include "elf/IntervalTree.h"
#include "elf/SrcLoc.h"

#include <QHash>
#include <QString>

class CSrcMap {
public:
    /// Builds all tables. Line records below Floor are dropped and counted; pfRelocate moves addresses of the file to
    /// the target, null where they are the same.
    void Build(const ELF_LINES& Lines, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd));
    void Clear() { *this = CSrcMap(); }

    U32 GetFileId(const QString& sPath) const;
    QString GetFilePath(U32 FileId) const { return FilePathTable.value(FileRedirectTable.value(FileId, FileId)); }
    bool FileExists(U32 FileId) const { return FileExistsTable.value(FileRedirectTable.value(FileId, FileId)); }
    QList<U32> GetSrcFileIds() const;
    /// A source file was found under another path: its positions keep their FileId.
    void OnSrcFileLocated(const QString& sOldPath, const QString& sNewPath);
    /// Takes over where another map's files were found.
    void TakeLocated(const CSrcMap& Other);

    /// Index into the address list of an address that begins a line, -1 for any other.
    I64 FindAddr(U32 Addr) const;
    /// Positions of entry Idx of the address list, in the order of the line records.
    const CSrcLoc* GetLocs(I64 Idx, U32* pNum) const;
    const U32* GetAddrs(const CSrcLoc& Loc, U32* pNum) const; ///< sorted
    bool HasLoc(const CSrcLoc& Loc) const;
    /// Nearest line with code before this one in the same file, column 0; invalid if there is none.
    CSrcLoc GetPrevLoc(const CSrcLoc& Loc) const;
    I64 GetPrevAddr(U32 Addr) const;
    I64 GetNextAddr(U32 Addr) const;
    /// File whose code holds the address, INVALID_FILE_ID if none.
    U32 GetFileAtAddr(U32 Addr) const;
    QList<ELF_RANGE> GetFileRanges(U32 FileId) const { return FileRangesTable.value(FileId); }
    bool IsEmpty() const { return AddrList.empty(); }
    U32 GetSkippedLines() const { return SkippedLines; }
    U32 GetLowestAddr() const { return LowestAddr; }
    U32 GetHighestAddr() const { return HighestAddr; }

private:
    struct LINK {
        U32 Addr;
        U32 Order; ///< of the line record
        CSrcLoc Loc;
    };
    static QString Normalise(const QString& sPath);
    void AddFiles(const ELF_LINES& Lines, std::vector<U32>* pIds);
    std::vector<LINK> CollectLinks(const ELF_LINES& Lines, const std::vector<U32>& Ids, U32 Floor, U32 (*pfRelocate)(U32, bool));
    void BuildFileRanges(const ELF_LINES& Lines, const std::vector<U32>& Ids, U32 (*pfRelocate)(U32, bool));
    void RemoveForeign(std::vector<LINK>* pLinks) const;
    void BuildTables(std::vector<LINK> Links);
    size_t LowerBound(U32 Addr) const;

    QHash<U32, QString> FilePathTable;
    QHash<U32, bool> FileExistsTable;
    QHash<U32, U32> FileRedirectTable; ///< FileId in the debug information to that of the path it was found at
    QHash<U32, U32> FileAliasTable;    ///< hash of that path to the FileId in the debug information
    QHash<U32, U32> FileLowAddrTable;
    QHash<U32, U32> FileHighAddrTable;
    QHash<U32, ELF_RANGE> FileRangeTable;
    QHash<U32, QList<ELF_RANGE>> FileRangesTable;
    CIntervalTree FileTree;
    U32 LowestAddr = 0xFFFFFFFF;
    U32 HighestAddr = 0;
    U32 SkippedLines = 0;
    // Address to positions: AddrList[i] has the positions AddrLocs[AddrFirst[i]] up to the next entry's. Steps gives
    // the place of an address in the list, to within a few entries, without a search over all of it.
    std::vector<U32> AddrList;
    std::vector<U32> AddrFirst;
    std::vector<CSrcLoc> AddrLocs;
    std::vector<U32> Steps;
    U32 StepShift = 0;
    // Position to addresses, the same way round: keys of file and line, sorted.
    std::vector<U64> LocKeys;
    std::vector<U32> LocFirst;
    std::vector<U32> LocAddrs;
};
