#include "elf/DwarfLineUnits.h"
#include "elf/ElfInternal.h"

#include <algorithm>
#include <cstring>
#include <libdwarf/dwarf.h>
#include <string_view>
#include <unordered_map>

// Source lines from the line number programs of all units (DWARF 5, section 6.2; versions 2 to 5), as one table sorted
// by address. The decoder is our own: rows are needed for all units at once when a file opens, and libdwarf makes an
// allocated record of each.

namespace {

constexpr U32 NO_FILE = 0xFFFFFFFF;
constexpr U64 BYTES_PER_ROW = 6; ///< of the whole file; real ones have thirty and more

/// Header of one line program, with its file names not yet joined.
struct HEADER {
    U32 Version = 0;
    U32 OffsetSize = 4;
    U32 MinInstLength = 1;
    U8 DefaultIsStmt = 1;
    int LineBase = 0;
    U32 LineRange = 1;
    U32 OpcodeBase = 1;
    CByteReader OpcodeLengths;
    std::vector<const char*> Dirs;
    struct FILE_ENTRY {
        const char* sName;
        U64 Dir;
        U32 Index; ///< in ELF_LINES::SrcFiles, NO_FILE until a row needs it
    };
    std::vector<FILE_ENTRY> Files; ///< version 5 counts from 0, the others from 1
};

class CTableReader {
public:
    CTableReader(const ELF_FILE* pFile, const DWARF_LINE_SECTIONS& Sections, ELF_LINES* pLines)
        : m_Sections(Sections), m_pLines(pLines), m_MaxRows(pFile->FileSize / BYTES_PER_ROW + 1000),
          m_PathBudget(2ULL * pFile->FileSize) {}
    /// False with what was read so far if the table is damaged.
    bool Read(const DWARF_LINE_UNIT& Unit, ELF_LINE_TABLE* pTable);
    void AddUnusedFiles();

private:
    bool ReadHeader(CByteReader& In, HEADER* pHeader);
    bool ReadOldFiles(CByteReader& In, HEADER* pHeader);
    bool ReadEntries(CByteReader& In, HEADER* pHeader, bool IsFiles);
    bool Run(CByteReader In, HEADER* pHeader);
    bool RunExtended(CByteReader& In, HEADER* pHeader);
    void RunStandard(CByteReader& In, const HEADER& Header, U8 Op);
    bool EmitRow(HEADER* pHeader);
    void EndSequence();
    void CloseRow(U32 Addr);
    U32 FileIndex(HEADER* pHeader);
    bool MakePath(const HEADER& Header, const HEADER::FILE_ENTRY& File);
    void SetUnusedFiles(HEADER* pHeader);
    void Advance(const HEADER& Header, U64 NumOps) { m_Addr += static_cast<U32>(NumOps) * Header.MinInstLength; }

