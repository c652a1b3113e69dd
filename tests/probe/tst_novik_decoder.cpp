// Instruction decoder and disassembler through their entry points. tst_newlib compares them with objdump.
#include "probe/novik.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

template <typename T> T* GetFunction(uint32_t Getter, uint32_t Core) {
    void* p = nullptr;
    auto* pfGet = reinterpret_cast<NOVIK_GET_DECODER_FUNC*>(NOVIK_GetpFunc(Getter));
    return pfGet(Core, &p) >= 0 ? reinterpret_cast<T*>(p) : nullptr;
}

std::string ClassesOf(const NOVIK_INST_INFO& Info) {
    return std::string(Info.IsBranch ? "B" : "") + (Info.IsCall ? "C" : "") + (Info.IsIndirect ? "I" : "") +
           (Info.IsReturn ? "R" : "") + (Info.IsConditional ? "O" : "");
}

TEST(NovikDecoder, ClassesOfInstructions) {
    struct {
        uint16_t Bits[2];
        uint8_t Mode;
        int Length;
        const char* sClasses; // Branch, Call, Indirect, Return, Own condition
        uint8_t IT;
    } const Cases[] = {
        {{0x2000, 0}, 2, 2, "", 0},          {{0xE7FE, 0}, 2, 2, "B", 0},        {{0xD0FE, 0}, 2, 2, "BO", 0},
        {{0x4770, 0}, 2, 2, "BIR", 0},       {{0x4718, 0}, 2, 2, "BI", 0},       {{0x4798, 0}, 2, 2, "BCI", 0},
        {{0xF000, 0xF800}, 2, 4, "BC", 0},   {{0xBD10, 0}, 2, 2, "BIR", 0},      {{0xBC10, 0}, 2, 2, "", 0},
        {{0xE8BD, 0x8010}, 2, 4, "BIR", 0},  {{0xF85D, 0xFB04}, 2, 4, "BIR", 0}, {{0x46F7, 0}, 2, 2, "BIR", 0},
        {{0xE8DF, 0xF000}, 2, 4, "BI", 0},   {{0xBF18, 0}, 2, 2, "", 0x18},      {{0xB100, 0}, 2, 2, "BO", 0},
        {{0xF3AF, 0x8000}, 2, 4, "", 0},     {{0xFF1E, 0xE12F}, 1, 4, "BIR", 0}, {{0x0000, 0xEB00}, 1, 4, "BC", 0},
        {{0x8000, 0x08BD}, 1, 4, "BIRO", 0}, {{0x0000, 0x0A00}, 1, 4, "BO", 0},  {{0xE800, 0x0000}, 2, 0, "", 0},
        {{0xF00E, 0xE1A0}, 1, 4, "BIR", 0},  {{0xFF33, 0xE12F}, 1, 4, "BCI", 0}, {{0xDE00, 0}, 2, 2, "", 0},
    };
    for (const auto& Case : Cases) {
        const uint32_t Core = Case.Mode == NOVIK_INST_MODE_ARM ? NOVIK_CORE_CORTEX_A9 : NOVIK_CORE_CORTEX_M4;
        auto* pfDecode = GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, Core);
        ASSERT_NE(pfDecode, nullptr);
        NOVIK_INST_INFO Info = {};
        EXPECT_EQ(pfDecode(&Info, Case.Bits, 0x1000, Case.Mode), Case.Length) << std::hex << Case.Bits[0];
        EXPECT_EQ(ClassesOf(Info), Case.sClasses) << std::hex << Case.Bits[0];
        EXPECT_EQ(Info.IT, Case.IT);
    }
}

struct CDecoding {
    uint32_t Core;
    uint32_t Word; // A32
    int Length;
    const char* sClasses; // as above
};

