#pragma once

// The ELF module in plain style: free functions over plain records, integers for failure, one message sink. It reads a
// 32-bit ARM ELF file of either byte order whole into memory and answers for its headers, sections, segments and
// symbols (Tool Interface Standard ELF 1.2; ELF for the Arm Architecture). It has no lock of its own: every call from
// another folder goes through ElfApi. Every offset that comes from the file is checked before it is used.

#include "base/Types.h"
#include "elf/ElfBuffer.h"
#include "elf/ElfUnpack.h"
#include "elf/LineTable.h"

#include <memory>
#include <string>
#include <vector>

struct Elf32_Ehdr {
    U8 e_ident[16];
    U16 e_type;
    U16 e_machine;
    U32 e_version;
    U32 e_entry;
    U32 e_phoff;
    U32 e_shoff;
    U32 e_flags;
    U16 e_ehsize;
    U16 e_phentsize;
    U16 e_phnum;
    U16 e_shentsize;
    U16 e_shnum;
    U16 e_shstrndx;
};
static_assert(sizeof(Elf32_Ehdr) == 52);

struct Elf32_Phdr {
    U32 p_type;
    U32 p_offset;
    U32 p_vaddr;
    U32 p_paddr;
    U32 p_filesz;
    U32 p_memsz;
    U32 p_flags;
    U32 p_align;
};
static_assert(sizeof(Elf32_Phdr) == 32);

struct Elf32_Shdr {
    U32 sh_name;
    U32 sh_type;
    U32 sh_flags;
    U32 sh_addr;
    U32 sh_offset;
    U32 sh_size;
    U32 sh_link;
    U32 sh_info;
    U32 sh_addralign;
    U32 sh_entsize;
};
static_assert(sizeof(Elf32_Shdr) == 40);

struct Elf32_Sym {
    U32 st_name;
    U32 st_value;
    U32 st_size;
    U8 st_info;
    U8 st_other;
    U16 st_shndx;
};
static_assert(sizeof(Elf32_Sym) == 16);

enum ELF_CONSTANTS : U32 {
    SHT_SYMTAB = 2,
    SHT_RELA = 4,
    SHT_NOBITS = 8,
    SHT_REL = 9,
    SHT_DYNSYM = 11,
    SHF_ALLOC = 2,
    SHF_EXECINSTR = 4,
    SHF_COMPRESSED = 0x800,
    STT_NOTYPE = 0,
    STT_OBJECT = 1,
    STT_FUNC = 2,
    STT_ARM_TFUNC = 13,
    STB_LOCAL = 0,
    EM_ARM = 40,
    EF_ARM_BE8 = 0x00800000,
};

/// Data encodings, as ELF_GetDataEncoding() returns them.
enum ELF_ENCODING : int { ELF_ENC_LITTLE = 0, ELF_ENC_BE8 = 2, ELF_ENC_BE32 = 3, ELF_ENC_UNKNOWN = 4 };

/// Mapping symbol kinds.
enum ELF_REGION_KIND : U32 { ELF_REGION_NONE = 0, ELF_REGION_ARM = 1, ELF_REGION_THUMB = 2, ELF_REGION_DATA = 4 };

struct ELF_MEM_REGION {
    U32 AddrLo;
    U32 AddrHi;
    U32 Kind;
};

struct ELF_RELOC {
    U32 Type;
    U32 Offset;
    U32 SymIdx;
    U32 Addend;
};

/// Dynamic symbols, of which a file has one section: they have a string table of their own.
struct ELF_DYN_SYMS {
    U32 First = 0; ///< indices into paSym
    U32 End = 0;
    U32 StrTabIdx = 0;
};

class CSrcMap;
struct CFI_TABLE;
struct DWARF_STORE;

struct ELF_FILE {
    U32 IsParsed = 0;
    U32 NumSyms = 0;
    U32 NumMapSyms = 0;
    U32 NumFuncSyms = 0;
    U32 FileSize = 0;
    CElfBuffer pData;
    std::shared_ptr<CSrcMap> pSrcMap;
    std::shared_ptr<CFI_TABLE> pCfi;
    Elf32_Ehdr pEhdr{};
    std::vector<Elf32_Phdr> paPhdr;
    std::vector<Elf32_Shdr> paShdr;
    std::vector<ELF_UNPACKED> Unpacked; ///< debug sections that are compressed in the file
    std::vector<Elf32_Sym> paSym;
    ELF_DYN_SYMS DynSyms;
    /// False: debug information that says that code is at address 0 belongs to what the linker dropped.
    bool HasCodeAtZero = false;
    std::vector<U32> papSymByAddr; ///< indices into paSym by st_value
    std::vector<U32> papMapSym;
    std::vector<U32> papFuncSym;
    U32 StrTabIdx = 0xFFFFFFFF;
    U32 SymTabIdx = 0xFFFFFFFF;
    ELF_LINES Lines;                     ///< until the source map is built
    std::shared_ptr<DWARF_STORE> pDwarf; ///< null without debug information
};

