#include "tests/app/AppFixture.h"

#include "app/Ask.h"
#include "app/CommandLine.h"
#include "app/ProjectControl.h"
#include "app/RecentProjects.h"
#include "app/Trust.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "settings/SysVars.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

class CProjectTest : public CAppTest {
protected:
    void TearDown() override {
        SetCmdLine({}, {});
        CProject::Get().SetModified(false);
        CAppTest::TearDown();
    }

    /// The user has been in another program and comes back.
    static void LeaveAndReturn() {
        QWidget Other;
        Other.show();
        Other.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&Other));
        Window().activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&Window()));
        bool IsLater = false; // zero timers fire in order: what the activation has put off is done by then
        QTimer::singleShot(0, &Window(), [&] { IsLater = true; });
        ASSERT_TRUE(WaitUntil([&] { return IsLater; }));
    }
};

TEST_F(CProjectTest, FaultyProjectsAreReportedAndLeaveTheProgramUsable) {
    struct {
        const char* sName;
        const char* sText;
        const char* sError; ///< behind the command, or behind "Error in project file: "
    } const aCase[] = {
        {"empty", "", "empty file"},
        {"noload", "void AfterTargetHalt (void) {\n}\n", "Required user function missing: void OnProjectLoad (void);"},
        {"brace", "\n\nvoid OnProjectLoad (void) {\n  Debug.Halt();\n",
         "Unexpected end of file looking for '}' at line 5"},
        {"header", "// first line\n\nnonsense OnProjectLoad (void) {\n}\n", "Syntax error at line 3"},
        {"statement", "void OnProjectLoad (void) {\n  int i;\n\n  i = 1 + ;\n}\n",
         "Expected a value or an identifier at line 4"},
        {"command", "void OnProjectLoad (void) {\n  Foo.Bar();\n}\n", "Syntax error at line 2"},
        {"count", "void OnProjectLoad (void) {\n\n\n\n  Debug.Halt (1);\n}\n", "Expected a ')' at line 5"},
        {"zero", "void OnProjectLoad (void) {\n  int i;\n  i = 1 / 0;\n}\n",
         "Error in script function void OnProjectLoad (void);"},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        MarkConsole();
        ASSERT_TRUE(OpenProject(QStringLiteral("%1.dbgprj").arg(Case.sName), Case.sText));
        const QStringList Errors = NewLines().filter(QLatin1String(": ") + Case.sError);
        EXPECT_EQ(Errors.size(), 1) << NewText();
        EXPECT_TRUE(ScriptHasError());
        MarkConsole();
        EXPECT_TRUE(Run("Debug.Continue()"));
        EXPECT_EQ(NewLines(), (QStringList{"Debug.Continue();", "Debug.Continue(): not connected"}));
    }
    // The built-in sequences serve a session without a sound project.
    ASSERT_TRUE(Run("Project.SetDevice (\"Cortex-M4\")"));
    ASSERT_TRUE(Run("Project.SetTargetIF (\"SWD\")"));
    ASSERT_TRUE(Run("File.Open (\"" BRASK_SOURCE_DIR "/examples/demo/demo.elf\")"));
    EXPECT_TRUE(StartSession());
}

