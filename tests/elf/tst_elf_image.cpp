#include "elf/ElfApi.h"
#include "icache/InstStore.h"
#include "tests/elf/ElfImageBuilder.h"

// The load image: target memory as the segments say it is.

class ElfImage : public CElfTest {};

TEST_F(ElfImage, ReadsNeedOneSegmentThatHoldsThemWhole) {
    CElfImageBuilder Builder;
    const U32 Text = Builder.AddSection(".text", 1, SHF_ALLOC, 0x1000, QByteArray::fromHex("0102030405060708"));
    const U32 More = Builder.AddSection(".more", 1, SHF_ALLOC, 0x1008, QByteArray::fromHex("1112131415161718"));
    Builder.AddSegment(Text, 0x1000, 0x8000);
    Builder.AddSegment(More, 0x1008, 0x8008);
    Builder.AddSegment(0, 0x3000, 0x3000);                  // no bytes in the file
    Builder.AddSegment(Text, 0x4000, 0x4000, 1, 0x7000000); // says it has more than the file
    Builder.AddSegment(Text, 0xFFFFFFFC, 0xFFFFFFFC);       // wraps
    ASSERT_NE(Open(Builder.Build()), nullptr);
    struct ROW {
        U32 Addr, NumBytes;
        const char* sBytes; ///< null: refused
    };
    const ROW aRow[] = {{0x1000, 8, "0102030405060708"},
                        {0x1001, 3, "020304"},
                        {0x1007, 1, "08"},
                        {0x1008, 2, "1112"},
                        {0x1007, 2, nullptr},
                        {0x0FFF, 2, nullptr},
                        {0x1010, 1, nullptr},
                        {0x3000, 1, nullptr},
                        {0x4000, 1, nullptr},
                        {0xFFFFFFFC, 4, nullptr},
                        {0xFFFFFFFF, 2, nullptr},
                        {0x1000, 0xFFFFFFFF, nullptr},
                        {0x8000, 1, nullptr}};
    for (const ROW& Row : aRow) {
        QByteArray Bytes(16, '\0');
        EXPECT_EQ(ELF_ReadMem(Row.Addr, Row.NumBytes, Bytes.data()), Row.sBytes == nullptr ? -1 : 0)
            << std::hex << Row.Addr;
        if (Row.sBytes != nullptr) {
            EXPECT_EQ(Bytes.left(static_cast<qsizetype>(Row.NumBytes)).toHex(), Row.sBytes);
        }
    }
    EXPECT_EQ(ELF_ReadMem(0x1000, 4, nullptr), -1);
    EXPECT_EQ(ELF_ReadU16(0x1002), 0x0403);
    EXPECT_EQ(ELF_ReadU32(0x1004), 0x08070605);
    EXPECT_EQ(ELF_ReadU32(0x1006), -1);
    EXPECT_EQ(ELF_GetImagePtr(0x1008, 0x1007), nullptr);
    ASSERT_NE(ELF_GetImagePtr(0x1002, 0x1004), nullptr);
    EXPECT_EQ(*ELF_GetImagePtr(0x1002, 0x1004), 3);
}

TEST_F(ElfImage, OnlyWordInvariantImagesSwapWhatIsRead) {
    struct ROW {
        U32 Flags;
        I64 Half, Word, Inst;
    };
    for (const ROW& Row :
         {ROW{0x05000000, 0x0102, 0x01020304, 0x03040102}, ROW{0x05800000, 0x0201, 0x04030201, 0x04030201}}) {
        CElfImageBuilder Builder;
        Builder.IsBigEndian = true;
        Builder.Flags = Row.Flags;
        const U32 Text = Builder.AddSection(".text", 1, SHF_ALLOC, 0x1000, QByteArray::fromHex("0102030405060708"));
        Builder.AddSegment(Text, 0x1000, 0x1000);
        ASSERT_NE(Open(Builder.Build()), nullptr);
        EXPECT_EQ(ELF_ReadU16(0x1000), Row.Half);
        EXPECT_EQ(ELF_ReadU32(0x1000), Row.Word);
        EXPECT_EQ(ICACHE_GetInstBits(0x1000, 2), Row.Half) << "a Thumb instruction, and one of two halfwords";
        EXPECT_EQ(ICACHE_GetInstBits(0x1000, 4), Row.Inst);
        U8 aByte[3] = {};
        EXPECT_EQ(ELF_ReadMem(0x1000, 3, aByte), 0);
        EXPECT_EQ(aByte[0], 1) << "other lengths come as they stand";
    }
}

TEST_F(ElfImage, The101stSegmentIsNotReadable) {
    CElfImageBuilder Builder;
    const U32 Text = Builder.AddSection(".text", 1, SHF_ALLOC, 0x1000, QByteArray(4, '\x11'));
    for (U32 i = 0; i < 101; ++i) {
        Builder.AddSegment(Text, 0x10000 + i * 0x100, 0);
    }
    ASSERT_NE(Open(Builder.Build()), nullptr);
    EXPECT_EQ(ELF_ReadU32(0x10000 + 99 * 0x100), 0x11111111);
    EXPECT_EQ(ELF_ReadU32(0x10000 + 100 * 0x100), -1);
}

TEST_F(ElfImage, DownloadLeavesOutWhatStandsBeforeTheFirstSection) {
    CElfImageBuilder Builder;
    Builder.Entry = 0x9001;
    // One run of bytes: 0x10 of padding, then a section, then the rest; and a segment of another type.
    const U32 Bytes = Builder.AddSection(".raw", 1, 0, 0, QByteArray(0x10, '\xEE') + QByteArray(0x30, '\x22'));
    Builder.AddSection(".text", 1, SHF_ALLOC, 0x8010, QByteArray(0x20, '\x22'));
    Builder.AddSegment(Bytes, 0x8000, 0x9000);
    Builder.AddSegment(Bytes, 0x20000000, 0x100);
    Builder.AddSegment(Bytes, 0x0, 0x50, 0x70000001);
    Builder.AddSegment(0, 0x30000000, 0x0);
    ASSERT_EQ(ElfApi_Init(Write(Builder.Build())), 0);
    const QList<ELF_SEGMENT> Segments = ElfApi_GetLoadSegments();
    ASSERT_EQ(Segments.size(), 2);
    EXPECT_EQ(Segments[0].PAddr, 0x100u) << "by physical address";
    EXPECT_EQ(Segments[0].Data.size(), 0x40);
    EXPECT_EQ(Segments[1].PAddr, 0x9010u);
    EXPECT_EQ(Segments[1].VAddr, 0x8010u);
    EXPECT_EQ(Segments[1].Data, QByteArray(0x30, '\x22'));
    EXPECT_EQ(ElfApi_GetEntryPointPC(), 0x9000);
    U8 Byte = 0;
    EXPECT_EQ(ElfApi_ReadMem(0x8010, 1, &Byte), 0);
    EXPECT_EQ(Byte, 0x22);
    ElfApi_Deinit();
}
