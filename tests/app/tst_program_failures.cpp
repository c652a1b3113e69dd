#include "tests/app/ProgramRun.h"

#include <QFile>
#include <gmock/gmock.h>

// Whatever fails, the program says what, stays usable and ends with 0.

namespace {

QByteArray DemoBytes() {
    QFile File(DemoElf());
    return File.open(QIODevice::ReadOnly) ? File.readAll() : QByteArray();
}

QByteArray Patched(qsizetype Offset, char Value) {
    QByteArray Data = DemoBytes();
    Data[Offset] = Value;
    return Data;
}

QString MakeProject(const QString& sBody, const QString& sFunctions = {}) {
    return "void OnProjectLoad (void) {\n" + ProjectHead() + sBody + "}\n" + sFunctions;
}

/// A command that fails without a session, and the end: shows that the program takes commands.
constexpr const char* STILL_USABLE = "  Debug.Continue();\n  Util.Log (\"still here\");\n  File.Exit();\n";
const QStringList StillUsable = {"Debug.Continue();", "Debug.Continue(): not connected", "still here", "File.Exit();"};

/// True if the log has these lines in this order, other lines between them allowed.
::testing::AssertionResult HasInOrder(const QStringList& Log, const QStringList& Expected) {
    qsizetype Pos = 0;
    for (const QString& sLine : Expected) {
        Pos = Log.indexOf(sLine, Pos) + 1;
        if (Pos == 0) {
            return ::testing::AssertionFailure() << "\"" << sLine.toStdString() << "\" is missing in\n"
                                                 << Log.join('\n').toStdString();
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace

TEST(ProgramFailures, FilesThatAreNoProgramAreRefusedByName) {
    constexpr qsizetype EI_CLASS = 4;
    constexpr qsizetype E_MACHINE = 18;
    constexpr char EM_386 = 3;
    struct {
        const char* sFile;
        QByteArray Data; ///< null: there is no such file
        const char* sError;
    } const aCase[] = {
        {"missing.elf", QByteArray(), "file not found"},
        {"header_cut.elf", DemoBytes().left(30), "Not a valid elf object file."},
        {"sections_cut.elf", DemoBytes().left(3000), "could not section headers."},
        {"class64.elf", Patched(EI_CLASS, 2), "Invalid ELF file. Invalid file class"},
        {"x86.elf", Patched(E_MACHINE, EM_386), "Not a valid elf object file."},
        {"text.elf", QByteArray("int main(void) { return 0; }\n"), "not an elf file."},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sFile);
        const CProgramRun Run;
        if (!Case.Data.isNull()) {
            Run.WriteFile(Case.sFile, Case.Data);
        }
        const QString sCommand = QStringLiteral("File.Open (\"$(ProjectDir)/%1\")").arg(Case.sFile);
        const PROGRAM_RESULT Result = Run.Run(MakeProject("  " + sCommand + ";\n" + STILL_USABLE));
        EXPECT_EQ(Result.ExitCode, 0);
        EXPECT_TRUE(HasInOrder(Result.Lines, QStringList{sCommand + ";", sCommand + ": " + Case.sError} + StillUsable));
    }
}

TEST(ProgramFailures, ATargetThatDoesNotConnectEndsTheStart) {
    struct {
        const char* sName;
        const char* sBefore;
    } const aCase[] = {
        {"unknown device", "  Project.SetDevice (\"No such device\");\n"},
        {"a core that isn't simulated", "  Project.SetDevice (\"Cortex-A9\");\n"},
        {"no probe of that number", "  Project.SetHostIF (\"USB\", \"4711\");\n"},
        {"nobody at that address", "  Project.SetHostIF (\"IP\", \"127.0.0.1:1\");\n"},
        {"connects fail", "  Exec.Command (\"SimFailConnect 9\");\n"},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        const CProgramRun Run;
        const PROGRAM_RESULT Result =
            Run.Run(MakeProject(QLatin1String(Case.sBefore) + OpenDemo() + "  Debug.Connect();\n" + STILL_USABLE,
                                LoggingFunctions({"BeforeTargetConnect", "AfterTargetConnect", "AfterTargetHalt"})));
        EXPECT_EQ(Result.ExitCode, 0);
        EXPECT_TRUE(HasInOrder(Result.Lines, {"Debug.Connect();", "[BeforeTargetConnect]", "Connection failed"}));
        EXPECT_TRUE(HasInOrder(Result.Lines, QStringList{"Debug.Connect();"} + StillUsable));
        EXPECT_FALSE(Result.Lines.contains("[AfterTargetConnect]"));
    }
}

TEST(ProgramFailures, AFailedDownloadIsReportedIfAskedForAndTheSessionGoesOn) {
    struct {
        const char* sPhase;
        const char* sText;
    } const aCase[] = {
        {"compare", "error during compare phase"},
        {"program", "error during program/erase phase"},
        {"verify", "error during verification phase"},
        {"other", "Novik reports an unspecified error"},
    };
    for (const auto& Case : aCase) {
        for (const bool IsVerified : {false, true}) {
            SCOPED_TRACE(QStringLiteral("%1 %2").arg(Case.sPhase).arg(IsVerified).toStdString());
            const CProgramRun Run;
            const PROGRAM_RESULT Result = Run.Run(MakeProject(
                OpenDemo() +
                    QStringLiteral("  Edit.SysVar (VAR_VERIFY_DOWNLOAD, %1);\n  Debug.Start();\n").arg(IsVerified),
                QStringLiteral("void AfterTargetConnect (void) { Exec.Command (\"SimFailDownload %1\"); }\n"
                               "void AfterTargetHalt (void) { Util.Log (\"[halted]\"); Debug.Stop();\n%2}\n")
                    .arg(Case.sPhase, STILL_USABLE)));
            EXPECT_EQ(Result.ExitCode, 0);
            const QStringList Report = {Case.sText,
                                        "Unsuccessfull Data Download: The data file was not downloaded correctly.",
                                        QLatin1String("  ") + Case.sText};
            EXPECT_TRUE(HasInOrder(Result.Lines,
                                   (IsVerified ? Report : QStringList()) + QStringList{"[halted]"} + StillUsable));
            EXPECT_EQ(Result.Lines.contains(Case.sText), IsVerified);
        }
    }
}

TEST(ProgramFailures, ALostConnectionEndsTheSession) {
    const CProgramRun Run;
    const PROGRAM_RESULT Result = Run.Run(
        MakeProject(OpenDemo() + "  Debug.Start();\n", QLatin1String("void AfterTargetHalt (void) {\n"
                                                                     "  Exec.Command (\"SimLoseAfterMs 50\");\n"
                                                                     "  Debug.Continue();\n"
                                                                     "}\n"
                                                                     "void AfterTargetDisconnect (void) {\n"
                                                                     "  Util.Log (\"[AfterTargetDisconnect]\");\n") +
                                                           STILL_USABLE + "}\n"));
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_TRUE(
        HasInOrder(Result.Lines, QStringList{"Novik: connection to target device lost.",
                                             "Novik: disconnected from target device", "[AfterTargetDisconnect]"} +
                                     StillUsable));
}

TEST(ProgramFailures, CommandErrorsFollowTheirEcho) {
    struct {
        const char* sCall;
        const char* sEcho;
        const char* sError; ///< null: no error line
    } const aCase[] = {
        {"Debug.Stop()", "Debug.Stop()", "not connected"},
        {"Debug.Disconnect()", "Debug.Disconnect()", "not connected"},
        {"Debug.Download()", "Debug.Download()", "not connected"},
        {"Debug.StepInto()", "Debug.StepInto()", "not connected"},
        {"Debug.StepOver()", "Debug.StepOver()", "not connected"},
        {"Debug.StepOut()", "Debug.StepOut()", "not connected"},
        {"Debug.Reset()", "Debug.Reset()", "not connected"},
        {"Debug.RunTo(\"main\")", "Debug.RunTo (\"main\")", "not connected"},
        {"Exec.Reset()", "Exec.Reset()", "not connected"},
        {"Exec.Download(\"x.elf\")", "Exec.Download (\"x.elf\")", "not connected"},
        {"Debug.SetResetMode(77)", "Debug.SetResetMode (0x4D)", "invalid parameter"},
        {"Project.SetHostIF(\"Smoke\", \"\")", "Project.SetHostIF (\"Smoke\", \"\")", "unknown host interface"},
        {"Project.SetTargetIF(\"Rope\")", "Project.SetTargetIF (\"Rope\")", "unknown target interface"},
        {"Project.SetTIFSpeed(\"fast\")", "Project.SetTIFSpeed (\"fast\")", "invalid parameter"},
        {"Toolbar.Show(\"Nothing\")", "Toolbar.Show (\"Nothing\")", "unknown toolbar"},
        {"Break.Clear(0x100)", "Break.Clear (0x00000100)", "Breakpoint not set"},
        {"Break.SetOnSrc(\"nowhere.c:7\")", "Break.SetOnSrc (\"nowhere.c:7\")", "invalid parameter"},
        {"File.Close(\"nothing.c\")", "File.Close (\"nothing.c\")", "file is not open"},
        {"Debug.SetResetMode(RM_RESET_HALT)", "Debug.SetResetMode (RM_RESET_HALT)", nullptr},
        {"Debug.SetConnectMode(CM_ATTACH)", "Debug.SetConnectMode (CM_ATTACH)", nullptr},
        {"Edit.SysVar(VAR_VERIFY_DOWNLOAD, 1)", "Edit.SysVar (0xB, 0x1)", nullptr},
    };
    const CProgramRun Run;
    QString sCalls;
    QStringList Expected;
    for (const auto& Case : aCase) {
        sCalls += QStringLiteral("  %1;\n").arg(Case.sCall);
        Expected.append(QLatin1String(Case.sEcho) + ";");
        if (Case.sError != nullptr) {
            Expected.append(QLatin1String(Case.sEcho) + ": " + Case.sError);
        }
    }
    const PROGRAM_RESULT Result = Run.Run(MakeProject(sCalls + STILL_USABLE));
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_TRUE(HasInOrder(Result.Lines, Expected + StillUsable));
    EXPECT_EQ(Matching(Result.Lines, "\\): "), Matching(Expected + StillUsable, "\\): "))
        << Result.Lines.join('\n').toStdString();
}

TEST(ProgramFailures, ClosingWhileTheTargetRunsWritesTheSettings) {
    const CProgramRun Run;
    const PROGRAM_RESULT Result =
        Run.Run(MakeProject(OpenDemo() + "  Debug.Start();\n", "void AfterTargetHalt (void) {\n"
                                                               "  Edit.Preference (PREF_TAB_SPACING, 7);\n"
                                                               "  Toolbar.Close (\"File\");\n"
                                                               "  Debug.Continue();\n"
                                                               "  File.Exit();\n"
                                                               "}\n"));
    EXPECT_TRUE(Result.HasEnded);
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_EQ(Run.Setting("AppData/MainWindow/RecentProjects").toStringList(), QStringList{Run.Path("test.dbgprj")});
    EXPECT_EQ(Run.Setting("AppData/MainWindow/Version").toString(), "V2.52a");
    EXPECT_EQ(Run.Setting("AppData/Preferences/Preferences/PREF_TAB_SPACING").toInt(), 7);
    EXPECT_FALSE(Run.Setting("AppData/Perspectives/Debug/ToolbarFile").toBool());
    EXPECT_TRUE(Run.Setting("AppData/Perspectives/Debug/ToolbarDebugState").toBool());
    EXPECT_FALSE(Run.Setting("AppData/MainWindow/Geometry").toByteArray().isEmpty());
    EXPECT_TRUE(Run.Setting("AppData/MainWindow/DefaultDirOpen").isValid());
    EXPECT_TRUE(Run.Setting("AppData/MainWindow/DefaultDirSave").isValid());
}

TEST(ProgramFailures, TheProgramLogHoldsWhatTheConsoleDoesNot) {
    const CProgramRun Run;
    const PROGRAM_RESULT Result =
        Run.Run(MakeProject("  File.Exit();\n"), {"-logfile", Run.Path("program.log"), "-loginterval", "1"});
    EXPECT_EQ(Result.ExitCode, 0);
    QFile Log(Run.Path("program.log"));
    ASSERT_TRUE(Log.open(QIODevice::ReadOnly));
    const QString sText = QString::fromUtf8(Log.readAll());
    EXPECT_TRUE(sText.contains(" i  Novik software found at: " BRASK_BINARY_DIR)) << sText.toStdString();
}
