#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

// Debug sections that are compressed in the file.

class ElfUnpack : public CElfTest {};

namespace {

QByteArray Zlib(const QByteArray& Data) { return qCompress(Data).mid(4); }

QByteArray Number(U32 Value, bool IsBig) {
    QByteArray Bytes;
    for (int i = 0; i < 4; ++i) {
        Bytes.append(static_cast<char>(Value >> (IsBig ? 24 - 8 * i : 8 * i)));
    }
    return Bytes;
}

} // namespace

TEST_F(ElfUnpack, SectionsOfAllFormsAndDamagedOnes) {
    const QByteArray Plain = QByteArray("int main char unsigned ").repeated(30);
    const U32 Size = static_cast<U32>(Plain.size());
    const QByteArray Old = "ZLIB" + QByteArray(4, '\0') + Number(Size, true) + Zlib(Plain);
    for (const bool IsBig : {false, true}) {
        const auto Header = [IsBig](U32 Type, U32 Unpacked) {
            return Number(Type, IsBig) + Number(Unpacked, IsBig) + Number(1, IsBig);
        };
        struct ROW {
            const char* sName;
            U32 Flags;
            QByteArray Data;
            QByteArray Expected; ///< null: no bytes
            const char* sMessage;
        };
        const ROW aRow[] = {
            {".debug_info", SHF_COMPRESSED, Header(1, Size) + Zlib(Plain), Plain, nullptr},
            {".debug_str", SHF_COMPRESSED, Header(1, 2 * Size) + Zlib(Plain) + Zlib(Plain), Plain + Plain, nullptr},
            {".zdebug_line", 0, Old, Plain, nullptr},
            {".zdebug_loc", 0, "no header that says so", "no header that says so", nullptr},
            {".text", SHF_COMPRESSED, Header(1, Size) + Zlib(Plain), Header(1, Size) + Zlib(Plain), nullptr},
            {".debug_a", SHF_COMPRESSED, Header(2, Size) + Zlib(Plain), {}, "unknown compression of section .debug_a."},
            {".debug_b", SHF_COMPRESSED, "short", {}, "unknown compression of section .debug_b."},
            {".debug_c",
             SHF_COMPRESSED,
             Header(1, Size) + Zlib(Plain).chopped(9),
             {},
             "could not unpack section .debug_c."},
            {".debug_d", SHF_COMPRESSED, Header(1, Size - 1) + Zlib(Plain), {}, "could not unpack section .debug_d."},
            {".debug_e", SHF_COMPRESSED, Header(1, Size + 1) + Zlib(Plain), {}, "could not unpack section .debug_e."},
            {".debug_f",
             SHF_COMPRESSED,
             Header(1, 0x7FFFFFFF) + Zlib(Plain),
             {},
             "compressed section is too large: .debug_f."},
        };
        CElfImageBuilder Builder;
        Builder.IsBigEndian = IsBig;
        for (const ROW& Row : aRow) {
            Builder.AddSection(Row.sName, 1, Row.Flags, 0, Row.Data);
        }
        const ELF_FILE* pFile = Open(Builder.Build());
        ASSERT_NE(pFile, nullptr);
        for (U32 i = 0; i < std::size(aRow); ++i) {
            const ROW& Row = aRow[i];
            const U8* pData = ELF_GetSectionData(pFile, i + 1);
            EXPECT_EQ(pData == nullptr, Row.Expected.isNull()) << Row.sName;
            if (pData != nullptr) {
                const auto NumBytes = static_cast<qsizetype>(ELF_GetSectionSize(pFile, i + 1));
                EXPECT_EQ(QByteArray(reinterpret_cast<const char*>(pData), NumBytes), Row.Expected) << Row.sName;
            }
            EXPECT_EQ(ELF_FindSection(pFile, Row.sName), static_cast<int>(i + 1));
            EXPECT_TRUE(Row.sMessage == nullptr || Messages.contains(Row.sMessage)) << Row.sName;
        }
        EXPECT_EQ(ELF_FindSection(pFile, ".debug_line"), 3) << "also by its name without compression";
        EXPECT_EQ(ELF_FindSection(pFile, ".debug_loc"), -1);
    }
}

TEST_F(ElfUnpack, SectionsThatShareTheirBytesAreLeftOut) {
    const QByteArray Zeros =
        Number(1, false) + Number(100'000, false) + Number(1, false) + Zlib(QByteArray(100'000, '\0'));
    CElfImageBuilder Builder;
    for (int i = 0; i < 100; ++i) {
        Builder.AddSection(".debug_info", 1, SHF_COMPRESSED, 0, Zeros);
    }
    const ELF_FILE* pFile = Open(Builder.Build()); // of 26 KB
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(Messages.count("compressed section is too large: .debug_info."), 20) << "no more than that are told";
    EXPECT_NE(ELF_GetSectionData(pFile, 1), nullptr);
    EXPECT_EQ(ELF_GetSectionData(pFile, 100), nullptr);
}

TEST_F(ElfUnpack, ProgramsAnswerAsTheyDoUncompressed) {
    const QString sElf = QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf");
    if (FindCrossTool("objcopy").isEmpty()) {
        GTEST_SKIP() << "the ARM binary tools aren't installed";
    }
    const auto Describe = [] {
        QStringList Texts;
        for (const ELF_SYM_LIST& List : {ElfApi_Functions(), ElfApi_GlobalVars(), ElfApi_Types()}) {
            for (const ELF_SYM_HANDLE h : List) {
                const CSrcLoc Loc = ElfApi_GetSymSrcLoc(h);
                Texts.append(QStringLiteral("%1 %2 %3 %4 %5")
                                 .arg(ElfApi_GetSymName(h, true), ElfApi_GetSymDataTypeName(h))
                                 .arg(ElfApi_GetSymAddr(h))
                                 .arg(Loc.Line)
                                 .arg(ElfApi_GetStackSize(ElfApi_GetSymAddrRange(h).Addr)));
            }
        }
        return Texts;
    };
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    const QStringList Expected = Describe();
    EXPECT_GT(Expected.size(), 30);
    for (const char* sForm : {"zlib-gabi", "zlib-gnu"}) {
        const QString sPacked = m_Dir.filePath(QLatin1String(sForm));
        RunTool(FindCrossTool("objcopy"),
                {QStringLiteral("--compress-debug-sections=") + QLatin1String(sForm), sElf, sPacked});
        ASSERT_EQ(ElfApi_Init(sPacked), 0);
        EXPECT_FALSE(ELF_GetCurrentFile()->Unpacked.empty()) << sForm;
        EXPECT_EQ(Describe(), Expected) << sForm;
    }
    ElfApi_Deinit();
}
