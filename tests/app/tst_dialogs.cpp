#include "app/Ask.h"
#include "app/ProjectSettings.h"
#include "app/dialogs/CommandPalette.h"
#include "app/dialogs/DeviceDataModel.h"
#include "app/dialogs/DeviceSelectionDialog.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/NovikSettingsDialog.h"
#include "app/dialogs/PreferencePages.h"
#include "app/dialogs/PreferencesDialog.h"
#include "app/dialogs/ProjectWizard.h"
#include "app/dialogs/SettingBoxes.h"
#include "app/dialogs/SysVarsEditor.h"
#include "app/dialogs/TraceSettingsDialog.h"
#include "app/dialogs/WelcomeScreen.h"
#include "settings/SettingsMap.h"
#include "tests/app/AppFixture.h"

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QComboBox>
#include <QCommandLinkButton>
#include <QDateTime>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

/// Keeps a picture of a dialog in the folder of the environment variable BRASK_SHOTS, for looking at it.
void Keep(QWidget& Widget, const QString& sName) {
    const QString sFolder = qEnvironmentVariable("BRASK_SHOTS");
    if (!sFolder.isEmpty()) {
        Widget.show();
        QCoreApplication::processEvents();
        EXPECT_TRUE(Widget.grab().save(QStringLiteral("%1/%2.png").arg(sFolder, sName)));
    }
}

class CDialogTest : public CAppTest {
protected:
    void TearDown() override {
        CMessageBox::ForgetSuppressed();
        CAppTest::TearDown();
    }
};

TEST_F(CDialogTest, MessageBoxOffersItsPeriod) {
    struct CASE {
        int Hours;
        int Preference;
        const char* sText; ///< null: no check box
    };
    const CASE aCase[] = {{0, 1, nullptr},
                          {-1, 1, "Do not show again"},
                          {24, 1, "Do not show again today"},
                          {3, 1, "Do not show again for 3 hours"},
                          {3, 0, nullptr}};
    for (const CASE& Case : aCase) {
        SetSysVar(GetSysVar(PREF_DIALOG_SHOW_DNSA), Case.Preference, false);
        CMessageBox Box("Title", "Text", QIcon(":/icons/question.svg"), QDialogButtonBox::Yes | QDialogButtonBox::No,
                        Case.Hours, nullptr);
        const auto* pCheck = Box.findChild<QCheckBox*>("checkBoxDoNotShowAgain");
        ASSERT_NE(pCheck, nullptr);
        EXPECT_EQ(!pCheck->isHidden(), Case.sText != nullptr) << Case.Hours;
        if (Case.sText != nullptr) {
            EXPECT_EQ(pCheck->text().toStdString(), Case.sText);
        }
        Keep(Box, QStringLiteral("message%1").arg(Case.Hours));
    }
    SetSysVar(GetSysVar(PREF_DIALOG_SHOW_DNSA), 1, false);
}

/// Shows a box with this period and answers it: silenced or not.
QDialogButtonBox::StandardButton Answer(int Hours, bool DoSilence, const QString& sText = "Again?") {
    CMessageBox Box("Title", sText, QIcon(), QDialogButtonBox::Yes | QDialogButtonBox::No, Hours, nullptr);
    QTimer::singleShot(0, &Box, [&] {
        Box.findChild<QCheckBox*>("checkBoxDoNotShowAgain")->setChecked(DoSilence);
        Box.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::No)->click();
    });
    return Box.Ask();
}

TEST_F(CDialogTest, MessageBoxStaysSilentAsAsked) {
    EXPECT_EQ(Answer(-1, false), QDialogButtonBox::No);
    EXPECT_EQ(Answer(-1, true), QDialogButtonBox::No);
    EXPECT_EQ(Answer(-1, false), QDialogButtonBox::Yes) << "silent until the end counts as accepted";
    EXPECT_EQ(Answer(-1, false, "Another?"), QDialogButtonBox::No) << "a box is known by its text";

    EXPECT_EQ(Answer(2, true, "Hours?"), QDialogButtonBox::No);
    const QString sKey = QStringLiteral("AppData/CMessageBox/%1").arg(qHash(QString("Hours?")));
    const qint64 End = ReadSetting(sKey).toLongLong();
    EXPECT_NEAR(static_cast<double>(End - QDateTime::currentMSecsSinceEpoch()), 2 * 3600e3, 60e3);
    CMessageBox Silent("Title", "Hours?", QIcon(), QDialogButtonBox::Yes | QDialogButtonBox::Cancel, 2, nullptr);
    EXPECT_EQ(Silent.Ask(), QDialogButtonBox::Cancel) << "silent for hours counts as rejected";
    WriteSetting(sKey, QDateTime::currentMSecsSinceEpoch() - 1);
    EXPECT_EQ(Answer(2, false, "Hours?"), QDialogButtonBox::No) << "the hours are over: it asks";
    RemoveSetting(sKey);
}

