#pragma once

// The form of a text file that is rewritten: what an editor made must stay as it is around the lines that change. Any
// thread.

#include <QByteArray>
#include <QString>

struct TEXT_FORMAT {
    bool HasBom = false;   ///< UTF-8 byte order mark in front
    bool IsLatin1 = false; ///< the bytes are no valid UTF-8
    bool IsCrLf = false;   ///< every line ends with CR LF; mixed line ends stay in the text
};

/// The text with LF as its line end.
QString DecodeText(QByteArray Bytes, TEXT_FORMAT* pFormat);

/// The bytes of a text in a format. A text that Latin-1 can't hold is written as UTF-8.
QByteArray EncodeText(const QString& sText, const TEXT_FORMAT& Format);
