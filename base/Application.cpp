#include "base/Application.h"

#include <QCoreApplication>
#include <QDir>

namespace {

constexpr int VERSION_MAJOR = 2;
constexpr int VERSION_MINOR = 52;
constexpr int VERSION_REVISION = 1;

} // namespace

QString FormatVersion(int Major, int Minor, int Revision) {
    QString sText = QStringLiteral("V%1.%2").arg(Major).arg(Minor, 2, 10, QLatin1Char('0'));
    if (Revision > 26) {
        sText += QStringLiteral("z%1").arg(Revision - 26, 2, 10, QLatin1Char('0'));
    } else if (Revision > 0) {
        sText += QChar('a' + Revision - 1);
    }
    return sText;
}

QString GetAppVersion() { return FormatVersion(VERSION_MAJOR, VERSION_MINOR, VERSION_REVISION); }

QString GetAppTitle(bool IsLong, bool WithVersion) {
    QString sTitle = IsLong ? QStringLiteral("Brask - The Novik Debugger") : QLatin1String(APPLICATION_NAME);
    if (WithVersion) {
        sTitle += QLatin1Char(' ') + GetAppVersion();
    }
    return sTitle;
}

QString GetProgramDir(const QString& sSubDir) {
    static const QString sProgramDir = QDir(QCoreApplication::applicationDirPath()).canonicalPath();
    return sSubDir.isEmpty() ? sProgramDir : sProgramDir + QLatin1Char('/') + sSubDir;
}
