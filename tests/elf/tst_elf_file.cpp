#include "elf/ElfApi.h"
#include "tests/elf/ElfImageBuilder.h"

#include <functional>

// Headers, sections, what is refused and with which texts.

namespace {

/// A little-endian file with code, data, a segment and two symbols.
CElfImageBuilder Small() {
    CElfImageBuilder Builder;
    const U32 Text = Builder.AddSection(".text", 1, SHF_ALLOC | SHF_EXECINSTR, 0x1000, QByteArray(64, '\xAA'));
    Builder.AddSection(".data", 1, SHF_ALLOC, 0x20000000, QByteArray(16, '\x55'));
    Builder.AddSegment(Text, 0x1000, 0x8000);
    Builder.AddSymbol("main", 0x1001, 8, STT_FUNC, 1, Text);
    Builder.AddSymbol("Counter", 0x20000000, 4, STT_OBJECT, 1, 2);
    return Builder;
}

void Poke32(QByteArray* pBytes, qsizetype Off, U32 Value) {
    for (int i = 0; i < 4; ++i) {
        (*pBytes)[Off + i] = static_cast<char>(Value >> (8 * i));
    }
}

/// Offset of a field of a section header.
qsizetype SectionField(const QByteArray& Bytes, U32 Idx, U32 Field) {
    U32 TableOff = 0;
    std::memcpy(&TableOff, Bytes.constData() + 32, 4);
    return static_cast<qsizetype>(TableOff + Idx * 40 + Field * 4);
}

constexpr U32 FIELD_NAME = 0;
constexpr U32 FIELD_OFFSET = 4;
constexpr U32 FIELD_SIZE = 5;
constexpr U32 FIELD_ENTSIZE = 9;
constexpr U32 SYMTAB = 3; ///< its number in the small file
constexpr U32 STRTAB = 4;

} // namespace

class ElfFile : public CElfTest {};

TEST_F(ElfFile, RefusedFilesSayWhy) {
    using DAMAGE = std::function<void(QByteArray*)>;
    const QString sHeader = "could not parse file header.";
    struct ROW {
        const char* sName;
        DAMAGE Damage;
        QStringList Messages;
    };
    const ROW aRow[] = {
        {"empty", [](QByteArray* p) { p->clear(); }, {"invalid file size detected. Could not parse file."}},
        {"text",
         [](QByteArray* p) { *p = QByteArray(100, 'x'); },
         {"not an elf file.", "Not a valid elf object file.", sHeader}},
        {"three bytes", [](QByteArray* p) { p->truncate(3); }, {"Not a valid elf object file.", sHeader}},
        {"magic only", [](QByteArray* p) { p->truncate(4); }, {"Not a valid elf object file.", sHeader}},
        {"header cut", [](QByteArray* p) { p->truncate(51); }, {"Not a valid elf object file.", sHeader}},
        {"class 0", [](QByteArray* p) { (*p)[4] = 0; }, {"Invalid ELF file. Invalid file class", sHeader}},
        {"class 64", [](QByteArray* p) { (*p)[4] = 2; }, {"Invalid ELF file. Invalid file class", sHeader}},
        {"encoding 0", [](QByteArray* p) { (*p)[5] = 0; }, {"Invalid ELF file. Invalid data encoding", sHeader}},
        {"encoding 3", [](QByteArray* p) { (*p)[5] = 3; }, {"Invalid ELF file. Invalid data encoding", sHeader}},
        {"header version",
         [](QByteArray* p) { (*p)[6] = 2; },
         {"Invalid ELF file. Invalid ELF header version number.", sHeader}},
        {"file version",
         [](QByteArray* p) { Poke32(p, 20, 0); },
         {"Invalid ELF file. Invalid file version number.", sHeader}},
        {"x86", [](QByteArray* p) { (*p)[18] = 3; }, {"Not a valid elf object file.", sHeader}},
        {"segments cut", [](QByteArray* p) { p->truncate(60); }, {"could not parse segment headers."}},
        {"segments outside", [](QByteArray* p) { Poke32(p, 28, 0xFFFFFFF0); }, {"could not parse segment headers."}},
        {"segment size 0", [](QByteArray* p) { (*p)[42] = 0; }, {"could not parse segment headers."}},
        {"65535 segments", [](QByteArray* p) { (*p)[44] = (*p)[45] = '\xFF'; }, {"could not parse segment headers."}},
        {"sections cut", [](QByteArray* p) { p->chop(1); }, {"could not section headers."}},
        {"sections outside", [](QByteArray* p) { Poke32(p, 32, 0x7FFFFFFF); }, {"could not section headers."}},
        {"65535 sections", [](QByteArray* p) { (*p)[48] = (*p)[49] = '\xFF'; }, {"could not section headers."}},
        {"symbols outside",
         [](QByteArray* p) { Poke32(p, SectionField(*p, SYMTAB, FIELD_OFFSET), 0xFFFFFFF0); },
         {"could not parse symbols."}},
        {"4 GB of symbols",
         [](QByteArray* p) { Poke32(p, SectionField(*p, SYMTAB, FIELD_SIZE), 0xFFFFFFFF); },
         {"could not parse symbols."}},
        {"symbols of 1 byte",
         [](QByteArray* p) { Poke32(p, SectionField(*p, SYMTAB, FIELD_ENTSIZE), 1); },
         {"could not parse symbols."}},
    };
    for (const ROW& Row : aRow) {
        QByteArray Bytes = Small().Build();
        Row.Damage(&Bytes);
        EXPECT_EQ(Open(Bytes), nullptr) << Row.sName;
        EXPECT_EQ(Messages, Row.Messages) << Row.sName << ": " << qPrintable(Messages.join(" | "));
        EXPECT_EQ(ELF_GetCurrentFile(), nullptr) << Row.sName;
    }
    EXPECT_NE(Open(Small().Build()), nullptr) << "failures leave nothing behind";
}

