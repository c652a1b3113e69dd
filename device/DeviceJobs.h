#pragma once

// The requests to the target: Post<VIEW>() packs a job and schedules it, and one function for each that is asked for in
// many places. The body runs on the device thread and a CDeviceEventListener hears of the result. All functions may be
// called from any thread, never wait, and return 0, or -1 if the job could not be queued (ring full, no data, more
// than 1,000,000,000 bytes).

#include "device/DeviceEvents.h"
#include "device/JobViewsBreak.h"
#include "device/JobViewsConfig.h"
#include "device/JobViewsMem.h"
#include "device/JobViewsRegs.h"
#include "device/JobViewsRun.h"

class CJobQueue;

class CDeviceJobs {
public:
    CDeviceJobs(CJobQueue& Queue, CDeviceEvents& Events) : m_Queue(Queue), m_Events(Events) {}

    /// A view that is ANNOUNCED_BY an event tells the listeners first.
    template <class VIEW, class... ARGS> int Post(const ARGS&... Args) {
        CPackedJob Packed;
        if (!VIEW::Pack(Packed, Args...)) {
            if constexpr (requires { VIEW::REFUSAL; }) {
                m_Events.LogText(DEV_LOG_DEBUG, VIEW::REFUSAL);
            }
            return -1;
        }
        if constexpr (requires { VIEW::ANNOUNCED_BY; }) {
            m_Events.Raise(VIEW::ANNOUNCED_BY);
        }
        Job J = Packed.Take();
        return PostJob(J);
    }
    /// Schedules a job that the caller has filled. Its buffers go over to the device, also on failure.
    int PostJob(Job& J);

    int PostConnect(CONNECT_MODES Mode) { return Post<CONNECT_JOB>(Mode); }
    int PostDisconnect() { return Post<DISCONNECT_JOB>(); }
    int PostReset(RESET_MODES Mode) { return Post<RESET_JOB>(Mode); }
    int PostHalt() { return Post<HALT_JOB>(); }
    int PostContinue(RESUME_MODES Mode = GO_USER) { return Post<CONTINUE_JOB>(Mode); }
    int PostStepInst() { return Post<STEP_INST_JOB>(); }
    int PostStepInto() { return Post<STEP_INTO_JOB>(); }
    int PostStepOver() { return Post<STEP_OVER_JOB>(); }
    int PostStepOut() { return Post<STEP_OUT_JOB>(); }
    int PostRunTo(U32 Addr) { return Post<RUN_TO_JOB>(Addr); }
    int PostExecNovikCmd(const QByteArray& sCommand) { return Post<EXEC_NOVIK_CMD_JOB>(sCommand); }

    int PostSetBreakpoint(U32 Addr, BP_STATES State, BP_TYPES Type) { return Post<SET_BP_JOB>(Addr, State, Type); }
    int PostSetBreakpoints(const QList<U32>& Addrs, BP_STATES State, BP_TYPES Type) {
        return Post<SET_BPS_JOB>(Addrs, State, Type);
    }
    int PostClearBreakpoint(U32 Addr) { return Post<CLEAR_BP_JOB>(Addr); }
    int PostClearBreakpoints(const QList<U32>& Addrs) { return Post<CLEAR_BPS_JOB>(Addrs); }
    int PostClearAllBreakpoints() { return Post<CLEAR_ALL_BPS_JOB>(); }
    int PostResetBreakpoints() { return Post<RESET_BPS_JOB>(); } ///< hit counters to 0
    int PostSetWatchpoints(const QList<WP>& WPs) { return Post<SET_WPS_JOB>(WPs); }
    int PostClearWatchpoints(const QList<WP>& WPs) { return Post<CLEAR_WPS_JOB>(WPs); }
    int PostClearAllWatchpoints() { return Post<CLEAR_ALL_WPS_JOB>(); }

    int PostReadReg(U32 Idx) { return Post<READ_REG_JOB>(Idx); } ///< register index of the probe library
    int PostWriteReg(U32 Idx, I64 Value) { return Post<WRITE_REG_JOB>(Idx, Value); }
    int PostReadRegs(const QList<U32>& Idxs) { return Post<READ_REGS_JOB>(Idxs); } ///< at most 64
    int PostResetTargetExecState() { return Post<RESET_TARGET_EXEC_STATE_JOB>(); }

    /// AccessWidth 0 automatic, 1, 2, 4; 255 and above: the value of VAR_ACCESS_WIDTH. Flags: MEM_FLAG_*.
    int PostReadMem(U32 Addr, U32 NumBytes, U32 ChunkSize, U32 AccessWidth, U32 Flags, bool IsProtected = false) {
        return Post<READ_MEM_JOB>(Addr, NumBytes, ChunkSize, AccessWidth, Flags, IsProtected);
    }
    int PostWriteMem(U32 Addr, const QByteArray& Data, U32 ChunkSize, U32 AccessWidth, U32 Flags) {
        return Post<WRITE_MEM_JOB>(Addr, Data, ChunkSize, AccessWidth, Flags);
    }
    /// Data holds the bytes of all ranges, one behind the other.
    int PostWriteMemMultiple(const QList<MEM_RANGE>& Ranges, const QByteArray& Data, U32 ChunkSize, U32 AccessWidth,
                             U32 Flags) {
        return Post<WRITE_MEM_MULTIPLE_JOB>(Ranges, Data, ChunkSize, AccessWidth, Flags);
    }
    int PostEndDownload(bool DoHalt, const QByteArray& sFilePath) { return Post<END_DOWNLOAD_JOB>(DoHalt, sFilePath); }

    int PostConfigure(const QByteArray& sXmlConfigStr) { return Post<CONFIGURE_JOB>(sXmlConfigStr); }
    int PostSetConfigParam(DEV_CONFIG_PARAMS Param, int Value) { return Post<SET_CONFIG_PARAM_JOB>(Param, Value); }
    int PostSetConfigParam(DEV_CONFIG_PARAMS Param, const QByteArray& sValue) {
        return Post<SET_CONFIG_PARAM_JOB>(Param, sValue);
    }
    int PostGetDeviceInfo(const QByteArray& sDeviceName) { return Post<GET_DEVICE_INFO_JOB>(sDeviceName); }

private:
    CJobQueue& m_Queue;
    CDeviceEvents& m_Events;
};
