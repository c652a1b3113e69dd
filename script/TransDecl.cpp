#include "script/TransInternal.h"

#include <cstddef>
#include <cstring>

namespace {

struct PREDEFINED {
    const char* sName;
    SCRIPT_SYMBOL_KIND Kind;
    U32 Number;
};

constexpr PREDEFINED aPredefined[] = {
    {"volatile", SK_QUALIFIER, 1},     {"const", SK_QUALIFIER, 2},   {"signed", SK_QUALIFIER, 3},
    {"unsigned", SK_QUALIFIER, 4},     {"__api__", SK_ATTRIBUTE, 0}, {"char", SK_BASE_TYPE, 1},
    {"int", SK_BASE_TYPE, 4},          {"__int64", SK_BASE_TYPE, 8}, {"void", SK_BASE_TYPE, 0},
    {"__const_char", SK_BASE_TYPE, 1},
};

/// Bytes that a record of a kind needs.
U32 RecordSize(SCRIPT_SYMBOL_KIND Kind) {
    switch (Kind) {
    case SK_FUNCTION:
        return sizeof(SCRIPT_SYMBOL);
    case SK_VARIABLE:
    case SK_ARRAY:
        return offsetof(SCRIPT_SYMBOL, pBody);
    default:
        return offsetof(SCRIPT_SYMBOL, pData);
    }
}

bool AddAttr(CTrans* pTrans, SCRIPT_SYMBOL* pOwner, SCRIPT_SYMBOL* pAttr) {
    auto* pNode = static_cast<SCRIPT_ATTR*>(TransAllocLow(pTrans, sizeof(SCRIPT_ATTR)));
    if (pNode == nullptr) {
        return false;
    }
    *pNode = {pOwner->pAttrs, pAttr};
    pOwner->pAttrs = pNode;
    return true;
}

SCRIPT_SYMBOL* AddPredefined(CTrans* pTrans, const PREDEFINED& Row) {
    SCRIPT_SYMBOL* pSymbol = TransMakeSymbol(pTrans, Row.Kind, Row.sName, true);
    if (pSymbol != nullptr) {
        pSymbol->Size = Row.Number;
        TransAppendSymbol(&pTrans->pGlobals, &pTrans->pGlobalsEnd, pSymbol);
    }
    return pSymbol;
}

/// Name at the position, copied; null with the error if there is none.
const char* ReadNewName(CTrans* pTrans, bool IsLow) {
    const U32 Length = TransPeekIdentifier(pTrans);
    if (Length == 0) {
        TransError(pTrans, "Expected an identifier.");
        return nullptr;
    }
    const char* sName = TransCopyName(pTrans, pTrans->pPos, Length, IsLow);
    pTrans->pPos += Length;
    return sName;
}

/// Wraps a pointer type around the type where a "*" follows.
SCRIPT_SYMBOL* ReadPointer(CTrans* pTrans, SCRIPT_SYMBOL* pType, bool IsLow) {
    if (!TransAccept(pTrans, "*")) {
        return pType;
    }
    SCRIPT_SYMBOL* pPointer = TransMakeSymbol(pTrans, SK_POINTER, "", IsLow);
    if (pPointer != nullptr) {
        pPointer->pType = pType;
    }
    return pPointer;
}

SCRIPT_SYMBOL* ReadParam(CTrans* pTrans) {
    SCRIPT_SYMBOL* pType = TransReadSymbol(pTrans);
    while (pType != nullptr && pType->Kind == SK_QUALIFIER) {
        pType = TransReadSymbol(pTrans);
    }
    if (pType == nullptr || pType->Kind != SK_BASE_TYPE) {
        TransError(pTrans, "Syntax error.");
        return nullptr;
    }
    pType = ReadPointer(pTrans, pType, true);
    const char* sName = pType != nullptr ? ReadNewName(pTrans, true) : nullptr;
    SCRIPT_SYMBOL* pParam = sName != nullptr ? TransMakeSymbol(pTrans, SK_VARIABLE, sName, true) : nullptr;
    if (pParam != nullptr) {
        pParam->pType = pType;
    }
    return pParam;
}

int ReadParams(CTrans* pTrans, SCRIPT_SYMBOL* pFunction) {
    if (TransExpect(pTrans, '(') != 0) {
        return -1;
    }
    const char* pStart = pTrans->pPos;
    if (TransAcceptKeyword(pTrans, "void")) {
        if (TransAccept(pTrans, ")")) {
            return 0;
        }
        pTrans->pPos = pStart; // "void* p" is a parameter like any other
    }
    SCRIPT_SYMBOL* pTail = nullptr;
    U32 Count = 0;
    while (!TransAccept(pTrans, ")")) {
        SCRIPT_SYMBOL* pParam = ReadParam(pTrans);
        if (pParam == nullptr) {
            return -1;
        }
        if (++Count > MAX_SCRIPT_ARGS) {
            return TransError(pTrans, "Syntax error.");
        }
        TransAppendSymbol(&pFunction->pParams, &pTail, pParam);
        TransAccept(pTrans, ",");
    }
    return pTrans->HasError != 0 ? -1 : 0;
}

int SkipBody(CTrans* pTrans) {
    if (!TransAccept(pTrans, "{")) {
        return TransError(pTrans, "Expected '{'");
    }
    int Depth = 1;
    while (Depth > 0) {
        if (TransSkipSpace(pTrans) != 0) {
            return -1;
        }
        const char c = *pTrans->pPos;
        if (c == '\0') {
            return TransError(pTrans, "Unexpected end of file looking for '}'");
        }
        Depth += c == '{' ? 1 : (c == '}' ? -1 : 0);
        ++pTrans->pPos;
        if (c == '"') { // a string that isn't closed is an error when it is read
            pTrans->pPos += std::strcspn(pTrans->pPos, "\"\n");
            pTrans->pPos += *pTrans->pPos == '"' ? 1 : 0;
        }
    }
    return 0;
}

} // namespace

