#include "base/ConsoleRing.h"
#include "command/CommandTable.h"
#include "script/JScript.h"
#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SysVars.h"

#include <QAction>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <functional>
#include <gtest/gtest.h>

// The script host: loading, running event functions, and the texts the user gets to see.

namespace {

const QString sLoad = "void OnProjectLoad (void) {\n";

QString Read(const QString& sPath) {
    QFile File(sPath);
    return File.open(QIODevice::ReadOnly) ? QString::fromUtf8(File.readAll()) : QString("(unreadable)");
}

void Write(const QString& sPath, const QByteArray& Text) {
    QFile File(sPath);
    ASSERT_TRUE(File.open(QIODevice::WriteOnly));
    ASSERT_EQ(File.write(Text), Text.size());
}

} // namespace

class ScriptHost : public ::testing::Test {
protected:
    void SetUp() override {
        COMMAND_HOST Host;
        Host.pfScriptText = ScriptGetText;
        CCommandTable::SetHost(Host);
    }

    void TearDown() override {
        m_Owner.reset();
        ScriptClose();
        CCommandTable::SetHost({});
        TakeConsole();
    }

    /// Runs a function each time the script calls the command.
    void OnCommand(U32 Id, const std::function<void(const QStringList&)>& Slot) {
        auto* pAction = new QAction(m_Owner.get());
        pAction->setObjectName(CCommandTable::GetRow(Id).ActionName);
        CCommandTable::LinkActions(m_Owner.get());
        QObject::connect(pAction, &QAction::triggered, m_Owner.get(), [=] { Slot(CCommandTable::GetArgs(Id)); });
    }

    static QStringList TakeConsole() {
        QStringList Lines;
        CONSOLE_MSG Msg;
        while (ConsoleTake(&Msg)) {
            Lines.append(QString::fromUtf8(Msg.sText));
        }
        return Lines;
    }

    std::unique_ptr<QObject> m_Owner = std::make_unique<QObject>();
    QTemporaryDir m_Dir;
};

TEST_F(ScriptHost, WithoutAScriptNothingRuns) {
    EXPECT_FALSE(ScriptIsLoaded());
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), -1);
    EXPECT_FALSE(ScriptIsDefined(SF_ON_PROJECT_LOAD));
    EXPECT_EQ(ScriptGetText(0), nullptr);
    EXPECT_FALSE(ScriptValidatePointer(nullptr));
    EXPECT_EQ(ScriptReload(), 0);
}

TEST_F(ScriptHost, LoadStates) {
    EXPECT_EQ(ScriptOpenText(sLoad + "}"), 0);
    EXPECT_TRUE(ScriptIsLoaded());
    EXPECT_FALSE(ScriptHasError());
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0);

    EXPECT_EQ(ScriptOpenText(sLoad), -1);
    EXPECT_FALSE(ScriptIsLoaded()) << "a failed load leaves no interpreter";
    EXPECT_TRUE(ScriptHasError());
    EXPECT_EQ(ScriptGetErrorText(), "Unexpected end of file looking for '}' at line 2");
    EXPECT_TRUE(ScriptGetText().isEmpty());
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), -1);

    EXPECT_EQ(ScriptOpenText(""), -1);
    EXPECT_EQ(ScriptGetErrorText(), "empty file");

    EXPECT_EQ(ScriptOpenText(sLoad + "}"), 0) << "a good text leads out of the error";
    EXPECT_FALSE(ScriptHasError());
    ScriptRequestClose();
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0) << "a script about to close runs nothing more";
    EXPECT_FALSE(ScriptIsDefined(SF_ON_PROJECT_LOAD));
    ScriptClose();
    EXPECT_FALSE(ScriptIsLoaded());
    EXPECT_FALSE(ScriptHasError());
}

