#include "app/Ask.h"
#include "app/Toolbars.h"
#include "project/Project.h"
#include "settings/SysVars.h"
#include "tests/app/AppFixture.h"

#include <QDockWidget>
#include <QFile>

namespace {

class CLayoutTest : public CAppTest {
protected:
    void TearDown() override {
        SetAnswerSource(nullptr);
        Run("Window.Show (\"Console\")");
        Run("Toolbar.Show (\"File\")");
        SetSysVar(GetSysVar(PREF_SHOW_SRC_CODE_PROFILE), 0, false);
        CProject::Get().SetModified(false);
        CAppTest::TearDown();
    }

    QString UserFile(const QString& sName) const {
        QFile File(Path(sName));
        return File.open(QIODevice::ReadOnly) ? QString::fromUtf8(File.readAll()) : QString();
    }
    static QDockWidget* ConsoleDock() { return Window().findChild<QDockWidget*>("Console"); }
};

TEST_F(CLayoutTest, AProjectKeepsItsWindows) {
    ASSERT_TRUE(Run("Toolbar.Close (\"File\")"));
    ASSERT_TRUE(Run("Edit.Preference (PREF_SHOW_SRC_CODE_PROFILE, 1)"));
    Window().addDockWidget(Qt::LeftDockWidgetArea, ConsoleDock());
    ASSERT_TRUE(OpenProject("other.dbgprj", DemoProject()));
    const QStringList Lines = UserFile("demo.dbgprj.user").split('\n');
    ASSERT_GE(Lines.size(), 3);
    EXPECT_TRUE(Lines[0].startsWith("OpenWindow=\"Console\", DockArea=LEFT, x=0, y=0, w=")) << Lines[0].toStdString();
    EXPECT_EQ(Lines[1].toStdString(), "OpenWindow=\"Source\", ExecCountersShown=1");
    EXPECT_EQ(Lines.filter("OpenToolbar=\"File\"").size(), 0);
    EXPECT_EQ(Lines.filter("OpenToolbar=\"Debug\", Floating=0, x=").size(), 1);

    // Another project changes all of it; the first one brings it back.
    Window().addDockWidget(Qt::RightDockWidgetArea, ConsoleDock());
    ASSERT_TRUE(Run("Toolbar.Show (\"File\")"));
    ASSERT_TRUE(Run("Edit.Preference (PREF_SHOW_SRC_CODE_PROFILE, 0)"));
    ASSERT_TRUE(OpenProject("demo.dbgprj", DemoProject()));
    EXPECT_EQ(Window().dockWidgetArea(ConsoleDock()), Qt::LeftDockWidgetArea);
    EXPECT_FALSE(Window().GetToolbars().IsShown("File"));
    EXPECT_EQ(SysVarValue(PREF_SHOW_SRC_CODE_PROFILE), 1);
    Window().addDockWidget(Qt::BottomDockWidgetArea, ConsoleDock());
}

TEST_F(CLayoutTest, AFloatingWindowComesBackWhereItWas) {
    ConsoleDock()->setFloating(true);
    ConsoleDock()->setGeometry(120, 90, 400, 260);
    const QRect Frame = ConsoleDock()->frameGeometry();
    ASSERT_TRUE(OpenProject("other.dbgprj", DemoProject()));
    EXPECT_TRUE(UserFile("demo.dbgprj.user")
                    .startsWith(QStringLiteral("OpenWindow=\"Console\", DockArea=FLOATING, x=%1, y=%2, w=%3, h=%4")
                                    .arg(Frame.x())
                                    .arg(Frame.y())
                                    .arg(Frame.width())
                                    .arg(Frame.height())))
        << UserFile("demo.dbgprj.user").toStdString();
    ConsoleDock()->setFloating(false);
    ASSERT_TRUE(OpenProject("demo.dbgprj", DemoProject()));
    EXPECT_TRUE(ConsoleDock()->isFloating());
    EXPECT_EQ(ConsoleDock()->frameGeometry(), Frame);
    ConsoleDock()->setFloating(false);
}

TEST_F(CLayoutTest, DamagedUserFilesChangeNothing) {
    struct {
        const char* sName;
        QByteArray Data;
    } const aCase[] = {
        {"empty", ""},
        {"binary", QByteArray("\0\xFF\xFE\"\"\"\n=,=,[;]\x80", 14).repeated(100)},
        {"unknown",
         "OpenWindow=\"No such\", DockArea=LEFT, x=0, y=0, w=1, h=1\nOpenToolbar=\"None\"\nTableHeader=\"x\"\n"},
        {"huge", QByteArray(2 * 1024 * 1024, 'x')},
    };
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        WriteFile(QStringLiteral("%1.dbgprj.user").arg(Case.sName), Case.Data);
        ASSERT_TRUE(OpenProject(QStringLiteral("%1.dbgprj").arg(Case.sName), DemoProject()));
        EXPECT_FALSE(ConsoleDock()->isHidden());
        EXPECT_EQ(Window().dockWidgetArea(ConsoleDock()), Qt::BottomDockWidgetArea);
    }
    ASSERT_TRUE(Run("Toolbar.Show (\"Debug\")"));
}

TEST_F(CLayoutTest, ACancelledPromptChangesNothing) {
    struct {
        const char* sName;
        std::function<void()> Leave;
    } const aCase[] = {
        {"close", [] { Window().close(); }},
        {"new", [] { Run("File.NewProject()"); }},
        {"open", [this] { Run("File.Open (\"" + WriteFile("other.dbgprj", "void OnProjectLoad (void) {}") + "\")"); }},
    };
    ASSERT_TRUE(StartSession());
    CProject::Get().SetModified(true);
    for (const auto& Case : aCase) {
        SCOPED_TRACE(Case.sName);
        QStringList Titles;
        SetAnswerSource([&](const QString& sTitle, QMessageBox::StandardButton) {
            Titles.append(sTitle);
            return sTitle == "Save Project Changes?" ? QMessageBox::Cancel : QMessageBox::No;
        });
        Case.Leave();
        EXPECT_FALSE(Titles.isEmpty());
        EXPECT_TRUE(Window().isVisible());
        EXPECT_TRUE(CProject::Get().IsModified());
        EXPECT_EQ(CProject::Get().GetPath(), Path("demo.dbgprj"));
        EXPECT_TRUE(Device().IsConnected()) << "the session goes on";
        EXPECT_TRUE(Run("Target.GetReg (\"PC\")"));
    }
}

TEST_F(CLayoutTest, ANewProjectAskedForByAScriptComesWhenItHasEnded) {
    ASSERT_TRUE(OpenProject("maker.dbgprj",
                            "void OnProjectLoad (void) {\n  Util.Log (\"before\");\n  File.NewProject();\n"
                            "  Util.Log (\"behind\");\n}\n"));
    ASSERT_TRUE(WaitUntil([] { return CProject::Get().GetPath().isEmpty(); }));
    EXPECT_TRUE(Window().windowTitle().endsWith(" - *New Project")) << Window().windowTitle().toStdString();
}

} // namespace
