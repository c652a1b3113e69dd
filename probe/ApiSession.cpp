// Exported functions: identification, session, text commands.
#include "probe/DeviceTable.h"
#include "probe/Session.h"
#include "probe/sim/SimBackend.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Novik {

CProbeSession& CProbeSession::Get() {
    static CProbeSession Session;
    return Session;
}

CProbeSession::~CProbeSession() {
    if (pLogFile) {
        std::fclose(pLogFile);
    }
}

void CProbeSession::Put(NOVIK_LOG_FUNC* pfSink, const std::string& sText) {
    if (pfSink) {
        pfSink(sText.c_str());
    }
    if (pLogFile && (std::fprintf(pLogFile, "%s\n", sText.c_str()) < 0 || std::fflush(pLogFile) != 0)) {
        const std::string sReason = std::strerror(errno);
        std::fclose(pLogFile);
        pLogFile = nullptr;
        Error("Log file ended, could not write it: " + sReason);
    }
}

const CDeviceEntry& CProbeSession::GetDevice() const {
    return *CDeviceTable::Get().GetDevices()[static_cast<size_t>(Device)];
}

// What is not given up: faults of connects to come, and the log file, which covers all sessions.
void CProbeSession::ForgetAll() {
    pBackend.reset();
    Faults.Clear();
    IsSelected = IsConnected = IsBigEndian = HasSystemSpace = false;
    Device = 0;
    Speed = DEFAULT_SPEED;
    InitRegsOnReset = true;
    ResetDelay = 0;
    pfLog = pfWarn = pfError = nullptr;
}

void CopyText(char* sBuffer, size_t Size, const std::string& sText) {
    if (sBuffer && Size > 0) {
        const size_t Length = std::min(sText.size(), Size - 1);
        std::memcpy(sBuffer, sText.data(), Length);
        sBuffer[Length] = 0;
    }
}

} // namespace Novik

using namespace Novik;

uint32_t NOVIKARM_GetDLLVersion(void) { return VERSION; }

int32_t NOVIKARM_DEVICE_GetInfo(int32_t Index, NOVIKARM_DEVICE_INFO* pInfo) {
    const auto& Devices = CDeviceTable::Get().GetDevices();
    if (Index == -1 && !pInfo) {
        return static_cast<int32_t>(Devices.size());
    }
    if (Index < 0 || static_cast<size_t>(Index) >= Devices.size() || !pInfo || pInfo->SizeOfStruct < sizeof(*pInfo)) {
        return -1;
    }
    const CDeviceEntry& Device = *Devices[static_cast<size_t>(Index)];
    *pInfo = {};
    pInfo->SizeOfStruct = sizeof(*pInfo);
    pInfo->sName = Device.sName.c_str();
    pInfo->sManu = Device.sMaker.c_str();
    pInfo->Core = Device.Core;
    if (!Device.Memories.empty()) {
        const CMemRange* pFlash = Device.FirstOf(Sim::ERegion::Flash);
        const CMemRange& First = pFlash ? *pFlash : Device.Memories[0];
        pInfo->MemAddr = First.Addr;
        pInfo->MemSize = First.Size;
    }
    if (const CMemRange* pRam = Device.FirstOf(Sim::ERegion::Ram)) {
        pInfo->RAMAddr = pRam->Addr;
        pInfo->RAMSize = pRam->Size;
    }
    return 0;
}

int32_t NOVIKARM_DEVICE_GetIndex(const char* sDeviceName) {
    return sDeviceName ? CDeviceTable::Get().Find(sDeviceName) : -1;
}

void NOVIKARM_Core2CoreName(uint32_t Core, char* sBuffer, uint32_t BufferSize) {
    CopyText(sBuffer, BufferSize, GetCoreName(Core));
}

void NOVIKARM_GetFirmwareString(char* sBuffer, uint32_t BufferSize) {
    const CBackend* pBackend = CProbeSession::Get().pBackend.get();
    CopyText(sBuffer, BufferSize, pBackend ? pBackend->GetFirmware() : "");
}

uint32_t NOVIKARM_GetSN(void) {
    const CBackend* pBackend = CProbeSession::Get().pBackend.get();
    return pBackend ? pBackend->GetSerialNo() : 0;
}

int NOVIKARM_EMU_HasCapEx(int Capability) { return CProbeSession::Get().pBackend && Capability == NOVIK_CAP_SWO; }

int NOVIKARM_GetDebugInfo(uint32_t Id, uint32_t* pOut) {
    if (!pOut || Id != NOVIK_DEBUGINFO_HAS_SECURITY_EXT || !CProbeSession::Get().Target()) {
        return -1;
    }
    *pOut = CProbeSession::Get().GetDevice().Traits.HasSecurity;
    return 0;
}

int NOVIKARM_RAWTRACE_Control(uint32_t Cmd, uint32_t* pOut) {
    if (!pOut || Cmd != NOVIK_RAWTRACE_CMD_GET_CAPS) {
        return -1;
    }
    *pOut = NOVIK_RAWTRACE_CAP_STREAMING;
    return 0;
}

int8_t NOVIKARM_SelectUSB(int32_t Port) {
    CProbeSession::Get().IsSelected = Port == 0;
    return Port == 0 ? 0 : -1;
}

