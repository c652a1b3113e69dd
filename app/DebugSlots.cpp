#include "app/Location.h"
#include "app/MainWindow.h"
#include "app/Session.h"
#include "app/Slots.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "device/Device.h"
#include "project/FileFinder.h"
#include "project/Project.h"
#include "settings/SysVars.h"

// Debug.* and Exec.*

namespace {

/// False, with the error, if the count is wrong or a target is connected.
bool CheckIdle(COMMAND_ID Id) {
    if (!CCommandTable::CheckArgs(Id)) {
        return false;
    }
    if (CDevice::Get().IsConnected()) {
        FailCommand(Id, "already connected");
        return false;
    }
    return true;
}

void DebugStart(CMainWindow& MainWindow) {
    if (CheckIdle(CMD_DEBUG_START) && !MainWindow.GetSession().Start()) {
        CCommandTable::Cancel(CMD_DEBUG_START);
    }
}

void Disconnect(COMMAND_ID Id, CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(Id) && CheckConnected(Id)) {
        MainWindow.GetSession().DisconnectTarget();
    }
}

void DebugStop(CMainWindow& MainWindow) { Disconnect(CMD_DEBUG_STOP, MainWindow); }
void DebugDisconnect(CMainWindow& MainWindow) { Disconnect(CMD_DEBUG_DISCONNECT, MainWindow); }

void DebugConnect(CMainWindow& MainWindow) {
    if (CheckIdle(CMD_DEBUG_CONNECT)) {
        MainWindow.GetSession().ConnectTarget(static_cast<CONNECT_MODES>(SysVarValue(VAR_CONNECT_MODE)));
    }
}

void DebugDownload(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_DOWNLOAD) && CheckConnected(CMD_DEBUG_DOWNLOAD)) {
        MainWindow.GetSession().DownloadProgram(MainWindow.GetSession().GetProgramFile(), DL_PROGRAM, -1);
    }
}

void DebugContinue(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_CONTINUE) && CheckConnectedAndHalted(CMD_DEBUG_CONTINUE)) {
        MainWindow.GetSession().ResumeTarget();
    }
}

void DebugHalt(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_HALT)) {
        CDevice::Get().PostHalt();
    }
}

void DebugReset(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_RESET) && CheckConnected(CMD_DEBUG_RESET)) {
        MainWindow.GetSession().ResetTarget(static_cast<RESET_MODES>(SysVarValue(VAR_RESET_MODE)));
    }
}

bool CheckStep(COMMAND_ID Id) {
    if (!CCommandTable::CheckArgs(Id) || !CheckConnectedAndHalted(Id)) {
        return false;
    }
    if (CDevice::Get().IsSrcStepActive() || CDevice::Get().IsJobQueued(JT_STEP_ANY)) {
        FailCommand(Id, "step in progress");
        return false;
    }
    return true;
}

void DebugStepInto(CMainWindow&) {
    if (CheckStep(CMD_DEBUG_STEP_INTO)) {
        CDevice::Get().PostStepInst();
    }
}

void DebugStepOver(CMainWindow&) {
    if (CheckStep(CMD_DEBUG_STEP_OVER)) {
        CDevice::Get().PostStepInst();
    }
}

void DebugStepOut(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_STEP_OUT) && CheckConnectedAndHalted(CMD_DEBUG_STEP_OUT)) {
        CDevice::Get().PostStepOut();
    }
}

void WritePC(I64 Addr) {
    CDevice& Device = CDevice::Get();
    const I32 Idx = Device.GetNovikRegIdx(REG_IDX_PC);
    if (Idx >= 0) {
        Device.PostWriteReg(static_cast<U32>(Idx), Addr);
    }
}

