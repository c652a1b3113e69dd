// Exported functions: data streams.
#include "probe/Session.h"

using namespace Novik;

namespace {

CBackend* Target() { return CProbeSession::Get().Target(); }

constexpr uint32_t MAX_BYTES = 0x7FFFFFFF;

} // namespace

int32_t NOVIK_RTTERMINAL_Control(uint32_t Cmd, void*) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->RttControl(Cmd) : -1;
}

int32_t NOVIK_RTTERMINAL_Read(uint32_t BufferIndex, char* pData, uint32_t NumBytes) {
    CBackend* pTarget = Target();
    return pTarget && pData && NumBytes <= MAX_BYTES ? pTarget->RttRead(BufferIndex, pData, NumBytes) : -1;
}

int32_t NOVIK_RTTERMINAL_Write(uint32_t BufferIndex, const char* pData, uint32_t NumBytes) {
    CBackend* pTarget = Target();
    return pTarget && pData && NumBytes <= MAX_BYTES ? pTarget->RttWrite(BufferIndex, pData, NumBytes) : -1;
}

int32_t NOVIK_HSS_Start(const NOVIK_HSS_MEM_BLOCK* pBlocks, int32_t Count, int32_t Period, int32_t) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->HssStart(pBlocks, Count, Period) : NOVIK_HSS_ERR_UNSPECIFIED;
}

int32_t NOVIK_HSS_Stop(void) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->HssStop() : -1;
}

int32_t NOVIK_HSS_Read(void* pData, uint32_t NumBytes) {
    CBackend* pTarget = Target();
    return pTarget && pData && NumBytes <= MAX_BYTES ? pTarget->HssRead(pData, NumBytes) : -1;
}

int32_t NOVIKARM_SWO_EnableTarget(uint32_t CpuHz, uint32_t SwoHz, int32_t, uint32_t PortMask) {
    CBackend* pTarget = Target();
    return pTarget && CpuHz && SwoHz && SwoHz <= CpuHz ? pTarget->SwoEnable(PortMask) : -1;
}

int32_t NOVIKARM_SWO_DisableTarget(uint32_t PortMask) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->SwoDisable(PortMask) : -1;
}

int32_t NOVIKARM_SWO_Control(uint32_t Cmd, uint32_t* pNumBytes) {
    CBackend* pTarget = Target();
    return pTarget && Cmd == NOVIK_SWO_CMD_FLUSH ? pTarget->SwoFlush(pNumBytes) : -1;
}

int32_t NOVIKARM_SWO_ReadStimulus(uint32_t Port, uint8_t* pData, uint32_t NumBytes) {
    CBackend* pTarget = Target();
    return pTarget && pData && NumBytes <= MAX_BYTES ? pTarget->SwoRead(Port, pData, NumBytes) : -1;
}

// The trace unit divides the CPU clock by an integer; a probe follows up to about 4.5 MHz.
int32_t NOVIKARM_SWO_GetCompatibleSpeeds(uint32_t CpuHz, uint32_t MaxSpeed, uint32_t* pSpeeds, uint32_t Count) {
    constexpr uint32_t MAX_SWO_HZ = 4500000;
    const uint32_t Limit = MaxSpeed ? MaxSpeed : MAX_SWO_HZ;
    int32_t Found = 0;
    for (uint32_t Divider = CpuHz / Limit + (CpuHz % Limit ? 1 : 0); pSpeeds && CpuHz && Divider <= 8192; Divider++) {
        if (static_cast<uint32_t>(Found) == Count) {
            break;
        }
        if (Divider) {
            pSpeeds[Found++] = CpuHz / Divider;
        }
    }
    return Found;
}

int32_t NOVIKARM_MeasureCPUSpeedEx(uint32_t RAMAddr, int32_t, int32_t) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->MeasureCpuSpeed(RAMAddr) : -1;
}

void NOVIK_STRACE_Config(const char* sConfig) {
    std::string sError;
    if (!ExecTraceCommand(sConfig ? sConfig : "", sError)) {
        sError = "Unknown trace setting \"" + std::string(sConfig ? sConfig : "") + "\"";
    }
    if (!sError.empty()) {
        CProbeSession::Get().Warn(sError);
    }
}

int32_t NOVIK_STRACE_Start(void) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->TraceStart() : -1;
}

int32_t NOVIK_STRACE_Stop(void) {
    CBackend* pTarget = Target();
    return pTarget ? pTarget->TraceStop() : -1;
}

int32_t NOVIK_STRACE_Read(uint32_t* pAddrs, uint32_t Count) {
    CBackend* pTarget = Target();
    return pTarget && pAddrs ? pTarget->TraceRead(pAddrs, Count) : -1;
}

int32_t NOVIK_STRACE_GetInstStats(NOVIK_STRACE_INST_STAT* pOut, uint32_t Addr, uint32_t Count, uint32_t ItemSize,
                                  uint32_t) {
    CBackend* pTarget = Target();
    const bool IsGood = pTarget && pOut && ItemSize == sizeof(*pOut) && Count <= MAX_BYTES;
    return IsGood ? pTarget->TraceStats(pOut, Addr, Count) : -1;
}
