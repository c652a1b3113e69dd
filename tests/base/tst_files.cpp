#include "base/Files.h"
#include "base/TextFormat.h"
#include "tests/FileSizeLimit.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

// Files are replaced as a whole or not at all, and only regular ones are opened.

class Files : public ::testing::Test {
protected:
    QByteArray Read(const char* sName) {
        QByteArray Data;
        return ReadRegularFile(m_Dir.filePath(sName), 1 << 24, &Data).isEmpty() ? Data : "(unreadable)";
    }
    QTemporaryDir m_Dir;
};

TEST_F(Files, ASaveReplacesTheFileOrLeavesItAsItWas) {
    struct ROW {
        const char* sName;
        qsizetype Size;
        bool IsFull;
    };
    ASSERT_TRUE(QFile::link(m_Dir.filePath("small"), m_Dir.filePath("link")));
    const ROW aRow[] = {{"small", 234, false},      {"small", 5000, true}, {"small", 150, true},
                        {"link", 235, false},       {"link", 5000, true},  {"large", 3'000'000, false},
                        {"large", 4'000'000, true}, {"new", 5000, true}};
    for (const ROW& Row : aRow) {
        SCOPED_TRACE(Row.sName + std::to_string(Row.Size));
        const QByteArray Old = Read(Row.sName);
        const QByteArray New(Row.Size, 'n');
        const QStringList Names = QDir(m_Dir.path()).entryList(QDir::Files);
        if (Row.IsFull) {
            const CFileSizeLimit Limit(100);
            EXPECT_NE(SaveFile(m_Dir.filePath(Row.sName), New), "");
        } else {
            qint64 Written = 0;
            EXPECT_EQ(SaveFile(m_Dir.filePath(Row.sName), New, [&](qint64 n) { Written = n; }), "");
            EXPECT_EQ(Written, Row.Size);
        }
        EXPECT_EQ(Read(Row.sName), Row.IsFull ? Old : New);
        if (Row.IsFull) {
            EXPECT_EQ(QDir(m_Dir.path()).entryList(QDir::Files), Names) << "nothing is left beside it";
        }
    }
    EXPECT_EQ(Read("small").size(), 235) << "a link is followed";
    EXPECT_NE(SaveFile(m_Dir.filePath("no/such/file"), "x"), "");
    EXPECT_EQ(SaveFile("/dev/null", "x"), "not a regular file");
    EXPECT_EQ(SaveFile(m_Dir.path(), "x"), "not a regular file");
}

TEST_F(Files, OnlyRegularFilesOfABoundedSizeAreRead) {
    ASSERT_EQ(mkfifo(m_Dir.filePath("fifo").toUtf8().constData(), 0600), 0);
    QFile Sparse(m_Dir.filePath("sparse"));
    ASSERT_TRUE(Sparse.open(QIODevice::WriteOnly) && Sparse.resize(3'000'000'000));
    ASSERT_EQ(SaveFile(m_Dir.filePath("ten"), "0123456789"), "");
    const std::pair<QString, const char*> aRow[] = {
        {m_Dir.filePath("ten"), ""},
        {m_Dir.filePath("sparse"), "file is too large"},
        {m_Dir.filePath("fifo"), "not a regular file"},
        {m_Dir.path(), "file not found"},
        {"/dev/zero", "not a regular file"},
        {m_Dir.filePath("missing"), "file not found"},
    };
    for (const auto& [sPath, sError] : aRow) {
        QByteArray Data;
        EXPECT_EQ(ReadRegularFile(sPath, 10, &Data), sError) << qPrintable(sPath);
    }
    QByteArray Data;
    EXPECT_EQ(ReadRegularFile(m_Dir.filePath("ten"), 9, &Data), "file is too large");
    EXPECT_EQ(ReadRegularFile("/proc/self/status", 10, &Data), "file is too large") << "it tells no size";
}

TEST(TextFormat, BytesComeBackAsTheyWere) {
    struct ROW {
        const char* sBytes;
        const char16_t* sText;
    };
    const ROW aRow[] = {{"a\nb\n", u"a\nb\n"},
                        {"a\r\nb\r\n", u"a\nb\n"},
                        {"a\r\nb\n", u"a\r\nb\n"},
                        {"a\rb\r\n", u"a\rb\r\n"},
                        {"\xEF\xBB\xBF"
                         "a\r\n",
                         u"a\n"},
                        {"\xC3\xA4\n", u"\u00E4\n"},
                        {"\xE4\xF6\r\n", u"\u00E4\u00F6\n"},
                        {"\xEF\xBB\xBF\xE4", u"\u00E4"},
                        {"", u""}};
    for (const ROW& Row : aRow) {
        TEXT_FORMAT Format;
        const QString sText = QString::fromUtf16(Row.sText);
        EXPECT_EQ(DecodeText(Row.sBytes, &Format), sText) << Row.sBytes;
        EXPECT_EQ(EncodeText(sText, Format), Row.sBytes);
    }
    EXPECT_EQ(EncodeText(QString(QChar(0x20AC)), {.IsLatin1 = true}), "\xE2\x82\xAC") << "no character is lost";
}
