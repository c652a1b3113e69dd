#pragma once

// Pieces of the interpreter that its own files share.

#include "script/Trans.h"

/// Sets the error state once and tells the host. Always -1. The text must live as long as the record.
int TransError(CTrans* pTrans, const char* sError);
/// "Expected a 'c'".
int TransErrorExpected(CTrans* pTrans, char Expected);

// Memory. Null when low and high end would meet; TransAllocLow() reports "Out of memory." itself.
void* TransAllocLow(CTrans* pTrans, U32 NumBytes);
void* TransAllocHigh(CTrans* pTrans, U64 NumBytes);

// Reader.
int TransSkipSpace(CTrans* pTrans);                   ///< 0, or -1 for an unclosed comment
bool TransAccept(CTrans* pTrans, const char* sToken); ///< skips space, then the token if it is there
int TransExpect(CTrans* pTrans, char Expected);       ///< 0 or -1 with the error
bool TransAcceptKeyword(CTrans* pTrans, const char* sKeyword);
/// Length of the identifier at the position behind white space; 0 if there is none. Doesn't move behind it.
U32 TransPeekIdentifier(CTrans* pTrans);
bool TransReadNumber(CTrans* pTrans, I64* pValue);
bool TransIsNumberNext(CTrans* pTrans);

// Declarations.
SCRIPT_SYMBOL* TransReadSymbol(CTrans* pTrans);                  ///< a known symbol, consumed; null if none is next
SCRIPT_SYMBOL* TransParseHeader(CTrans* pTrans);                 ///< function header; null on error
int TransExecDeclaration(CTrans* pTrans, SCRIPT_SYMBOL* pFirst); ///< local variable, behind its first symbol
void TransAppendSymbol(SCRIPT_SYMBOL** ppHead, SCRIPT_SYMBOL** ppTail, SCRIPT_SYMBOL* pSymbol);

// Types and values.
SCRIPT_SYMBOL* TransMakeSymbol(CTrans* pTrans, SCRIPT_SYMBOL_KIND Kind, const char* sName, bool IsLow);
const char* TransCopyName(CTrans* pTrans, const char* sText, U32 Length, bool IsLow);
int TransReadVariable(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, bool HasIndex, I64 Index, I64* pValue);
int TransStoreVariable(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, I64 Index, I64 Value);

// Evaluation. A string literal gives a symbol, everything else a value with *ppSymbol null.
int TransEvalExpression(CTrans* pTrans, bool DoExec, SCRIPT_SYMBOL** ppSymbol, I64* pValue, int MinPrecedence);
/// As above where a string is an error: "Expected a value."
int TransEvalValue(CTrans* pTrans, bool DoExec, I64* pValue);
/// Result of a binary operator by its text. -1 for a division by zero.
int TransCombine(CTrans* pTrans, const char* sOperator, I64 Left, I64 Right, I64* pResult);
/// A call behind the function's name: arguments and, if DoExec, the call.
int TransEvalCall(CTrans* pTrans, SCRIPT_SYMBOL* pFunction, bool DoExec, I64* pResult);

enum TRANS_FLOW : int { TRANS_ERROR = -1, TRANS_NEXT = 0, TRANS_RETURN = 1 };
/// One statement; TRANS_RETURN when the function has ended.
TRANS_FLOW TransExecStatement(CTrans* pTrans, bool DoExec, I64* pResult);
/// Runs a function's body with arguments; the reader's state is saved and restored.
int TransRunBody(CTrans* pTrans, const SCRIPT_SYMBOL* pFunction, I64* paArgs, I64* pResult);

/// Counts one level of nesting for the time of a scope.
class CTransNesting {
public:
    explicit CTransNesting(CTrans* pTrans) : m_pTrans(pTrans) { ++m_pTrans->Nesting; }
    ~CTransNesting() { --m_pTrans->Nesting; }
    CTransNesting(const CTransNesting&) = delete;
    CTransNesting& operator=(const CTransNesting&) = delete;
    bool IsTooDeep() const { return m_pTrans->Nesting > MAX_SCRIPT_NESTING; }

private:
    CTrans* m_pTrans;
};
