#include "elf/ElfSym.h"

#include <cstdio>
#include <cstdlib>

// Texts and comparison of data locations.

namespace {

constexpr size_t MAX_LOC_TEXT = 63;

std::string RegText(U32 Reg) {
    if (Reg == ELF_REG_SAME_AS_CALLER) {
        return "same as caller";
    }
    return Reg == ELF_REG_UNSPECIFIED ? "unspecified" : "R" + std::to_string(Reg);
}

/// "SP", or "SP + 8" where the offset isn't zero.
std::string WithOffset(const std::string& sText, I32 Off) {
    if (Off == 0) {
        return sText;
    }
    return sText + (Off < 0 ? " - " : " + ") + std::to_string(std::llabs(Off));
}

std::string AddrText(U32 Addr) {
    char sText[16];
    std::snprintf(sText, sizeof(sText), "[%X]", static_cast<unsigned>(Addr));
    return sText;
}

std::string BaseText(const ELF_SYM_LOC_BASE& Base) {
    return Base.Off == 0 ? "[" + RegText(Base.Reg) + "]" : WithOffset("[R" + std::to_string(Base.Reg) + "]", Base.Off);
}

std::string Text(const ELF_SYM_LOC& Loc) {
    switch (Loc.Kind) {
    case ELF_LOC_CONST:
        return "const";
    case ELF_LOC_MEM:
        return AddrText(Loc.Addr);
    case ELF_LOC_MEM_OFF:
        return WithOffset(AddrText(Loc.Addr), Loc.Off);
    case ELF_LOC_REG:
        return RegText(Loc.Reg);
    case ELF_LOC_REG_OFF:
        return WithOffset(RegText(Loc.Reg), Loc.Off);
    case ELF_LOC_MEM_BASE:
        return BaseText(Loc.Base);
    case ELF_LOC_SP:
        return WithOffset("SP", Loc.Off);
    case ELF_LOC_BP:
        return WithOffset("BP", Loc.Off);
    case ELF_LOC_CFA:
        return WithOffset("CFA", Loc.Off);
    case ELF_LOC_MEM_SP:
        return "[" + WithOffset("SP", Loc.Off) + "]";
    case ELF_LOC_MEM_BP:
        return "[" + WithOffset("BP", Loc.Off) + "]";
    case ELF_LOC_MEM_CFA:
        return "[" + WithOffset("CFA", Loc.Off) + "]";
    case ELF_LOC_PARENT_VALUE:
        return WithOffset("Parent value", Loc.Off);
    case ELF_LOC_PARENT_LOC:
        return WithOffset("Parent loc", Loc.Off);
    case ELF_LOC_ON_ENTRY:
        return "? (on entry)";
    default:
        return "N/A";
    }
}

} // namespace

std::string ELF_LocToText(const ELF_SYM_LOC& Loc) { return Text(Loc).substr(0, MAX_LOC_TEXT); }

bool ELF_AreLocsEqual(const ELF_SYM_LOC& a, const ELF_SYM_LOC& b) {
    if (a.Kind != b.Kind) {
        return false;
    }
    switch (a.Kind) {
    case ELF_LOC_CONST:
        return a.Value == b.Value;
    case ELF_LOC_MEM:
    case ELF_LOC_MEM_BASE:
    case ELF_LOC_MEM_SP:
    case ELF_LOC_MEM_BP:
    case ELF_LOC_MEM_CFA:
        return a.Addr == b.Addr;
    case ELF_LOC_MEM_OFF:
        return a.Addr == b.Addr && a.Off == b.Off;
    case ELF_LOC_REG:
        return a.Reg == b.Reg;
    case ELF_LOC_REG_OFF:
        return a.Reg == b.Reg && a.Off == b.Off;
    case ELF_LOC_SP:
    case ELF_LOC_BP:
    case ELF_LOC_CFA:
    case ELF_LOC_PARENT_VALUE:
    case ELF_LOC_PARENT_LOC:
        return a.Off == b.Off;
    case ELF_LOC_EXPR:
        return a.Addr == b.Addr && a.Value == b.Value && a.Reg == b.Reg;
    case ELF_LOC_ON_ENTRY: {
        ELF_SYM_LOC BaseA;
        ELF_SYM_LOC BaseB;
        BaseA.Kind = a.Base.Kind;
        BaseA.Addr = a.Base.Addr;
        BaseA.Reg = a.Base.Reg;
        BaseA.Off = a.Base.Off;
        BaseB.Kind = b.Base.Kind;
        BaseB.Addr = b.Base.Addr;
        BaseB.Reg = b.Base.Reg;
        BaseB.Off = b.Base.Off;
        return ELF_AreLocsEqual(BaseA, BaseB);
    }
    default:
        return false;
    }
}
