#include "project/FileFinder.h"

#include "base/Application.h"
#include "base/ConsoleRing.h"

#include <QDir>
#include <QFileInfo>

namespace {

constexpr int REPORT_DELAY_MS = 500;

enum FILE_CLASS { FC_SOURCE, FC_DESCRIPTION, FC_PLUGIN, FC_IMAGE, FC_PROJECT, FC_DOCUMENT, FC_OTHER };

struct CLASS_ROW {
    FILE_CLASS Class;
    const char* sPatterns;
};

constexpr CLASS_ROW aClass[] = {
    {FC_SOURCE, "*.h *.c *.hpp *.cpp *.s"},
    {FC_DESCRIPTION, "*.svd *.xml"},
    {FC_PLUGIN, "*.dll *.so *.dylib"},
    {FC_IMAGE, "*.bin *.mot *.srec *.hex *.elf *.out *.axf"},
    {FC_PROJECT, "*.dbgprj"},
    {FC_DOCUMENT, "*.txt *.pdf *.html"},
};

FILE_CLASS ClassOf(const QString& sPath) {
    const qsizetype Dot = sPath.lastIndexOf(QLatin1Char('.'));
    const QString sSuffix = Dot < 0 ? QString() : sPath.mid(Dot + 1).toLower();
    for (const CLASS_ROW& Row : aClass) {
        const QStringList Patterns = QString::fromLatin1(Row.sPatterns).split(QLatin1Char(' '));
        if (!sSuffix.isEmpty() && Patterns.contains(QStringLiteral("*.") + sSuffix)) {
            return Row.Class;
        }
    }
    return QString::fromLatin1(aClass[FC_PLUGIN].sPatterns).contains(sSuffix) ? FC_PLUGIN : FC_OTHER;
}

/// The candidate in a directory, cleaned, if it exists.
QString TryPath(const QString& sDir, const QString& sPath) {
    if (sDir.isEmpty()) {
        return {};
    }
    const bool HasSlash = sDir.endsWith(QLatin1Char('/')) || sPath.startsWith(QLatin1Char('/'));
    const QString sCandidate = sDir + (HasSlash ? QString() : QStringLiteral("/")) + sPath;
    qDebug("Testing %s", qPrintable(sCandidate));
    return QFileInfo::exists(sCandidate) ? CleanPath(sCandidate) : QString();
}

QString WithSuffix(const QString& sPath, const char* sSuffix) {
    const qsizetype Dot = sPath.lastIndexOf(QLatin1Char('.'));
    return (Dot < 0 ? sPath : sPath.left(Dot)) + QLatin1String(sSuffix);
}

} // namespace

QString NormalizeSlashes(const QString& sPath) {
    QString sResult = QString(sPath).replace(QLatin1Char('\\'), QLatin1Char('/'));
    while (sResult.contains(QLatin1String("//"))) {
        sResult.replace(QLatin1String("//"), QLatin1String("/"));
    }
    return sResult;
}

QString CleanPath(const QString& sPath) { return QDir::cleanPath(NormalizeSlashes(sPath)); }

QString DriveOfPath(const QString& sPath) {
    const qsizetype Colon = sPath.indexOf(QLatin1Char(':'));
    return Colon > 0 && sPath[Colon - 1].isLetter() ? sPath.mid(Colon - 1, 1) : QString();
}

bool IsRelativePath(const QString& sPath) { return DriveOfPath(sPath).isEmpty() && QFileInfo(sPath).isRelative(); }

bool FileExists(const QString& sPath) {
    const QFileInfo Info(sPath);
    return Info.exists() && Info.isFile();
}

CFileFinder& CFileFinder::Get() {
    static CFileFinder Finder;
    return Finder;
}

CFileFinder::CFileFinder() {
    m_DelayTimer.setSingleShot(true);
    m_DelayTimer.setInterval(REPORT_DELAY_MS);
    connect(&m_DelayTimer, &QTimer::timeout, this, &CFileFinder::OnDelayTimerTimeout);
}

QString CFileFinder::GetProjectDir() const {
    return m_sProjectPath.isEmpty() ? QString() : QFileInfo(m_sProjectPath).absolutePath();
}

QString CFileFinder::GetAppDir() const {
    return m_sAppPath.isEmpty() ? QString() : QFileInfo(m_sAppPath).absolutePath();
}

