#include "elf/ElfReloc.h"

#include "elf/Elf.h"
#include "elf/ElfInternal.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr size_t MAX_SPEC_SIZE = 64;

struct RELOC {
    U32 AddrLo = 0;
    U32 AddrHi = 0;
    I32 Offset = 0;
    std::string sSpec;
};

std::vector<RELOC> Relocs;

bool FindSymbol(const ELF_FILE* pFile, const char* sName, RELOC* p) {
    for (U32 i = 0; i < pFile->NumSyms; ++i) {
        const char* sSym = ELF_GetSymNameByIdx(pFile, i);
        if (sSym != nullptr && std::strcmp(sSym, sName) == 0) {
            const Elf32_Sym& Sym = pFile->paSym[i];
            const U32 Mask = ELF_IsFuncType(ELF_GetSymType(Sym)) ? ~1u : ~0u;
            p->AddrLo = Sym.st_value & Mask;
            p->AddrHi = (Sym.st_value + Sym.st_size) & Mask;
            return true;
        }
    }
    return false;
}

bool Resolve(const ELF_FILE* pFile, RELOC* p) {
    p->AddrLo = 0;
    p->AddrHi = 0;
    const std::string& sSpec = p->sSpec;
    if (sSpec == "*") {
        p->AddrHi = 0xFFFFFFFE;
        return true;
    }
    if (const size_t Dash = sSpec.find('-'); Dash != std::string::npos) {
        p->AddrLo = static_cast<U32>(std::strtol(sSpec.substr(0, Dash).c_str(), nullptr, 0));
        p->AddrHi = static_cast<U32>(std::strtol(sSpec.c_str() + Dash + 1, nullptr, 0));
        return p->AddrLo != 0 || p->AddrHi != 0;
    }
    if (pFile == nullptr) {
        return false;
    }
    if (const int Section = ELF_FindSection(pFile, sSpec.c_str()); Section >= 0) {
        p->AddrLo = ELF_GetSectionAddr(pFile, static_cast<U32>(Section));
        p->AddrHi = p->AddrLo + ELF_GetSectionSize(pFile, static_cast<U32>(Section));
        return true;
    }
    return FindSymbol(pFile, sSpec.c_str(), p);
}

/// True if adding the offset doesn't wrap.
bool CanMove(U32 Addr, I32 Offset) {
    return Offset > 0 ? Addr <= ~static_cast<U32>(Offset) : Addr >= static_cast<U32>(-static_cast<I64>(Offset));
}

} // namespace

int ELF_AddReloc(const char* sSpec, I32 Offset) {
    RELOC Reloc;
    Reloc.sSpec = std::string(sSpec).substr(0, MAX_SPEC_SIZE);
    Reloc.Offset = Offset;
    const bool IsResolved = Resolve(ELF_GetCurrentFile(), &Reloc);
    Relocs.push_back(Reloc);
    return IsResolved ? 0 : -1;
}

void ELF_ResolveRelocs(const ELF_FILE* pFile) {
    for (RELOC& Reloc : Relocs) {
        Resolve(pFile, &Reloc);
    }
}

void ELF_ClearRelocs() { Relocs.clear(); }

bool ELF_HasRelocs() { return !Relocs.empty(); }

U32 ELF_Relocate(U32 Addr, bool IsEnd) {
    for (const RELOC& Reloc : Relocs) {
        const bool IsInside =
            IsEnd ? Addr > Reloc.AddrLo && Addr <= Reloc.AddrHi : Addr >= Reloc.AddrLo && Addr < Reloc.AddrHi;
        if (IsInside && CanMove(Addr, Reloc.Offset)) {
            return Addr + static_cast<U32>(Reloc.Offset);
        }
    }
    return Addr;
}

U32 ELF_Unrelocate(U32 Addr, bool IsEnd) {
    for (const RELOC& Reloc : Relocs) {
        const I64 Lo = static_cast<I64>(Reloc.AddrLo) + Reloc.Offset;
        const I64 Hi = static_cast<I64>(Reloc.AddrHi) + Reloc.Offset;
        const bool IsInside = IsEnd ? Addr > Lo && Addr <= Hi : Addr >= Lo && Addr < Hi;
        if (IsInside && Addr >= static_cast<I64>(Reloc.Offset)) {
            return static_cast<U32>(static_cast<I64>(Addr) - Reloc.Offset);
        }
    }
    return Addr;
}
