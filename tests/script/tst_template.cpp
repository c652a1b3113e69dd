#include "script/JScript.h"

#include <QStringList>
#include <gtest/gtest.h>

// The text of a new project.

namespace {

const QStringList Commands = {"Project.SetDevice (\"Cortex-M4\");", "File.Open (\"a.elf\");",
                              "Project.SetTIFSpeed (\"4 MHz\");", "File.Open (\"b.elf\");"};

/// Text of a function's banner and body.
QString Entry(const QString& sText, int Id) {
    const auto Start = [&](int n) {
        const QString sTitle = QString(n == SF_TARGET_RESET || n == SF_AFTER_TARGET_DOWNLOAD ? 6 : 7, ' ') +
                               ScriptGetFunctionName(n) + ' ';
        const qsizetype Title = sText.indexOf("\n*" + sTitle);
        EXPECT_GE(Title, 0) << qPrintable(sTitle);
        return sText.lastIndexOf("/***", Title);
    };
    return sText.mid(Start(Id), Id == SF_AFTER_TARGET_HALT ? -1 : Start(Id + 1) - Start(Id));
}

} // namespace

TEST(ScriptTemplate, CommandsStandUnderTheirMarkersAndFileOpenComesLast) {
    EXPECT_TRUE(ScriptBuildText(Commands).contains("void OnProjectLoad (void) {\n"
                                                   "  //\n"
                                                   "  // Dialog-generated settings\n"
                                                   "  //\n"
                                                   "  Project.SetDevice (\"Cortex-M4\");\n"
                                                   "  Project.SetTIFSpeed (\"4 MHz\");\n"
                                                   "  //\n"
                                                   "  // User settings\n"
                                                   "  //\n"
                                                   "  File.Open (\"a.elf\");\n"
                                                   "}\n"));
    EXPECT_TRUE(ScriptBuildText({}).contains("  // User settings\n  //\n}\n"));
}

TEST(ScriptTemplate, TheTextLoadsAndItsSamplesDoWhenTheCommentsGo) {
    ASSERT_EQ(ScriptOpenText(ScriptBuildText(Commands)), 0);
    for (int Id = SF_ON_PROJECT_LOAD; Id < SF_END; ++Id) {
        EXPECT_EQ(ScriptIsDefined(Id), Id == SF_ON_PROJECT_LOAD) << Id;
    }
    const QString sText = ScriptBuildText(Commands);
    QString sActive;
    for (const QString& sLine : sText.split('\n')) {
        sActive += (sLine.startsWith("//") ? sLine.mid(2) : sLine) + '\n';
    }
    ASSERT_EQ(ScriptOpenText(sActive), 0) << qPrintable(ScriptGetErrorText());
    for (int Id = SF_ON_PROJECT_LOAD; Id < SF_BEFORE_TARGET_RESUME; ++Id) {
        EXPECT_TRUE(ScriptIsDefined(Id)) << Id;
        EXPECT_EQ(ScriptExecute(Id), 0) << Id << " " << qPrintable(ScriptGetErrorText());
    }
    EXPECT_TRUE(Entry(sText, SF_TARGET_RESET).contains("//  Exec.Reset();"));
    EXPECT_FALSE(Entry(sText, SF_AFTER_TARGET_DOWNLOAD).contains("Exec.Reset"));
    ScriptClose();
}
