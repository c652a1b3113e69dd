#pragma once

// All rows of all line tables, by address. They stay where the reader of the line programs put them: what is copied or
// indexed costs more than all that is ever asked.

#include "elf/LineRows.h"

/// All rows of all tables by address, those of one address in the order in which they were recorded.
class CLineTable {
public:
    struct CURSOR {
        size_t Run = 0;
        const ELF_LINE_ROW* p = nullptr; ///< null behind the last row
    };

    /// Takes the tables. Rows below Floor are left out; pfRelocate moves addresses, null where they stay.
    void Build(std::vector<ELF_LINE_TABLE> Tables, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd));
    bool IsEmpty() const { return m_Runs.empty(); }
    /// First row at or behind the address.
    CURSOR Find(U32 Addr) const;
    bool Next(CURSOR* p) const {
        if (p->p != nullptr && ++p->p == m_Runs[p->Run].End()) {
            ++p->Run;
            p->p = p->Run < m_Runs.size() ? m_Runs[p->Run].pFirst : nullptr;
        }
        return p->p != nullptr;
    }
    bool Prev(CURSOR* p) const; ///< also from behind the last row
    U32 AddrOf(const CURSOR& Cursor) const { return m_Runs[Cursor.Run].Base + Cursor.p->AddrFromBase(); }
    ELF_LINE Get(const CURSOR& Cursor) const {
        const RUN& Run = m_Runs[Cursor.Run];
        return m_Tables[Run.Table].Get(Run.Base, *Cursor.p);
    }
    /// Number of a file of the row's table if the files of all tables are counted on, see GetTables(); 0xFFFFFFFF for
    /// none.
    U32 SlotOf(const CURSOR& Cursor, U32 File) const {
        const RUN& Run = m_Runs[Cursor.Run];
        return File < Run.NumFiles ? Run.FirstFile + File : 0xFFFFFFFF;
    }
    U32 GetNumSkipped() const { return m_NumSkipped; }
    U32 GetLowestAddr() const { return m_Runs.empty() ? 0xFFFFFFFF : m_Runs.front().FirstAddr(); }
    U32 GetHighestAddr() const { return m_Runs.empty() ? 0 : m_Runs.back().LastAddr; }
    const std::vector<ELF_LINE_TABLE>& GetTables() const { return m_Tables; }
    /// Calls Visit(File, Lo, Hi) with the lowest and highest address of each file in each run.
    template <typename VISIT> void ForEachSpan(VISIT Visit) const {
        for (U32 i = 0; i < m_NumRead; ++i) {
            for (const ELF_LINE_SPAN& Span : m_Tables[i].Spans) {
                if (Span.Hi >= m_Floor && FileOf(i, Span.File) != 0xFFFFFFFF) {
                    Visit(FileOf(i, Span.File), Span.Lo > m_Floor ? Span.Lo : m_Floor, Span.Hi);
                }
            }
        }
    }
    /// Calls Visit(line) for all rows of a file, in no particular order.
    template <typename VISIT> void ForEachRowOf(U32 File, VISIT Visit) const {
        for (U32 i = 0; i < m_NumRead; ++i) {
            const ELF_LINE_TABLE& Table = m_Tables[i];
            for (U32 Number = 0; Number < Table.Files.size(); ++Number) {
                if (Table.Files[Number] == File) {
                    VisitRowsOf(Table, Number, Visit);
                }
            }
        }
    }

private:
    struct RUN {
        const ELF_LINE_ROW* pFirst;
        U32 NumRows;
        U32 Base;
        U32 LastAddr;
        U32 Table;
        U32 FirstFile; ///< slot of the table's first file
        U32 NumFiles;
        const ELF_LINE_ROW* End() const { return pFirst + NumRows; }
        U32 FirstAddr() const { return Base + pFirst->AddrFromBase(); }
        /// First row at or behind the address among the rows [First, End); Addr is not behind LastAddr.
        const ELF_LINE_ROW* Find(U32 Addr, U32 First, U32 End) const;
    };
    static_assert(sizeof(RUN) == 32);
    U32 FileOf(U32 Table, U32 Number) const {
        const std::vector<U32>& Files = m_Tables[Table].Files;
        return Number < Files.size() ? Files[Number] : 0xFFFFFFFF;
    }
    template <typename VISIT> void VisitRowsOf(const ELF_LINE_TABLE& Table, U32 Number, VISIT Visit) const {
        for (size_t r = 0; r < Table.Runs.size(); ++r) {
            const size_t EndSpan = r + 1 < Table.Runs.size() ? Table.Runs[r + 1].FirstSpan : Table.Spans.size();
            bool HasFile = false;
            for (size_t s = Table.Runs[r].FirstSpan; s < EndSpan && !HasFile; ++s) {
                HasFile = Table.Spans[s].File == Number && Table.Spans[s].Hi >= m_Floor;
            }
            const size_t End = HasFile ? Table.EndOfRun(r) : 0;
            for (size_t i = Table.Runs[r].First; i < End; ++i) {
                const ELF_LINE Line = Table.Get(Table.Runs[r].Base, Table.Rows[i]);
                if (Line.File == Number && Line.Addr >= m_Floor) {
                    Visit(Line);
                }
            }
        }
    }
    /// A place among the rows.
    struct PLACE {
        U32 Run;
        U32 Row; ///< from the run's first
    };
    void AddRuns(U32 Table);
    void SortRuns();
    void JoinOverlapping();
    U32 JoinInto(CLineTableWriter* pWriter, size_t First, size_t End) const;
    void NumberFiles();
    void BuildSteps();

    std::vector<ELF_LINE_TABLE> m_Tables; ///< those that were read, then one of the rows of overlapping runs
    U32 m_NumRead = 0;
    std::vector<RUN> m_Runs; ///< by address; they don't overlap
    std::vector<PLACE>
        m_Steps; ///< first row at or behind every (1 << m_StepShift)th address from the lowest on, then the last row
    U32 m_StepShift = 0;
    U32 m_Floor = 0;
    U32 m_NumSkipped = 0;
};
