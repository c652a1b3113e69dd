#include "elf/Elf.h"
#include "elf/ElfInternal.h"

#include <algorithm>
#include <cstring>

// Getters over program and section headers. An index out of range answers 0 or null.

namespace {

constexpr U32 MAX_STRING_SIZE = 65'536; ///< bounds the search for the end of a name in a damaged string table

const Elf32_Phdr* Segment(const ELF_FILE* pFile, U32 Idx) {
    return pFile != nullptr && Idx < pFile->paPhdr.size() ? &pFile->paPhdr[Idx] : nullptr;
}

const Elf32_Shdr* SectionOf(const ELF_FILE* pFile, U32 Idx) {
    return pFile != nullptr && Idx < pFile->paShdr.size() ? &pFile->paShdr[Idx] : nullptr;
}

template <typename T> U32 Field(const T* pHeader, U32 T::*pField) { return pHeader != nullptr ? pHeader->*pField : 0; }

} // namespace

U32 ELF_GetNumSegments(const ELF_FILE* p) { return p != nullptr ? static_cast<U32>(p->paPhdr.size()) : 0; }
U32 ELF_GetSegmentType(const ELF_FILE* p, U32 Idx) { return Field(Segment(p, Idx), &Elf32_Phdr::p_type); }
U32 ELF_GetSegmentVAddr(const ELF_FILE* p, U32 Idx) { return Field(Segment(p, Idx), &Elf32_Phdr::p_vaddr); }
U32 ELF_GetSegmentPAddr(const ELF_FILE* p, U32 Idx) { return Field(Segment(p, Idx), &Elf32_Phdr::p_paddr); }
U32 ELF_GetSegmentFileSize(const ELF_FILE* p, U32 Idx) { return Field(Segment(p, Idx), &Elf32_Phdr::p_filesz); }

const U8* ELF_GetSegmentData(const ELF_FILE* pFile, U32 Idx) {
    const Elf32_Phdr* p = Segment(pFile, Idx);
    if (p == nullptr || p->p_filesz == 0 || static_cast<I32>(p->p_offset) < 0 ||
        !ELF_IsInFile(pFile, p->p_offset, p->p_filesz)) {
        return nullptr;
    }
    return pFile->pData.get() + p->p_offset;
}

U32 ELF_GetSegmentDataOffset(const ELF_FILE* pFile, U32 Idx) {
    const Elf32_Phdr* pSegment = Segment(pFile, Idx);
    if (pSegment == nullptr || pSegment->p_filesz == 0) {
        return 0;
    }
    const U64 Lo = pSegment->p_vaddr;
    const U64 Hi = Lo + pSegment->p_filesz;
    U64 First = Hi;
    for (const Elf32_Shdr& Section : pFile->paShdr) {
        const U64 Addr = Section.sh_addr;
        if ((Section.sh_flags & SHF_ALLOC) != 0 && Section.sh_size != 0 && Addr >= Lo && Addr + Section.sh_size <= Hi &&
            Addr < First) {
            First = Addr;
        }
    }
    return First == Hi ? 0 : static_cast<U32>(First - Lo);
}

U32 ELF_GetNumSections(const ELF_FILE* p) { return p != nullptr ? static_cast<U32>(p->paShdr.size()) : 0; }
U32 ELF_GetSectionNameOffset(const ELF_FILE* p, U32 Idx) { return Field(SectionOf(p, Idx), &Elf32_Shdr::sh_name); }
U32 ELF_GetSectionType(const ELF_FILE* p, U32 Idx) { return Field(SectionOf(p, Idx), &Elf32_Shdr::sh_type); }
U32 ELF_GetSectionFlags(const ELF_FILE* p, U32 Idx) { return Field(SectionOf(p, Idx), &Elf32_Shdr::sh_flags); }
U32 ELF_GetSectionAddr(const ELF_FILE* p, U32 Idx) { return Field(SectionOf(p, Idx), &Elf32_Shdr::sh_addr); }
U32 ELF_GetSectionOffset(const ELF_FILE* p, U32 Idx) { return Field(SectionOf(p, Idx), &Elf32_Shdr::sh_offset); }
U32 ELF_GetSectionSize(const ELF_FILE* p, U32 Idx) { return Field(SectionOf(p, Idx), &Elf32_Shdr::sh_size); }

