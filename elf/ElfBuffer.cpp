#include "elf/ElfBuffer.h"

#include "elf/ElfTasks.h"

#include <cstdio>

namespace {

constexpr size_t PAGE = 4096;

struct FILE_CLOSER {
    void operator()(std::FILE* p) const { std::fclose(p); }
};
using DISK_FILE = std::unique_ptr<std::FILE, FILE_CLOSER>;

bool _ReadPart(const char* sPath, size_t Off, U8* pData, size_t NumBytes) {
    const DISK_FILE pDisk(std::fopen(sPath, "rb"));
    if (pDisk == nullptr || std::fseek(pDisk.get(), static_cast<long>(Off), SEEK_SET) != 0) {
        return false;
    }
    std::setvbuf(pDisk.get(), nullptr, _IONBF, 0);
    return std::fread(pData, 1, NumBytes, pDisk.get()) == NumBytes;
}

} // namespace

ELF_BUFFER ELF_AllocBuffer(size_t NumBytes) { return ELF_BUFFER(static_cast<U8*>(std::malloc(NumBytes))); }

I64 ELF_GetDiskFileSize(const char* sPath) {
    const DISK_FILE pDisk(std::fopen(sPath, "rb"));
    return pDisk != nullptr && std::fseek(pDisk.get(), 0, SEEK_END) == 0 ? std::ftell(pDisk.get()) : -1;
}

bool ELF_ReadDiskFile(const char* sPath, U8* pData, size_t NumBytes) {
    const size_t Half = NumBytes / 2 / PAGE * PAGE; // no page is of both halves
    bool aIsRead[2] = {false, false};
    ELF_RunTasks({{[&] { aIsRead[0] = _ReadPart(sPath, 0, pData, Half); }},
                  {[&] { aIsRead[1] = _ReadPart(sPath, Half, pData + Half, NumBytes - Half); }}},
                 NumBytes);
    return aIsRead[0] && aIsRead[1];
}
