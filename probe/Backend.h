#pragma once
// What stands behind the library's interface: one backend is open at a time. A backend reaches one kind of target; the
// layers above it (fault injection, the exported functions) don't know which. One thread calls it.

#include "probe/novik.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Novik {

struct CDeviceEntry;

class CBackend {
public:
    virtual ~CBackend() = default;

    // Empty on success, else the reason.
    virtual std::string Open() = 0;
    virtual void Close() = 0;
    virtual uint32_t GetSerialNo() const = 0;
    virtual std::string GetFirmware() const = 0;
    // Empty on success, else the reason. The target stays in the state it is in.
    virtual std::string Connect(const CDeviceEntry& Device) = 0;

    // As NOVIKARM_IsHalted.
    virtual int IsHalted() = 0;
    virtual bool Halt() = 0;
    virtual bool Go() = 0;
    virtual bool Step() = 0;
    virtual bool Reset() = 0;

    // Bytes transferred before the first failing item; Width 0, 1, 2, 4, 8. Negative: no connection.
    virtual int ReadMem(uint32_t Addr, void* pData, uint32_t NumBytes, uint32_t Width) = 0;
    virtual int WriteMem(uint32_t Addr, const void* pData, uint32_t NumBytes, uint32_t Width) = 0;
    virtual void BeginDownload() = 0;
    // NOVIK_DL_*. FailPhase: a phase that is to fail, 0 for none.
    virtual int EndDownload(int FailPhase) = 0;

    virtual bool ReadReg(uint32_t Index, uint32_t& Value) = 0;
    virtual bool WriteReg(uint32_t Index, uint32_t Value) = 0;

    virtual uint32_t SetBreakpoint(uint32_t Addr, uint32_t TypeFlags) = 0;
    virtual bool ClearBreakpoint(uint32_t Handle) = 0;
    virtual std::vector<NOVIKARM_BP_INFO> GetBreakpoints() = 0;
    // As NOVIKARM_SetDataEvent.
    virtual int32_t SetWatchpoint(const NOVIKARM_DATA_EVENT& Event, uint32_t& Handle) = 0;
    virtual bool ClearWatchpoint(uint32_t Handle) = 0;
    virtual std::vector<NOVIKARM_WP_INFO> GetWatchpoints() = 0;
    virtual void EnableSoftBreakpoints(bool Enable) = 0;

    // The target's own text commands: true if the command was known; sError gets the reason of a failure.
    virtual bool Exec(const std::string& sName, const std::string& sArgs, std::string& sError) = 0;

    // Streams; the results are those of the exported functions of the same name.
    virtual bool CanReadWhileRunning() const = 0;
    virtual int32_t RttControl(uint32_t Cmd) = 0;
    virtual int32_t RttRead(uint32_t Index, char* pData, uint32_t NumBytes) = 0;
    virtual int32_t RttWrite(uint32_t Index, const char* pData, uint32_t NumBytes) = 0;
    virtual int32_t HssStart(const NOVIK_HSS_MEM_BLOCK* pBlocks, int32_t Count, int32_t Period) = 0;
    virtual int32_t HssStop() = 0;
    virtual int32_t HssRead(void* pData, uint32_t NumBytes) = 0;
    virtual int32_t SwoEnable(uint32_t PortMask) = 0;
    virtual int32_t SwoDisable(uint32_t PortMask) = 0;
    virtual int32_t SwoFlush(const uint32_t* pNumBytes) = 0;
    virtual int32_t SwoRead(uint32_t Port, uint8_t* pData, uint32_t NumBytes) = 0;
    // RamAddr: two words of RAM for the measuring program.
    virtual int32_t MeasureCpuSpeed(uint32_t RamAddr) = 0;
    virtual int32_t TraceStart() = 0;
    virtual int32_t TraceStop() = 0;
    virtual int32_t TraceRead(uint32_t* pAddrs, uint32_t Count) = 0;
    virtual int32_t TraceStats(NOVIK_STRACE_INST_STAT* pOut, uint32_t Addr, uint32_t Count) = 0;
};

} // namespace Novik
