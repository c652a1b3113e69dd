#include "probe/DeviceTable.h"

#include "probe/novik.h"

#include <algorithm>
#include <charconv>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <strings.h>

namespace Novik {

namespace {

using namespace Thumb;
using Sim::CCoreTraits;
using Sim::ERegion;

struct CCoreRow {
    const char* sName;
    uint32_t Core;
    bool CanSimulate;
    CCoreTraits Traits;
};

// Arch, CPUID, FPU, bit-band, security, FPB version, breakpoints, watchpoints, data compare, priority bits, interrupts,
// MPU regions; from the cores' technical reference manuals.
const CCoreRow CoreTable[] = {
    {"Cortex-M0", NOVIK_CORE_CORTEX_M0, true, {ARCH_V6M, 0x410CC200, false, false, false, 0, 4, 2, false, 2, 32, 0}},
    {"Cortex-M0+", NOVIK_CORE_CORTEX_M0, true, {ARCH_V6M, 0x410CC601, false, false, false, 0, 4, 2, false, 2, 32, 8}},
    {"Cortex-M1", NOVIK_CORE_CORTEX_M1, true, {ARCH_V6M, 0x410CC210, false, false, false, 0, 4, 2, false, 2, 32, 0}},
    {"Cortex-M3", NOVIK_CORE_CORTEX_M3, true, {ARCH_V7M, 0x412FC231, false, true, false, 1, 6, 4, true, 4, 96, 8}},
    {"Cortex-M4", NOVIK_CORE_CORTEX_M4, true, {ARCH_V7EM, 0x410FC241, false, true, false, 1, 6, 4, true, 4, 96, 8}},
    {"Cortex-M7", NOVIK_CORE_CORTEX_M7, true, {ARCH_V7EM, 0x411FC272, false, false, false, 2, 8, 4, true, 4, 160, 8}},
    {"Cortex-M23", NOVIK_CORE_CORTEX_M23, true, {ARCH_V8B, 0x411CD200, false, false, false, 2, 4, 4, false, 2, 96, 8}},
    {"Cortex-M33", NOVIK_CORE_CORTEX_M33, true, {ARCH_V8M, 0x411FD210, false, false, false, 2, 8, 4, true, 4, 96, 8}},
    {"ARM7TDMI", NOVIK_CORE_ARM7TDMI, false, {}},
    {"ARM7TDMI-S", 0x070001FF, false, {}},
    {"ARM920T", NOVIK_CORE_ARM920T, false, {}},
    {"ARM922T", 0x092200FF, false, {}},
    {"ARM926EJ-S", NOVIK_CORE_ARM926EJS, false, {}},
    {"ARM946E-S", 0x094601FF, false, {}},
    {"ARM966E-S", 0x096601FF, false, {}},
    {"ARM968E-S", 0x096801FF, false, {}},
    {"ARM1136JF-S", 0x0B3606FF, false, {}},
    {"ARM1156T2-S", 0x0B56FFFF, false, {}},
    {"ARM1176JZF-S", NOVIK_CORE_ARM1176, false, {}},
    {"Cortex-A5", NOVIK_CORE_CORTEX_A5, false, {}},
    {"Cortex-A7", NOVIK_CORE_CORTEX_A7, false, {}},
    {"Cortex-A8", NOVIK_CORE_CORTEX_A8, false, {}},
    {"Cortex-A9", NOVIK_CORE_CORTEX_A9, false, {}},
    {"Cortex-A12", 0x080A00FF, false, {}},
    {"Cortex-A15", 0x080B00FF, false, {}},
    {"Cortex-A17", 0x080C00FF, false, {}},
    {"Cortex-R4", NOVIK_CORE_CORTEX_R4, false, {}},
    {"Cortex-R5", NOVIK_CORE_CORTEX_R5, false, {}},
};

// Names of identifiers that stand for a stepping or a whole family.
const struct {
    uint32_t Mask, Core;
    const char* sName;
} CoreFamilies[] = {
    {0xFF00FF00, 0x03000000, "Cortex-M3"}, {0xFFFFFF00, 0x07000000, "ARM7TDMI"}, {0xFFFFFF00, 0x07000100, "ARM7TDMI-S"},
    {0xFF000000, 0x07000000, "ARM7"},      {0xFF000000, 0x09000000, "ARM9"},     {0xFFFF0000, 0x0B360000, "ARM1136"},
    {0xFFFF0000, 0x0B560000, "ARM1156"},   {0xFFFF0000, 0x0B760000, "ARM1176"},  {0xFF000000, 0x0B000000, "ARM11"},
    {0xFF000000, 0x0D000000, "Cortex-R"},
};

std::string Trim(const std::string& s) {
    const size_t First = s.find_first_not_of(" \t\r");
    return First == std::string::npos ? "" : s.substr(First, s.find_last_not_of(" \t\r") - First + 1);
}

// Number in decimal or 0x form with an optional K or M behind it.
bool ParseNumber(std::string sText, uint32_t& Value) {
    uint64_t Unit = 1;
    if (!sText.empty() && (sText.back() == 'K' || sText.back() == 'M')) {
        Unit = sText.back() == 'K' ? 1024 : 1024 * 1024;
        sText.pop_back();
    }
    const bool IsHex = sText.rfind("0x", 0) == 0;
    const char* pFirst = sText.data() + (IsHex ? 2 : 0);
    const char* pLast = sText.data() + sText.size();
    uint64_t Number = 0;
    const auto Result = std::from_chars(pFirst, pLast, Number, IsHex ? 16 : 10);
    if (Result.ec != std::errc() || Result.ptr != pLast || Number > 0xFFFFFFFF / Unit) {
        return false;
    }
    Value = static_cast<uint32_t>(Number * Unit);
    return true;
}

// The start of a text from a file that may hold anything.
std::string Printable(const std::string& sText) {
    constexpr size_t MAX_LENGTH = 40;
    std::string sOut = sText.substr(0, MAX_LENGTH);
    std::replace_if(
        sOut.begin(), sOut.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return sText.size() > MAX_LENGTH ? sOut + "..." : sOut;
}

// Empty, or why a device can't have the name.
std::string CheckName(const std::string& sName) {
    constexpr size_t MAX_NAME = 64;
    if (sName.empty()) {
        return "device without a name";
    }
    const bool IsText = std::all_of(sName.begin(), sName.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return sName.size() > MAX_NAME || !IsText ? "device name \"" + Printable(sName) + "\" is too long or not printable"
                                              : "";
}

// Reads the lines of one file into devices.
class CParser {
public:
    explicit CParser(CDeviceEntry& Device) : m_Device(Device) {}
    // Empty, or what is wrong with the line.
    std::string ParseLine(const std::string& sKey, const std::string& sArgs);

private:
    std::string ParseCore(const std::string& sName);
    std::string ParseMemory(ERegion Kind, const std::string& sArgs);
    std::string ParseCount(const std::string& sKey, const std::string& sArgs);
    std::string ParseEndian(const std::string& sArgs);
    CDeviceEntry& m_Device;
};

std::string CParser::ParseCore(const std::string& sName) {
    for (const CCoreRow& Row : CoreTable) {
        if (sName == Row.sName) {
            m_Device.Core = Row.Core;
            m_Device.CanSimulate = Row.CanSimulate;
            m_Device.Traits = Row.Traits;
            m_Device.Traits.IsBigEndian = m_Device.IsBigEndian;
            return "";
        }
    }
    return "unknown core \"" + Printable(sName) + "\"";
}

std::string CParser::ParseMemory(ERegion Kind, const std::string& sArgs) {
    std::istringstream Words(sArgs);
    std::string sAddr, sSize, sRest;
    Words >> sAddr >> sSize >> sRest;
    CMemRange Range{Kind, 0, 0};
    if (!ParseNumber(sAddr, Range.Addr) || !ParseNumber(sSize, Range.Size) || !sRest.empty()) {
        return "expected an address and a size";
    }
    const uint64_t End = uint64_t(Range.Addr) + Range.Size;
    if (Range.Size == 0 || Range.Addr % 256 || Range.Size % 256 || End > 0xE0000000) {
        return "memory must lie below 0xE0000000, in multiples of 256 bytes";
    }
    for (const CMemRange& Other : m_Device.Memories) {
        if (Range.Addr < uint64_t(Other.Addr) + Other.Size && Other.Addr < End) {
            return "memory overlaps another one";
        }
    }
    m_Device.Memories.push_back(Range);
    return "";
}

std::string CParser::ParseCount(const std::string& sKey, const std::string& sArgs) {
    struct {
        const char* sKey;
        uint32_t Min, Max;
    } constexpr Rows[] = {{"breakpoints", 1, 127}, {"watchpoints", 0, 4}, {"interrupts", 1, 240},
                          {"priobits", 2, 8},      {"mpu", 0, 16},        {"clock", 1000, 4000000000u}};
    uint32_t Value = 0;
    for (const auto& Row : Rows) {
        if (sKey != Row.sKey) {
            continue;
        }
        if (!ParseNumber(sArgs, Value) || Value < Row.Min || Value > Row.Max) {
            return "expected a number from " + std::to_string(Row.Min) + " to " + std::to_string(Row.Max);
        }
        CCoreTraits& Traits = m_Device.Traits;
        switch (&Row - Rows) {
        case 0:
            Traits.NumBreakpoints = static_cast<uint8_t>(Value);
            break;
        case 1:
            Traits.NumWatchpoints = static_cast<uint8_t>(Value);
            break;
        case 2:
            Traits.NumIrqs = static_cast<uint16_t>(Value);
            break;
        case 3:
            Traits.PrioBits = static_cast<uint8_t>(Value);
            break;
        case 4:
            Traits.NumMpuRegions = static_cast<uint8_t>(Value);
            break;
        default:
            m_Device.ClockHz = Value;
            break;
        }
        return "";
    }
    return "unknown keyword \"" + Printable(sKey) + "\"";
}

std::string CParser::ParseEndian(const std::string& sArgs) {
    if (sArgs != "little" && sArgs != "big" && sArgs != "be8") {
        return "expected little, big or be8";
    }
    m_Device.IsBigEndian = sArgs != "little";
    m_Device.IsCodeBigEndian = sArgs == "big";
    m_Device.Traits.IsBigEndian = m_Device.IsBigEndian;
    return m_Device.IsCodeBigEndian && m_Device.CanSimulate
               ? "the simulated target executes little-endian instructions only"
               : "";
}

std::string CParser::ParseLine(const std::string& sKey, const std::string& sArgs) {
    if (sKey == "maker") {
        m_Device.sMaker = sArgs;
        return "";
    }
    if (sKey == "core") {
        return ParseCore(sArgs);
    }
    if (m_Device.Core == 0) {
        return "\"" + Printable(sKey) + "\" must stand behind \"core\"";
    }
    if (sKey == "flash" || sKey == "ram") {
        return ParseMemory(sKey == "flash" ? ERegion::Flash : ERegion::Ram, sArgs);
    }
    if (sKey == "endian") {
        return ParseEndian(sArgs);
    }
    if (sKey == "fpu") {
        m_Device.Traits.HasFpu = true;
        return "";
    }
    return ParseCount(sKey, sArgs);
}

std::string FolderOfLibrary() {
    Dl_info Info;
    if (!dladdr(reinterpret_cast<void*>(&FolderOfLibrary), &Info) || !Info.dli_fname) {
        return ".";
    }
    return std::filesystem::absolute(Info.dli_fname).parent_path().string();
}

} // namespace

const CMemRange* CDeviceEntry::FirstOf(ERegion Kind) const {
    for (const CMemRange& Range : Memories) {
        if (Range.Kind == Kind) {
            return &Range;
        }
    }
    return nullptr;
}

CDeviceTable::CDeviceTable() {
    auto pNone = std::make_unique<CDeviceEntry>();
    pNone->sName = "Unspecified";
    m_Devices.push_back(std::move(pNone));
}

const CDeviceTable& CDeviceTable::Get() {
    static const CDeviceTable Table = [] {
        CDeviceTable Loaded;
        Loaded.LoadFolder(FolderOfLibrary() + "/Config/Devices");
        return Loaded;
    }();
    return Table;
}

void CDeviceTable::LoadFolder(const std::string& sFolder) {
    std::error_code Error;
    std::vector<std::filesystem::path> Files;
    for (const auto& Entry : std::filesystem::directory_iterator(sFolder, Error)) {
        if (Entry.path().extension() == ".dev") {
            Files.push_back(Entry.path());
        }
    }
    if (Error) {
        m_Errors.push_back(sFolder + ": " + Error.message());
    }
    std::sort(Files.begin(), Files.end());
    for (const auto& Path : Files) {
        ParseFile(Path.string());
    }
}

void CDeviceTable::ParseFile(const std::string& sPath) {
    constexpr uintmax_t MAX_FILE = 4u << 20; // a hundred times what the table of a maker takes
    std::error_code Error;
    const bool IsFile = std::filesystem::is_regular_file(sPath, Error);
    const uintmax_t Size = IsFile ? std::filesystem::file_size(sPath, Error) : 0;
    std::ifstream File(sPath, std::ios::binary);
    if (!IsFile || Error || !File) {
        m_Errors.push_back(sPath + ": can't be read");
    } else if (Size > MAX_FILE) {
        m_Errors.push_back(sPath + ": is too large for a device table");
    } else {
        std::string sText(static_cast<size_t>(Size), 0);
        File.read(sText.data(), static_cast<std::streamsize>(Size));
        sText.resize(static_cast<size_t>(File.gcount()));
        Parse(sText, sPath);
    }
}

void CDeviceTable::Parse(const std::string& sText, const std::string& sFile) {
    std::istringstream Lines(sText);
    std::string sLine;
    std::unique_ptr<CDeviceEntry> pDevice;
    constexpr size_t MAX_LINE = 1024;
    constexpr int MAX_ERRORS = 20; // of one file; more tell nothing new
    int DeviceLine = 0, NumErrors = 0;
    bool IsGood = false;
    const auto Report = [&](int Line, const std::string& sWhat) {
        IsGood = false;
        if (++NumErrors > MAX_ERRORS) {
            return;
        }
        m_Errors.push_back(sFile + ":" + std::to_string(Line) + ": " +
                           (NumErrors == MAX_ERRORS ? "more errors are not shown" : sWhat));
    };
    const auto Finish = [&] {
        if (pDevice && IsGood && pDevice->Core == 0) {
            Report(DeviceLine, "device without a core");
        }
        if (pDevice && IsGood && Find(pDevice->sName) >= 0) {
            Report(DeviceLine, "device \"" + pDevice->sName + "\" exists already");
        }
        if (pDevice && IsGood) {
            m_Devices.push_back(std::move(pDevice));
        }
        pDevice.reset();
    };
    for (int Line = 1; std::getline(Lines, sLine); Line++) {
        sLine = Trim(sLine.substr(0, std::min(sLine.find('#'), MAX_LINE)));
        const size_t Blank = std::min(sLine.find_first_of(" \t"), sLine.size());
        const std::string sKey = sLine.substr(0, Blank), sArgs = Trim(sLine.substr(Blank));
        if (sKey.empty()) {
            continue;
        }
        if (sKey == "device") {
            Finish();
            pDevice = std::make_unique<CDeviceEntry>();
            pDevice->sName = sArgs;
            DeviceLine = Line;
            IsGood = true;
            if (const std::string sWrong = CheckName(sArgs); !sWrong.empty()) {
                Report(Line, sWrong);
            }
            continue;
        }
        const std::string sError = pDevice ? CParser(*pDevice).ParseLine(sKey, sArgs) : "expected \"device\"";
        if (!sError.empty()) {
            Report(Line, sError);
        }
    }
    Finish();
}

int CDeviceTable::Find(const std::string& sName) const {
    for (size_t Index = 0; Index < m_Devices.size(); Index++) {
        if (strcasecmp(m_Devices[Index]->sName.c_str(), sName.c_str()) == 0) {
            return static_cast<int>(Index);
        }
    }
    return -1;
}

std::string GetCoreName(uint32_t Core) {
    for (const CCoreRow& Row : CoreTable) {
        if (Row.Core == Core) {
            return Row.sName;
        }
    }
    for (const auto& Family : CoreFamilies) {
        if ((Core & Family.Mask) == Family.Core) {
            return Family.sName;
        }
    }
    return "";
}

} // namespace Novik
