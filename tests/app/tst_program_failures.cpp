#include "tests/app/ProgramRun.h"

#include <QFile>
#include <QRegularExpression>
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

TEST(ProgramFailures, AFailedDownloadIsReportedAndTheSessionGoesOn) {
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
            // Without verification its failure is a line in the console; a program that is incomplete is always told.
            const bool IsShown = IsVerified || QByteArray(Case.sPhase) != "verify";
            EXPECT_TRUE(
                HasInOrder(Result.Lines, Report.first(IsShown ? 3 : 1) + QStringList{"[halted]"} + StillUsable));
            EXPECT_EQ(Result.Lines.contains(Report[1]), IsShown);
        }
    }
}

TEST(ProgramFailures, AccessesThatTheTargetRefusesAreTold) {
    const QString NOWHERE = "the device has no memory there (flash 0x00000000 - 0x003FFFFF, flash 0x08000000 - "
                            "0x083FFFFF, RAM 0x20000000 - 0x200FFFFF, RAM 0x10000000 - 0x100FFFFF)";
    struct {
        const char* sCall;
        const char* sResult; // an int of a script reads as unsigned
        QString sWhy;        ///< the device's line in the console, empty for none
        const char* sLine;   ///< the command's, with its error if it has one
    } const aCase[] = {
        {"Target.WriteU32 (0x90000000, 1)", "0xFFFFFFFF", "could not write 4 bytes at 0x90000000: " + NOWHERE,
         "Target.WriteU32 (0x90000000, 0x1): could not write MCU memory"},
        {"Target.ReadU16 (0x300FFFFE)", "0xFFFFFFFF", "could not read 2 bytes at 0x300FFFFE: " + NOWHERE,
         "Target.ReadU16 (0x300FFFFE): could not read MCU memory"},
        {"Target.SaveMemory (\"$(ProjectDir)/x.bin\", 0x200FFFF0, 0x20)", "0xFFFFFFFF",
         "could not read 16 bytes at 0x20100000: " + NOWHERE,
         "Target.SaveMemory (\"$(ProjectDir)/x.bin\", 0x200FFFF0, 0x20): could not read MCU memory"},
        {"Target.FillMemory (0x08000010, 0x20, 0xAA)", "0xFFFFFFFF",
         "could not write 32 bytes at 0x08000010: only a download writes flash 0x08000000 - 0x083FFFFF",
         "Target.FillMemory (0x08000010, 0x20, 0xAA): could not write MCU memory"},
        {"Target.LoadMemory (\"$(ProjectDir)/two.hex\", 0)", "0xFFFFFFFF",
         "could not write 2 bytes at 0x300FFFFF: " + NOWHERE,
         "Target.LoadMemory (\"$(ProjectDir)/two.hex\", 0x00000000): could not write MCU memory"},
        {"Target.WriteU8 (0x20000000, 1)", "0", "", "Target.WriteU8 (0x20000000, 0x1);"},
        {"Target.GetReg (\"R3\")", "0xFFFFFFFF", "could not read register 3 (4 bytes): the target refused it",
         "Target.GetReg (\"R3\"): could not read the register"},
        {"Target.GetReg (\"SPSR\")", "0xFFFFFFFF", "", "Target.GetReg (\"SPSR\"): invalid parameter"},
        {"Target.SetReg (\"R3\", 4)", "0xFFFFFFFF",
         "could not write 0x00000004 (4 bytes) to register 3: the target refused it",
         "Target.SetReg (\"R3\", 0x4): could not write the register"},
        {"Debug.SetNextPC (0x100)", "0xFFFFFFFF",
         "could not write 0x00000100 (4 bytes) to register 15: the target refused it",
         "Debug.SetNextPC (0x00000100): could not write the register"},
        {"Exec.Reset()", "0xFFFFFFFF", "could not reset the target: the target refused it",
         "Exec.Reset(): could not reset the target"},
        {"Break.Set (0x10C)", "0xFFFFFFFF",
         "could not set a breakpoint at 0x0000010C: all 6 comparators of the device are in use, and a software "
         "breakpoint can't stand in flash",
         "Break.Set (0x0000010C): could not set the breakpoint"},
        {"Break.SetEx (0x10A, BP_TYPE_SOFT)", "0xFFFFFFFF",
         "could not set a breakpoint at 0x0000010A: a software breakpoint can't stand in flash",
         "Break.SetEx (0x0000010A, BP_TYPE_SOFT): could not set the breakpoint"},
        {"Break.SetOnData (0x20000000, 5, AT_WRITE_ONLY, AW_WORD, 0, -1)", "0xFFFFFFFF",
         "could not set a data breakpoint at 0x20000000: address mask invalid or not supported by target device",
         "Break.SetOnData (0x20000000, 0x5, AT_WRITE_ONLY, 0x4, 0x0, 0xFFFFFFFF): could not set the data breakpoint"},
        {"Break.DisableOnData (0x20000000, 5, AT_WRITE_ONLY, AW_WORD, 0, -1)", "0xFFFFFFFF", "",
         "Break.DisableOnData (0x20000000, 0x5, AT_WRITE_ONLY, 0x4, 0x0, 0xFFFFFFFF): Breakpoint not set"},
        {"Break.SetOnSymbol (\"Checksum\", AT_READ_WRITE, AW_WORD, 3, 0)", "0", "",
         "Break.SetOnSymbol (\"Checksum\", AT_READ_WRITE, 0x4, 0x3, 0x0);"},
        {"Break.ClearOnSymbol (\"Checksum\", AT_READ_WRITE, AW_WORD, 3, 1)", "0xFFFFFFFF", "",
         "Break.ClearOnSymbol (\"Checksum\", AT_READ_WRITE, 0x4, 0x3, 0x1): No breakpoint matches the given "
         "parameters."},
        {"Exec.Command (\"Nonsense\")", "0xFFFFFFFF", "Nonsense: Unknown command \"Nonsense\"",
         "Exec.Command (\"Nonsense\"): the probe refused the command"},
    };
    QString sCalls = "  Exec.Command (\"SimFailRegister 3\");\n  Exec.Command (\"SimFailRegister 15\");\n"
                     "  Exec.Command (\"SimFailReset 1\");\n";
    QStringList Expected;
    for (int Addr = 0x100; Addr < 0x10C; Addr += 2) {
        sCalls += QStringLiteral("  Break.Set (%1);\n").arg(Addr);
    }
    for (const auto& Case : aCase) {
        sCalls += QStringLiteral("  Result = %1;\n  if (Result == %2) {\n    Util.Log (\"as expected\");\n  }\n")
                      .arg(Case.sCall, Case.sResult);
        Expected += Case.sWhy.isEmpty() ? QStringList() : QStringList{Case.sWhy};
        Expected += {Case.sLine, "as expected"};
    }
    const CProgramRun Run;
    Run.WriteFile("two.hex", ":02000004300FBB\n:02FFFF001122CD\n");
    const PROGRAM_RESULT Result = Run.Run(
        MakeProject(OpenDemo() + "  Debug.Start();\n", "void AfterTargetHalt (void) {\n  int Result;\n" + sCalls +
                                                           "  Exec.Command (\"SimLoseAfterCalls 0\");\n}\n" +
                                                           "void AfterTargetDisconnect (void) {\n  File.Exit();\n}\n"));
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_TRUE(HasInOrder(Result.Lines, Expected + QStringList{"Novik: connection to target device lost."}));
}

