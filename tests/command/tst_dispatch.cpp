#include "tests/command/CommandFixture.h"

#include <QSignalSpy>

// Linking of actions, and the ways to run a row.

namespace {

QStringList DisabledReports;

void ReportDisabled(const QString& sName) { DisabledReports.append(sName); }

} // namespace

class CommandDispatch : public CCommandTest {
protected:
    void SetUp() override {
        DisabledReports.clear();
        COMMAND_HOST Host;
        Host.pfReportDisabled = ReportDisabled;
        CCommandTable::SetHost(Host);
    }
};

TEST_F(CommandDispatch, LinkingDressesTheAction) {
    QAction* pAction = AddNamed(m_pOwner.get(), "ACTIONFILEOPEN"); // the case of a name doesn't count
    QAction* pPlain = AddNamed(m_pOwner.get(), "actionFileSaveAll");
    CCommandTable::LinkActions(m_pOwner.get());
    const COMMAND_ROW Row = CCommandTable::GetRow(CMD_FILE_OPEN);
    EXPECT_EQ(Row.pAction, pAction);
    EXPECT_EQ(CCommandTable::GetIdOfAction(pAction), static_cast<int>(CMD_FILE_OPEN));
    EXPECT_EQ(pAction->shortcut(), QKeySequence("Ctrl+O"));
    EXPECT_EQ(pAction->statusTip(), Row.LongHelp);
    EXPECT_EQ(pAction->toolTip(), Row.ShortHelp + " (Ctrl+O)");
    EXPECT_EQ(pPlain->toolTip(), CCommandTable::GetRow(10).ShortHelp) << "no key, no parentheses";
    EXPECT_TRUE(CCommandTable::IsAvailable(CMD_FILE_OPEN, true));
    EXPECT_TRUE(CCommandTable::IsAvailable(CMD_FILE_OPEN, false));
}

TEST_F(CommandDispatch, TheLastLinkWinsAndHandsItsStateOver) {
    QAction* pFirst = AddAction(284);
    QObject Second;
    QAction* pSecond = AddNamed(&Second, "actionBpSet");
    pSecond->setEnabled(false);
    CCommandTable::LinkActions(&Second);
    EXPECT_EQ(CCommandTable::GetAction(284), pSecond);
    EXPECT_FALSE(pFirst->isEnabled()) << "the replaced action takes the state of the new one";
    EXPECT_EQ(CCommandTable::GetIdOfAction(pFirst), 284) << "it still names its row";
    CCommandTable::SetCommandEnabled(284, true, false);
    CCommandTable::LinkActions(m_pOwner.get());
    EXPECT_EQ(CCommandTable::GetAction(284), pFirst) << "linking again takes the row back";
    EXPECT_FALSE(pSecond->isEnabled());
}

TEST_F(CommandDispatch, ActionsThatGoLeaveTheTable) {
    QAction* pAction = AddAction(CMD_FILE_OPEN);
    QObject Other;
    QAction* pOther = AddNamed(&Other, "actionFileLoad");
    CCommandTable::LinkActions(&Other);
    delete pAction;
    EXPECT_EQ(CCommandTable::GetAction(CMD_FILE_OPEN), nullptr);
    EXPECT_EQ(CCommandTable::Execute(CMD_FILE_OPEN, {"a"}), -1);
    CCommandTable::UnlinkActions(&Other);
    EXPECT_EQ(CCommandTable::GetAction(CMD_FILE_LOAD), nullptr);
    EXPECT_EQ(CCommandTable::GetIdOfAction(pOther), -1);
}

TEST_F(CommandDispatch, UnlinkingAnOldActionLeavesTheRowToTheNewOne) {
    QObject Old;
    AddNamed(&Old, "actionFileOpen");
    CCommandTable::LinkActions(&Old);
    QAction* pNew = AddAction(CMD_FILE_OPEN);
    CCommandTable::UnlinkActions(&Old);
    EXPECT_EQ(CCommandTable::GetAction(CMD_FILE_OPEN), pNew);
}

