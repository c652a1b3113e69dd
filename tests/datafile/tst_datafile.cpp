#include "base/ConsoleRing.h"
#include "datafile/JFile.h"
#include "datafile/Records.h"
#include "tests/FileSizeLimit.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

namespace {

class DataFile : public testing::Test {
protected:
    QString Write(const char* sName, const QByteArray& Data) {
        QFile File(m_Dir.filePath(QLatin1String(sName)));
        EXPECT_TRUE(File.open(QIODevice::WriteOnly) && File.write(Data) == Data.size());
        return File.fileName();
    }
    QByteArray ReadBack(const QString& sPath) {
        QFile File(sPath);
        return File.open(QIODevice::ReadOnly) ? File.readAll() : QByteArray("missing");
    }
    QTemporaryDir m_Dir;
};

/// "addr:bytes" of each block, in hex.
QString TextOf(const QList<CMemBlock>& Blocks) {
    QStringList Texts;
    for (const CMemBlock& Block : Blocks) {
        EXPECT_EQ(Block.Size, static_cast<U32>(Block.Data.size()));
        Texts.append(QString::number(Block.Addr, 16) + ':' + QString::fromLatin1(Block.Data.toHex()));
    }
    return Texts.join(' ');
}

QString NextError() {
    CONSOLE_MSG Msg;
    QString sText;
    while (ConsoleTake(&Msg)) {
        sText = QString::fromUtf8(Msg.sText);
    }
    return sText;
}

struct FILE_CASE {
    const char* sName;
    const char* sText;
    const char* sBlocks;
};

constexpr const char* BASE_BEFORE_AND_AFTER = ":02100000AABB89\n:020000040800F2\n:02100000CCDD45\n:00000001FF\n";

} // namespace

TEST_F(DataFile, RecordsBecomeBlocks) {
    const FILE_CASE aCase[] = {
        {"a.hex", BASE_BEFORE_AND_AFTER, "1000:aabb 8001000:ccdd"},
        {"a.hex", ":020000021000EC\r\n:01000500AB4F\r\n:00000001FF\r\n", "10005:ab"}, // base 0x1000 << 4
        {"a.hex", ":0400000508000101ED\n:0400000300000000F9\n:0100000011EE", "0:11"}, // starts; no end to the last line
        {"a.hex", ":020000001G22CB", ""},
        // adjacent and out of order; the next one apart by a byte
        {"a.hex", ":02000200334485\n:020000001122CB\n:0100050055A5\n", "0:11223344 5:55"},
        // overlapping: the bytes of the higher address win
        {"a.hex", ":02000100AABB98\n:0300000011223397\n", "0:11aabb"},
        {"a.hex", ":0100000011EE\n:0100000022DD\n", "0:22"}, // one address: the later line
        {"A.HEX", "\n:0100000011EE\n", ""},                  // an empty first line is a line
        {"a.hex", ":0100000011EE\n\n  \t:0100010022DC\n", "0:1122"},
        {"a.mot", "S0030000FC\nS1051000AABB85\nS9030000FC\n", "1000:aabb"},
        {"a.srec", "S206800100112245\nS2058002005523\nS804000000FB\n", "800100:1122 800200:55"},
        {"a.srec", "S30708000000DEAD65\nS5030001FB\nS70508000000F2\n", "8000000:dead"},
        {"a.mot", "S4030000FC", ""},
        {"a.mot", "S1050000", ""},
        {"a.mot", "S30600000001F8", ""}, // the count reaches behind the line
        {"a.hex", ":02FFFF001122CD\n", "ffff:1122"},
        {"a.hex", ":02000004FFFFFC\n:02FFFF001122CD\n", ""}, // runs over the end of the address space
        // names say little: the content decides
        {"a.txt", ":0100000011EE\n", "0:11"},
        {"records", "S1051000AABB85\n", "1000:aabb"},
        {"a.s19", "S1051000AABB85\n", "1000:aabb"},
        {"a.hex", "S1051000AABB85\n", "1000:aabb"},
        {"a.txt", "S is a letter, 0 a digit\n", ""},
    };
    for (const FILE_CASE& Case : aCase) {
        const QByteArray Text = Case.sText;
        EXPECT_EQ(TextOf(JFile::ReadFile(Write(Case.sName, Text), -1)).toStdString(), Case.sBlocks) << Case.sText;
    }
    EXPECT_TRUE(JFile::ReadFile(m_Dir.filePath("none.hex"), -1).isEmpty());
    EXPECT_TRUE(JFile::ReadFile(m_Dir.path(), -1).isEmpty());
}