TEST_F(CProjectTest, FilesThatAreNoProjectStayAsTheyAre) {
    const QByteArray Text = DemoProject().toUtf8();
    struct {
        const char* sName;
        QByteArray Data;
        const char* sError; ///< null: it opens
    } const aCase[] = {
        {"bom", "\xEF\xBB\xBF" + Text, nullptr},
        {"crlf", QByteArray(Text).replace("\n", "\r\n"), nullptr},
        {"umlaut", Text + "// \xC3\xA4\n", nullptr},
        {"latin1", QByteArray(Text + "// \xE4\n").replace("\n", "\r\n"), nullptr},
        {"binary", Text + QByteArray("\0\x01\x02", 3), "file is not a text"},
        {"garbage", QByteArray("\xFF\xFE\x80\x81").repeated(1000), "Syntax error at line 1"},
        {"huge", QByteArray(100 * 1024 * 1024, ' '), "file is too large"},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        const QString sName = QStringLiteral("%1.dbgprj").arg(Case.sName);
        WriteFile(sName, Case.Data);
        MarkConsole();
        ASSERT_TRUE(Run("File.Open (\"" + Path(sName) + "\")"));
        ASSERT_TRUE(WaitUntil([&] { return CProject::Get().GetPath() == Path(sName) && ScriptGetCallLevel() == 0; }));
        if (Case.sError == nullptr) {
            EXPECT_FALSE(ScriptHasError()) << ScriptGetErrorText().toStdString();
            EXPECT_TRUE(Run("File.SaveProjectAs (\"" + Path(sName) + "\")"));
        } else {
            EXPECT_EQ(NewLines().filter(QLatin1String(Case.sError)).size(), 1) << NewText();
            MarkConsole();
            ASSERT_TRUE(Run("File.SaveProjectAs (\"" + Path(sName) + "\")"));
            EXPECT_TRUE(NewText().ends_with("it is not overwritten")) << NewText();
        }
        QFile File(Path(sName));
        ASSERT_TRUE(File.open(QIODevice::ReadOnly));
        EXPECT_TRUE(File.readAll() == Case.Data);
    }
}

TEST_F(CProjectTest, AProjectThatDisappearsIsNotLost) {
    ASSERT_TRUE(QFile::remove(Path("demo.dbgprj")));
    LeaveAndReturn();
    EXPECT_FALSE(ScriptHasError());
    CProject::Get().SetModified(true);
    ASSERT_TRUE(Run("File.SaveProjectAs (\"" + Path("demo.dbgprj") + "\")"));
    QFile File(Path("demo.dbgprj"));
    ASSERT_TRUE(File.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(File.readAll()).toStdString(), DemoProject().toStdString());
}

TEST_F(CProjectTest, TheFourNewestProjectsAreKept) {
    for (const char* sName : {"a", "b", "c", "d", "e"}) {
        ASSERT_TRUE(OpenProject(QStringLiteral("%1.dbgprj").arg(sName), DemoProject()));
    }
    EXPECT_EQ(Window().GetRecentProjects().Get(),
              (QStringList{Path("e.dbgprj"), Path("d.dbgprj"), Path("c.dbgprj"), Path("b.dbgprj")}));
    ASSERT_TRUE(OpenProject("c.dbgprj", DemoProject()));
    EXPECT_EQ(Window().GetRecentProjects().Get(),
              (QStringList{Path("c.dbgprj"), Path("e.dbgprj"), Path("d.dbgprj"), Path("b.dbgprj")}));
    const QStringList Before = Window().GetRecentProjects().Get();
    MarkConsole();
    Run("File.Open (\"" + Path("missing.dbgprj") + "\")");
    EXPECT_TRUE(NewText().ends_with("missing.dbgprj\"): file not found")) << NewText();
    EXPECT_EQ(Window().GetRecentProjects().Get(), Before);
}

TEST_F(CProjectTest, SavingAsGivesTheExtensionAndTheNewName) {
    ASSERT_TRUE(Run("File.SaveProjectAs (\"" + Path("saved") + "\")"));
    EXPECT_EQ(NewLines().filter("File.SaveProjectAs").size(), 1) << NewText();
    QFile Saved(Path("saved.dbgprj"));
    ASSERT_TRUE(Saved.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(Saved.readAll()), DemoProject());
    EXPECT_EQ(CProject::Get().GetPath(), Path("saved.dbgprj"));
    EXPECT_EQ(Window().GetRecentProjects().Get().value(0), Path("saved.dbgprj"));
    EXPECT_FALSE(Window().GetRecentProjects().Get().contains(Path("demo.dbgprj")));
    for (const char* sBad : {"saved.txt", "no/such/folder/p"}) {
        MarkConsole();
        ASSERT_TRUE(Run("File.SaveProjectAs (\"" + Path(sBad) + "\")"));
        EXPECT_TRUE(NewText().ends_with(": invalid project filename")) << NewText();
        EXPECT_FALSE(QFile::exists(Path(sBad)));
    }
}

