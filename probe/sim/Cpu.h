#pragma once
// The simulated Cortex-M processor: registers, exceptions, system control space, debug units and the loop that
// executes decoded instructions. One instruction takes one cycle, so that each run gives the same result.
//
// Execution: each decoded instruction (COp) names a handler; handlers call the next one in tail position, so that the
// interpreter is a chain of jumps. The chain ends when the trace pointer reaches pStop, or when a handler leaves it
// because of an event; Run then deals with interrupts, faults, breakpoints, and starts the next slice.
//
// Threads: no locking of its own. CSimTarget calls it from the CPU thread, or from another one while that is parked.

#include "probe/sim/Memory.h"
#include "probe/sim/SoftFloat.h"

#include <array>
#include <bitset>
#include <string>
#include <utility>
#include <vector>

namespace Sim {

// What a processor core has.
struct CCoreTraits {
    Thumb::EArch Arch = Thumb::ARCH_V7EM;
    uint32_t CpuId = 0x410FC241;
    bool HasFpu = false;
    bool HasBitBand = true;
    bool HasSecurity = false;
    uint8_t FpbVersion = 1; // 1: code region only; 2: any address; 0: BPU, code region only
    uint8_t NumBreakpoints = 6;
    uint8_t NumWatchpoints = 4;
    bool HasDataCompare = true;
    uint8_t PrioBits = 4;
    uint16_t NumIrqs = 96;
    uint8_t NumMpuRegions = 8;
    bool IsBigEndian = false; // data; instructions and system space are little-endian (BE8)
};

enum EException {
    EXC_RESET = 1,
    EXC_NMI = 2,
    EXC_HARD_FAULT = 3,
    EXC_MEM_MANAGE = 4,
    EXC_BUS_FAULT = 5,
    EXC_USAGE_FAULT = 6,
    EXC_SVCALL = 11,
    EXC_DEBUG_MON = 12,
    EXC_PENDSV = 14,
    EXC_SYSTICK = 15,
    EXC_IRQ0 = 16,
};

// Why a chain of handlers ended, or what asks for attention before the next slice. A set of bits.
enum EEvent : uint32_t {
    EVENT_FAULT = 1,       // FaultException at Pc
    EVENT_SVC = 2,         // Pc is behind the instruction
    EVENT_EXC_RETURN = 4,  // Pc holds the EXC_RETURN value
    EVENT_BKPT = 8,        // the program's own breakpoint instruction
    EVENT_BREAKPOINT = 16, // a breakpoint of the debugger
    EVENT_WATCHPOINT = 32, // a DWT comparator has matched
    EVENT_LOCKUP = 64,
    EVENT_SLEEP = 128,
    EVENT_CATCH = 256, // vector catch
    EVENT_RESET = 512, // AIRCR.SYSRESETREQ
    EVENT_STEP_DONE = 1024,
    EVENT_REQUEST = 2048, // the debugger asked for a halt
};
constexpr uint32_t EVENTS_HALT =
    EVENT_BKPT | EVENT_BREAKPOINT | EVENT_WATCHPOINT | EVENT_LOCKUP | EVENT_CATCH | EVENT_STEP_DONE | EVENT_REQUEST;

// Bits of the debug fault status register.
enum EDfsr : uint32_t { DFSR_HALTED = 1, DFSR_BKPT = 2, DFSR_DWTTRAP = 4, DFSR_VCATCH = 8, DFSR_EXTERNAL = 16 };

// Bits of the configurable fault status register.
enum ECfsr : uint32_t {
    CFSR_IACCVIOL = 1u << 0,
    CFSR_DACCVIOL = 1u << 1,
    CFSR_MUNSTKERR = 1u << 3,
    CFSR_MSTKERR = 1u << 4,
    CFSR_MLSPERR = 1u << 5,
    CFSR_MMARVALID = 1u << 7,
    CFSR_IBUSERR = 1u << 8,
    CFSR_PRECISERR = 1u << 9,
    CFSR_UNSTKERR = 1u << 11,
    CFSR_STKERR = 1u << 12,
    CFSR_LSPERR = 1u << 13,
    CFSR_BFARVALID = 1u << 15,
    CFSR_UNDEFINSTR = 1u << 16,
    CFSR_INVSTATE = 1u << 17,
    CFSR_INVPC = 1u << 18,
    CFSR_NOCP = 1u << 19,
    CFSR_STKOF = 1u << 20,
    CFSR_UNALIGNED = 1u << 24,
    CFSR_DIVBYZERO = 1u << 25,
};

enum class EAccess : uint8_t { Read, Write, Fetch };

struct CWatch {
    uint32_t Handle = 0;
    uint32_t Addr = 0;
    uint32_t AddrMask = 0; // bits of the address to ignore
    uint32_t Data = 0;
    uint32_t DataMask = 0xFFFFFFFF; // bits of the value to ignore
    uint8_t Access = 0;             // as in NOVIKARM_DATA_EVENT
    uint8_t AccessMask = 0;
};

struct CCpu;
using FHandler = void (*)(CCpu& C, COp* pOp, uint32_t PC, uint32_t* pRing);
extern const std::array<FHandler, Thumb::OP_COUNT> Handlers;

// A memory region as the fast path of loads and stores sees it, by the top byte of the address.
struct CSlot {
    uint32_t Base = 0;
    uint32_t SizeLess3 = 0; // 0: take the slow path
    uint8_t* pData = nullptr;
    uint8_t* pCodePage = nullptr;
};

struct CCpu {
    static constexpr uint32_t RING_SIZE = 1u << 24; // executed addresses kept
    static constexpr uint32_t MAX_SLICE = 4096;     // also bounds the stack if tail calls are not made jumps
    static constexpr int NUM_EXC = 256;

