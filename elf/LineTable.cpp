#include "elf/LineTable.h"

#include <algorithm>

void CLineTableWriter::StartSpan(U32 Addr, U32 File) {
    if (File >= m_SpanOfFile.size()) {
        m_SpanOfFile.resize(File == MAX_LINE_FILE ? m_SpanOfFile.size() : File + 1);
    }
    const U32 Known = File < m_SpanOfFile.size() ? m_SpanOfFile[File] : 0;
    if (Known > m_Table.Runs.back().FirstSpan) {
        m_Span = Known - 1; // the file was left and comes again
        return;
    }
    m_Span = m_Table.Spans.size();
    m_Table.Spans.push_back({File, Addr, Addr});
    if (File < m_SpanOfFile.size()) {
        m_SpanOfFile[File] = static_cast<U32>(m_Span + 1);
    }
}

void CLineTableWriter::EndSpan() { m_Table.Spans[m_Span].Hi = m_Table.Lines.back().Addr; }

namespace {

void _Move(ELF_LINE_TABLE* pTable, U32 (*pfRelocate)(U32 Addr, bool IsEnd)) {
    ELF_LINE_TABLE Moved;
    CLineTableWriter Writer(&Moved);
    for (size_t r = 0; r < pTable->Runs.size(); ++r) {
        const size_t End = r + 1 < pTable->Runs.size() ? pTable->Runs[r + 1].First : pTable->Lines.size();
        for (size_t i = pTable->Runs[r].First; i < End; ++i) {
            const ELF_LINE& Line = pTable->Lines[i];
            Writer.Add(pfRelocate(Line.Addr, false), Line.Line, Line.File(), Line.Col());
        }
        Writer.EndRun();
    }
    for (ELF_RANGE& Range : pTable->Ranges) {
        Range = {pfRelocate(Range.Lo, false), pfRelocate(Range.Hi, true)};
    }
    pTable->Lines.swap(Moved.Lines);
    pTable->Runs.swap(Moved.Runs);
    pTable->Spans.swap(Moved.Spans);
}

} // namespace

void CLineTable::Build(std::vector<ELF_LINE_TABLE> Tables, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd)) {
    *this = CLineTable();
    m_Tables = std::move(Tables);
    m_NumRead = static_cast<U32>(m_Tables.size());
    m_Floor = Floor;
    for (ELF_LINE_TABLE& Table : m_Tables) {
        if (pfRelocate != nullptr) {
            _Move(&Table, pfRelocate);
        }
    }
    CollectRuns();
    JoinOverlapping();
    NumberFiles();
    BuildSteps();
}

void CLineTable::CollectRuns() {
    for (U32 t = 0; t < m_NumRead; ++t) {
        const ELF_LINE_TABLE& Table = m_Tables[t];
        for (size_t r = 0; r < Table.Runs.size(); ++r) {
            const ELF_LINE* pFirst = Table.Lines.data() + Table.Runs[r].First;
            const ELF_LINE* pEnd = Table.Lines.data() + (r + 1 < Table.Runs.size() ? Table.Runs[r + 1].First : Table.Lines.size());
            const ELF_LINE* pKept = std::lower_bound(pFirst, pEnd, m_Floor, [](const ELF_LINE& Line, U32 Key) { return Line.Addr < Key; });
            m_NumSkipped += static_cast<U32>(pKept - pFirst);
            if (pKept != pEnd) {
                m_Runs.push_back({pKept, pEnd, t, 0, 0});
            }
        }
    }
    std::stable_sort(m_Runs.begin(), m_Runs.end(), [](const RUN& a, const RUN& b) { return a.pFirst->Addr < b.pFirst->Addr; });
}

