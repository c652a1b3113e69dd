#include "base/LogSink.h"

#include "base/Files.h"

#include <QFileInfo>

std::unique_ptr<QFile> OpenSink(const QString& sPath, QString* pError) {
    *pError = QFileInfo::exists(sPath) ? CheckRegularFile(sPath) : QString();
    if (!pError->isEmpty()) {
        return nullptr;
    }
    auto pFile = std::make_unique<QFile>(sPath);
    if (!pFile->open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Text | QIODevice::Unbuffered)) {
        *pError = pFile->errorString();
        return nullptr;
    }
    return pFile;
}

QString WriteSink(QFile* pFile, QByteArray* pBuffer) {
    QString sError;
    qint64 Pos = 0;
    while (pFile != nullptr && Pos < pBuffer->size() && sError.isEmpty()) {
        const qint64 Written = pFile->write(pBuffer->constData() + Pos, pBuffer->size() - Pos);
        Pos += Written;
        sError = Written > 0 ? QString() : pFile->errorString();
    }
    pBuffer->clear();
    return sError;
}
