#include "device/TargetCache.h"

#include "device/Device.h"

#include <algorithm>

namespace {

constexpr int MAX_STRETCHES = 5; ///< jobs for the holes of a range; with more, one job reads all of it
constexpr qsizetype MAX_REGS_PER_JOB = 63;
constexpr U32 NUM_HALT_REGS = REG_IDX_CPSR + 1; ///< registers that every halt brings

bool IsNaturalSize(U64 NumBytes) { return NumBytes == 2 || NumBytes == 4 || NumBytes == 8; }

} // namespace

void CTargetCache::Forget() {
    m_Mem.Clear();
    m_Regs.Clear();
    m_Cprs.Clear();
    if (!m_Device.IsStateValid()) {
        return;
    }
    for (U32 Logical = 0; Logical < NUM_HALT_REGS; Logical++) {
        const I32 Idx = m_Device.GetNovikRegIdx(I32(Logical));
        if (const I64 Value = m_Device.GetCachedReg(Logical); Idx >= 0 && Value >= 0) {
            m_Regs.Store(U32(Idx), Value);
        }
    }
}

void CTargetCache::ForgetMem(U32 Addr, U32 NumBytes) { m_Mem.ForgetKnown(Addr, U64(Addr) + NumBytes); }

void CTargetCache::StoreMem(U32 Addr, U32 NumBytes, U8* paData, U8* paStatus) {
    if (!m_Device.IsConnected()) {
        return;
    }
    // A single item is read as a value; the cache holds bytes in the order of memory.
    if (IsNaturalSize(NumBytes) && Addr % NumBytes == 0 && m_Device.GetDataEndian() == ENDIAN_BIG) {
        std::reverse(paData, paData + NumBytes);
    }
    m_Mem.Store(Addr, NumBytes, paData, paStatus);
    m_fAnswered(PLACE_MEM, Addr, U64(Addr) + NumBytes);
}

void CTargetCache::LoadItem(U32 Addr, U32 NumBytes, U8* paData) {
    m_Mem.Load(Addr, NumBytes, paData, nullptr);
    if (IsNaturalSize(NumBytes) && m_Device.GetDataEndian() == ENDIAN_BIG) {
        std::reverse(paData, paData + NumBytes);
    }
}

void CTargetCache::StoreMemFailed(U32 Addr, U32 NumBytes) {
    for (DATA_STATUS From : {DATA_PENDING, DATA_UNKNOWN, DATA_VALID}) {
        m_Mem.Change(Addr, U64(Addr) + NumBytes, From, DATA_ERROR);
    }
    m_fAnswered(PLACE_MEM, Addr, U64(Addr) + NumBytes);
}

void CTargetCache::StoreRegs(U32 Cnt, const U32* paRegs, const I64* paValues) {
    if (!m_Device.IsConnected() || !m_Device.IsStateValid()) {
        return;
    }
    for (U32 i = 0; i < Cnt; i++) {
        m_Regs.Store(paRegs[i], paValues ? paValues[i] : -1);
    }
    const QList<U32> Regs(paRegs, paRegs + Cnt);
    for (U32 Reg : Regs) {
        m_fAnswered(PLACE_REG, Reg, U64(Reg) + 1);
    }
}

void CTargetCache::StoreCpr(const ARM_CPR& Cpr, I64 Value) {
    const I64 Idx = GetCprIdx(Cpr);
    if (Idx >= 0 && m_Device.IsConnected() && m_Device.IsStateValid()) {
        m_Cprs.Store(U32(Idx), Value);
        m_fAnswered(PLACE_CPR, U64(Idx), U64(Idx) + 1);
    }
}

void CTargetCache::OnJobDone(const Job& J) { m_Jobs.remove(J.SeqNo); }

void CTargetCache::TakeBackReg(U32 Reg) {
    if (m_Regs.GetStatus(Reg) == DATA_PENDING) {
        m_Regs.SetUnknown(Reg);
        m_fAnswered(PLACE_REG, Reg, U64(Reg) + 1);
    }
}

void CTargetCache::TakeBack(const Job& J) {
    switch (J.Type) {
    case JT_READ_MEM: {
        const READ_MEM_JOB Read(J);
        const U64 End = U64(Read.Addr()) + Read.NumBytes();
        m_Mem.Change(Read.Addr(), End, DATA_PENDING, DATA_UNKNOWN);
        m_fAnswered(PLACE_MEM, Read.Addr(), End);
        break;
    }
    case JT_READ_REG:
        TakeBackReg(READ_REG_JOB(J).Idx());
        break;
    case JT_READ_REGS:
        for (U32 i = 0; i < READ_REGS_JOB(J).Num(); i++) {
            TakeBackReg(READ_REGS_JOB(J).Idxs()[i]);
        }
        break;
    case JT_READ_CP_REG:
        if (const I64 Idx = GetCprIdx(*READ_CP_REG_JOB(J).Reg()); m_Cprs.GetStatus(U32(Idx)) == DATA_PENDING) {
            m_Cprs.SetUnknown(U32(Idx));
            m_fAnswered(PLACE_CPR, U64(Idx), U64(Idx) + 1);
        }
        break;
    default:
        break;
    }
}

