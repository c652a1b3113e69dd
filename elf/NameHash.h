#pragma once

// Hash of a symbol's name, as the name tables hold it.

#include "base/Types.h"

#include <cstring>
#include <string_view>

/// Never 0, which stands for no name.
inline U32 ELF_HashName(std::string_view sName) {
    U64 Hash = 0x9E3779B97F4A7C15ull ^ sName.size();
    size_t i = 0;
    for (; i + 8 <= sName.size(); i += 8) {
        U64 Word = 0;
        std::memcpy(&Word, sName.data() + i, 8);
        Hash = (Hash ^ Word) * 0xFF51AFD7ED558CCDull;
        Hash ^= Hash >> 32;
    }
    U64 Word = 0;
    if (i < sName.size()) {
        std::memcpy(&Word, sName.data() + i, sName.size() - i);
    }
    Hash = (Hash ^ Word) * 0xC4CEB9FE1A85EC53ull;
    const U32 Result = static_cast<U32>(Hash ^ (Hash >> 32));
    return Result != 0 ? Result : 1;
}
