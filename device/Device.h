#pragma once

// CDevice is the target as the debugger sees it: a thread that is the only caller of the probe library, the queue of
// jobs for it and the ring of events that come back.
//
// From any other thread: Post...() functions (DeviceJobs.h) ask for something and return at once; the result reaches
// every CDeviceEventListener on the main thread. Getters here answer from the last known state without waiting.
// On the device thread: Target() holds the bodies, each under the plain name of its operation (Target().Run.Halt()).

#include "device/DeviceEvents.h"
#include "device/DeviceJobs.h"
#include "device/JobQueue.h"
#include "device/JobRunner.h"
#include "device/Target.h"

#include <QThread>
#include <functional>
#include <memory>
#include <mutex>

class CDeviceClock;
class CDeviceEventListener;
class CSemiHostHook;
struct NOVIK_FUNCS;

/// The rings come first, so that what refers to them finds them built.
struct CDeviceRings {
    std::unique_ptr<CJobQueue> pQueue = std::make_unique<CJobQueue>();
    CDeviceEvents Events;
};

/// A device that the probe library knows.
struct DEVICE_ENTRY {
    QString sName;
    QString sManufacturer;
    QString sCore;     ///< display name of the core
    U32 Core = 0;      ///< core identifier of the probe library
    U32 FlashSize = 0; ///< bytes of the first memory region
    U32 RamSize = 0;   ///< bytes
};

class CDevice : public QThread, private CDeviceRings, public CDeviceJobs {
    Q_OBJECT

public:
    /// The device of this process, with the probe library beside the program; made and started at first use.
    static CDevice& Get();
    /// The device whose events are being delivered, else the one of Get(). Main thread.
    static CDevice& Current();

    /// A device of its own on the given functions, not started. Functions and clock must outlive it.
    CDevice(const NOVIK_FUNCS& Funcs, CDeviceClock& Clock);
    /// Sets the stop flag and waits until the thread has ended.
    ~CDevice() override;

    /// Ends the thread: it finishes its job, stops all data streams, clears breakpoints in the probe and closes it.
    /// Returns at once; wait() waits. Any thread.
    void RequestStop();
    bool IsStopRequested() const { return m_Target.StopRequested; }
    /// All jobs that wait count as finished and run no more, protected ones included. Any thread.
    void MarkAllPendingJobsDone() { m_Queue.MarkAllDone(); }

    /// Waits for the oldest job of that type (a wildcard is allowed), running ones included. TimeoutMs -1: the type's
    /// default. Returns 1 at once if there is none, 0 when it has finished or was cancelled, -1 on time-out, when the
    /// thread has stopped, or when pfIsCancelled says true. Must not be called on the device thread.
    int WaitForJob(U32 Type, bool ProcessEvents = true, int TimeoutMs = -1, bool (*pfIsCancelled)() = nullptr);
    /// True if a job of that type (JT_STEP_ANY: any step) waits. Any thread.
    bool IsIdle() const { return m_Queue.IsIdle(); } ///< no job waits or runs
    bool IsJobQueued(U32 Type) const { return m_Queue.IsQueued(Type); }

    /// Ends the transfer of memory that runs now at its next chunk: what was done of it counts, the rest is not done. A
    /// read gives what it has, a write fails. False if there is none. Any thread.
    bool CancelTransfer() { return m_Queue.CancelRunning({JT_READ_MEM, JT_WRITE_MEM, JT_WRITE_MEM_MULTIPLE}); }

    /// Blocking reads for the main thread, served by the data provider; for the device thread itself, directly.
    int ReadMemBlocking(U32 Addr, U32 NumBytes, void* pData, U8* pStatus = nullptr);
    int ReadRegBlocking(U32 Idx, I64* pValue);

    /// Flags of the target. Any thread.
    bool IsConnected() const { return m_Target.State.Connected; }
    bool IsConnectionLost() const { return m_Target.State.ConnectionLost; }
    bool IsHalted() const { return m_Target.State.Halted; }
    bool IsStateValid() const { return m_Target.State.StateValid; }
    bool IsSessionReady() const { return m_Target.State.SessionReady; }
    bool IsSrcStepActive() const { return m_Target.State.SrcStepActive; }
    bool IsHaltSeqActive() const { return m_Target.State.HaltSeqActive; }
    /// True on the device thread.
    bool IsRunningThread() const { return m_Target.IsDeviceThread(); }

    /// Address of the current instruction, -1 if unknown. Any thread.
    I64 GetPC() const { return m_Target.State.Regs[REG_IDX_PC]; }
    /// Logical register 0 to 16 of the halted target, -1 if unknown. Any thread.
    I64 GetCachedReg(U32 Logical) const { return Logical < REG_CACHE_SIZE ? I64(m_Target.State.Regs[Logical]) : -1; }
    /// Measured interface speed in Hz; 0 automatic, 65535 adaptive. Any thread.
    U32 GetInterfaceSpeed() const { return m_Target.State.InterfaceSpeed; }
    /// What the probe library answered to the last download: not negative on success. Any thread.
    int GetLastDownloadResult() const { return m_Target.State.LastDownloadResult; }
    /// What the target refused of the last download, one sentence a line. Any thread.
    QByteArray GetDownloadProblems() const { return m_Target.State.DownloadProblems.Get(); }
    ARM_CPU_MODES GetCPUMode() const { return m_Target.State.CpuMode; }
    ARM_EXEC_MODES GetExecMode() const { return m_Target.State.ExecMode; }
    int GetDataEndian() const { return m_Target.State.DataEndian; } ///< ARM_ENDIAN
    bool HasCapability(DEVICE_CAPABILITIES Cap) const { return m_Target.State.Caps[Cap] != 0; }
    /// Configured and measured facts of the selected device; see TargetState.h. Any thread.
    const CDeviceFacts& Facts() const { return m_Target.Facts; }
    /// True if memory may be read now. Any thread.
    bool IsMemoryAccessible() { return m_Target.Memory.IsMemoryAccessible(); }
    /// Index of a register in the probe library for a CPU mode (MODE_CURRENT: the one in force), -1 if none.
    I32 GetNovikRegIdx(I32 Logical, int Mode = MODE_CURRENT) const {
        return m_Target.Regs.GetNovikRegIdx(Logical, Mode);
    }

