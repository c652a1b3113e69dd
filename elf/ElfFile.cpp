#include "elf/Cfi.h"
#include "elf/DwarfLines.h"
#include "elf/DwarfUnits.h"
#include "elf/Elf.h"
#include "elf/ElfInternal.h"
#include "elf/ElfReloc.h"

#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr U32 NUM_FILE_SLOTS = 3;
constexpr U32 ELF_MAGIC = 0x464C457F;
constexpr U32 EHDR_SIZE = 52;
constexpr I64 MAX_FILE_SIZE = 0x7FFFFFFF; ///< offsets are signed 32-bit values in places

ELF_FILE* aFile[NUM_FILE_SLOTS];
ELF_FILE* pCurrentFile;
bool IsOpening;
bool IsClosing;

bool IsRegistered(const ELF_FILE* pFile) {
    for (const ELF_FILE* p : aFile) {
        if (p != nullptr && p == pFile) {
            return true;
        }
    }
    return false;
}

std::nullptr_t Fail(const char* sText) {
    ELF_Report(ELF_MSG_READER, sText);
    IsOpening = false;
    return nullptr;
}

/// Reads the disk file. Null with the text reported on failure.
std::unique_ptr<ELF_FILE> ReadFile(const char* sPath) {
    const I64 Size = ELF_GetDiskFileSize(sPath);
    if (Size < 0) {
        return Fail("failed to open file.");
    }
    if (Size < 1 || Size > MAX_FILE_SIZE) {
        return Fail("invalid file size detected. Could not parse file.");
    }
    auto pFile = std::unique_ptr<ELF_FILE>(new (std::nothrow) ELF_FILE);
    if (pFile == nullptr) {
        return Fail("could not allocate file structure.");
    }
    pFile->FileSize = static_cast<U32>(Size);
    if (pFile->pData.Map(sPath, pFile->FileSize)) {
        return pFile;
    }
    if (!pFile->pData.Alloc(pFile->FileSize)) {
        return Fail("could not allocate file data buffer.");
    }
    if (!pFile->pData.Read(sPath)) {
        return Fail("could not read file data.");
    }
    return pFile;
}

int HeaderError(const char* sText) {
    ELF_Report(ELF_MSG_READER, sText);
    return -1;
}

void SwapHeader(Elf32_Ehdr* p) {
    for (U16* pField : {&p->e_type, &p->e_machine, &p->e_ehsize, &p->e_phentsize, &p->e_phnum, &p->e_shentsize,
                        &p->e_shnum, &p->e_shstrndx}) {
        *pField = ELF_Swap16(*pField);
    }
    for (U32* pField : {&p->e_version, &p->e_entry, &p->e_phoff, &p->e_shoff, &p->e_flags}) {
        *pField = ELF_Swap32(*pField);
    }
}

int ParseHeader(ELF_FILE* pFile) {
    if (!IsRegistered(pFile)) {
        return HeaderError("Invalid ELF file handle.");
    }
    U32 Magic = 0;
    std::memcpy(&Magic, pFile->pData.get(), pFile->FileSize < 4 ? pFile->FileSize : 4);
    if (Magic != ELF_MAGIC || pFile->FileSize < EHDR_SIZE) {
        return HeaderError("Not a valid elf object file.");
    }
    Elf32_Ehdr& Header = pFile->pEhdr;
    std::memcpy(&Header, pFile->pData.get(), EHDR_SIZE);
    if (Header.e_ident[4] != 1) {
        return HeaderError("Invalid ELF file. Invalid file class");
    }
    if (Header.e_ident[5] != 1 && Header.e_ident[5] != 2) {
        return HeaderError("Invalid ELF file. Invalid data encoding");
    }
    if (Header.e_ident[6] != 1) {
        return HeaderError("Invalid ELF file. Invalid ELF header version number.");
    }
    if (Header.e_version == 0) {
        return HeaderError("Invalid ELF file. Invalid file version number.");
    }
    if (Header.e_ident[5] == 2) {
        SwapHeader(&Header);
    }
    if (Header.e_machine != EM_ARM) {
        return HeaderError("Not a valid elf object file.");
    }
    return 0;
}

