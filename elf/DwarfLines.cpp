#include "elf/DwarfLines.h"

#include "elf/Dwarf.h"
#include "elf/DwarfError.h"
#include "elf/DwarfLineProgram.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>

// The decoder is our own: rows are needed for all units at once when a file opens.

namespace {

constexpr U32 NO_FILE = 0xFFFFFFFF;
constexpr U32 BYTES_PER_ROW = 6; ///< of the whole file; real ones have thirty and more
constexpr I64 ROWS_PER_RUN = 5;  ///< what a run counts for: its tables take memory, too
constexpr I64 ROW_CLAIM = 1024;
constexpr I64 MAX_CLAIMS = 8; ///< that tasks hold at one time, and more than that
constexpr U32 NUM_UNIT_RANGES = 100'000;

/// What all programs together may take. Programs of a damaged file may overlap, and be many.
struct BUDGET {
    explicit BUDGET(const DWARF_STORE& S)
        : NumRows(S.pFile->FileSize / BYTES_PER_ROW + MAX_CLAIMS * ROW_CLAIM),
          NumBytes(2ll * S.aSection[DSEC_LINE].Size), NumPathBytes(2ll * S.pFile->FileSize) {}
    std::atomic<I64> NumRows;
    std::atomic<I64> NumBytes; ///< of programs and headers
    std::atomic<I64> NumPathBytes;
};

/// One line program and the units that share it.
struct PROGRAM {
    U64 Off = 0;
    std::vector<U32> Units; ///< the first one gives the compilation directory
    bool IsDamaged = false;
    ELF_LINE_TABLE Table;
    ELF_LINE_TABLE AtZero;          ///< sequences that begin at address 0: mostly of code that the linker dropped
    std::vector<std::string> Paths; ///< of the files by number, empty for what is no file
};

/// Takes the rows of one program. Rows that say the same again, for a view number or the end of a prologue, are left
/// out.
class CRowSink {
public:
    CRowSink(PROGRAM* p, BUDGET* pBudget) : m_Writer(&p->Table), m_WriterAtZero(&p->AtZero), m_Budget(*pBudget) {}
    ~CRowSink() {
        OnSequenceEnd(0);
        m_Budget.NumRows += m_NumClaimed - m_NumRows; // a file of many small programs would run out of claims
    }
    CRowSink(const CRowSink&) = delete;
    CRowSink& operator=(const CRowSink&) = delete;
    bool OnRow(const DWARF_LINE_ROW& Row) {
        const U32 File = static_cast<U32>(std::min<U64>(Row.File, MAX_LINE_FILE));
        if (m_pWriter == nullptr) {
            m_pWriter = Row.Addr != 0 ? &m_Writer : &m_WriterAtZero;
        }
        const ELF_LINE* pLast = m_pWriter->GetLast();
        if (pLast != nullptr && pLast->Addr == Row.Addr && pLast->Line == Row.Line && pLast->File == File) {
            return true;
        }
        m_NumRows += pLast == nullptr || Row.Addr < pLast->Addr ? ROWS_PER_RUN : 1;
        m_pWriter->Add({Row.Addr, Row.Line, File, std::min(Row.Col, MAX_LINE_COL)});
        if (m_NumRows < m_NumClaimed) {
            return true;
        }
        m_NumClaimed += ROW_CLAIM;
        return m_Budget.NumRows.fetch_sub(ROW_CLAIM) > 0;
    }
    void OnSequenceEnd(U32) {
        if (m_pWriter != nullptr) {
            m_pWriter->EndRun();
        }
        m_pWriter = nullptr;
    }

private:
    CLineTableWriter m_Writer;
    CLineTableWriter m_WriterAtZero;
    CLineTableWriter* m_pWriter = nullptr; ///< of the sequence, null before its first row
    BUDGET& m_Budget;
    I64 m_NumRows = 0;
    I64 m_NumClaimed = 0;
};

void Read(const DWARF_STORE& S, PROGRAM* p, BUDGET* pBudget, DWARF_TIMES* pTimes) {
    DWARF_LINE_HEADER Header;
    const U64 Start = ELF_GetCpuTime();
    p->IsDamaged = pBudget->NumBytes < 0 || !DWARF_ReadLineHeader(S, S.Units[p->Units.front()], p->Off, &Header);
    pBudget->NumBytes -= static_cast<I64>(Header.Size);
    const U64 Middle = ELF_GetCpuTime();
    if (!p->IsDamaged) {
        CRowSink Sink(p, pBudget);
        p->Table.Rows.reserve(Header.Program.GetLeft() / 4); // a row takes three to five bytes
        p->IsDamaged = !CLineProgram(&Header, &Sink).Run();
    }
    if (p->IsDamaged) {
        DWARF_ReportError(DWERR_LINES, "dwarf_srclines", "line_offset", static_cast<U32>(p->Off));
        ELF_Report(ELF_MSG_READER, "source line table could not be parsed.");
    }
    const U64 End = ELF_GetCpuTime();
    p->Paths = DWARF_MakePaths(Header, &pBudget->NumPathBytes);
    std::atomic_ref(pTimes->SrcFiles) += Middle - Start + (ELF_GetCpuTime() - End);
    std::atomic_ref(pTimes->SrcLines) += End - Middle;
}

void AddRanges(const DWARF_STORE& S, const DWARF_UNIT& Unit, std::vector<ELF_RANGE>* pRanges) {
    for (const ELF_RANGE& Range : GetDieRanges(S, DWARF_MakeID(Unit.Section, Unit.DieOff))) {
        if (Range.Lo < Range.Hi && (Range.Lo != 0 || S.pFile->HasCodeAtZero) && pRanges->size() < NUM_UNIT_RANGES) {
            pRanges->push_back(Range);
        }
    }
}

/// Code of functions that the unit's own entry leaves out: DWARF 2 has one range a unit, and a compiler puts functions
/// into sections of their own all the same. What is at address 0 is told from dropped code by the unit only.
void AddFunctions(const DWARF_STORE& S, const DWARF_UNIT& Unit, std::vector<ELF_RANGE>* pRanges) {
    std::vector<ELF_RANGE> Known = *pRanges;
    std::sort(Known.begin(), Known.end(), [](const ELF_RANGE& a, const ELF_RANGE& b) { return a.Lo < b.Lo; });
    const auto IsKnown = [&Known](U32 Lo) {
        const auto It = std::upper_bound(Known.begin(), Known.end(), Lo,
                                         [](U32 Key, const ELF_RANGE& Range) { return Key < Range.Lo; });
        return It != Known.begin() && Lo < std::prev(It)->Hi;
    };
    const U32 End = DWARF_MakeID(Unit.Section, Unit.End);
    auto It = std::lower_bound(S.Code.begin(), S.Code.end(), DWARF_MakeID(Unit.Section, Unit.Off),
                               [](const DWARF_CODE& Code, U32 Die) { return Code.Die < Die; });
    for (; It != S.Code.end() && It->Die < End && pRanges->size() < NUM_UNIT_RANGES; ++It) {
        if (It->Hi > It->Lo && It->Lo != 0 && !IsKnown(It->Lo)) {
            pRanges->push_back({It->Lo, It->Hi});
        }
    }
}

/// Gives each path one index over all programs.
class CFileJoiner {
public:
    explicit CFileJoiner(ELF_LINES* pLines) : m_Lines(*pLines) {}
    void Join(PROGRAM* p) {
        for (const std::string& sPath : p->Paths) {
            p->Table.Files.push_back(sPath.empty() ? NO_FILE : IndexOf(sPath));
        }
    }

private:
    U32 IndexOf(const std::string& sPath) {
        const auto [It, IsNew] = m_IndexOf.try_emplace(sPath, static_cast<U32>(m_Lines.SrcFiles.size()));
        if (IsNew) {
            m_Lines.SrcFiles.push_back(sPath);
        }
        return It->second;
    }
    ELF_LINES& m_Lines;
    std::unordered_map<std::string, U32> m_IndexOf;
};

} // namespace