TEST_F(CDialogTest, EachPreferenceStandsOnOnePage) {
    QMap<std::pair<int, int>, int> Count;
    for (const PREFERENCE_PAGE& Page : GetPreferencePages()) {
        for (const PREFERENCE_ITEM& Item : Page.Items) {
            ++Count[{Item.Kind, Item.Id}];
        }
    }
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        EXPECT_EQ(Count.value({PK_VARIABLE, i}), 1) << GetSysVar(i)->sName;
    }
    for (int i = 0; i < NUM_COLORS; ++i) {
        EXPECT_EQ(Count.value({PK_COLOR, i}), 1) << aColorRow[i].sName;
    }
    for (int i = 0; i < NUM_FONTS; ++i) {
        EXPECT_EQ(Count.value({PK_FONT, i}), 1) << aFontRow[i].sName;
    }
    EXPECT_EQ(Count.size(), SYS_VAR_COUNT - PREF_SHOW_LINE_NUMBERS + NUM_COLORS + NUM_FONTS);
}

template <class BOX> BOX* FindBox(const QDialog& Dialog, int Id, int (BOX::*pfId)() const) {
    for (BOX* pBox : Dialog.findChildren<BOX*>()) {
        if ((pBox->*pfId)() == Id) {
            return pBox;
        }
    }
    return nullptr;
}

TEST_F(CDialogTest, PreferencesApplyOnlyWhatChanged) {
    for (const bool DoAccept : {false, true}) {
        MarkConsole();
        CPreferencesDialog Dialog(&Window());
        FindBox(Dialog, PREF_TAB_SPACING, &CVariableBox::GetVarId)->SetValue(7);
        FindBox(Dialog, COLOR_PC_ACTIVE, &CColorBox::GetColorId)->SetValue(0xFF112233);
        FindBox(Dialog, FONT_CONSOLE, &CFontBox::GetFontId)->SetValue(QFont("DejaVu Sans", 11, QFont::Bold));
        FindBox(Dialog, PREF_MAX_SYMBOL_MEMBERS, &CVariableBox::GetVarId)->findChild<QLineEdit*>()->setText("1000000");
        if (!DoAccept) {
            Keep(Dialog, "preferences");
            Dialog.reject();
            EXPECT_EQ(NewText(), "");
            EXPECT_EQ(SysVarValue(PREF_TAB_SPACING), 2);
            continue;
        }
        Dialog.accept();
        EXPECT_EQ(NewText(), "Edit.Preference (PREF_MAX_SYMBOL_MEMBERS, 1000000);\n"
                             "Edit.Preference (PREF_MAX_SYMBOL_MEMBERS, 1000000): invalid parameter\n"
                             "Edit.Preference (PREF_TAB_SPACING, 7);\n"
                             "Edit.Font (FONT_CONSOLE, \"DejaVu Sans,  11pt,  Bold\");\n"
                             "Edit.Color (COLOR_PC_ACTIVE, \"#112233\");");
    }
    EXPECT_EQ(SysVarValue(PREF_TAB_SPACING), 7);
    EXPECT_EQ(GetColorValue(COLOR_PC_ACTIVE), 0xFF112233);
    CPreferencesDialog Back(&Window());
    for (CSettingBox* pBox : Back.findChildren<CSettingBox*>()) {
        pBox->Reset();
    }
    Back.accept();
    EXPECT_EQ(SysVarValue(PREF_TAB_SPACING), 2);
    EXPECT_EQ(GetColorValue(COLOR_PC_ACTIVE), aColorRow[COLOR_PC_ACTIVE].Default);
    EXPECT_FALSE(IsFontSet(FONT_CONSOLE));
    EXPECT_EQ(ReadSetting("AppData/Preferences/Fonts/FONT_CONSOLE"), QVariant());
}

