#pragma once
// The library's global state: what is selected, the open backend, the callbacks. One thread, see novik.h.

#include "probe/Backend.h"
#include "probe/FaultyBackend.h"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

namespace Novik {

constexpr uint32_t VERSION = 6 * 10000 + 52 * 100 + 1; // streaming trace exists from 61000 on

struct CProbeSession {
    static constexpr uint32_t DEFAULT_SPEED = 4000, MAX_SPEED = 50000; // kHz

    std::unique_ptr<CBackend> pBackend; // null while closed
    bool IsSelected = false;
    bool IsConnected = false;
    int Device = 0; // index into the device table
    uint32_t Speed = DEFAULT_SPEED;
    bool IsBigEndian = false;    // data of the connected target
    bool HasSystemSpace = false; // the connected target is a Cortex-M
    bool InitRegsOnReset = true;
    int32_t ResetDelay = 0; // ms
    CFaults Faults;
    std::string sOpenError; // text returned by NOVIKARM_Open
    NOVIK_LOG_FUNC* pfLog = nullptr;
    NOVIK_LOG_FUNC* pfWarn = nullptr;
    NOVIK_LOG_FUNC* pfError = nullptr;
    FILE* pLogFile = nullptr;

    static CProbeSession& Get();
    ~CProbeSession();
    // Back to the start, as NOVIKARM_Close promises.
    void ForgetAll();
    const CDeviceEntry& GetDevice() const;
    // The backend while connected, else null.
    CBackend* Target() { return IsConnected ? pBackend.get() : nullptr; }
    void Log(const std::string& sText) { Put(pfLog, sText); }
    void Warn(const std::string& sText) { Put(pfWarn, sText); }
    void Error(const std::string& sText) { Put(pfError, sText); }

private:
    void Put(NOVIK_LOG_FUNC* pfSink, const std::string& sText);
};

// Copies a text into a caller's buffer, 0-terminated.
void CopyText(char* sBuffer, size_t Size, const std::string& sText);
// Name and arguments of a text command, which a blank or "=" separates; quotes around the arguments are taken off.
std::pair<std::string, std::string> SplitCommand(const std::string& sCommand);
// The settings of the trace lines; false if the command is none of them. The simulator's trace has no lines: they are
// checked only.
bool ExecTraceCommand(const std::string& sCommand, std::string& sError);
// Runs one text command; sError is empty on success.
void ExecCommand(const std::string& sCommand, std::string& sError, int Depth = 0);

} // namespace Novik
