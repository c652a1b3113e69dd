#include "device/TargetConnection.h"

#include "device/DeviceEvents.h"
#include "device/NovikFuncs.h"
#include "device/Target.h"

#include <atomic>

namespace {

constexpr U32 HZ_PER_KHZ = 1000;
constexpr int SPEED_ADAPTIVE = 65535;
constexpr int HOST_IF_USB = 1;
constexpr int HOST_IF_IP = 2;
constexpr U32 ERROR_TEXT_SIZE = 512;
constexpr U32 CPSR_E_BIT = 1u << 9; ///< data endianness of the core

// The library's texts have no context; they belong to the device that opened it last.
std::atomic<CDeviceEvents*> _pLogTarget{nullptr};

void PostLibraryText(const char* sText, U32 Level) {
    CDeviceEvents* pEvents = _pLogTarget;
    if (pEvents && sText) {
        pEvents->LogText(MSG_TO_ALL | MSG_FROM_NOVIK | Level, sText);
    }
}

void OnLibraryLog(const char* sText) { PostLibraryText(sText, MSG_INFO); }
void OnLibraryWarning(const char* sText) { PostLibraryText(sText, MSG_WARNING); }
void OnLibraryError(const char* sText) { PostLibraryText(sText, MSG_ERROR); }

} // namespace

int CTargetConnection::Configure(const char* sXmlConfigStr) {
    QList<DEV_CONFIG_PAIR> Pairs;
    QByteArray sError;
    if (!CDeviceConfig::Parse(sXmlConfigStr, &Pairs, &sError)) {
        m_T.Events.Log(DEV_LOG_WARN, "Configure: invalid configuration text: %s", sError.constData());
        return -1;
    }
    for (const DEV_CONFIG_PAIR& Pair : Pairs) {
        if (Pair.Param >= DEV_CFG_HOST_NAME) {
            SetConfigParam(Pair.Param, Pair.sText.constData());
        } else if (Pair.Param == DEV_CFG_DEVICE) {
            m_T.Config.SetText(DEV_CFG_DEVICE_NAME, Pair.sText);
            SetConfigParam(DEV_CFG_DEVICE,
                           Pair.sText.isEmpty() ? -1 : m_T.Novik.NOVIKARM_DEVICE_GetIndex(Pair.sText.constData()));
        } else {
            SetConfigParam(Pair.Param, Pair.Number);
        }
    }
    return 0;
}

int CTargetConnection::SetConfigParam(DEV_CONFIG_PARAMS Param, int Value) {
    if (!m_T.Config.SetNumber(Param, Value)) {
        return -1;
    }
    switch (Param) {
    case DEV_CFG_SPEED:
    case DEV_CFG_MAX_SPEED:
    case DEV_CFG_ADAPTIVE:
        ApplySpeed(Param, Value);
        break;
    case DEV_CFG_DEVICE:
        m_T.Info.UpdateDeviceInfo();
        m_T.Info.UpdateNovikFuncPtrs();
        break;
    case DEV_CFG_ENDIAN:
        ApplyDataEndianess(ARM_ENDIAN(Value));
        break;
    default:
        break;
    }
    m_T.Config.RebuildXml();
    m_T.Events.Post(DEV_EVENT_CONFIG_PARAM_CHANGED, U64(Param), U64(Value));
    return 0;
}

int CTargetConnection::SetConfigParam(DEV_CONFIG_PARAMS Param, const char* sValue) {
    if (!m_T.Config.SetText(Param, sValue)) {
        return -1;
    }
    if (Param == DEV_CFG_DEVICE_NAME) {
        SetConfigParam(DEV_CFG_DEVICE, *sValue ? m_T.Novik.NOVIKARM_DEVICE_GetIndex(sValue) : -1);
    } else if (Param == DEV_CFG_LOG_FILE) {
        m_T.Novik.NOVIKARM_SetLogFile(sValue);
    }
    m_T.Config.RebuildXml();
    m_T.Events.Post(DEV_EVENT_CONFIG_PARAM_CHANGED, U64(Param), 0);
    return 0;
}

