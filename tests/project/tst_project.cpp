#include "project/FileFinder.h"
#include "project/Project.h"
#include "script/JScript.h"
#include "tests/FileSizeLimit.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// The open project: its states and signals, and what it writes.

namespace {

const QByteArray sEmptyProject = "void OnProjectLoad (void) {\n}\n";
const QString sMarker = "  //\n  // Dialog-generated settings\n  //\n";

} // namespace

constexpr const char* NO_CORE_REGISTERS = "CPU register set description file not found (specify with "
                                          "'Project.AddSvdFile') - debugging w/o core registers.";

class Project : public ::testing::Test {
protected:
    void SetUp() override {
        Write(m_sPath, sEmptyProject);
        m_Project.Close();
        ScriptClose();
    }
    void TearDown() override {
        m_Project.Close();
        ScriptClose();
    }

    static void Write(const QString& sPath, const QByteArray& Text) {
        QFile File(sPath);
        ASSERT_TRUE(File.open(QIODevice::WriteOnly));
        ASSERT_EQ(File.write(Text), Text.size());
    }
    static QString Read(const QString& sPath) {
        QFile File(sPath);
        return File.open(QIODevice::ReadOnly) ? QString::fromUtf8(File.readAll()) : QString("(unreadable)");
    }

    QTemporaryDir m_Dir;
    QString m_sPath = m_Dir.filePath("my.dbgprj");
    CProject& m_Project = CProject::Get();
};

TEST_F(Project, OpeningClosesTheOldOneAndSaysSo) {
    QSignalSpy Opened(&m_Project, &CProject::Opened);
    QSignalSpy Closed(&m_Project, &CProject::Closed);
    QSignalSpy Modified(&m_Project, &CProject::ModifiedChanged);
    m_Project.Open(m_sPath);
    EXPECT_TRUE(m_Project.IsOpen());
    EXPECT_EQ(m_Project.GetPath(), m_sPath);
    EXPECT_TRUE(ScriptIsDefined(SF_ON_PROJECT_LOAD));
    ASSERT_EQ(Opened.count(), 1);
    EXPECT_EQ(Opened[0][0], m_sPath);
    EXPECT_EQ(Modified.last()[0], false);
    const QString sOther = m_Dir.filePath("other.dbgprj");
    Write(sOther, sEmptyProject);
    Closed.clear();
    m_Project.Open(sOther);
    ASSERT_EQ(Closed.count(), 1);
    EXPECT_EQ(Closed[0][0], m_sPath);
    EXPECT_EQ(Opened.last()[0], sOther);
    EXPECT_EQ(CFileFinder::Get().ExpandMacros("$(ProjectDir)"), m_Dir.path());
}

TEST_F(Project, FilesThatAreMissingOrBroken) {
    m_Project.Open(m_sPath);
    QSignalSpy Opened(&m_Project, &CProject::Opened);
    QSignalSpy Closed(&m_Project, &CProject::Closed);
    m_Project.Open(m_Dir.filePath("missing.dbgprj"));
    EXPECT_FALSE(m_Project.IsOpen());
    EXPECT_EQ(Closed.count(), 0) << "the project that was open stays loaded";
    EXPECT_EQ(Opened.count(), 1);
    EXPECT_TRUE(ScriptIsLoaded());
    Write(m_sPath, "void OnProjectLoad (void) { ");
    m_Project.Open(m_sPath);
    EXPECT_TRUE(m_Project.IsOpen()) << "a broken project is open, with its error";
    EXPECT_TRUE(ScriptHasError());
    EXPECT_EQ(m_Project.GetPath(), m_sPath);
    EXPECT_EQ(Opened.count(), 2);
}

TEST_F(Project, DeferredOpeningRunsFromTheEventLoop) {
    QSignalSpy Opened(&m_Project, &CProject::Opened);
    m_Project.OpenDeferred(m_sPath);
    EXPECT_EQ(Opened.count(), 0);
    ASSERT_TRUE(Opened.wait());
    EXPECT_EQ(Opened[0][0], m_sPath);
}

