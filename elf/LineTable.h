#pragma once

// Rows of line tables, by address. They stay where the reader of the line programs put them: a program file has a
// million and more, and what is copied or indexed costs more than all that is ever asked.

#include "base/Types.h"

#include <string>
#include <vector>

struct ELF_RANGE {
    U32 Lo;
    U32 Hi; ///< exclusive
};

constexpr U32 MAX_LINE_FILE = (1 << 18) - 1; ///< stands for no file
constexpr U32 MAX_LINE_COL = (1 << 14) - 1;

struct ELF_LINE {
    U32 Addr;
    U32 Line;
    // File and column in one. Bit fields would be read before they are written, and memory that is new to the process
    // would be given to it twice.
    U32 FileAndCol;
    static U32 Pack(U32 File, U32 Col) { return File | Col << 18; }
    U32 File() const { return FileAndCol & MAX_LINE_FILE; } ///< number in the table
    U32 Col() const { return FileAndCol >> 18; }            ///< at most MAX_LINE_COL
};
static_assert(sizeof(ELF_LINE) == 12);

/// Rows with ascending addresses.
struct ELF_LINE_RUN {
    U32 First; ///< index of the first row; the run ends where the next one begins
    U32 FirstSpan;
};

/// Lowest and highest address of a file's rows in one run.
struct ELF_LINE_SPAN {
    U32 File;
    U32 Lo;
    U32 Hi; ///< inclusive
};

/// One line table with the code of all units that use it.
struct ELF_LINE_TABLE {
    std::vector<ELF_LINE> Lines;
    std::vector<ELF_LINE_RUN> Runs;
    std::vector<ELF_LINE_SPAN> Spans;
    std::vector<U32> Files; ///< number in the table to index into ELF_LINES::SrcFiles; 0xFFFFFFFF for none
    std::vector<ELF_RANGE> Ranges;
};

struct ELF_LINES {
    std::vector<std::string> SrcFiles; ///< paths as recorded by the compiler; also those that no row names
    std::vector<ELF_LINE_TABLE> Tables;
};

/// Appends rows to a table and keeps its runs and spans. A new run begins where addresses go back, as in what is left of
/// dropped sections.
class CLineTableWriter {
public:
    explicit CLineTableWriter(ELF_LINE_TABLE* pTable) : m_Table(*pTable) {}
    void Add(U32 Addr, U32 Line, U32 File, U32 Col) {
        if (!m_HasRun || Addr < m_Table.Lines.back().Addr) {
            EndRun();
            m_Table.Runs.push_back({static_cast<U32>(m_Table.Lines.size()), static_cast<U32>(m_Table.Spans.size())});
            m_HasRun = true;
            StartSpan(Addr, File);
        } else if (File != m_Table.Lines.back().File()) {
            EndSpan();
            StartSpan(Addr, File);
        }
        m_Table.Lines.push_back({Addr, Line, ELF_LINE::Pack(File, Col)});
    }
    /// The row before the one to come, null at the start of a run.
    const ELF_LINE* GetLast() const { return m_HasRun ? &m_Table.Lines.back() : nullptr; }
    /// To be called at the end, too.
    void EndRun() {
        if (m_HasRun) {
            EndSpan();
        }
        m_HasRun = false;
    }

private:
    void StartSpan(U32 Addr, U32 File);
    void EndSpan();
    ELF_LINE_TABLE& m_Table;
    bool m_HasRun = false;
    size_t m_Span = 0; ///< index of the current one
    std::vector<U32> m_SpanOfFile; ///< index of the file's last span plus 1
};

/// All rows of all tables by address, those of one address in the order in which they were recorded.
class CLineTable {
public:
    struct CURSOR {
        size_t Run = 0;
        const ELF_LINE* p = nullptr; ///< null behind the last row
    };

