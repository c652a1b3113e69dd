#include "elf/DwarfAttr.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfDieStream.h"
#include "elf/DwarfError.h"
#include "elf/DwarfUnits.h"
#include "elf/NameHash.h"

#include <algorithm>
#include <atomic>
#include <iterator>

// The linear pass: every DIE of every unit once, in section order, with the nesting kept on a stack. Units are
// independent of each other, so neighbouring ones form chunks that run on threads of their own.

namespace {

constexpr U32 CHUNK_SIZE = 1 << 20; ///< bytes of DIEs in one task

enum LEVEL_FLAG : U8 {
    LEVEL_IN_FUNC = 1,
    LEVEL_IN_TYPE = 2,
    LEVEL_IN_CODE = 4, ///< in a function or expansion whose code is kept: what is in it is found through that
};

struct LEVEL {
    U32 Namespace; ///< index of the innermost one into CHUNK::Namespaces; NO_NAMESPACE outside of any
    U8 Flags;
};

/// What one task finds; merged in section order.
struct CHUNK {
    U32 FirstUnit = 0;
    U32 EndUnit = 0;
    U32 MainDie = 0;
    U32 NumKept = 0;
    U64 NumDies = 0;
    std::vector<U32> GlobalVars, Funcs, InlineFuncs, Types, Namespaces, NamespaceParents, NamespaceExts, CompUnits,
        NamedByOthers;
    std::vector<DWARF_CODE> Code;
    std::vector<DWARF_NAME> Names, TypeNames;
    std::vector<DWARF_REF> ForeignRefs;
};

/// Working memory of a unit, kept for the next one.
struct SCRATCH {
    std::vector<DWARF_REF> Refs;
    std::vector<LEVEL> Levels;
};

/// Collects the start bits of neighbouring DIEs and writes them one word at a time. Threads share the words at the
/// border of their chunks, hence the atomic OR.
class CBitWriter {
public:
    explicit CBitWriter(std::vector<U64>* pBits) : m_pBits(pBits) {}
    ~CBitWriter() { Flush(); }
    CBitWriter(const CBitWriter&) = delete;
    CBitWriter& operator=(const CBitWriter&) = delete;
    void Set(U32 Off) {
        if (Off / 64 != m_Word) {
            Flush();
            m_Word = Off / 64;
        }
        m_Bits |= 1ull << (Off % 64);
    }

private:
    void Flush() {
        if (m_Bits != 0) {
            std::atomic_ref((*m_pBits)[m_Word]).fetch_or(m_Bits, std::memory_order_relaxed);
            m_Bits = 0;
        }
    }
    std::vector<U64>* m_pBits;
    U32 m_Word = 0;
    U64 m_Bits = 0;
};

class CUnitWalk {
public:
    CUnitWalk(DWARF_STORE& S, U32 Unit, CHUNK* pChunk, SCRATCH* pScratch)
        : m_S(S), m_Unit(S.Units[Unit]), m_Stream(S, m_Unit), m_pEnd(m_Stream.End()), m_Chunk(*pChunk),
          m_Refs(pScratch->Refs), m_Levels(pScratch->Levels), m_Bits(&S.aDieStore[m_Unit.Section == DSEC_TYPES]),
          m_IsTypeUnit(m_Unit.UnitType == DW_UT_type) {
        m_Refs.clear();
        m_Levels.clear();
    }

