#include "elf/DwarfReader.h"
#include "elf/DwarfUnits.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <libdwarf/dwarf.h>
#include <thread>

// The linear pass: every DIE of every unit once, in section order, with the nesting kept on a stack. Units are
// independent of each other, so neighbouring ones form chunks that run on threads of their own.

namespace {

constexpr U32 NO_SCOPE = 0xFFFFFFFF;
constexpr U32 MIN_CHUNK_SIZE = 1 << 20; ///< less than this isn't worth a thread
constexpr U32 MAX_THREADS = 4;
constexpr U32 BYTES_PER_ENTRY = 8; ///< fewer bytes of DIEs for each table entry are no compiler's work: memory bound

enum LEVEL_FLAG : U8 { LEVEL_IN_FUNC = 1, LEVEL_IN_TYPE = 2 };

struct LEVEL {
    U32 Scope;
    U8 Flags;
};

/// What one thread finds; merged in section order.
struct CHUNK {
    U32 FirstUnit = 0;
    U32 EndUnit = 0;
    U32 NumFailed = 0;
    U32 MainDie = 0;
    U32 NumKept = 0;
    U64 NumDies = 0;
    bool IsOutOfMemory = false;
    std::vector<DWARF_SCOPE> Scopes;
    std::vector<DWARF_PAIR> Defs;
    std::vector<U32> GlobalVars, Funcs, InlineFuncs, Types, Namespaces, NamespaceExts, CompUnits;
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

/// What the values of a DIE decide, beyond what its abbreviation says.
struct LOOK {
    bool IsDeclaration = false;
    bool IsArtificial = false;
    bool IsExtension = false;
    bool IsMain = false;
    U64 ByteSize = 0;
    U64 SpecOff = 0; ///< section offset of the declaration, 0 for none
};

class CUnitWalk {
public:
    CUnitWalk(DWARF_STORE& S, const DWARF_UNIT& Unit, CHUNK* pChunk)
        : m_S(S), m_Unit(Unit), m_Chunk(*pChunk), m_Bits(&S.aDieStore[Unit.Section == DSEC_TYPES]),
          m_pBase(S.aSection[Unit.Section].pData), m_pEnd(m_pBase + Unit.End), m_FirstScope(pChunk->Scopes.size()),
          m_MaxEntries((Unit.End - Unit.Off) / BYTES_PER_ENTRY + 64), m_IsTypeUnit(Unit.UnitType == DW_UT_type) {}

    /// False if the unit could not be read to its end; what was read stays.
    bool Run() {
        const U8* p = m_pBase + m_Unit.DieOff;
        const bool IsDone = Walk(p);
        const U32 End = IsDone ? static_cast<U32>(p - m_pBase) : m_Unit.End;
        for (const LEVEL& Level : m_Levels) {
            m_Chunk.Scopes[Level.Scope].End = End;
        }
        return IsDone;
    }

private:
    bool Walk(const U8*& p) {
        do {
            const U32 Off = static_cast<U32>(p - m_pBase);
            const U64 Code = ReadUleb(p);
            if (Code == 0) {
                if (p > m_pEnd) {
                    return false;
                }
                CloseScope(static_cast<U32>(p - m_pBase));
                continue;
            }
            const DWARF_ABBREV* pAbbrev = p <= m_pEnd ? DWARF_FindAbbrev(m_S, m_Unit, Code) : nullptr;
            if (pAbbrev == nullptr) {
                return false;
            }
            m_Bits.Set(Off);
            ++m_Chunk.NumDies;
            if (pAbbrev->Action != DACT_NONE) {
                File(*pAbbrev, Off, p);
            }
            if (!SkipAttrs(*pAbbrev, p)) {
                return false;
            }
            if (pAbbrev->HasChildren != 0 && !OpenScope(*pAbbrev, Off)) {
                return false;
            }
        } while (!m_Levels.empty() && p < m_pEnd);
        return m_Levels.empty();
    }

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

    bool SkipAttrs(const DWARF_ABBREV& Abbrev, const U8*& p) const {
        const U16* pSkip = m_S.Skips.data() + Abbrev.FirstSkip;
        for (const U16* const pStop = pSkip + Abbrev.NumSkips; pSkip != pStop; ++pSkip) {
            U64 Size = *pSkip;
            if (Size == SKIP_BLOCK) {
                Size = ReadUleb(p);
            } else if (Size >= SKIP_FIRST) {
                DWARF_READER R(p, static_cast<U64>(m_pEnd - p), m_S.IsSwapped);
                if (!DWARF_SkipCode(R, *pSkip, m_Unit) || !R.IsOk()) {
                    return false;
                }
                p = R.p;
                continue;
            }
            if (p > m_pEnd || Size > static_cast<U64>(m_pEnd - p)) {
                return false;
            }
            p += Size;
        }
        return true;
    }

