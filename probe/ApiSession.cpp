// Exported functions: identification, session, text commands.
#include "probe/DeviceTable.h"
#include "probe/Session.h"
#include "probe/sim/SimBackend.h"

#include <cstring>
#include <fstream>
#include <strings.h>

namespace Novik {

CSession& CSession::Get() {
    static CSession Session;
    return Session;
}

CSession::~CSession() {
    if (pLogFile) {
        std::fclose(pLogFile);
    }
}

void CSession::Put(NOVIK_LOG_FUNC* pfSink, const std::string& sText) {
    if (pfSink) {
        pfSink(sText.c_str());
    }
    if (pLogFile) {
        std::fprintf(pLogFile, "%s\n", sText.c_str());
        std::fflush(pLogFile);
    }
}

void CopyText(char* sBuffer, size_t Size, const std::string& sText) {
    if (sBuffer && Size > 0) {
        const size_t Length = std::min(sText.size(), Size - 1);
        std::memcpy(sBuffer, sText.data(), Length);
        sBuffer[Length] = 0;
    }
}

namespace {

void SelectDevice(const std::string& sName, std::string& sError) {
    const int Index = CDeviceTable::Get().Find(sName);
    if (Index < 0) {
        sError = "Unknown device \"" + sName + "\"";
        return;
    }
    CSession::Get().Device = Index;
}

void RunScript(const std::string& sPath, std::string& sError, int Depth) {
    constexpr int MAX_DEPTH = 8; // a script can name another one
    std::ifstream File(sPath);
    std::string sLine;
    if (!File || Depth >= MAX_DEPTH) {
        sError = File ? "Scripts are nested too deep" : "Could not open script \"" + sPath + "\"";
        return;
    }
    for (int Line = 1; sError.empty() && std::getline(File, sLine); Line++) {
        const size_t First = sLine.find_first_not_of(" \t\r");
        if (First == std::string::npos || sLine[First] == '#' || sLine.compare(First, 2, "//") == 0) {
            continue;
        }
        ExecCommand(sLine.substr(First), sError, Depth + 1);
        if (!sError.empty()) {
            sError = sPath + ":" + std::to_string(Line) + ": " + sError;
        }
    }
}

bool ExecSessionCommand(const std::string& sName, const std::string& sArgs, std::string& sError, int Depth) {
    const auto Is = [&](const char* sOther) { return strcasecmp(sName.c_str(), sOther) == 0; };
    if (Is(NOVIK_EXEC_DEVICE)) {
        SelectDevice(sArgs, sError);
    } else if (Is(NOVIK_EXEC_SCRIPT_FILE)) {
        RunScript(sArgs, sError, Depth);
    } else {
        // The library shows no dialogs, and the simulator's trace has no lines to adjust.
        return Is(NOVIK_EXEC_HIDE_DEVICE_SELECTION) || Is(NOVIK_EXEC_TRACE_SAMPLE_ADJUST) ||
               Is(NOVIK_EXEC_SELECT_TRACE_SOURCE) || Is(NOVIK_EXEC_PORT_WIDTH);
    }
    return true;
}

} // namespace

void ExecCommand(const std::string& sCommand, std::string& sError, int Depth) {
    CSession& Session = CSession::Get();
    const size_t End = std::min(sCommand.find_first_of(" \t="), sCommand.size());
    const std::string sName = sCommand.substr(0, End);
    size_t First = sCommand.find_first_not_of(" \t", End);
    if (First != std::string::npos && sCommand[First] == '=') {
        First = sCommand.find_first_not_of(" \t", First + 1);
    }
    std::string sArgs = First == std::string::npos ? "" : sCommand.substr(First);
    sArgs.erase(sArgs.find_last_not_of(" \t\r\n") + 1);
    if (sArgs.size() >= 2 && sArgs.front() == '"' && sArgs.back() == '"') {
        sArgs = sArgs.substr(1, sArgs.size() - 2);
    }
    if (ExecSessionCommand(sName, sArgs, sError, Depth) || Session.Faults.Exec(sName, sArgs, sError)) {
        return;
    }
    if (!Session.pBackend || !Session.pBackend->Exec(sName, sArgs, sError)) {
        sError = "Unknown command \"" + sName + "\"" + (Session.pBackend ? "" : " (the probe is not open)");
    }
}

} // namespace Novik

using namespace Novik;

uint32_t NOVIKARM_GetDLLVersion(void) {
    return VERSION;
}