TEST_F(Project, ClosingForgetsEverything) {
    m_Project.Open(m_sPath);
    m_Project.AddSvdFile("a.svd");
    m_Project.AddWarning("careful");
    m_Project.SetProgramFile(m_sPath);
    m_Project.SetBinLoadAddr(0x1000);
    m_Project.SetModified(true);
    CFileFinder::Get().AddSearchPath(m_Dir.path());
    EXPECT_EQ(CFileFinder::Get().ExpandMacros("$(AppDir)"), m_Dir.path());
    QSignalSpy Modified(&m_Project, &CProject::ModifiedChanged);
    m_Project.Close();
    EXPECT_TRUE(m_Project.GetPath().isEmpty());
    EXPECT_TRUE(m_Project.GetSvdFiles().isEmpty());
    EXPECT_TRUE(m_Project.GetProgramFile().isEmpty());
    EXPECT_EQ(m_Project.CheckFiles(), QStringList(NO_CORE_REGISTERS));
    EXPECT_EQ(m_Project.GetBinLoadAddr(), 0);
    EXPECT_FALSE(m_Project.IsModified());
    EXPECT_EQ(Modified.count(), 1);
    EXPECT_FALSE(ScriptIsDefined(SF_ON_PROJECT_LOAD)) << "its functions run no more";
    EXPECT_TRUE(CFileFinder::Get().ExpandMacros("$(AppDir)$(ProjectDir)").isEmpty());
    EXPECT_TRUE(CFileFinder::Get().FindFile("my.dbgprj").isEmpty());
}

TEST_F(Project, ANewProjectIsModifiedUntilItIsSaved) {
    QSignalSpy Modified(&m_Project, &CProject::ModifiedChanged);
    EXPECT_EQ(m_Project.Create({"Project.SetDevice (\"Cortex-M4\");"}), 0);
    EXPECT_TRUE(m_Project.IsOpen());
    EXPECT_TRUE(m_Project.IsModified());
    EXPECT_TRUE(m_Project.GetPath().isEmpty());
    EXPECT_EQ(Modified.last()[0], true);
    const QString sNew = m_Dir.filePath("new.dbgprj");
    EXPECT_EQ(m_Project.Save(sNew, {}), "");
    EXPECT_FALSE(m_Project.IsModified());
    EXPECT_EQ(Modified.last()[0], false);
    EXPECT_EQ(m_Project.GetPath(), sNew);
    EXPECT_EQ(Read(sNew), ScriptGetText());
    EXPECT_TRUE(Read(sNew).contains("  Project.SetDevice (\"Cortex-M4\");\n"));
    m_Project.SetModified(true);
    EXPECT_NE(m_Project.Save(m_Dir.filePath("no/such/dir.dbgprj"), {}), "");
    EXPECT_TRUE(m_Project.IsModified()) << "nothing was saved";
}

TEST_F(Project, SavingWithoutATextWritesTheSettings) {
    EXPECT_EQ(m_Project.Save(m_sPath, {"Project.SetTargetIF (\"SWD\");", "File.Open (\"a.elf\");"}), "");
    EXPECT_TRUE(Read(m_sPath).contains(sMarker + "  Project.SetTargetIF (\"SWD\");\n"));
    EXPECT_TRUE(Read(m_sPath).contains("  File.Open (\"a.elf\");\n}\n"));
    EXPECT_EQ(ScriptLoad(m_sPath), 0);
}

TEST_F(Project, TheThreeRewritesDifferInNamesAndPlace) {
    const QString sHead = "void OnProjectLoad (void) {\n  First();\n" + sMarker;
    const QString sTail = "  Project.SetTraceSource (\"None\");\n  Other (1);\n}\n";
    const QString sText =
        sHead + "  Project.SetDevice (\"A\");\n  Project.SetTIFSpeed (\"1 MHz\");\n  Project.SetJTAGConfig (0, 0);\n" +
        sTail;
    Write(m_sPath, sText.toUtf8());
    EXPECT_EQ(
        m_Project.UpdateProbeSettings(m_sPath, {"Project.SetDevice (\"B\");", "Project.SetTIFSpeed (\"4 MHz\");"}), 0);
    EXPECT_EQ(Read(m_sPath), sHead + "  Project.SetDevice (\"B\");\n  Project.SetTIFSpeed (\"4 MHz\");\n" + sTail);

    EXPECT_EQ(m_Project.UpdateTraceSettings(m_sPath, {"Project.SetTraceSource (\"SWO\");"}), 0);
    EXPECT_EQ(Read(m_sPath), sHead + "  Project.SetDevice (\"B\");\n  Project.SetTIFSpeed (\"4 MHz\");\n"
                                     "  Project.SetTraceSource (\"SWO\");\n  Other (1);\n}\n");

    EXPECT_EQ(m_Project.UpdateSettings(m_sPath, {"Other (2);", "New (3);"}), 0);
    EXPECT_EQ(Read(m_sPath), sHead + "  Other (2);\n  New (3);\n  Project.SetDevice (\"B\");\n"
                                     "  Project.SetTIFSpeed (\"4 MHz\");\n  Project.SetTraceSource (\"SWO\");\n}\n");
    EXPECT_EQ(ScriptLoad(m_sPath), 0) << "the text on disk is still a project";

    Write(m_sPath, "void Other (void) {\n}\n");
    EXPECT_EQ(m_Project.UpdateSettings(m_sPath, {"Other (2);"}), -1);
    EXPECT_EQ(Read(m_sPath), "void Other (void) {\n}\n");
    Write(m_sPath, "");
    EXPECT_EQ(m_Project.UpdateProbeSettings(m_sPath, {"A (1);"}), -1);
    EXPECT_EQ(m_Project.UpdateTraceSettings(m_Dir.filePath("missing.dbgprj"), {"A (1);"}), -1);
    EXPECT_FALSE(QFile::exists(m_Dir.filePath("missing.dbgprj")));
}