// Speed, "use the maximum" and "adaptive" are three views of one value.
void CTargetConnection::ApplySpeed(DEV_CONFIG_PARAMS Param, int Value) {
    if (Param == DEV_CFG_SPEED) {
        m_T.Config.SetNumber(DEV_CFG_MAX_SPEED, Value == 0);
        m_T.Config.SetNumber(DEV_CFG_ADAPTIVE, Value == SPEED_ADAPTIVE);
    } else if (Value > 0) {
        m_T.Config.SetNumber(DEV_CFG_SPEED, Param == DEV_CFG_ADAPTIVE ? SPEED_ADAPTIVE : 0);
    }
    if (m_T.State.Connected) {
        const int Speed = m_T.Config.GetNumber(DEV_CFG_SPEED);
        const bool IsKeyword = Speed == 0 || Speed == SPEED_ADAPTIVE;
        m_T.Novik.NOVIKARM_SetSpeed(IsKeyword ? U32(Speed) : U32(Speed) / HZ_PER_KHZ);
        UpdateTIFSpeed();
    }
}

void CTargetConnection::UpdateTIFSpeed() {
    const U32 Speed = m_T.Novik.NOVIKARM_GetSpeed() & 0xFFFF;
    m_T.State.InterfaceSpeed = Speed == 0 || Speed == NOVIK_SPEED_ADAPTIVE ? Speed : Speed * HZ_PER_KHZ;
}

void CTargetConnection::ResetState() { m_T.State.Reset(); }

int CTargetConnection::SelectHostIF() {
    const int HostIF = m_T.Config.GetNumber(DEV_CFG_HOST_IF);
    if (HostIF == HOST_IF_IP) {
        if (m_T.Novik.NOVIKARM_SelectIP(m_T.Config.GetText(DEV_CFG_HOST_NAME).constData(), 0) == 1) {
            m_T.LogWarn("Connect: error during configuration of IP interface");
            return -1;
        }
        return 0;
    }
    if (HostIF != HOST_IF_USB) {
        m_T.LogWarn("Connect: unknown host interface");
        return -1;
    }
    const int SerialNo = m_T.Config.GetNumber(DEV_CFG_USB_SN);
    const bool UseSerialNo = m_T.Config.GetNumber(DEV_CFG_USE_SN) && SerialNo > 0;
    if ((UseSerialNo ? m_T.Novik.NOVIKARM_EMU_SelectByUSBSN(U32(SerialNo)) : m_T.Novik.NOVIKARM_SelectUSB(0)) < 0) {
        m_T.LogWarn("Connect: serial number not found on usb");
        return -1;
    }
    return 0;
}

int CTargetConnection::ConnectSimple() {
    ResetState();
    if (!m_T.Novik.sError.isEmpty()) {
        m_T.LogError(("Connect: " + m_T.Novik.sError.toUtf8()).constData());
        return -1;
    }
    if (SelectHostIF() != 0) {
        return -1;
    }
    _pLogTarget = &m_T.Events;
    m_T.Novik.NOVIKARM_EnableLog(OnLibraryLog);
    m_T.Novik.NOVIKARM_SetErrorOutHandler(OnLibraryError);
    m_T.Novik.NOVIKARM_SetWarnOutHandler(OnLibraryWarning);
    m_T.LogDebug("Opening connection to Novik...");
    if (const char* sError = m_T.Novik.NOVIKARM_Open()) {
        m_T.Events.Log(DEV_LOG_WARN, "Open: NOVIK API call failed with error message: %s", sError);
        return -1;
    }
    if (m_T.Config.GetNumber(DEV_CFG_DEVICE) < 0) {
        SetSuppressDeviceSelectionDialog(true);
    }
    m_T.Info.ReadProbeFacts();
    const QByteArray sScript = m_T.Config.GetText(DEV_CFG_SCRIPT_FILE);
    if (!sScript.isEmpty()) {
        ExecNovikScript(sScript.constData());
    }
    if (ConfigureHardware() != 0 || ConnectTarget() != 0) {
        m_T.Novik.NOVIKARM_Close();
        return -1;
    }
    m_T.State.Connected = 1;
    UpdateTIFSpeed();
    m_T.Info.UpdateHWCapabilityFlags();
    UpdateEndianess();
    m_T.State.Running = 1;
    return 0;
}

