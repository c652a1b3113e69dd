#include "elf/Elf.h"
#include "elf/ElfInternal.h"
#include "elf/ElfReloc.h"

#include <algorithm>
#include <cstring>

// The load image: target memory as the program's segments say it is.

namespace {

constexpr U32 MAX_LOAD_REGIONS = 100;

struct LOAD_REGION {
    U32 AddrLo;
    U32 AddrHi;
    const U8* pData;
};

LOAD_REGION aLoadRegion[MAX_LOAD_REGIONS];
U32 NumLoadRegions;
bool SwapProgramData;
U32 SymAddrLo = 0xFFFFFFFF;
U32 SymAddrHi;
U32 SymAddrCnt;

const U8* Find(U32 Addr, U32 NumBytes) {
    const U64 End = static_cast<U64>(Addr) + NumBytes;
    for (U32 i = 0; i < NumLoadRegions; ++i) {
        const LOAD_REGION& Region = aLoadRegion[i];
        if (Region.AddrLo <= Addr && End <= Region.AddrHi) {
            return Region.pData != nullptr ? Region.pData + (Addr - Region.AddrLo) : nullptr;
        }
    }
    return nullptr;
}

} // namespace

void ELF_BuildImage(const ELF_FILE* pFile) {
    ELF_ClearImage();
    SwapProgramData = ELF_GetDataEncoding(pFile) == ELF_ENC_BE32;
    NumLoadRegions = std::min(ELF_GetNumSegments(pFile), MAX_LOAD_REGIONS);
    for (U32 i = 0; i < NumLoadRegions; ++i) {
        const U32 Lo = ELF_GetSegmentVAddr(pFile, i);
        const U64 Hi = static_cast<U64>(Lo) + ELF_GetSegmentFileSize(pFile, i);
        aLoadRegion[i] = {Lo, Hi > 0xFFFFFFFF ? Lo : static_cast<U32>(Hi), ELF_GetSegmentData(pFile, i)};
    }
    for (const Elf32_Sym& Sym : pFile->paSym) {
        SymAddrLo = std::min(SymAddrLo, ELF_Relocate(Sym.st_value) & ~1u);
        SymAddrHi = std::max(SymAddrHi, ELF_Relocate(Sym.st_value + Sym.st_size, true));
    }
    SymAddrCnt = pFile->NumSyms;
}

void ELF_ClearImage() {
    NumLoadRegions = 0;
    SwapProgramData = false;
    SymAddrLo = 0xFFFFFFFF;
    SymAddrHi = 0;
    SymAddrCnt = 0;
}

const U8* ELF_GetImagePtr(U32 AddrLo, U32 AddrHi) {
    return AddrHi >= AddrLo && ELF_GetCurrentFile() != nullptr ? Find(AddrLo, AddrHi - AddrLo) : nullptr;
}

int ELF_ReadMem(U32 Addr, U32 NumBytes, void* pBuf) {
    const U64 End = static_cast<U64>(Addr) + NumBytes;
    const U8* pData =
        pBuf != nullptr && End <= 0xFFFFFFFF && ELF_GetCurrentFile() != nullptr ? Find(Addr, NumBytes) : nullptr;
    if (pData == nullptr) {
        return -1;
    }
    std::memcpy(pBuf, pData, NumBytes);
    if (SwapProgramData && (NumBytes == 2 || NumBytes == 4 || NumBytes == 8)) {
        std::reverse(static_cast<U8*>(pBuf), static_cast<U8*>(pBuf) + NumBytes);
    }
    return 0;
}

I64 ELF_ReadU16(U32 Addr) {
    U16 Value = 0;
    return ELF_ReadMem(Addr, sizeof(Value), &Value) == 0 ? Value : -1;
}

I64 ELF_ReadU32(U32 Addr) {
    U32 Value = 0;
    return ELF_ReadMem(Addr, sizeof(Value), &Value) == 0 ? static_cast<I64>(Value) : -1;
}

void ELF_GetSymAddrRange(U32* pLo, U32* pHi, U32* pCnt) {
    *pLo = SymAddrLo;
    *pHi = SymAddrHi;
    *pCnt = SymAddrCnt;
}
