#include "Spelling.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <vector>

namespace {

// Lower case, numbers in decimal and without sign, registers 9 to 15 by their names, no blanks and no "#".
std::string CanonicalOperands(const std::string& sOperands) {
    static const std::map<std::string, std::string> Names = {{"sb", "r9"},
                                                             {"sl", "r10"},
                                                             {"fp", "r11"},
                                                             {"ip", "r12"},
                                                             {"r13", "sp"},
                                                             {"r14", "lr"},
                                                             {"r15", "pc"},
                                                             {"hs", "cs"},
                                                             {"lo", "cc"},
                                                             {"cpsr_f", "apsr_nzcvq"},
                                                             {"cpsr_fs", "apsr_nzcvqg"}};
    std::string sOut, sWord;
    const auto Flush = [&] {
        if (!sWord.empty() && std::isdigit(static_cast<unsigned char>(sWord[0]))) {
            uint32_t Value = static_cast<uint32_t>(std::strtoull(sWord.c_str(), nullptr, 0));
            if (!sOut.empty() && sOut.back() == '-') {
                sOut.pop_back();
                Value = 0 - Value;
            }
            sWord = std::to_string(Value);
        }
        const auto It = Names.find(sWord);
        sOut += It == Names.end() ? sWord : It->second;
        sWord.clear();
    };
    for (const char Char : sOperands) {
        const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(Char)));
        if (std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.') {
            sWord += c;
        } else {
            Flush();
            sOut += c == ' ' || c == '\t' || c == '#' ? "" : std::string(1, c);
        }
    }
    Flush();
    return sOut;
}

// "{d8-d11}" as "{d8,d9,d10,d11}".
void ExpandRange(std::string& sText) {
    const size_t Open = sText.find('{'), Dash = sText.find('-', Open), Close = sText.find('}', Open);
    if (Open == std::string::npos || Dash == std::string::npos || Dash > Close) {
        return;
    }
    const char Kind = sText[Open + 1];
    const int First = std::atoi(sText.c_str() + Open + 2), Last = std::atoi(sText.c_str() + Dash + 2);
    std::string sList;
    for (int Number = First; Number <= Last; Number++) {
        sList += (sList.empty() ? "" : ",") + std::string(1, Kind) + std::to_string(Number);
    }
    sText.replace(Open + 1, Close - Open - 1, sList);
}

std::vector<std::string> Split(const std::string& sText) {
    std::vector<std::string> Parts(1);
    int Depth = 0;
    for (const char c : sText) {
        Depth += c == '[' || c == '{' ? 1 : c == ']' || c == '}' ? -1 : 0;
        if (c == ',' && Depth == 0) {
            Parts.emplace_back();
        } else {
            Parts.back() += c;
        }
    }
    return Parts;
}

std::string Join(const std::vector<std::string>& Parts) {
    std::string sText;
    for (const std::string& sPart : Parts) {
        sText += (sText.empty() ? "" : ",") + sPart;
    }
    return sText;
}

bool EndsWith(const std::string& sText, const std::string& sEnd) {
    return sText.size() >= sEnd.size() && sText.compare(sText.size() - sEnd.size(), sEnd.size(), sEnd) == 0;
}

void ReplaceStart(std::string& sText, const char* sOld, const char* sNew) {
    if (StartsWith(sText, sOld)) {
        sText.replace(0, std::strlen(sOld), sNew);
    }
}

// "mov r0, r1, lsl #2" is an alias of "lsl r0, r1, #2"; both sides become the latter.
void RewriteShiftedMove(std::string& sMnemonic, std::vector<std::string>& Parts) {
    if (!StartsWith(sMnemonic, "mov") || Parts.size() != 3 || !std::isalpha(static_cast<unsigned char>(Parts[2][0]))) {
        return;
    }
    sMnemonic = Parts[2].substr(0, 3) + sMnemonic.substr(3);
    Parts[2] = Parts[2].substr(3);
    if (Parts[2].empty()) {
        Parts.pop_back(); // rrx
    }
}

