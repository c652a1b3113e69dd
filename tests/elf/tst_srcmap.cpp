#include "elf/ByteReader.h"
#include "elf/Cfi.h"
#include "elf/DwarfConst.h"
#include "elf/ElfApiLines.h"
#include "elf/IntervalTree.h"
#include "elf/SrcMap.h"
#include "tests/elf/ElfImageBuilder.h"

#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>

// Source maps and frame tables of known content.

namespace {

struct ROW {
    U32 Addr;
    U32 File;
    U32 Line;
    U32 Col;
};

ELF_LINE_TABLE MakeTable(const std::vector<ROW>& Rows, const std::vector<ELF_RANGE>& Ranges) {
    ELF_LINE_TABLE Table;
    CLineTableWriter Writer(&Table);
    for (const ROW& Row : Rows) {
        Writer.Add({Row.Addr, Row.Line, Row.File, Row.Col});
    }
    Writer.EndRun();
    Table.Files = {0, 1, 2};
    Table.Ranges = Ranges;
    return Table;
}

/// Two files of code from 0x1000 and 0x2000, a third that has lines of a dropped section only.
ELF_LINES LinesOf() {
    ELF_LINES Lines;
    Lines.SrcFiles = {"/src/Main.c", "/src/util.c", "/src/dropped.c", "/src/types.h"};
    Lines.Tables = {MakeTable({{0x2000, 1, 7, 9}, {0x2000, 1, 7, 2}, {0x9000, 1, 8, 0}},
                              {{0x2000, 0x2010}, {0x2010, 0x2020}, {0x4000, 0x4000 + 1'000'002}}),
                    MakeTable({{0x0, 0, 90, 0},
                               {0x1000, 0, 10, 1},
                               {0x1004, 0, 12, 3},
                               {0x1004, 0, 11, 1},
                               {0x1006, 0, 10, 5},
                               {0x1200, 0, 2011, 0}},
                              {{0x1000, 0x1300}}),
                    MakeTable({{0x1500, 2, 5, 0}}, {})};
    return Lines;
}

class SrcMap : public testing::Test {
protected:
    void SetUp() override { m_Map.Build(LinesOf(), 0x1000, nullptr); }
    CSrcMap m_Map;
};

} // namespace

TEST_F(SrcMap, LinksAreKeptWhereTheFileHasCode) {
    const U32 Main = m_Map.GetFileId("/src/main.c");
    const U32 Util = m_Map.GetFileId("/SRC/util.c");
    EXPECT_EQ(m_Map.GetFileId("/src/Main.c"), Main);
    EXPECT_EQ(m_Map.GetFileId("\\src\\.\\x\\..\\MAIN.c"), Main);
    EXPECT_EQ(m_Map.GetAddrs({Main, 10, 0}), (std::vector<U32>{0x1000, 0x1006}));
    EXPECT_EQ(m_Map.GetSkippedLines(), 1u); // below the lowest function
    EXPECT_TRUE(m_Map.GetAddrs({Main, 90, 0}).empty());
    EXPECT_FALSE(m_Map.HasAddr(0x1500)); // a file without code
    EXPECT_FALSE(m_Map.HasAddr(0x9000)); // outside of its file's code
    EXPECT_EQ(m_Map.GetLocs(0x1004), (SRC_LOCS{{Main, 12, 3}, {Main, 11, 1}}));
    ASSERT_EQ(m_Map.GetLocs(0x2000).size(), 1u); // two records, one link, the column of the first
    EXPECT_EQ(m_Map.GetFirstLoc(0x2000).Col, 9u);
    EXPECT_EQ(m_Map.GetFileRanges(Util).size(), 1); // touching ranges merged, the huge one dropped
    EXPECT_EQ(m_Map.GetFileRanges(Util)[0].Hi, 0x2020u);
    EXPECT_EQ(m_Map.GetFileAtAddr(0x201E), Util);
    EXPECT_EQ(m_Map.GetFileAtAddr(0x3000), INVALID_FILE_ID);
    EXPECT_EQ(m_Map.GetFileId("/src/types.h") == INVALID_FILE_ID, false); // known, though it has no code
    EXPECT_FALSE(m_Map.GetSrcFileIds().contains(m_Map.GetFileId("/src/types.h")));
    EXPECT_EQ(m_Map.GetFileId(""), INVALID_FILE_ID);
    EXPECT_EQ(m_Map.GetFileId("nowhere.c"), INVALID_FILE_ID);
}

