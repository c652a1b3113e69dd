#include "settings/Colors.h"
#include "settings/Fonts.h"
#include "settings/SettingsMap.h"
#include "settings/SysVars.h"
#include "tests/FileSizeLimit.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// What persists for the user, in a store of the test's own: the test mode of QStandardPaths doesn't move QSettings.

namespace {

const QString sPrefKey = "AppData/Preferences/Preferences/";
const QString sColorKey = "AppData/Preferences/Colors/";
const QString sFontKey = "AppData/Preferences/Fonts/";

} // namespace

class SettingsMap : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_Dir.isValid());
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_Dir.path());
        ASSERT_TRUE(QSettings("VANTLE", "Brask").fileName().startsWith(m_Dir.path()));
        Restart();
    }
    void TearDown() override { Restart(); }

    /// What a new run of the program reads.
    static void Restart() {
        InitSysVars();
        InitColors();
        InitFonts();
        LoadSettingsMap();
    }

    static void Exit() {
        SaveUserPrefs();
        SaveColorsAndFonts();
        SaveSettingsMap();
    }

    QTemporaryDir m_Dir;
};

TEST_F(SettingsMap, TheStoreIsTouchedOnlyAtStartAndExit) {
    WriteSetting("AppData/Some/Key", 5);
    EXPECT_FALSE(QSettings("VANTLE", "Brask").contains("AppData/Some/Key"));
    EXPECT_EQ(ReadSetting("AppData/Some/Key"), 5);
    SaveSettingsMap();
    LoadSettingsMap();
    EXPECT_EQ(ReadSetting("AppData/Some/Key").toInt(), 5);
    WriteSetting("AppData/Some/None", QStringList());
    WriteSetting("AppData/Some/NoBytes", QByteArray());
    EXPECT_EQ(SaveSettingsMap(), "");
    RemoveSetting("AppData/Some/Key");
    EXPECT_EQ(ReadSetting("AppData/Some/Key", "default"), "default");
    SaveSettingsMap();
    EXPECT_FALSE(QSettings("VANTLE", "Brask").contains("AppData/Some/Key"));
}

TEST_F(SettingsMap, InstancesLeaveEachOthersKeysAlone) {
    WriteSetting("AppData/Removed", "old");
    WriteSetting("AppData/Number", 5);
    WriteSetting("AppData/List", QStringList{"a"});
    WriteSetting("AppData/Bytes", QByteArray("\xFF\0x", 3));
    ASSERT_EQ(SaveSettingsMap(), "");
    Restart();
    {
        QSettings Other("VANTLE", "Brask");
        for (const char* sKey : {"AppData/Number", "AppData/List", "AppData/Bytes", "AppData/Added"}) {
            Other.setValue(sKey, "other");
        }
    }
    WriteSetting("AppData/Number", 5); // written again, but not changed
    RemoveSetting("AppData/Removed");
    WriteSetting("AppData/Mine", "mine");
    ASSERT_EQ(SaveSettingsMap(), "");
    Restart();
    for (const char* sKey : {"AppData/Number", "AppData/List", "AppData/Bytes", "AppData/Added"}) {
        EXPECT_EQ(ReadSetting(sKey), "other") << sKey;
    }
    EXPECT_EQ(ReadSetting("AppData/Mine"), "mine");
    EXPECT_FALSE(ReadSetting("AppData/Removed").isValid());
}

TEST_F(SettingsMap, AFullDeviceLeavesTheStoreAsItWas) {
    WriteSetting("AppData/Some/Key", QString(300, 'x'));
    ASSERT_EQ(SaveSettingsMap(), "");
    WriteSetting("AppData/Some/Key", QString(301, 'x'));
    const QStringList Files = QDir(m_Dir.path() + "/VANTLE").entryList(QDir::AllEntries);
    for (const rlim_t Limit : {0, 50, 250}) {
        const CFileSizeLimit Full(Limit);
        EXPECT_NE(SaveSettingsMap(), "") << Limit;
    }
    EXPECT_EQ(QDir(m_Dir.path() + "/VANTLE").entryList(QDir::AllEntries), Files);
    Restart();
    EXPECT_EQ(ReadSetting("AppData/Some/Key"), QString(300, 'x'));
}

