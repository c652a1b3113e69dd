#pragma once
// The devices the library knows, read once from the text files `Config/Devices/*.dev` beside the library. Immutable
// after that; any thread.
//
// A file is a list of devices. "#" starts a comment. Keywords, one a line:
//   device <name>            begins a device; the name is the rest of the line
//   maker <name>
//   core <name>              one of the core table (DeviceTable.cpp)
//   flash <address> <size>   memory that is programmed by downloads; the first one is the device's main memory
//   ram <address> <size>     the first one is the work area
//   fpu                      has a floating point unit
//   breakpoints <n>          hardware breakpoints, watchpoints <n>, interrupts <n>, priobits <n>, mpu <regions>
//   clock <Hz>               CPU clock of the simulated target
//   endian <order>           little, big (data and instructions; can't be simulated) or be8 (data only)
// Sizes take the suffix K or M. A damaged line is reported with file and line, and the device it stands in is left out.

#include "probe/sim/Cpu.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Novik {

struct CMemRange {
    Sim::ERegion Kind;
    uint32_t Addr;
    uint32_t Size;
};

struct CDeviceEntry {
    std::string sName;
    std::string sMaker;
    uint32_t Core = 0; // NOVIK_CORE_*
    bool CanSimulate = false;
    Sim::CCoreTraits Traits;
    uint32_t ClockHz = 100000000;
    bool IsBigEndian = false;     // data
    bool IsCodeBigEndian = false; // instructions
    std::vector<CMemRange> Memories;

    // As NOVIK_ENDIAN_FUNC.
    int GetEndianBits() const { return (IsBigEndian ? 1 : 0) | (IsCodeBigEndian ? 2 : 0); }
    const CMemRange* FirstOf(Sim::ERegion Kind) const;
};

class CDeviceTable {
public:
    // The table of the installation.
    static const CDeviceTable& Get();

    // Adds the devices of a text. sFile names it in messages.
    void Parse(const std::string& sText, const std::string& sFile);
    // Adds the devices of each "*.dev" of a folder, in the order of their names. What can't be read is an error.
    void LoadFolder(const std::string& sFolder);
    // Index of the name, letter case ignored; -1 if there is none. Index 0 stands for no device.
    int Find(const std::string& sName) const;
    const std::vector<std::unique_ptr<const CDeviceEntry>>& GetDevices() const { return m_Devices; }
    const std::vector<std::string>& GetErrors() const { return m_Errors; }

    CDeviceTable();

private:
    void ParseFile(const std::string& sPath);

    std::vector<std::unique_ptr<const CDeviceEntry>> m_Devices;
    std::vector<std::string> m_Errors;
};

// Display name of a core identifier, empty if unknown.
std::string GetCoreName(uint32_t Core);

} // namespace Novik
