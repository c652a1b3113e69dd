// Job rings, scheduling, delivery and the tables they rest on.

#include "device/DeviceDataProvider.h"
#include "device/JobTable.h"
#include "tests/device/DeviceFixture.h"

#include <QSet>
#include <cstring>

namespace {

Job MakeJob(U32 Type, U64 Param0 = 0) {
    Job J;
    J.Type = Type;
    J.Param[0] = Param0;
    return J;
}

Job JobWithBuf(U32 Type) {
    Job J = MakeJob(Type);
    U8 aBytes[64] = {}; // as large as the largest record in a buffer
    for (int i = 0; i < 3; i++) {
        JobAttachBuf(&J, i, aBytes, sizeof(aBytes));
    }
    return J;
}

// Calls reach slot n of the listener: its place in the table of virtual functions (the destructor fills two entries
// of it in the C++ ABI used on Linux).
template <class FUNC> size_t Slot(FUNC pFunc) {
    size_t Offset = 0;
    std::memcpy(&Offset, &pFunc, sizeof(Offset));
    return (Offset - 1) / sizeof(void*) - 1;
}

class CJobQueueTest : public testing::Test {
protected:
    std::unique_ptr<CJobQueue> pQueue = std::make_unique<CJobQueue>();
};

class CDispatchTest : public CDeviceTest {};
class CJobsTest : public CDeviceTest {};

} // namespace

TEST(JobTable, AJobHasARowWithABodyAndEventsOrDoesNotExist) {
    const QSet<U32> NoJob = {0,  10, 13, 32, 33, 39, 43, 44, 45, 46, 47, 48, 49, 50,
                             51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 65, 66, 67};
    QSet<QByteArray> Names;
    for (U32 Type = 0; Type <= JT_LAST; Type++) {
        const JOB_TYPE_ROW& Row = GetJobTypeRow(Type);
        const bool IsJob = !NoJob.contains(Type);
        EXPECT_EQ(Row.Type, Type);
        EXPECT_TRUE((Row.pfRun != nullptr) == IsJob && (Row.pfDone != nullptr) == IsJob &&
                    (Row.pfFailed != nullptr) == IsJob)
            << Type;
        Names.insert(Row.sName);
    }
    EXPECT_EQ(Names.size(), 68 - NoJob.size() + 2); // and "Unknown" and "Last"
    EXPECT_STREQ(GetJobTypeName(4711), "Unknown");
    EXPECT_EQ(GetJobTypeRow(JT_CONNECT).TimeoutMs, 120000u);
}

TEST(Listener, OperationsKeepTheirSlots) {
    using L = CDeviceEventListener;
    EXPECT_EQ(Slot(&L::OnDeviceJobDone), 1u);
    EXPECT_EQ(Slot(&L::OnDeviceConnectDone), 2u);
    EXPECT_EQ(Slot(&L::OnDeviceStepped), 23u);
    EXPECT_EQ(Slot(&L::OnDeviceReadRegDone), 32u);
    EXPECT_EQ(Slot(&L::OnDeviceFlushInstTraceDone), 56u);
    EXPECT_EQ(Slot(&L::OnDeviceSetBPDone), 86u);
    EXPECT_EQ(Slot(&L::OnDeviceConfigureDone), 104u);
    EXPECT_EQ(Slot(&L::OnDeviceSetConfigParamTextFailed), 108u);
    EXPECT_EQ(Slot(&L::OnDeviceMeasureCoreSpeedFailed), 125u);
    EXPECT_EQ(Slot(&L::OnDeviceEvalBPCondition), 126u);
    EXPECT_EQ(Slot(&L::OnDeviceLogMsg), 137u);
    EXPECT_EQ(Slot(&L::OnDeviceWriteAccess), 145u);
}

TEST(JobBuffer, FillsASlotOnceAndWithinLimits) {
    Job J = MakeJob(JT_READ_MEM);
    EXPECT_FALSE(JobAttachBuf(&J, 3, nullptr, 4));
    EXPECT_FALSE(JobAttachBuf(&J, 0, nullptr, JOB_MAX_BUF_SIZE + 1));
    ASSERT_TRUE(JobAttachBuf(&J, 0, "abc", 3));
    EXPECT_STREQ(static_cast<char*>(J.Buf[0]), "abc");
    EXPECT_FALSE(JobAttachBuf(&J, 0, "x", 1));
    JobFreeBufs(&J);
    EXPECT_EQ(J.Buf[0], nullptr);
    Job None;
    EXPECT_FALSE(JobAttachBuf(&None, 0, nullptr, 4));
}