TEST_F(CProjectTest, AProjectOpenedInASessionEndsIt) {
    ASSERT_TRUE(StartSession());
    ASSERT_TRUE(OpenProject("next.dbgprj", DemoProject()));
    EXPECT_TRUE(NewLines().contains("Stop Debugging: Close this Session?")) << NewText();
    EXPECT_FALSE(Device().IsConnected());
    EXPECT_TRUE(StartSession());
}

TEST_F(CProjectTest, AProjectFindsTheModesAtTheirDefaults) {
    ASSERT_TRUE(Run("Debug.SetResetMode (RM_RESET_AND_RUN)"));
    ASSERT_TRUE(Run("Debug.SetConnectMode (CM_ATTACH)"));
    ASSERT_TRUE(Run("Edit.SysVar (VAR_BREAK_AT_THIS_SYMBOL, \"Calc_Sort\")"));
    ASSERT_TRUE(OpenProject("next.dbgprj", DemoProject()));
    EXPECT_EQ(SysVarValue(VAR_RESET_MODE), RM_BREAK_AT_SYMBOL);
    EXPECT_EQ(SysVarValue(VAR_CONNECT_MODE), CM_DOWNLOAD_RESET);
    EXPECT_EQ(SysVarTextValue(VAR_BREAK_AT_THIS_SYMBOL), "main");
    EXPECT_TRUE(StartSession());
}

TEST_F(CProjectTest, TheCommandLineMakesAProjectFromACompleteSet) {
    struct {
        QStringList Args;
        QStringList Lines; ///< of OnProjectLoad; empty: no project is made
    } const aCase[] = {
        {{"-device", "Cortex-M7", "-if", "SWD"}, {}},
        {{"-device", "Cortex-M7", "-usb"}, {}},
        {{"-usb", "-if", "SWD"}, {}},
        {{"-tarvik"}, {}},
        {{"-device", "Cortex-M7", "-usb", "-if", "SWD"},
         {"Project.SetDevice (\"Cortex-M7\");", "Project.SetHostIF (\"USB\", \"\");", "Project.SetTargetIF (\"SWD\");",
          "Project.AddSvdFile (\"$(InstallDir)/Config/CPU/Cortex-M7F.svd\");"}},
        {{"-device", "Cortex-M3", "-ip", "host:1", "-if", "JTAG", "-speed", "100", "-jtagconfig", "1,2"},
         {"Project.SetDevice (\"Cortex-M3\");", "Project.SetHostIF (\"IP\", \"host:1\");",
          "Project.SetTargetIF (\"JTAG\");", "Project.SetTIFSpeed (\"100\");", "Project.SetJTAGConfig (1, 2);",
          "Project.AddSvdFile (\"$(InstallDir)/Config/CPU/Cortex-M3.svd\");"}},
        {{"-device", "Cortex-M3", "-usb", "-if", "JTAG", "-jtagconfig", "1,2,3"},
         {"Project.SetDevice (\"Cortex-M3\");", "Project.SetHostIF (\"USB\", \"\");", "Project.SetTargetIF (\"JTAG\");",
          "Project.AddSvdFile (\"$(InstallDir)/Config/CPU/Cortex-M3.svd\");"}},
        {{"-tarvik", "-usb"},
         {"Project.SetDevice (\"MK66FN2M0XXX18\");", "Project.SetHostIF (\"USB\", \"\");",
          "Project.SetTargetIF (\"SWD\");", "Project.SetTIFSpeed (\"2000\");",
          "Project.AddSvdFile (\"$(InstallDir)/Config/CPU/Cortex-M4F.svd\");"}},
    };
    static const QRegularExpression Command("^  (Project\\..*;|File\\.Open.*;)$", QRegularExpression::MultilineOption);
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.Args.join(' ').toStdString());
        const QString sPath = Path("made.dbgprj");
        const QString sRelative = QDir::current().relativeFilePath(sPath);
        SetCmdLine(ParseCommandLine(QStringList{"-project", sRelative} + Case.Args), {});
        CProject::Get().SetModified(false);
        EXPECT_EQ(Window().GetProjects().CreateFromCmdLine(), !Case.Lines.isEmpty());
        if (Case.Lines.isEmpty()) {
            continue;
        }
        QStringList Lines;
        for (auto It = Command.globalMatch(ScriptGetText()); It.hasNext();) {
            Lines.append(It.next().captured(1));
        }
        EXPECT_EQ(Lines, Case.Lines) << Lines.join('\n').toStdString();
        EXPECT_EQ(CProject::Get().GetPath(), sPath);
        EXPECT_TRUE(CProject::Get().IsModified());
        EXPECT_FALSE(QFile::exists(sPath));
    }
}

