#include "elf/ElfApi.h"
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

QByteArray _ReadDemo(const QString& sName) {
    QFile File(sDemoDir + sName);
    return File.open(QIODevice::ReadOnly) ? File.readAll() : QByteArray();
}

/// Number of the first line that contains the text; 0 if none does.
U32 _LineOf(const QString& sFile, const char* sMarker) {
    const QList<QByteArray> Lines = _ReadDemo("src/" + sFile).split('\n');
    for (qsizetype i = 0; i < Lines.size(); ++i) {
        if (Lines[i].contains(sMarker)) {
            return static_cast<U32>(i + 1);
        }
    }
    return 0;
}

QString _Run(const QString& sProgram, const QStringList& Args) {
    QProcess Process;
    Process.start(sProgram, Args);
    return Process.waitForFinished(60'000) && Process.exitCode() == 0
               ? QString::fromUtf8(Process.readAllStandardOutput())
               : QString();
}

QString _Hex(I64 Value) {
    return QString::number(Value, 16).rightJustified(8, '0');
}

} // namespace

class ElfDemo : public CElfTest {
protected:
    void SetUp() override {
        CElfTest::SetUp();
        ASSERT_EQ(ElfApi_Init(sDemoDir + "demo.elf"), 0) << qPrintable(ElfApi_GetErrorText());
    }
    void TearDown() override {
        ElfApi_Exit();
        CElfTest::TearDown();
    }
};

