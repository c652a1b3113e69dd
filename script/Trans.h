#pragma once

// CTrans: the interpreter of the project language, a small C-like script. It walks the source text each time a
// function runs; loading only registers function headers. All memory of a script lies in one block of
// SCRIPT_HEAP_SIZE bytes: the low end grows upward with symbols, functions and, while a function runs, its string
// literals, the high end downward with the locals of running functions. Main thread only; nested runs of
// TransRunFunction() on the same record are allowed while an API function runs.

#include "base/Types.h"

constexpr U32 SCRIPT_HEAP_SIZE = 1'000'000;
constexpr U32 MAX_SCRIPT_ARGS = 15;       ///< arguments of a script function
constexpr U32 MAX_API_ARGS = 8;           ///< arguments of an API function; more make the call do nothing
constexpr U32 STATEMENTS_PER_CALL = 1024; ///< between two calls of CTrans::pfOnStatements
constexpr I32 MAX_SCRIPT_NESTING = 1500;  ///< nested statements, expressions and calls; protects the host's stack

enum SCRIPT_SYMBOL_KIND : U32 {
    SK_BASE_TYPE = 0,
    SK_CONSTANT = 4,
    SK_POINTER = 6,
    SK_FUNCTION = 7,
    SK_QUALIFIER = 8,
    SK_ATTRIBUTE = 9,
    SK_FUNCTION_TYPE = 10,
    SK_VARIABLE = 11,
    SK_ARRAY = 12,
};

struct SCRIPT_SYMBOL;
struct CTrans;

using SCRIPT_API_HANDLER = I32 (*)(const I64* paArgs, U32 NumArgs);

struct SCRIPT_ATTR {
    SCRIPT_ATTR* pNext;
    SCRIPT_SYMBOL* pSymbol;
};

/// One symbol. A record is only as long as its kind needs.
struct SCRIPT_SYMBOL {
    SCRIPT_SYMBOL* pNext;
    SCRIPT_ATTR* pAttrs;
    const char* sName;
    U32 Kind;
    union {
        U32 Size;             ///< bytes of a base type, value of a constant, number of a qualifier or attribute
        SCRIPT_SYMBOL* pType; ///< the type this one refers to
    };
    union {
        U8* pData;              ///< a variable's storage
        I32 Count;              ///< an array's element count
        SCRIPT_SYMBOL* pParams; ///< a function's first parameter
    };
    union {
        const char* pBody;            ///< a script function's text, from its "{" on
        SCRIPT_API_HANDLER pfHandler; ///< an API function's entry
    };
    const char* pBodyLineStart;
    I32 BodyLine;
};

/// The interpreter's record, at the start of the heap.
struct CTrans {
    U8* pLow;
    U8* pHigh;
    const char* sText;
    const char* pPos;
    const char* pLineStart;
    I32 Line; ///< 1 for the first line
    I32 HasError;
    I32 DoStop; ///< set from outside; ends a run at the next statement
    const char* sError;
    void (*pfOnError)(const CTrans* pTrans);
    SCRIPT_SYMBOL* pGlobals;
    SCRIPT_SYMBOL* pGlobalsEnd;
    SCRIPT_SYMBOL* pLocals;
    SCRIPT_SYMBOL* pLocalsEnd;
    SCRIPT_SYMBOL* pConstChar;
    SCRIPT_SYMBOL* pConst;
    I32 IsDivisionByZero; ///< the error is one that the language has no text for
    I32 Nesting;
    U32 NumStatements;                      ///< run so far, modulo 2^32
    void (*pfOnStatements)(CTrans* pTrans); ///< called now and then while a function runs; null for none
};

/// Zeroes the heap (SCRIPT_HEAP_SIZE bytes, 8-byte aligned), sets up the record and the predefined symbols. The text
/// (zero-terminated UTF-8) must outlive the record. Null if pHeap is null.
CTrans* TransInit(void* pHeap, const char* sText);

/// Appends a constant. 0, or -1 when the heap is full.
int TransAddConstant(CTrans* pTrans, const char* sName, I32 Value);

/// Registers a host function by its prototype, which must end with ";". 0 or -1.
int TransAddApiFunction(CTrans* pTrans, const char* sPrototype, SCRIPT_API_HANDLER pfHandler);

/// Reads the text and registers all functions. 0 or -1.
int TransParse(CTrans* pTrans);

/// Locals first, then globals; exact match; null if none.
SCRIPT_SYMBOL* TransFindSymbol(const CTrans* pTrans, const char* sName, U32 Length);

/// Runs a function by name: 0, -1 on error, -2 if it doesn't exist.
int TransRunFunction(CTrans* pTrans, const char* sName);
