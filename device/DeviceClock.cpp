#include "device/DeviceClock.h"

#include <chrono>
#include <thread>

U64 CDeviceClock::NowMs() {
    const auto Now = std::chrono::steady_clock::now().time_since_epoch();
    return U64(std::chrono::duration_cast<std::chrono::milliseconds>(Now).count());
}

void CDeviceClock::SleepMs(U32 NumMs) { std::this_thread::sleep_for(std::chrono::milliseconds(NumMs)); }
