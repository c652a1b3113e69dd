#pragma once

// Jobs of the configuration and of the device table.

#include "device/JobView.h"

constexpr U32 CORE_NAME_SIZE_OF_JOB = 64;

struct CONFIGURE_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_CONFIGURE;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QByteArray& sXml) { return P.Begin(TYPE_ID) && P.Full(0, sXml); }
    const char* Xml() const { return Buf<const char>(0); }
    static int Run(CTarget& T, Job& J) { return T.Connection.Configure(CONFIGURE_JOB(J).Xml()); }
    static void Done(LISTENER& L, const Job& J) { L.OnDeviceConfigureDone(CONFIGURE_JOB(J).Xml()); }
    static void Failed(LISTENER& L, const Job& J) { L.OnDeviceConfigureFailed(CONFIGURE_JOB(J).Xml()); }
};

/// The value is a text if there is a buffer, else a number.
struct SET_CONFIG_PARAM_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_SET_CONFIG_PARAM;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, DEV_CONFIG_PARAMS Param, int Value) {
        return P.Begin(TYPE_ID, {U64(Param), U64(Value)});
    }
    static bool Pack(CPackedJob& P, DEV_CONFIG_PARAMS Param, const QByteArray& sValue) {
        return P.Begin(TYPE_ID, {U64(Param)}) && P.Buf(0, sValue);
    }
    DEV_CONFIG_PARAMS Param() const { return DEV_CONFIG_PARAMS(Word(0)); }
    int Number() const { return int(m_J.Param[1]); }
    const char* Text() const { return Buf<const char>(0); }
    static int Run(CTarget& T, Job& J) {
        const SET_CONFIG_PARAM_JOB V(J);
        return V.Text() ? T.Connection.SetConfigParam(V.Param(), V.Text())
                        : T.Connection.SetConfigParam(V.Param(), V.Number());
    }
    static void Done(LISTENER& L, const Job& J) {
        const SET_CONFIG_PARAM_JOB V(J);
        if (V.Text()) {
            L.OnDeviceSetConfigParamTextDone(V.Param(), V.Text());
        } else {
            L.OnDeviceSetConfigParamDone(V.Param(), V.Number());
        }
    }
    static void Failed(LISTENER& L, const Job& J) {
        const SET_CONFIG_PARAM_JOB V(J);
        if (V.Text()) {
            L.OnDeviceSetConfigParamTextFailed(V.Param(), V.Text());
        } else {
            L.OnDeviceSetConfigParamFailed(V.Param(), V.Number());
        }
    }
};

struct GET_DEVICE_INFO_JOB : CJobView {
    static constexpr U32 TYPE_ID = JT_GET_DEVICE_INFO;
    static constexpr U8 NEEDS_BUF = 1;
    using CJobView::CJobView;
    static bool Pack(CPackedJob& P, const QByteArray& sDeviceName) {
        return P.Begin(TYPE_ID) && P.Full(0, sDeviceName) && P.Buf(1, nullptr, CORE_NAME_SIZE_OF_JOB);
    }
    const char* DeviceName() const { return Buf<const char>(0); }
    char* CoreName() const { return Buf<char>(1); }
    static int Run(CTarget& T, Job& J) {
        const GET_DEVICE_INFO_JOB V(J);
        return V.CoreName() ? T.Info.GetDeviceInfo(V.DeviceName(), J.BufSize[1], V.CoreName()) : -1;
    }
    static void Done(LISTENER& L, const Job& J) {
        L.OnDeviceGetDeviceInfoDone(GET_DEVICE_INFO_JOB(J).DeviceName(), GET_DEVICE_INFO_JOB(J).CoreName());
    }
    static void Failed(LISTENER& L, const Job& J) {
        L.OnDeviceGetDeviceInfoFailed(GET_DEVICE_INFO_JOB(J).DeviceName());
    }
};
