#pragma once

#include "datafile/MemBlock.h"

/// Loadable segments of a 32-bit ELF file, in address order; empty if it isn't one or is damaged. It reads the file by
/// itself, so that any file can be loaded beside the one that is open for debugging. Any thread.
QList<CMemBlock> ReadElfBlocks(const QString& sPath);
