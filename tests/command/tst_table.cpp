#include "command/CommandParams.h"
#include "command/CommandTable.h"
#include "command/TextTable.h"
#include "script/Trans.h"

#include <QKeySequence>
#include <QRegularExpression>
#include <QSet>
#include <gtest/gtest.h>
#include <memory>

// Sweeps over the constant tables: what every row must hold.

namespace {

I32 NoHandler(const I64*, U32) { return 0; }

/// Registers prototypes with a fresh interpreter.
class CPrototypes {
public:
    CPrototypes() : m_pTrans(TransInit(m_Heap.get(), "")) {}
    int Add(const QString& sPrototype) { return TransAddApiFunction(m_pTrans, qPrintable(sPrototype), NoHandler); }

private:
    struct HEAP {
        alignas(16) U8 aByte[SCRIPT_HEAP_SIZE];
    };
    std::unique_ptr<HEAP> m_Heap = std::make_unique<HEAP>();
    CTrans* m_pTrans;
};

} // namespace

TEST(CommandRows, EachRowStandsAtItsIdUnderANameOfItsOwn) {
    ASSERT_EQ(CMD_COUNT, 319u);
    QSet<QString> ActionNames;
    QSet<QString> Names;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const COMMAND_ROW Row = CCommandTable::GetRow(Id);
        EXPECT_EQ(Row.Id, Id);
        EXPECT_TRUE(Row.ActionName.startsWith("action")) << Id;
        EXPECT_FALSE(ActionNames.contains(Row.ActionName.toLower())) << qPrintable(Row.ActionName);
        ActionNames.insert(Row.ActionName.toLower());
        const QString sName = CCommandTable::GetName(Id);
        if (!sName.isEmpty()) {
            EXPECT_FALSE(Names.contains(sName.toLower())) << qPrintable(sName);
            Names.insert(sName.toLower());
            EXPECT_FALSE(Row.LongHelp.isEmpty()) << Id;
            EXPECT_FALSE(Row.ShortHelp.isEmpty()) << Id;
        }
    }
    EXPECT_EQ(Names.size(), 146);
}

TEST(CommandRows, AnIdBeyondTheTableGivesTheEmptyRow) {
    for (const U32 Id : {319u, 1000u, 0xFFFFFFFFu}) {
        const COMMAND_ROW Row = CCommandTable::GetRow(Id);
        EXPECT_EQ(Row.Id, 319u);
        EXPECT_EQ(Row.pAction, nullptr);
        EXPECT_EQ(CCommandTable::GetParamCount(Id), 0);
        EXPECT_TRUE(CCommandTable::GetName(Id).isEmpty());
        EXPECT_FALSE(CCommandTable::IsAvailable(Id, true));
        EXPECT_EQ(CCommandTable::Trigger(Id), -1);
        EXPECT_EQ(CCommandTable::Execute(Id, {1}), -1);
    }
    EXPECT_FALSE(CCommandTable::GetRow(318).ActionName.isEmpty());
}

TEST(CommandRows, HotKeysArePortableKeySequences) {
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const QString sKey = CCommandTable::GetRow(Id).HotKey;
        if (sKey.isEmpty()) {
            continue;
        }
        const QKeySequence Sequence = QKeySequence::fromString(sKey, QKeySequence::PortableText);
        ASSERT_EQ(Sequence.count(), 1) << qPrintable(sKey);
        EXPECT_NE(Sequence[0].key(), Qt::Key_unknown) << qPrintable(sKey);
    }
}

TEST(CommandRows, PrototypesAreKnownToTheInterpreterAndAgreeWithTheArgumentTable) {
    CPrototypes Prototypes;
    int NumRows = 0;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const COMMAND_ROW Row = CCommandTable::GetRow(Id);
        if (Row.Prototype.isEmpty()) {
            continue;
        }
        const COMMAND_PARAM_ROW& Params = CommandParamRows[NumRows++];
        ASSERT_EQ(Params.Id, Id);
        EXPECT_EQ(Prototypes.Add(Row.Prototype), 0) << qPrintable(Row.Prototype);
        EXPECT_TRUE(Row.Prototype.startsWith("__api__ int ")) << qPrintable(Row.Prototype);
        const int NumParams = CCommandTable::GetParamCount(Id);
        for (int i = 0; i < static_cast<int>(MAX_COMMAND_PARAMS); ++i) {
            EXPECT_EQ(Params.aKind[i] == PK_NONE, i >= NumParams) << qPrintable(Row.Prototype) << i;
            EXPECT_EQ(Params.aKind[i] == PK_TEXT, CCommandTable::IsTextParam(Id, i)) << qPrintable(Row.Prototype) << i;
        }
        EXPECT_FALSE(CCommandTable::IsTextParam(Id, -1));
        const int NumNames = Row.ArgNames.isEmpty() ? 0 : static_cast<int>(Row.ArgNames.split(',').size());
        EXPECT_EQ(NumNames, NumParams) << qPrintable(Row.Prototype);
    }
    EXPECT_EQ(NumRows, 146);
}