/// A table of 32-bit words with a record size of its own: each record is cut or zero-filled to T.
template <typename T> int LoadTable(const ELF_FILE* pFile, U32 Off, U32 EntSize, U32 Num, std::vector<T>* pOut) {
    if (Num == 0) {
        return 0;
    }
    if (EntSize == 0 || !ELF_IsInFile(pFile, Off, static_cast<U64>(EntSize) * Num)) {
        return -1;
    }
    pOut->resize(Num);
    const bool IsSwapped = ELF_IsFileDataSwapped(pFile) != 0;
    for (U32 i = 0; i < Num; ++i) {
        U32 aWord[sizeof(T) / 4] = {};
        std::memcpy(aWord, pFile->pData.get() + Off + static_cast<size_t>(i) * EntSize,
                    EntSize < sizeof(T) ? EntSize : sizeof(T));
        for (U32& Word : aWord) {
            Word = IsSwapped ? ELF_Swap32(Word) : Word;
        }
        std::memcpy(&(*pOut)[i], aWord, sizeof(T));
    }
    return 0;
}

int LoadSections(ELF_FILE* pFile) {
    const Elf32_Ehdr& Header = pFile->pEhdr;
    const int Result = LoadTable(pFile, Header.e_shoff, Header.e_shentsize, Header.e_shnum, &pFile->paShdr);
    pFile->StrTabIdx = static_cast<U32>(ELF_FindSection(pFile, ".strtab"));
    pFile->SymTabIdx = static_cast<U32>(ELF_FindSection(pFile, ".symtab"));
    ELF_UnpackSections(pFile);
    return Result;
}

const char* EncodingText(int Encoding) {
    switch (Encoding) {
    case ELF_ENC_LITTLE:
        return "Little Endian";
    case ELF_ENC_BE8:
        return "ARM BE8 (Big Endian byte invariant)";
    case ELF_ENC_BE32:
        return "ARM BE32 (Big Endian word invariant)";
    default:
        return "Unknown data encoding";
    }
}

void ReportNumber(const char* sText, long Value) {
    ELF_Report(ELF_MSG_READER, (std::string(sText) + std::to_string(Value)).c_str());
}

void ReportLoad(const ELF_FILE* pFile, const DWARF_TIMES& Times) {
    const auto Ms = [](U64 Nanoseconds) { return static_cast<long>(Nanoseconds / 1'000'000); };
    const DWARF_STORE* pStore = pFile->pDwarf.get();
    ReportNumber("parsed type unit tree in ms:   ", Ms(Times.TypeUnits));
    ReportNumber("parsed debug info tree in ms:  ", Ms(Times.Units));
    ReportNumber("parsed source file info in ms: ", Ms(Times.SrcFiles));
    ReportNumber("parsed source line info in ms: ", Ms(Times.SrcLines));
    ReportNumber("parsed call frame info in ms:  ", Ms(Times.Frames));
    ReportNumber("File Size: ", static_cast<long>(pFile->FileSize));
    ReportNumber("Dwarf Symbol Count: ", pStore != nullptr ? static_cast<long>(pStore->NumKept) : 0);
    ReportNumber("ELF Symbol Count: ", static_cast<long>(pFile->NumSyms));
    ELF_Report(ELF_MSG_READER, (std::string("Data Encoding: ") + EncodingText(ELF_GetDataEncoding(pFile))).c_str());
    ELF_Report(ELF_MSG_READER,
               pStore != nullptr && pStore->SrcLang == 2 ? "Source Language: C++" : "Source Language: C");
    const long Total =
        Ms(Times.TypeUnits) + Ms(Times.Units) + Ms(Times.SrcFiles) + Ms(Times.SrcLines) + Ms(Times.Frames);
    ELF_Report(ELF_MSG_READER, ("total init time: " + std::to_string(Total) + " ms").c_str());
    ReportNumber("Dwarf Version: ", pStore != nullptr ? static_cast<long>(pStore->DwarfVersion) : 0);
}

/// Symbols and debug information: independent of each other, so they are read at the same time. Messages come in the
/// order in which the parts stand in the file's description, whichever part ends first.
const char* ParseContents(ELF_FILE* pFile, DWARF_TIMES* pTimes) {
    int SymResult = 0;
    std::vector<ELF_TASK> Tasks = {{[&] { SymResult = ELF_LoadSymbols(pFile); }}};
    const int BeginResult = DWARF_Begin(pFile);
    DWARF_STORE& S = *pFile->pDwarf;
    const std::shared_ptr<DWARF_WALK> pWalk = DWARF_StartWalk(S, pTimes, &Tasks);
    const std::shared_ptr<DWARF_LINES> pLines = DWARF_StartLines(S, pTimes, &Tasks);
    Tasks.push_back({[pFile] { pFile->pCfi = ELF_LoadCfi(pFile); }, &pTimes->Frames});
    ELF_RunTasks(Tasks, pFile->FileSize);
    if (SymResult != 0) {
        return "could not parse symbols.";
    }
    pFile->pCfi->HasCodeAtZero = pFile->HasCodeAtZero;
    DWARF_EndWalk(S, pWalk.get());
    pFile->Lines = DWARF_EndLines(S, pLines.get());
    if (BeginResult != 0) {
        ELF_Report(ELF_MSG_READER, "debug info could not be parsed.");
    }
    return nullptr;
}