    bool OpenScope(const DWARF_ABBREV& Abbrev, U32 Off) {
        if (m_Chunk.Scopes.size() - m_FirstScope > m_MaxEntries) {
            return false;
        }
        U8 Flags = m_Levels.empty() ? 0 : m_Levels.back().Flags & LEVEL_IN_FUNC;
        Flags |= Abbrev.Action == DACT_FUNC || Abbrev.Action == DACT_INLINE ? LEVEL_IN_FUNC : 0;
        Flags |= Abbrev.Action == DACT_TYPE ? LEVEL_IN_TYPE : 0;
        const U32 Parent = m_Levels.empty() ? NO_SCOPE : m_Levels.back().Scope;
        m_Levels.push_back({static_cast<U32>(m_Chunk.Scopes.size()), Flags});
        m_Chunk.Scopes.push_back({Off, m_Unit.End, Parent});
        return true;
    }

    void CloseScope(U32 End) {
        if (!m_Levels.empty()) {
            m_Chunk.Scopes[m_Levels.back().Scope].End = End;
            m_Levels.pop_back();
        }
    }

    /// Section offset that a reference points to; 0 where it leads out of the unit's section.
    U64 ReadReference(DWARF_READER& R, U32 Form) const {
        const U8* pStart = R.p;
        if (!DWARF_SkipForm(R, Form, m_Unit)) {
            return 0;
        }
        const U64 Size = static_cast<U64>(R.p - pStart);
        DWARF_READER Value(pStart, Size, m_S.IsSwapped);
        switch (Form) {
        case DW_FORM_ref_addr:
            return m_Unit.Section == DSEC_INFO ? Value.GetSized(static_cast<U32>(Size)) : 0;
        case DW_FORM_ref_udata:
            return m_Unit.Off + Value.GetUleb();
        case DW_FORM_ref1:
        case DW_FORM_ref2:
        case DW_FORM_ref4:
        case DW_FORM_ref8:
            return m_Unit.Off + Value.GetSized(static_cast<U32>(Size));
        default:
            return 0;
        }
    }

    U64 ReadNumber(DWARF_READER& R, U32 Form) const {
        const U8* pStart = R.p;
        if (Form == DW_FORM_flag_present || Form == DW_FORM_implicit_const) {
            return 1;
        }
        if (!DWARF_SkipForm(R, Form, m_Unit)) {
            return 0;
        }
        const U64 Size = static_cast<U64>(R.p - pStart);
        DWARF_READER Value(pStart, Size, m_S.IsSwapped);
        const bool IsUleb = Form == DW_FORM_udata || Form == DW_FORM_sdata;
        return IsUleb || Size > 8 || Size == 0 ? Value.GetUleb() : Value.GetSized(static_cast<U32>(Size));
    }

    LOOK Look(const DWARF_ABBREV& Abbrev, const U8* p) const {
        LOOK Result;
        DWARF_READER R(p, static_cast<U64>(m_pEnd - p), m_S.IsSwapped);
        for (U32 i = Abbrev.FirstAttr; i < Abbrev.FirstAttr + Abbrev.NumAttrs && R.IsOk(); ++i) {
            const DWARF_ATTR_SPEC Spec = m_S.AttrSpecs[i];
            switch (Spec.At) {
            case DW_AT_declaration:
                Result.IsDeclaration = ReadNumber(R, Spec.Form) != 0;
                break;
            case DW_AT_artificial:
                Result.IsArtificial = ReadNumber(R, Spec.Form) != 0;
                break;
            case DW_AT_byte_size:
                Result.ByteSize = ReadNumber(R, Spec.Form);
                break;
            case DW_AT_main_subprogram:
                Result.IsMain = ReadNumber(R, Spec.Form) != 0;
                break;
            case DW_AT_specification:
                Result.SpecOff = ReadReference(R, Spec.Form);
                break;
            case DW_AT_extension:
                Result.IsExtension = ReadReference(R, Spec.Form) != 0;
                break;
            default:
                if (!DWARF_SkipForm(R, Spec.Form, m_Unit)) {
                    return Result;
                }
                break;
            }
        }
        return Result;
    }