int32_t NOVIKARM_DEVICE_GetInfo(int32_t Index, NOVIKARM_DEVICE_INFO* pInfo) {
    const auto& Devices = CDeviceTable::Get().GetDevices();
    if (Index == -1 && !pInfo) {
        return static_cast<int32_t>(Devices.size());
    }
    if (Index < 0 || static_cast<size_t>(Index) >= Devices.size() || !pInfo || pInfo->SizeOfStruct < sizeof(*pInfo)) {
        return -1;
    }
    const CDevice& Device = *Devices[static_cast<size_t>(Index)];
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
    const CBackend* pBackend = CSession::Get().pBackend.get();
    CopyText(sBuffer, BufferSize, pBackend ? pBackend->GetFirmware() : "");
}

uint32_t NOVIKARM_GetSN(void) {
    const CBackend* pBackend = CSession::Get().pBackend.get();
    return pBackend ? pBackend->GetSerialNo() : 0;
}

int NOVIKARM_EMU_HasCapEx(int Capability) {
    return CSession::Get().pBackend && Capability == NOVIK_CAP_SWO;
}

int NOVIKARM_GetDebugInfo(uint32_t Id, uint32_t* pOut) {
    if (!pOut || Id != NOVIK_DEBUGINFO_HAS_SECURITY_EXT || !CSession::Get().Target()) {
        return -1;
    }
    *pOut = CDeviceTable::Get().GetDevices()[static_cast<size_t>(CSession::Get().Device)]->Traits.HasSecurity;
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
    CSession::Get().IsSelected = Port == 0;
    return Port == 0 ? 0 : -1;
}

int32_t NOVIKARM_EMU_SelectByUSBSN(uint32_t SerialNo) {
    CSession::Get().IsSelected = SerialNo == Sim::CSimBackend::SERIAL_NO;
    return CSession::Get().IsSelected ? 0 : -1;
}

uint8_t NOVIKARM_SelectIP(const char*, int32_t) {
    CSession::Get().IsSelected = false;
    return 1; // there is no backend for probes on the network
}

void NOVIKARM_EnableLog(NOVIK_LOG_FUNC* pfLog) {
    CSession::Get().pfLog = pfLog;
}

void NOVIKARM_SetWarnOutHandler(NOVIK_LOG_FUNC* pfWarn) {
    CSession::Get().pfWarn = pfWarn;
}

void NOVIKARM_SetErrorOutHandler(NOVIK_LOG_FUNC* pfError) {
    CSession::Get().pfError = pfError;
}

void NOVIKARM_SetLogFile(const char* sPath) {
    CSession& Session = CSession::Get();
    if (Session.pLogFile) {
        std::fclose(Session.pLogFile);
        Session.pLogFile = nullptr;
    }
    if (sPath && *sPath && !(Session.pLogFile = std::fopen(sPath, "w"))) {
        Session.Warn("Could not open log file \"" + std::string(sPath) + "\"");
    }
}

const char* NOVIKARM_Open(void) {
    CSession& Session = CSession::Get();
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

uint8_t NOVIKARM_IsOpen(void) {
    return CSession::Get().pBackend != nullptr;
}

void NOVIKARM_Close(void) {
    CSession& Session = CSession::Get();
    if (Session.pBackend) {
        Session.pBackend->Close();
        Session.pBackend.reset();
        Session.Log("Closed probe");
    }
    Session.IsConnected = false;
    Session.Faults.Clear();
    Session.Device = 0;
    Session.Speed = 4000;
    Session.Endian = NOVIK_ENDIAN_LITTLE;
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

void NOVIKARM_SetEndian(int32_t Endian) {
    CSession::Get().Endian = Endian;
}

void NOVIKARM_SetCoreIndex(uint32_t Index) {
    if (Index != 0) {
        CSession::Get().Warn("The target has one core; core index " + std::to_string(Index) + " is ignored");
    }
}

void NOVIKARM_TIF_Select(int32_t) {}

void NOVIKARM_ConfigJTAG(int32_t, int32_t) {}

void NOVIKARM_SetSpeed(uint32_t Speed) {
    CSession::Get().Speed = Speed;
}

uint32_t NOVIKARM_GetSpeed(void) {
    return CSession::Get().Speed & 0xFFFF;
}

int NOVIKARM_Connect(void) {
    CSession& Session = CSession::Get();
    if (!Session.pBackend) {
        return -1;
    }
    if (Session.IsConnected) {
        return 0;
    }
    const CDevice& Device = *CDeviceTable::Get().GetDevices()[static_cast<size_t>(Session.Device)];
    const std::string sError = Session.Device == 0 ? "no device selected" : Session.pBackend->Connect(Device);
    if (!sError.empty()) {
        Session.Error("Could not connect to target: " + sError);
        return -1;
    }
    Session.IsConnected = true;
    Session.Log("Connected to " + Device.sName);
    return 0;
}

uint8_t NOVIKARM_IsConnected(void) {
    return CSession::Get().IsConnected;
}
