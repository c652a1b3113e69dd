#include "app/Download.h"
#include "app/MainWindow.h"
#include "app/ProgramFile.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "app/Toolbars.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "device/Device.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "project/SourceLocation.h"
#include "script/JScript.h"
#include "settings/SysVars.h"

// Debug.* and Exec.*

namespace {

void DebugStart(CMainWindow& MainWindow) {
    const QString sOpenError = MainWindow.GetProgramFile().GetOpenError();
    if (!sOpenError.isEmpty() && SysVarValue(VAR_CONNECT_MODE) == CM_DOWNLOAD_RESET &&
        !ScriptIsDefined(SF_DEBUG_START)) {
        FailCommand(CMD_DEBUG_START, sOpenError);
        return;
    }
    if (!MainWindow.GetSession().Start()) {
        CCommandTable::Cancel(CMD_DEBUG_START);
    }
}

void DebugDisconnect(CMainWindow& MainWindow) { MainWindow.GetSession().DisconnectTarget(); }

void DebugConnect(CMainWindow& MainWindow) {
    MainWindow.GetSession().ConnectTarget(static_cast<CONNECT_MODES>(SysVarValue(VAR_CONNECT_MODE)));
}

void DebugDownload(CMainWindow& MainWindow) {
    MainWindow.GetDownload().Start(MainWindow.GetProgramFile().GetPath(), DL_PROGRAM, -1);
}

void DebugContinue(CMainWindow& MainWindow) { MainWindow.GetSession().ResumeTarget(); }

void DebugHalt(CMainWindow&) { CDevice::Get().PostHalt(); }

void DebugReset(CMainWindow& MainWindow) {
    MainWindow.GetSession().ResetTarget(static_cast<RESET_MODES>(SysVarValue(VAR_RESET_MODE)));
}

void DebugStepInstruction(CMainWindow&) { CDevice::Get().PostStepInst(); }
void DebugStepOut(CMainWindow&) { CDevice::Get().PostStepOut(); }

void WritePC(COMMAND_ID Id, I64 Addr) {
    CDevice& Device = CDevice::Get();
    const I32 Idx = Device.GetNovikRegIdx(REG_IDX_PC);
    if (Idx < 0 || Device.PostWriteReg(static_cast<U32>(Idx), Addr) != 0) {
        FailCommand(Id, Idx < 0 ? "the device's registers are unknown" : "too many target accesses are waiting");
    }
}

void SetPC(COMMAND_ID Id, I64 (*pfResolve)(const QString&)) {
    const I64 Addr = pfResolve(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    WritePC(Id, Addr);
}

void DebugSetNextPC(CMainWindow&) {
    SetPC(CMD_DEBUG_SET_NEXT_PC, [](const QString& sText) { return ParseAddress(sText, true); });
}

void DebugSetNextStatement(CMainWindow&) { SetPC(CMD_DEBUG_SET_NEXT_STATEMENT, ResolveLocation); }

void DebugRunTo(CMainWindow&) {
    const I64 Addr = ResolveLocation(CCommandTable::GetArgs(CMD_DEBUG_RUN_TO).value(0));
    if (Addr < 0) {
        FailCommand(CMD_DEBUG_RUN_TO, "invalid parameter");
        return;
    }
    CDevice::Get().PostRunTo(static_cast<U32>(Addr));
}

void SetMode(COMMAND_ID Id, const char* sPrefix, int SysVar, CMainWindow& MainWindow) {
    I32 Mode = 0;
    if (!ParseTextValue(sPrefix, CCommandTable::GetArgs(Id).value(0), &Mode)) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    SetSysVar(GetSysVar(SysVar), Mode, false);
    MainWindow.GetToolbars().UpdateModePanels();
    CCommandTable::SetArgs(Id, {QString::fromLatin1(FindTextRowByValue(sPrefix, Mode)->sName)});
}

void DebugSetResetMode(CMainWindow& MainWindow) {
    SetMode(CMD_DEBUG_SET_RESET_MODE, "RM_", VAR_RESET_MODE, MainWindow);
}
void DebugSetConnectMode(CMainWindow& MainWindow) {
    SetMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_", VAR_CONNECT_MODE, MainWindow);
}

void DebugSetSteppingMode(CMainWindow&) {
    unsigned Mode = 0;
    if (ReadNumberArg(CMD_DEBUG_SET_STEPPING_MODE, 0, &Mode)) {
        CDevice::Get().PostSetConfigParam(DEV_CFG_STEPPING_MODE, static_cast<int>(Mode));
    }
}

void DebugReadIntoTraceCache(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_DEBUG_READ_INTO_TRACE_CACHE;
    unsigned Addr = 0;
    unsigned Size = 0;
    if (ReadNumberArg(Id, 0, &Addr) && ReadNumberArg(Id, 1, &Size)) {
        MainWindow.GetSession().ReadIntoTraceCache(Addr, Size);
    }
}

// A drop-down entry of the connect or reset button sets the mode and runs the button's command.
void RunWithMode(COMMAND_ID ModeId, const char* sMode, COMMAND_ID RunId) {
    CCommandTable::Execute(ModeId, {QString::fromLatin1(sMode)});
    CCommandTable::Execute(RunId);
}

void EntryDownloadReset(CMainWindow&) { RunWithMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_DOWNLOAD_RESET", CMD_DEBUG_START); }
void EntryAttach(CMainWindow&) { RunWithMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_ATTACH", CMD_DEBUG_START); }
void EntryAttachHalt(CMainWindow&) { RunWithMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_ATTACH_HALT", CMD_DEBUG_START); }
void EntryResetSymbol(CMainWindow&) { RunWithMode(CMD_DEBUG_SET_RESET_MODE, "RM_BREAK_AT_SYMBOL", CMD_DEBUG_RESET); }
void EntryResetHalt(CMainWindow&) { RunWithMode(CMD_DEBUG_SET_RESET_MODE, "RM_RESET_HALT", CMD_DEBUG_RESET); }
void EntryResetRun(CMainWindow&) { RunWithMode(CMD_DEBUG_SET_RESET_MODE, "RM_RESET_AND_RUN", CMD_DEBUG_RESET); }

void ExecConnect(CMainWindow&) { CDevice::Get().PostConnect(CM_CONNECT_ONLY); }

void ExecReset(CMainWindow&) { CDevice::Get().PostReset(RM_SILENT); }

void ExecDownload(CMainWindow& MainWindow) {
    const QString sPath = CFileFinder::Get().FindFile(CCommandTable::GetArg0(CMD_EXEC_DOWNLOAD));
    if (!FileExists(sPath)) {
        FailCommand(CMD_EXEC_DOWNLOAD, "file not found");
        return;
    }
    MainWindow.GetDownload().Start(sPath, DL_EXEC, -1);
}

void ExecCommand(CMainWindow&) {
    const QString sCommand = CFileFinder::Get().ExpandMacros(CCommandTable::GetArg0(CMD_EXEC_COMMAND));
    CDevice::Get().PostExecNovikCmd(sCommand.toUtf8());
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_DEBUG_START, DebugStart, NEEDS_IDLE},
    {CMD_DEBUG_STOP, DebugDisconnect, NEEDS_TARGET},
    {CMD_DEBUG_CONNECT, DebugConnect, NEEDS_IDLE},
    {CMD_DEBUG_DISCONNECT, DebugDisconnect, NEEDS_TARGET},
    {CMD_DEBUG_DOWNLOAD, DebugDownload, NEEDS_TARGET},
    {CMD_DEBUG_CONTINUE, DebugContinue, NEEDS_HALT},
    {CMD_DEBUG_HALT, DebugHalt},
    {CMD_DEBUG_RESET, DebugReset, NEEDS_TARGET},
    {CMD_DEBUG_STEP_INTO, DebugStepInstruction, NEEDS_HALT | NEEDS_NO_STEP},
    {CMD_DEBUG_STEP_OVER, DebugStepInstruction, NEEDS_HALT | NEEDS_NO_STEP},
    {CMD_DEBUG_STEP_OUT, DebugStepOut, NEEDS_HALT},
    {CMD_DEBUG_SET_NEXT_PC, DebugSetNextPC, NEEDS_HALT | IS_ACCESS},
    {CMD_DEBUG_SET_NEXT_STATEMENT, DebugSetNextStatement, NEEDS_HALT | IS_ACCESS},
    {CMD_DEBUG_RUN_TO, DebugRunTo, NEEDS_TARGET},
    {CMD_DEBUG_SET_RESET_MODE, DebugSetResetMode},
    {CMD_DEBUG_SET_CONNECT_MODE, DebugSetConnectMode},
    {CMD_DEBUG_SET_STEPPING_MODE, DebugSetSteppingMode},
    {CMD_DEBUG_READ_INTO_TRACE_CACHE, DebugReadIntoTraceCache},
    {CMD_DEBUG_DOWNLOAD_RESET, EntryDownloadReset},
    {CMD_DEBUG_ATTACH, EntryAttach},
    {CMD_DEBUG_ATTACH_HALT, EntryAttachHalt},
    {CMD_DEBUG_RESET_BREAK_AT_SYMBOL, EntryResetSymbol},
    {CMD_DEBUG_RESET_HALT, EntryResetHalt},
    {CMD_DEBUG_RESET_RUN, EntryResetRun},
    {CMD_EXEC_CONNECT, ExecConnect, NEEDS_IDLE | IS_ACCESS},
    {CMD_EXEC_RESET, ExecReset, NEEDS_TARGET | IS_ACCESS},
    {CMD_EXEC_DOWNLOAD, ExecDownload, NEEDS_HALT | GIVES_STATUS},
    {CMD_EXEC_COMMAND, ExecCommand, IS_ACCESS},
};

} // namespace

std::span<const ACTION_SLOT> GetDebugSlots() { return aSlot; }