    /// Takes the tables. Rows below Floor are left out; pfRelocate moves addresses, null where they stay.
    void Build(std::vector<ELF_LINE_TABLE> Tables, U32 Floor, U32 (*pfRelocate)(U32 Addr, bool IsEnd));
    bool IsEmpty() const { return m_Runs.empty(); }
    /// First row at or behind the address.
    CURSOR Find(U32 Addr) const;
    bool Next(CURSOR* p) const {
        if (p->p != nullptr && ++p->p == m_Runs[p->Run].pEnd) {
            ++p->Run;
            p->p = p->Run < m_Runs.size() ? m_Runs[p->Run].pFirst : nullptr;
        }
        return p->p != nullptr;
    }
    bool Prev(CURSOR* p) const; ///< also from behind the last row
    /// Number of the row's file if the files of all tables are counted on, see GetTables(); 0xFFFFFFFF for none.
    U32 SlotOf(const CURSOR& Cursor) const {
        const RUN& Run = m_Runs[Cursor.Run];
        return Cursor.p->File() < Run.NumFiles ? Run.FirstFile + Cursor.p->File() : 0xFFFFFFFF;
    }
    U32 GetNumSkipped() const { return m_NumSkipped; }
    U32 GetLowestAddr() const { return m_Runs.empty() ? 0xFFFFFFFF : m_Runs.front().pFirst->Addr; }
    U32 GetHighestAddr() const { return m_Runs.empty() ? 0 : m_Runs.back().pEnd[-1].Addr; }
    const std::vector<ELF_LINE_TABLE>& GetTables() const { return m_Tables; }
    /// Calls Visit(File, Lo, Hi) with the lowest and highest address of each file in each run.
    template <typename VISIT>
    void ForEachSpan(VISIT Visit) const {
        for (U32 i = 0; i < m_NumRead; ++i) {
            for (const ELF_LINE_SPAN& Span : m_Tables[i].Spans) {
                if (Span.Hi >= m_Floor && FileOf(i, Span.File) != 0xFFFFFFFF) {
                    Visit(FileOf(i, Span.File), Span.Lo > m_Floor ? Span.Lo : m_Floor, Span.Hi);
                }
            }
        }
    }
    /// Calls Visit(row) for all rows of a file, in no particular order.
    template <typename VISIT>
    void ForEachRowOf(U32 File, VISIT Visit) const {
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
        const ELF_LINE* pFirst;
        const ELF_LINE* pEnd;
        U32 Table;
        U32 FirstFile; ///< slot of the table's first file
        U32 NumFiles;
    };
    U32 FileOf(U32 Table, U32 Number) const {
        const std::vector<U32>& Files = m_Tables[Table].Files;
        return Number < Files.size() ? Files[Number] : 0xFFFFFFFF;
    }
    template <typename VISIT>
    void VisitRowsOf(const ELF_LINE_TABLE& Table, U32 Number, VISIT Visit) const {
        for (size_t r = 0; r < Table.Runs.size(); ++r) {
            const size_t EndSpan = r + 1 < Table.Runs.size() ? Table.Runs[r + 1].FirstSpan : Table.Spans.size();
            bool HasFile = false;
            for (size_t s = Table.Runs[r].FirstSpan; s < EndSpan && !HasFile; ++s) {
                HasFile = Table.Spans[s].File == Number && Table.Spans[s].Hi >= m_Floor;
            }
            const size_t End = r + 1 < Table.Runs.size() ? Table.Runs[r + 1].First : Table.Lines.size();
            for (size_t i = Table.Runs[r].First; HasFile && i < End; ++i) {
                if (Table.Lines[i].File() == Number && Table.Lines[i].Addr >= m_Floor) {
                    Visit(Table.Lines[i]);
                }
            }
        }
    }
    /// A place among the rows.
    struct PLACE {
        U32 Run;
        U32 Row; ///< from the run's first
    };
    void CollectRuns();
    void JoinOverlapping();
    void NumberFiles();
    void BuildSteps();

    std::vector<ELF_LINE_TABLE> m_Tables; ///< those that were read, then one of the rows of overlapping runs
    U32 m_NumRead = 0;
    std::vector<RUN> m_Runs; ///< by address; they don't overlap
    std::vector<PLACE> m_Steps; ///< first row at or behind every (1 << m_StepShift)th address from the lowest on
    U32 m_StepShift = 0;
    U32 m_Floor = 0;
    U32 m_NumSkipped = 0;
};
