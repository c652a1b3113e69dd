#include "project/Project.h"

#include "base/Files.h"
#include "base/TextFormat.h"
#include "project/FileFinder.h"
#include "project/ProjectText.h"
#include "project/RegisterFiles.h"
#include "script/JScript.h"

#include <QFileInfo>

namespace {

constexpr int OPEN_POLL_MS = 10;
constexpr const char* DIALOG_MARKER = "  //\n  // Dialog-generated settings\n  //\n";
constexpr const char* TRACE_MARKER = "Project.SetTIFSpeed";
const QStringList ProbeSettingNames = {"Project.SetDevice",   "Project.SetHostIF",     "Project.SetTargetIF",
                                       "Project.SetTIFSpeed", "Project.SetJTAGConfig", "Target.SetEndianess"};
const QStringList TraceSettingNames = {"Project.SetTraceSource", "Project.SetTraceTiming", "Project.SetTracePortWidth",
                                       "Project.ConfigSWO"};

constexpr qint64 MAX_PROJECT_FILE_SIZE = 64 * 1024 * 1024; ///< more is no project

QString ReadText(const QString& sPath, TEXT_FORMAT* pFormat) {
    QByteArray Bytes;
    return ReadRegularFile(sPath, MAX_PROJECT_FILE_SIZE, &Bytes).isEmpty() ? DecodeText(Bytes, pFormat) : QString();
}

} // namespace

CProject& CProject::Get() {
    static CProject Project;
    return Project;
}

CProject::CProject() : m_pOpenTimer(new QTimer(this)) {
    m_pOpenTimer->setInterval(OPEN_POLL_MS);
    connect(m_pOpenTimer, &QTimer::timeout, this, &CProject::OnOpenTimeout);
}

QString CProject::GetPath() const { return ScriptGetPath(); }

void CProject::SetModified(bool IsModified) {
    m_IsModified = IsModified;
    emit ModifiedChanged(IsModified);
}

void CProject::Open(const QString& sPath) {
    if (!FileExists(sPath)) {
        qWarning("file not found");
        m_IsOpen = false;
    } else {
        Close();
        CFileFinder::Get().SetProjectPath(sPath);
        ScriptLoad(sPath);
        m_IsOpen = true;
    }
    SetModified(false);
    emit Opened(sPath);
}

void CProject::OpenDeferred(const QString& sPath) {
    m_sPendingPath = sPath;
    m_pOpenTimer->start();
}

void CProject::OnOpenTimeout() {
    if (m_sPendingPath.isEmpty() || ScriptGetCallLevel() != 0) {
        return;
    }
    m_pOpenTimer->stop();
    const QString sPath = m_sPendingPath;
    m_sPendingPath.clear();
    Open(sPath);
}

void CProject::Close() {
    const QString sPath = GetPath();
    ScriptRequestClose();
    ScriptSetPath(QString());
    CFileFinder::Get().Reset();
    CFileFinder::Get().SetProjectPath(QString());
    CFileFinder::Get().SetAppPath(QString());
    m_Warnings.clear();
    m_sProgramFile.clear();
    m_ProgramFileTime = {};
    m_BinLoadAddr = 0;
    m_ProgramData.clear();
    m_SvdFiles.clear();
    SetModified(false);
    m_IsOpen = true;
    emit Closed(sPath);
}

int CProject::Create(const QStringList& Commands) {
    const QString sPath = GetPath();
    const int Result = ScriptOpenText(ScriptBuildText(Commands));
    ScriptSetPath(sPath);
    CFileFinder::Get().SetProjectPath(sPath);
    if (Result == 0) {
        ScriptExecute(SF_ON_PROJECT_LOAD);
    }
    m_IsOpen = true;
    SetModified(true);
    return Result;
}

QString CProject::Save(const QString& sPath, const QStringList& Settings) {
    QString sText = ScriptGetText();
    if (sText.isEmpty() && sPath == GetPath() && FileExists(sPath)) {
        return QStringLiteral("the file can't be loaded as it stands: it is not overwritten");
    }
    if (sText.isEmpty()) {
        sText = ScriptBuildText(Settings);
        ScriptOpenText(sText);
    }
    QString sError = ScriptSave(sPath, sText);
    if (sError.isEmpty()) {
        CFileFinder::Get().SetProjectPath(sPath);
        SetModified(false);
    }
    return sError;
}

