#pragma once
// A simulated microcontroller: processor and memories of one device, executed by a thread of its own.
//
// Threads: the CPU thread runs the processor in pieces of about 0.1 ms while m_Running is set. All other calls come
// from one caller thread, which takes the processor over between two pieces (CAccess): it announces itself in
// m_Requests, so that the CPU thread gives way, and holds the mutex. IsHalted needs no hand-over.

#include "probe/DeviceTable.h"
#include "probe/sim/Cpu.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace Sim {

// Samples of high speed sampling, filled by the CPU thread.
struct CSampler {
    static constexpr size_t MAX_BYTES = 16u << 20; // the newest samples are dropped beyond that

    struct CBlock {
        uint32_t Addr, NumBytes;
    };
    std::vector<CBlock> Blocks;
    uint64_t PeriodCycles = 0; // 0: off
    uint64_t NextCycle = 0;
    size_t SampleSize = 0;
    std::string Data;
    size_t ReadPos = 0;
};

class CSimTarget {
public:
    explicit CSimTarget(const Novik::CDeviceEntry& Device);
    ~CSimTarget();
    CSimTarget(const CSimTarget&) = delete;
    CSimTarget& operator=(const CSimTarget&) = delete;

    // False if the device's memories can't be allocated.
    bool IsGood() const { return m_Good; }
    const Novik::CDeviceEntry& GetDevice() const { return m_Device; }

    bool IsHalted() const { return !m_Running.load(std::memory_order_acquire); }
    void Halt();
    // Resumes; the instruction at the PC is executed even if a breakpoint is on it.
    void Go();
    // False if the target runs.
    bool Step();
    void Reset();
    // Without a debugger time stands still.
    void SetConnected(bool Connected);

    // The processor, parked. Other fields are the caller's while one of these lives.
    class CAccess {
    public:
        explicit CAccess(CSimTarget& Target);
        ~CAccess();
        CCpu* operator->() { return &m_Target.m_Cpu; }
        CCpu& operator*() { return m_Target.m_Cpu; }

    private:
        CSimTarget& m_Target;
    };

    // True once after a lockup; sText says where.
    bool TakeLockup(std::string& sText);

    CSampler Sampler;            // under CAccess
    bool StepInterrupts = false; // a step takes interrupts

private:
    static constexpr uint64_t PIECE = 16384; // instructions between two looks at m_Requests

    void ThreadMain();
    void RunPiece();
    void EnterHalt(uint32_t Events);
    void TakeSample();

    const Novik::CDeviceEntry& m_Device;
    CCpu m_Cpu;
    bool m_Good = true;
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    std::atomic<int> m_Requests{0};
    std::atomic<bool> m_Running{false};
    std::atomic<bool> m_LockupSeen{false}; // not yet told
    bool m_Connected = false;
    bool m_Idle = false; // asleep with nothing that could wake it
    bool m_Quit = false;
    std::thread m_Thread;
};

} // namespace Sim
