#pragma once

// Leads through the DIEs of a unit one after the other, which is what the pass over all units and the second look at
// one of them (DwarfScopes) share. Inline: most of the time of opening is spent here.

#include "elf/DwarfReader.h"

/// The fields of one DIE that a look program names, as places in the section.
struct DWARF_LOOK {
    U32 Mask = 0; ///< which of the others count
    const U8* ap[NUM_DFLD];
    U16 aForm[NUM_DFLD];
    bool Has(DWARF_FIELD Field) const { return ((Mask >> Field) & 1) != 0; }
};

class CDieStream {
public:
    CDieStream(const DWARF_STORE& S, const DWARF_UNIT& Unit)
        : m_S(S), m_Unit(Unit), m_pBase(S.aSection[Unit.Section].pData), m_pEnd(m_pBase + Unit.End) {
        const DWARF_ABBREV_SET& Set = S.AbbrevSets[Unit.AbbrevSet];
        m_pDense = S.Abbrevs.data() + Set.First;
        m_NumDense = Set.IsDense ? Set.Num : 0;
    }
    const U8* Begin() const { return m_pBase + m_Unit.DieOff; }
    const U8* End() const { return m_pEnd; }
    U32 OffsetOf(const U8* p) const { return static_cast<U32>(p - m_pBase); }
    /// Bounds the memory: fewer bytes of DIEs for each table entry are no compiler's work.
    static constexpr U32 BYTES_PER_ENTRY = 8;
    size_t MaxScopes() const { return (m_Unit.End - m_Unit.Off) / BYTES_PER_ENTRY + 64; }

    /// 0 with p behind the end if the number doesn't end inside the unit.
    U64 ReadUleb(const U8*& p) const {
        if (p < m_pEnd && *p < 0x80) {
            return *p++;
        }
        U64 Value = 0;
        for (U32 Shift = 0; p < m_pEnd; Shift += 7) {
            const U8 Byte = *p++;
            Value |= Shift < 64 ? static_cast<U64>(Byte & 0x7F) << Shift : 0;
            if (Byte < 0x80) {
                return Value;
            }
        }
        p = m_pEnd + 1;
        return 0;
    }

    const DWARF_ABBREV* FindAbbrev(U64 Code) const {
        return Code - 1 < m_NumDense ? m_pDense + (Code - 1) : DWARF_FindAbbrev(m_S, m_Unit, Code);
    }

    /// Leads p over all attributes by a skip or look program. False if they reach beyond the unit.
    bool RunProgram(U32 First, U32 NumSteps, const U8*& p, DWARF_LOOK& Look) const {
        const U16* pStep = m_S.Skips.data() + First;
        for (const U16* const pStop = pStep + NumSteps; pStep != pStop; ++pStep) {
            U64 Size = *pStep;
            if (Size >= LOOK_FIRST) {
                if (Size < SKIP_FIRST) {
                    const U32 Field = *pStep - LOOK_FIRST;
                    Look.Mask |= 1u << Field;
                    Look.ap[Field] = p;
                    Look.aForm[Field] = *++pStep;
                    continue;
                }
                if (Size != SKIP_BLOCK) {
                    CByteReader R(p, static_cast<U64>(m_pEnd - p), m_S.IsBig);
                    if (!DWARF_SkipCode(R, *pStep, m_Unit) || !R.IsOk()) {
                        return false;
                    }
                    p = R.GetPtr();
                    continue;
                }
                Size = ReadUleb(p);
            }
            if (p > m_pEnd || Size > static_cast<U64>(m_pEnd - p)) {
                return false;
            }
            p += Size;
        }
        return true;
    }

private:
    const DWARF_STORE& m_S;
    const DWARF_UNIT& m_Unit;
    const U8* m_pBase;
    const U8* m_pEnd;
    const DWARF_ABBREV* m_pDense; ///< abbreviations of the codes 1, 2, 3, ...
    U64 m_NumDense;
};
