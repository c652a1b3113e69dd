#pragma once

// Data files: plain binary, Intel HEX, S-record and ELF files, read into one form, a list of memory blocks in address
// order that don't overlap, and target memory written to a file. The functions run on the caller's thread and block it;
// progress goes to the sink that the program installs.

#include "datafile/MemBlock.h"

#include <QByteArrayView>
#include <QObject>
#include <QString>

namespace JFile {

constexpr I64 BUFFER_SIZE = 1'000'000;   ///< bytes read at a time
constexpr I64 MAX_FILE_SIZE = 512 << 20; ///< more is no program of a target that is debugged here

/// Receives the progress of reading and writing. All functions are called on the thread of the operation.
class CProgressSink {
public:
    virtual ~CProgressSink() = default;
    virtual void StartProgress(const QString& sText, I64 Maximum) = 0;
    virtual void SetProgressValue(I64 Value) = 0;
    virtual void EndProgress() = 0;
};
/// The sink must outlive its use; null for none. Main thread.
void SetProgressSink(CProgressSink* pSink);

/// The kind of a file, see GetKind().
bool IsBinFile(const QString& sPath);
bool IsElfFile(const QString& sPath);
bool IsRecordFile(const QString& sPath);
bool IsDataFile(const QString& sPath);

/// Blocks of the file; empty if it doesn't exist, isn't a data file, is too large or is damaged. A binary file's block
/// has address 0: the caller moves it; one without bytes has the given address. A damaged record file is reported on
/// the console. Addr -1 means none given.
QList<CMemBlock> ReadFile(const QString& sPath, I64 Addr);

/// Writes the bytes as they are. Empty, or why the file couldn't be written: then an old one is as it was.
QString WriteFile(const QString& sPath, QByteArrayView Data);

/// As WriteFile(), in the format that the suffix names: Intel HEX, S-record, or plain binary for any other.
QString WriteMemory(const QString& sPath, U32 Addr, const QByteArray& Data);

/// Saves on the thread it lives on and tells when it is done.
class CFileWorker : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

public slots:
    void Save(const QString& sPath, U32 Addr, const QByteArray& Data);

signals:
    void FileSaved(QString FilePath, U32 nBytes);
    void SaveFailed(QString FilePath);
};

} // namespace JFile
