#include "app/ProjectSettings.h"

#include "app/Ask.h"
#include "app/CommandLine.h"
#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/Project.h"
#include "project/RegisterFiles.h"
#include "settings/SysVars.h"

namespace {

/// A command line as the echo would show it; empty if the first argument is.
void Collect(QStringList* pCommands, COMMAND_ID Id, const QVariantList& Args) {
    if (Args.first().toString().isEmpty()) {
        return;
    }
    const QString sLine = CCommandTable::RenderWith(Id, Args);
    if (!sLine.isEmpty()) {
        pCommands->append(sLine);
    }
}

} // namespace

QStringList CollectCmdLineSettings(const CMD_LINE_PARAMS& Params) {
    QStringList Commands;
    Collect(&Commands, CMD_PROJECT_SET_DEVICE, {Params.Device});
    Collect(&Commands, CMD_PROJECT_SET_HOST_IF, {Params.HostIF, Params.HostIdent});
    Collect(&Commands, CMD_PROJECT_SET_TARGET_IF, {Params.TargetIF});
    Collect(&Commands, CMD_PROJECT_SET_TIF_SPEED, {Params.Speed});
    Collect(&Commands, CMD_PROJECT_SET_NOVIK_SCRIPT, {Params.ScriptFile});
    const QStringList Chain = Params.JTAGConfig.split(QLatin1Char(','));
    if (Chain.size() == 2) {
        Collect(&Commands, CMD_PROJECT_SET_JTAG_CONFIG, {Chain[0].trimmed(), Chain[1].trimmed()});
    }
    for (const QString& sFile : GetDefaultSvdFiles(Params.Device)) {
        Collect(&Commands, CMD_PROJECT_ADD_SVD_FILE, {sFile});
    }
    Collect(&Commands, CMD_FILE_OPEN, {Params.DataFile});
    Commands.removeAll(QString());
    Commands.removeDuplicates();
    return Commands;
}

QStringList CollectProjectSettings() {
    const CDevice& Device = CDevice::Get();
    const int Speed = Device.GetConfigParam(DEV_CFG_SPEED);
    QStringList Commands;
    Collect(&Commands, CMD_PROJECT_SET_DEVICE, {QString::fromUtf8(Device.GetConfigText(DEV_CFG_DEVICE_NAME))});
    Collect(&Commands, CMD_PROJECT_SET_HOST_IF,
            {Device.GetConfigParam(DEV_CFG_HOST_IF) == 2 ? "IP" : "USB", QString()});
    Collect(&Commands, CMD_PROJECT_SET_TARGET_IF, {Device.GetConfigParam(DEV_CFG_TARGET_IF) == 1 ? "SWD" : "JTAG"});
    Collect(&Commands, CMD_PROJECT_SET_TIF_SPEED,
            {Speed == 65535 ? QStringLiteral("adaptive") : SpeedText(static_cast<U32>(Speed))});
    for (const QString& sFile : CProject::Get().GetSvdFiles()) {
        Collect(&Commands, CMD_PROJECT_ADD_SVD_FILE, {sFile});
    }
    Collect(&Commands, CMD_FILE_OPEN, {CProject::Get().GetProgramFile()});
    return Commands;
}

void SaveSettingsToProject(const QString& sTitle, const QStringList& Lines, bool IsTrace) {
    if (Lines.isEmpty() || AskUser(sTitle, QStringLiteral("Do you want to save the configuration to the project?"),
                                   QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) != QMessageBox::Yes) {
        return;
    }
    CProject& Project = CProject::Get();
    const int Result = IsTrace ? Project.UpdateTraceSettings(Project.GetPath(), Lines)
                               : Project.UpdateProbeSettings(Project.GetPath(), Lines);
    if (Result != 0) {
        qCritical("Could not write %s settings to the project file. See the log file for details.",
                  IsTrace ? "trace" : "Novik");
    }
}
