#include "device/TargetStreams.h"

#include "device/NovikFuncs.h"
#include "device/Target.h"

void CTargetStreams::StopAll() {
    m_T.Novik.NOVIK_RTTERMINAL_Control(NOVIK_RTT_CMD_STOP, nullptr);
    m_T.Novik.NOVIK_HSS_Stop();
    m_T.Novik.NOVIKARM_SWO_DisableTarget(NOVIK_HANDLE_ALL);
    m_T.Novik.NOVIK_STRACE_Stop();
}