TEST_F(DataFile, CorruptRecordIsReportedByItsLineFromZero) {
    QByteArray Lines;
    for (int i = 0; i < 4; ++i) {
        Lines += ":0100000011EE\n";
    }
    const QString sPath = Write("bad.hex", Lines + ":0100000011EF\n:01\n");
    NextError();
    EXPECT_TRUE(JFile::ReadFile(sPath, -1).isEmpty());
    EXPECT_EQ(NextError(), "could not open file \"" + sPath + "\": file contains corrupt data record at line 4.");
}

TEST_F(DataFile, LinesAcrossTheReadBufferStayWhole) {
    const U32 Seed = 20;
    std::mt19937 Random(Seed);
    QByteArray Data(1'200'000, '\0');
    for (char& c : Data) {
        c = static_cast<char>(Random());
    }
    for (const char* sName : {"big.hex", "big.srec", "big.bin"}) {
        const QString sPath = m_Dir.filePath(QLatin1String(sName));
        ASSERT_EQ(JFile::WriteMemory(sPath, 0x0800FFF8, Data), "");
        const QList<CMemBlock> Blocks = JFile::ReadFile(sPath, -1);
        ASSERT_EQ(Blocks.size(), 1) << sName;
        EXPECT_EQ(Blocks[0].Addr, JFile::IsBinFile(sPath) ? 0 : 0x0800FFF8u);
        EXPECT_TRUE(Blocks[0].Data == Data) << sName;
    }
    // Junk without a line end is one bad line a buffer, not a hang.
    EXPECT_TRUE(JFile::ReadFile(Write("junk.hex", QByteArray(2'500'000, 'x')), -1).isEmpty());
}

TEST_F(DataFile, AgreesWithObjcopy) {
    const QString sTool = QStandardPaths::findExecutable("objcopy");
    if (sTool.isEmpty()) {
        GTEST_SKIP() << "objcopy isn't installed";
    }
    const QString sElf = QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf");
    const QList<CMemBlock> Segments = JFile::ReadFile(sElf, -1);
    ASSERT_FALSE(Segments.isEmpty());
    const QString sArmTool = QStandardPaths::findExecutable("arm-none-eabi-objcopy");
    for (const char* sFormat : {"ihex", "srec"}) {
        const QString sPath = m_Dir.filePath(QLatin1String(sFormat[0] == 'i' ? "x.hex" : "x.srec"));
        if (QProcess::execute(sArmTool.isEmpty() ? sTool : sArmTool, {"-O", sFormat, sElf, sPath}) != 0) {
            GTEST_SKIP() << "objcopy doesn't take ARM files";
        }
        QByteArray Image;
        for (const CMemBlock& Block : JFile::ReadFile(sPath, -1)) {
            for (const CMemBlock& Segment : Segments) {
                if (Segment.Addr >= Block.Addr && Segment.Addr - Block.Addr < Block.Size) {
                    EXPECT_TRUE(Block.Data.mid(Segment.Addr - Block.Addr, Segment.Size) == Segment.Data) << sFormat;
                    Image += Segment.Data;
                }
            }
        }
        qsizetype Total = 0;
        for (const CMemBlock& Segment : Segments) {
            Total += Segment.Data.size();
        }
        EXPECT_EQ(Image.size(), Total) << sFormat;
        EXPECT_GT(Total, 0);
    }
}

