#include "app/Ask.h"
#include "app/Download.h"
#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/ProjectControl.h"
#include "app/ProjectSettings.h"
#include "app/RecentProjects.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/Trust.h"
#include "base/Files.h"
#include "command/CommandTable.h"
#include "datafile/JFile.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "settings/SettingsMap.h"
#include "views/SourceWindow.h"

#include <QFileDialog>
#include <QFileInfo>

// File.*

namespace {

constexpr int RESULT_CANCELLED = 2;
constexpr const char* KEY_DIR_OPEN = "AppData/MainWindow/DefaultDirOpen";
constexpr const char* KEY_DIR_SAVE = "AppData/MainWindow/DefaultDirSave";

bool IsProgramFile(const QString& sPath) {
    return JFile::IsDataFile(sPath) || QFileInfo(sPath).suffix().compare(QLatin1String("o"), Qt::CaseInsensitive) == 0;
}

QString AskForFile(CMainWindow& MainWindow) {
    QString sPath = QFileDialog::getOpenFileName(
        &MainWindow, QStringLiteral("Open File"), ReadSetting(QLatin1String(KEY_DIR_OPEN)).toString(),
        QStringLiteral("Project Files (*.dbgprj);;Data Files (*.bin *.mot *.srec *.hex *.elf *.out *.axf);;"
                       "Source Files (*.c *.h *.cpp *.hpp *.s *.S);;All Files (*)"));
    if (!sPath.isEmpty()) {
        WriteSetting(QLatin1String(KEY_DIR_OPEN), QFileInfo(sPath).absolutePath());
    }
    return sPath;
}

/// The file argument, or the file a person chooses. Empty, with the cancel mark, if there is none.
QString GetFileArg(COMMAND_ID Id, CMainWindow& MainWindow) {
    const QStringList Args = CCommandTable::GetArgs(Id);
    if (!Args.isEmpty() && !Args[0].isEmpty()) {
        return Args[0];
    }
    QString sPath = IsUnattended() ? QString() : AskForFile(MainWindow);
    if (sPath.isEmpty()) {
        CCommandTable::Cancel(Id);
    } else {
        CCommandTable::PrepareArgs(Id, {sPath});
    }
    return sPath;
}

void FileOpen(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_FILE_OPEN;
    const QString sArg = GetFileArg(Id, MainWindow);
    if (sArg.isEmpty()) {
        return;
    }
    const QString sPath = CFileFinder::Get().FindFile(sArg);
    const QString sRefused = CheckRegularFile(sPath);
    if (!sRefused.isEmpty()) {
        if (IsProgramFile(sPath)) {
            MainWindow.GetProgramFile().NoteOpenResult(sPath, sRefused);
        }
        FailCommand(Id, sRefused);
        return;
    }
    const QString sFile = QFileInfo(sPath).absoluteFilePath();
    if (QFileInfo(sFile).suffix().compare(QLatin1String("dbgprj"), Qt::CaseInsensitive) == 0) {
        MainWindow.GetProjects().Open(sFile);
    } else if (IsProgramFile(sFile)) {
        const QString sError = MainWindow.GetProgramFile().Open(sFile);
        if (!sError.isEmpty()) {
            FailCommand(Id, sError);
        }
    } else {
        QString sError;
        if (!MainWindow.GetSourceWindow().OpenFile(sFile, &sError)) {
            FailCommand(Id, sError);
        }
    }
}

void FileLoad(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_FILE_LOAD;
    unsigned Addr = 0;
    if (!ReadNumberArg(Id, 1, &Addr)) {
        return;
    }
    const QString sPath = CFileFinder::Get().FindFile(CCommandTable::GetArgs(Id).value(0));
    const QString sRefused = CheckRegularFile(sPath);
    if (!sRefused.isEmpty()) {
        FailCommand(Id, sRefused);
        return;
    }
    MainWindow.GetDownload().Start(sPath, DL_LOAD, Addr);
}

void FileClose(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_FILE_CLOSE;
    if (!MainWindow.GetSourceWindow().CloseFile(CCommandTable::GetArgs(Id).value(0))) {
        FailCommand(Id, QStringLiteral("file is not open"));
    }
}

void FileCloseAll(CMainWindow& MainWindow) { MainWindow.GetSourceWindow().CloseAll(); }

void FileNewProject(CMainWindow& MainWindow) {
    if (!MainWindow.GetProjects().Create(QString(), {})) {
        CCommandTable::Cancel(CMD_FILE_NEW_PROJECT);
    }
}

void FileNewProjectWizard(CMainWindow& MainWindow) { MainWindow.GetProjects().ShowWizard(); }

void FileCloseAllButThis(CMainWindow& MainWindow) { MainWindow.GetSourceWindow().CloseAllButActive(); }

/// A name that can be written, with its extension; empty with the error set.
QString CheckProjectName(COMMAND_ID Id, QString sName) {
    if (QFileInfo(sName).suffix().isEmpty()) {
        sName += QStringLiteral(".dbgprj");
    }
    bool IsValid = QFileInfo(sName).suffix().compare(QLatin1String("dbgprj"), Qt::CaseInsensitive) == 0;
    if (IsValid && !QFileInfo::exists(sName)) {
        QFile Test(sName);
        IsValid = Test.open(QIODevice::WriteOnly);
        Test.remove();
    }
    if (!IsValid) {
        FailCommand(Id, QStringLiteral("invalid project filename"));
        return {};
    }
    return sName;
}

void FileSaveProjectAs(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_FILE_SAVE_PROJECT_AS;
    CCommandTable::SetResult(Id, RESULT_CANCELLED);
    QString sName = CFileFinder::Get().ExpandMacros(CCommandTable::GetArgs(Id).value(0));
    if (sName.isEmpty() && !IsUnattended()) {
        sName = QFileDialog::getSaveFileName(&MainWindow, QStringLiteral("Save Project as..."),
                                             ReadSetting(QLatin1String(KEY_DIR_SAVE)).toString(),
                                             QStringLiteral("Projects (*.dbgprj)"));
    }
    if (sName.isEmpty()) {
        CCommandTable::Cancel(Id);
        return;
    }
    const QString sOldPath = CProject::Get().GetPath();
    const bool IsTrusted = IsProjectTrusted(sOldPath);
    if (!MayWriteFile(Id, QFileInfo(sName).absoluteFilePath())) {
        return;
    }
    sName = CheckProjectName(Id, QFileInfo(sName).absoluteFilePath());
    if (sName.isEmpty()) {
        return;
    }
    WriteSetting(QLatin1String(KEY_DIR_SAVE), QFileInfo(sName).absolutePath());
    CCommandTable::SetArgs(Id, {sName});
    const QString sError = CProject::Get().Save(sName, CollectProjectSettings());
    if (!sError.isEmpty()) {
        FailCommand(Id, sError);
        return;
    }
    if (IsTrusted) {
        TrustProject(sName);
    }
    CCommandTable::SetResult(Id, 0);
    MainWindow.GetRecentProjects().Add(sName, sOldPath);
}

void FileSaveAll(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_FILE_SAVE_ALL;
    const QString sPath = CProject::Get().GetPath();
    if (!FileExists(sPath)) {
        CCommandTable::Execute(CMD_FILE_SAVE_PROJECT_AS);
        return;
    }
    const QString sError = CProject::Get().Save(sPath, CollectProjectSettings());
    if (!sError.isEmpty()) {
        FailCommand(Id, sError);
    }
}

void FileExit(CMainWindow& MainWindow) { MainWindow.CloseLater(); }

constexpr ACTION_SLOT aSlot[] = {
    {CMD_FILE_NEW_PROJECT, FileNewProject},
    {CMD_FILE_NEW_PROJECT_WIZARD, FileNewProjectWizard, NEEDS_SCREEN},
    {CMD_FILE_OPEN, FileOpen, NEEDS_NOTHING, 0},
    {CMD_FILE_LOAD, FileLoad, NEEDS_TARGET},
    {CMD_FILE_CLOSE, FileClose, NEEDS_NOTHING, 0},
    {CMD_FILE_CLOSE_ALL, FileCloseAll},
    {CMD_FILE_CLOSE_ALL_BUT_THIS, FileCloseAllButThis},
    {CMD_FILE_SAVE_PROJECT_AS, FileSaveProjectAs, NEEDS_NOTHING, 0},
    {CMD_FILE_SAVE_ALL, FileSaveAll},
    {CMD_FILE_EXIT, FileExit},
};

} // namespace

std::span<const ACTION_SLOT> GetFileSlots() { return aSlot; }
