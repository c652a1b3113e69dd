#include "script/TransInternal.h"

#include <cstdio>
#include <cstring>

namespace {

struct ASSIGNMENT {
    const char* sText;
    const char* sOperator; ///< null for a plain store
};

constexpr ASSIGNMENT aAssignment[] = {
    {"+=", "+"}, {"-=", "-"}, {"*=", "*"},   {"/=", "/"},   {"&=", "&"},
    {"|=", "|"}, {"^=", "^"}, {"<<=", "<<"}, {">>=", ">>"}, {"=", nullptr},
};

/// Where the reader stands, for loops and calls.
struct READER {
    const char* pPos;
    const char* pLineStart;
    I32 Line;
};

READER Tell(const CTrans* pTrans) { return {pTrans->pPos, pTrans->pLineStart, pTrans->Line}; }

void Seek(CTrans* pTrans, const READER& Reader) {
    pTrans->pPos = Reader.pPos;
    pTrans->pLineStart = Reader.pLineStart;
    pTrans->Line = Reader.Line;
}

bool IsStopped(const CTrans* pTrans) { return pTrans->HasError != 0 || pTrans->DoStop != 0; }
TRANS_FLOW Stopped(const CTrans* pTrans) { return pTrans->HasError != 0 ? TRANS_ERROR : TRANS_RETURN; }

TRANS_FLOW ExecBlock(CTrans* pTrans, bool DoExec, I64* pResult) {
    while (!TransAccept(pTrans, "}")) {
        if (IsStopped(pTrans)) {
            return Stopped(pTrans);
        }
        const TRANS_FLOW Flow = TransExecStatement(pTrans, DoExec, pResult);
        if (Flow != TRANS_NEXT) {
            return Flow;
        }
    }
    return TRANS_NEXT;
}

TRANS_FLOW ExecReturn(CTrans* pTrans, bool DoExec, I64* pResult) {
    I64 Value = 0;
    if (TransEvalValue(pTrans, DoExec, &Value) != 0 || TransExpect(pTrans, ';') != 0) {
        return TRANS_ERROR;
    }
    if (!DoExec) {
        return TRANS_NEXT;
    }
    *pResult = Value;
    return TRANS_RETURN;
}

/// "(" expression ")".
int EvalCondition(CTrans* pTrans, bool DoExec, bool* pIsTrue) {
    I64 Value = 0;
    if (TransExpect(pTrans, '(') != 0 || TransEvalValue(pTrans, DoExec, &Value) != 0 || TransExpect(pTrans, ')') != 0) {
        return -1;
    }
    *pIsTrue = Value != 0;
    return 0;
}

TRANS_FLOW ExecIf(CTrans* pTrans, bool DoExec, I64* pResult) {
    bool IsTrue = false;
    if (EvalCondition(pTrans, DoExec, &IsTrue) != 0) {
        return TRANS_ERROR;
    }
    TRANS_FLOW Flow = TransExecStatement(pTrans, DoExec && IsTrue, pResult);
    if (Flow == TRANS_NEXT && TransAcceptKeyword(pTrans, "else")) {
        Flow = TransExecStatement(pTrans, DoExec && !IsTrue, pResult);
    }
    return Flow;
}

TRANS_FLOW ExecWhile(CTrans* pTrans, bool DoExec, I64* pResult) {
    const READER Start = Tell(pTrans);
    for (;;) {
        bool IsTrue = false;
        if (EvalCondition(pTrans, DoExec, &IsTrue) != 0) {
            return TRANS_ERROR;
        }
        const bool DoBody = DoExec && IsTrue;
        const TRANS_FLOW Flow = TransExecStatement(pTrans, DoBody, pResult);
        if (Flow != TRANS_NEXT || !DoBody) {
            return Flow;
        }
        if (IsStopped(pTrans)) {
            return Stopped(pTrans);
        }
        Seek(pTrans, Start);
    }
}

TRANS_FLOW ExecDo(CTrans* pTrans, bool DoExec, I64* pResult) {
    const READER Start = Tell(pTrans);
    for (;;) {
        const TRANS_FLOW Flow = TransExecStatement(pTrans, DoExec, pResult);
        if (Flow != TRANS_NEXT) {
            return Flow;
        }
        if (!TransAcceptKeyword(pTrans, "while")) {
            constexpr U32 TEXT_SIZE = 64;
            auto* sText = static_cast<char*>(TransAllocLow(pTrans, TEXT_SIZE));
            if (sText != nullptr) {
                std::snprintf(sText, TEXT_SIZE, "Syntax error. missing \"while\" at line %d", pTrans->Line);
                TransError(pTrans, sText);
            }
            return TRANS_ERROR;
        }
        bool IsTrue = false;
        if (EvalCondition(pTrans, DoExec, &IsTrue) != 0 || TransExpect(pTrans, ';') != 0) {
            return TRANS_ERROR;
        }
        if (IsStopped(pTrans)) {
            return Stopped(pTrans);
        }
        if (!DoExec || !IsTrue) {
            return TRANS_NEXT;
        }
        Seek(pTrans, Start);
    }
}

/// "[" index "]" behind an array variable, if it is there.
int ReadIndex(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, bool DoExec, I64* pIndex) {
    if (pVar->pType->Kind != SK_ARRAY) {
        return 0;
    }
    if (!TransAccept(pTrans, "[")) {
        // A bare array name stands for its first element, which an empty array doesn't have.
        return DoExec && pVar->pType->Count <= 0 ? TransError(pTrans, "Array index out of range.") : 0;
    }
    if (TransEvalValue(pTrans, DoExec, pIndex) != 0 || TransExpect(pTrans, ']') != 0) {
        return -1;
    }
    if (DoExec && static_cast<U64>(*pIndex) >= static_cast<U64>(pVar->pType->Count)) {
        return TransError(pTrans, "Array index out of range.");
    }
    return 0;
}

TRANS_FLOW ExecAssignment(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, bool DoExec) {
    I64 Index = 0;
    if (ReadIndex(pTrans, pVar, DoExec, &Index) != 0) {
        return TRANS_ERROR;
    }
    const ASSIGNMENT* pOp = nullptr;
    for (const ASSIGNMENT& Row : aAssignment) {
        if (TransAccept(pTrans, Row.sText)) {
            pOp = &Row;
            break;
        }
    }
    if (pOp == nullptr) {
        return pTrans->HasError != 0 ? TRANS_ERROR : TRANS_NEXT;
    }
    I64 Left = 0;
    if (pOp->sOperator != nullptr && TransReadVariable(pTrans, pVar, false, 0, DoExec ? &Left : nullptr) != 0) {
        return TRANS_ERROR;
    }
    SCRIPT_SYMBOL* pSymbol = nullptr;
    I64 Value = 0;
    if (TransEvalExpression(pTrans, DoExec, &pSymbol, &Value, 0) != 0) {
        return TRANS_ERROR;
    }
    if (pSymbol != nullptr) {
        TransError(pTrans, "Expected a base type.");
        return TRANS_ERROR;
    }
    if (DoExec) {
        if (pOp->sOperator != nullptr && TransCombine(pTrans, pOp->sOperator, Left, Value, &Value) != 0) {
            return TRANS_ERROR;
        }
        if (TransStoreVariable(pTrans, pVar, Index, Value) != 0) {
            return TRANS_ERROR;
        }
    }
    return TransExpect(pTrans, ';') == 0 ? TRANS_NEXT : TRANS_ERROR;
}

TRANS_FLOW ExecNamed(CTrans* pTrans, bool DoExec) {
    SCRIPT_SYMBOL* pSymbol = TransReadSymbol(pTrans);
    if (pSymbol == nullptr) {
        TransError(pTrans, "Syntax error.");
        return TRANS_ERROR;
    }
    switch (pSymbol->Kind) {
    case SK_VARIABLE:
        return ExecAssignment(pTrans, pSymbol, DoExec);
    case SK_FUNCTION: {
        I64 Result = 0;
        if (TransEvalCall(pTrans, pSymbol, DoExec, &Result) != 0 || TransExpect(pTrans, ';') != 0) {
            return TRANS_ERROR;
        }
        return TRANS_NEXT;
    }
    case SK_QUALIFIER:
    case SK_BASE_TYPE:
        return TransExecDeclaration(pTrans, pSymbol) == 0 ? TRANS_NEXT : TRANS_ERROR;
    default:
        return TRANS_NEXT;
    }
}

bool IsApiFunction(const SCRIPT_SYMBOL* pFunction) {
    for (const SCRIPT_ATTR* pAttr = pFunction->pAttrs; pAttr != nullptr; pAttr = pAttr->pNext) {
        if (std::strcmp(pAttr->pSymbol->sName, "__api__") == 0) {
            return true;
        }
    }
    return false;
}

/// Variable records for the parameters, each with the argument's slot as its storage.
int DeclareParams(CTrans* pTrans, const SCRIPT_SYMBOL* pFunction, I64* paArgs) {
    for (const SCRIPT_SYMBOL* pParam = pFunction->pParams; pParam != nullptr; pParam = pParam->pNext) {
        SCRIPT_SYMBOL* pVar = TransMakeSymbol(pTrans, SK_VARIABLE, pParam->sName, false);
        if (pVar == nullptr) {
            return -1;
        }
        pVar->pType = pParam->pType;
        pVar->pData = reinterpret_cast<U8*>(paArgs++);
        TransAppendSymbol(&pTrans->pLocals, &pTrans->pLocalsEnd, pVar);
    }
    return 0;
}

} // namespace

