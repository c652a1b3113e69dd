#include "datafile/MemBlock.h"

#include <QFile>

bool ReadBinaryFile(const QString& sPath, U32 BaseAddr, QList<CMemBlock>* pBlocks, QString* pError) {
    constexpr qint64 MAX_SIZE = 1'000'000'000; // the largest buffer a device job takes
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly)) {
        *pError = QStringLiteral("file not found");
        return false;
    }
    if (File.size() < 1 || File.size() > MAX_SIZE || File.size() > 0x100000000LL - BaseAddr) {
        *pError = QStringLiteral("invalid file size");
        return false;
    }
    *pBlocks = {{BaseAddr, File.readAll()}};
    return true;
}