TEST_F(DataFile, WritesAndCleansUp) {
    const QByteArray Data = "0123456789";
    const QString sPath = m_Dir.filePath("out.bin");
    EXPECT_EQ(JFile::WriteFile(sPath, Data), "");
    EXPECT_EQ(ReadBack(sPath), Data);
    EXPECT_EQ(JFile::WriteFile(sPath, ""), "");
    EXPECT_EQ(ReadBack(sPath), "");
    EXPECT_NE(JFile::WriteFile(m_Dir.filePath("no/dir.bin"), Data), "");
    for (const char* sName : {"old.bin", "old.hex", "old.srec"}) {
        const QString sOld = Write(sName, "old");
        const CFileSizeLimit Limit(20);
        EXPECT_NE(JFile::WriteMemory(sOld, 0, QByteArray(100, 'x')), "") << sName;
        EXPECT_EQ(ReadBack(sOld), "old") << sName;
    }
    EXPECT_EQ(FormatIntelHex(0xFFFE, "abc"), ":02FFFE0061623E\n:020000040001F9\n:01000000639C\n:00000001FF\n");
    EXPECT_EQ(FormatSRecord(0x08000000, "ab"), "S0030000FC\nS3070800000061622D\nS70500000000FA\n");
}

TEST_F(DataFile, WorkerTellsWhenTheFileIsSaved) {
    JFile::CFileWorker Worker;
    QSignalSpy Saved(&Worker, &JFile::CFileWorker::FileSaved);
    QSignalSpy Failed(&Worker, &JFile::CFileWorker::SaveFailed);
    Worker.Save(m_Dir.filePath("w.hex"), 0x100, "abcd");
    Worker.Save(m_Dir.filePath("no/w.bin"), 0x100, "abcd");
    ASSERT_EQ(Saved.size(), 1);
    EXPECT_EQ(Saved[0][0].toString(), m_Dir.filePath("w.hex"));
    EXPECT_EQ(Saved[0][1].toUInt(), 4u);
    EXPECT_EQ(Failed.size(), 1);
}

TEST_F(DataFile, WhatCannotBeADataFileIsRefusedBeforeItIsRead) {
    for (const char* sName : {"sparse.bin", "sparse.hex", "sparse.elf"}) {
        QFile File(m_Dir.filePath(sName));
        ASSERT_TRUE(File.open(QIODevice::WriteOnly) && File.resize(3'000'000'000));
        EXPECT_TRUE(JFile::ReadFile(File.fileName(), 0).isEmpty());
        EXPECT_EQ(NextError(), "could not open file \"" + File.fileName() + "\": file is too large");
    }
    ASSERT_EQ(mkfifo(m_Dir.filePath("fifo.hex").toUtf8().constData(), 0600), 0);
    EXPECT_TRUE(JFile::ReadFile(m_Dir.filePath("fifo.hex"), 0).isEmpty());
    EXPECT_TRUE(JFile::ReadFile(Write("%2b %1.hex", ":zz\n"), 0).isEmpty());
    EXPECT_EQ(NextError(), "could not open file \"" + m_Dir.filePath("%2b %1.hex") +
                               "\": file contains corrupt data record at line 0.");
}

TEST_F(DataFile, TheGivenAddressIsForAnEmptyBlockOnly) {
    const QString sBin = Write("x.bin", "\x01\x02");
    EXPECT_EQ(TextOf(JFile::ReadFile(sBin, 0x4000)), "0:0102");
    EXPECT_EQ(TextOf(JFile::ReadFile(Write("empty.bin", ""), 0x4000)), "4000:");
    EXPECT_EQ(TextOf(JFile::ReadFile(Write("empty.bin", ""), -1)), "0:");
    EXPECT_TRUE(JFile::ReadFile(Write("empty.hex", ""), 0x4000).isEmpty());
}

TEST_F(DataFile, DamagedElfFilesGiveLessNotMore) {
    QFile Demo(QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf"));
    ASSERT_TRUE(Demo.open(QIODevice::ReadOnly));
    const QByteArray Good = Demo.readAll();
    const U32 Seed = 7;
    std::mt19937 Random(Seed);
    for (int i = 0; i < 200; ++i) {
        QByteArray Bad = Good;
        for (int k = 0; k < 8; ++k) {
            Bad[static_cast<qsizetype>(Random() % 200)] = static_cast<char>(Random());
        }
        Bad.truncate(static_cast<qsizetype>(Random() % static_cast<U32>(Bad.size())));
        qint64 Total = 0;
        for (const CMemBlock& Block : JFile::ReadFile(Write("bad.elf", Bad), -1)) {
            Total += Block.Size;
        }
        EXPECT_LE(Total, 8 * Good.size());
    }
}
