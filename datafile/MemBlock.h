#pragma once

// A run of target memory out of a data file. Any thread.

#include "base/Types.h"

#include <QByteArray>
#include <QList>
#include <QString>

struct CMemBlock {
    U32 Addr = 0;
    QByteArray Data;
    U32 GetSize() const { return static_cast<U32>(Data.size()); }
};

/// Reads a plain binary file as one block at BaseAddr. False with a text if it can't be read, is empty or doesn't fit
/// behind the address.
bool ReadBinaryFile(const QString& sPath, U32 BaseAddr, QList<CMemBlock>* pBlocks, QString* pError);
