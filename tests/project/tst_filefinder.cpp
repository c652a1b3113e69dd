#include "base/Application.h"
#include "base/ConsoleRing.h"
#include "project/FileFinder.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Paths of other machines turned into paths that exist here.

namespace {

QStringList TakeConsole() {
    QStringList Lines;
    CONSOLE_MSG Msg;
    while (ConsoleTake(&Msg)) {
        Lines.append(QString::fromUtf8(Msg.sText));
    }
    return Lines;
}

} // namespace

class FileFinder : public ::testing::Test {
protected:
    void SetUp() override {
        m_Finder.Reset();
        m_Finder.SetProjectPath(P("proj/a.dbgprj"));
        m_Finder.SetAppPath(P("app/out.elf"));
        for (const char* sFile :
             {"proj/a.dbgprj",   "proj/inproj.c",    "proj/lib.elf",   "proj/both.c",     "app/inapp.c",
              "app/both.c",      "root1/src/a.c",    "root1/both.c",   "root2/src/a.c",   "root2/src/b.c",
              "search/a.c",      "search/found.h",   "search/dev.svd", "search/dev2.xml", "search/plug.so",
              "search/read.txt", "search/image.hex", "search/odd.xyz", "search/noext",    "proj/rel/inrel.c",
              "real/x/m.c"}) {
            Touch(sFile);
        }
        TakeConsole();
    }
    void TearDown() override {
        m_Finder.Reset();
        m_Finder.SetProjectPath({});
        m_Finder.SetAppPath({});
        TakeConsole();
    }

    QString P(const QString& sName) const { return m_Dir.path() + '/' + sName; }
    void Touch(const QString& sName) {
        QDir(m_Dir.path()).mkpath(QFileInfo(sName).path());
        QFile File(P(sName));
        ASSERT_TRUE(File.open(QIODevice::WriteOnly)) << qPrintable(sName);
    }

    CFileFinder& m_Finder = CFileFinder::Get();
    QTemporaryDir m_Dir;
};

TEST_F(FileFinder, PathHelpers) {
    const std::pair<const char*, const char*> aClean[] = {
        {"a\\b\\\\c", "a/b/c"},   {"a////b", "a/b"}, {"./a/../b", "b"},
        {"C:\\x\\..\\y", "C:/y"}, {"", ""},          {"a/b/", "a/b"}};
    for (const auto& [sPath, sClean] : aClean) {
        EXPECT_EQ(CleanPath(sPath), QString(sClean)) << sPath;
    }
    struct ROW {
        const char* sPath;
        const char* sDrive;
        bool IsRelative;
    };
    for (const ROW& Row : {ROW{"C:/x", "C", false}, ROW{"a/b.c", "", true}, ROW{"/a", "", false}, ROW{"1:x", "", true},
                           ROW{"xd:y", "d", false}, ROW{"", "", true}}) {
        EXPECT_EQ(DriveOfPath(Row.sPath), QString(Row.sDrive)) << Row.sPath;
        EXPECT_EQ(IsRelativePath(Row.sPath), Row.IsRelative) << Row.sPath;
    }
    EXPECT_FALSE(FileExists(m_Dir.path())) << "a directory is no file";
}

