#include "tests/app/ProgramRun.h"

#include <QFile>
#include <gmock/gmock.h>

// The order of a whole session, told by event functions that log their names.

namespace {

const QStringList Notifications = {"BeforeTargetConnect",   "AfterTargetConnect",   "BeforeTargetReset",
                                   "AfterTargetReset",      "BeforeTargetDownload", "BeforeTargetDisconnect",
                                   "AfterTargetDisconnect", "BeforeTargetResume"};

// Says where the target has stopped. At main it goes on to the breakpoint, there the session ends.
constexpr const char* HALT_FUNCTION = "void AfterTargetHalt (void) {\n"
                                      "  unsigned int PC;\n"
                                      "  PC = Target.GetReg (\"PC\");\n"
                                      "  if (PC == Elf.GetExprValue (\"main\")) {\n"
                                      "    Util.Log (\"[AfterTargetHalt at main]\");\n"
                                      "    Break.SetOnSrc (\"Calc_Sort\");\n"
                                      "    Debug.Continue();\n"
                                      "  } else if (PC == Elf.GetExprValue (\"Calc_Sort\")) {\n"
                                      "    Util.Log (\"[AfterTargetHalt at Calc_Sort]\");\n"
                                      "    Debug.Stop();\n"
                                      "    File.Exit();\n"
                                      "  } else {\n"
                                      "    Util.Log (\"[AfterTargetHalt elsewhere]\");\n"
                                      "  }\n"
                                      "}\n";

constexpr const char* TARGET_CONNECT = "void TargetConnect (void) {\n"
                                       "  Util.Log (\"[TargetConnect]\");\n"
                                       "  Exec.Connect();\n"
                                       "}\n";
constexpr const char* TARGET_RESET = "void TargetReset (void) {\n"
                                     "  Util.Log (\"[TargetReset]\");\n"
                                     "  Exec.Reset();\n"
                                     "}\n";
constexpr const char* DEBUG_START = "void DebugStart (void) {\n"
                                    "  Util.Log (\"[DebugStart]\");\n"
                                    "  Debug.Connect();\n"
                                    "}\n";
constexpr const char* AFTER_DOWNLOAD = "void AfterTargetDownload (void) {\n"
                                       "  unsigned int Base;\n"
                                       "  Util.Log (\"[AfterTargetDownload]\");\n"
                                       "  Base = Elf.GetBaseAddr();\n"
                                       "  Target.SetReg (\"SP\", Target.ReadU32 (Base));\n"
                                       "  Target.SetReg (\"PC\", Target.ReadU32 (Base + 4));\n"
                                       "}\n";

QString TargetDownloadProject() {
    return QStringLiteral("void TargetDownload (void) {\n"
                          "  Util.Log (\"[TargetDownload]\");\n"
                          "  Exec.Download (\"%1\");\n"
                          "}\n")
        .arg(DemoElf());
}

struct CHAIN_CASE {
    const char* sName;
    QString sFunctions;
    QStringList Replaced; ///< where the chain differs: "name=names that stand in its place"
};

QStringList ExpectedChain(const QStringList& Replaced) {
    QStringList Chain = {"connect start",
                         "[BeforeTargetConnect]",
                         "connect",
                         "connected",
                         "[AfterTargetConnect]",
                         "[BeforeTargetReset]",
                         "reset",
                         "[AfterTargetReset]",
                         "[BeforeTargetDownload]",
                         "download",
                         "prepared",
                         "[AfterTargetHalt at main]",
                         "[BeforeTargetResume]",
                         "[AfterTargetHalt at Calc_Sort]",
                         "[BeforeTargetDisconnect]",
                         "disconnected",
                         "[AfterTargetDisconnect]"};
    Chain.replaceInStrings("disconnected", "Novik: disconnected from target device");
    Chain.replace(Chain.indexOf("connected"), "Novik: connected to target device");
    for (const QString& sPair : Replaced) {
        Chain.replace(Chain.indexOf(sPair.section('=', 0, 0)), sPair.section('=', 1));
    }
    for (const char* sBuiltIn : {"connect start", "connect", "reset", "download", "prepared"}) {
        Chain.removeAll(QLatin1String(sBuiltIn));
    }
    return Chain;
}

std::vector<std::string> Std(const QStringList& Lines) {
    std::vector<std::string> Result;
    for (const QString& sLine : Lines) {
        Result.push_back(sLine.toStdString());
    }
    return Result;
}

} // namespace

TEST(ProgramChain, EachStepRunsOnceAndInOrder) {
    const QString sAll =
        QLatin1String(TARGET_CONNECT) + TARGET_RESET + DEBUG_START + AFTER_DOWNLOAD + TargetDownloadProject();
    const CHAIN_CASE aCase[] = {
        {"built-in", {}, {}},
        {"TargetConnect", TARGET_CONNECT, {"connect=[TargetConnect]"}},
        {"TargetReset", TARGET_RESET, {"reset=[TargetReset]"}},
        {"TargetDownload", TargetDownloadProject(), {"download=[TargetDownload]"}},
        {"AfterTargetDownload", AFTER_DOWNLOAD, {"prepared=[AfterTargetDownload]"}},
        {"DebugStart", DEBUG_START, {"connect start=[DebugStart]"}},
        {"all",
         sAll,
         {"connect start=[DebugStart]", "connect=[TargetConnect]", "reset=[TargetReset]", "download=[TargetDownload]",
          "prepared=[AfterTargetDownload]"}},
    };
    for (const CHAIN_CASE& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        const CProgramRun Run;
        const PROGRAM_RESULT Result =
            Run.Run("void OnProjectLoad (void) {\n" + ProjectHead() + OpenDemo() + "  Debug.Start();\n}\n" +
                    LoggingFunctions(Notifications) + Case.sFunctions + HALT_FUNCTION);
        EXPECT_TRUE(Result.HasEnded);
        EXPECT_EQ(Result.ExitCode, 0);
        EXPECT_EQ(Std(Matching(Result.Lines, "^\\[|target device$")), Std(ExpectedChain(Case.Replaced)))
            << Result.Lines.join('\n').toStdString();
    }
}

