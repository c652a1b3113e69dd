#pragma once

// What is known of the selected device and what the connected hardware can do. Device thread.

#include "base/Types.h"
#include "device/SharedValue.h"
#include "probe/novik.h"

#include <QByteArray>

class CTarget;

class CTargetInfo {
public:
    explicit CTargetInfo(CTarget& Target) : m_T(Target) {}

    /// Library version, path and number of devices, at the start of the thread.
    void ReadLibraryFacts();
    /// Takes core, family, RAM and names of the configured device; -1 if no device is configured.
    int UpdateDeviceInfo();
    /// Core name of a device by its name, at most BufSize bytes with the zero. 0 or -1.
    int GetDeviceInfo(const char* sDeviceName, U32 BufSize, char* sOutCoreName);
    /// Optional entry points of the library for the device; to be called whenever the device changes.
    void UpdateNovikFuncPtrs();
    /// Serial number, firmware text, device count and web address of the open probe.
    void ReadProbeFacts();

    /// Memories and comparators of the configured device; what the device table tells of the first two memories if the
    /// library doesn't give them all. 0 comparators: not known.
    const NOVIK_DEVICE_LAYOUT& Layout() const { return m_Layout; }

    void UpdateHWCapabilityFlags();
    bool ReadBMACapability() const;
    bool ReadSecurityExtCapability() const;
    bool ReadSWOTraceCapability();
    bool ReadStreamingTraceCapability() const;

    NOVIK_BMA_FUNC* pfBackgroundAccess = nullptr;
    NOVIK_ENDIAN_FUNC* pfEndian = nullptr;
    CSharedValue<NOVIK_DECODER*> pfDecode{nullptr}; ///< looked at by any thread
    NOVIK_DISASSEMBLER* pfDisassemble = nullptr;
    NOVIK_WEB_INFO_FUNC* pfWebInfo = nullptr;

private:
    QByteArray WebUrl() const;
    void UpdateLayout(int Index, const NOVIKARM_DEVICE_INFO& Record);

    CTarget& m_T;
    NOVIK_DEVICE_LAYOUT m_Layout = {};
};