TEST_F(FileFinder, Macros) {
    const QString sExe = GetProgramDir();
    const std::pair<const char*, QString> aRow[] = {{"$(ProjectDir)/x", P("proj/x")},
                                                    {"$(projectdir)/x", P("proj/x")},
                                                    {"$(AppDir)/x", P("app/x")},
                                                    {"$(ExecutableDir)", sExe},
                                                    {"$(InstallDir)", sExe},
                                                    {"$(AppBundleDir)", sExe},
                                                    {"$(DocDir)", sExe + "/Doc/"},
                                                    {"$(ConfigDir)", sExe + "/Config/"},
                                                    {"$(LibraryDir)", sExe + "/Lib/"},
                                                    {"$(PluginDir)", sExe + "/Plugins/"},
                                                    {"$(ProjectDir)$(ProjectDir)", P("proj") + P("proj")},
                                                    {"$(Nothing)/x", "$(Nothing)/x"},
                                                    {"plain", "plain"},
                                                    {"$", "$"}};
    for (const auto& [sPath, sExpanded] : aRow) {
        EXPECT_EQ(m_Finder.ExpandMacros(sPath), sExpanded) << sPath;
    }
    // Folders may be named like a macro, and with any other character.
    for (const char* sFolder : {"$(ConfigDir)", "pri$ce", "%2b%1", "say \"x\""}) {
        const QString sProject = m_Dir.filePath(sFolder);
        ASSERT_TRUE(QDir().mkpath(sProject));
        Touch(QString(sFolder) + "/my.c");
        m_Finder.SetProjectPath(sProject + "/a.dbgprj");
        EXPECT_EQ(m_Finder.FindFile("$(ProjectDir)/my.c"), sProject + "/my.c");
        EXPECT_EQ(m_Finder.FindFile(sProject + "/my.c"), sProject + "/my.c");
        EXPECT_EQ(m_Finder.FindFile("my.c"), sProject + "/my.c");
    }
}

TEST_F(FileFinder, AliasesAndSubstitutes) {
    m_Finder.AddFileAlias("Z:\\old\\m.c", "$(ProjectDir)\\inproj.c");
    m_Finder.AddFileAlias("z:/chain.c", "Z:/old/sub/m.c");
    m_Finder.AddPathSubstitute("Z:/old", "Y:\\\\mid");
    m_Finder.AddPathSubstitute("Z:/mid", "wrong: sorted in front of what would make it match");
    m_Finder.AddPathSubstitute("/mid/sub", "/end");
    m_Finder.AddPathSubstitute("build/tree", m_Dir.path() + "/real");
    struct ROW {
        QString sPath, sFound;
    };
    const ROW aRow[] = {
        {"Z:/old/m.c", P("proj/inproj.c")}, // an alias wins over substitutes
        {"z:\\OLD\\.\\m.c", P("proj/inproj.c")},
        {"Z:/old/other.c", "Y:/mid/other.c"}, // absolute and missing: as it is
        {"Z:\\old\\\\other.c", "Y:/mid/other.c"},
        {"z:/OLD/other.c", "z:/OLD/other.c"}, // matches in any case, replaces in its own
        {"build/tree/x/m.c", P("real/x/m.c")},
        {"Q:/nothing.c", "Q:/nothing.c"},
    };
    for (const ROW& Row : aRow) {
        EXPECT_EQ(m_Finder.FindFile(Row.sPath), Row.sFound) << qPrintable(Row.sPath);
    }
    // Substitutes go on with the running text, in the order of their paths.
    m_Finder.Reset();
    m_Finder.AddPathSubstitute("a1", "b2");
    m_Finder.AddPathSubstitute("b2", "c3");
    EXPECT_EQ(m_Finder.FindFile("/x/a1/f.c"), "/x/c3/f.c");
    m_Finder.AddFileAlias("/x/g.c", "/x/a1/g.c");
    EXPECT_EQ(m_Finder.FindFile("/x/g.c"), "/x/c3/g.c") << "they see the alias's target";
    EXPECT_EQ(m_Finder.GetAliasSource("/X/A1/g.c"), "/x/g.c");
    EXPECT_EQ(m_Finder.GetAliasSource("/x/none.c"), "/x/none.c");
    m_Finder.AddPathSubstitute("", "endless");
    EXPECT_EQ(m_Finder.FindFile("/x/h.c"), "/x/h.c");
}

