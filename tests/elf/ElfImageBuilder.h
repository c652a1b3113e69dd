#pragma once

#include "elf/Elf.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>

/// Writes small ARM ELF files in either byte order: header, program headers, section contents, section headers. The
/// tables .symtab, .strtab and .shstrtab come last, unless the file is stripped.
class CElfImageBuilder {
public:
    bool IsBigEndian = false;
    bool IsStripped = false;
    U32 Entry = 0x1001;
    U32 Flags = 0x05000000;

    /// Number of the new section; the first is 1. Data of a section without bits gives its size only.
    /// The strings of dynamic symbols are in the section behind theirs.
    U32 AddSection(const char* sName, U32 Type, U32 SectionFlags, U32 Addr, const QByteArray& Data, U32 EntSize = 0);
    void AddSymbol(const char* sName, U32 Value, U32 Size, U32 Type, U32 Binding, U32 Section);
    /// A segment of the contents of a section, or without content for section 0.
    void AddSegment(U32 Section, U32 VAddr, U32 PAddr, U32 Type = 1, I64 FileSize = -1);

    QByteArray Build() const;

private:
    struct SECTION {
        QByteArray Name;
        U32 Type, Flags, Addr, EntSize;
        QByteArray Data;
        U32 Offset;
    };
    struct SEGMENT {
        U32 Section, VAddr, PAddr, Type;
        I64 FileSize;
    };
    struct SYMBOL {
        QByteArray Name;
        U32 Value, Size, Info, Section;
    };

    void Put16(QByteArray* pOut, U32 Value) const;
    void Put32(QByteArray* pOut, U32 Value) const;
    QByteArray BuildSymbols(QByteArray* pNames) const;

    QList<SECTION> m_Sections;
    QList<SEGMENT> m_Segments;
    QList<SYMBOL> m_Symbols;
};

/// Opens images through the reader and keeps what it reports.
class CElfTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Writes the bytes to a file and opens it.
    const ELF_FILE* Open(const QByteArray& Bytes);
    QString Write(const QByteArray& Bytes);

    /// Index of the symbol of that name in the file's table; 0xFFFFFFFF if there is none.
    static U32 FindByName(const ELF_FILE* pFile, const char* sName);
    static U32 SizeOf(const ELF_FILE* pFile, const char* sName);

    static inline QStringList Messages; ///< of the reader's level
    ELF_FILE* m_pFile = nullptr;
    QTemporaryDir m_Dir;
};
