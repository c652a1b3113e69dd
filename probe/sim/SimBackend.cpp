#include "probe/sim/SimBackend.h"

#include "probe/Session.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace Sim {

namespace {

std::unique_ptr<CTarget>& PoweredTarget() {
    static std::unique_ptr<CTarget> pTarget;
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

CSimBackend::~CSimBackend() {
    Close();
}

std::string CSimBackend::Open() {
    return "";
}

void CSimBackend::Close() {
    if (!m_pTarget) {
        return;
    }
    {
        CTarget::CAccess Cpu(*m_pTarget);
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

std::string CSimBackend::GetFirmware() const {
    return "Simulated target V1 compiled for Cortex-M";
}

std::string CSimBackend::Connect(const Novik::CDevice& Device) {
    if (!Device.CanSimulate) {
        return "the simulated target has no core \"" + Novik::GetCoreName(Device.Core) + "\"";
    }
    std::unique_ptr<CTarget>& pPowered = PoweredTarget();
    if (!pPowered || &pPowered->GetDevice() != &Device) {
        pPowered.reset();
        pPowered = std::make_unique<CTarget>(Device);
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
        Novik::CSession::Get().Warn(sText);
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

bool CSimBackend::Step() {
    return m_pTarget && m_pTarget->Step();
}

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
    CTarget::CAccess Cpu(*m_pTarget);
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
    CTarget::CAccess Cpu(*m_pTarget);
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
    CTarget::CAccess Cpu(*m_pTarget);
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

// --- Registers --------------------------------------------------------------------------------------------------

uint32_t* CSimBackend::RegisterOf(CCpu& Cpu, uint32_t Index) {
    if (Index < 15) {
        return &Cpu.R[Index];
    }
    if (Index >= NOVIK_REG_S0 && Index < NOVIK_REG_S0 + 32 && Cpu.Traits.HasFpu) {
        return &Cpu.S[Index - NOVIK_REG_S0];
    }
    return Index == NOVIK_REG_PC ? &Cpu.Pc : nullptr;
}

bool CSimBackend::ReadSpecialReg(CCpu& Cpu, uint32_t Index, uint32_t& Value) {
    switch (Index) {
    case NOVIK_REG_XPSR:
        Value = Cpu.Xpsr();
        return true;
    case NOVIK_REG_MSP:
        Value = Cpu.Msp();
        return true;
    case NOVIK_REG_PSP:
        Value = Cpu.Psp();
        return true;
    case NOVIK_REG_CFBP:
        Value = Cpu.Control << 24 | Cpu.Faultmask << 16 | Cpu.Basepri << 8 | Cpu.Primask;
        return true;
    case NOVIK_REG_APSR:
        Value = Cpu.Apsr();
        return true;
    case NOVIK_REG_EPSR:
        Value = Cpu.Xpsr() & 0x0700FC00;
        return true;
    case NOVIK_REG_IPSR:
        Value = Cpu.Ipsr;
        return true;
    case NOVIK_REG_PRIMASK:
        Value = Cpu.Primask;
        return true;
    case NOVIK_REG_BASEPRI:
        Value = Cpu.Basepri;
        return !Cpu.IsV6();
    case NOVIK_REG_FAULTMASK:
        Value = Cpu.Faultmask;
        return !Cpu.IsV6();
    case NOVIK_REG_CONTROL:
        Value = Cpu.Control;
        return true;
    case NOVIK_REG_MSPLIM:
        Value = Cpu.MspLim;
        return Cpu.IsV8();
    case NOVIK_REG_PSPLIM:
        Value = Cpu.PspLim;
        return Cpu.IsV8();
    case NOVIK_REG_FPSCR:
        Value = Cpu.Fpscr;
        return Cpu.Traits.HasFpu;
    case NOVIK_REG_CYCCNT:
        Value = static_cast<uint32_t>(Cpu.Now() - Cpu.CyccntBase);
        return true;
    default:
        return false;
    }
}

bool CSimBackend::WriteSpecialReg(CCpu& Cpu, uint32_t Index, uint32_t Value) {
    switch (Index) {
    case NOVIK_REG_XPSR:
        Cpu.SetXpsr(Value, ~0x1FFu);
        return true;
    case NOVIK_REG_MSP:
        Cpu.SetMsp(Value);
        return true;
    case NOVIK_REG_PSP:
        Cpu.SetPsp(Value);
        return true;
    case NOVIK_REG_APSR:
        Cpu.SetXpsr(Value, 0xF80F0000);
        return true;
    case NOVIK_REG_EPSR:
        Cpu.SetXpsr(Value, 0x0700FC00);
        return true;
    case NOVIK_REG_CFBP:
        Cpu.Primask = Value & 1;
        Cpu.Basepri = Cpu.IsV6() ? 0 : Value >> 8 & 0xFF;
        Cpu.Faultmask = Cpu.IsV6() ? 0 : Value >> 16 & 1;
        Cpu.SetControl(Value >> 24);
        return true;
    case NOVIK_REG_PRIMASK:
        Cpu.Primask = Value & 1;
        return true;
    case NOVIK_REG_BASEPRI:
        Cpu.Basepri = Value & 0xFF;
        return !Cpu.IsV6();
    case NOVIK_REG_FAULTMASK:
        Cpu.Faultmask = Value & 1;
        return !Cpu.IsV6();
    case NOVIK_REG_CONTROL:
        Cpu.SetControl(Value);
        return true;
    case NOVIK_REG_FPSCR:
        Cpu.SetFpscr(Value);
        return Cpu.Traits.HasFpu;
    default:
        return false;
    }
}

bool CSimBackend::ReadReg(uint32_t Index, uint32_t& Value) {
    if (!m_pTarget || !m_pTarget->IsHalted()) {
        return false;
    }
    CTarget::CAccess Cpu(*m_pTarget);
    if (const uint32_t* pReg = RegisterOf(*Cpu, Index)) {
        Value = *pReg;
        return true;
    }
    return ReadSpecialReg(*Cpu, Index, Value);
}

bool CSimBackend::WriteReg(uint32_t Index, uint32_t Value) {
    if (!m_pTarget || !m_pTarget->IsHalted()) {
        return false;
    }
    CTarget::CAccess Cpu(*m_pTarget);
    uint32_t* pReg = RegisterOf(*Cpu, Index);
    if (!pReg) {
        return WriteSpecialReg(*Cpu, Index, Value);
    }
    *pReg = Index == NOVIK_REG_SP ? Value & ~3u : Index == NOVIK_REG_PC ? Value & ~1u : Value;
    if (Index == NOVIK_REG_PC) {
        // A new place ends an IT block, a sleep and the state of a jump to ARM code.
        Cpu->IT = 0;
        Cpu->T = true;
        Cpu->Sleeping = Cpu->LockedUp = false;
        Cpu->Events = 0;
    }
    return true;
}

// --- Breakpoints and watchpoints --------------------------------------------------------------------------------

uint32_t CSimBackend::ChooseImplementation(uint32_t Addr, uint32_t TypeFlags) {
    CTarget::CAccess Cpu(*m_pTarget);
    const CRegion* pRegion = Cpu->Mem.Find(Addr);
    const bool IsRam = pRegion && pRegion->Kind == ERegion::Ram;
    const bool MaySoft = (TypeFlags & 0xF0) != 0, MayHard = (TypeFlags & 0xFFFFFF00) != 0;
    const auto NumHard = std::count_if(m_Breakpoints.begin(), m_Breakpoints.end(), [](const NOVIKARM_BP_INFO& Info) {
        return Info.ImplFlags == NOVIK_BP_IMPL_HARD;
    });
    const bool InReach = Cpu->Traits.FpbVersion == 2 || Addr < 0x20000000; // earlier units compare code addresses only
    if (MaySoft && IsRam && m_SoftBreakpoints) {
        return NOVIK_BP_IMPL_SOFT_RAM;
    }
    if (MayHard && InReach && NumHard < Cpu->Traits.NumBreakpoints) {
        return NOVIK_BP_IMPL_HARD;
    }
    if (MaySoft && pRegion && !IsRam && m_SoftBreakpoints && m_FlashBreakpoints) {
        return NOVIK_BP_IMPL_SOFT_FLASH;
    }
    return 0;
}

uint32_t CSimBackend::SetBreakpoint(uint32_t Addr, uint32_t TypeFlags) {
    if (!m_pTarget) {
        return 0;
    }
    const uint32_t Impl = ChooseImplementation(Addr & ~1u, TypeFlags);
    if (!Impl) {
        return 0;
    }
    NOVIKARM_BP_INFO Info = {};
    Info.SizeOfStruct = sizeof(Info);
    Info.Handle = m_NextHandle++;
    Info.Addr = Addr & ~1u;
    Info.ImplFlags = Impl;
    m_Breakpoints.push_back(Info);
    CTarget::CAccess(*m_pTarget)->SetBreakpoint(Info.Addr);
    return Info.Handle;
}

bool CSimBackend::ClearBreakpoint(uint32_t Handle) {
    if (!m_pTarget) {
        return false;
    }
    CTarget::CAccess Cpu(*m_pTarget);
    bool Found = Handle == NOVIK_HANDLE_ALL;
    for (size_t Index = m_Breakpoints.size(); Index-- > 0;) {
        const NOVIKARM_BP_INFO Info = m_Breakpoints[Index];
        if (Handle != NOVIK_HANDLE_ALL && Info.Handle != Handle) {
            continue;
        }
        Found = true;
        m_Breakpoints.erase(m_Breakpoints.begin() + static_cast<std::ptrdiff_t>(Index));
        const bool IsShared = std::any_of(m_Breakpoints.begin(), m_Breakpoints.end(),
                                          [&](const NOVIKARM_BP_INFO& Other) { return Other.Addr == Info.Addr; });
        if (!IsShared) {
            Cpu->ClearBreakpoint(Info.Addr);
        }
    }
    return Found;
}

namespace {

// A comparator ignores low address bits only, at most 15 of them.
bool IsAddrMaskGood(uint32_t Mask) {
    return (Mask & (Mask + 1)) == 0 && Mask <= 0x7FFF;
}

bool IsDataMaskGood(uint32_t Mask) {
    return Mask == 0 || Mask == 0xFFFF0000 || Mask == 0xFFFFFF00 || Mask == 0xFFFFFFFF;
}

// A value needs a comparator of its own beside the one of the address.
uint32_t NumComparators(const CWatch& Watch) {
    return Watch.DataMask == 0xFFFFFFFF ? 1 : 2;
}

} // namespace

int32_t CSimBackend::SetWatchpoint(const NOVIKARM_DATA_EVENT& Event, uint32_t& Handle) {
    if (!m_pTarget || Event.Type != NOVIK_EVENT_TYPE_BP) {
        return static_cast<int32_t>(NOVIK_EVENT_ERR_UNKNOWN);
    }
    CTarget::CAccess Cpu(*m_pTarget);
    CWatch Watch;
    Watch.Addr = Event.Addr;
    Watch.AddrMask = Event.AddrMask;
    Watch.Data = Event.Data;
    Watch.DataMask = Event.DataMask;
    Watch.Access = Event.Access;
    Watch.AccessMask = Event.AccessMask;
    uint32_t Used = 0;
    bool UsesData = false;
    for (const CWatch& Other : Cpu->Watches) {
        Used += NumComparators(Other);
        UsesData = UsesData || NumComparators(Other) == 2;
    }
    const bool WantsData = NumComparators(Watch) == 2;
    uint32_t Error = 0;
    if (Cpu->Traits.NumWatchpoints == 0) {
        Error = NOVIK_EVENT_ERR_NO_MORE_EVENTS;
    } else if (Used + 1 > Cpu->Traits.NumWatchpoints) {
        Error = NOVIK_EVENT_ERR_NO_MORE_ADDR_COMP;
    } else if (WantsData && (UsesData || !Cpu->Traits.HasDataCompare || Used + 2 > Cpu->Traits.NumWatchpoints)) {
        Error = NOVIK_EVENT_ERR_NO_MORE_DATA_COMP;
    } else if (!IsAddrMaskGood(Watch.AddrMask)) {
        Error = NOVIK_EVENT_ERR_INV_ADDR_MASK;
    } else if ((Watch.Access & 6) == 6 || (Watch.AccessMask & ~0x17)) {
        Error = NOVIK_EVENT_ERR_INV_ACCESS_MASK;
    } else if (!IsDataMaskGood(Watch.DataMask)) {
        Error = NOVIK_EVENT_ERR_INV_DATA_MASK;
    }
    if (Error) {
        return static_cast<int32_t>(Error);
    }
    Watch.Handle = Handle = m_NextHandle++;
    Cpu->Watches.push_back(Watch);
    Cpu->UpdateWatches();
    return 0;
}

bool CSimBackend::ClearWatchpoint(uint32_t Handle) {
    if (!m_pTarget) {
        return false;
    }
    CTarget::CAccess Cpu(*m_pTarget);
    const auto NumErased = std::erase_if(
        Cpu->Watches, [&](const CWatch& Watch) { return Handle == NOVIK_HANDLE_ALL || Watch.Handle == Handle; });
    Cpu->UpdateWatches();
    return NumErased > 0 || Handle == NOVIK_HANDLE_ALL;
}

std::vector<NOVIKARM_WP_INFO> CSimBackend::GetWatchpoints() {
    std::vector<NOVIKARM_WP_INFO> Infos;
    if (!m_pTarget) {
        return Infos;
    }
    CTarget::CAccess Cpu(*m_pTarget);
    for (const CWatch& Watch : Cpu->Watches) {
        NOVIKARM_WP_INFO Info = {};
        Info.SizeOfStruct = sizeof(Info);
        Info.Handle = Watch.Handle;
        Info.Addr = Watch.Addr;
        Info.AddrMask = Watch.AddrMask ? Watch.AddrMask : 3;
        Info.Data = Watch.Data;
        Info.DataMask = Watch.DataMask;
        Info.Access = Watch.Access;
        Info.AccessMask = Watch.AccessMask;
        Infos.push_back(Info);
    }
    return Infos;
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
            CTarget::CAccess(*m_pTarget)->SetPending(EXC_IRQ0 + Numbers[0]);
        }
    } else if (Is("SimPowerCycle")) {
        if (m_pTarget) {
            const Novik::CDevice& Device = m_pTarget->GetDevice();
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