    explicit CCpu(const CCoreTraits& CoreTraits);

    // --- hot state: touched by the handlers ---
    uint32_t R[16] = {};        // R[13] is the stack pointer in use; R[15] is not kept here but in Pc
    uint32_t N = 0;             // bit 31: negative
    uint32_t Z = 1;             // 0: zero flag set
    uint32_t C = 0;             // 0 or 1
    uint32_t V = 0;             // bit 31: overflow
    uint32_t* pStop = nullptr;  // the chain ends when the trace pointer gets here
    uint32_t* pLimit = nullptr; // end of the slice; pStop may be nearer, inside an IT block
    COp* pCodeOps = nullptr;    // region being executed
    uint32_t CodeBase = 0;
    uint32_t CodeSize = 0;
    uint8_t IT = 0;      // state of the IT block; 0: none
    uint8_t NextIT = 0;  // state after the instruction being executed
    uint32_t Q = 0;      // 0 or 1
    uint32_t GE = 0;     // 4 bits
    uint32_t Loaded = 0; // value of a load by the slow path: a local whose address is taken would hinder tail calls
    uint32_t LoadedLow = 0;
    bool FpReady = false; // floating point instructions need no look at CPACR, FPCCR and CONTROL first
    uint32_t Fpscr = 0;
    std::array<uint32_t, 32> S{};
    std::array<CSlot, 256> ReadSlots{};
    std::array<CSlot, 256> WriteSlots{};
    std::array<CSlot, 256> WatchedReadSlots{}; // for loads while data is watched: they look at the page too
    bool WatchesReads = false;

    // --- cold state ---
    CCoreTraits Traits;
    CMemory Mem;
    CZeroArray<uint32_t> pRingBase;
    uint32_t* pRing = nullptr; // next entry to write
    uint32_t* pSliceStart = nullptr;
    uint64_t RingTotal = 0; // entries ever written since ClearTrace, up to pSliceStart
    uint64_t SkipTotal = 0;
    uint32_t Pc = 0;
    bool T = true;
    uint32_t Ipsr = 0;
    uint32_t OtherSp = 0; // the stack pointer not in use
    uint32_t Control = 0; // bit 0: unprivileged, bit 1: process stack, bit 2: floating point context
    uint32_t Primask = 0, Basepri = 0, Faultmask = 0;
    uint32_t MspLim = 0, PspLim = 0;
    uint32_t Events = 0;
    uint32_t FaultException = 0;
    uint32_t FaultBits = 0; // of CFSR, of the last fault alone
    uint32_t LockupPc = 0;  // where the last lockup came up
    uint64_t Cycles = 0;    // up to pSliceStart
    bool Sleeping = false;
    bool EventRegister = false;
    bool ExclusiveValid = false;
    uint32_t ExclusiveAddr = 0;
    bool LockedUp = false;
    bool MaskInterrupts = false; // while stepping
    uint32_t ResetVtor = 0;      // vector table at reset

    // Floating point unit
    uint32_t Fpccr = 0xC0000000, Fpcar = 0, Fpdscr = 0, Cpacr = 0;

    // System control block, NVIC, SysTick
    std::array<uint8_t, NUM_EXC> Priority{};
    std::bitset<NUM_EXC> Pending, Enabled, Active;
    uint32_t Vtor = 0, AircrGroup = 0, Scr = 0, Ccr = 0x200, Cfsr = 0, Hfsr = 0, Dfsr = 0, Mmfar = 0, Bfar = 0;
    uint32_t SystCsr = 0, SystRvr = 0, SystCvr = 0;
    bool SystCountFlag = false;

    // Memory protection unit
    uint32_t MpuCtrl = 0, MpuRnr = 0;
    struct CMpuRegion {
        uint32_t Rbar = 0, Rasr = 0;
    };
    std::array<CMpuRegion, 16> MpuRegions{};
    uint32_t Mair0 = 0, Mair1 = 0;