    /// False if the unit could not be read to its end; what was read stays.
    bool Run() {
        const bool IsDone = Walk(m_Stream.Begin());
        m_S.DefTable[static_cast<size_t>(&m_Unit - m_S.Units.data())].Refs.assign(m_Refs.begin(), m_Refs.end());
        return IsDone;
    }

private:
    bool Walk(const U8* p) {
        U32 NumDies = 0;
        bool IsOk = true;
        do {
            const U32 Off = m_Stream.OffsetOf(p);
            const U64 Code = m_Stream.ReadUleb(p);
            if (Code == 0) {
                IsOk = p <= m_pEnd;
                if (!m_Levels.empty()) {
                    m_Levels.pop_back();
                }
                continue;
            }
            const DWARF_ABBREV* pAbbrev = p <= m_pEnd ? m_Stream.FindAbbrev(Code) : nullptr;
            if (pAbbrev == nullptr) {
                DWARF_ReportError(DWERR_ABBREV, "dwarf_siblingof_b", "die_offset", Off);
                IsOk = false;
                break;
            }
            m_Bits.Set(Off);
            ++NumDies;
            DWARF_LOOK Look;
            m_IsCodeKept = false;
            const bool HasLooks = pAbbrev->NumLooks != 0;
            IsOk = m_Stream.RunProgram(HasLooks ? pAbbrev->FirstLook : pAbbrev->FirstSkip,
                                       HasLooks ? pAbbrev->NumLooks : pAbbrev->NumSkips, p, Look);
            if (pAbbrev->Action != DACT_NONE) {
                File(*pAbbrev, Off, Look);
            }
            if (pAbbrev->HasChildren != 0) {
                IsOk = IsOk && OpenScope(*pAbbrev, Off);
            }
        } while (IsOk && !m_Levels.empty() && p < m_pEnd);
        m_Chunk.NumDies += NumDies;
        return IsOk && m_Levels.empty();
    }

    bool OpenScope(const DWARF_ABBREV& Abbrev, U32 Off) {
        if (m_NumScopes++ > m_Stream.MaxScopes()) {
            return false;
        }
        U8 Flags = m_Levels.empty() ? 0 : m_Levels.back().Flags & (LEVEL_IN_FUNC | LEVEL_IN_CODE);
        Flags |= m_IsCodeKept ? LEVEL_IN_CODE : 0;
        Flags |= Abbrev.Action == DACT_FUNC || Abbrev.Action == DACT_INLINE ? LEVEL_IN_FUNC : 0;
        Flags |= Abbrev.Action == DACT_TYPE ? LEVEL_IN_TYPE : 0;
        const std::vector<U32>& Known = m_Chunk.Namespaces;
        const bool IsNamespace = !Known.empty() && Known.back() == DWARF_MakeID(m_Unit.Section, Off);
        m_Levels.push_back({IsNamespace ? static_cast<U32>(Known.size()) - 1 : Namespace(), Flags});
        return true;
    }

    U32 Namespace() const { return m_Levels.empty() ? NO_NAMESPACE : m_Levels.back().Namespace; }

    /// The field's value. False if the DIE doesn't have it or it is damaged.
    bool Read(const DWARF_LOOK& Look, DWARF_FIELD Field, DWARF_ATTR* pAttr) const {
        if (!Look.Has(Field)) {
            return false;
        }
        CByteReader R(Look.ap[Field], static_cast<U64>(m_pEnd - Look.ap[Field]), m_S.IsBig);
        U32 Form = Look.aForm[Field];
        if (Form == DW_FORM_implicit_const) {
            pAttr->Class = ATTR_NUM; // those of 0 are in no look program
            pAttr->Value = 1;
            return true;
        }
        Form = Form == DW_FORM_indirect ? static_cast<U32>(std::min<U64>(R.GetULeb(), 0xFFFF)) : Form;
        switch (Form) { // which DIEs there are is known only when all units are walked
        case DW_FORM_ref1:
        case DW_FORM_ref2:
        case DW_FORM_ref4:
        case DW_FORM_ref8:
        case DW_FORM_ref_udata:
        case DW_FORM_ref_addr:
        case DW_FORM_ref_sig8:
            return false;
        default:
            return DWARF_ReadForm(m_S, m_Unit, R, Form, pAttr);
        }
    }

    bool IsSet(const DWARF_LOOK& Look, DWARF_FIELD Field) const {
        DWARF_ATTR Attr;
        return Look.Has(Field) && Read(Look, Field, &Attr) && Attr.Value != 0;
    }