TEST_F(SrcMap, NeighboursOfAnyAddress) {
    struct NEIGHBOURS {
        U32 Addr;
        I64 Prev;
        I64 Next;
    };
    const NEIGHBOURS aCase[] = {{0, -1, 0x1000},          {0x1000, -1, 0x1004},     {0x1001, 0x1000, 0x1004},
                                {0x1004, 0x1000, 0x1006}, {0x1200, 0x1006, 0x2000}, {0x1FFF, 0x1200, 0x2000},
                                {0x2000, 0x1200, -1},     {0xFFFFFFFE, 0x2000, -1}};
    for (const NEIGHBOURS& Case : aCase) {
        EXPECT_EQ(m_Map.GetPrevAddr(Case.Addr), Case.Prev) << Case.Addr;
        EXPECT_EQ(m_Map.GetNextAddr(Case.Addr), Case.Next) << Case.Addr;
    }
    const U32 Main = m_Map.GetFileId("/src/main.c");
    EXPECT_EQ(m_Map.GetPrevLoc({Main, 2011, 0}).Line, 12u);
    EXPECT_FALSE(m_Map.GetPrevLoc({Main, 10, 0}).IsValid());
    m_Map.Clear();
    EXPECT_EQ(m_Map.GetPrevAddr(0x1000), -1);
    EXPECT_EQ(m_Map.GetNextAddr(0x1000), -1);
}

TEST_F(SrcMap, LocatedFilesKeepTheirPositions) {
    const U32 Old = m_Map.GetFileId("/src/Main.c");
    EXPECT_FALSE(m_Map.FileExists(Old));
    m_Map.OnSrcFileLocated("/src/Main.c", "/home/me/Main.c");
    EXPECT_EQ(m_Map.GetFileId("/home/me/main.C"), Old);
    EXPECT_EQ(m_Map.GetFilePath(Old), "/home/me/Main.c");
    EXPECT_TRUE(m_Map.FileExists(Old));
    EXPECT_EQ(m_Map.GetAddrs({Old, 11, 0}), (std::vector<U32>{0x1004}));
    m_Map.OnSrcFileLocated("/home/me/Main.c", "/moved/Main.c"); // and found once more
    EXPECT_EQ(m_Map.GetFileId("/moved/Main.c"), Old);
    EXPECT_EQ(m_Map.GetFilePath(Old), "/moved/Main.c");
    m_Map.OnSrcFileLocated("Main.c", "/moved/Main.c"); // no path of the program
    EXPECT_EQ(m_Map.GetFileId("/moved/Main.c"), Old);
    m_Map.OnSrcFileLocated("/moved/Main.c", "/src/Main.c");
    EXPECT_EQ(m_Map.GetFilePath(Old), "/src/Main.c");
}

