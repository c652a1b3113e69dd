#include "datafile/JFile.h"

#include "base/ConsoleRing.h"
#include "base/Files.h"
#include "datafile/ElfBlocks.h"
#include "datafile/FileKind.h"
#include "datafile/Records.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>

namespace JFile {

namespace {

CProgressSink* pProgress;

constexpr int MAX_WARNINGS = 100; ///< of one file: a renamed file of another kind has nothing but invalid lines

/// Shows progress for as long as it lives.
class CProgress {
public:
    CProgress(const char* sText, I64 Maximum) {
        if (pProgress != nullptr) {
            pProgress->StartProgress(QString::fromLatin1(sText), Maximum);
        }
    }
    ~CProgress() {
        if (pProgress != nullptr) {
            pProgress->EndProgress();
        }
    }
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;
    void Set(I64 Value) const {
        if (pProgress != nullptr) {
            pProgress->SetProgressValue(Value);
        }
    }
};

QList<CMemBlock> ReadBinary(const QString& sPath) {
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly)) {
        return {};
    }
    const CProgress Progress("Reading File...", File.size());
    QByteArray Data;
    QByteArray Chunk;
    do {
        Chunk = File.read(BUFFER_SIZE);
        Data.append(Chunk);
        Progress.Set(Data.size());
    } while (Chunk.size() == BUFFER_SIZE && Data.size() <= MAX_FILE_SIZE); // files of the kernel may not end
    return {CMemBlock(0, Data)};
}

/// Cuts a file of text records into lines and collects what they hold.
class CRecordFile {
public:
    explicit CRecordFile(bool IsIntelHex) : m_IsIntelHex(IsIntelHex) {}
    void Read(QFile* pFile);
    I64 GetBadLine() const { return m_BadLine; }
    QList<CMemBlock> Merge() { return m_Records.Merge(); }

private:
    qsizetype ReadLines(QByteArrayView Chunk, bool IsLast);
    void AddLine(QByteArrayView Line);
    CRecordList m_Records;
    bool m_IsIntelHex;
    I64 m_Line = 0;
    I64 m_BadLine = -1; ///< first invalid line, from 0
    int m_NumBad = 0;
};

void CRecordFile::AddLine(QByteArrayView Line) {
    if (!(m_IsIntelHex ? m_Records.AddIntelHex(Line) : m_Records.AddSRecord(Line))) {
        m_BadLine = m_BadLine < 0 ? m_Line : m_BadLine;
        if (++m_NumBad <= MAX_WARNINGS) {
            qWarning("Discarded invalid record in s-record file");
        }
    }
    ++m_Line;
}

/// Handles the whole lines of a chunk and returns how much of it they took. Without a line end the chunk is one line.
qsizetype CRecordFile::ReadLines(QByteArrayView Chunk, bool IsLast) {
    const auto IsEnd = [](char c) { return c == '\n' || c == '\r'; };
    const auto IsSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    qsizetype Pos = 0;
    while (Pos < Chunk.size()) {
        const auto End = std::find_if(Chunk.begin() + Pos, Chunk.end(), IsEnd);
        if (End == Chunk.end() && Pos != 0 && !IsLast) {
            break;
        }
        AddLine(Chunk.sliced(Pos, End - (Chunk.begin() + Pos)));
        Pos = std::find_if_not(End, Chunk.end(), IsSpace) - Chunk.begin();
    }
    return Pos;
}

void CRecordFile::Read(QFile* pFile) {
    const CProgress Progress("Reading File...", pFile->size());
    QByteArray Chunk;
    I64 NumRead = 0;
    bool IsLast = false;
    while (!IsLast) {
        const QByteArray More = pFile->read(BUFFER_SIZE - Chunk.size());
        NumRead += More.size();
        Chunk.append(More);
        IsLast = pFile->atEnd() || More.isEmpty();
        Chunk.remove(0, ReadLines(Chunk, IsLast));
        Progress.Set(NumRead);
    }
}

QList<CMemBlock> ReadRecords(const QString& sPath) {
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly)) {
        return {};
    }
    CRecordFile Records(GetKind(sPath) == FK_INTEL_HEX);
    Records.Read(&File);
    if (Records.GetBadLine() >= 0) {
        ConsolePrintError(QStringLiteral("could not open file \"%1\": file contains corrupt data record at line %2.")
                              .arg(sPath, QString::number(Records.GetBadLine())));
        return {};
    }
    return Records.Merge();
}

} // namespace

void SetProgressSink(CProgressSink* pSink) { pProgress = pSink; }

bool IsBinFile(const QString& sPath) { return GetKind(sPath) == FK_BINARY; }
bool IsElfFile(const QString& sPath) { return GetKind(sPath) == FK_ELF; }

bool IsRecordFile(const QString& sPath) {
    const FILE_KIND Kind = GetKind(sPath);
    return Kind == FK_INTEL_HEX || Kind == FK_SRECORD;
}

bool IsDataFile(const QString& sPath) { return GetKind(sPath) != FK_NONE; }

QList<CMemBlock> ReadFile(const QString& sPath, I64 Addr) {
    QList<CMemBlock> Blocks;
    if (!CheckRegularFile(sPath).isEmpty()) {
        return Blocks;
    }
    if (QFileInfo(sPath).size() > MAX_FILE_SIZE) {
        ConsolePrintError(QStringLiteral("could not open file \"") + sPath + QStringLiteral("\": file is too large"));
        return Blocks;
    }
    if (IsBinFile(sPath)) {
        Blocks = ReadBinary(sPath);
    } else if (IsElfFile(sPath)) {
        Blocks = ReadElfBlocks(sPath);
    } else if (IsRecordFile(sPath)) {
        Blocks = ReadRecords(sPath);
    }
    if (Blocks.size() == 1 && Addr != -1 &&
        (Blocks[0].Addr == 0xFFFFFFFF || (Blocks[0].Addr == 0 && Blocks[0].Size == 0))) {
        Blocks[0].Addr = static_cast<U32>(Addr);
    }
    return Blocks;
}

QString WriteFile(const QString& sPath, QByteArrayView Data) {
    const CProgress Progress("Saving File...", Data.size());
    return SaveFile(sPath, Data, [&Progress](qint64 Written) { Progress.Set(Written); });
}

QString WriteMemory(const QString& sPath, U32 Addr, const QByteArray& Data) {
    QByteArray Text = Data;
    if (GetKindOfSuffix(sPath) == FK_INTEL_HEX) {
        Text = FormatIntelHex(Addr, Data);
    } else if (GetKindOfSuffix(sPath) == FK_SRECORD) {
        Text = FormatSRecord(Addr, Data);
    }
    return WriteFile(sPath, Text);
}

void CFileWorker::Save(const QString& sPath, U32 Addr, const QByteArray& Data) {
    if (WriteMemory(sPath, Addr, Data).isEmpty()) {
        emit FileSaved(sPath, static_cast<U32>(Data.size()));
    } else {
        emit SaveFailed(sPath);
    }
}

} // namespace JFile
