#include "tests/command/CommandFixture.h"

// Console lines: splitting, finding a row, and the echo.

class CommandLines : public CCommandTest {};

TEST_F(CommandLines, SplitIntoNameAndArguments) {
    struct ROW {
        const char* sLine;
        const char* sName;
        QStringList Args;
    };
    const ROW aRow[] = {
        {"Debug.Start", "Debug.Start", {}},
        {"  Debug.Start  ", "Debug.Start", {}},
        {"Debug.Start;", "Debug.Start", {}},
        {"Debug.Start();", "Debug.Start", {}},
        {"Debug.Start(void);", "Debug.Start", {}},
        {"Debug.Start VOID", "Debug.Start", {}},
        {"Debug.Start (", "Debug.Start", {}},
        {"Debug.Start )(", "Debug.Start )", {}},
        {"Break.Set 0x1000", "Break.Set", {"0x1000"}},
        {"Break.Set (0x1000)", "Break.Set", {"0x1000"}},
        {"Break.Set(0x1000);", "Break.Set", {"0x1000"}},
        {"File.Load \"C:/dir with blank/a.bin\" 0x20", "File.Load", {"C:/dir with blank/a.bin", "0x20"}},
        {"Util.Log (\"a, b\")", "Util.Log", {"a, b"}},
        {"Util.Log (\"a (b), c\");", "Util.Log", {"a (b), c"}},
        {"Util.Log (\"a^b, c\")", "Util.Log", {"a^b, c"}},
        {"File.Load ( \"a.bin\" ,  0x20 );", "File.Load", {"a.bin", "0x20"}},
        {"X (1,,3)", "X", {"1", "", "3"}},
        {"X 1  3", "X", {"1", "", "3"}},
        {"X (\"\", 2)", "X", {"", "2"}},
        {"X (\"\"a\"\")", "X", {"\"a\""}},
        {"X (void, 1)", "X", {"void", "1"}},
        {"X (\"open, 1)", "X", {"\"open, 1"}},
        {"", "", {}},
        {"()", "", {}},
    };
    for (const ROW& Row : aRow) {
        QString sName;
        QStringList Args = {"left over"};
        CCommandTable::SplitLine(Row.sLine, &sName, &Args);
        EXPECT_EQ(sName, QString(Row.sName)) << Row.sLine;
        EXPECT_EQ(Args, Row.Args) << Row.sLine << " -> " << qPrintable(Args.join("|"));
    }
}

TEST_F(CommandLines, FindTakesNamesAndAliasesInAnyCase) {
    const std::pair<const char*, U32> aRow[] = {
        {"Break.Set 0x1000", CMD_BREAK_SET},
        {"break.set(0x1000)", CMD_BREAK_SET},
        {"Debug.SetNextStmnt main.c:10", CMD_DEBUG_SET_NEXT_STATEMENT},
        {"debug.setnextstatement main.c:10", CMD_DEBUG_SET_NEXT_STATEMENT},
        {"Watch x", 122},
        {"Trace (x)", 124},
        {"Project.SetTIFScanChain (1, 4)", 94},
        {"Edit.Break (a, b, 0, 0, c, d, e)", 145},
        {"Break.Set (1, 2, 3)", CMD_BREAK_SET}, // the count is the slot's to refuse
        {"Break.Se 1", 319},
        {"Help.Command", 319},
        {"actionFileOpen", 319},
        {"", 319},
        {"   ", 319},
        {"(1)", 319},
    };
    for (const auto& [sLine, Id] : aRow) {
        EXPECT_EQ(CCommandTable::Find(sLine).Id, Id) << sLine;
    }
}

TEST_F(CommandLines, FindPutsTheArgumentsOnTheAction) {
    QAction* pAction = AddAction(CMD_FILE_LOAD);
    CCommandTable::SetError(CMD_FILE_LOAD, "of an earlier call");
    const COMMAND_ROW Row = CCommandTable::Find("File.Load (\"a, b.bin\", 0x20)");
    EXPECT_EQ(Row.pAction, pAction);
    EXPECT_EQ(CCommandTable::GetArgs(CMD_FILE_LOAD), QStringList({"a, b.bin", "0x20"}));
    EXPECT_TRUE(CCommandTable::GetError(CMD_FILE_LOAD).isEmpty());
    CCommandTable::Find("File.Load");
    EXPECT_FALSE(pAction->data().isValid());
}

