#pragma once
// Connects to a simulated device of its own for each test, and puts small programs into it.

#include "probe/novik.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

class CNovikTest : public ::testing::Test {
protected:
    static constexpr uint32_t CODE = 0x100; // where Load puts the program
    static constexpr uint32_t RAM = 0x20000000;
    static constexpr uint32_t STACK = 0x20001000;

    void SetUp() override;
    void TearDown() override;
    void Connect(const char* sDevice);
    // Runs a text command; its error text.
    static std::string Exec(const std::string& sCommand);
    // Downloads the program with a vector table whose handlers are given by number, resets.
    void Load(const std::vector<uint16_t>& Code, const std::vector<std::pair<uint32_t, uint32_t>>& Handlers = {});
    void LoadElf(const std::string& sPath);
    // Resumes and waits for the next halt.
    static void RunToHalt();
    static uint32_t Reg(uint32_t Index) { return NOVIKARM_ReadReg(Index); }
    static uint32_t Word(uint32_t Addr);
};
