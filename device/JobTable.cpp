#include "device/JobTable.h"

#include "device/DeviceEventListener.h"

#include <cstring>

namespace {

ELF_SYM_LOC MakeLoc(const Job& J) {
    ELF_SYM_LOC Loc;
    std::memcpy(&Loc, J.Buf[0], sizeof(Loc));
    return Loc;
}

// A configuration value is a text if there is a buffer, else a number.
void DeliverConfigParamDone(CDeviceEventListener& L, const Job& J) {
    const auto Param = DEV_CONFIG_PARAMS(J.Param[0]);
    if (J.Buf[0]) {
        L.OnDeviceSetConfigParamTextDone(Param, static_cast<const char*>(J.Buf[0]));
    } else {
        L.OnDeviceSetConfigParamDone(Param, int(J.Param[1]));
    }
}

void DeliverConfigParamFailed(CDeviceEventListener& L, const Job& J) {
    const auto Param = DEV_CONFIG_PARAMS(J.Param[0]);
    if (J.Buf[0]) {
        L.OnDeviceSetConfigParamTextFailed(Param, static_cast<const char*>(J.Buf[0]));
    } else {
        L.OnDeviceSetConfigParamFailed(Param, int(J.Param[1]));
    }
}

// Columns: type, name, ring (0 control and writes, 1 reads, 2 background), first buffer required, default time-out of
// a wait in ms, operation when done, operation when failed.
const JOB_TYPE_ROW _aRows[JT_LAST + 1] = {
    {JT_NONE, "Unknown", 2, 0, 5000, nullptr, nullptr},
    {JT_CONNECT, "JT_CONNECT", 0, 0, 120000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceConnectDone(CONNECT_MODES(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceConnectFailed(CONNECT_MODES(J.Param[0])); }},
    {JT_DISCONNECT, "JT_DISCONNECT", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceDisconnectDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceDisconnectFailed(); }},
    {JT_RESET, "JT_RESET", 0, 0, 60000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceResetDone(U32(J.Result[0]), RESET_MODES(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceResetFailed(U32(J.Result[0]), RESET_MODES(J.Param[0])); }},
    {JT_HALT, "JT_HALT", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceHaltDone(U32(J.Result[0]), HALT_REASONS(J.Result[1])); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceHaltFailed(); }},
    {JT_CONTINUE, "JT_CONTINUE", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceResumeDone(RESUME_MODES(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceResumeFailed(RESUME_MODES(J.Param[0])); }},
    {JT_STEP_INST, "JT_STEP_INST", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepInstDone(U32(J.Result[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepInstFailed(U32(J.Result[0])); }},
    {JT_STEP_INTO, "JT_STEP_INTO", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepIntoDone(U32(J.Result[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepIntoFailed(U32(J.Result[0])); }},
    {JT_STEP_OVER, "JT_STEP_OVER", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepOverDone(U32(J.Result[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepOverFailed(U32(J.Result[0])); }},
    {JT_STEP_OUT, "JT_STEP_OUT", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepOutDone(U32(J.Result[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStepOutFailed(U32(J.Result[0])); }},
    {JT_STEP_ANY, "Unknown", 1, 0, 5000, nullptr, nullptr},
    {JT_RUN_TO, "JT_RUN_TO", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceRunToSymbolDone(U32(J.Result[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceRunToSymbolFailed(U32(J.Result[0])); }},
    {JT_EXEC_NOVIK_CMD, "JT_EXEC_NOVIK_CMD", 0, 1, 60000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceExecNovikCmdDone(static_cast<const char*>(J.Buf[0])); },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceExecNovikCmdFailed(static_cast<const char*>(J.Buf[0]), static_cast<const char*>(J.Buf[1]));
     }},
    {JT_EDIT_BP, "JT_EDIT_BP", 0, 0, 5000, nullptr, nullptr},
    {JT_SET_BP, "JT_SET_BP", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceSetBPDone(U32(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceSetBPFailed(U32(J.Param[0])); }},
    {JT_SET_BPS, "JT_SET_BPS", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceSetBPsDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0])); },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSetBPsFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_CLEAR_BP, "JT_CLEAR_BP", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceClearBPDone(U32(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceClearBPFailed(U32(J.Param[0])); }},
    {JT_CLEAR_BPS, "JT_CLEAR_BPS", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceClearBPsDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceClearBPsFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_CLEAR_ALL_BPS, "JT_CLEAR_ALL_BPS", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceClearAllBPsDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceClearAllBPsFailed(); }},
    {JT_RESET_BPS, "JT_RESET_BPS", 0, 0, 5000, [](CDeviceEventListener& L, const Job&) { L.OnDeviceResetBPsDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceResetBPsFailed(); }},
    {JT_SET_WPS, "JT_SET_WPS", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceSetWPsDone(U32(J.Param[0]), static_cast<WP*>(J.Buf[0])); },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSetWPsFailed(U32(J.Param[0]), static_cast<WP*>(J.Buf[0]));
     }},
    {JT_CLEAR_WPS, "JT_CLEAR_WPS", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceClearWPsDone(U32(J.Param[0]), static_cast<WP*>(J.Buf[0])); },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceClearWPsFailed(U32(J.Param[0]), static_cast<WP*>(J.Buf[0]));
     }},
    {JT_CLEAR_ALL_WPS, "JT_CLEAR_ALL_WPS", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceClearAllWPsDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceClearAllWPsFailed(); }},
    {JT_READ_REG, "JT_READ_REG", 1, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadRegDone(U32(J.Param[0]), J.Result[0]); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadRegFailed(U32(J.Param[0])); }},
    {JT_WRITE_REG, "JT_WRITE_REG", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceWriteRegDone(U32(J.Param[0]), I64(J.Param[1])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceWriteRegFailed(U32(J.Param[0])); }},
    {JT_READ_CP_REG, "JT_READ_CP_REG", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadCPRDone(static_cast<ARM_CPR*>(J.Buf[0]), J.Result[0]); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadCPRFailed(static_cast<ARM_CPR*>(J.Buf[0])); }},
    {JT_WRITE_CP_REG, "JT_WRITE_CP_REG", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteCPRDone(static_cast<ARM_CPR*>(J.Buf[0]), J.Result[0]);
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceWriteCPRFailed(static_cast<ARM_CPR*>(J.Buf[0])); }},
    {JT_READ_REGS, "JT_READ_REGS", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadRegsDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), static_cast<I64*>(J.Buf[1]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadRegsFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), static_cast<I64*>(J.Buf[1]));
     }},
    {JT_END_DOWNLOAD, "JT_END_DOWNLOAD", 0, 0, 120000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceEndDownloadDone(static_cast<const char*>(J.Buf[0])); },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceEndDownloadFailed(static_cast<const char*>(J.Buf[0]), int(J.Result[0]));
     }},
    {JT_READ_MEM, "JT_READ_MEM", 1, 0, 10000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadMemDone(U32(J.Param[0]), U32(J.Param[1]), static_cast<U8*>(J.Buf[0]),
                               static_cast<U8*>(J.Buf[1]));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadMemFailed(U32(J.Param[0]), U32(J.Param[1])); }},
    {JT_WRITE_MEM, "JT_WRITE_MEM", 0, 1, 120000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteMemDone(U32(J.Param[0]), U32(J.Param[1]), static_cast<U8*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteMemFailed(U32(J.Param[0]), U32(J.Param[1]), static_cast<U8*>(J.Buf[0]));
     }},
    {JT_WRITE_MEM_MULTIPLE, "JT_WRITE_MEM_MULTIPLE", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteMemMultipleDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), static_cast<U8*>(J.Buf[1]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteMemMultipleFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), static_cast<U8*>(J.Buf[1]));
     }},
    {JT_READ_BYTE, "JT_READ_BYTE", 0, 0, 5000, nullptr, nullptr},
    {JT_WRITE_BYTE, "JT_WRITE_BYTE", 0, 0, 5000, nullptr, nullptr},
    {JT_RESET_TARGET_EXEC_STATE, "JT_RESET_TARGET_EXEC_STATE", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceResetTargetExecStateDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceResetTargetExecStateFailed(); }},
    {JT_SET_TARGET_EXEC_STATE, "JT_SET_TARGET_EXEC_STATE", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSetTargetExecStateDone(U32(J.Param[0]), static_cast<I64*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSetTargetExecStateFailed(U32(J.Param[0]), static_cast<I64*>(J.Buf[0]));
     }},
    {JT_READ_LOCATION, "JT_READ_LOCATION", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         U64 Data = U64(J.Result[0]);
         L.OnDeviceReadLocDone(MakeLoc(J), U32(J.Param[0]), reinterpret_cast<U8*>(&Data));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadLocFailed(MakeLoc(J), U32(J.Param[0])); }},
    {JT_READ_LOCS, "JT_READ_LOCS", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadLocsDone(U32(J.Param[0]), static_cast<ELF_SYM_LOC*>(J.Buf[0]), static_cast<I64*>(J.Buf[1]),
                                J.Param[1]);
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadLocsFailed(U32(J.Param[0]), static_cast<ELF_SYM_LOC*>(J.Buf[0]), J.Param[1]);
     }},
    {JT_WRITE_LOCATION, "JT_WRITE_LOCATION", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceWriteLocDone(MakeLoc(J), U32(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceWriteLocFailed(MakeLoc(J), U32(J.Param[0])); }},
    {JT_SET_SH_INPUT_TEXT, "JT_SET_SH_INPUT_TEXT", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSetSHInputTextDone(U32(J.Param[0]), static_cast<const char*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSetSHInputTextFailed(U32(J.Param[0]), static_cast<const char*>(J.Buf[0]));
     }},
    {JT_DISASS_INSTS, "JT_DISASS_INSTS", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceDisassInstsDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceDisassInstsFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_DISASS_ARANGE, "JT_DISASS_ARANGE", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceDisassArangeDone(U32(J.Param[0]), U32(J.Param[1]), U32(J.Param[2]), static_cast<U32*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceDisassArangeFailed(U32(J.Param[0]), U32(J.Param[1]), U32(J.Param[2]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_DISASS_ARANGES, "JT_DISASS_ARANGES", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceDisassArangesDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceDisassArangesFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_ENABLE_SIMPLE_TRACE, "JT_ENABLE_SIMPLE_TRACE", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceEnableInstTraceDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceEnableInstTraceFailed(); }},
    {JT_DISABLE_SIMPLE_TRACE, "JT_DISABLE_SIMPLE_TRACE", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceDisableInstTraceDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceDisableInstTraceFailed(); }},
    {JT_START_SIMPLE_TRACE, "JT_START_SIMPLE_TRACE", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStartInstTraceDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStartInstTraceFailed(); }},
    {JT_STOP_SIMPLE_TRACE, "JT_STOP_SIMPLE_TRACE", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStopInstTraceDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStopInstTraceFailed(); }},
    {JT_READ_SIMPLE_TRACE, "JT_READ_SIMPLE_TRACE", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadInstTraceDone(U32(J.Param[0]), J.Result[0], J.Result[1] != 0, J.Result[2] != 0,
                                     static_cast<U32*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadInstTraceFailed(U32(J.Param[0])); }},
    {JT_READ_INST_STATS, "JT_READ_INST_STATS", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadInstStatsDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), J.Result[0], J.Result[1],
                                     J.Result[2], J.Buf[1], J.Buf[2]);
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadInstStatsFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_FLUSH_STRACE_BUFFER, "JT_FLUSH_STRACE_BUFFER", 0, 0, 5000,
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceFlushInstTraceDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceFlushInstTraceFailed(); }},
    {JT_START_SWO_TRACE, "JT_START_SWO_TRACE", 0, 0, 10000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceStartSWOTraceDone(U32(J.Param[0]), U32(J.Param[1]), U32(J.Param[2]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceStartSWOTraceFailed(U32(J.Param[0]), U32(J.Param[1]), U32(J.Param[2]));
     }},
    {JT_STOP_SWO_TRACE, "JT_STOP_SWO_TRACE", 0, 0, 10000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStopSWOTraceDone(U32(J.Param[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceStopSWOTraceFailed(U32(J.Param[0])); }},
    {JT_READ_SWO_TRACE, "JT_READ_SWO_TRACE", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadSWOTraceDone(U32(J.Param[0]), U32(J.Param[1]), J.Result[0], static_cast<U8*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadSWOTraceFailed(U32(J.Param[0]), U32(J.Param[1])); }},
    {JT_SWO_GET_COMPAT_SPEEDS, "JT_SWO_GET_COMPAT_SPEEDS", 0, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSWOCompatSpeedsDone(U32(J.Param[0]), U32(J.Param[1]), static_cast<U32*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceSWOCompatSpeedsFailed(U32(J.Param[0]), U32(J.Param[1]), static_cast<U32*>(J.Buf[0]));
     }},
    {JT_START_RTT, "JT_START_RTT", 0, 0, 10000, [](CDeviceEventListener& L, const Job&) { L.OnDeviceStartRTTDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStartRTTFailed(); }},
    {JT_STOP_RTT, "JT_STOP_RTT", 0, 0, 10000, [](CDeviceEventListener& L, const Job&) { L.OnDeviceStopRTTDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStopRTTFailed(); }},
    {JT_FLUSH_RTT, "JT_FLUSH_RTT", 1, 0, 10000, nullptr, nullptr},
    {JT_READ_RTT, "JT_READ_RTT", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadRTTDone(U32(J.Param[0]), U32(J.Param[1]), J.Result[0], static_cast<U8*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadRTTFailed(U32(J.Param[0]), U32(J.Param[1])); }},
    {JT_WRITE_RTT, "JT_WRITE_RTT", 1, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteRTTDone(U32(J.Param[0]), U32(J.Param[1]), static_cast<U8*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceWriteRTTFailed(U32(J.Param[0]), U32(J.Param[1]), J.Result[1], static_cast<U8*>(J.Buf[0]));
     }},
    {JT_START_HSS, "JT_START_HSS", 0, 0, 10000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceStartHSSDone(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), U32(J.Param[1]));
     },
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceStartHSSFailed(U32(J.Param[0]), static_cast<U32*>(J.Buf[0]), U32(J.Param[1]));
     }},
    {JT_STOP_HSS, "JT_STOP_HSS", 0, 0, 10000, [](CDeviceEventListener& L, const Job&) { L.OnDeviceStopHSSDone(); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceStopHSSFailed(); }},
    {JT_READ_HSS, "JT_READ_HSS", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceReadHSSDone(U32(J.Param[0]), J.Result[0], static_cast<U8*>(J.Buf[0]));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceReadHSSFailed(U32(J.Param[0])); }},
    {JT_CONFIGURE, "JT_CONFIGURE", 0, 1, 60000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceConfigureDone(static_cast<const char*>(J.Buf[0])); },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceConfigureFailed(static_cast<const char*>(J.Buf[0])); }},
    {JT_SET_CONFIG_PARAM, "JT_SET_CONFIG_PARAM", 0, 0, 5000, DeliverConfigParamDone, DeliverConfigParamFailed},
    {JT_GET_DEVICE_INFO, "JT_GET_DEVICE_INFO", 1, 1, 5000,
     [](CDeviceEventListener& L, const Job& J) {
         L.OnDeviceGetDeviceInfoDone(static_cast<const char*>(J.Buf[0]), static_cast<const char*>(J.Buf[1]));
     },
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceGetDeviceInfoFailed(static_cast<const char*>(J.Buf[0])); }},
    {JT_MEASURE_CORE_SPEED, "JT_MEASURE_CORE_SPEED", 2, 0, 5000,
     [](CDeviceEventListener& L, const Job& J) { L.OnDeviceMeasureCoreSpeedDone(J.Result[0]); },
     [](CDeviceEventListener& L, const Job&) { L.OnDeviceMeasureCoreSpeedFailed(); }},
    {JT_ANY, "Unknown", 1, 0, 5000, nullptr, nullptr},
    {JT_LAST, "Last", 2, 0, 5000, nullptr, nullptr},
};

} // namespace

const JOB_TYPE_ROW& GetJobTypeRow(U32 Type) { return _aRows[Type <= JT_LAST ? Type : U32(JT_NONE)]; }

const char* GetJobTypeName(U32 Type) { return GetJobTypeRow(Type).sName; }