    // Debug units
    uint32_t Dhcsr = 1, Demcr = 0, Dcrdr = 0; // DHCSR: C_DEBUGEN, C_HALT, C_STEP, C_MASKINTS
    uint32_t DwtCtrl = 0;
    uint64_t CyccntBase = 0;
    struct CRawComparator {
        uint32_t Comp = 0, Mask = 0, Function = 0;
    };
    std::array<CRawComparator, 4> DwtComp{};
    std::vector<CWatch> Watches;
    uint32_t WatchAddr = 0;            // address of the access that matched last
    std::vector<uint32_t> Breakpoints; // of the debugger, sorted addresses
    // Comparators of the breakpoint unit as the program wrote them; 0 for those that it left alone.
    std::array<uint32_t, 16> FpbComp{};
    bool FpbEnabled = true;
    std::vector<uint32_t> ProgramBreakpoints; // what they come to
    uint32_t ItmTer = 0, ItmTcr = 0, ItmTpr = 0;
    std::array<std::string, 32> ItmOut; // bytes written to the stimulus ports, not yet fetched
    bool ItmCapture = false;

    // --- operations ---

    // Power-on or system reset: registers and units get their reset values, then SP and PC come from the vector table.
    void Reset();
    // Executes up to MaxInsts instructions, or until an event of EVENTS_HALT, which is returned; 0 if none came up.
    uint32_t Run(uint64_t MaxInsts);
    // Executes one instruction, breakpoints and (unless WithInterrupts) interrupts aside. Same result as Run.
    uint32_t Step(bool WithInterrupts);
    // Enters the pending exceptions that are important enough, before the next instruction.
    void TakeInterrupts();
    // Puts the fast paths in line with the memories, MPU and watchpoints.
    void UpdateSlots();
    // To be called after Watches or DwtComp has changed.
    void UpdateWatches();
    void SetBreakpoint(uint32_t Addr);
    void ClearBreakpoint(uint32_t Addr);
    bool IsBreakpoint(uint32_t Addr) const;
    // To be called after FpbComp or FpbEnabled has changed.
    void UpdateProgramBreakpoints();
    void ClearTrace();

    uint64_t Now() const { return Cycles + static_cast<uint64_t>(pRing - pSliceStart); }
    uint64_t TraceTotal() const { return RingTotal + static_cast<uint64_t>(pRing - pSliceStart); }
    uint32_t Xpsr() const;
    void SetXpsr(uint32_t Value, uint32_t Mask);
    uint32_t Apsr() const;
    void SetApsr(uint32_t Value);
    uint32_t Msp() const { return UsesPsp() ? OtherSp : R[13]; }
    uint32_t Psp() const { return UsesPsp() ? R[13] : OtherSp; }
    void SetMsp(uint32_t Value) { (UsesPsp() ? OtherSp : R[13]) = Value & ~3u; }
    void SetPsp(uint32_t Value) { (UsesPsp() ? R[13] : OtherSp) = Value & ~3u; }
    bool UsesPsp() const { return (Control & 2) && Ipsr == 0; }
    bool IsPrivileged() const { return Ipsr != 0 || !(Control & 1); }
    void SetControl(uint32_t Value);
    // A value as the processor sees it, of an item as it lies in a memory, and back.
    uint32_t DataOrder(uint32_t Value, uint32_t Size) const {
        if (!Traits.IsBigEndian || Size == 1) {
            return Value;
        }
        return Size == 4 ? __builtin_bswap32(Value) : __builtin_bswap16(static_cast<uint16_t>(Value));
    }
    bool IsV6() const { return Traits.Arch == Thumb::ARCH_V6M || Traits.Arch == Thumb::ARCH_V8B; }
    bool IsV8() const { return Traits.Arch == Thumb::ARCH_V8B || Traits.Arch == Thumb::ARCH_V8M; }
    uint32_t ReadSpecial(uint32_t Sysm) const;
    void WriteSpecial(uint32_t Sysm, uint32_t Mask, uint32_t Value);

    // Slow paths of the handlers; Pc and pRing must be current. False: a fault was raised. Size: 1, 2, 4 bytes.
    bool Load(uint32_t Addr, uint32_t Size, uint32_t& Value, bool Unpriv = false);
    bool Store(uint32_t Addr, uint32_t Size, uint32_t Value, bool Unpriv = false);
    // As Load and Store, for accesses that must be aligned.
    bool LoadAligned(uint32_t Addr, uint32_t Size, uint32_t& Value);
    bool StoreAligned(uint32_t Addr, uint32_t Size, uint32_t Value);
    // Result of the instruction TT: memory region and access rights.
    uint32_t TestTarget(uint32_t Addr, bool Unpriv) const;
    // Bus accesses of the debugger: no faults, no watchpoints, no protection.
    bool DebugRead(uint32_t Addr, uint32_t Size, uint32_t& Value);
    bool DebugWrite(uint32_t Addr, uint32_t Size, uint32_t Value);

