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
#include <string>
#include <utility>

namespace Arm {

namespace {

// A context of its own for each call: the library carries the state of an IT block from one call into the next.
class CContext {
public:
    explicit CContext(int Mode) { m_Ok = cs_open(CS_ARCH_ARM, static_cast<cs_mode>(Mode), &m_Handle) == CS_ERR_OK; }
    ~CContext() {
        if (m_pInst) {
            cs_free(m_pInst, 1);
        }
        if (m_Ok) {
            cs_close(&m_Handle);
        }
    }
    CContext(const CContext&) = delete;
    CContext& operator=(const CContext&) = delete;
    // Null if Capstone doesn't know the instruction.
    const cs_insn* Disassemble(const uint8_t* pInst, size_t NumBytes, uint32_t Addr) {
        return m_Ok && cs_disasm(m_Handle, pInst, NumBytes, Addr, 1, &m_pInst) == 1 ? m_pInst : nullptr;
    }

private:
    csh m_Handle = 0;
    cs_insn* m_pInst = nullptr;
    bool m_Ok;
};

// Capstone's names of R9 to R12 are those of an older procedure call standard.
std::string RegisterName(const std::string& sWord) {
    static constexpr std::pair<const char*, const char*> Names[] = {
        {"sb", "R9"}, {"sl", "R10"}, {"fp", "R11"}, {"ip", "R12"}};
    const auto* const pName =
        std::find_if(std::begin(Names), std::end(Names), [&](const auto& Name) { return sWord == Name.first; });
    return pName == std::end(Names) ? "" : pName->second;
}

bool IsWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.';
}

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

int CapstoneMode(uint16_t Arch, bool IsA32) {
    const int Base = IsA32 ? CS_MODE_ARM : CS_MODE_THUMB;
    // The newest set: what the core itself can't execute is still an instruction to be read.
    return Base | CS_MODE_V8 | (IsMProfile(Arch) ? CS_MODE_MCLASS : 0);
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
    CContext Context(CapstoneMode(Arch, IsA32));
    const cs_insn* pText = Context.Disassemble(pInst, Length, Addr);
    if (!pText || pText->size != Length) {
        return -1;
    }
    NOVIK_INST_INFO Info;
    const uint32_t Word = uint32_t(Halves[1]) << 16 | Halves[0];
    IsA32 ? DecodeA32(Word, Arch, Info) : DecodeT32(Addr, Halves[0], Halves[1], Arch, Info);
    std::string sOperands = pText->op_str;
    if (Info.IsBranch && !Info.IsIndirect) {
        MakeTargetRelative(sOperands, Addr + (IsA32 ? 8 : 4));
    }
    const std::string sLine = ToOurSpelling(pText->mnemonic + (sOperands.empty() ? "" : " " + sOperands));
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
