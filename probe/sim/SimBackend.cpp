#include "probe/sim/SimBackend.h"

#include "probe/Session.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace Sim {

namespace {

std::unique_ptr<CSimTarget>& PoweredTarget() {
    static std::unique_ptr<CSimTarget> pTarget;
    return pTarget;
}

// Size of the next item of a transfer. Width 0: the largest that alignment and rest allow, up to a word.
uint32_t ItemSize(uint32_t Addr, uint32_t Rest, uint32_t Width) {
    uint32_t Size = Width == 0 ? 4 : std::min(Width, 4u);
    while (Size > 1 && (Width == 0 ? (Addr & (Size - 1)) || Rest < Size : Rest < Size)) {
        Size /= 2;
    }
    return Size;
}

} // namespace

CSimBackend::~CSimBackend() { Close(); }

std::string CSimBackend::Open() { return ""; }

void CSimBackend::Close() {
    if (!m_pTarget) {
        return;
    }
    {
        CSimTarget::CAccess Cpu(*m_pTarget);
        m_pTarget->Sampler = CSampler();
        Cpu->ItmCapture = false;
        for (const NOVIKARM_BP_INFO& Info : m_Breakpoints) {
            Cpu->ClearBreakpoint(Info.Addr);
        }
        Cpu->Watches.clear();
        Cpu->UpdateWatches();
    }
    m_pTarget->SetConnected(false);
    m_Breakpoints.clear();
    m_Pages.clear();
    m_pTarget = nullptr;
}

std::string CSimBackend::GetFirmware() const { return "Simulated target V1 compiled for Cortex-M"; }

std::string CSimBackend::Connect(const Novik::CDeviceEntry& Device) {
    if (!Device.CanSimulate) {
        return "the simulated target has no core \"" + Novik::GetCoreName(Device.Core) + "\"";
    }
    std::unique_ptr<CSimTarget>& pPowered = PoweredTarget();
    if (!pPowered || &pPowered->GetDevice() != &Device) {
        pPowered.reset();
        pPowered = std::make_unique<CSimTarget>(Device);
        if (!pPowered->IsGood()) {
            pPowered.reset();
            return "the memories of the simulated target could not be allocated";
        }
    }
    m_pTarget = pPowered.get();
    m_pTarget->SetConnected(true);
    return "";
}

int CSimBackend::IsHalted() {
    if (!m_pTarget) {
        return -1;
    }
    std::string sText;
    if (m_pTarget->IsHalted() && m_pTarget->TakeLockup(sText)) {
        Novik::CProbeSession::Get().Warn(sText);
    }
    return m_pTarget->IsHalted();
}

bool CSimBackend::Halt() {
    if (m_pTarget) {
        m_pTarget->Halt();
    }
    return m_pTarget;
}

bool CSimBackend::Go() {
    if (m_pTarget) {
        m_pTarget->Go();
    }
    return m_pTarget;
}

bool CSimBackend::Step() { return m_pTarget && m_pTarget->Step(); }

bool CSimBackend::Reset() {
    if (m_pTarget) {
        m_pTarget->Reset();
    }
    return m_pTarget;
}

// --- Memory -----------------------------------------------------------------------------------------------------

int CSimBackend::ReadMem(uint32_t Addr, void* pData, uint32_t NumBytes, uint32_t Width) {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    uint8_t* pOut = static_cast<uint8_t*>(pData);
    const bool IsAligned = Width == 0 || Addr % Width == 0;
    if (IsAligned && Cpu->Mem.Read(Addr, pOut, NumBytes)) {
        return static_cast<int>(NumBytes);
    }
    uint32_t Done = 0;
    while (Done < NumBytes) {
        const uint32_t Size = ItemSize(Addr + Done, NumBytes - Done, Width);
        uint32_t Value;
        if (!Cpu->DebugRead(Addr + Done, Size, Value)) {
            break;
        }
        std::memcpy(pOut + Done, &Value, Size);
        Done += Size;
    }
    return static_cast<int>(Done);
}

