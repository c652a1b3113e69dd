#include "elf/DwarfConst.h"
#include "elf/DwarfExpr.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sstream>

// A machine of known content: register n holds 0x1000 * n, memory holds its address in each aligned word, frame base
// 0x20001000, CFA 0x20001020. Types at unit offset 1 to 4: int32, uint64, float, int8.

namespace {

int ReadReg(void*, U32 Reg, U64* pValue) {
    *pValue = 0x1000ULL * Reg;
    return Reg < 32 ? 0 : -1;
}

int ReadMem(void*, U32 Addr, U32 NumBytes, U8* pBuf) {
    for (U32 i = 0; i < NumBytes; ++i) {
        const U32 Word = (Addr + i) & ~3u;
        pBuf[i] = static_cast<U8>(Word >> (8 * ((Addr + i) & 3)));
    }
    return Addr >= 0x1000 ? 0 : -1;
}

template <U32 Value> int Give(void*, U32* pAddr) {
    *pAddr = Value;
    return 0;
}

int Indexed(void*, U64 Idx, U32* pAddr) {
    *pAddr = 0x08000000 + static_cast<U32>(Idx) * 16;
    return Idx < 4 ? 0 : -1;
}

int Entry(void*, const U8* pExpr, U32 NumBytes, U64* pValue) {
    *pValue = 0x77;
    return NumBytes == 1 && *pExpr == DW_OP_reg0 ? ELF_EXPR_OK : ELF_EXPR_OPTIMIZED_OUT;
}

const U8 aCalled[] = {DW_OP_lit7};
const U8 aEndless[] = {DW_OP_call2, 2, 0};

int MakeExpr(void*, U64 Off, bool, const U8** ppExpr, U32* pNumBytes) {
    *ppExpr = Off == 1 ? aCalled : aEndless;
    *pNumBytes = Off == 1 ? sizeof(aCalled) : sizeof(aEndless);
    return 0;
}

int Type(void*, U64 Off, ELF_EXPR_TYPE* pType) {
    static constexpr ELF_EXPR_TYPE aType[] = {
        {4, DW_ATE_signed}, {8, DW_ATE_unsigned}, {4, DW_ATE_float}, {1, DW_ATE_signed_char}};
    if (Off < 1 || Off > 4) {
        return -1;
    }
    *pType = aType[Off - 1];
    return 0;
}

ELF_EXPR_ENV GetEnv() {
    ELF_EXPR_ENV Env;
    Env.pfReadReg = ReadReg;
    Env.pfReadMem = ReadMem;
    Env.pfGetFrameBase = Give<0x20001000>;
    Env.pfGetCfa = Give<0x20001020>;
    Env.pfGetObjectAddr = Give<0x20005000>;
    Env.pfGetAddr = Indexed;
    Env.pfGetEntryValue = Entry;
    Env.pfGetExpr = MakeExpr;
    Env.pfGetType = Type;
    return Env;
}

std::string Text(const ELF_EXPR_RESULT& Result) {
    std::ostringstream Out;
    Out << std::hex << ELF_ExprStatusText(Result.Status);
    for (const ELF_EXPR_PIECE& Piece : Result.Pieces) {
        Out << (&Piece == &Result.Pieces[0] ? "" : " | ");
        switch (Piece.Kind) {
        case ELF_EXPR_PIECE_MEM:
            Out << "mem " << Piece.Addr;
            break;
        case ELF_EXPR_PIECE_REG:
            Out << "reg " << Piece.Reg;
            break;
        case ELF_EXPR_PIECE_VALUE:
            Out << "value " << Piece.Value;
            break;
        case ELF_EXPR_PIECE_BYTES:
            Out << "bytes";
            for (U32 i = 0; i < Piece.NumBytes; ++i) {
                Out << " " << static_cast<int>(Piece.pData[i]);
            }
            break;
        case ELF_EXPR_PIECE_IMPLICIT_PTR:
            Out << "pointer " << Piece.Value << (Piece.Off < 0 ? "-" : "+") << std::abs(Piece.Off);
            break;
        default:
            Out << "none";
            break;
        }
        if (Piece.BitSize != 0) {
            Out << " bits " << Piece.BitSize << "@" << Piece.BitOffset;
        }
    }
    return Out.str();
}

struct EXPR_CASE {
    std::vector<U8> Expr;
    const char* sResult;
};

constexpr const char* GONE = "optimized out";
constexpr const char* UNKNOWN = "not available";
constexpr const char* BAD = "invalid location expression";

void Check(const std::vector<EXPR_CASE>& Cases) {
    const ELF_EXPR_ENV Env = GetEnv();
    for (size_t i = 0; i < Cases.size(); ++i) {
        const std::vector<U8>& Expr = Cases[i].Expr;
        EXPECT_EQ(Text(ELF_EvalExpr(Expr.data(), static_cast<U32>(Expr.size()), Env)), Cases[i].sResult)
            << "case " << i;
    }
}

} // namespace

