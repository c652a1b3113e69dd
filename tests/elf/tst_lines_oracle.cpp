#include "elf/Cfi.h"
#include "elf/DwarfAttr.h"
#include "elf/DwarfLineProgram.h"
#include "elf/Elf.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "elf/ElfSym.h"
#include "tests/elf/CrossBuild.h"

#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <gtest/gtest.h>

// Every row of every line table and every frame rule, against what the GNU binary tools say of the same program.

namespace {

constexpr int MAX_SHOWN = 5; ///< differences shown per program

class LinesOracle : public testing::Test {
protected:
    void SetUp() override {
        if (OraclePrograms().isEmpty() || FindCrossTool("objdump").isEmpty() || FindCrossTool("readelf").isEmpty()) {
            GTEST_SKIP() << "the ARM cross compiler or its binary tools aren't installed";
        }
    }
    void TearDown() override { ElfApi_Deinit(); }
};

/// "file:line@address" with the number of its rows.
using ROW_COUNTS = QMap<QString, int>;

ROW_COUNTS ObjdumpRows(const QString& sPath) {
    static const QRegularExpression Form(QStringLiteral("^(\\S+)\\s+(\\d+)\\s+(?:0x)?([0-9a-f]+)"));
    ROW_COUNTS Rows;
    for (const QString& sLine : RunTool(FindCrossTool("objdump"), {"-w", "--dwarf=decodedline", sPath}).split('\n')) {
        const QRegularExpressionMatch Match = Form.match(sLine);
        if (Match.hasMatch()) {
            ++Rows[QFileInfo(Match.captured(1)).fileName() + ':' + Match.captured(2) + '@' + Match.captured(3)];
        }
    }
    return Rows;
}

/// Counts every row of a line program, also those that the tables leave out.
struct COUNTING_SINK {
    bool OnRow(const DWARF_LINE_ROW& Row) {
        const std::string sName(Row.File < pHeader->Files.size() ? pHeader->Files[Row.File].sName : "");
        if (!sName.empty()) {
            ++pRows->operator[](QFileInfo(QString::fromStdString(sName)).fileName() + ':' + QString::number(Row.Line) +
                                '@' + QString::number(Row.Addr, 16));
        }
        return true;
    }
    void OnSequenceEnd(U32) {}
    const DWARF_LINE_HEADER* pHeader;
    ROW_COUNTS* pRows;
};

ROW_COUNTS OwnRows() {
    ROW_COUNTS Rows;
    QSet<U64> Known;
    const DWARF_STORE& S = *ELF_GetStore();
    for (const DWARF_UNIT& Unit : S.Units) {
        DWARF_ATTR Attr;
        DWARF_LINE_HEADER Header;
        if (DWARF_GetUnitAttr(S, Unit, DW_AT_stmt_list, &Attr) && !Known.contains(Attr.Value) &&
            DWARF_ReadLineHeader(S, Unit, Attr.Value, &Header)) {
            Known.insert(Attr.Value);
            COUNTING_SINK Sink{&Header, &Rows};
            EXPECT_TRUE(CLineProgram(&Header, &Sink).Run());
        }
    }
    return Rows;
}

QString Difference(const ROW_COUNTS& Theirs, const ROW_COUNTS& Ours) {
    QStringList Texts;
    for (auto It = Theirs.cbegin(); It != Theirs.cend() && Texts.size() < MAX_SHOWN; ++It) {
        if (Ours.value(It.key()) != It.value()) {
            Texts.append(
                QStringLiteral("%1: theirs %2, ours %3").arg(It.key()).arg(It.value()).arg(Ours.value(It.key())));
        }
    }
    for (auto It = Ours.cbegin(); It != Ours.cend() && Texts.size() < MAX_SHOWN; ++It) {
        if (!Theirs.contains(It.key())) {
            Texts.append(QStringLiteral("%1: only ours").arg(It.key()));
        }
    }
    return Texts.join("; ");
}

/// One rule of readelf's table in our form. An unmentioned register is "u" there, though it keeps its value.
QString RuleText(const ELF_SYM_LOC& Loc, U32 Reg) {
    const auto Signed = [](I32 Off) { return (Off < 0 ? "-" : "+") + QString::number(std::abs(Off)); };
    switch (Loc.Kind) {
    case ELF_LOC_MEM_CFA:
        return "c" + Signed(Loc.Off);
    case ELF_LOC_CFA:
        return "v" + Signed(Loc.Off);
    case ELF_LOC_REG_OFF:
        return Loc.Reg == CFI_REG_CFA ? "c" + Signed(Loc.Off) : "r" + QString::number(Loc.Reg) + Signed(Loc.Off);
    case ELF_LOC_REG:
        return Loc.Reg == Reg || Loc.Reg == ELF_REG_UNSPECIFIED ? QStringLiteral("u") : "r" + QString::number(Loc.Reg);
    default:
        return QStringLiteral("none");
    }
}

/// A table of readelf -wF: the columns and, for each row, address and cells; checked at each halfword of the row.
struct FRAME_TABLE {
    QStringList Columns;
    QList<QPair<U32, QStringList>> Rows;
    U32 Hi = 0;

