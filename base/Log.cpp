#include "base/Log.h"

#include "base/ConsoleRing.h"

#include <QFile>
#include <cstdio>
#include <memory>
#include <mutex>

namespace {

constexpr qint64 MAX_LOG_FILE_SIZE = 16'000'000; ///< a log that outgrows this is cut to KEPT_LOG_FILE_SIZE
constexpr qint64 KEPT_LOG_FILE_SIZE = 16'000;
constexpr int LOG_TEXT_SIZE = 2048; ///< one message with its terminating zero
constexpr int DEFAULT_FLUSH_THRESHOLD = 512;

constexpr QRgb COLOR_LOG_ERROR = 0xB22222;
constexpr QRgb COLOR_LOG_NOVIK = 0x00008B;

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

std::unique_ptr<QFile>& ConsoleLog() {
    static std::unique_ptr<QFile> pFile;
    return pFile;
}

std::unique_ptr<QFile> OpenSink(const QString& sPath) {
    auto pFile = std::make_unique<QFile>(sPath);
    if (!pFile->open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Text)) {
        return nullptr;
    }
    return pFile;
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

void FlushLog(LOG_STATE& State) {
    if (State.pFile && !State.Buffer.isEmpty()) {
        LimitSize(State.pFile.get());
        State.pFile->write(State.Buffer);
        State.pFile->flush();
        State.Buffer.clear();
    }
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
    QColor Color = Qt::transparent;
    if (Flags & MSG_ERROR) {
        Color = QColor(COLOR_LOG_ERROR);
    } else if (Flags & MSG_FROM_NOVIK) {
        Color = QColor(COLOR_LOG_NOVIK);
    }
    ConsolePrint(QString::fromUtf8(Text), Color);
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
    LOG_STATE& State = GetState();
    const std::lock_guard Lock(State.Mutex);
    const QByteArray Text = ComposeText(sText, Flags);
    if (Flags & (MSG_TO_CONSOLE | MSG_TO_ALL)) {
        PrintToConsole(Text, Flags);
    }
    if ((Flags & (MSG_TO_TEXT_CONSOLE | MSG_TO_ALL)) && State.IsDebugMode) {
        std::fprintf(stdout, "%s%s\n", LevelMark(Flags), Text.constData());
        std::fflush(stdout);
    }
    if ((Flags & (MSG_TO_LOG | MSG_TO_ALL)) && State.pFile) {
        State.Buffer += LevelMark(Flags);
        State.Buffer += Text;
        State.Buffer += '\n';
        if (State.Buffer.size() >= State.FlushThreshold) {
            FlushLog(State);
        }
    }
    return 0;
}

bool IsVerboseLogging() { return GetState().IsVerbose || GetState().IsDebugMode; }

void SetLogDebugMode(bool IsOn) { GetState().IsDebugMode = IsOn; }

bool OpenProgramLog(const QString& sPath, int FlushThreshold) {
    LOG_STATE& State = GetState();
    const std::lock_guard Lock(State.Mutex);
    FlushLog(State); // of the log that was open
    State.FlushThreshold = FlushThreshold > 0 ? FlushThreshold : DEFAULT_FLUSH_THRESHOLD;
    State.pFile = OpenSink(sPath);
    State.Buffer.clear();
    State.IsVerbose = State.pFile != nullptr;
    return State.IsVerbose;
}

void CloseProgramLog() {
    LOG_STATE& State = GetState();
    const std::lock_guard Lock(State.Mutex);
    FlushLog(State);
    State.pFile.reset();
    State.IsVerbose = false;
}

bool OpenConsoleLog(const QString& sPath) {
    ConsoleLog().reset();
    if (!sPath.isEmpty()) {
        ConsoleLog() = OpenSink(sPath);
    }
    return ConsoleLog() != nullptr;
}

void CloseConsoleLog() { ConsoleLog().reset(); }

void WriteConsoleLog(const QString& sText, bool IsNewLine) {
    QFile* pFile = ConsoleLog().get();
    if (pFile == nullptr) {
        return;
    }
    LimitSize(pFile);
    pFile->write(sText.toUtf8());
    if (IsNewLine) {
        pFile->write("\n");
    }
    pFile->flush();
}

void InstallQtMessageHandler() { qInstallMessageHandler(HandleQtMessage); }
