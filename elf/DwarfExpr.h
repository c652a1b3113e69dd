#pragma once

// Evaluator of DWARF expressions (DWARF 5, sections 2.5 and 2.6): all operations up to version 5 and the GNU forms that
// came before them, over plain bytes. What the machine and the debug information hold comes through callbacks, so it
// has no state and may run on any thread. Time and memory are bounded: a loop of operations ends after
// ELF_EXPR_MAX_STEPS, calls nest ELF_EXPR_MAX_DEPTH deep. A result is exact or it is none: what can't be known says so.

#include "base/Types.h"

#include <vector>

constexpr U32 ELF_EXPR_MAX_STEPS = 10'000;
constexpr U32 ELF_EXPR_MAX_STACK = 256;
constexpr U32 ELF_EXPR_MAX_DEPTH = 8;
constexpr U32 ELF_EXPR_MAX_PIECES = 64;

enum ELF_EXPR_STATUS : int {
    ELF_EXPR_OK = 0,
    ELF_EXPR_OPTIMIZED_OUT = 1, ///< the program holds the object nowhere at this place
    ELF_EXPR_UNAVAILABLE = 2,   ///< a register, memory or frame that it needs can't be read now
    ELF_EXPR_INVALID = 3,       ///< damaged, or an operation this evaluator doesn't know
};

enum ELF_EXPR_PIECE_KIND : U32 {
    ELF_EXPR_PIECE_NONE = 0,  ///< this part is optimized out
    ELF_EXPR_PIECE_MEM = 1,   ///< memory at Addr
    ELF_EXPR_PIECE_REG = 2,   ///< register Reg
    ELF_EXPR_PIECE_VALUE = 3, ///< the value itself, the low bytes first in Value
    ELF_EXPR_PIECE_BYTES = 4, ///< the value itself, NumBytes bytes at pData inside the expression, in target byte order
    ELF_EXPR_PIECE_IMPLICIT_PTR = 5, ///< a pointer that isn't there, to the object of the DIE at Value, plus Off
};

/// One run of the object, in order from its first byte. BitSize 0 means all of the object.
struct ELF_EXPR_PIECE {
    U32 Kind = ELF_EXPR_PIECE_NONE;
    U32 Addr = 0;
    U32 Reg = 0; ///< DWARF numbering
    I32 Off = 0;
    U64 Value = 0;
    const U8* pData = nullptr;
    U32 NumBytes = 0;
    U32 BitSize = 0;
    U32 BitOffset = 0; ///< first bit taken from the source, from its least significant one
};

struct ELF_EXPR_RESULT {
    int Status = ELF_EXPR_INVALID;
    std::vector<ELF_EXPR_PIECE> Pieces; ///< one for a plain location or value; empty unless Status is ELF_EXPR_OK
};

/// A base type as the typed operations need it; Encoding is a DW_ATE_ number.
struct ELF_EXPR_TYPE {
    U32 ByteSize;
    U32 Encoding;
};

/// What an expression may ask. Each function returns 0, or -1 if it can't tell; a null function can't tell either.
struct ELF_EXPR_ENV {
    void* pContext = nullptr;
    int (*pfReadReg)(void* pContext, U32 Reg, U64* pValue) = nullptr;
    int (*pfReadMem)(void* pContext, U32 Addr, U32 NumBytes, U8* pBuf) = nullptr;
    int (*pfGetFrameBase)(void* pContext, U32* pAddr) = nullptr;
    int (*pfGetCfa)(void* pContext, U32* pAddr) = nullptr;
    /// Entry of the unit's part of .debug_addr.
    int (*pfGetAddr)(void* pContext, U64 Idx, U32* pAddr) = nullptr;
    int (*pfGetTlsAddr)(void* pContext, U64 Off, U32* pAddr) = nullptr;
    /// Address of the object whose member, bound or data location is asked for.
    int (*pfGetObjectAddr)(void* pContext, U32* pAddr) = nullptr;
    /// Address on the target of one that stands in the file.
    U32 (*pfMapAddr)(U32 Addr) = nullptr;
    /// Value that the expression in the block had on entry to the function: an ELF_EXPR_STATUS, as the next two.
    int (*pfGetEntryValue)(void* pContext, const U8* pExpr, U32 NumBytes, U64* pValue) = nullptr;
    /// Value that the caller passed for the parameter at an offset of the unit.
    int (*pfGetParam)(void* pContext, U64 Off, U64* pValue) = nullptr;
    /// Value of the variable at an offset of the section.
    int (*pfGetVariable)(void* pContext, U64 Off, U64* pValue) = nullptr;
    /// Location expression of another DIE. IsUnitRef tells whether Off counts from the unit or from the section.
    int (*pfGetExpr)(void* pContext, U64 Off, bool IsUnitRef, const U8** ppExpr, U32* pNumBytes) = nullptr;
    /// Base type at an offset of the unit.
    int (*pfGetType)(void* pContext, U64 Off, ELF_EXPR_TYPE* pType) = nullptr;
    bool IsBigEndian = false;
    U32 OffsetSize = 4; ///< bytes of a section offset in the expression
};

/// Evaluates a location expression. An empty one, and one that leaves nothing, is ELF_EXPR_OPTIMIZED_OUT. With pInitial
/// the stack starts with that value (the object's address for a member location).
ELF_EXPR_RESULT ELF_EvalExpr(const U8* pExpr, U32 NumBytes, const ELF_EXPR_ENV& Env, const U64* pInitial = nullptr);

/// Evaluates an expression for the number on top of its stack, as a frame rule or an array bound gives it.
int ELF_EvalExprValue(const U8* pExpr, U32 NumBytes, const ELF_EXPR_ENV& Env, const U64* pInitial, U64* pValue);

/// "optimized out", "not available" or "invalid location expression"; empty for ELF_EXPR_OK.
const char* ELF_ExprStatusText(int Status);
