#include "device/DeviceJobs.h"

#include "device/DeviceEvents.h"
#include "device/JobQueue.h"
#include "device/JobTable.h"
#include "settings/SysVars.h"

namespace {

constexpr U32 MAX_LOC_SIZE = 8;
constexpr qsizetype MAX_READ_REGS = 64;
constexpr U32 NOVIK_ERROR_TEXT_SIZE = 512; ///< the block has one byte more for the zero
constexpr U32 CORE_NAME_SIZE = 64;
constexpr U32 MAX_DISASS_ADDRS = 1000;
constexpr U32 MAX_TRACE_ADDRS = 100000;
constexpr U32 TERMINAL_READ_SIZE = 4000;
constexpr U32 HSS_READ_SIZE = 250000;
constexpr U32 NUM_SWO_SPEEDS = 10;

U64 AccessWidthOf(U32 AccessWidth) {
    return AccessWidth >= MEM_ACCESS_WIDTH_DEFAULT ? U64(SysVarValue(VAR_ACCESS_WIDTH)) : AccessWidth;
}

template <class T> U64 NumBytesOf(const QList<T>& List) { return U64(List.size()) * sizeof(T); }

Job MakeJob(U32 Type, U64 Param0 = 0, U64 Param1 = 0, U64 Param2 = 0) {
    Job J;
    J.Type = Type;
    J.Param[0] = Param0;
    J.Param[1] = Param1;
    J.Param[2] = Param2;
    return J;
}

} // namespace

int CDeviceJobs::PostJob(Job& J) {
    const int Result = m_Queue.Schedule(J);
    if (Result == JOB_RING_FULL) {
        m_Events.Log(DEV_LOG_WARN, "Job %s not scheduled. Queue is full.", GetJobTypeName(J.Type));
    } else if (Result == JOB_SCHEDULED) {
        m_Events.Log(DEV_LOG_DEBUG, "Job scheduled: %s", GetJobTypeName(J.Type));
    }
    return Result == JOB_SCHEDULED ? 0 : -1;
}

int CDeviceJobs::PostSimple(U32 Type, U64 Param0, U64 Param1, U64 Param2) {
    Job J = MakeJob(Type, Param0, Param1, Param2);
    return PostJob(J);
}

int CDeviceJobs::PostWithBuf(Job& J, const void* pBuf, U64 NumBytes) {
    if (NumBytes == 0 || NumBytes > JOB_MAX_BUF_SIZE || !JobAttachBuf(&J, 0, pBuf, U32(NumBytes))) {
        JobFreeBufs(&J);
        return -1;
    }
    return PostJob(J);
}

int CDeviceJobs::PostConnect(CONNECT_MODES Mode) { return PostSimple(JT_CONNECT, U64(Mode)); }
int CDeviceJobs::PostDisconnect() { return PostSimple(JT_DISCONNECT); }
int CDeviceJobs::PostReset(RESET_MODES Mode) { return PostSimple(JT_RESET, U64(Mode)); }
int CDeviceJobs::PostHalt() { return PostSimple(JT_HALT); }
int CDeviceJobs::PostRunTo(U32 Addr) { return PostSimple(JT_RUN_TO, Addr); }

int CDeviceJobs::PostContinue(RESUME_MODES Mode) {
    m_Events.Raise(DEV_EVENT_ABOUT_TO_RESUME);
    return PostSimple(JT_CONTINUE, U64(Mode));
}

int CDeviceJobs::PostStep(U32 Type) {
    m_Events.Raise(DEV_EVENT_ABOUT_TO_STEP);
    return PostSimple(Type);
}

int CDeviceJobs::PostStepInst() { return PostStep(JT_STEP_INST); }
int CDeviceJobs::PostStepInto() { return PostStep(JT_STEP_INTO); }
int CDeviceJobs::PostStepOver() { return PostStep(JT_STEP_OVER); }
int CDeviceJobs::PostStepOut() { return PostStep(JT_STEP_OUT); }

int CDeviceJobs::PostExecNovikCmd(const QByteArray& sCommand) {
    Job J = MakeJob(JT_EXEC_NOVIK_CMD);
    return JobAttachBuf(&J, 1, nullptr, NOVIK_ERROR_TEXT_SIZE)
               ? PostWithBuf(J, sCommand.constData(), U64(sCommand.size()))
               : -1;
}

int CDeviceJobs::PostSetBreakpoint(U32 Addr, BP_STATES State, BP_TYPES Type) {
    return PostSimple(JT_SET_BP, Addr, State, Type);
}