TEST(LineTable, AnswersAsOneSortedListWould) {
    const U32 Seed = 11;
    const U32 FLOOR = 300;
    std::mt19937 Random(Seed);
    for (int Round = 0; Round < 60; ++Round) {
        std::vector<ELF_LINE_TABLE> Tables(1 + Random() % 4);
        std::vector<ROW> All; // all rows that count, in the order of the tables
        std::map<U32, std::multiset<U32>> AddrsOfFile;
        for (ELF_LINE_TABLE& Table : Tables) {
            std::vector<ROW> Rows;
            U32 Addr = 0;
            for (U32 i = Random() % 80; i > 0; --i) {
                Addr = Random() % 12 == 0 ? static_cast<U32>(Random()) % 4000 : Addr + static_cast<U32>(Random()) % 20;
                Rows.push_back(
                    {Addr, static_cast<U32>(Random()) % 4, static_cast<U32>(Random()) % 9, 0}); // file 3 is none
                if (Addr >= FLOOR) {
                    All.push_back(Rows.back());
                    AddrsOfFile[Rows.back().File].insert(Addr);
                }
            }
            Table = MakeTable(Rows, {});
        }
        // Runs of the same table are met by address, too: only rows of one address and one run have an order.
        std::stable_sort(All.begin(), All.end(), [](const ROW& a, const ROW& b) { return a.Addr < b.Addr; });
        CLineTable Rows;
        Rows.Build(Tables, FLOOR, nullptr);
        ASSERT_EQ(Rows.IsEmpty(), All.empty());
        CLineTable::CURSOR Cursor = Rows.Find(0);
        for (const ROW& Row : All) {
            ASSERT_NE(Cursor.p, nullptr);
            ASSERT_EQ(Rows.AddrOf(Cursor), Row.Addr) << Round;
            Rows.Next(&Cursor);
        }
        EXPECT_EQ(Cursor.p, nullptr);
        for (size_t i = All.size(); i-- > 0;) {
            ASSERT_TRUE(Rows.Prev(&Cursor));
            ASSERT_EQ(Rows.AddrOf(Cursor), All[i].Addr);
        }
        EXPECT_FALSE(Rows.Prev(&Cursor));
        for (U32 Addr = 0; Addr < 4200; Addr += 7) {
            const auto It = std::find_if(All.begin(), All.end(), [Addr](const ROW& Row) { return Row.Addr >= Addr; });
            const CLineTable::CURSOR Found = Rows.Find(Addr);
            ASSERT_EQ(Found.p != nullptr ? static_cast<I64>(Rows.AddrOf(Found)) : -1,
                      It != All.end() ? static_cast<I64>(It->Addr) : -1);
        }
        for (U32 File = 0; File < 3; ++File) {
            std::multiset<U32> Addrs;
            Rows.ForEachRowOf(File, [&](const ELF_LINE& Row) { Addrs.insert(Row.Addr); });
            EXPECT_EQ(Addrs, AddrsOfFile[File]);
            U32 Lo = 0xFFFFFFFF;
            U32 Hi = 0;
            Rows.ForEachSpan([&](U32 SpanFile, U32 SpanLo, U32 SpanHi) {
                Lo = SpanFile == File ? std::min(Lo, SpanLo) : Lo;
                Hi = SpanFile == File ? std::max(Hi, SpanHi) : Hi;
            });
            EXPECT_EQ(Hi, Addrs.empty() ? 0 : *Addrs.rbegin());
            EXPECT_LE(Lo, Addrs.empty() ? Lo : *Addrs.begin());
        }
    }
}

