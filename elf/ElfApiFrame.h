#pragma once

// Symbols in a call frame, completely: where each part of a variable is, and its bytes. ELF_SYM_LOC tells what one
// operation of a location says; here whole expressions are evaluated, with the frame base, the frame address and the
// values that the caller passed. A value is exact or it isn't given: the status then says why. Any thread may ask;
// ElfApi's lock is not held while a function of the frame runs, so that it may wait for the target.

#include "elf/DwarfExpr.h"
#include "elf/ElfApiSyms.h"

/// What the caller knows of a frame. Each function returns 0, or -1 if it can't tell; a null function can't tell
/// either.
struct ELF_FRAME {
    void* pContext = nullptr;
    U32 PC = 0; ///< of the instruction that the frame is at; in an outer frame that of the call
    /// Where the frame goes on: the same, in an outer frame behind the call. Locations are looked up just in front of
    /// it, as what holds at the call itself may have been changed by what was called.
    U32 ResumePC = 0;
    /// Register of the frame by DWARF number. An outer frame gives none that the calls inside it may have changed.
    int (*pfReadReg)(void* pContext, U32 Reg, U64* pValue) = nullptr;
    int (*pfReadMem)(void* pContext, U32 Addr, U32 NumBytes, U8* pBuf) = nullptr;
    /// Null: by the frame rules at PC.
    int (*pfGetCfa)(void* pContext, U32* pAddr) = nullptr;
    /// The frame of the function that called this one, inline expansions not counted.
    int (*pfGetCaller)(void* pContext, ELF_FRAME* pCaller) = nullptr;
};

/// One run of a symbol's bits, in order from its first byte. Kind is an ELF_EXPR_PIECE_KIND.
struct ELF_SYM_PIECE {
    U32 Kind = ELF_EXPR_PIECE_NONE;
    U32 Addr = 0;
    U32 Reg = 0;             ///< DWARF numbering
    I32 Off = 0;             ///< in the object that a pointer that isn't there points to
    ELF_SYM_HANDLE hSym = 0; ///< that object
    U64 Value = 0;
    QByteArray Bytes; ///< in target order
    U32 NumBytes = 0; ///< of Value
    U32 BitSize = 0;  ///< 0: all of the symbol
    U32 BitOffset = 0;
};

struct ELF_SYM_PLACE {
    int Status = ELF_EXPR_INVALID; ///< an ELF_EXPR_STATUS
    QList<ELF_SYM_PIECE> Pieces;   ///< empty unless Status is ELF_EXPR_OK
};

struct ELF_SYM_VALUE {
    int Status = ELF_EXPR_INVALID; ///< ELF_EXPR_OK: all bytes are known
    QByteArray Bytes;              ///< the symbol's size, in target order
    QByteArray Known;              ///< mask of the bits that are known
};

/// Places of a variable or parameter in the frame. ELF_EXPR_OPTIMIZED_OUT where it has neither place nor constant
/// value, ELF_EXPR_UNAVAILABLE where the frame isn't in its scope. A global needs no more of the frame than memory.
ELF_SYM_PLACE ElfApi_GetSymPlace(ELF_SYM_HANDLE h, const ELF_FRAME& Frame);
/// Bytes of a variable or parameter in the frame.
ELF_SYM_VALUE ElfApi_ReadSym(ELF_SYM_HANDLE h, const ELF_FRAME& Frame);
/// Bytes of the pieces, NumBytes of the whole object.
ELF_SYM_VALUE ElfApi_ReadPlace(const ELF_SYM_PLACE& Place, U32 NumBytes, const ELF_FRAME& Frame);
/// Frame base of the function around the frame's PC. 0, or -1 if it isn't described or can't be read.
int ElfApi_GetFrameBase(const ELF_FRAME& Frame, U32* pAddr);
/// "optimized out", "not available", "invalid location expression", or empty.
QString ElfApi_StatusText(int Status);
/// Source of the selected frame, for addresses of local variables; false if there is none. ElfApi_GetSymAddr() calls
/// the functions of that frame under the lock: they answer at once or not at all.
void ElfApi_SetFrameSource(bool (*pfGetFrame)(ELF_FRAME* pFrame));
