#include "elf/DwarfReader.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "elf/ElfSym.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

// Opening a program with tens of megabytes of debug information, beside gdb, readelf and a bare walk over all DIEs of
// the same file. Arguments: the files, see gen_elf.py.

namespace {

constexpr int NUM_ROUNDS = 9;

double MsOf(const QElapsedTimer& Timer) { return static_cast<double>(Timer.nsecsElapsed()) / 1e6; }

/// Highest memory of this process so far in MB.
double PeakMB() {
    QFile File(QStringLiteral("/proc/self/status"));
    if (!File.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& Line : File.readAll().split('\n')) {
        if (Line.startsWith("VmHWM:")) {
            return Line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
        }
    }
    return 0;
}

/// Every DIE of .debug_info on one thread: code, abbreviation, values led over, nothing kept.
U64 BareWalk(const DWARF_STORE& S) {
    U64 NumDies = 0;
    for (U32 i = 0; i < S.FirstTypesUnit; ++i) {
        const DWARF_UNIT& Unit = S.Units[i];
        CByteReader R = DWARF_At(S, DSEC_INFO, Unit.DieOff, Unit.End);
        while (!R.IsAtEnd()) {
            const U64 Code = R.GetULeb();
            const DWARF_ABBREV* p = Code != 0 ? DWARF_FindAbbrev(S, Unit, Code) : nullptr;
            for (U32 n = 0; p != nullptr && n < p->NumSkips; ++n) {
                DWARF_SkipCode(R, S.Skips[p->FirstSkip + n], Unit);
            }
            NumDies += p != nullptr;
        }
    }
    return NumDies;
}

double RunTool(const char* sTool, const QStringList& Args) {
    const QString sPath = QStandardPaths::findExecutable(QLatin1String(sTool));
    if (sPath.isEmpty()) {
        return 0;
    }
    QElapsedTimer Timer;
    Timer.start();
    QProcess Process;
    Process.setStandardOutputFile(QProcess::nullDevice());
    Process.setStandardErrorFile(QProcess::nullDevice());
    Process.start(sPath, Args);
    Process.waitForFinished(-1);
    return MsOf(Timer);
}

void Print(const QString& sName, double Value, const char* sUnit, const char* sPeer, double Peer) {
    if (Peer > 0) {
        std::printf("%s %.3f %s %s %.3f %.3f\n", qPrintable(sName), Value, sUnit, sPeer, Peer, Value / Peer);
    } else {
        std::printf("%s %.3f %s - - -\n", qPrintable(sName), Value, sUnit);
    }
}

/// Which of the look-ups a name goes to.
struct SOURCES {
    bool Globals;
    bool Types;
    bool ElfSyms;
};

/// Names of the symbols in no order, each once; of all, or of those that mean MaxMeanings at most.
QStringList NamesOf(const ELF_SYM_LIST& Syms, const SOURCES& From, qsizetype MaxMeanings) {
    QStringList Names;
    for (const ELF_SYM_HANDLE h : Syms) {
        Names.append(ElfApi_GetSymName(h));
    }
    Names.removeDuplicates();
    Names.removeIf([&](const QString& sName) {
        return ElfApi_FindSyms(sName, From.Globals, false, From.Types, From.ElfSyms).size() > MaxMeanings;
    });
    std::shuffle(Names.begin(), Names.end(), std::mt19937(1));
    return Names;
}

/// Time per look-up of these names, in microseconds.
double NameLookup(const QStringList& Names, const SOURCES& From) {
    QElapsedTimer Timer;
    Timer.start();
    for (const QString& sName : Names) {
        ElfApi_FindSym(sName, From.Globals, false, From.Types, From.ElfSyms);
    }
    return MsOf(Timer) * 1000 / static_cast<double>(std::max<qsizetype>(Names.size(), 1));
}

void MeasureNames(const QString& sPrefix, const ELF_SYM_LIST& Syms, const SOURCES& From) {
    for (const qsizetype MaxMeanings : {qsizetype(1) << 30, qsizetype(1)}) {
        const QString sName = QString(sPrefix).arg(QLatin1String(MaxMeanings == 1 ? "unique_" : ""));
        Print(sName, NameLookup(NamesOf(Syms, From, MaxMeanings), From), "us", "goal", 1);
    }
}

double Median(std::vector<double> Times) {
    std::sort(Times.begin(), Times.end());
    return Times[Times.size() / 2];
}

void Measure(const QString& sFile) {
    const QString sName = QFileInfo(sFile).completeBaseName().replace(QLatin1Char('-'), QLatin1Char('_'));
    const double Before = PeakMB();
    std::vector<double> OpenTimes;
    std::vector<double> WalkTimes;
    double Peak = 0;
    U64 NumDies = 0;
    for (int i = 0; i < NUM_ROUNDS; ++i) {
        QElapsedTimer Timer;
        Timer.start();
        if (ElfApi_Init(sFile) != 0) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(sFile), qPrintable(ElfApi_GetErrorText()));
            return;
        }
        ElfApi_FindSym(QStringLiteral("Entry1"), true, false, true, true);
        ElfApi_GetFuncsAtAddr(0x08001000);
        ElfApi_GetSrcLoc(0x08001000);
        ElfApi_GetSrcFiles();
        OpenTimes.push_back(MsOf(Timer));
        Peak = i == 0 ? PeakMB() - Before : Peak;
        Timer.restart();
        NumDies = BareWalk(*ELF_GetStore());
        WalkTimes.push_back(MsOf(Timer));
    }
    const double SectionMB = ELF_GetStore()->aSection[DSEC_INFO].Size / 1048576.0;
    const double FirstMs = OpenTimes.front();
    const double OpenMs = Median(OpenTimes);
    const double WalkMs = Median(WalkTimes);
    Print(sName + "_open", OpenMs, "ms", "bare_walk", WalkMs);
    Print(sName + "_first_open", FirstMs, "ms", "bare_walk", WalkMs);
    Print(sName + "_open", OpenMs, "ms", "gdb", RunTool("gdb-multiarch", {"-nx", "-batch", sFile}));
    Print(sName + "_open", OpenMs, "ms", "gdb_readnow", RunTool("gdb-multiarch", {"-nx", "-batch", "-readnow", sFile}));
    Print(sName + "_open", OpenMs, "ms", "readelf", RunTool("readelf", {"--debug-dump=info", sFile}));
    Print(sName + "_dies", static_cast<double>(NumDies) / 1e6, "M", "-", 0);
    Print(sName + "_peak", Peak, "MB", "debug_info", SectionMB);
    MeasureNames(sName + "_name_to_%1symbol", ElfApi_Functions(), {false, false, true});
    MeasureNames(sName + "_name_to_%1variable", ElfApi_GlobalVars(), {true, false, false});
    MeasureNames(sName + "_name_to_%1type", ElfApi_Types(), {false, true, false});
    std::fflush(stdout);
    ElfApi_Deinit();
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication App(argc, argv);
    for (int i = 1; i < argc; ++i) {
        Measure(QString::fromLocal8Bit(argv[i]));
    }
    return 0;
}
