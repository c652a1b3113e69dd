#pragma once

// Readers of the debug sections, and how to lead over values without reading them.

#include "elf/ByteReader.h"
#include "elf/DwarfStore.h"

/// Reader of a section from Off up to End or the section's end; one that failed if Off isn't inside.
inline CByteReader DWARF_At(const DWARF_STORE& S, U32 Section, U64 Off, U64 End = ~0ull) {
    const DWARF_SECTION& Sec = S.aSection[Section];
    End = End < Sec.Size ? End : Sec.Size;
    CByteReader R(Sec.pData, Sec.pData != nullptr ? End : 0, S.IsBig);
    R.Skip(Off);
    return R;
}

/// Codes of skip and look programs; smaller values are byte counts. LOOK_FIRST plus a DWARF_FIELD says that the field
/// begins here; the entry behind it is its form.
enum DWARF_SKIP : U16 {
    LOOK_FIRST = 0xFFD0,
    SKIP_FIRST = 0xFFF0,
    SKIP_ULEB = SKIP_FIRST,
    SKIP_STRING,
    SKIP_BLOCK1,
    SKIP_BLOCK2,
    SKIP_BLOCK4,
    SKIP_BLOCK,
    SKIP_INDIRECT,
};

/// Value of DW_FORM_implicit_const at that index of AttrSpecs.
I64 DWARF_ImplicitConst(const DWARF_STORE& S, U32 SpecIdx);
/// Size in bytes of a form without variable parts; otherwise its SKIP_ code; -1 for an unknown form.
int DWARF_FormSize(U32 Form, const DWARF_UNIT& Unit);
/// Section offset that a reference leads to in the section of its unit; 0 where it leads elsewhere.
U64 DWARF_ReadReference(CByteReader& R, U32 Form, const DWARF_UNIT& Unit);
/// Leads over one value. False at the end of the data or at an unknown form.
bool DWARF_SkipForm(CByteReader& R, U32 Form, const DWARF_UNIT& Unit);
/// Runs one step of a skip program.
bool DWARF_SkipCode(CByteReader& R, U32 Code, const DWARF_UNIT& Unit);
