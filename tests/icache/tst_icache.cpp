// Instruction classes and what the store answers of target memory.

#include "icache/InstClass.h"
#include "icache/InstStore.h"

#include <QMap>
#include <gtest/gtest.h>

namespace {

class CInstStoreTest : public testing::Test {
protected:
    CInstStoreTest() {
        ICACHE_HOOKS Hooks;
        Hooks.fReadMem = [this](U32 Addr, U32 NumBytes, void* pBuf) {
            for (U32 i = 0; i < NumBytes; i++) {
                if (!Mem.contains(Addr + i)) {
                    return -1;
                }
                static_cast<U8*>(pBuf)[i] = Mem[Addr + i];
            }
            return 0;
        };
        Hooks.fModeRange = [this] { return ICACHE_MODE_RANGE{Mode, 0, 0}; };
        Hooks.fConfig = [this] { return Config; };
        ICACHE_Reset(Hooks);
    }
    ~CInstStoreTest() override { ICACHE_Reset(ICACHE_HOOKS()); }

    void Poke(U32 Addr, U32 Value, int NumBytes) {
        for (int i = 0; i < NumBytes; i++) {
            Mem[Addr + U32(i)] = U8(Value >> (8 * i));
        }
    }

    QMap<U32, U8> Mem;
    U32 Mode = ICACHE_MODE_THUMB;
    ICACHE_CONFIG Config;
};

struct CLASS_CASE {
    const char* sInst;
    U32 Op;
    bool IsArm;
    bool IsBranch, IsIndirect, IsCall, IsReturn, IsPopPc;
};

} // namespace

TEST(InstClass, FollowsTheEncodings) {
    // Thumb: first halfword low. Assembled by hand from the architecture manual.
    const CLASS_CASE aCases[] = {
        {"nop", 0xBF00, false, false, false, false, false, false},
        {"beq", 0xD001, false, true, false, false, false, false},
        {"b", 0xE7FE, false, true, false, false, false, false},
        {"b.w", 0xB800F000, false, true, false, false, false, false},
        {"bl", 0xF802F000, false, false, false, true, false, false},
        {"cbz r0", 0xB100, false, true, false, false, false, false},
        {"cbnz r0", 0xB900, false, true, false, false, false, false},
        {"bx lr", 0x4770, false, false, true, false, true, false},
        {"bx r3", 0x4718, false, false, true, false, false, false},
        {"blx r3", 0x4798, false, false, true, true, false, false},
        {"pop {pc}", 0xBD00, false, false, false, false, false, true},
        {"pop.w {r4,pc}", 0x8010E8BD, false, false, false, false, false, true},
        {"tbb", 0xF001E8D0, false, true, false, false, false, false},
        {"arm b", 0xEA000000, true, true, false, false, false, false},
        {"arm bl", 0xEB000000, true, false, false, true, false, false},
        {"arm bx lr", 0xE12FFF1E, true, false, true, true, true, false},
        {"arm ldm sp!,{pc}", 0xE8BD8000, true, false, false, false, false, true},
        {"arm ldr pc,[sp],#4", 0xE49DF004, true, false, false, false, false, true},
        {"arm mov", 0xE1A00001, true, false, false, false, false, false},
    };
    for (const CLASS_CASE& Case : aCases) {
        EXPECT_EQ(InstIsBranch(Case.Op, Case.IsArm), Case.IsBranch) << Case.sInst;
        EXPECT_EQ(InstIsIndirectBranch(Case.Op, Case.IsArm), Case.IsIndirect) << Case.sInst;
        EXPECT_EQ(InstIsCall(Case.Op, Case.IsArm), Case.IsCall) << Case.sInst;
        EXPECT_EQ(InstIsReturn(Case.Op, Case.IsArm), Case.IsReturn) << Case.sInst;
        EXPECT_EQ(InstIsPopPc(Case.Op, Case.IsArm), Case.IsPopPc) << Case.sInst;
    }
}