constexpr U32 ELF_MSG_READER = 25;   ///< level of the reader's error texts and load statistics
constexpr U32 ELF_MSG_API = 17;      ///< level of API trace lines
constexpr U32 ELF_MSG_LIBDWARF = 65; ///< level of libdwarf's errors

using ELF_MSG_HANDLER = void (*)(const char* sText, U32 Level);
void ELF_SetMsgHandler(ELF_MSG_HANDLER pfHandler);
void ELF_Report(U32 Level, const char* sText);

/// Opens and parses the file. Null on failure; the reason has gone to the sink. One file at a time.
ELF_FILE* ELF_Open(const char* sPath);
/// To be called when all that is read at once has been read: from soon on the file doesn't need the disk any more.
void ELF_Detach(ELF_FILE* pFile);
void ELF_Close(ELF_FILE* pFile);
/// The file last opened; null while opening, closing or with none.
ELF_FILE* ELF_GetCurrentFile();

U32 ELF_GetEntryPoint(const ELF_FILE* pFile);
int ELF_GetDataEncoding(const ELF_FILE* pFile);
int ELF_IsFileDataSwapped(const ELF_FILE* pFile);

U32 ELF_GetNumSegments(const ELF_FILE* pFile);
U32 ELF_GetSegmentType(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSegmentVAddr(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSegmentPAddr(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSegmentFileSize(const ELF_FILE* pFile, U32 Idx);
const U8* ELF_GetSegmentData(const ELF_FILE* pFile, U32 Idx);
/// Distance from p_vaddr to the first allocated section inside the segment.
U32 ELF_GetSegmentDataOffset(const ELF_FILE* pFile, U32 Idx);

U32 ELF_GetNumSections(const ELF_FILE* pFile);
U32 ELF_GetSectionNameOffset(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSectionType(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSectionFlags(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSectionAddr(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSectionOffset(const ELF_FILE* pFile, U32 Idx);
U32 ELF_GetSectionSize(const ELF_FILE* pFile, U32 Idx);
/// Null if the section has no bytes in the file or they don't lie wholly inside it. A compressed debug section has its
/// unpacked bytes.
const U8* ELF_GetSectionData(const ELF_FILE* pFile, U32 Idx);
/// Zero-terminated string at an offset of a section; null if it doesn't end inside the section within 64 KiB.
const char* ELF_GetSectionString(const ELF_FILE* pFile, U32 Idx, U32 Off);
const char* ELF_GetSectionName(const ELF_FILE* pFile, U32 Idx);
/// A debug section is also found by the name that it has when it isn't compressed.
int ELF_FindSection(const ELF_FILE* pFile, const char* sName);
U32 ELF_GetSectionEntryCnt(U32 Idx);
/// One relocation entry as stored. 0, or -1 on a bad section or index.
int ELF_ReadReloc(const ELF_FILE* pFile, U32 SectionIdx, U32 EntryIdx, ELF_RELOC* pOut);

const Elf32_Sym* ELF_GetSym(const ELF_FILE* pFile, U32 Idx);
const char* ELF_GetSymNameByIdx(const ELF_FILE* pFile, U32 Idx);
inline U32 ELF_GetSymType(const Elf32_Sym& Sym) { return Sym.st_info & 15; }
inline U32 ELF_GetSymBinding(const Elf32_Sym& Sym) { return Sym.st_info >> 4; }
inline bool ELF_IsFuncType(U32 Type) { return Type == STT_FUNC || Type == STT_ARM_TFUNC; }
/// Index of the first symbol at the address, which is even, with that type and binding (-1: any), or -1.
int ELF_FindSymByAddr(const ELF_FILE* pFile, U32 Addr, int Type, int Binding);
/// Index of the function symbol that holds the address; without Strict also the nearest below. 0xFFFFFFFF if none.
U32 ELF_FindFuncSym(const ELF_FILE* pFile, U32 Addr, int Strict);
U32 ELF_GetFuncSymCnt(const ELF_FILE* pFile);
U32 ELF_GetFuncSymIdx(const ELF_FILE* pFile, U32 i);
ELF_MEM_REGION ELF_GetMemRegion(U32 Addr);

/// The load image: 0, or -1 if no segment holds the whole range.
int ELF_ReadMem(U32 Addr, U32 NumBytes, void* pBuf);
I64 ELF_ReadU16(U32 Addr);
I64 ELF_ReadU32(U32 Addr);
const U8* ELF_GetImagePtr(U32 AddrLo, U32 AddrHi);

/// Lowest address, highest end address and number of the ELF symbols.
void ELF_GetSymAddrRange(U32* pLo, U32* pHi, U32* pCnt);
