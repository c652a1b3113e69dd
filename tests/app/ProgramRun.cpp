#include "tests/app/ProgramRun.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>

namespace {

constexpr int MAX_RUN_MS = 60'000;

QStringList ReadLines(const QString& sPath) {
    static const QRegularExpression Duration(QStringLiteral("completed in \\d+ ms"));
    QFile File(sPath);
    if (!File.open(QIODevice::ReadOnly)) {
        return {};
    }
    QString sText = QString::fromUtf8(File.readAll());
    sText.replace(Duration, QStringLiteral("completed in N ms"));
    return sText.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

void CProgramRun::WriteFile(const QString& sName, const QByteArray& Data) const {
    QFile File(Path(sName));
    if (!File.open(QIODevice::WriteOnly) || File.write(Data) != Data.size()) {
        qFatal("%s can't be written", qPrintable(File.fileName()));
    }
}

void CProgramRun::Prepare(QProcess* pProgram) const {
    QProcessEnvironment Environment = QProcessEnvironment::systemEnvironment();
    Environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    Environment.insert(QStringLiteral("XDG_CONFIG_HOME"), Path(QStringLiteral("config")));
    pProgram->setProcessEnvironment(Environment);
    pProgram->setWorkingDirectory(m_Dir.path());
}

PROGRAM_RESULT CProgramRun::Run(const QString& sProject, const QStringList& MoreArgs) const {
    WriteFile(QStringLiteral("test.dbgprj"), sProject.toUtf8());
    QProcess Program;
    Prepare(&Program);
    Program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    Program.start(QStringLiteral(BRASK_BINARY_DIR "/bin/brask"),
                  QStringList{Path(QStringLiteral("test.dbgprj"))} + MoreArgs);
    PROGRAM_RESULT Result;
    Result.HasEnded = Program.waitForFinished(MAX_RUN_MS) && Program.exitStatus() == QProcess::NormalExit;
    if (Result.HasEnded) {
        Result.ExitCode = Program.exitCode();
    } else {
        Program.kill();
        Program.waitForFinished();
    }
    Result.Printed = QString::fromUtf8(Program.readAllStandardOutput()).split(QLatin1Char('\n'));
    Result.Lines = ReadLines(LogPath());
    return Result;
}

QVariant CProgramRun::Setting(const QString& sKey) const {
    return QSettings(Path(QStringLiteral("config/VANTLE/Brask.conf")), QSettings::IniFormat).value(sKey);
}

QString ProjectHead() {
    return QStringLiteral("  Project.SetConsoleLogFile (\"$(ProjectDir)/console.log\");\n"
                          "  Project.SetDevice (\"Cortex-M4\");\n"
                          "  Project.SetHostIF (\"USB\", \"\");\n"
                          "  Project.SetTargetIF (\"SWD\");\n"
                          "  Project.SetTIFSpeed (\"4 MHz\");\n");
}

QString DemoElf() { return QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf"); }

QString OpenDemo() { return QStringLiteral("  File.Open (\"%1\");\n").arg(DemoElf()); }

QString LoggingFunctions(const QStringList& Names) {
    QString sText;
    for (const QString& sName : Names) {
        sText += QStringLiteral("void %1 (void) {\n  Util.Log (\"[%1]\");\n}\n").arg(sName);
    }
    return sText;
}

QStringList Matching(const QStringList& Lines, const QString& sPattern) {
    return Lines.filter(QRegularExpression(sPattern));
}