TEST(ProgramFailures, BreakpointsOutliveTheConnectionAndASilentReset) {
    const QString sFunctions = "int Where (void) {\n  int PC;\n"
                               "  PC = Target.GetReg (\"PC\");\n"
                               "  while (PC == 0xFFFFFFFF) { Util.Sleep (5); PC = Target.GetReg (\"PC\"); }\n"
                               "  return PC;\n}\n"
                               "void Begin (void) {\n  Debug.SetConnectMode (CM_ATTACH);\n  Debug.Connect();\n"
                               "  Exec.Reset();\n  Exec.Download (\"" +
                               DemoElf() +
                               "\");\n  Target.SetReg (\"SP\", Target.ReadU32 (0));\n"
                               "  Target.SetReg (\"PC\", Target.ReadU32 (4));\n  Debug.Continue();\n}\n";
    const PROGRAM_RESULT Result = CProgramRun().Run(
        sFunctions +
        MakeProject(OpenDemo() +
                    "  int A; int B; int Sort;\n  Sort = Elf.GetExprValue (\"Calc_Sort\");\n"
                    "  Break.SetOnSymbol (\"Checksum\", AT_WRITE_ONLY, AW_WORD, 0, -1);\n  Break.Set (Sort);\n"
                    "  Begin();\n  A = Where();\n  Debug.Continue();\n  B = Where();\n  Debug.Disconnect();\n"
                    "  Begin();\n  if (Where() == A) { Util.Log (\"[first again]\"); }\n"
                    "  Debug.Continue();\n  if (Where() == B) { Util.Log (\"[second again]\"); }\n"
                    "  if (A != B) { if (A == Sort || B == Sort) { Util.Log (\"[both kinds]\"); } }\n"
                    "  Debug.Halt();\n  File.Exit();\n"));
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_TRUE(HasInOrder(Result.Lines, {"[first again]", "[second again]", "[both kinds]", "File.Exit();"}));
    EXPECT_TRUE(Result.Lines.filter(QRegularExpression("^(Exec|Debug).*: ")).isEmpty());
}

TEST(ProgramFailures, ASessionDoesNotRunWhatCouldNotBeOpenedOrDownloaded) {
    struct {
        const char* sFile;
        const char* sData;
        QStringList Lines;
        bool IsStarted;
    } const aCase[] = {
        {"bad.hex", ":0100000011EF\n:00000001FF\n", {"Debug.Start(): the program file could not be opened: "}, false},
        {"bad.s19", "S1051000AABB86\n", {"Debug.Start(): the program file could not be opened: "}, false},
        {"missing.elf", nullptr, {"Debug.Start(): the program file could not be opened: "}, false},
        {"outside.mot",
         "S30790000000DEADDD\n",
         {"could not write 2 bytes at 0x90000000: the device has no memory there ",
          "Unsuccessfull Data Download: The data file was not downloaded correctly.",
          "  could not write 2 bytes at 0x90000000: "},
         true},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sFile);
        const CProgramRun Run;
        if (Case.sData != nullptr) {
            Run.WriteFile(Case.sFile, Case.sData);
        }
        const PROGRAM_RESULT Result = Run.Run(
            MakeProject(QStringLiteral("  Edit.SysVar (VAR_VERIFY_DOWNLOAD, 0);\n  File.Open (\"$(ProjectDir)/%1\");\n"
                                       "  Debug.Start();\n%2")
                            .arg(Case.sFile, QLatin1String(Case.IsStarted ? "" : "  File.Exit();\n")),
                        "void AfterTargetHalt (void) {\n  Util.Log (\"[halted]\");\n  File.Exit();\n}\n"));
        EXPECT_EQ(Result.ExitCode, 0);
        for (const QString& sLine : Case.Lines) {
            EXPECT_FALSE(Result.Lines.filter(sLine).isEmpty()) << sLine.toStdString() << "\n"
                                                               << Result.Lines.join('\n').toStdString();
        }
        EXPECT_EQ(Result.Lines.contains("[halted]"), Case.IsStarted);
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
