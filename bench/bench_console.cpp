// The console: what a line costs in an empty and in a full output pane, and how long the main thread stalls while
// another thread prints 1,000,000 lines at 100,000 lines a second.

#include "app/ConsoleWindow.h"
#include "base/ConsoleRing.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

constexpr int BATCH = 10'000; ///< lines that come in 100 ms at 100,000 lines/s
constexpr int SCROLLBACK = 100'000;
constexpr int NUM_FLOOD = 1'000'000;

void Print(int Number) {
    ConsolePrint(QStringLiteral("line %1: counter 0x%2, state running")
                     .arg(QString::number(Number), QString::number(Number, 16)),
                 Number % 10 == 0 ? CC_SCRIPT : CC_TEXT);
}

/// Lines a second of printing a batch, showing it and painting it; the best of five.
double MeasureBatches(CConsoleWindow* pConsole) {
    qint64 Best = INT64_MAX;
    for (int Run = 0; Run < 5; ++Run) {
        QElapsedTimer Timer;
        Timer.start();
        for (int i = 0; i < BATCH; ++i) {
            Print(i);
        }
        while (pConsole->DrainRing()) {
        }
        QCoreApplication::processEvents();
        Best = std::min(Best, Timer.nsecsElapsed());
    }
    return BATCH * 1e9 / static_cast<double>(Best);
}

/// Longest time in ms that a 1 ms timer of the main thread had to wait during the flood.
double MeasureStall() {
    double Longest = 0;
    bool HasEnded = false;
    QElapsedTimer Last;
    QTimer Tick;
    QObject::connect(&Tick, &QTimer::timeout, [&] {
        Longest = std::max(Longest, static_cast<double>(Last.nsecsElapsed()) / 1e6);
        Last.restart();
    });
    std::thread Writer([&HasEnded] {
        const auto Start = std::chrono::steady_clock::now();
        for (int i = 0; i < NUM_FLOOD; ++i) {
            Print(i);
            if (i % 100 == 0) {
                std::this_thread::sleep_until(Start + std::chrono::microseconds(10) * i);
            }
        }
        QMetaObject::invokeMethod(qApp, [&HasEnded] { HasEnded = true; });
    });
    Last.start();
    Tick.start(1);
    while (!HasEnded) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    Writer.join();
    return Longest;
}

} // namespace

int main(int argc, char** argv) {
    QApplication App(argc, argv);
    CConsoleWindow Console(nullptr);
    Console.resize(1000, 300);
    Console.show();
    QCoreApplication::processEvents();
    const double Empty = MeasureBatches(&Console);
    for (int i = 0; i < SCROLLBACK; ++i) {
        Print(i);
    }
    while (Console.DrainRing()) {
    }
    const double Full = MeasureBatches(&Console);
    std::printf("console_lines_full %.0f 1/s console_lines_empty %.0f %.2f\n", Full, Empty, Full / Empty);
    const U64 Dropped = ConsoleDropCount();
    std::printf("console_flood_stall %.1f ms - - -\n", MeasureStall());
    std::printf("console_flood_dropped %llu lines of %d %.4f\n",
                static_cast<unsigned long long>(ConsoleDropCount() - Dropped), NUM_FLOOD,
                static_cast<double>(ConsoleDropCount() - Dropped) / NUM_FLOOD);
    return 0;
}
