#pragma once

// What the symbol store knows about one DIE: names, relatives, types, sizes, ranges. A DIE is its ID, 0 is none and
// gives 0, an empty text or nothing. Everything is bounded on damaged input: references by depth, lists by number.

#include "elf/DwarfAttr.h"
#include "elf/ElfSymLoc.h"

constexpr U32 MAX_CHILDREN = 1024; ///< members, locals and base classes that a DIE shows

struct ELF_SYM_ARRAY_INFO {
    U32 TotalSize = 0;
    U32 ElemSize = 0;
    U32 ElemCount = 0;
    U32 NumDims = 0;
    U32 aDim[10] = {};
};

U32 GetDieType(const DWARF_STORE& S, U32 Die); ///< tag; 0 for no DIE
bool DWARF_IsCompound(U32 Tag);                ///< structure, class, union or enumeration
bool HasAttribute(const DWARF_STORE& S, U32 Die, U32 At);
/// The attribute of the DIE, or the one it inherits from its declaration, abstract instance or definition.
bool CreateDieAttrEx(const DWARF_STORE& S, U32 Die, U32 At, DWARF_ATTR* pAttr, U32 Depth = 0);
/// Number of an attribute, inherited ones included; a reference gives the ID of its DIE.
bool GetAttributeAsU64(const DWARF_STORE& S, U32 Die, U32 At, U64* pValue);
/// Constant value: number of bytes copied to the buffer of 256; 0 without the attribute.
U32 GetAttributeData(const DWARF_STORE& S, U32 Die, U8* pBuf);

U32 GetReferenceDie(const DWARF_STORE& S, U32 Die, U32 At);
U32 GetDefinitionDie(const DWARF_STORE& S, U32 Die);
/// Of a type that is only declared: the one of the same name and scope that another unit describes. 0 if there is none,
/// or several of different sizes.
U32 DWARF_CompleteTypeOf(const DWARF_STORE& S, U32 Die);
U32 GetAbstractInstanceOf(const DWARF_STORE& S, U32 Die);
U32 GetTypeDie(const DWARF_STORE& S, U32 Die, U32 Tag);
U32 GetDataTypeDie(const DWARF_STORE& S, U32 Die, bool Resolve);

std::string GetDieName(const DWARF_STORE& S, U32 Die, U32 Depth = 0);
/// The same without a copy or the rewriting of base type names; empty where there is none.
std::string_view GetDieRawName(const DWARF_STORE& S, U32 Die, U32 Depth = 0);
std::string_view GetDieRawName(const DWARF_STORE& S, U32 Die, const DWARF_DIE& D,
                               U32 Depth = 0); ///< of one that is open
/// Short form of the names of C's base types.
std::string DWARF_ShortenBaseType(std::string sName);
/// Data type text; empty if it is longer than 498 characters.
const std::string& GetDieTypeStr(DWARF_STORE& S, U32 Die);
bool IsStaticDie(const DWARF_STORE& S, U32 Die);

/// ID behind the last DIE below this one; the next ID if it has no children.
U32 DWARF_EndOfDie(const DWARF_STORE& S, U32 Die);
U32 GetParentDie(const DWARF_STORE& S, U32 Die);
U32 GetDieAncestor(const DWARF_STORE& S, U32 Die); ///< the unit's root
U32 GetDieParentNamespace(const DWARF_STORE& S, U32 Die);
/// Type or function around the DIE, its declaration or what it is an instance of.
U32 GetDieParentType(const DWARF_STORE& S, U32 Die);
U32 GetDieParentFunc(const DWARF_STORE& S, U32 Die);
U32 GetAnyDieAncestor(const DWARF_STORE& S, U32 Die); ///< function or lexical block around it

/// Children of a kind, in section order, at most MAX_CHILDREN.
std::vector<U32> DWARF_GetMembers(const DWARF_STORE& S, U32 Die, U32 Depth = 0);
std::vector<U32> DWARF_GetInherited(const DWARF_STORE& S, U32 Die);
/// Variables and parameters of a function, those of its blocks included, those of functions inside it not.
std::vector<U32> DWARF_GetLocalVars(const DWARF_STORE& S, U32 Die);
std::vector<U32> DWARF_GetChildren(const DWARF_STORE& S, U32 Die, U32 Tag);
/// All DIEs of the tag below, at any depth, in section order.
std::vector<U32> DWARF_GetDescendants(const DWARF_STORE& S, U32 Die, U32 Tag);
int GetDieMemberIdx(const DWARF_STORE& S, U32 Die, const char* sName);

U32 GetDieSizeRecursive(const DWARF_STORE& S, U32 Die);
int GetDieSign(const DWARF_STORE& S, U32 Die);
U32 GetDieAccessibility(const DWARF_STORE& S, U32 Die);
U32 GetDieBitWidth(const DWARF_STORE& S, U32 Die);
U32 GetDieBitOffset(const DWARF_STORE& S, U32 Die); ///< from the least significant bit of its storage unit
/// Offset in its structure of the storage unit of a bit field that begins at a bit of the structure.
U64 GetDieBitFieldByte(const DWARF_STORE& S, U32 Die, U64 BitOff);
/// Bytes to go on where a packed field of a big-endian target ends behind the storage unit that it is told in.
U32 GetDieBitFieldShift(const DWARF_STORE& S, U32 Die);
ELF_SYM_ARRAY_INFO GetDieArrayInfo(const DWARF_STORE& S, U32 Die, U32 Depth = 0);

std::vector<ELF_RANGE> GetDieRanges(const DWARF_STORE& S, U32 Die);
/// Name of the file that an attribute such as DW_AT_decl_file gives by number; empty if unknown.
std::string GetDieFileName(DWARF_STORE& S, U32 Die, U32 At);

/// The expression or list entry that describes the attribute at PC (file address; 0: the first, 0xFFFFFFFF: none but
/// an expression without range). False if there is none.
bool DWARF_FindExpr(const DWARF_STORE& S, U32 Die, U32 At, U32 PC, const U8** ppExpr, U32* pSize, U32* pAttrDie);
/// Location by the attribute at PC, as far as one operation tells it; see ELF_LOC_EXPR.
ELF_SYM_LOC GetDieLoc(const DWARF_STORE& S, U32 Die, U32 At, U32 PC);