/// Rows of runs that overlap are copied into one more table, whose file numbers are the indices themselves.
void CLineTable::JoinOverlapping() {
    ELF_LINE_TABLE Joined;
    std::vector<RUN> Runs;
    std::vector<std::pair<size_t, size_t>> Copied; // index into Runs and the first row of it
    for (size_t i = 0; i < m_Runs.size();) {
        size_t End = i + 1;
        U32 Last = m_Runs[i].pEnd[-1].Addr;
        for (; End < m_Runs.size() && m_Runs[End].pFirst->Addr <= Last; ++End) {
            Last = std::max(Last, m_Runs[End].pEnd[-1].Addr);
        }
        Runs.push_back(m_Runs[i]);
        if (End > i + 1) {
            const size_t First = Joined.Lines.size();
            Copied.emplace_back(Runs.size() - 1, First);
            for (size_t k = i; k < End; ++k) {
                for (const ELF_LINE* p = m_Runs[k].pFirst; p != m_Runs[k].pEnd; ++p) {
                    const U32 File = std::min(FileOf(m_Runs[k].Table, p->File()), MAX_LINE_FILE);
                    Joined.Lines.push_back({p->Addr, p->Line, ELF_LINE::Pack(File, p->Col())});
                }
            }
            std::stable_sort(Joined.Lines.begin() + static_cast<I64>(First), Joined.Lines.end(),
                             [](const ELF_LINE& a, const ELF_LINE& b) { return a.Addr < b.Addr; });
        }
        i = End;
    }
    U32 NumFiles = 0;
    for (const ELF_LINE& Line : Joined.Lines) {
        NumFiles = Line.File() != MAX_LINE_FILE ? std::max(NumFiles, Line.File() + 1) : NumFiles;
    }
    for (U32 i = 0; i < NumFiles; ++i) {
        Joined.Files.push_back(i);
    }
    for (size_t c = 0; c < Copied.size(); ++c) {
        const size_t End = c + 1 < Copied.size() ? Copied[c + 1].second : Joined.Lines.size();
        Runs[Copied[c].first] = {Joined.Lines.data() + Copied[c].second, Joined.Lines.data() + End, m_NumRead, 0, 0};
    }
    m_Runs.swap(Runs);
    m_Tables.push_back(std::move(Joined));
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

/// About one step for every three rows.
void CLineTable::BuildSteps() {
    constexpr U32 MIN_SHIFT = 3;
    U64 NumRows = 0;
    for (const RUN& Run : m_Runs) {
        NumRows += static_cast<U64>(Run.pEnd - Run.pFirst);
    }
    if (m_Runs.empty()) {
        return;
    }
    const U32 Lowest = GetLowestAddr();
    const U32 Span = GetHighestAddr() - Lowest;
    for (m_StepShift = MIN_SHIFT; m_StepShift < 31 && (Span >> m_StepShift) > NumRows / 3 + 16; ++m_StepShift) {
    }
    m_Steps.reserve((Span >> m_StepShift) + 1);
    for (U32 r = 0; r < m_Runs.size(); ++r) {
        for (const ELF_LINE* p = m_Runs[r].pFirst; p != m_Runs[r].pEnd; ++p) {
            while (m_Steps.size() <= (p->Addr - Lowest) >> m_StepShift) {
                m_Steps.push_back({r, static_cast<U32>(p - m_Runs[r].pFirst)});
            }
        }
    }
}

CLineTable::CURSOR CLineTable::Find(U32 Addr) const {
    if (m_Runs.empty() || Addr > GetHighestAddr()) {
        return {m_Runs.size(), nullptr};
    }
    const U32 Lowest = GetLowestAddr();
    const PLACE Place = Addr > Lowest ? m_Steps[(Addr - Lowest) >> m_StepShift] : PLACE{0, 0};
    const RUN* pRun = &m_Runs[Place.Run];
    const ELF_LINE* p = pRun->pFirst + Place.Row;
    constexpr int MAX_STEPS = 32; // where rows lie dense a search is faster
    for (int i = 0; i < MAX_STEPS; ++i) {
        if (p->Addr >= Addr) {
            return {static_cast<size_t>(pRun - m_Runs.data()), p};
        }
        if (++p == pRun->pEnd) {
            ++pRun;
            p = pRun->pFirst;
        }
    }
    const auto It = std::lower_bound(m_Runs.begin() + (pRun - m_Runs.data()), m_Runs.end(), Addr,
                                     [](const RUN& Run, U32 Key) { return Run.pEnd[-1].Addr < Key; });
    p = std::lower_bound(It->pFirst, It->pEnd, Addr, [](const ELF_LINE& Line, U32 Key) { return Line.Addr < Key; });
    return {static_cast<size_t>(It - m_Runs.begin()), p};
}

bool CLineTable::Prev(CURSOR* p) const {
    if (p->p == nullptr || p->p == m_Runs[p->Run].pFirst) {
        if (p->Run == 0) {
            return false;
        }
        --p->Run;
        p->p = m_Runs[p->Run].pEnd - 1;
        return true;
    }
    --p->p;
    return true;
}
