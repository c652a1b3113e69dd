#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "elf/ElfSym.h"
#include "tests/elf/CrossBuild.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QHash>
#include <QSet>
#include <QStandardPaths>
#include <QTextStream>

// Inline expansions against what readelf prints of their entries: name, place of the call, code.

namespace {

struct ENTRY {
    QString sTag;
    QHash<QString, QString> Attrs;
    U32 Number(const char* sAttr) const {
        return Attrs.value(sAttr).section(QLatin1Char(' '), 0, 0).remove('\t').toUInt(nullptr, 0);
    }
};

/// Entries by offset. Lines are " <2><814>: Abbrev Number: 42 (DW_TAG_...)" and "    <815>   DW_AT_... : value".
QMap<U32, ENTRY> EntriesOf(QString sText) {
    static const QSet<QString> Used = {"DW_AT_name",   "DW_AT_abstract_origin", "DW_AT_specification",
                                       "DW_AT_low_pc", "DW_AT_high_pc",         "DW_AT_call_line"};
    QMap<U32, ENTRY> Entries;
    QTextStream Text(&sText);
    U32 Off = 0;
    for (QString sLine; Text.readLineInto(&sLine);) {
        if (const qsizetype Tag = sLine.indexOf(QLatin1String("(DW_TAG_")); Tag >= 0) {
            Off = sLine.section(QLatin1Char('<'), 2).section(QLatin1Char('>'), 0, 0).toUInt(nullptr, 16);
            Entries[Off].sTag = sLine.mid(Tag + 1).section(QLatin1Char(')'), 0, 0);
        } else if (const qsizetype At = sLine.indexOf(QLatin1String("DW_AT_")); At >= 0) {
            const QString sAttr = sLine.mid(At).section(QLatin1Char(' '), 0, 0).section(QLatin1Char(':'), 0, 0);
            QString sValue = sLine.mid(At).section(QLatin1Char(':'), 1).trimmed();
            if (sValue.startsWith(QLatin1Char('('))) { // "(indirect string, offset: 0x1f): Name"
                sValue = sValue.mid(sValue.indexOf(QLatin1String("): ")) + 3);
            }
            if (Used.contains(sAttr)) {
                Entries[Off].Attrs[sAttr] = sValue;
            }
        }
    }
    return Entries;
}

constexpr qsizetype MAX_NAME = 511; ///< longer ones are cut

/// Name of the entry, or of the one that it is an instance or the definition of.
QString NameOf(const QMap<U32, ENTRY>& Entries, U32 Off) {
    for (int i = 0; i < 5 && Entries.contains(Off); ++i) {
        const ENTRY Entry = Entries[Off];
        if (Entry.Attrs.contains("DW_AT_name")) {
            return Entry.Attrs["DW_AT_name"];
        }
        const char* sNext =
            Entry.Attrs.contains("DW_AT_abstract_origin") ? "DW_AT_abstract_origin" : "DW_AT_specification";
        Off = Entry.Attrs.value(sNext).section(QLatin1Char('<'), 1).section(QLatin1Char('>'), 0, 0).toUInt(nullptr, 16);
    }
    return {};
}

/// True if the expansion is over the address, or is in a function at 0, which the linker dropped. Of the copies of a
/// function that several units describe the first has its expansions found.
bool IsFound(ELF_SYM_HANDLE h, U32 Addr) {
    const ELF_SYM_LIST Funcs = ElfApi_GetFuncsAtAddr(Addr);
    ELF_SYM_HANDLE hFunc = h;
    for (ELF_SYM_HANDLE hOuter = h; hOuter != 0; hOuter = ElfApi_GetParentFunc(hOuter)) {
        hFunc = hOuter;
    }
    return Funcs.contains(h) || ElfApi_GetSymAddrRange(hFunc).Addr == 0 ||
           (Funcs.value(0) != hFunc && Funcs.contains(hFunc));
}

int Compare(const QString& sElf) {
    const QMap<U32, ENTRY> Entries = EntriesOf(RunTool(FindCrossTool("readelf"), {"-wi", sElf}));
    U32 NumFound = 0;
    for (auto It = Entries.cbegin(); It != Entries.cend(); ++It) {
        if (It->sTag != QLatin1String("DW_TAG_inlined_subroutine")) {
            continue;
        }
        const ELF_SYM_HANDLE h = ELF_MakeDwarfHandle(It.key() + 1);
        EXPECT_EQ(ElfApi_GetSymType(h), static_cast<U32>(DW_TAG_inlined_subroutine));
        EXPECT_EQ(ElfApi_GetSymName(h).toStdString(), NameOf(Entries, It.key()).left(MAX_NAME).toStdString())
            << std::hex << It.key();
        EXPECT_EQ(ElfApi_GetSymCallLine(h), It->Number("DW_AT_call_line")) << std::hex << It.key();
        const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(h);
        if (It->Attrs.contains("DW_AT_low_pc") && It->Number("DW_AT_high_pc") != 0) {
            const U32 High = It->Number("DW_AT_high_pc"); // an address in DWARF 2 and 3, later a size
            EXPECT_EQ(Range.Addr, It->Number("DW_AT_low_pc"));
            EXPECT_TRUE(Range.Size == High || Range.Addr + Range.Size == High) << std::hex << It.key();
        }
        const ELF_ADDR_RANGE Outer = ElfApi_GetSymAddrRange(ElfApi_GetParentFunc(h));
        EXPECT_TRUE(Range.Addr <= 1 || (Range.Addr >= Outer.Addr && Range.Addr + Range.Size <= Outer.Addr + Outer.Size))
            << std::hex << It.key(); // at 0 stands what the linker dropped
        for (const ELF_RANGE& Part : ELF_GetSymAddrRanges(h)) {
            EXPECT_TRUE(Part.Hi == Part.Lo || IsFound(h, Part.Lo)) << std::hex << It.key();
        }
        ++NumFound;
    }
    EXPECT_EQ(ELF_GetListCnt(ELF_LIST_INLINES), NumFound);
    return static_cast<int>(NumFound);
}

constexpr int MAX_ADDRS = 2000;    ///< compared per program
constexpr U32 MAX_INFO = 32 << 20; ///< bytes of debug information whose text of 50 times that is read

QString FileName(const QString& sPath) { return sPath.section(QLatin1Char('/'), -1); }

/// The functions over an address from the innermost on, each with the place in it: "inner a.c:3 outer b.c:7 ".
/// Functions that the compiler made up, GCC's closures among them, aren't listed: there it ends with a star.
QString Chain(U32 Addr, const QString& sPlace) {
    QString sText;
    QString sAt = sPlace;
    const ELF_SYM_LIST Funcs = ElfApi_GetFuncsAtAddr(Addr);
    for (auto It = Funcs.crbegin(); It != Funcs.crend() && !ELF_IsElfSymbol(*It); ++It) {
        sText += ElfApi_GetSymName(*It) + ' ' + sAt + ' ';
        sAt = FileName(ElfApi_GetSymCallFileName(*It)) + ':' + QString::number(ElfApi_GetSymCallLine(*It));
        if (ElfApi_GetSymType(*It) == DW_TAG_subprogram) {
            return sText;
        }
    }
    return Funcs.isEmpty() ? sText : sText + '*';
}

/// True if a line of the place, "a.c:3", begins at the address.
bool IsPlaceAt(U32 Addr, const QString& sPlace) {
    const QList<CSrcLoc> Locs = ElfApi_GetSrcLocs(Addr);
    return std::any_of(Locs.begin(), Locs.end(), [&](const CSrcLoc& Loc) {
        return FileName(ElfApi_GetFilePath(Loc.FileId)) + ':' + QString::number(Loc.Line) == sPlace;
    });
}

/// Ours at a sample of the addresses of lines against those of llvm-symbolizer; returns how many.
int CompareChains(const QString& sElf) {
    QStringList Args = {"--obj=" + sElf, "--functions=short", "--inlines", "--no-demangle", "-s"};
    QList<U32> Addrs;
    for (I64 Next = ElfApi_GetNextAddr(0); Next >= 0; Next = ElfApi_GetNextAddr(static_cast<U32>(Next))) {
        Addrs.append(static_cast<U32>(Next));
    }
    const qsizetype Step = Addrs.size() / MAX_ADDRS + 1;
    for (qsizetype i = 0; i < Addrs.size(); i += Step) {
        Args.append(QString::number(Addrs[i]));
    }
    const QStringList Answers = RunTool(QStandardPaths::findExecutable("llvm-symbolizer"), Args)
                                    .split(QStringLiteral("\n\n"), Qt::SkipEmptyParts);
    EXPECT_EQ(Answers.size(), Addrs.isEmpty() ? 0 : (Addrs.size() - 1) / Step + 1) << qPrintable(sElf);
    qsizetype NumElsewhere = 0;
    for (qsizetype i = 0; i < Answers.size(); ++i) {
        const QStringList Lines = Answers[i].split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QString sTheirs;
        QString sInner; // without the outermost
        for (qsizetype k = 0; k + 1 < Lines.size() && Lines[0] != QLatin1String("??"); k += 2) {
            sInner = sTheirs;
            sTheirs += Lines[k].left(MAX_NAME) + ' ' + Lines[k + 1].section(QLatin1Char(':'), 0, 1) + ' ';
        }
        const U32 Addr = Addrs[i * Step];
        const QString sPlace = Lines.value(1).section(QLatin1Char(':'), 0, 1);
        if (sPlace.contains(QLatin1String(".S:"))) {
            continue; // of functions in assembler that share code each tool chooses another
        }
        if (!IsPlaceAt(Addr, sPlace)) {
            ++NumElsewhere; // it takes what is left of dropped code at address 0 for the program
            continue;
        }
        const QString sOurs = Chain(Addr, sPlace);
        EXPECT_TRUE(sOurs == sTheirs || sOurs == sTheirs + '*' || sOurs == sInner + '*')
            << qPrintable(sElf) << std::hex << " at " << Addr << ": theirs " << qPrintable(sTheirs) << ", ours "
            << qPrintable(sOurs);
    }
    EXPECT_LE(NumElsewhere, Answers.size() / 20) << qPrintable(sElf);
    return static_cast<int>(Answers.size());
}

class DwarfInline : public CElfTest {};

} // namespace

