#include "tests/elf/ElfImageBuilder.h"

#include <QFile>

U32 CElfImageBuilder::AddSection(const char* sName, U32 Type, U32 SectionFlags, U32 Addr, const QByteArray& Data,
                                 U32 EntSize) {
    m_Sections.append({sName, Type, SectionFlags, Addr, EntSize, Data, 0});
    return static_cast<U32>(m_Sections.size());
}

void CElfImageBuilder::AddSymbol(const char* sName, U32 Value, U32 Size, U32 Type, U32 Binding, U32 Section) {
    m_Symbols.append({sName, Value, Size, Binding << 4 | Type, Section});
}

void CElfImageBuilder::AddSegment(U32 Section, U32 VAddr, U32 PAddr, U32 Type, I64 FileSize) {
    m_Segments.append({Section, VAddr, PAddr, Type, FileSize});
}

void CElfImageBuilder::Put16(QByteArray* pOut, U32 Value) const {
    const char Lo = static_cast<char>(Value);
    const char Hi = static_cast<char>(Value >> 8);
    pOut->append(IsBigEndian ? Hi : Lo).append(IsBigEndian ? Lo : Hi);
}

void CElfImageBuilder::Put32(QByteArray* pOut, U32 Value) const {
    Put16(pOut, IsBigEndian ? Value >> 16 : Value & 0xFFFF);
    Put16(pOut, IsBigEndian ? Value & 0xFFFF : Value >> 16);
}

QByteArray CElfImageBuilder::BuildSymbols(QByteArray* pNames) const {
    QByteArray Table(16, '\0');
    *pNames = QByteArray(1, '\0');
    for (const SYMBOL& Symbol : m_Symbols) {
        Put32(&Table, Symbol.Name.isEmpty() ? 0 : static_cast<U32>(pNames->size()));
        Put32(&Table, Symbol.Value);
        Put32(&Table, Symbol.Size);
        Table.append(static_cast<char>(Symbol.Info)).append('\0');
        Put16(&Table, Symbol.Section);
        if (!Symbol.Name.isEmpty()) {
            pNames->append(Symbol.Name).append('\0');
        }
    }
    return Table;
}

QByteArray CElfImageBuilder::Build() const {
    QList<SECTION> Sections = {{"", 0, 0, 0, 0, {}, 0}};
    Sections += m_Sections;
    if (!IsStripped) {
        QByteArray Names;
        const QByteArray Table = BuildSymbols(&Names);
        Sections.append({".symtab", SHT_SYMTAB, 0, 0, 16, Table, 0});
        Sections.append({".strtab", 3, 0, 0, 0, Names, 0});
    }
    QByteArray SectionNames(1, '\0');
    QList<U32> NameOffsets;
    Sections.append({".shstrtab", 3, 0, 0, 0, {}, 0});
    for (const SECTION& Section : Sections) {
        NameOffsets.append(Section.Name.isEmpty() ? 0 : static_cast<U32>(SectionNames.size()));
        SectionNames += Section.Name.isEmpty() ? QByteArray() : Section.Name + '\0';
    }
    Sections.last().Data = SectionNames;
    U32 Offset = 52 + 32 * static_cast<U32>(m_Segments.size());
    for (SECTION& Section : Sections) {
        Section.Offset = Offset;
        Offset += Section.Type == SHT_NOBITS ? 0 : static_cast<U32>(Section.Data.size() + 3) & ~3u;
    }
    QByteArray Out("\x7F"
                   "ELF",
                   4);
    Out.append('\1').append(IsBigEndian ? '\2' : '\1').append('\1').append(QByteArray(9, '\0'));
    Put16(&Out, 2);
    Put16(&Out, EM_ARM);
    for (const U32 Word : {1u, Entry, m_Segments.isEmpty() ? 0u : 52u, Offset, Flags}) {
        Put32(&Out, Word);
    }
    for (const qsizetype Half :
         {qsizetype(52), qsizetype(32), m_Segments.size(), qsizetype(40), Sections.size(), Sections.size() - 1}) {
        Put16(&Out, static_cast<U32>(Half));
    }
    for (const SEGMENT& Segment : m_Segments) {
        const SECTION& Section = Sections[Segment.Section];
        const U32 Size =
            Segment.FileSize >= 0 ? static_cast<U32>(Segment.FileSize) : static_cast<U32>(Section.Data.size());
        for (const U32 Word : {Segment.Type, Section.Offset, Segment.VAddr, Segment.PAddr, Size, Size, 5u, 4u}) {
            Put32(&Out, Word);
        }
    }
    for (const SECTION& Section : Sections) {
        if (Section.Type != SHT_NOBITS) {
            Out += Section.Data + QByteArray((4 - Section.Data.size() % 4) % 4, '\0');
        }
    }
    for (qsizetype i = 0; i < Sections.size(); ++i) {
        const SECTION& Section = Sections[i];
        for (const U32 Word : {NameOffsets[i], Section.Type, Section.Flags, Section.Addr, Section.Offset,
                               static_cast<U32>(Section.Data.size()),
                               Section.Type == SHT_DYNSYM ? static_cast<U32>(i) + 1 : 0u, 0u, 4u, Section.EntSize}) {
            Put32(&Out, Word);
        }
    }
    return Out;
}

void CElfTest::SetUp() {
    Messages.clear();
    ELF_SetMsgHandler([](const char* sText, U32 Level) {
        if (Level == ELF_MSG_READER) {
            Messages.append(QString::fromUtf8(sText));
        }
    });
}

void CElfTest::TearDown() {
    ELF_Close(m_pFile);
    ELF_SetMsgHandler(nullptr);
}

QString CElfTest::Write(const QByteArray& Bytes) {
    const QString sPath = m_Dir.filePath("image.elf");
    QFile File(sPath);
    EXPECT_TRUE(File.open(QIODevice::WriteOnly));
    EXPECT_EQ(File.write(Bytes), Bytes.size());
    return sPath;
}

const ELF_FILE* CElfTest::Open(const QByteArray& Bytes) {
    ELF_Close(m_pFile);
    Messages.clear();
    m_pFile = ELF_Open(qPrintable(Write(Bytes)));
    return m_pFile;
}

U32 CElfTest::FindByName(const ELF_FILE* pFile, const char* sName) {
    for (U32 i = 0; ELF_GetSym(pFile, i) != nullptr; ++i) {
        const char* sSym = ELF_GetSymNameByIdx(pFile, i);
        if (sSym != nullptr && qstrcmp(sSym, sName) == 0) {
            return i;
        }
    }
    return 0xFFFFFFFF;
}

U32 CElfTest::SizeOf(const ELF_FILE* pFile, const char* sName) {
    const Elf32_Sym* pSym = ELF_GetSym(pFile, FindByName(pFile, sName));
    return pSym != nullptr ? pSym->st_size : 0xFFFFFFFF;
}
