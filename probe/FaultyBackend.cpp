#include "probe/FaultyBackend.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <strings.h>
#include <thread>

namespace Novik {

namespace {

// Reads one number of any C base from the stream.
bool ReadNumber(std::istream& Words, uint32_t& Value) {
    std::string sWord;
    char* pEnd = nullptr;
    if (!(Words >> sWord)) {
        return false;
    }
    const unsigned long long Number = std::strtoull(sWord.c_str(), &pEnd, 0);
    Value = static_cast<uint32_t>(Number);
    return *pEnd == 0 && sWord[0] != '-' && Number <= 0xFFFFFFFF;
}

using FSetter = bool (*)(CFaults& Faults, std::istream& Words);

bool SetRange(CFaults& Faults, std::istream& Words) {
    CFaults::CRange Range{};
    std::string sKind;
    if (!ReadNumber(Words, Range.Addr) || !ReadNumber(Words, Range.Size) || !(Words >> sKind)) {
        return false;
    }
    Range.Read = sKind == "r" || sKind == "rw";
    Range.Write = sKind == "w" || sKind == "rw";
    if (Range.Read || Range.Write) {
        Faults.Ranges.push_back(Range);
    }
    return Range.Read || Range.Write;
}

bool SetDownloadPhase(CFaults& Faults, std::istream& Words) {
    std::string sPhase;
    Words >> sPhase;
    Faults.DownloadPhase = sPhase == "compare"   ? NOVIK_DL_ERR_COMPARE
                           : sPhase == "program" ? NOVIK_DL_ERR_PROGRAM_ERASE
                           : sPhase == "verify"  ? NOVIK_DL_ERR_VERIFY
                           : sPhase == "other"   ? NOVIK_DL_ERR_UNSPECIFIED
                                                 : 0;
    return Faults.DownloadPhase != 0 || sPhase == "none";
}

bool SetHaltStatus(CFaults& Faults, std::istream& Words) {
    std::string sStatus;
    Words >> sStatus;
    Faults.HaltStatus.reset();
    if (sStatus == "running" || sStatus == "halted" || sStatus == "lost") {
        Faults.HaltStatus = sStatus == "running" ? 0 : sStatus == "halted" ? 1 : -1;
    }
    return Faults.HaltStatus || sStatus == "real";
}

bool SetRegister(CFaults& Faults, std::istream& Words) {
    const std::streampos Start = Words.tellg();
    std::string sWord;
    uint32_t Index;
    if (Words >> sWord && sWord == "all") {
        return Faults.AllRegisters = true;
    }
    Words.clear();
    Words.seekg(Start);
    if (!ReadNumber(Words, Index) || Index >= NOVIK_NUM_REGS) {
        return false;
    }
    Faults.Registers.push_back(Index);
    return true;
}

const struct {
    const char* sName;
    const char* sExpected;
    FSetter pfSet;
} Commands[] = {
    {"SimLoseAfterCalls", "a number of calls",
     [](CFaults& Faults, std::istream& Words) {
         uint32_t Value;
         const bool Ok = ReadNumber(Words, Value);
         Faults.LoseAfterCalls = Ok ? std::optional<uint64_t>(Value) : std::nullopt;
         return Ok;
     }},
    {"SimLoseAfterMs", "a number of milliseconds",
     [](CFaults& Faults, std::istream& Words) {
         uint32_t Value;
         const bool Ok = ReadNumber(Words, Value);
         if (Ok) {
             Faults.LoseAt = std::chrono::steady_clock::now() + std::chrono::milliseconds(Value);
         }
         return Ok;
     }},
    {"SimHaltStatus", "running, halted, lost or real", SetHaltStatus},
    {"SimFailRange", "address, size and r, w or rw", SetRange},
    {"SimShortReads", "a number of bytes",
     [](CFaults& Faults, std::istream& Words) { return ReadNumber(Words, Faults.MaxRead); }},
    {"SimSlowLink", "0 to 10000 milliseconds",
     [](CFaults& Faults, std::istream& Words) {
         uint32_t Value;
         const bool Ok = ReadNumber(Words, Value) && Value <= 10000;
         Faults.LatencyMs = Ok ? Value : Faults.LatencyMs;
         return Ok;
     }},
    {"SimFailDownload", "compare, program, verify, other or none", SetDownloadPhase},
    {"SimFailRegister", "a register index or all", SetRegister},
    {"SimFailBreakpoints", "0 or 1",
     [](CFaults& Faults, std::istream& Words) {
         uint32_t Value;
         const bool Ok = ReadNumber(Words, Value) && Value <= 1;
         Faults.Breakpoints = Ok && Value;
         return Ok;
     }},
    {"SimFailReset", "0 or 1",
     [](CFaults& Faults, std::istream& Words) {
         uint32_t Value;
         const bool Ok = ReadNumber(Words, Value) && Value <= 1;
         Faults.Reset = Ok && Value;
         return Ok;
     }},
    {"SimFailConnect", "a number of connects",
     [](CFaults& Faults, std::istream& Words) { return ReadNumber(Words, Faults.FailConnects); }},
    {"SimFaultsOff", "nothing",
     [](CFaults& Faults, std::istream&) {
         Faults = CFaults();
         return true;
     }},
};

} // namespace

bool CFaults::Exec(const std::string& sName, const std::string& sArgs, std::string& sError) {
    for (const auto& Command : Commands) {
        if (strcasecmp(sName.c_str(), Command.sName) != 0) {
            continue;
        }
        std::istringstream Words(sArgs);
        std::string sRest;
        CFaults Changed = *this; // a command that is refused changes nothing
        if (!Command.pfSet(Changed, Words) || (Words >> sRest)) {
            sError = sName + ": expected " + Command.sExpected;
        } else {
            *this = std::move(Changed);
        }
        return true;
    }
    return false;
}

void CFaults::Clear() {
    const uint32_t Connects = FailConnects;
    *this = CFaults();
    FailConnects = Connects;
}

bool CFaultyBackend::Alive() {
    if (m_Faults.LatencyMs) {
        std::this_thread::sleep_for(std::chrono::milliseconds(m_Faults.LatencyMs));
    }
    if (m_Faults.LoseAfterCalls && (*m_Faults.LoseAfterCalls)-- == 0) {
        m_Faults.LoseAfterCalls = 0;
        m_Lost = true;
    }
    if (m_Faults.LoseAt && std::chrono::steady_clock::now() >= *m_Faults.LoseAt) {
        m_Lost = true;
    }
    return !m_Lost;
}

std::string CFaultyBackend::Connect(const CDeviceEntry& Device) {
    if (m_Faults.FailConnects > 0) {
        m_Faults.FailConnects--;
        return "connect fails as asked by SimFailConnect";
    }
    return Alive() ? m_pTarget->Connect(Device) : "the connection is lost";
}

int CFaultyBackend::IsHalted() {
    if (!Alive()) {
        return -1;
    }
    return m_Faults.HaltStatus ? *m_Faults.HaltStatus : m_pTarget->IsHalted();
}

uint32_t CFaultyBackend::BytesBeforeFault(uint32_t Addr, uint32_t NumBytes, bool IsWrite) const {
    uint32_t Good = NumBytes;
    for (const CFaults::CRange& Range : m_Faults.Ranges) {
        if (!(IsWrite ? Range.Write : Range.Read)) {
            continue;
        }
        if (Addr - Range.Addr < Range.Size) {
            return 0;
        }
        const uint32_t Distance = Range.Addr - Addr;
        Good = Range.Size && Distance < Good ? Distance : Good;
    }
    return Good;
}

int CFaultyBackend::ReadMem(uint32_t Addr, void* pData, uint32_t NumBytes, uint32_t Width) {
    if (!Alive()) {
        return -1;
    }
    uint32_t Good = BytesBeforeFault(Addr, NumBytes, false);
    Good = m_Faults.MaxRead ? std::min(Good, m_Faults.MaxRead) : Good;
    return Good ? m_pTarget->ReadMem(Addr, pData, Good, Width) : 0;
}

int CFaultyBackend::WriteMem(uint32_t Addr, const void* pData, uint32_t NumBytes, uint32_t Width) {
    if (!Alive()) {
        return -1;
    }
    const uint32_t Good = BytesBeforeFault(Addr, NumBytes, true);
    return Good ? m_pTarget->WriteMem(Addr, pData, Good, Width) : 0;
}

void CFaultyBackend::BeginDownload() {
    if (Alive()) {
        m_pTarget->BeginDownload();
    }
}

int CFaultyBackend::EndDownload(int FailPhase) {
    return Alive() ? m_pTarget->EndDownload(FailPhase ? FailPhase : m_Faults.DownloadPhase) : NOVIK_DL_ERR_UNSPECIFIED;
}

bool CFaultyBackend::ReadReg(uint32_t Index, uint32_t& Value) {
    const auto& Failing = m_Faults.Registers;
    const bool Fails = m_Faults.AllRegisters || std::find(Failing.begin(), Failing.end(), Index) != Failing.end();
    return Alive() && !Fails && m_pTarget->ReadReg(Index, Value);
}

bool CFaultyBackend::WriteReg(uint32_t Index, uint32_t Value) {
    const auto& Failing = m_Faults.Registers;
    const bool Fails = m_Faults.AllRegisters || std::find(Failing.begin(), Failing.end(), Index) != Failing.end();
    return Alive() && !Fails && m_pTarget->WriteReg(Index, Value);
}

uint32_t CFaultyBackend::SetBreakpoint(uint32_t Addr, uint32_t TypeFlags) {
    return Alive() && !m_Faults.Breakpoints ? m_pTarget->SetBreakpoint(Addr, TypeFlags) : 0;
}

int32_t CFaultyBackend::SetWatchpoint(const NOVIKARM_DATA_EVENT& Event, uint32_t& Handle) {
    const bool Works = Alive() && !m_Faults.Breakpoints;
    return Works ? m_pTarget->SetWatchpoint(Event, Handle) : static_cast<int32_t>(NOVIK_EVENT_ERR_UNKNOWN);
}

bool CFaultyBackend::Exec(const std::string& sName, const std::string& sArgs, std::string& sError) {
    return m_pTarget->Exec(sName, sArgs, sError);
}

} // namespace Novik
