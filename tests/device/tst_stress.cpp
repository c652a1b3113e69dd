// Random jobs, cancels, faults and connections on the simulated target, with the device thread as in the program: each
// job ends once, and nothing gets stuck. BRASK_STRESS_JOBS, BRASK_STRESS_CONNECTS and BRASK_STRESS_SEED make a long
// run.

#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/DeviceEventListener.h"
#include "device/NovikFuncs.h"

#include <QHash>
#include <QSet>
#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace {

constexpr U32 RAM = 0x20000000;
constexpr U32 FLASH = 0x08000000;
constexpr U32 NUM_IN_FLIGHT = 50;
constexpr U32 NUM_IN_BURST = 4000; ///< less than half a ring
constexpr int SETTLE_MS = 60'000;
constexpr U64 CLOCK_SPEED = 20; ///< time-outs of seconds would leave no time for jobs

U32 Setting(const char* sName, U32 Default) {
    bool IsNumber = false;
    const U32 Value = qEnvironmentVariable(sName).toUInt(&IsNumber);
    return IsNumber ? Value : Default;
}

class CFastClock : public CDeviceClock {
public:
    U64 NowMs() override {
        const auto Now = std::chrono::steady_clock::now().time_since_epoch();
        return U64(std::chrono::duration_cast<std::chrono::milliseconds>(Now * CLOCK_SPEED).count());
    }
    void SleepMs(U32 NumMs) override {
        std::this_thread::sleep_for(std::chrono::microseconds(NumMs * 1000 / CLOCK_SPEED));
    }
};

class CStress : public testing::Test, protected CDeviceEventListener {
protected:
    CStress() : Device(LoadNovikLibrary(), Clock), m_Random(Setting("BRASK_STRESS_SEED", 1)) {
        Device.SetDataProvider(this); // reads come here alone, all else through the list
        Device.start();
        Post<SET_CONFIG_PARAM_JOB>(DEV_CFG_DEVICE_NAME, QByteArray("Cortex-M4"));
        Post<SET_CONFIG_PARAM_JOB>(DEV_CFG_TARGET_IF, int(NOVIK_TIF_SWD));
    }
    ~CStress() override { Device.SetDataProvider(nullptr); }

    U32 Rand(U32 Below) { return U32(m_Random() % Below); }

    template <class VIEW, class... ARGS> void Post(const ARGS&... Args) {
        CPackedJob Packed;
        ASSERT_TRUE(VIEW::Pack(Packed, Args...));
        Job J = Packed.Take();
        ASSERT_EQ(Device.PostJob(J), 0) << "a slot was never released";
        m_Waiting.insert(J.SeqNo, J.Type);
    }

    void OnDeviceJobDone(Job* pJob) override {
        CDeviceEventListener::OnDeviceJobDone(pJob);
        if (pJob->SeqNo == 0) {
            return; // a completion record
        }
        if (pJob->Status == JOB_STATUS_DROPPED) { // a read that was cancelled, and is counted as such
            EXPECT_TRUE(m_Waiting.remove(pJob->SeqNo));
            return;
        }
        m_NumHeard++;
        // The device thread makes jobs of its own to let the target go on.
        const bool IsKnown = m_Waiting.remove(pJob->SeqNo) != 0;
        EXPECT_TRUE(IsKnown || pJob->Type == JT_CONTINUE) << pJob->SeqNo << " was heard of twice";
        if (!IsKnown) {
            EXPECT_FALSE(m_Continues.contains(pJob->SeqNo));
            m_Continues.insert(pJob->SeqNo);
        }
        m_NumFailed += pJob->Status != JOB_STATUS_DONE;
    }
    void OnDeviceEvalBPCondition(U32 Addr) override { Device.FinishConditionalHalt(Addr, Rand(2) != 0); }
    void OnDeviceConnectionLost() override { m_NumLost++; }

