#include "probe/sim/Target.h"

#include <algorithm>
#include <cstdio>

namespace Sim {

// Where erased flash sends a processor at reset. A device without a program locks up there: nothing worth a warning.
static constexpr uint32_t ERASED_RESET_PC = 0xFFFFFFFE;

CSimTarget::CAccess::CAccess(CSimTarget& Target) : m_Target(Target) {
    m_Target.m_Requests.fetch_add(1);
    m_Target.m_Mutex.lock();
}

CSimTarget::CAccess::~CAccess() {
    m_Target.m_Requests.fetch_sub(1);
    m_Target.m_Idle = false; // what was done may have woken the processor
    const bool HasWork = m_Target.m_Running || m_Target.m_Quit;
    m_Target.m_Mutex.unlock();
    if (HasWork) {
        m_Target.m_Wake.notify_all();
    }
}

CSimTarget::CSimTarget(const Novik::CDeviceEntry& Device) : m_Device(Device), m_Cpu(Device.Traits) {
    for (const Novik::CMemRange& Range : Device.Memories) {
        m_Good = m_Good && m_Cpu.Mem.AddRegion(Range.Kind, Range.Addr, Range.Size);
    }
    m_Good = m_Good && m_Cpu.pRingBase;
    if (!m_Good) {
        return;
    }
    if (const Novik::CMemRange* pFlash = Device.FirstOf(ERegion::Flash)) {
        m_Cpu.ResetVtor = pFlash->Addr;
    }
    m_Cpu.Reset();
    m_Running = true; // a device that gets power runs
    m_Thread = std::thread(&CSimTarget::ThreadMain, this);
}

CSimTarget::~CSimTarget() {
    if (!m_Thread.joinable()) {
        return;
    }
    {
        CAccess Access(*this);
        m_Quit = true;
    }
    m_Thread.join();
}

void CSimTarget::ThreadMain() {
    std::unique_lock Lock(m_Mutex);
    for (;;) {
        m_Wake.wait(
            Lock, [this] { return m_Quit || (m_Connected && m_Running.load() && !m_Idle && m_Requests.load() == 0); });
        if (m_Quit) {
            return;
        }
        RunPiece();
    }
}

void CSimTarget::RunPiece() {
    const uint64_t Start = m_Cpu.Cycles;
    uint64_t Count = PIECE;
    if (Sampler.PeriodCycles) {
        Count = std::clamp<uint64_t>(Sampler.NextCycle > Start ? Sampler.NextCycle - Start : 1, 1, PIECE);
    }
    const uint32_t Events = m_Cpu.Run(Count);
    m_Idle = !Events && m_Cpu.Sleeping && m_Cpu.Cycles == Start;
    // Time may have jumped over several samples while the processor slept.
    while (Sampler.PeriodCycles && m_Cpu.Cycles >= Sampler.NextCycle) {
        TakeSample();
    }
    if (Events) {
        EnterHalt(Events);
    }
}

void CSimTarget::EnterHalt(uint32_t Events) {
    m_Cpu.Dhcsr |= 2;
    m_Cpu.Dfsr |= (Events & (EVENT_BKPT | EVENT_BREAKPOINT)) ? uint32_t(DFSR_BKPT) : 0;
    m_Cpu.Dfsr |= (Events & (EVENT_REQUEST | EVENT_STEP_DONE)) ? uint32_t(DFSR_HALTED) : 0;
    m_LockupSeen = m_LockupSeen || ((Events & EVENT_LOCKUP) && m_Cpu.LockupPc != ERASED_RESET_PC);
    m_Running.store(false, std::memory_order_release);
}

bool CSimTarget::TakeLockup(std::string& sText) {
    if (!m_LockupSeen.exchange(false)) {
        return false;
    }
    char s[128];
    std::snprintf(s, sizeof(s), "Lockup: fault at 0x%.8X in the handler of exception %u, CFSR 0x%.8X, HFSR 0x%.8X",
                  m_Cpu.LockupPc, m_Cpu.Ipsr, m_Cpu.Cfsr, m_Cpu.Hfsr);
    sText = s;
    return true;
}

void CSimTarget::Halt() {
    CAccess Access(*this);
    if (m_Running) {
        EnterHalt(EVENT_REQUEST);
    }
}

void CSimTarget::Go() {
    CAccess Access(*this);
    if (m_Running) {
        return;
    }
    m_Cpu.Dhcsr &= ~2u;
    m_Cpu.LockedUp = false;
    m_Cpu.Sleeping = false;
    m_Running = true;
    // The instruction that the program stands at is executed here, breakpoints aside: however soon it is halted again,
    // it has left that place.
    if (const uint32_t Events = m_Cpu.Step(true)) {
        EnterHalt(Events);
    }
}

bool CSimTarget::Step() {
    CAccess Access(*this);
    if (m_Running) {
        return false;
    }
    m_Cpu.LockedUp = false;
    EnterHalt(m_Cpu.Step(StepInterrupts) | EVENT_STEP_DONE);
    return true;
}

void CSimTarget::Reset() {
    CAccess Access(*this);
    m_Cpu.Reset();
    m_Cpu.Events = 0;
    EnterHalt(EVENT_REQUEST);
}

void CSimTarget::SetConnected(bool Connected) {
    CAccess Access(*this);
    m_Connected = Connected;
}

// A time stamp in microseconds of simulated time, then the blocks; bytes that can't be read are 0.
void CSimTarget::TakeSample() {
    const uint64_t Cycle = Sampler.NextCycle;
    Sampler.NextCycle += Sampler.PeriodCycles;
    if (Sampler.Data.size() - Sampler.ReadPos + Sampler.SampleSize > CSampler::MAX_BYTES) {
        Sampler.NextCycle = m_Cpu.Cycles + Sampler.PeriodCycles;
        return;
    }
    const uint32_t Time = static_cast<uint32_t>(static_cast<unsigned __int128>(Cycle) * 1000000 / m_Device.ClockHz);
    Sampler.Data.append(reinterpret_cast<const char*>(&Time), 4);
    for (const CSampler::CBlock& Block : Sampler.Blocks) {
        const size_t Pos = Sampler.Data.size();
        Sampler.Data.resize(Pos + Block.NumBytes);
        m_Cpu.Mem.Read(Block.Addr, &Sampler.Data[Pos], Block.NumBytes);
    }
}

} // namespace Sim
