#pragma once

// What the target tells the rest of the program. Every window, the call stack, the data provider and the main window
// derive from CDeviceEventListener; each object enters itself in one global list and is told of each event in order
// of construction. Construction, destruction and all operations: main thread. Pointers are valid during the call.

#include "base/Log.h"
#include "device/DeviceTypes.h"
#include "device/Job.h"
#include "elf/ElfSymLoc.h"

class CDeviceEventListener {
public:
    CDeviceEventListener();
    CDeviceEventListener(const CDeviceEventListener&) = delete;
    CDeviceEventListener& operator=(const CDeviceEventListener&) = delete;
    virtual ~CDeviceEventListener();

    /// Dispatcher: calls the operation for the job and what follows from it.
    virtual void OnDeviceJobDone(Job* pJob);

    virtual void OnDeviceConnectDone(CONNECT_MODES) {}
    virtual void OnDeviceConnectFailed(CONNECT_MODES) {}
    virtual void OnDeviceConnectCanceled(CONNECT_MODES) {} ///< no job outcome raises it
    virtual void OnDeviceDisconnectDone() {}
    virtual void OnDeviceDisconnectFailed() {}
    virtual void OnDeviceResumeDone(RESUME_MODES) {}
    virtual void OnDeviceResumeFailed(RESUME_MODES) {}
    virtual void OnDeviceHaltDone(U32 /*PC*/, HALT_REASONS) {}
    virtual void OnDeviceHaltFailed() {}
    virtual void OnDeviceResetDone(U32 /*PC*/, RESET_MODES) {}
    virtual void OnDeviceResetFailed(U32 /*PC*/, RESET_MODES) {}
    virtual void OnDeviceRunToSymbolDone(U32 /*PC*/) {}
    virtual void OnDeviceRunToSymbolFailed(U32 /*PC*/) {}
    virtual void OnDeviceStepInstDone(U32 /*PC*/) {}
    virtual void OnDeviceStepInstFailed(U32 /*PC*/) {}
    virtual void OnDeviceStepIntoDone(U32 /*PC*/) {}
    virtual void OnDeviceStepIntoFailed(U32 /*PC*/) {}
    virtual void OnDeviceStepOverDone(U32 /*PC*/) {}
    virtual void OnDeviceStepOverFailed(U32 /*PC*/) {}
    virtual void OnDeviceStepOutDone(U32 /*PC*/) {}
    virtual void OnDeviceStepOutFailed(U32 /*PC*/) {}
    virtual void OnDeviceStepped(U32 /*PC*/) {} ///< after any of the four steps
    virtual void OnDeviceEndDownloadDone(const char* /*sFilePath*/) {}
    virtual void OnDeviceEndDownloadFailed(const char* /*sFilePath*/, int /*Result*/) {}
    virtual void OnDeviceReadMemDone(U32 /*Addr*/, U32 /*NumBytes*/, U8* /*paData*/, U8* /*paStatus*/) {}
    virtual void OnDeviceReadMemFailed(U32 /*Addr*/, U32 /*NumBytes*/) {}
    virtual void OnDeviceWriteMemDone(U32 /*Addr*/, U32 /*NumBytes*/, U8* /*paData*/) {}
    virtual void OnDeviceWriteMemFailed(U32 /*Addr*/, U32 /*NumBytes*/, U8* /*paData*/) {}
    virtual void OnDeviceWriteMemMultipleDone(U32 /*Cnt*/, U32* /*paAddrRanges*/, U8* /*paData*/) {}
    virtual void OnDeviceWriteMemMultipleFailed(U32 /*Cnt*/, U32* /*paAddrRanges*/, U8* /*paData*/) {}
    virtual void OnDeviceReadRegDone(U32 /*Idx*/, I64 /*Value*/) {}
    virtual void OnDeviceReadRegFailed(U32 /*Idx*/) {}
    virtual void OnDeviceReadCPRDone(ARM_CPR* /*pReg*/, I64 /*Value*/) {}
    virtual void OnDeviceReadCPRFailed(ARM_CPR* /*pReg*/) {}
    virtual void OnDeviceWriteRegDone(U32 /*Idx*/, I64 /*Value*/) {}
    virtual void OnDeviceWriteRegFailed(U32 /*Idx*/) {}
    virtual void OnDeviceWriteCPRDone(ARM_CPR* /*pReg*/, I64 /*Value*/) {}
    virtual void OnDeviceWriteCPRFailed(ARM_CPR* /*pReg*/) {}
    virtual void OnDeviceReadRegsDone(U32 /*Cnt*/, U32* /*paRegs*/, I64* /*paValues*/) {}
    virtual void OnDeviceReadRegsFailed(U32 /*Cnt*/, U32* /*paRegs*/, I64* /*paValues*/) {}
    virtual void OnDeviceReadLocDone(ELF_SYM_LOC, U32 /*NumBytes*/, U8* /*pData*/) {}
    virtual void OnDeviceReadLocFailed(ELF_SYM_LOC, U32 /*NumBytes*/) {}
    virtual void OnDeviceReadLocsDone(U32 /*Cnt*/, ELF_SYM_LOC* /*paLocs*/, I64* /*paValues*/, U64 /*Tag*/) {}
    virtual void OnDeviceReadLocsFailed(U32 /*Cnt*/, ELF_SYM_LOC* /*paLocs*/, U64 /*Tag*/) {}
    virtual void OnDeviceWriteLocDone(ELF_SYM_LOC, U32 /*NumBytes*/) {}
    virtual void OnDeviceWriteLocFailed(ELF_SYM_LOC, U32 /*NumBytes*/) {}
    virtual void OnDeviceEnableInstTraceDone() {}
    virtual void OnDeviceEnableInstTraceFailed() {}
    virtual void OnDeviceDisableInstTraceDone() {}
    virtual void OnDeviceDisableInstTraceFailed() {}
    virtual void OnDeviceStartInstTraceDone() {}
    virtual void OnDeviceStartInstTraceFailed() {}
    virtual void OnDeviceStopInstTraceDone() {}
    virtual void OnDeviceStopInstTraceFailed() {}
    virtual void OnDeviceFlushInstTraceDone() {}
    virtual void OnDeviceFlushInstTraceFailed() {}
    virtual void OnDeviceReadInstStatsDone(U32 /*NumRanges*/, U32* /*paRanges*/, I64 /*Cnt*/, I64 /*TotalFetched*/,
                                           I64 /*TotalSkipped*/, void* /*paFetched*/, void* /*paSkipped*/) {}
    virtual void OnDeviceReadInstStatsFailed(U32 /*NumRanges*/, U32* /*paRanges*/) {}
    virtual void OnDeviceReadInstTraceDone(U32 /*MaxCnt*/, I64 /*Cnt*/, bool /*AllRead*/, bool /*HasRun*/,
                                           U32* /*paAddrs*/) {}
    virtual void OnDeviceReadInstTraceFailed(U32 /*MaxCnt*/) {}
    virtual void OnDeviceStartSWOTraceDone(U32 /*CpuHz*/, U32 /*SwoHz*/, U32 /*PortMask*/) {}
    virtual void OnDeviceStartSWOTraceFailed(U32 /*CpuHz*/, U32 /*SwoHz*/, U32 /*PortMask*/) {}
    virtual void OnDeviceStopSWOTraceDone(U32 /*PortMask*/) {}
    virtual void OnDeviceStopSWOTraceFailed(U32 /*PortMask*/) {}
    virtual void OnDeviceReadSWOTraceDone(U32 /*Port*/, U32 /*MaxBytes*/, I64 /*NumBytes*/, U8* /*paData*/) {}
    virtual void OnDeviceReadSWOTraceFailed(U32 /*Port*/, U32 /*MaxBytes*/) {}
    virtual void OnDeviceSWOCompatSpeedsDone(U32 /*CpuHz*/, U32 /*Cnt*/, U32* /*paSpeeds*/) {}
    virtual void OnDeviceSWOCompatSpeedsFailed(U32 /*CpuHz*/, U32 /*Cnt*/, U32* /*paSpeeds*/) {}
    virtual void OnDeviceStartHSSDone(U32 /*Cnt*/, U32* /*paRanges*/, U32 /*IntervalUs*/) {}
    virtual void OnDeviceStartHSSFailed(U32 /*Cnt*/, U32* /*paRanges*/, U32 /*IntervalUs*/) {}
    virtual void OnDeviceStopHSSDone() {}
    virtual void OnDeviceStopHSSFailed() {}
    virtual void OnDeviceReadHSSDone(U32 /*MaxBytes*/, I64 /*NumBytes*/, U8* /*paData*/) {}
    virtual void OnDeviceReadHSSFailed(U32 /*MaxBytes*/) {}
    virtual void OnDeviceStartRTTDone() {}
    virtual void OnDeviceStartRTTFailed() {}
    virtual void OnDeviceStopRTTDone() {}
    virtual void OnDeviceStopRTTFailed() {}
    virtual void OnDeviceWriteRTTDone(U32 /*Buffer*/, U32 /*NumBytes*/, U8* /*paData*/) {}
    virtual void OnDeviceWriteRTTFailed(U32 /*Buffer*/, U32 /*NumBytes*/, I64 /*NumWritten*/, U8* /*paData*/) {}
    virtual void OnDeviceReadRTTDone(U32 /*Buffer*/, U32 /*MaxBytes*/, I64 /*NumBytes*/, U8* /*paData*/) {}
    virtual void OnDeviceReadRTTFailed(U32 /*Buffer*/, U32 /*MaxBytes*/) {}
    virtual void OnDeviceSetSHInputTextDone(U32 /*Len*/, const char* /*sText*/) {}
    virtual void OnDeviceSetSHInputTextFailed(U32 /*Len*/, const char* /*sText*/) {}
    virtual void OnDeviceSetBPDone(U32 /*Addr*/) {}
    virtual void OnDeviceSetBPFailed(U32 /*Addr*/) {}
    virtual void OnDeviceSetBPsDone(U32 /*Cnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceSetBPsFailed(U32 /*Cnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceClearBPDone(U32 /*Addr*/) {}
    virtual void OnDeviceClearBPFailed(U32 /*Addr*/) {}
    virtual void OnDeviceClearBPsDone(U32 /*Cnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceClearBPsFailed(U32 /*Cnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceClearAllBPsDone() {}
    virtual void OnDeviceClearAllBPsFailed() {}
    virtual void OnDeviceResetBPsDone() {}
    virtual void OnDeviceResetBPsFailed() {}
    virtual void OnDeviceSetWPsDone(U32 /*Cnt*/, WP* /*paWPs*/) {}
    virtual void OnDeviceSetWPsFailed(U32 /*Cnt*/, WP* /*paWPs*/) {}
    virtual void OnDeviceClearWPsDone(U32 /*Cnt*/, WP* /*paWPs*/) {}
    virtual void OnDeviceClearWPsFailed(U32 /*Cnt*/, WP* /*paWPs*/) {}
    virtual void OnDeviceClearAllWPsDone() {}
    virtual void OnDeviceClearAllWPsFailed() {}
    virtual void OnDeviceConfigureDone(const char* /*sXmlConfigStr*/) {}
    virtual void OnDeviceConfigureFailed(const char* /*sXmlConfigStr*/) {}
    virtual void OnDeviceSetConfigParamTextDone(DEV_CONFIG_PARAMS, const char* /*sValue*/) {}
    virtual void OnDeviceSetConfigParamDone(DEV_CONFIG_PARAMS, int /*Value*/) {}
    virtual void OnDeviceSetConfigParamTextFailed(DEV_CONFIG_PARAMS, const char* /*sValue*/) {}
    virtual void OnDeviceSetConfigParamFailed(DEV_CONFIG_PARAMS, int /*Value*/) {}
    virtual void OnDeviceExecNovikCmdDone(const char* /*sCommand*/) {}
    virtual void OnDeviceExecNovikCmdFailed(const char* /*sCommand*/, const char* /*sError*/) {}
    virtual void OnDeviceSetTargetExecStateDone(U32 /*Cnt*/, I64* /*paRegVals*/) {}
    virtual void OnDeviceSetTargetExecStateFailed(U32 /*Cnt*/, I64* /*paRegVals*/) {}
    virtual void OnDeviceResetTargetExecStateDone() {}
    virtual void OnDeviceResetTargetExecStateFailed() {}
    virtual void OnDeviceDisassInstsDone(U32 /*Cnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceDisassInstsFailed(U32 /*Cnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceDisassArangeDone(U32 /*Start*/, U32 /*End*/, U32 /*MaxCnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceDisassArangeFailed(U32 /*Start*/, U32 /*End*/, U32 /*MaxCnt*/, U32* /*paAddrs*/) {}
    virtual void OnDeviceDisassArangesDone(U32 /*Cnt*/, U32* /*paAddrRanges*/) {}
    virtual void OnDeviceDisassArangesFailed(U32 /*Cnt*/, U32* /*paAddrRanges*/) {}
    virtual void OnDeviceGetDeviceInfoDone(const char* /*sDeviceName*/, const char* /*sCoreName*/) {}
    virtual void OnDeviceGetDeviceInfoFailed(const char* /*sDeviceName*/) {}
    virtual void OnDeviceMeasureCoreSpeedDone(I64 /*SpeedHz*/) {}
    virtual void OnDeviceMeasureCoreSpeedFailed() {}