    const DWARF_LINE_SECTIONS& m_Sections;
    ELF_LINES* m_pLines;
    U64 m_MaxRows;
    U64 m_PathBudget;
    const DWARF_LINE_UNIT* m_pUnit = nullptr;
    ELF_LINE_TABLE* m_pTable = nullptr;
    std::string m_sPath;
    std::unordered_map<std::string, U32> m_IndexOfPath; ///< NO_FILE for files without rows
    // The state machine's registers
    U32 m_Addr = 0;
    U64 m_File = 1;
    U32 m_Line = 1;
    U32 m_Col = 0;
    U8 m_IsStmt = 1;
    bool m_HasRow = false;
    ELF_LINE m_Row{}; ///< the record that waits for the next one to tell where it ends
};

bool CTableReader::ReadHeader(CByteReader& In, HEADER* pHeader) {
    U64 Length = In.GetU32();
    if (Length == 0xFFFFFFFF) {
        Length = In.Get(8);
        pHeader->OffsetSize = 8;
    }
    In = In.Sub(Length);
    pHeader->Version = In.GetU16();
    if (In.IsFailed() || pHeader->Version < 2 || pHeader->Version > 5) {
        return false;
    }
    In.Skip(pHeader->Version == 5 ? 2 : 0); // address and segment selector size: set_address has a length of its own
    CByteReader Tables = In.Sub(In.Get(pHeader->OffsetSize));
    pHeader->MinInstLength = Tables.GetU8();
    Tables.Skip(pHeader->Version >= 4 ? 1 : 0); // operations per instruction: 1 for ARM
    pHeader->DefaultIsStmt = Tables.GetU8() != 0 ? 1 : 0;
    pHeader->LineBase = static_cast<int>(Tables.GetSigned(1));
    pHeader->LineRange = Tables.GetU8();
    pHeader->OpcodeBase = Tables.GetU8();
    pHeader->OpcodeLengths = Tables.Sub(pHeader->OpcodeBase != 0 ? pHeader->OpcodeBase - 1 : 0);
    if (In.IsFailed() || Tables.IsFailed() || pHeader->LineRange == 0 || pHeader->OpcodeBase == 0) {
        return false;
    }
    return pHeader->Version == 5 ? ReadEntries(Tables, pHeader, false) && ReadEntries(Tables, pHeader, true)
                                 : ReadOldFiles(Tables, pHeader);
}

bool CTableReader::ReadOldFiles(CByteReader& In, HEADER* pHeader) {
    pHeader->Dirs.push_back(m_pUnit->sDir);
    for (const char* sDir = In.GetString(); *sDir != 0; sDir = In.GetString()) {
        pHeader->Dirs.push_back(sDir);
    }
    pHeader->Files.push_back({"", 0, NO_FILE}); // number 0 is no file
    for (const char* sName = In.GetString(); *sName != 0; sName = In.GetString()) {
        const U64 Dir = In.GetULeb();
        In.GetULeb(); // time
        In.GetULeb(); // length
        pHeader->Files.push_back({sName, Dir, NO_FILE});
    }
    return !In.IsFailed();
}

/// One table of version 5. Each entry takes a byte at least, so that their number is bounded by the section.
bool CTableReader::ReadEntries(CByteReader& In, HEADER* pHeader, bool IsFiles) {
    struct FORMAT {
        U64 Content;
        U32 Form;
    };
    std::vector<FORMAT> Formats(In.GetU8());
    for (FORMAT& Format : Formats) {
        Format.Content = In.GetULeb();
        Format.Form = static_cast<U32>(In.GetULeb());
    }
    for (U64 Left = In.GetULeb(); Left > 0; --Left) {
        const U8* pStart = In.GetPtr();
        HEADER::FILE_ENTRY Entry{"", 0, NO_FILE};
        for (const FORMAT& Format : Formats) {
            DWARF_LINE_VALUE Value;
            if (!DWARF_ReadLineValue(m_Sections, In, Format.Form, pHeader->OffsetSize, 5, &Value)) {
                return false;
            }
            if (Format.Content == DW_LNCT_path) {
                Entry.sName = Value.sText != nullptr ? Value.sText : "";
            } else if (Format.Content == DW_LNCT_directory_index) {
                Entry.Dir = Value.Value;
            }
        }
        if (In.GetPtr() == pStart) {
            return false;
        }
        if (IsFiles) {
            pHeader->Files.push_back(Entry);
        } else {
            pHeader->Dirs.push_back(Entry.sName);
        }
    }
    return !In.IsFailed();
}

/// Puts the file's path together in m_sPath: name, directory, compilation directory, up to the first absolute one.
bool CTableReader::MakePath(const HEADER& Header, const HEADER::FILE_ENTRY& File) {
    const auto IsAbsolute = [](const char* s) { return s[0] == '/' || s[0] == '\\' || (s[0] != 0 && s[1] == ':'); };
    m_sPath.clear();
    if (std::strstr(File.sName, "<built-in>") != nullptr || std::strstr(File.sName, "<stdin>") != nullptr || File.sName[0] == 0) {
        return false;
    }
    if (!IsAbsolute(File.sName)) {
        const char* sDir = File.Dir < Header.Dirs.size() ? Header.Dirs[File.Dir] : "";
        if (!IsAbsolute(sDir) && m_pUnit->sDir[0] != 0 && std::strcmp(sDir, m_pUnit->sDir) != 0) {
            m_sPath.append(m_pUnit->sDir).append("/");
        }
        m_sPath.append(sDir).append(sDir[0] != 0 ? "/" : "");
    }
    m_sPath.append(File.sName);
    const U64 Cost = m_sPath.size();
    m_PathBudget -= std::min(m_PathBudget, Cost);
    return m_PathBudget != 0; // joined from few bytes of the file, paths could fill the memory
}

U32 CTableReader::FileIndex(HEADER* pHeader) {
    if (m_File >= pHeader->Files.size()) {
        return NO_FILE;
    }
    HEADER::FILE_ENTRY& File = pHeader->Files[m_File];
    if (File.Index == NO_FILE && MakePath(*pHeader, File)) {
        U32& Index = m_IndexOfPath.try_emplace(m_sPath, NO_FILE).first->second;
        if (Index == NO_FILE) {
            Index = static_cast<U32>(m_pLines->SrcFiles.size());
            m_pLines->SrcFiles.push_back(m_sPath);
        }
        File.Index = Index;
        m_pTable->Files.push_back(Index);
    }
    return File.Index;
}

void CTableReader::SetUnusedFiles(HEADER* pHeader) {
    for (const HEADER::FILE_ENTRY& File : pHeader->Files) {
        if (File.Index == NO_FILE && MakePath(*pHeader, File)) {
            m_IndexOfPath.try_emplace(m_sPath, NO_FILE);
        }
    }
}

void CTableReader::AddUnusedFiles() {
    for (const auto& [sPath, Index] : m_IndexOfPath) {
        if (Index == NO_FILE) {
            m_pLines->OtherFiles.push_back(sPath);
        }
    }
    std::sort(m_pLines->OtherFiles.begin(), m_pLines->OtherFiles.end());
}

void CTableReader::CloseRow(U32 Addr) {
    if (m_HasRow) { // dropped sections leave sequences that go backwards: such a row has no extent
        m_Row.AddrHi = std::max(Addr, m_Row.AddrLo);
        (Addr <= m_Row.AddrLo ? m_pLines->Points : m_pLines->Lines).push_back(m_Row);
    }
    m_HasRow = false;
}

bool CTableReader::EmitRow(HEADER* pHeader) {
    CloseRow(m_Addr);
    const U32 File = FileIndex(pHeader);
    m_HasRow = File != NO_FILE;
    m_Row = {m_Addr, m_Addr, File, m_Line, m_Col, m_IsStmt};
    return m_pLines->Lines.size() + m_pLines->Points.size() < m_MaxRows;
}

void CTableReader::EndSequence() {
    CloseRow(m_Addr);
    m_Addr = 0;
    m_File = 1;
    m_Line = 1;
    m_Col = 0;
}

bool CTableReader::RunExtended(CByteReader& In, HEADER* pHeader) {
    const U64 Length = In.GetULeb();
    CByteReader Op = In.Sub(Length);
    if (In.IsFailed() || Length == 0) {
        return !In.IsFailed();
    }
    switch (Op.GetU8()) {
    case DW_LNE_end_sequence:
        EndSequence();
        m_IsStmt = pHeader->DefaultIsStmt;
        return true;
    case DW_LNE_set_address:
        m_Addr = Length >= 2 && Length <= 9 ? static_cast<U32>(Op.Get(static_cast<U32>(Length - 1))) : 0;
        return true;
    case DW_LNE_define_file: {
        HEADER::FILE_ENTRY File{Op.GetString(), 0, NO_FILE};
        File.Dir = Op.GetULeb();
        pHeader->Files.push_back(File);
        return !Op.IsFailed();
    }
    default:
        return true;
    }
}

void CTableReader::RunStandard(CByteReader& In, const HEADER& Header, U8 Op) {
    switch (Op) {
    case DW_LNS_advance_pc:
        Advance(Header, In.GetULeb());
        break;
    case DW_LNS_advance_line:
        m_Line += static_cast<U32>(In.GetSLeb());
        break;
    case DW_LNS_set_file:
        m_File = In.GetULeb();
        break;
    case DW_LNS_set_column:
        m_Col = static_cast<U32>(In.GetULeb());
        break;
    case DW_LNS_negate_stmt:
        m_IsStmt ^= 1;
        break;
    case DW_LNS_const_add_pc:
        Advance(Header, (255 - Header.OpcodeBase) / Header.LineRange);
        break;
    case DW_LNS_fixed_advance_pc:
        m_Addr += In.GetU16();
        break;
    case DW_LNS_set_basic_block:
    case DW_LNS_set_prologue_end:
    case DW_LNS_set_epilogue_begin:
        break;
    case DW_LNS_set_isa:
        In.GetULeb();
        break;
    default: {
        CByteReader Lengths = Header.OpcodeLengths;
        Lengths.Skip(Op - 1u);
        for (U8 Left = Lengths.GetU8(); Left > 0; --Left) {
            In.GetULeb();
        }
        break;
    }
    }
}

bool CTableReader::Run(CByteReader In, HEADER* pHeader) {
    m_HasRow = false;
    EndSequence();
    m_IsStmt = pHeader->DefaultIsStmt;
    while (!In.IsAtEnd()) {
        const U8 Op = In.GetU8();
        bool IsOk = true;
        if (Op >= pHeader->OpcodeBase) {
            const U32 Adjusted = Op - pHeader->OpcodeBase;
            Advance(*pHeader, Adjusted / pHeader->LineRange);
            m_Line += static_cast<U32>(pHeader->LineBase + static_cast<int>(Adjusted % pHeader->LineRange));
            IsOk = EmitRow(pHeader);
        } else if (Op == 0) {
            IsOk = RunExtended(In, pHeader);
        } else if (Op == DW_LNS_copy) {
            IsOk = EmitRow(pHeader);
        } else {
            RunStandard(In, *pHeader, Op);
        }
        if (!IsOk || In.IsFailed()) {
            return false;
        }
    }
    return true; // a row that no end of sequence closed has no extent and is dropped
}

bool CTableReader::Read(const DWARF_LINE_UNIT& Unit, ELF_LINE_TABLE* pTable) {
    m_pUnit = &Unit;
    m_pTable = pTable;
    CByteReader In = m_Sections.At(LSEC_LINE, Unit.LineOff);
    HEADER Header;
    if (!ReadHeader(In, &Header)) {
        return false;
    }
    const bool IsOk = Run(In, &Header);
    SetUnusedFiles(&Header);
    std::sort(pTable->Files.begin(), pTable->Files.end());
    pTable->Files.erase(std::unique(pTable->Files.begin(), pTable->Files.end()), pTable->Files.end());
    return IsOk;
}

bool _IsCpp(U32 Lang) {
    return Lang == DW_LANG_C_plus_plus || Lang == DW_LANG_C_plus_plus_03 || Lang == DW_LANG_C_plus_plus_11 ||
           Lang == DW_LANG_C_plus_plus_14;
}

void _SortByAddr(std::vector<ELF_LINE>* pLines) {
    const auto IsLess = [](const ELF_LINE& a, const ELF_LINE& b) { return a.AddrLo < b.AddrLo; };
    if (!std::is_sorted(pLines->begin(), pLines->end(), IsLess)) {
        std::stable_sort(pLines->begin(), pLines->end(), IsLess);
    }
}

} // namespace

