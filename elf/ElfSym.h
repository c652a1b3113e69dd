#pragma once

// Symbols of the current file by handle: one function for each property, for symbols of the ELF symbol table and of the
// debug information alike where that makes sense. A handle that is none gives 0, -1 or an empty text. Addresses go in
// and out as the target has them, see ELF_Relocate.

#include "elf/Dwarf.h"

using ELF_SYM_HANDLE = U64; ///< 0 is no symbol

enum ELF_SRC_LANG : U32 { ELF_LANG_UNKNOWN = 0, ELF_LANG_C = 1, ELF_LANG_CPP = 2 };
constexpr U32 ELF_SYM_TYPE_BAD = 65535;
constexpr U32 ELF_SYM_BINDING_NONE = 16; ///< binding of what isn't in the ELF symbol table

bool IsValidSymbolHandle(ELF_SYM_HANDLE h);
U32 GetSymbolHandleType(ELF_SYM_HANDLE h); ///< 1 DWARF, 2 ELF, 0 for an invalid handle
bool IsElfSymbolHandle(ELF_SYM_HANDLE h);
bool IsDwarfSymbolHandle(ELF_SYM_HANDLE h);
U32 GetDie(ELF_SYM_HANDLE h); ///< ID of the DIE in the current file, 0 if it isn't one
ELF_SYM_HANDLE ELF_MakeDwarfHandle(U32 Die);
ELF_SYM_HANDLE ELF_MakeElfHandle(U32 Idx);
/// Store of the current file; null without debug information.
DWARF_STORE* ELF_GetStore();

bool ELF_IsElfSymbol(ELF_SYM_HANDLE h);
U32 ELF_GetSymType(ELF_SYM_HANDLE h);
U32 ELF_GetSymBinding(ELF_SYM_HANDLE h);
std::string ELF_GetSymName(ELF_SYM_HANDLE h);
U32 ELF_GetSymValue(ELF_SYM_HANDLE h);
U32 ELF_GetSymSectionIdx(ELF_SYM_HANDLE h);
/// Address ranges, relocated; for an ELF symbol its value and the end of its size.
std::vector<ELF_RANGE> ELF_GetSymAddrRanges(ELF_SYM_HANDLE h);
U32 ELF_GetSymAddrRangeCnt(ELF_SYM_HANDLE h);
I64 ELF_GetSymAddrRangeLo(ELF_SYM_HANDLE h, U32 i); ///< -1 if out of range
I64 ELF_GetSymAddrRangeHi(ELF_SYM_HANDLE h, U32 i);
U32 ELF_GetSymSize(ELF_SYM_HANDLE h);
/// True for a variable that the linker left out: its address reads 0, and no ELF symbol of its name is there.
bool ELF_IsDropped(ELF_SYM_HANDLE h);
/// Location at PC: of a member in its parent, of a function its frame base.
ELF_SYM_LOC ELF_GetSymLoc(ELF_SYM_HANDLE h, U32 PC);
int ELF_GetSymSign(ELF_SYM_HANDLE h);
U32 ELF_GetSymAccessibility(ELF_SYM_HANDLE h); ///< 1 public, 2 protected, 3 private, 0 not said
/// Number of bytes of the constant value, at most 256; the bytes are valid until the next call.
U32 ELF_GetSymConstValueData(ELF_SYM_HANDLE h, const U8** ppData);
U32 ELF_GetSymBitWidth(ELF_SYM_HANDLE h);
U32 ELF_GetSymBitOffset(ELF_SYM_HANDLE h); ///< from the least significant bit
std::string ELF_GetSymDataTypeName(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymDataType(ELF_SYM_HANDLE h, bool Resolve);
std::string ELF_GetSymDeclFileName(ELF_SYM_HANDLE h);
I64 ELF_GetSymDeclLine(ELF_SYM_HANDLE h); ///< -1 if unknown
std::string ELF_GetSymCallFileName(ELF_SYM_HANDLE h);
I64 ELF_GetSymCallLine(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymAbstrInstance(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymParentFunc(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymParentType(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymParentNamespace(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymParentScope(ELF_SYM_HANDLE h);
U32 ELF_GetSymMemberCount(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymMember(ELF_SYM_HANDLE h, U32 i);
int ELF_GetSymMemberIdx(ELF_SYM_HANDLE h, const char* sName);
I64 ELF_GetSymMemberOffset(ELF_SYM_HANDLE h); ///< -1 if it isn't at a fixed place of its parent
U32 ELF_GetSymInheritanceCnt(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ELF_GetSymInheritance(ELF_SYM_HANDLE h, U32 i);
ELF_SYM_ARRAY_INFO ELF_GetSymArrayInfo(ELF_SYM_HANDLE h);

/// The function that runs first: main, or what the debug information marks as such.
ELF_SYM_HANDLE ELF_GetMainFunc();
/// Lists of the current file, in order of discovery.
enum ELF_SYM_LISTS : U32 { ELF_LIST_GLOBALS, ELF_LIST_FUNCS, ELF_LIST_INLINES, ELF_LIST_NAMESPACES, ELF_LIST_TYPES };
U32 ELF_GetListCnt(ELF_SYM_LISTS List);
/// Index in the list of globals of the variable "_VANTLE_RTT", or -1.
int ELF_FindRttControlBlock(const ELF_FILE* pFile);

/// Text for the location column, at most 63 characters.
std::string ELF_LocToText(const ELF_SYM_LOC& Loc);
/// True if both mean the same place or value.
bool ELF_AreLocsEqual(const ELF_SYM_LOC& a, const ELF_SYM_LOC& b);
