#include "base/Application.h"
#include "base/Utf8.h"

#include <QCoreApplication>
#include <QDir>
#include <gtest/gtest.h>

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
