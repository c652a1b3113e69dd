// Decoder and disassembler against objdump over the C library of the cross compiler, in all its variants.
#include "Objdump.h"
#include "Spelling.h"
#include "probe/novik.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <unordered_set>

namespace {

// --- Cores by library variant -----------------------------------------------------------------------------------

struct CCore {
    const char* sVariant; // begins with this
    uint32_t Core;
};

const CCore Cores[] = {
    {"arm/v5te", NOVIK_CORE_ARM926EJS},
    {"thumb/v6-m", NOVIK_CORE_CORTEX_M0},
    {"thumb/v7-m", NOVIK_CORE_CORTEX_M3},
    {"thumb/v7e-m", NOVIK_CORE_CORTEX_M7},
    {"thumb/v8-m.base", NOVIK_CORE_CORTEX_M23},
    {"thumb/v8-m.main", NOVIK_CORE_CORTEX_M33},
    {"thumb/v8.1-m", NOVIK_CORE_CORTEX_M33},
    {"thumb/v", NOVIK_CORE_CORTEX_A9},
    {"", NOVIK_CORE_ARM7TDMI},
};

uint32_t CoreOf(const std::string& sVariant) {
    return std::find_if(
               std::begin(Cores), std::end(Cores),
               [&](const CCore& Row) { return sVariant.compare(0, std::strlen(Row.sVariant), Row.sVariant) == 0; })
        ->Core;
}

template <typename T> T* GetFunction(uint32_t Getter, uint32_t Core) {
    void* p = nullptr;
    auto* pfGet = reinterpret_cast<NOVIK_GET_DECODER_FUNC*>(NOVIK_GetpFunc(Getter));
    return pfGet(Core, &p) >= 0 ? reinterpret_cast<T*>(p) : nullptr;
}

// Bytes of an instruction as they lie in memory.
void PutBytes(const CObjdumpLine& Line, uint8_t* pBytes) {
    const uint32_t Bits = !Line.IsArm && Line.Length == 4 ? Line.Bits << 16 | Line.Bits >> 16 : Line.Bits;
    std::memcpy(pBytes, &Bits, 4);
}

// --- Flow classes by mnemonic -----------------------------------------------------------------------------------

// "B" branch, "C" call, "I" indirect, "R" return, "O" condition of its own; from the text alone.
std::string ExpectedFlow(const CObjdumpLine& Line) {
    const std::string sFull = WithoutWidth(Line.sMnemonic), &sOperands = Line.sOperands;
    const std::string sStem = sFull == "bls" || sFull == "bics" ? sFull : WithoutCondition(sFull);
    const bool IsJumpIf = sFull.size() == 3 && sFull[0] == 'b' && WithoutCondition(sFull) == "b";
    const bool HasListWithPc = sOperands.find("pc}") != std::string::npos;
    const bool LoadsPc = StartsWith(sStem, "ldr") && StartsWith(sOperands, "pc,");
    const bool MovesToPc = StartsWith(sOperands, "pc,") && !LoadsPc;
    std::string sFlow;
    if (IsJumpIf || sStem == "b") {
        sFlow = "B";
    } else if (sStem == "cbz" || sStem == "cbnz" || sStem == "le" || sStem == "wls") {
        return "BO";
    } else if (sStem == "bl" || sStem == "blx" || sStem == "blxns") {
        const bool IsReg = Line.Length == 2 || (Line.IsArm && (Line.Bits & 0x0F000000) == 0x01000000);
        sFlow = IsReg ? "BCI" : "BC";
    } else if (sStem == "bx" || MovesToPc || sStem == "tbb" || sStem == "tbh") {
        sFlow = sOperands == "lr" || sOperands == "pc, lr" ? "BIR" : "BI";
    } else if ((HasListWithPc && !StartsWith(sStem, "push") && !StartsWith(sStem, "stm")) || LoadsPc) {
        const bool FromStack = StartsWith(sStem, "pop") || StartsWith(sOperands, "sp") || sOperands.find("[sp") < 8;
        sFlow = FromStack ? "BIR" : "BI";
    }
    const bool HasOwn = Line.IsArm ? Line.Bits >> 28 < 14 : IsJumpIf;
    return sFlow + (HasOwn ? "O" : "");
}

std::string FlowOf(const NOVIK_INST_INFO& Info) {
    return std::string(Info.IsBranch ? "B" : "") + (Info.IsCall ? "C" : "") + (Info.IsIndirect ? "I" : "") +
           (Info.IsReturn ? "R" : "") + (Info.IsConditional ? "O" : "");
}

// --- Texts ------------------------------------------------------------------------------------------------------

// objdump gives the target of a direct branch as a bare hexadecimal number, behind other operands.
std::string TargetAsOffset(const CObjdumpLine& Line, const std::string& sFlow) {
    if (sFlow.empty() || sFlow[0] != 'B' || sFlow.find('I') != std::string::npos) {
        return Line.sOperands;
    }
    const size_t Blank = Line.sOperands.rfind(' ');
    const size_t Start = Blank == std::string::npos ? 0 : Blank + 1;
    const uint32_t Target = static_cast<uint32_t>(std::strtoul(Line.sOperands.c_str() + Start, nullptr, 16));
    const int32_t Distance = static_cast<int32_t>(Target - Line.Addr - (Line.IsArm ? 8 : 4));
    return Line.sOperands.substr(0, Start) + "#" + std::to_string(Distance);
}

struct CTexts {
    const CObjdumpLine& Line;
    std::string sOurs, sTheirs; // in one spelling
};

std::string MnemonicOf(const std::string& sText) { return sText.substr(0, sText.find(' ')); }

std::string OperandsOf(const std::string& sText) { return sText.substr(sText.find(' ') + 1); }

// Inside an IT block objdump adds the condition and drops the S of short instructions; one instruction alone, which is
// what the disassembler gets, can't tell.
bool IsInsideIT(const CTexts& Texts) {
    const std::string sOurs = MnemonicOf(Texts.sOurs), sPlain = WithoutCondition(MnemonicOf(Texts.sTheirs));
    const bool SameOperands = OperandsOf(Texts.sOurs) == OperandsOf(Texts.sTheirs);
    return !Texts.Line.IsArm && SameOperands && (sOurs == sPlain || (Texts.Line.Length == 2 && sOurs == sPlain + "s"));
}

// A call or jump that the linker fills in; objdump prints what the relocation says, or 0.
bool IsUnlinked(const CTexts& Texts) {
    return Texts.Line.IsArm ? (Texts.Line.Bits & 0x0EFFFFFF) == 0x0AFFFFFE
                            : Texts.Line.Bits == 0xF7FFFFFE || Texts.Line.Bits == 0xF7FFBFFE;
}

// Before there were hints, a move of a register to itself stood for NOP; objdump still says so.
bool IsOldNop(const CTexts& Texts) {
    return StartsWith(Texts.sTheirs, "nop") && (Texts.sOurs == "mov r0,r0" || Texts.sOurs == "mov r8,r8");
}

// We print the value of a floating point constant, objdump its encoding.
bool IsFloatConstant(const CTexts& Texts) {
    return StartsWith(Texts.sOurs, "vmov") && (Texts.Line.Bits & 0x0FB00EF0) == 0x0EB00A00;
}

// objdump 2.40 takes the conditional selections and long shifts of ARMv8.1-M for undefined or for ORRS.
bool IsSelectionOrLongShift(const CTexts& Texts) {
    return !Texts.Line.IsArm && (Texts.Line.Bits & 0xFFF00000) == 0xEA500000 &&
           (StartsWith(Texts.sTheirs, "@") || StartsWith(Texts.sTheirs, "orrs"));
}

// objdump writes the registers of a coprocessor as cr and its number without p. Neither it nor Capstone knows the
// vector instructions of ARMv8.1-M; both print them as those of a coprocessor.
bool IsCoprocessorName(const CTexts& Texts) {
    return MnemonicOf(Texts.sOurs) == MnemonicOf(Texts.sTheirs) &&
           (StartsWith(Texts.sOurs, "ldc") || StartsWith(Texts.sOurs, "stc") || StartsWith(Texts.sOurs, "cdp"));
}

const struct {
    const char* sName;
    bool (*pfMatches)(const CTexts& Texts);
} KnownDifferences[] = {
    {"inside an IT block", IsInsideIT},
    {"call or jump without a target yet", IsUnlinked},
    {"move for NOP", IsOldNop},
    {"floating point constant", IsFloatConstant},
    {"conditional selection or long shift", IsSelectionOrLongShift},
    {"coprocessor names", IsCoprocessorName},
};

// The compiler's unwinder saves the registers of a coprocessor that none of the cores has.
bool IsWirelessMmx(const CObjdumpLine& Line) { return Line.Length == 4 && (Line.Bits & 0x0E000F00) == 0x0C000100; }

// --- The comparison ---------------------------------------------------------------------------------------------

// The first few of many failures of a kind.
class CFailures {
public:
    void Add(const std::string& sWhat) {
        if (m_Count++ < 10) {
            m_sSamples += "\n  " + sWhat;
        }
    }
    size_t GetCount() const { return m_Count; }
    const std::string& GetSamples() const { return m_sSamples; }

private:
    size_t m_Count = 0;
    std::string m_sSamples;
};

class CComparison {
public:
    // Each encoding once a core and instruction set.
    void Compare(const std::string& sVariant, const std::string& sArchive);