TEST(ProgramChain, ConsoleLogIsTheWholeSession) {
    const CProgramRun Run;
    Run.WriteFile("console.log", "left over from an earlier run\n");
    const PROGRAM_RESULT Result = Run.Run("void OnProjectLoad (void) {\n" + ProjectHead() +
                                          "  Project.AddSvdFile (\"$(ConfigDir)/CPU/Cortex-M4F.svd\");\n" + OpenDemo() +
                                          "  Debug.Start();\n}\n" + HALT_FUNCTION);
    const QStringList Expected = {
        "Project.SetConsoleLogFile (\"$(ProjectDir)/console.log\");",
        "Project.SetDevice (\"Cortex-M4\");",
        "Project.SetHostIF (\"USB\", \"\");",
        "Project.SetTargetIF (\"SWD\");",
        "Project.SetTIFSpeed (\"4 MHz\");",
        "Project.AddSvdFile (\"$(ConfigDir)/CPU/Cortex-M4F.svd\");",
        "File.Open (\"" + DemoElf() + "\");",
        "File.Open: completed in N ms",
        "Debug.Start();",
        "Novik: Opened probe 100000001",
        "Novik: Connected to Cortex-M4",
        "Novik: connected to target device",
        "Target.GetReg (\"PC\");",
        "Elf.GetExprValue (\"main\");",
        "[AfterTargetHalt at main]",
        "Break.SetOnSrc (\"Calc_Sort\");",
        "Debug.Continue();",
        "Target.GetReg (\"PC\");",
        "Elf.GetExprValue (\"main\");",
        "Elf.GetExprValue (\"Calc_Sort\");",
        "[AfterTargetHalt at Calc_Sort]",
        "Debug.Stop();",
        "Novik: Closed probe",
        "Novik: disconnected from target device",
        "File.Exit();",
    };
    // What the console showed before its log was opened may or may not be in it.
    const qsizetype Start = Result.Lines.indexOf(Expected.first());
    EXPECT_EQ(Std(Result.Lines.mid(qMax(0, Start))), Std(Expected));
    EXPECT_EQ(Result.ExitCode, 0);
}

TEST(ProgramChain, AttachingLeavesTheTargetAlone) {
    for (const QString& sMode : {QStringLiteral("CM_ATTACH"), QStringLiteral("CM_ATTACH_HALT")}) {
        SCOPED_TRACE(sMode.toStdString());
        const CProgramRun Run;
        // The first session leaves the program running; the second one must find it so.
        const PROGRAM_RESULT Result =
            Run.Run("void OnProjectLoad (void) {\n" + ProjectHead() + OpenDemo() + "  Debug.Start();\n}\n" +
                    LoggingFunctions({"BeforeTargetReset", "BeforeTargetDownload", "AfterTargetConnect"}) +
                    "void AfterTargetHalt (void) {\n"
                    "  if (Target.GetReg (\"PC\") == Elf.GetExprValue (\"main\")) {\n"
                    "    Util.Log (\"[at main]\");\n"
                    "    Debug.Continue();\n"
                    "    Debug.Stop();\n"
                    "    Debug.SetConnectMode (" +
                    sMode +
                    ");\n"
                    "    Debug.Connect();\n" +
                    (sMode == "CM_ATTACH" ? "    Debug.Halt();\n" : "") +
                    "  } else {\n"
                    "    Util.Log (\"[halted]\");\n"
                    "    File.Exit();\n"
                    "  }\n"
                    "}\n");
        EXPECT_EQ(Result.ExitCode, 0);
        EXPECT_EQ(Std(Matching(Result.Lines, "^\\[")),
                  Std({"[AfterTargetConnect]", "[BeforeTargetReset]", "[BeforeTargetDownload]", "[at main]",
                       "[AfterTargetConnect]", "[halted]"}))
            << Result.Lines.join('\n').toStdString();
    }
}

TEST(ProgramChain, StepsOfAHaltFunctionEndInItsLastHalt) {
    const CProgramRun Run;
    const PROGRAM_RESULT Result = Run.Run("void OnProjectLoad (void) {\n" + ProjectHead() + OpenDemo() +
                                          "  Debug.Start();\n}\n"
                                          "void AfterTargetHalt (void) {\n"
                                          "  int i;\n"
                                          "  Util.Log (\"[AfterTargetHalt]\");\n"
                                          "  if (Target.GetReg (\"PC\") == Elf.GetExprValue (\"main\")) {\n"
                                          "    i = 20;\n"
                                          "    while (i > 0) { Debug.StepInto(); i -= 1; }\n"
                                          "  } else {\n"
                                          "    File.Exit();\n"
                                          "  }\n"
                                          "}\n");
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_EQ(Matching(Result.Lines, "^Debug.StepInto\\(\\);$").size(), 20);
    EXPECT_EQ(Matching(Result.Lines, "^\\[AfterTargetHalt\\]$").size(), 2) << Result.Lines.join('\n').toStdString();
    EXPECT_TRUE(Matching(Result.Lines, "step in progress").isEmpty());
}
