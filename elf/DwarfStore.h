#pragma once

// The DWARF symbol store: what one linear pass over all units leaves in memory (DWARF 2 to 5). It keeps no tree: a DIE
// is known by its ID, and everything about it is read from the file again when it is asked for. Two compact tables make
// that possible: one bit for each byte of a section says whether a DIE starts there, and a table of the abbreviations
// gives tags and attribute forms; how the DIEs of a unit nest is read by the first question about it. The ID of a DIE
// is its section offset plus 1 in .debug_info and plus 0x1FFFFFF in .debug_types; 0 is no DIE. Not locked: see ElfApi.
// Some tables are put in order by the first question that needs them, so even questions must come one at a time.

#include "elf/Elf.h"
#include "elf/NameIndex.h"

#include <atomic>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

constexpr U32 DIE_ID_INFO = 1;
constexpr U32 DIE_ID_TYPES = 0x1FFFFFF;
constexpr U32 NO_NAMESPACE = 0xFFFFFFFF;
constexpr U32 MAX_DIE_ID = 0x3FFFFFF; ///< a symbol handle has 26 bits for it

enum DWARF_SECTION_ID : U32 {
    DSEC_INFO,
    DSEC_TYPES,
    DSEC_ABBREV,
    DSEC_STR,
    DSEC_LINE_STR,
    DSEC_STR_OFFSETS,
    DSEC_ADDR,
    DSEC_RNGLISTS,
    DSEC_LOCLISTS,
    DSEC_RANGES,
    DSEC_LOC,
    DSEC_LINE,
    NUM_DSEC
};

struct DWARF_SECTION {
    const U8* pData = nullptr;
    U32 Size = 0;
    U32 Idx = 0; ///< number in the file
};

struct DWARF_ATTR_SPEC {
    U16 At;
    U16 Form;
};

/// What the linear pass does with a DIE.
enum DWARF_ACTION : U8 {
    DACT_NONE,
    DACT_VARIABLE,
    DACT_FUNC,
    DACT_INLINE,
    DACT_TYPEDEF,
    DACT_TYPE,
    DACT_NAMESPACE,
    DACT_MEMBER,
};

/// Attributes that the linear pass reads.
enum DWARF_FIELD : U8 {
    DFLD_NAME,
    DFLD_LOW,
    DFLD_HIGH,
    DFLD_RANGES,
    DFLD_DECLARATION,
    DFLD_ARTIFICIAL,
    DFLD_SIZE,
    DFLD_SPECIFICATION,
    DFLD_ORIGIN,
    DFLD_MAIN,
    DFLD_EXTENSION,
    NUM_DFLD
};

/// One abbreviation. The skip program is a list of byte counts and SKIP_... codes that leads over all attributes. The
/// look program does the same and says in between where the fields that the linear pass reads begin.
struct DWARF_ABBREV {
    U32 Code;
    U32 FirstAttr; ///< index into DWARF_STORE::AttrSpecs
    U32 FirstSkip; ///< index into DWARF_STORE::Skips
    U32 FirstLook; ///< index into DWARF_STORE::Skips
    U16 NumAttrs;
    U16 NumSkips;
    U16 NumLooks; ///< 0 if the pass reads none of its attributes
    U16 Tag;
    U8 HasChildren;
    U8 Action;
    U8 IsRefused; ///< DW_AT_declaration (1), DW_AT_artificial (2) without a value of its own
};

struct DWARF_ABBREV_SET {
    U32 First = 0; ///< index into DWARF_STORE::Abbrevs
    U32 Num = 0;
    bool IsDense = false; ///< codes are 1, 2, 3, ...
};

