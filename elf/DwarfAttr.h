#pragma once

// Values of attributes, read from the file when they are asked for.

#include "elf/DwarfReader.h"

enum DWARF_ATTR_CLASS : U8 {
    ATTR_NONE,
    ATTR_ADDR,
    ATTR_NUM,  ///< number without sign
    ATTR_SNUM, ///< number with sign
    ATTR_FLAG,
    ATTR_REF, ///< Value is a DIE ID, 0 where no DIE starts
    ATTR_STRING,
    ATTR_BLOCK,
    ATTR_EXPR,
    ATTR_OFFSET, ///< into the section that goes with the attribute
    ATTR_INDEX,  ///< into a table of lists
};

struct DWARF_ATTR {
    U16 Form = 0;
    U8 Class = ATTR_NONE;
    U64 Value = 0;
    const U8* pBlock = nullptr;
    U32 BlockSize = 0;
    std::string_view sText;
};

/// A DIE opened for reading: R stands behind the abbreviation code.
struct DWARF_DIE {
    const DWARF_UNIT* pUnit = nullptr;
    const DWARF_ABBREV* pAbbrev = nullptr;
    CByteReader R;
};

/// Opens a DIE. False if the ID is none of the store's.
bool DWARF_OpenDie(const DWARF_STORE& S, U32 Die, DWARF_DIE* pDie);
/// The same for an ID that is known to be one, as those of the store's lists are: one look into memory less.
bool DWARF_OpenKnownDie(const DWARF_STORE& S, U32 Die, DWARF_DIE* pDie);
/// ID that a reference inside of the unit leads to, whether a DIE starts there or not; 0 without the attribute.
U32 DWARF_PeekReference(const DWARF_STORE& S, const DWARF_DIE& D, U32 At);
/// Reads one value of the form and leads over it. False if it can't be read.
bool DWARF_ReadValue(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, U32 SpecIdx, DWARF_ATTR* pAttr);
/// The same for a form that stands outside of an abbreviation.
bool DWARF_ReadForm(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, U32 Form, DWARF_ATTR* pAttr);
/// The DIE's own attribute. False if it doesn't have it.
bool DWARF_GetAttr(const DWARF_STORE& S, U32 Die, U32 At, DWARF_ATTR* pAttr);
/// The same of a DIE that is open and stays as it is.
bool DWARF_GetAttr(const DWARF_STORE& S, const DWARF_DIE& D, U32 At, DWARF_ATTR* pAttr);
/// An attribute of a unit's root DIE, before the store knows its DIEs.
bool DWARF_GetUnitAttr(const DWARF_STORE& S, const DWARF_UNIT& Unit, U32 At, DWARF_ATTR* pAttr);
/// Address number Idx of the unit's part of .debug_addr. False if it isn't there.
bool DWARF_ReadAddrIndex(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Idx, U64* pAddr);
