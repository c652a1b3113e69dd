#pragma once

// Reset, halt, continue, run to an address, and the polling of the target's state. Device thread.

#include "device/DeviceTypes.h"

class CTarget;

constexpr int POLL_TOO_EARLY = -2;

class CRunControl {
public:
    explicit CRunControl(CTarget& Target) : m_T(Target) {}

    int ResetHardware();
    int Reset(RESET_MODES Mode);
    int FinishReset(RESET_MODES ResetMode);
    int Halt();
    /// 0 also if the target runs already.
    int Continue();
    /// 1: the target runs on; the halt sequence reports the arrival.
    int RunTo(U32 Addr);
    /// Sets SP and PC from the program. 0 or -1.
    int InitTargetSPandPC();

    /// 0 running, 1 halted, POLL_TOO_EARLY if the last question was at most MinQueryIntervalMS ago, any other negative
    /// value if the connection is lost.
    int PollTargetHaltStatus(U32 MinQueryIntervalMS);
    bool IsTargetHalted();
    /// 0 when the target is halted, -1 after Timeout ms.
    int WaitForHaltedOrTimeout(U64 Timeout);
    /// One look for a lost connection.
    void TestConnectionLost();
    void OnInvalidHaltStatus();

private:
    int SettleSilentReset();
    int SetHiddenBreakpoint(U32 Addr);
    void SkipBreakpointInst();

    CTarget& m_T;
    U64 m_LastPollMs = 0;
};
