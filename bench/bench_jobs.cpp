// Cost of the device thread itself: the probe answers at once. Prints lines "name value unit peer peer-value ratio".
// The peer of the round trip is a bare hand-over to another thread and back through condition variables, measured in
// the same run.

#include "bench/BenchDevice.h"

#include <QCoreApplication>
#include <atomic>
#include <cstdio>
#include <vector>

namespace {

constexpr int NUM_ROUND_TRIPS = 20000;
constexpr int NUM_SLOW_ROUND_TRIPS = 1000;
constexpr std::chrono::microseconds SLEEP(1000); ///< long enough for both threads, and a core, to sleep
constexpr int NUM_QUEUED_JOBS = 200000;
constexpr int BATCH = 5000; ///< jobs in flight; half a ring

/// As many threads as the machine has cores, which do nothing but take their time.
class CBusyCores {
public:
    CBusyCores() {
        for (unsigned i = 0; i < std::thread::hardware_concurrency(); i++) {
            m_Threads.emplace_back([this] {
                while (!m_IsOver.load(std::memory_order_relaxed)) {
                }
            });
        }
    }
    ~CBusyCores() {
        m_IsOver = true;
        for (std::thread& Thread : m_Threads) {
            Thread.join();
        }
    }
    CBusyCores(const CBusyCores&) = delete;
    CBusyCores& operator=(const CBusyCores&) = delete;

private:
    std::atomic<bool> m_IsOver{false};
    std::vector<std::thread> m_Threads;
};

double MeasureRoundTrip(CDevice& Device, int Count, std::chrono::microseconds Pause) {
    U32 Data = 0;
    int NumFailed = 0;
    const double Result =
        MeasureCalls(Count, Pause, [&] { NumFailed += Device.ReadMemBlocking(0x20000000, sizeof(Data), &Data) != 0; });
    if (NumFailed) {
        std::fprintf(stderr, "%d reads failed\n", NumFailed);
    }
    return Result;
}

void PrintRoundTrip(CDevice& Device, const char* sName, int Count, std::chrono::microseconds Pause) {
    const double HandOver = MeasureHandOver(Count, Pause);
    const double RoundTrip = MeasureRoundTrip(Device, Count, Pause);
    std::printf("%s %.2f us thread_hand_over %.2f %.2f\n", sName, RoundTrip, HandOver, RoundTrip / HandOver);
}

double MeasureThroughput(CDevice& Device) {
    const auto Start = CLOCK::now();
    for (int n = 0; n < NUM_QUEUED_JOBS; n += BATCH) {
        for (int i = 0; i < BATCH; i++) {
            Device.PostReadMem(0x20000000, 4, 0, 0, 0);
        }
        for (int NumDelivered = 0; NumDelivered < BATCH;) {
            const int Count = Device.DeliverEvents(BATCH);
            NumDelivered += Count;
            if (Count == 0) {
                std::this_thread::yield();
            }
        }
    }
    return NUM_QUEUED_JOBS / SecondsSince(Start);
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication App(argc, argv);
    const NOVIK_FUNCS Funcs = InstantProbe();
    CDeviceClock Clock;
    CDevice Device(Funcs, Clock);
    const CDeviceDataProvider Provider(Device);
    ConnectInstantly(Device);
    PrintRoundTrip(Device, "job_round_trip", NUM_ROUND_TRIPS, {});
    PrintRoundTrip(Device, "job_round_trip_from_sleep", NUM_SLOW_ROUND_TRIPS, SLEEP);
    {
        const CBusyCores Busy;
        PrintRoundTrip(Device, "job_round_trip_busy", NUM_SLOW_ROUND_TRIPS, {});
    }
    std::printf("jobs_per_second %.0f 1/s - - -\n", MeasureThroughput(Device));
    return 0;
}