int CDeviceJobs::PostSetBreakpoints(const QList<U32>& Addrs, BP_STATES State, BP_TYPES Type) {
    Job J = MakeJob(JT_SET_BPS, U64(Addrs.size()), State, Type);
    return PostWithBuf(J, Addrs.constData(), NumBytesOf(Addrs));
}

int CDeviceJobs::PostClearBreakpoint(U32 Addr) { return PostSimple(JT_CLEAR_BP, Addr); }

int CDeviceJobs::PostClearBreakpoints(const QList<U32>& Addrs) {
    Job J = MakeJob(JT_CLEAR_BPS, U64(Addrs.size()));
    return PostWithBuf(J, Addrs.constData(), NumBytesOf(Addrs));
}

int CDeviceJobs::PostClearAllBreakpoints() { return PostSimple(JT_CLEAR_ALL_BPS); }
int CDeviceJobs::PostResetBreakpoints() { return PostSimple(JT_RESET_BPS); }

int CDeviceJobs::PostSetWatchpoints(const QList<WP>& WPs) {
    Job J = MakeJob(JT_SET_WPS, U64(WPs.size()));
    return PostWithBuf(J, WPs.constData(), NumBytesOf(WPs));
}

int CDeviceJobs::PostClearWatchpoints(const QList<WP>& WPs) {
    Job J = MakeJob(JT_CLEAR_WPS, U64(WPs.size()));
    return PostWithBuf(J, WPs.constData(), NumBytesOf(WPs));
}

int CDeviceJobs::PostClearAllWatchpoints() { return PostSimple(JT_CLEAR_ALL_WPS); }

int CDeviceJobs::PostReadReg(U32 Idx) { return PostSimple(JT_READ_REG, Idx); }
int CDeviceJobs::PostWriteReg(U32 Idx, I64 Value) { return PostSimple(JT_WRITE_REG, Idx, U64(Value)); }

int CDeviceJobs::PostReadRegs(const QList<U32>& Idxs) {
    Job J = MakeJob(JT_READ_REGS, U64(Idxs.size()));
    const QList<I64> Unknown(Idxs.size(), -1);
    if (Idxs.size() > MAX_READ_REGS || !JobAttachBuf(&J, 1, Unknown.constData(), U32(NumBytesOf(Unknown)))) {
        return -1;
    }
    return PostWithBuf(J, Idxs.constData(), NumBytesOf(Idxs));
}

int CDeviceJobs::PostReadCPR(const ARM_CPR& Reg) {
    Job J = MakeJob(JT_READ_CP_REG);
    return PostWithBuf(J, &Reg, sizeof(Reg));
}

int CDeviceJobs::PostWriteCPR(const ARM_CPR& Reg, U32 Value) {
    Job J = MakeJob(JT_WRITE_CP_REG, Value);
    return PostWithBuf(J, &Reg, sizeof(Reg));
}

int CDeviceJobs::PostResetTargetExecState() { return PostSimple(JT_RESET_TARGET_EXEC_STATE); }

int CDeviceJobs::PostSetTargetExecState(const QList<I64>& RegVals) {
    Job J = MakeJob(JT_SET_TARGET_EXEC_STATE, U64(RegVals.size()));
    return PostWithBuf(J, RegVals.constData(), NumBytesOf(RegVals));
}

int CDeviceJobs::PostReadMem(U32 Addr, U32 NumBytes, U32 ChunkSize, U32 AccessWidth, U32 Flags, bool IsProtected,
                             U64* pSeqNo) {
    Job J = MakeJob(JT_READ_MEM, Addr, NumBytes, ChunkSize);
    J.Param[3] = AccessWidthOf(AccessWidth);
    J.Param[4] = Flags;
    J.Flags = IsProtected ? JOB_FLAG_PROTECTED : 0;
    if (!JobAttachBuf(&J, 0, nullptr, NumBytes) || !JobAttachBuf(&J, 1, nullptr, NumBytes)) {
        JobFreeBufs(&J);
        return -1;
    }
    const int Result = PostJob(J);
    if (pSeqNo) {
        *pSeqNo = J.SeqNo;
    }
    return Result;
}

int CDeviceJobs::PostWriteMem(U32 Addr, const QByteArray& Data, U32 ChunkSize, U32 AccessWidth, U32 Flags) {
    Job J = MakeJob(JT_WRITE_MEM, Addr, U64(Data.size()), ChunkSize);
    J.Param[3] = AccessWidthOf(AccessWidth);
    J.Param[4] = Flags;
    return PostWithBuf(J, Data.constData(), U64(Data.size()));
}

