#include "script/TransInternal.h"

#include <cstring>

namespace {

struct OPERATOR {
    const char* sText;
    int Precedence;
    I64 (*pfApply)(I64 Left, I64 Right); ///< null for the quotient, which can fail
};

U64 AsUnsigned(I64 Value) { return static_cast<U64>(Value); }

// Tried from the top, which gives the longest match. The precedences are the language's own: each operator has one of
// its own and operators of equal precedence group from the right.
constexpr OPERATOR aOperator[] = {
    {">=", 11, [](I64 l, I64 r) -> I64 { return l >= r; }},
    {"<=", 13, [](I64 l, I64 r) -> I64 { return l <= r; }},
    {"&&", 5, [](I64 l, I64 r) -> I64 { return l != 0 && r != 0; }},
    {"||", 4, [](I64 l, I64 r) -> I64 { return l != 0 || r != 0; }},
    {"==", 10, [](I64 l, I64 r) -> I64 { return l == r; }},
    {"!=", 9, [](I64 l, I64 r) -> I64 { return l != r; }},
    {"<<", 16, [](I64 l, I64 r) -> I64 { return static_cast<I64>(AsUnsigned(l) << (AsUnsigned(r) % 64)); }},
    {">>", 15, [](I64 l, I64 r) -> I64 { return l >> (AsUnsigned(r) % 64); }},
    {"*", 21, [](I64 l, I64 r) -> I64 { return static_cast<I64>(AsUnsigned(l) * AsUnsigned(r)); }},
    {"/", 20, nullptr},
    {"+", 18, [](I64 l, I64 r) -> I64 { return static_cast<I64>(AsUnsigned(l) + AsUnsigned(r)); }},
    {"-", 17, [](I64 l, I64 r) -> I64 { return static_cast<I64>(AsUnsigned(l) - AsUnsigned(r)); }},
    {">", 12, [](I64 l, I64 r) -> I64 { return l > r; }},
    {"<", 14, [](I64 l, I64 r) -> I64 { return l < r; }},
    {"&", 8, [](I64 l, I64 r) -> I64 { return l & r; }},
    {"|", 6, [](I64 l, I64 r) -> I64 { return l | r; }},
    {"^", 7, [](I64 l, I64 r) -> I64 { return l ^ r; }},
};

const OPERATOR* AcceptOperator(CTrans* pTrans) {
    for (const OPERATOR& Op : aOperator) {
        if (TransAccept(pTrans, Op.sText)) {
            return &Op;
        }
    }
    return nullptr;
}

char Escape(char c) {
    switch (c) {
    case '\\':
        return '\\';
    case '0':
        return '\0';
    case 'b':
        return '\b';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return '?';
    }
}

/// Copies the literal's characters with escapes translated. Length of the result, or -1.
int TranslateString(CTrans* pTrans, const char* pFrom, U32 Length, char* pTo) {
    int Count = 0;
    for (U32 i = 0; i < Length; ++i) {
        if (pFrom[i] != '\\') {
            pTo[Count++] = pFrom[i];
            continue;
        }
        ++i;
        if (i >= Length || std::strchr("\\0bnrt", pFrom[i]) == nullptr) {
            return TransError(pTrans, "Unexpected escape character.");
        }
        pTo[Count++] = Escape(pFrom[i]);
    }
    pTo[Count] = '\0';
    return Count;
}

int EvalString(CTrans* pTrans, SCRIPT_SYMBOL** ppSymbol) {
    const char* pStart = ++pTrans->pPos;
    while (*pTrans->pPos != '"') {
        if (*pTrans->pPos == '\n' || *pTrans->pPos == '\0') {
            return TransError(pTrans, "Illegal character in string");
        }
        ++pTrans->pPos;
    }
    const U32 Length = static_cast<U32>(pTrans->pPos - pStart);
    ++pTrans->pPos;
    auto* sText = static_cast<char*>(TransAllocLow(pTrans, Length + 1));
    const int Count = sText != nullptr ? TranslateString(pTrans, pStart, Length, sText) : -1;
    SCRIPT_SYMBOL* pArray = Count >= 0 ? TransMakeSymbol(pTrans, SK_ARRAY, "", true) : nullptr;
    SCRIPT_SYMBOL* pVar = pArray != nullptr ? TransMakeSymbol(pTrans, SK_VARIABLE, "", true) : nullptr;
    if (pVar == nullptr) {
        return -1;
    }
    pArray->pType = pTrans->pConstChar;
    pArray->Count = Count + 1;
    pVar->pType = pArray;
    pVar->pData = reinterpret_cast<U8*>(sText);
    *ppSymbol = pVar;
    return 0;
}

int EvalVariable(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, bool DoExec, I64* pValue) {
    const bool IsArray = pVar->pType->Kind == SK_ARRAY;
    I64 Index = 0;
    if (IsArray) {
        if (TransExpect(pTrans, '[') != 0 || TransEvalValue(pTrans, DoExec, &Index) != 0 ||
            TransExpect(pTrans, ']') != 0) {
            return -1;
        }
        if (DoExec && AsUnsigned(Index) >= AsUnsigned(pVar->pType->Count)) {
            return TransError(pTrans, "Array index out of range.");
        }
        if (!DoExec) {
            Index = 0;
        }
    }
    return TransReadVariable(pTrans, pVar, IsArray, Index, DoExec ? pValue : nullptr);
}

int EvalNamed(CTrans* pTrans, SCRIPT_SYMBOL* pSymbol, bool DoExec, I64* pValue) {
    switch (pSymbol->Kind) {
    case SK_CONSTANT:
        *pValue = static_cast<I32>(pSymbol->Size);
        return 0;
    case SK_VARIABLE:
        return EvalVariable(pTrans, pSymbol, DoExec, pValue);
    case SK_FUNCTION:
        return TransEvalCall(pTrans, pSymbol, DoExec, pValue);
    default:
        return TransError(pTrans, "Syntax error. Unexpected type");
    }
}

/// A primary; *ppSymbol is set for a string literal.
int EvalPrimary(CTrans* pTrans, bool DoExec, SCRIPT_SYMBOL** ppSymbol, I64* pValue) {
    if (TransSkipSpace(pTrans) != 0) {
        return -1;
    }
    if (*pTrans->pPos == '"') {
        return EvalString(pTrans, ppSymbol);
    }
    if (TransAccept(pTrans, "(")) {
        if (TransEvalExpression(pTrans, DoExec, ppSymbol, pValue, 0) != 0) {
            return -1;
        }
        return TransExpect(pTrans, ')');
    }
    if (TransReadNumber(pTrans, pValue)) {
        return 0;
    }
    const U32 Length = TransPeekIdentifier(pTrans);
    if (Length == 0) {
        return TransError(pTrans, "Expected a value or an identifier.");
    }
    SCRIPT_SYMBOL* pSymbol = TransReadSymbol(pTrans);
    if (pSymbol == nullptr) {
        return TransError(pTrans, "Unknown identifier.");
    }
    return EvalNamed(pTrans, pSymbol, DoExec, pValue);
}

int Apply(CTrans* pTrans, const OPERATOR& Op, I64 Left, I64 Right, I64* pResult) {
    if (Op.pfApply != nullptr) {
        *pResult = Op.pfApply(Left, Right);
        return 0;
    }
    if (Right == 0) {
        pTrans->IsDivisionByZero = 1;
        return TransError(pTrans, "Division by zero");
    }
    *pResult = Right == -1 ? static_cast<I64>(0 - AsUnsigned(Left)) : Left / Right;
    return 0;
}

} // namespace

