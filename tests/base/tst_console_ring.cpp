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

TEST_F(ConsoleRing, RecordsCarryTextColorAndFont) {
    ConsolePrint("plain");
    ConsolePrint("red", QColor(255, 0, 0), true);
    ConsolePrintColorId("id", 26, true, false);
    ConsolePrintError("error");
    ConsolePrintList({"a", "", "b"}, QColor(0, 0, 255));
    ConsolePrint("");
    const QList<CONSOLE_MSG> Msgs = Drain();
    struct ROW {
        const char* sText;
        U32 Color;
        I32 ColorId;
        U8 IsFixedFont, IsNewLine;
    };
    const ROW aRow[] = {{"plain", 0, -1, 0, 1}, {"red", 0xFFFF0000, -1, 1, 1}, {"id", 0, 26, 1, 0},
                        {"error", 0, 28, 0, 1}, {"a", 0xFF0000FF, -1, 1, 1},   {"b", 0xFF0000FF, -1, 1, 1}};
    ASSERT_EQ(Msgs.size(), static_cast<qsizetype>(std::size(aRow))) << "an empty text puts nothing";
    for (int i = 0; i < Msgs.size(); ++i) {
        EXPECT_STREQ(Msgs[i].sText, aRow[i].sText);
        EXPECT_EQ(Msgs[i].ColorId, aRow[i].ColorId) << aRow[i].sText;
        EXPECT_EQ(Msgs[i].IsFixedFont, aRow[i].IsFixedFont) << aRow[i].sText;
        EXPECT_EQ(Msgs[i].IsNewLine, aRow[i].IsNewLine) << aRow[i].sText;
        EXPECT_EQ(Msgs[i].IsValid, 1);
        if (aRow[i].ColorId < 0) {
            EXPECT_EQ(Msgs[i].Color >> 24 == 0 ? 0 : Msgs[i].Color, aRow[i].Color) << aRow[i].sText;
        }
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

TEST_F(ConsoleRing, AFullRingDropsTheNewestAndGoesOnAfterwards) {
    const U64 Dropped = ConsoleDropCount();
    for (U32 i = 0; i < CONSOLE_RING_SIZE + 5; ++i) {
        ConsolePrint(QString::number(i));
    }
    EXPECT_EQ(ConsoleDropCount() - Dropped, 5u);
    CONSOLE_MSG Msg;
    ASSERT_TRUE(ConsoleTake(&Msg));
    EXPECT_STREQ(Msg.sText, "0");
    ConsolePrint("fits again");
    const QList<CONSOLE_MSG> Msgs = Drain();
    ASSERT_EQ(Msgs.size(), static_cast<qsizetype>(CONSOLE_RING_SIZE));
    for (qsizetype i = 0; i + 1 < Msgs.size(); ++i) {
        ASSERT_EQ(QByteArray(Msgs[i].sText).toInt(), i + 1);
    }
    EXPECT_STREQ(Msgs.last().sText, "fits again");
}

TEST_F(ConsoleRing, WritersOnSeveralThreadsLoseAndMixNothing) {
    constexpr int NUM_WRITERS = 4;
    constexpr int NUM_MSGS = 5000;
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
            const QList<QByteArray> Parts = QByteArray(Msg.sText).split(' ');
            ASSERT_EQ(Parts.size(), 3) << Msg.sText;
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