struct DWARF_UNIT {
    U32 Off = 0;    ///< of the header
    U32 DieOff = 0; ///< of the root DIE
    U32 End = 0;
    U32 Section = DSEC_INFO;
    U32 AbbrevSet = 0;
    U16 Version = 0;
    U8 OffsetSize = 4;
    U8 AddrSize = 4;
    U8 UnitType = 0;
    U8 Lang = 0; ///< ELF_SRC_LANG
    bool IsBad = false;
    U64 Signature = 0;
    U32 TypeOff = 0; ///< section offset of a type unit's type
    U32 StrOffsetsBase = 0;
    U32 AddrBase = 0;
    U32 RngListsBase = 0;
    U32 LocListsBase = 0;
    U32 LowPC = 0;
};

/// A DIE with children. The parent of any DIE is the innermost scope around its offset.
struct DWARF_SCOPE {
    U32 Off;
    U32 End;    ///< offset behind the last child
    U32 Parent; ///< index of the scope around it, 0xFFFFFFFF for none
};

/// Scopes of one unit by offset; see DWARF_ScopesOf().
struct DWARF_SCOPES {
    std::vector<DWARF_SCOPE> List;
    bool IsRead = false;
};

/// A reference from a definition to its declaration, or from an instance of a function to the abstract one.
struct DWARF_REF {
    U32 Target;
    U32 DieAndKind; ///< bit 31 marks a reference to a declaration
    U32 Die() const { return DieAndKind & 0x7FFFFFFF; }
    bool IsSpecification() const { return DieAndKind >> 31 != 0; }
};

/// References in the order of the section, or by target once IsSorted.
struct DWARF_REFS {
    std::vector<DWARF_REF> Refs;
    std::vector<U32>
        Steps; ///< once sorted: first reference to every (1 << StepShift)th DIE ID from Base on or behind it
    U32 Base = 0;
    U32 StepShift = 0;
    bool IsSorted = false;
};

/// Code of a function, addresses of the file. Hi 0 means that it has a list of ranges instead.
struct DWARF_CODE {
    U32 Die;
    U32 Lo;
    U32 Hi; ///< exclusive
};

/// Nanoseconds of processor time that the stages of opening took.
struct DWARF_TIMES {
    U64 TypeUnits = 0;
    U64 Units = 0;
    U64 SrcFiles = 0;
    U64 SrcLines = 0;
    U64 Frames = 0;
};

struct DWARF_STORE {
    const ELF_FILE* pFile = nullptr;
    bool IsBig = false;
    DWARF_SECTION aSection[NUM_DSEC];

    std::vector<DWARF_ATTR_SPEC> AttrSpecs;
    std::vector<U16> Skips;
    std::vector<I64> ImplicitConsts; ///< values of DW_FORM_implicit_const ...
    std::vector<U32> ImplicitKeys;   ///< ... and the index into AttrSpecs of each, ascending
    std::vector<DWARF_ABBREV> Abbrevs;
    std::vector<DWARF_ABBREV_SET> AbbrevSets;
    std::vector<DWARF_UNIT> Units; ///< by section and offset
    U32 FirstTypesUnit = 0;        ///< units of .debug_types start here
    std::unordered_map<U64, U32> UnitOfSignature;

    std::vector<U64> aDieStore[2];                 ///< DieStore: one bit a byte of the section, set where a DIE starts
    mutable std::vector<DWARF_SCOPES> ParentTable; ///< by unit
    mutable std::vector<DWARF_REFS> DefTable; ///< by the unit of the target; the last one is for other units' targets
    U64 NumDies = 0;
    U32 NumKept = 0; ///< DIEs that a list or a table of children holds

    std::vector<U32> GlobalVars; ///< lists of DIE IDs in order of discovery
    std::vector<U32> Funcs;
    std::vector<U32> InlineFuncs;
    std::vector<U32> Types;
    std::vector<U32> Namespaces;
    std::vector<U32> NamespaceParents; ///< of each the index of the one around it, or NO_NAMESPACE
    std::vector<U32> NamespaceExts;
    std::vector<U32> CompUnits;
    std::vector<DWARF_CODE> Code; ///< of functions, also compiler-made ones, and of expansions outside of any
    std::vector<std::vector<DWARF_NAME>>
        Names; ///< own names of functions, also of those in no list, and global variables
    std::vector<std::vector<DWARF_NAME>> TypeNames; ///< of Types, until TypeIndex is built
    CNameIndex TypeIndex;
    std::vector<U32> NamedByOthers; ///< global variables whose name stands at their declaration
    U32 MainDie = 0;
    U32 SrcLang = 1;
    U32 NumTypeUnits = 0;
    U32 DwarfVersion = 0;

