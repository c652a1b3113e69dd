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
bool _CheckIdle(COMMAND_ID Id) {
    if (!CCommandTable::CheckArgs(Id)) {
        return false;
    }
    if (CDevice::Get().IsConnected()) {
        FailCommand(Id, "already connected");
        return false;
    }
    return true;
}

void _DebugStart(CMainWindow& MainWindow) {
    if (_CheckIdle(CMD_DEBUG_START) && !MainWindow.GetSession().Start()) {
        CCommandTable::Cancel(CMD_DEBUG_START);
    }
}

void _Disconnect(COMMAND_ID Id, CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(Id) && CheckConnected(Id)) {
        MainWindow.GetSession().DisconnectTarget();
    }
}

void _DebugStop(CMainWindow& MainWindow) { _Disconnect(CMD_DEBUG_STOP, MainWindow); }
void _DebugDisconnect(CMainWindow& MainWindow) { _Disconnect(CMD_DEBUG_DISCONNECT, MainWindow); }

void _DebugConnect(CMainWindow& MainWindow) {
    if (_CheckIdle(CMD_DEBUG_CONNECT)) {
        MainWindow.GetSession().ConnectTarget(static_cast<CONNECT_MODES>(SysVarValue(VAR_CONNECT_MODE)));
    }
}

void _DebugDownload(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_DOWNLOAD) && CheckConnected(CMD_DEBUG_DOWNLOAD)) {
        MainWindow.GetSession().DownloadProgram(MainWindow.GetSession().GetProgramFile(), DL_PROGRAM, -1);
    }
}

void _DebugContinue(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_CONTINUE) && CheckConnectedAndHalted(CMD_DEBUG_CONTINUE)) {
        MainWindow.GetSession().ResumeTarget();
    }
}

void _DebugHalt(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_HALT)) {
        CDevice::Get().PostHalt();
    }
}

void _DebugReset(CMainWindow& MainWindow) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_RESET) && CheckConnected(CMD_DEBUG_RESET)) {
        MainWindow.GetSession().ResetTarget(static_cast<RESET_MODES>(SysVarValue(VAR_RESET_MODE)));
    }
}

bool _CheckStep(COMMAND_ID Id) {
    if (!CCommandTable::CheckArgs(Id) || !CheckConnectedAndHalted(Id)) {
        return false;
    }
    if (CDevice::Get().IsSrcStepActive() || CDevice::Get().IsJobQueued(JT_STEP_ANY)) {
        FailCommand(Id, "step in progress");
        return false;
    }
    return true;
}

void _DebugStepInto(CMainWindow&) {
    if (_CheckStep(CMD_DEBUG_STEP_INTO)) {
        CDevice::Get().PostStepInst();
    }
}

void _DebugStepOver(CMainWindow&) {
    if (_CheckStep(CMD_DEBUG_STEP_OVER)) {
        CDevice::Get().PostStepInst();
    }
}

void _DebugStepOut(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_DEBUG_STEP_OUT) && CheckConnectedAndHalted(CMD_DEBUG_STEP_OUT)) {
        CDevice::Get().PostStepOut();
    }
}

void _WritePC(I64 Addr) {
    CDevice& Device = CDevice::Get();
    const I32 Idx = Device.GetNovikRegIdx(REG_IDX_PC);
    if (Idx >= 0) {
        Device.PostWriteReg(static_cast<U32>(Idx), Addr);
    }
}

void _SetPC(COMMAND_ID Id, I64 (*pfResolve)(const QString&)) {
    if (!CCommandTable::CheckArgs(Id) || !CheckConnectedAndHalted(Id)) {
        return;
    }
    const I64 Addr = pfResolve(CCommandTable::GetArgs(Id).value(0));
    if (Addr < 0) {
        FailCommand(Id, "invalid parameter");
        return;
    }
    _WritePC(Addr);
}

void _DebugSetNextPC(CMainWindow&) {
    _SetPC(CMD_DEBUG_SET_NEXT_PC, [](const QString& sText) { return ParseAddress(sText, true); });
}

void _DebugSetNextStatement(CMainWindow&) { _SetPC(CMD_DEBUG_SET_NEXT_STATEMENT, ResolveLocation); }

