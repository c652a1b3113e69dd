#include "base/ConsoleLog.h"
#include "base/ConsoleRing.h"
#include "base/Log.h"
#include "tests/FileSizeLimit.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

// The program log, the console log and the ways of a message.

class Log : public ::testing::Test {
protected:
    void SetUp() override { TakeConsole(); }
    void TearDown() override {
        CloseProgramLog();
        CloseConsoleLog();
        SetLogDebugMode(false);
        TakeConsole();
    }

    static QByteArray Read(const QString& sPath) {
        QFile File(sPath);
        return File.open(QIODevice::ReadOnly) ? File.readAll() : QByteArray("(unreadable)");
    }
    static QList<CONSOLE_MSG> TakeConsole() {
        QList<CONSOLE_MSG> Msgs;
        CONSOLE_MSG Msg;
        while (ConsoleTake(&Msg)) {
            Msgs.append(Msg);
        }
        return Msgs;
    }

    QTemporaryDir m_Dir;
    QString m_sPath = m_Dir.filePath("log.txt");
};

TEST_F(Log, PrefixesMarksAndDestinations) {
    struct ROW {
        const char* sText;
        U32 Flags;
        const char* sLog;     ///< line of the log; null: none
        const char* sConsole; ///< null: none
        CONSOLE_CLASS Class;
    };
    const ROW aRow[] = {
        {"a", MSG_INFO | MSG_TO_LOG, " i  a\n", nullptr, CC_TEXT},
        {"a", MSG_WARNING | MSG_TO_LOG, "[W] a\n", nullptr, CC_TEXT},
        {"a", MSG_ERROR | MSG_TO_LOG, "[E] a\n", nullptr, CC_TEXT},
        {"a \r\n \n", MSG_INFO | MSG_TO_LOG, " i  a\n", nullptr, CC_TEXT},
        {" a\nb", MSG_INFO | MSG_TO_LOG, " i   a\nb\n", nullptr, CC_TEXT},
        {"a", MSG_INFO | MSG_FROM_ELF | MSG_TO_ALL, " i  ElfLib: a\n", "ElfLib: a", CC_TEXT},
        {"a", MSG_INFO | MSG_FROM_NOVIK | MSG_TO_CONSOLE, nullptr, "Novik: a", CC_NOVIK},
        {"a", MSG_ERROR | MSG_FROM_NOVIK | MSG_TO_ALL, "[E] Novik: a\n", "Novik: a", CC_ERROR},
        {"a", MSG_INFO | MSG_TO_TEXT_CONSOLE, nullptr, nullptr, CC_TEXT},
        {"a", MSG_INFO, nullptr, nullptr, CC_TEXT},
    };
    for (const ROW& Row : aRow) {
        ASSERT_EQ(OpenProgramLog(m_sPath, 1), "");
        EXPECT_EQ(LogMessage(Row.sText, Row.Flags), 0);
        CloseProgramLog();
        EXPECT_EQ(Read(m_sPath), QByteArray(Row.sLog)) << Row.Flags;
        const QList<CONSOLE_MSG> Msgs = TakeConsole();
        ASSERT_EQ(Msgs.size(), Row.sConsole == nullptr ? 0 : 1) << Row.Flags;
        if (!Msgs.isEmpty()) {
            EXPECT_STREQ(Msgs[0].sText, Row.sConsole);
            EXPECT_EQ(Msgs[0].Class, Row.Class) << Row.Flags;
        }
    }
    EXPECT_EQ(LogMessage(nullptr, MSG_TO_ALL), -1);
    EXPECT_EQ(LogMessage("", MSG_TO_ALL), -1);
}

TEST_F(Log, LongMessagesAreCutAt2047Bytes) {
    ASSERT_EQ(OpenProgramLog(m_sPath, 1), "");
    for (const U32 Origin : {0u, static_cast<U32>(MSG_FROM_ELF)}) {
        LogMessage(QByteArray(5000, 'x').constData(), MSG_TO_LOG | Origin);
    }
    CloseProgramLog();
    const QList<QByteArray> Lines = Read(m_sPath).split('\n');
    EXPECT_EQ(Lines[0], " i  " + QByteArray(2047, 'x'));
    EXPECT_EQ(Lines[1], " i  ElfLib: " + QByteArray(2039, 'x'));
}

TEST_F(Log, TheBufferIsWrittenAtItsThreshold) {
    struct ROW {
        int Threshold;
        int LastUnwritten; ///< bytes that still wait, with their mark and newline
    };
    for (const ROW& Row : {ROW{100, 99}, ROW{512, 511}, ROW{0, 511}, ROW{-7, 511}}) {
        ASSERT_EQ(OpenProgramLog(m_sPath, Row.Threshold), "");
        LogMessage(QByteArray(Row.LastUnwritten - 5, 'x').constData(), MSG_TO_LOG);
        EXPECT_EQ(Read(m_sPath).size(), 0) << Row.Threshold;
        LogMessage("y", MSG_TO_LOG);
        EXPECT_EQ(Read(m_sPath).size(), Row.LastUnwritten + 6) << Row.Threshold;
        LogMessage("z", MSG_TO_LOG);
        CloseProgramLog();
        EXPECT_TRUE(Read(m_sPath).endsWith("z\n")) << "closing writes the rest";
    }
}

