#include "NovikFixture.h"

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <thread>

void CNovikTest::SetUp() { Connect("Cortex-M4"); }

void CNovikTest::TearDown() {
    Exec("SimFaultsOff");
    Exec("SimPowerCycle");
    NOVIKARM_Close();
}

void CNovikTest::Connect(const char* sDevice) {
    NOVIKARM_Close();
    ASSERT_EQ(NOVIKARM_SelectUSB(0), 0);
    ASSERT_EQ(NOVIKARM_Open(), nullptr);
    ASSERT_EQ(Exec(std::string("device=") + sDevice), "");
    ASSERT_EQ(NOVIKARM_Connect(), 0);
    NOVIKARM_EnableSoftBPs(1);
}

std::string CNovikTest::Exec(const std::string& sCommand) {
    char sError[512] = "";
    NOVIKARM_ExecCommand(sCommand.c_str(), sError, sizeof(sError));
    return sError;
}

void CNovikTest::Load(const std::vector<uint16_t>& Code, const std::vector<std::pair<uint32_t, uint32_t>>& Handlers) {
    uint32_t Vectors[48] = {STACK, CODE | 1};
    for (const auto& [Number, Addr] : Handlers) {
        Vectors[Number] = Addr | 1;
    }
    const uint32_t NumBytes = static_cast<uint32_t>(Code.size() * 2);
    NOVIKARM_BeginDownload(0);
    ASSERT_EQ(NOVIKARM_WriteMem(0, sizeof(Vectors), Vectors), static_cast<int32_t>(sizeof(Vectors)));
    ASSERT_EQ(NOVIKARM_WriteMem(CODE, NumBytes, Code.data()), static_cast<int32_t>(NumBytes));
    ASSERT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_OK);
    ASSERT_EQ(NOVIKARM_Reset(), 0);
}

void CNovikTest::LoadElf(const std::string& sPath) {
    std::ifstream File(sPath, std::ios::binary);
    const std::vector<char> Data((std::istreambuf_iterator<char>(File)), {});
    ASSERT_GT(Data.size(), sizeof(Elf32_Ehdr)) << sPath;
    Elf32_Ehdr Header;
    std::memcpy(&Header, Data.data(), sizeof(Header));
    NOVIKARM_BeginDownload(0);
    for (int Index = 0; Index < Header.e_phnum; Index++) {
        Elf32_Phdr Segment;
        std::memcpy(&Segment, &Data[Header.e_phoff + static_cast<size_t>(Index) * Header.e_phentsize], sizeof(Segment));
        if (Segment.p_type == PT_LOAD && Segment.p_filesz) {
            ASSERT_EQ(NOVIKARM_WriteMem(Segment.p_paddr, Segment.p_filesz, &Data[Segment.p_offset]),
                      static_cast<int32_t>(Segment.p_filesz));
        }
    }
    ASSERT_EQ(NOVIKARM_EndDownload(), NOVIK_DL_OK);
    ASSERT_EQ(NOVIKARM_Reset(), 0);
}

void CNovikTest::RunToHalt() {
    NOVIKARM_GoEx(0, 1);
    while (NOVIKARM_IsHalted() == 0) {
        std::this_thread::yield();
    }
}

uint32_t CNovikTest::Word(uint32_t Addr) {
    uint32_t Value = 0xEEEEEEEE;
    uint8_t Status;
    NOVIKARM_ReadMemU32(Addr, 1, &Value, &Status);
    return Value;
}
