#pragma once

// CProgramFile: the program file of the session, opened, moved, and what the windows and the device are told of it.
// Main thread.

#include "base/Types.h"
#include "device/DeviceTypes.h"

#include <QHash>
#include <QList>
#include <QString>

class CMainWindow;

class CProgramFile {
public:
    explicit CProgramFile(CMainWindow& MainWindow) : m_MainWindow(MainWindow) {}

    /// Opens a program file (ELF, record or binary) for the session; an empty path closes the open one. An empty
    /// result, or the error text.
    QString Open(const QString& sPath);
    /// Says where parts of the program are loaded, of the open one or the next. 0, or -1 if the text names nothing in
    /// the open one.
    int RelocateSymbols(const QString& sSymbols, I32 Offset);
    /// Keeps why a program file could not be opened; an empty error forgets it. Nothing is run meanwhile.
    void NoteOpenResult(const QString& sPath, const QString& sError);
    /// A sentence, empty if the last program file was opened.
    QString GetOpenError() const { return m_sOpenError; }
    QString GetPath() const { return m_sPath; }
    /// Address of the break symbol into the device. False if the symbol is unknown.
    bool EvaluateBreakSymbol() const;

private:
    QString OpenRecords(const QString& sPath, bool IsBinary);
    void OnOpened(const QString& sPath, bool IsElf, qint64 ElapsedMs);
    void RestoreBreakpoints(bool IsSameFile);
    void ShowMainFunc() const;

    CMainWindow& m_MainWindow;
    QString m_sPath;
    QString m_sOpenError;                             ///< of the program file that was asked for last
    I64 m_LoadAddress = -1;                           ///< of the binary file that is being opened; -1: to be asked for
    QHash<size_t, QList<BPEntry>> m_SavedBreakpoints; ///< by program file
};