TRANS_FLOW TransExecStatement(CTrans* pTrans, bool DoExec, I64* pResult) {
    const CTransNesting Nesting(pTrans);
    if (Nesting.IsTooDeep()) {
        TransError(pTrans, "Out of memory.");
        return TRANS_ERROR;
    }
    if (++pTrans->NumStatements % STATEMENTS_PER_CALL == 0 && pTrans->pfOnStatements != nullptr) {
        pTrans->pfOnStatements(pTrans);
    }
    if (IsStopped(pTrans)) {
        return Stopped(pTrans);
    }
    if (TransAccept(pTrans, "{")) {
        return ExecBlock(pTrans, DoExec, pResult);
    }
    if (TransAcceptKeyword(pTrans, "return")) {
        return ExecReturn(pTrans, DoExec, pResult);
    }
    if (TransAcceptKeyword(pTrans, "if")) {
        return ExecIf(pTrans, DoExec, pResult);
    }
    if (TransAcceptKeyword(pTrans, "else")) {
        TransError(pTrans, "Keyword \"else\" is not allowed without \"if\"");
        return TRANS_ERROR;
    }
    if (TransAcceptKeyword(pTrans, "for")) {
        TransError(pTrans, "Keyword \"for\" is not yet supported");
        return TRANS_ERROR;
    }
    if (TransAcceptKeyword(pTrans, "while")) {
        return ExecWhile(pTrans, DoExec, pResult);
    }
    if (TransAcceptKeyword(pTrans, "do")) {
        return ExecDo(pTrans, DoExec, pResult);
    }
    return ExecNamed(pTrans, DoExec);
}

