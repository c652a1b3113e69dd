#include "elf/LineTable.h"

#include <algorithm>
#include <functional>
#include <queue>

namespace {

constexpr U32 MAX_LOOKED_THROUGH = 40; ///< rows; where more lie dense a search is faster

} // namespace

const ELF_LINE_ROW* CLineTable::RUN::Find(U32 Addr, U32 First, U32 End) const {
    const U32 FromBase = Addr > Base ? Addr - Base : 0;
    return std::lower_bound(pFirst + First, pFirst + End, FromBase,
                            [](const ELF_LINE_ROW& Row, U32 Key) { return Row.AddrFromBase() < Key; });
}

void CLineTable::Build(std::vector<ELF_LINE_TABLE> Tables, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd)) {
    *this = CLineTable();
    m_Tables = std::move(Tables);
    m_NumRead = static_cast<U32>(m_Tables.size());
    m_Floor = Floor;
    for (U32 t = 0; t < m_NumRead; ++t) {
        if (pfRelocate != nullptr) {
            ELF_MoveLines(&m_Tables[t], pfRelocate);
        }
        AddRuns(t);
    }
    SortRuns();
    JoinOverlapping();
    NumberFiles();
    BuildSteps();
}

void CLineTable::AddRuns(U32 Table) {
    const ELF_LINE_TABLE& From = m_Tables[Table];
    for (size_t r = 0; r < From.Runs.size(); ++r) {
        const U32 First = From.Runs[r].First;
        const U32 Base = From.Runs[r].Base;
        const U32 Num = static_cast<U32>(From.EndOfRun(r)) - First;
        RUN Run{From.Rows.data() + First, Num, Base, Base + From.Rows[First + Num - 1].AddrFromBase(), Table, 0, 0};
        const U32 NumSkipped = Run.LastAddr < m_Floor ? Num : static_cast<U32>(Run.Find(m_Floor, 0, Num) - Run.pFirst);
        m_NumSkipped += NumSkipped;
        Run.pFirst += NumSkipped;
        Run.NumRows -= NumSkipped;
        if (Run.NumRows != 0) {
            m_Runs.push_back(Run);
        }
    }
}

void CLineTable::SortRuns() {
    std::stable_sort(m_Runs.begin(), m_Runs.end(),
                     [](const RUN& a, const RUN& b) { return a.FirstAddr() < b.FirstAddr(); });
}

/// Rows of runs that overlap are copied into one more table, whose file numbers are the indices themselves.
void CLineTable::JoinOverlapping() {
    ELF_LINE_TABLE Joined;
    CLineTableWriter Writer(&Joined);
    U32 NumFiles = 0;
    size_t NumKept = 0;
    for (size_t i = 0; i < m_Runs.size();) {
        size_t End = i + 1;
        U32 Last = m_Runs[i].LastAddr;
        for (; End < m_Runs.size() && m_Runs[End].FirstAddr() <= Last; ++End) {
            Last = std::max(Last, m_Runs[End].LastAddr);
        }
        if (End > i + 1) {
            NumFiles = std::max(NumFiles, JoinInto(&Writer, i, End));
        } else {
            m_Runs[NumKept++] = m_Runs[i];
        }
        i = End;
    }
    m_Runs.resize(NumKept);
    for (U32 i = 0; i < NumFiles; ++i) {
        Joined.Files.push_back(i);
    }
    m_Tables.push_back(std::move(Joined));
    AddRuns(m_NumRead);
    SortRuns();
}

/// Rows of one address come in the order of their runs. Returns the highest file number that it has met plus 1.
U32 CLineTable::JoinInto(CLineTableWriter* pWriter, size_t First, size_t End) const {
    using NEXT = std::pair<U32, size_t>; // address and run of a row that comes next in its run
    std::priority_queue<NEXT, std::vector<NEXT>, std::greater<>> Queue;
    std::vector<const ELF_LINE_ROW*> Rows;
    for (size_t i = First; i < End; ++i) {
        Queue.emplace(m_Runs[i].FirstAddr(), i);
        Rows.push_back(m_Runs[i].pFirst);
    }
    U32 NumFiles = 0;
    while (!Queue.empty()) {
        const size_t i = Queue.top().second;
        const ELF_LINE_ROW*& p = Rows[i - First];
        Queue.pop();
        ELF_LINE Line = Get({i, p});
        Line.File = std::min(FileOf(m_Runs[i].Table, Line.File), MAX_LINE_FILE);
        NumFiles = Line.File != MAX_LINE_FILE ? std::max(NumFiles, Line.File + 1) : NumFiles;
        pWriter->Add(Line);
        if (++p != m_Runs[i].End()) {
            Queue.emplace(AddrOf({i, p}), i);
        }
    }
    pWriter->EndRun();
    return NumFiles;
}