int CTargetConnection::ConfigureHardware() {
    m_T.LogDebug("Configuring hardware...");
    const QByteArray sDevice = m_T.Config.GetText(DEV_CFG_DEVICE_NAME);
    if (!sDevice.isEmpty()) {
        char acError[ERROR_TEXT_SIZE + 1] = {};
        const QByteArray sCommand = NOVIK_EXEC_DEVICE "=" + sDevice;
        m_T.Novik.NOVIKARM_ExecCommand(sCommand.constData(), acError, ERROR_TEXT_SIZE);
        if (*acError) {
            m_T.LogWarn("Connect: could not configure Novik");
            return -1;
        }
    }
    m_T.Novik.NOVIKARM_SetEndian(m_T.Config.GetNumber(DEV_CFG_ENDIAN));
    m_T.Novik.NOVIKARM_SetCoreIndex(U32(m_T.Config.GetNumber(DEV_CFG_CORE_INDEX)));
    m_T.Novik.NOVIKARM_TIF_Select(m_T.Config.GetNumber(DEV_CFG_TARGET_IF));
    if (m_T.Config.GetNumber(DEV_CFG_MULTI_TARGET)) {
        m_T.Novik.NOVIKARM_ConfigJTAG(m_T.Config.GetNumber(DEV_CFG_IR_PRE), m_T.Config.GetNumber(DEV_CFG_DR_PRE));
    }
    m_T.Novik.NOVIKARM_SetSpeed(SpeedForLibrary());
    return 0;
}

U32 CTargetConnection::SpeedForLibrary() const {
    if (m_T.Config.GetNumber(DEV_CFG_MAX_SPEED)) {
        return NOVIK_SPEED_AUTO;
    }
    if (m_T.Config.GetNumber(DEV_CFG_ADAPTIVE)) {
        return NOVIK_SPEED_ADAPTIVE;
    }
    return U32(m_T.Config.GetNumber(DEV_CFG_SPEED)) / HZ_PER_KHZ;
}

int CTargetConnection::ConnectTarget() {
    const auto TryConnect = [this] { return m_T.Novik.NOVIKARM_Connect() == 0 && m_T.Novik.NOVIKARM_IsConnected(); };
    if (TryConnect()) {
        return 0;
    }
    // A target that sleeps or is held in reset often answers the second time.
    m_T.LogDebug("Connecting to target...");
    if (TryConnect()) {
        return 0;
    }
    m_T.LogWarn("Connect: NOVIK API call failed");
    return -1;
}

int CTargetConnection::Connect(CONNECT_MODES Mode) {
    if (Mode == CM_CONNECT_ONLY) {
        return ConnectSimple();
    }
    Disconnect();
    const int Result = ConnectSimple();
    if (Result == 0) {
        FinishConnect(Mode);
    }
    return Result;
}

void CTargetConnection::FinishConnect(CONNECT_MODES Mode) {
    m_T.State.Connected = 0;
    m_T.State.ConnectionLost = 0;
    m_T.State.SrcStepActive = 0;
    if (!m_T.Novik.NOVIKARM_IsOpen()) {
        return;
    }
    m_T.State.Connected = m_T.Novik.NOVIKARM_IsConnected() ? 1 : 0;
    if (Mode == CM_ATTACH || Mode == CM_ATTACH_HALT) {
        m_T.State.SessionReady = 1;
    } else if (Mode == CM_DOWNLOAD_RESET) {
        m_T.State.SessionReady = 0;
    }
    m_T.Novik.NOVIKARM_EnableSoftBPs(1);
    m_T.BPs.RestoreAll();
    m_T.WPs.RestoreAll();
}

void CTargetConnection::ReleaseTarget() {
    m_T.Streams.StopAll();
    if (!m_T.State.ConnectionLost) {
        m_T.Novik.NOVIKARM_ClrBPEx(NOVIK_HANDLE_ALL);
        m_T.Novik.NOVIKARM_ClrDataEvent(NOVIK_HANDLE_ALL);
    }
    m_T.State.HiddenBPAddr = -1;
}

int CTargetConnection::Disconnect() {
    if (!m_T.State.Connected) {
        return 0;
    }
    ReleaseTarget();
    ResetState();
    m_T.Novik.NOVIKARM_Close();
    return 0;
}