TEST_F(CJobQueueTest, RefusesWhatIsNoJob) {
    for (U32 Type : {U32(JT_NONE), U32(JT_STEP_ANY), U32(JT_ANY), U32(JT_LAST), 45u, 1000u, U32(JT_READ_REGS)}) {
        Job J = MakeJob(Type); // the last of them lacks its buffer
        EXPECT_EQ(pQueue->Schedule(J), JOB_INVALID) << Type;
    }
    EXPECT_EQ(pQueue->Pick(), nullptr);
}

TEST_F(CJobQueueTest, AFullRingRefusesUntilASlotIsReleased) {
    Job J = MakeJob(JT_READ_REG);
    for (U32 i = 0; i < JOB_RING_SIZE; i++) {
        J = MakeJob(JT_READ_REG, i);
        ASSERT_EQ(pQueue->Schedule(J), JOB_SCHEDULED);
    }
    EXPECT_EQ(pQueue->Schedule(J), JOB_RING_FULL);
    Job Other = MakeJob(JT_HALT);
    EXPECT_EQ(pQueue->Schedule(Other), JOB_SCHEDULED); // the other rings don't care
    pQueue->Pick();
    // All of the ring has run but nothing is delivered: still full, and nothing runs twice.
    Job* pFirst = pQueue->Pick();
    EXPECT_EQ(pFirst->Param[0], 0u);
    for (U32 i = 1; i < JOB_RING_SIZE; i++) {
        ASSERT_EQ(pQueue->Pick()->Param[0], i);
    }
    EXPECT_EQ(pQueue->Pick(), nullptr);
    EXPECT_EQ(pQueue->Schedule(J), JOB_RING_FULL);
    pQueue->Release(pFirst);
    EXPECT_EQ(pQueue->Schedule(J), JOB_SCHEDULED);
    EXPECT_EQ(pQueue->Pick(), pFirst);
}

TEST_F(CJobQueueTest, PicksByRingThenByAge) {
    for (U32 Type : {JT_READ_REG, JT_READ_MEM, JT_HALT, JT_CONTINUE}) {
        Job J = MakeJob(Type);
        ASSERT_EQ(pQueue->Schedule(J), JOB_SCHEDULED);
    }
    for (U32 Type : {JT_HALT, JT_CONTINUE, JT_READ_REG, JT_READ_MEM}) {
        EXPECT_EQ(pQueue->Pick()->Type, U32(Type));
    }
}

TEST_F(CJobQueueTest, FindsAndCancelsByTypeRingAndProtection) {
    Job Free = MakeJob(JT_READ_MEM);
    Job Kept = MakeJob(JT_READ_MEM);
    Kept.Flags = JOB_FLAG_PROTECTED;
    Job Step = MakeJob(JT_STEP_OUT);
    pQueue->Schedule(Free);
    pQueue->Schedule(Kept);
    pQueue->Schedule(Step);
    U32 Ring = 9;
    EXPECT_EQ(pQueue->Find(JT_READ_MEM, RING_OF_TYPE, &Ring), 0);
    EXPECT_EQ(Ring, 1u);
    EXPECT_EQ(pQueue->Find(JT_READ_MEM, 0), -1);
    EXPECT_EQ(pQueue->Find(JT_READ_MEM, RING_ALL), 0);
    EXPECT_TRUE(pQueue->IsQueued(JT_STEP_ANY));
    EXPECT_FALSE(pQueue->IsQueued(JT_STEP_INTO));

    EXPECT_EQ(pQueue->Cancel(JT_READ_MEM, 2), 0);
    EXPECT_EQ(pQueue->Cancel(JT_READ_MEM, RING_OF_TYPE), 1);
    pQueue->Pick();
    EXPECT_FALSE(pQueue->IsPending(pQueue->Pick(), Free.SeqNo));
    const Job* pKept = pQueue->Pick();
    EXPECT_TRUE(pQueue->IsPending(pKept, Kept.SeqNo));
    pQueue->Schedule(Free);
    pQueue->MarkAllDone();
    EXPECT_FALSE(pQueue->IsPending(pQueue->Pick(), Free.SeqNo));
}

