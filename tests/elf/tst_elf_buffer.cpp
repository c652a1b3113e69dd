#include "elf/ElfBuffer.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// The bytes of a large program file stay what they were, whatever happens to the file.

namespace {

constexpr qsizetype SIZE = 3 * static_cast<qsizetype>(CElfBuffer::MIN_MAPPED) + 1000;

QByteArray Pattern() {
    QByteArray Bytes(SIZE, '\0');
    for (qsizetype i = 0; i < SIZE; ++i) {
        Bytes[i] = static_cast<char>(i * 7 + i / 4096);
    }
    return Bytes;
}

class ElfBuffer : public testing::Test {
protected:
    void SetUp() override {
        QFile File(m_sPath);
        ASSERT_TRUE(File.open(QIODevice::WriteOnly));
        ASSERT_EQ(File.write(m_Bytes), SIZE);
    }
    QByteArray Content(const CElfBuffer& Buffer, qsizetype NumBytes = SIZE) const {
        return QByteArray(reinterpret_cast<const char*>(Buffer.get()), NumBytes);
    }
    QTemporaryDir m_Dir;
    QString m_sPath = m_Dir.filePath("large.bin");
    QByteArray m_Path = QFile::encodeName(m_sPath);
    QByteArray m_Bytes = Pattern();
};

} // namespace

TEST_F(ElfBuffer, IsReadOrMappedAsItStands) {
    CElfBuffer Read;
    ASSERT_TRUE(Read.Alloc(static_cast<size_t>(SIZE)));
    ASSERT_TRUE(Read.Read(m_Path.constData()));
    EXPECT_TRUE(Content(Read) == m_Bytes);
    CElfBuffer Mapped;
    if (!Mapped.Map(m_Path.constData(), static_cast<size_t>(SIZE))) {
        GTEST_SKIP() << "files can't be mapped here";
    }
    EXPECT_TRUE(Content(Mapped) == m_Bytes);
    CElfBuffer Second; // one mapping at a time
    EXPECT_FALSE(Second.Map(m_Path.constData(), static_cast<size_t>(SIZE)));
    Mapped.Detach();
    Mapped.WaitDetached();
    ASSERT_TRUE(QFile::resize(m_sPath, 10)); // all is copied: the file may go
    EXPECT_TRUE(Content(Mapped) == m_Bytes);
    EXPECT_FALSE(Mapped.HasLost());
    EXPECT_FALSE(Second.Map(m_Path.constData(), static_cast<size_t>(SIZE))); // not as long as was said
    ASSERT_TRUE(Second.Alloc(static_cast<size_t>(SIZE)));
    EXPECT_FALSE(Second.Read(m_Path.constData()));
}

TEST_F(ElfBuffer, WhatIsCutOffBeforeItIsCopiedReadsAsZeros) {
    constexpr qsizetype LEFT = 64 * 1024;
    CElfBuffer Buffer;
    if (!Buffer.Map(m_Path.constData(), static_cast<size_t>(SIZE))) {
        GTEST_SKIP() << "files can't be mapped here";
    }
    ASSERT_TRUE(QFile::resize(m_sPath, LEFT));
    EXPECT_FALSE(Buffer.HasLost());
    EXPECT_EQ(Content(Buffer), m_Bytes.left(LEFT) + QByteArray(SIZE - LEFT, '\0'));
    EXPECT_TRUE(Buffer.HasLost());
    Buffer.Detach();
    Buffer.WaitDetached();
    EXPECT_EQ(Content(Buffer), m_Bytes.left(LEFT) + QByteArray(SIZE - LEFT, '\0'));
}