// Loads and stores of several registers: push, pop and their long forms, the default direction.
void RewriteStackAccess(std::string& sMnemonic, std::vector<std::string>& Parts) {
    ReplaceStart(sMnemonic, "ldmia", "ldm"), ReplaceStart(sMnemonic, "stmia", "stm");
    ReplaceStart(sMnemonic, "ldmfd", "ldm"), ReplaceStart(sMnemonic, "stmfd", "stmdb");
    if (Parts.size() == 2 && Parts[0] == "sp!" && (StartsWith(sMnemonic, "stmdb") || sMnemonic == "ldm")) {
        ReplaceStart(sMnemonic, "stmdb", "push"), ReplaceStart(sMnemonic, "ldm", "pop");
        Parts.erase(Parts.begin());
    }
    const bool IsPush = Parts.size() == 2 && Parts[1] == "[sp,4294967292]!" && StartsWith(sMnemonic, "str");
    const bool IsPop = Parts.size() == 3 && Parts[1] == "[sp]" && Parts[2] == "4" && StartsWith(sMnemonic, "ldr");
    if (IsPush || IsPop) {
        sMnemonic = (IsPush ? "push" : "pop") + sMnemonic.substr(3);
        Parts = {"{" + Parts[0] + "}"};
    }
}

void RewriteAliases(std::string& sMnemonic, std::vector<std::string>& Parts) {
    RewriteShiftedMove(sMnemonic, Parts);
    RewriteStackAccess(sMnemonic, Parts);
    if (Parts.size() == 2 && StartsWith(sMnemonic, "adr")) {
        sMnemonic = "add" + sMnemonic.substr(3);
        Parts.insert(Parts.begin() + 1, "pc");
    }
    if (Parts.size() == 2 && StartsWith(sMnemonic, "neg")) {
        sMnemonic = "rsb" + sMnemonic.substr(3);
        Parts.emplace_back("0");
    }
    // The second register of a pair follows from the first; the destination of a short multiply is an operand.
    const bool IsPair = StartsWith(sMnemonic, "ldrd") || StartsWith(sMnemonic, "strd");
    if (IsPair && Parts.size() > 2 && Parts[1][0] != '[') {
        Parts.erase(Parts.begin() + 1);
    }
    const bool IsShort =
        StartsWith(sMnemonic, "mul") || (StartsWith(sMnemonic, "add") && Parts.size() > 1 && Parts[1] == "sp");
    if (IsShort && Parts.size() == 3 && Parts[0] == Parts[2]) {
        Parts.pop_back();
    }
}

} // namespace

bool StartsWith(const std::string& sText, const char* sStart) {
    return sText.compare(0, std::strlen(sStart), sStart) == 0;
}

std::string WithoutWidth(const std::string& sMnemonic) {
    return EndsWith(sMnemonic, ".w") || EndsWith(sMnemonic, ".n") ? sMnemonic.substr(0, sMnemonic.size() - 2)
                                                                  : sMnemonic;
}

std::string WithoutCondition(const std::string& sMnemonic) {
    static const std::set<std::string> Conditions = {"eq", "ne", "cs", "cc", "mi", "pl", "vs",
                                                     "vc", "hi", "ls", "ge", "lt", "gt", "le"};
    const size_t Dot = std::min(sMnemonic.find('.'), sMnemonic.size());
    const bool Has = Dot > 2 && Conditions.count(sMnemonic.substr(Dot - 2, 2));
    return Has ? sMnemonic.substr(0, Dot - 2) + sMnemonic.substr(Dot) : sMnemonic;
}

std::string CanonicalInstText(std::string sMnemonic, std::string sOperands) {
    std::transform(sMnemonic.begin(), sMnemonic.end(), sMnemonic.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    sMnemonic = WithoutWidth(sMnemonic);
    const size_t Dot = std::min(sMnemonic.find('.'), sMnemonic.size());
    const std::string sSuffix = Dot >= 2 ? sMnemonic.substr(Dot - 2, 2) : "";
    if (sSuffix == "hs" || sSuffix == "lo") {
        sMnemonic.replace(Dot - 2, 2, sSuffix == "hs" ? "cs" : "cc");
    }
    sOperands = CanonicalOperands(sOperands);
    if (sOperands.find('-') != std::string::npos) {
        ExpandRange(sOperands);
    }
    const size_t NoOffset = sOperands.find(",0]");
    if (NoOffset != std::string::npos) {
        sOperands.erase(NoOffset, 2);
    }
    std::vector<std::string> Parts = Split(sOperands);
    RewriteAliases(sMnemonic, Parts);
    return sMnemonic + " " + Join(Parts);
}
