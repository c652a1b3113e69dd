#pragma once

// The state machine of line number programs (DWARF 5, section 6.2). A template over what takes the rows, so that the
// one that reads a whole program file's pays for nothing else.

#include "elf/DwarfConst.h"
#include "elf/DwarfLineHeader.h"

/// One row of the line table as the program gives it.
struct DWARF_LINE_ROW {
    U32 Addr = 0;
    U64 File = 1; ///< number of the header's table; may be any
    U32 Line = 1;
    U32 Col = 0;
    bool IsStmt = true;
};

/// SINK has two functions: bool OnRow(const DWARF_LINE_ROW&), which may return false to end the run, and
/// void OnSequenceEnd(U32 Addr) with the address behind the last row of a sequence.
template <typename SINK> class CLineProgram {
public:
    /// Files that the program itself defines are added to the header.
    CLineProgram(DWARF_LINE_HEADER* pHeader, SINK* pSink) : m_Header(*pHeader), m_Sink(*pSink), m_R(pHeader->Program) {}

    /// False if the program is damaged or the sink has ended it.
    bool Run() {
        Reset();
        while (!m_R.IsAtEnd()) {
            const U8 Op = m_R.GetU8();
            bool IsOk = true;
            if (Op >= m_Header.OpcodeBase) {
                const U32 Adjusted = Op - m_Header.OpcodeBase;
                Advance(Adjusted / m_Header.LineRange);
                m_Row.Line += static_cast<U32>(m_Header.LineBase + static_cast<int>(Adjusted % m_Header.LineRange));
                IsOk = m_Sink.OnRow(m_Row);
            } else if (Op == DW_LNS_copy) {
                IsOk = m_Sink.OnRow(m_Row);
            } else if (Op == 0) {
                IsOk = RunExtended();
            } else {
                RunStandard(Op);
            }
            if (!IsOk || !m_R.IsOk()) {
                return false;
            }
        }
        return m_R.IsOk();
    }

private:
    void Reset() {
        m_Row = DWARF_LINE_ROW();
        m_Row.IsStmt = m_Header.DefaultIsStmt;
    }
    void Advance(U64 NumOps) { m_Row.Addr += static_cast<U32>(NumOps) * m_Header.MinInstLength; }

    bool RunExtended() {
        const U64 Length = m_R.GetULeb();
        CByteReader Op(m_R.GetPtr(), m_R.GetLeft() < Length ? 0 : Length, m_R.IsBig());
        if (!m_R.Skip(Length) || Length == 0) {
            return m_R.IsOk();
        }
        switch (Op.GetU8()) {
        case DW_LNE_end_sequence:
            m_Sink.OnSequenceEnd(m_Row.Addr);
            Reset();
            return true;
        case DW_LNE_set_address:
            m_Row.Addr = static_cast<U32>(Op.Get(static_cast<U32>(Length - 1)));
            return true; // of an unknown size: 0, where no code is
        case DW_LNE_define_file: {
            const std::string_view sName = Op.GetString();
            m_Header.Files.push_back({sName, Op.GetULeb()});
            return Op.IsOk();
        }
        default:
            return true;
        }
    }

    void RunStandard(U8 Op) {
        switch (Op) {
        case DW_LNS_advance_pc:
            Advance(m_R.GetULeb());
            break;
        case DW_LNS_advance_line:
            m_Row.Line += static_cast<U32>(m_R.GetSLeb());
            break;
        case DW_LNS_set_file:
            m_Row.File = m_R.GetULeb();
            break;
        case DW_LNS_set_column:
            m_Row.Col = static_cast<U32>(m_R.GetULeb());
            break;
        case DW_LNS_negate_stmt:
            m_Row.IsStmt = !m_Row.IsStmt;
            break;
        case DW_LNS_const_add_pc:
            Advance((255 - m_Header.OpcodeBase) / m_Header.LineRange);
            break;
        case DW_LNS_fixed_advance_pc:
            m_Row.Addr += m_R.GetU16();
            break;
        case DW_LNS_set_basic_block:
        case DW_LNS_set_prologue_end:
        case DW_LNS_set_epilogue_begin:
            break;
        case DW_LNS_set_isa:
            m_R.GetULeb();
            break;
        default:
            for (U8 Left = m_Header.pOpcodeLengths[Op - 1]; Left > 0; --Left) {
                m_R.GetULeb();
            }
            break;
        }
    }

    DWARF_LINE_HEADER& m_Header;
    SINK& m_Sink;
    CByteReader m_R;
    DWARF_LINE_ROW m_Row;
};