    void Keep(std::vector<U32>* pList, U32 Off) {
        if (pList->size() < m_Unit.End / BYTES_PER_ENTRY + 64) { // lists run over all units of the chunk
            pList->push_back(DWARF_MakeID(m_Unit.Section, Off));
        }
    }

    /// Puts the DIE into the list that it belongs to.
    void File(const DWARF_ABBREV& Abbrev, U32 Off, const U8* p) {
        LOOK Result;
        if (Abbrev.NeedsLook != 0) {
            Result = Look(Abbrev, p);
        }
        const bool IsDeclaration = (Abbrev.IsRefused & 1) != 0 || Result.IsDeclaration;
        const bool IsArtificial = (Abbrev.IsRefused & 2) != 0 || Result.IsArtificial;
        const U8 Flags = m_Levels.empty() ? 0 : m_Levels.back().Flags;
        bool IsKept = (Flags & LEVEL_IN_TYPE) != 0 && !IsArtificial &&
                      (Abbrev.Action == DACT_MEMBER || Abbrev.Action == DACT_FUNC);
        const bool IsPlain = !IsDeclaration && !IsArtificial && !m_IsTypeUnit;
        switch (Abbrev.Action) {
        case DACT_VARIABLE:
            if ((Flags & LEVEL_IN_FUNC) != 0) {
                IsKept |= !IsDeclaration;
            } else if (IsPlain) {
                Keep(&m_Chunk.GlobalVars, Off);
                IsKept = true;
            }
            break;
        case DACT_FUNC:
            if (IsPlain) {
                Keep(&m_Chunk.Funcs, Off);
                IsKept = true;
                m_Chunk.MainDie = Result.IsMain && m_Chunk.MainDie == 0 ? DWARF_MakeID(m_Unit.Section, Off)
                                                                       : m_Chunk.MainDie;
            }
            break;
        case DACT_INLINE:
            if (IsPlain) {
                Keep(&m_Chunk.InlineFuncs, Off);
                IsKept = true;
            }
            break;
        case DACT_TYPEDEF:
            Keep(&m_Chunk.Types, Off);
            IsKept = true;
            break;
        case DACT_TYPE:
            if (!IsDeclaration && !IsArtificial && Result.ByteSize != 0) {
                Keep(&m_Chunk.Types, Off);
                IsKept = true;
            }
            break;
        case DACT_NAMESPACE:
            if (!m_IsTypeUnit) {
                Keep(&m_Chunk.Namespaces, Off);
                IsKept = true;
                if (Result.IsExtension) {
                    Keep(&m_Chunk.NamespaceExts, Off);
                }
            }
            break;
        default:
            IsKept |= (Flags & LEVEL_IN_FUNC) != 0 && Abbrev.Tag == DW_TAG_formal_parameter && !IsDeclaration;
            break;
        }
        if (IsKept) {
            ++m_Chunk.NumKept;
            if (Result.SpecOff != 0 && Result.SpecOff < m_S.aSection[m_Unit.Section].Size) {
                m_Chunk.Defs.push_back({DWARF_MakeID(m_Unit.Section, static_cast<U32>(Result.SpecOff)),
                                        DWARF_MakeID(m_Unit.Section, Off)});
            }
        }
    }

