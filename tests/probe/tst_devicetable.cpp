// The text format of the device table.
#include "probe/DeviceTable.h"
#include "probe/novik.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

namespace {

using Novik::CDeviceTable;

const char* const sGood = "device A 1\n maker M # comment\n core Cortex-M0\n flash 0x0 64K\n ram 0x20000000 0x2000\n"
                          "interrupts 20\n\ndevice B\ncore Cortex-M7\nfpu\n";

TEST(DeviceTable, DamagedLinesAreNamedAndTheRestLoads) {
    const std::pair<const char*, const char*> Cases[] = {
        {"core Cortex-M0\n", "bad.dev:1: expected \"device\""},
        {"device\n", "bad.dev:1: device without a name"},
        {"device X\n", "bad.dev:1: device without a core"},
        {"device X\ncore Cortex-Z\n", "bad.dev:2: unknown core \"Cortex-Z\""},
        {"device X\nflash 0 1K\n", "bad.dev:2: \"flash\" must stand behind \"core\""},
        {"device X\ncore Cortex-M0\nflash 0 -1\n", "bad.dev:3: expected an address and a size"},
        {"device X\ncore Cortex-M0\nflash 0 9999999999M\n", "bad.dev:3: expected an address and a size"},
        {"device X\ncore Cortex-M0\nflash 0xF0000000 1M\n",
         "bad.dev:3: memory must lie below 0xE0000000, in multiples of 256 bytes"},
        {"device X\ncore Cortex-M0\nflash 0 1K\nram 512 1K\n", "bad.dev:4: memory overlaps another one"},
        {"device X\ncore Cortex-M0\nbreakpoints 0\n", "bad.dev:3: expected a number from 1 to 127"},
        {"device X\ncore Cortex-M0\ncolour red\n", "bad.dev:3: unknown keyword \"colour\""},
        {"device X\ncore Cortex-M0\ndevice x\ncore Cortex-M3\n", "bad.dev:3: device \"x\" exists already"},
    };
    for (const auto& [sText, sError] : Cases) {
        CDeviceTable Table;
        Table.Parse(sText, "bad.dev");
        Table.Parse(sGood, "x.dev");
        ASSERT_EQ(Table.GetErrors().size(), 1u) << sText;
        EXPECT_EQ(Table.GetErrors()[0], sError);
        EXPECT_GE(Table.Find("A 1"), 1) << sText;
    }
}

TEST(DeviceTable, GarbageGivesAFewErrorsAndNoDevice) {
    std::string sBinary;
    uint32_t State = 12345;
    for (int Index = 0; Index < 200000; Index++) {
        State = State * 1103515245 + 12345;
        sBinary += static_cast<char>(State >> 16);
    }
    const std::string Texts[] = {sBinary,
                                 std::string(1 << 20, 'x'),
                                 std::string(100000, '\0'),
                                 "device " + std::string(100000, 'n') + "\ncore Cortex-M0\n",
                                 "device \x01\x02\ncore Cortex-M0\n",
                                 "device A\ncore Cortex-M0\nendian big\n"};
    for (const std::string& sText : Texts) {
        CDeviceTable Table;
        Table.Parse(sText, "bad.dev");
        Table.Parse(sGood, "x.dev");
        EXPECT_GE(Table.GetErrors().size(), 1u);
        EXPECT_LE(Table.GetErrors().size(), 20u);
        for (const std::string& sError : Table.GetErrors()) {
            EXPECT_EQ(sError.compare(0, 8, "bad.dev:"), 0) << sError;
            EXPECT_LT(sError.size(), 200u);
        }
        EXPECT_EQ(Table.GetDevices().size(), 3u);
    }
}

class CDeviceFolder : public testing::Test {
protected:
    void SetUp() override {
        char Name[] = "/tmp/novik-devices-XXXXXX";
        ASSERT_NE(mkdtemp(Name), nullptr);
        Folder = Name;
    }
    void TearDown() override { std::filesystem::remove_all(Folder); }
    void Write(const char* sName, const std::string& sText) { std::ofstream(Folder / sName) << sText; }

    std::filesystem::path Folder;
};

TEST_F(CDeviceFolder, WhatCanNotBeReadIsNamedAndTheRestLoads) {
    Write("a.dev", sGood);
    Write("b.dev", "device C\ncore Cortex-M0\n");
    Write("huge.dev", std::string(5 << 20, '#'));
    Write("notes.txt", "nonsense");
    std::filesystem::create_directory(Folder / "folder.dev");
    std::filesystem::create_symlink("nowhere", Folder / "link.dev");
    CDeviceTable Table;
    Table.LoadFolder(Folder.string());
    const std::vector<std::string> Expected = {(Folder / "folder.dev").string() + ": can't be read",
                                               (Folder / "huge.dev").string() + ": is too large for a device table",
                                               (Folder / "link.dev").string() + ": can't be read"};
    EXPECT_EQ(Table.GetErrors(), Expected);
    EXPECT_EQ(Table.GetDevices().size(), 4u);
    CDeviceTable Missing;
    Missing.LoadFolder((Folder / "none").string());
    ASSERT_EQ(Missing.GetErrors().size(), 1u);
    EXPECT_EQ(Missing.GetDevices().size(), 1u) << "the entry for no device is always there";
}

// The table that is installed with the program.
TEST(DeviceTable, InstalledTable) {
    CDeviceTable Table;
    Table.LoadFolder(BRASK_SOURCE_DIR "/Config/Devices");
    EXPECT_TRUE(Table.GetErrors().empty()) << Table.GetErrors()[0];
    std::set<std::string> Makers, Cores;
    int NumReal = 0;
    for (size_t Index = 1; Index < Table.GetDevices().size(); Index++) {
        const Novik::CDeviceEntry& Device = *Table.GetDevices()[Index];
        EXPECT_NE(Novik::GetCoreName(Device.Core), "") << Device.sName;
        EXPECT_FALSE(Device.sMaker.empty()) << Device.sName;
        if (!Device.CanSimulate) {
            continue;
        }
        ASSERT_NE(Device.FirstOf(Sim::ERegion::Flash), nullptr) << Device.sName;
        ASSERT_NE(Device.FirstOf(Sim::ERegion::Ram), nullptr) << Device.sName;
        if (Device.sMaker != "ARM") {
            NumReal++;
            Makers.insert(Device.sMaker);
            Cores.insert(Novik::GetCoreName(Device.Core));
        }
    }
    EXPECT_GE(NumReal, 60);
    EXPECT_GE(Makers.size(), 8u);
    // The M0+ has the identifier of the M0.
    EXPECT_EQ(Cores,
              (std::set<std::string>{"Cortex-M0", "Cortex-M3", "Cortex-M4", "Cortex-M7", "Cortex-M23", "Cortex-M33"}));
    for (const char* sName : {"STM32F407IG", "MK66FN2M0XXX18", "ARM7TDMI", "Cortex-M0+", "Cortex-A9", "Cortex-R5"}) {
        EXPECT_GE(Table.Find(sName), 1) << sName;
    }
    EXPECT_EQ(Table.GetDevices()[static_cast<size_t>(Table.Find("TMS570LS3137"))]->GetEndianBits(), 3);
}

} // namespace