    // Raises a synchronous fault for the instruction at Pc.
    void RaiseFault(EException Exception, uint32_t CfsrBits);
    // Makes the chain end after the instruction being executed.
    void EndSlice() { pStop = pLimit = pRing; }
    // Branch with the meaning of BX: sets Pc, T or EVENT_EXC_RETURN. False: the chain must be left.
    bool BranchExchange(uint32_t Target);
    // Decodes the instruction at Addr into its cache entry.
    void DecodeAt(COp* pOp, uint32_t Addr);
    // Sets the region being executed; null, with a fault raised, if Pc can't be executed.
    COp* LookupCode();
    bool CondPasses(uint32_t Cond) const;

    void SetPending(uint32_t Exception) { Pending.set(Exception); }
    int ExecutionPriority() const;

    // What each floating point instruction begins with: the access check, the saving of the state that a lazy stacking
    // still owes, and a context of its own. False: a fault was raised.
    bool BeginFp();
    bool IsFpuAccessible(bool Privileged) const;
    void SetFpscr(uint32_t Value) { Fpscr = Value & FPSCR_WRITABLE; }
    void WriteFpccr(uint32_t Value);
    bool HasFpv5() const { return Traits.HasFpu && (IsV8() || (Traits.CpuId & 0xFFF0) == 0xC270); }

    // Adds the instructions executed in this slice so far to the clocks.
    void SettleTime();

private:
    bool PreserveFpState();
    bool PushFpFrame(uint32_t Frame);
    void ClearFpOnReturn();
    bool PopFpFrame(uint32_t Frame, bool Privileged);
    void AdvanceTime(uint64_t NumCycles);
    uint64_t CyclesToSysTick() const;
    uint32_t RunSlice(uint32_t NumInsts);
    void HandleEvents();
    bool TakePendingException();
    uint32_t BestPending() const;
    int PriorityOf(uint32_t Exception) const;
    int GroupPriority(int Prio) const;
    void EnterFault();
    void EnterException(uint32_t Exception, uint32_t ReturnAddr);
    void StartHandler(uint32_t Exception, uint32_t ExcReturn);
    bool PushFrame(uint32_t ReturnAddr, uint32_t& ExcReturn);
    void ReturnFromException(uint32_t ExcReturn);
    bool PopFrame(uint32_t ExcReturn);
    void CheckVectorCatch(uint32_t Exception);
    void Lockup();
    uint32_t DerivedException(uint32_t Exception) const;
    bool Sleep();
    bool WouldWake();
    // Runs Change, which may alter the stack pointer in use, and swaps the two when it did.
    template <typename FChange> void WithStackSwitch(FChange Change) {
        const bool WasPsp = UsesPsp();
        Change();
        if (UsesPsp() != WasPsp) {
            std::swap(R[13], OtherSp);
        }
    }
    // Faults of the stacking set these status bits, MemManage or BusFault.
    bool PushWord(uint32_t Addr, uint32_t Value, bool Privileged, uint32_t MpuBit, uint32_t BusBit);
    bool PopWord(uint32_t Addr, uint32_t& Value, bool Privileged);

    bool CheckAccess(uint32_t Addr, uint32_t Size, EAccess Access, bool Privileged);
    bool MpuAllows(uint32_t Addr, EAccess Access, bool Privileged) const;
    bool MpuAllowsV8(uint32_t Addr, EAccess Access, bool Privileged) const;
    // The region an address is in; -1: none, -2: more than one.
    int FindRegionV8(uint32_t Addr) const;
    static constexpr uint32_t NO_ADDRESS = 1; // no instruction has an odd one
    uint32_t PassedBreakpoint = NO_ADDRESS;   // a step leaves it without regard to breakpoints
    // Decodes the instruction anew when it is next fetched.
    void ForgetOp(uint32_t Addr);
    bool BusRead(uint32_t Addr, uint32_t Size, uint32_t& Value, bool Privileged);
    bool BusWrite(uint32_t Addr, uint32_t Size, uint32_t Value, bool Privileged);
    void CheckWatchpoints(uint32_t Addr, uint32_t Size, uint32_t Value, bool IsWrite);
    void RaiseAccessFault(uint32_t Addr, bool IsMpu);
    bool HasWatchpoints() const;
    bool MatchesComparator(uint32_t Index, uint32_t Addr, uint32_t Size, uint32_t Value, bool IsWrite) const;

public:
    // System space 0xE0000000 to 0xE00FFFFF: words, with bytes and halfwords cut out of them.
    uint32_t ReadSystem(uint32_t Addr);
    void WriteSystem(uint32_t Addr, uint32_t Value, uint32_t Size, uint32_t WordMask);
};

} // namespace Sim