TEST(DeviceEvents, RingAndTextsHaveTheirLimits) {
    auto pEvents = std::make_unique<CDeviceEvents>();
    for (U32 i = 0; i < EVENT_RING_SIZE; i++) {
        ASSERT_EQ(pEvents->Post(DEV_EVENT_SET_PROGRESS_VALUE, i), 0);
    }
    EXPECT_EQ(pEvents->Post(DEV_EVENT_CONNECTION_LOST), -1);
    EXPECT_EQ(pEvents->Take().A, 0u);
    EXPECT_EQ(pEvents->Post(DEV_EVENT_CONNECTION_LOST), 0);
    pEvents->Reset();
    EXPECT_EQ(pEvents->Take().Kind, U32(DEV_EVENT_NONE));
    pEvents->PostText(DEV_EVENT_SET_STATUS_MSG, QByteArray(2000, 'x'));
    EXPECT_EQ(pEvents->GetText(pEvents->Take().A).size(), qsizetype(EVENT_TEXT_SIZE));
}

TEST_F(CDispatchTest, EveryJobReachesAListenerOfItsOwn) {
    // Whatever a type's operation does with its buffers must work on a full record, done or failed. The jobs come
    // from within a delivery, as they do in life.
    struct CFeeder : CDeviceEventListener {
        explicit CFeeder(CRecorder* pRecorder) : pTarget(pRecorder) {}
        void OnDeviceConnectionLost() override {
            for (U32 Type = JT_CONNECT; Type < JT_ANY; Type++) {
                for (U32 Status : {JOB_STATUS_DONE, JOB_STATUS_FAILED}) {
                    Job J = JobWithBuf(Type);
                    J.Status = Status;
                    pTarget->OnDeviceJobDone(&J);
                    JobFreeBufs(&J);
                }
            }
        }
        CRecorder* pTarget;
    } Feeder(&Listener);
    pDevice->EventRing().Post(DEV_EVENT_CONNECTION_LOST);
    pDevice->DeliverEvents(1);
    EXPECT_TRUE(Listener.Heard.contains("ConnectDone 0"));
    EXPECT_TRUE(Listener.Heard.contains("ResetFailed 0 0"));
    EXPECT_EQ(Listener.Heard.count("Stepped 0"), 8);
    EXPECT_EQ(Listener.Heard.count("BPStateChanged"), 10);
    EXPECT_EQ(Listener.Heard.count("WPStateChanged"), 6);
    EXPECT_EQ(Listener.Heard.count("WriteAccess"), 0); // the session is not ready
}

TEST_F(CDispatchTest, ListenersHearInOrderOfConstructionAndMayGo) {
    struct CNamed : CDeviceEventListener {
        CNamed(QStringList* pHeard, const char* sName) : pList(pHeard), sOwn(sName) {}
        void OnDeviceConnectionLost() override {
            *pList += sOwn;
            pVictim.reset();
        }
        QStringList* pList;
        QString sOwn;
        std::unique_ptr<CDeviceEventListener> pVictim;
    };
    QStringList Heard;
    CNamed First(&Heard, "first");
    auto pSecond = std::make_unique<CNamed>(&Heard, "second");
    CNamed Third(&Heard, "third");
    First.pVictim = std::move(pSecond); // goes while the list is walked
    pDevice->EventRing().Post(DEV_EVENT_CONNECTION_LOST);
    pDevice->DeliverEvents(1);
    EXPECT_EQ(Heard, QStringList({"first", "third"}));
}

TEST_F(CJobsTest, WritesAreAnnouncedOnlyInASession) {
    ConnectHalted(0x8000);
    pDevice->PostWriteReg(3, 7);
    EXPECT_EQ(Pass(), QStringList({"WriteAccess", "WriteRegDone 3 7"}));
    pDevice->PostWriteReg(NOVIK_REG_PC, 0x9000);
    EXPECT_EQ(Pass(), QStringList({"WriteAccess", "WriteRegDone f 9000", "HaltDone 9000 1"}));
    pDevice->ClearSessionReady();
    pDevice->PostWriteReg(3, 7);
    EXPECT_EQ(Pass(), QStringList("WriteRegDone 3 7"));
}

TEST_F(CJobsTest, ReadsBehindAContinueAreCancelledUnlessProtected) {
    ConnectHalted(0x8000);
    Fake.Poke(0x100, QByteArray(8, 1));
    CDeviceDataProvider Provider(*pDevice);
    struct CSpy : CDeviceEventListener {
        void OnDeviceReadMemDone(U32 Addr, U32, U8*, U8*) override { Addrs += Addr; }
        QList<U32> Addrs;
    } Spy;
    pDevice->SetDataProvider(&Spy);
    pDevice->PostReadMem(0x100, 4, 0, 0, 0, false);
    pDevice->PostReadMem(0x104, 4, 0, 0, 0, true);
    pDevice->PostContinue();
    Pass();
    EXPECT_EQ(Spy.Addrs, QList<U32>({0x104}));
    pDevice->SetDataProvider(&Provider);
}