TEST(NovikDecoder, WhatIsAnA32InstructionDependsOnTheCore) {
    const CDecoding Cases[] = {
        {NOVIK_CORE_ARM7TDMI, 0xE12FFF1E, 4, "BIR"}, // bx lr
        {NOVIK_CORE_ARM7TDMI, 0xE12FFF33, 0, ""},    // blx r3, from ARMv5 on
        {NOVIK_CORE_ARM926EJS, 0xE12FFF33, 4, "BCI"},
        {NOVIK_CORE_ARM7TDMI, 0xFA000000, 0, ""}, // blx
        {NOVIK_CORE_ARM926EJS, 0xFA000000, 4, "BC"},
        {NOVIK_CORE_ARM926EJS, 0xE3001234, 0, ""}, // movw, from ARMv6T2 on
        {NOVIK_CORE_CORTEX_A9, 0xE3001234, 4, ""},
        {NOVIK_CORE_ARM926EJS, 0xE6BF0F30, 0, ""}, // rev, from ARMv6 on
        {NOVIK_CORE_ARM1176, 0xE6BF0F30, 4, ""},
        {NOVIK_CORE_CORTEX_A9, 0xF2000110, 4, ""}, // vector and
        {NOVIK_CORE_ARM1176, 0xF2000110, 0, ""},
        {NOVIK_CORE_CORTEX_R5, 0xE25EF004, 4, "BIR"}, // subs pc, lr, #4
        {NOVIK_CORE_CORTEX_R5, 0xE08FF103, 4, "BI"},  // add pc, pc, r3, lsl #2
        {NOVIK_CORE_CORTEX_R5, 0xF8BD0A00, 4, "BIR"}, // rfeia sp!
        {NOVIK_CORE_CORTEX_R5, 0xE160006E, 4, "BIR"}, // eret
        {NOVIK_CORE_CORTEX_R5, 0xE49DF004, 4, "BIR"}, // pop {pc}
        {NOVIK_CORE_CORTEX_R5, 0xE5DDF004, 4, ""},    // ldrb pc: unpredictable, no jump
        {NOVIK_CORE_CORTEX_R5, 0xE891A000, 4, "BI"},  // ldm r1, {sp, pc}
        {NOVIK_CORE_CORTEX_R5, 0x1AFFFFFE, 4, "BO"},  // bne .
        {NOVIK_CORE_CORTEX_R5, 0xE15FF00F, 4, ""},    // cmp pc, pc
        {NOVIK_CORE_CORTEX_R5, 0xE7FFDEFE, 4, ""},    // udf
        {NOVIK_CORE_CORTEX_R5, 0xE6000010, 0, ""},    // undefined media
        {NOVIK_CORE_CORTEX_R5, 0xF7F000F0, 0, ""},
    };
    for (const CDecoding& Case : Cases) {
        auto* pfDecode = GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, Case.Core);
        ASSERT_NE(pfDecode, nullptr);
        NOVIK_INST_INFO Info = {};
        EXPECT_EQ(pfDecode(&Info, &Case.Word, 0x1000, NOVIK_INST_MODE_ARM), Case.Length) << std::hex << Case.Word;
        EXPECT_EQ(ClassesOf(Info), Case.sClasses) << std::hex << Case.Word;
    }
}

TEST(NovikDecoder, EachArchitectureHasItsThumbInstructions) {
    struct {
        uint16_t Bits[2];
        std::vector<uint32_t> Knows, Lacks;
    } const Cases[] = {
        {{0xB100, 0}, {NOVIK_CORE_CORTEX_M3, NOVIK_CORE_CORTEX_M23}, {NOVIK_CORE_CORTEX_M0}}, // cbz
        {{0xF04F, 0x0000}, {NOVIK_CORE_CORTEX_M3, NOVIK_CORE_CORTEX_A8}, {NOVIK_CORE_CORTEX_M23, NOVIK_CORE_ARM7TDMI}},
        {{0xF8D1, 0x2000}, {NOVIK_CORE_CORTEX_M4}, {NOVIK_CORE_CORTEX_M0, NOVIK_CORE_ARM1176}},     // ldr.w
        {{0xFAC0, 0xF080}, {NOVIK_CORE_CORTEX_A9}, {NOVIK_CORE_CORTEX_M3}},                         // crc32b
        {{0xE840, 0xF100}, {NOVIK_CORE_CORTEX_M33, NOVIK_CORE_CORTEX_M23}, {NOVIK_CORE_CORTEX_M4}}, // tt
        {{0xF000, 0xE800}, {NOVIK_CORE_CORTEX_A9, NOVIK_CORE_ARM926EJS}, {NOVIK_CORE_CORTEX_M4}},   // blx
        {{0xFA81, 0xF002}, {NOVIK_CORE_CORTEX_M4}, {NOVIK_CORE_CORTEX_M3}},                         // sadd8-like DSP
    };
    for (const auto& Case : Cases) {
        NOVIK_INST_INFO Info;
        for (const uint32_t Core : Case.Knows) {
            EXPECT_GT(GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, Core)(&Info, Case.Bits, 0, 2), 0)
                << std::hex << Case.Bits[0] << " " << Core;
        }
        for (const uint32_t Core : Case.Lacks) {
            EXPECT_LT(GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, Core)(&Info, Case.Bits, 0, 2), 1)
                << std::hex << Case.Bits[0] << " " << Core;
        }
    }
}

