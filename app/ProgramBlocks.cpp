#include "app/ProgramBlocks.h"

#include "datafile/JFile.h"
#include "elf/ElfApi.h"

#include <QFileInfo>
#include <utility>

bool IsElfFile(const QString& sPath) { return !JFile::IsBinFile(sPath) && !JFile::IsRecordFile(sPath); }

QString ReadBlocks(const QString& sPath, I64 Address, QList<CMemBlock>* pBlocks) {
    constexpr I64 ADDR_END = 0x100000000;
    constexpr I64 MAX_DOWNLOAD = 1'000'000'000; ///< bytes, the largest buffer a device job takes
    const bool IsBinary = JFile::IsBinFile(sPath);
    if (!QFileInfo::exists(sPath)) {
        return QStringLiteral("file not found");
    }
    if (IsBinary && Address < 0) {
        return QStringLiteral("invalid parameter");
    }
    *pBlocks = JFile::ReadFile(sPath, Address);
    I64 Total = 0;
    for (const CMemBlock& Block : std::as_const(*pBlocks)) {
        Total += Block.Size;
    }
    if (Total < 1 || Total > MAX_DOWNLOAD || (IsBinary && Total > ADDR_END - Address)) {
        return JFile::IsRecordFile(sPath) && Total == 0 ? QStringLiteral("invalid data file")
                                                        : QStringLiteral("invalid file size");
    }
    if (IsBinary) {
        (*pBlocks)[0].Addr = (*pBlocks)[0].VAddr = static_cast<U32>(Address);
    }
    return {};
}

QList<CMemBlock> ElfBlocks() {
    QList<CMemBlock> Blocks;
    for (const ELF_SEGMENT& Segment : ElfApi_GetLoadSegments()) {
        Blocks.append({Segment.PAddr, Segment.Data});
    }
    return Blocks;
}