TEST_F(CJobsTest, SuppressedJobsRunUnheard) {
    pDevice->SetSuppressByte(JT_CONNECT, 1);
    pDevice->PostConnect(CM_ATTACH);
    EXPECT_FALSE(Pass().contains("ConnectDone 1"));
    EXPECT_TRUE(pDevice->IsConnected());
    EXPECT_EQ(Fake.CountCalls("Connect"), 1);
}

TEST_F(CJobsTest, SilentModesAndOutdatedHaltsAreSkipped) {
    for (CONNECT_MODES Mode : {CM_CONNECT_ONLY, CM_SILENT}) {
        pDevice->PostConnect(Mode);
        EXPECT_FALSE(Pass().join(' ').contains("Connect")) << Mode;
    }
    Fake.HaltStatus = 1;
    Pass();
    pDevice->PostReset(RM_SILENT);
    EXPECT_FALSE(Pass().join(' ').contains("Reset"));
    // A halt whose PC is no longer the PC.
    pDevice->MarkSessionReady();
    T().State.Regs[REG_IDX_PC] = 0x4444;
    EXPECT_EQ(Pass(), QStringList());
}

TEST_F(CJobsTest, OfTwoStepsOnlyTheLastIsHeard) {
    ConnectHalted(0x8000);
    pDevice->PostStepInst();
    pDevice->PostStepInst();
    EXPECT_EQ(Pass(), QStringList({"AboutToStep", "AboutToStep", "StepInstDone 8004", "Stepped 8004"}));
}

TEST_F(CJobsTest, AFullRingIsReported) {
    for (U32 i = 0; i < JOB_RING_SIZE; i++) {
        ASSERT_EQ(pDevice->PostReadReg(0), 0);
    }
    pDevice->EventRing().Reset();
    EXPECT_EQ(pDevice->PostReadReg(0), -1);
    Pass();
    EXPECT_TRUE(Listener.Log.contains("Job JT_READ_REG not scheduled. Queue is full."));
}

TEST_F(CJobsTest, APassRunsAtMostAHundredJobs) {
    for (int i = 0; i < 150; i++) {
        pDevice->PostReadReg(0);
    }
    EXPECT_EQ(pDevice->RunPass(), 100);
    EXPECT_EQ(pDevice->RunPass(), 50);
}

TEST_F(CJobsTest, AWaitEndsWithItsJobOrItsTime) {
    EXPECT_EQ(pDevice->WaitForJob(JT_READ_MEM), 1);
    pDevice->PostReadMem(0, 4, 0, 0, 0);
    Clock.SetStep(3000);
    EXPECT_EQ(pDevice->WaitForJob(JT_READ_MEM, false), -1); // nobody runs jobs
    pDevice->Queue().Cancel(JT_READ_MEM, RING_OF_TYPE);
    EXPECT_EQ(pDevice->WaitForJob(JT_READ_MEM, false), 1); // not pending
    Clock.SetStep(0);
    pDevice->DeliverEvents(100);
    EXPECT_TRUE(Listener.Log.contains("Timeout while waiting for Job JT_READ_MEM"));
}

// The following run the real thread: they are what the thread sanitizer looks at.

TEST_F(CJobsTest, TheThreadServesBlockingReads) {
    Fake.Poke(0x20000000, "abcdefgh");
    Fake.HaltStatus = 1;
    Fake.Regs[4] = 0x1234;
    pDevice->start();
    CDeviceDataProvider Provider(*pDevice);
    pDevice->PostConnect(CM_ATTACH_HALT);
    EXPECT_GE(pDevice->WaitForJob(JT_CONNECT), 0); // 1 if it was over before the wait began
    U8 aData[10] = {};
    U8 aStatus[10] = {};
    EXPECT_EQ(pDevice->ReadMemBlocking(0x20000000, 8, aData), 0);
    EXPECT_EQ(std::memcmp(aData, "abcdefgh", 8), 0);
    EXPECT_EQ(pDevice->ReadMemBlocking(0x20000000, 10, aData, aStatus), -1);
    EXPECT_EQ(aStatus[7], 0);
    EXPECT_EQ(aStatus[8], 1);
    Clock.Advance(1000);
    I64 Value = 0;
    EXPECT_EQ(pDevice->ReadRegBlocking(4, &Value), 0);
    EXPECT_EQ(Value, 0x1234);
    EXPECT_EQ(pDevice->ReadRegBlocking(90, &Value), -1);
    EXPECT_EQ(Value, -1);
}