    /// Section offset of the DIE that the field refers to; 0 where it leads out of the unit's section.
    U64 ReadReference(const DWARF_LOOK& Look, DWARF_FIELD Field) const {
        if (!Look.Has(Field)) {
            return 0;
        }
        CByteReader R(Look.ap[Field], static_cast<U64>(m_pEnd - Look.ap[Field]), m_S.IsBig);
        return DWARF_ReadReference(R, Look.aForm[Field], m_Unit);
    }

    U32 ReadNameHash(const DWARF_LOOK& Look) const {
        DWARF_ATTR Attr;
        return Read(Look, DFLD_NAME, &Attr) && !Attr.sText.empty() ? ELF_HashName(Attr.sText) : 0;
    }

    template <typename T> void Keep(std::vector<T>* pList, const T& Entry) {
        if (pList->size() < m_Unit.End / CDieStream::BYTES_PER_ENTRY + 64) { // lists run over all units of the chunk
            pList->push_back(Entry);
        }
    }

    void KeepRef(const DWARF_LOOK& Look, DWARF_FIELD Field, U32 Die) {
        const U64 Off = ReadReference(Look, Field);
        if (Off == 0 || Off >= m_S.aSection[m_Unit.Section].Size) {
            return;
        }
        const DWARF_REF Ref{DWARF_MakeID(m_Unit.Section, static_cast<U32>(Off)),
                            Die | (Field == DFLD_SPECIFICATION ? 0x80000000 : 0)};
        Keep(Off >= m_Unit.Off && Off < m_Unit.End ? &m_Refs : &m_Chunk.ForeignRefs, Ref);
    }

    void KeepCode(const DWARF_LOOK& Look, U32 Die) {
        if (Look.Has(DFLD_RANGES)) {
            Keep(&m_Chunk.Code, {Die, 0, 0});
            return;
        }
        DWARF_ATTR Low;
        DWARF_ATTR High;
        if (Read(Look, DFLD_LOW, &Low) && Low.Class == ATTR_ADDR && Read(Look, DFLD_HIGH, &High)) {
            const U64 Hi = High.Class == ATTR_ADDR ? High.Value : Low.Value + High.Value;
            if (Hi > Low.Value && Hi <= 0xFFFFFFFF) {
                Keep(&m_Chunk.Code, {Die, static_cast<U32>(Low.Value), static_cast<U32>(Hi)});
            }
        }
    }

    /// A function of the list and of those that only give others their name. What is behind a lambda of C++ is in no
    /// list, but has code with local variables; only the symbol table names what else a compiler makes up.
    void FileFunc(const DWARF_LOOK& Look, U32 Die, bool IsListed, bool IsDeclaration) {
        const bool IsNamed = Look.Has(DFLD_NAME) || Look.Has(DFLD_SPECIFICATION) || Look.Has(DFLD_ORIGIN);
        if (IsListed || (IsNamed && !IsDeclaration && !m_IsTypeUnit)) {
            KeepCode(Look, Die);
            m_IsCodeKept = true;
        }
        if (IsListed) {
            Keep(&m_Chunk.Funcs, Die);
            if (m_Chunk.MainDie == 0 && IsSet(Look, DFLD_MAIN)) {
                m_Chunk.MainDie = Die;
            }
        }
        if (const U32 Hash = ReadNameHash(Look); Hash != 0) {
            Keep(&m_Chunk.Names, {Hash, Die});
        }
    }

    void FileGlobalVar(const DWARF_LOOK& Look, U32 Die) {
        Keep(&m_Chunk.GlobalVars, Die);
        if (const U32 Hash = ReadNameHash(Look); Hash != 0) {
            Keep(&m_Chunk.Names, {Hash, Die});
        } else {
            m_Chunk.NamedByOthers.push_back(Die);
        }
    }

    void FileType(const DWARF_LOOK& Look, U32 Die) {
        Keep(&m_Chunk.Types, Die);
        if (const U32 Hash = ReadNameHash(Look); Hash != 0) {
            Keep(&m_Chunk.TypeNames, {Hash, Die});
        }
    }

