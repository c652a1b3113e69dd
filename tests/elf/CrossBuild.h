#pragma once

// Small programs compiled for ARM in many ways, for comparisons with the binary tools.

#include <QList>
#include <QString>
#include <QTemporaryDir>

struct CROSS_PROGRAM {
    QString sName; ///< compiler and options
    QString sPath;
};

/// Output of a program; empty if it can't be run or fails.
QString RunTool(const QString& sProgram, const QStringList& Args);
/// "arm-none-eabi-" plus the name if it is installed, else empty.
QString FindCrossTool(const QString& sName);
/// The sources of tests/elf/src at four optimisation levels and DWARF versions 2 to 5, by GCC and, where it is
/// installed, clang, plus the firmware images of the build. Empty without a cross compiler. Built once.
const QList<CROSS_PROGRAM>& CrossPrograms();
/// Compiles and links for ARM with "gcc", "g++", "clang" or "clang++". False where the compiler is missing or fails.
bool BuildCross(const QString& sCompiler, const QStringList& Args, const QString& sElf);
