#include "app/ActionStates.h"

#include "command/CommandTable.h"
#include "device/Device.h"
#include "project/Project.h"

#include <QAction>

namespace {

constexpr int FOLLOW_MS = 200;

void SetState(COMMAND_ID Id, bool IsEnabled, bool IsVisible) {
    CCommandTable::SetCommandEnabled(Id, IsEnabled, true);
    if (QAction* pAction = CCommandTable::GetAction(Id)) {
        pAction->setVisible(IsVisible);
    }
}

bool HasArgs(COMMAND_ID Id) { return !CCommandTable::GetArgs(Id).isEmpty(); }

} // namespace

CActionStates::CActionStates(QObject* pParent) : QObject(pParent) {
    m_Timer.setInterval(FOLLOW_MS);
    connect(&m_Timer, &QTimer::timeout, this, &CActionStates::UpdateHaltResumeButtons);
}

void CActionStates::Update() {
    const CDevice& Device = CDevice::Get();
    const bool IsConnected = Device.IsConnected();
    const bool IsHalted = IsConnected && Device.IsHalted();
    SetState(CMD_DEBUG_START, true, !IsConnected);
    SetState(CMD_DEBUG_STOP, IsConnected, IsConnected);
    SetState(CMD_DEBUG_CONTINUE, IsHalted, IsHalted);
    SetState(CMD_DEBUG_HALT, IsConnected && !IsHalted, !IsHalted);
    for (const COMMAND_ID Id : {CMD_DEBUG_STEP_INTO, CMD_DEBUG_STEP_OVER, CMD_DEBUG_STEP_OUT}) {
        SetState(Id, IsHalted, true);
    }
    for (const COMMAND_ID Id : {CMD_DEBUG_SET_NEXT_PC, CMD_DEBUG_SET_NEXT_STATEMENT, CMD_DEBUG_RUN_TO, CMD_VIEW_DATA,
                                CMD_VIEW_SOURCE, CMD_VIEW_DISASSEMBLY, CMD_VIEW_CALL_GRAPH, CMD_WATCH_ADD}) {
        SetState(Id, HasArgs(Id), true);
    }
    const bool HasBreakpoints = !Device.GetBreakpoints().isEmpty();
    const bool HasWatchpoints = !Device.GetWatchpoints().isEmpty();
    const bool IsProjectOpen = CProject::Get().IsOpen();
    CCommandTable::SetCommandEnabled(CMD_BREAK_CLEAR_ALL, HasBreakpoints, HasBreakpoints);
    CCommandTable::SetCommandEnabled(CMD_BREAK_CLEAR_ALL_ON_DATA, HasWatchpoints, HasWatchpoints);
    CCommandTable::SetCommandEnabled(CMD_FILE_SAVE_PROJECT_AS, IsProjectOpen, IsProjectOpen);
    const bool CanSave = IsProjectOpen && CProject::Get().IsModified();
    CCommandTable::SetCommandEnabled(CMD_FILE_SAVE_ALL, CanSave, CanSave);
    emit Updated();
}

void CActionStates::UpdateHaltResumeButtons() {
    const CDevice& Device = CDevice::Get();
    if (Device.isRunning()) {
        const bool IsHalted = Device.IsConnected() && Device.IsHalted();
        SetState(CMD_DEBUG_CONTINUE, IsHalted, IsHalted);
        SetState(CMD_DEBUG_HALT, Device.IsConnected() && !IsHalted, !IsHalted);
    }
}