struct DWARF_LINES {
    explicit DWARF_LINES(const DWARF_STORE& S) : Budget(S) {}
    BUDGET Budget;
    std::vector<PROGRAM> Programs;
};

std::shared_ptr<DWARF_LINES> DWARF_StartLines(DWARF_STORE& S, DWARF_TIMES* pTimes, std::vector<ELF_TASK>* pTasks) {
    auto pLines = std::make_shared<DWARF_LINES>(S);
    std::unordered_map<U64, size_t> ProgramOfOffset;
    for (U32 i = 0; i < S.FirstTypesUnit; ++i) {
        DWARF_ATTR Attr;
        if (S.Units[i].IsBad || !DWARF_GetUnitAttr(S, S.Units[i], DW_AT_stmt_list, &Attr)) {
            continue;
        }
        const auto [It, IsNew] = ProgramOfOffset.try_emplace(Attr.Value, pLines->Programs.size());
        if (IsNew) {
            pLines->Programs.emplace_back().Off = Attr.Value;
        }
        pLines->Programs[It->second].Units.push_back(i);
    }
    for (PROGRAM& Program : pLines->Programs) {
        pTasks->push_back({[&S, &Program, pLines, pTimes] { Read(S, &Program, &pLines->Budget, pTimes); }});
    }
    return pLines;
}

ELF_LINES DWARF_EndLines(const DWARF_STORE& S, DWARF_LINES* pLines) {
    ELF_LINES Lines;
    CFileJoiner Files(&Lines);
    for (PROGRAM& Program : pLines->Programs) {
        Files.Join(&Program);
        for (const U32 Unit : Program.Units) {
            std::vector<ELF_RANGE> Ranges;
            AddRanges(S, S.Units[Unit], &Ranges);
            AddFunctions(S, S.Units[Unit], &Ranges);
            const size_t Room = NUM_UNIT_RANGES - std::min<size_t>(NUM_UNIT_RANGES, Program.Table.Ranges.size());
            Ranges.resize(std::min(Room, Ranges.size()));
            Program.Table.Ranges.insert(Program.Table.Ranges.end(), Ranges.begin(), Ranges.end());
        }
        if (S.pFile->HasCodeAtZero && !Program.AtZero.Rows.empty()) {
            Program.AtZero.Files = Program.Table.Files;
            Program.AtZero.Ranges = Program.Table.Ranges;
            Lines.Tables.push_back(std::move(Program.AtZero));
        }
        Lines.Tables.push_back(std::move(Program.Table));
    }
    return Lines;
}

ELF_LINES DWARF_ReadLines(DWARF_STORE& S) {
    DWARF_TIMES Times;
    std::vector<ELF_TASK> Tasks;
    const std::shared_ptr<DWARF_LINES> pLines = DWARF_StartLines(S, &Times, &Tasks);
    ELF_RunTasks(Tasks, S.aSection[DSEC_LINE].Size);
    return DWARF_EndLines(S, pLines.get());
}