    /// Puts the DIE into the lists that it belongs to.
    void File(const DWARF_ABBREV& Abbrev, U32 Off, const DWARF_LOOK& Look) {
        const U32 Die = DWARF_MakeID(m_Unit.Section, Off);
        const bool IsDeclaration = (Abbrev.IsRefused & 1) != 0 || IsSet(Look, DFLD_DECLARATION);
        const bool IsArtificial = (Abbrev.IsRefused & 2) != 0 || IsSet(Look, DFLD_ARTIFICIAL);
        const U8 Flags = m_Levels.empty() ? 0 : m_Levels.back().Flags;
        bool IsKept = (Flags & LEVEL_IN_TYPE) != 0 && !IsArtificial &&
                      (Abbrev.Action == DACT_MEMBER || Abbrev.Action == DACT_FUNC);
        const bool IsPlain = !IsDeclaration && !IsArtificial && !m_IsTypeUnit;
        switch (Abbrev.Action) {
        case DACT_VARIABLE:
            if ((Flags & LEVEL_IN_FUNC) != 0) {
                IsKept |= !IsDeclaration;
            } else if (IsPlain) {
                FileGlobalVar(Look, Die);
                IsKept = true;
            }
            break;
        case DACT_FUNC:
            FileFunc(Look, Die, IsPlain, IsDeclaration);
            IsKept |= IsPlain;
            break;
        case DACT_INLINE:
            if (IsPlain) {
                Keep(&m_Chunk.InlineFuncs, Die);
                if ((Flags & LEVEL_IN_CODE) == 0) {
                    KeepCode(Look, Die);
                }
                m_IsCodeKept = true;
                IsKept = true;
            }
            break;
        case DACT_TYPEDEF:
            FileType(Look, Die);
            IsKept = true;
            break;
        case DACT_TYPE:
            if (!IsDeclaration && !IsArtificial && IsSet(Look, DFLD_SIZE)) {
                FileType(Look, Die);
                IsKept = true;
            }
            break;
        case DACT_NAMESPACE:
            if (!m_IsTypeUnit) {
                Keep(&m_Chunk.Namespaces, Die);
                Keep(&m_Chunk.NamespaceParents, Namespace());
                IsKept = true;
                if (ReadReference(Look, DFLD_EXTENSION) != 0) {
                    Keep(&m_Chunk.NamespaceExts, Die);
                }
            }
            break;
        default:
            IsKept |= (Flags & LEVEL_IN_FUNC) != 0 && Abbrev.Tag == DW_TAG_formal_parameter && !IsDeclaration;
            break;
        }
        if (IsKept) {
            ++m_Chunk.NumKept;
            for (const DWARF_FIELD Field : {DFLD_SPECIFICATION, DFLD_ORIGIN}) {
                if (Look.Has(Field)) {
                    KeepRef(Look, Field, Die);
                }
            }
        }
    }

