#include "elf/DwarfConst.h"
#include "elf/ElfApi.h"
#include "elf/ElfApiFrame.h"
#include "elf/ElfReloc.h"
#include "elf/ElfSym.h"
#include "tests/elf/ElfImageBuilder.h"

#include <QFile>
#include <random>

// The symbol store on debug information written byte by byte: what compilers rarely or never make.

namespace {

/// Bytes of DWARF: numbers in target order, LEB128, text.
class CBytes : public QByteArray {
public:
    CBytes& U1(U32 v) { return Put(v, 1); }
    CBytes& U2(U32 v) { return Put(v, 2); }
    CBytes& U4(U32 v) { return Put(v, 4); }
    CBytes& Text(const char* s) {
        append(s).append('\0');
        return *this;
    }
    CBytes& List(std::initializer_list<U32> Values) {
        for (const U32 v : Values) {
            U1(v);
        }
        return *this;
    }

private:
    CBytes& Put(U32 v, int NumBytes) {
        for (int i = 0; i < NumBytes; ++i) {
            append(static_cast<char>(v >> (8 * i)));
        }
        return *this;
    }
};

enum ABBREV : U32 {
    UNIT = 1,
    BASE,
    STRUCT,
    MEMBER,
    POINTER,
    CONST_PTR,
    VAR,
    FUNC,
    INLINED,
    LOCAL,
    TYPEDEF,
    VOID_PTR,
    FRAME_FUNC,
    CONST_VAR,
    BARE_VAR
};

constexpr U32 HEADER_SIZE = 11;

CBytes Abbrevs() {
    CBytes b;
    b.List({UNIT, DW_TAG_compile_unit, 1, DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr, 0, 0});
    b.List({BASE, DW_TAG_base_type, 0, DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1, DW_AT_encoding,
            DW_FORM_data1, 0, 0});
    b.List({STRUCT, DW_TAG_structure_type, 1, DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data2, 0, 0});
    b.List({MEMBER, DW_TAG_member, 0, DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_data_member_location,
            DW_FORM_data2, 0, 0});
    b.List({POINTER, DW_TAG_pointer_type, 0, DW_AT_type, DW_FORM_ref4, 0, 0});
    b.List({CONST_PTR, DW_TAG_const_type, 0, DW_AT_type, DW_FORM_ref4, 0, 0});
    b.List({VAR, DW_TAG_variable, 0, DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_location,
            DW_FORM_exprloc, 0, 0});
    b.List({FUNC, DW_TAG_subprogram, 1, DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc,
            DW_FORM_data4, 0, 0});
    b.List({INLINED, DW_TAG_inlined_subroutine, 0, DW_AT_abstract_origin, DW_FORM_ref4, DW_AT_low_pc, DW_FORM_addr,
            DW_AT_high_pc, DW_FORM_data4, 0, 0});
    b.List({LOCAL, DW_TAG_variable, 0, DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_location,
            DW_FORM_exprloc, 0, 0});
    b.List({TYPEDEF, DW_TAG_typedef, 0, DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, 0, 0});
    b.List({VOID_PTR, DW_TAG_pointer_type, 0, 0, 0});
    b.List({FRAME_FUNC, DW_TAG_subprogram, 1, DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc,
            DW_FORM_data4, DW_AT_frame_base, DW_FORM_exprloc, 0, 0});
    b.List({CONST_VAR, DW_TAG_variable, 0, DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_const_value,
            DW_FORM_sdata, 0, 0});
    b.List({BARE_VAR, DW_TAG_variable, 0, DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, 0, 0, 0});
    return b;
}

} // namespace

class DwarfStore : public CElfTest {
protected:
    /// A unit of version 4 around the DIEs that Fill() adds behind its root.
    template <typename FILL> void OpenUnit(FILL Fill, U32 ExtraLength = 0) {
        CBytes Dies;
        Dies.U1(UNIT).Text("unit.c").U4(0x1000);
        Fill(Dies);
        Dies.U1(0);
        CBytes Info;
        Info.U4(static_cast<U32>(Dies.size()) + 7 + ExtraLength).U2(4).U4(0).U1(4).append(Dies);
        CElfImageBuilder Image;
        Image.AddSection(".text", 1, 6, 0x1000, QByteArray(0x100, '\0'));
        Image.AddSection(".debug_abbrev", 1, 0, 0, Abbrevs());
        Image.AddSection(".debug_info", 1, 0, 0, Info);
        ASSERT_EQ(ElfApi_Init(Write(Image.Build())), 0);
    }
    void TearDown() override {
        ElfApi_Deinit();
        CElfTest::TearDown();
    }
    static U32 OffsetIn(const CBytes& Dies) { return HEADER_SIZE + static_cast<U32>(Dies.size()); }
    static ELF_SYM_HANDLE Find(const char* sName) { return ElfApi_FindSym(sName, true, false, true, false); }
};

