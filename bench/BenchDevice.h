#pragma once

// A device on a probe that answers at once, and the bare hand-over between two threads beside which its jobs are timed.

#include "device/Device.h"
#include "device/DeviceClock.h"
#include "device/DeviceDataProvider.h"
#include "device/NovikFuncs.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

using CLOCK = std::chrono::steady_clock;

inline double SecondsSince(CLOCK::time_point Start) {
    return std::chrono::duration<double>(CLOCK::now() - Start).count();
}

/// 2 MiB that every address means, by its low bits; longer accesses than 1 MiB would pass its end.
inline U8* InstantMemory(U32 Addr) {
    static std::vector<U8> Memory(2 * 1024 * 1024);
    return &Memory[Addr % (1024 * 1024)];
}

/// A probe that answers at once.
inline NOVIK_FUNCS InstantProbe() {
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
    Funcs.NOVIKARM_ReadMemEx = [](uint32_t Addr, uint32_t NumBytes, void* pData, int32_t) {
        std::memcpy(pData, InstantMemory(Addr), NumBytes);
        return int32_t(NumBytes);
    };
    Funcs.NOVIKARM_WriteMemEx = [](uint32_t Addr, uint32_t NumBytes, const void* pData, int32_t) {
        std::memcpy(InstantMemory(Addr), pData, NumBytes);
        return int32_t(NumBytes);
    };
    return Funcs;
}

/// Starts the thread and waits until the target counts as halted.
inline void ConnectInstantly(CDevice& Device) {
    Device.start();
    Device.PostConnect(CM_SILENT);
    Device.WaitForJob(JT_CONNECT);
    while (!Device.IsStateValid()) {
        std::this_thread::yield();
    }
    Device.DeliverEvents(1000);
}

/// Microseconds of one call, with a pause in front of each that isn't counted.
template <class FN> double MeasureCalls(int Count, std::chrono::microseconds Pause, FN&& Fn) {
    CLOCK::duration Sum{};
    for (int i = 0; i < Count; i++) {
        if (Pause.count() != 0) {
            std::this_thread::sleep_for(Pause);
        }
        const auto Start = CLOCK::now();
        Fn();
        Sum += CLOCK::now() - Start;
    }
    return std::chrono::duration<double>(Sum).count() / Count * 1e6;
}

// One item handed to a thread and back, as the round trip of a job is at its cheapest.
inline double MeasureHandOver(int Count, std::chrono::microseconds Pause) {
    std::mutex Mutex;
    std::condition_variable Changed;
    int Turn = 0;
    std::thread Other([&] {
        for (int i = 0; i < Count; i++) {
            std::unique_lock Lock(Mutex);
            Changed.wait(Lock, [&] { return Turn == 1; });
            Turn = 0;
            Changed.notify_one();
        }
    });
    const double Result = MeasureCalls(Count, Pause, [&] {
        std::unique_lock Lock(Mutex);
        Turn = 1;
        Changed.notify_one();
        Changed.wait(Lock, [&] { return Turn == 0; });
    });
    Other.join();
    return Result;
}
