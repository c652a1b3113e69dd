#include "base/ConsoleLog.h"

#include "base/LogSink.h"

#include <memory>
#include <mutex>

namespace {

constexpr qsizetype FLUSH_THRESHOLD = 65'536; ///< bytes; the console's timer flushes what is below

struct CONSOLE_LOG {
    std::mutex Mutex;
    std::unique_ptr<QFile> pFile;
    QByteArray Buffer;
};

CONSOLE_LOG& GetLog() {
    static CONSOLE_LOG Log;
    return Log;
}

/// The log's mutex is held.
QString Flush(CONSOLE_LOG* pLog) {
    const QString sError = WriteSink(pLog->pFile.get(), &pLog->Buffer);
    if (sError.isEmpty()) {
        return {};
    }
    const QString sPath = pLog->pFile->fileName();
    pLog->pFile.reset();
    return QStringLiteral("Console log ended, could not write file ") + sPath + QStringLiteral(": ") + sError;
}

} // namespace

QString OpenConsoleLog(const QString& sPath) {
    QString sError = CloseConsoleLog();
    if (sPath.isEmpty()) {
        return sError;
    }
    CONSOLE_LOG& Log = GetLog();
    const std::lock_guard Lock(Log.Mutex);
    Log.pFile = OpenSink(sPath, &sError);
    return sError;
}

QString CloseConsoleLog() {
    CONSOLE_LOG& Log = GetLog();
    const std::lock_guard Lock(Log.Mutex);
    const QString sError = Flush(&Log);
    Log.pFile.reset();
    return sError;
}

QString WriteConsoleLog(const QString& sText, bool IsNewLine) {
    CONSOLE_LOG& Log = GetLog();
    const std::lock_guard Lock(Log.Mutex);
    if (Log.pFile == nullptr) {
        return {};
    }
    Log.Buffer += sText.toUtf8();
    if (IsNewLine) {
        Log.Buffer += '\n';
    }
    return Log.Buffer.size() >= FLUSH_THRESHOLD ? Flush(&Log) : QString();
}

QString FlushConsoleLog() {
    CONSOLE_LOG& Log = GetLog();
    const std::lock_guard Lock(Log.Mutex);
    return Flush(&Log);
}
