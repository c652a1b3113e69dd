#include "app/Ask.h"
#include "app/Toolbars.h"
#include "app/WindowTable.h"
#include "framework/WindowList.h"
#include "project/Project.h"
#include "settings/SysVars.h"
#include "tests/app/AppFixture.h"

#include <QDockWidget>
#include <QFile>
#include <QGuiApplication>
#include <QScreen>
#include <QToolBar>
#include <QTreeView>

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

TEST_F(CLayoutTest, AFloatingToolbarComesBackAndLeaves) {
    QToolBar* pBar = Window().findChild<QToolBar*>("ToolbarDebug");
    WriteFile("float.dbgprj.user", "OpenToolbar=\"Debug\", Floating=1, x=140, y=150\n");
    ASSERT_TRUE(OpenProject("float.dbgprj", DemoProject()));
    EXPECT_TRUE(pBar->isFloating());
    EXPECT_EQ(pBar->pos(), QPoint(140, 150));
    EXPECT_FALSE(Window().GetToolbars().IsShown("File"));
    WriteFile("docked.dbgprj.user", "OpenToolbar=\"Debug\", Floating=0, x=0, y=0\n");
    ASSERT_TRUE(OpenProject("docked.dbgprj", DemoProject()));
    EXPECT_FALSE(pBar->isFloating());
    EXPECT_TRUE(UserFile("float.dbgprj.user").contains("OpenToolbar=\"Debug\", Floating=1, x=140, y=150"));
}

TEST_F(CLayoutTest, PlacesOutsideTheScreensAreMovedOntoOne) {
    const QRect Screen = QGuiApplication::primaryScreen()->availableGeometry();
    for (const char* sPlace : {"x=5000, y=90, w=300, h=200", "x=-2147483648, y=-9, w=2147483647, h=2147483647",
                               "x=2147483647, y=2147483647, w=0, h=-5"}) {
        SCOPED_TRACE(sPlace);
        const QByteArray sLine = QByteArray("OpenWindow=\"Console\", DockArea=FLOATING, ") + sPlace;
        WriteFile("far.dbgprj.user", sLine + '\n' + sLine + "\nOpenToolbar=\"Debug\", Floating=1, " + sPlace);
        ASSERT_TRUE(OpenProject("far.dbgprj", DemoProject()));
        EXPECT_TRUE(Screen.contains(ConsoleDock()->frameGeometry()));
        EXPECT_TRUE(Screen.contains(Window().findChild<QToolBar*>("ToolbarDebug")->frameGeometry()));
        WriteFile("near.dbgprj.user", "OpenWindow=\"Console\", DockArea=BOTTOM\nOpenToolbar=\"Debug\", Floating=0");
        ASSERT_TRUE(OpenProject("near.dbgprj", DemoProject()));
    }
}

/// A window that notes what it hears of, in the order of the road.
class CNoteWindow : public CWindow {
public:
    CNoteWindow(const QString& sName, QStringList* pNotes) : CWindow(sName), m_pNotes(pNotes) {}
    void Update(U32) override { Note("update"); }
    void Invalidate() override { Note("invalidate"); }
    void OnProgramChanged() override { Note("program"); }
    void OnProgramClosing() override { Note("closing"); }
    void OnCallFrameEvaluated(int Index) override { Note(QStringLiteral("frame %1").arg(Index)); }
    void OnDeviceResumeDone(RESUME_MODES) override { Note("resumed"); }
    void OnDeviceDisconnectDone() override { Note("disconnected"); }

private:
    void Note(const QString& sText) { m_pNotes->append(GetName() + ' ' + sText); }
    QStringList* m_pNotes;
};

TEST_F(CLayoutTest, EveryWindowHearsOfEveryEventInOrder) {
    QStringList Notes;
    CNoteWindow First("1", &Notes);
    CNoteWindow Second("2", &Notes);
    CNoteWindow Hidden("hidden", &Notes);
    First.show();
    Second.show();
    const auto Expect = [&](const QStringList& Events) {
        EXPECT_TRUE(WaitUntil([&] { return Notes.contains("2 " + Events.last()); })) << Events.last().toStdString();
        for (const QString& sEvent : Events) {
            const qsizetype At = Notes.indexOf("1 " + sEvent);
            EXPECT_GE(At, 0) << sEvent.toStdString();
            EXPECT_LT(At, Notes.indexOf("2 " + sEvent)) << sEvent.toStdString();
        }
        Notes.clear();
    };
    ASSERT_TRUE(StartSession());
    Expect({"invalidate", "update"});
    ASSERT_TRUE(Run("Debug.StepInto()"));
    Expect({"update"});
    ASSERT_TRUE(Run("Target.WriteU32 (0x20000000, 1)"));
    Expect({"invalidate"});
    ASSERT_TRUE(Run("Debug.Continue()"));
    Expect({"resumed"});
    ASSERT_TRUE(Run("Debug.Reset()"));
    Expect({"invalidate", "update"});
    CWindow::TellAll([](CWindow& w) { w.OnCallFrameEvaluated(2); });
    Expect({"frame 2"});
    ASSERT_TRUE(StopSession());
    Expect({"disconnected"});
    ASSERT_TRUE(OpenProject("other.dbgprj", DemoProject()));
    Expect({"closing", "program"});
    EXPECT_FALSE(Notes.contains("hidden update"));
}

TEST_F(CLayoutTest, AWindowIsItsRow) {
    for (const WINDOW_ROW& Row : GetWindowTable()) {
        CWindow* pWindow = Window().GetWindows().GetWindow(Row);
        SCOPED_TRACE(pWindow->GetName().toStdString());
        EXPECT_EQ(Window().GetWindows().GetDock(pWindow) == nullptr, Row.Area == AREA_NONE);
        if (Row.ShowCommand == NO_SHOW_COMMAND) {
            continue;
        }
        const QAction* pAction = CCommandTable::GetAction(Row.ShowCommand);
        ASSERT_NE(pAction, nullptr);
        EXPECT_FALSE(pAction->shortcut().isEmpty());
        EXPECT_FALSE(pAction->icon().isNull());
        ASSERT_TRUE(Run("Window.Close (\"" + pWindow->GetName() + "\")"));
        EXPECT_FALSE(pWindow->isVisible());
        EXPECT_EQ(CCommandTable::Trigger(Row.ShowCommand), 0);
        EXPECT_TRUE(pWindow->isVisible());
    }
    auto* pTree = Window().GetWindows().Find("source files")->findChild<QTreeView*>();
    ASSERT_GE(pTree->model()->rowCount(), 4);
    emit pTree->activated(pTree->model()->index(0, 0));
    EXPECT_TRUE(NewText().find("File.Open (\"" BRASK_SOURCE_DIR "/examples/demo/src/calc.c\");") != std::string::npos)
        << NewText();
    ASSERT_TRUE(Run("Window.Close (\"Source Files\")"));
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