TEST(CommandRows, AliasesLeadBothWaysAndParseAsPrototypes) {
    CPrototypes Prototypes;
    int NumAliases = 0;
    for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
        const QString sName = CCommandTable::GetName(Id);
        const QString sAlias = CCommandTable::GetAlias(Id);
        if (sAlias.isEmpty()) {
            continue;
        }
        ++NumAliases;
        EXPECT_EQ(CCommandTable::GetAlias(sAlias), sName);
        QString sPrototype = CCommandTable::GetRow(Id).Prototype;
        EXPECT_EQ(Prototypes.Add(sPrototype.replace(sName + " (", sAlias + " (")), 0) << qPrintable(sPrototype);
        EXPECT_TRUE(sPrototype.contains(sAlias));
    }
    EXPECT_EQ(NumAliases, 8);
    EXPECT_EQ(CCommandTable::GetAlias(QString("project.settifscanchain")), "Project.SetJTAGConfig");
    EXPECT_TRUE(CCommandTable::GetAlias(QString("File.Open")).isEmpty());
}

TEST(TextRows, NamesAreUniqueAndGroupsHaveUniqueValues) {
    QSet<QString> Names;
    QSet<QString> GroupValues;
    for (int i = 0; i < NUM_TEXT_ROWS; ++i) {
        const TEXT_ROW* pRow = GetTextRow(i);
        ASSERT_NE(pRow, nullptr);
        EXPECT_FALSE(QString(pRow->sDisplayText).isEmpty()) << pRow->sName;
        EXPECT_FALSE(Names.contains(QString(pRow->sName).toLower())) << pRow->sName;
        Names.insert(QString(pRow->sName).toLower());
        const qsizetype Mark = QString(pRow->sName).indexOf('_');
        if (Mark > 0) {
            const QString sKey = QString("%1=%2").arg(QString(pRow->sName).left(Mark)).arg(pRow->Value);
            // Breakpoint states and types share their first word.
            EXPECT_TRUE(QString(pRow->sName).startsWith("BP_") || !GroupValues.contains(sKey)) << pRow->sName;
            GroupValues.insert(sKey);
        }
    }
    EXPECT_EQ(GetTextRow(-1), nullptr);
    EXPECT_EQ(GetTextRow(NUM_TEXT_ROWS), nullptr);
}

TEST(TextRows, FrequencyNamesSayTheirValue) {
    const QRegularExpression Pattern("^FREQ_(\\d+)_(HZ|KHZ|MHZ)$");
    int NumRows = 0;
    for (int i = 0; i < NUM_TEXT_ROWS; ++i) {
        const TEXT_ROW* pRow = GetTextRow(i);
        const QRegularExpressionMatch Match = Pattern.match(pRow->sName);
        if (!Match.hasMatch()) {
            continue;
        }
        ++NumRows;
        const int Factor = Match.captured(2) == "HZ" ? 1 : (Match.captured(2) == "KHZ" ? 1000 : 1000000);
        EXPECT_EQ(pRow->Value, Match.captured(1).toInt() * Factor) << pRow->sName;
        EXPECT_EQ(QString(pRow->sDisplayText).section(' ', 0, 0), Match.captured(1)) << pRow->sName;
        EXPECT_EQ(QString(pRow->sDisplayText).section(' ', 1).toUpper(), Match.captured(2)) << pRow->sName;
    }
    EXPECT_EQ(NumRows, 30);
}

TEST(TextRows, ParsingTakesNamesAndNumbersOfTheGroupOnly) {
    struct ROW {
        const char* sPrefix;
        const char* sText;
        bool IsOk;
        I32 Value;
    };
    const ROW aRow[] = {{"RM_", "RM_RESET_AND_RUN", true, 2},
                        {"RM_", "rm_break_at_main", true, 1},
                        {"RM_", "0x2", true, 2},
                        {"RM_", "3", false, 0},
                        {"RM_", "CM_ATTACH", false, 0},
                        {"RM_", "", false, 0},
                        {"AW_", "4", true, 4},
                        {"AW_", "3", false, 0},
                        {"AW_", "-1", false, 0},
                        {"BP_TYPE_", "BP_STATE_ON", false, 0},
                        {"RM_", "4294967296", false, 0}};
    for (const ROW& Row : aRow) {
        I32 Value = 77;
        EXPECT_EQ(ParseTextValue(Row.sPrefix, Row.sText, &Value), Row.IsOk) << Row.sPrefix << Row.sText;
        EXPECT_EQ(Value, Row.IsOk ? Row.Value : 77) << Row.sPrefix << Row.sText;
    }
    for (const char* sYes : {"yes", "ON", "True", "active", "enabled", "1", "0X1"}) {
        EXPECT_EQ(ParseOnOff(sYes), 1) << sYes;
    }
    for (const char* sNo : {"no", "Off", "FALSE", "inactive", "disabled", "0", "0x0"}) {
        EXPECT_EQ(ParseOnOff(sNo), 0) << sNo;
    }
    for (const char* sOther : {"", "2", "maybe", "USB"}) {
        EXPECT_EQ(ParseOnOff(sOther), -1) << sOther;
    }
}
