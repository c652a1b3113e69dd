#pragma once

// A run of target memory out of a data file. Any thread.

#include "base/Types.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>

struct CMemBlock {
    CMemBlock() = default;
    CMemBlock(U32 Address, const QByteArray& Bytes)
        : Addr(Address), Size(static_cast<U32>(Bytes.size())), VAddr(Address), Data(Bytes) {}
    U32 Addr = 0; ///< load address; the physical one of an ELF segment
    U32 Size = 0;
    U32 VAddr = 0; ///< run address; differs from Addr in ELF files only
    QByteArray Data;
    U32 RecordType = 0; ///< type of the record that the block began with, 0 for anything but a record
};

Q_DECLARE_METATYPE(CMemBlock)