TEST_F(DwarfStore, AStructShowsAtMost1024Members) {
    OpenUnit([](CBytes& b) {
        const U32 Int = OffsetIn(b);
        b.U1(BASE).Text("int").U1(4).U1(DW_ATE_signed);
        b.U1(STRUCT).Text("HUGE").U2(6000);
        for (U32 i = 0; i < 1500; ++i) {
            b.U1(MEMBER).Text(("m" + std::to_string(i)).c_str()).U4(Int).U2(i * 4);
        }
        b.U1(0);
    });
    const ELF_SYM_HANDLE h = Find("HUGE");
    EXPECT_EQ(ElfApi_GetMembers(h).size(), 1024);
    EXPECT_EQ(ElfApi_GetMemberIdx(h, "m7"), 7);
    EXPECT_EQ(ElfApi_GetMemberOffset(ElfApi_GetMembers(h)[7]), 28);
    EXPECT_EQ(ElfApi_GetMemberIdx(h, "m1400"), -1);
}

TEST_F(DwarfStore, LocationsOfOneOperationAreRecordsOthersExpressions) {
    struct CASE {
        std::initializer_list<U32> Expr;
        U32 Kind;
        const char* sText;
    };
    const CASE aCase[] = {
        {{DW_OP_addr, 0, 0, 0, 0x20}, ELF_LOC_MEM, "[20000000]"},
        {{DW_OP_reg0 + 3}, ELF_LOC_REG, "R3"},
        {{DW_OP_breg0 + 7, 0x78}, ELF_LOC_MEM_BASE, "[R7] - 8"},
        {{DW_OP_bregx, 13, 4}, ELF_LOC_MEM_BASE, "[R13] + 4"},
        {{DW_OP_fbreg, 0x74}, ELF_LOC_MEM_BP, "[BP - 12]"},
        {{DW_OP_const1u, 5, DW_OP_stack_value}, ELF_LOC_COMPUTED, "N/A"},
        {{DW_OP_const1u, 5}, ELF_LOC_CONST, "const"},
        {{DW_OP_reg0 + 2, DW_OP_stack_value}, ELF_LOC_COMPUTED, "N/A"},
        {{DW_OP_plus_uconst, 6}, ELF_LOC_PARENT_LOC, "Parent loc + 6"},
        {{DW_OP_GNU_entry_value, 1, DW_OP_reg0, DW_OP_stack_value}, ELF_LOC_ON_ENTRY, "? (on entry)"},
        {{DW_OP_implicit_value, 12, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, ELF_LOC_CONST, "const"},
        {{DW_OP_implicit_value, 12, 1}, ELF_LOC_NONE, "N/A"},
        {{DW_OP_call_frame_cfa}, ELF_LOC_CFA, "CFA"},
        {{DW_OP_lit4, DW_OP_stack_value}, ELF_LOC_COMPUTED, "N/A"},
        {{DW_OP_lit4}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_fbreg, 0x74, DW_OP_deref}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_reg0, DW_OP_piece, 4, DW_OP_reg1, DW_OP_piece, 4}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_breg0 + 1, 0, DW_OP_lit4, DW_OP_plus, DW_OP_stack_value}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_entry_value, 3, DW_OP_breg0, 0, DW_OP_deref, DW_OP_stack_value}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_entry_value, 1, DW_OP_reg0, DW_OP_lit1, DW_OP_plus, DW_OP_stack_value}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_implicit_pointer, 0x20, 0, 0, 0, 0}, ELF_LOC_EXPR, "N/A"},
        {{DW_OP_addr, 1}, ELF_LOC_NONE, "N/A"},
        {{}, ELF_LOC_NONE, "N/A"},
    };
    OpenUnit([&](CBytes& b) {
        int Num = 0;
        for (const CASE& Case : aCase) {
            b.U1(VAR)
                .Text(("v" + std::to_string(Num++)).c_str())
                .U4(0)
                .U1(static_cast<U32>(Case.Expr.size()))
                .List(Case.Expr);
        }
    });
    Messages.clear();
    for (size_t i = 0; i < std::size(aCase); ++i) {
        const ELF_SYM_LOC Loc = ElfApi_GetSymLoc(Find(("v" + std::to_string(i)).c_str()), 0x1000);
        EXPECT_EQ(Loc.Kind, aCase[i].Kind) << i;
        EXPECT_EQ(ElfApi_LocToText(Loc), aCase[i].sText) << i;
    }
    const ELF_SYM_LOC Long = ElfApi_GetSymLoc(Find("v10"), 0);
    EXPECT_EQ(Long.Value, 0x0807060504030201ull);
    EXPECT_EQ(ElfApi_GetSymLoc(Find("v7"), 0).Base.Kind, static_cast<U32>(ELF_LOC_REG));
}

namespace {

/// Register n holds 0x100 * n + n, memory its own address in each word.
ELF_FRAME FrameAt(U32 PC) {
    ELF_FRAME Frame;
    Frame.PC = PC;
    Frame.pfReadReg = [](void*, U32 Reg, U64* pValue) {
        *pValue = 0x101ull * Reg;
        return Reg < 16 ? 0 : -1;
    };
    Frame.pfReadMem = [](void*, U32 Addr, U32 NumBytes, U8* pBuf) {
        for (U32 i = 0; i < NumBytes; ++i) {
            pBuf[i] = static_cast<U8>(((Addr + i) & ~3u) >> (8 * ((Addr + i) & 3)));
        }
        return Addr < 0x30000000 ? 0 : -1;
    };
    return Frame;
}

} // namespace