int CDeviceJobs::PostWriteMemMultiple(const QList<MEM_RANGE>& Ranges, const QByteArray& Data, U32 ChunkSize,
                                      U32 AccessWidth, U32 Flags) {
    Job J = MakeJob(JT_WRITE_MEM_MULTIPLE, U64(Ranges.size()), U64(Data.size()), ChunkSize);
    J.Param[3] = AccessWidthOf(AccessWidth);
    J.Param[4] = Flags;
    if (Data.size() > JOB_MAX_BUF_SIZE || !JobAttachBuf(&J, 1, Data.constData(), U32(Data.size()))) {
        return -1;
    }
    return PostWithBuf(J, Ranges.constData(), NumBytesOf(Ranges));
}

int CDeviceJobs::PostEndDownload(bool DoHalt, const QByteArray& sFilePath) {
    Job J = MakeJob(JT_END_DOWNLOAD, DoHalt ? 1 : 0);
    // The file path may be empty; the block then holds its zero alone.
    return JobAttachBuf(&J, 0, sFilePath.constData(), U32(sFilePath.size())) ? PostJob(J) : -1;
}

int CDeviceJobs::PostReadLoc(const ELF_SYM_LOC& Loc, U32 NumBytes) {
    if (NumBytes > MAX_LOC_SIZE) {
        m_Events.Log(DEV_LOG_DEBUG, "ReadLoc: cannot read data locations of size > 8 bytes");
        return -1;
    }
    Job J = MakeJob(JT_READ_LOCATION, NumBytes);
    return PostWithBuf(J, &Loc, sizeof(Loc));
}

int CDeviceJobs::PostReadLocs(const QList<ELF_SYM_LOC>& Locs, U64 Tag) {
    Job J = MakeJob(JT_READ_LOCS, U64(Locs.size()), Tag);
    const QList<I64> Unknown(Locs.size(), -1);
    if (NumBytesOf(Unknown) > JOB_MAX_BUF_SIZE || !JobAttachBuf(&J, 1, Unknown.constData(), U32(NumBytesOf(Unknown)))) {
        return -1;
    }
    return PostWithBuf(J, Locs.constData(), NumBytesOf(Locs));
}

int CDeviceJobs::PostWriteLoc(const ELF_SYM_LOC& Loc, const QByteArray& Data) {
    Job J = MakeJob(JT_WRITE_LOCATION, U64(Data.size()));
    if (Data.size() > qsizetype(MAX_LOC_SIZE) || !JobAttachBuf(&J, 1, Data.constData(), U32(Data.size()))) {
        return -1;
    }
    return PostWithBuf(J, &Loc, sizeof(Loc));
}

int CDeviceJobs::PostDisassInsts(const QList<U32>& Addrs) {
    Job J = MakeJob(JT_DISASS_INSTS, U64(Addrs.size()));
    return PostWithBuf(J, Addrs.constData(), NumBytesOf(Addrs));
}

int CDeviceJobs::PostDisassArange(U32 Start, U32 End, U32* paAddrs, bool IsProtected) {
    Job J = MakeJob(JT_DISASS_ARANGE, Start, End, MAX_DISASS_ADDRS);
    J.Flags = IsProtected ? JOB_FLAG_PROTECTED : 0;
    J.Buf[0] = paAddrs;
    return PostJob(J);
}

int CDeviceJobs::PostDisassAranges(const QList<MEM_RANGE>& Ranges) {
    Job J = MakeJob(JT_DISASS_ARANGES, U64(Ranges.size()));
    return PostWithBuf(J, Ranges.constData(), NumBytesOf(Ranges));
}

int CDeviceJobs::PostEnableInstTrace() { return PostSimple(JT_ENABLE_SIMPLE_TRACE); }
int CDeviceJobs::PostDisableInstTrace() { return PostSimple(JT_DISABLE_SIMPLE_TRACE); }
int CDeviceJobs::PostStartInstTrace() { return PostSimple(JT_START_SIMPLE_TRACE); }
int CDeviceJobs::PostStopInstTrace() { return PostSimple(JT_STOP_SIMPLE_TRACE); }
int CDeviceJobs::PostFlushInstTrace() { return PostSimple(JT_FLUSH_STRACE_BUFFER); }

int CDeviceJobs::PostReadInstTrace() {
    Job J = MakeJob(JT_READ_SIMPLE_TRACE, MAX_TRACE_ADDRS);
    return PostWithBuf(J, nullptr, U64(MAX_TRACE_ADDRS) * sizeof(U32));
}

