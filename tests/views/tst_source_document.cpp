#include "settings/Colors.h"
#include "views/SourceDocument.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

class SourceDocument : public ::testing::Test {
protected:
    QString Write(const QByteArray& Text) {
        const QString sPath = m_Dir.filePath("a.c");
        QFile File(sPath);
        EXPECT_TRUE(File.open(QIODevice::WriteOnly));
        EXPECT_EQ(File.write(Text), Text.size());
        return sPath;
    }

    QTemporaryDir m_Dir;
};

TEST_F(SourceDocument, LinesOfAllLineEnds) {
    struct ROW {
        QByteArray Text;
        QStringList Lines;
    };
    const ROW aRow[] = {{"a\nb\n", {"a", "b"}},
                        {"a\r\nb\r\n", {"a", "b"}},
                        {"a\nb", {"a", "b"}},
                        {"", {""}},
                        {"\n\n", {"", ""}},
                        {"a\n\tb", {"a", "\tb"}},
                        {"\xC3\xA4", {QString(QChar(0xE4))}},
                        {QByteArray("a\0b\n", 4), {QString("a") + QChar(0) + "b"}}};
    for (const ROW& Row : aRow) {
        CSourceDocument Document;
        QString sError;
        ASSERT_TRUE(Document.Load(Write(Row.Text), &sError)) << qPrintable(sError);
        ASSERT_EQ(Document.GetNumLines(), Row.Lines.size()) << Row.Text.constData();
        for (int i = 0; i < Row.Lines.size(); ++i) {
            EXPECT_EQ(Document.GetLine(i + 1), Row.Lines[i]) << Row.Text.constData();
        }
        EXPECT_TRUE(Document.GetLine(0).isEmpty());
        EXPECT_TRUE(Document.GetLine(Document.GetNumLines() + 1).isEmpty());
        EXPECT_TRUE(Document.GetRuns(0).isEmpty());
        EXPECT_TRUE(Document.GetRuns(Document.GetNumLines() + 1).isEmpty());
    }
}

TEST_F(SourceDocument, FilesThatAreNoSource) {
    const QString sGood = Write("int a;\n");
    const QString sLarge = m_Dir.filePath("large.c");
    QFile Large(sLarge);
    ASSERT_TRUE(Large.open(QIODevice::WriteOnly) && Large.resize(64 * 1024 * 1024 + 1)); // takes no room on disk
    const std::pair<QString, QString> aRow[] = {{m_Dir.filePath("missing.c"), "file not found"},
                                                {m_Dir.path(), "file not found"},
                                                {"/dev/zero", "not a regular file"},
                                                {sLarge, "file is too large"}};
    CSourceDocument Document;
    QString sError;
    ASSERT_TRUE(Document.Load(sGood, &sError));
    for (const auto& [sPath, sText] : aRow) {
        EXPECT_FALSE(Document.Load(sPath, &sError)) << qPrintable(sPath);
        EXPECT_EQ(sError, sText) << qPrintable(sPath);
        EXPECT_EQ(Document.GetPath(), sGood) << "what was loaded stays";
        EXPECT_EQ(Document.GetLine(1), "int a;");
    }
}

TEST_F(SourceDocument, RunsComeInAnyOrderAndKnowTheCommentsAbove) {
    CSourceDocument Document;
    QString sError;
    ASSERT_TRUE(Document.Load(Write("int a;\n/* one\ntwo\n*/ int b;\n"), &sError));
    ASSERT_EQ(Document.GetRuns(3).size(), 1);
    EXPECT_EQ(Document.GetRuns(3)[0].ColorId, COLOR_SYNTAX_COMMENT);
    EXPECT_EQ(Document.GetRuns(1)[0].ColorId, COLOR_SYNTAX_KEYWORD);
    EXPECT_EQ(Document.GetRuns(4)[0].ColorId, COLOR_SYNTAX_COMMENT);
    ASSERT_TRUE(Document.Load(Write("int a;\n\ntwo\n"), &sError));
    EXPECT_EQ(Document.GetRuns(3)[0].ColorId, COLOR_SYNTAX_TEXT) << "a new text starts anew";
}

TEST_F(SourceDocument, ChangesOnDisk) {
    CSourceDocument Document;
    QString sError;
    const QString sPath = Write("int a;\n");
    ASSERT_TRUE(Document.Load(sPath, &sError));
    EXPECT_FALSE(Document.HasChangedOnDisk());
    QFile File(sPath);
    ASSERT_TRUE(File.open(QIODevice::ReadWrite));
    ASSERT_TRUE(File.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    File.close();
    EXPECT_TRUE(Document.HasChangedOnDisk());
    ASSERT_TRUE(QFile::remove(sPath));
    EXPECT_FALSE(Document.HasChangedOnDisk()) << "a file that is gone can't be read again";
}

TEST(SourceText, TabsExpandToTheirColumns) {
    struct ROW {
        const char* sText;
        int Width;
        const char* sExpanded;
    };
    const ROW aRow[] = {{"\ta", 4, "    a"}, {"ab\tc", 4, "ab  c"}, {"abcd\te", 4, "abcd    e"},
                        {"\t\t", 2, "    "}, {"a\tb\tc", 0, "abc"}, {"a\tb", 1, "a b"},
                        {"a\tb", -1, "ab"},  {"abc", 8, "abc"},     {"", 4, ""}};
    for (const ROW& Row : aRow) {
        EXPECT_EQ(ExpandTabs(Row.sText, Row.Width), QString(Row.sExpanded)) << Row.sText << Row.Width;
        EXPECT_EQ(ColumnOfChar(Row.sText, 100, Row.Width), static_cast<int>(qstrlen(Row.sExpanded))) << Row.sText;
    }
    const int aColumn[] = {0, 1, 4, 5, 8, 8};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(ColumnOfChar("a\tb\t", i, 4), aColumn[i]) << i;
    }
}