    DWARF_STORE& m_S;
    const DWARF_UNIT& m_Unit;
    const CDieStream m_Stream;
    const U8* m_pEnd;
    CHUNK& m_Chunk;
    std::vector<DWARF_REF>& m_Refs;
    std::vector<LEVEL>& m_Levels;
    CBitWriter m_Bits;
    size_t m_NumScopes = 0;
    bool m_IsTypeUnit;
    bool m_IsCodeKept = false;
};

void WalkChunk(DWARF_STORE& S, CHUNK* pChunk) {
    SCRATCH Scratch;
    for (U32 i = pChunk->FirstUnit; i < pChunk->EndUnit; ++i) {
        const DWARF_UNIT& Unit = S.Units[i];
        if (Unit.UnitType != DW_UT_type && !Unit.IsBad) {
            pChunk->CompUnits.push_back(DWARF_MakeID(Unit.Section, Unit.DieOff));
        }
        if (Unit.IsBad || !CUnitWalk(S, i, pChunk, &Scratch).Run()) {
            ELF_Report(ELF_MSG_READER, "Could not parse debug info for compilation unit.");
        }
    }
}

/// Cuts the units [First, End) into chunks.
void AddChunks(const DWARF_STORE& S, U32 First, U32 End, std::vector<CHUNK>* pChunks) {
    while (First < End) {
        CHUNK Chunk;
        Chunk.FirstUnit = First;
        const U32 Limit = S.Units[First].Off + CHUNK_SIZE;
        do {
            ++First;
        } while (First < End && S.Units[First].End <= Limit);
        Chunk.EndUnit = First;
        pChunks->push_back(std::move(Chunk));
    }
}

/// Puts one list of all chunks together, in memory that is taken once.
template <typename T> void Join(std::vector<CHUNK>& Chunks, std::vector<T> CHUNK::*pList, std::vector<T>* pTo) {
    size_t Num = pTo->size();
    for (const CHUNK& Chunk : Chunks) {
        Num += (Chunk.*pList).size();
    }
    pTo->reserve(Num);
    for (CHUNK& Chunk : Chunks) {
        pTo->insert(pTo->end(), (Chunk.*pList).begin(), (Chunk.*pList).end());
        std::vector<T>().swap(Chunk.*pList);
    }
}

void JoinNamespaces(DWARF_STORE& S, std::vector<CHUNK>& Chunks) {
    U32 First = 0;
    for (const CHUNK& Chunk : Chunks) {
        for (const U32 Parent : Chunk.NamespaceParents) {
            S.NamespaceParents.push_back(Parent != NO_NAMESPACE ? First + Parent : NO_NAMESPACE);
        }
        First += static_cast<U32>(Chunk.Namespaces.size());
    }
    Join(Chunks, &CHUNK::Namespaces, &S.Namespaces);
}

} // namespace

struct DWARF_WALK {
    std::vector<CHUNK> Chunks;
};

std::shared_ptr<DWARF_WALK> DWARF_StartWalk(DWARF_STORE& S, DWARF_TIMES* pTimes, std::vector<ELF_TASK>* pTasks) {
    auto pWalk = std::make_shared<DWARF_WALK>();
    S.aDieStore[0].resize(S.aSection[DSEC_INFO].Size / 64 + 1);
    S.aDieStore[1].resize(S.aSection[DSEC_TYPES].Size / 64 + 1);
    const U32 NumUnits = static_cast<U32>(S.Units.size());
    S.ParentTable.resize(NumUnits);
    S.DefTable.resize(NumUnits + 1);
    AddChunks(S, S.FirstTypesUnit, NumUnits, &pWalk->Chunks); // type units first: their lists come first
    AddChunks(S, 0, S.FirstTypesUnit, &pWalk->Chunks);
    for (CHUNK& Chunk : pWalk->Chunks) {
        U64* pTime = Chunk.FirstUnit >= S.FirstTypesUnit ? &pTimes->TypeUnits : &pTimes->Units;
        pTasks->push_back({[&S, &Chunk] { WalkChunk(S, &Chunk); }, pTime});
    }
    return pWalk;
}

void DWARF_EndWalk(DWARF_STORE& S, DWARF_WALK* pWalk) {
    std::vector<CHUNK>& Chunks = pWalk->Chunks;
    Join(Chunks, &CHUNK::GlobalVars, &S.GlobalVars);
    Join(Chunks, &CHUNK::Funcs, &S.Funcs);
    Join(Chunks, &CHUNK::InlineFuncs, &S.InlineFuncs);
    Join(Chunks, &CHUNK::Types, &S.Types);
    JoinNamespaces(S, Chunks);
    Join(Chunks, &CHUNK::NamespaceExts, &S.NamespaceExts);
    Join(Chunks, &CHUNK::CompUnits, &S.CompUnits);
    Join(Chunks, &CHUNK::NamedByOthers, &S.NamedByOthers);
    Join(Chunks, &CHUNK::Code, &S.Code);
    Join(Chunks, &CHUNK::ForeignRefs, &S.DefTable.back().Refs);
    for (CHUNK& Chunk : Chunks) {
        S.Names.push_back(std::move(Chunk.Names));
        S.TypeNames.push_back(std::move(Chunk.TypeNames));
        S.MainDie = S.MainDie == 0 ? Chunk.MainDie : S.MainDie;
        S.NumDies += Chunk.NumDies;
        S.NumKept += Chunk.NumKept;
    }
}
