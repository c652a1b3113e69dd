#include "elf/ElfUnpack.h"

#include "elf/ByteReader.h"
#include "elf/Elf.h"
#include "elf/ElfInternal.h"
#include "elf/ElfTasks.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <zlib.h>

namespace {

constexpr U32 CHDR_SIZE = 12; ///< of an Elf32_Chdr, and of "ZLIB" with a size of 8 bytes
constexpr U32 COMPRESS_ZLIB = 1;
constexpr U32 MAX_GROWTH = 7; ///< all sections together, in sizes of the file
constexpr char OLD_PREFIX[] = ".zdebug_";
constexpr char PREFIX[] = ".debug_";
constexpr char OLD_MAGIC[] = "ZLIB";

struct PACKED {
    U32 Section;
    size_t Entry;    ///< in ELF_FILE::Unpacked
    const U8* pData; ///< the stream
    U32 Size;
    U32 UnpackedSize;
    U8* pOut;
    bool IsGood;
    U32 Method; ///< see ELF_UNPACKED
};

/// True for the sections that are looked at here; *pIsOldForm for one with its size behind "ZLIB".
bool IsPacked(const ELF_FILE* pFile, U32 Section, bool* pIsOldForm) {
    *pIsOldForm = false;
    if ((ELF_GetSectionFlags(pFile, Section) & SHF_COMPRESSED) != 0) {
        return ELF_IsSectionName(pFile, Section, PREFIX, sizeof(PREFIX) - 1);
    }
    const U8* pData = ELF_GetSectionData(pFile, Section);
    *pIsOldForm = pData != nullptr && ELF_GetSectionSize(pFile, Section) >= CHDR_SIZE &&
                  std::memcmp(pData, OLD_MAGIC, 4) == 0 &&
                  ELF_IsSectionName(pFile, Section, OLD_PREFIX, sizeof(OLD_PREFIX) - 1);
    return *pIsOldForm;
}

/// Reads the header of a compressed section. False if it isn't one that can be unpacked.
bool ReadHeader(const ELF_FILE* pFile, U32 Section, bool IsOldForm, PACKED* p) {
    const U8* pData = ELF_GetSectionData(pFile, Section);
    const U32 Size = ELF_GetSectionSize(pFile, Section);
    if (pData == nullptr || Size < CHDR_SIZE) {
        return false;
    }
    U64 UnpackedSize = 0;
    if (IsOldForm) { // the size is big-endian in files of either order
        UnpackedSize = CByteReader(pData + 4, 8, true).Get(8);
    } else {
        CByteReader Header(pData, CHDR_SIZE, ELF_IsFileDataSwapped(pFile) != 0);
        const U32 Type = Header.GetU32();
        p->Method = Type;
        UnpackedSize = Type == COMPRESS_ZLIB ? Header.GetU32() : ~0ull;
    }
    *p = {Section, 0, pData + CHDR_SIZE, Size - CHDR_SIZE, static_cast<U32>(UnpackedSize), nullptr, false, p->Method};
    return UnpackedSize <= 0xFFFFFFFF;
}

bool Inflate(const PACKED& Packed) {
    z_stream Stream{};
    Stream.next_in = const_cast<U8*>(Packed.pData); // zlib doesn't write there
    Stream.avail_in = Packed.Size;
    Stream.next_out = Packed.pOut;
    Stream.avail_out = Packed.UnpackedSize;
    if (inflateInit(&Stream) != Z_OK) {
        return false;
    }
    int Result = Z_OK; // linkers that join sections leave several streams, one behind the other
    while (Result == Z_OK && Stream.avail_out != 0) {
        Result = inflate(&Stream, Z_FINISH);
        Result = Result == Z_STREAM_END && Stream.avail_out != 0 ? inflateReset(&Stream) : Result;
    }
    inflateEnd(&Stream);
    return Stream.avail_out == 0 && (Result == Z_OK || Result == Z_STREAM_END);
}

/// Says what is wrong with a section; of a file with many bad ones only the first are named.
void ReportSection(const ELF_FILE* pFile, U32 Section, const char* sText, int* pNumReported) {
    constexpr int MAX_REPORTS = 20;
    constexpr size_t MAX_NAME = 40;
    const char* sName = ELF_GetSectionName(pFile, Section);
    if ((*pNumReported)++ < MAX_REPORTS) {
        ELF_Report(ELF_MSG_READER,
                   (sText + std::string(sName != nullptr ? sName : "").substr(0, MAX_NAME) + ".").c_str());
    }
}

} // namespace

const ELF_UNPACKED* ELF_FindUnpacked(const ELF_FILE* pFile, U32 Section) {
    const auto It = std::lower_bound(pFile->Unpacked.begin(), pFile->Unpacked.end(), Section,
                                     [](const ELF_UNPACKED& Unpacked, U32 Key) { return Unpacked.Section < Key; });
    return It != pFile->Unpacked.end() && It->Section == Section ? &*It : nullptr;
}

void ELF_UnpackSections(ELF_FILE* pFile) {
    std::vector<PACKED> Sections;
    U64 Total = 0;
    U64 TotalPacked = 0;
    int NumReported = 0;
    for (U32 i = 0; i < ELF_GetNumSections(pFile); ++i) {
        bool IsOldForm = false;
        if (!IsPacked(pFile, i, &IsOldForm)) {
            continue;
        }
        PACKED Packed{};
        const bool IsKnown = ReadHeader(pFile, i, IsOldForm, &Packed);
        pFile->Unpacked.push_back({i, nullptr, Packed.Method});
        // Sections that share their bytes could keep zlib busy for hours.
        const bool IsTooLarge = Total + Packed.UnpackedSize > static_cast<U64>(MAX_GROWTH) * pFile->FileSize ||
                                TotalPacked + Packed.Size > pFile->FileSize;
        if (!IsKnown || IsTooLarge) {
            ReportSection(pFile, i, IsKnown ? "compressed section is too large: " : "unknown compression of section ",
                          &NumReported);
            continue;
        }
        Total += Packed.UnpackedSize;
        TotalPacked += Packed.Size;
        pFile->Unpacked.back().pData.reset(new U8[Packed.UnpackedSize]); // not zeroed: zlib writes all of it
        Packed.pOut = pFile->Unpacked.back().pData.get();
        Packed.Entry = pFile->Unpacked.size() - 1;
        Sections.push_back(Packed);
    }
    std::vector<ELF_TASK> Tasks;
    Tasks.reserve(Sections.size());
    for (PACKED& Packed : Sections) {
        Tasks.push_back({[&Packed] { Packed.IsGood = Inflate(Packed); }, nullptr});
    }
    ELF_RunTasks(Tasks, Total);
    for (const PACKED& Packed : Sections) {
        Elf32_Shdr& Header = pFile->paShdr[Packed.Section];
        Header.sh_size = Packed.UnpackedSize;
        Header.sh_flags &= ~U32{SHF_COMPRESSED};
        if (!Packed.IsGood) {
            ReportSection(pFile, Packed.Section, "could not unpack section ", &NumReported);
            pFile->Unpacked[Packed.Entry].pData.reset();
        }
    }
}
