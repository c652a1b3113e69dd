// Instruction classes and what the store answers of target memory.

#include "icache/InstClass.h"
#include "icache/InstStore.h"
#include "probe/novik.h"

#include <QMap>
#include <algorithm>
#include <gtest/gtest.h>

namespace {

NOVIK_DECODER* GetDecoder(U32 Core) {
    void* pFunc = nullptr;
    auto* pfGet = reinterpret_cast<NOVIK_GET_DECODER_FUNC*>(NOVIK_GetpFunc(NOVIK_FUNC_GET_DECODER));
    return pfGet(Core, &pFunc) >= 0 ? reinterpret_cast<NOVIK_DECODER*>(pFunc) : nullptr;
}

class CInstStoreTest : public testing::Test {
protected:
    CInstStoreTest() {
        ICACHE_HOOKS Hooks;
        Hooks.fDecode = [this](U32 Addr, const U8* paBytes, U32 InstMode) {
            NOVIK_INST_INFO Info = {};
            const int Length = m_pfDecode ? m_pfDecode(&Info, paBytes, Addr, U8(InstMode)) : 0;
            return Length > 0 ? ICACHE_INST{U32(Length),          Info.IsBranch != 0, Info.IsCall != 0,
                                            Info.IsIndirect != 0, Info.IsReturn != 0, Info.IsConditional != 0}
                              : ICACHE_INST();
        };
        Hooks.fReadMem = [this](U32 Addr, U32 NumBytes, void* pBuf) {
            for (U32 i = 0; i < NumBytes; i++) {
                if (Addr + i - CODE < sizeof(aCode)) {
                    static_cast<U8*>(pBuf)[i] = aCode[Addr + i - CODE];
                    continue;
                }
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

    /// The library's decoder of that core.
    NOVIK_DECODER* UseDecoder(U32 Core) { return m_pfDecode = GetDecoder(Core); }

    static constexpr U32 CODE = 0x4000;
    U8 aCode[4] = {}; ///< memory at CODE
    QMap<U32, U8> Mem;
    U32 Mode = ICACHE_MODE_THUMB;
    ICACHE_CONFIG Config;

private:
    NOVIK_DECODER* m_pfDecode = nullptr;
};

} // namespace

// All 16-bit encodings, and each first halfword of a 32-bit one with 4 second ones, on a core of each kind and in both
// orders of bytes: what the store says of memory is what the library's decoder says of the instruction.
TEST_F(CInstStoreTest, TheStoreAndTheDecoderAgreeOverAllEncodings) {
    struct {
        U32 Core;
        U32 InstSet;
    } const aCores[] = {{NOVIK_CORE_CORTEX_M0, 2},
                        {NOVIK_CORE_CORTEX_M4, 2},
                        {NOVIK_CORE_CORTEX_M33, 2},
                        {NOVIK_CORE_CORTEX_A8, 2},
                        {NOVIK_CORE_ARM7TDMI, 1}};
    U32 Seed = 1;
    for (const auto& Core : aCores) {
        NOVIK_DECODER* const pfDecode = UseDecoder(Core.Core);
        Config.InstSet = Core.InstSet;
        int NumInsts = 0;
        int NumDifferent = 0;
        for (U32 i = 0; i < 0x40000; i++) {
            Seed = Seed * 1664525 + 1013904223;
            const U16 aHalf[2] = {U16(i), U16(Seed >> 16)};
            Config.InstEndian = int(Seed >> 8 & 1);
            for (int Byte = 0; Byte < 4; Byte++) {
                aCode[Byte ^ Config.InstEndian] = U8(aHalf[Byte / 2] >> (Byte % 2 * 8));
            }
            NOVIK_INST_INFO Info = {};
            const int Length = pfDecode(&Info, aHalf, CODE, NOVIK_INST_MODE_THUMB);
            const ICACHE_INST Inst = ICACHE_Decode(CODE);
            NumInsts += Length > 0;
            NumDifferent += Inst.Length != U32(std::max(Length, 0)) ||
                            (Length > 0 && (Inst.Length != ICACHE_GetInstSize(CODE) || Inst.IsBranch != Info.IsBranch ||
                                            Inst.IsCall != Info.IsCall || Inst.IsReturn != Info.IsReturn ||
                                            Inst.IsIndirect != Info.IsIndirect));
        }
        EXPECT_GT(NumInsts, 100000) << std::hex << Core.Core;
        EXPECT_EQ(NumDifferent, 0) << std::hex << Core.Core;
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
    Poke(0x100, 0xBF00, 2);
    EXPECT_TRUE(ICACHE_HasBranchInRange(0x100, 0x102)) << "nobody can tell";
    UseDecoder(NOVIK_CORE_CORTEX_M4);
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
