#pragma once

// ElfApi: the lock-protected face of the program file for every other folder. All functions may be called from any
// thread; one process-wide mutex serialises them. With no usable file they answer "nothing" (0, -1, empty).

#include "base/Types.h"
#include "elf/ElfApiSyms.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>

/// A run of code with one source line. File is an index for ElfApi_GetSrcFile().
struct ELF_SRC_LOC {
    I32 File = -1;
    U32 Line = 0;
    U32 Col = 0;
};

struct ELF_SEGMENT {
    U32 PAddr;
    U32 VAddr;
    QByteArray Data;
};

/// Sink of the module's messages; `Level` is a set of message flags. Null silences them.
void ElfApi_SetMsgHandler(void (*pfHandler)(const char* sText, U32 Level));

/// Opens the program file, replacing the one that is open. 0, or -1; the reason has gone to the message sink and
/// stands in ElfApi_GetErrorText().
int ElfApi_Init(const QString& sPath);
/// Releases all symbol data.
void ElfApi_Exit();
bool ElfApi_IsOpen();
QString ElfApi_GetErrorText();

/// The function to show for an address: the innermost inline expansion, unless NoInline, else the function around it.
/// 0 if there is none.
U64 ElfApi_GetFuncAtAddr(U32 Addr, bool NoInline = true);
QString ElfApi_GetFuncName(U64 hFunc);
/// Address range of a function, end exclusive, bit 0 clear. False for an unknown handle.
bool ElfApi_GetFuncRange(U64 hFunc, U32* pLo, U32* pHi);

/// Address of a function or data symbol by exact name, bit 0 clear for functions; -1 if unknown.
I64 ElfApi_GetSymbolAddr(const QString& sName);

/// Lowest address of the program's segments with data, -1 if none.
I64 ElfApi_GetBaseAddr();
/// ELF entry point with bit 0 clear, -1 with no file.
I64 ElfApi_GetEntryPoint();
/// 0 little, 2 BE8, 3 BE32, 4 unknown or no file.
int ElfApi_GetDataEncoding();

/// Kind of memory by mapping symbols: 1 ARM, 2 Thumb, 4 data, 0 unknown; range in *pLo, *pHi if not null.
U32 ElfApi_GetMemRegionKind(U32 Addr, U32* pLo = nullptr, U32* pHi = nullptr);

/// Reads the load image. 0, or -1 if no segment holds the whole range.
int ElfApi_ReadMem(U32 Addr, U32 NumBytes, void* pBuf);

/// Segments with data, by physical address, for download.
QList<ELF_SEGMENT> ElfApi_GetLoadSegments();

/// Source line of the statement row that covers Addr. False if there is none.
bool ElfApi_GetSrcLoc(U32 Addr, ELF_SRC_LOC* pLoc);
/// True if Addr is the first address of a source statement.
bool ElfApi_IsStmtStart(U32 Addr);
/// Lowest address of a statement at the line, or at the next line with code within the same file; -1 if none.
I64 ElfApi_GetAddrOfLine(I32 File, U32 Line, bool IsExact);
/// Lines of the file that a statement begins on.
QSet<int> ElfApi_GetCodeLines(I32 File);
/// Path as recorded by the compiler, made absolute with the compilation directory where that is absolute.
QString ElfApi_GetSrcFile(I32 File);
QList<QString> ElfApi_GetSrcFiles();
/// Index of the source file with that path, or of the only one whose path ends in "/" and the given name; -1.
I32 ElfApi_FindSrcFile(const QString& sPath);