    QString Check(int* pNumChecked) const {
        for (qsizetype i = 0; i < Rows.size(); ++i) {
            const U32 End = i + 1 < Rows.size() ? Rows[i + 1].first : Hi;
            for (U32 PC = Rows[i].first; PC < End; PC += 2) {
                ELF_SYM_LOC aRule[NUM_UNWIND_REGS];
                if (ElfApi_GetRegRules(PC, aRule) != NUM_UNWIND_REGS) {
                    return QStringLiteral("no rules at %1").arg(PC, 0, 16);
                }
                for (qsizetype k = 0; k < Columns.size() && k < Rows[i].second.size(); ++k) {
                    if (Columns[k] == "r13") {
                        continue; // whatever it says, the caller's stack pointer is the CFA
                    }
                    const U32 Reg = Columns[k] == "CFA" ? 13 : Columns[k] == "ra" ? 14 : Columns[k].mid(1).toUInt();
                    const QString sTheirs = Rows[i].second[k] == "s" ? QStringLiteral("u") : Rows[i].second[k];
                    ++*pNumChecked;
                    if (Reg < NUM_UNWIND_REGS && RuleText(aRule[Reg], Reg) != sTheirs) {
                        return QStringLiteral("%1 at %2: theirs %3, ours %4")
                            .arg(Columns[k], QString::number(PC, 16), sTheirs, RuleText(aRule[Reg], Reg));
                    }
                }
            }
        }
        return {};
    }
};

QList<FRAME_TABLE> ReadelfFrames(const QString& sPath) {
    static const QRegularExpression Head(QStringLiteral(" FDE .*pc=([0-9a-f]+)\\.\\.([0-9a-f]+)"));
    static const QRegularExpression Row(QStringLiteral("^([0-9a-f]{8}) +(r\\d+.*|exp.*)$"));
    QList<FRAME_TABLE> Tables;
    bool IsFde = false;
    for (const QString& sLine : RunTool(FindCrossTool("readelf"), {"-wF", sPath}).split('\n')) {
        const QRegularExpressionMatch HeadMatch = Head.match(sLine);
        const QRegularExpressionMatch RowMatch = Row.match(sLine);
        if (sLine.contains(" CIE ")) {
            IsFde = false;
        } else if (HeadMatch.hasMatch()) {
            IsFde = true;
            Tables.append(FRAME_TABLE());
            Tables.last().Hi = HeadMatch.captured(2).toUInt(nullptr, 16);
        } else if (IsFde && sLine.trimmed().startsWith("LOC")) {
            Tables.last().Columns = sLine.split(' ', Qt::SkipEmptyParts).mid(1);
        } else if (IsFde && RowMatch.hasMatch()) {
            Tables.last().Rows.append(
                {RowMatch.captured(1).toUInt(nullptr, 16), RowMatch.captured(2).split(' ', Qt::SkipEmptyParts)});
        }
    }
    return Tables;
}

} // namespace

