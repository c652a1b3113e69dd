// Addresses to source lines and back, in random order, on a program file given as the argument or on one of 40,000
// lines that is generated and compiled here. The peer is the goal.

#include "elf/Elf.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int NUM_FUNCTIONS = 4'000;
constexpr int NUM_ROUNDS = 5;
constexpr size_t NUM_ASKED = 1'000'000;
constexpr double GOAL_NS = 200;

QString MakeProgram(const QString& sDir) {
    QByteArray Text = "volatile int Sink;\n";
    for (int i = 0; i < NUM_FUNCTIONS; ++i) {
        Text += "int Function" + QByteArray::number(i) +
                "(int n) {\n    for (int i = 0; i < n; ++i) {\n        Sink = i * n;\n"
                "        if (i & 1) {\n            Sink = Sink + n;\n        }\n    }\n    Sink = n;\n    return "
                "Sink;\n}\n";
    }
    QFile File(sDir + "/large.c");
    if (!File.open(QIODevice::WriteOnly) || File.write(Text) != Text.size()) {
        return {};
    }
    File.close();
    const QString sElf = sDir + "/large.elf";
    const QStringList Args = {"-g",      "-O1",      "-ffreestanding", "-nostdlib", "-mcpu=cortex-m4",
                              "-mthumb", "-Wl,-e,0", File.fileName(),  "-o",        sElf};
    return QProcess::execute("arm-none-eabi-gcc", Args) == 0 ? sElf : QString();
}

/// Best of the rounds, in nanoseconds for each of NUM_ASKED questions.
template <typename F> double Measure(F Ask) {
    double Best = 1e9;
    for (int Round = 0; Round < NUM_ROUNDS; ++Round) {
        QElapsedTimer Timer;
        Timer.start();
        for (size_t i = 0; i < NUM_ASKED; ++i) {
            Ask(i);
        }
        Best = std::min(Best, static_cast<double>(Timer.nsecsElapsed()) / NUM_ASKED);
    }
    return Best;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication App(argc, argv);
    const QTemporaryDir Dir;
    const QString sPath = argc > 1 ? QString::fromLocal8Bit(argv[1]) : MakeProgram(Dir.path());
    QElapsedTimer Timer;
    Timer.start();
    if (sPath.isEmpty() || ElfApi_Init(sPath) != 0) {
        std::fprintf(stderr, "no program: arm-none-eabi-gcc is missing, or the file can't be opened\n");
        return 1;
    }
    const QByteArray sName =
        argc > 1 ? QFileInfo(sPath).completeBaseName().replace('-', '_').toUtf8() + "_" : QByteArray();
    std::printf("%slines_open %.2f ms - - -\n", sName.constData(), static_cast<double>(Timer.nsecsElapsed()) / 1e6);
    std::vector<U32> Addrs;
    std::vector<CSrcLoc> Locs;
    for (I64 Addr = ElfApi_GetNextAddr(0); Addr >= 0; Addr = ElfApi_GetNextAddr(static_cast<U32>(Addr))) {
        Addrs.push_back(static_cast<U32>(Addr));
        Locs.push_back(ElfApi_GetExactSrcLoc(static_cast<U32>(Addr)));
    }
    if (Addrs.empty()) {
        return 1;
    }
    // As a trace asks: from anywhere on, then address by address. And each one from anywhere, where every answer waits
    // for memory that no cache holds.
    constexpr size_t RUN_LENGTH = 64;
    std::mt19937 Random(1);
    std::vector<U32> AskedAddrs(NUM_ASKED);
    std::vector<U32> ScatteredAddrs(NUM_ASKED);
    std::vector<CSrcLoc> AskedLocs(NUM_ASKED);
    size_t Idx = 0;
    for (size_t i = 0; i < NUM_ASKED; ++i) {
        Idx = i % RUN_LENGTH == 0 ? Random() % Addrs.size() : (Idx + 1) % Addrs.size();
        AskedAddrs[i] = Addrs[Idx];
        const size_t Any = Random() % Addrs.size();
        ScatteredAddrs[i] = Addrs[Any];
        AskedLocs[i] = Locs[Any];
    }
    U64 Sum = 0;
    std::printf("%slines_rows %zu rows - - -\n", sName.constData(), Addrs.size());
    const double Exact = Measure([&](size_t i) { Sum += ElfApi_GetSrcLoc(AskedAddrs[i]).Line; });
    std::printf("%slines_addr_to_line %.1f ns goal %.0f %.2f\n", sName.constData(), Exact, GOAL_NS, Exact / GOAL_NS);
    const double Scattered = Measure([&](size_t i) { Sum += ElfApi_GetSrcLoc(ScatteredAddrs[i]).Line; });
    std::printf("%slines_addr_to_line_scattered %.1f ns goal %.0f %.2f\n", sName.constData(), Scattered, GOAL_NS,
                Scattered / GOAL_NS);
    const double Near = Measure([&](size_t i) { Sum += ElfApi_GetSrcLoc(AskedAddrs[i] + 1).Line; });
    std::printf("%slines_addr_to_line_near %.1f ns - - -\n", sName.constData(), Near);
    const double Back = Measure([&](size_t i) { Sum += static_cast<U64>(ElfApi_GetAddr(AskedLocs[i])); });
    std::printf("%slines_line_to_addr %.1f ns - - -\n", sName.constData(), Back);
    return Sum != 0 ? 0 : 1;
}