bool CTargetCache::Schedule(CPackedJob& Packed) {
    if (!MayAsk()) {
        return false;
    }
    Job J = Packed.Take();
    if (m_Device.PostJob(J) != 0) {
        return false;
    }
    m_Jobs.insert(J.SeqNo);
    return true;
}

// The whole of a small stretch is read with one access of its own size; an odd one is widened to halfwords, which
// share their neighbours' memory.
bool CTargetCache::ReadStretch(U64 Addr, U64 End, const READ_MODE& Mode) {
    if ((End - Addr) % 2 != 0 && End < MEM_SPACE_SIZE - 1) {
        Addr -= Addr % 2;
        End += End % 2;
    }
    if (const U64 NumBytes = End - Addr; IsNaturalSize(NumBytes)) {
        Addr -= Addr % NumBytes;
        End = Addr + NumBytes;
    }
    CPackedJob Packed;
    if (!READ_MEM_JOB::Pack(Packed, U32(Addr), U32(End - Addr), Mode.ChunkSize, Mode.AccessWidth, Mode.Flags) ||
        !Schedule(Packed)) {
        return false;
    }
    m_Mem.Change(Addr, End, DATA_UNKNOWN, DATA_PENDING);
    return true;
}

void CTargetCache::ReadMemPartitioned(U64 Addr, U64 End, const READ_MODE& Mode) {
    for (int i = 0; i < MAX_STRETCHES; i++) {
        const U64 First = m_Mem.FindUnknown(Addr, End);
        if (First == End || !ReadStretch(First, m_Mem.FindUnknown(First, End, false), Mode)) {
            return;
        }
    }
    if (m_Mem.FindUnknown(Addr, End) != End) {
        ReadStretch(Addr, End, Mode);
    }
}

void CTargetCache::RequestRegs(const QList<U32>& Regs) {
    QList<U32> Missing;
    for (U32 Reg : Regs) {
        if (m_Regs.GetStatus(Reg) == DATA_UNKNOWN && !Missing.contains(Reg)) {
            Missing += Reg;
        }
    }
    for (qsizetype i = 0; i < Missing.size(); i += MAX_REGS_PER_JOB) {
        const QList<U32> Part = Missing.mid(i, MAX_REGS_PER_JOB);
        CPackedJob Packed;
        const bool IsPacked =
            Part.size() == 1 ? READ_REG_JOB::Pack(Packed, Part[0]) : READ_REGS_JOB::Pack(Packed, Part);
        if (!IsPacked || !Schedule(Packed)) {
            return;
        }
        for (U32 Reg : Part) {
            m_Regs.SetPending(Reg);
        }
    }
}

void CTargetCache::RequestMissing(const READ_REQUEST& Request) {
    if (Request.IsMem()) {
        ReadMemPartitioned(Request.Addr, Request.End(), Request.Mode);
    } else if (Request.Kind == REQUEST_CPR) {
        CPackedJob Packed;
        if (READ_CP_REG_JOB::Pack(Packed, Request.Cpr) && Schedule(Packed)) {
            m_Cprs.SetPending(U32(GetCprIdx(Request.Cpr)));
        }
    } else {
        RequestRegs(Request.Regs);
    }
}

DATA_STATUS CTargetCache::GetStatus(const READ_REQUEST& Request) {
    if (Request.IsMem()) {
        return m_Mem.GetStatus(Request.Addr, Request.End());
    }
    if (!m_Device.IsStateValid()) {
        return DATA_ERROR; // registers hold still only while the target does
    }
    if (Request.Kind == REQUEST_CPR) {
        return m_Cprs.GetStatus(U32(GetCprIdx(Request.Cpr)));
    }
    DATA_STATUS Worst = DATA_VALID;
    for (U32 Reg : Request.Regs) {
        Worst = std::max(Worst, m_Regs.GetStatus(Reg));
    }
    return Worst;
}

U64 CTargetCache::FindOpenPlace(const READ_REQUEST& Request, DATA_STATUS* pStatus) {
    if (Request.IsMem()) {
        const U64 Addr = m_Mem.FindOpen(Request.Addr, Request.End());
        *pStatus = m_Mem.GetStatus(Addr, Addr + 1);
        return Addr;
    }
    if (Request.Kind == REQUEST_CPR) {
        *pStatus = GetStatus(Request);
        return U64(GetCprIdx(Request.Cpr));
    }
    const auto It = std::find_if(Request.Regs.begin(), Request.Regs.end(),
                                 [this](U32 Reg) { return m_Regs.GetStatus(Reg) >= DATA_PENDING; });
    *pStatus = m_Regs.GetStatus(*It);
    return *It;
}
