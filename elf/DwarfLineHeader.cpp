#include "elf/DwarfLineHeader.h"

#include "elf/DwarfAttr.h"
#include "elf/DwarfConst.h"

namespace {

/// Versions 2 to 4: number 0 is no file, directory 0 the unit's own.
bool ReadOldTables(CByteReader& R, DWARF_LINE_HEADER* pHeader) {
    pHeader->Dirs.push_back(pHeader->sUnitDir);
    for (std::string_view sDir = R.GetString(); !sDir.empty(); sDir = R.GetString()) {
        pHeader->Dirs.push_back(sDir);
    }
    pHeader->Files.emplace_back();
    for (std::string_view sName = R.GetString(); !sName.empty(); sName = R.GetString()) {
        const U64 Dir = R.GetULeb();
        R.GetULeb(); // time
        R.GetULeb(); // length
        pHeader->Files.push_back({sName, Dir});
    }
    return R.IsOk();
}

/// One table of version 5, of directories or files. Each entry takes a byte at least, so that their number is bounded
/// by the section.
bool ReadTable(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, std::vector<DWARF_LINE_FILE>* pEntries) {
    struct FORMAT {
        U64 Content;
        U64 Form;
    };
    std::vector<FORMAT> Formats(R.GetU8());
    for (FORMAT& Format : Formats) {
        Format.Content = R.GetULeb();
        Format.Form = R.GetULeb();
    }
    for (U64 Left = R.GetULeb(); Left > 0 && R.IsOk(); --Left) {
        const U8* pStart = R.GetPtr();
        DWARF_LINE_FILE Entry;
        for (const FORMAT& Format : Formats) {
            DWARF_ATTR Attr;
            if (Format.Form > 0xFFFF || !DWARF_ReadForm(S, Unit, R, static_cast<U32>(Format.Form), &Attr)) {
                return false;
            }
            Entry.sName = Format.Content == DW_LNCT_path ? Attr.sText : Entry.sName;
            Entry.Dir = Format.Content == DW_LNCT_directory_index ? Attr.Value : Entry.Dir;
        }
        if (R.GetPtr() == pStart) {
            return false;
        }
        pEntries->push_back(Entry);
    }
    return R.IsOk();
}

bool ReadNewTables(const DWARF_STORE& S, const DWARF_UNIT& Unit, CByteReader& R, DWARF_LINE_HEADER* pHeader) {
    std::vector<DWARF_LINE_FILE> Dirs;
    if (!ReadTable(S, Unit, R, &Dirs)) {
        return false;
    }
    for (const DWARF_LINE_FILE& Dir : Dirs) {
        pHeader->Dirs.push_back(Dir.sName);
    }
    return ReadTable(S, Unit, R, &pHeader->Files);
}

bool IsAbsolute(std::string_view s) {
    return !s.empty() && (s[0] == '/' || s[0] == '\\' || (s.size() > 1 && s[1] == ':'));
}

std::string MakePath(const DWARF_LINE_HEADER& Header, const DWARF_LINE_FILE& File) {
    std::string sPath;
    if (File.sName.empty() || File.sName.find("<built-in>") != std::string_view::npos ||
        File.sName.find("<stdin>") != std::string_view::npos) {
        return sPath;
    }
    if (!IsAbsolute(File.sName)) {
        const std::string_view sDir = File.Dir < Header.Dirs.size() ? Header.Dirs[File.Dir] : std::string_view();
        if (!IsAbsolute(sDir) && !Header.sUnitDir.empty() && sDir != Header.sUnitDir) {
            sPath.append(Header.sUnitDir).append("/");
        }
        sPath.append(sDir).append(sDir.empty() ? "" : "/");
    }
    return sPath.append(File.sName);
}

} // namespace

bool DWARF_ReadLineHeader(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Off, DWARF_LINE_HEADER* pHeader) {
    CByteReader R = DWARF_At(S, DSEC_LINE, Off);
    DWARF_UNIT Form = Unit; // with the offset size of the program's own header
    U64 Length = R.GetU32();
    Form.OffsetSize = 4;
    if (Length == 0xFFFFFFFF) {
        Length = R.GetU64();
        Form.OffsetSize = 8;
    }
    pHeader->Program = R.Sub(Length);
    CByteReader& Program = pHeader->Program;
    pHeader->Version = Program.GetU16();
    if (!Program.IsOk() || pHeader->Version < 2 || pHeader->Version > 5) {
        return false;
    }
    pHeader->Size = Length;
    Program.Skip(pHeader->Version == 5 ? 2
                                       : 0); // address and segment selector size: set_address has a length of its own
    R = Program.Sub(Program.Get(Form.OffsetSize));
    if (!Program.IsOk()) {
        return false;
    }
    pHeader->MinInstLength = R.GetU8();
    R.Skip(pHeader->Version >= 4 ? 1 : 0); // operations per instruction: 1 for ARM
    pHeader->DefaultIsStmt = R.GetU8() != 0;
    pHeader->LineBase = static_cast<int>(R.GetSigned(1));
    pHeader->LineRange = R.GetU8();
    pHeader->OpcodeBase = R.GetU8();
    pHeader->pOpcodeLengths = R.GetPtr();
    if (pHeader->LineRange == 0 || pHeader->OpcodeBase == 0 || !R.Skip(pHeader->OpcodeBase - 1)) {
        return false;
    }
    DWARF_ATTR Dir;
    pHeader->sUnitDir = DWARF_GetUnitAttr(S, Unit, DW_AT_comp_dir, &Dir) ? Dir.sText : std::string_view();
    return pHeader->Version == 5 ? ReadNewTables(S, Form, R, pHeader) : ReadOldTables(R, pHeader);
}

std::vector<std::string> DWARF_MakePaths(const DWARF_LINE_HEADER& Header, std::atomic<I64>* pBudget) {
    std::vector<std::string> Paths;
    for (const DWARF_LINE_FILE& File : Header.Files) {
        Paths.push_back(MakePath(Header, File));
        if (pBudget->fetch_sub(static_cast<I64>(Paths.back().size())) < 0) {
            break;
        }
    }
    return Paths;
}