QString CFileFinder::ExpandMacros(const QString& sPath) const {
    const bool IsName = !IsRelativePath(sPath) && FileExists(sPath); // a folder may have the name of a macro
    if (IsName || !sPath.contains(QLatin1Char('$'))) {
        return sPath;
    }
    const QString sExe = GetProgramDir();
    const std::pair<const char*, QString> aMacro[] = {
        {"$(DocDir)", sExe + QStringLiteral("/Doc/")},
        {"$(PluginDir)", sExe + QStringLiteral("/Plugins/")},
        {"$(ProjectDir)", GetProjectDir()},
        {"$(InstallDir)", sExe},
        {"$(ExecutableDir)", sExe},
        {"$(AppDir)", GetAppDir()},
        {"$(AppBundleDir)", sExe},
        {"$(ConfigDir)", sExe + QStringLiteral("/Config/")},
        {"$(LibraryDir)", sExe + QStringLiteral("/Lib/")},
    };
    QString sResult;
    for (qsizetype i = 0; i < sPath.size();) { // in one pass: a value that looks like a macro is a name
        const QStringView Rest = QStringView(sPath).mid(i);
        const auto* pMacro = std::find_if(std::begin(aMacro), std::end(aMacro), [Rest](const auto& Macro) {
            return Rest.startsWith(QLatin1String(Macro.first), Qt::CaseInsensitive);
        });
        const bool IsMacro = pMacro != std::end(aMacro);
        sResult += IsMacro ? pMacro->second : QString(sPath[i]);
        i += IsMacro ? static_cast<qsizetype>(qstrlen(pMacro->first)) : 1;
    }
    if (sResult != sPath) {
        qDebug("FileFinder: expanded %s to %s", qPrintable(sPath), qPrintable(sResult));
    }
    return sResult;
}

QString CFileFinder::ApplyFileAliases(const QString& sPath) const {
    if (m_FileAliases.isEmpty()) {
        return {};
    }
    qDebug("Applying file aliases to %s", qPrintable(sPath));
    for (auto It = m_FileAliases.constBegin(); It != m_FileAliases.constEnd(); ++It) {
        if (CleanPath(sPath).compare(CleanPath(It.key()), Qt::CaseInsensitive) == 0 ||
            sPath.compare(It.key(), Qt::CaseInsensitive) == 0) {
            qDebug("mapped %s to %s", qPrintable(sPath), qPrintable(It.value()));
            return It.value();
        }
    }
    return {};
}

QString CFileFinder::ApplyPathSubstitutes(const QString& sPath) const {
    if (m_PathSubstitutes.isEmpty()) {
        return {};
    }
    qDebug("Applying path substitutes in : %s", qPrintable(sPath));
    QString sWork = NormalizeSlashes(sPath);
    bool HasMatch = false;
    for (auto It = m_PathSubstitutes.constBegin(); It != m_PathSubstitutes.constEnd(); ++It) {
        if (!It.key().isEmpty() && sWork.contains(It.key(), Qt::CaseInsensitive)) {
            sWork.replace(It.key(), It.value());
            HasMatch = true;
            qDebug("Path substituted: %s -> %s", qPrintable(It.key()), qPrintable(It.value()));
        }
    }
    return HasMatch ? sWork : sPath;
}

QString CFileFinder::FindRelative(const QString& sPath, bool NoCurrentDir) {
    for (const QString& sRoot : std::as_const(m_RootPaths)) {
        const QString sFound = TryPath(sRoot, sPath);
        if (!sFound.isEmpty()) {
            return sFound;
        }
    }
    QString sFound = TryPath(GetProjectDir(), sPath);
    m_FoundInProjectDir = m_FoundInProjectDir || !sFound.isEmpty();
    for (const QString& sDir : {GetProgramDir(), GetAppDir(), NoCurrentDir ? QString() : QDir::currentPath()}) {
        sFound = sFound.isEmpty() ? TryPath(sDir, sPath) : sFound;
    }
    return sFound;
}

QString CFileFinder::SearchDirs(const QString& sName, const QStringList& Dirs) {
    if (Dirs.isEmpty()) {
        return {};
    }
    qDebug("Looking for %s in search directories.", qPrintable(sName));
    for (const QString& sDir : Dirs) {
        const QString sBase = IsRelativePath(sDir) ? FindRelative(sDir, false) : sDir;
        const QString sCandidate = CleanPath(sBase + QLatin1Char('/') + sName);
        if (!sBase.isEmpty() && FileExists(sCandidate)) {
            qDebug("Found %s in %s", qPrintable(sName), qPrintable(sCandidate));
            return sCandidate;
        }
    }
    return {};
}

QString CFileFinder::FindByClass(const QString& sPath, const QStringList& Dirs) {
    QString sCandidate = sPath;
    if (IsRelativePath(sPath)) {
        const QString sRelative = FindRelative(sPath, true);
        sCandidate = sRelative.isEmpty() ? sPath : sRelative;
    }
    return FileExists(sCandidate) ? sCandidate : SearchDirs(QFileInfo(sPath).fileName(), Dirs);
}