int CSimBackend::WriteMem(uint32_t Addr, const void* pData, uint32_t NumBytes, uint32_t Width) {
    if (!m_pTarget) {
        return -1;
    }
    CSimTarget::CAccess Cpu(*m_pTarget);
    const uint8_t* pIn = static_cast<const uint8_t*>(pData);
    uint32_t Done = 0;
    while (Done < NumBytes) {
        const CRegion* pRegion = Cpu->Mem.Find(Addr + Done);
        const uint32_t Room = pRegion ? pRegion->Size - (Addr + Done - pRegion->Base) : 0;
        const uint32_t Piece = std::min(Room, NumBytes - Done);
        const bool IsAligned = Width == 0 || Addr % Width == 0;
        if (pRegion && pRegion->Kind == ERegion::Flash) {
            if (!HoldBack(Addr + Done, pIn + Done, Piece)) {
                break;
            }
            Done += Piece;
        } else if (pRegion && IsAligned) {
            Cpu->Mem.Write(Addr + Done, pIn + Done, Piece);
            Done += Piece;
        } else {
            const uint32_t Size = ItemSize(Addr + Done, NumBytes - Done, Width);
            uint32_t Value = 0;
            std::memcpy(&Value, pIn + Done, Size);
            if (!Cpu->DebugWrite(Addr + Done, Size, Value)) {
                break;
            }
            Done += Size;
        }
    }
    Cpu->Events &= ~EVENT_REQUEST; // run control is not done through DHCSR
    return static_cast<int>(Done);
}

bool CSimBackend::HoldBack(uint32_t Addr, const uint8_t* pData, uint32_t NumBytes) {
    if (!m_Downloading) {
        return false;
    }
    for (uint32_t Index = 0; Index < NumBytes; Index++) {
        CPage& Page = m_Pages[(Addr + Index) / 256];
        Page.Data[(Addr + Index) % 256] = pData[Index];
        Page.Written.set((Addr + Index) % 256);
    }
    return true;
}

void CSimBackend::BeginDownload() {
    m_Downloading = true;
    m_Pages.clear();
}

int CSimBackend::EndDownload(int FailPhase) {
    if (!m_pTarget) {
        return NOVIK_DL_ERR_UNSPECIFIED;
    }
    // With nothing held back there is nothing to do, and the last download's outcome stands.
    if (m_Downloading) {
        m_Downloading = false;
        m_LastDownload = ProgramPages(FailPhase);
    }
    return m_LastDownload;
}

int CSimBackend::ProgramPages(int FailPhase) {
    CSimTarget::CAccess Cpu(*m_pTarget);
    const std::map<uint32_t, CPage> Pages = std::move(m_Pages);
    m_Pages.clear();
    if (FailPhase == NOVIK_DL_ERR_COMPARE || FailPhase == NOVIK_DL_ERR_UNSPECIFIED) {
        return FailPhase;
    }
    bool Verified = true;
    size_t Count = 0;
    for (const auto& [Number, Page] : Pages) {
        std::array<uint8_t, 256> Old, New;
        if (!Cpu->Mem.Read(Number * 256, Old.data(), 256)) {
            return NOVIK_DL_ERR_COMPARE;
        }
        New = Old;
        for (size_t Byte = 0; Byte < 256; Byte++) {
            New[Byte] = Page.Written.test(Byte) ? Page.Data[Byte] : Old[Byte];
        }
        if (New == Old) {
            continue;
        }
        // A failing erase leaves the second half of the image blank.
        if (FailPhase == NOVIK_DL_ERR_PROGRAM_ERASE && Count++ >= Pages.size() / 2) {
            return FailPhase;
        }
        if (FailPhase == NOVIK_DL_ERR_VERIFY && Count++ == 0) {
            New[0] ^= 1;
        }
        Cpu->Mem.Write(Number * 256, New.data(), 256);
        std::array<uint8_t, 256> Check;
        Cpu->Mem.Read(Number * 256, Check.data(), 256);
        for (size_t Byte = 0; Byte < 256; Byte++) {
            Verified = Verified && (!Page.Written.test(Byte) || Check[Byte] == Page.Data[Byte]);
        }
    }
    const bool FailAnyway = FailPhase == NOVIK_DL_ERR_PROGRAM_ERASE || FailPhase == NOVIK_DL_ERR_VERIFY;
    return FailAnyway ? FailPhase : Verified ? NOVIK_DL_OK : NOVIK_DL_ERR_VERIFY;
}

