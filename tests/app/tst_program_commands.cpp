#include "settings/Colors.h"
#include "settings/SysVars.h"
#include "tests/app/CommandCases.h"
#include "tests/app/ProgramRun.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

// Each command of frame, settings and projects, from a project script: what the console log says of it, to the letter.

namespace {

/// Lines between two marks of the log.
QStringList Between(const QStringList& Lines, const QString& sFirst, const QString& sLast) {
    const qsizetype First = Lines.indexOf(sFirst);
    const qsizetype Last = Lines.indexOf(sLast);
    return First >= 0 && Last > First ? Lines.mid(First + 1, Last - First - 1) : QStringList("mark is missing");
}

TEST(ProgramCommands, EachSaysWhatItDoes) {
    QString sProject = "void OnProjectLoad (void) {\n  Project.SetConsoleLogFile (\"$(ProjectDir)/console.log\");\n";
    int Number = 0;
    for (const LINE_CASE& Case : aCommandCase) {
        sProject += QStringLiteral("  Util.Log (\"mark %1\");\n  %2\n").arg(Number++).arg(QLatin1String(Case.sCall));
    }
    sProject += QStringLiteral("  Util.Log (\"mark %1\");\n  File.Exit();\n}\n").arg(Number);
    const CProgramRun Run;
    const PROGRAM_RESULT Result = Run.Run(sProject, {"--trust"}); // some of them write elsewhere
    ASSERT_TRUE(Result.HasEnded);
    Number = 0;
    for (const LINE_CASE& Case : aCommandCase) {
        QStringList Expected;
        if (Case.sEcho != nullptr) {
            Expected.append(Case.sEcho);
        }
        if (Case.sError != nullptr) {
            Expected.append(QString(Case.sEcho).remove(';') + ": " + Case.sError);
        }
        QStringList Found =
            Between(Result.Lines, QStringLiteral("mark %1").arg(Number), QStringLiteral("mark %1").arg(Number + 1));
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
        const I32 Other = Values.isEmpty() ? *pVar->pDefault + 1
                                           : (Values.last() == *pVar->pDefault ? Values.first() : Values.last());
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
    ASSERT_EQ(Run.Run("void OnProjectLoad (void) {\n  Edit.Color (COLOR_PC_ACTIVE, \"#77FF6D\");\n  File.Exit();\n}\n")
                  .ExitCode,
              0);
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
                                              "  Edit.Preference (PREF_TAB_SPACING, 5);\n  File.Exit();\n}\n");
        EXPECT_EQ(Result.ExitCode, 0);
        EXPECT_EQ(Matching(Result.Printed, "^The settings in .*Brask.conf can't be read\\. Defaults are used").size(),
                  1);
        QFile Kept(Run.Path("config/VANTLE/Brask.conf.damaged"));
        ASSERT_TRUE(Kept.open(QIODevice::ReadOnly));
        EXPECT_TRUE(Kept.readAll() == Store.Data);
        EXPECT_EQ(Run.Setting("AppData/Preferences/Preferences/PREF_TAB_SPACING").toInt(), 5);
    }
}

TEST(ProgramCommands, AProjectThatClosesIsNotWarnedAboutAndKeepsItsLayout) {
    const CProgramRun Run;
    const QByteArray Layout = "OpenToolbar=\"Views\", Floating=0, x=0, y=0\n";
    Run.WriteFile("test.dbgprj.user", Layout);
    const PROGRAM_RESULT Result = Run.Run("void OnProjectLoad (void) {\n  File.Exit();\n}\n");
    EXPECT_EQ(Result.ExitCode, 0);
    EXPECT_TRUE(Matching(Result.Printed, "^Project Warning|No CPU register").isEmpty());
    QFile User(Run.Path("test.dbgprj.user"));
    ASSERT_TRUE(User.open(QIODevice::ReadOnly));
    EXPECT_EQ(User.readAll(), Layout);
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
