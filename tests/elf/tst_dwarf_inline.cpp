#include "elf/ElfApi.h"
#include "elf/ElfSym.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QHash>
#include <libdwarf/dwarf.h>

// Inline expansions against what objdump prints of their entries: name, place of the call, code.

namespace {

struct ENTRY {
    QString sTag;
    QHash<QString, QString> Attrs;
    U32 Number(const char* sAttr) const { return Attrs.value(sAttr).section(QLatin1Char(' '), 0, 0).remove('\t').toUInt(nullptr, 0); }
};

/// Entries by offset. Lines are " <2><814>: Abbrev Number: 42 (DW_TAG_...)" and "    <815>   DW_AT_... : value".
QMap<U32, ENTRY> _Entries(const QString& sText) {
    QMap<U32, ENTRY> Entries;
    U32 Off = 0;
    for (const QString& sLine : sText.split(QLatin1Char('\n'))) {
        if (const qsizetype Tag = sLine.indexOf(QLatin1String("(DW_TAG_")); Tag >= 0) {
            Off = sLine.section(QLatin1Char('<'), 2).section(QLatin1Char('>'), 0, 0).toUInt(nullptr, 16);
            Entries[Off].sTag = sLine.mid(Tag + 1).section(QLatin1Char(')'), 0, 0);
        } else if (const qsizetype At = sLine.indexOf(QLatin1String("DW_AT_")); At >= 0) {
            QString sValue = sLine.mid(At).section(QLatin1Char(':'), 1).trimmed();
            if (sValue.startsWith(QLatin1Char('('))) { // "(indirect string, offset: 0x1f): Name"
                sValue = sValue.mid(sValue.indexOf(QLatin1String("): ")) + 3);
            }
            Entries[Off].Attrs[sLine.mid(At).section(QLatin1Char(' '), 0, 0).section(QLatin1Char(':'), 0, 0)] = sValue;
        }
    }
    return Entries;
}

/// Name of the entry, or of the one that it is an instance or the definition of.
QString _NameOf(const QMap<U32, ENTRY>& Entries, U32 Off) {
    for (int i = 0; i < 5 && Entries.contains(Off); ++i) {
        const ENTRY Entry = Entries[Off];
        if (Entry.Attrs.contains("DW_AT_name")) {
            return Entry.Attrs["DW_AT_name"];
        }
        const char* sNext = Entry.Attrs.contains("DW_AT_abstract_origin") ? "DW_AT_abstract_origin" : "DW_AT_specification";
        Off = Entry.Attrs.value(sNext).section(QLatin1Char('<'), 1).section(QLatin1Char('>'), 0, 0).toUInt(nullptr, 16);
    }
    return {};
}

int _Compare(const QString& sElf) {
    const QMap<U32, ENTRY> Entries = _Entries(RunTool(FindCrossTool("objdump"), {"--dwarf=info", sElf}));
    U32 NumFound = 0;
    for (auto It = Entries.cbegin(); It != Entries.cend(); ++It) {
        if (It->sTag != QLatin1String("DW_TAG_inlined_subroutine")) {
            continue;
        }
        const ELF_SYM_HANDLE h = ELF_MakeDwarfHandle(It.key() + 1);
        EXPECT_EQ(ElfApi_GetSymType(h), static_cast<U32>(DW_TAG_inlined_subroutine));
        EXPECT_EQ(ElfApi_GetSymName(h), _NameOf(Entries, It.key())) << std::hex << It.key();
        EXPECT_EQ(ElfApi_GetSymCallLine(h), It->Number("DW_AT_call_line")) << std::hex << It.key();
        EXPECT_TRUE(ElfApi_GetSymCallFileName(h).contains(QLatin1String("tests/elf/dwarf/")));
        const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h);
        if (It->Attrs.contains("DW_AT_low_pc") && It->Number("DW_AT_high_pc") != 0) {
            EXPECT_EQ(Range.Addr, It->Number("DW_AT_low_pc"));
            EXPECT_EQ(Range.Size, It->Number("DW_AT_high_pc"));
        }
        const ELF_ADDR_RANGE Outer = ElfApi_GetSymAddrRange(ElfApi_GetParentFunc(h));
        EXPECT_TRUE(Range.Addr >= Outer.Addr && Range.Addr + Range.Size <= Outer.Addr + Outer.Size) << std::hex << It.key();
        EXPECT_TRUE(Range.Size == 0 || ElfApi_GetFuncsAtAddr(Range.Addr).contains(h)) << std::hex << It.key();
        ++NumFound;
    }
    EXPECT_EQ(ELF_GetListCnt(ELF_LIST_INLINES), NumFound);
    return static_cast<int>(NumFound);
}

class DwarfInline : public CElfTest {};

} // namespace

TEST_F(DwarfInline, ExpansionsAgreeWithObjdump) {
    int NumFound = 0;
    int NumBuilds = 0;
    for (const char* sCompiler : {"gcc", "clang"}) {
        for (const char* sVersion : {"-gdwarf-4", "-gdwarf-5"}) {
            for (const char* sSource : {"values.c", "types.c"}) {
                const QString sElf = m_Dir.filePath("inline.elf");
                if (!BuildCross(sCompiler, {"-mcpu=cortex-m4", "-mthumb", "-ffreestanding", "-nostdlib", "-w", "-Wl,-e,main",
                                            "-Wl,-Ttext=0x8000", "-O2", sVersion, QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/dwarf/") + sSource},
                                sElf)) {
                    continue;
                }
                ++NumBuilds;
                ASSERT_EQ(ElfApi_Init(sElf), 0);
                NumFound += _Compare(sElf);
                ElfApi_Deinit();
            }
        }
    }
    if (NumBuilds == 0 || FindCrossTool("objdump").isEmpty()) {
        GTEST_SKIP() << "no compiler for ARM or no objdump is installed";
    }
    EXPECT_GT(NumFound, 10);
}
