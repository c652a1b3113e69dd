#include "settings/Colors.h"
#include "settings/SysVars.h"
#include "tests/app/ProgramRun.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

// Each command of frame, settings and projects, from a project script: what the console log says of it, to the letter.

namespace {

struct LINE_CASE {
    const char* sCall;
    const char* sEcho;  ///< null: nothing is echoed
    const char* sError; ///< null: none
};

constexpr const char* INVALID = "invalid parameter";

// clang-format off
const LINE_CASE aCase[] = {
    // Edit
    {"Edit.Preference (PREF_TAB_SPACING, 8);", "Edit.Preference (0x22, 0x8);", nullptr},
    {"Edit.Preference (PREF_TAB_SPACING, 9);", "Edit.Preference (0x22, 0x9);", INVALID},
    {"Edit.Preference (57, 1);", "Edit.Preference (0x39, 0x1);", "unknown preference"},
    {"Edit.Preference (PREF_MAX_SYMBOL_MEMBERS, 100000);", "Edit.Preference (0x30, 0x186A0);", nullptr},
    {"Edit.Preference (PREF_MAX_SYMBOL_MEMBERS, 100001);", "Edit.Preference (0x30, 0x186A1);", INVALID},
    {"Edit.SysVar (VAR_RESET_MODE, 2);", "Edit.SysVar (0x0, 0x2);", nullptr},
    {"Edit.SysVar (VAR_RESET_MODE, 3);", "Edit.SysVar (0x0, 0x3);", INVALID},
    {"Edit.SysVar (57, 3);", "Edit.SysVar (0x39, 0x3);", "unknown system variable"},
    {"Edit.SysVar (VAR_TIF_SPEED, FREQ_4_MHZ);", "Edit.SysVar (0x4, 0x3D0900);", nullptr},
    {"Edit.SysVar (VAR_TRACE_PORT_DELAY_0, -100000);", "Edit.SysVar (0x10, -100000);", nullptr},
    {"Edit.SysVar (VAR_HSS_SPEED, 3);", "Edit.SysVar (0xD, 0x3);", INVALID},
    {"Edit.Color (COLOR_PC_ACTIVE, \"#112233\");", "Edit.Color (0x8, \"#112233\");", nullptr},
    {"Edit.Color (COLOR_PC_ACTIVE, \"no color\");", "Edit.Color (0x8, \"no color\");", INVALID},
    {"Edit.Color (46, \"red\");", "Edit.Color (0x2E, \"red\");", "unknown color"},
    {"Edit.Font (FONT_CONSOLE, \"DejaVu Sans,  9pt,  Bold\");", "Edit.Font (0x8, \"DejaVu Sans,  9pt,  Bold\");", nullptr},
    {"Edit.Font (FONT_CONSOLE, \"DejaVu Sans\");", "Edit.Font (0x8, \"DejaVu Sans\");", INVALID},
    {"Edit.Font (11, \"DejaVu Sans,  9pt,  Bold\");", "Edit.Font (0xB, \"DejaVu Sans,  9pt,  Bold\");", "unknown font"},
    {"Edit.Preferences();", "Edit.Preferences();", nullptr},
    {"Edit.SysVars();", "Edit.SysVars();", nullptr},
    {"Edit.NovikSettings();", "Edit.NovikSettings();", nullptr},
    {"Edit.TraceSettings();", "Edit.TraceSettings();", nullptr},
    // Project
    {"Project.SetDevice (\"No Such Device\");", "Project.SetDevice (\"No Such Device\");", INVALID},
    {"Project.SetDevice (\"Cortex-M4\");", "Project.SetDevice (\"Cortex-M4\");", nullptr},
    {"Project.SetHostIF (\"USB\", \"123\");", "Project.SetHostIF (\"USB\", \"123\");", nullptr},
    {"Project.SetHostIF (\"USB\", \"x\");", "Project.SetHostIF (\"USB\", \"x\");", "invalid number"},
    {"Project.SetHostIF (\"Serial\", \"\");", "Project.SetHostIF (\"Serial\", \"\");", "unknown host interface"},
    {"Project.SetTargetIF (\"JTAG\");", "Project.SetTargetIF (\"JTAG\");", nullptr},
    {"Project.SetTargetIF (\"UART\");", "Project.SetTargetIF (\"UART\");", "unknown target interface"},
    {"Project.SetTIFSpeed (\"12 MHz\");", "Project.SetTIFSpeed (\"12 MHz\");", nullptr},
    {"Project.SetTIFSpeed (\"fast\");", "Project.SetTIFSpeed (\"fast\");", INVALID},
    {"Project.SetTIFScanChain (1, 4);", "Project.SetJTAGConfig (0x1, 0x4);", nullptr},
    {"Project.AddSvdFile (\"$(ConfigDir)/CPU/Cortex-M3.svd\");", "Project.AddSvdFile (\"$(ConfigDir)/CPU/Cortex-M3.svd\");", nullptr},
    {"Project.SetBPType (1);", "Project.SetBPType (BP_TYPE_HARD);", nullptr},
    {"Project.SetBPType (7);", "Project.SetBPType (0x7);", INVALID},
    {"Project.SetTraceSource (\"Trace Pins\");", "Project.SetTraceSource (\"Trace Pins\");", nullptr},
    {"Project.SetTraceSource (\"Air\");", "Project.SetTraceSource (\"Air\");", INVALID},
    {"Project.SetTracePortWidth (2);", "Project.SetTracePortWidth (0x2);", nullptr},
    {"Project.SetTracePortWidth (3);", "Project.SetTracePortWidth (0x3);", INVALID},
    {"Project.SetTraceTiming (1, 2, 3, 4);", "Project.SetTraceTiming (0x1, 0x2, 0x3, 0x4);", nullptr},
    {"Project.SetTraceTiming (1, 2, 3, 400000);", "Project.SetTraceTiming (0x1, 0x2, 0x3, 0x61A80);", INVALID},
    {"Project.SetSemihosting (1);", "Project.SetSemihosting (0x1);", nullptr},
    {"Project.SetRTT (0);", "Project.SetRTT (0x0);", nullptr},
    {"Project.AddRootPath (\"$(ProjectDir)/root\");", "Project.AddRootPath (\"$(ProjectDir)/root\");", nullptr},
    {"Project.AddSearchPath (\"src\");", "Project.AddSearchPath (\"src\");", nullptr},
    {"Project.AddFileAlias (\"a.elf\", \"b.elf\");", "Project.AddFileAlias (\"a.elf\", \"b.elf\");", nullptr},
    {"Project.AddPathSubstitute (\"C:/x\", \"/y\");", "Project.AddPathSubstitute (\"C:/x\", \"/y\");", nullptr},
    {"Project.ConfigSWO (\"2 MHz\", \"48 MHz\");", "Project.ConfigSWO (\"2 MHz\", \"48 MHz\");", nullptr},
    {"Project.ConfigSWO (\"2 MHz\", \"x\");", "Project.ConfigSWO (\"2 MHz\", \"x\");", INVALID},
    // File
    {"File.Open (\"/no/such.elf\");", "File.Open (\"/no/such.elf\");", "file not found"},
    {"File.Open (\"/no/such.dbgprj\");", "File.Open (\"/no/such.dbgprj\");", "file not found"},
    {"File.Close (\"none.c\");", "File.Close (\"none.c\");", "file is not open"},
    {"File.CloseAll();", "File.CloseAll();", nullptr},
    {"File.CloseAllButThis();", "File.CloseAllButThis();", nullptr},
    {"File.SaveProjectAs (\"/no/such/place/p\");", "File.SaveProjectAs (\"/no/such/place/p\");", "invalid project filename"},
    {"File.NewProjectWizard();", "File.NewProjectWizard();", nullptr},
    // Window, tool bars, the rest
    {"Window.Show (\"Console\");", "Window.Show (\"Console\");", nullptr},
    {"Window.Show (\"Kitchen\");", "Window.Show (\"Kitchen\");", "unknown window"},
    {"Window.Close (\"Kitchen\");", "Window.Close (\"Kitchen\");", "unknown window"},
    {"Window.Clear (\"Kitchen\");", "Window.Clear (\"Kitchen\");", "unknown window"},
    {"Toolbar.Show (\"Views\");", "Toolbar.Show (\"Views\");", nullptr},
    {"Toolbar.Close (\"Views\");", "Toolbar.Close (\"Views\");", nullptr},
    {"Toolbar.Show (\"Bar\");", "Toolbar.Show (\"Bar\");", "unknown toolbar"},
    {"Help.Manual();", "Help.Manual();", nullptr},
    {"Util.Sleep (1);", "Util.Sleep (0x1);", nullptr},
    {"Debug.SetResetMode (RM_BREAK_AT_SYMBOL);", "Debug.SetResetMode (RM_BREAK_AT_SYMBOL);", nullptr},
    {"Debug.SetResetMode (9);", "Debug.SetResetMode (0x9);", INVALID},
    {"Debug.SetConnectMode (CM_ATTACH);", "Debug.SetConnectMode (CM_ATTACH);", nullptr},
    {"Debug.Stop();", "Debug.Stop();", "not connected"},
};
// clang-format on

/// Lines between two marks of the log.
QStringList _Between(const QStringList& Lines, const QString& sFirst, const QString& sLast) {
    const qsizetype First = Lines.indexOf(sFirst);
    const qsizetype Last = Lines.indexOf(sLast);
    return First >= 0 && Last > First ? Lines.mid(First + 1, Last - First - 1) : QStringList("mark is missing");
}

TEST(ProgramCommands, EachSaysWhatItDoes) {
    QString sProject = "void OnProjectLoad (void) {\n  Project.SetConsoleLogFile (\"$(ProjectDir)/console.log\");\n";
    int Number = 0;
    for (const LINE_CASE& Case : aCase) {
        sProject += QStringLiteral("  Util.Log (\"mark %1\");\n  %2\n").arg(Number++).arg(QLatin1String(Case.sCall));
    }
    sProject += QStringLiteral("  Util.Log (\"mark %1\");\n  File.Exit();\n}\n").arg(Number);
    const CProgramRun Run;
    const PROGRAM_RESULT Result = Run.Run(sProject);
    ASSERT_TRUE(Result.HasEnded);
    Number = 0;
    for (const LINE_CASE& Case : aCase) {
        QStringList Expected;
        if (Case.sEcho != nullptr) {
            Expected.append(Case.sEcho);
        }
        if (Case.sError != nullptr) {
            Expected.append(QString(Case.sEcho).remove(';') + ": " + Case.sError);
        }
        QStringList Found = _Between(Result.Lines, QStringLiteral("mark %1").arg(Number), QStringLiteral("mark %1").arg(Number + 1));
        Found.removeIf([](const QString& sLine) { return sLine.startsWith("File not found: "); });
        EXPECT_EQ(Found.join('\n').toStdString(), Expected.join('\n').toStdString()) << Case.sCall;
        ++Number;
    }
}

TEST(ProgramCommands, SettingsSurviveARestart) {
    QString sProject = "void OnProjectLoad (void) {\n";
    QMap<QString, QString> Expected;
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR* pVar = GetSysVar(i);
        const QList<I32> Values = SysVarValues(pVar);
        const I32 Other = Values.isEmpty() ? *pVar->pDefault + 1 : (Values.last() == *pVar->pDefault ? Values.first() : Values.last());
        sProject += QStringLiteral("  Edit.Preference (%1, %2);\n").arg(QLatin1String(pVar->sName)).arg(Other);
        Expected.insert(QStringLiteral("AppData/Preferences/Preferences/") + pVar->sName, QString::number(Other));
    }
    for (const COLOR_ROW& Row : aColorRow) {
        const QString sColor = QColor::fromRgb(0x101010 + static_cast<QRgb>(Row.Id) * 3).name();
        sProject += QStringLiteral("  Edit.Color (%1, \"%2\");\n").arg(QLatin1String(Row.sName), sColor);
        Expected.insert(QStringLiteral("AppData/Preferences/Colors/") + Row.sName, sColor);
    }
    const CProgramRun Run;
    ASSERT_EQ(Run.Run(sProject + "  File.Exit();\n}\n").ExitCode, 0);
    ASSERT_EQ(Run.Run("void OnProjectLoad (void) {\n  File.Exit();\n}\n").ExitCode, 0);
    for (auto It = Expected.constBegin(); It != Expected.constEnd(); ++It) {
        EXPECT_EQ(Run.Setting(It.key()).toString().toStdString(), It.value().toStdString()) << It.key().toStdString();
    }
    // A colour taken back leaves no key.
    ASSERT_EQ(Run.Run("void OnProjectLoad (void) {\n  Edit.Color (COLOR_PC_ACTIVE, \"#77FF6D\");\n  File.Exit();\n}\n").ExitCode, 0);
    EXPECT_FALSE(Run.Setting("AppData/Preferences/Colors/COLOR_PC_ACTIVE").isValid());
}

