#include "elf/CfiRow.h"

#include "elf/ByteReader.h"
#include "elf/DwarfConst.h"
#include "elf/DwarfError.h"

namespace {

constexpr size_t MAX_REMEMBERED = 64; ///< rows on the stack of DW_CFA_remember_state
constexpr U8 CFA_GNU_ARGS_SIZE = 0x2E;
constexpr U8 CFA_GNU_NEGATIVE_OFFSET = 0x2F;

class CRowEvaluator {
public:
    CRowEvaluator(const CFI_TABLE* pTable, const CFI_FDE& Fde, U32 PC)
        : m_pTable(pTable), m_Cie(pTable->Cies[Fde.Cie]), m_PC(PC), m_Addr(Fde.AddrLo) {}
    bool RunInitial() {
        m_IsInitial = true;
        const bool IsOk = Run(m_Cie.Off, m_Cie.NumBytes);
        m_Initial = m_Row;
        m_IsInitial = false;
        return IsOk;
    }
    bool Run(U64 Off, U32 NumBytes);
    const CFI_ROW& GetRow() const { return m_Row; }

private:
    bool RunOp(U8 Op, U8 Low);
    bool RunCfaOp(U8 Op);
    bool RunRegOp(U8 Op);
    void Set(U64 Reg, CFI_RULE_KIND Kind, I64 Off, U32 Source = 0) {
        if (Reg < NUM_UNWIND_REGS) {
            m_Row.aReg[Reg] = {Kind, Source, static_cast<I32>(Off)};
        }
    }
    void Restore(U64 Reg) {
        if (Reg < NUM_UNWIND_REGS) {
            m_Row.aReg[Reg] = m_Initial.aReg[Reg];
        }
    }
    I64 Factored(I64 Off) const { return static_cast<I64>(static_cast<U64>(Off) * static_cast<U64>(m_Cie.DataAlign)); }
    void Advance(U64 Delta) { m_Addr += Delta * m_Cie.CodeAlign; }

