#pragma once

// Reads numbers from a run of bytes out of a file, in either byte order. Past the end everything reads as 0 or empty
// and IsOk() says so, so that a decoder may check once per record.

#include "base/Types.h"

#include <bit>
#include <cstring>
#include <string_view>

class CByteReader {
public:
    CByteReader() = default;
    CByteReader(const U8* pData, U64 NumBytes, bool IsBig) : m_p(pData), m_pEnd(pData + NumBytes), m_IsBig(IsBig) {}
    bool IsOk() const { return !m_IsFailed; }
    bool IsAtEnd() const { return m_p >= m_pEnd; }
    U64 GetLeft() const { return static_cast<U64>(m_pEnd - m_p); }
    const U8* GetPtr() const { return m_p; }
    bool IsBig() const { return m_IsBig; }
    void Fail() {
        m_IsFailed = true;
        m_p = m_pEnd;
    }
    bool Skip(U64 NumBytes) {
        if (NumBytes > GetLeft()) {
            Fail();
            return false;
        }
        m_p += NumBytes;
        return true;
    }
    U8 GetU8() {
        if (m_p >= m_pEnd) {
            Fail();
            return 0;
        }
        return *m_p++;
    }
    U16 GetU16() { return GetNumber<U16>(); }
    U32 GetU32() { return GetNumber<U32>(); }
    U64 GetU64() { return GetNumber<U64>(); }
    /// Unsigned number of 1 to 8 bytes; any other size fails.
    U64 Get(U32 NumBytes) {
        switch (NumBytes) {
        case 1:
            return GetU8();
        case 2:
            return GetU16();
        case 4:
            return GetU32();
        case 8:
            return GetU64();
        default:
            return GetOdd(NumBytes);
        }
    }
    I64 GetSigned(U32 NumBytes) {
        const U64 Value = Get(NumBytes);
        const U32 Shift = 64 - 8 * NumBytes;
        return m_IsFailed ? 0 : static_cast<I64>(Value << Shift) >> Shift;
    }
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
    /// Text up to its zero, which must stand inside.
    std::string_view GetString() {
        const void* pZero = m_p < m_pEnd ? std::memchr(m_p, 0, GetLeft()) : nullptr;
        if (pZero == nullptr) {
            Fail();
            return {};
        }
        const std::string_view sText(reinterpret_cast<const char*>(m_p),
                                     static_cast<size_t>(static_cast<const U8*>(pZero) - m_p));
        m_p += sText.size() + 1;
        return sText;
    }
    /// The next NumBytes as a reader of their own.
    CByteReader Sub(U64 NumBytes) {
        const U8* pStart = m_p;
        return Skip(NumBytes) ? CByteReader(pStart, NumBytes, m_IsBig) : CByteReader(m_pEnd, 0, m_IsBig);
    }

private:
    template <typename T> T GetNumber() {
        T Value = 0;
        if (GetLeft() < sizeof(T)) {
            Fail();
            return 0;
        }
        std::memcpy(&Value, m_p, sizeof(T));
        m_p += sizeof(T);
        if (m_IsBig == (std::endian::native == std::endian::big)) {
            return Value;
        }
        if constexpr (sizeof(T) == 2) {
            return __builtin_bswap16(Value);
        } else if constexpr (sizeof(T) == 4) {
            return __builtin_bswap32(Value);
        } else {
            return __builtin_bswap64(Value);
        }
    }
    U64 GetOdd(U32 NumBytes) {
        if (NumBytes == 0 || NumBytes > 8 || NumBytes > GetLeft()) {
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