int32_t NOVIKARM_EMU_SelectByUSBSN(uint32_t SerialNo) {
    CProbeSession::Get().IsSelected = SerialNo == Sim::CSimBackend::SERIAL_NO;
    return CProbeSession::Get().IsSelected ? 0 : -1;
}

uint8_t NOVIKARM_SelectIP(const char*, int32_t) {
    CProbeSession::Get().IsSelected = false;
    return 1; // there is no backend for probes on the network
}

void NOVIKARM_EnableLog(NOVIK_LOG_FUNC* pfLog) { CProbeSession::Get().pfLog = pfLog; }

void NOVIKARM_SetWarnOutHandler(NOVIK_LOG_FUNC* pfWarn) { CProbeSession::Get().pfWarn = pfWarn; }

void NOVIKARM_SetErrorOutHandler(NOVIK_LOG_FUNC* pfError) { CProbeSession::Get().pfError = pfError; }

void NOVIKARM_SetLogFile(const char* sPath) {
    CProbeSession& Session = CProbeSession::Get();
    if (Session.pLogFile) {
        std::fclose(Session.pLogFile);
        Session.pLogFile = nullptr;
    }
    if (sPath && *sPath && !(Session.pLogFile = std::fopen(sPath, "w"))) {
        Session.Warn("Could not open log file \"" + std::string(sPath) + "\"");
    }
}

const char* NOVIKARM_Open(void) {
    CProbeSession& Session = CProbeSession::Get();
    if (Session.pBackend) {
        return nullptr;
    }
    if (!Session.IsSelected) {
        return "No probe selected";
    }
    for (const std::string& sError : CDeviceTable::Get().GetErrors()) {
        Session.Warn("Device table: " + sError);
    }
    Session.pBackend = std::make_unique<CFaultyBackend>(std::make_unique<Sim::CSimBackend>(), Session.Faults);
    Session.sOpenError = Session.pBackend->Open();
    if (!Session.sOpenError.empty()) {
        Session.pBackend.reset();
        return Session.sOpenError.c_str();
    }
    Session.Log("Opened probe " + std::to_string(Session.pBackend->GetSerialNo()));
    return nullptr;
}

uint8_t NOVIKARM_IsOpen(void) { return CProbeSession::Get().pBackend != nullptr; }

void NOVIKARM_Close(void) {
    CProbeSession& Session = CProbeSession::Get();
    if (Session.pBackend) {
        Session.pBackend->Close();
        Session.Log("Closed probe");
    }
    Session.ForgetAll();
}

int32_t NOVIKARM_ExecCommand(const char* sCommand, char* sError, int32_t ErrorSize) {
    std::string sText;
    if (!sCommand || std::strlen(sCommand) > NOVIK_EXEC_MAX_LEN) {
        sText = sCommand ? "Command is too long" : "No command";
    } else {
        ExecCommand(sCommand, sText);
    }
    CopyText(sError, ErrorSize > 0 ? static_cast<size_t>(ErrorSize) : 0, sText);
    return sText.empty() ? 0 : -1;
}

// The byte order of a core is fixed by its device; what the caller believes is only compared with it.
void NOVIKARM_SetEndian(int32_t Endian) {
    CProbeSession& Session = CProbeSession::Get();
    const bool IsBig = Session.GetDevice().IsBigEndian;
    if (Session.Device != 0 && (Endian == NOVIK_ENDIAN_BIG) != IsBig) {
        Session.Warn(Session.GetDevice().sName + " is " + (IsBig ? "big" : "little") + "-endian and stays so");
    }
}

void NOVIKARM_SetCoreIndex(uint32_t Index) {
    if (Index != 0) {
        CProbeSession::Get().Warn("The target has one core; core index " + std::to_string(Index) + " is ignored");
    }
}

void NOVIKARM_TIF_Select(int32_t Interface) {
    if (Interface != NOVIK_TIF_JTAG && Interface != NOVIK_TIF_SWD) {
        CProbeSession::Get().Warn("Target interface " + std::to_string(Interface) + " is not known");
    }
}

void NOVIKARM_ConfigJTAG(int32_t IRPre, int32_t DRPre) {
    if (IRPre != 0 || DRPre != 0) {
        CProbeSession::Get().Warn("The target is alone on its scan chain; its position is ignored");
    }
}

void NOVIKARM_SetSpeed(uint32_t Speed) {
    // Beyond the fastest only the two special values stand for themselves.
    CProbeSession::Get().Speed = Speed == NOVIK_SPEED_ADAPTIVE ? Speed : std::min(Speed, CProbeSession::MAX_SPEED);
}

uint32_t NOVIKARM_GetSpeed(void) { return CProbeSession::Get().Speed & 0xFFFF; }

int NOVIKARM_Connect(void) {
    CProbeSession& Session = CProbeSession::Get();
    if (!Session.pBackend) {
        return -1;
    }
    if (Session.IsConnected) {
        return 0;
    }
    const CDeviceEntry& Device = Session.GetDevice();
    const std::string sError = Session.Device == 0 ? "no device selected" : Session.pBackend->Connect(Device);
    if (!sError.empty()) {
        Session.Error("Could not connect to target: " + sError);
        return -1;
    }
    Session.IsConnected = true;
    Session.IsBigEndian = Device.IsBigEndian;
    Session.HasSystemSpace = Device.CanSimulate;
    Session.Log("Connected to " + Device.sName);
    return 0;
}

uint8_t NOVIKARM_IsConnected(void) { return CProbeSession::Get().IsConnected; }
