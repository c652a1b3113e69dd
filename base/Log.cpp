#include "base/Log.h"

#include "base/ConsoleRing.h"
#include "base/LogSink.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>

namespace {

constexpr qint64 MAX_LOG_FILE_SIZE = 16'000'000; ///< a log that outgrows this is cut to KEPT_LOG_FILE_SIZE
constexpr qint64 KEPT_LOG_FILE_SIZE = 16'000;
constexpr int LOG_TEXT_SIZE = 2048; ///< one message with its terminating zero
constexpr int DEFAULT_FLUSH_THRESHOLD = 512;

struct LOG_STATE {
    std::mutex Mutex;
    std::unique_ptr<QFile> pFile;
    QByteArray Buffer;
    int FlushThreshold = DEFAULT_FLUSH_THRESHOLD;
    std::atomic<bool> IsVerbose{false};
    std::atomic<bool> IsDebugMode{false};
};

LOG_STATE& GetState() {
    static LOG_STATE State;
    return State;
}

void LimitSize(QFile* pFile) {
    if (pFile->size() > MAX_LOG_FILE_SIZE) {
        pFile->resize(KEPT_LOG_FILE_SIZE);
        pFile->seek(KEPT_LOG_FILE_SIZE);
    }
}

const char* LevelMark(U32 Flags) {
    if (Flags & MSG_ERROR) {
        return "[E] ";
    }
    return (Flags & MSG_WARNING) ? "[W] " : " i  ";
}

/// Empty, or what the user is told of a log that ends here.
QString FlushLog(LOG_STATE& State) {
    if (!State.pFile || State.Buffer.isEmpty()) {
        return {};
    }
    LimitSize(State.pFile.get());
    const QString sError = WriteSink(State.pFile.get(), &State.Buffer);
    if (sError.isEmpty()) {
        return {};
    }
    const QString sPath = State.pFile->fileName();
    State.pFile.reset();
    State.IsVerbose = false;
    return QStringLiteral("Program log ended, could not write file ") + sPath + QStringLiteral(": ") + sError;
}

QByteArray ComposeText(const char* sText, U32 Flags) {
    QByteArray Text;
    if (Flags & MSG_FROM_ELF) {
        Text = "ElfLib: ";
    }
    if (Flags & MSG_FROM_NOVIK) {
        Text = "Novik: ";
    }
    Text += QByteArray(sText, static_cast<qsizetype>(qstrnlen(sText, LOG_TEXT_SIZE - 1)));
    Text.truncate(LOG_TEXT_SIZE - 1);
    while (!Text.isEmpty() && (Text.endsWith('\n') || Text.endsWith('\r') || Text.endsWith(' '))) {
        Text.chop(1);
    }
    return Text;
}

void PrintToConsole(const QByteArray& Text, U32 Flags) {
    const CONSOLE_CLASS Class = (Flags & MSG_ERROR) ? CC_ERROR : ((Flags & MSG_FROM_NOVIK) ? CC_NOVIK : CC_TEXT);
    ConsolePrint(QString::fromUtf8(Text), Class);
}

/// To the text console and the program log. Empty, or what the user is told of a log that ends here.
QString WriteToLog(const QByteArray& Text, U32 Flags) {
    LOG_STATE& State = GetState();
    const std::lock_guard Lock(State.Mutex);
    if ((Flags & (MSG_TO_TEXT_CONSOLE | MSG_TO_ALL)) && State.IsDebugMode) {
        std::fprintf(stdout, "%s%s\n", LevelMark(Flags), Text.constData());
        std::fflush(stdout);
    }
    if ((Flags & (MSG_TO_LOG | MSG_TO_ALL)) && State.pFile) {
        State.Buffer += LevelMark(Flags);
        State.Buffer += Text;
        State.Buffer += '\n';
        if (State.Buffer.size() >= State.FlushThreshold) {
            return FlushLog(State);
        }
    }
    return {};
}

void HandleQtMessage(QtMsgType Type, const QMessageLogContext&, const QString& sText) {
    U32 Flags = MSG_INFO | MSG_TO_TEXT_CONSOLE | MSG_TO_LOG;
    if (Type == QtCriticalMsg || Type == QtFatalMsg) {
        Flags = MSG_ERROR | MSG_TO_TEXT_CONSOLE | MSG_TO_LOG | MSG_TO_CONSOLE;
    } else if (!IsVerboseLogging()) {
        return;
    } else if (Type == QtWarningMsg) {
        Flags = MSG_WARNING | MSG_TO_TEXT_CONSOLE | MSG_TO_LOG;
    }
    LogMessage(sText.toUtf8().constData(), Flags | MSG_FROM_QT);
}

} // namespace

int LogMessage(const char* sText, U32 Flags) {
    if (sText == nullptr || *sText == '\0') {
        return -1;
    }
    const QByteArray Text = ComposeText(sText, Flags);
    if (Flags & (MSG_TO_CONSOLE | MSG_TO_ALL)) {
        PrintToConsole(Text, Flags);
    }
    const QString sError = WriteToLog(Text, Flags);
    if (!sError.isEmpty()) {
        ConsolePrintError(sError);
    }
    return 0;
}

bool IsVerboseLogging() { return GetState().IsVerbose || GetState().IsDebugMode; }

void SetLogDebugMode(bool IsOn) { GetState().IsDebugMode = IsOn; }

QString OpenProgramLog(const QString& sPath, int FlushThreshold) {
    CloseProgramLog();
    LOG_STATE& State = GetState();
    const std::lock_guard Lock(State.Mutex);
    State.FlushThreshold = FlushThreshold > 0 ? FlushThreshold : DEFAULT_FLUSH_THRESHOLD;
    QString sError;
    State.pFile = OpenSink(sPath, &sError);
    State.Buffer.clear();
    State.IsVerbose = State.pFile != nullptr;
    return sError;
}

void CloseProgramLog() {
    LOG_STATE& State = GetState();
    QString sError;
    {
        const std::lock_guard Lock(State.Mutex);
        sError = FlushLog(State);
        State.pFile.reset();
        State.IsVerbose = false;
    }
    if (!sError.isEmpty()) {
        ConsolePrintError(sError);
    }
}

void InstallQtMessageHandler() { qInstallMessageHandler(HandleQtMessage); }
