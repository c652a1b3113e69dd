#include "elf/DwarfError.h"

#include "elf/Elf.h"

#include <cstdio>
#include <iterator>

namespace {

constexpr const char* asText[] = {"No Error",
                                  "An error",
                                  "Invalid argument",
                                  "Debug info NULL",
                                  "No entry found",
                                  "Insufficient memory",
                                  "ELF error",
                                  "Invalid compilation unit data",
                                  "Unsupported version",
                                  "Abbrev not found",
                                  "No current compilation unit",
                                  "Invalid location expression",
                                  "Invalid DWARF expression length",
                                  "Loclist section too short",
                                  "Invalid attribute form",
                                  "Line info section too short",
                                  "Invalid file number.",
                                  "Invalid dir index.",
                                  "Frame section too short",
                                  "FDE without corresponding CIE",
                                  "Unknown CIE augmentation",
                                  "Frame instruction exec error",
                                  "Unsupported frame section version",
                                  "Invalid table column value",
                                  "Register number too large",
                                  "PC requested not in the FDE range",
                                  "Invalid address range offset",
                                  "Invalid macinfo data",
                                  "Application callback failed"};

} // namespace

const char* DWARF_ErrorText(U32 Error) { return Error < std::size(asText) ? asText[Error] : "Unknown DWARF error"; }

void DWARF_ReportError(U32 Error, const char* sFunc, const char* sArg, U32 Value) {
    char sText[256];
    if (sArg != nullptr) {
        std::snprintf(sText, sizeof(sText), "libdwarf: %s in func %s (%s, 0x%X)", DWARF_ErrorText(Error), sFunc, sArg,
                      static_cast<unsigned>(Value));
    } else {
        std::snprintf(sText, sizeof(sText), "libdwarf: %s in func %s", DWARF_ErrorText(Error), sFunc);
    }
    ELF_Report(ELF_MSG_LIBDWARF, sText);
}
