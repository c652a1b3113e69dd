#include "Objdump.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>

namespace {

struct CPipeCloser {
    void operator()(FILE* pFile) const { pclose(pFile); }
};

void ForEachLine(const std::string& sCommand, const std::function<void(char*)>& Visit) {
    const std::unique_ptr<FILE, CPipeCloser> pPipe(popen(sCommand.c_str(), "r"));
    std::array<char, 4096> Line;
    while (pPipe && std::fgets(Line.data(), static_cast<int>(Line.size()), pPipe.get())) {
        Visit(Line.data());
    }
}

std::string FirstLine(const std::string& sCommand) {
    std::string sFirst;
    ForEachLine(sCommand, [&](const char* s) { sFirst = sFirst.empty() ? s : sFirst; });
    return sFirst.substr(0, sFirst.find('\n'));
}

std::string Cut(const std::string& sText, const char* sStop) {
    const std::string s = sText.substr(0, sText.find_first_of(sStop));
    const size_t Last = s.find_last_not_of(" \t\n");
    return Last == std::string::npos ? "" : s.substr(0, Last + 1);
}

// "  1a4:<tab>f7ff fffe <tab>bl<tab>0 <memcpy>": T32 instructions of 32 bits are two words, A32 ones are one.
bool ParseLine(const char* sLine, CObjdumpLine& Line) {
    char* p;
    Line.Addr = static_cast<uint32_t>(std::strtoul(sLine, &p, 16));
    if (p == sLine || p[0] != ':' || p[1] != '\t') {
        return false;
    }
    char* pEnd;
    Line.Bits = static_cast<uint32_t>(std::strtoul(p += 2, &pEnd, 16));
    const auto NumDigits = pEnd - p;
    Line.IsArm = NumDigits == 8;
    Line.Length = Line.IsArm ? 4 : 2;
    const auto IsHex = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    if (NumDigits == 4 && pEnd[0] == ' ' && IsHex(pEnd[1])) {
        Line.Bits = Line.Bits << 16 | static_cast<uint32_t>(std::strtoul(pEnd, &pEnd, 16));
        Line.Length = 4;
    } else if (NumDigits != 8 && NumDigits != 4) {
        return false;
    }
    while (*pEnd == ' ' || *pEnd == '\t') {
        pEnd++;
    }
    const std::string sText = pEnd;
    const size_t Tab = sText.find('\t');
    Line.sMnemonic = Cut(sText.substr(0, Tab), " ");
    Line.sOperands = Tab == std::string::npos ? "" : Cut(sText.substr(Tab + 1), "@;<");
    return !sText.empty() && sText[0] != '.';
}

} // namespace

std::vector<std::string> ListLibraryVariants() {
    std::vector<std::string> Variants;
    ForEachLine("arm-none-eabi-gcc -print-multi-lib 2>/dev/null",
                [&](const char* s) { Variants.push_back(Cut(s, ";")); });
    return Variants;
}

std::string FindLibrary(const std::string& sVariant, const std::string& sName) {
    static std::map<std::string, std::filesystem::path> Folders;
    std::filesystem::path& Folder = Folders[sName];
    if (Folder.empty()) {
        Folder = std::filesystem::path(FirstLine("arm-none-eabi-gcc -print-file-name=" + sName)).parent_path();
    }
    const std::filesystem::path Path = Folder / sVariant / sName;
    return !Folder.empty() && std::filesystem::exists(Path) ? Path.string() : "";
}

size_t ForEachInstruction(const std::string& sArchive, const std::function<void(const CObjdumpLine&)>& Visit) {
    size_t Count = 0;
    CObjdumpLine Line;
    ForEachLine("arm-none-eabi-objdump -d '" + sArchive + "'", [&](const char* s) {
        if (ParseLine(s, Line)) {
            Count++;
            Visit(Line);
        }
    });
    return Count;
}
