#include "elf/Dwarf.h"

#include <libdwarf/dwarf.h>

// File names by number, from the header of a unit's line program (DWARF 5, section 6.2.4).

namespace {

constexpr size_t MAX_FILES = 100'000;
constexpr size_t MAX_FORMATS = 32;

std::string _Join(std::string_view sDir, std::string_view sName) {
    if (sDir.empty() || (!sName.empty() && sName[0] == '/')) {
        return std::string(sName);
    }
    return std::string(sDir) + "/" + std::string(sName);
}

std::string_view _RootText(const DWARF_STORE& S, const DWARF_UNIT& Unit, U32 At) {
    DWARF_ATTR Attr;
    return DWARF_GetUnitAttr(S, Unit, At, &Attr) ? Attr.sText : std::string_view();
}

/// Versions 2 to 4: number 0 is no file, directory 0 the unit's own.
void _ReadOldTables(DWARF_READER& R, std::string_view sUnitDir, std::vector<std::string>* pNames) {
    std::vector<std::string> Dirs = {std::string(sUnitDir)};
    for (std::string_view sDir = R.GetString(); R.IsOk() && !sDir.empty() && Dirs.size() < MAX_FILES; sDir = R.GetString()) {
        Dirs.push_back(_Join(sUnitDir, sDir));
    }
    pNames->emplace_back();
    for (std::string_view sName = R.GetString(); R.IsOk() && !sName.empty() && pNames->size() < MAX_FILES;
         sName = R.GetString()) {
        const U64 Dir = R.GetUleb();
        R.GetUleb();
        R.GetUleb();
        pNames->push_back(_Join(Dir < Dirs.size() ? Dirs[Dir] : std::string(), sName));
    }
}

struct ENTRY {
    std::string_view sPath;
    U64 Dir = 0;
};

/// One table of version 5, of directories or files.
std::vector<ENTRY> _ReadTable(const DWARF_STORE& S, const DWARF_UNIT& Unit, DWARF_READER& R) {
    struct FORMAT {
        U64 Content;
        U64 Form;
    };
    std::vector<FORMAT> Formats(R.Get<U8>());
    for (FORMAT& Format : Formats) {
        Format = {R.GetUleb(), R.GetUleb()};
    }
    std::vector<ENTRY> Entries;
    for (U64 Num = R.GetUleb(); Num > 0 && R.IsOk() && !Formats.empty() && Formats.size() <= MAX_FORMATS && Entries.size() < MAX_FILES; --Num) {
        ENTRY Entry;
        for (const FORMAT& Format : Formats) {
            DWARF_ATTR Attr;
            if (Format.Form > 0xFFFF || !DWARF_ReadForm(S, Unit, R, static_cast<U32>(Format.Form), &Attr)) {
                R.IsFailed = true;
                return Entries;
            }
            Entry.sPath = Format.Content == DW_LNCT_path ? Attr.sText : Entry.sPath;
            Entry.Dir = Format.Content == DW_LNCT_directory_index ? Attr.Value : Entry.Dir;
        }
        Entries.push_back(Entry);
    }
    return Entries;
}

std::vector<std::string> _ReadNames(const DWARF_STORE& S, const DWARF_UNIT& Unit, U64 Off) {
    std::vector<std::string> Names;
    DWARF_UNIT Form = Unit; // sizes of the line program's own header
    DWARF_READER R(S, DSEC_LINE, Off);
    Form.OffsetSize = R.Get<U32>() == 0xFFFFFFFF ? 8 : 4;
    R.Skip(Form.OffsetSize == 8 ? 8 : 0);
    const U16 Version = R.Get<U16>();
    if (!R.IsOk() || Version < 2 || Version > 5) {
        return Names;
    }
    if (Version == 5) {
        Form.AddrSize = R.Get<U8>();
        R.Skip(1);
    }
    R.Skip(Form.OffsetSize);
    R.Skip(Version >= 4 ? 5 : 4); // up to the line range
    const U8 OpcodeBase = R.Get<U8>();
    R.Skip(OpcodeBase != 0 ? OpcodeBase - 1u : 0);
    const std::string_view sUnitDir = _RootText(S, Unit, DW_AT_comp_dir);
    if (Version < 5) {
        _ReadOldTables(R, sUnitDir, &Names);
        return Names;
    }
    const std::vector<ENTRY> Dirs = _ReadTable(S, Form, R);
    for (const ENTRY& File : R.IsOk() ? _ReadTable(S, Form, R) : std::vector<ENTRY>()) {
        const std::string sDir = File.Dir < Dirs.size() ? _Join(sUnitDir, Dirs[File.Dir].sPath) : std::string();
        Names.push_back(_Join(sDir, File.sPath));
    }
    return Names;
}

} // namespace

std::string _GetDieFileName(DWARF_STORE& S, U32 Die, U32 At) {
    constexpr int MAX_DEPTH = 5;
    DWARF_ATTR Attr;
    U32 Owner = Die;
    for (int i = 0; i < MAX_DEPTH && Owner != 0 && !DWARF_GetAttr(S, Owner, At, &Attr); ++i) {
        const U32 Decl = _GetReferenceDie(S, Owner, DW_AT_specification);
        Owner = Decl != 0 ? Decl : _GetReferenceDie(S, Owner, DW_AT_abstract_origin);
    }
    DWARF_ATTR List;
    const DWARF_UNIT* pUnit = Attr.Class != ATTR_NONE && Owner != 0 ? DWARF_UnitOf(S, Owner) : nullptr;
    if (pUnit == nullptr || !DWARF_GetUnitAttr(S, *pUnit, DW_AT_stmt_list, &List)) {
        return {};
    }
    const U32 Off = static_cast<U32>(List.Value);
    const auto [It, IsNew] = S.FileNames.try_emplace(Off);
    if (IsNew) {
        It->second = _ReadNames(S, *pUnit, List.Value);
    }
    return Attr.Value < It->second.size() ? It->second[Attr.Value] : std::string();
}
