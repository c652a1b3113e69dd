#pragma once

// The bytes of a program file in memory.

#include "base/Types.h"

#include <cstddef>
#include <cstdlib>
#include <memory>

struct ELF_BUFFER_FREE {
    void operator()(U8* p) const { std::free(p); }
};
/// Not zeroed: files run to 100 MB.
using ELF_BUFFER = std::unique_ptr<U8[], ELF_BUFFER_FREE>;

/// Null if there is not so much memory.
ELF_BUFFER ELF_AllocBuffer(size_t NumBytes);
/// Size of a disk file, -1 if it can't be opened.
I64 ELF_GetDiskFileSize(const char* sPath);
/// Reads that many bytes of a disk file, large ones in two halves at a time. False if they are not there.
bool ELF_ReadDiskFile(const char* sPath, U8* pData, size_t NumBytes);