TEST_F(ScriptHost, ProjectFilesThatDoNotLoad) {
    const QString sPath = m_Dir.filePath("a.dbgprj");
    struct ROW {
        const char* sText;
        const char* sError;
        bool IsLoaded;
    };
    const ROW aRow[] = {
        {"", "empty file", false},
        {"void Other (void) { }", "Required user function missing: void OnProjectLoad (void);", true},
        {"void OnProjectLoad (void) { }\n  oops", "Syntax error at line 2", false},
        {"\xEF\xBB\xBFvoid OnProjectLoad (void) { } // with a byte order mark", "", true},
    };
    for (const ROW& Row : aRow) {
        Write(sPath, Row.sText);
        EXPECT_EQ(ScriptLoad(sPath), QByteArray(Row.sError).isEmpty() ? 0 : -1) << Row.sText;
        EXPECT_EQ(ScriptGetErrorText(), QString(Row.sError)) << Row.sText;
        EXPECT_EQ(ScriptIsLoaded(), Row.IsLoaded) << Row.sText;
        EXPECT_EQ(ScriptGetPath(), sPath);
        EXPECT_EQ(ScriptHasError(), !QByteArray(Row.sError).isEmpty()) << Row.sText;
    }
    for (const QString& sMissing : {m_Dir.filePath("missing.dbgprj"), m_Dir.path()}) {
        EXPECT_EQ(ScriptLoad(sMissing), -1);
        EXPECT_EQ(ScriptGetErrorText(), "file not found");
        EXPECT_TRUE(ScriptHasError());
    }
}

TEST_F(ScriptHost, ErrorsAtRunTimeCarryTheirSourceUpToTheSemicolon) {
    ASSERT_EQ(ScriptOpenText(sLoad + "  int x;\n  x = 1; x = Nope.Never; x = 2;\n}\n"), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), -1);
    EXPECT_EQ(ScriptGetErrorText(), "Unknown identifier at line 3");
    EXPECT_EQ(ScriptGetErrorSource(), "  x = 1;");
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), -1);
    EXPECT_EQ(ScriptGetCallLevel(), 0);

    ASSERT_EQ(ScriptOpenText(sLoad + QString(2000, ' ') + "Nope();\n}"), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), -1);
    EXPECT_EQ(ScriptGetErrorSource().size(), 512);

    ASSERT_EQ(ScriptOpenText("void TargetReset (void) { int x; x = 0; x = 1 / x; }"), 0);
    EXPECT_EQ(ScriptExecute(SF_TARGET_RESET), -1);
    EXPECT_EQ(ScriptGetErrorText(), "Error in script function void TargetReset (void);");
    EXPECT_TRUE(ScriptGetErrorSource().isEmpty());
    EXPECT_TRUE(ScriptHasError());
    EXPECT_EQ(ScriptGetCallLevel(), 0);
}