TEST_F(CommandDispatch, UnknownNamesAreListedOnceAndSorted) {
    for (const char* sName : {"zzUnknown", "aaUnknown", "zzUnknown", ""}) {
        AddNamed(m_pOwner.get(), sName);
    }
    CCommandTable::LinkActions(m_pOwner.get());
    CCommandTable::LinkActions(m_pOwner.get());
    const QStringList Names = CCommandTable::GetUnknownActionNames();
    EXPECT_EQ(Names.count("zzUnknown"), 1);
    EXPECT_LT(Names.indexOf("aaUnknown"), Names.indexOf("zzUnknown"));
    EXPECT_FALSE(Names.contains(""));
}

TEST_F(CommandDispatch, TriggerAsksTheCommandStateAndNotTheClicks) {
    struct ROW {
        bool IsGui;
        bool IsCommand;
        int Result;
    };
    for (const ROW& Row : {ROW{true, true, 0}, ROW{false, true, 0}, ROW{true, false, -1}, ROW{false, false, -1}}) {
        DisabledReports.clear();
        QAction* pAction = AddAction(CMD_DEBUG_CONTINUE);
        CCommandTable::SetCommandEnabled(CMD_DEBUG_CONTINUE, Row.IsGui, Row.IsCommand);
        QSignalSpy Fired(pAction, &QAction::triggered);
        QSignalSpy Changed(pAction, &QAction::changed);
        EXPECT_EQ(CCommandTable::Trigger(CMD_DEBUG_CONTINUE), Row.Result);
        EXPECT_EQ(Fired.count(), Row.Result == 0 ? 1 : 0);
        EXPECT_EQ(pAction->isEnabled(), Row.IsGui) << "the state for clicks stays as it was";
        EXPECT_EQ(DisabledReports, Row.Result == 0 ? QStringList() : QStringList{"Debug.Continue"});
        delete pAction;
    }
}

TEST_F(CommandDispatch, ASlotMayDestroyItsAction) {
    QAction* pAction = AddAction(CMD_FILE_EXIT);
    pAction->setEnabled(false);
    QObject::connect(pAction, &QAction::triggered, m_pOwner.get(), [pAction] { delete pAction; });
    EXPECT_EQ(CCommandTable::Trigger(CMD_FILE_EXIT), 0);
    EXPECT_EQ(CCommandTable::GetAction(CMD_FILE_EXIT), nullptr);
}

TEST_F(CommandDispatch, ExecuteHandsArgumentsOverAndGivesTheResult) {
    QAction* pAction = AddAction(CMD_FILE_LOAD);
    QStringList Seen;
    QObject::connect(pAction, &QAction::triggered, m_pOwner.get(), [&Seen] {
        Seen = CCommandTable::GetArgs(CMD_FILE_LOAD);
        CCommandTable::SetResult(CMD_FILE_LOAD, 42);
    });
    EXPECT_EQ(CCommandTable::GetResult(CMD_FILE_LOAD), 0);
    EXPECT_EQ(CCommandTable::Execute(CMD_FILE_LOAD, {"\"a\".bin", QVariant(), 32}), 42);
    EXPECT_EQ(Seen, QStringList({"a.bin", "32"})) << "invalid arguments are skipped, quotes don't reach the slot";
    EXPECT_EQ(CCommandTable::GetResult(CMD_FILE_LOAD), 42) << "a result stays until the next";
}

TEST_F(CommandDispatch, PreparedArgumentsLoseWhatOnlyTheEyeNeeds) {
    AddAction(CMD_FILE_LOAD);
    CCommandTable::PrepareArgs(CMD_FILE_LOAD,
                               {"\"a.bin\"", QString("0x2000") + QChar(0x2008) + "0000", QVariant(), "\""});
    EXPECT_EQ(CCommandTable::GetAction(CMD_FILE_LOAD)->data().toStringList(),
              QStringList({"a.bin", "0x20000000", "\""}));
    CCommandTable::PrepareArgs(CMD_FILE_LOAD, {});
    EXPECT_EQ(CCommandTable::GetArgs(CMD_FILE_LOAD).size(), 3) << "no arguments leave those that are there";
}

