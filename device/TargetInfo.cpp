#include "device/TargetInfo.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"

namespace {

constexpr U32 CORE_NAME_SIZE = 64;
constexpr U32 FIRMWARE_TEXT_SIZE = 256;
constexpr U32 VERSION_WITH_STREAMING_QUERY = 61000;
constexpr int DEFAULT_WEB_PORT = 19080;

template <class FUNC> FUNC* GetFunc(const NOVIK_FUNCS& Novik, U32 Id) {
    return reinterpret_cast<FUNC*>(Novik.NOVIK_GetpFunc(Id));
}

} // namespace

void CTargetInfo::ReadLibraryFacts() {
    m_T.Facts.LibVersion = m_T.Novik.sError.isEmpty() ? m_T.Novik.NOVIKARM_GetDLLVersion() : 0;
    m_T.Facts.LibPath.Set(m_T.Novik.sPath.toUtf8());
    m_T.Facts.DeviceCount = U32(std::max(0, m_T.Novik.NOVIKARM_DEVICE_GetInfo(-1, nullptr)));
}

int CTargetInfo::UpdateDeviceInfo() {
    m_T.Facts.Core = 0;
    m_T.Facts.Family = DF_UNKNOWN;
    m_Layout = {};
    int Index = m_T.Config.GetNumber(DEV_CFG_DEVICE);
    if (Index < 1) {
        Index = m_T.Novik.NOVIKARM_DEVICE_GetIndex(m_T.Config.GetText(DEV_CFG_DEVICE_NAME).constData());
    }
    if (Index < 1) {
        return -1;
    }
    NOVIKARM_DEVICE_INFO Record = {};
    Record.SizeOfStruct = sizeof(Record);
    if (m_T.Novik.NOVIKARM_DEVICE_GetInfo(Index, &Record) < 0) {
        return -1;
    }
    m_T.Config.SetText(DEV_CFG_DEVICE_NAME, Record.sName && *Record.sName ? Record.sName : "Unspecified");
    m_T.Facts.Core = Record.Core;
    m_T.Facts.Family = GetFamilyOfCore(Record.Core);
    m_T.Facts.InstSet = GetInstSetOfFamily(m_T.Facts.Family);
    m_T.Facts.RamAddr = Record.RAMAddr;
    m_T.Facts.RamSize = Record.RAMSize;
    char acName[CORE_NAME_SIZE + 1] = {};
    m_T.Novik.NOVIKARM_Core2CoreName(Record.Core, acName, CORE_NAME_SIZE);
    m_T.Facts.CoreName.Set(acName);
    UpdateLayout(Index, Record);
    return 0;
}

void CTargetInfo::UpdateLayout(int Index, const NOVIKARM_DEVICE_INFO& Record) {
    auto* pfLayout = GetFunc<NOVIK_DEVICE_LAYOUT_FUNC>(m_T.Novik, NOVIK_FUNC_DEVICE_LAYOUT);
    m_Layout.SizeOfStruct = sizeof(m_Layout);
    if (!pfLayout || pfLayout(Index, &m_Layout) < 0) {
        m_Layout.NumRegions = 2;
        m_Layout.aRegions[0] = {Record.MemAddr, Record.MemSize, 1};
        m_Layout.aRegions[1] = {Record.RAMAddr, Record.RAMSize, 0};
    }
}

int CTargetInfo::GetDeviceInfo(const char* sDeviceName, U32 BufSize, char* sOutCoreName) {
    NOVIKARM_DEVICE_INFO Record = {};
    Record.SizeOfStruct = sizeof(Record);
    const int Index = m_T.Novik.NOVIKARM_DEVICE_GetIndex(sDeviceName);
    if (Index < 0 || m_T.Novik.NOVIKARM_DEVICE_GetInfo(Index, &Record) < 0 || BufSize == 0) {
        return -1;
    }
    m_T.Novik.NOVIKARM_Core2CoreName(Record.Core, sOutCoreName, BufSize);
    return 0;
}

void CTargetInfo::UpdateNovikFuncPtrs() {
    pfBackgroundAccess = GetFunc<NOVIK_BMA_FUNC>(m_T.Novik, NOVIK_FUNC_BACKGROUND_MEM_ACCESS);
    pfEndian = GetFunc<NOVIK_ENDIAN_FUNC>(m_T.Novik, NOVIK_FUNC_GET_ENDIAN);
    pfWebInfo = GetFunc<NOVIK_WEB_INFO_FUNC>(m_T.Novik, NOVIK_FUNC_WEB_INFO);
    auto* pfGetDecoder = GetFunc<NOVIK_GET_DECODER_FUNC>(m_T.Novik, NOVIK_FUNC_GET_DECODER);
    auto* pfGetDisass = GetFunc<NOVIK_GET_DISASSEMBLER_FUNC>(m_T.Novik, NOVIK_FUNC_GET_DISASSEMBLER);
    void* pFunc = nullptr;
    pfDecode =
        pfGetDecoder && pfGetDecoder(m_T.Facts.Core, &pFunc) >= 0 ? reinterpret_cast<NOVIK_DECODER*>(pFunc) : nullptr;
    pFunc = nullptr;
    pfDisassemble = pfGetDisass && pfGetDisass(m_T.Facts.Core, &pFunc) >= 0
                        ? reinterpret_cast<NOVIK_DISASSEMBLER*>(pFunc)
                        : nullptr;
    m_T.ResetInstStore();
}

