#include "base/ConsoleRing.h"

#include <QMap>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

// The ring between the threads that print and the console window.

class ConsoleRing : public ::testing::Test {
protected:
    void SetUp() override { Drain(); }
    void TearDown() override { Drain(); }

    static QList<CONSOLE_MSG> Drain() {
        QList<CONSOLE_MSG> Msgs;
        CONSOLE_MSG Msg;
        while (ConsoleTake(&Msg)) {
            Msgs.append(Msg);
        }
        return Msgs;
    }
};

TEST_F(ConsoleRing, RecordsCarryTextClassAndFont) {
    ConsolePrint("plain");
    ConsolePrint("script", CC_SCRIPT, true, false);
    ConsolePrintError("error");
    ConsolePrintList({"a", "", "b"}, CC_USER);
    ConsolePrint("");
    const QList<CONSOLE_MSG> Msgs = Drain();
    struct ROW {
        const char* sText;
        CONSOLE_CLASS Class;
        bool IsFixedFont, IsNewLine;
    };
    const ROW aRow[] = {{"plain", CC_TEXT, false, true},
                        {"script", CC_SCRIPT, true, false},
                        {"error", CC_ERROR, false, true},
                        {"a", CC_USER, true, true},
                        {"b", CC_USER, true, true}};
    ASSERT_EQ(Msgs.size(), static_cast<qsizetype>(std::size(aRow))) << "an empty text puts nothing";
    for (int i = 0; i < Msgs.size(); ++i) {
        EXPECT_EQ(Msgs[i].sText, aRow[i].sText);
        EXPECT_EQ(Msgs[i].Class, aRow[i].Class) << aRow[i].sText;
        EXPECT_EQ(Msgs[i].IsFixedFont, aRow[i].IsFixedFont) << aRow[i].sText;
        EXPECT_EQ(Msgs[i].IsNewLine, aRow[i].IsNewLine) << aRow[i].sText;
    }
}

TEST_F(ConsoleRing, TextsAreCutAt1000BytesBetweenCharacters) {
    struct ROW {
        QString sText, sShown;
    };
    const QString sUmlaut(QChar(0xE4));
    const ROW aRow[] = {
        {QString(999, 'x'), QString(999, 'x')},         {QString(1000, 'x'), QString(1000, 'x')},
        {QString(1001, 'x'), QString(1000, 'x')},       {QString(100'000, 'x'), QString(1000, 'x')},
        {sUmlaut.repeated(501), sUmlaut.repeated(500)}, {'x' + sUmlaut.repeated(501), 'x' + sUmlaut.repeated(499)}};
    for (const ROW& Row : aRow) {
        ConsolePrint(Row.sText);
        const QList<CONSOLE_MSG> Msgs = Drain();
        ASSERT_EQ(Msgs.size(), 1);
        EXPECT_EQ(QString::fromUtf8(Msgs[0].sText), Row.sShown) << Row.sText.size();
    }
}

TEST_F(ConsoleRing, AFullRingTellsHowManyItDroppedAndKeepsErrors) {
    const U64 Dropped = ConsoleDropCount();
    for (U32 i = 0; i < CONSOLE_RING_SIZE + 5; ++i) {
        ConsolePrint(QString::number(i));
    }
    ConsolePrintError("error");
    ConsolePrint("one more");
    EXPECT_EQ(ConsoleDropCount() - Dropped, 6u);
    QList<CONSOLE_MSG> Msgs = Drain();
    ASSERT_EQ(Msgs.size(), static_cast<qsizetype>(CONSOLE_RING_SIZE) + 3);
    for (qsizetype i = 0; i < CONSOLE_RING_SIZE; ++i) {
        ASSERT_EQ(Msgs[i].sText.toInt(), i);
    }
    const char* const aEnd[] = {"5 messages dropped", "error", "1 messages dropped"};
    for (qsizetype i = 0; i < 3; ++i) {
        EXPECT_EQ(Msgs[static_cast<qsizetype>(CONSOLE_RING_SIZE) + i].sText, aEnd[i]);
    }
    for (U32 i = 0; i < CONSOLE_MAX_ERRORS + 2; ++i) {
        ConsolePrintError("flood");
    }
    Msgs = Drain();
    EXPECT_EQ(Msgs.size(), static_cast<qsizetype>(CONSOLE_MAX_ERRORS) + 1) << "errors take bounded memory, too";
    EXPECT_EQ(Msgs.last().sText, "2 messages dropped");
}

TEST_F(ConsoleRing, TheReadersOwnThreadMakesRoomInsteadOfDropping) {
    static QList<CONSOLE_MSG> Taken;
    const U64 Dropped = ConsoleDropCount();
    Taken.clear();
    ConsoleSetReader([] {
        ConsolePrint("printed while reading");
        Taken += Drain();
    });
    for (U32 i = 0; i < 2 * CONSOLE_RING_SIZE + 5; ++i) {
        ConsolePrint(QString::number(i));
    }
    ConsoleSetReader(nullptr);
    Taken += Drain();
    EXPECT_GE(Taken.size(), static_cast<qsizetype>(2 * CONSOLE_RING_SIZE + 5));
    EXPECT_LE(ConsoleDropCount() - Dropped, 2u) << "of the reader's own";
}

TEST_F(ConsoleRing, WritersOnSeveralThreadsLoseAndMixNothing) {
    constexpr int NUM_WRITERS = 4;
    constexpr int NUM_MSGS = 20000;
    const U64 Dropped = ConsoleDropCount();
    std::vector<std::thread> Writers;
    for (int w = 0; w < NUM_WRITERS; ++w) {
        Writers.emplace_back([w] {
            for (int i = 0; i < NUM_MSGS; ++i) {
                ConsolePrint(QString("%1 %2 ").arg(w).arg(i) + QString(w * 200, QChar('a' + w)));
            }
        });
    }
    QMap<int, int> Last;
    qsizetype NumTaken = 0;
    const auto Check = [&](const QList<CONSOLE_MSG>& Msgs) {
        for (const CONSOLE_MSG& Msg : Msgs) {
            if (Msg.Class == CC_ERROR) { // how many were dropped
                --NumTaken;
                continue;
            }
            const QList<QByteArray> Parts = Msg.sText.split(' ');
            ASSERT_EQ(Parts.size(), 3) << Msg.sText.constData();
            const int Writer = Parts[0].toInt();
            ASSERT_EQ(Parts[2], QByteArray(Writer * 200, static_cast<char>('a' + Writer)));
            ASSERT_GT(Parts[1].toInt(), Last.value(Writer, -1)) << "each writer's messages stay in order";
            Last[Writer] = Parts[1].toInt();
        }
        NumTaken += Msgs.size();
    };
    // Reading goes on until every message was either taken or counted as dropped.
    while (static_cast<U64>(NumTaken) + (ConsoleDropCount() - Dropped) < NUM_WRITERS * NUM_MSGS && !HasFailure()) {
        Check(Drain());
    }
    for (std::thread& Writer : Writers) {
        Writer.join();
    }
    Check(Drain());
    EXPECT_EQ(static_cast<U64>(NumTaken) + (ConsoleDropCount() - Dropped), static_cast<U64>(NUM_WRITERS * NUM_MSGS));
}