    const CFI_TABLE* m_pTable;
    const CFI_CIE& m_Cie;
    U32 m_PC;
    U64 m_Addr;
    bool m_IsInitial = false;
    CByteReader m_In;
    CFI_ROW m_Row;
    CFI_ROW m_Initial;
    std::vector<CFI_ROW> m_Remembered;
};

bool CRowEvaluator::Run(U64 Off, U32 NumBytes) {
    m_In = CByteReader(m_pTable->pData + Off, NumBytes, m_pTable->IsBig);
    while (!m_In.IsAtEnd()) {
        const U8 Byte = m_In.GetU8();
        if (!RunOp(Byte & 0xC0, Byte & 0x3F) || !m_In.IsOk()) {
            return false;
        }
        if (!m_IsInitial && m_Addr > m_PC) {
            return true; // an advance changes no rule, so the row is still the one at PC
        }
    }
    return true;
}

bool CRowEvaluator::RunOp(U8 Op, U8 Low) {
    switch (Op) {
    case DW_CFA_advance_loc:
        Advance(Low);
        return true;
    case DW_CFA_offset:
        Set(Low, CFI_OFFSET, Factored(static_cast<I64>(m_In.GetULeb())));
        return true;
    case DW_CFA_restore:
        Restore(Low);
        return true;
    default:
        break;
    }
    switch (Low) {
    case DW_CFA_nop:
        return true;
    case DW_CFA_set_loc:
        m_Addr = m_In.GetU32();
        return true;
    case DW_CFA_advance_loc1:
        Advance(m_In.Get(1));
        return true;
    case DW_CFA_advance_loc2:
        Advance(m_In.Get(2));
        return true;
    case DW_CFA_advance_loc4:
        Advance(m_In.Get(4));
        return true;
    case DW_CFA_remember_state:
        m_Remembered.push_back(m_Row);
        return m_Remembered.size() <= MAX_REMEMBERED;
    case DW_CFA_restore_state:
        if (m_Remembered.empty()) {
            return false;
        }
        m_Row = m_Remembered.back();
        m_Remembered.pop_back();
        return true;
    case CFA_GNU_ARGS_SIZE:
        m_In.GetULeb();
        return true;
    default:
        return RunCfaOp(Low) || RunRegOp(Low);
    }
}

bool CRowEvaluator::RunCfaOp(U8 Op) {
    switch (Op) {
    case DW_CFA_def_cfa:
    case DW_CFA_def_cfa_sf: {
        const U32 Reg = static_cast<U32>(m_In.GetULeb());
        const I64 Off = Op == DW_CFA_def_cfa ? static_cast<I64>(m_In.GetULeb()) : Factored(m_In.GetSLeb());
        m_Row.Cfa = {CFI_REG_OFFSET, Reg, static_cast<I32>(Off)};
        return true;
    }
    case DW_CFA_def_cfa_register:
        m_Row.Cfa = {CFI_REG_OFFSET, static_cast<U32>(m_In.GetULeb()), m_Row.Cfa.Off};
        return true;
    case DW_CFA_def_cfa_offset:
        m_Row.Cfa.Off = static_cast<I32>(m_In.GetULeb());
        return true;
    case DW_CFA_def_cfa_offset_sf:
        m_Row.Cfa.Off = static_cast<I32>(Factored(m_In.GetSLeb()));
        return true;
    case DW_CFA_def_cfa_expression:
        m_Row.Cfa = {CFI_VAL_EXPRESSION, 0, 0};
        m_In.Skip(m_In.GetULeb());
        return true;
    default:
        return false;
    }
}

bool CRowEvaluator::RunRegOp(U8 Op) {
    const U64 Reg = m_In.GetULeb();
    switch (Op) {
    case DW_CFA_offset_extended:
        Set(Reg, CFI_OFFSET, Factored(static_cast<I64>(m_In.GetULeb())));
        return true;
    case DW_CFA_offset_extended_sf:
        Set(Reg, CFI_OFFSET, Factored(m_In.GetSLeb()));
        return true;
    case CFA_GNU_NEGATIVE_OFFSET:
        Set(Reg, CFI_OFFSET, -Factored(static_cast<I64>(m_In.GetULeb())));
        return true;
    case DW_CFA_val_offset:
        Set(Reg, CFI_VAL_OFFSET, Factored(static_cast<I64>(m_In.GetULeb())));
        return true;
    case DW_CFA_val_offset_sf:
        Set(Reg, CFI_VAL_OFFSET, Factored(m_In.GetSLeb()));
        return true;
    case DW_CFA_restore_extended:
        Restore(Reg);
        return true;
    case DW_CFA_undefined:
        Set(Reg, CFI_UNDEFINED, 0);
        return true;
    case DW_CFA_same_value:
        Set(Reg, CFI_SAME, 0);
        return true;
    case DW_CFA_register:
        Set(Reg, CFI_REGISTER, 0, static_cast<U32>(m_In.GetULeb()));
        return true;
    case DW_CFA_expression:
    case DW_CFA_val_expression:
        Set(Reg, Op == DW_CFA_expression ? CFI_EXPRESSION : CFI_VAL_EXPRESSION, 0);
        m_In.Skip(m_In.GetULeb());
        return true;
    default:
        return false;
    }
}

} // namespace

bool CFI_EvalRow(const CFI_TABLE* pTable, const CFI_FDE& Fde, U32 PC, CFI_ROW* pRow) {
    CRowEvaluator Evaluator(pTable, Fde, PC);
    if (!Evaluator.RunInitial() || !Evaluator.Run(Fde.Off, Fde.NumBytes)) {
        DWARF_ReportError(DWERR_FRAME_EXEC, "dwarf_get_fde_info_for_all_regs3");
        return false;
    }
    *pRow = Evaluator.GetRow();
    return true;
}
