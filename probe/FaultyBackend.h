#pragma once
// Fault injection: a backend in front of another one that lets chosen operations fail, for tests and for those who
// want to show what a debugger does when a target misbehaves. The text commands are described in docs/simulator.md.

#include "probe/Backend.h"

#include <chrono>
#include <memory>
#include <optional>

namespace Novik {

// What is to fail. All but FailConnects end with NOVIKARM_Close.
struct CFaults {
    struct CRange {
        uint32_t Addr, Size;
        bool Read, Write;
    };
    std::optional<uint64_t> LoseAfterCalls;
    std::optional<std::chrono::steady_clock::time_point> LoseAt;
    std::optional<int> HaltStatus; // what IsHalted says
    std::vector<CRange> Ranges;
    uint32_t MaxRead = 0;   // bytes a read gives at most, 0: all
    uint32_t LatencyMs = 0; // each call takes that much longer
    int DownloadPhase = 0;  // NOVIK_DL_ERR_*
    std::vector<uint32_t> Registers;
    bool AllRegisters = false;
    bool Breakpoints = false;
    bool Reset = false;
    uint32_t FailConnects = 0; // that many connects fail

    // True if the command was one of these; sError gets the reason of a failure.
    bool Exec(const std::string& sName, const std::string& sArgs, std::string& sError);
    void Clear();
};

class CFaultyBackend : public CBackend {
public:
    // Faults must outlive the backend.
    CFaultyBackend(std::unique_ptr<CBackend> pTarget, CFaults& Faults)
        : m_pTarget(std::move(pTarget)), m_Faults(Faults) {}

    std::string Open() override { return m_pTarget->Open(); }
    void Close() override { m_pTarget->Close(); }
    uint32_t GetSerialNo() const override { return m_pTarget->GetSerialNo(); }
    std::string GetFirmware() const override { return m_pTarget->GetFirmware(); }
    std::string Connect(const CDeviceEntry& Device) override;
    int IsHalted() override;
    bool Halt() override { return Alive() && m_pTarget->Halt(); }
    bool Go() override { return Alive() && m_pTarget->Go(); }
    bool Step() override { return Alive() && m_pTarget->Step(); }
    bool Reset() override { return Alive() && !m_Faults.Reset && m_pTarget->Reset(); }
    int ReadMem(uint32_t Addr, void* pData, uint32_t NumBytes, uint32_t Width) override;
    int WriteMem(uint32_t Addr, const void* pData, uint32_t NumBytes, uint32_t Width) override;
    void BeginDownload() override;
    int EndDownload(int FailPhase) override;
    bool ReadReg(uint32_t Index, uint32_t& Value) override;
    bool WriteReg(uint32_t Index, uint32_t Value) override;
    uint32_t SetBreakpoint(uint32_t Addr, uint32_t TypeFlags) override;
    bool ClearBreakpoint(uint32_t Handle) override { return Alive() && m_pTarget->ClearBreakpoint(Handle); }
    std::vector<NOVIKARM_BP_INFO> GetBreakpoints() override {
        return Alive() ? m_pTarget->GetBreakpoints() : std::vector<NOVIKARM_BP_INFO>();
    }
    int32_t SetWatchpoint(const NOVIKARM_DATA_EVENT& Event, uint32_t& Handle) override;
    bool ClearWatchpoint(uint32_t Handle) override { return Alive() && m_pTarget->ClearWatchpoint(Handle); }
    std::vector<NOVIKARM_WP_INFO> GetWatchpoints() override {
        return Alive() ? m_pTarget->GetWatchpoints() : std::vector<NOVIKARM_WP_INFO>();
    }
    void EnableSoftBreakpoints(bool Enable) override { m_pTarget->EnableSoftBreakpoints(Enable); }
    bool Exec(const std::string& sName, const std::string& sArgs, std::string& sError) override;
    bool CanReadWhileRunning() const override { return m_pTarget->CanReadWhileRunning(); }
    int32_t RttControl(uint32_t Cmd) override { return Alive() ? m_pTarget->RttControl(Cmd) : -1; }
    int32_t RttRead(uint32_t Index, char* pData, uint32_t NumBytes) override {
        return Alive() ? m_pTarget->RttRead(Index, pData, NumBytes) : -1;
    }
    int32_t RttWrite(uint32_t Index, const char* pData, uint32_t NumBytes) override {
        return Alive() ? m_pTarget->RttWrite(Index, pData, NumBytes) : -1;
    }
    int32_t HssStart(const NOVIK_HSS_MEM_BLOCK* pBlocks, int32_t Count, int32_t Period) override {
        return Alive() ? m_pTarget->HssStart(pBlocks, Count, Period) : -1;
    }
    int32_t HssStop() override { return Alive() ? m_pTarget->HssStop() : -1; }
    int32_t HssRead(void* pData, uint32_t NumBytes) override {
        return Alive() ? m_pTarget->HssRead(pData, NumBytes) : -1;
    }
    int32_t SwoEnable(uint32_t PortMask) override { return Alive() ? m_pTarget->SwoEnable(PortMask) : -1; }
    int32_t SwoDisable(uint32_t PortMask) override { return Alive() ? m_pTarget->SwoDisable(PortMask) : -1; }
    int32_t SwoFlush(const uint32_t* pNumBytes) override { return Alive() ? m_pTarget->SwoFlush(pNumBytes) : -1; }
    int32_t SwoRead(uint32_t Port, uint8_t* pData, uint32_t NumBytes) override {
        return Alive() ? m_pTarget->SwoRead(Port, pData, NumBytes) : -1;
    }
    int32_t MeasureCpuSpeed(uint32_t RamAddr) override { return Alive() ? m_pTarget->MeasureCpuSpeed(RamAddr) : -1; }
    int32_t TraceStart() override { return Alive() ? m_pTarget->TraceStart() : -1; }
    int32_t TraceStop() override { return Alive() ? m_pTarget->TraceStop() : -1; }
    int32_t TraceRead(uint32_t* pAddrs, uint32_t Count) override {
        return Alive() ? m_pTarget->TraceRead(pAddrs, Count) : -1;
    }
    int32_t TraceStats(NOVIK_STRACE_INST_STAT* pOut, uint32_t Addr, uint32_t Count) override {
        return Alive() ? m_pTarget->TraceStats(pOut, Addr, Count) : -1;
    }

private:
    // Counts a call and spends its latency; false once the connection is lost.
    bool Alive();
    // Bytes from Addr on before the first one of a failing range.
    uint32_t BytesBeforeFault(uint32_t Addr, uint32_t NumBytes, bool IsWrite) const;

    std::unique_ptr<CBackend> m_pTarget;
    CFaults& m_Faults;
    bool m_Lost = false;
};

} // namespace Novik
