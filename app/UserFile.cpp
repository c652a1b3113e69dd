#include "app/UserFile.h"

#include "app/Ask.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "app/Toolbars.h"
#include "app/Trust.h"
#include "base/Files.h"
#include "framework/WindowList.h"
#include "project/Project.h"

#include <QFileInfo>

namespace {

constexpr qint64 MAX_USER_FILE_SIZE = 1024 * 1024; ///< more is no layout

QString ReadUserFile(const QString& sPath) {
    QByteArray Text;
    return ReadRegularFile(sPath, MAX_USER_FILE_SIZE, &Text).isEmpty() ? QString::fromUtf8(Text) : QString();
}

} // namespace

void WriteUserFile(CMainWindow& MainWindow, const QString& sProjectPath) {
    if (!QFileInfo::exists(sProjectPath)) {
        return; // the project has gone from the disk, or has never been saved
    }
    QStringList Lines = MainWindow.GetWindows().FormatLayout();
    for (const CWindow* pWindow : MainWindow.GetWindows().GetWindows()) {
        const QString sConfig = pWindow->GetUserConfigStr();
        if (!sConfig.isEmpty()) {
            Lines.append(sConfig);
        }
    }
    Lines += MainWindow.GetToolbars().FormatLayout();
    const QByteArray Text = Lines.join(QLatin1Char('\n')).toUtf8() + '\n';
    const QString sPath = CProject::Get().GetUserFilePath(sProjectPath);
    const QString sError = IsWriteTrusted(sProjectPath, sPath)
                               ? SaveFile(sPath, Text)
                               : QStringLiteral("it is a link to a file outside the project's folder");
    if (!sError.isEmpty()) {
        TellSaveFailed(sPath, sError, MainWindow.GetSession().IsClosing());
    }
}

void LoadUserFile(CMainWindow& MainWindow, const QString& sProjectPath) {
    const QString sText = ReadUserFile(CProject::Get().GetUserFilePath(sProjectPath));
    if (sText.trimmed().isEmpty()) {
        return;
    }
    const QStringList Lines = sText.split(QLatin1Char('\n'));
    MainWindow.GetWindows().ApplyLayout(Lines);
    MainWindow.GetToolbars().ApplyLayout(Lines);
    for (CWindow* pWindow : MainWindow.GetWindows().GetWindows()) {
        pWindow->SetUserConfigStr(sText);
    }
}