TEST_F(LinesOracle, EveryLineRowIsObjdumps) {
    for (const CROSS_PROGRAM& Program : OraclePrograms()) {
        ASSERT_EQ(ElfApi_Init(Program.sPath), 0) << qPrintable(Program.sName);
        const ROW_COUNTS Theirs = ObjdumpRows(Program.sPath);
        EXPECT_EQ(Theirs.isEmpty(), ELF_FindSection(ELF_GetCurrentFile(), ".debug_line") < 0)
            << qPrintable(Program.sName);
        EXPECT_EQ(Difference(Theirs, OwnRows()).toStdString(), "") << qPrintable(Program.sName);
        NoteCompared(Program, "line rows", Theirs.size());
    }
}

TEST_F(LinesOracle, EveryFrameRuleIsReadelfs) {
    int NumInAll = 0;
    for (const CROSS_PROGRAM& Program : OraclePrograms()) {
        int NumChecked = 0;
        ASSERT_EQ(ElfApi_Init(Program.sPath), 0) << qPrintable(Program.sName);
        const QList<FRAME_TABLE> Tables = ReadelfFrames(Program.sPath);
        EXPECT_EQ(ElfApi_GetFdeCnt(), static_cast<U32>(Tables.size())) << qPrintable(Program.sName);
        // Descriptions of functions that the linker dropped stand at address 0, or where another copy is that it kept.
        const ELF_FILE* pFile = ELF_GetCurrentFile();
        const U32 Floor = pFile->papFuncSym.empty() ? 0 : pFile->paSym[pFile->papFuncSym[0]].st_value & ~1u;
        QSet<U32> Described;
        for (const FRAME_TABLE& Table : Tables) {
            const U32 Lo = Table.Rows.isEmpty() ? Table.Hi : Table.Rows[0].first;
            bool IsCopy = false;
            for (U32 PC = Lo; PC < Table.Hi && Table.Hi - Lo < 0x100000; PC += 2) {
                IsCopy |= Described.contains(PC);
                Described.insert(PC);
            }
            if (Lo >= Floor && !IsCopy) {
                EXPECT_EQ(Table.Check(&NumChecked).toStdString(), "") << qPrintable(Program.sName);
            }
        }
        NoteCompared(Program, "frame rules", NumChecked);
        NumInAll += NumChecked;
    }
    EXPECT_GT(NumInAll, !HasForeignPrograms() ? 10'000 : -1);
}

TEST_F(LinesOracle, PositionsAndAddressesLeadToEachOther) {
    for (const CROSS_PROGRAM& Program : OraclePrograms()) {
        ASSERT_EQ(ElfApi_Init(Program.sPath), 0) << qPrintable(Program.sName);
        int NumFound = 0;
        QSet<U32> FileIds;
        for (I64 Next = ElfApi_GetNextAddr(0); Next >= 0; Next = ElfApi_GetNextAddr(static_cast<U32>(Next))) {
            const U32 Addr = static_cast<U32>(Next);
            for (const CSrcLoc& Loc : ElfApi_GetSrcLocs(Addr)) {
                EXPECT_TRUE(ElfApi_GetAddrs(Loc).contains(Addr)) << qPrintable(Program.sName);
                FileIds.insert(Loc.FileId);
                ++NumFound;
            }
        }
        for (const U32 FileId : std::as_const(FileIds)) {
            EXPECT_EQ(ElfApi_GetFileId(ElfApi_GetFilePath(FileId).toUpper()), FileId);
            EXPECT_TRUE(ElfApi_GetSrcFileIds().contains(FileId));
        }
        EXPECT_TRUE(NumFound > 10 || ELF_GetCurrentFile()->papFuncSym.size() < 2) << qPrintable(Program.sName);
    }
}

TEST_F(LinesOracle, TextsNamePositionsAndAddresses) {
    const CROSS_PROGRAM& Program = CrossPrograms().first(); // not optimised: each function has code of its own
    ASSERT_EQ(ElfApi_Init(Program.sPath), 0) << qPrintable(Program.sName);
    const CSrcLoc Leaf = ElfApi_ParseSrcLoc("Leaf");
    ASSERT_TRUE(Leaf.IsValid());
    EXPECT_TRUE(ElfApi_GetFilePath(Leaf.FileId).endsWith("mixed.c"));
    const QString sPosition = QStringLiteral("%1:%2").arg(ElfApi_GetFilePath(Leaf.FileId)).arg(Leaf.Line);
    EXPECT_EQ(ElfApi_ParseSrcLoc(sPosition + ":3").Col, 3u);
    EXPECT_TRUE(ElfApi_ParseSrcLoc(QStringLiteral("%1:%2").arg(Leaf.FileId).arg(Leaf.Line)) == Leaf);
    EXPECT_FALSE(ElfApi_ParseSrcLoc("nowhere.c:5").IsValid());
    EXPECT_FALSE(ElfApi_ParseSrcLoc("NoSuchThing").IsValid());
    int Kind = 0;
    const ELF_ADDR_RANGE Func = ElfApi_ParseAddr("Leaf", &Kind);
    EXPECT_EQ(Kind, ELF_ADDR_KIND_SYMBOL);
    EXPECT_GT(Func.Size, 4u);
    EXPECT_TRUE(ElfApi_ParseSrcLoc(QString::number(Func.Addr, 16)) == Leaf);
    EXPECT_EQ(ElfApi_ParseAddr(sPosition, &Kind).Addr, Func.Addr);
    EXPECT_EQ(Kind, ELF_ADDR_KIND_POSITION);
    EXPECT_EQ(ElfApi_ParseAddr("0x8004", &Kind).Addr, 0x8004u);
    EXPECT_EQ(Kind, ELF_ADDR_KIND_NUMBER);
    ElfApi_ParseAddr("NoSuchThing", &Kind);
    EXPECT_EQ(Kind, ELF_ADDR_KIND_NONE);
    U32 Size = 0;
    EXPECT_EQ(ElfApi_ParseLoc("Leaf", 0, &Size).Addr, Func.Addr);
    EXPECT_EQ(ElfApi_ParseLoc("aTable", Func.Addr, &Size).Kind, static_cast<U32>(ELF_LOC_MEM));
    EXPECT_EQ(Size, 256u);
}

TEST_F(LinesOracle, DroppedCodeAtZeroLeavesNothingInLowCode) {
    const QTemporaryDir Dir;
    QFile Source(Dir.filePath("low.c"));
    ASSERT_TRUE(Source.open(QIODevice::WriteOnly));
    Source.write(
        "int Dropped(int n) {\n    int Sum = n * 3;\n    Sum += n / 5;\n    Sum ^= n << 2;\n    return Sum * Sum;\n}\n"
        "int main(void) {\n    return 4;\n}\n");
    Source.close();
    const QString sElf = Dir.filePath("low.elf");
    if (!BuildCross("gcc",
                    {"-mcpu=cortex-m4", "-mthumb", "-g", "-O0", "-ffunction-sections", "-Wl,--gc-sections", "-nostdlib",
                     "-Wl,-e,main", "-Wl,-Ttext=0x10", Source.fileName()},
                    sElf)) {
        GTEST_SKIP() << "no cross compiler is installed";
    }
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    const ELF_ADDR_RANGE Main = ElfApi_GetSymAddrRange(ElfApi_GetMainFunc());
    ASSERT_EQ(Main.Addr, 0x10u);
    for (U32 Addr = Main.Addr; Addr < Main.Addr + Main.Size; Addr += 2) {
        for (const CSrcLoc& Loc : ElfApi_GetSrcLocs(Addr)) {
            EXPECT_GE(Loc.Line, 7u) << Addr;
        }
    }
    ELF_SYM_LOC aRule[NUM_UNWIND_REGS];
    EXPECT_EQ(ElfApi_GetRegRules(Main.Addr, aRule), static_cast<I32>(NUM_UNWIND_REGS));
    EXPECT_EQ(ElfApi_GetRegRules(Main.Addr + Main.Size, aRule), 0) << "behind main only what was dropped reaches";
}
