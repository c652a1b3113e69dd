#include "app/ScriptWaits.h"

#include "command/CommandIds.h"
#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/DeviceEventWorker.h"
#include "script/JScript.h"

namespace {

struct WAIT_ROW {
    U32 FirstId;
    U32 LastId;
    U32 aJob[2]; ///< JT_NONE for none
};

constexpr WAIT_ROW aWait[] = {
    {CMD_DEBUG_CONNECT, CMD_DEBUG_CONNECT, {JT_CONNECT, JT_NONE}},
    {CMD_EXEC_CONNECT, CMD_EXEC_CONNECT, {JT_CONNECT, JT_NONE}},
    {CMD_DEBUG_STOP, CMD_DEBUG_STOP, {JT_DISCONNECT, JT_NONE}},
    {CMD_DEBUG_DISCONNECT, CMD_DEBUG_DISCONNECT, {JT_DISCONNECT, JT_NONE}},
    {CMD_DEBUG_CONTINUE, CMD_DEBUG_CONTINUE, {JT_CONTINUE, JT_NONE}},
    {CMD_DEBUG_HALT, CMD_DEBUG_HALT, {JT_HALT, JT_NONE}},
    {CMD_EXEC_RESET, CMD_EXEC_RESET, {JT_RESET, JT_NONE}},
    {CMD_DEBUG_RESET, CMD_DEBUG_RESET, {JT_RESET, JT_NONE}},
    {CMD_DEBUG_STEP_INTO, CMD_DEBUG_STEP_OUT, {JT_STEP_ANY, JT_NONE}},
    {CMD_DEBUG_RUN_TO, CMD_DEBUG_RUN_TO, {JT_RUN_TO, JT_NONE}},
    {CMD_FILE_OPEN, CMD_FILE_LOAD, {JT_WRITE_MEM_MULTIPLE, JT_END_DOWNLOAD}},
    {CMD_DEBUG_DOWNLOAD, CMD_DEBUG_DOWNLOAD, {JT_WRITE_MEM_MULTIPLE, JT_END_DOWNLOAD}},
    {CMD_EXEC_DOWNLOAD, CMD_EXEC_DOWNLOAD, {JT_WRITE_MEM_MULTIPLE, JT_END_DOWNLOAD}},
    {CMD_TARGET_WRITE_U32, CMD_TARGET_WRITE_U8, {JT_WRITE_MEM, JT_READ_MEM}},
    {CMD_TARGET_FILL_MEMORY, CMD_TARGET_FILL_MEMORY, {JT_WRITE_MEM, JT_READ_MEM}},
    {CMD_TARGET_LOAD_MEMORY, CMD_TARGET_LOAD_MEMORY, {JT_WRITE_MEM, JT_READ_MEM}},
    {CMD_TARGET_SAVE_MEMORY, CMD_TARGET_SAVE_MEMORY, {JT_READ_MEM, JT_NONE}},
    {CMD_DEBUG_SET_NEXT_PC, CMD_DEBUG_SET_NEXT_STATEMENT, {JT_WRITE_REG, JT_NONE}},
    {CMD_TARGET_SET_REG, CMD_TARGET_SET_REG, {JT_WRITE_REG, JT_NONE}},
    {CMD_EXEC_COMMAND, CMD_EXEC_COMMAND, {JT_EXEC_NOVIK_CMD, JT_NONE}},
    {CMD_PROJECT_SET_DEVICE, CMD_PROJECT_SET_NOVIK_LOG_FILE, {JT_SET_CONFIG_PARAM, JT_NONE}},
    {CMD_PROJECT_SET_HOST_IF, CMD_PROJECT_SET_JTAG_CONFIG, {JT_SET_CONFIG_PARAM, JT_NONE}},
    {CMD_TARGET_SET_ACCESS_WIDTH, CMD_TARGET_SET_ENDIANESS, {JT_SET_CONFIG_PARAM, JT_NONE}},
    {CMD_DEBUG_SET_STEPPING_MODE, CMD_DEBUG_SET_STEPPING_MODE, {JT_SET_CONFIG_PARAM, JT_NONE}},
    {CMD_EDIT_SYS_VAR, CMD_EDIT_SYS_VAR, {JT_SET_CONFIG_PARAM, JT_NONE}},
    {CMD_BREAK_SET_ON_SRC, CMD_BREAK_SET_ON_SRC_EX, {JT_SET_BP, JT_NONE}},
    {CMD_BREAK_CLEAR_ON_SRC, CMD_BREAK_CLEAR_ON_SRC, {JT_CLEAR_BP, JT_NONE}},
    {CMD_BREAK_ENABLE_ON_SRC, CMD_BREAK_DISABLE_ON_SRC, {JT_SET_BP, JT_NONE}},
    {CMD_BREAK_SET_ON_DATA, CMD_BREAK_DISABLE_ON_SYMBOL, {JT_SET_WPS, JT_CLEAR_WPS}},
    {CMD_BREAK_SET, CMD_BREAK_SET_EX, {JT_SET_BP, JT_NONE}},
    {CMD_BREAK_CLEAR, CMD_BREAK_CLEAR, {JT_CLEAR_BP, JT_NONE}},
    {CMD_BREAK_ENABLE, CMD_BREAK_DISABLE, {JT_SET_BP, JT_NONE}},
    {CMD_BREAK_CLEAR_ALL, CMD_BREAK_CLEAR_ALL, {JT_CLEAR_ALL_BPS, JT_NONE}},
    {CMD_BREAK_CLEAR_ALL_ON_DATA, CMD_BREAK_CLEAR_ALL_ON_DATA, {JT_CLEAR_ALL_WPS, JT_NONE}},
    {CMD_BREAK_SET_TYPE, CMD_BREAK_SET_TYPE, {JT_SET_BP, JT_NONE}},
};

/// A halt is over behind its job, when the device thread has met it.
void WaitForHalt(CDevice& Device) {
    constexpr U64 MAX_MS = 500;
    const U64 Start = Device.Clock().NowMs();
    while (Device.Target().State.HaltRequested && Device.Clock().NowMs() - Start < MAX_MS && !ScriptIsEnding()) {
        Device.Clock().SleepMs(1);
    }
}

} // namespace

bool MayScriptCall(U32 CommandId) {
    const bool IsTarget = CommandId >= CMD_TARGET_SET_REG && CommandId <= CMD_TARGET_LOAD_MEMORY;
    return !IsTarget || (CDevice::Get().isRunning() && CDevice::Get().IsConnected());
}

I32 WaitForCommandJobs(U32 CommandId, U64 Mark) {
    for (const WAIT_ROW& Row : aWait) {
        if (CommandId < Row.FirstId || CommandId > Row.LastId) {
            continue;
        }
        CDevice& Device = CDevice::Get();
        bool HasFailed = false;
        for (const U32 Job : Row.aJob) {
            int Result = 0;
            while (Job != JT_NONE && (Result = Device.WaitForJob(Job, true, -1, ScriptIsEnding)) == 0 &&
                   Device.IsJobQueued(Job)) {
            }
            // Reads behind a write are those of windows: what they can't read is no failure of the command.
            HasFailed |= Result < 0 || (Job != JT_READ_MEM && Device.Queue().HasFailed(Job, Mark + 1));
        }
        if (CommandId == CMD_DEBUG_HALT) {
            WaitForHalt(Device);
        }
        DeliverDeviceEvents(MAX_EVENTS_PER_TICK);
        return HasFailed ? -1 : 0;
    }
    return 0;
}
