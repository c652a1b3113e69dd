// The streams of the simulated target: RTT, high speed sampling, stimulus ports, instruction trace.
#include "probe/sim/SimBackend.h"

#include <algorithm>
#include <cstring>

namespace Sim {

// --- RTT --------------------------------------------------------------------------------------------------------

namespace {

// The control block begins with this text, padded with zeros to 16 bytes.
constexpr char RTT_ID[16] = "VANTLE RTT";
constexpr uint32_t RTT_MAX_BUFFERS = 32; // more in a block means that it is none

} // namespace

// Looks for the block where it was said to be, else in the search ranges, else in all RAM.
bool CSimBackend::FindRttBlock(CCpu& Cpu) {
    char Id[16];
    if (m_RttAddr && Cpu.Mem.Read(m_RttAddr, Id, sizeof(Id)) && std::memcmp(Id, RTT_ID, sizeof(RTT_ID)) == 0) {
        return true;
    }
    if (m_RttAddrGiven) {
        return false; // the program has not set it up yet
    }
    m_RttAddr = 0;
    for (const CRegion& Region : Cpu.Mem.GetRegions()) {
        if (Region.Kind != ERegion::Ram) {
            continue;
        }
        const uint8_t* const pBegin = Region.pData.get();
        const uint8_t* const pEnd = pBegin + Region.Size;
        const uint8_t* p = pBegin;
        while ((p = static_cast<const uint8_t*>(memmem(p, static_cast<size_t>(pEnd - p), RTT_ID, sizeof(RTT_ID))))) {
            const uint32_t Addr = Region.Base + static_cast<uint32_t>(p - pBegin);
            const bool InRange =
                m_RttRanges.empty() || std::any_of(m_RttRanges.begin(), m_RttRanges.end(),
                                                   [&](const auto& R) { return Addr - R.first < R.second; });
            if (InRange) {
                m_RttAddr = Addr;
                return true;
            }
            p++;
        }
    }
    return false;
}

bool CSimBackend::GetRttRing(CCpu& Cpu, bool Up, uint32_t Index, CRttRing& Ring) {
    uint32_t Counts[2], Words[6];
    if (!FindRttBlock(Cpu) || !Cpu.Mem.Read(m_RttAddr + 16, Counts, 8)) {
        return false;
    }
    Counts[0] = Cpu.DataOrder(Counts[0], 4);
    Counts[1] = Cpu.DataOrder(Counts[1], 4);
    if (Counts[0] > RTT_MAX_BUFFERS || Counts[1] > RTT_MAX_BUFFERS || Index >= Counts[Up ? 0 : 1]) {
        return false;
    }
    Ring.Descriptor = m_RttAddr + 24 + ((Up ? 0 : Counts[0]) + Index) * 24;
    if (!Cpu.Mem.Read(Ring.Descriptor, Words, sizeof(Words))) {
        return false;
    }
    for (uint32_t& Word : Words) {
        Word = Cpu.DataOrder(Word, 4);
    }
    Ring.pBuffer = Words[1], Ring.Size = Words[2], Ring.WrOff = Words[3], Ring.RdOff = Words[4];
    return Ring.Size > 0 && Ring.WrOff < Ring.Size && Ring.RdOff < Ring.Size;
}

int32_t CSimBackend::RttControl(uint32_t Cmd) {
    if (!m_pTarget || Cmd > NOVIK_RTT_CMD_STOP) {
        return -1;
    }
    m_RttStarted = Cmd == NOVIK_RTT_CMD_START;
    if (!m_RttStarted) {
        m_RttAddr = 0;
        m_RttAddrGiven = false;
    }
    return 0;
}

int32_t CSimBackend::RttRead(uint32_t Index, char* pData, uint32_t NumBytes) {
    if (!m_pTarget || !m_RttStarted) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    CRttRing Ring;
    if (!GetRttRing(*Cpu, true, Index, Ring)) {
        return 0; // nothing there yet
    }
    uint32_t Done = 0;
    while (Done < NumBytes && Ring.RdOff != Ring.WrOff) {
        const uint32_t Run = (Ring.WrOff > Ring.RdOff ? Ring.WrOff : Ring.Size) - Ring.RdOff;
        const uint32_t Piece = std::min(Run, NumBytes - Done);
        if (!Cpu->Mem.Read(Ring.pBuffer + Ring.RdOff, pData + Done, Piece)) {
            break;
        }
        Done += Piece;
        Ring.RdOff = (Ring.RdOff + Piece) % Ring.Size;
    }
    const uint32_t RdOff = Cpu->DataOrder(Ring.RdOff, 4);
    Cpu->Mem.Write(Ring.Descriptor + 16, &RdOff, 4);
    return static_cast<int32_t>(Done);
}

int32_t CSimBackend::RttWrite(uint32_t Index, const char* pData, uint32_t NumBytes) {
    if (!m_pTarget || !m_RttStarted) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    CRttRing Ring;
    if (!GetRttRing(*Cpu, false, Index, Ring)) {
        return 0;
    }
    uint32_t Done = 0;
    // One byte stays free, so that full and empty differ.
    while (Done < NumBytes && (Ring.WrOff + 1) % Ring.Size != Ring.RdOff) {
        if (!Cpu->Mem.Write(Ring.pBuffer + Ring.WrOff, pData + Done, 1)) {
            break;
        }
        Done++;
        Ring.WrOff = (Ring.WrOff + 1) % Ring.Size;
    }
    const uint32_t WrOff = Cpu->DataOrder(Ring.WrOff, 4);
    Cpu->Mem.Write(Ring.Descriptor + 12, &WrOff, 4);
    return static_cast<int32_t>(Done);
}

// --- High speed sampling ----------------------------------------------------------------------------------------

int32_t CSimBackend::HssStart(const NOVIK_HSS_MEM_BLOCK* pBlocks, int32_t Count, int32_t Period) {
    constexpr size_t MAX_SAMPLE = 64 * 1024;
    if (!m_pTarget || !pBlocks || Count < 1 || Period < 0) {
        return NOVIK_HSS_ERR_UNSPECIFIED;
    }
    if (Count > NOVIK_HSS_MAX_BLOCKS) {
        return NOVIK_HSS_ERR_TOO_MANY_BLOCKS;
    }
    CSampler Sampler;
    Sampler.SampleSize = 4;
    for (int32_t Index = 0; Index < Count; Index++) {
        Sampler.SampleSize += pBlocks[Index].NumBytes;
        if (pBlocks[Index].NumBytes > MAX_SAMPLE || Sampler.SampleSize > MAX_SAMPLE) {
            return NOVIK_HSS_ERR_NO_MEMORY;
        }
        Sampler.Blocks.push_back({pBlocks[Index].Addr, pBlocks[Index].NumBytes});
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    const uint64_t Microseconds = static_cast<uint64_t>(std::max(Period, 1));
    Sampler.PeriodCycles = std::max<uint64_t>(1, Microseconds * m_pTarget->GetDevice().ClockHz / 1000000);
    Sampler.NextCycle = Cpu->Cycles;
    m_pTarget->Sampler = std::move(Sampler);
    return NOVIK_HSS_OK;
}

int32_t CSimBackend::HssStop() {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    m_pTarget->Sampler = CSampler();
    return 0;
}

int32_t CSimBackend::HssRead(void* pData, uint32_t NumBytes) {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    CSampler& Sampler = m_pTarget->Sampler;
    if (!Sampler.PeriodCycles) {
        return -1;
    }
    const size_t Held = Sampler.Data.size() - Sampler.ReadPos;
    size_t Piece = std::min<size_t>(Held, NumBytes);
    Piece -= Piece % Sampler.SampleSize;
    std::memcpy(pData, Sampler.Data.data() + Sampler.ReadPos, Piece);
    Sampler.ReadPos += Piece;
    if (Sampler.ReadPos == Sampler.Data.size()) {
        Sampler.Data.clear();
        Sampler.ReadPos = 0;
    } else if (Sampler.ReadPos > CSampler::MAX_BYTES / 4) {
        Sampler.Data.erase(0, Sampler.ReadPos);
        Sampler.ReadPos = 0;
    }
    return static_cast<int32_t>(Piece);
}

// --- Stimulus ports ---------------------------------------------------------------------------------------------

// What a probe does: trace on, port on, unprivileged access to the ports left as it is.
int32_t CSimBackend::SwoEnable(uint32_t PortMask) {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    if (Cpu->IsV6()) {
        return -1; // no ITM
    }
    Cpu->Demcr |= 0x01000000;
    Cpu->ItmTcr |= 1;
    Cpu->ItmTer |= PortMask;
    Cpu->ItmCapture = true;
    return 0;
}

int32_t CSimBackend::SwoDisable(uint32_t PortMask) {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    Cpu->ItmTer &= ~PortMask;
    Cpu->ItmCapture = Cpu->ItmTer != 0;
    return 0;
}

// A byte count means the port read last.
int32_t CSimBackend::SwoFlush(const uint32_t* pNumBytes) {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    if (!pNumBytes) {
        Cpu->ItmOut.fill("");
    } else {
        Cpu->ItmOut[m_SwoLastPort].erase(0, *pNumBytes);
    }
    return 0;
}

int32_t CSimBackend::SwoRead(uint32_t Port, uint8_t* pData, uint32_t NumBytes) {
    if (!m_pTarget || Port > 31) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    m_SwoLastPort = Port;
    const std::string& Out = Cpu->ItmOut[Port];
    const size_t Piece = std::min<size_t>(Out.size(), NumBytes);
    std::memcpy(pData, Out.data(), Piece);
    return static_cast<int32_t>(Piece);
}

int32_t CSimBackend::MeasureCpuSpeed(uint32_t RamAddr) {
    if (!m_pTarget || !m_pTarget->IsHalted()) {
        return -1;
    }
    const CRegion* pRegion = CSimTarget::CAccess(*m_pTarget)->Mem.Find(RamAddr);
    if (!pRegion || pRegion->Kind != ERegion::Ram) {
        return -1; // nowhere to put the measuring program
    }
    return static_cast<int32_t>(m_pTarget->GetDevice().ClockHz);
}

// --- Instruction trace ------------------------------------------------------------------------------------------

// Recording never stops; starting throws away what was recorded so far.
int32_t CSimBackend::TraceStart() {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess(*m_pTarget)->ClearTrace();
    m_TraceStarted = true;
    return 0;
}

int32_t CSimBackend::TraceStop() {
    m_TraceStarted = false;
    return m_pTarget ? 0 : -1;
}

int32_t CSimBackend::TraceRead(uint32_t* pAddrs, uint32_t Count) {
    if (!m_pTarget || !m_TraceStarted || !m_pTarget->IsHalted()) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    const uint64_t Held = std::min<uint64_t>(Cpu->TraceTotal(), CCpu::RING_SIZE);
    const uint32_t Piece = static_cast<uint32_t>(std::min<uint64_t>({Held, Count, 0x7FFFFFFF}));
    const uint32_t* const pBase = Cpu->pRingBase.get();
    const uint32_t* p = Cpu->pRing;
    for (uint32_t Index = 0; Index < Piece; Index++) {
        p = p == pBase ? pBase + CCpu::RING_SIZE - 1 : p - 1;
        pAddrs[Index] = *p;
    }
    return static_cast<int32_t>(Piece);
}

int32_t CSimBackend::TraceStats(NOVIK_STRACE_INST_STAT* pOut, uint32_t Addr, uint32_t Count) {
    if (!m_pTarget || !m_TraceStarted || Count < 4 || Count % 2 || (Addr & 1)) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    const uint32_t NumHalf = Count / 2 - 1;
    for (uint32_t Index = 0; Index < NumHalf; Index++) {
        const uint32_t Half = Addr + Index * 2;
        const CRegion* pRegion = Cpu->Mem.Find(Half);
        const COp* pOp = pRegion ? pRegion->OpAt(Half) : nullptr;
        pOut[Index].Count = pOp ? pOp->Count : 0;
        pOut[NumHalf + 1 + Index].Count = pOp ? pOp->Skip : 0;
    }
    pOut[NumHalf].Count = Cpu->TraceTotal();
    pOut[2 * NumHalf + 1].Count = Cpu->SkipTotal;
    return static_cast<int32_t>(Count);
}

} // namespace Sim
