#pragma once

// Rows of line tables as the reader of the line programs leaves them. A program file has a million and more, so that
// what a row takes is what opening waits for: memory that is new to the process. Eight bytes are enough for nearly all.

#include "base/Types.h"

#include <string>
#include <vector>

struct ELF_RANGE {
    U32 Lo;
    U32 Hi; ///< exclusive
};

constexpr U32 MAX_LINE_FILE = (1 << 18) - 1; ///< stands for no file
constexpr U32 MAX_LINE_COL = (1 << 14) - 1;

/// A row as it is asked for.
struct ELF_LINE {
    U32 Addr;
    U32 Line;
    U32 File; ///< number in the table
    U32 Col;  ///< at most MAX_LINE_COL
    bool operator==(const ELF_LINE& Other) const = default;
};

/// A row as it is kept: two words, which are written whole. Bit fields would be read before they are written, and
/// memory that is new to the process would be given to it twice.
struct ELF_LINE_ROW {
    U32 AddrAndCol;  ///< bits 31 to 16 the address from the run's base on, 15 IS_WIDE, 13 to 0 the column
    U32 LineAndFile; ///< bits 31 to 20 the file, 19 to 0 the line; of a wide row an index into ELF_LINE_TABLE::Wide
    static constexpr U32 MAX_ADDR = 0xFFFF;
    static constexpr U32 MAX_LINE = (1 << 20) - 1;
    static constexpr U32 MAX_FILE = (1 << 12) - 1;
    static constexpr U32 IS_WIDE = 1 << 15;
    U32 AddrFromBase() const { return AddrAndCol >> 16; }
    U32 Col() const { return AddrAndCol & MAX_LINE_COL; }
    bool IsWide() const { return (AddrAndCol & IS_WIDE) != 0; }
};
static_assert(sizeof(ELF_LINE_ROW) == 8);

/// Line and file of a row that has no room for them.
struct ELF_WIDE_LINE {
    U32 Line;
    U32 File;
};

/// Rows with ascending addresses, at most ELF_LINE_ROW::MAX_ADDR from the first to the last.
struct ELF_LINE_RUN {
    U32 First; ///< index of the first row; the run ends where the next one begins
    U32 FirstSpan;
    U32 Base; ///< address of the first row
};

/// Lowest and highest address of a file's rows in one run.
struct ELF_LINE_SPAN {
    U32 File;
    U32 Lo;
    U32 Hi; ///< inclusive
};

/// One line table with the code of all units that use it.
struct ELF_LINE_TABLE {
    std::vector<ELF_LINE_ROW> Rows;
    std::vector<ELF_WIDE_LINE> Wide;
    std::vector<ELF_LINE_RUN> Runs;
    std::vector<ELF_LINE_SPAN> Spans;
    std::vector<U32> Files; ///< number in the table to index into ELF_LINES::SrcFiles; 0xFFFFFFFF for none
    std::vector<ELF_RANGE> Ranges;

    ELF_LINE Get(U32 Base, const ELF_LINE_ROW& Row) const {
        const ELF_WIDE_LINE Line = Row.IsWide()
                                       ? Wide[Row.LineAndFile]
                                       : ELF_WIDE_LINE{Row.LineAndFile & ELF_LINE_ROW::MAX_LINE, Row.LineAndFile >> 20};
        return {Base + Row.AddrFromBase(), Line.Line, Line.File, Row.Col()};
    }
    size_t EndOfRun(size_t Run) const { return Run + 1 < Runs.size() ? Runs[Run + 1].First : Rows.size(); }
};

struct ELF_LINES {
    std::vector<std::string> SrcFiles; ///< paths as recorded by the compiler; also those that no row names
    std::vector<ELF_LINE_TABLE> Tables;
};

/// Appends rows to a table and keeps its runs and spans. A new run begins where addresses go back, as in what is left
/// of dropped sections, and where they leave the reach of a row.
class CLineTableWriter {
public:
    explicit CLineTableWriter(ELF_LINE_TABLE* pTable) : m_Table(*pTable) {}
    void Add(const ELF_LINE& Line) {
        if (!m_HasRun || Line.Addr < m_Last.Addr || Line.Addr - m_Base > ELF_LINE_ROW::MAX_ADDR) {
            StartRun(Line);
        } else if (Line.File != m_Last.File) {
            EndSpan();
            StartSpan(Line);
        }
        const U32 AddrAndCol = (Line.Addr - m_Base) << 16 | Line.Col;
        if (Line.Line <= ELF_LINE_ROW::MAX_LINE && Line.File <= ELF_LINE_ROW::MAX_FILE) {
            m_Table.Rows.push_back({AddrAndCol, Line.File << 20 | Line.Line});
        } else {
            m_Table.Rows.push_back({AddrAndCol | ELF_LINE_ROW::IS_WIDE, static_cast<U32>(m_Table.Wide.size())});
            m_Table.Wide.push_back({Line.Line, Line.File});
        }
        m_Last = Line;
    }
    /// The row before the one to come, null behind the end of a run.
    const ELF_LINE* GetLast() const { return m_HasRun ? &m_Last : nullptr; }
    /// To be called at the end, too.
    void EndRun() {
        if (m_HasRun) {
            EndSpan();
        }
        m_HasRun = false;
    }

private:
    void StartRun(const ELF_LINE& Line);
    void StartSpan(const ELF_LINE& Line);
    void EndSpan() { m_Table.Spans[m_Span].Hi = m_Last.Addr; }
    ELF_LINE_TABLE& m_Table;
    bool m_HasRun = false;
    U32 m_Base = 0;
    ELF_LINE m_Last{};
    size_t m_Span = 0;             ///< index of the current one
    std::vector<U32> m_SpanOfFile; ///< index of the file's last span plus 1
};

/// Moves all addresses of a table.
void ELF_MoveLines(ELF_LINE_TABLE* pTable, U32 (*pfRelocate)(U32 Addr, bool IsEnd));