int CTargetConnection::ExecNovikCmd(const char* sNovikCmd, U32 Len, char* acOut) {
    char acOwn[ERROR_TEXT_SIZE + 1] = {};
    char* const acError = acOut && Len ? acOut : acOwn;
    const U32 Size = acOut && Len ? Len : ERROR_TEXT_SIZE;
    if (!m_T.Novik.sError.isEmpty()) {
        qstrncpy(acError, m_T.Novik.sError.toUtf8().constData(), Size);
        return -1;
    }
    if (qstrlen(sNovikCmd) > NOVIK_EXEC_MAX_LEN) {
        qstrncpy(acError, "command too long", Size);
        return -1;
    }
    const int Result = m_T.Novik.NOVIKARM_ExecCommand(sNovikCmd, acError, I32(Size));
    if (*acError) {
        m_T.Events.Log(DEV_LOG_WARN, "Error executing Novik command \"%s\": %s", sNovikCmd, acError);
        return -1;
    }
    if (Result != 0) {
        m_T.Events.Log(DEV_LOG_WARN, "Novik API call failed: %s", sNovikCmd);
        return -1;
    }
    m_T.Events.Log(DEV_LOG_DEBUG, "Executed Novik command \"%s\"", sNovikCmd);
    return 0;
}

int CTargetConnection::ExecNovikScript(const char* sFilePath) {
    m_T.LogDebug("Executing Novik Script");
    const QByteArray sCommand = NOVIK_EXEC_SCRIPT_FILE "=" + QByteArray(sFilePath);
    return ExecNovikCmd(sCommand.constData(), 0, nullptr);
}

void CTargetConnection::SetSuppressDeviceSelectionDialog(bool IsSuppressed) {
    const QByteArray sCommand = QByteArray(NOVIK_EXEC_HIDE_DEVICE_SELECTION "=") + (IsSuppressed ? '1' : '0');
    ExecNovikCmd(sCommand.constData(), 0, nullptr);
}

void CTargetConnection::UpdateEndianess() {
    const int Configured = m_T.Config.GetNumber(DEV_CFG_ENDIAN);
    int DataEndian = Configured;
    int InstEndian = Configured;
    if (m_T.State.Connected && m_T.Info.pfEndian) {
        const int Answer = m_T.Info.pfEndian();
        const int Family = m_T.Facts.Family;
        if (Answer < 0) {
            // These cores fetch instructions little-endian whatever the data endianness is.
            InstEndian = Family == DF_CORTEX_A5 || Family == DF_CORTEX_A8 ? int(ENDIAN_LITTLE) : Configured;
        } else {
            DataEndian = Answer & 1;
            InstEndian = (Answer >> 1) & 1;
        }
    }
    const bool IsChanged = m_T.State.DataEndian != DataEndian || m_T.State.InstEndian != InstEndian;
    m_T.State.DataEndian = DataEndian;
    m_T.State.InstEndian = InstEndian;
    if (IsChanged) {
        m_T.Events.Post(DEV_EVENT_ENDIANESS_CHANGED, U64(DataEndian), U64(InstEndian));
    }
}

void CTargetConnection::ApplyDataEndianess(ARM_ENDIAN Endian) {
    if (m_T.State.Connected) {
        m_T.Novik.NOVIKARM_SetEndian(Endian);
    }
    const int Family = m_T.Facts.Family;
    if (m_T.State.Connected && (Family == DF_CORTEX_A5 || Family == DF_CORTEX_A8 || Family == DF_CORTEX_R4)) {
        const U32 Idx = U32(m_T.Regs.GetNovikRegIdx(REG_IDX_CPSR));
        I64 CPSR = -1;
        if (m_T.Regs.ReadReg(Idx, &CPSR) == 0) {
            m_T.Regs.WriteReg(Idx, Endian == ENDIAN_BIG ? CPSR | CPSR_E_BIT : CPSR & ~I64(CPSR_E_BIT));
            Job J;
            J.Type = JT_READ_REG;
            J.Param[0] = Idx;
            m_T.PostJob(J);
        }
    }
    UpdateEndianess();
}