TEST_F(Log, OpeningAnotherLogLeavesTheFirstComplete) {
    ASSERT_EQ(OpenProgramLog(m_sPath, 512), "");
    LogMessage("first", MSG_TO_LOG);
    ASSERT_EQ(OpenProgramLog(m_Dir.filePath("second.txt"), 512), "");
    LogMessage("second", MSG_TO_LOG);
    CloseProgramLog();
    EXPECT_EQ(Read(m_sPath), " i  first\n");
    EXPECT_EQ(Read(m_Dir.filePath("second.txt")), " i  second\n");
    EXPECT_NE(OpenProgramLog(m_Dir.filePath("no/such/dir.txt"), 1), "");
    EXPECT_FALSE(IsVerboseLogging());
    EXPECT_EQ(LogMessage("nowhere", MSG_TO_LOG), 0);
}

TEST_F(Log, SeveralThreadsWriteWholeLines) {
    ASSERT_EQ(OpenProgramLog(m_sPath, 512), "");
    std::vector<std::thread> Writers;
    for (int w = 0; w < 4; ++w) {
        Writers.emplace_back([w] {
            for (int i = 0; i < 500; ++i) {
                LogMessage(QByteArray(50, static_cast<char>('a' + w)).constData(), MSG_TO_LOG);
            }
        });
    }
    for (std::thread& Writer : Writers) {
        Writer.join();
    }
    CloseProgramLog();
    QMap<QByteArray, int> Count;
    for (const QByteArray& Line : Read(m_sPath).split('\n')) {
        ++Count[Line];
    }
    for (int w = 0; w < 4; ++w) {
        EXPECT_EQ(Count.value(" i  " + QByteArray(50, static_cast<char>('a' + w))), 500);
    }
    EXPECT_EQ(Count.size(), 5); // and the empty end
}

TEST_F(Log, QtMessagesTakeTheirWayByType) {
    const QtMessageHandler Previous = qInstallMessageHandler(nullptr);
    InstallQtMessageHandler();
    ASSERT_EQ(OpenProgramLog(m_sPath, 1), "");
    qDebug("debug");
    qWarning("warning");
    qCritical("critical");
    CloseProgramLog();
    EXPECT_EQ(Read(m_sPath), " i  debug\n[W] warning\n[E] critical\n");
    ASSERT_EQ(TakeConsole().size(), 1) << "only what is critical reaches the user";
    qWarning("nobody reads this");
    qCritical("critical");
    qInstallMessageHandler(Previous);
    const QList<CONSOLE_MSG> Msgs = TakeConsole();
    ASSERT_EQ(Msgs.size(), 1);
    EXPECT_STREQ(Msgs[0].sText, "critical");
    EXPECT_EQ(Msgs[0].Class, CC_ERROR);
}

TEST_F(Log, TheConsoleLogStartsEmptyAndHasEveryLine) {
    QFile File(m_sPath);
    ASSERT_TRUE(File.open(QIODevice::WriteOnly));
    File.write("of an earlier run");
    File.close();
    ConsolePrint("closed");
    ASSERT_EQ(OpenConsoleLog(m_sPath), "");
    EXPECT_EQ(Read(m_sPath), "");
    ConsolePrint("a");
    ConsolePrint("b", CC_TEXT, false, false);
    ConsolePrint(QString(QChar(0xE4)));
    EXPECT_EQ(FlushConsoleLog(), "");
    EXPECT_EQ(Read(m_sPath), "a\nb\xC3\xA4\n");
    constexpr U32 NUM_LINES = CONSOLE_RING_SIZE + 100'000; // the ring drops most of them
    const QString sLong(200, 'x');
    for (U32 i = 0; i < NUM_LINES; ++i) {
        ConsolePrint(sLong);
    }
    EXPECT_EQ(OpenConsoleLog(""), "") << "an empty path ends the log";
    ConsolePrint("c");
    EXPECT_EQ(QFile(m_sPath).size(), 6 + qint64(NUM_LINES) * 201);
    EXPECT_NE(OpenConsoleLog(m_Dir.filePath("no/such/dir.txt")), "");
    EXPECT_EQ(OpenConsoleLog("/dev/null"), "not a regular file");
}

TEST_F(Log, AProgramLogThatOutgrowsItsLimitIsCut) {
    constexpr qsizetype LIMIT = 16'000'000;
    constexpr qsizetype KEPT = 16'000;
    ASSERT_EQ(OpenProgramLog(m_sPath, 1), "");
    const QByteArray Text(2000, 'x');
    for (qsizetype i = 0; i <= LIMIT / 2005; ++i) {
        LogMessage(Text.constData(), MSG_TO_LOG);
    }
    EXPECT_GT(QFile(m_sPath).size(), LIMIT);
    LogMessage("z", MSG_TO_LOG);
    CloseProgramLog();
    EXPECT_EQ(QFile(m_sPath).size(), KEPT + 6);
    EXPECT_TRUE(Read(m_sPath).endsWith(" i  z\n"));
}

TEST_F(Log, ALogThatTheDeviceRefusesEndsWithAnError) {
    const QString sConsole = m_Dir.filePath("console.txt");
    ASSERT_EQ(OpenProgramLog(m_sPath, 1), "");
    ASSERT_EQ(OpenConsoleLog(sConsole), "");
    {
        const CFileSizeLimit Limit(100);
        LogMessage(QByteArray(2000, 'x').constData(), MSG_TO_LOG);
        const QList<CONSOLE_MSG> Msgs = TakeConsole();
        ASSERT_EQ(Msgs.size(), 1);
        EXPECT_TRUE(Msgs[0].sText.startsWith("Program log ended, could not write file " + m_sPath.toUtf8()));
        EXPECT_EQ(Msgs[0].Class, CC_ERROR);
        LogMessage("told once", MSG_TO_LOG);
        ConsolePrint(QString(200, 'y'));
        EXPECT_TRUE(FlushConsoleLog().startsWith("Console log ended, could not write file " + sConsole));
        EXPECT_EQ(FlushConsoleLog(), "");
    }
    EXPECT_EQ(TakeConsole().size(), 1);
}