CTrans* TransInit(void* pHeap, const char* sText) {
    if (pHeap == nullptr) {
        return nullptr;
    }
    std::memset(pHeap, 0, SCRIPT_HEAP_SIZE);
    auto* pTrans = static_cast<CTrans*>(pHeap);
    pTrans->pLow = static_cast<U8*>(pHeap) + ((sizeof(CTrans) + 7) & ~static_cast<size_t>(7));
    pTrans->pHigh = static_cast<U8*>(pHeap) + SCRIPT_HEAP_SIZE;
    pTrans->sText = sText;
    pTrans->pPos = sText;
    pTrans->pLineStart = sText;
    pTrans->Line = 1;
    for (const PREDEFINED& Row : aPredefined) {
        SCRIPT_SYMBOL* pSymbol = AddPredefined(pTrans, Row);
        if (Row.Kind == SK_QUALIFIER && std::strcmp(Row.sName, "const") == 0) {
            pTrans->pConst = pSymbol;
        }
        pTrans->pConstChar = pSymbol; // the last row
    }
    AddAttr(pTrans, pTrans->pConstChar, pTrans->pConst);
    return pTrans;
}

int TransAddConstant(CTrans* pTrans, const char* sName, I32 Value) {
    const char* sCopy = TransCopyName(pTrans, sName, static_cast<U32>(std::strlen(sName)), true);
    SCRIPT_SYMBOL* pSymbol = sCopy != nullptr ? TransMakeSymbol(pTrans, SK_CONSTANT, sCopy, true) : nullptr;
    if (pSymbol == nullptr) {
        return -1;
    }
    pSymbol->Size = static_cast<U32>(Value);
    TransAppendSymbol(&pTrans->pGlobals, &pTrans->pGlobalsEnd, pSymbol);
    return 0;
}

