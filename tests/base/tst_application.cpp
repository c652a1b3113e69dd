#include "base/Application.h"
#include "base/Utf8.h"

#include <QCoreApplication>
#include <QDir>
#include <gtest/gtest.h>

TEST(Application, VersionTexts) {
    struct ROW {
        int Major, Minor, Revision;
        const char* sText;
    };
    const ROW aRow[] = {{2, 52, 1, "V2.52a"},   {2, 5, 0, "V2.05"},     {0, 0, 26, "V0.00z"},    {3, 10, 2, "V3.10b"},
                        {2, 0, 27, "V2.00z01"}, {2, 0, 38, "V2.00z12"}, {12, 100, 3, "V12.100c"}};
    for (const ROW& Row : aRow) {
        EXPECT_EQ(FormatVersion(Row.Major, Row.Minor, Row.Revision), QString(Row.sText));
    }
}

TEST(Application, Titles) {
    const QString sVersion = GetAppVersion();
    EXPECT_EQ(GetAppTitle(false, false), "Brask");
    EXPECT_EQ(GetAppTitle(true, false), "Brask - The Novik Debugger");
    EXPECT_EQ(GetAppTitle(false, true), "Brask " + sVersion);
    EXPECT_EQ(GetAppTitle(true, true), "Brask - The Novik Debugger " + sVersion);
}

TEST(Application, DirectoriesStandBesideTheProgramFile) {
    const QString sDir = QDir(QCoreApplication::applicationDirPath()).canonicalPath();
    EXPECT_EQ(GetProgramDir(), sDir);
    EXPECT_EQ(GetConfigDir(), sDir + "/Config");
    EXPECT_EQ(GetLibDir(), sDir + "/Lib");
    EXPECT_EQ(GetDocDir(), sDir + "/Doc");
    EXPECT_EQ(GetPluginDir(), sDir + "/Plugins");
    EXPECT_EQ(GetPeripheralDir(), sDir + "/Config/Peripherals");
}

TEST(Utf8, TextsAreCutBetweenCharacters) {
    struct ROW {
        const char* sText;
        qsizetype MaxBytes, Length;
    };
    const ROW aRow[] = {{"abc", 5, 3},
                        {"abc", 3, 3},
                        {"abc", 2, 2},
                        {"abc", 0, 0},
                        {"a\xC3\xA4", 2, 1},
                        {"a\xC3\xA4", 3, 3},
                        {"\xE2\x82\xAC"
                         "x",
                         3, 3},
                        {"\xE2\x82\xAC", 2, 0},
                        {"\xF0\x9F\x98\x80", 3, 0},
                        {"\x80\x80\x80", 2, 0}};
    for (const ROW& Row : aRow) {
        EXPECT_EQ(FittingUtf8Length(Row.sText, Row.MaxBytes), Row.Length) << Row.sText << Row.MaxBytes;
    }
}