void CTargetInfo::ReadProbeFacts() {
    m_T.Facts.ProbeSerialNo = m_T.Novik.NOVIKARM_GetSN();
    char acText[FIRMWARE_TEXT_SIZE + 1] = {};
    m_T.Novik.NOVIKARM_GetFirmwareString(acText, FIRMWARE_TEXT_SIZE);
    QByteArray sText(acText);
    if (const qsizetype Cut = sText.indexOf("compiled"); Cut >= 0) {
        sText.truncate(Cut);
        while (sText.endsWith(' ')) {
            sText.chop(1);
        }
    }
    m_T.Facts.FirmwareText.Set(sText);
    m_T.Facts.DeviceCount = U32(std::max(0, m_T.Novik.NOVIKARM_DEVICE_GetInfo(-1, nullptr)));
    UpdateNovikFuncPtrs();
    m_T.Facts.WebUrl.Set(WebUrl());
}

// Versions that have the interface but don't tell its port use a fixed one.
QByteArray CTargetInfo::WebUrl() const {
    int Port = 0;
    if (pfWebInfo) {
        NOVIK_WEB_INFO Info = {};
        Info.SizeOfStruct = sizeof(Info);
        pfWebInfo(&Info);
        Port = Info.Port;
    }
    const U32 Version = m_T.Facts.LibVersion;
    if (Port == 0 && (Version == 62100 || Version == 62101 || Version < 62006)) {
        Port = DEFAULT_WEB_PORT;
    }
    return Port ? "http://127.0.0.1:" + QByteArray::number(Port) : QByteArray();
}

void CTargetInfo::UpdateHWCapabilityFlags() {
    if (!m_T.State.Connected) {
        return;
    }
    auto& Caps = m_T.State.Caps;
    for (CSharedValue<U8>& Cap : Caps) {
        Cap = 0;
    }
    Caps[CAP_BACKGROUND_MEM] = ReadBMACapability();
    Caps[CAP_SWO] = ReadSWOTraceCapability();
    Caps[CAP_STREAMING_TRACE] = ReadStreamingTraceCapability();
    Caps[CAP_TRACE_PINS] = 1;
    Caps[CAP_TRACE_BUFFER] = 1;
    Caps[CAP_TRACE_SWO] = 1;
    Caps[CAP_SECURITY_EXT] = ReadSecurityExtCapability();
}

bool CTargetInfo::ReadBMACapability() const { return !pfBackgroundAccess || pfBackgroundAccess() != 0; }

bool CTargetInfo::ReadSecurityExtCapability() const {
    U32 Value = 0;
    m_T.Novik.NOVIKARM_GetDebugInfo(NOVIK_DEBUGINFO_HAS_SECURITY_EXT, &Value);
    return Value > 0;
}

bool CTargetInfo::ReadSWOTraceCapability() {
    m_T.Facts.SwoError.Set(QByteArray());
    if (!m_T.State.Connected) {
        return true;
    }
    const char* sError = nullptr;
    if (!m_T.Facts.IsCortexM()) {
        sError = "SWO trace: not a Cortex-M target device";
    } else if (m_T.Config.GetNumber(DEV_CFG_TARGET_IF) != NOVIK_TIF_SWD) {
        sError = "SWO trace: target interface not set to SWD";
    } else if (!m_T.Novik.NOVIKARM_EMU_HasCapEx(NOVIK_CAP_SWO)) {
        sError = "Novik emulator does not support SWO.";
    }
    if (sError) {
        m_T.Facts.SwoError.Set(sError);
        m_T.LogWarn(sError);
    }
    return !sError;
}

bool CTargetInfo::ReadStreamingTraceCapability() const {
    if (!m_T.State.Connected) {
        return true;
    }
    U32 Caps = 0;
    if (m_T.Facts.LibVersion >= VERSION_WITH_STREAMING_QUERY) {
        m_T.Novik.NOVIKARM_RAWTRACE_Control(NOVIK_RAWTRACE_CMD_GET_CAPS, &Caps);
    }
    return (Caps & NOVIK_RAWTRACE_CAP_STREAMING) != 0;
}
