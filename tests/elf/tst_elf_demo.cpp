#include "elf/ElfApi.h"
#include "elf/ElfApiLines.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <random>

// The demo program, against what the GNU tools say of the same file, and damaged at random.

namespace {

const QString sDemoDir = QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/");

QByteArray ReadDemo(const QString& sName) {
    QFile File(sDemoDir + sName);
    return File.open(QIODevice::ReadOnly) ? File.readAll() : QByteArray();
}

QString RunOracle(const QString& sProgram, const QStringList& Args) {
    QProcess Process;
    Process.start(sProgram, Args);
    return Process.waitForFinished(60'000) && Process.exitCode() == 0
               ? QString::fromUtf8(Process.readAllStandardOutput())
               : QString();
}

QString Hex(I64 Value) { return QString::number(Value, 16).rightJustified(8, '0'); }

/// FileId of the program's file of that name.
U32 FileOf(const QString& sName) {
    for (const U32 FileId : ElfApi_GetSrcFileIds()) {
        if (QFileInfo(ElfApi_GetFilePath(FileId)).fileName() == sName) {
            return FileId;
        }
    }
    return INVALID_FILE_ID;
}

U32 AddrOf(const QString& sName) {
    return static_cast<U32>(ElfApi_GetSymAddr(ElfApi_FindSym(sName, true, false, false, true)));
}

} // namespace

class ElfDemo : public CElfTest {
protected:
    void SetUp() override {
        CElfTest::SetUp();
        ASSERT_EQ(ElfApi_Init(sDemoDir + "demo.elf"), 0) << qPrintable(ElfApi_GetErrorText());
    }
    void TearDown() override {
        ElfApi_Deinit();
        CElfTest::TearDown();
    }
};

TEST_F(ElfDemo, FunctionsOfARangeOverlapIt) {
    const ELF_ADDR_RANGE Main = ElfApi_GetSymAddrRange(ElfApi_GetFuncAtAddr(AddrOf("main")));
    ASSERT_GT(Main.Size, 8u);
    for (const ELF_ADDR_RANGE& Range :
         {Main, ELF_ADDR_RANGE{Main.Addr + 4, 1}, ELF_ADDR_RANGE{Main.Addr + Main.Size - 2, 2}}) {
        EXPECT_TRUE(ElfApi_GetFuncsInRange(Range).contains(ElfApi_GetFuncAtAddr(Main.Addr)));
    }
    EXPECT_FALSE(ElfApi_GetFuncsInRange({Main.Addr + Main.Size, 0x1000}).contains(ElfApi_GetFuncAtAddr(Main.Addr)));
    EXPECT_TRUE(ElfApi_GetFuncsInRange({Main.Addr, 0}).isEmpty());
    EXPECT_GT(ElfApi_GetFuncsInRange({0, 0xFFFFFFFF}).size(), 10);
}

TEST_F(ElfDemo, SymbolsAndHeadersAgreeWithReadelf) {
    const QString sTool = QStandardPaths::findExecutable("readelf");
    if (sTool.isEmpty()) {
        GTEST_SKIP() << "readelf is not installed";
    }
    static const QRegularExpression Func("^\\s*\\d+: ([0-9a-f]{8})\\s+(\\d+) FUNC\\s+\\S+\\s+\\S+\\s+\\d+ (\\S+)$",
                                         QRegularExpression::MultilineOption);
    int NumFuncs = 0;
    for (auto It = Func.globalMatch(RunOracle(sTool, {"-sW", sDemoDir + "demo.elf"})); It.hasNext(); ++NumFuncs) {
        const QRegularExpressionMatch Match = It.next();
        const U32 Value = Match.captured(1).toUInt(nullptr, 16) & ~1u;
        EXPECT_EQ(AddrOf(Match.captured(3)), Value) << qPrintable(Match.captured(3));
        const ELF_ADDR_RANGE Range = ElfApi_GetSymAddrRange(ElfApi_GetFuncAtAddr(Value));
        EXPECT_EQ(Range.Addr, Value);
        EXPECT_GE(Range.Size, Match.captured(2).toUInt());
    }
    EXPECT_GE(NumFuncs, 10);
    const QString sHeader = RunOracle(sTool, {"-h", sDemoDir + "demo.elf"});
    const QRegularExpressionMatch Entry = QRegularExpression("Entry point address:\\s+0x([0-9a-f]+)").match(sHeader);
    ASSERT_TRUE(Entry.hasMatch());
    EXPECT_EQ(ElfApi_GetEntryPointPC(), Entry.captured(1).toLongLong(nullptr, 16) & ~1ll);
}

TEST_F(ElfDemo, AddressesOfLinesAgreeWithGdb) {
    const QString sTool = QStandardPaths::findExecutable("gdb-multiarch");
    if (sTool.isEmpty()) {
        GTEST_SKIP() << "gdb-multiarch is not installed";
    }
    QStringList Args = {"-batch", "-nx"};
    QList<QPair<QString, U32>> Asked;
    for (const QString& sFile : {QString("main.c"), QString("calc.c"), QString("shapes.c"), QString("tick.c")}) {
        for (CSrcLoc Loc{FileOf(sFile), 0, 0}; (Loc = ElfApi_GetNextCodeLine(Loc)).IsValid();) {
            Asked.append({sFile, Loc.Line});
            Args << "-ex" << QString("info line %1:%2").arg(sFile).arg(Loc.Line);
        }
    }
    const QStringList Answers = RunOracle(sTool, Args << sDemoDir + "demo.elf").split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(Answers.size(), Asked.size());
    static const QRegularExpression Start("(?:starts at address|is at address) 0x([0-9a-f]+)");
    for (qsizetype i = 0; i < Asked.size(); ++i) {
        const QRegularExpressionMatch Match = Start.match(Answers[i]);
        ASSERT_TRUE(Match.hasMatch()) << qPrintable(Answers[i]);
        const I64 Addr = ElfApi_GetAddr({FileOf(Asked[i].first), Asked[i].second, 0});
        EXPECT_EQ(Hex(Addr), Hex(Match.captured(1).toLongLong(nullptr, 16))) << qPrintable(Answers[i]);
    }
    EXPECT_GT(Asked.size(), 30);
}

namespace {

/// Addresses that all move with the program, and what is found at them.
QList<I64> MovingAddrs() {
    const U32 Main = AddrOf("main");
    U32 RegionLo = 0;
    ElfApi_GetMemRegionKind(Main, &RegionLo);
    const CSrcLoc Line = ElfApi_GetLastSrcLoc(Main);
    U32 SymLo = 0;
    U32 SymHi = 0;
    U32 NumSyms = 0;
    ELF_GetSymAddrRange(&SymLo, &SymHi, &NumSyms);
    return {Main,
            SymHi,
            AddrOf("TickCounter"),
            ElfApi_GetSymLoc(ElfApi_FindSym("TickCounter", true, false, false, false), 0).Addr,
            ElfApi_GetSymAddrRange(ElfApi_GetFuncAtAddr(Main + 2)).Addr,
            RegionLo,
            ElfApi_GetAddr(Line),
            ElfApi_GetNextAddr(Main),
            ElfApi_GetNextLineAddr(Main),
            ElfApi_GetBaseAddr(),
            ElfApi_GetEntryPointPC(),
            ElfApi_GetLoadSegments().value(0).VAddr,
            ElfApi_FindSymsAtAddr(Main, true, false).isEmpty() ? -1 : I64(Main)};
}

U32 CodeAt(U32 Addr) {
    U32 Value = 0;
    EXPECT_EQ(ElfApi_ReadMem(Addr, 4, &Value), 0);
    return Value;
}

} // namespace

TEST_F(ElfDemo, RelocatedProgramsMoveWhenEverTheyAreToldTo) {
    const QString sElf = sDemoDir + "demo.elf";
    const QList<I64> Addrs = MovingAddrs();
    const U32 Main = AddrOf("main");
    const U32 Code = CodeAt(Main);
    const auto ExpectMoved = [&](I64 Offset) {
        const QList<I64> Moved = MovingAddrs();
        for (qsizetype i = 0; i < Addrs.size(); ++i) {
            EXPECT_EQ(Moved[i], Addrs[i] + Offset) << i;
        }
        EXPECT_EQ(CodeAt(static_cast<U32>(Main + Offset)), Code);
        EXPECT_EQ(ElfApi_GetStackSize(static_cast<U32>(Main + Offset)) >= 0, ElfApi_GetFdeCnt() != 0);
    };
    // With the file open, after everything has been asked; a file that was found elsewhere stays found.
    const QString sFile = ElfApi_GetFilePath(FileOf("calc.c"));
    ElfApi_OnSrcFileLocated(sFile, "/elsewhere/calc.c");
    EXPECT_EQ(ElfApi_RelocateSymbols("*", 0x4000), 0);
    ExpectMoved(0x4000);
    EXPECT_FALSE(ElfApi_GetExactSrcLoc(Main).IsValid());
    EXPECT_EQ(ElfApi_GetFilePath(ElfApi_GetFileId(sFile)), "/elsewhere/calc.c");
    // The entries go with the file; new ones are for the next.
    ElfApi_Deinit();
    EXPECT_EQ(ElfApi_RelocateSymbols("*", 0x2000), 0);
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    ExpectMoved(0x2000);
    ASSERT_EQ(ElfApi_Init(sElf), 0);
    ExpectMoved(0);
    // One function, then the rest: the first entry that holds an address counts.
    const U32 Other = AddrOf("Calc_Sort");
    EXPECT_EQ(ElfApi_RelocateSymbols("main", -0x40), 0);
    EXPECT_EQ(ElfApi_RelocateSymbols("no such symbol", 8), -1);
    EXPECT_EQ(AddrOf("Calc_Sort"), Other);
    EXPECT_EQ(ElfApi_RelocateSymbols("*", 0x10000), 0);
    EXPECT_EQ(AddrOf("main"), Main - 0x40);
    EXPECT_EQ(AddrOf("Calc_Sort"), Other + 0x10000);
    EXPECT_EQ(ElfApi_GetAddr(ElfApi_GetSrcLoc(Other + 0x10000)), Other + 0x10000);
}

// Damaged headers, tables and debug information: refused, or open with what can still be read.
TEST_F(ElfDemo, DamagedFilesDoNoHarm) {
    const QByteArray Demo = ReadDemo("demo.elf");
    ASSERT_GT(Demo.size(), 1000);
    const QString sPath = m_Dir.filePath("damaged.elf");
    std::mt19937 Random(20240612);
    const auto Below = [&](qsizetype Max) { return static_cast<qsizetype>(Random() % static_cast<U32>(Max)); };
    int NumOpen = 0;
    for (int Round = 0; Round < 400; ++Round) {
        QByteArray Bytes = Demo;
        // A third each: the header and tables at both ends, a few bytes anywhere, many bytes anywhere.
        const qsizetype Count = Round % 3 == 2 ? 60 : 1 + Below(6);
        for (qsizetype n = 0; n < Count; ++n) {
            qsizetype Pos = Below(Bytes.size());
            if (Round % 3 == 0) {
                Pos = Below(2) == 0 ? Below(200) : Bytes.size() - 1 - Below(1500);
            }
            const char aValue[] = {0, '\xFF', '\x7F', '\x80', 1, static_cast<char>(Random())};
            Bytes[Pos] = aValue[Below(6)];
        }
        if (Below(10) == 0) {
            Bytes.truncate(Below(Bytes.size()));
        }
        QFile File(sPath);
        ASSERT_TRUE(File.open(QIODevice::WriteOnly));
        File.write(Bytes);
        File.close();
        if (ElfApi_Init(sPath) != 0) {
            EXPECT_FALSE(ElfApi_IsOpen()) << Round;
            EXPECT_FALSE(ElfApi_GetErrorText().isEmpty()) << Round;
            continue;
        }
        ++NumOpen;
        U8 aByte[64];
        for (U32 Addr = 0; Addr < 0x1000; Addr += 6) {
            ElfApi_GetSymName(ElfApi_GetFuncAtAddr(Addr));
            ElfApi_ReadMem(Addr, sizeof(aByte), aByte);
            ElfApi_GetMemRegionKind(Addr);
            const CSrcLoc Loc = ElfApi_GetSrcLoc(Addr);
            EXPECT_FALSE(Loc.IsValid() && ElfApi_GetFilePath(Loc.FileId).isEmpty());
        }
        ElfApi_FindSym("main", true, true, true, true);
        ElfApi_GetLoadSegments();
        ElfApi_GetSrcFiles();
    }
    EXPECT_GT(NumOpen, 100) << "most damage leaves a file that opens";
    EXPECT_LT(NumOpen, 400);
}
