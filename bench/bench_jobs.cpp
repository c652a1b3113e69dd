// Cost of the device thread itself: the probe answers at once. Prints lines "name value unit peer peer-value ratio".
// The peer of the round trip is a bare hand-over to another thread and back through condition variables, measured in
// the same run.

#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/DeviceDataProvider.h"
#include "device/NovikFuncs.h"

#include <QCoreApplication>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

namespace {

constexpr int NUM_ROUND_TRIPS = 20000;
constexpr int NUM_QUEUED_JOBS = 200000;
constexpr int BATCH = 5000; ///< jobs in flight; half a ring

using CLOCK = std::chrono::steady_clock;

double SecondsSince(CLOCK::time_point Start) { return std::chrono::duration<double>(CLOCK::now() - Start).count(); }

NOVIK_FUNCS InstantProbe() {
    NOVIK_FUNCS Funcs = LoadNovikFuncs(QString());
    Funcs.sError.clear();
    Funcs.NOVIKARM_SelectUSB = [](int32_t) { return int8_t(0); };
    Funcs.NOVIKARM_Open = []() -> const char* { return nullptr; };
    Funcs.NOVIKARM_IsOpen = [] { return uint8_t(1); };
    Funcs.NOVIKARM_Connect = [] { return 0; };
    Funcs.NOVIKARM_IsConnected = [] { return uint8_t(1); };
    Funcs.NOVIKARM_IsHalted = [] { return int8_t(1); };
    Funcs.NOVIKARM_ReadMemU32 = [](uint32_t, uint32_t, uint32_t* pData, uint8_t* pStatus) {
        *pData = 0;
        *pStatus = 0;
        return int32_t(1);
    };
    return Funcs;
}

// One item handed to a thread and back, as the round trip of a job is at its cheapest.
double MeasureHandOver() {
    std::mutex Mutex;
    std::condition_variable Changed;
    int Turn = 0;
    std::thread Other([&] {
        for (int i = 0; i < NUM_ROUND_TRIPS; i++) {
            std::unique_lock Lock(Mutex);
            Changed.wait(Lock, [&] { return Turn == 1; });
            Turn = 0;
            Changed.notify_one();
        }
    });
    const auto Start = CLOCK::now();
    for (int i = 0; i < NUM_ROUND_TRIPS; i++) {
        std::unique_lock Lock(Mutex);
        Turn = 1;
        Changed.notify_one();
        Changed.wait(Lock, [&] { return Turn == 0; });
    }
    const double Seconds = SecondsSince(Start);
    Other.join();
    return Seconds / NUM_ROUND_TRIPS * 1e6;
}

double MeasureRoundTrip(CDevice& Device) {
    U32 Data = 0;
    const auto Start = CLOCK::now();
    for (int i = 0; i < NUM_ROUND_TRIPS; i++) {
        if (Device.ReadMemBlocking(0x20000000, sizeof(Data), &Data) != 0) {
            std::fprintf(stderr, "read %d failed\n", i);
            return 0;
        }
    }
    return SecondsSince(Start) / NUM_ROUND_TRIPS * 1e6;
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
    CDeviceDataProvider Provider(Device);
    Device.start();
    Device.PostConnect(CM_SILENT);
    Device.WaitForJob(JT_CONNECT);
    while (!Device.IsStateValid()) {
        std::this_thread::yield();
    }
    Device.DeliverEvents(1000);
    const double HandOver = MeasureHandOver();
    const double RoundTrip = MeasureRoundTrip(Device);
    std::printf("job_round_trip %.2f us thread_hand_over %.2f %.2f\n", RoundTrip, HandOver, RoundTrip / HandOver);
    std::printf("jobs_per_second %.0f 1/s - - -\n", MeasureThroughput(Device));
    return 0;
}