void _DebugRunTo(CMainWindow&) {
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

void _SetMode(COMMAND_ID Id, const char* sPrefix, int SysVar, CMainWindow& MainWindow) {
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

void _DebugSetResetMode(CMainWindow& MainWindow) {
    _SetMode(CMD_DEBUG_SET_RESET_MODE, "RM_", VAR_RESET_MODE, MainWindow);
}
void _DebugSetConnectMode(CMainWindow& MainWindow) {
    _SetMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_", VAR_CONNECT_MODE, MainWindow);
}

void _DebugSetSteppingMode(CMainWindow&) {
    unsigned Mode = 0;
    if (CCommandTable::CheckArgs(CMD_DEBUG_SET_STEPPING_MODE) && ReadNumberArg(CMD_DEBUG_SET_STEPPING_MODE, 0, &Mode)) {
        CDevice::Get().PostSetConfigParam(DEV_CFG_STEPPING_MODE, static_cast<int>(Mode));
    }
}

void _DebugReadIntoTraceCache(CMainWindow& MainWindow) {
    constexpr COMMAND_ID Id = CMD_DEBUG_READ_INTO_TRACE_CACHE;
    unsigned Addr = 0;
    unsigned Size = 0;
    if (CCommandTable::CheckArgs(Id) && ReadNumberArg(Id, 0, &Addr) && ReadNumberArg(Id, 1, &Size)) {
        MainWindow.GetSession().ReadIntoTraceCache(Addr, Size);
    }
}

// A drop-down entry of the connect or reset button sets the mode and runs the button's command.
void _RunWithMode(COMMAND_ID ModeId, const char* sMode, COMMAND_ID RunId) {
    CCommandTable::Execute(ModeId, {QString::fromLatin1(sMode)});
    CCommandTable::Execute(RunId);
}

void _EntryDownloadReset(CMainWindow&) {
    _RunWithMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_DOWNLOAD_RESET", CMD_DEBUG_START);
}
void _EntryAttach(CMainWindow&) { _RunWithMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_ATTACH", CMD_DEBUG_START); }
void _EntryAttachHalt(CMainWindow&) { _RunWithMode(CMD_DEBUG_SET_CONNECT_MODE, "CM_ATTACH_HALT", CMD_DEBUG_START); }
void _EntryResetSymbol(CMainWindow&) { _RunWithMode(CMD_DEBUG_SET_RESET_MODE, "RM_BREAK_AT_SYMBOL", CMD_DEBUG_RESET); }
void _EntryResetHalt(CMainWindow&) { _RunWithMode(CMD_DEBUG_SET_RESET_MODE, "RM_RESET_HALT", CMD_DEBUG_RESET); }
void _EntryResetRun(CMainWindow&) { _RunWithMode(CMD_DEBUG_SET_RESET_MODE, "RM_RESET_AND_RUN", CMD_DEBUG_RESET); }

void _ExecConnect(CMainWindow&) {
    if (_CheckIdle(CMD_EXEC_CONNECT)) {
        CDevice::Get().PostConnect(CM_CONNECT_ONLY);
    }
}

void _ExecReset(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_EXEC_RESET) && CheckConnected(CMD_EXEC_RESET)) {
        CDevice::Get().PostReset(RM_SILENT);
    }
}

void _ExecDownload(CMainWindow& MainWindow) {
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

void _ExecCommand(CMainWindow&) {
    if (CCommandTable::CheckArgs(CMD_EXEC_COMMAND)) {
        const QString sCommand = CFileFinder::Get().ExpandMacros(CCommandTable::GetArg0(CMD_EXEC_COMMAND));
        CDevice::Get().PostExecNovikCmd(sCommand.toUtf8());
    }
}

constexpr ACTION_SLOT aSlot[] = {
    {CMD_DEBUG_START, _DebugStart},
    {CMD_DEBUG_STOP, _DebugStop},
    {CMD_DEBUG_CONNECT, _DebugConnect},
    {CMD_DEBUG_DISCONNECT, _DebugDisconnect},
    {CMD_DEBUG_DOWNLOAD, _DebugDownload},
    {CMD_DEBUG_CONTINUE, _DebugContinue},
    {CMD_DEBUG_HALT, _DebugHalt},
    {CMD_DEBUG_RESET, _DebugReset},
    {CMD_DEBUG_STEP_INTO, _DebugStepInto},
    {CMD_DEBUG_STEP_OVER, _DebugStepOver},
    {CMD_DEBUG_STEP_OUT, _DebugStepOut},
    {CMD_DEBUG_SET_NEXT_PC, _DebugSetNextPC},
    {CMD_DEBUG_SET_NEXT_STATEMENT, _DebugSetNextStatement},
    {CMD_DEBUG_RUN_TO, _DebugRunTo},
    {CMD_DEBUG_SET_RESET_MODE, _DebugSetResetMode},
    {CMD_DEBUG_SET_CONNECT_MODE, _DebugSetConnectMode},
    {CMD_DEBUG_SET_STEPPING_MODE, _DebugSetSteppingMode},
    {CMD_DEBUG_READ_INTO_TRACE_CACHE, _DebugReadIntoTraceCache},
    {CMD_DEBUG_DOWNLOAD_RESET, _EntryDownloadReset},
    {CMD_DEBUG_ATTACH, _EntryAttach},
    {CMD_DEBUG_ATTACH_HALT, _EntryAttachHalt},
    {CMD_DEBUG_RESET_BREAK_AT_SYMBOL, _EntryResetSymbol},
    {CMD_DEBUG_RESET_HALT, _EntryResetHalt},
    {CMD_DEBUG_RESET_RUN, _EntryResetRun},
    {CMD_EXEC_CONNECT, _ExecConnect},
    {CMD_EXEC_RESET, _ExecReset},
    {CMD_EXEC_DOWNLOAD, _ExecDownload},
    {CMD_EXEC_COMMAND, _ExecCommand},
};

} // namespace

std::span<const ACTION_SLOT> GetDebugSlots() { return aSlot; }
