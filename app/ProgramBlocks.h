#pragma once

// What a program or data file puts into the target's memory. Main thread.

#include "base/Types.h"
#include "datafile/MemBlock.h"

#include <QList>
#include <QString>

/// Anything that isn't one of the other data files is taken for an ELF file, whatever its name.
bool IsElfFile(const QString& sPath);
/// Blocks of a data file, a binary one's at Address. The error text, empty on success.
QString ReadBlocks(const QString& sPath, I64 Address, QList<CMemBlock>* pBlocks);
/// Segments of the open ELF file.
QList<CMemBlock> ElfBlocks();