TEST_F(CDialogTest, SystemVariablesAreEditedThroughTheCommand) {
    CSysVarsEditor Editor(&Window());
    auto* pModel = Editor.findChild<CSysVarsModel*>();
    const QAbstractItemModelTester Tester(pModel, QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(pModel->rowCount(), 22);
    const auto Set = [&](int Var, const QString& sText) {
        return pModel->setData(pModel->index(Var, CSysVarsModel::COL_VALUE), sText, Qt::EditRole);
    };
    EXPECT_TRUE(Set(VAR_RESET_MODE, "Reset & Run"));
    EXPECT_TRUE(Set(VAR_TRACE_PORT_DELAY_0, "-100000"));
    EXPECT_FALSE(Set(VAR_TRACE_PORT_DELAY_0, "-100001"));
    EXPECT_TRUE(Set(VAR_BREAK_AT_THIS_SYMBOL, "SysTick_Handler"));
    EXPECT_FALSE(Set(VAR_ACCESS_WIDTH, "Nibble"));
    EXPECT_EQ(SysVarValue(VAR_RESET_MODE), 2);
    EXPECT_EQ(SysVarTextValue(VAR_BREAK_AT_THIS_SYMBOL).toStdString(), "SysTick_Handler");
    EXPECT_EQ(NewText(), "Edit.SysVar (VAR_RESET_MODE, 2);\n"
                         "Edit.SysVar (VAR_TRACE_PORT_DELAY_0, -100000);\n"
                         "Edit.SysVar (VAR_BREAK_AT_THIS_SYMBOL, " +
                             std::to_string(AddressOf("SysTick_Handler")) + ");");
    Keep(Editor, "sysvars");
}

TEST_F(CDialogTest, WizardHandsOnTheLinesOfAProject) {
    for (const char* sKey : {"Device", "PeripheralFile", "DataFile", "HostOption"}) {
        RemoveSetting(QStringLiteral("AppData/CProjectWizard/") + sKey);
    }
    CProjectWizard Wizard(&Window());
    QStringList Lines;
    QObject::connect(&Wizard, &CProjectWizard::Finished, &Wizard, [&](QStringList& List) { Lines = List; });
    auto* pNext = Wizard.findChild<QPushButton*>("buttonNext");
    auto* pBack = Wizard.findChild<QPushButton*>("buttonBack");
    auto* pDevice = Wizard.findChild<QLineEdit*>("lineEditDevice");
    auto* pOption = Wizard.findChild<QLineEdit*>("lineEditHostOption");
    auto* pHost = Wizard.findChild<QComboBox*>("comboBoxHostInterface");
    EXPECT_FALSE(pNext->isEnabled());
    EXPECT_FALSE(pBack->isEnabled());
    Keep(Wizard, "wizard0");
    pDevice->setText("Cortex-M4");
    pNext->click();
    EXPECT_TRUE(pBack->isEnabled());
    pHost->setCurrentText("IP");
    EXPECT_EQ(pOption->text().toStdString(), "192.168.0.1");
    Keep(Wizard, "wizard1");
    pHost->setCurrentText("USB");
    EXPECT_EQ(pOption->text().toStdString(), "");
    Wizard.findChild<QComboBox*>("comboBoxTargetInterface")->setCurrentText("SWD");
    pNext->click();
    EXPECT_EQ(pNext->text().toStdString(), "&Finish");
    Keep(Wizard, "wizard2");
    pNext->click();
    ASSERT_TRUE(WaitUntil([&] { return !Lines.isEmpty(); }));
    EXPECT_EQ(Lines.join('\n').toStdString(), "Project.SetDevice (\"Cortex-M4\");\n"
                                              "Project.SetHostIF (\"USB\", \"\");\n"
                                              "Project.SetTargetIF (\"SWD\");\n"
                                              "Project.SetTIFSpeed (\"1 MHz\");\n"
                                              "Project.AddSvdFile (\"$(InstallDir)/Config/CPU/Cortex-M4F.svd\");");
    EXPECT_EQ(Wizard.result(), QDialog::Accepted);
}

TEST_F(CDialogTest, DevicesAreListedWithTheirSizes) {
    struct CASE {
        U32 NumBytes;
        const char* sText;
    };
    for (const CASE& Case : {CASE{0, "0 KB"}, CASE{1023, "0 KB"}, CASE{131072, "128 KB"}, CASE{1022976, "999 KB"},
                             CASE{1024000, "1 MB"}, CASE{2097152, "2 MB"}}) {
        EXPECT_EQ(FormatMemorySize(Case.NumBytes).toStdString(), Case.sText) << Case.NumBytes;
    }
    CDeviceDataModel Model(nullptr);
    const QAbstractItemModelTester Tester(&Model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const int Row = Model.FindDevice("stm32f407ig");
    ASSERT_GE(Row, 0);
    EXPECT_EQ(Model.index(Row, CDeviceDataModel::COL_CORE).data().toString().toStdString(), "Cortex-M4");
    EXPECT_EQ(Model.index(Row, CDeviceDataModel::COL_FLASH_SIZE).data().toString().toStdString(), "1 MB");
    CDeviceSelectionDialog Dialog("STM32F407IG", &Window());
    EXPECT_EQ(Dialog.GetDevice().toStdString(), "STM32F407IG");
    Keep(Dialog, "devices");
}

TEST_F(CDialogTest, WelcomeScreenGivesWhatWasChosen) {
    const QStringList Recent = {"/tmp/a/first.dbgprj", "/tmp/b/second.dbgprj"};
    for (const int Result :
         {CWelcomeScreen::NEW_PROJECT, CWelcomeScreen::NEW_PROJECT_WIZARD, CWelcomeScreen::OPEN_DIALOG}) {
        CWelcomeScreen Screen(Recent, &Window());
        QTimer::singleShot(0, &Screen, [&] {
            Screen.findChild<QCommandLinkButton*>(QStringLiteral("choice%1").arg(Result))->click();
        });
        EXPECT_EQ(Screen.Choose(), Result);
    }
    CWelcomeScreen Screen(Recent, &Window());
    Keep(Screen, "welcome");
    QTimer::singleShot(0, &Screen, [&] {
        auto* pList = Screen.findChild<QListWidget*>("listRecentProjects");
        emit pList->itemActivated(pList->item(1));
    });
    EXPECT_EQ(Screen.Choose(), CWelcomeScreen::OPEN_RECENT);
    EXPECT_EQ(Screen.GetProject(), Recent[1]);
    CWelcomeScreen Closed(Recent, &Window());
    QTimer::singleShot(0, &Closed, [&] { Closed.reject(); });
    EXPECT_EQ(Closed.Choose(), CWelcomeScreen::NOTHING);
}

TEST_F(CDialogTest, ProbeSettingsGoIntoTheProject) {
    CNovikSettingsDialog Unchanged(&Window());
    EXPECT_TRUE(Unchanged.Apply().isEmpty());
    MarkConsole();
    CNovikSettingsDialog Dialog(&Window());
    Keep(Dialog, "noviksettings");
    Dialog.findChild<QComboBox*>("comboBoxTifSpeed")->setCurrentText("2 MHz");
    const QStringList Lines = Dialog.Apply();
    EXPECT_EQ(NewText(), "Project.SetTIFSpeed (\"2 MHz\");") << "only what has changed is run";
    ASSERT_EQ(Lines.size(), 4);
    SaveSettingsToProject("Novik Settings Modified", Lines, false);
    QFile File(Path("demo.dbgprj"));
    ASSERT_TRUE(File.open(QIODevice::ReadOnly));
    const QString sText = QString::fromUtf8(File.readAll());
    EXPECT_EQ(sText.count("Project.SetTIFSpeed"), 1);
    EXPECT_TRUE(sText.contains("{\n  Project.SetDevice (\"Cortex-M4\");\n  Project.SetHostIF (\"USB\", \"\");\n"
                               "  Project.SetTargetIF (\"SWD\");\n  Project.SetTIFSpeed (\"2 MHz\");\n"))
        << sText.toStdString();
}

TEST_F(CDialogTest, TraceSettingsGoBehindTheSpeed) {
    CTraceSettingsDialog Dialog(&Window());
    Dialog.findChild<QComboBox*>("comboBoxTraceSource")->setCurrentText("Trace Pins");
    Keep(Dialog, "tracesettings");
    SaveSettingsToProject("Trace Settings Modified", Dialog.Apply(), true);
    QFile File(Path("demo.dbgprj"));
    ASSERT_TRUE(File.open(QIODevice::ReadOnly));
    const QString sText = QString::fromUtf8(File.readAll());
    EXPECT_TRUE(
        sText.contains("  Project.SetTIFSpeed (\"4 MHz\");\n  Project.SetTraceSource (\"Trace Pins\");\n"
                       "  Project.SetTracePortWidth (4);\n  Project.SetTraceTiming (2000, 2000, 2000, 2000);\n"))
        << sText.toStdString();
}

TEST_F(CDialogTest, PaletteRunsWhatItFinds) {
    auto* pPalette = new CCommandPalette(&Window());
    const QPointer<CCommandPalette> Guard(pPalette);
    pPalette->setAttribute(Qt::WA_DeleteOnClose);
    auto* pModel = pPalette->findChild<CCommandPaletteModel*>();
    EXPECT_EQ(pModel->rowCount(), 168) << "the public commands";
    auto* pPattern = pPalette->findChildren<QLineEdit*>().first();
    Keep(*pPalette, "palette");
    pPattern->setText("hcomm");
    EXPECT_EQ(pModel->index(0, 0).data().toString().toStdString(), "Help.Commands");
    pPattern->setText("util log");
    ASSERT_EQ(pModel->index(0, 0).data().toString().toStdString(), "Util.Log");
    QTest::keyClick(pPattern, Qt::Key_Return);
    const QList<QLineEdit*> Edits = pPalette->findChildren<QLineEdit*>();
    ASSERT_EQ(Edits.size(), 2) << "the argument is asked for";
    Edits[1]->setText("from the palette, with a comma");
    Keep(*pPalette, "palette-arguments");
    pPalette->findChild<QPushButton*>()->click();
    EXPECT_TRUE(WaitUntil([&] { return NewText() == "from the palette, with a comma"; })) << NewText();
}

} // namespace