    U32 Addr() { return (Rand(8) ? RAM : Rand(2) ? FLASH : U32(m_Random())) + Rand(512); }
    WP RandomWP() {
        WP Wp;
        Wp.Addr = RAM + Rand(16) * 4;
        Wp.AddrMask = Rand(4) ? 0 : 0xF;
        Wp.Data = Rand(4);
        Wp.DataMask = Rand(2) ? ~0u : 0;
        Wp.State = BP_STATES(Rand(4));
        Wp.AccessType = Rand(3);
        Wp.AccessSize = Rand(2) ? 4 : Rand(3);
        return Wp;
    }
    void PostAccess();
    void PostBreak();
    void PostRun();
    void PostFault();
    void Disturb();
    void Settle();
    void CheckSums();

    CFastClock Clock;
    CDevice Device;
    U64 m_NumHeard = 0, m_NumUnheard = 0, m_NumFailed = 0, m_NumLost = 0;

private:
    std::mt19937 m_Random;
    QHash<U64, U32> m_Waiting; ///< type by number of the jobs that no event has told of
    QSet<U64> m_Continues;
};

void CStress::PostAccess() {
    const U32 Flags = Rand(64) & (MEM_FLAG_HW_READ | MEM_FLAG_ITEMWISE | MEM_FLAG_HALT | MEM_FLAG_DOWNLOAD);
    const U32 Size = Rand(16) ? 1 + Rand(64) : 1 + Rand(9000);
    const U32 Chunk = Rand(2) ? 0 : 1 + Rand(600);
    ARM_CPR Cpr{Rand(2) ? 15u : 14u, {Rand(16), Rand(16), Rand(16), Rand(16)}};
    const ELF_SYM_LOC Loc{ELF_LOC_MEM + Rand(4), Addr(), Rand(20), I32(Rand(8)), {}, 0};
    switch (Rand(14)) {
    case 0:
    case 1:
    case 2:
        return Post<READ_MEM_JOB>(Addr(), Size, Chunk, Rand(2) ? 4u : 255u, Flags & ~MEM_FLAG_DOWNLOAD, Rand(2) != 0,
                                  Rand(8) == 0);
    case 3:
        return Post<WRITE_MEM_JOB>(Addr(), QByteArray(qsizetype(Size), 'x'), Chunk, Rand(2) * 4, Flags);
    case 4: {
        const U32 Start = Addr() & 0x7FFFFFFF;
        const QList<MEM_RANGE> Ranges = {{Start, Start + Size}, {Start + 0x1000, Start + 0x1000 + Size}};
        return Post<WRITE_MEM_MULTIPLE_JOB>(Ranges, QByteArray(qsizetype(2 * Size), 'y'), Chunk, 0u, Flags);
    }
    case 5:
        return Post<END_DOWNLOAD_JOB>(Rand(2) != 0, QByteArray());
    case 6:
        return Post<READ_REG_JOB>(Rand(90), Rand(2) != 0);
    case 7:
        return Post<WRITE_REG_JOB>(Rand(16), I64(Rand(2) ? RAM + 0x100 : m_Random()));
    case 8:
        return Post<READ_REGS_JOB>(QList<U32>{0, Rand(90), Rand(20)});
    case 9:
        return Rand(2) ? Post<READ_CP_REG_JOB>(Cpr) : Post<WRITE_CP_REG_JOB>(Cpr, Rand(9));
    case 10:
        return Rand(2) ? Post<READ_LOCATION_JOB>(Loc, Rand(9))
                       : Post<READ_LOCS_JOB>(QList<ELF_SYM_LOC>(3, Loc), U64(7));
    case 11:
        return Post<WRITE_LOCATION_JOB>(Loc, QByteArray(qsizetype(1 + Rand(8)), 'z'));
    case 12:
        return Rand(2) ? Post<DISASS_INSTS_JOB>(QList<U32>{Addr(), RAM}) : Post<RESET_TARGET_EXEC_STATE_JOB>();
    default:
        return Post<DISASS_ARANGE_JOB>(RAM, RAM + Rand(256), Rand(2) != 0);
    }
}