int TransEvalCall(CTrans* pTrans, SCRIPT_SYMBOL* pFunction, bool DoExec, I64* pResult) {
    I64 aArg[MAX_SCRIPT_ARGS] = {};
    U32 NumArgs = 0;
    if (TransExpect(pTrans, '(') != 0) {
        return -1;
    }
    for (const SCRIPT_SYMBOL* pParam = pFunction->pParams; pParam != nullptr; pParam = pParam->pNext) {
        SCRIPT_SYMBOL* pSymbol = nullptr;
        I64 Value = 0;
        if (TransEvalExpression(pTrans, DoExec, &pSymbol, &Value, 0) != 0) {
            return -1;
        }
        aArg[NumArgs++] = pSymbol != nullptr ? reinterpret_cast<I64>(pSymbol->pData) : Value;
        TransAccept(pTrans, ",");
    }
    if (TransExpect(pTrans, ')') != 0) {
        return -1;
    }
    *pResult = 0;
    if (!DoExec) {
        return 0;
    }
    if (!IsApiFunction(pFunction)) {
        return TransRunBody(pTrans, pFunction, aArg, pResult);
    }
    if (NumArgs <= MAX_API_ARGS && pFunction->pfHandler != nullptr) {
        *pResult = pFunction->pfHandler(aArg, NumArgs);
    }
    return pTrans->HasError != 0 ? -1 : 0;
}

int TransRunBody(CTrans* pTrans, const SCRIPT_SYMBOL* pFunction, I64* paArgs, I64* pResult) {
    const READER Reader = Tell(pTrans);
    U8* pLow = pTrans->pLow;
    U8* pHigh = pTrans->pHigh;
    SCRIPT_SYMBOL* pLocals = pTrans->pLocals;
    SCRIPT_SYMBOL* pLocalsEnd = pTrans->pLocalsEnd;
    pTrans->pLocals = nullptr;
    pTrans->pLocalsEnd = nullptr;
    *pResult = -1;
    int Result = DeclareParams(pTrans, pFunction, paArgs);
    if (Result == 0) {
        Seek(pTrans, {pFunction->pBody, pFunction->pBodyLineStart, pFunction->BodyLine});
        Result = TransExpect(pTrans, '{');
    }
    if (Result == 0) {
        Result = ExecBlock(pTrans, true, pResult) == TRANS_ERROR ? -1 : 0;
    }
    Seek(pTrans, Reader);
    if (pTrans->HasError == 0) { // the error's text may lie there
        pTrans->pLow = pLow;
    }
    pTrans->pHigh = pHigh;
    pTrans->pLocals = pLocals;
    pTrans->pLocalsEnd = pLocalsEnd;
    return Result;
}

int TransRunFunction(CTrans* pTrans, const char* sName) {
    pTrans->sError = nullptr;
    const SCRIPT_SYMBOL* pFunction = nullptr;
    for (const SCRIPT_SYMBOL* p = pTrans->pGlobals; p != nullptr && pFunction == nullptr; p = p->pNext) {
        pFunction = p->Kind == SK_FUNCTION && std::strcmp(p->sName, sName) == 0 ? p : nullptr;
    }
    if (pFunction == nullptr || IsApiFunction(pFunction)) {
        return -2;
    }
    if (pTrans->HasError != 0) {
        return -1;
    }
    I64 aArg[MAX_SCRIPT_ARGS] = {};
    I64 Result = 0;
    return TransRunBody(pTrans, pFunction, aArg, &Result);
}
