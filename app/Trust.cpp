#include "app/Trust.h"

#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/Slots.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/SettingsMap.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>

namespace {

/// Projects whose user has said no in this run.
QStringList& Refused() {
    static QStringList Paths;
    return Paths;
}

/// A key of its own for each project, so that several instances don't lose each other's.
QString KeyOf(const QString& sCanonicalPath) {
    const QByteArray Hash = QCryptographicHash::hash(sCanonicalPath.toUtf8(), QCryptographicHash::Sha1);
    return QStringLiteral("AppData/TrustedProjects/") + QString::fromLatin1(Hash.toHex());
}

/// Where a write to the path would go, links resolved; the file itself needn't exist.
QString RealTarget(const QString& sPath) {
    QFileInfo Info(sPath);
    for (int i = 0; i < 40 && Info.isSymLink(); ++i) { // also one that points to nothing yet
        Info = QFileInfo(Info.symLinkTarget());
    }
    QFileInfo Dir(Info.absolutePath());
    QString sRest = Info.fileName();
    while (!Dir.exists() && !Dir.isRoot()) {
        sRest = Dir.fileName() + QLatin1Char('/') + sRest;
        Dir = QFileInfo(Dir.absolutePath());
    }
    return QDir::cleanPath(Dir.canonicalFilePath() + QLatin1Char('/') + sRest);
}

bool IsInFolderOf(const QString& sProjectPath, const QString& sPath) {
    QString sFolder = QFileInfo(QFileInfo(sProjectPath).absolutePath()).canonicalFilePath();
    sFolder += sFolder.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/");
    return sFolder.size() > 1 && RealTarget(sPath).startsWith(sFolder);
}

bool AskForTrust(const QString& sProject, const QString& sPath) {
    if (Refused().contains(sProject)) {
        return false;
    }
    const auto Answer = AskUser(QStringLiteral("Trust Project?"),
                                QStringLiteral("The script of the project ") + sProject +
                                    QStringLiteral(" is about to write the file ") + RealTarget(sPath) +
                                    QStringLiteral(", outside the project's folder. Do you trust this project?"),
                                QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    if (Answer == QMessageBox::Yes) {
        TrustProject(sProject);
    } else {
        Refused().append(sProject);
    }
    return Answer == QMessageBox::Yes;
}

} // namespace

bool IsProjectTrusted(const QString& sProjectPath) {
    const QString sCanonical = QFileInfo(sProjectPath).canonicalFilePath();
    return sCanonical.isEmpty() || ReadSetting(KeyOf(sCanonical)).toString() == sCanonical;
}

void TrustProject(const QString& sProjectPath) {
    const QString sCanonical = QFileInfo(sProjectPath).canonicalFilePath();
    if (!sCanonical.isEmpty()) {
        WriteSetting(KeyOf(sCanonical), sCanonical);
        Refused().removeAll(sCanonical);
    }
}

bool IsWriteTrusted(const QString& sProjectPath, const QString& sPath) {
    return GetCmdLine().IsTrusting || IsProjectTrusted(sProjectPath) || IsInFolderOf(sProjectPath, sPath);
}

bool MayWriteFile(COMMAND_ID Id, const QString& sPath) {
    const QString sProject = CProject::Get().GetPath();
    if (ScriptGetCallLevel() == 0 || sPath.isEmpty() || IsWriteTrusted(sProject, sPath) ||
        AskForTrust(QFileInfo(sProject).canonicalFilePath(), sPath)) {
        return true;
    }
    FailCommand(Id, "the project isn't trusted to write outside its folder (--trust allows it)");
    return false;
}