void CStress::PostBreak() {
    const U32 At = (Rand(2) ? RAM : FLASH) + 2 * Rand(200);
    switch (Rand(9)) {
    case 0:
    case 1:
        return Post<SET_BP_JOB>(At, BP_STATES(Rand(5)), BP_TYPES(Rand(3)));
    case 2: {
        QList<U32> Addrs(1 + qsizetype(Rand(40)));
        std::generate(Addrs.begin(), Addrs.end(), [this] { return RAM + 2 * Rand(400); });
        return Post<SET_BPS_JOB>(Addrs, Rand(2) ? BP_STATE_ON : BP_STATE_DISABLED, BP_TYPES(Rand(3)));
    }
    case 3:
        return Post<CLEAR_BP_JOB>(At);
    case 4:
        return Post<CLEAR_BPS_JOB>(QList<U32>{At, At + 2, At + 4});
    case 5:
        return Rand(20) ? Post<RESET_BPS_JOB>() : Post<CLEAR_ALL_BPS_JOB>();
    case 6:
        return Post<SET_WPS_JOB>(QList<WP>{RandomWP(), RandomWP()});
    case 7:
        return Post<CLEAR_WPS_JOB>(QList<WP>{RandomWP()});
    default:
        return Rand(4) ? Device.SetBPHasCondition(At, Rand(2) != 0) : Post<CLEAR_ALL_WPS_JOB>();
    }
}

void CStress::PostRun() {
    switch (Rand(9)) {
    case 0:
        return Post<CONTINUE_JOB>(GO_USER);
    case 1:
    case 2:
        return Post<HALT_JOB>();
    case 3:
        return Post<STEP_INST_JOB>();
    case 4:
        return Rand(2) ? Post<STEP_INTO_JOB>() : Post<STEP_OVER_JOB>();
    case 5:
        return Post<STEP_OUT_JOB>();
    case 6:
        return Post<RUN_TO_JOB>(RAM + 0x100 + 2 * Rand(4));
    case 7:
        return Post<RESET_JOB>(RESET_MODES(Rand(5)));
    default:
        return Post<CONNECT_JOB>(CONNECT_MODES(Rand(5)));
    }
}

void CStress::PostFault() {
    static constexpr const char* aFault[] = {"SimFailRange 0x20000040 8 rw",
                                             "SimShortReads 5",
                                             "SimFailRegister 3",
                                             "SimFailBreakpoints 1",
                                             "SimFailReset 1",
                                             "SimHaltStatus lost",
                                             "SimFailDownload verify",
                                             "SimLoseAfterCalls 9",
                                             "SimFailConnect 1",
                                             "SimFaultsOff",
                                             "SimFaultsOff"};
    Post<EXEC_NOVIK_CMD_JOB>(QByteArray(aFault[Rand(std::size(aFault))]));
    if (Rand(2) == 0) {
        Post<DISCONNECT_JOB>();
        Post<CONNECT_JOB>(CM_ATTACH);
    }
}

/// What other threads do beside jobs.
void CStress::Disturb() {
    static constexpr U32 aType[] = {JT_ANY, JT_READ_MEM, JT_WRITE_MEM, JT_DISASS_ARANGE, JT_STEP_ANY, JT_SET_BP};
    const U64 Last = Device.Queue().LastSeqNo();
    switch (Rand(7)) {
    case 0:
        Device.Queue().Cancel(aType[Rand(std::size(aType))], int(Rand(5)));
        break;
    case 1:
        Device.CancelTransfer();
        break;
    case 2:
        Device.Queue().CancelNumbered(Last - Rand(40), Last);
        break;
    case 3:
        Device.SetSuppressByte(Rand(JT_LAST), U8(Rand(8) == 0));
        break;
    case 4:
        Rand(2) ? Device.MarkSessionReady() : Device.ClearSessionReady();
        break;
    case 5:
        Device.RequestInitTargetSPandPC();
        Device.SetDeferredResetMode(RM_RESET_HALT);
        break;
    default:
        if (Device.LockScheduler([] { return true; })) {
            Device.UnlockScheduler();
        }
    }
}

void CStress::Settle() {
    const auto Start = std::chrono::steady_clock::now();
    const auto IsRunning = [this] { // from Pick() until the event is on its way
        return Device.Queue().Counters().NumStarted != Device.Queue().NumFinished();
    };
    while (Device.DeliverEvents(1000) || !Device.IsIdle() || IsRunning() || !Device.EventRing().IsEmpty()) {
        ASSERT_LT(std::chrono::steady_clock::now() - Start, std::chrono::milliseconds(SETTLE_MS)) << "a ring is stuck";
        std::this_thread::yield();
    }
}