int CDeviceJobs::PostReadInstStats(const QList<MEM_RANGE>& Ranges, U32 NumItems) {
    Job J = MakeJob(JT_READ_INST_STATS, U64(Ranges.size()), NumItems);
    const U64 NumBytes = U64(NumItems) * sizeof(U64);
    if (NumBytes > JOB_MAX_BUF_SIZE || !JobAttachBuf(&J, 1, nullptr, U32(NumBytes)) ||
        !JobAttachBuf(&J, 2, nullptr, U32(NumBytes))) {
        JobFreeBufs(&J);
        return -1;
    }
    return PostWithBuf(J, Ranges.constData(), NumBytesOf(Ranges));
}

int CDeviceJobs::PostStartSWOTrace(U32 CpuHz, U32 SwoHz, U32 PortMask) {
    return PostSimple(JT_START_SWO_TRACE, CpuHz, SwoHz, PortMask);
}

int CDeviceJobs::PostStopSWOTrace(U32 PortMask) { return PostSimple(JT_STOP_SWO_TRACE, PortMask); }

int CDeviceJobs::PostReadSWOTrace() {
    Job J = MakeJob(JT_READ_SWO_TRACE, 0, TERMINAL_READ_SIZE);
    return PostWithBuf(J, nullptr, TERMINAL_READ_SIZE);
}

int CDeviceJobs::PostGetSWOCompatSpeeds(U32 CpuHz) {
    Job J = MakeJob(JT_SWO_GET_COMPAT_SPEEDS, CpuHz, NUM_SWO_SPEEDS);
    return PostWithBuf(J, nullptr, NUM_SWO_SPEEDS * sizeof(U32));
}

int CDeviceJobs::PostStartRTT() { return PostSimple(JT_START_RTT); }
int CDeviceJobs::PostStopRTT() { return PostSimple(JT_STOP_RTT); }

int CDeviceJobs::PostReadRTT() {
    Job J = MakeJob(JT_READ_RTT, 0, TERMINAL_READ_SIZE);
    return PostWithBuf(J, nullptr, TERMINAL_READ_SIZE);
}

int CDeviceJobs::PostWriteRTT(const QByteArray& Data) {
    Job J = MakeJob(JT_WRITE_RTT, 0, U64(Data.size()));
    return PostWithBuf(J, Data.constData(), U64(Data.size()));
}

int CDeviceJobs::PostStartHSS(const QList<MEM_RANGE>& Ranges, U32 IntervalUs) {
    Job J = MakeJob(JT_START_HSS, U64(Ranges.size()), IntervalUs, 1);
    return PostWithBuf(J, Ranges.constData(), NumBytesOf(Ranges));
}

int CDeviceJobs::PostStopHSS() { return PostSimple(JT_STOP_HSS); }

int CDeviceJobs::PostReadHSS() {
    Job J = MakeJob(JT_READ_HSS, HSS_READ_SIZE);
    return PostWithBuf(J, nullptr, HSS_READ_SIZE);
}

int CDeviceJobs::PostSetSHInputText(const QByteArray& sText) {
    Job J = MakeJob(JT_SET_SH_INPUT_TEXT, U64(sText.size()));
    // An empty line is an answer, too.
    return JobAttachBuf(&J, 0, sText.constData(), U32(sText.size())) ? PostJob(J) : -1;
}

int CDeviceJobs::PostConfigure(const QByteArray& sXmlConfigStr) {
    Job J = MakeJob(JT_CONFIGURE);
    return PostWithBuf(J, sXmlConfigStr.constData(), U64(sXmlConfigStr.size()));
}

int CDeviceJobs::PostSetConfigParam(DEV_CONFIG_PARAMS Param, int Value) {
    return PostSimple(JT_SET_CONFIG_PARAM, U64(Param), U64(Value));
}

int CDeviceJobs::PostSetConfigParam(DEV_CONFIG_PARAMS Param, const QByteArray& sValue) {
    Job J = MakeJob(JT_SET_CONFIG_PARAM, U64(Param));
    return JobAttachBuf(&J, 0, sValue.constData(), U32(sValue.size())) ? PostJob(J) : -1;
}

int CDeviceJobs::PostGetDeviceInfo(const QByteArray& sDeviceName) {
    Job J = MakeJob(JT_GET_DEVICE_INFO);
    return JobAttachBuf(&J, 1, nullptr, CORE_NAME_SIZE)
               ? PostWithBuf(J, sDeviceName.constData(), U64(sDeviceName.size()))
               : -1;
}

int CDeviceJobs::PostMeasureCoreSpeed() { return PostSimple(JT_MEASURE_CORE_SPEED); }