TEST(LineTable, RowsKeepEveryValueAtTheBordersOfTheirFields) {
    constexpr U32 BASE = 0x1000;
    constexpr U32 LINE = ELF_LINE_ROW::MAX_LINE;
    constexpr U32 FILE = ELF_LINE_ROW::MAX_FILE;
    const std::vector<ELF_LINE> Lines = {{BASE, 1, 0, 0},
                                         {BASE, LINE, FILE, MAX_LINE_COL},
                                         {BASE + 2, LINE + 1, FILE, 5},
                                         {BASE + 2, LINE, FILE + 1, MAX_LINE_COL},
                                         {BASE + 0xFFFF, 0xFFFFFFFF, MAX_LINE_FILE - 1, 1},
                                         {BASE + 0x10000, 3, MAX_LINE_FILE, MAX_LINE_COL},
                                         {0x7FFFFFFE, 0, 1, 0},
                                         {0xFFFFFFFE, LINE, 2, 7}};
    ELF_LINE_TABLE Table;
    CLineTableWriter Writer(&Table);
    for (const ELF_LINE& Line : Lines) {
        Writer.Add(Line);
    }
    Writer.EndRun();
    EXPECT_EQ(Table.Runs.size(), 4u);
    for (U32 i = 0; i < MAX_LINE_FILE; ++i) {
        Table.Files.push_back(i);
    }
    // Alone the rows are read where they are, beside a table at the same addresses they are copied.
    for (const size_t NumTables : {1, 2}) {
        std::vector<ELF_LINE> Wanted = Lines;
        Wanted.insert(Wanted.end(), Lines.begin(), NumTables == 2 ? Lines.end() : Lines.begin());
        std::stable_sort(Wanted.begin(), Wanted.end(),
                         [](const ELF_LINE& a, const ELF_LINE& b) { return a.Addr < b.Addr; });
        CLineTable All;
        All.Build(std::vector<ELF_LINE_TABLE>(NumTables, Table), 0, nullptr);
        CLineTable::CURSOR Cursor = All.Find(BASE);
        for (size_t i = 0; i < Wanted.size(); ++i, All.Next(&Cursor)) {
            ASSERT_NE(Cursor.p, nullptr);
            EXPECT_TRUE(All.Get(Cursor) == Wanted[i]) << i;
            EXPECT_EQ(All.AddrOf(All.Find(Wanted[i].Addr)), Wanted[i].Addr);
        }
        EXPECT_EQ(Cursor.p, nullptr);
    }
}