int TransAddApiFunction(CTrans* pTrans, const char* sPrototype, SCRIPT_API_HANDLER pfHandler) {
    const CTrans Saved = *pTrans;
    pTrans->pPos = sPrototype;
    pTrans->pLineStart = sPrototype;
    SCRIPT_SYMBOL* pFunction = TransParseHeader(pTrans);
    const int Result = pFunction != nullptr ? TransExpect(pTrans, ';') : -1;
    pTrans->pPos = Saved.pPos;
    pTrans->pLineStart = Saved.pLineStart;
    pTrans->Line = Saved.Line;
    if (Result == 0) {
        pFunction->pfHandler = pfHandler;
        TransAppendSymbol(&pTrans->pGlobals, &pTrans->pGlobalsEnd, pFunction);
    }
    return Result;
}

int TransParse(CTrans* pTrans) {
    for (;;) {
        if (TransSkipSpace(pTrans) != 0) {
            return -1;
        }
        if (*pTrans->pPos == '\0') {
            return 0;
        }
        const U32 Length = TransPeekIdentifier(pTrans);
        if (Length == 0 || TransFindSymbol(pTrans, pTrans->pPos, Length) == nullptr) {
            return TransError(pTrans, "Syntax error.");
        }
        SCRIPT_SYMBOL* pFunction = TransParseHeader(pTrans);
        if (pFunction == nullptr || TransSkipSpace(pTrans) != 0) {
            return -1;
        }
        pFunction->pBody = pTrans->pPos;
        pFunction->pBodyLineStart = pTrans->pLineStart;
        pFunction->BodyLine = pTrans->Line;
        TransAppendSymbol(&pTrans->pGlobals, &pTrans->pGlobalsEnd, pFunction);
        if (SkipBody(pTrans) != 0) {
            return -1;
        }
    }
}

SCRIPT_SYMBOL* TransFindSymbol(const CTrans* pTrans, const char* sName, U32 Length) {
    for (SCRIPT_SYMBOL* pList : {pTrans->pLocals, pTrans->pGlobals}) {
        for (SCRIPT_SYMBOL* pSymbol = pList; pSymbol != nullptr; pSymbol = pSymbol->pNext) {
            if (std::strncmp(pSymbol->sName, sName, Length) == 0 && pSymbol->sName[Length] == '\0') {
                return pSymbol;
            }
        }
    }
    return nullptr;
}

SCRIPT_SYMBOL* TransReadSymbol(CTrans* pTrans) {
    const U32 Length = TransPeekIdentifier(pTrans);
    SCRIPT_SYMBOL* pSymbol = Length > 0 ? TransFindSymbol(pTrans, pTrans->pPos, Length) : nullptr;
    if (pSymbol != nullptr) {
        pTrans->pPos += Length;
    }
    return pSymbol;
}

SCRIPT_SYMBOL* TransParseHeader(CTrans* pTrans) {
    SCRIPT_SYMBOL* pFunction = TransMakeSymbol(pTrans, SK_FUNCTION, "", true);
    SCRIPT_SYMBOL* pType = TransMakeSymbol(pTrans, SK_FUNCTION_TYPE, "", true);
    if (pFunction == nullptr || pType == nullptr) {
        return nullptr;
    }
    SCRIPT_SYMBOL* pSymbol = TransReadSymbol(pTrans);
    for (; pSymbol != nullptr && pSymbol->Kind == SK_ATTRIBUTE; pSymbol = TransReadSymbol(pTrans)) {
        if (pSymbol->Size != 0) {
            TransError(pTrans, "Invalid function attribute.");
            return nullptr;
        }
        if (!AddAttr(pTrans, pFunction, pSymbol)) {
            return nullptr;
        }
    }
    while (pSymbol != nullptr && pSymbol->Kind == SK_QUALIFIER) {
        pSymbol = TransReadSymbol(pTrans);
    }
    if (pSymbol == nullptr) {
        TransError(pTrans, "Syntax error.");
        return nullptr;
    }
    if (pSymbol->Kind != SK_BASE_TYPE) {
        pTrans->HasError = 1; // ends the parse without a text of its own; the host adds one
        return nullptr;
    }
    pType->pType = pSymbol;
    pFunction->pType = pType;
    pFunction->sName = ReadNewName(pTrans, true);
    if (pFunction->sName == nullptr || ReadParams(pTrans, pFunction) != 0) {
        return nullptr;
    }
    return pFunction;
}