/// The steps behind the registration. Null, or the text of the step that failed.
const char* ParseFile(ELF_FILE* pFile, DWARF_TIMES* pTimes) {
    if (ParseHeader(pFile) != 0) {
        return "could not parse file header.";
    }
    const Elf32_Ehdr& Header = pFile->pEhdr;
    if (LoadTable(pFile, Header.e_phoff, Header.e_phentsize, Header.e_phnum, &pFile->paPhdr) != 0) {
        return "could not parse segment headers.";
    }
    if (LoadSections(pFile) != 0) {
        return "could not section headers.";
    }
    return ParseContents(pFile, pTimes);
}

} // namespace

U16 ELF_Swap16(U16 v) { return __builtin_bswap16(v); }
U32 ELF_Swap32(U32 v) { return __builtin_bswap32(v); }

bool ELF_IsInFile(const ELF_FILE* pFile, U64 Off, U64 Size) {
    return Off <= pFile->FileSize && Size <= pFile->FileSize - Off;
}

ELF_FILE* ELF_Open(const char* sPath) {
    IsOpening = true;
    ELF_ForgetLastError();
    if (aFile[NUM_FILE_SLOTS - 1] != nullptr) {
        return Fail("maximum number of files already open.");
    }
    std::unique_ptr<ELF_FILE> pOwner = ReadFile(sPath);
    if (pOwner == nullptr) {
        return nullptr;
    }
    if (pOwner->FileSize >= 4 && std::memcmp(pOwner->pData.get(),
                                             "\x7F"
                                             "ELF",
                                             4) != 0) {
        ELF_Report(ELF_MSG_READER, "not an elf file.");
    }
    ELF_FILE* pFile = pOwner.release();
    for (ELF_FILE*& pSlot : aFile) {
        pSlot = pFile;
    }
    pCurrentFile = pFile;
    DWARF_TIMES Times;
    const char* sError = nullptr;
    try {
        sError = ParseFile(pFile, &Times);
    } catch (const std::bad_alloc&) {
        sError = "could not allocate file data buffer.";
    }
    if (pFile->pData.HasLost()) {
        sError = "could not read file data."; // it was cut while it was parsed
    }
    if (sError != nullptr) {
        ELF_Report(ELF_MSG_READER, sError);
        IsOpening = false;
        ELF_Close(pFile);
        return nullptr;
    }
    pFile->IsParsed = 1;
    IsOpening = false;
    ELF_ResolveRelocs(pFile);
    ELF_BuildImage(pFile);
    ReportLoad(pFile, Times);
    return pFile;
}

void ELF_Detach(ELF_FILE* pFile) { pFile->pData.Detach(); }

void ELF_Close(ELF_FILE* pFile) {
    if (!IsRegistered(pFile)) {
        return;
    }
    ELF_ClearRelocs();
    pCurrentFile = nullptr;
    IsClosing = true;
    pFile->IsParsed = 0;
    for (ELF_FILE*& pSlot : aFile) {
        pSlot = pSlot == pFile ? nullptr : pSlot;
    }
    ELF_ClearImage();
    delete pFile;
    IsClosing = false;
}

ELF_FILE* ELF_GetCurrentFile() {
    return pCurrentFile != nullptr && pCurrentFile->IsParsed != 0 && !IsOpening && !IsClosing ? pCurrentFile : nullptr;
}

U32 ELF_GetEntryPoint(const ELF_FILE* pFile) { return pFile != nullptr ? ELF_Relocate(pFile->pEhdr.e_entry & ~1u) : 0; }

int ELF_GetDataEncoding(const ELF_FILE* pFile) {
    if (pFile == nullptr) {
        return ELF_ENC_UNKNOWN;
    }
    switch (pFile->pEhdr.e_ident[5]) {
    case 1:
        return ELF_ENC_LITTLE;
    case 2:
        return (pFile->pEhdr.e_flags & EF_ARM_BE8) != 0 ? ELF_ENC_BE8 : ELF_ENC_BE32;
    default:
        return ELF_ENC_UNKNOWN;
    }
}

int ELF_IsFileDataSwapped(const ELF_FILE* pFile) {
    const int Encoding = ELF_GetDataEncoding(pFile);
    return Encoding == ELF_ENC_BE8 || Encoding == ELF_ENC_BE32;
}