const U8* ELF_GetSectionData(const ELF_FILE* pFile, U32 Idx) {
    const Elf32_Shdr* p = SectionOf(pFile, Idx);
    if (p != nullptr && !pFile->Unpacked.empty()) {
        if (const ELF_UNPACKED* pUnpacked = ELF_FindUnpacked(pFile, Idx); pUnpacked != nullptr) {
            return pUnpacked->pData.get();
        }
    }
    if (p == nullptr || p->sh_type == SHT_NOBITS || !ELF_IsInFile(pFile, p->sh_offset, p->sh_size)) {
        return nullptr;
    }
    return pFile->pData.get() + p->sh_offset;
}

const char* ELF_GetSectionString(const ELF_FILE* pFile, U32 Idx, U32 Off) {
    const U8* pData = ELF_GetSectionData(pFile, Idx);
    const U32 Size = ELF_GetSectionSize(pFile, Idx);
    if (pData == nullptr || Off >= Size ||
        std::memchr(pData + Off, 0, std::min(Size - Off, MAX_STRING_SIZE)) == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<const char*>(pData + Off);
}

const char* ELF_GetSectionName(const ELF_FILE* pFile, U32 Idx) {
    const Elf32_Shdr* p = SectionOf(pFile, Idx);
    return p != nullptr ? ELF_GetSectionString(pFile, pFile->pEhdr.e_shstrndx, p->sh_name) : nullptr;
}

bool ELF_IsSectionName(const ELF_FILE* pFile, U32 Section, const char* s, size_t NumBytes) {
    const U32 Names = pFile->pEhdr.e_shstrndx;
    const U8* pNames = ELF_GetSectionData(pFile, Names);
    const U64 Off = ELF_GetSectionNameOffset(pFile, Section);
    return pNames != nullptr && Off + NumBytes <= ELF_GetSectionSize(pFile, Names) &&
           std::memcmp(pNames + Off, s, NumBytes) == 0;
}

int ELF_FindSection(const ELF_FILE* pFile, const char* sName) {
    const size_t NumBytes = std::strlen(sName) + 1;
    for (U32 i = 0; i < ELF_GetNumSections(pFile); ++i) {
        if (ELF_IsSectionName(pFile, i, sName, NumBytes)) {
            return static_cast<int>(i);
        }
    }
    const std::string sOldName = ".z" + std::string(sName).substr(sName[0] == '.' ? 1 : 0);
    for (U32 i = 0; pFile != nullptr && i < pFile->Unpacked.size(); ++i) {
        if (ELF_IsSectionName(pFile, pFile->Unpacked[i].Section, sOldName.c_str(), sOldName.size() + 1)) {
            return static_cast<int>(pFile->Unpacked[i].Section);
        }
    }
    return -1;
}

U32 ELF_GetSectionEntryCnt(U32 Idx) {
    const Elf32_Shdr* p = SectionOf(ELF_GetCurrentFile(), Idx);
    return p != nullptr && p->sh_entsize != 0 ? p->sh_size / p->sh_entsize : 0;
}

int ELF_ReadReloc(const ELF_FILE* pFile, U32 SectionIdx, U32 EntryIdx, ELF_RELOC* pOut) {
    const Elf32_Shdr* p = SectionOf(pFile, SectionIdx);
    const U8* pData = ELF_GetSectionData(pFile, SectionIdx);
    if (p == nullptr || pData == nullptr || p->sh_entsize == 0 || p->sh_size == 0 ||
        EntryIdx >= p->sh_size / p->sh_entsize) {
        return -1;
    }
    *pOut = {};
    if (p->sh_type != SHT_REL && p->sh_type != SHT_RELA) {
        return 0;
    }
    const U32 NumWords = p->sh_type == SHT_RELA ? 3 : 2;
    if (p->sh_entsize < NumWords * 4) {
        return -1;
    }
    U32 aWord[3] = {};
    std::memcpy(aWord, pData + static_cast<size_t>(EntryIdx) * p->sh_entsize, static_cast<size_t>(NumWords) * 4);
    *pOut = {aWord[1] & 255, aWord[0], aWord[1] >> 8, aWord[2]};
    return 0;
}