TEST(IntervalTree, FindsWhatALinearSearchFinds) {
    const U32 Seed = 3;
    std::mt19937 Random(Seed);
    std::vector<ELF_INTERVAL> Items;
    for (U32 i = 0; i < 3000; ++i) {
        const U32 Start = static_cast<U32>(Random()) % 100'000;
        Items.push_back({Start, Start + static_cast<U32>(Random()) % (i % 50 == 0 ? 50'000 : 100), i});
    }
    Items.push_back({5, 4, 9999}); // empty
    CIntervalTree Tree;
    Tree.Build(Items);
    for (int i = 0; i < 500; ++i) {
        const U32 Lo = static_cast<U32>(Random()) % 110'000;
        const U32 Hi = Lo + static_cast<U32>(Random()) % 200;
        std::vector<U64> Found;
        Tree.Query(Lo, Hi, &Found);
        std::sort(Found.begin(), Found.end());
        std::vector<U64> Expected;
        for (const ELF_INTERVAL& Item : Items) {
            if (Item.Start <= Hi && Item.Stop >= Lo && Item.Start <= Item.Stop) {
                Expected.push_back(Item.Value);
            }
        }
        EXPECT_EQ(Found, Expected) << Lo << ".." << Hi;
    }
}

namespace {

/// A frame table of one description for 0x100 to 0x200, whose instructions stand alone.
CFI_TABLE Frames(const std::vector<U8>& Instructions) {
    static const U8 aInitial[] = {DW_CFA_def_cfa, 13, 0};
    static std::vector<U8> Section;
    Section.assign(aInitial, aInitial + sizeof(aInitial));
    Section.insert(Section.end(), Instructions.begin(), Instructions.end());
    CFI_TABLE Table;
    Table.pData = Section.data();
    Table.Size = Section.size();
    Table.Cies = {{2, -4, 0, sizeof(aInitial), false}};
    Table.FdeList = {{0x100, 0x200, 0, sizeof(aInitial), static_cast<U32>(Instructions.size())}};
    Table.FdeByAddr = {0};
    return Table;
}

constexpr U8 ADVANCE_1 = DW_CFA_advance_loc | 1; ///< one code unit of 2 bytes

} // namespace

TEST(Cfi, RulesByKind) {
    const std::vector<U8> Code = {ADVANCE_1,
                                  DW_CFA_def_cfa_offset,
                                  16,
                                  DW_CFA_offset | 0,
                                  4,
                                  DW_CFA_offset | 1,
                                  3,
                                  DW_CFA_offset | 14,
                                  1,
                                  DW_CFA_val_offset,
                                  2,
                                  2,
                                  DW_CFA_register,
                                  3,
                                  9,
                                  DW_CFA_undefined,
                                  4,
                                  DW_CFA_expression,
                                  5,
                                  1,
                                  0x30,
                                  DW_CFA_remember_state,
                                  ADVANCE_1,
                                  DW_CFA_def_cfa_register,
                                  7,
                                  DW_CFA_restore | 1,
                                  ADVANCE_1,
                                  DW_CFA_restore_state};
    CFI_TABLE Table = Frames(Code);
    ELF_SYM_LOC aRule[NUM_UNWIND_REGS];
    const auto Expect = [&](U32 Reg, U32 Kind, U32 LocReg, I32 Off) {
        EXPECT_EQ(aRule[Reg].Kind, Kind) << Reg;
        EXPECT_EQ(aRule[Reg].Reg, LocReg) << Reg;
        EXPECT_EQ(aRule[Reg].Off, Off) << Reg;
    };
    ASSERT_EQ(ELF_GetRegRules(&Table, 0x102, aRule), 30);
    Expect(0, ELF_LOC_REG_OFF, CFI_REG_CFA, -16);
    Expect(1, ELF_LOC_MEM_CFA, 0, -12);
    Expect(2, ELF_LOC_CFA, 0, -8);
    Expect(3, ELF_LOC_REG, 9, 0);
    Expect(4, ELF_LOC_REG, ELF_REG_UNSPECIFIED, 0);
    Expect(5, ELF_LOC_NONE, 0, 0);
    Expect(6, ELF_LOC_REG, 6, 0);
    Expect(13, ELF_LOC_REG_OFF, 13, 16);
    Expect(14, ELF_LOC_MEM_CFA, 0, -4);
    ASSERT_EQ(ELF_GetRegRules(&Table, 0x105, aRule), 30);
    Expect(13, ELF_LOC_REG_OFF, 7, 16);
    Expect(1, ELF_LOC_REG, 1, 0);
    ASSERT_EQ(ELF_GetRegRules(&Table, 0x1FE, aRule), 30);
    Expect(13, ELF_LOC_REG_OFF, 13, 16);
    Expect(1, ELF_LOC_MEM_CFA, 0, -12);
    EXPECT_EQ(ELF_GetRegRules(&Table, 0x200, aRule), 0);
    EXPECT_EQ(ELF_GetRegRules(&Table, 0x100, nullptr), 0);
    EXPECT_EQ(ELF_GetRegRules(nullptr, 0x100, aRule), 0);
}

TEST(Cfi, TheFactorIsForTheStackPointersRuleOnly) {
    CFI_TABLE Table = Frames({ADVANCE_1, DW_CFA_def_cfa_offset, 2});
    Table.CfaFactor = 4;
    ELF_SYM_LOC aRule[NUM_UNWIND_REGS];
    ASSERT_EQ(ELF_GetRegRules(&Table, 0x102, aRule), 30);
    EXPECT_EQ(aRule[13].Off, 8);
    EXPECT_EQ(ELF_GetCFA(&Table, 0x102).Off, 2);
    Table.FdeList.clear(); // the second answer comes from the cache
    Table.FdeByAddr.clear();
    EXPECT_EQ(ELF_GetCFA(&Table, 0x102).Off, 2);
    EXPECT_EQ(ELF_GetCFA(&Table, 0x104).Kind, ELF_LOC_NONE);
}

TEST_F(CElfTest, FramesOfSignalHandlersAndOfCopies) {
    // A frame as GCC writes it for the return from a signal handler; of two for one function the first one counts.
    const QByteArray Cie = QByteArray::fromHex("10000000"
                                               "ffffffff"
                                               "01"
                                               "5300"
                                               "01"
                                               "7c"
                                               "0e"
                                               "0c0d00000000");
    const QByteArray First = QByteArray::fromHex("10000000"
                                                 "00000000"
                                                 "00100000"
                                                 "40000000"
                                                 "0e080000");
    const QByteArray Second = QByteArray::fromHex("10000000"
                                                  "00000000"
                                                  "00100000"
                                                  "40000000"
                                                  "0e100000");
    CElfImageBuilder Image;
    Image.AddSection(".text", 1, 6, 0x1000, QByteArray(0x100, '\0'));
    Image.AddSection(".debug_frame", 1, 0, 0, Cie + First + Second);
    const ELF_FILE* pFile = Open(Image.Build());
    ASSERT_NE(pFile, nullptr);
    const std::shared_ptr<CFI_TABLE> pTable = ELF_LoadCfi(pFile);
    EXPECT_EQ(ELF_GetFdeCnt(pTable.get()), 2u);
    EXPECT_EQ(ELF_GetCFA(pTable.get(), 0x1010).Off, 8);
}

TEST(Cfi, StackUseIsTheLargestOffset) {
    struct STACK_CASE {
        std::vector<U8> Code;
        I32 Size;
    };
    const STACK_CASE aCase[] = {
        {{}, 0},
        {{DW_CFA_def_cfa_offset, 8, ADVANCE_1, DW_CFA_def_cfa_offset, 16, DW_CFA_def_cfa_offset, 8}, 16},
        {{DW_CFA_def_cfa, 13, 0x80, 0x02, DW_CFA_offset | 4, 2, DW_CFA_nop}, 256},
        {{DW_CFA_def_cfa_offset_sf, 0x70}, 64},                             // -16 times -4
        {{DW_CFA_def_cfa_sf, 13, 0x0A}, 40},                                // 10 times -4, by its absolute value
        {{DW_CFA_expression, 5, 2, 0x0E, 99, DW_CFA_def_cfa_offset, 4}, 4}, // a block isn't an instruction
        {{0x3C, DW_CFA_def_cfa_offset, 8}, 0},                              // unknown: what follows can't be told
    };
    for (size_t i = 0; i < std::size(aCase); ++i) {
        const CFI_TABLE Table = Frames(aCase[i].Code);
        EXPECT_EQ(ELF_GetStackSize(&Table, 0x180), aCase[i].Size) << i;
        EXPECT_EQ(ELF_GetStackSize(&Table, 0x80), -1) << i;
    }
}

TEST(Cfi, DamagedInstructionsGiveNoRules) {
    ELF_SYM_LOC aRule[NUM_UNWIND_REGS];
    const std::vector<U8> aCode[] = {{DW_CFA_restore_state},
                                     {0x3C, 1},
                                     {DW_CFA_def_cfa, 13},
                                     {DW_CFA_advance_loc4, 1},
                                     {DW_CFA_def_cfa_expression, 0x7F},
                                     std::vector<U8>(1000, DW_CFA_remember_state)};
    for (const std::vector<U8>& Code : aCode) {
        CFI_TABLE Table = Frames(Code);
        EXPECT_EQ(ELF_GetRegRules(&Table, 0x180, aRule), 0);
    }
}

TEST(ByteReader, NumbersInBothOrdersAndPastTheEnd) {
    const U8 aData[] = {0x81, 0x02, 0x7F, 0xFE, 0xFF, 0x80};
    CByteReader Little(aData, sizeof(aData), false);
    EXPECT_EQ(Little.GetULeb(), 0x101u);
    EXPECT_EQ(Little.GetSLeb(), -1);
    EXPECT_EQ(Little.GetSigned(2), -2);
    EXPECT_EQ(Little.GetULeb(), 0u); // its last byte is missing
    EXPECT_FALSE(Little.IsOk());
    CByteReader Big(aData, sizeof(aData), true);
    EXPECT_EQ(Big.Get(3), 0x81027Fu);
    EXPECT_EQ(Big.Sub(9).GetLeft(), 0u);
    EXPECT_FALSE(Big.IsOk());
    EXPECT_EQ(CByteReader(aData, sizeof(aData), false).GetString(), "");
}
