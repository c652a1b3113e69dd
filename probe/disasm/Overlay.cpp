// Instructions that Capstone 4.0.2 can't print, or prints wrongly: the security extension, the special registers of
// ARMv8-M, and the loops, conditional selections and long shifts of ARMv8.1-M. After the ARMv8-M Architecture Reference
// Manual.
#include "probe/arm/InstTable.h"
#include "probe/disasm/Disassembler.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace Arm {

namespace {

struct COverlay {
    uint32_t Mask, Value;
    uint16_t Arch;
    // "%" begins an operand: r and a bit number: register; e and a bit number: even register of a pair, o: odd one;
    // c and a bit number: condition, i: inverted one; s: special register; m: special register with mask; l: forward
    // loop offset, k: backward one; n: amount of a long shift; L: register list.
    const char* sText;
};

const COverlay Overlays[] = {
    {0xFFFFFF87, 0x4704, ANY_V8M, "BXNS %r3"},
    {0xFFFFFF87, 0x4784, ANY_V8M, "BLXNS %r3"},
    {0xFFFFFFFF, 0xE97FE97F, ANY_V8M, "SG"},
    {0xFFF0F0FF, 0xE840F000, ANY_V8M, "TT %r8, %r16"},
    {0xFFF0F0FF, 0xE840F040, ANY_V8M, "TTT %r8, %r16"},
    {0xFFF0F0FF, 0xE840F080, ANY_V8M, "TTA %r8, %r16"},
    {0xFFF0F0FF, 0xE840F0C0, ANY_V8M, "TTAT %r8, %r16"},
    {0xFFF0FFFF, 0xEC200A00, M_V8, "VLSTM %r16"},
    {0xFFF0FFFF, 0xEC300A00, M_V8, "VLLDM %r16"},
    {0xFFF0F300, 0xF3808000, ANY_M, "MSR %m, %r16"},
    {0xFFFFF000, 0xF3EF8000, ANY_M, "MRS %r8, %s"},
    {0xFFFF2000, 0xE89F0000, M_V8, "CLRM %L"},
    // Aliases of the conditional selections stand before them.
    {0xFFFFF00F, 0xEA5F900F, M_V8, "CSET %r8, %i4"},
    {0xFFFFF00F, 0xEA5FA00F, M_V8, "CSETM %r8, %i4"},
    {0xFFF0F000, 0xEA508000, M_V8, "CSEL %r8, %r16, %r0, %c4"},
    {0xFFF0F000, 0xEA509000, M_V8, "CSINC %r8, %r16, %r0, %c4"},
    {0xFFF0F000, 0xEA50A000, M_V8, "CSINV %r8, %r16, %r0, %c4"},
    {0xFFF0F000, 0xEA50B000, M_V8, "CSNEG %r8, %r16, %r0, %c4"},
    {0xFFF101FF, 0xEA50010D, M_V8, "LSLL %e17, %o9, %r12"},
    {0xFFF101FF, 0xEA50012D, M_V8, "ASRL %e17, %o9, %r12"},
    {0xFFF1813F, 0xEA50010F, M_V8, "LSLL %e17, %o9, %n"},
    {0xFFF1813F, 0xEA50011F, M_V8, "LSRL %e17, %o9, %n"},
    {0xFFF1813F, 0xEA50012F, M_V8, "ASRL %e17, %o9, %n"},
    {0xFFFFF001, 0xF00FC001, M_V8, "LE LR, %k"},
    {0xFFFFF001, 0xF02FC001, M_V8, "LE %k"},
    {0xFFFFF001, 0xF01FC001, M_V8, "LETP LR, %k"},
    {0xFFF0F001, 0xF040C001, M_V8, "WLS LR, %r16, %l"},
    {0xFFF0FFFF, 0xF040E001, M_V8, "DLS LR, %r16"},
    {0, 0, 0, nullptr},
};

const char* const Registers[16] = {"R0", "R1", "R2",  "R3",  "R4",  "R5", "R6", "R7",
                                   "R8", "R9", "R10", "R11", "R12", "SP", "LR", "PC"};
const char* const Conditions[16] = {"EQ", "NE", "HS", "LO", "MI", "PL", "VS", "VC",
                                    "HI", "LS", "GE", "LT", "GT", "LE", "AL", "NV"};

const struct {
    uint32_t Number;
    const char* sName;
} SpecialRegisters[] = {
    {0x00, "APSR"},       {0x01, "IAPSR"},      {0x02, "EAPSR"},        {0x03, "XPSR"},        {0x05, "IPSR"},
    {0x06, "EPSR"},       {0x07, "IEPSR"},      {0x08, "MSP"},          {0x09, "PSP"},         {0x0A, "MSPLIM"},
    {0x0B, "PSPLIM"},     {0x10, "PRIMASK"},    {0x11, "BASEPRI"},      {0x12, "BASEPRI_MAX"}, {0x13, "FAULTMASK"},
    {0x14, "CONTROL"},    {0x88, "MSP_NS"},     {0x89, "PSP_NS"},       {0x8A, "MSPLIM_NS"},   {0x8B, "PSPLIM_NS"},
    {0x90, "PRIMASK_NS"}, {0x91, "BASEPRI_NS"}, {0x93, "FAULTMASK_NS"}, {0x94, "CONTROL_NS"},  {0x98, "SP_NS"},
};

// Writes to the program status name the parts that are written; the mask is in bits 10 and 11.
std::string SpecialRegister(uint32_t Bits, bool IsWrite) {
    static const char* const Parts[4] = {"", "_G", "_NZCVQ", "_NZCVQG"};
    for (const auto& Row : SpecialRegisters) {
        if (Row.Number == (Bits & 0xFF)) {
            return std::string(Row.sName) + (IsWrite && Row.Number < 4 ? Parts[Bits >> 10 & 3] : "");
        }
    }
    return std::to_string(Bits & 0xFF);
}

std::string Offset(int32_t Value) {
    char sText[16];
    std::snprintf(sText, sizeof(sText), "#%s0x%X", Value < 0 ? "-" : "",
                  Value < 0 ? 0u - uint32_t(Value) : uint32_t(Value));
    return sText;
}

std::string RegisterList(uint32_t Bits) {
    std::string sList;
    for (uint32_t Reg = 0; Reg < 16; Reg++) {
        if (Bits >> Reg & 1) {
            sList += std::string(sList.empty() ? "" : ", ") + (Reg == 15 ? "APSR" : Registers[Reg]);
        }
    }
    return "{" + sList + "}";
}

std::string Operand(char Kind, uint32_t Shift, uint32_t Bits) {
    const uint32_t LoopOffset = (Bits & 0x7FE) << 1 | (Bits >> 11 & 1) << 1;
    switch (Kind) {
    case 'r':
        return Registers[Bits >> Shift & 15];
    case 'e':
        return Registers[(Bits >> Shift & 7) * 2];
    case 'o':
        return Registers[(Bits >> Shift & 7) * 2 + 1];
    case 'c':
        return Conditions[Bits >> Shift & 15];
    case 'i':
        return Conditions[(Bits >> Shift & 15) ^ 1];
    case 's':
        return SpecialRegister(Bits, false);
    case 'm':
        return SpecialRegister(Bits, true);
    case 'n': {
        const uint32_t Amount = (Bits >> 12 & 7) << 2 | (Bits >> 6 & 3);
        return "#" + std::to_string(Amount ? Amount : 32);
    }
    case 'l':
        return Offset(static_cast<int32_t>(LoopOffset));
    case 'k':
        return Offset(-static_cast<int32_t>(LoopOffset));
    default:
        return RegisterList(Bits & 0xFFFF);
    }
}

std::string Expand(const char* sFormat, uint32_t Bits) {
    std::string sText;
    for (const char* p = sFormat; *p; p++) {
        if (*p != '%') {
            sText += *p;
            continue;
        }
        const char Kind = *++p;
        uint32_t Shift = 0;
        while (p[1] >= '0' && p[1] <= '9') {
            Shift = Shift * 10 + static_cast<uint32_t>(*++p - '0');
        }
        sText += Operand(Kind, Shift, Bits);
    }
    return sText;
}

} // namespace

bool DisassembleOverlay(uint32_t Bits, uint16_t Arch, char* sText, uint32_t TextSize) {
    for (const COverlay* pRow = Overlays; pRow->sText; pRow++) {
        if ((Bits & pRow->Mask) == pRow->Value && (pRow->Arch & Arch)) {
            std::snprintf(sText, TextSize, "%s", Expand(pRow->sText, Bits).c_str());
            return true;
        }
    }
    return false;
}

} // namespace Arm