TEST_F(DwarfStore, PiecesOfABigEndianTarget) {
    CElfImageBuilder Image;
    Image.IsBigEndian = true;
    Image.AddSection(".text", 1, 6, 0x1000, QByteArray(0x100, '\0'));
    ASSERT_EQ(ElfApi_Init(Write(Image.Build())), 0);
    const auto Piece = [](U32 Reg, U32 BitSize, U32 BitOffset) {
        ELF_SYM_PIECE p;
        p.Kind = ELF_EXPR_PIECE_REG;
        p.Reg = Reg;
        p.BitSize = BitSize;
        p.BitOffset = BitOffset;
        return p;
    };
    const auto Read = [](const QList<ELF_SYM_PIECE>& Pieces, U32 NumBytes) {
        return ElfApi_ReadPlace({ELF_EXPR_OK, Pieces}, NumBytes, FrameAt(0)).Bytes.toHex();
    };
    EXPECT_EQ(Read({Piece(3, 0, 0)}, 4), "00000303");
    EXPECT_EQ(Read({Piece(3, 0, 0)}, 1), "03"); // a register holds a short object in its low bits
    EXPECT_EQ(Read({Piece(2, 0, 0)}, 8), "0000020200000303");
    EXPECT_EQ(Read({Piece(2, 16, 0), Piece(3, 16, 0)}, 4), "02020303");
    EXPECT_EQ(Read({Piece(5, 4, 8), Piece(6, 12, 0)}, 2), "5606");
}

TEST_F(DwarfStore, CyclesAndEndlessUnitsEnd) {
    OpenUnit([](CBytes& b) {
        const U32 First = OffsetIn(b);
        b.U1(INLINED).U4(First + 13).U4(0x1000).U4(8);
        b.U1(INLINED).U4(First).U4(0x1000).U4(8);
        b.U1(STRUCT).Text("OPEN").U2(4); // never closed
    });
    for (const ELF_SYM_HANDLE h : ElfApi_GetFuncsAtAddr(0x1002)) {
        EXPECT_TRUE(ElfApi_GetSymName(h, true).isEmpty());
        EXPECT_EQ(ElfApi_GetParentFunc(h), 0u);
    }
    EXPECT_EQ(ElfApi_GetFuncsAtAddr(0x1002).size(), 2);
    EXPECT_NE(Find("OPEN"), 0u);
    OpenUnit([](CBytes& b) { b.U1(STRUCT).Text("BEYOND").U2(4).U1(0); }, 1000); // longer than its section
    EXPECT_TRUE(ElfApi_Types().isEmpty());
    OpenUnit([](CBytes& b) { b.U1(STRUCT).Text("SEEN").U2(4).U1(0).U1(99); }); // an abbreviation that isn't there
    EXPECT_NE(Find("SEEN"), 0u);
}

TEST_F(DwarfStore, DamagedFilesAnswerOrDoNot) {
    QFile File(QStringLiteral(BRASK_SOURCE_DIR "/examples/demo/demo.elf"));
    ASSERT_TRUE(File.open(QIODevice::ReadOnly));
    const QByteArray Sound = File.readAll();
    const qsizetype Start = Sound.size() / 4; // the debug information is what comes last
    std::mt19937 Random(7);
    U64 NumAnswers = 0;
    for (int Round = 0; Round < 150; ++Round) {
        QByteArray Bytes = Sound;
        for (int i = 0; i < 40; ++i) {
            const qsizetype Pos = Start + static_cast<qsizetype>(Random() % static_cast<U32>(Bytes.size() - Start));
            Bytes[Pos] = static_cast<char>(i % 4 == 0 ? 0xFF : Random());
        }
        if (ElfApi_Init(Write(Bytes)) != 0) {
            continue;
        }
        for (const ELF_SYM_LIST& List : {ElfApi_Functions(), ElfApi_GlobalVars(), ElfApi_Types()}) {
            for (const ELF_SYM_HANDLE h : List) {
                NumAnswers +=
                    static_cast<U64>(ElfApi_GetSymName(h, true).size() + ElfApi_GetSymDataTypeName(h).size()) +
                    ElfApi_GetSymSize(h) + static_cast<U64>(ElfApi_GetMembers(h).size()) + ElfApi_GetSymLoc(h, 0).Kind +
                    static_cast<U64>(ElfApi_GetSymDeclFileName(h).size());
                for (const ELF_SYM_HANDLE hLocal : ElfApi_LocalVars(h)) {
                    NumAnswers += ElfApi_GetSymLoc(hLocal, ElfApi_GetSymAddrRange(h).Addr).Kind;
                }
            }
        }
        ElfApi_FindSyms("main", true, true, true, true);
    }
    EXPECT_GT(NumAnswers, 0u);
}