TEST_F(CProjectTest, TheCommandLineChangesAnExistingProject) {
    const QString sPath = WriteFile("old.dbgprj", "void OnProjectLoad (void) {\n"
                                                  "  Project.SetDevice (\"Cortex-M0\");\n"
                                                  "  Util.Log (\"kept\");\n"
                                                  "}\n");
    SetCmdLine(ParseCommandLine({"-project", sPath, "-device", "Cortex-M4", "-usb", "-if", "SWD"}), {});
    EXPECT_TRUE(Window().GetProjects().CreateFromCmdLine());
    EXPECT_TRUE(WaitUntil([this] { return NewLines().contains("kept"); })) << NewText();
    QFile File(sPath);
    ASSERT_TRUE(File.open(QIODevice::ReadOnly));
    const QString sText = QString::fromUtf8(File.readAll());
    EXPECT_EQ(sText.count("Project.SetDevice"), 1) << sText.toStdString();
    EXPECT_TRUE(sText.contains("  Project.SetDevice (\"Cortex-M4\");\n")) << sText.toStdString();
    EXPECT_TRUE(sText.contains("  Util.Log (\"kept\");\n")) << sText.toStdString();
}

TEST_F(CProjectTest, AProjectChangedOutsideIsReadAgain) {
    ASSERT_TRUE(StartSession());
    WriteFile("demo.dbgprj",
              DemoProject({}, "void BeforeTargetResume (void) {\n  Util.Log (\"[new]\");\n}\n").toUtf8());
    MarkConsole();
    LeaveAndReturn();
    ASSERT_TRUE(WaitUntil([] { return ScriptIsDefined(SF_BEFORE_TARGET_RESUME); }));
    EXPECT_TRUE(NewLines().isEmpty()) << NewText();
    ASSERT_TRUE(Run("Debug.Continue()"));
    EXPECT_EQ(NewLines(), (QStringList{"Debug.Continue();", "[new]"}));

    WriteFile("demo.dbgprj", "void OnProjectLoad (void) {\n}\n\nnonsense Again (void) {\n}\n");
    LeaveAndReturn();
    EXPECT_TRUE(WaitUntil([this] { return NewLines().contains("Error in project file: Syntax error at line 4"); }))
        << NewText();
    EXPECT_TRUE(Device().IsConnected());
}

TEST_F(CProjectTest, AProgramFileChangedOutsideIsOpenedAgain) {
    QFile Demo(BRASK_SOURCE_DIR "/examples/demo/demo.elf");
    ASSERT_TRUE(Demo.open(QIODevice::ReadOnly));
    const QString sProgram = WriteFile("program.elf", Demo.readAll());
    ASSERT_TRUE(Run("File.Open (\"" + sProgram + "\")"));
    QFile Program(sProgram);
    ASSERT_TRUE(Program.open(QIODevice::ReadWrite));
    ASSERT_TRUE(Program.setFileTime(QFileInfo(sProgram).lastModified().addSecs(60), QFileDevice::FileModificationTime));
    Program.close();
    MarkConsole();
    LeaveAndReturn();
    EXPECT_TRUE(WaitUntil([&] { return NewLines().contains("File.Open (\"" + sProgram + "\");"); })) << NewText();
    EXPECT_EQ(NewLines().filter("Reload Program File: ").size(), 1) << NewText();
    MarkConsole();
    LeaveAndReturn();
    EXPECT_TRUE(NewLines().isEmpty()) << NewText();
}