void SetPC(COMMAND_ID Id, I64 (*pfResolve)(const QString&)) {
    if (!CCommandTable::CheckArgs(Id) || !CheckConnectedAndHalted(Id)) {
        return;
    }
    const I64 Addr = pfResolve(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    WritePC(Addr);
}

void DebugSetNextPC(CMainWindow&) {
    SetPC(CMD_DEBUG_SET_NEXT_PC, [](const QString& sText) { return ParseAddress(sText, true); });
}

void DebugSetNextStatement(CMainWindow&) { SetPC(CMD_DEBUG_SET_NEXT_STATEMENT, ResolveLocation); }

void DebugRunTo(CMainWindow&) {
    if (!CCommandTable::CheckArgs(CMD_DEBUG_RUN_TO) || !CheckConnected(CMD_DEBUG_RUN_TO)) {
        return;
    }
    const I64 Addr = ResolveLocation(CCommandTable::GetArgs(CMD_DEBUG_RUN_TO).value(0));
    if (Addr < 0) {
        FailCommand(CMD_DEBUG_RUN_TO, "invalid parameter");
        return;
    }
    CDevice::Get().PostRunTo(static_cast<U32>(Addr));
}

void SetMode(COMMAND_ID Id, const char* sPrefix, int SysVar, CMainWindow& MainWindow) {
    I32 Mode = 0;
    if (!CCommandTable::CheckArgs(Id)) {
        return;
    }
    if (!ParseTextValue(sPrefix, CCommandTable::GetArgs(Id).value(0), &Mode)) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    SetSysVar(GetSysVar(SysVar), Mode, false);
    MainWindow.UpdateModePanels();
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
    if (CCommandTable::CheckArgs(CMD_DEBUG_SET_STEPPING_MODE) && ReadNumberArg(CMD_DEBUG_SET_STEPPING_MODE, 0, &Mode)) {
        CDevice::Get().PostSetConfigParam(DEV_CFG_STEPPING_MODE, static_cast<int>(Mode));
    }
}

void DebugReadIntoTraceCache(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_DEBUG_READ_INTO_TRACE_CACHE;
    unsigned Addr = 0;
    unsigned Size = 0;
    if (CCommandTable::CheckArgs(Id) && ReadNumberArg(Id, 0, &Addr) && ReadNumberArg(Id, 1, &Size)) {
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

void ExecConnect(CMainWindow&) {
    if (CheckIdle(CMD_EXEC_CONNECT)) {
        CDevice::Get().PostConnect(CM_CONNECT_ONLY);
    }
}

void ExecReset(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_EXEC_RESET) && CheckConnected(CMD_EXEC_RESET)) {
        CDevice::Get().PostReset(RM_SILENT);
    }
}

void ExecDownload(CMainWindow& MainWindow) {
    if (!CCommandTable::CheckArgs(CMD_EXEC_DOWNLOAD) || !CheckConnectedAndHalted(CMD_EXEC_DOWNLOAD)) {
        return;
    }
    const QString sPath = CFileFinder::Get().FindFile(CCommandTable::GetArg0(CMD_EXEC_DOWNLOAD));
    if (!FileExists(sPath)) {
        FailCommand(CMD_EXEC_DOWNLOAD, "file not found");
        return;
    }
    MainWindow.GetSession().DownloadProgram(sPath, DL_EXEC, -1);
}

void ExecCommand(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_EXEC_COMMAND)) {
        const QString sCommand = CFileFinder::Get().ExpandMacros(CCommandTable::GetArg0(CMD_EXEC_COMMAND));
        CDevice::Get().PostExecNovikCmd(sCommand.toUtf8());
    }
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_DEBUG_START, DebugStart},
    {CMD_DEBUG_STOP, DebugStop},
    {CMD_DEBUG_CONNECT, DebugConnect},
    {CMD_DEBUG_DISCONNECT, DebugDisconnect},
    {CMD_DEBUG_DOWNLOAD, DebugDownload},
    {CMD_DEBUG_CONTINUE, DebugContinue},
    {CMD_DEBUG_HALT, DebugHalt},
    {CMD_DEBUG_RESET, DebugReset},
    {CMD_DEBUG_STEP_INTO, DebugStepInto},
    {CMD_DEBUG_STEP_OVER, DebugStepOver},
    {CMD_DEBUG_STEP_OUT, DebugStepOut},
    {CMD_DEBUG_SET_NEXT_PC, DebugSetNextPC},
    {CMD_DEBUG_SET_NEXT_STATEMENT, DebugSetNextStatement},
    {CMD_DEBUG_RUN_TO, DebugRunTo},
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
    {CMD_EXEC_CONNECT, ExecConnect},
    {CMD_EXEC_RESET, ExecReset},
    {CMD_EXEC_DOWNLOAD, ExecDownload},
    {CMD_EXEC_COMMAND, ExecCommand},
};

} // namespace

std::span<const ACTION_SLOT> GetDebugSlots() { return aSlot; }
