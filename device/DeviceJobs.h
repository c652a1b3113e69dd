#pragma once

// The requests to the target: one function a job type. Each builds a job and schedules it; the body of the same name
// without "Post" runs on the device thread and a CDeviceEventListener hears of the result. All functions may be
// called from any thread, never wait, and return 0, or -1 if the job could not be queued (ring full, no data, more
// than 1,000,000,000 bytes).

#include "device/DeviceTypes.h"
#include "device/Job.h"
#include "elf/ElfSymLoc.h"

#include <QByteArray>
#include <QList>

class CDeviceEvents;
class CJobQueue;

/// Address range, end exclusive.
struct MEM_RANGE {
    U32 Start;
    U32 End;
};

class CDeviceJobs {
public:
    CDeviceJobs(CJobQueue& Queue, CDeviceEvents& Events) : m_Queue(Queue), m_Events(Events) {}

    int PostConnect(CONNECT_MODES Mode);
    int PostDisconnect();
    int PostReset(RESET_MODES Mode);
    int PostHalt();
    int PostContinue(RESUME_MODES Mode = GO_USER); ///< raises OnDeviceAboutToResume() first
    int PostStepInst();                            ///< the steps raise OnDeviceAboutToStep() first
    int PostStepInto();
    int PostStepOver();
    int PostStepOut();
    int PostRunTo(U32 Addr);
    int PostExecNovikCmd(const QByteArray& sCommand);

    int PostSetBreakpoint(U32 Addr, BP_STATES State, BP_TYPES Type);
    int PostSetBreakpoints(const QList<U32>& Addrs, BP_STATES State, BP_TYPES Type);
    int PostClearBreakpoint(U32 Addr);
    int PostClearBreakpoints(const QList<U32>& Addrs);
    int PostClearAllBreakpoints();
    int PostResetBreakpoints(); ///< hit counters to 0
    int PostSetWatchpoints(const QList<WP>& WPs);
    int PostClearWatchpoints(const QList<WP>& WPs);
    int PostClearAllWatchpoints();

    int PostReadReg(U32 Idx); ///< register index of the probe library
    int PostWriteReg(U32 Idx, I64 Value);
    int PostReadRegs(const QList<U32>& Idxs); ///< at most 64
    int PostReadCPR(const ARM_CPR& Reg);
    int PostWriteCPR(const ARM_CPR& Reg, U32 Value);
    int PostResetTargetExecState();
    int PostSetTargetExecState(const QList<I64>& RegVals);

    /// AccessWidth 0 automatic, 1, 2, 4; 255 and above: the value of VAR_ACCESS_WIDTH. Flags: MEM_FLAG_*.
    int PostReadMem(U32 Addr, U32 NumBytes, U32 ChunkSize, U32 AccessWidth, U32 Flags, bool IsProtected = false,
                    U64* pSeqNo = nullptr);
    int PostWriteMem(U32 Addr, const QByteArray& Data, U32 ChunkSize, U32 AccessWidth, U32 Flags);
    /// Data holds the bytes of all ranges, one behind the other.
    int PostWriteMemMultiple(const QList<MEM_RANGE>& Ranges, const QByteArray& Data, U32 ChunkSize, U32 AccessWidth,
                             U32 Flags);
    int PostEndDownload(bool DoHalt, const QByteArray& sFilePath);
    int PostReadLoc(const ELF_SYM_LOC& Loc, U32 NumBytes); ///< at most 8 bytes
    int PostReadLocs(const QList<ELF_SYM_LOC>& Locs, U64 Tag);
    int PostWriteLoc(const ELF_SYM_LOC& Loc, const QByteArray& Data);

    int PostDisassInsts(const QList<U32>& Addrs);
    /// paAddrs: an array for 1000 addresses that outlives the job and stays the caller's.
    int PostDisassArange(U32 Start, U32 End, U32* paAddrs, bool IsProtected);
    int PostDisassAranges(const QList<MEM_RANGE>& Ranges);

    int PostEnableInstTrace();
    int PostDisableInstTrace();
    int PostStartInstTrace();
    int PostStopInstTrace();
    int PostFlushInstTrace();
    int PostReadInstTrace();
    int PostReadInstStats(const QList<MEM_RANGE>& Ranges, U32 NumItems);
    int PostStartSWOTrace(U32 CpuHz, U32 SwoHz, U32 PortMask);
    int PostStopSWOTrace(U32 PortMask);
    int PostReadSWOTrace();
    int PostGetSWOCompatSpeeds(U32 CpuHz);
    int PostStartRTT();
    int PostStopRTT();
    int PostReadRTT();
    int PostWriteRTT(const QByteArray& Data);
    int PostStartHSS(const QList<MEM_RANGE>& Ranges, U32 IntervalUs);
    int PostStopHSS();
    int PostReadHSS();
    int PostSetSHInputText(const QByteArray& sText);

    int PostConfigure(const QByteArray& sXmlConfigStr);
    int PostSetConfigParam(DEV_CONFIG_PARAMS Param, int Value);
    int PostSetConfigParam(DEV_CONFIG_PARAMS Param, const QByteArray& sValue);
    int PostGetDeviceInfo(const QByteArray& sDeviceName);
    int PostMeasureCoreSpeed();

    /// Schedules a job that the caller has filled. Its buffers go over to the device, also on failure.
    int PostJob(Job& J);

private:
    int PostSimple(U32 Type, U64 Param0 = 0, U64 Param1 = 0, U64 Param2 = 0);
    int PostWithBuf(Job& J, const void* pBuf, U64 NumBytes);
    int PostStep(U32 Type);

    CJobQueue& m_Queue;
    CDeviceEvents& m_Events;
};