TEST(DwarfExpr, PlacesOfObjects) {
    Check({
        {{}, GONE},
        {{DW_OP_nop}, GONE},
        {{DW_OP_addr, 0x78, 0x56, 0x34, 0x12}, "mem 12345678"},
        {{DW_OP_reg5}, "reg 5"},
        {{DW_OP_regx, 0x80, 0x02}, "reg 100"},
        {{DW_OP_breg3, 0x7C}, "mem 2ffc"},
        {{DW_OP_bregx, 0x02, 0x04}, "mem 2004"},
        {{DW_OP_fbreg, 0x70}, "mem 20000ff0"},
        {{DW_OP_call_frame_cfa, DW_OP_const1s, 0xF8, DW_OP_plus}, "mem 20001018"},
        {{DW_OP_addrx, 2}, "mem 8000020"},
        {{DW_OP_push_object_address, DW_OP_plus_uconst, 8}, "mem 20005008"},
        {{DW_OP_fbreg, 0x10, DW_OP_deref, DW_OP_plus_uconst, 4}, "mem 20001014"},
        {{DW_OP_lit3, DW_OP_stack_value}, "value 3"},
        {{DW_OP_breg1, 0x00, DW_OP_lit4, DW_OP_minus, DW_OP_stack_value}, "value ffc"},
        {{DW_OP_implicit_value, 3, 1, 2, 0xFF}, "bytes 1 2 ff"},
        {{DW_OP_implicit_pointer, 0x10, 0, 0, 0, 0x7C}, "pointer 10-4"},
        {{DW_OP_entry_value, 1, DW_OP_reg0, DW_OP_stack_value}, "value 77"},
        {{DW_OP_entry_value, 1, DW_OP_reg1, DW_OP_stack_value}, GONE},
        {{DW_OP_breg31, 0, DW_OP_call2, 1, 0, DW_OP_plus}, "mem 1f007"},
    });
}

TEST(DwarfExpr, Pieces) {
    Check({
        {{DW_OP_reg0, DW_OP_piece, 4, DW_OP_reg1, DW_OP_piece, 4}, "reg 0 bits 20@0 | reg 1 bits 20@0"},
        {{DW_OP_piece, 4, DW_OP_fbreg, 0x04, DW_OP_piece, 2}, "none bits 20@0 | mem 20001004 bits 10@0"},
        {{DW_OP_piece, 4, DW_OP_piece, 4}, GONE},
        {{DW_OP_reg2, DW_OP_bit_piece, 5, 3, DW_OP_lit1, DW_OP_stack_value, DW_OP_bit_piece, 3, 0},
         "reg 2 bits 5@3 | value 1 bits 3@0"},
        {{DW_OP_reg0, DW_OP_piece, 4, DW_OP_reg1}, BAD},
        {{DW_OP_reg0, DW_OP_piece, 0}, BAD},
    });
}

