#include "base/ConsoleRing.h"

#include "base/ConsoleLog.h"
#include "base/Utf8.h"

#include <QThread>
#include <deque>
#include <mutex>

namespace {

struct CONSOLE_RING {
    std::mutex Mutex;
    std::deque<CONSOLE_MSG> Msgs;
    U32 NumErrors = 0;  ///< of Msgs
    U64 NumPrinted = 0; ///< since the start, without echoes
    U64 NumDropped = 0; ///< since the start
    U64 NumUntold = 0;  ///< dropped behind the last message
    void (*pfDrain)() = nullptr;
    QThread* pReader = nullptr; ///< thread of pfDrain
    bool IsDraining = false;    ///< of the reader's thread alone
};

CONSOLE_RING& GetRing() {
    static CONSOLE_RING Ring;
    return Ring;
}

bool IsFull(const CONSOLE_RING& Ring, CONSOLE_CLASS Class) {
    return Class == CC_ERROR ? Ring.NumErrors >= CONSOLE_MAX_ERRORS
                             : Ring.Msgs.size() - Ring.NumErrors >= CONSOLE_RING_SIZE;
}

/// The ring's mutex is held.
void TellDropped(CONSOLE_RING* pRing) {
    if (pRing->NumUntold != 0) {
        pRing->Msgs.push_back({QByteArray::number(pRing->NumUntold) + " messages dropped", CC_ERROR});
        ++pRing->NumErrors;
        pRing->NumUntold = 0;
    }
}

/// The ring's mutex is held.
void Put(const CONSOLE_MSG& Msg) {
    CONSOLE_RING& Ring = GetRing();
    if (IsFull(Ring, Msg.Class)) {
        ++Ring.NumDropped;
        ++Ring.NumUntold;
        return;
    }
    TellDropped(&Ring);
    Ring.NumErrors += Msg.Class == CC_ERROR ? 1 : 0;
    Ring.Msgs.push_back(Msg);
}

/// The reader doesn't come to read while its own thread writes.
void MakeRoom(CONSOLE_CLASS Class) {
    CONSOLE_RING& Ring = GetRing();
    {
        const std::lock_guard Lock(Ring.Mutex);
        if (!IsFull(Ring, Class) || Ring.pReader != QThread::currentThread() || Ring.IsDraining) {
            return;
        }
        Ring.IsDraining = true;
    }
    Ring.pfDrain();
    Ring.IsDraining = false;
}

QByteArray ShownText(const QString& sText) {
    QByteArray Text = sText.toUtf8();
    Text.truncate(FittingUtf8Length(Text, CONSOLE_TEXT_SIZE));
    return Text;
}

} // namespace

void ConsolePrint(const QString& sText, CONSOLE_CLASS Class, bool IsFixedFont, bool IsNewLine) {
    if (sText.isEmpty()) {
        return;
    }
    MakeRoom(Class);
    const std::lock_guard Lock(GetRing().Mutex); // one order in the ring and in the log
    GetRing().NumPrinted += Class != CC_USER ? 1 : 0;
    Put({ShownText(sText), Class, IsNewLine, IsFixedFont});
    const QString sError = WriteConsoleLog(sText, IsNewLine);
    if (!sError.isEmpty()) {
        Put({ShownText(sError), CC_ERROR});
    }
}

void ConsolePrintList(const QStringList& Lines, CONSOLE_CLASS Class) {
    for (const QString& sLine : Lines) {
        ConsolePrint(sLine, Class, true);
    }
}

void ConsolePrintError(const QString& sText) { ConsolePrint(sText, CC_ERROR); }

bool ConsoleTake(CONSOLE_MSG* pOut) {
    CONSOLE_RING& Ring = GetRing();
    const std::lock_guard Lock(Ring.Mutex);
    if (Ring.Msgs.empty()) {
        TellDropped(&Ring);
    }
    if (Ring.Msgs.empty()) {
        return false;
    }
    *pOut = std::move(Ring.Msgs.front());
    Ring.Msgs.pop_front();
    Ring.NumErrors -= pOut->Class == CC_ERROR ? 1 : 0;
    return true;
}

QString ConsoleOpenLog(const QString& sPath) {
    const std::lock_guard Lock(GetRing().Mutex);
    QString sError = OpenConsoleLog(sPath);
    for (const CONSOLE_MSG& Msg : GetRing().Msgs) {
        const QString sLost = WriteConsoleLog(QString::fromUtf8(Msg.sText), Msg.IsNewLine);
        sError = sError.isEmpty() ? sLost : sError;
    }
    return sError;
}

U64 ConsolePrintCount() {
    const std::lock_guard Lock(GetRing().Mutex);
    return GetRing().NumPrinted;
}

U64 ConsoleDropCount() {
    const std::lock_guard Lock(GetRing().Mutex);
    return GetRing().NumDropped;
}

void ConsoleSetReader(void (*pfDrain)()) {
    CONSOLE_RING& Ring = GetRing();
    const std::lock_guard Lock(Ring.Mutex);
    Ring.pfDrain = pfDrain;
    Ring.pReader = pfDrain != nullptr ? QThread::currentThread() : nullptr;
}