    DWARF_STORE& m_S;
    const DWARF_UNIT& m_Unit;
    CHUNK& m_Chunk;
    CBitWriter m_Bits;
    const U8* m_pBase;
    const U8* m_pEnd;
    size_t m_FirstScope;
    size_t m_MaxEntries;
    bool m_IsTypeUnit;
    std::vector<LEVEL> m_Levels;
};

void _WalkChunk(DWARF_STORE& S, CHUNK* pChunk) {
    try {
        for (U32 i = pChunk->FirstUnit; i < pChunk->EndUnit; ++i) {
            const DWARF_UNIT& Unit = S.Units[i];
            if (Unit.UnitType != DW_UT_type && !Unit.IsBad) {
                pChunk->CompUnits.push_back(DWARF_MakeID(Unit.Section, Unit.DieOff));
            }
            if (Unit.IsBad || !CUnitWalk(S, Unit, pChunk).Run()) {
                ++pChunk->NumFailed;
            }
        }
    } catch (const std::bad_alloc&) {
        pChunk->IsOutOfMemory = true; // a thread's exception would end the program
    }
}

/// Cuts the units [First, End) into chunks of about the same number of bytes.
void _AddChunks(const DWARF_STORE& S, U32 First, U32 End, std::vector<CHUNK>* pChunks) {
    const U32 Size = S.aSection[First < S.FirstTypesUnit ? DSEC_INFO : DSEC_TYPES].Size;
    const U32 NumChunks = std::clamp(std::min(Size / MIN_CHUNK_SIZE, std::thread::hardware_concurrency()), 1u, MAX_THREADS);
    for (U32 i = 1; i <= NumChunks && First < End; ++i) {
        CHUNK Chunk;
        Chunk.FirstUnit = First;
        const U64 Limit = static_cast<U64>(Size) * i / NumChunks;
        while (First < End && (i == NumChunks || S.Units[First].Off < Limit)) {
            ++First;
        }
        Chunk.EndUnit = First;
        pChunks->push_back(std::move(Chunk));
    }
}

void _Append(std::vector<U32>* pTo, std::vector<U32>* pFrom) {
    pTo->insert(pTo->end(), pFrom->begin(), pFrom->end());
    std::vector<U32>().swap(*pFrom);
}

void _Merge(DWARF_STORE& S, CHUNK* p, bool IsTypes) {
    std::vector<DWARF_SCOPE>& Scopes = S.aParentTable[IsTypes];
    const U32 Shift = static_cast<U32>(Scopes.size());
    if (Shift == 0) {
        Scopes = std::move(p->Scopes);
    } else {
        Scopes.reserve(Scopes.size() + p->Scopes.size());
        for (const DWARF_SCOPE& Scope : p->Scopes) {
            Scopes.push_back({Scope.Off, Scope.End, Scope.Parent == NO_SCOPE ? NO_SCOPE : Scope.Parent + Shift});
        }
        std::vector<DWARF_SCOPE>().swap(p->Scopes);
    }
    S.DefTable.insert(S.DefTable.end(), p->Defs.begin(), p->Defs.end());
    _Append(&S.GlobalVars, &p->GlobalVars);
    _Append(&S.Funcs, &p->Funcs);
    _Append(&S.InlineFuncs, &p->InlineFuncs);
    _Append(&S.Types, &p->Types);
    _Append(&S.Namespaces, &p->Namespaces);
    _Append(&S.NamespaceExts, &p->NamespaceExts);
    _Append(&S.CompUnits, &p->CompUnits);
    S.MainDie = S.MainDie == 0 ? p->MainDie : S.MainDie;
    S.NumDies += p->NumDies;
    S.NumKept += p->NumKept;
}

/// Pairs whose declaration is a DIE, sorted; of several definitions of one declaration the last stays.
void _FinishDefs(DWARF_STORE& S) {
    std::vector<DWARF_PAIR>& Defs = S.DefTable;
    std::erase_if(Defs, [&](const DWARF_PAIR& Pair) { return !DWARF_IsDie(S, Pair.Key); });
    std::stable_sort(Defs.begin(), Defs.end(), [](const DWARF_PAIR& a, const DWARF_PAIR& b) { return a.Key < b.Key; });
    size_t Num = 0;
    for (size_t i = 0; i < Defs.size(); ++i) {
        if (i + 1 == Defs.size() || Defs[i + 1].Key != Defs[i].Key) {
            Defs[Num++] = Defs[i];
        }
    }
    Defs.resize(Num);
    Defs.shrink_to_fit();
}

} // namespace

U32 DWARF_WalkUnits(DWARF_STORE& S) {
    S.aDieStore[0].resize(S.aSection[DSEC_INFO].Size / 64 + 1);
    S.aDieStore[1].resize(S.aSection[DSEC_TYPES].Size / 64 + 1);
    std::vector<CHUNK> Chunks;
    const U32 NumUnits = static_cast<U32>(S.Units.size());
    _AddChunks(S, S.FirstTypesUnit, NumUnits, &Chunks); // type units first: their lists come first
    _AddChunks(S, 0, S.FirstTypesUnit, &Chunks);
    std::vector<std::thread> Threads;
    for (size_t i = 1; i < Chunks.size(); ++i) {
        Threads.emplace_back(_WalkChunk, std::ref(S), &Chunks[i]);
    }
    if (!Chunks.empty()) {
        _WalkChunk(S, &Chunks[0]);
    }
    for (std::thread& Thread : Threads) {
        Thread.join();
    }
    U32 NumFailed = 0;
    for (CHUNK& Chunk : Chunks) {
        if (Chunk.IsOutOfMemory) {
            throw std::bad_alloc();
        }
        NumFailed += Chunk.NumFailed;
        _Merge(S, &Chunk, Chunk.FirstUnit >= S.FirstTypesUnit);
    }
    _FinishDefs(S);
    return NumFailed;
}
