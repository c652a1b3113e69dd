#include "base/Files.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

constexpr qint64 CHUNK_SIZE = 1'000'000; ///< bytes read or written at a time

/// The device has taken the bytes: a quota or a network file system may refuse them only now.
bool SyncToDevice(const QFileDevice& File, QString* pError) {
    if (fsync(File.handle()) == 0 || errno == EINVAL || errno == ENOSYS) { // not every file system can tell
        return true;
    }
    *pError = QString::fromLocal8Bit(std::strerror(errno));
    return false;
}

/// All bytes are on the device, and the file can take the old one's place.
QString WriteAll(QSaveFile* pFile, QByteArrayView Data, const std::function<void(qint64)>& pfProgress) {
    qint64 Pos = 0;
    while (Pos < Data.size()) { // a device that fills up takes a part first and refuses the next
        const qint64 Written = pFile->write(Data.data() + Pos, std::min<qint64>(CHUNK_SIZE, Data.size() - Pos));
        if (Written <= 0) {
            return pFile->errorString();
        }
        Pos += Written;
        if (pfProgress) {
            pfProgress(Pos);
        }
    }
    QString sError;
    return SyncToDevice(*pFile, &sError) ? QString() : sError;
}

} // namespace

QString CheckRegularFile(const QString& sPath) {
    const QFileInfo Info(sPath);
    if (!Info.exists() || Info.isDir()) {
        return QStringLiteral("file not found");
    }
    return Info.isFile() ? QString() : QStringLiteral("not a regular file");
}

QString ReadRegularFile(const QString& sPath, qint64 MaxSize, QByteArray* pData) {
    const QString sError = CheckRegularFile(sPath);
    if (!sError.isEmpty()) {
        return sError;
    }
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly)) {
        return QStringLiteral("file can't be read");
    }
    if (File.size() > MaxSize) {
        return QStringLiteral("file is too large");
    }
    pData->clear();
    pData->reserve(File.size());
    QByteArray Chunk;
    do { // files of the kernel tell no size and may not end
        Chunk = File.read(CHUNK_SIZE);
        pData->append(Chunk);
    } while (!Chunk.isEmpty() && pData->size() <= MaxSize);
    return pData->size() > MaxSize ? QStringLiteral("file is too large") : QString();
}

QString SaveFile(const QString& sPath, QByteArrayView Data, const std::function<void(qint64)>& pfProgress) {
    if (QFileInfo::exists(sPath) && !QFileInfo(sPath).isFile()) {
        return QStringLiteral("not a regular file");
    }
    QSaveFile File(sPath);
    // Without a buffer every error is seen here: QSaveFile::commit() takes one of its last flush for success.
    if (!File.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return File.errorString();
    }
    const QString sError = WriteAll(&File, Data, pfProgress);
    if (!sError.isEmpty()) {
        File.cancelWriting();
        return sError;
    }
    return File.commit() ? QString() : File.errorString();
}
