#pragma once

// Everything the device thread works with: the probe's functions, the state of the target, and the parts that hold
// the job bodies. The parts refer to each other through this object. All of it belongs to the device thread but for
// what a header marks for any thread.

#include "device/AccessReport.h"
#include "device/DeviceConfig.h"
#include "device/HaltSequence.h"
#include "device/JobQueue.h"
#include "device/RunControl.h"
#include "device/Stepper.h"
#include "device/TargetBreakpoints.h"
#include "device/TargetConnection.h"
#include "device/TargetDisass.h"
#include "device/TargetInfo.h"
#include "device/TargetMemory.h"
#include "device/TargetRegs.h"
#include "device/TargetState.h"
#include "device/TargetStreams.h"
#include "device/TargetWatchpoints.h"

#include <thread>

class CDeviceClock;
class CDeviceEvents;
class CSemiHostHook;
struct NOVIK_FUNCS;

class CTarget {
public:
    CTarget(const NOVIK_FUNCS& Funcs, CDeviceClock& Clock, CJobQueue& Queue, CDeviceEvents& Events);
    CTarget(const CTarget&) = delete;
    CTarget& operator=(const CTarget&) = delete;
    ~CTarget();

    const NOVIK_FUNCS& Novik;
    CDeviceClock& Clock;
    CJobQueue& Queue;
    CDeviceEvents& Events;

    CTargetState State;
    CDeviceFacts Facts;
    CDeviceConfig Config;
    CSharedValue<U8> StopRequested;
    std::atomic<int> NumLockWaiters{0}; ///< threads that wait for the device thread to pause

    CAccessReport Report;
    CTargetInfo Info;
    CTargetConnection Connection;
    CRunControl Run;
    CHaltSequence HaltSeq;
    CTargetRegs Regs;
    CTargetMemory Memory;
    CTargetBreakpoints BPs;
    CTargetWatchpoints WPs;
    CStepper Stepper;
    CTargetDisass Disass;
    CTargetStreams Streams;

    /// Logs and schedules a job made by the device thread itself.
    int PostJob(Job& J);
    int PostContinue(RESUME_MODES Mode);
    /// Posts the event of a job that is none: a halt, a resume, the end of a step.
    void PostCompletion(U32 Type, U32 Status, I64 Result0, I64 Result1 = 0, U64 Param0 = 0);
    /// Hands a finished record to the main thread; releases it if its type is suppressed or the event ring is full.
    void PostJobEvent(Job* pJob);

    void LogDebug(const char* sText);
    void LogWarn(const char* sText);
    void LogError(const char* sText);

    /// True if the body of a job is to end at its next chunk. Device thread.
    bool IsCancelled() const { return StopRequested || Queue.IsRunCancelled(); }

    /// Never null.
    CSemiHostHook& SemiHost() const { return *m_pSemiHost.load(std::memory_order_acquire); }
    void SetSemiHost(CSemiHostHook* pHook);

    /// Empties the instruction store and gives it this target to read from; whenever a program is loaded or the device
    /// changes. Other threads get instructions from the program image alone. Any thread.
    void ResetInstStore();

    /// The thread that the object is on from now on is the device thread. Until then any thread counts as it.
    void EnterDeviceThread();
    bool IsDeviceThread() const;

private:
    std::atomic<std::thread::id> m_ThreadId;
    std::unique_ptr<CSemiHostHook> m_pNoSemiHost;
    std::atomic<CSemiHostHook*> m_pSemiHost;
};