    /// True if the probe library's device table has the name. Any thread.
    bool IsKnownDevice(const QByteArray& sDeviceName) const;
    /// The probe library's device table; empty without a library. Any thread.
    QList<DEVICE_ENTRY> GetKnownDevices() const;
    /// One device of it; the name is empty if the table doesn't have it. Any thread.
    DEVICE_ENTRY GetKnownDevice(const QByteArray& sDeviceName) const;

    /// Copies of the lists for display. Any thread.
    QList<BPEntry> GetBreakpoints() const { return m_Target.BPs.List().Copy(); }
    QList<WP> GetWatchpoints() const { return m_Target.WPs.List().Copy(); }
    /// Entry of an address; the hidden breakpoint has one too. Valid is 0 if there is none. Any thread.
    BPEntry GetBreakpoint(U32 Addr) const { return m_Target.BPs.GetEntry(Addr); }
    /// A halt at Addr is referred to OnDeviceEvalBPCondition() from now on, or no longer. Any thread.
    void SetBPHasCondition(U32 Addr, bool HasCondition) { m_Target.BPs.List().SetHasCondition(Addr, HasCondition); }
    /// Answers OnDeviceEvalBPCondition(): the device thread reports the halt, or lets the target go on. Main thread.
    void FinishConditionalHalt(U32 PC, bool IsConditionTrue);

    /// A non-zero byte for a type: its jobs finish without an event. Main thread.
    U8 GetSuppressByte(U32 Type) const { return m_Queue.GetSuppressed(Type); }
    void SetSuppressByte(U32 Type, U8 Value) { m_Queue.SetSuppressed(Type, Value); }

    /// What session control leaves for the device thread to finish: the end of a connect or reset that a script did,
    /// and SP and PC from the program. Main thread.
    void SetDeferredConnectMode(CONNECT_MODES Mode);
    void SetDeferredResetMode(RESET_MODES Mode);
    void RequestInitTargetSPandPC();
    /// From now on halts are the user's business; reports a halt that has been settled already. Any thread.
    void MarkSessionReady();
    /// As MarkSessionReady() for a target that is about to run: the halt that it leaves is nobody's business any more.
    void SetSessionReady() { m_Target.State.SessionReady = 1; }
    void ClearSessionReady() { m_Target.State.SessionReady = 0; }
    /// Tells the listeners, at once on the main thread.
    void NotifyAboutToDisconnect();

    /// Configuration. The numbers' storage is shared with three system variables (speed, DR_PRE, IR_PRE). The text is
    /// the XML that Configure() reads. Any thread.
    int GetConfigParam(DEV_CONFIG_PARAMS Param) const { return m_Target.Config.GetNumber(Param); }
    QByteArray GetConfigText(DEV_CONFIG_PARAMS Param) const { return m_Target.Config.GetText(Param); }
    I32* GetConfigParamPtr(DEV_CONFIG_PARAMS Param) { return m_Target.Config.NumberPtr(Param); }
    /// Stores a number without any of its consequences and without an event. Any thread.
    bool StoreConfigParam(DEV_CONFIG_PARAMS Param, int Value) { return m_Target.Config.SetNumber(Param, Value); }
    QByteArray GetConfigXml() const { return m_Target.Config.GetXml(); }

    /// Hooks of folders above. Null takes one away. Main thread, before the device is asked for anything.
    void SetDataProvider(CDeviceEventListener* pProvider) { m_pDataProvider = pProvider; }
    void SetSemiHost(CSemiHostHook* pHook) { m_Target.SetSemiHost(pHook); }

    /// Held by the device thread while it works; whoever changes what jobs rely on (loads a program) holds it, too.
    /// The device thread gives way to a waiter between two jobs; one job may take seconds. fPump is called meanwhile,
    /// waits a little, and gives false to end the wait without the lock. True with the lock. Any thread.
    bool LockScheduler(const std::function<bool()>& fPump);
    void UnlockScheduler() { m_SchedulerMutex.unlock(); }

    /// Delivers up to MaxEvents events to the listeners; returns their number. Main thread.
    int DeliverEvents(int MaxEvents);

    /// One round of work, at most 100 jobs; returns the number run. Device thread (or a test in its place).
    int RunPass();

    CTarget& Target() { return m_Target; }
    CJobQueue& Queue() { return m_Queue; }
    CDeviceEvents& EventRing() { return m_Events; }
    CDeviceClock& Clock() { return m_Clock; }

protected:
    void run() override;

private:
    void DeliverJob(Job* pJob);
    bool IsJobEventOutdated(const Job& J) const;

    CDeviceClock& m_Clock;
    CJobQueue& m_Queue;
    CDeviceEvents& m_Events;
    CTarget m_Target;
    CJobRunner m_Runner;
    std::recursive_mutex m_SchedulerMutex;
    CDeviceEventListener* m_pDataProvider = nullptr;
};