void CStress::CheckSums() {
    Settle();
    const auto& Sums = Device.Queue().Counters();
    EXPECT_EQ(Sums.NumStarted, Device.Queue().LastSeqNo());
    EXPECT_EQ(Sums.NumStarted, m_NumHeard + Sums.NumCancelled + Sums.NumSilent + Sums.NumSkipped);
    m_NumUnheard += U64(m_Waiting.size());
    EXPECT_LE(m_NumUnheard, Sums.NumCancelled + Sums.NumSilent + Sums.NumSkipped);
    m_Waiting.clear();
    m_Continues.clear();
    EXPECT_LE(Device.GetBreakpoints().size(), qsizetype(BP_LIST_SIZE));
}

TEST_F(CStress, EachJobEndsOnceWhateverHappens) {
    const U32 NumJobs = Setting("BRASK_STRESS_JOBS", 20'000);
    Post<CONNECT_JOB>(CM_ATTACH);
    U32 NextCheck = 0;
    while (Device.Queue().LastSeqNo() < NumJobs && !HasFailure()) {
        const U32 Kind = Rand(1000);
        Kind < 700 ? PostAccess() : Kind < 880 ? PostBreak() : Kind < 980 ? PostRun() : PostFault();
        if (Rand(20) == 0) {
            Disturb();
        }
        const U32 Limit = Device.Queue().LastSeqNo() % 10'000 < NUM_IN_BURST / 4 ? NUM_IN_BURST : NUM_IN_FLIGHT;
        const auto& Sums = Device.Queue().Counters();
        while (Rand(8) == 0 || Device.Queue().LastSeqNo() - Sums.NumStarted > Limit) {
            Device.DeliverEvents(int(Rand(400)));
        }
        if (Device.Queue().LastSeqNo() >= NextCheck) {
            CheckSums();
            NextCheck += 10'000;
        }
    }
    CheckSums();
    const auto& Sums = Device.Queue().Counters();
    EXPECT_TRUE(m_NumLost > 0 && m_NumFailed > 0 && Sums.NumCancelled > 0) << "nothing was tried";
    std::printf(
        "%llu jobs: %llu done, %llu failed, %llu cancelled, %llu silent, %llu out of date; connection lost %llu "
        "times\n",
        static_cast<unsigned long long>(Sums.NumStarted), static_cast<unsigned long long>(m_NumHeard - m_NumFailed),
        static_cast<unsigned long long>(m_NumFailed), static_cast<unsigned long long>(Sums.NumCancelled),
        static_cast<unsigned long long>(Sums.NumSilent), static_cast<unsigned long long>(Sums.NumSkipped),
        static_cast<unsigned long long>(m_NumLost));
}

TEST_F(CStress, ConnectsAndDisconnectsLeaveNothingBehind) {
    const U32 NumConnects = Setting("BRASK_STRESS_CONNECTS", 50);
    Post<SET_BPS_JOB>(QList<U32>{RAM, RAM + 4}, BP_STATE_ON, BP_TYPE_ANY);
    Post<SET_WPS_JOB>(QList<WP>{RandomWP()});
    for (U32 i = 0; i < NumConnects && !HasFailure(); i++) {
        Post<CONNECT_JOB>(CM_ATTACH);
        Post<SET_BPS_JOB>(QList<U32>{RAM + 2 * Rand(300)}, BP_STATE_ON, BP_TYPE_SOFT);
        Post<READ_MEM_JOB>(RAM, 16u, 0u, 0u, 0u);
        if (Rand(4) == 0) {
            Settle();
        }
        Post<DISCONNECT_JOB>();
        Device.DeliverEvents(100);
    }
    CheckSums();
    EXPECT_FALSE(Device.IsConnected());
    Post<CONNECT_JOB>(CM_ATTACH);
    CheckSums();
    ASSERT_TRUE(Device.LockScheduler([] { return true; })); // the device thread leaves the probe alone
    for (const BPEntry& Entry : Device.GetBreakpoints()) {
        EXPECT_NE(Device.Target().BPs.GetNovikBPHandle(Entry.Addr), 0u) << Entry.Addr;
    }
    Device.UnlockScheduler();
}

} // namespace
