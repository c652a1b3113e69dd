#include "elf/DwarfAccess.h"
#include "elf/ElfInternal.h"

#include <algorithm>
#include <libdwarf/dwarf.h>
#include <unordered_map>

// Source lines from the line number programs of all units, as one table sorted by address.

namespace {

class CLineReader {
public:
    CLineReader(const CDwarfSession& Session, ELF_LINES* pLines) : m_Session(Session), m_pLines(pLines) {}

    /// Reads the line table of one unit; an unreadable one is reported and skipped.
    void ReadUnit(Dwarf_Die pUnit) {
        ReadLanguage(pUnit);
        Dwarf_Unsigned Version = 0;
        Dwarf_Small NumTables = 0;
        Dwarf_Line_Context pContext = nullptr;
        Dwarf_Error pError = nullptr;
        const int Result = dwarf_srclines_b(pUnit, &Version, &NumTables, &pContext, &pError);
        if (Result == DW_DLV_ERROR) {
            m_Session.Report(pError);
        }
        if (Result != DW_DLV_OK) {
            return;
        }
        Dwarf_Line* paLine = nullptr;
        Dwarf_Signed NumLines = 0;
        if (dwarf_srclines_from_linecontext(pContext, &paLine, &NumLines, &pError) == DW_DLV_OK) {
            ReadRows(paLine, NumLines);
        } else {
            m_Session.Report(pError);
        }
        dwarf_srclines_dealloc_b(pContext);
    }

private:
    struct ROW {
        Dwarf_Addr Addr = 0;
        Dwarf_Unsigned Line = 0;
        Dwarf_Unsigned Col = 0;
        U32 File = 0;
        Dwarf_Bool IsStmt = 0;
        Dwarf_Bool IsEnd = 0;
    };

    void ReadLanguage(Dwarf_Die pUnit) {
        Dwarf_Unsigned Lang = 0;
        Dwarf_Error pError = nullptr;
        if (dwarf_srclang(pUnit, &Lang, &pError) == DW_DLV_OK) {
            m_pLines->HasCpp |= Lang == DW_LANG_C_plus_plus || Lang == DW_LANG_C_plus_plus_11 || Lang == DW_LANG_C_plus_plus_14;
        }
    }

    U32 FileIndex(Dwarf_Line pLine, Dwarf_Unsigned Number) {
        const auto Known = m_FileOfNumber.find(Number);
        if (Known != m_FileOfNumber.end()) {
            return Known->second;
        }
        char* sPath = nullptr;
        Dwarf_Error pError = nullptr;
        std::string Path;
        if (dwarf_linesrc(pLine, &sPath, &pError) == DW_DLV_OK) {
            Path = sPath;
            dwarf_dealloc(m_Session.Get(), sPath, DW_DLA_STRING);
        }
        const auto [It, IsNew] = m_IndexOfPath.try_emplace(Path, static_cast<U32>(m_pLines->SrcFiles.size()));
        if (IsNew) {
            m_pLines->SrcFiles.push_back(Path);
        }
        m_FileOfNumber.emplace(Number, It->second);
        return It->second;
    }

    ROW ReadRow(Dwarf_Line pLine) {
        ROW Row;
        Dwarf_Error pError = nullptr;
        Dwarf_Unsigned Number = 0;
        dwarf_lineaddr(pLine, &Row.Addr, &pError);
        dwarf_lineno(pLine, &Row.Line, &pError);
        dwarf_lineoff_b(pLine, &Row.Col, &pError);
        dwarf_linebeginstatement(pLine, &Row.IsStmt, &pError);
        dwarf_lineendsequence(pLine, &Row.IsEnd, &pError);
        if (Row.IsEnd == 0) {
            dwarf_line_srcfileno(pLine, &Number, &pError);
            Row.File = FileIndex(pLine, Number);
        }
        return Row;
    }

    void ReadRows(Dwarf_Line* paLine, Dwarf_Signed NumLines) {
        m_FileOfNumber.clear();
        ROW Last;
        Last.IsEnd = 1;
        for (Dwarf_Signed i = 0; i < NumLines; ++i) {
            const ROW Row = ReadRow(paLine[i]);
            if (Last.IsEnd == 0 && Row.Addr > Last.Addr && Row.Addr <= 0xFFFFFFFF) {
                m_pLines->Lines.push_back({static_cast<U32>(Last.Addr), static_cast<U32>(Row.Addr), Last.File,
                                           static_cast<U32>(Last.Line), static_cast<U32>(Last.Col),
                                           static_cast<U8>(Last.IsStmt != 0)});
            }
            Last = Row;
        }
    }

    const CDwarfSession& m_Session;
    ELF_LINES* m_pLines;
    std::unordered_map<Dwarf_Unsigned, U32> m_FileOfNumber; ///< of the unit that is read
    std::unordered_map<std::string, U32> m_IndexOfPath;
};

/// Moves to the next unit header of .debug_info. False at the end or at a damaged header.
bool _NextUnit(const CDwarfSession& Session, U32* pMaxVersion) {
    Dwarf_Half Version = 0;
    Dwarf_Unsigned Next = 0;
    Dwarf_Error pError = nullptr;
    Dwarf_Sig8 Signature = {};
    Dwarf_Unsigned HeaderLength = 0;
    Dwarf_Unsigned TypeOffset = 0;
    Dwarf_Off AbbrevOffset = 0;
    Dwarf_Half AddrSize = 0;
    Dwarf_Half LengthSize = 0;
    Dwarf_Half ExtSize = 0;
    Dwarf_Half UnitType = 0;
    const int Result = dwarf_next_cu_header_d(Session.Get(), 1, &HeaderLength, &Version, &AbbrevOffset, &AddrSize,
                                              &LengthSize, &ExtSize, &Signature, &TypeOffset, &Next, &UnitType, &pError);
    if (Result == DW_DLV_ERROR) {
        Session.Report(pError);
    }
    *pMaxVersion = Result == DW_DLV_OK ? std::max<U32>(*pMaxVersion, Version) : *pMaxVersion;
    return Result == DW_DLV_OK;
}

} // namespace

int ELF_LoadLines(ELF_FILE* pFile) {
    if (ELF_FindSection(pFile, ".debug_info") < 0) {
        return 0;
    }
    const CDwarfSession Session(pFile);
    if (Session.Get() == nullptr) {
        return -1;
    }
    CLineReader Reader(Session, &pFile->Lines);
    while (_NextUnit(Session, &pFile->Lines.MaxVersion)) {
        Dwarf_Die pUnit = nullptr;
        Dwarf_Error pError = nullptr;
        const int Result = dwarf_siblingof_b(Session.Get(), nullptr, 1, &pUnit, &pError);
        if (Result == DW_DLV_OK) {
            Reader.ReadUnit(pUnit);
            dwarf_dealloc_die(pUnit);
        } else if (Result == DW_DLV_ERROR) {
            Session.Report(pError);
        }
    }
    std::vector<ELF_LINE>& Lines = pFile->Lines.Lines;
    std::stable_sort(Lines.begin(), Lines.end(), [](const ELF_LINE& a, const ELF_LINE& b) { return a.AddrLo < b.AddrLo; });
    return 0;
}
