// Items of a big-endian target, through the library.
#include "probe/DeviceTable.h"
#include "probe/Session.h"
#include "probe/sim/SimBackend.h"

#include <gtest/gtest.h>

namespace {

using namespace Novik;

class CByteOrder : public testing::Test {
protected:
    void SetUp() override {
        Table.Parse("device X\ncore Cortex-M4\nendian be8\nflash 0 64K\nram 0x20000000 64K\n", "x.dev");
        CProbeSession& Session = CProbeSession::Get();
        Session.pBackend = std::make_unique<Sim::CSimBackend>();
        ASSERT_EQ(Session.pBackend->Connect(*Table.GetDevices()[1]), "");
        Session.IsConnected = Session.IsBigEndian = Session.HasSystemSpace = true;
    }
    void TearDown() override {
        std::string sError;
        CProbeSession::Get().pBackend->Exec("SimPowerCycle", "", sError);
        NOVIKARM_Close();
        Sim::CSimBackend().Exec("SimPowerCycle", "", sError); // the device goes with the test's table
    }

    CDeviceTable Table;
};

TEST_F(CByteOrder, ItemsHaveTheTargetsOrderAndBytesHaveNone) {
    constexpr uint32_t RAM = 0x20000000;
    const uint8_t Bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(NOVIKARM_WriteMem(RAM, 8, Bytes), 8);
    uint8_t Status[8], Byte = 0, Back[8];
    uint16_t Halves[2];
    uint32_t Word;
    uint64_t Long;
    EXPECT_EQ(NOVIKARM_ReadMemU8(RAM, 1, &Byte, Status), 1);
    EXPECT_EQ(Byte, 1);
    EXPECT_EQ(NOVIKARM_ReadMemU16(RAM, 2, Halves, Status), 2);
    EXPECT_EQ(Halves[1], 0x0304);
    EXPECT_EQ(NOVIKARM_ReadMemU32(RAM, 1, &Word, Status), 1);
    EXPECT_EQ(Word, 0x01020304u);
    EXPECT_EQ(NOVIKARM_ReadMemU64(RAM, 1, &Long, Status), 1);
    EXPECT_EQ(Long, 0x0102030405060708u);
    EXPECT_EQ(NOVIKARM_WriteU16(RAM, 0xAABB), 0);
    EXPECT_EQ(NOVIKARM_WriteU32(RAM + 4, 0x11223344), 0);
    ASSERT_EQ(NOVIKARM_ReadMem(RAM, 8, Back), 0);
    const uint8_t Expected[8] = {0xAA, 0xBB, 3, 4, 0x11, 0x22, 0x33, 0x44};
    EXPECT_TRUE(std::equal(Back, Back + 8, Expected));
    EXPECT_EQ(NOVIKARM_ReadMemU32(0xE000ED00, 1, &Word, Status), 1);
    EXPECT_EQ(Word, 0x410FC241u) << "system space is little-endian";
}

} // namespace
