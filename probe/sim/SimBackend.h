#pragma once
// The backend that reaches the simulated target. The target outlives the connection, as a board keeps its power when
// the debugger goes: it is made anew when another device is connected, or by the command SimPowerCycle.

#include "probe/Backend.h"
#include "probe/sim/Target.h"

#include <bitset>
#include <map>
#include <memory>

namespace Sim {

class CSimBackend : public Novik::CBackend {
public:
    static constexpr uint32_t SERIAL_NO = 100000001;

    ~CSimBackend() override;
    std::string Open() override;
    void Close() override;
    uint32_t GetSerialNo() const override { return SERIAL_NO; }
    std::string GetFirmware() const override;
    std::string Connect(const Novik::CDeviceEntry& Device) override;
    int IsHalted() override;
    bool Halt() override;
    bool Go() override;
    bool Step() override;
    bool Reset() override;
    int ReadMem(uint32_t Addr, void* pData, uint32_t NumBytes, uint32_t Width) override;
    int WriteMem(uint32_t Addr, const void* pData, uint32_t NumBytes, uint32_t Width) override;
    void BeginDownload() override;
    int EndDownload(int FailPhase) override;
    bool ReadReg(uint32_t Index, uint32_t& Value) override;
    bool WriteReg(uint32_t Index, uint32_t Value) override;
    uint32_t SetBreakpoint(uint32_t Addr, uint32_t TypeFlags) override;
    bool ClearBreakpoint(uint32_t Handle) override;
    std::vector<NOVIKARM_BP_INFO> GetBreakpoints() override { return m_Breakpoints; }
    int32_t SetWatchpoint(const NOVIKARM_DATA_EVENT& Event, uint32_t& Handle) override;
    bool ClearWatchpoint(uint32_t Handle) override;
    std::vector<NOVIKARM_WP_INFO> GetWatchpoints() override;
    void EnableSoftBreakpoints(bool Enable) override { m_SoftBreakpoints = Enable; }
    bool Exec(const std::string& sName, const std::string& sArgs, std::string& sError) override;
    bool CanReadWhileRunning() const override { return true; }
    int32_t RttControl(uint32_t Cmd) override;
    int32_t RttRead(uint32_t Index, char* pData, uint32_t NumBytes) override;
    int32_t RttWrite(uint32_t Index, const char* pData, uint32_t NumBytes) override;
    int32_t HssStart(const NOVIK_HSS_MEM_BLOCK* pBlocks, int32_t Count, int32_t Period) override;
    int32_t HssStop() override;
    int32_t HssRead(void* pData, uint32_t NumBytes) override;
    int32_t SwoEnable(uint32_t PortMask) override;
    int32_t SwoDisable(uint32_t PortMask) override;
    int32_t SwoFlush(const uint32_t* pNumBytes) override;
    int32_t SwoRead(uint32_t Port, uint8_t* pData, uint32_t NumBytes) override;
    int32_t MeasureCpuSpeed(uint32_t RamAddr) override;
    int32_t TraceStart() override;
    int32_t TraceStop() override;
    int32_t TraceRead(uint32_t* pAddrs, uint32_t Count) override;
    int32_t TraceStats(NOVIK_STRACE_INST_STAT* pOut, uint32_t Addr, uint32_t Count) override;

private:
    // Flash writes held back until EndDownload, by page.
    struct CPage {
        std::array<uint8_t, 256> Data;
        std::bitset<256> Written;
    };
    // A ring buffer of the RTT control block, as its descriptor says.
    struct CRttRing {
        uint32_t Descriptor, pBuffer, Size, WrOff, RdOff;
    };

    bool HoldBack(uint32_t Addr, const uint8_t* pData, uint32_t NumBytes);
    /// Compares, programs and verifies what was held back; the phase that is to fail, or 0.
    int ProgramPages(int FailPhase);
    uint32_t ChooseImplementation(uint32_t Addr, uint32_t TypeFlags);
    bool FindRttBlock(CCpu& Cpu);
    bool GetRttRing(CCpu& Cpu, bool Up, uint32_t Index, CRttRing& Ring);
    uint32_t* RegisterOf(CCpu& Cpu, uint32_t Index);
    bool ReadSpecialReg(CCpu& Cpu, uint32_t Index, uint32_t& Value);
    bool WriteSpecialReg(CCpu& Cpu, uint32_t Index, uint32_t Value);

    CSimTarget* m_pTarget = nullptr; // the one target of the process, while connected
    bool m_Downloading = false;
    int m_LastDownload = NOVIK_DL_OK;  ///< outcome of the last download of this connection
    std::map<uint32_t, CPage> m_Pages; // key: address / 256
    std::vector<NOVIKARM_BP_INFO> m_Breakpoints;
    uint32_t m_NextHandle = 1;
    bool m_SoftBreakpoints = false;
    bool m_FlashBreakpoints = false;
    bool m_TraceStarted = false;
    bool m_RttStarted = false;
    uint32_t m_RttAddr = 0; // of the control block, 0: not found yet
    bool m_RttAddrGiven = false;
    std::vector<std::pair<uint32_t, uint32_t>> m_RttRanges; // start and size; empty: all RAM
    uint32_t m_SwoLastPort = 0;
};

} // namespace Sim
