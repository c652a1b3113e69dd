#pragma once

// A device on a scripted probe and a scripted clock, driven by the test in place of its thread.

#include "device/Device.h"
#include "device/DeviceEventListener.h"
#include "tests/device/FakeProbe.h"

#include <QStringList>
#include <gtest/gtest.h>

/// Notes what a listener hears, as texts.
class CRecorder : public CDeviceEventListener {
public:
    QStringList Heard;
    QStringList Log; ///< texts of log messages

    void OnDeviceConnectDone(CONNECT_MODES Mode) override { Note("ConnectDone", Mode); }
    void OnDeviceConnectFailed(CONNECT_MODES Mode) override { Note("ConnectFailed", Mode); }
    void OnDeviceDisconnectDone() override { Heard += "DisconnectDone"; }
    void OnDeviceResumeDone(RESUME_MODES Mode) override { Note("ResumeDone", Mode); }
    void OnDeviceResumeFailed(RESUME_MODES Mode) override { Note("ResumeFailed", Mode); }
    void OnDeviceHaltDone(U32 PC, HALT_REASONS Reason) override { Note("HaltDone", PC, Reason); }
    void OnDeviceResetDone(U32 PC, RESET_MODES Mode) override { Note("ResetDone", PC, Mode); }
    void OnDeviceResetFailed(U32 PC, RESET_MODES Mode) override { Note("ResetFailed", PC, Mode); }
    void OnDeviceRunToSymbolDone(U32 PC) override { Note("RunToSymbolDone", PC); }
    void OnDeviceStepInstDone(U32 PC) override { Note("StepInstDone", PC); }
    void OnDeviceStepOverDone(U32 PC) override { Note("StepOverDone", PC); }
    void OnDeviceStepOutDone(U32 PC) override { Note("StepOutDone", PC); }
    void OnDeviceStepped(U32 PC) override { Note("Stepped", PC); }
    void OnDeviceReadMemDone(U32 Addr, U32 NumBytes, U8*, U8*) override { Note("ReadMemDone", Addr, NumBytes); }
    void OnDeviceWriteMemDone(U32 Addr, U32 NumBytes, U8*) override { Note("WriteMemDone", Addr, NumBytes); }
    void OnDeviceWriteMemFailed(U32 Addr, U32 NumBytes, U8*) override { Note("WriteMemFailed", Addr, NumBytes); }
    void OnDeviceWriteMemMultipleFailed(U32 Cnt, U32*, U8*) override { Note("WriteMemMultipleFailed", Cnt); }
    void OnDeviceWriteRegDone(U32 Idx, I64 Value) override { Note("WriteRegDone", Idx, U32(Value)); }
    void OnDeviceSetBPDone(U32 Addr) override { Note("SetBPDone", Addr); }
    void OnDeviceEvalBPCondition(U32 Addr) override { Note("EvalBPCondition", Addr); }
    void OnDeviceConfigParamChanged(int Param, int Value) override {
        Note("ConfigParamChanged", U32(Param), U32(Value));
    }
    void OnDeviceConnectionLost() override { Heard += "ConnectionLost"; }
    void OnDeviceAboutToStep() override { Heard += "AboutToStep"; }
    void OnDeviceAboutToResume() override { Heard += "AboutToResume"; }
    void OnDeviceSetProgressMsg(const char* sMsg) override { Heard += QString("Progress ") + sMsg; }
    void OnDeviceStartProgress(int Min, int Max) override { Note("StartProgress", U32(Min), U32(Max)); }
    void OnDeviceEndProgress() override { Heard += "EndProgress"; }
    void OnDeviceLogMsg(const char* sMsg, MSG_INFO_FLAGS) override { Log += QString::fromUtf8(sMsg); }
    void OnDeviceBPStateChanged() override { Heard += "BPStateChanged"; }
    void OnDeviceWPStateChanged() override { Heard += "WPStateChanged"; }
    void OnDeviceWriteAccess() override { Heard += "WriteAccess"; }

    QStringList Take() { return std::exchange(Heard, QStringList()); }

private:
    void Note(const char* sName, U32 A) { Heard += QString("%1 %2").arg(sName).arg(A, 0, 16); }
    void Note(const char* sName, U32 A, U32 B) { Heard += QString("%1 %2 %3").arg(sName).arg(A, 0, 16).arg(B, 0, 16); }
};

class CDeviceTest : public testing::Test {
protected:
    CDeviceTest() : pDevice(std::make_unique<CDevice>(Fake.Funcs, Clock)) {
        SetLogDebugMode(true);
        Fake.fSpend = [this](U32 NumMs) { Clock.SleepMs(NumMs); };
    }
    ~CDeviceTest() override { SetLogDebugMode(false); }

    CTarget& T() { return pDevice->Target(); }

    /// One scheduler pass with time gone by since the last, and all events delivered. What the listener heard.
    QStringList Pass(U64 NumMs = 100) {
        Clock.Advance(NumMs);
        pDevice->RunPass();
        while (pDevice->DeliverEvents(MAX_JOBS_PER_PASS)) {
        }
        return Listener.Take();
    }

    /// Connects to a target that is halted at PC, with the session ready, and forgets what was heard on the way.
    void ConnectHalted(U32 PC) {
        Fake.Regs[NOVIK_REG_PC] = PC;
        Fake.HaltStatus = 1;
        T().Config.SetNumber(DEV_CFG_TARGET_IF, NOVIK_TIF_SWD);
        T().Connection.SetConfigParam(DEV_CFG_DEVICE, 1);
        ASSERT_EQ(pDevice->PostConnect(CM_ATTACH), 0);
        Pass();
        Pass();
        ASSERT_TRUE(pDevice->IsStateValid());
        Listener.Take();
        Listener.Log.clear();
        Fake.TakeCalls();
    }

    /// The target runs and then stops at PC by itself.
    QStringList StopAt(U32 PC) {
        Fake.Regs[NOVIK_REG_PC] = PC;
        Fake.HaltStatus = 1;
        return Pass();
    }

    void Resume() {
        ASSERT_EQ(pDevice->PostContinue(), 0);
        Pass();
        ASSERT_FALSE(pDevice->IsHalted());
        Fake.TakeCalls();
    }

    CFakeProbe Fake;
    CFakeClock Clock;
    std::unique_ptr<CDevice> pDevice;
    CRecorder Listener;
};
