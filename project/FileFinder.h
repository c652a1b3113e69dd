#pragma once

// CFileFinder turns a path of a project, the command line or the debug information into a path that exists: macros,
// file aliases, path substitutes, root paths and search paths, in this order. One object for the process, reset when
// a project closes. Main thread.

#include <QMap>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

class CFileFinder : public QObject {
    Q_OBJECT

public:
    static CFileFinder& Get();

    /// The resolved path. An absolute path that doesn't exist comes back as it is; a relative one that isn't found
    /// gives an empty text.
    QString FindFile(const QString& sPath);
    /// As FindFile(), without any report of the result.
    QString FindFileSilently(const QString& sPath);
    QString ExpandMacros(const QString& sPath) const;

    void AddRootPath(const QString& sRootPath);
    void AddSearchPath(const QString& sSearchPath);
    void AddFileAlias(const QString& sOldPath, const QString& sNewPath);
    void AddPathSubstitute(const QString& sPath, const QString& sSubstitute);
    QString GetAliasSource(const QString& sPath) const;
    void Reset();

    /// Project file, whose directory is one of the places looked at; empty for none.
    void SetProjectPath(const QString& sPath) { m_sProjectPath = sPath; }
    /// Program file of the project, likewise.
    void SetAppPath(const QString& sPath) { m_sAppPath = sPath; }

    int GetNumFound() const { return static_cast<int>(m_FoundFiles.size()); }
    int GetNumMissing() const { return static_cast<int>(m_MissingFiles.size()); }

signals:
    void SrcFilePathResolved(QString sAsked, QString sFound);
    void SrcFileResStatsChanged();

private slots:
    void OnDelayTimerTimeout() { emit SrcFileResStatsChanged(); }

private:
    CFileFinder();
    QString ApplyFileAliases(const QString& sPath) const;
    QString ApplyPathSubstitutes(const QString& sPath) const;
    QString FindRelative(const QString& sPath, bool NoCurrentDir);
    QString SearchDirs(const QString& sName, const QStringList& Dirs);
    QString FindByClass(const QString& sPath, const QStringList& Dirs);
    QString FindBySuffix(const QString& sPath);
    void Report(const QString& sAsked, const QString& sFound);
    void ResetStatistics();
    QString GetProjectDir() const;
    QString GetAppDir() const;

    QTimer m_DelayTimer;
    QMap<QString, QString> m_FileAliases;
    QMap<QString, QString> m_PathSubstitutes;
    QMap<QString, bool> m_ReportedFiles; ///< other than source files, reported once each
    QStringList m_SearchPaths;
    QStringList m_RootPaths;
    bool m_FoundInProjectDir = false;
    bool m_IsSilent = false;
    QSet<QString> m_MissingFiles;
    QSet<QString> m_FoundFiles;
    QString m_sProjectPath;
    QString m_sAppPath;
};

/// "\" to "/", then "//" to "/" until none is left.
QString NormalizeSlashes(const QString& sPath);
/// Normalised slashes, then QDir::cleanPath().
QString CleanPath(const QString& sPath);
/// The letter before the first ":", so that "C:/x" is absolute on any host; empty if there is none.
QString DriveOfPath(const QString& sPath);
bool IsRelativePath(const QString& sPath);
bool FileExists(const QString& sPath);