TEST(NovikDecoder, UnknownCoresAndMissingArgumentsFail) {
    EXPECT_EQ((GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, 0x12345678)), nullptr);
    EXPECT_EQ((GetFunction<NOVIK_DISASSEMBLER>(NOVIK_FUNC_GET_DISASSEMBLER, 0)), nullptr);
    auto* pfDecode = GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, NOVIK_CORE_CORTEX_M4);
    NOVIK_INST_INFO Info;
    EXPECT_LT(pfDecode(nullptr, &Info, 0, 2), 1);
    EXPECT_LT(pfDecode(&Info, nullptr, 0, 2), 1);
    auto* pfGet = reinterpret_cast<NOVIK_GET_DECODER_FUNC*>(NOVIK_GetpFunc(NOVIK_FUNC_GET_DECODER));
    EXPECT_LT(pfGet(NOVIK_CORE_CORTEX_M4, nullptr), 0);
    EXPECT_EQ(NOVIK_GetpFunc(4711), nullptr);
}

std::string TextOf(uint32_t Core, std::vector<uint16_t> Bits, uint8_t Mode = NOVIK_INST_MODE_THUMB) {
    char sText[256];
    auto* pfText = GetFunction<NOVIK_DISASSEMBLER>(NOVIK_FUNC_GET_DISASSEMBLER, Core);
    const uint32_t NumBytes = static_cast<uint32_t>(Bits.size() * 2);
    const int Length = pfText(sText, sizeof(sText), Bits.data(), NumBytes, 0x1000, Mode);
    return Length == static_cast<int>(NumBytes) ? sText : "failed: " + std::to_string(Length);
}

TEST(NovikDisassembler, TextsOfArmv8M) {
    const struct {
        std::vector<uint16_t> Bits;
        const char* sText;
    } Cases[] = {
        {{0xE97F, 0xE97F}, "SG"},
        {{0xE841, 0xF000}, "TT R0, R1"},
        {{0xE841, 0xF040}, "TTT R0, R1"},
        {{0xE84E, 0xFC80}, "TTA R12, LR"},
        {{0xE841, 0xF0C0}, "TTAT R0, R1"},
        {{0x479C}, "BLXNS R3"},
        {{0x4774}, "BXNS LR"},
        {{0xEC31, 0x0A00}, "VLLDM R1"},
        {{0xEC21, 0x0A00}, "VLSTM R1"},
        {{0xF3EF, 0x800A}, "MRS R0, MSPLIM"},
        {{0xF380, 0x880B}, "MSR PSPLIM, R0"},
        {{0xF3EF, 0x8188}, "MRS R1, MSP_NS"},
        {{0xF382, 0x8898}, "MSR SP_NS, R2"},
        {{0xF380, 0x8894}, "MSR CONTROL_NS, R0"},
        {{0xF380, 0x8C00}, "MSR APSR_NZCVQG, R0"},
        {{0xEA50, 0x9010}, "CSINC R0, R0, R0, NE"},
        {{0xEA56, 0xC70D}, "LSLL R6, R7, R12"},
        {{0xF00F, 0xC003}, "LE LR, #-0x4"},
        {{0xE89F, 0x8003}, "CLRM {R0, R1, APSR}"},
    };
    for (const auto& Case : Cases) {
        EXPECT_EQ(TextOf(NOVIK_CORE_CORTEX_M33, Case.Bits), Case.sText);
    }
    EXPECT_EQ(TextOf(NOVIK_CORE_CORTEX_M23, {0x479C}), "BLXNS R3");
}

TEST(NovikDisassembler, KeepsNoStateBetweenCallsAndFillsTheBuffer) {
    auto* pfText = GetFunction<NOVIK_DISASSEMBLER>(NOVIK_FUNC_GET_DISASSEMBLER, NOVIK_CORE_CORTEX_M4);
    const uint16_t It = 0xBF08, Mov = 0x2105, Bl[2] = {0xF000, 0xF800}, Bad[2] = {0xFFFF, 0xFFFF};
    char sText[256];
    EXPECT_EQ(pfText(sText, sizeof(sText), &It, 2, 0x100, 2), 2);
    EXPECT_STREQ(sText, "IT EQ");
    EXPECT_EQ(pfText(sText, sizeof(sText), &Mov, 2, 0x102, 2), 2);
    EXPECT_STREQ(sText, "MOVS R1, #5");
    EXPECT_EQ(pfText(sText, 4, Bl, 4, 0x100, 2), 4);
    EXPECT_STREQ(sText, "BL ");
    EXPECT_LT(pfText(sText, sizeof(sText), Bad, 4, 0x100, 2), 2);
    EXPECT_LT(pfText(sText, sizeof(sText), Bl, 2, 0x100, 2), 2) << "half an instruction";
    EXPECT_LT(pfText(sText, 0, Bl, 4, 0x100, 2), 2);
    EXPECT_LT(pfText(nullptr, 4, Bl, 4, 0x100, 2), 2);
}

} // namespace
