#include "elf/LineRows.h"

void CLineTableWriter::StartRun(const ELF_LINE& Line) {
    EndRun();
    m_Base = Line.Addr;
    m_Table.Runs.push_back({static_cast<U32>(m_Table.Rows.size()), static_cast<U32>(m_Table.Spans.size()), m_Base});
    m_HasRun = true;
    StartSpan(Line);
}

void CLineTableWriter::StartSpan(const ELF_LINE& Line) {
    if (Line.File >= m_SpanOfFile.size()) {
        m_SpanOfFile.resize(Line.File == MAX_LINE_FILE ? m_SpanOfFile.size() : Line.File + 1);
    }
    const U32 Known = Line.File < m_SpanOfFile.size() ? m_SpanOfFile[Line.File] : 0;
    if (Known > m_Table.Runs.back().FirstSpan) {
        m_Span = Known - 1; // the file was left and comes again
        return;
    }
    m_Span = m_Table.Spans.size();
    m_Table.Spans.push_back({Line.File, Line.Addr, Line.Addr});
    if (Line.File < m_SpanOfFile.size()) {
        m_SpanOfFile[Line.File] = static_cast<U32>(m_Span + 1);
    }
}

void ELF_MoveLines(ELF_LINE_TABLE* pTable, U32 (*pfRelocate)(U32 Addr, bool IsEnd)) {
    ELF_LINE_TABLE Moved;
    CLineTableWriter Writer(&Moved);
    for (size_t r = 0; r < pTable->Runs.size(); ++r) {
        for (size_t i = pTable->Runs[r].First; i < pTable->EndOfRun(r); ++i) {
            ELF_LINE Line = pTable->Get(pTable->Runs[r].Base, pTable->Rows[i]);
            Line.Addr = pfRelocate(Line.Addr, false);
            Writer.Add(Line);
        }
        Writer.EndRun();
    }
    Moved.Files.swap(pTable->Files);
    for (const ELF_RANGE& Range : pTable->Ranges) {
        Moved.Ranges.push_back({pfRelocate(Range.Lo, false), pfRelocate(Range.Hi, true)});
    }
    *pTable = std::move(Moved);
}