int ELF_LoadLines(ELF_FILE* pFile) {
    const DWARF_LINE_SECTIONS Sections(pFile);
    if (Sections.apData[LSEC_INFO] == nullptr) {
        return ELF_FindSection(pFile, ".debug_info") < 0 ? 0 : -1;
    }
    std::vector<DWARF_LINE_UNIT> Units;
    const bool IsComplete = DWARF_ReadLineUnits(Sections, &Units);
    ELF_LINES& Lines = pFile->Lines;
    CTableReader Reader(pFile, Sections, &Lines);
    std::unordered_map<U64, size_t> TableOfOffset;
    for (const DWARF_LINE_UNIT& Unit : Units) {
        Lines.MaxVersion = std::max(Lines.MaxVersion, Unit.Version);
        Lines.HasCpp |= _IsCpp(Unit.Lang);
        if (!Unit.HasLines) {
            continue;
        }
        const auto [It, IsNew] = TableOfOffset.try_emplace(Unit.LineOff, Lines.Tables.size());
        if (IsNew) {
            Lines.Tables.emplace_back();
            if (!Reader.Read(Unit, &Lines.Tables.back())) {
                ELF_Report(ELF_MSG_READER, "source line table could not be parsed.");
            }
        }
        ELF_LINE_TABLE& Table = Lines.Tables[It->second];
        Table.Ranges.insert(Table.Ranges.end(), Unit.Ranges.begin(), Unit.Ranges.end());
    }
    Reader.AddUnusedFiles();
    _SortByAddr(&Lines.Lines);
    _SortByAddr(&Lines.Points);
    return IsComplete || !Units.empty() ? 0 : -1;
}