TEST_F(DwarfInline, ExpansionsAgreeWithReadelf) {
    int NumFound = 0;
    int NumBuilds = 0;
    for (const char* sCompiler : {"gcc", "clang"}) {
        for (const char* sVersion : {"-gdwarf-4", "-gdwarf-5"}) {
            for (const char* sSource : {"values.c", "types.c"}) {
                const QString sElf = m_Dir.filePath("inline.elf");
                if (!BuildCross(sCompiler,
                                {"-mcpu=cortex-m4", "-mthumb", "-ffreestanding", "-nostdlib", "-w", "-Wl,-e,main",
                                 "-Wl,-Ttext=0x8000", "-O2", sVersion,
                                 QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/dwarf/") + sSource},
                                sElf)) {
                    continue;
                }
                ++NumBuilds;
                ASSERT_EQ(ElfApi_Init(sElf), 0);
                NumFound += Compare(sElf);
                ElfApi_Deinit();
            }
        }
    }
    if (NumBuilds == 0 || FindCrossTool("readelf").isEmpty()) {
        GTEST_SKIP() << "no compiler for ARM or no readelf is installed";
    }
    EXPECT_GT(NumFound, 10);
}

TEST_F(DwarfInline, ExpansionsOverAddressesAgreeWithSymbolizer) {
    if (QStandardPaths::findExecutable("llvm-symbolizer").isEmpty()) {
        GTEST_SKIP() << "llvm-symbolizer is not installed";
    }
    for (const CROSS_PROGRAM& Program : OraclePrograms()) {
        ASSERT_EQ(ElfApi_Init(Program.sPath), 0) << qPrintable(Program.sName);
        NoteCompared(Program, "function chains at addresses of lines", CompareChains(Program.sPath));
        if (HasForeignPrograms() && ELF_GetStore() != nullptr && ELF_GetStore()->aSection[DSEC_INFO].Size < MAX_INFO) {
            NoteCompared(Program, "inline expansions", Compare(Program.sPath));
        }
        ElfApi_Deinit();
    }
}

TEST_F(DwarfInline, CopiesOfAFunctionCountOnce) {
    const QStringList Common = {"-mcpu=cortex-m4", "-mthumb",  "-ffreestanding", "-nostdlib", "-O2", "-g",
                                "-fno-exceptions", "-fno-rtti"};
    const QString sSource = QStringLiteral(BRASK_SOURCE_DIR "/tests/elf/src/mixed.cpp");
    const QString sOther = m_Dir.filePath("other.o");
    const QString sElf = m_Dir.filePath("copies.elf");
    if (!BuildCross("g++",
                    Common + QStringList{"-c", "-DCounter=Other", "-DSink=OtherSink", "-D_start=OtherStart",
                                         "-DGrow=OtherGrow", sSource},
                    sOther) ||
        !BuildCross("g++", Common + QStringList{"-Wl,-Ttext=0x8000", sSource, sOther}, sElf)) {
        GTEST_SKIP() << "no compiler for ARM is installed";
    }
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    EXPECT_EQ(ElfApi_FindSyms("Twice<int>", true, false, false, false).size(), 2);
    const ELF_SYM_HANDLE hTwice = ElfApi_FindSym("Twice<int>", true, false, false, false);
    const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(hTwice);
    int NumAreas = 0;
    for (U32 Addr = Range.Addr; Addr < Range.Addr + Range.Size; Addr += 2) {
        int NumHere = 0;
        for (const ELF_SYM_HANDLE h : ElfApi_GetFuncsAtAddr(Addr)) {
            NumHere += ElfApi_GetSymName(h) == QLatin1String("Area");
        }
        EXPECT_LE(NumHere, 1) << std::hex << Addr;
        NumAreas += NumHere;
    }
    EXPECT_GT(NumAreas, 0);
    ElfApi_Deinit();
}
