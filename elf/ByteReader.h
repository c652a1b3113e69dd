#pragma once

// Reads numbers from a run of bytes out of a file, in either byte order. Reading past the end gives 0 and sets the
// failure mark, so that a decoder may check once per record.

#include "base/Types.h"

class CByteReader {
public:
    CByteReader() = default;
    CByteReader(const U8* pData, U64 NumBytes, bool IsBig) : m_p(pData), m_pEnd(pData + NumBytes), m_IsBig(IsBig) {}
    bool IsFailed() const { return m_IsFailed; }
    bool IsAtEnd() const { return m_p >= m_pEnd; }
    U64 GetLeft() const { return static_cast<U64>(m_pEnd - m_p); }
    const U8* GetPtr() const { return m_p; }
    bool IsBig() const { return m_IsBig; }
    void Fail() {
        m_IsFailed = true;
        m_p = m_pEnd;
    }
    void Skip(U64 NumBytes) {
        if (NumBytes > GetLeft()) {
            Fail();
        } else {
            m_p += NumBytes;
        }
    }
    /// Unsigned number of 1 to 8 bytes.
    U64 Get(U32 NumBytes) {
        if (NumBytes > GetLeft()) {
            Fail();
            return 0;
        }
        U64 Value = 0;
        for (U32 i = 0; i < NumBytes; ++i) {
            Value |= static_cast<U64>(m_p[m_IsBig ? NumBytes - 1 - i : i]) << (8 * i);
        }
        m_p += NumBytes;
        return Value;
    }
    I64 GetSigned(U32 NumBytes) {
        const U32 Shift = 64 - 8 * NumBytes;
        return static_cast<I64>(Get(NumBytes) << Shift) >> Shift;
    }
    U8 GetU8() {
        if (m_p >= m_pEnd) {
            Fail();
            return 0;
        }
        return *m_p++;
    }
    U16 GetU16() { return static_cast<U16>(Get(2)); }
    U32 GetU32() { return static_cast<U32>(Get(4)); }
    U64 GetULeb() {
        if (m_p < m_pEnd && *m_p < 0x80) {
            return *m_p++;
        }
        U32 Shift = 0;
        U8 Last = 0;
        return GetLeb(&Shift, &Last);
    }
    I64 GetSLeb() {
        U32 Shift = 0;
        U8 Last = 0;
        U64 Value = GetLeb(&Shift, &Last);
        if (Shift < 64 && (Last & 0x40) != 0) {
            Value |= ~0ULL << Shift;
        }
        return static_cast<I64>(Value);
    }
    /// Zero-terminated text; empty with the failure mark if it doesn't end inside.
    const char* GetString() {
        const U8* pStart = m_p;
        while (m_p < m_pEnd && *m_p != 0) {
            ++m_p;
        }
        if (m_p >= m_pEnd) {
            Fail();
            return "";
        }
        ++m_p;
        return reinterpret_cast<const char*>(pStart);
    }
    /// The next NumBytes as a reader of their own.
    CByteReader Sub(U64 NumBytes) {
        const U8* pStart = m_p;
        Skip(NumBytes);
        return m_IsFailed ? CByteReader(m_pEnd, 0, m_IsBig) : CByteReader(pStart, NumBytes, m_IsBig);
    }

private:
    /// The bits of a LEB128 number, their count (64 at least from there on) and its last byte.
    U64 GetLeb(U32* pShift, U8* pLast) {
        U64 Value = 0;
        *pLast = 0x80;
        while ((*pLast & 0x80) != 0 && !m_IsFailed) {
            *pLast = GetU8();
            Value |= *pShift < 64 ? static_cast<U64>(*pLast & 0x7F) << *pShift : 0;
            *pShift = *pShift < 64 ? *pShift + 7 : *pShift;
        }
        return Value;
    }

    const U8* m_p = nullptr;
    const U8* m_pEnd = nullptr;
    bool m_IsBig = false;
    bool m_IsFailed = false;
};
