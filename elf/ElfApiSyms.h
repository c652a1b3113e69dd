#pragma once

// ElfApi's questions about symbols, by handle. Like the rest of ElfApi: any thread, one lock, 0, -1 or empty where
// there is nothing to say. Answers are kept for the life of the load, so that refreshing a window costs a table
// look-up.

#include "elf/ElfSymLoc.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

using ELF_SYM_HANDLE = U64; ///< 0 is no symbol
using ELF_SYM_LIST = QList<ELF_SYM_HANDLE>;
using ELF_SYM_LOCS = QList<ELF_SYM_LOC>;

struct ELF_ADDR_RANGE {
    U32 Addr = 0;
    U32 Size = 0;
};

U32 ElfApi_GetSymType(ELF_SYM_HANDLE h); ///< DWARF tag or ELF symbol type, 65535 for none
/// Name; Qualified puts the type or namespaces that the symbol stands in before it.
QString ElfApi_GetSymName(ELF_SYM_HANDLE h, bool Qualified = false);
QString ElfApi_GetSymDataTypeName(ELF_SYM_HANDLE h);
/// Names of the enclosing namespaces, outermost first, each with "::" behind it.
QString ElfApi_GetNamespacePath(ELF_SYM_HANDLE h);
/// Name of the type that the symbol is a member of; without one, of the type of the same name as the symbol.
QString ElfApi_GetSymScopeName(ELF_SYM_HANDLE h);
/// Lowest address and extent, bit 0 clear; both 0 for no range or one of 1,000,000 bytes and more.
ELF_ADDR_RANGE ElfApi_GetSymAddrRange(ELF_SYM_HANDLE h);
U32 ElfApi_GetSymSize(ELF_SYM_HANDLE h);
/// Start of the range, or the memory address of the location at the current PC; -1 if it has none.
I64 ElfApi_GetSymAddr(ELF_SYM_HANDLE h);
/// Location at PC (0xFFFFFFFF: the current one); empty out of scope.
ELF_SYM_LOC ElfApi_GetSymLoc(ELF_SYM_HANDLE h, U32 PC);
/// True for locations in memory or a register that can be read directly.
bool ElfApi_IsMemOrRegLoc(const ELF_SYM_LOC& Loc);
QString ElfApi_LocToText(const ELF_SYM_LOC& Loc);
bool ElfApi_IsSymSigned(ELF_SYM_HANDLE h);
U32 ElfApi_GetSymBitWidth(ELF_SYM_HANDLE h);
U32 ElfApi_GetSymBitOffset(ELF_SYM_HANDLE h);
QByteArray ElfApi_GetSymConstValue(ELF_SYM_HANDLE h);
/// Type, without typedefs and qualifiers. Resolve: a type itself is the answer too.
ELF_SYM_HANDLE ElfApi_GetSymDataType(ELF_SYM_HANDLE h, bool Resolve = false);
/// Element counts of an array type, outermost dimension first.
QList<U32> ElfApi_GetSymArrayDims(ELF_SYM_HANDLE h);
U32 ElfApi_GetSymAccessibility(ELF_SYM_HANDLE h);
QString ElfApi_GetSymDeclFileName(ELF_SYM_HANDLE h);
I64 ElfApi_GetSymDeclLine(ELF_SYM_HANDLE h);
QString ElfApi_GetSymCallFileName(ELF_SYM_HANDLE h);
I64 ElfApi_GetSymCallLine(ELF_SYM_HANDLE h);

ELF_SYM_HANDLE ElfApi_GetParentFunc(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ElfApi_GetAbstrInstance(ELF_SYM_HANDLE h);
bool ElfApi_IsFunc(ELF_SYM_HANDLE h);
bool ElfApi_IsLocal(ELF_SYM_HANDLE h);
/// 1: PC is in the block that the symbol stands in; 255: below it, or the symbol isn't local; 0: behind it.
int ElfApi_IsInScope(ELF_SYM_HANDLE h, U32 PC);
ELF_SYM_LIST ElfApi_GetMembers(ELF_SYM_HANDLE h);
int ElfApi_GetMemberIdx(ELF_SYM_HANDLE h, const QString& sName);
I64 ElfApi_GetMemberOffset(ELF_SYM_HANDLE h);
ELF_SYM_LIST ElfApi_GetBases(ELF_SYM_HANDLE h);
/// Index of the base class and of the member in it; both -1 if no base class has it.
QPair<int, int> ElfApi_FindInherited(ELF_SYM_HANDLE h, const QString& sName);
QString ElfApi_GetBaseClassNames(ELF_SYM_HANDLE h);
ELF_SYM_HANDLE ElfApi_GetThisPointer(ELF_SYM_HANDLE h);

/// PC of the name look-ups: the function there gives the locals.
void ElfApi_SetCurrentPC(U32 PC);
ELF_SYM_LIST ElfApi_FindSyms(const QString& sName, bool Globals, bool Locals, bool Types, bool ElfSyms);
/// The first of those; locals in scope come before those out of scope. 0 if there is none.
ELF_SYM_HANDLE ElfApi_FindSym(const QString& sName, bool Globals, bool Locals, bool Types, bool ElfSyms);
ELF_SYM_LIST ElfApi_FindSymsAtAddr(U32 Addr, bool Dwarf, bool Locals);
ELF_SYM_HANDLE ElfApi_FindSymAtAddr(U32 Addr);
/// All functions and inline expansions over an address, innermost last.
ELF_SYM_LIST ElfApi_GetFuncsAtAddr(U32 Addr);

ELF_SYM_LIST ElfApi_LocalVars(ELF_SYM_HANDLE hFunc);
ELF_SYM_LIST ElfApi_GlobalVars();
/// Functions of the debug information, then those of the ELF symbol table.
ELF_SYM_LIST ElfApi_Functions();
ELF_SYM_LIST ElfApi_Types();
ELF_SYM_LIST ElfApi_Namespaces();
ELF_SYM_HANDLE ElfApi_GetMainFunc();
/// Variable "_VANTLE_RTT", 0 if the program has none.
ELF_SYM_HANDLE ElfApi_GetRttControlBlock();
/// Word at base address + 4 of the load image, -1 if the image doesn't hold it.
I64 ElfApi_GetEntryFuncPC();
bool ElfApi_IsBigEndian();
