#pragma once

// Lines of Intel HEX and S-record files (Intel Hexadecimal Object File Format Specification, revision A; Motorola
// S-records), and the joining of what they hold. Any thread.

#include "datafile/MemBlock.h"

#include <QByteArrayView>
#include <vector>

/// Data records of a file, kept apart from their bytes: a file of 100 MB has six million of them.
class CRecordList {
public:
    /// False if the line isn't a valid record.
    bool AddSRecord(QByteArrayView Line);
    bool AddIntelHex(QByteArrayView Line);
    /// The blocks in address order, touching and overlapping records joined; where they overlap, the record with the
    /// higher address wins, of two at one address the later.
    QList<CMemBlock> Merge();

private:
    struct RECORD {
        U32 Addr;
        U32 Size;
        I64 Off; ///< in m_Data
        U32 Type;
    };
    bool AddData(U64 Addr, QByteArrayView Digits, U32 Type);
    void CopyRun(size_t First, size_t Last, CMemBlock* pRun) const;
    std::vector<RECORD> m_Records;
    QByteArray m_Data;
    U32 m_Base = 0; ///< of Intel HEX addresses
};

/// Records of 16 bytes with their end record, lines ended by LF.
QByteArray FormatIntelHex(U32 Addr, const QByteArray& Data);
QByteArray FormatSRecord(U32 Addr, const QByteArray& Data);
