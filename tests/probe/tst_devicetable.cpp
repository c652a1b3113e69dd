// The text format of the device table.
#include "probe/DeviceTable.h"
#include "probe/novik.h"

#include <gtest/gtest.h>

namespace {

using Novik::CDeviceTable;

const char* const sGood = "device A 1\n maker M # comment\n core Cortex-M0\n flash 0x0 64K\n ram 0x20000000 0x2000\n"
                          "interrupts 20\n\ndevice B\ncore Cortex-M7\nfpu\n";

TEST(DeviceTable, ReadsWhatIsWritten) {
    CDeviceTable Table;
    Table.Parse(sGood, "x.dev");
    EXPECT_TRUE(Table.GetErrors().empty());
    ASSERT_EQ(Table.GetDevices().size(), 3u);
    const Novik::CDevice& Device = *Table.GetDevices()[1];
    EXPECT_EQ(Device.sName, "A 1");
    EXPECT_EQ(Device.sMaker, "M");
    EXPECT_EQ(Device.Core, uint32_t(NOVIK_CORE_CORTEX_M0));
    EXPECT_EQ(Device.Traits.NumIrqs, 20);
    ASSERT_EQ(Device.Memories.size(), 2u);
    EXPECT_EQ(Device.Memories[0].Size, 65536u);
    EXPECT_EQ(Device.FirstOf(Sim::ERegion::Ram)->Addr, 0x20000000u);
    EXPECT_TRUE(Table.GetDevices()[2]->Traits.HasFpu);
    EXPECT_EQ(Table.Find("a 1"), 1);
    EXPECT_EQ(Table.Find("C"), -1);
}

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

} // namespace