QString CProject::GetUserFilePath(const QString& sPath) const {
    return sPath.left(sPath.lastIndexOf(QLatin1Char('.')) + 1) + QStringLiteral("dbgprj.user");
}

QString CProject::GetProbeSettingsPath() const {
    const QString sPath = GetPath().replace(QLatin1String("dbgprj"), QLatin1String("novik"));
    return FileExists(sPath) ? sPath : QString();
}

void CProject::SetProgramFile(const QString& sPath) {
    m_sProgramFile = sPath;
    m_ProgramFileTime = QFileInfo(sPath).lastModified();
    CFileFinder::Get().SetAppPath(sPath);
}

bool CProject::TakeProgramFileChanged() {
    const QDateTime Time = QFileInfo(m_sProgramFile).lastModified();
    if (m_sProgramFile.isEmpty() || !Time.isValid() || Time == m_ProgramFileTime) {
        return false;
    }
    m_ProgramFileTime = Time;
    return true;
}

void CProject::AddSvdFile(const QString& sPath) {
    const QString sFound = CFileFinder::Get().FindFileSilently(sPath);
    const bool IsThere = std::any_of(m_SvdFiles.begin(), m_SvdFiles.end(), [&](const QString& sFile) {
        return sFile == sPath || (!sFound.isEmpty() && CFileFinder::Get().FindFileSilently(sFile) == sFound);
    });
    if (!IsThere) {
        m_SvdFiles.append(sPath);
    }
}

QStringList CProject::CheckFiles() const {
    QStringList Problems = m_Warnings;
    if (!HasCpuSvdFile() && GetDefaultCpuSvdFile().isEmpty()) {
        Problems.append(
            QStringLiteral("CPU register set description file not found (specify with 'Project.AddSvdFile') - "
                           "debugging w/o core registers."));
    }
    for (const QString& sFile : m_SvdFiles) {
        if (!FileExists(CFileFinder::Get().FindFile(sFile))) {
            Problems.append(QStringLiteral("file not found: ") + sFile);
        }
    }
    if (!m_sProgramFile.isEmpty() && !FileExists(m_sProgramFile)) {
        Problems.append(QStringLiteral("file not found: ") + m_sProgramFile);
    }
    return Problems;
}

bool CProject::HasCpuSvdFile() const {
    return std::any_of(m_SvdFiles.begin(), m_SvdFiles.end(),
                       [](const QString& sFile) { return IsCpuSvdFile(CFileFinder::Get().FindFileSilently(sFile)); });
}

int CProject::Rewrite(const QString& sPath, const QStringList& Names, const char* sMarker,
                      const QStringList& Commands) {
    TEXT_FORMAT Format;
    QString sText = sPath.isEmpty() ? ScriptGetText() : ReadText(sPath, &Format);
    if (sText.isEmpty() || !RewriteProjectText(&sText, Names, QLatin1String(sMarker), Commands)) {
        return -1;
    }
    if (sPath.isEmpty()) {
        const int Result = ScriptOpenText(sText);
        SetModified(true);
        return Result;
    }
    const QString sError = SaveFile(sPath, EncodeText(sText, Format));
    if (!sError.isEmpty()) {
        qCritical("Could not write file %s: %s", qPrintable(sPath), qPrintable(sError));
    }
    return sError.isEmpty() ? 0 : -1;
}

int CProject::UpdateProbeSettings(const QString& sPath, const QStringList& Commands) {
    return Rewrite(sPath, ProbeSettingNames, DIALOG_MARKER, Commands);
}

int CProject::UpdateTraceSettings(const QString& sPath, const QStringList& Commands) {
    return Rewrite(sPath, TraceSettingNames, TRACE_MARKER, Commands);
}

int CProject::UpdateSettings(const QString& sPath, const QStringList& Commands) {
    QStringList Names;
    for (const QString& sCommand : Commands) {
        Names.append(CommandNameOfLine(sCommand));
    }
    return Rewrite(sPath, Names, DIALOG_MARKER, Commands);
}

bool CProject::HasCommand(const QString& sName) const {
    TEXT_FORMAT Format;
    const QString sText = ReadText(GetPath(), &Format);
    return HasProjectCommand(sText, sName);
}
