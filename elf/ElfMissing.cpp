#include "elf/ElfMissing.h"

#include "elf/DwarfAttr.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfStore.h"
#include "elf/Elf.h"

#include <algorithm>

namespace {

constexpr U32 COMPRESS_ZSTD = 2; ///< ch_type of the gABI

/// True if a section of debug information is compressed by zstd (true) or by what isn't known (false).
bool HasPacked(const ELF_FILE* pFile, bool IsZstd) {
    return std::any_of(pFile->Unpacked.begin(), pFile->Unpacked.end(), [IsZstd](const ELF_UNPACKED& Section) {
        return IsZstd ? Section.Method == COMPRESS_ZSTD : Section.Method > COMPRESS_ZSTD;
    });
}

/// Units whose entries are in another file.
size_t CountSplitUnits(const DWARF_STORE& S) {
    return static_cast<size_t>(std::count_if(S.Units.begin(), S.Units.end(), [&S](const DWARF_UNIT& Unit) {
        DWARF_ATTR Attr;
        return !Unit.IsBad && (Unit.UnitType == DW_UT_skeleton || DWARF_GetUnitAttr(S, Unit, DW_AT_dwo_name, &Attr) ||
                               DWARF_GetUnitAttr(S, Unit, DW_AT_GNU_dwo_name, &Attr));
    }));
}

} // namespace

std::vector<std::string> ELF_FindMissing(const ELF_FILE* pFile) {
    std::vector<std::string> Missing;
    if (pFile == nullptr) {
        return Missing;
    }
    if (HasPacked(pFile, true)) {
        Missing.emplace_back(
            "Debug information is missing: it is compressed with zstd, which can't be read. Build with "
            "-gz=zlib or -gz=none, or unpack the file with objcopy --decompress-debug-sections.");
    }
    if (HasPacked(pFile, false)) {
        Missing.emplace_back("Debug information is missing: it is compressed in an unknown way. Build with -gz=none.");
    }
    const size_t NumUnits = pFile->pDwarf != nullptr ? pFile->pDwarf->Units.size() : 0;
    const size_t NumSplit = NumUnits != 0 ? CountSplitUnits(*pFile->pDwarf) : 0;
    if (NumSplit != 0) {
        Missing.push_back("Debug information is missing: that of " + std::to_string(NumSplit) + " of " +
                          std::to_string(NumUnits) +
                          " source files is in .dwo files, which aren't read. Build without -gsplit-dwarf.");
    }
    if (ELF_FindSection(pFile, ".gnu_debugaltlink") >= 0) {
        Missing.emplace_back("Debug information is missing: a part of it is in a second file, which isn't read. Don't "
                             "run dwz with a multi-file (-m) on the program.");
    }
    if (Missing.empty() && NumUnits == 0) {
        Missing.emplace_back(ELF_FindSection(pFile, ".gnu_debuglink") >= 0
                                 ? "The program has no debug information of its own: open the file that it was "
                                   "stripped into, or the program before it was stripped."
                                 : "The program has no debug information: functions are known by name only, lines and "
                                   "variables aren't. Build with -g.");
    }
    return Missing;
}
