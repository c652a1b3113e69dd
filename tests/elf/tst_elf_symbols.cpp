#include "elf/ElfApi.h"
#include "tests/elf/ElfImageBuilder.h"

#include <algorithm>

// Symbol sizes, the function list, mapping symbols and lookups by address.

class ElfSymbols : public CElfTest {
protected:
    /// Sections 1 .text at 0x1000 with 0x100 bytes of code, 2 .data at 0x20000000 with 0x2000000 bytes.
    void SetUp() override {
        CElfTest::SetUp();
        m_Builder.AddSection(".text", 1, SHF_ALLOC | SHF_EXECINSTR, 0x1000, QByteArray(0x100, '\0'));
        m_Builder.AddSection(".bss", SHT_NOBITS, SHF_ALLOC, 0x20000000, QByteArray(0x2000000, '\0'));
    }

    CElfImageBuilder m_Builder;
};

TEST_F(ElfSymbols, MissingSizesReachToTheNextSymbolOrTheSectionEnd) {
    m_Builder.AddSymbol("Thumb", 0x1001, 0, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Label", 0x1008, 0, STT_NOTYPE, 0, 1); // no function: doesn't end one
    m_Builder.AddSymbol("Alias", 0x1011, 0, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Alias2", 0x1011, 0, STT_ARM_TFUNC, 1, 1);
    m_Builder.AddSymbol("Arm", 0x1040, 0, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Sized", 0x1080, 6, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("LastFunc", 0x10F1, 0, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Behind", 0x1200, 0, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("NoSection", 0x1300, 0, STT_FUNC, 1, 0xFFF1);
    m_Builder.AddSymbol("Word", 0x20000000, 0, STT_OBJECT, 1, 2);
    m_Builder.AddSymbol("Next", 0x2000000C, 4, STT_OBJECT, 1, 2);
    m_Builder.AddSymbol("Gap", 0x20000010, 0, STT_OBJECT, 1, 2);
    m_Builder.AddSymbol("MaxGap", 0x21000000, 0, STT_OBJECT, 1, 2);
    m_Builder.AddSymbol("AfterMaxGap", 0x21000000 + 10'000'000, 0, STT_OBJECT, 1, 2);
    m_Builder.AddSymbol("TooFar", 0x21000000 + 10'000'004, 0, STT_OBJECT, 1, 2);
    const ELF_FILE* pFile = Open(m_Builder.Build());
    ASSERT_NE(pFile, nullptr);
    const std::pair<const char*, U32> aRow[] = {{"Thumb", 0x10},    {"Alias", 0x30},
                                                {"Alias2", 0x30},   {"Arm", 0x40},
                                                {"Sized", 6},       {"LastFunc", 0x10},
                                                {"Behind", 0},      {"NoSection", 0},
                                                {"Word", 12},       {"Next", 4},
                                                {"Gap", 0},         {"MaxGap", 10'000'000},
                                                {"AfterMaxGap", 4}, {"TooFar", 0x22000000 - 0x21000000 - 10'000'004},
                                                {"Label", 0}};
    for (const auto& [sName, Size] : aRow) {
        EXPECT_EQ(SizeOf(pFile, sName), Size) << sName;
    }
}

TEST_F(ElfSymbols, OneFunctionStaysPerAddress) {
    m_Builder.AddSymbol("First", 0x1001, 4, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Larger", 0x1001, 8, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("AsLarge", 0x1001, 8, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Smaller", 0x1001, 2, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("?foo", 0x1021, 4, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("$x", 0x1031, 4, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("", 0x1041, 4, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("AtOne", 1, 4, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("AtTwo", 2, 4, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Data", 0x20000000, 4, STT_OBJECT, 1, 2);
    m_Builder.AddSymbol("ThumbKind", 0x1050, 4, STT_ARM_TFUNC, 0, 1);
    const ELF_FILE* pFile = Open(m_Builder.Build());
    ASSERT_NE(pFile, nullptr);
    QStringList Names;
    for (U32 i = 0; i < ELF_GetFuncSymCnt(pFile); ++i) {
        Names.append(ELF_GetSymNameByIdx(pFile, ELF_GetFuncSymIdx(pFile, i)));
    }
    EXPECT_EQ(Names, QStringList({"AtTwo", "Larger", "ThumbKind"}));
    EXPECT_NE(FindByName(pFile, "?foo"), 0xFFFFFFFFu) << "the symbol itself stays";
}

TEST_F(ElfSymbols, FunctionsByAddress) {
    m_Builder.AddSymbol("Thumb", 0x1011, 0x10, STT_FUNC, 1, 1);
    m_Builder.AddSymbol("Arm", 0x1040, 8, STT_FUNC, 1, 1);
    const ELF_FILE* pFile = Open(m_Builder.Build());
    ASSERT_NE(pFile, nullptr);
    struct ROW {
        U32 Addr;
        const char* sStrict;
        const char* sNearest;
    };
    const ROW aRow[] = {{0x0, "", ""},
                        {0x100F, "", ""},
                        {0x1010, "Thumb", "Thumb"},
                        {0x1011, "Thumb", "Thumb"},
                        {0x1012, "Thumb", "Thumb"},
                        {0x101F, "Thumb", "Thumb"},
                        {0x1020, "", "Thumb"},
                        {0x103F, "", "Thumb"},
                        {0x1040, "Arm", "Arm"},
                        {0x1047, "Arm", "Arm"},
                        {0x1048, "", "Arm"},
                        {0xFFFFFFFF, "", "Arm"}};
    const auto NameAt = [&](U32 Addr, int Strict) {
        const U32 Idx = ELF_FindFuncSym(pFile, Addr, Strict);
        return Idx == 0xFFFFFFFF ? QString() : QString(ELF_GetSymNameByIdx(pFile, Idx));
    };
    for (const ROW& Row : aRow) {
        EXPECT_EQ(NameAt(Row.Addr, 1), QString(Row.sStrict)) << std::hex << Row.Addr;
        EXPECT_EQ(NameAt(Row.Addr, 0), QString(Row.sNearest)) << std::hex << Row.Addr;
    }
}

TEST_F(ElfSymbols, MappingSymbolsTellArmThumbAndData) {
    m_Builder.AddSymbol("$a", 0x1000, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$t.1", 0x1010, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$d", 0x1020, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$a.", 0x1030, 0, STT_NOTYPE, 0, 1);
    // None of these is one:
    m_Builder.AddSymbol("$t1", 0x1004, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$ab", 0x1005, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$x", 0x1006, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$", 0x1007, 0, STT_NOTYPE, 0, 1);
    m_Builder.AddSymbol("$d", 0x1008, 0, STT_NOTYPE, 1, 1);
    m_Builder.AddSymbol("$d", 0x1009, 0, STT_FUNC, 0, 1);
    m_Builder.AddSymbol("$d", 0x20000000, 0, STT_NOTYPE, 0, 2);
    m_Builder.AddSymbol("$d", 0x100A, 0, STT_NOTYPE, 0, 0xFFF1);
    ASSERT_NE(Open(m_Builder.Build()), nullptr);
    struct ROW {
        U32 Addr, Kind, Lo, Hi;
    };
    const ROW aRow[] = {{0x0FFE, 0, 0, 0},
                        {0x1000, ELF_REGION_ARM, 0x1000, 0x1010},
                        {0x100E, ELF_REGION_ARM, 0x1000, 0x1010},
                        {0x1010, ELF_REGION_THUMB, 0x1010, 0x1020},
                        {0x101F, ELF_REGION_THUMB, 0x1010, 0x1020},
                        {0x1020, ELF_REGION_DATA, 0x1020, 0x1030},
                        {0x1030, ELF_REGION_ARM, 0x1030, 0xFFFFFFFF},
                        {0xFFFFFFF0, ELF_REGION_ARM, 0x1030, 0xFFFFFFFF},
                        {0xFFFFFFFE, 0, 0, 0}};
    for (const ROW& Row : aRow) {
        const ELF_MEM_REGION Region = ELF_GetMemRegion(Row.Addr);
        EXPECT_EQ(Region.Kind, Row.Kind) << std::hex << Row.Addr;
        EXPECT_EQ(Region.AddrLo, Row.Lo) << std::hex << Row.Addr;
        EXPECT_EQ(Region.AddrHi, Row.Hi) << std::hex << Row.Addr;
    }
}

TEST_F(ElfSymbols, SymbolsOfBothTablesInSectionOrder) {
    CElfImageBuilder Builder;
    QByteArray Dynamic(16, '\0');
    Dynamic += QByteArray::fromHex("01000000"
                                   "00200000"
                                   "04000000"
                                   "12"
                                   "00"
                                   "0100");
    Builder.AddSection(".dynsym", SHT_DYNSYM, 0, 0, Dynamic, 16);
    Builder.AddSection(".dynstr", 3, 0, 0, QByteArray("\0imported", 10));
    Builder.AddSection(".empty", SHT_SYMTAB, 0, 0, Dynamic, 0);
    Builder.AddSymbol("main", 0x1001, 2, STT_FUNC, 1, 1);
    const ELF_FILE* pFile = Open(Builder.Build());
    ASSERT_NE(pFile, nullptr);
    ASSERT_EQ(pFile->NumSyms, 4u);
    EXPECT_EQ(ELF_GetSym(pFile, 1)->st_value, 0x2000u);
    EXPECT_EQ(ELF_GetSym(pFile, 3)->st_value, 0x1001u);
    EXPECT_STREQ(ELF_GetSymNameByIdx(pFile, 1), "imported");
    EXPECT_STREQ(ELF_GetSymNameByIdx(pFile, 3), "main");
    U32 Lo = 0;
    U32 Hi = 0;
    U32 Count = 0;
    ELF_GetSymAddrRange(&Lo, &Hi, &Count);
    EXPECT_EQ(Lo, 0u);
    EXPECT_EQ(Hi, 0x2004u);
    EXPECT_EQ(Count, 4u);
}
