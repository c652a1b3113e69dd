#pragma once

// UTF-8 in buffers of a fixed size. Any thread.

#include "base/Types.h"

#include <QByteArray>

/// Number of bytes, at most MaxBytes, of a UTF-8 text that don't split its last character.
inline qsizetype FittingUtf8Length(const QByteArray& Text, qsizetype MaxBytes) {
    if (Text.size() <= MaxBytes) {
        return Text.size();
    }
    qsizetype Length = MaxBytes;
    while (Length > 0 && (static_cast<U8>(Text[Length]) & 0xC0) == 0x80) {
        --Length;
    }
    return Length;
}
