#pragma once

// Reads DWARF's number formats from a block of bytes. Past the end everything reads as 0 and IsOk() says so.

#include "elf/DwarfStore.h"

#include <cstring>

struct DWARF_READER {
    const U8* p;
    const U8* pEnd;
    bool IsSwapped;
    bool IsFailed = false;

    DWARF_READER(const DWARF_STORE& S, U32 Section, U64 Off, U64 End = ~0ull)
        : p(nullptr), pEnd(nullptr), IsSwapped(S.IsSwapped) {
        const DWARF_SECTION& Sec = S.aSection[Section];
        End = End < Sec.Size ? End : Sec.Size;
        IsFailed = Off > End || Sec.pData == nullptr;
        if (!IsFailed) {
            p = Sec.pData + Off;
            pEnd = Sec.pData + End;
        }
    }
    DWARF_READER(const U8* pData, U64 Size, bool IsSwappedData)
        : p(pData), pEnd(pData + Size), IsSwapped(IsSwappedData) {}

    bool IsOk() const { return !IsFailed; }
    bool IsAtEnd() const { return IsFailed || p >= pEnd; }
    U64 NumLeft() const { return IsFailed ? 0 : static_cast<U64>(pEnd - p); }

    bool Skip(U64 NumBytes) {
        if (NumBytes > NumLeft()) {
            IsFailed = true;
            return false;
        }
        p += NumBytes;
        return true;
    }
    template <typename T>
    T Get() {
        T Value{};
        if (NumLeft() < sizeof(T)) {
            IsFailed = true;
            return Value;
        }
        std::memcpy(&Value, p, sizeof(T));
        p += sizeof(T);
        if constexpr (sizeof(T) == 2) {
            return IsSwapped ? static_cast<T>(__builtin_bswap16(Value)) : Value;
        } else if constexpr (sizeof(T) == 4) {
            return IsSwapped ? static_cast<T>(__builtin_bswap32(Value)) : Value;
        } else if constexpr (sizeof(T) == 8) {
            return IsSwapped ? static_cast<T>(__builtin_bswap64(Value)) : Value;
        } else {
            return Value;
        }
    }
    U64 GetSized(U32 NumBytes) {
        switch (NumBytes) {
        case 1:
            return Get<U8>();
        case 2:
            return Get<U16>();
        case 3: {
            const U64 a = Get<U8>();
            const U64 b = Get<U8>();
            const U64 c = Get<U8>();
            return IsSwapped ? (a << 16) | (b << 8) | c : (c << 16) | (b << 8) | a;
        }
        case 4:
            return Get<U32>();
        case 8:
            return Get<U64>();
        default:
            IsFailed = true;
            return 0;
        }
    }
    U64 GetUleb() {
        U64 Value = 0;
        for (U32 Shift = 0; !IsFailed; Shift += 7) {
            const U8 Byte = Get<U8>();
            Value |= Shift < 64 ? static_cast<U64>(Byte & 0x7F) << Shift : 0;
            if ((Byte & 0x80) == 0) {
                break;
            }
        }
        return Value;
    }
    I64 GetSleb() {
        U64 Value = 0;
        U32 Shift = 0;
        U8 Byte = 0x80;
        while ((Byte & 0x80) != 0 && !IsFailed) {
            Byte = Get<U8>();
            Value |= Shift < 64 ? static_cast<U64>(Byte & 0x7F) << Shift : 0;
            Shift += 7;
        }
        if (Shift < 64 && (Byte & 0x40) != 0) {
            Value |= ~0ull << Shift;
        }
        return static_cast<I64>(Value);
    }
    /// Text up to its zero; empty with IsFailed if it has none.
    std::string_view GetString() {
        const void* pZero = NumLeft() != 0 ? std::memchr(p, 0, NumLeft()) : nullptr;
        if (pZero == nullptr) {
            IsFailed = true;
            return {};
        }
        const std::string_view sText(reinterpret_cast<const char*>(p),
                                     static_cast<size_t>(static_cast<const U8*>(pZero) - p));
        p += sText.size() + 1;
        return sText;
    }
};

/// Codes of skip and look programs; smaller values are byte counts. LOOK_FIRST plus a DWARF_FIELD says that the field
/// begins here; the entry behind it is its form.
enum DWARF_SKIP : U16 {
    LOOK_FIRST = 0xFFD0,
    SKIP_FIRST = 0xFFF0,
    SKIP_ULEB = SKIP_FIRST,
    SKIP_STRING,
    SKIP_BLOCK1,
    SKIP_BLOCK2,
    SKIP_BLOCK4,
    SKIP_BLOCK,
    SKIP_INDIRECT,
};

/// Value of DW_FORM_implicit_const at that index of AttrSpecs.
I64 DWARF_ImplicitConst(const DWARF_STORE& S, U32 SpecIdx);
/// Size in bytes of a form without variable parts; otherwise its SKIP_ code; -1 for an unknown form.
int DWARF_FormSize(U32 Form, const DWARF_UNIT& Unit);
/// Leads over one value. False at the end of the data or at an unknown form.
bool DWARF_SkipForm(DWARF_READER& R, U32 Form, const DWARF_UNIT& Unit);
/// Runs one step of a skip program.
bool DWARF_SkipCode(DWARF_READER& R, U32 Code, const DWARF_UNIT& Unit);