TEST(DwarfExpr, Arithmetic) {
    Check({
        {{DW_OP_lit9, DW_OP_neg, DW_OP_lit4, DW_OP_div, DW_OP_stack_value}, "value fffffffe"},
        {{DW_OP_lit9, DW_OP_neg, DW_OP_lit4, DW_OP_mod, DW_OP_stack_value}, "value 3"},
        {{DW_OP_const4u, 0, 0, 0, 0x80, DW_OP_const1s, 0xFF, DW_OP_div, DW_OP_stack_value}, "value 80000000"},
        {{DW_OP_const4u, 0, 0, 0, 0x80, DW_OP_lit4, DW_OP_shr, DW_OP_stack_value}, "value 8000000"},
        {{DW_OP_const4u, 0, 0, 0, 0x80, DW_OP_lit4, DW_OP_shra, DW_OP_stack_value}, "value f8000000"},
        {{DW_OP_lit1, DW_OP_const1u, 40, DW_OP_shl, DW_OP_stack_value}, "value 0"},
        {{DW_OP_const1s, 0xFE, DW_OP_lit1, DW_OP_lt, DW_OP_stack_value}, "value 1"},
        {{DW_OP_lit1, DW_OP_lit2, DW_OP_lit3, DW_OP_rot, DW_OP_minus, DW_OP_stack_value}, "value ffffffff"},
        {{DW_OP_lit5, DW_OP_lit6, DW_OP_lit7, DW_OP_pick, 2, DW_OP_stack_value}, "value 5"},
        {{DW_OP_lit5, DW_OP_lit6, DW_OP_over, DW_OP_swap, DW_OP_drop, DW_OP_stack_value}, "value 5"},
        {{DW_OP_const1s, 0xFD, DW_OP_abs, DW_OP_lit12, DW_OP_xor, DW_OP_not, DW_OP_stack_value}, "value fffffff0"},
        {{DW_OP_lit1, DW_OP_bra, 1, 0, DW_OP_lit9, DW_OP_lit8, DW_OP_stack_value}, "value 8"},
        {{DW_OP_skip, 1, 0, DW_OP_lit9, DW_OP_lit8, DW_OP_stack_value}, "value 8"},
        {{DW_OP_const2u, 0x34, 0x12, DW_OP_const4u, 0, 0x10, 0, 0, DW_OP_deref_size, 2, DW_OP_plus, DW_OP_stack_value},
         "value 2234"},
    });
}

TEST(DwarfExpr, TypedValues) {
    Check({
        // (int64 that isn't generic) 2^32 + 1 survives, converted to int8 keeps its low byte
        {{DW_OP_const_type, 2, 8, 1, 0, 0, 0, 1, 0, 0, 0, DW_OP_stack_value}, "value 100000001"},
        {{DW_OP_const_type, 2, 8, 0xFE, 0, 0, 0, 1, 0, 0, 0, DW_OP_convert, 4, DW_OP_convert, 1, DW_OP_stack_value},
         "value fffffffe"},
        {{DW_OP_regval_type, 3, 1, DW_OP_convert, 3, DW_OP_stack_value}, "value 46400000"},
        {{DW_OP_const_type, 3, 4, 0, 0, 0x20, 0x41, DW_OP_const_type, 3, 4, 0, 0, 0, 0x40, DW_OP_div, DW_OP_convert, 1,
          DW_OP_stack_value},
         "value 5"},
        {{DW_OP_const_type, 3, 4, 0, 0, 0x80, 0xBF, DW_OP_reinterpret, 1, DW_OP_stack_value}, "value bf800000"},
        {{DW_OP_const_type, 3, 4, 0, 0, 0x80, 0x7F, DW_OP_convert, 1, DW_OP_stack_value}, BAD}, // infinity is no int
        {{DW_OP_lit1, DW_OP_const_type, 3, 4, 0, 0, 0x80, 0xBF, DW_OP_plus, DW_OP_stack_value}, BAD},
        {{DW_OP_lit1, DW_OP_convert, 9, DW_OP_stack_value}, BAD},
    });
}

TEST(DwarfExpr, RefusesWhatIsDamagedOrUnknown) {
    Check({
        {{0xE0}, BAD},
        {{DW_OP_addr, 1, 2}, BAD},
        {{DW_OP_plus}, BAD},
        {{DW_OP_lit1, DW_OP_lit0, DW_OP_div}, BAD},
        {{DW_OP_reg1, DW_OP_lit1}, BAD},
        {{DW_OP_skip, 0xFD, 0xFF}, BAD},             // jumps to itself
        {{DW_OP_skip, 0x00, 0x80}, BAD},             // jumps in front of the start
        {{DW_OP_lit1, DW_OP_skip, 0xFC, 0xFF}, BAD}, // fills the stack
        {{DW_OP_call2, 2, 0}, BAD},                  // calls itself
        {{DW_OP_implicit_value, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 1}, BAD},
        {{DW_OP_entry_value, 0}, BAD},
        {{DW_OP_pick, 3}, BAD},
        {{DW_OP_bregx, 0x40, 0}, UNKNOWN},
        {{DW_OP_lit4, DW_OP_deref}, UNKNOWN},
        {{DW_OP_addrx, 9}, UNKNOWN},
        {{DW_OP_lit0, DW_OP_form_tls_address}, UNKNOWN},
    });
}
