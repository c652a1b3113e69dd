#pragma once

// Compressed sections of debug information (gABI, SHF_COMPRESSED with zlib; and the older form, sections named
// ".zdebug_..." that begin with "ZLIB"). They are unpacked once, when the file is opened; from then on the section's
// size, flags and bytes are those of the unpacked one.

#include "base/Types.h"

#include <memory>

struct ELF_FILE;

struct ELF_UNPACKED {
    U32 Section;
    std::unique_ptr<U8[]> pData; ///< null if the section couldn't be unpacked
    U32 Method = 0;              ///< ch_type of the gABI: 1 zlib, 2 zstd; 0 for the older form
};

/// Unpacks all compressed debug sections. What can't be unpacked is reported and has no bytes.
void ELF_UnpackSections(ELF_FILE* pFile);
/// The entry of a section that is compressed in the file; null for any other.
const ELF_UNPACKED* ELF_FindUnpacked(const ELF_FILE* pFile, U32 Section);