TEST_F(ElfDemo, LinesAndAddressesAgreeBothWays) {
    const I64 Main = ElfApi_GetSymbolAddr("main");
    ASSERT_GT(Main, 0);
    EXPECT_EQ(ElfApi_GetFuncName(ElfApi_GetFuncAtAddr(static_cast<U32>(Main))), "main");
    EXPECT_EQ(ElfApi_GetMemRegionKind(static_cast<U32>(Main)), static_cast<U32>(ELF_REGION_THUMB));
    ELF_SRC_LOC Loc;
    ASSERT_TRUE(ElfApi_GetSrcLoc(static_cast<U32>(Main), &Loc));
    EXPECT_EQ(QFileInfo(ElfApi_GetSrcFile(Loc.File)).fileName(), "main.c");
    EXPECT_EQ(Loc.Line, _LineOf("main.c", "int main(void)"));
    EXPECT_TRUE(ElfApi_IsStmtStart(static_cast<U32>(Main)));
    EXPECT_FALSE(ElfApi_IsStmtStart(static_cast<U32>(Main) + 1));

    const std::pair<const char*, const char*> aMarker[] = {{"main.c", "MARK: loop"},  {"main.c", "Tick_Init(10000u)"},
                                                           {"main.c", "Checksum = "}, {"calc.c", "MARK: recursion end"},
                                                           {"calc.c", "return ~Crc"}, {"shapes.c", "Square / 2u"}};
    for (const auto& [sFile, sMarker] : aMarker) {
        const I32 File = ElfApi_FindSrcFile(sFile);
        const U32 Line = _LineOf(sFile, sMarker);
        ASSERT_GE(File, 0) << sFile;
        ASSERT_GT(Line, 0u) << sMarker;
        const I64 Addr = ElfApi_GetAddrOfLine(File, Line, true);
        ASSERT_GE(Addr, 0) << sMarker;
        ASSERT_TRUE(ElfApi_GetSrcLoc(static_cast<U32>(Addr), &Loc)) << sMarker;
        EXPECT_EQ(Loc.File, File);
        EXPECT_EQ(Loc.Line, Line) << sMarker;
        EXPECT_TRUE(ElfApi_IsStmtStart(static_cast<U32>(Addr)));
        EXPECT_TRUE(ElfApi_GetCodeLines(File).contains(static_cast<int>(Line)));
    }
    // The include line has no code: an inexact question gives the next line that has.
    const I32 File = ElfApi_FindSrcFile("main.c");
    const U32 Include = _LineOf("main.c", "#include");
    EXPECT_EQ(ElfApi_GetAddrOfLine(File, Include, true), -1);
    EXPECT_GE(ElfApi_GetAddrOfLine(File, Include, false), 0);
    EXPECT_FALSE(ElfApi_GetCodeLines(File).contains(static_cast<int>(Include)));
    EXPECT_EQ(ElfApi_GetAddrOfLine(File, 100'000, false), -1);
    EXPECT_EQ(ElfApi_GetAddrOfLine(-1, 1, false), -1);
    EXPECT_EQ(ElfApi_FindSrcFile("nowhere.c"), -1);
    EXPECT_TRUE(ElfApi_GetSrcFile(-1).isEmpty());
    EXPECT_FALSE(ElfApi_GetSrcLoc(0x20000000, &Loc));
}

TEST_F(ElfDemo, SymbolsAndHeadersAgreeWithReadelf) {
    const QString sTool = QStandardPaths::findExecutable("readelf");
    if (sTool.isEmpty()) {
        GTEST_SKIP() << "readelf is not installed";
    }
    static const QRegularExpression Func("^\\s*\\d+: ([0-9a-f]{8})\\s+(\\d+) FUNC\\s+\\S+\\s+\\S+\\s+\\d+ (\\S+)$",
                                         QRegularExpression::MultilineOption);
    int NumFuncs = 0;
    for (auto It = Func.globalMatch(_Run(sTool, {"-sW", sDemoDir + "demo.elf"})); It.hasNext(); ++NumFuncs) {
        const QRegularExpressionMatch Match = It.next();
        const U32 Value = Match.captured(1).toUInt(nullptr, 16) & ~1u;
        EXPECT_EQ(ElfApi_GetSymbolAddr(Match.captured(3)), static_cast<I64>(Value)) << qPrintable(Match.captured(3));
        U32 Lo = 0;
        U32 Hi = 0;
        ASSERT_TRUE(ElfApi_GetFuncRange(ElfApi_GetFuncAtAddr(Value), &Lo, &Hi));
        EXPECT_EQ(Lo, Value);
        EXPECT_GE(Hi - Lo, Match.captured(2).toUInt());
    }
    EXPECT_GE(NumFuncs, 10);
    const QString sHeader = _Run(sTool, {"-h", sDemoDir + "demo.elf"});
    const QRegularExpressionMatch Entry = QRegularExpression("Entry point address:\\s+0x([0-9a-f]+)").match(sHeader);
    ASSERT_TRUE(Entry.hasMatch());
    EXPECT_EQ(ElfApi_GetEntryPoint(), Entry.captured(1).toLongLong(nullptr, 16) & ~1ll);
}

TEST_F(ElfDemo, LinesAgreeWithObjdump) {
    const QString sTool = QStandardPaths::findExecutable("arm-none-eabi-objdump");
    if (sTool.isEmpty()) {
        GTEST_SKIP() << "arm-none-eabi-objdump is not installed";
    }
    static const QRegularExpression Row("^(\\S+\\.[ch])\\s+(\\d+)\\s+(0x[0-9a-f]+|0)\\b.*\\bx\\b",
                                        QRegularExpression::MultilineOption);
    int NumRows = 0;
    int NumStarts = 0;
    for (auto It = Row.globalMatch(_Run(sTool, {"--dwarf=decodedline", sDemoDir + "demo.elf"})); It.hasNext();
         ++NumRows) {
        const QRegularExpressionMatch Match = It.next();
        const U32 Addr = Match.captured(3).toUInt(nullptr, 0);
        const I32 File = ElfApi_FindSrcFile(Match.captured(1));
        ASSERT_GE(File, 0) << qPrintable(Match.captured(1));
        EXPECT_TRUE(ElfApi_GetCodeLines(File).contains(Match.captured(2).toInt())) << qPrintable(Match.captured(0));
        ELF_SRC_LOC Loc;
        ASSERT_TRUE(ElfApi_GetSrcLoc(Addr, &Loc)) << qPrintable(Match.captured(0));
        NumStarts += ElfApi_IsStmtStart(Addr) ? 1 : 0;
    }
    EXPECT_GT(NumRows, 50);
    EXPECT_EQ(NumStarts, NumRows);
}

TEST_F(ElfDemo, AddressesOfLinesAgreeWithGdb) {
    const QString sTool = QStandardPaths::findExecutable("gdb-multiarch");
    if (sTool.isEmpty()) {
        GTEST_SKIP() << "gdb-multiarch is not installed";
    }
    QStringList Args = {"-batch", "-nx"};
    QList<QPair<QString, U32>> Asked;
    for (const QString& sFile : {QString("main.c"), QString("calc.c"), QString("shapes.c"), QString("tick.c")}) {
        const QSet<int> Lines = ElfApi_GetCodeLines(ElfApi_FindSrcFile(sFile));
        for (const int Line : Lines) {
            Asked.append({sFile, static_cast<U32>(Line)});
            Args << "-ex" << QString("info line %1:%2").arg(sFile).arg(Line);
        }
    }
    const QStringList Answers = _Run(sTool, Args << sDemoDir + "demo.elf").split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(Answers.size(), Asked.size());
    static const QRegularExpression Start("(?:starts at address|is at address) 0x([0-9a-f]+)");
    for (qsizetype i = 0; i < Asked.size(); ++i) {
        const QRegularExpressionMatch Match = Start.match(Answers[i]);
        ASSERT_TRUE(Match.hasMatch()) << qPrintable(Answers[i]);
        const I32 File = ElfApi_FindSrcFile(Asked[i].first);
        const I64 Addr = ElfApi_GetAddrOfLine(File, Asked[i].second, true);
        EXPECT_EQ(_Hex(Addr), _Hex(Match.captured(1).toLongLong(nullptr, 16))) << qPrintable(Answers[i]);
    }
    EXPECT_GT(Asked.size(), 30);
}

// Damaged headers, tables and debug information: refused, or open with what can still be read.
TEST_F(ElfDemo, DamagedFilesDoNoHarm) {
    const QByteArray Demo = _ReadDemo("demo.elf");
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
        ELF_SRC_LOC Loc;
        U8 aByte[64];
        for (U32 Addr = 0; Addr < 0x1000; Addr += 6) {
            const U64 hFunc = ElfApi_GetFuncAtAddr(Addr);
            ElfApi_GetFuncName(hFunc);
            ElfApi_ReadMem(Addr, sizeof(aByte), aByte);
            ElfApi_GetMemRegionKind(Addr);
            if (ElfApi_GetSrcLoc(Addr, &Loc)) {
                EXPECT_GE(Loc.Line, 1u);
                ElfApi_GetSrcFile(Loc.File);
            }
        }
        ElfApi_GetSymbolAddr("main");
        ElfApi_GetLoadSegments();
        ElfApi_GetSrcFiles();
    }
    EXPECT_GT(NumOpen, 100) << "most damage leaves a file that opens";
    EXPECT_LT(NumOpen, 400);
}