    virtual void OnDeviceEvalBPCondition(U32 /*Addr*/) {}
    virtual void OnDeviceConfigParamChanged(int /*Param*/, int /*Value*/) {}
    virtual void OnDeviceCapabilityChanged(int /*Capability*/, int /*Value*/) {}
    virtual void OnDeviceConnectionLost() {}
    virtual void OnDeviceAboutToDisconnect() {}
    virtual void OnDeviceAboutToStep() {}
    virtual void OnDeviceAboutToResume() {}
    virtual void OnDeviceCPUModeChanged(ARM_CPU_MODES) {}
    virtual void OnDeviceExecModeChanged(ARM_EXEC_MODES) {}
    virtual void OnDeviceEndianessChanged(int /*DataEndian*/, int /*InstEndian*/) {}
    virtual void OnDeviceReserved() {} ///< keeps the place of slot 136
    virtual void OnDeviceLogMsg(const char* /*sMsg*/, MSG_INFO_FLAGS) {}
    virtual void OnDeviceSetStatusMsg(const char* /*sMsg*/) {}
    virtual void OnDeviceSetProgressMsg(const char* /*sMsg*/) {}
    virtual void OnDeviceStartProgress(int /*Min*/, int /*Max*/) {}
    virtual void OnDeviceEndProgress() {}
    virtual void OnDeviceSetProgressValue(int /*Value*/) {}
    virtual void OnDeviceWPStateChanged() {}
    virtual void OnDeviceBPStateChanged() {}
    virtual void OnDeviceWriteAccess() {} ///< before the operation of a write to the target

    /// Calls Fn for every listener, in order of construction. Listeners may come and go meanwhile.
    template <class FN> static void ForEach(FN&& Fn) {
        Lock();
        for (int i = 0; i < Count(); i++) {
            if (CDeviceEventListener* pListener = At(i)) {
                Fn(*pListener);
            }
        }
        Unlock();
    }

private:
    static void Lock(); ///< from here on a listener that goes away leaves a hole in the list
    static void Unlock();
    static int Count();
    static CDeviceEventListener* At(int Index);
};
