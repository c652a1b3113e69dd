#include "tests/app/ProgramRun.h"

#include <QFile>
#include <QProcess>
#include <csignal>
#include <gtest/gtest.h>

namespace {

constexpr int MAX_RUN_MS = 60'000;

class CRun : public CProgramRun {
public:
    explicit CRun(const QStringList& Args) : m_Args(Args) { Prepare(&m_Program); }
    void Start() { m_Program.start(QStringLiteral(BRASK_BINARY_DIR "/bin/brask"), m_Args); }
    /// True when the program has printed the text.
    bool WaitForText(const QByteArray& sText) {
        while (!m_Output.contains(sText) && m_Program.waitForReadyRead(MAX_RUN_MS)) {
            m_Output += m_Program.readAllStandardOutput();
        }
        return m_Output.contains(sText);
    }
    bool WaitForEnd() {
        const bool HasEnded = m_Program.waitForFinished(MAX_RUN_MS);
        m_Output += m_Program.readAllStandardOutput();
        return HasEnded && m_Program.exitStatus() == QProcess::NormalExit;
    }
    QProcess m_Program;
    QByteArray m_Output;

private:
    QStringList m_Args;
};

TEST(ProgramEnds, ASessionThatNobodyAttendsEndsWithAReason) {
    struct {
        const char* sName;
        const char* sProject; ///< written as "a.dbgprj"
        QStringList Args;
        const char* sReason;
    } const aCase[] = {
        {"missing", "", {"b.dbgprj"}, "file not found"},
        {"other letter case", "void OnProjectLoad (void) {}", {"A.dbgprj"}, "file not found"},
        {"unknown macro", "void OnProjectLoad (void) {}", {"$(None)/a.dbgprj"}, "file not found"},
        {"no way out", "void OnProjectLoad (void) {}", {"a.dbgprj"}, "Nothing goes on that could end the session"},
        {"no project", "", {}, "Nothing goes on that could end the session"},
        {"endless script",
         "void OnProjectLoad (void) { while (1) { Util.Sleep (5); } }",
         {"a.dbgprj", "--timeout", "1"},
         "Nothing has happened for 1 s while a script function runs"},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        CRun Run(Case.Args);
        Run.WriteFile("a.dbgprj", Case.sProject);
        Run.Start();
        ASSERT_TRUE(Run.WaitForEnd());
        EXPECT_EQ(Run.m_Program.exitCode(), 1);
        EXPECT_TRUE(Run.m_Output.contains(Case.sReason)) << Run.m_Output.toStdString();
    }
}

TEST(ProgramEnds, ASignalEndsTheProgramWithItsSettingsSaved) {
    for (const int Signal : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(Signal);
        CRun Run({"a.dbgprj"});
        Run.WriteFile("a.dbgprj",
                      QStringLiteral("void OnProjectLoad (void) {\n%1%2  Debug.Start();\n}\n"
                                     "void AfterTargetHalt (void) {\n  Edit.Preference (\"PREF_TAB_SPACING\", 7);\n"
                                     "  Util.Log (\"ready\");\n  Util.Sleep (60000);\n}\n")
                          .arg(ProjectHead(), OpenDemo())
                          .toUtf8());
        Run.Start();
        ASSERT_TRUE(Run.WaitForText("ready"));
        ASSERT_EQ(kill(static_cast<pid_t>(Run.m_Program.processId()), Signal), 0);
        ASSERT_TRUE(Run.WaitForEnd());
        EXPECT_EQ(Run.m_Program.exitCode(), 128 + Signal);
        EXPECT_EQ(Run.Setting("AppData/MainWindow/Version").toString(), "V2.52a");
        EXPECT_TRUE(QFile::exists(Run.Path("a.dbgprj.user"))) << "the layout";
    }
}

} // namespace