TEST(InstClass, SemihostingTrapsAndBreakpoints) {
    struct {
        U32 Op;
        bool IsArm;
        U32 Size;
        bool IsTrap, IsBreakpoint;
    } const aCases[] = {
        {0xBEAB, false, 2, true, true},       {0xBE00, false, 2, false, true},    {0xDFAB, false, 2, true, false},
        {0xDF00, false, 2, false, false},     {0xEF123456, true, 4, true, false}, {0xEF0000AB, true, 4, true, false},
        {0xEF000001, true, 4, false, false},  {0xE1200A7B, true, 4, false, true}, {0xE1A000AB, true, 4, false, false},
        {0xBEABF8D0, false, 4, false, false},
    };
    for (const auto& Case : aCases) {
        EXPECT_EQ(InstIsSemihostingTrap(Case.Op, Case.IsArm, Case.Size), Case.IsTrap) << std::hex << Case.Op;
        EXPECT_EQ(InstIsBreakpoint(Case.Op, Case.IsArm, Case.Size), Case.IsBreakpoint) << std::hex << Case.Op;
    }
}

TEST_F(CInstStoreTest, SizesFollowModeAndInstructionSet) {
    Poke(0x100, 0xBF00, 2);
    Poke(0x102, 0xF802F000, 4);
    EXPECT_EQ(ICACHE_GetInstSize(-1), 0u);
    EXPECT_EQ(ICACHE_GetInstSize(0x100), 2u);
    EXPECT_EQ(ICACHE_GetInstSize(0x102), 4u);
    EXPECT_EQ(ICACHE_GetInstSize(0x200), 2u); // can't be read
    Config.InstSet = 1;
    EXPECT_EQ(ICACHE_GetInstSize(0x102), 2u);
    Mode = ICACHE_MODE_ARM;
    EXPECT_EQ(ICACHE_GetInstSize(0x100), 4u);
    Mode = ICACHE_MODE_THUMB;
    Config.InstSet = 0;
    EXPECT_EQ(ICACHE_GetInstSize(0x100), 4u);
}

TEST_F(CInstStoreTest, BitsAreReadInInstructionOrder) {
    Poke(0x100, 0xF802F000, 4);
    EXPECT_EQ(ICACHE_GetInstBits(0x100, 4), 0xF802F000);
    EXPECT_EQ(ICACHE_GetInstBits(0x102, 4), -1);
    EXPECT_EQ(ICACHE_GetInstBits(0xFFFFFFFE, 4), -1);
    EXPECT_EQ(ICACHE_GetInstBits(0x100, 3), -1);
    Config.InstEndian = 1;
    EXPECT_EQ(ICACHE_GetInstBits(0x100, 4), 0x02F800F0);
    Mode = ICACHE_MODE_ARM;
    EXPECT_EQ(ICACHE_GetInstBits(0x100, 4), 0x00F002F8);
}

TEST_F(CInstStoreTest, AStraightPathHasNoBranch) {
    for (U32 Addr = 0x100; Addr < 0x110; Addr += 2) {
        Poke(Addr, 0xBF00, 2);
    }
    EXPECT_FALSE(ICACHE_HasBranchInRange(0x100, 0x110));
    Poke(0x104, 0xF802F000, 4); // a call comes back
    EXPECT_FALSE(ICACHE_HasBranchInRange(0x100, 0x110));
    for (U32 Op : {0xD001u, 0x4770u, 0xBD00u, 0xBEABu}) {
        Poke(0x10E, Op, 2);
        EXPECT_TRUE(ICACHE_HasBranchInRange(0x100, 0x110)) << std::hex << Op;
        EXPECT_FALSE(ICACHE_HasBranchInRange(0x100, 0x10E));
    }
}

TEST_F(CInstStoreTest, TextsAreKeptOnceAndPadded) {
    ICACHE_SetInstText(0x100, "MOVS  R0, #1 ; comment");
    ICACHE_SetInstText(0x100, "NOP");
    ICACHE_SetInstText(0x102, "NOP");
    ICACHE_SetInstText(-1, "NOP");
    ICACHE_SetInstText(0x104, "");
    EXPECT_EQ(ICACHE_GetInstText(0x100), QByteArray("MOVS        R0, #1 "));
    EXPECT_EQ(ICACHE_GetInstText(0x102), QByteArray("NOP"));
    EXPECT_EQ(ICACHE_GetInstText(0x104), QByteArray());
    ICACHE_ClearInstTexts();
    EXPECT_EQ(ICACHE_GetInstText(0x102), QByteArray());
}