TEST_F(FileFinder, PlacesInTheirOrder) {
    m_Finder.AddRootPath(P("root1"));
    m_Finder.AddRootPath(P("root2"));
    m_Finder.AddSearchPath(P("search"));
    const std::pair<const char*, const char*> aRow[] = {
        {"src/a.c", "root1/src/a.c"}, // roots in their order, the path as a whole
        {"src\\b.c", "root2/src/b.c"},
        {"both.c", "root1/both.c"}, // a root before the project
        {"inproj.c", "proj/inproj.c"},
        {"inapp.c", "app/inapp.c"},
        {"a.c", "search/a.c"},
        {"some/other/dir/found.h", "search/found.h"}, // search paths look for the name alone
        {"some/dev.svd", "search/dev.svd"},
        {"dev.xml", "search/dev.svd"}, // a description in the other form will do
        {"dev2.svd", "search/dev2.xml"},
        {"plug.so", "search/plug.so"},
        {"noext", "search/noext"},
        {"read.txt", "search/read.txt"},
        {"image.hex", "search/image.hex"},
        {"odd.xyz", "search/odd.xyz"},
    };
    for (const auto& [sPath, sFound] : aRow) {
        EXPECT_EQ(m_Finder.FindFile(sPath), P(sFound)) << sPath;
    }
    for (const char* sPath : {"missing.c", "dev.c", "", "plug.dll", "Z:/search/a.c"}) {
        EXPECT_EQ(m_Finder.FindFile(sPath), sPath[0] == 'Z' ? QString(sPath) : QString()) << sPath;
    }
    EXPECT_EQ(m_Finder.FindFile(P("proj/inproj.c")), P("proj/inproj.c"));
    m_Finder.Reset();
    m_Finder.SetProjectPath(P("proj/a.dbgprj"));
    EXPECT_EQ(m_Finder.FindFile("both.c"), P("proj/both.c")) << "the project before the program file";
    EXPECT_TRUE(m_Finder.FindFile("a.c").isEmpty());
}

TEST_F(FileFinder, RelativeRootsAndSearchPathsAreLookedForThemselves) {
    m_Finder.AddSearchPath("rel");
    EXPECT_EQ(m_Finder.FindFile("inrel.c"), P("proj/rel/inrel.c"));
    m_Finder.Reset();
    m_Finder.AddRootPath("rel");
    EXPECT_EQ(m_Finder.FindFile("inrel.c"), P("proj/rel/inrel.c"));
}

TEST_F(FileFinder, SourcesAreCountedAndAnnounced) {
    QSignalSpy Resolved(&m_Finder, &CFileFinder::SrcFilePathResolved);
    QSignalSpy Stats(&m_Finder, &CFileFinder::SrcFileResStatsChanged);
    m_Finder.FindFile("inproj.c");
    m_Finder.FindFile("inproj.c");
    m_Finder.FindFile("missing.c");
    ASSERT_EQ(Resolved.count(), 2);
    EXPECT_EQ(Resolved[0], QVariantList({"inproj.c", P("proj/inproj.c")}));
    EXPECT_EQ(m_Finder.GetNumFound(), 1);
    EXPECT_EQ(m_Finder.GetNumMissing(), 1);
    EXPECT_TRUE(TakeConsole().isEmpty()) << "sources are counted, not printed";
    EXPECT_EQ(Stats.count(), 0);
    EXPECT_TRUE(Stats.wait());
    EXPECT_EQ(Stats.count(), 1) << "once for a burst";
    m_Finder.AddSearchPath(P("search"));
    EXPECT_EQ(m_Finder.GetNumFound() + m_Finder.GetNumMissing(), 0) << "a new rule starts the count anew";
}

TEST_F(FileFinder, OtherFilesAreReportedOnceOnTheConsole) {
    m_Finder.AddSearchPath(P("search"));
    struct ROW {
        QString sAsked;
        QStringList Lines;
    };
    const ROW aRow[] = {
        {"image.hex", {"File path resolved: \"image.hex\" was found at \"" + P("search/image.hex") + "\""}},
        {"image.hex", {}},
        {"missing.elf", {"File not found: missing.elf"}},
        {"missing.elf", {}},
        {"lib.elf", {}},             // found in the project directory
        {P("search/image.hex"), {}}, // found where it was looked for
        {"/no/such.elf", {"File not found: /no/such.elf"}},
    };
    for (const ROW& Row : aRow) {
        m_Finder.FindFile(Row.sAsked);
        EXPECT_EQ(TakeConsole(), Row.Lines) << qPrintable(Row.sAsked);
    }
    m_Finder.Reset();
    m_Finder.FindFile("missing.elf");
    EXPECT_EQ(TakeConsole(), QStringList{"File not found: missing.elf"}) << "a reset forgets what was reported";
}
