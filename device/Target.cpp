#include "device/Target.h"

#include "device/DeviceClock.h"
#include "device/DeviceEvents.h"
#include "device/JobQueue.h"
#include "device/JobTable.h"
#include "device/JobViewsRun.h"
#include "device/NovikFuncs.h"
#include "device/SemiHostHook.h"
#include "icache/InstStore.h"

CTarget::CTarget(const NOVIK_FUNCS& Funcs, CDeviceClock& TheClock, CJobQueue& TheQueue, CDeviceEvents& TheEvents)
    : Novik(Funcs), Clock(TheClock), Queue(TheQueue), Events(TheEvents), Report(*this), Info(*this), Connection(*this),
      Run(*this), HaltSeq(*this), Regs(*this), Memory(*this), BPs(*this), WPs(*this), Stepper(*this), Disass(*this),
      Streams(*this), m_pNoSemiHost(std::make_unique<CSemiHostHook>()), m_pSemiHost(m_pNoSemiHost.get()) {
    // Made before this object is complete, the store's statics outlive a device that is a static itself.
    ICACHE_Reset(ICACHE_HOOKS());
}

CTarget::~CTarget() { ICACHE_Reset(ICACHE_HOOKS()); }

void CTarget::SetSemiHost(CSemiHostHook* pHook) {
    m_pSemiHost.store(pHook ? pHook : m_pNoSemiHost.get(), std::memory_order_release);
}

int CTarget::PostJob(Job& J) {
    const int Result = Queue.Schedule(J);
    if (Result == JOB_RING_FULL) {
        Events.Log(DEV_LOG_WARN, "Job %s not scheduled. Queue is full.", GetJobTypeName(J.Type));
    }
    return Result == JOB_SCHEDULED ? 0 : -1;
}

int CTarget::PostContinue(RESUME_MODES Mode) {
    Events.Raise(CONTINUE_JOB::ANNOUNCED_BY);
    CPackedJob Packed;
    CONTINUE_JOB::Pack(Packed, Mode);
    Job J = Packed.Take();
    return PostJob(J);
}

void CTarget::PostCompletion(U32 Type, U32 Status, I64 Result0, I64 Result1, U64 Param0) {
    Job* pJob = Queue.NewCompletion(Type);
    pJob->Status = Status;
    pJob->Result[0] = Result0;
    pJob->Result[1] = Result1;
    pJob->Param[0] = Param0;
    PostJobEvent(pJob);
}

void CTarget::PostJobEvent(Job* pJob) {
    const bool IsCancelled = pJob->Status == JOB_STATUS_DROPPED; // and counted as that
    const bool IsSuppressed = Queue.GetSuppressed(pJob->Type) && !IsCancelled;
    if (IsSuppressed || Events.Post(DEV_EVENT_JOB, reinterpret_cast<U64>(pJob)) != 0) {
        Queue.Counters().NumSilent += pJob->SeqNo != 0 && !IsCancelled;
        Queue.Release(pJob);
        return;
    }
    Queue.Counters().NumPosted++;
}

void CTarget::LogDebug(const char* sText) { Events.LogText(DEV_LOG_DEBUG, sText); }
void CTarget::LogWarn(const char* sText) { Events.LogText(DEV_LOG_WARN, sText); }
void CTarget::LogError(const char* sText) { Events.LogText(DEV_LOG_ERROR, sText); }

void CTarget::ResetInstStore() {
    ICACHE_HOOKS Hooks;
    Hooks.fReadMem = [this](U32 Addr, U32 NumBytes, void* pBuf) {
        U8 aStatus[4] = {};
        if (!IsDeviceThread() || NumBytes > sizeof(aStatus) || !State.Connected) {
            return -1;
        }
        return Memory.ReadMemSimple(Addr, NumBytes, 0, 0, static_cast<U8*>(pBuf), aStatus) == NumBytes ? 0 : -1;
    };
    Hooks.fModeRange = [this] {
        ICACHE_MODE_RANGE Range;
        Range.Mode = U32(ARM_EXEC_MODES(State.ExecMode));
        if (const I64 PC = State.Regs[REG_IDX_PC]; PC >= 0) {
            const ELF_ADDR_RANGE Func = ElfApi_GetSymAddrRange(ElfApi_GetFuncAtAddr(U32(PC)));
            Range.Start = Func.Addr;
            Range.End = Func.Addr + Func.Size;
        }
        return Range;
    };
    Hooks.fConfig = [this] { return ICACHE_CONFIG{Facts.InstSet, State.DataEndian, State.InstEndian}; };
    if (NOVIK_DECODER* const pfDecode = Info.pfDecode) {
        Hooks.fDecode = [pfDecode](U32 Addr, const U8* paBytes, U32 Mode) {
            NOVIK_INST_INFO Novik = {};
            const int Length = pfDecode(&Novik, paBytes, Addr, U8(Mode));
            ICACHE_INST Inst;
            if (Length > 0) {
                Inst = {Novik.Length ? Novik.Length : U32(Length),
                        Novik.IsBranch != 0,
                        Novik.IsCall != 0,
                        Novik.IsIndirect != 0,
                        Novik.IsReturn != 0,
                        Novik.IsConditional != 0};
            }
            return Inst;
        };
    }
    ICACHE_Reset(Hooks);
    // Without a device there is no core to have a decoder.
    if (Facts.Core && !Info.pfDecode) {
        LogWarn("ICACHE Init: Novik API disassembly function pointer is missing!");
    }
}

void CTarget::EnterDeviceThread() { m_ThreadId = std::this_thread::get_id(); }

bool CTarget::IsDeviceThread() const {
    const std::thread::id Id = m_ThreadId;
    return Id == std::thread::id() || Id == std::this_thread::get_id();
}
