#pragma once

// CProject: the open project, a script file with the extension "dbgprj". Opening runs it; saving settings edits its
// text. Main thread.

#include "base/Types.h"
#include "datafile/MemBlock.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>
#include <QTimer>

class CProject : public QObject {
    Q_OBJECT

public:
    static CProject& Get();

    /// Closes the open project and loads another; Opened() follows, also for a script with errors.
    void Open(const QString& sPath);
    /// Opens as soon as no script function runs any more.
    void OpenDeferred(const QString& sPath);
    /// True from then until the project opens.
    bool IsOpenPending() const { return m_pOpenTimer->isActive(); }
    void Close();
    /// A new project, not on disk yet, whose OnProjectLoad holds the command lines. 0, or -1 if it can't be loaded.
    int Create(const QStringList& Commands);
    /// Writes the project. `Settings` are command lines for a project that has no text yet. Empty, or why the file
    /// couldn't be written: then it is as it was.
    QString Save(const QString& sPath, const QStringList& Settings);

    bool IsOpen() const { return m_IsOpen; }
    bool IsModified() const { return m_IsModified; }
    void SetModified(bool IsModified);
    QString GetPath() const;
    QString GetUserFilePath(const QString& sPath) const;
    QString GetProbeSettingsPath() const; ///< empty if the file doesn't exist

    QString GetProgramFile() const { return m_sProgramFile; }
    void SetProgramFile(const QString& sPath);
    /// True once after the program file has changed on disk; the new date counts as known from then on.
    bool TakeProgramFileChanged();
    I64 GetBinLoadAddr() const { return m_BinLoadAddr; }
    void SetBinLoadAddr(I64 Addr) { m_BinLoadAddr = Addr; }
    const QList<CMemBlock>& GetProgramData() const { return m_ProgramData; }
    void SetProgramData(const QList<CMemBlock>& Data) { m_ProgramData = Data; }

    void AddSvdFile(const QString& sPath);
    void ClearSvdFiles() { m_SvdFiles.clear(); }
    void SetSvdFiles(const QStringList& Paths) { m_SvdFiles = Paths; }
    const QStringList& GetSvdFiles() const { return m_SvdFiles; }
    /// True if one of the register description files describes the core and can be read.
    bool HasCpuSvdFile() const;
    void AddWarning(const QString& sText) { m_Warnings.append(sText); }
    /// What a debug session would miss.
    QStringList CheckFiles() const;

    // Rewriting lines of OnProjectLoad in the file on disk; with an empty path in the text of the open project, which
    // has no file yet. 0, or -1 with the text as it was.
    int UpdateProbeSettings(const QString& sPath, const QStringList& Commands);
    int UpdateTraceSettings(const QString& sPath, const QStringList& Commands);
    int UpdateSettings(const QString& sPath, const QStringList& Commands);
    /// True if the body of OnProjectLoad in the file calls the command.
    bool HasCommand(const QString& sName) const;

signals:
    void ModifiedChanged(bool Modified);
    void Opened(QString FileName);
    void Closed(QString FileName);

private slots:
    void OnOpenTimeout();

private:
    CProject();
    int Rewrite(const QString& sPath, const QStringList& Names, const char* sMarker, const QStringList& Commands);

    QTimer* m_pOpenTimer;
    bool m_IsOpen = false;
    bool m_IsModified = false;
    QStringList m_Warnings;
    QString m_sPendingPath;
    QStringList m_SvdFiles;
    QString m_sProgramFile;
    QDateTime m_ProgramFileTime;
    I64 m_BinLoadAddr = 0;
    QList<CMemBlock> m_ProgramData;
};