void CLineTable::NumberFiles() {
    std::vector<U32> First;
    U32 Num = 0;
    for (const ELF_LINE_TABLE& Table : m_Tables) {
        First.push_back(Num);
        Num += static_cast<U32>(Table.Files.size());
    }
    for (RUN& Run : m_Runs) {
        Run.FirstFile = First[Run.Table];
        Run.NumFiles = static_cast<U32>(m_Tables[Run.Table].Files.size());
    }
}

/// One step for 20 rows or so: the steps of a million rows fit the cache of a core then, and what remains to be looked
/// through is two or three cache lines.
void CLineTable::BuildSteps() {
    constexpr U32 MIN_SHIFT = 3;
    constexpr U32 ROWS_PER_STEP = 12; // at least; the next power of two of addresses
    U64 NumRows = 0;
    for (const RUN& Run : m_Runs) {
        NumRows += Run.NumRows;
    }
    if (m_Runs.empty()) {
        return;
    }
    const U32 Lowest = GetLowestAddr();
    const U32 Span = GetHighestAddr() - Lowest;
    for (m_StepShift = MIN_SHIFT; m_StepShift < 31 && (Span >> m_StepShift) > NumRows / ROWS_PER_STEP + 16;
         ++m_StepShift) {
    }
    m_Steps.reserve((Span >> m_StepShift) + 2);
    for (U32 r = 0; r < m_Runs.size(); ++r) {
        const RUN& Run = m_Runs[r];
        for (const ELF_LINE_ROW* p = Run.pFirst; p != Run.End(); ++p) {
            while (m_Steps.size() <= (Run.Base + p->AddrFromBase() - Lowest) >> m_StepShift) {
                m_Steps.push_back({r, static_cast<U32>(p - Run.pFirst)});
            }
        }
    }
    m_Steps.push_back({static_cast<U32>(m_Runs.size()) - 1, m_Runs.back().NumRows - 1});
}

CLineTable::CURSOR CLineTable::Find(U32 Addr) const {
    if (m_Runs.empty() || Addr > GetHighestAddr()) {
        return {m_Runs.size(), nullptr};
    }
    const U32 Lowest = GetLowestAddr();
    const PLACE* pStep = m_Steps.data() + (Addr > Lowest ? (Addr - Lowest) >> m_StepShift : 0);
    if (pStep[0].Run != pStep[1].Run) {
        const auto It = std::lower_bound(m_Runs.begin() + pStep[0].Run, m_Runs.begin() + pStep[1].Run, Addr,
                                         [](const RUN& Run, U32 Key) { return Run.LastAddr < Key; });
        return {static_cast<size_t>(It - m_Runs.begin()), It->Find(Addr, 0, It->NumRows)};
    }
    const RUN& Run = m_Runs[pStep->Run];
    if (pStep[1].Row - pStep[0].Row > MAX_LOOKED_THROUGH) {
        return {pStep->Run, Run.Find(Addr, pStep[0].Row, pStep[1].Row)};
    }
    const ELF_LINE_ROW* p = Run.pFirst + pStep[0].Row;
    const ELF_LINE_ROW* const pEnd = Run.pFirst + pStep[1].Row;
    while (p != pEnd && Run.Base + p->AddrFromBase() < Addr) {
        ++p;
    }
    return {pStep->Run, p};
}

bool CLineTable::Prev(CURSOR* p) const {
    if (p->p == nullptr || p->p == m_Runs[p->Run].pFirst) {
        if (p->Run == 0) {
            return false;
        }
        --p->Run;
        p->p = m_Runs[p->Run].End() - 1;
        return true;
    }
    --p->p;
    return true;
}
