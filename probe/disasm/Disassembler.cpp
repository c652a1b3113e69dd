#include "probe/disasm/Disassembler.h"

#include "probe/arm/InstDecoder.h"
#include "probe/arm/InstTable.h"
#include "probe/thumb/Thumb.h"

#include <algorithm>
#include <capstone/capstone.h>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

namespace Arm {

namespace {

struct CText {
    std::string sMnemonic, sOperands;
};

// A context of its own for each call: the library carries the state of an IT block from one call into the next.
std::optional<CText> TextOf(int Mode, const uint8_t* pInst, size_t NumBytes, uint32_t Addr) {
    csh Handle;
    if (cs_open(CS_ARCH_ARM, static_cast<cs_mode>(Mode), &Handle) != CS_ERR_OK) {
        return std::nullopt;
    }
    std::optional<CText> Text;
    cs_insn* pText = nullptr;
    if (cs_disasm(Handle, pInst, NumBytes, Addr, 1, &pText) == 1) {
        if (pText->size == NumBytes) {
            Text = {pText->mnemonic, pText->op_str};
        }
        cs_free(pText, 1);
    }
    cs_close(&Handle);
    return Text;
}

// The newest set first: what the core itself can't execute is still an instruction to be read. What ARMv8 has taken out
// (the second set of coprocessor instructions) is left to the older one.
std::optional<CText> TextOf(uint16_t Arch, bool IsA32, const uint8_t* pInst, size_t NumBytes, uint32_t Addr) {
    const int Mode = (IsA32 ? CS_MODE_ARM : CS_MODE_THUMB) | (IsMProfile(Arch) ? CS_MODE_MCLASS : 0);
    std::optional<CText> Text = TextOf(Mode | CS_MODE_V8, pInst, NumBytes, Addr);
    return Text ? Text : TextOf(Mode, pInst, NumBytes, Addr);
}

// Capstone's names of R9 to R12 are those of an older procedure call standard.
std::string RegisterName(const std::string& sWord) {
    static constexpr std::pair<const char*, const char*> Names[] = {
        {"sb", "R9"}, {"sl", "R10"}, {"fp", "R11"}, {"ip", "R12"}};
    const auto* const pName =
        std::find_if(std::begin(Names), std::end(Names), [&](const auto& Name) { return sWord == Name.first; });
    return pName == std::end(Names) ? "" : pName->second;
}

bool IsWordChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.'; }

// Upper case word by word, but for the x of a number.
std::string ToOurSpelling(const std::string& sText) {
    std::string sOut;
    for (size_t Pos = 0; Pos < sText.size();) {
        size_t End = Pos;
        while (End < sText.size() && IsWordChar(sText[End])) {
            End++;
        }
        const std::string sWord = sText.substr(Pos, End - Pos), sName = RegisterName(sWord);
        sOut += sName;
        for (const char c : sName.empty() ? sWord : "") {
            sOut += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        if (sWord.compare(0, 2, "0x") == 0) {
            sOut[sOut.size() - sWord.size() + 1] = 'x';
        }
        if (End < sText.size()) {
            sOut += sText[End++];
        }
        Pos = End;
    }
    return sOut;
}

// Capstone gives a branch's target as the last operand; here it becomes the distance from the PC.
void MakeTargetRelative(std::string& sOperands, uint32_t Pc) {
    const size_t Mark = sOperands.rfind('#');
    if (Mark == std::string::npos) {
        return;
    }
    const uint32_t Target = static_cast<uint32_t>(std::strtoll(sOperands.c_str() + Mark + 1, nullptr, 0));
    const int32_t Distance = static_cast<int32_t>(Target - Pc);
    char sText[16];
    std::snprintf(sText, sizeof(sText), "#%s0x%X", Distance < 0 ? "-" : "",
                  Distance < 0 ? 0u - static_cast<uint32_t>(Distance) : static_cast<uint32_t>(Distance));
    sOperands.replace(Mark, std::string::npos, sText);
}

int Disassemble(uint16_t Arch, char* sText, uint32_t TextSize, const uint8_t* pInst, uint32_t NumBytes, uint32_t Addr,
                uint8_t Mode) {
    if (!sText || TextSize == 0 || !pInst || NumBytes < 2) {
        return -1;
    }
    sText[0] = 0;
    const bool IsA32 = Mode == NOVIK_INST_MODE_ARM;
    uint16_t Halves[2] = {};
    std::memcpy(Halves, pInst, NumBytes < 4 ? 2 : 4);
    const uint32_t Length = IsA32 || Thumb::Is32Bit(Halves[0]) ? 4 : 2;
    if (NumBytes < Length || (IsA32 && IsMProfile(Arch))) {
        return -1;
    }
    const uint32_t ThumbBits = Length == 2 ? Halves[0] : uint32_t(Halves[0]) << 16 | Halves[1];
    if (!IsA32 && DisassembleOverlay(ThumbBits, Arch, sText, TextSize)) {
        return static_cast<int>(Length);
    }
    std::optional<CText> Text = TextOf(Arch, IsA32, pInst, Length, Addr);
    if (!Text) {
        return -1;
    }
    NOVIK_INST_INFO Info;
    const uint32_t Word = uint32_t(Halves[1]) << 16 | Halves[0];
    IsA32 ? DecodeA32(Word, Arch, Info) : DecodeT32(Addr, Halves[0], Halves[1], Arch, Info);
    if (Info.IsBranch && !Info.IsIndirect) {
        MakeTargetRelative(Text->sOperands, Addr + (IsA32 ? 8 : 4));
    }
    const std::string sLine = ToOurSpelling(Text->sMnemonic + (Text->sOperands.empty() ? "" : " " + Text->sOperands));
    std::snprintf(sText, TextSize, "%s", sLine.c_str());
    return static_cast<int>(Length);
}

template <EArch Arch>
int Exported(char* sText, uint32_t TextSize, const void* pInst, uint32_t NumBytes, uint32_t Addr, uint8_t Mode) {
    return Disassemble(Arch, sText, TextSize, static_cast<const uint8_t*>(pInst), NumBytes, Addr, Mode);
}

} // namespace

NOVIK_DISASSEMBLER* GetDisassembler(uint16_t Arch) {
    switch (Arch) {
    case V4T:
        return Exported<V4T>;
    case V5TE:
        return Exported<V5TE>;
    case V6:
        return Exported<V6>;
    case V7:
        return Exported<V7>;
    case M_BASE:
        return Exported<M_BASE>;
    case M_MAIN:
        return Exported<M_MAIN>;
    case M_DSP:
        return Exported<M_DSP>;
    case M_V8B:
        return Exported<M_V8B>;
    case M_V8:
        return Exported<M_V8>;
    default:
        return nullptr;
    }
}

} // namespace Arm
