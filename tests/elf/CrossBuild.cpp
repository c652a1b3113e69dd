#include "tests/elf/CrossBuild.h"

#include "elf/ElfApi.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <iostream>

namespace {

const QString sSourceDir = QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/src/");

struct COMPILER {
    QString sProgram;
    QStringList Args;
    QString sSource;
};

QList<COMPILER> Compilers() {
    const QStringList Common = {"-ffreestanding", "-nostdlib", "-mcpu=cortex-m4", "-mthumb"};
    QList<COMPILER> List = {{FindCrossTool("gcc"), Common, "mixed.c"},
                            {FindCrossTool("gcc"), Common + QStringList{"-Wa,-gdwarf-5"}, "mixed.c"},
                            {FindCrossTool("gcc"), Common + QStringList{"-marm", "-mcpu=arm7tdmi"}, "mixed.c"},
                            {FindCrossTool("g++"), Common + QStringList{"-fno-exceptions", "-fno-rtti"}, "mixed.cpp"}};
    const QString sClang = QStandardPaths::findExecutable("clang");
    const QStringList ForArm = {"--target=arm-none-eabi", "-fuse-ld=lld", "-Wno-unused-command-line-argument"};
    if (!sClang.isEmpty() && !QStandardPaths::findExecutable("ld.lld").isEmpty()) {
        List.append({sClang, ForArm + Common, "mixed.c"});
        List.append({sClang, ForArm + Common + QStringList{"-fno-exceptions", "-fno-rtti"}, "mixed.cpp"});
    }
    return List;
}

QList<CROSS_PROGRAM> Build(const QString& sDir) {
    QList<CROSS_PROGRAM> Programs;
    for (const COMPILER& Compiler : Compilers()) {
        for (const char* sLevel : {"-O0", "-Og", "-O2", "-Os"}) {
            for (const char* sVersion : {"-gdwarf-2", "-gdwarf-3", "-gdwarf-4", "-gdwarf-5"}) {
                const QString sPath = QStringLiteral("%1/p%2.elf").arg(sDir).arg(Programs.size());
                const QStringList Args =
                    Compiler.Args +
                    QStringList{sLevel, sVersion, "-Wl,-Ttext=0x8000", sSourceDir + Compiler.sSource, "-o", sPath};
                if (!Compiler.sProgram.isEmpty() && QProcess::execute(Compiler.sProgram, Args) == 0) {
                    Programs.append({QFileInfo(Compiler.sProgram).fileName() + ' ' + Args.join(' '), sPath});
                }
            }
        }
    }
    return Programs + FirmwarePrograms();
}

/// Options that choose the variant of the compiler's library.
QStringList TargetFlags(const QStringList& Args) { return Args.filter(QRegularExpression(QStringLiteral("^-m"))); }

} // namespace

QString RunTool(const QString& sProgram, const QStringList& Args) {
    QProcess Process;
    Process.setStandardInputFile(QProcess::nullDevice()); // some wait there for questions
    Process.start(sProgram, Args);
    return Process.waitForFinished(600'000) && Process.exitStatus() == QProcess::NormalExit
               ? QString::fromUtf8(Process.readAllStandardOutput())
               : QString();
}

QString FindCrossTool(const QString& sName) { return QStandardPaths::findExecutable("arm-none-eabi-" + sName); }

const QList<CROSS_PROGRAM>& CrossPrograms() {
    static const QTemporaryDir Dir;
    static const QList<CROSS_PROGRAM> Programs =
        FindCrossTool("gcc").isEmpty() ? QList<CROSS_PROGRAM>() : Build(Dir.path());
    return Programs;
}

QList<CROSS_PROGRAM> FirmwarePrograms() {
    QList<CROSS_PROGRAM> Programs;
    QDirIterator Firmware(QStringLiteral(BRASK_BINARY_DIR "/firmware"), {"*.elf"}, QDir::Files,
                          QDirIterator::Subdirectories);
    while (Firmware.hasNext()) {
        const QString sPath = Firmware.next();
        Programs.append({sPath, sPath});
    }
    return Programs;
}

const QList<CROSS_PROGRAM>& ForeignPrograms() {
    static const QList<CROSS_PROGRAM> Programs = [] {
        QList<CROSS_PROGRAM> List;
        for (const QString& sPath :
             qEnvironmentVariable("BRASK_ORACLE_PROGRAMS").split(QDir::listSeparator(), Qt::SkipEmptyParts)) {
            const QStringList Missing =
                ElfApi_Init(sPath) == 0 ? ElfApi_GetMissing() : QStringList(ElfApi_GetErrorText());
            if (Missing.filter(QStringLiteral("Debug information is missing")).isEmpty()) {
                List.append({sPath, sPath});
            } else { // other tools read what the debugger says that it doesn't
                std::cout << "not compared: " << qPrintable(sPath) << ": " << qPrintable(Missing.first()) << std::endl;
            }
        }
        ElfApi_Deinit();
        return List;
    }();
    return Programs;
}

bool HasForeignPrograms() { return qEnvironmentVariableIsSet("BRASK_ORACLE_PROGRAMS"); }

const QList<CROSS_PROGRAM>& OraclePrograms() { return HasForeignPrograms() ? ForeignPrograms() : CrossPrograms(); }

void NoteCompared(const CROSS_PROGRAM& Program, const char* sWhat, qint64 Count) {
    if (HasForeignPrograms()) {
        std::cout << "compared: " << qPrintable(Program.sName) << ": " << Count << ' ' << sWhat << std::endl;
    }
}

bool BuildCross(const QString& sCompiler, const QStringList& Args, const QString& sElf) {
    const bool IsClang = sCompiler.startsWith(QLatin1String("clang"));
    const QString sProgram = IsClang ? QStandardPaths::findExecutable(sCompiler) : FindCrossTool(sCompiler);
    const QString sLibGcc =
        RunTool(FindCrossTool("gcc"), QStringList{"-print-libgcc-file-name"} + TargetFlags(Args)).trimmed();
    if (sProgram.isEmpty() || (IsClang && QStandardPaths::findExecutable("ld.lld").isEmpty())) {
        return false;
    }
    const QStringList ForArm = {"--target=arm-none-eabi", "-fuse-ld=lld", "-Wno-unused-command-line-argument"};
    QStringList All = (IsClang ? ForArm : QStringList()) + Args + QStringList{"-o", sElf};
    All += sLibGcc.isEmpty() ? QStringList() : QStringList{sLibGcc};
    return QProcess::execute(sProgram, All) == 0;
}
