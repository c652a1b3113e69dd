#pragma once

// Runs the built program on a generated project, in a folder and with settings of its own, until it ends by itself.

#include <QStringList>
#include <QTemporaryDir>

class QProcess;

struct PROGRAM_RESULT {
    bool HasEnded = false; ///< by itself, without a signal
    int ExitCode = -1;
    QStringList Printed; ///< on the standard output, from the start on
    QStringList Lines;   ///< console log; the milliseconds of "completed in" are "N"
};

class CProgramRun {
public:
    /// Path of a file in the run's folder.
    QString Path(const QString& sName) const { return m_Dir.filePath(sName); }
    QString LogPath() const { return Path(QStringLiteral("console.log")); }
    void WriteFile(const QString& sName, const QByteArray& Data) const;
    /// Environment and folder of the run for a process that starts the program.
    void Prepare(QProcess* pProgram) const;
    /// Runs until the program ends, one minute at most.
    PROGRAM_RESULT Run(const QString& sProject, const QStringList& MoreArgs = {}) const;
    /// Value in the settings that the program has written.
    QVariant Setting(const QString& sKey) const;

private:
    QTemporaryDir m_Dir;
};

/// The start of each project: console log, device, interfaces. $(ProjectDir) is the run's folder.
QString ProjectHead();
/// `File.Open` of the demo program.
QString OpenDemo();
/// An event function that only logs its name in brackets.
QString LoggingFunctions(const QStringList& Names);
/// Path of the demo program.
QString DemoElf();
/// Those lines that the patterns match, in order.
QStringList Matching(const QStringList& Lines, const QString& sPattern);
