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

TEST(ScriptTemplate, EveryFunctionButTheLastHasABannerOf70Columns) {
    const QString sText = ScriptBuildText(Commands);
    EXPECT_TRUE(sText.startsWith("\n/*"));
    EXPECT_FALSE(sText.endsWith("\n\n"));
    EXPECT_FALSE(sText.contains("BeforeTargetResume"));
    EXPECT_EQ(sText.count("/" + QString(69, '*') + "\n"), 14);
    EXPECT_EQ(sText.count("\n" + QString(70, '*') + "\n*/" + QString(68, ' ') + "\n"), 14);
    for (const QString& sLine : sText.split('\n')) {
        if (sLine.startsWith('*') || sLine.startsWith('/')) {
            EXPECT_EQ(sLine.size(), 70) << qPrintable(sLine);
        }
    }
    for (int Id = SF_ON_PROJECT_LOAD; Id < SF_BEFORE_TARGET_RESUME; ++Id) {
        const QStringList Lines = Entry(sText, Id).split('\n');
        const bool IsSample = Id == SF_TARGET_RESET || Id == SF_AFTER_TARGET_DOWNLOAD;
        EXPECT_EQ(Lines[1].trimmed(), "*");
        EXPECT_EQ(Lines[2].trimmed(), "*" + QString(IsSample ? 6 : 7, ' ') + ScriptGetFunctionName(Id));
        EXPECT_EQ(Lines[4].trimmed(), "* Function description");
        EXPECT_TRUE(Lines[5].startsWith("*   ") && Lines[5].trimmed().endsWith('.')) << qPrintable(Lines[5]);
        EXPECT_EQ(Lines[6].trimmed(), "*");
        EXPECT_EQ(Lines[7].trimmed(), IsSample ? QString("* Notes") : QString(70, '*'));
    }
}

TEST(ScriptTemplate, SentencesOfTheBanners) {
    const QString sText = ScriptBuildText({});
    const std::pair<int, const char*> aRow[] = {
        {SF_ON_PROJECT_LOAD, "Project load routine. Required."},
        {SF_TARGET_RESET, "Replaces the default target device reset routine. Optional."},
        {SF_AFTER_TARGET_RESET, "Event handler routine. Optional."},
        {SF_DEBUG_START, "Replaces the default debug session startup routine. Optional."},
        {SF_TARGET_CONNECT, "Replaces the default target IF connection routine. Optional."},
        {SF_TARGET_DOWNLOAD, "Replaces the default program download routine. Optional."},
        {SF_AFTER_TARGET_DOWNLOAD, "Event handler routine."},
        {SF_AFTER_TARGET_DOWNLOAD, "If no initialization can be done, Target.Reset() may be called."},
        {SF_TARGET_RESET, "debugging a RAM program on a Cortex-M target device"}};
    for (const auto& [Id, sSentence] : aRow) {
        EXPECT_TRUE(Entry(sText, Id).contains("*   " + QString(sSentence) + " ")) << sSentence;
    }
}

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