QString CFileFinder::FindBySuffix(const QString& sPath) {
    const QString sConfig = ExpandMacros(QStringLiteral("$(ConfigDir)"));
    const QString sPlugins = ExpandMacros(QStringLiteral("$(PluginDir)"));
    switch (ClassOf(sPath)) {
    case FC_DESCRIPTION: {
        const QStringList Dirs =
            QStringList{sConfig, sConfig + QStringLiteral("/CPU/"), sConfig + QStringLiteral("/Peripherals/")} +
            m_SearchPaths;
        const QString sFound = FindByClass(WithSuffix(sPath, ".svd"), Dirs);
        return sFound.isEmpty() ? FindByClass(WithSuffix(sPath, ".xml"), Dirs) : sFound;
    }
    case FC_PLUGIN:
        return FindByClass(
            sPath, QStringList{sPlugins, sPlugins + QStringLiteral("/OS/"), sPlugins + QStringLiteral("/Core/")} +
                       m_SearchPaths);
    case FC_DOCUMENT:
        return FindByClass(sPath, m_SearchPaths + QStringList{ExpandMacros(QStringLiteral("$(DocDir)")), GetDocDir()});
    case FC_SOURCE:
    case FC_OTHER:
        qDebug("Resolving source file path: %s", qPrintable(sPath));
        return FindByClass(sPath, m_SearchPaths);
    default:
        return FindByClass(sPath, m_SearchPaths);
    }
}

QString CFileFinder::FindFile(const QString& sPath) {
    if (sPath.isEmpty()) {
        return {};
    }
    qDebug("Starting to resolve: %s", qPrintable(sPath));
    QString sWork = sPath;
    const QString sExpanded = ExpandMacros(sWork);
    sWork = sExpanded.isEmpty() ? sWork : sExpanded;
    const QString sAsked = sWork; // a macro is no search: its value is what was asked for
    const QString sAlias = ApplyFileAliases(sWork);
    sWork = sAlias.isEmpty() ? sWork : sAlias;
    const QString sSubstituted = ApplyPathSubstitutes(sWork);
    sWork = sSubstituted.isEmpty() ? sWork : sSubstituted;
    const QString sClean = CleanPath(sWork);
    if (!IsRelativePath(sClean)) {
        Report(sAsked, sClean);
        return FileExists(sClean) ? sClean : sWork;
    }
    const QString sFound = FileExists(sClean) ? sClean : FindBySuffix(sClean);
    Report(sAsked, sFound);
    m_FoundInProjectDir = false;
    return sFound;
}

QString CFileFinder::FindFileSilently(const QString& sPath) {
    m_IsSilent = true;
    QString sFound = FindFile(sPath);
    m_IsSilent = false;
    return sFound;
}

void CFileFinder::Report(const QString& sAsked, const QString& sFound) {
    if (m_IsSilent) {
        return;
    }
    const bool IsFound = FileExists(sFound);
    if (ClassOf(sAsked) == FC_SOURCE) {
        if (IsFound) {
            m_FoundFiles.insert(sFound);
            emit SrcFilePathResolved(sAsked, sFound);
        } else {
            m_MissingFiles.insert(sAsked);
        }
        m_DelayTimer.start();
    } else if (!IsFound || (sFound != CleanPath(sAsked) && !m_FoundInProjectDir)) {
        if (!m_ReportedFiles.contains(sAsked)) {
            ConsolePrint(IsFound ? QStringLiteral("File path resolved: \"%1\" was found at \"%2\"").arg(sAsked, sFound)
                                 : QStringLiteral("File not found: %1").arg(sAsked));
        }
        m_ReportedFiles.insert(sAsked, true);
    }
}

void CFileFinder::ResetStatistics() {
    m_FoundFiles.clear();
    m_MissingFiles.clear();
}

void CFileFinder::AddRootPath(const QString& sRootPath) {
    QString sRoot = CleanPath(ExpandMacros(sRootPath));
    if (IsRelativePath(sRoot)) {
        const QString sFound = FindRelative(sRoot, false);
        sRoot = sFound.isEmpty() ? sRoot : sFound;
    }
    m_RootPaths.append(sRoot);
    ResetStatistics();
}

void CFileFinder::AddSearchPath(const QString& sSearchPath) {
    m_SearchPaths.append(CleanPath(ExpandMacros(sSearchPath)));
    ResetStatistics();
}

void CFileFinder::AddFileAlias(const QString& sOldPath, const QString& sNewPath) {
    m_FileAliases.insert(ExpandMacros(sOldPath), CleanPath(ExpandMacros(sNewPath)));
    ResetStatistics();
}

void CFileFinder::AddPathSubstitute(const QString& sPath, const QString& sSubstitute) {
    m_PathSubstitutes.insert(NormalizeSlashes(ExpandMacros(sPath)), NormalizeSlashes(ExpandMacros(sSubstitute)));
    ResetStatistics();
}

QString CFileFinder::GetAliasSource(const QString& sPath) const {
    for (auto It = m_FileAliases.constBegin(); It != m_FileAliases.constEnd(); ++It) {
        if (It.value().compare(sPath, Qt::CaseInsensitive) == 0) {
            return It.key();
        }
    }
    return sPath;
}

void CFileFinder::Reset() {
    m_SearchPaths.clear();
    m_FileAliases.clear();
    m_PathSubstitutes.clear();
    m_ReportedFiles.clear();
    m_RootPaths.clear();
    m_FoundInProjectDir = false;
    ResetStatistics();
}