TEST(ProgramCommands, ADamagedSettingsStoreIsKept) {
    struct {
        const char* sName;
        QByteArray Data;
    } const aStore[] = {
        {"binary", QByteArray("\x7f\0\x01garbage without any equals sign\n\xff\xfe\n", 38).repeated(50)},
        {"huge", "[General]\nx=" + QByteArray(20 * 1024 * 1024, 'y')},
    };
    for (const auto& Store : aStore) {
        SCOPED_TRACE(Store.sName);
        const CProgramRun Run;
        ASSERT_TRUE(QDir().mkpath(Run.Path("config/VANTLE")));
        Run.WriteFile("config/VANTLE/Brask.conf", Store.Data);
        const PROGRAM_RESULT Result = Run.Run("void OnProjectLoad (void) {\n"
                                              "  Project.SetConsoleLogFile (\"$(ProjectDir)/console.log\");\n"
                                              "  Edit.Preference (PREF_TAB_SPACING, 5);\n  File.Exit();\n}\n");
        EXPECT_EQ(Result.ExitCode, 0);
        EXPECT_EQ(Matching(Result.Lines, "^The settings in .*Brask.conf can't be read\\. Defaults are used").size(), 1);
        QFile Kept(Run.Path("config/VANTLE/Brask.conf.damaged"));
        ASSERT_TRUE(Kept.open(QIODevice::ReadOnly));
        EXPECT_TRUE(Kept.readAll() == Store.Data);
        EXPECT_EQ(Run.Setting("AppData/Preferences/Preferences/PREF_TAB_SPACING").toInt(), 5);
    }
}

TEST(ProgramCommands, AProjectNobodyCanMendEndsAnUnattendedSession) {
    const CProgramRun Run;
    const PROGRAM_RESULT Result = Run.Run("void OnProjectLoad (void) {\n  int i\n}\n");
    EXPECT_TRUE(Result.HasEnded);
    EXPECT_EQ(Result.ExitCode, 1);
}

TEST(ProgramCommands, AProjectReopensToTheSameText) {
    const CProgramRun Run;
    const PROGRAM_RESULT First = Run.Run("void OnProjectLoad (void) {\n  Project.SetDevice (\"Cortex-M4\");\n"
                                         "  File.SaveProjectAs (\"$(ProjectDir)/copy\");\n  File.Exit();\n}\n");
    EXPECT_EQ(First.ExitCode, 0);
    QFile Original(Run.Path("test.dbgprj"));
    QFile Copy(Run.Path("copy.dbgprj"));
    ASSERT_TRUE(Original.open(QIODevice::ReadOnly) && Copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(Copy.readAll(), Original.readAll());
}

} // namespace
