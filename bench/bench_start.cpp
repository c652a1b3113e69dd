// Start-up to first paint: the time from the start of the process to the end of the main window's first paint event,
// offscreen, against a process that shows an empty QMainWindow.

#include "app/Application.h"
#include "app/MainWindow.h"
#include "device/DeviceDataProvider.h"

#include <QApplication>
#include <QProcess>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

constexpr int NUM_RUNS = 15;

double NowMs() {
    timespec Now{};
    clock_gettime(CLOCK_MONOTONIC, &Now);
    return static_cast<double>(Now.tv_sec) * 1e3 + static_cast<double>(Now.tv_nsec) / 1e6;
}

/// Prints the time behind the first paint of a window and ends the process.
class CPaintWatch : public QObject {
public:
    explicit CPaintWatch(QWidget* pWindow) : m_pWindow(pWindow) { pWindow->installEventFilter(this); }
    bool eventFilter(QObject* pObject, QEvent* pEvent) override {
        if (pObject == m_pWindow && pEvent->type() == QEvent::Paint) {
            m_pWindow->removeEventFilter(this);
            QTimer::singleShot(0, this, [] {
                std::printf("%.3f\n", NowMs());
                std::fflush(stdout);
                std::_Exit(0);
            });
        }
        return false;
    }

private:
    QWidget* m_pWindow;
};

int RunChild(int argc, char** argv, bool IsPeer) {
    QApplication App(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VANTLE"));
    QApplication::setApplicationName(QStringLiteral("BraskBench"));
    if (IsPeer) {
        QMainWindow Window;
        Window.resize(1100, 760);
        const CPaintWatch Watch(&Window);
        Window.show();
        return QApplication::exec();
    }
    InstallHooks();
    CDeviceDataProvider::Get();
    CMainWindow Window;
    const CPaintWatch Watch(&Window);
    Window.show();
    return QApplication::exec();
}

double MedianMs(const char* sMode) {
    std::vector<double> Times;
    for (int i = 0; i < NUM_RUNS; ++i) {
        QProcess Child;
        const double Start = NowMs();
        Child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(sMode)});
        if (!Child.waitForFinished(30'000)) {
            return -1;
        }
        const double Painted = Child.readAllStandardOutput().trimmed().toDouble();
        if (Painted > Start) {
            Times.push_back(Painted - Start);
        }
    }
    std::sort(Times.begin(), Times.end());
    return Times.empty() ? -1 : Times[Times.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QByteArray Mode = argc > 1 ? argv[1] : "";
    if (Mode == "--window" || Mode == "--peer") {
        return RunChild(argc, argv, Mode == "--peer");
    }
    QCoreApplication App(argc, argv);
    const double Value = MedianMs("--window");
    const double Peer = MedianMs("--peer");
    std::printf("start_to_first_paint %.1f ms empty_window %.1f %.2f\n", Value, Peer, Value / Peer);
    return Value < 0 || Peer < 0 ? 1 : 0;
}
