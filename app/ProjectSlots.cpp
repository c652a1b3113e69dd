#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/SysVarEffects.h"
#include "app/Trust.h"
#include "base/ConsoleRing.h"
#include "base/Files.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "device/Device.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "settings/SysVars.h"

#include <QFileInfo>

// Project.*

namespace {

void ProjectSetDevice(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_DEVICE;
    const QByteArray sName = GetCommandArg(Id, 0).toUtf8();
    CDevice::Get().PostSetConfigParam(DEV_CFG_DEVICE_NAME, sName);
    if (!sName.isEmpty() && !CDevice::Get().IsKnownDevice(sName)) {
        FailCommand(Id, "invalid parameter");
    }
}

/// False, with the error set, if a log can't or mustn't be written there.
bool CheckLogFile(COMMAND_ID Id, const QString& sPath) {
    if (QFileInfo::exists(sPath) && !CheckRegularFile(sPath).isEmpty()) {
        FailCommand(Id, CheckRegularFile(sPath));
        return false;
    }
    return MayWriteFile(Id, sPath);
}

void SetFileParam(COMMAND_ID Id, DEV_CONFIG_PARAMS Param) {
    const QString sPath = CFileFinder::Get().ExpandMacros(GetCommandArg(Id, 0));
    const QString sFound = Param == DEV_CFG_SCRIPT_FILE ? CFileFinder::Get().FindFile(sPath) : sPath;
    const QString sRefused = CheckRegularFile(sFound);
    if (!sPath.isEmpty() && Param == DEV_CFG_SCRIPT_FILE && !sRefused.isEmpty()) {
        FailCommand(Id, sRefused);
        return;
    }
    if (Param == DEV_CFG_LOG_FILE && !CheckLogFile(Id, sFound)) {
        return;
    }
    CDevice::Get().PostSetConfigParam(Param, sFound.toUtf8());
}

void ProjectSetNovikScript(CMainWindow&) { SetFileParam(CMD_PROJECT_SET_NOVIK_SCRIPT, DEV_CFG_SCRIPT_FILE); }
void ProjectSetNovikLogFile(CMainWindow&) { SetFileParam(CMD_PROJECT_SET_NOVIK_LOG_FILE, DEV_CFG_LOG_FILE); }

void ProjectAddSvdFile(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_ADD_SVD_FILE;
    CProject::Get().AddSvdFile(GetCommandArg(Id, 0));
    const QString sRefused = CheckRegularFile(CFileFinder::Get().FindFile(GetCommandArg(Id, 0)));
    if (!sRefused.isEmpty()) {
        FailCommand(Id, sRefused);
    }
}

void ProjectSetHostIF(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_HOST_IF;
    const TEXT_ROW* pRow = FindTextRow(GetCommandArg(Id, 0));
    const QString sName = pRow != nullptr ? QString::fromLatin1(pRow->sName) : QString();
    if (sName != QLatin1String("USB") && sName != QLatin1String("IP")) {
        FailCommand(Id, "unknown host interface");
        return;
    }
    CDevice& Device = CDevice::Get();
    const QString sIdent = GetCommandArg(Id, 1);
    if (sName == QLatin1String("IP")) {
        if (!sIdent.isEmpty()) {
            Device.PostSetConfigParam(DEV_CFG_HOST_NAME, sIdent.toUtf8());
        }
    } else {
        bool IsNumber = false;
        const U32 SerialNo = sIdent.toUInt(&IsNumber, 0);
        if (!sIdent.isEmpty() && !IsNumber) {
            FailCommand(Id, "invalid number");
            return;
        }
        Device.PostSetConfigParam(DEV_CFG_USB_SN, static_cast<int>(SerialNo));
        Device.PostSetConfigParam(DEV_CFG_USE_SN, sIdent.isEmpty() ? 0 : 1);
    }
    Device.PostSetConfigParam(DEV_CFG_HOST_IF, pRow->Value);
}

void ProjectSetTargetIF(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_TARGET_IF;
    const QString sName = GetCommandArg(Id, 0).toUpper();
    if (sName != QLatin1String("JTAG") && sName != QLatin1String("SWD")) {
        FailCommand(Id, "unknown target interface");
        return;
    }
    CDevice::Get().PostSetConfigParam(DEV_CFG_TARGET_IF, FindTextRow(sName)->Value);
}

void ProjectSetTIFSpeed(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_TIF_SPEED;
    const QString sText = GetCommandArg(Id, 0);
    const TEXT_ROW* pRow = sText.startsWith(QLatin1String("FREQ_"), Qt::CaseInsensitive) ? FindTextRow(sText) : nullptr;
    bool IsNumber = false;
    const int Number = sText.toInt(&IsNumber, 0); // a bare number is in kHz
    I32 Speed = pRow != nullptr ? pRow->Value : ParseSpeed(sText);
    if (pRow == nullptr && IsNumber && Number >= 0 && Number <= 2'000'000) {
        Speed = Number == 65535 ? 65535 : Number * 1000;
    }
    if (Speed < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    SetSysVar(GetSysVar(VAR_TIF_SPEED), Speed, false);
    CDevice::Get().PostSetConfigParam(DEV_CFG_SPEED, Speed);
    MainWindow.UpdateConnectionInfo();
}

void ProjectSetJTAGConfig(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_JTAG_CONFIG;
    unsigned DRPre = 0;
    unsigned IRLen = 0;
    if (ReadNumberArg(Id, 0, &DRPre) && ReadNumberArg(Id, 1, &IRLen)) {
        CDevice::Get().PostSetConfigParam(DEV_CFG_DR_PRE, static_cast<int>(DRPre));
        CDevice::Get().PostSetConfigParam(DEV_CFG_IR_PRE, static_cast<int>(IRLen));
        CDevice::Get().PostSetConfigParam(DEV_CFG_MULTI_TARGET, DRPre != 0 || IRLen != 0 ? 1 : 0);
    }
}

/// A setting that is one system variable: yes and no words, or a value of the variable's kind.
void SetVariable(COMMAND_ID Id, int Index, CMainWindow& MainWindow) {
    const QString sText = GetCommandArg(Id, 0);
    bool Ok = false;
    I32 Value = ParseSysVar(GetSysVar(Index), sText, &Ok);
    if (!Ok && ParseOnOff(sText) >= 0 && SysVarNames(GetSysVar(Index)).contains(QStringLiteral("yes"))) {
        Value = ParseOnOff(sText);
        Ok = true;
    }
    const TEXT_ROW* pRow = Ok ? nullptr : FindTextRow(sText);
    if (pRow != nullptr && SysVarValues(GetSysVar(Index)).contains(pRow->Value)) {
        Value = pRow->Value;
        Ok = true;
    }
    if (!Ok) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    SetSysVar(GetSysVar(Index), Value, false);
    ApplySysVar(MainWindow, Index, Value);
}

void ProjectSetSemihosting(CMainWindow& w) { SetVariable(CMD_PROJECT_SET_SEMIHOSTING, VAR_SEMIHOSTING_ENABLED, w); }
void ProjectSetRTT(CMainWindow& w) { SetVariable(CMD_PROJECT_SET_RTT, VAR_RTT_ENABLED, w); }
void ProjectSetBPType(CMainWindow& w) { SetVariable(CMD_PROJECT_SET_BP_TYPE, VAR_BREAKPOINT_TYPE, w); }
void ProjectSetTraceSource(CMainWindow& w) { SetVariable(CMD_PROJECT_SET_TRACE_SOURCE, VAR_TRACE_SOURCE, w); }
void ProjectSetTracePortWidth(CMainWindow& w) {
    SetVariable(CMD_PROJECT_SET_TRACE_PORT_WIDTH, VAR_TRACE_PORT_WIDTH, w);
}

void ProjectSetTraceTiming(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_TRACE_TIMING;
    for (int i = 0; i < 4; ++i) {
        bool Ok = false;
        const I32 Delay = ParseSysVar(GetSysVar(VAR_TRACE_PORT_DELAY_0 + i), GetCommandArg(Id, i), &Ok);
        if (!Ok) {
            FailCommand(Id, "invalid parameter");
            return;
        }
        SetSysVar(GetSysVar(VAR_TRACE_PORT_DELAY_0 + i), Delay, false);
        ApplySysVar(MainWindow, VAR_TRACE_PORT_DELAY_0 + i, Delay);
    }
}

void ProjectConfigSWO(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_PROJECT_CONFIG_SWO;
    constexpr int aVar[] = {VAR_SWO_SPEED, VAR_SWO_CPU_SPEED};
    I32 aValue[2] = {};
    for (int i = 0; i < 2; ++i) {
        bool Ok = false;
        aValue[i] = ParseSysVar(GetSysVar(aVar[i]), GetCommandArg(Id, i), &Ok);
        if (!Ok) {
            FailCommand(Id, "invalid parameter");
            return;
        }
    }
    for (int i = 0; i < 2; ++i) {
        SetSysVar(GetSysVar(aVar[i]), aValue[i], false);
        ApplySysVar(MainWindow, aVar[i], aValue[i]);
    }
}

void ProjectAddRootPath(CMainWindow&) { CFileFinder::Get().AddRootPath(GetCommandArg(CMD_PROJECT_ADD_ROOT_PATH, 0)); }

void ProjectAddSearchPath(CMainWindow&) {
    CFileFinder::Get().AddSearchPath(GetCommandArg(CMD_PROJECT_ADD_SEARCH_PATH, 0));
}

void ProjectAddFileAlias(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_ADD_FILE_ALIAS;
    CFileFinder::Get().AddFileAlias(GetCommandArg(Id, 0), GetCommandArg(Id, 1));
}

void ProjectAddPathSubstitute(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_ADD_PATH_SUBSTITUTE;
    CFileFinder::Get().AddPathSubstitute(GetCommandArg(Id, 0), GetCommandArg(Id, 1));
}

void ProjectRelocateSymbols(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_PROJECT_RELOCATE_SYMBOLS;
    unsigned Offset = 0;
    if (ReadNumberArg(Id, 1, &Offset) &&
        MainWindow.GetProgramFile().RelocateSymbols(GetCommandArg(Id, 0), static_cast<I32>(Offset)) != 0) {
        FailCommand(Id, "unknown symbol");
    }
}

void ProjectSetConsoleLogFile(CMainWindow&) {
    constexpr COMMAND_ID Id = CMD_PROJECT_SET_CONSOLE_LOG_FILE;
    const QString sPath = CFileFinder::Get().ExpandMacros(GetCommandArg(Id, 0));
    if (!CheckLogFile(Id, sPath)) {
        return;
    }
    const QString sError = ConsoleOpenLog(sPath);
    if (!sError.isEmpty()) {
        FailCommand(Id, sError);
    }
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_PROJECT_SET_DEVICE, ProjectSetDevice, NEEDS_NOTHING, 0},
    {CMD_PROJECT_SET_NOVIK_SCRIPT, ProjectSetNovikScript, NEEDS_NOTHING, 0},
    {CMD_PROJECT_SET_NOVIK_LOG_FILE, ProjectSetNovikLogFile, NEEDS_NOTHING, 0},
    {CMD_PROJECT_ADD_SVD_FILE, ProjectAddSvdFile},
    {CMD_PROJECT_SET_HOST_IF, ProjectSetHostIF, NEEDS_NOTHING, 1},
    {CMD_PROJECT_SET_TARGET_IF, ProjectSetTargetIF},
    {CMD_PROJECT_SET_TIF_SPEED, ProjectSetTIFSpeed},
    {CMD_PROJECT_SET_JTAG_CONFIG, ProjectSetJTAGConfig},
    {CMD_PROJECT_SET_SEMIHOSTING, ProjectSetSemihosting},
    {CMD_PROJECT_SET_RTT, ProjectSetRTT},
    {CMD_PROJECT_SET_BP_TYPE, ProjectSetBPType},
    {CMD_PROJECT_SET_TRACE_SOURCE, ProjectSetTraceSource},
    {CMD_PROJECT_SET_TRACE_PORT_WIDTH, ProjectSetTracePortWidth},
    {CMD_PROJECT_SET_TRACE_TIMING, ProjectSetTraceTiming},
    {CMD_PROJECT_CONFIG_SWO, ProjectConfigSWO},
    {CMD_PROJECT_ADD_ROOT_PATH, ProjectAddRootPath},
    {CMD_PROJECT_ADD_SEARCH_PATH, ProjectAddSearchPath},
    {CMD_PROJECT_ADD_FILE_ALIAS, ProjectAddFileAlias},
    {CMD_PROJECT_ADD_PATH_SUBSTITUTE, ProjectAddPathSubstitute},
    {CMD_PROJECT_RELOCATE_SYMBOLS, ProjectRelocateSymbols},
    {CMD_PROJECT_SET_CONSOLE_LOG_FILE, ProjectSetConsoleLogFile},
};

} // namespace

std::span<const ACTION_SLOT> GetProjectSlots() { return aSlot; }