// --- Text commands ----------------------------------------------------------------------------------------------

namespace {

// Numbers of any C base, separated by blanks and commas. False if something else is among them.
bool ParseNumbers(const std::string& sText, std::vector<uint32_t>& Numbers) {
    const char* p = sText.c_str();
    for (;;) {
        p += std::strspn(p, " \t,");
        if (!*p) {
            return true;
        }
        char* pEnd;
        const unsigned long long Value = std::strtoull(p, &pEnd, 0);
        if (pEnd == p || *p == '-' || Value > 0xFFFFFFFF) {
            return false;
        }
        Numbers.push_back(static_cast<uint32_t>(Value));
        p = pEnd;
    }
}

} // namespace

bool CSimBackend::Exec(const std::string& sName, const std::string& sArgs, std::string& sError) {
    const auto Is = [&](const char* sOther) { return strcasecmp(sName.c_str(), sOther) == 0; };
    std::vector<uint32_t> Numbers;
    const bool AreNumbers = ParseNumbers(sArgs, Numbers);
    const auto Expect = [&](bool Good, const char* sWhat) {
        sError = AreNumbers && Good ? "" : sName + ": expected " + sWhat;
        return sError.empty();
    };
    if (Is(NOVIK_EXEC_SET_RTT_ADDR)) {
        if (Expect(Numbers.size() == 1, "an address")) {
            m_RttAddr = Numbers[0];
            m_RttAddrGiven = true;
        }
    } else if (Is(NOVIK_EXEC_SET_RTT_SEARCH_RANGES)) {
        if (Expect(!Numbers.empty() && Numbers.size() % 2 == 0, "pairs of start and size")) {
            m_RttRanges.clear();
            m_RttAddr = m_RttAddrGiven ? m_RttAddr : 0; // to be searched for anew
            for (size_t Index = 0; Index < Numbers.size(); Index += 2) {
                m_RttRanges.emplace_back(Numbers[Index], Numbers[Index + 1]);
            }
        }
    } else if (Is(NOVIK_EXEC_READ_INTO_TRACE_CACHE)) {
        Expect(Numbers.size() == 2, "an address and a size"); // the simulator's trace needs no copy of the code
    } else if (Is("SimStepInterrupts")) {
        if (Expect(m_pTarget && Numbers.size() == 1, "0 or 1, while connected")) {
            m_pTarget->StepInterrupts = Numbers[0] != 0;
        }
    } else if (Is("SimFlashBreakpoints")) {
        if (Expect(Numbers.size() == 1, "0 or 1")) {
            m_FlashBreakpoints = Numbers[0] != 0;
        }
    } else if (Is("SimPendInterrupt")) {
        const uint32_t NumIrqs = m_pTarget ? m_pTarget->GetDevice().Traits.NumIrqs : 0;
        if (Expect(Numbers.size() == 1 && Numbers[0] < NumIrqs, "the number of an interrupt, while connected")) {
            CSimTarget::CAccess(*m_pTarget)->SetPending(EXC_IRQ0 + Numbers[0]);
        }
    } else if (Is("SimPowerCycle")) {
        if (m_pTarget) {
            const Novik::CDeviceEntry& Device = m_pTarget->GetDevice();
            m_Breakpoints.clear();
            m_pTarget = nullptr;
            PoweredTarget().reset();
            sError = Connect(Device);
        } else {
            PoweredTarget().reset();
        }
    } else {
        return false;
    }
    return true;
}

} // namespace Sim
