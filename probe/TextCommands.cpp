// Text commands of NOVIKARM_ExecCommand that belong to the library as a whole. The rest is the fault injector's and the
// target's own.
#include "probe/DeviceTable.h"
#include "probe/Session.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <strings.h>

namespace Novik {

namespace {

bool IsName(const std::string& sName, const char* sOther) { return strcasecmp(sName.c_str(), sOther) == 0; }

void SelectDevice(const std::string& sName, std::string& sError) {
    const int Index = CDeviceTable::Get().Find(sName);
    if (Index < 0) {
        sError = "Unknown device \"" + sName + "\"";
        return;
    }
    if (CProbeSession::Get().IsConnected && Index != CProbeSession::Get().Device) {
        sError = "The device can't be changed while connected";
        return;
    }
    CProbeSession::Get().Device = Index;
}

void RunScript(const std::string& sPath, std::string& sError, int Depth) {
    constexpr int MAX_DEPTH = 8;                  // a script can name another one
    constexpr std::uintmax_t MAX_SIZE = 16 << 20; // more is no script
    std::error_code NoSize;                       // also of a device or pipe, which would be waited for
    std::error_code Ignored;
    const std::uintmax_t Size = std::filesystem::file_size(sPath, NoSize);
    if (!NoSize ? Size > MAX_SIZE : std::filesystem::exists(sPath, Ignored)) {
        sError = "Script \"" + sPath + "\" is " + (NoSize ? "not a regular file" : "too large");
        return;
    }
    std::ifstream File(sPath);
    std::string sLine;
    if (!File || Depth >= MAX_DEPTH) {
        sError = File ? "Scripts are nested too deep" : "Could not open script \"" + sPath + "\"";
        return;
    }
    int Line = 0;
    while (sError.empty() && std::getline(File, sLine)) {
        Line++;
        const size_t First = sLine.find_first_not_of(" \t\r");
        if (First == std::string::npos || sLine[First] == '#' || sLine.compare(First, 2, "//") == 0) {
            continue;
        }
        if (sLine.size() > NOVIK_EXEC_MAX_LEN) {
            sError = "Command is too long";
        } else {
            ExecCommand(sLine.substr(First), sError, Depth + 1);
        }
    }
    if (!sError.empty()) {
        sError.insert(0, sPath + ":" + std::to_string(Line) + ": ");
    }
}

// One number and nothing behind it.
bool ParseInt(const std::string& sText, int64_t& Value) {
    char* pEnd = nullptr;
    Value = std::strtoll(sText.c_str(), &pEnd, 0);
    return !sText.empty() && *pEnd == 0 && pEnd != sText.c_str();
}

// "TD = 2000" or "TD0 = 2000 TD1 = -500": delays of the trace lines in picoseconds.
bool AreDelaysGood(const std::string& sText) {
    constexpr int64_t MAX_DELAY = 100000;
    std::string sArgs = sText;
    for (char& c : sArgs) {
        c = c == '=' ? ' ' : c;
    }
    std::istringstream Words(sArgs);
    std::string sKey, sDelay;
    int Count = 0;
    while (Words >> sKey) {
        const bool IsKey =
            sKey == "TD" || (sKey.size() == 3 && sKey.compare(0, 2, "TD") == 0 && sKey[2] >= '0' && sKey[2] <= '3');
        int64_t Delay;
        if (!IsKey || !(Words >> sDelay) || !ParseInt(sDelay, Delay) || Delay < -MAX_DELAY || Delay > MAX_DELAY) {
            return false;
        }
        Count++;
    }
    return Count > 0;
}

bool IsOneOf(const std::string& sArgs, std::initializer_list<int64_t> Values) {
    int64_t Value;
    return ParseInt(sArgs, Value) && std::find(Values.begin(), Values.end(), Value) != Values.end();
}

struct CSetting {
    const char* sName;
    const char* sExpected;
    bool (*pfIsGood)(const std::string& sArgs);
};

// The library shows no dialogs, and the simulator's trace has no lines to adjust: these are checked and done.
const CSetting Settings[] = {
    {NOVIK_EXEC_TRACE_SAMPLE_ADJUST, "TD or TD0 to TD3, each with a delay from -100000 to 100000 ps", AreDelaysGood},
    {NOVIK_EXEC_PORT_WIDTH, "1, 2 or 4",
     [](const std::string& s) {
         return IsOneOf(s, {1, 2, 4});
     }},
    {NOVIK_EXEC_SELECT_TRACE_SOURCE, "0 or 1",
     [](const std::string& s) {
         return IsOneOf(s, {0, 1});
     }},
    {NOVIK_EXEC_HIDE_DEVICE_SELECTION, "0 or 1",
     [](const std::string& s) {
         return IsOneOf(s, {0, 1});
     }},
};

bool ExecSetting(const std::string& sName, const std::string& sArgs, std::string& sError) {
    for (const CSetting& Setting : Settings) {
        if (IsName(sName, Setting.sName)) {
            sError = Setting.pfIsGood(sArgs) ? "" : sName + ": expected " + Setting.sExpected;
            return true;
        }
    }
    return false;
}

bool ExecSessionCommand(const std::string& sName, const std::string& sArgs, std::string& sError, int Depth) {
    if (IsName(sName, NOVIK_EXEC_DEVICE)) {
        SelectDevice(sArgs, sError);
    } else if (IsName(sName, NOVIK_EXEC_SCRIPT_FILE)) {
        RunScript(sArgs, sError, Depth);
    } else {
        return ExecSetting(sName, sArgs, sError);
    }
    return true;
}

} // namespace

std::pair<std::string, std::string> SplitCommand(const std::string& sCommand) {
    const size_t Start = std::min(sCommand.find_first_not_of(" \t"), sCommand.size());
    const size_t End = std::min(sCommand.find_first_of(" \t=\r\n", Start), sCommand.size());
    size_t First = sCommand.find_first_not_of(" \t", End);
    if (First != std::string::npos && sCommand[First] == '=') {
        First = sCommand.find_first_not_of(" \t", First + 1);
    }
    std::string sArgs = First == std::string::npos ? "" : sCommand.substr(First);
    sArgs.erase(sArgs.find_last_not_of(" \t\r\n") + 1);
    if (sArgs.size() >= 2 && sArgs.front() == '"' && sArgs.back() == '"') {
        sArgs = sArgs.substr(1, sArgs.size() - 2);
    }
    return {sCommand.substr(Start, End - Start), sArgs};
}

bool ExecTraceCommand(const std::string& sCommand, std::string& sError) {
    const auto [sName, sArgs] = SplitCommand(sCommand);
    return ExecSetting(sName, sArgs, sError);
}

void ExecCommand(const std::string& sCommand, std::string& sError, int Depth) {
    CProbeSession& Session = CProbeSession::Get();
    const auto [sName, sArgs] = SplitCommand(sCommand);
    if (sName.empty()) {
        sError = "No command";
        return;
    }
    if (ExecSessionCommand(sName, sArgs, sError, Depth) || Session.Faults.Exec(sName, sArgs, sError)) {
        return;
    }
    if (!Session.pBackend || !Session.pBackend->Exec(sName, sArgs, sError)) {
        sError = "Unknown command \"" + sName + "\"" + (Session.pBackend ? "" : " (the probe is not open)");
    }
}

} // namespace Novik