TEST_F(CJobsTest, AReadOnASlowLinkPumpsAndCanBeCancelled) {
    static std::binary_semaphore Link(0);
    static CDeviceDataProvider* pProvider = nullptr;
    static int NumPumps = 0;
    Fake.Poke(0x20000000, "abcd");
    Fake.HaltStatus = 1;
    Fake.Hooks["ReadMemU32"] = [] { Link.acquire(); };
    pDevice->start();
    CDeviceDataProvider Provider(*pDevice);
    pProvider = &Provider;
    pDevice->PostConnect(CM_ATTACH_HALT);
    EXPECT_GE(pDevice->WaitForJob(JT_CONNECT), 0);
    Clock.SetStep(1);
    bool (*const apfPump[])() = {
        [] { return ++NumPumps < 5; },                                                     // the program is to end
        [] { return ++NumPumps < 5 || pProvider->Direct().CancelWaits() || NumPumps < 9; } // the user has cancelled it
    };
    for (bool (*pfPump)() : apfPump) {
        NumPumps = 0;
        Provider.Direct().SetPump(pfPump);
        U32 Value = 0;
        EXPECT_EQ(pDevice->ReadMemBlocking(0x20000000, 4, &Value), -1);
        EXPECT_EQ(NumPumps, 5);
        Link.release(); // the call ends behind the wait
    }
    EXPECT_FALSE(Provider.Direct().CancelWaits());
}

// What a waiter is told of the ring: once, until it has looked. Without a target nothing is waited for but jobs.
TEST_F(CJobsTest, AnEmptyRingNotifiesAndAThreadWithoutATargetSleeps) {
    int NumNotices = 0;
    CDeviceEvents& Ring = pDevice->EventRing();
    Ring.SetNotifier([&] { NumNotices++; });
    Ring.Post(DEV_EVENT_CONNECTION_LOST);
    Ring.Post(DEV_EVENT_CONNECTION_LOST);
    EXPECT_EQ(NumNotices, 1);
    Ring.TakeNotice();
    EXPECT_FALSE(Ring.IsEmpty());
    Ring.Post(DEV_EVENT_CONNECTION_LOST);
    EXPECT_EQ(NumNotices, 2);
    pDevice->DeliverEvents(10);
    EXPECT_TRUE(Ring.IsEmpty());
    Ring.SetNotifier(nullptr);
    EXPECT_EQ(T().HaltSeq.GetIdleMs(), WAIT_FOR_EVER);
    ConnectHalted(0x100);
    EXPECT_LT(T().HaltSeq.GetIdleMs(), 1000u);
    Resume();
    EXPECT_LE(T().HaltSeq.GetIdleMs(), 51u);
}

TEST_F(CJobsTest, StopEndsTheThreadAndClosesTheProbe) {
    pDevice->start();
    pDevice->PostConnect(CM_ATTACH);
    EXPECT_GE(pDevice->WaitForJob(JT_CONNECT), 0); // 1 if it was over before the wait began
    pDevice->PostSetBreakpoint(0x100, BP_STATE_ON, BP_TYPE_ANY);
    pDevice->MarkAllPendingJobsDone();
    pDevice->RequestStop();
    EXPECT_TRUE(pDevice->wait());
    EXPECT_FALSE(pDevice->IsConnected());
    EXPECT_EQ(Fake.CountCalls("ClrBPEx all"), 1);
    EXPECT_EQ(Fake.CountCalls("Close"), 1);
}

TEST_F(CJobsTest, ManyThreadsMaySchedule) {
    pDevice->start();
    constexpr int NUM_THREADS = 4;
    constexpr int NUM_JOBS = 500;
    std::vector<std::thread> Threads;
    for (int i = 0; i < NUM_THREADS; i++) {
        Threads.emplace_back([this] {
            for (int n = 0; n < NUM_JOBS; n++) {
                pDevice->PostSetBreakpoint(U32(n), BP_STATE_ON, BP_TYPE_ANY);
                pDevice->IsJobQueued(JT_SET_BP);
                pDevice->GetBreakpoints();
            }
        });
    }
    for (std::thread& Thread : Threads) {
        Thread.join();
    }
    while (pDevice->WaitForJob(JT_SET_BP, false) == 0) {
        pDevice->DeliverEvents(100);
    }
    pDevice->RequestStop();
    pDevice->wait();
    while (pDevice->DeliverEvents(100)) {
    }
    EXPECT_EQ(Listener.Heard.filter("SetBPDone").size(), NUM_THREADS * NUM_JOBS);
    EXPECT_EQ(pDevice->GetBreakpoints().size(), qsizetype(BP_LIST_SIZE));
    EXPECT_EQ(pDevice->Queue().Counters().NumReleased, U64(NUM_THREADS * NUM_JOBS));
}