TEST_F(SettingsMap, PreferencesThatTheTableDoesNotAllowStayAtTheirDefault) {
    const std::pair<const char*, QVariant> aStored[] = {{"PREF_TAB_SPACING", 2000000000},
                                                        {"PREF_LINE_NUMBER_FREQ", -3},
                                                        {"PREF_SHOW_TOOLTIPS", "perhaps"},
                                                        {"PREF_MAX_SYMBOL_MEMBERS", 100001},
                                                        {"PREF_NEVER_HEARD_OF", 1}};
    for (const auto& [sName, Value] : aStored) {
        WriteSetting(sPrefKey + sName, Value);
    }
    LoadUserPrefs();
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        EXPECT_EQ(SysVarValue(i), *GetSysVar(i)->pDefault) << GetSysVar(i)->sName;
    }
}

TEST_F(SettingsMap, OnlyColorsThatDifferFromTheirDefaultAreKept) {
    SetColorValue(COLOR_PC_ACTIVE, 0xFF102030);
    Exit();
    EXPECT_EQ(ReadSetting(sColorKey + "COLOR_PC_ACTIVE"), "#102030");
    EXPECT_FALSE(ReadSetting(sColorKey + "COLOR_PC_INACTIVE").isValid());
    Restart();
    EXPECT_EQ(GetColorValue(COLOR_PC_ACTIVE), aColorRow[COLOR_PC_ACTIVE].Default);
    LoadColorsAndFonts();
    EXPECT_EQ(GetColorValue(COLOR_PC_ACTIVE), 0xFF102030u);
    SetColorValue(COLOR_PC_ACTIVE, aColorRow[COLOR_PC_ACTIVE].Default);
    Exit();
    EXPECT_FALSE(QSettings("VANTLE", "Brask").contains(sColorKey + "COLOR_PC_ACTIVE"));
    WriteSetting(sColorKey + "COLOR_PC_ACTIVE", "no colour");
    LoadColorsAndFonts();
    EXPECT_EQ(GetColorValue(COLOR_PC_ACTIVE), aColorRow[COLOR_PC_ACTIVE].Default);
}

TEST_F(SettingsMap, FontsPersistWhenAskedAndTwoAreNeverRestored) {
    SetFont(FONT_SRC_CODE, QFont("Courier New", 12, QFont::Bold), true);
    SetFont(FONT_ASM_CODE, QFont("Courier New", 13), false);
    SetFont(FONT_CONSOLE, QFont("Courier New", 14), true);
    SetFont(FONT_ITEM_VALUE, QFont("Courier New", 15), true);
    Exit();
    EXPECT_EQ(ReadSetting(sFontKey + "FONT_SRC_CODE"), "Courier New,  12pt,  Bold");
    EXPECT_FALSE(ReadSetting(sFontKey + "FONT_ASM_CODE").isValid());
    Restart();
    LoadColorsAndFonts();
    EXPECT_EQ(FontText(GetFont(FONT_SRC_CODE)), "Courier New,  12pt,  Bold");
    EXPECT_EQ(GetFont(FONT_CONSOLE).pointSize(), 8);
    EXPECT_EQ(GetFont(FONT_ITEM_VALUE).pointSize(), 8);
}

TEST_F(SettingsMap, ADamagedStoreGivesNoSettings) {
    Exit();
    QFile File(QSettings("VANTLE", "Brask").fileName());
    ASSERT_TRUE(File.open(QIODevice::WriteOnly));
    File.write(QByteArray("\0\xFF[[[=%%%\n[AppData\nx", 20));
    File.close();
    Restart();
    EXPECT_FALSE(ReadSetting(sPrefKey + "PREF_TAB_SPACING").isValid());
    LoadUserPrefs();
    EXPECT_EQ(SysVarValue(PREF_TAB_SPACING), 2);
}
