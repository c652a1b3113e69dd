#pragma once

// What the root DIEs of the units say about source lines: table, directory and code ranges. Nothing else of a unit is
// read, so that it costs the same however large the units are.

#include "elf/ByteReader.h"
#include "elf/Elf.h"

#include <vector>

/// The sections that line tables and their files are spread over; absent ones are empty.
enum DWARF_LINE_SECTION : U32 {
    LSEC_INFO,
    LSEC_ABBREV,
    LSEC_LINE,
    LSEC_STR,
    LSEC_LINE_STR,
    LSEC_STR_OFFSETS,
    LSEC_ADDR,
    LSEC_RANGES,
    LSEC_RNGLISTS,
    NUM_LINE_SECTIONS
};

struct DWARF_LINE_SECTIONS {
    explicit DWARF_LINE_SECTIONS(const ELF_FILE* pFile);
    /// From an offset to the section's end; a failed reader behind it.
    CByteReader At(U32 Section, U64 Off) const;
    const char* GetString(U32 Section, U64 Off) const;
    const U8* apData[NUM_LINE_SECTIONS] = {};
    U64 aSize[NUM_LINE_SECTIONS] = {};
    bool IsBig = false;
};

struct DWARF_LINE_UNIT {
    U32 Version = 0;
    U32 Lang = 0;
    bool HasLines = false;
    U64 LineOff = 0;
    const char* sDir = "";  ///< compilation directory
    const char* sName = ""; ///< primary source file
    std::vector<ELF_RANGE> Ranges;
};

/// Reads up to a damaged unit header. False if it stopped at one.
bool DWARF_ReadLineUnits(const DWARF_LINE_SECTIONS& Sections, std::vector<DWARF_LINE_UNIT>* pUnits);

/// One attribute or entry value: a number, or a text that stands in the file.
struct DWARF_LINE_VALUE {
    U32 Form = 0;
    U64 Value = 0;
    const char* sText = nullptr;
};

/// Reads one value; false for a form that this reader doesn't know. OffsetSize is 4 or 8.
bool DWARF_ReadLineValue(const DWARF_LINE_SECTIONS& Sections, CByteReader& In, U32 Form, U32 OffsetSize, U32 Version,
                         DWARF_LINE_VALUE* pValue);