void TransAppendSymbol(SCRIPT_SYMBOL** ppHead, SCRIPT_SYMBOL** ppTail, SCRIPT_SYMBOL* pSymbol) {
    if (*ppHead == nullptr) {
        *ppHead = pSymbol;
    } else {
        (*ppTail)->pNext = pSymbol;
    }
    *ppTail = pSymbol;
}

SCRIPT_SYMBOL* TransMakeSymbol(CTrans* pTrans, SCRIPT_SYMBOL_KIND Kind, const char* sName, bool IsLow) {
    const U32 NumBytes = RecordSize(Kind);
    void* pMem = IsLow ? TransAllocLow(pTrans, NumBytes) : TransAllocHigh(pTrans, NumBytes);
    if (pMem == nullptr) {
        TransError(pTrans, "Out of memory.");
        return nullptr;
    }
    std::memset(pMem, 0, NumBytes);
    auto* pSymbol = static_cast<SCRIPT_SYMBOL*>(pMem);
    pSymbol->Kind = Kind;
    pSymbol->sName = sName;
    return pSymbol;
}

const char* TransCopyName(CTrans* pTrans, const char* sText, U32 Length, bool IsLow) {
    void* pMem = IsLow ? TransAllocLow(pTrans, Length + 1) : TransAllocHigh(pTrans, Length + 1);
    if (pMem == nullptr) {
        TransError(pTrans, "Out of memory.");
        return nullptr;
    }
    std::memcpy(pMem, sText, Length);
    static_cast<char*>(pMem)[Length] = '\0';
    return static_cast<const char*>(pMem);
}

int TransExecDeclaration(CTrans* pTrans, SCRIPT_SYMBOL* pFirst) {
    SCRIPT_SYMBOL* pType = pFirst;
    while (pType != nullptr && pType->Kind == SK_QUALIFIER) {
        pType = TransReadSymbol(pTrans);
    }
    if (pType == nullptr || pType->Kind != SK_BASE_TYPE) {
        return TransError(pTrans, "Currently only basic data types for local variables are allowed.");
    }
    const SCRIPT_SYMBOL* pBase = pType;
    pType = ReadPointer(pTrans, pType, false);
    const char* sName = pType != nullptr ? ReadNewName(pTrans, false) : nullptr;
    if (sName == nullptr) {
        return -1;
    }
    I64 Count = 1;
    if (TransAccept(pTrans, "[")) {
        if (!TransReadNumber(pTrans, &Count)) {
            return TransError(pTrans, "Expected an integer value");
        }
        SCRIPT_SYMBOL* pArray = TransMakeSymbol(pTrans, SK_ARRAY, "", false);
        if (pArray == nullptr || TransExpect(pTrans, ']') != 0) {
            return -1;
        }
        pArray->pType = pType;
        pArray->Count = Count < 0 || Count > SCRIPT_HEAP_SIZE ? 0 : static_cast<I32>(Count);
        Count = pArray->Count;
        pType = pArray;
    }
    SCRIPT_SYMBOL* pVar = TransMakeSymbol(pTrans, SK_VARIABLE, sName, false);
    if (pVar == nullptr) {
        return -1;
    }
    const U64 ItemSize = pBase->Size > 0 ? pBase->Size : 8;
    pVar->pType = pType;
    pVar->pData = static_cast<U8*>(TransAllocHigh(pTrans, ItemSize * static_cast<U64>(Count)));
    TransAppendSymbol(&pTrans->pLocals, &pTrans->pLocalsEnd, pVar);
    return TransExpect(pTrans, ';');
}
