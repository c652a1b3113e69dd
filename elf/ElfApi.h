#pragma once

// ElfApi: the lock-protected face of the program file for every other folder. All functions may be called from any
// thread; one process-wide mutex serialises them. With no usable file they answer "nothing" (0, -1, empty).

#include "base/Types.h"
#include "elf/ElfApiSyms.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/// Program data at its addresses on the target.
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
/// Releases all symbol data and forgets what was relocated.
void ElfApi_Deinit();
bool ElfApi_IsOpen();
QString ElfApi_GetErrorText();
/// Debug information that the open file has in a form that isn't read, and what to do about it: one sentence each.
QStringList ElfApi_GetMissing();

/// The function to show for an address: the innermost inline expansion, unless NoInline, else the function around it.
/// 0 if there is none.
U64 ElfApi_GetFuncAtAddr(U32 Addr, bool NoInline = true);
/// Lowest address of all program data, -1 if there is none.
I64 ElfApi_GetBaseAddr();
/// ELF entry point with bit 0 clear, -1 with no file.
I64 ElfApi_GetEntryPointPC();
/// 0 little, 2 BE8, 3 BE32, 4 unknown or no file.
int ElfApi_GetDataEncoding();

/// Kind of memory by mapping symbols: 1 ARM, 2 Thumb, 4 data, 0 unknown; range in *pLo, *pHi if not null.
U32 ElfApi_GetMemRegionKind(U32 Addr, U32* pLo = nullptr, U32* pHi = nullptr);

/// Reads the load image. 0, or -1 if no segment holds the whole range. Reads of 2, 4 and 8 bytes of a BE32 image come
/// as numbers in host order, others as the bytes stand.
int ElfApi_ReadMem(U32 Addr, U32 NumBytes, void* pBuf);

/// Segments with data, by physical address, for download.
QList<ELF_SEGMENT> ElfApi_GetLoadSegments();

/// Says where parts of the program are loaded; see ELF_AddReloc(). Before a file is opened the entry is for that file.
/// 0, or -1 if the text names nothing in the open file.
int ElfApi_RelocateSymbols(const QString& sSymbols, I32 Offset);