    std::unordered_map<U32, std::string> TypeNameTable;    ///< filled by questions
    mutable std::unordered_map<U32, U32> CompleteTypes;    ///< by declaration, 0 for none; filled by questions
    std::unique_ptr<std::vector<std::string>> pSymsAtZero; ///< ELF symbols of data at address 0; made when asked for
    std::unordered_map<U32, std::vector<std::string>> FileNames; ///< by offset of the line program
    std::atomic<I64> FileNameBudget = 0;                         ///< bytes that they may still take
};

/// DIEs that refer to this one as their declaration or abstract instance, in the order of the section.
std::vector<U32> DWARF_ReferrersOf(const DWARF_STORE& S, U32 Die);
/// The last of those that refer to it as their declaration; 0 if there is none.
U32 DWARF_DefinitionOf(const DWARF_STORE& S, U32 Die);

/// Fetch into the cache what the DIE itself, and the question for its referrers, will be read from. Several DIEs of one
/// name are read in a third of the time if all are fetched first.
void DWARF_PrefetchReferrers(const DWARF_STORE& S, U32 Die);
inline void DWARF_PrefetchDie(const DWARF_STORE& S, U32 Die);
inline void DWARF_PrefetchKnownDie(const DWARF_STORE& S, U32 Die); ///< see DWARF_OpenKnownDie()

/// True for the ID of a DIE of the store.
bool DWARF_IsDie(const DWARF_STORE& S, U32 Die);
/// ID of the DIE at an offset of the section; 0 if none starts there.
U32 DWARF_DieAt(const DWARF_STORE& S, U32 Section, U64 Off);
inline U32 DWARF_SectionOf(U32 Die, const DWARF_STORE& S) {
    return Die >= DIE_ID_TYPES && S.aSection[DSEC_TYPES].Size != 0 ? DSEC_TYPES : DSEC_INFO;
}
inline U32 DWARF_OffsetOf(U32 Die, const DWARF_STORE& S) {
    return DWARF_SectionOf(Die, S) == DSEC_TYPES ? Die - DIE_ID_TYPES : Die - DIE_ID_INFO;
}
inline U32 DWARF_MakeID(U32 Section, U32 Off) { return Off + (Section == DSEC_TYPES ? DIE_ID_TYPES : DIE_ID_INFO); }
/// Unit that holds the offset; null if none does.
const DWARF_UNIT* DWARF_UnitAt(const DWARF_STORE& S, U32 Section, U32 Off);
const DWARF_UNIT* DWARF_UnitOf(const DWARF_STORE& S, U32 Die);
/// Scopes of the unit that holds the DIE, which must be one; the first question about a unit reads them.
const std::vector<DWARF_SCOPE>& DWARF_ScopesOf(const DWARF_STORE& S, U32 Die);
const DWARF_ABBREV* DWARF_FindAbbrev(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Code);

inline void DWARF_PrefetchKnownDie(const DWARF_STORE& S, U32 Die) {
    __builtin_prefetch(S.aSection[DWARF_SectionOf(Die, S)].pData + DWARF_OffsetOf(Die, S));
}

inline void DWARF_PrefetchDie(const DWARF_STORE& S, U32 Die) {
    const std::vector<U64>& Bits = S.aDieStore[DWARF_SectionOf(Die, S) == DSEC_TYPES];
    if (const U32 Off = DWARF_OffsetOf(Die, S); Off / 64 < Bits.size()) {
        __builtin_prefetch(&Bits[Off / 64]);
        DWARF_PrefetchKnownDie(S, Die);
    }
}
