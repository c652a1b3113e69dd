#pragma once

// Hands a fuzz input to the data file reader under a name with the given suffix.

#include "datafile/JFile.h"

#include <QFile>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

inline int ReadInputAs(const char* sSuffix, const uint8_t* pData, size_t Size) {
    [[maybe_unused]] static const QtMessageHandler pfQuiet =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static const QTemporaryDir Dir;
    QFile File(Dir.filePath(QLatin1String("input.") + QLatin1String(sSuffix)));
    if (!File.open(QIODevice::WriteOnly) ||
        File.write(reinterpret_cast<const char*>(pData), static_cast<qint64>(Size)) < 0) {
        return 0;
    }
    File.close();
    size_t Total = 0;
    U64 End = 0;
    for (const CMemBlock& Block : JFile::ReadFile(File.fileName(), -1)) {
        if (Block.Addr < End || Block.Size != static_cast<U32>(Block.Data.size())) {
            std::abort(); // blocks come in order and don't overlap
        }
        End = static_cast<U64>(Block.Addr) + Block.Size;
        Total += Block.Size;
    }
    if (Total > Size) {
        std::abort();
    }
    return 0;
}