TEST_F(Project, RewritingKeepsEncodingAndLineEndsOrTheWholeFile) {
    const QByteArray aText[] = {"void OnProjectLoad (void) {\n}\n// \xC3\xA4\n",
                                "void OnProjectLoad (void) {\r\n}\r\n// \xE4\r\n",
                                "\xEF\xBB\xBFvoid OnProjectLoad (void) {\r\n}\r\n// \xC3\xA4\r\n"};
    for (const QByteArray& Text : aText) {
        Write(m_sPath, Text);
        const QByteArray LineEnd = Text.contains('\r') ? "\r\n" : "\n";
        {
            const CFileSizeLimit Full(30);
            EXPECT_EQ(m_Project.UpdateSettings(m_sPath, {"A (1);"}), -1);
        }
        QFile File(m_sPath);
        ASSERT_TRUE(File.open(QIODevice::ReadOnly));
        EXPECT_EQ(File.readAll(), Text) << "a full device";
        File.close();
        EXPECT_EQ(m_Project.UpdateSettings(m_sPath, {"A (1);"}), 0);
        ASSERT_TRUE(File.open(QIODevice::ReadOnly));
        EXPECT_EQ(File.readAll(), QByteArray(Text).replace("{" + LineEnd, "{" + LineEnd + "  A (1);" + LineEnd));
    }
}

TEST_F(Project, CommandsInTheFile) {
    Write(m_sPath, "void OnProjectLoad (void) {\n  A.B (1);\n}\nvoid X (void) {\n  C.D (1);\n}\n");
    m_Project.Open(m_sPath);
    EXPECT_TRUE(m_Project.HasCommand("A.B"));
    EXPECT_FALSE(m_Project.HasCommand("C.D"));
    ScriptSetPath({});
    EXPECT_FALSE(m_Project.HasCommand("A.B"));
}

TEST_F(Project, FilesBesideTheProject) {
    m_Project.Open(m_sPath);
    const std::pair<const char*, const char*> aRow[] = {{"/a/b.dbgprj", "/a/b.dbgprj.user"},
                                                        {"/a.b/c.d.dbgprj", "/a.b/c.d.dbgprj.user"}};
    for (const auto& [sPath, sUser] : aRow) {
        EXPECT_EQ(m_Project.GetUserFilePath(sPath), QString(sUser));
    }
    EXPECT_TRUE(m_Project.GetProbeSettingsPath().isEmpty());
    Write(m_Dir.filePath("my.novik"), "x");
    EXPECT_EQ(m_Project.GetProbeSettingsPath(), m_Dir.filePath("my.novik"));
}

TEST_F(Project, WhatASessionWouldMiss) {
    m_Project.Open(m_sPath);
    Write(m_Dir.filePath("there.svd"), "x");
    m_Project.AddWarning("careful");
    m_Project.AddSvdFile("there.svd");
    m_Project.AddSvdFile("gone.svd");
    m_Project.SetProgramFile(m_Dir.filePath("gone.elf"));
    const QStringList Missing = {"file not found: gone.svd", "file not found: " + m_Dir.filePath("gone.elf")};
    EXPECT_EQ(m_Project.CheckFiles(), QStringList({"careful", NO_CORE_REGISTERS}) + Missing);
    Write(m_Dir.filePath("core.svd"), "<?xml version=\"1.0\"?>\n<!-- mine -->\n<cpu>\n</cpu>\n");
    m_Project.AddSvdFile("core.svd");
    EXPECT_EQ(m_Project.CheckFiles(), QStringList("careful") + Missing);
}

TEST_F(Project, AProgramFileThatChangedIsToldOnce) {
    const QString sProgram = m_Dir.filePath("a.elf");
    Write(sProgram, "1");
    m_Project.SetProgramFile(sProgram);
    EXPECT_FALSE(m_Project.TakeProgramFileChanged());
    QFile File(sProgram);
    ASSERT_TRUE(File.open(QIODevice::ReadWrite));
    ASSERT_TRUE(File.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    File.close();
    EXPECT_TRUE(m_Project.TakeProgramFileChanged());
    EXPECT_FALSE(m_Project.TakeProgramFileChanged());
    ASSERT_TRUE(QFile::remove(sProgram));
    EXPECT_FALSE(m_Project.TakeProgramFileChanged()) << "a file that is gone can't be loaded again";
}