TEST_F(CommandLines, EchoesAreScriptLines) {
    COMMAND_HOST Host;
    Host.pfCanonicalLocation = [](const QString& sText) {
        return sText.startsWith("main.c") ? QString("main.c: 10") : QString();
    };
    Host.pfEvaluate = [](const QString& sText, I64* pValue) {
        *pValue = 0x200;
        return sText == "main";
    };
    CCommandTable::SetHost(Host);
    struct ROW {
        U32 Id;
        QStringList Args;
        const char* sEcho;
    };
    const ROW aRow[] = {
        {24, {}, "Debug.Start();"},
        {2, {}, "File.Open();"},
        {2, {"C:/a/b.elf"}, "File.Open (\"C:/a/b.elf\");"},
        {2, {"\"quoted\""}, "File.Open (\"quoted\");"},
        {36, {"main.c:10"}, "Debug.SetNextStatement (\"main.c: 10\");"},
        {3, {"a.bin", "0x20"}, "File.Load (\"a.bin\", 0x20);"},
        {3, {"a.bin", "main"}, "File.Load (\"a.bin\", 512);"},
        {3, {"a.bin", "nothing"}, "File.Load (\"a.bin\", nothing);"},
        {38, {"rm_break_at_main"}, "Debug.SetResetMode (RM_BREAK_AT_SYMBOL);"},
        {139, {"0x100", "bp_type_hard"}, "Break.SetEx (0x100, BP_TYPE_HARD);"},
    };
    for (const ROW& Row : aRow) {
        AddAction(Row.Id);
        if (!Row.Args.isEmpty()) {
            CCommandTable::SetArgs(Row.Id, Row.Args);
        }
        EXPECT_EQ(CCommandTable::RenderCommand(Row.Id), QString(Row.sEcho));
    }
    EXPECT_TRUE(CCommandTable::RenderCommand(284).isEmpty()) << "a row without a name has no echo";
    EXPECT_EQ(CCommandTable::RenderCommand(50), "Help.Commands();") << "no action is needed";
}

TEST_F(CommandLines, AnEchoFindsItsWayBack) {
    AddAction(3);
    CCommandTable::SetArgs(3, {"dir, with (all)/a b.bin", "0x20"});
    const QString sEcho = CCommandTable::RenderCommand(3);
    EXPECT_EQ(CCommandTable::Find(sEcho).Id, 3u);
    EXPECT_EQ(CCommandTable::GetArgs(3), QStringList({"dir, with (all)/a b.bin", "0x20"}));
}

TEST_F(CommandLines, HelpTableHasFixedColumnsAndOnlyLinkedPublicRows) {
    AddAction(3);
    AddAction(2);
    AddAction(122); // not public
    AddAction(53);  // no name
    const QStringList Lines = CCommandTable::ListCommands();
    ASSERT_EQ(Lines.size(), 5);
    EXPECT_EQ(Lines[0], QString(150, '-'));
    EXPECT_EQ(Lines[2], QString(150, '-'));
    const QStringList Titles = {"Command", "Arguments", "Hotkey", "Description"};
    const int aColumn[] = {0, 29, 52, 68};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Lines[1].indexOf(Titles[i]), aColumn[i]);
    }
    EXPECT_TRUE(Lines[3].startsWith("File.Load "));
    EXPECT_EQ(Lines[3].mid(29, 23).trimmed(), "File, Address");
    EXPECT_EQ(Lines[3].mid(52, 16).trimmed(), "Ctrl+Shift+L");
    EXPECT_EQ(Lines[3].mid(68), CCommandTable::GetRow(3).LongHelp);
    EXPECT_TRUE(Lines[4].startsWith("File.Open "));
}

TEST_F(CommandLines, AlternativeKeysFindTheRowsOfTheKeyTheyStandFor) {
    const std::pair<const char*, const char*> aRow[] = {{"Ctrl+=", "Ctrl++"}, {"Alt+=", "Alt++"}, {"F6", "Ctrl+F5"}};
    for (const auto& [sKey, sHotKey] : aRow) {
        QList<U32> Expected;
        for (U32 Id = 0; Id < CMD_COUNT; ++Id) {
            if (CCommandTable::GetRow(Id).HotKey == sHotKey) {
                Expected.append(Id);
            }
        }
        EXPECT_FALSE(Expected.isEmpty()) << sHotKey;
        EXPECT_EQ(CCommandTable::FindByAlternativeKey(sKey), Expected) << sKey;
    }
    for (const char* sKey : {"", "F5", "Ctrl+F5", "Ctrl++", "Alt++"}) {
        EXPECT_TRUE(CCommandTable::FindByAlternativeKey(sKey).isEmpty()) << sKey;
    }
}
