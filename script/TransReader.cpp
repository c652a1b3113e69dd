#include "script/TransInternal.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr U32 HEAP_ALIGNMENT = 8;

bool IsIdentStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsIdentChar(char c) { return IsIdentStart(c) || IsDigit(c) || c == '.'; }

int HexDigit(char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

void Advance(CTrans* pTrans) {
    if (*pTrans->pPos == '\n') {
        ++pTrans->Line;
        pTrans->pLineStart = pTrans->pPos + 1;
    }
    ++pTrans->pPos;
}

int SkipBlockComment(CTrans* pTrans) {
    pTrans->pPos += 2;
    while (*pTrans->pPos != '\0' && std::strncmp(pTrans->pPos, "*/", 2) != 0) {
        Advance(pTrans);
    }
    if (*pTrans->pPos == '\0') {
        return TransError(pTrans, "C-comment has not been closed properly");
    }
    pTrans->pPos += 2;
    return 0;
}

} // namespace

int TransError(CTrans* pTrans, const char* sError) {
    if (pTrans->HasError == 0) {
        pTrans->HasError = 1;
        pTrans->sError = sError;
        if (pTrans->pfOnError != nullptr) {
            pTrans->pfOnError(pTrans);
        }
    }
    return -1;
}

int TransErrorExpected(CTrans* pTrans, char Expected) {
    constexpr U32 TEXT_SIZE = 16;
    char* sText = static_cast<char*>(TransAllocLow(pTrans, TEXT_SIZE));
    if (sText == nullptr) {
        return -1;
    }
    std::snprintf(sText, TEXT_SIZE, "Expected a '%c'", Expected);
    return TransError(pTrans, sText);
}

void* TransAllocLow(CTrans* pTrans, U32 NumBytes) {
    const U32 Aligned = (NumBytes + HEAP_ALIGNMENT - 1) & ~(HEAP_ALIGNMENT - 1);
    if (Aligned < NumBytes || pTrans->pHigh - pTrans->pLow <= static_cast<I64>(Aligned)) {
        TransError(pTrans, "Out of memory.");
        return nullptr;
    }
    void* pMem = pTrans->pLow;
    pTrans->pLow += Aligned;
    return pMem;
}

void* TransAllocHigh(CTrans* pTrans, U64 NumBytes) {
    if (NumBytes > SCRIPT_HEAP_SIZE) {
        return nullptr;
    }
    const U64 Aligned = (NumBytes + HEAP_ALIGNMENT - 1) & ~static_cast<U64>(HEAP_ALIGNMENT - 1);
    if (pTrans->pHigh - pTrans->pLow <= static_cast<I64>(Aligned)) {
        return nullptr;
    }
    pTrans->pHigh -= Aligned;
    return pTrans->pHigh;
}

int TransSkipSpace(CTrans* pTrans) {
    for (;;) {
        const char* p = pTrans->pPos;
        if (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') {
            Advance(pTrans);
        } else if (p[0] == '/' && p[1] == '/') {
            while (*pTrans->pPos != '\0' && *pTrans->pPos != '\n') {
                ++pTrans->pPos;
            }
        } else if (p[0] == '/' && p[1] == '*') {
            if (SkipBlockComment(pTrans) != 0) {
                return -1;
            }
        } else {
            return 0;
        }
    }
}

bool TransAccept(CTrans* pTrans, const char* sToken) {
    const size_t Length = std::strlen(sToken);
    if (TransSkipSpace(pTrans) != 0 || std::strncmp(pTrans->pPos, sToken, Length) != 0) {
        return false;
    }
    pTrans->pPos += Length;
    return true;
}

int TransExpect(CTrans* pTrans, char Expected) {
    const char sToken[2] = {Expected, '\0'};
    if (TransAccept(pTrans, sToken)) {
        return 0;
    }
    return TransErrorExpected(pTrans, Expected);
}

bool TransAcceptKeyword(CTrans* pTrans, const char* sKeyword) {
    const size_t Length = std::strlen(sKeyword);
    if (TransSkipSpace(pTrans) != 0 || std::strncmp(pTrans->pPos, sKeyword, Length) != 0 ||
        IsIdentChar(pTrans->pPos[Length])) {
        return false;
    }
    pTrans->pPos += Length;
    return true;
}

U32 TransPeekIdentifier(CTrans* pTrans) {
    if (TransSkipSpace(pTrans) != 0 || !IsIdentStart(*pTrans->pPos)) {
        return 0;
    }
    U32 Length = 1;
    while (IsIdentChar(pTrans->pPos[Length])) {
        ++Length;
    }
    return Length;
}

bool TransIsNumberNext(CTrans* pTrans) {
    if (TransSkipSpace(pTrans) != 0) {
        return false;
    }
    const char* p = pTrans->pPos + (*pTrans->pPos == '-' ? 1 : 0);
    return IsDigit(*p);
}

bool TransReadNumber(CTrans* pTrans, I64* pValue) {
    if (!TransIsNumberNext(pTrans)) {
        return false;
    }
    const bool IsNegative = *pTrans->pPos == '-';
    const char* p = pTrans->pPos + (IsNegative ? 1 : 0);
    U64 Value = 0;
    if (p[0] == '0' && p[1] == 'x' && HexDigit(p[2]) >= 0) {
        for (p += 2; HexDigit(*p) >= 0; ++p) {
            Value = Value * 16 + static_cast<U64>(HexDigit(*p));
        }
    } else {
        for (; IsDigit(*p); ++p) {
            Value = Value * 10 + static_cast<U64>(*p - '0');
        }
    }
    pTrans->pPos = p;
    *pValue = static_cast<I64>(IsNegative ? 0 - Value : Value);
    return true;
}
