#pragma once

// Small programs compiled for ARM in many ways, for comparisons with the binary tools.

#include <QList>
#include <QString>
#include <QTemporaryDir>

struct CROSS_PROGRAM {
    QString sName; ///< compiler and options
    QString sPath;
};

/// Output of a program, which may have found something to warn of; empty if it can't be run or crashes.
QString RunTool(const QString& sProgram, const QStringList& Args);
/// "arm-none-eabi-" plus the name if it is installed, else empty.
QString FindCrossTool(const QString& sName);
/// The sources of tests/elf/src at four optimisation levels and DWARF versions 2 to 5, by GCC and, where it is
/// installed, clang, plus the firmware images of the build. Empty without a cross compiler. Built once.
const QList<CROSS_PROGRAM>& CrossPrograms();
/// The firmware images of the build.
QList<CROSS_PROGRAM> FirmwarePrograms();
/// The programs of BRASK_ORACLE_PROGRAMS (paths separated by colons); without it CrossPrograms().
const QList<CROSS_PROGRAM>& OraclePrograms();
/// True if there are programs of BRASK_ORACLE_PROGRAMS to be compared instead.
bool HasForeignPrograms();
/// The programs of BRASK_ORACLE_PROGRAMS alone, but those with debug information that isn't read, which it names.
const QList<CROSS_PROGRAM>& ForeignPrograms();
/// Prints how much of one of the ForeignPrograms() has been compared.
void NoteCompared(const CROSS_PROGRAM& Program, const char* sWhat, qint64 Count);
/// Compiles and links for ARM with "gcc", "g++", "clang" or "clang++". False where the compiler is missing or fails.
bool BuildCross(const QString& sCompiler, const QStringList& Args, const QString& sElf);