TEST_F(ElfFile, PathsThatAreNoFile) {
    EXPECT_EQ(ELF_Open(qPrintable(m_Dir.filePath("missing.elf"))), nullptr);
    EXPECT_EQ(Messages, QStringList{"failed to open file."});
    Messages.clear();
    EXPECT_EQ(ELF_Open(qPrintable(m_Dir.path())), nullptr);
    EXPECT_EQ(Messages, QStringList{"invalid file size detected. Could not parse file."});
}

// The bytes of all symbol sections can't be more than the file has, whatever its headers say.
TEST_F(ElfFile, SymbolSectionsThatShareTheirBytesAreRefused) {
    CElfImageBuilder Builder;
    Builder.AddSection(".big", SHT_SYMTAB, 0, 0, QByteArray(160'000, '\0'), 16);
    for (int i = 0; i < 3000; ++i) {
        Builder.AddSection(".s", SHT_SYMTAB, 0, 0, {}, 16);
    }
    QByteArray Bytes = Builder.Build();
    U32 BigOffset = 0;
    std::memcpy(&BigOffset, Bytes.constData() + SectionField(Bytes, 1, FIELD_OFFSET), 4);
    for (U32 i = 2; i <= 3001; ++i) {
        Poke32(&Bytes, SectionField(Bytes, i, FIELD_OFFSET), BigOffset);
        Poke32(&Bytes, SectionField(Bytes, i, FIELD_SIZE), 160'000);
    }
    EXPECT_EQ(Open(Bytes), nullptr);
    EXPECT_EQ(Messages, QStringList{"could not parse symbols."});
}

TEST_F(ElfFile, IndicesOutOfRangeAnswerNothing) {
    const ELF_FILE* pFile = Open(Small().Build());
    ASSERT_NE(pFile, nullptr);
    for (const U32 Idx : {6u, 100u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ELF_GetSegmentType(pFile, Idx), 0u);
        EXPECT_EQ(ELF_GetSegmentData(pFile, Idx), nullptr);
        EXPECT_EQ(ELF_GetSegmentDataOffset(pFile, Idx), 0u);
        EXPECT_EQ(ELF_GetSectionSize(pFile, Idx), 0u);
        EXPECT_EQ(ELF_GetSectionData(pFile, Idx), nullptr);
        EXPECT_EQ(ELF_GetSectionName(pFile, Idx), nullptr);
        EXPECT_EQ(ELF_GetSym(pFile, Idx), nullptr);
        EXPECT_EQ(ELF_GetSymNameByIdx(pFile, Idx), nullptr);
        EXPECT_EQ(ELF_GetFuncSymIdx(pFile, Idx), 0xFFFFFFFFu);
        ELF_RELOC Reloc;
        EXPECT_EQ(ELF_ReadReloc(pFile, Idx, 0, &Reloc), -1);
    }
    EXPECT_EQ(ELF_GetSectionString(pFile, STRTAB, ELF_GetSectionSize(pFile, STRTAB)), nullptr);
    EXPECT_EQ(ELF_GetNumSections(nullptr), 0u);
    EXPECT_EQ(ELF_GetDataEncoding(nullptr), ELF_ENC_UNKNOWN);
    EXPECT_EQ(ELF_FindFuncSym(nullptr, 0, 0), 0xFFFFFFFFu);
    EXPECT_EQ(ELF_FindSymByAddr(nullptr, 0, -1, -1), -1);
}

TEST_F(ElfFile, DamagedNamesAndContentsAreLeftOut) {
    QByteArray Bytes = Small().Build();
    Poke32(&Bytes, SectionField(Bytes, 1, FIELD_NAME), 0xFFFFFF);
    Poke32(&Bytes, SectionField(Bytes, 2, FIELD_OFFSET), 0xFFFFFFF0);
    Poke32(&Bytes, SectionField(Bytes, STRTAB, FIELD_SIZE), 3); // cuts the first name off from its end
    const ELF_FILE* pFile = Open(Bytes);
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(ELF_GetSectionName(pFile, 1), nullptr);
    EXPECT_EQ(ELF_GetSectionData(pFile, 2), nullptr);
    EXPECT_EQ(ELF_GetSymNameByIdx(pFile, 1), nullptr);
    EXPECT_EQ(ELF_GetFuncSymCnt(pFile), 0u) << "a function needs a name";
}

TEST_F(ElfFile, AStringEndsInItsSectionWithin64KiB) {
    CElfImageBuilder Builder;
    Builder.AddSection(".names", 3, 0, 0, QByteArray(70'000, 'a') + QByteArray("\0bc", 3));
    const ELF_FILE* pFile = Open(Builder.Build());
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(ELF_GetSectionString(pFile, 1, 0), nullptr);
    EXPECT_EQ(qstrlen(ELF_GetSectionString(pFile, 1, 69'000)), 1'000u);
    EXPECT_STREQ(ELF_GetSectionString(pFile, 1, 70'000), "");
    EXPECT_EQ(ELF_GetSectionString(pFile, 1, 70'001), nullptr) << "not terminated inside the section";
}

TEST_F(ElfFile, OneFileAtATime) {
    const ELF_FILE* pFirst = Open(Small().Build());
    ASSERT_NE(pFirst, nullptr);
    Messages.clear();
    EXPECT_EQ(ELF_Open(qPrintable(m_Dir.filePath("image.elf"))), nullptr);
    EXPECT_EQ(Messages, QStringList{"maximum number of files already open."});
    EXPECT_EQ(ELF_GetCurrentFile(), pFirst) << "the first file stays usable";
    EXPECT_EQ(ELF_ReadU32(0x1000), 0xAAAAAAAA);
    ELF_Close(m_pFile);
    EXPECT_EQ(ELF_ReadU32(0x1000), -1);
    ELF_Close(m_pFile); // a file that is closed is none
    m_pFile = nullptr;
}

TEST_F(ElfFile, AStrippedFileOpensWithoutSymbols) {
    CElfImageBuilder Builder = Small();
    Builder.IsStripped = true;
    const ELF_FILE* pFile = Open(Builder.Build());
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(pFile->NumSyms, 0u);
    EXPECT_EQ(pFile->StrTabIdx, 0xFFFFFFFFu);
    U32 Lo = 0;
    U32 Hi = 1;
    U32 Count = 1;
    ELF_GetSymAddrRange(&Lo, &Hi, &Count);
    EXPECT_EQ(Lo, 0xFFFFFFFFu);
    EXPECT_EQ(Hi, 0u);
    EXPECT_EQ(Count, 0u);
    EXPECT_TRUE(Messages.contains("ELF Symbol Count: 0"));
    EXPECT_FALSE(Messages.contains("debug info could not be parsed."));
}

TEST_F(ElfFile, RelocationsAreGivenAsTheyStand) {
    CElfImageBuilder Builder;
    const QByteArray Rel = QByteArray::fromHex("10000000"
                                               "02050000"
                                               "14000000"
                                               "FFFFFF00");
    const QByteArray Rela = QByteArray::fromHex("20000000"
                                                "28070000"
                                                "FCFFFFFF");
    Builder.AddSection(".rel", SHT_REL, 0, 0, Rel, 8);
    Builder.AddSection(".rela", SHT_RELA, 0, 0, Rela, 12);
    Builder.AddSection(".other", 1, 0, 0, Rel, 8);
    Builder.AddSection(".short", SHT_RELA, 0, 0, Rela, 4);
    const ELF_FILE* pFile = Open(Builder.Build());
    ASSERT_NE(pFile, nullptr);
    struct ROW {
        U32 Section, Entry;
        int Result;
        ELF_RELOC Reloc;
    };
    const ROW aRow[] = {{1, 0, 0, {2, 0x10, 5, 0}},
                        {1, 1, 0, {255, 0x14, 0xFFFF, 0}},
                        {2, 0, 0, {0x28, 0x20, 7, 0xFFFFFFFC}},
                        {3, 0, 0, {0, 0, 0, 0}},
                        {1, 2, -1, {}},
                        {4, 0, -1, {}}};
    for (const ROW& Row : aRow) {
        ELF_RELOC Reloc = {9, 9, 9, 9};
        EXPECT_EQ(ELF_ReadReloc(pFile, Row.Section, Row.Entry, &Reloc), Row.Result) << Row.Section;
        if (Row.Result == 0) {
            EXPECT_EQ(Reloc.Type, Row.Reloc.Type);
            EXPECT_EQ(Reloc.Offset, Row.Reloc.Offset);
            EXPECT_EQ(Reloc.SymIdx, Row.Reloc.SymIdx);
            EXPECT_EQ(Reloc.Addend, Row.Reloc.Addend);
        }
    }
}