TEST_F(CommandDispatch, ArgumentCounts) {
    struct ROW {
        U32 Id;
        int NumArgs;
        int Min;
        bool IsOk;
    };
    const ROW aRow[] = {{2, 1, -1, true},  {2, 0, -1, false}, {2, 2, -1, false}, {2, 0, 0, true},
                        {2, 2, 0, false},  {91, 1, 1, true},  {91, 2, 1, true},  {91, 0, 1, false},
                        {91, 3, 1, false}, {24, 0, -1, true}, {24, 1, -1, false}};
    for (const ROW& Row : aRow) {
        AddAction(Row.Id);
        CCommandTable::SetArgs(Row.Id, QStringList(Row.NumArgs, "x"));
        EXPECT_EQ(CCommandTable::CheckArgs(Row.Id, Row.Min), Row.IsOk) << Row.Id << " " << Row.NumArgs;
        EXPECT_EQ(CCommandTable::GetError(Row.Id), Row.IsOk ? QString() : QString("wrong parameter count"));
        CCommandTable::ClearArgs(Row.Id);
        EXPECT_TRUE(CCommandTable::GetError(Row.Id).isEmpty());
    }
    EXPECT_TRUE(CCommandTable::CheckArgs(145, -1)) << "a row without action has nothing to check";
}

TEST_F(CommandDispatch, OnlyOneArgumentIsTheOnlyArgument) {
    AddAction(CMD_FILE_OPEN);
    CCommandTable::SetArgs(CMD_FILE_OPEN, {"a.elf"});
    EXPECT_EQ(CCommandTable::GetArg0(CMD_FILE_OPEN), "a.elf");
    EXPECT_TRUE(CCommandTable::GetError(CMD_FILE_OPEN).isEmpty());
    CCommandTable::SetArgs(CMD_FILE_OPEN, {"a.elf", "b.elf"});
    EXPECT_TRUE(CCommandTable::GetArg0(CMD_FILE_OPEN).isEmpty());
    EXPECT_EQ(CCommandTable::GetError(CMD_FILE_OPEN), "wrong parameter count");
}

TEST_F(CommandDispatch, ErrorsShowTheirDetailOnlyAmongSeveralArguments) {
    AddAction(CMD_FILE_LOAD);
    struct ROW {
        QStringList Args;
        const char* sDetail;
        const char* sError;
    };
    for (const ROW& Row : {ROW{{"a", "b"}, "b", "invalid parameter: b"}, ROW{{"a", "b"}, "", "invalid parameter"},
                           ROW{{"a"}, "a", "invalid parameter"}, ROW{{}, "a", "invalid parameter"}}) {
        CCommandTable::SetArgs(CMD_FILE_LOAD, Row.Args);
        CCommandTable::SetError(CMD_FILE_LOAD, "invalid parameter", Row.sDetail);
        EXPECT_EQ(CCommandTable::GetError(CMD_FILE_LOAD), QString(Row.sError));
    }
}

TEST_F(CommandDispatch, TheCancelMarkIsNoArgumentList) {
    AddAction(CMD_FILE_OPEN);
    EXPECT_FALSE(CCommandTable::IsCancelled(CMD_FILE_OPEN));
    CCommandTable::SetArgs(CMD_FILE_OPEN, {"0"});
    EXPECT_FALSE(CCommandTable::IsCancelled(CMD_FILE_OPEN)) << "the text 0 is an argument";
    CCommandTable::Cancel(CMD_FILE_OPEN);
    EXPECT_TRUE(CCommandTable::IsCancelled(CMD_FILE_OPEN));
    EXPECT_TRUE(CCommandTable::GetArgs(CMD_FILE_OPEN).isEmpty());
    CCommandTable::ClearArgs(CMD_FILE_OPEN);
    EXPECT_FALSE(CCommandTable::IsCancelled(CMD_FILE_OPEN));
}
