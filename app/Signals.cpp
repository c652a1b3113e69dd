#include "app/Signals.h"

#include "app/MainWindow.h"
#include "base/ConsoleRing.h"
#include "settings/SettingsMap.h"

#include <QSocketNotifier>
#include <atomic>
#include <csignal>
#include <unistd.h>

// A handler may do next to nothing: it writes the number into a pipe, which the event loop reads.

namespace {

constexpr int EXIT_CODE_BASE = 128;
constexpr unsigned MAX_END_SEC = 2;

int aPipe[2] = {-1, -1};
std::atomic<int> FirstSignal{0};

extern "C" void OnSignal(int Signal) {
    int None = 0;
    if (!FirstSignal.compare_exchange_strong(None, Signal)) {
        _exit(EXIT_CODE_BASE + Signal);
    }
    alarm(MAX_END_SEC);
    const char Byte = static_cast<char>(Signal);
    if (write(aPipe[1], &Byte, 1) != 1) {
        _exit(EXIT_CODE_BASE + Signal);
    }
}

extern "C" void OnAlarm(int) { _exit(EXIT_CODE_BASE + FirstSignal); }

void Install(int Signal, void (*pfHandler)(int)) {
    struct sigaction Action = {};
    Action.sa_handler = pfHandler;
    Action.sa_flags = SA_RESTART;
    sigemptyset(&Action.sa_mask);
    if (sigaction(Signal, &Action, nullptr) != 0) {
        qWarning("Signal %d can't be handled", Signal);
    }
}

} // namespace

void InstallSignalHandlers(CMainWindow& MainWindow) {
    if (pipe(aPipe) != 0) {
        qWarning("Signals end the program without saving: no pipe");
        return;
    }
    auto* pNotifier = new QSocketNotifier(aPipe[0], QSocketNotifier::Read, &MainWindow);
    QObject::connect(pNotifier, &QSocketNotifier::activated, &MainWindow, [&MainWindow, pNotifier] {
        char Byte = 0;
        pNotifier->setEnabled(false);
        if (read(aPipe[0], &Byte, 1) == 1) {
            ConsolePrintError(QStringLiteral("The program was asked to end (signal %1).").arg(int(Byte)));
            MainWindow.EndNow(EXIT_CODE_BASE + Byte);
        }
    });
    for (const int Signal : {SIGINT, SIGTERM, SIGHUP}) {
        Install(Signal, OnSignal);
    }
    Install(SIGALRM, OnAlarm);
}