int TransEvalExpression(CTrans* pTrans, bool DoExec, SCRIPT_SYMBOL** ppSymbol, I64* pValue, int MinPrecedence) {
    const CTransNesting Nesting(pTrans);
    if (Nesting.IsTooDeep()) {
        return TransError(pTrans, "Out of memory.");
    }
    *ppSymbol = nullptr;
    *pValue = 0;
    if (EvalPrimary(pTrans, DoExec, ppSymbol, pValue) != 0) {
        return -1;
    }
    while (*ppSymbol == nullptr) {
        if (TransSkipSpace(pTrans) != 0) {
            return -1;
        }
        const char* pOperator = pTrans->pPos;
        const OPERATOR* pOp = AcceptOperator(pTrans);
        if (pOp == nullptr || pOp->Precedence < MinPrecedence) {
            pTrans->pPos = pOperator;
            return pTrans->HasError != 0 ? -1 : 0;
        }
        SCRIPT_SYMBOL* pRightSymbol = nullptr;
        I64 Right = 0;
        if (TransEvalExpression(pTrans, DoExec, &pRightSymbol, &Right, pOp->Precedence) != 0) {
            return -1;
        }
        if (pRightSymbol != nullptr) {
            return TransError(pTrans, "Expected a base type.");
        }
        if (DoExec && Apply(pTrans, *pOp, *pValue, Right, pValue) != 0) {
            return -1;
        }
    }
    return 0;
}

int TransEvalValue(CTrans* pTrans, bool DoExec, I64* pValue) {
    SCRIPT_SYMBOL* pSymbol = nullptr;
    if (TransEvalExpression(pTrans, DoExec, &pSymbol, pValue, 0) != 0) {
        return -1;
    }
    return pSymbol != nullptr ? TransError(pTrans, "Expected a value.") : 0;
}

int TransCombine(CTrans* pTrans, const char* sOperator, I64 Left, I64 Right, I64* pResult) {
    for (const OPERATOR& Op : aOperator) {
        if (std::strcmp(Op.sText, sOperator) == 0) {
            return Apply(pTrans, Op, Left, Right, pResult);
        }
    }
    return TransError(pTrans, "Syntax error.");
}

int TransReadVariable(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, bool HasIndex, I64 Index, I64* pValue) {
    const SCRIPT_SYMBOL* pType = HasIndex ? pVar->pType->pType : pVar->pType;
    if (pType->Kind != SK_BASE_TYPE) {
        return TransError(pTrans, HasIndex ? "Currently, only arrays of base type variables are allowed."
                                           : "Expected a base type.");
    }
    if (pType->Size == 0 || pType->Size > 8) {
        return TransError(pTrans, "Unsupported base type size.");
    }
    if (pValue == nullptr) {
        return 0;
    }
    if (pVar->pData == nullptr) {
        return TransError(pTrans, "Out of memory.");
    }
    U64 Value = 0;
    std::memcpy(&Value, pVar->pData + AsUnsigned(Index) * pType->Size, pType->Size);
    *pValue = static_cast<I64>(Value);
    return 0;
}

int TransStoreVariable(CTrans* pTrans, const SCRIPT_SYMBOL* pVar, I64 Index, I64 Value) {
    const SCRIPT_SYMBOL* pType = pVar->pType->Kind == SK_ARRAY ? pVar->pType->pType : pVar->pType;
    if (pType->Kind != SK_BASE_TYPE) {
        return TransError(pTrans, "Assignments are allowed for base types only");
    }
    if (pType->Size == 0) {
        return TransError(pTrans, "Base type size must be at least 1 byte");
    }
    if (pType->Size > 8) {
        return TransError(pTrans, "Base type size exceeds 8 bytes");
    }
    if (pVar->pData == nullptr) {
        return TransError(pTrans, "Out of memory.");
    }
    std::memcpy(pVar->pData + AsUnsigned(Index) * pType->Size, &Value, pType->Size);
    return 0;
}