TEST_F(CProjectTest, ALongScriptIsShownAndStoppedByEsc) {
    for (const char* sBody : {"int x; while (1) { x = 1; }", "Util.Sleep (60000);"}) {
        SCOPED_TRACE(sBody);
        ASSERT_TRUE(
            OpenProject("long.dbgprj", DemoProject({}, QString("void AfterTargetHalt (void) { %1 }\n").arg(sBody))));
        MarkConsole();
        bool IsShown = false;
        QTimer Poll;
        QObject::connect(&Poll, &QTimer::timeout, [&] {
            if (!Window().GetStatusBar().GetRunningScript().isEmpty()) {
                IsShown = Window().GetStatusBar().GetShownMessage().startsWith("Script function AfterTargetHalt runs");
                QTest::keyClick(&Window(), Qt::Key_Escape);
            }
        });
        Poll.start(10);
        Window().GetSession().ExecuteScriptFunction(SF_AFTER_TARGET_HALT);
        EXPECT_TRUE(IsShown);
        EXPECT_TRUE(Window().GetStatusBar().GetRunningScript().isEmpty());
        EXPECT_EQ(NewLines().filter("Script stopped").size(), 1) << NewText();
        EXPECT_TRUE(ScriptIsDefined(SF_AFTER_TARGET_HALT)) << "it can run again";
    }
}

TEST_F(CProjectTest, NothingOfAProjectReachesTheNext) {
    const QString sSettings = "  Edit.SysVar (VAR_VERIFY_DOWNLOAD, 0);\n  Target.SetEndianess (1);\n"
                              "  Project.SetJTAGConfig (2, 8);\n  Project.AddSvdFile (\"Cortex-M4F.svd\");\n"
                              "  Project.AddSvdFile (\"Cortex-M4F.svd\");\n";
    for (const char* sNext : {"void OnProjectLoad (void) { }\n", "void OnProjectLoad (void) {\n", ""}) {
        SCOPED_TRACE(sNext);
        ASSERT_TRUE(OpenProject("first.dbgprj", DemoProject(sSettings)));
        EXPECT_EQ(CProject::Get().GetSvdFiles().size(), 1) << "a file is listed once";
        EXPECT_EQ(Device().GetConfigParam(DEV_CFG_ENDIAN), 1);
        EXPECT_EQ(SysVarValue(VAR_VERIFY_DOWNLOAD), 0);
        WriteFile("next.dbgprj", sNext);
        ASSERT_TRUE(Run("File.Open (\"" + Path("next.dbgprj") + "\")"));
        ASSERT_TRUE(WaitUntil([&] { return CProject::Get().GetPath() == Path("next.dbgprj"); }));
        EXPECT_TRUE(WaitUntil([] { return Device().GetConfigText(DEV_CFG_DEVICE_NAME).isEmpty(); }));
        EXPECT_TRUE(WaitUntil([] { return Device().GetConfigParam(DEV_CFG_ENDIAN) == 0; }));
        EXPECT_EQ(SysVarValue(VAR_VERIFY_DOWNLOAD), 1);
        EXPECT_EQ(Device().GetConfigParam(DEV_CFG_MULTI_TARGET) + Device().GetConfigParam(DEV_CFG_IR_PRE), 0);
    }
}

