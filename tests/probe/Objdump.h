#pragma once
// What the cross binutils say of the C library that comes with the cross compiler: the reference for the decoder and
// the disassembler.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct CObjdumpLine {
    uint32_t Addr;
    uint32_t Bits; // as the decoder's tables have it: the first halfword of a 32-bit T32 instruction on top
    int Length;    // 2 or 4
    bool IsArm;
    std::string sMnemonic;
    std::string sOperands; // without comments and symbols
};

// Directories of all variants of the C library, empty without a cross compiler.
std::vector<std::string> ListLibraryVariants();
// Calls Visit for each instruction in the code of an archive. Data in code, which mapping symbols tell, is left out.
// Result: number of instructions.
size_t ForEachInstruction(const std::string& sArchive, const std::function<void(const CObjdumpLine&)>& Visit);
// Path of a library in one of the directories, empty if there is none.
std::string FindLibrary(const std::string& sVariant, const std::string& sName);
