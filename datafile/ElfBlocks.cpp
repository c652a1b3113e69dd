#include "datafile/ElfBlocks.h"

#include "elf/ByteReader.h"
#include "elf/Elf.h"

#include <QFile>
#include <algorithm>
#include <vector>

namespace {

constexpr U32 PT_LOAD = 1;
constexpr qsizetype HEADER_SIZE = 52;

class CSegmentReader {
public:
    explicit CSegmentReader(const QByteArray& File) : m_File(File) {}
    QList<CMemBlock> Read();

private:
    const U8* Data() const { return reinterpret_cast<const U8*>(m_File.constData()); }
    bool ReadHeader();
    CByteReader At(U64 Off) const {
        const U64 Size = static_cast<U64>(m_File.size());
        return CByteReader(Data() + std::min(Off, Size), Off < Size ? Size - Off : 0, m_IsBig);
    }
    U32 FirstSectionOffset(U32 VAddr, U32 FileSize) const;
    QByteArray m_File;
    Elf32_Ehdr m_Header{};
    bool m_IsBig = false;
};

bool CSegmentReader::ReadHeader() {
    if (m_File.size() < HEADER_SIZE ||
        !m_File.startsWith("\x7F"
                           "ELF") ||
        m_File[4] != 1 || (m_File[5] != 1 && m_File[5] != 2)) {
        return false;
    }
    m_IsBig = m_File[5] == 2;
    m_Header.e_phoff = At(28).GetU32();
    m_Header.e_shoff = At(32).GetU32();
    m_Header.e_phentsize = At(42).GetU16();
    m_Header.e_phnum = At(44).GetU16();
    m_Header.e_shentsize = At(46).GetU16();
    m_Header.e_shnum = At(48).GetU16();
    return m_Header.e_phentsize >= sizeof(Elf32_Phdr);
}

/// Distance from the segment's start to the first allocated section inside it: what stands before is the file's own
/// headers or padding.
U32 CSegmentReader::FirstSectionOffset(U32 VAddr, U32 FileSize) const {
    U64 Lowest = ~0ULL;
    for (U32 i = 0; i < m_Header.e_shnum; ++i) {
        CByteReader In = At(m_Header.e_shoff + static_cast<U64>(i) * m_Header.e_shentsize + 8);
        const U32 Flags = In.GetU32();
        const U32 Addr = In.GetU32();
        In.Skip(4);
        const U32 Size = In.GetU32();
        if (In.IsOk() && (Flags & SHF_ALLOC) != 0 && Size != 0 && Addr >= VAddr &&
            static_cast<U64>(Addr) + Size <= static_cast<U64>(VAddr) + FileSize) {
            Lowest = std::min<U64>(Lowest, Addr);
        }
    }
    return Lowest == ~0ULL ? 0 : static_cast<U32>(Lowest - VAddr);
}

QList<CMemBlock> CSegmentReader::Read() {
    QList<CMemBlock> Blocks;
    if (!ReadHeader()) {
        return Blocks;
    }
    for (U32 i = 0; i < m_Header.e_phnum; ++i) {
        CByteReader In = At(m_Header.e_phoff + static_cast<U64>(i) * m_Header.e_phentsize);
        const U32 Type = In.GetU32();
        U64 Off = In.GetU32();
        U32 VAddr = In.GetU32();
        U32 PAddr = In.GetU32();
        U32 Size = In.GetU32();
        if (Type != PT_LOAD || !In.IsOk() || Off + Size > static_cast<U64>(m_File.size())) {
            continue;
        }
        if (VAddr != PAddr) {
            qDebug("Virtual segment address differs from physical address by 0x%X bytes",
                   VAddr > PAddr ? VAddr - PAddr : PAddr - VAddr);
        }
        const U32 Skip = FirstSectionOffset(VAddr, Size);
        if (Skip <= Size) {
            Off += Skip;
            VAddr += Skip;
            PAddr += Skip;
            Size -= Skip;
        }
        if (Size != 0) {
            CMemBlock Block(PAddr, m_File.mid(static_cast<qsizetype>(Off), static_cast<qsizetype>(Size)));
            Block.VAddr = VAddr;
            Blocks.append(Block);
        }
    }
    std::stable_sort(Blocks.begin(), Blocks.end(),
                     [](const CMemBlock& a, const CMemBlock& b) { return a.Addr < b.Addr; });
    return Blocks;
}

} // namespace

QList<CMemBlock> ReadElfBlocks(const QString& sPath) {
    QFile File(sPath);
    return File.open(QIODevice::ReadOnly) ? CSegmentReader(File.readAll()).Read() : QList<CMemBlock>();
}