TEST_F(CProjectTest, AScriptWritesOutsideItsFolderOnlyWithConsent) {
    QTemporaryDir Outside;
    ASSERT_TRUE(QFile::link(Outside.path(), Path("link")));
    for (const char* sName : {"file.txt", "file.txt.dbgprj"}) {
        ASSERT_TRUE(QFile::link(Outside.filePath(sName), Path(sName)));
    }
    const std::pair<QString, bool> aFile[] = {{Path("inside.txt"), true},          {Path("sub/../inside.txt"), true},
                                              {Outside.filePath("a.txt"), false},  {Path("link/b.txt"), false},
                                              {Path("file.txt"), false},           {Path("../outside.txt"), false},
                                              {Path("missing/../../x.txt"), false}};
    const QString sError = ": the project isn't trusted to write outside its folder (--trust allows it)";
    for (const char* sCommand : {"Project.SetConsoleLogFile (\"%1\")", "Project.SetNovikLogFile (\"%1\")",
                                 "File.SaveProjectAs (\"%1.dbgprj\")"}) {
        for (const auto& [sFile, IsInside] : aFile) {
            const QString sLine = QString(sCommand).replace("%1", sFile);
            SCOPED_TRACE(sLine.toStdString());
            ASSERT_TRUE(OpenProject("a.dbgprj", DemoProject({}, "void AfterTargetHalt (void) { " + sLine + "; }\n")));
            MarkConsole();
            Window().GetSession().ExecuteScriptFunction(SF_AFTER_TARGET_HALT);
            EXPECT_EQ(NewText().ends_with(sError.toStdString()), !IsInside) << NewText();
            EXPECT_TRUE(QDir(Outside.path()).isEmpty());
            EXPECT_TRUE(Run("Project.SetConsoleLogFile (\"\")"));
        }
    }
    // The layout of the windows isn't written through a link either.
    ASSERT_TRUE(QFile::link(Outside.filePath("layout"), Path("linked.dbgprj.user")));
    ASSERT_TRUE(OpenProject("linked.dbgprj", DemoProject()));
    MarkConsole();
    ASSERT_TRUE(OpenProject("a.dbgprj", DemoProject()));
    EXPECT_FALSE(QFile::exists(Outside.filePath("layout")));
    EXPECT_EQ(NewLines().filter("Could not write file " + Path("linked.dbgprj.user")).size(), 1) << NewText();
    // Asked once; the consent holds for the project, by whatever name it is opened.
    int NumAsked = 0;
    const auto Answer = [&](QMessageBox::StandardButton Button) {
        SetAnswerSource([&NumAsked, Button](const QString& sTitle, QMessageBox::StandardButton Default) {
            NumAsked += sTitle == "Trust Project?" ? 1 : 0;
            return sTitle == "Trust Project?" ? Button : Default;
        });
    };
    const QString sFunction =
        "void AfterTargetHalt (void) { Project.SetConsoleLogFile (\"" + Outside.filePath("c.txt") + "\"); }\n";
    ASSERT_TRUE(QFile::link(Path("b.dbgprj"), Path("c.dbgprj")));
    for (const auto& [sName, Button, Asked] :
         {std::tuple{"no.dbgprj", QMessageBox::No, 1}, std::tuple{"no.dbgprj", QMessageBox::Yes, 0},
          std::tuple{"b.dbgprj", QMessageBox::Yes, 1}, std::tuple{"c.dbgprj", QMessageBox::No, 0}}) {
        NumAsked = 0;
        Answer(Button);
        ASSERT_TRUE(OpenProject(sName, DemoProject({}, sFunction)));
        Window().GetSession().ExecuteScriptFunction(SF_AFTER_TARGET_HALT);
        EXPECT_EQ(NumAsked, Asked) << sName;
        EXPECT_EQ(QFile::exists(Outside.filePath("c.txt")), QString(sName) != "no.dbgprj");
    }
    SetAnswerSource(nullptr);
    EXPECT_TRUE(Run("Project.SetConsoleLogFile (\"\")"));
    // What is made here is trusted, also under the name that it is saved by.
    ASSERT_TRUE(Run("File.NewProject"));
    ASSERT_TRUE(WaitUntil([] { return CProject::Get().GetPath().isEmpty(); }));
    ASSERT_TRUE(Run("File.SaveProjectAs (\"" + Path("made.dbgprj") + "\")"));
    EXPECT_TRUE(IsProjectTrusted(Path("made.dbgprj")));
    EXPECT_FALSE(IsProjectTrusted(Path("a.dbgprj")));
}