TEST_F(ScriptHost, TheEleventhNestedEventRunsAndTheTwelfthIsRefused) {
    QList<int> Levels;
    QList<int> Results;
    OnCommand(52, [&](const QStringList&) {
        Levels.append(ScriptGetCallLevel());
        Results.append(ScriptExecute(SF_AFTER_TARGET_HALT));
    });
    ASSERT_EQ(ScriptOpenText("void AfterTargetHalt (void) { Util.Log(\"x\"); }"), 0);
    EXPECT_EQ(ScriptExecute(SF_AFTER_TARGET_HALT), 0);
    EXPECT_EQ(Levels, QList<int>({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(Results, QList<int>({-1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(TakeConsole(),
              QStringList{"Error executing script function \"AfterTargetHalt\": maximum call level reached."});
    EXPECT_EQ(ScriptGetCallLevel(), 0);
    EXPECT_EQ(ScriptExecute(SF_AFTER_TARGET_HALT), 0) << "the limit leaves the script usable";
}

TEST_F(ScriptHost, ClosingUnderARunningFunctionIsSafe) {
    OnCommand(52, [&](const QStringList&) {
        ScriptRequestClose();
        ScriptClose();
    });
    ASSERT_EQ(ScriptOpenText(sLoad + "  Util.Log(\"x\"); Util.Log(\"y\"); }"), 0);
    ScriptExecute(SF_ON_PROJECT_LOAD);
    EXPECT_EQ(ScriptGetCallLevel(), 0);
    EXPECT_FALSE(ScriptIsLoaded());
}

TEST_F(ScriptHost, AStopEndsTheRunningFunctionsAndNoLaterOnes) {
    int NumCalls = 0;
    OnCommand(52, [&](const QStringList&) {
        if (++NumCalls == 3) {
            EXPECT_FALSE(ScriptIsEnding());
            ScriptStop();
            EXPECT_TRUE(ScriptIsEnding());
        }
    });
    ASSERT_EQ(ScriptOpenText("void AfterTargetHalt (void) { Util.Log(\"a\"); }\n" + sLoad +
                             "  while (1) { Util.Log(\"x\"); } }"),
              0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0);
    EXPECT_EQ(NumCalls, 3);
    EXPECT_FALSE(ScriptIsEnding());
    EXPECT_EQ(ScriptExecute(SF_AFTER_TARGET_HALT), 0);
    EXPECT_EQ(NumCalls, 4);
    ScriptStop(); // nothing runs
    EXPECT_EQ(ScriptExecute(SF_AFTER_TARGET_HALT), 0);
    EXPECT_EQ(NumCalls, 5);
    TakeConsole();
}

TEST_F(ScriptHost, AFunctionThatComputesLetsTheWindowLive) {
    static QList<bool> Runs;
    ScriptSetRunHook([](bool IsRunning) { Runs.append(IsRunning); });
    QTimer::singleShot(0, [] {
        EXPECT_EQ(ScriptGetRunningFunction(), "OnProjectLoad");
        ScriptStop();
    });
    ASSERT_EQ(ScriptOpenText(sLoad + "  int x; while (1) { x = 1; } }"), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0);
    EXPECT_EQ(Runs, QList<bool>({true, false}));
    ScriptSetRunHook(nullptr);
    TakeConsole();
}

TEST_F(ScriptHost, AWaitingFunctionKeepsItsTextUntilItEnds) {
    const QString sPath = m_Dir.filePath("a.dbgprj");
    Write(sPath, QString(sLoad + "  Util.Log(\"1\"); Util.Log(\"2\"); }").toUtf8().constData());
    QStringList Log;
    OnCommand(52, [&](const QStringList& Args) {
        Log += Args;
        Write(sPath, QString(sLoad + " Util.Log(\"new\"); }").toUtf8().constData());
        EXPECT_EQ(ScriptReload(), 0);
        EXPECT_EQ(ScriptOpenText("void DebugStart (void) { }"), -1);
        EXPECT_FALSE(ScriptHasError());
    });
    ASSERT_EQ(ScriptLoad(sPath), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0);
    EXPECT_EQ(Log, QStringList({"1", "2"}));
    EXPECT_EQ(ScriptReload(), 1) << "it is loaded afterwards";
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0);
    EXPECT_EQ(Log.last(), "new");
}

TEST_F(ScriptHost, AnErrorIsTakenOnce) {
    int NumTaken = 0;
    OnCommand(52, [&](const QStringList&) {
        ScriptExecute(SF_AFTER_TARGET_HALT);
        NumTaken += ScriptTakeError() ? 1 : 0;
    });
    for (const char* sError : {"Nope();", "int x; x = 1 / 0;"}) {
        NumTaken = 0;
        ASSERT_EQ(ScriptOpenText(QString("void AfterTargetHalt (void) { %1 }\n").arg(sError) + sLoad +
                                 "  Util.Log(\"x\"); }"),
                  0);
        EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), -1);
        NumTaken += ScriptTakeError() ? 1 : 0;
        EXPECT_EQ(NumTaken, 1) << sError;
    }
    EXPECT_EQ(ScriptGetErrorText(), "Error in script function void AfterTargetHalt (void);");
}

TEST_F(ScriptHost, ScriptsKnowTheProgramsConstantsAndCommands) {
    // The result of a command with a number as its argument shows the value of a constant.
    QStringList Seen;
    OnCommand(51, [&](const QStringList& Args) { Seen += Args; });
    const std::pair<QString, int> aRow[] = {{"RM_BREAK_AT_MAIN", 1},
                                            {"FREQ_ADAPTIVE", 65535},
                                            {"ISR_SYS_TICK", 15},
                                            {"VAR_RESET_MODE", VAR_RESET_MODE},
                                            {"PREF_TERMINAL_CLEAR_ON_RESET", 56},
                                            {"COLOR_TABLE_FILTER_MATCH", 45},
                                            {"FONT_EXEC_COUNTERS", 10}};
    for (const auto& [sName, Value] : aRow) {
        ASSERT_EQ(ScriptOpenText(sLoad + "Util.Sleep(" + sName + "); }"), 0);
        EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0) << qPrintable(ScriptGetErrorText());
        EXPECT_EQ(Seen.takeFirst().toInt(nullptr, 0), Value) << qPrintable(sName);
    }
    QStringList Log;
    OnCommand(94, [&](const QStringList& Args) { Log += Args; });
    ASSERT_EQ(ScriptOpenText(sLoad + "Project.SetJTAGConfig(1, 4); Project.SetTIFScanChain(2, 5); }"), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0) << qPrintable(ScriptGetErrorText());
    EXPECT_EQ(Log, QStringList({"0x1", "0x4", "0x2", "0x5"}));
}

TEST_F(ScriptHost, AllConstantsAndCommandsFitBesideALargeProject) {
    QString sText = sLoad;
    for (int i = 0; i < 2000; ++i) {
        sText += QString("  if (Util.Log(\"line %1\") == 5) { }\n").arg(i);
    }
    int NumCalls = 0;
    OnCommand(52, [&](const QStringList&) { ++NumCalls; });
    ASSERT_EQ(ScriptOpenText(sText.replace("  if (Util.Log(", "  Util.Log(").replace(" == 5) { }", ";") + "}"), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0) << qPrintable(ScriptGetErrorText());
    EXPECT_EQ(NumCalls, 2000);
}

TEST_F(ScriptHost, PointersMustLieInTheHeap) {
    OnCommand(52, [](const QStringList&) {});
    ASSERT_EQ(ScriptOpenText(sLoad + "Util.Log(0x1234); Util.Log(-1); Util.Log(0); }"), 0);
    EXPECT_EQ(ScriptExecute(SF_ON_PROJECT_LOAD), 0) << "a refused call is no error of the script";
    EXPECT_EQ(TakeConsole(), QStringList({"Invalid user function parameter: 0x1234 (4660)",
                                          "Invalid user function parameter: 0xFFFFFFFF (-1)",
                                          "Invalid user function parameter: 0x0 (0)"}));
    int OnStack = 0;
    EXPECT_FALSE(ScriptValidatePointer(&OnStack));
}

TEST_F(ScriptHost, SavingTakesOverPathAndHash) {
    const QString sPath = m_Dir.filePath("a b.dbgprj");
    const QString sText = sLoad + "  // äöü €\n}\n";
    ASSERT_EQ(ScriptOpenText(sText), 0);
    EXPECT_EQ(ScriptSave(sPath, sText), "");
    EXPECT_EQ(ScriptGetPath(), sPath);
    EXPECT_EQ(Read(sPath), sText);
    EXPECT_FALSE(ScriptFileChanged());
    EXPECT_EQ(ScriptLoad(sPath), 0);
    EXPECT_EQ(ScriptGetText(), sText);
    EXPECT_NE(ScriptSave(m_Dir.filePath("no/such/dir.dbgprj"), sText), "");
    EXPECT_EQ(ScriptGetPath(), sPath);
}

TEST_F(ScriptHost, AFileThatChangesOnDiskIsLoadedAgain) {
    const QString sPath = m_Dir.filePath("a.dbgprj");
    Write(sPath, "void OnProjectLoad (void) { }");
    ASSERT_EQ(ScriptLoad(sPath), 0);
    EXPECT_EQ(ScriptReload(), 0);
    Write(sPath, "void OnProjectLoad (void) { } void DebugStart (void) { }");
    EXPECT_TRUE(ScriptFileChanged());
    EXPECT_EQ(ScriptReload(), 1);
    EXPECT_TRUE(ScriptIsDefined(SF_DEBUG_START));
    EXPECT_EQ(ScriptReload(), 0);
    Write(sPath, "void OnProjectLoad (void) { ");
    EXPECT_EQ(ScriptReload(), 1);
    EXPECT_TRUE(ScriptHasError());
    EXPECT_EQ(ScriptGetPath(), sPath);
    EXPECT_EQ(ScriptReload(), 0) << "a file that doesn't load is reported once";
    Write(sPath, "void DebugStart (void) { }");
    EXPECT_EQ(ScriptReload(), 1);
    EXPECT_EQ(ScriptGetErrorText(), "Required user function missing: void OnProjectLoad (void);");
    Write(sPath, "void OnProjectLoad (void) { }");
    EXPECT_EQ(ScriptReload(), 1);
    EXPECT_FALSE(ScriptHasError());
    ASSERT_TRUE(QFile::remove(sPath));
    EXPECT_EQ(ScriptReload(), 0) << "a file that is gone is no change";
}
