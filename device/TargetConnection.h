#pragma once

// Configuration, connect and disconnect. Device thread.

#include "device/DeviceTypes.h"

#include <QByteArray>

class CTarget;

class CTargetConnection {
public:
    explicit CTargetConnection(CTarget& Target) : m_T(Target) {}

    /// Sets all values of a configuration text. 0, or -1 if the text is no XML.
    int Configure(const char* sXmlConfigStr);
    /// Sets one value with all that follows from it; 0, or -1 for a parameter that is none.
    int SetConfigParam(DEV_CONFIG_PARAMS Param, int Value);
    int SetConfigParam(DEV_CONFIG_PARAMS Param, const char* sValue);

    int SelectHostIF();
    int ConnectSimple();
    int Connect(CONNECT_MODES Mode);
    void FinishConnect(CONNECT_MODES Mode);
    int Disconnect();
    /// Stops all data streams and takes breakpoints out of the probe; a step of disconnecting.
    void ReleaseTarget();

    /// Runs a text command of the library. Its error text goes to acOut (Len + 1 bytes); 0, or -1 if there is one or
    /// the library says so.
    int ExecNovikCmd(const char* sNovikCmd, U32 Len, char* acOut);
    int ExecNovikScript(const char* sFilePath);
    void SetSuppressDeviceSelectionDialog(bool IsSuppressed);

    void UpdateEndianess();
    void ApplyDataEndianess(ARM_ENDIAN Endian);
    void UpdateTIFSpeed();
    void ResetState();

private:
    int ConfigureHardware();
    int ConnectTarget();
    U32 SpeedForLibrary() const;
    void ApplySpeed(DEV_CONFIG_PARAMS Param, int Value);

    CTarget& m_T;
};