    CFailures Lengths, Flows, Texts, NoTexts;
    std::map<std::string, size_t> Known; // how often each known difference was met
    size_t NumSeen = 0;

private:
    void CompareInst(uint32_t Core, const CObjdumpLine& Line);
    void CompareText(const CObjdumpLine& Line, const std::string& sFlow, const char* sText);
    std::unordered_set<uint64_t> m_Seen;
};

void CComparison::Compare(const std::string& sVariant, const std::string& sArchive) {
    const uint32_t Core = CoreOf(sVariant);
    NumSeen += ForEachInstruction(sArchive, [&](const CObjdumpLine& Line) {
        if (!IsWirelessMmx(Line) &&
            m_Seen.insert(uint64_t(Core) << 33 | uint64_t(Line.IsArm) << 32 | Line.Bits).second) {
            CompareInst(Core, Line);
        }
    });
}

std::string Describe(const CObjdumpLine& Line) {
    std::ostringstream Text;
    Text << std::hex << Line.Bits << (Line.IsArm ? " A32: " : " T32: ") << Line.sMnemonic << " " << Line.sOperands;
    return Text.str();
}

void CComparison::CompareInst(uint32_t Core, const CObjdumpLine& Line) {
    auto* pfDecode = GetFunction<NOVIK_DECODER>(NOVIK_FUNC_GET_DECODER, Core);
    auto* pfText = GetFunction<NOVIK_DISASSEMBLER>(NOVIK_FUNC_GET_DISASSEMBLER, Core);
    const uint8_t Mode = Line.IsArm ? NOVIK_INST_MODE_ARM : NOVIK_INST_MODE_THUMB;
    uint8_t Bytes[4];
    PutBytes(Line, Bytes);
    NOVIK_INST_INFO Info;
    const int Length = pfDecode(&Info, Bytes, Line.Addr, Mode);
    if (Length != Line.Length || Info.Length != Line.Length) {
        Lengths.Add(Describe(Line) + ": length " + std::to_string(Length));
    }
    if (FlowOf(Info) != ExpectedFlow(Line)) {
        Flows.Add(Describe(Line) + ": \"" + FlowOf(Info) + "\"");
    }
    char sText[256];
    if (pfText(sText, sizeof(sText), Bytes, static_cast<uint32_t>(Line.Length), Line.Addr, Mode) == Line.Length) {
        CompareText(Line, FlowOf(Info), sText);
    } else {
        NoTexts.Add(Describe(Line));
    }
}

void CComparison::CompareText(const CObjdumpLine& Line, const std::string& sFlow, const char* sText) {
    const std::string sWhole = sText;
    const size_t Blank = std::min(sWhole.find(' '), sWhole.size());
    const CTexts Both = {Line, CanonicalInstText(sWhole.substr(0, Blank), sWhole.substr(Blank)),
                         CanonicalInstText(Line.sMnemonic, TargetAsOffset(Line, sFlow))};
    if (Both.sOurs == Both.sTheirs) {
        return;
    }
    for (const auto& Difference : KnownDifferences) {
        if (Difference.pfMatches(Both)) {
            Known[Difference.sName]++;
            return;
        }
    }
    Texts.Add(Describe(Line) + ": " + sText);
}

// BRASK_LONG_TESTS set in the environment takes in the compiler's own libraries as well.
TEST(Newlib, DecoderAndDisassemblerAgreeWithObjdump) {
    const std::vector<std::string> Variants = ListLibraryVariants();
    if (Variants.empty()) {
        GTEST_SKIP() << "arm-none-eabi-gcc is not installed";
    }
    std::vector<const char*> Names = {"libc.a", "libm.a"};
    if (std::getenv("BRASK_LONG_TESTS")) {
        Names.insert(Names.end(), {"libgcc.a", "libc_nano.a", "librdimon.a", "libstdc++.a"});
    }
    CComparison Comparison;
    for (const std::string& sVariant : Variants) {
        for (const char* sName : Names) {
            const std::string sArchive = FindLibrary(sVariant, sName);
            if (!sArchive.empty()) {
                Comparison.Compare(sVariant, sArchive);
            }
        }
    }
    RecordProperty("instructions", std::to_string(Comparison.NumSeen));
    ASSERT_GT(Comparison.NumSeen, 10000u * Variants.size()) << "the C library is missing";
    EXPECT_EQ(Comparison.Lengths.GetCount(), 0u) << Comparison.Lengths.GetSamples();
    EXPECT_EQ(Comparison.Flows.GetCount(), 0u) << Comparison.Flows.GetSamples();
    EXPECT_EQ(Comparison.NoTexts.GetCount(), 0u) << Comparison.NoTexts.GetSamples();
    EXPECT_EQ(Comparison.Texts.GetCount(), 0u) << Comparison.Texts.GetSamples();
    for (const auto& Difference : KnownDifferences) {
        EXPECT_GT(Comparison.Known[Difference.sName], 0u) << Difference.sName << ": is no difference any more";
    }
}

} // namespace
