// Memory access rules with the calls that reach the probe, register mapping and register access.

#include "tests/device/DeviceFixture.h"

#include <QRegularExpression>

#include <cstring>

namespace {

constexpr U32 BASE = 0x20000000;

class CMemoryTest : public CDeviceTest {
protected:
    CMemoryTest() {
        Fake.Poke(BASE, QByteArray(64, 'm'));
        ConnectHalted(0x8000);
        std::memset(aStatus, 9, sizeof(aStatus));
    }

    /// Status bytes as text, one digit each.
    QString Status(U32 Count) const {
        QString sText;
        for (U32 i = 0; i < Count; i++) {
            sText += QString::number(aStatus[i]);
        }
        return sText;
    }

    U8 aData[64] = {};
    U8 aStatus[64];
};

class CRegsTest : public CDeviceTest {};

} // namespace

TEST_F(CMemoryTest, ReadsChooseTheirCallByWidthAndAlignment) {
    struct {
        U32 Off, NumBytes;
        I8 AW;
        U32 Flags;
        const char* sCall;
    } const aCases[] = {
        {1, 1, 0, 0, "ReadMemU8 20000001"},      {2, 2, 0, 0, "ReadMemU16 20000002"},
        {4, 4, 0, 0, "ReadMemU32 20000004"},     {8, 8, 0, 0, "ReadMemU64 20000008"},
        {2, 4, 0, 0, "ReadMemEx 20000002 4 w0"}, {0, 3, 2, 0, "ReadMemEx 20000000 3 w2"},
        {4, 8, 0, 0, "ReadMemEx 20000004 8 w0"}, {0, 16, 4, 0, "ReadMemEx 20000000 10 w4"},
        {0, 16, 0, 2, "ReadMemHW 20000000 10"},  {0, 4, 0, 2, "ReadMemU32 20000000"},
    };
    for (const auto& Case : aCases) {
        Fake.TakeCalls();
        EXPECT_EQ(T().Memory.ReadMem(BASE + Case.Off, Case.NumBytes, 0, Case.AW, Case.Flags, aData, aStatus),
                  Case.NumBytes);
        EXPECT_EQ(Fake.TakeCalls(), QStringList(Case.sCall));
        EXPECT_EQ(Status(Case.NumBytes), QString(Case.NumBytes, '0'));
    }
}

TEST_F(CMemoryTest, AShortReadIsCompletedByChunksAndItems) {
    struct {
        U32 ChunkSize;
        I8 AW;
        U32 Flags;
        U32 Count;
        const char* sStatus;
        int NumRangeReads; ///< calls of ReadMemEx
    } const aCases[] = {
        {0, 0, 0, 6, "0000001111111111", 1},
        {4, 0, 0, 12, "0000001111000000", 2 + 1},
        {4, 0, MEM_FLAG_ITEMWISE, 14, "0000001100000000", 2 + 1},
        {100, 2, MEM_FLAG_ITEMWISE, 14, "0000001100000000", 1},
        {100, 0, 0, 6, "0000001111111111", 1},
    };
    Fake.Mem.remove(BASE + 6);
    Fake.Mem.remove(BASE + 7);
    for (const auto& Case : aCases) {
        Fake.TakeCalls();
        std::memset(aStatus, 9, sizeof(aStatus));
        EXPECT_EQ(T().Memory.ReadMem(BASE, 16, Case.ChunkSize, Case.AW, Case.Flags, aData, aStatus), Case.Count)
            << Case.ChunkSize;
        EXPECT_EQ(Status(16), Case.sStatus) << Case.ChunkSize;
        EXPECT_LE(Fake.CountCalls("ReadMemEx"), Case.NumRangeReads) << Case.ChunkSize;
    }
}

TEST_F(CMemoryTest, ACancelledTransferEndsBehindTheChunkUnderWay) {
    struct CHeard : CDeviceEventListener {
        QString sStatus;
        void OnDeviceReadMemDone(U32, U32 NumBytes, U8*, U8* paStatus) override {
            for (U32 i = 0; i < NumBytes; i++) {
                sStatus += QString::number(paStatus[i]);
            }
        }
    } Heard;
    pDevice->SetDataProvider(&Heard);
    EXPECT_FALSE(pDevice->CancelTransfer());
    Fake.Mem.remove(BASE + 6);
    const auto CancelAt = [this](const char* sCall) {
        Fake.TakeCalls();
        Fake.Hooks[sCall] = [this] { EXPECT_TRUE(pDevice->CancelTransfer()); };
    };
    CancelAt("ReadMemU8"); // the first item of the first chunk
    pDevice->PostReadMem(BASE, 14, 4, 0, MEM_FLAG_ITEMWISE);
    Pass();
    EXPECT_EQ(Heard.sStatus, "00000011111111");
    EXPECT_EQ(Fake.TakeCalls().filter("ReadMem").size(), 3);
    Heard.sStatus.clear();
    pDevice->PostReadMem(BASE + 8, 8, 0, 0, 0); // the next job isn't meant
    Pass();
    EXPECT_EQ(Heard.sStatus, "00000000");
    CancelAt("WriteU32");
    pDevice->PostWriteMemMultiple({{BASE, BASE + 4}, {BASE + 16, BASE + 20}}, QByteArray("aaaabbbb"), 0, 0, 0);
    EXPECT_FALSE(Pass().filter("WriteMemMultipleFailed").isEmpty());
    EXPECT_EQ(Fake.Mem[BASE], U8('a'));
    EXPECT_EQ(Fake.Mem[BASE + 16], U8('m'));
    EXPECT_TRUE(Listener.Log.contains("cancelled: 4 of 8 bytes are written"));
    pDevice->SetDataProvider(nullptr);
}

TEST_F(CMemoryTest, ItemsWithinARangeLieAsInTheTargetsMemory) {
    T().State.DataEndian = 1;
    Fake.Answers["ReadMemEx"] = {0};
    EXPECT_EQ(T().Memory.ReadMem(BASE, 6, 4, 0, 0, aData, aStatus), 6u);
    EXPECT_EQ(Fake.TakeCalls(), QStringList({"ReadMemEx 20000000 6 w0", "ReadMemU32 20000000", "ReadMemU16 20000004"}));
    Fake.Poke(BASE, "abcdef");
    Fake.Answers["ReadMemEx"] = {0};
    T().Memory.ReadMem(BASE, 6, 4, 0, 0, aData, aStatus); // the probe gives numbers: a big-endian one turned round
    EXPECT_EQ(QByteArray(reinterpret_cast<char*>(aData), 6), "dcbafe");
    T().Memory.ReadMem(BASE, 4, 0, 0, 0, aData, aStatus);
    EXPECT_EQ(QByteArray(reinterpret_cast<char*>(aData), 4), "abcd");
    const U32 aRange[2] = {BASE, BASE + 4};
    EXPECT_EQ(T().Memory.WriteMemMultiple(1, aRange, 4, reinterpret_cast<const U8*>("1234"), 0, 0, 0), 4u);
    EXPECT_EQ(Fake.Mem[BASE], U8('4'));
}

TEST_F(CMemoryTest, ReadsThatAreToldSayWhatWasWrong) {
    T().Facts.Core = 0;
    pDevice->Post<READ_MEM_JOB>(U32(0x100), U32(4), U32(0), U32(0), U32(0), false, true);
    pDevice->Post<READ_MEM_JOB>(U32(0x100), U32(4), U32(0), U32(0), U32(0));
    pDevice->Post<READ_REG_JOB>(U32(82), false, true);
    EXPECT_EQ(pDevice->Post<READ_LOCATION_JOB>(ELF_SYM_LOC(), U32(9)), -1);
    Pass();
    Listener.Log.removeIf([](const QString& sLine) { return sLine.startsWith("Job "); });
    EXPECT_EQ(Listener.Log, QStringList({"ReadLoc: cannot read data locations of size > 8 bytes",
                                         "could not read 4 bytes at 0x00000100: the target refused it",
                                         "ReadReg: Index out of bounds",
                                         "could not read register 82 (4 bytes): the target refused it"}));
}

TEST_F(CMemoryTest, BadRequestsAreRefusedWithTheirText) {
    struct {
        bool IsRead;
        U32 Addr, NumBytes;
        U8* pData;
        U8* pStatus;
        const char* sText;
    } const aCases[] = {
        {true, BASE, 4, nullptr, aStatus, "ReadMem: invalid data buffer"},
        {true, BASE, 4, aData, nullptr, "ReadMem: invalid status buffer"},
        {true, BASE, 0, aData, aStatus, "ReadMem: byte count is 0"},
        {true, 0xFFFFFFFB, 4, aData, aStatus, "ReadMem: outside address range"},
        {false, 0xFFFFFFFF, 1, aData, nullptr, "WriteMem: outside address range"},
    };
    for (const auto& Case : aCases) {
        Listener.Log.clear();
        EXPECT_EQ(
            T().Memory.ValidateMemoryAccessParams(Case.IsRead, Case.Addr, Case.NumBytes, Case.pData, Case.pStatus), -1);
        Pass();
        EXPECT_EQ(Listener.Log, QStringList(Case.sText));
    }
    EXPECT_EQ(T().Memory.ValidateMemoryAccessParams(true, 0xFFFFFFFA, 4, aData, aStatus), 0);
    T().Connection.Disconnect();
    EXPECT_EQ(T().Memory.ReadMem(BASE, 4, 0, 0, 0, aData, aStatus), 0u);
    Pass();
    EXPECT_TRUE(Listener.Log.contains("ReadMem: not connected to target"));
}

TEST_F(CMemoryTest, WritesChooseTheirCallAndWrapDownloads) {
    struct {
        U32 Off, NumBytes, Flags;
        QStringList Calls;
    } const aCases[] = {
        {1, 1, 0, {"WriteU8 20000001"}},
        {2, 2, 0, {"WriteU16 20000002"}},
        {4, 4, 0, {"WriteU32 20000004"}},
        {8, 8, 0, {"WriteU64 20000008"}},
        {2, 4, 0, {"WriteMemEx 20000002 4 w0"}},
        {4, 4, MEM_FLAG_DOWNLOAD, {"BeginDownload 0", "WriteU32 20000004", "EndDownload", "IsHalted"}},
    };
    for (const auto& Case : aCases) {
        Fake.TakeCalls();
        EXPECT_EQ(T().Memory.WriteMem(BASE + Case.Off, Case.NumBytes, 0, 0, Case.Flags, aData), Case.NumBytes);
        EXPECT_EQ(Fake.TakeCalls(), Case.Calls);
    }
    Fake.Answers["EndDownload"] = {-4};
    EXPECT_EQ(T().Memory.WriteMem(BASE, 4, 0, 0, MEM_FLAG_DOWNLOAD, aData), 0u);
    EXPECT_EQ(pDevice->GetLastDownloadResult(), -4);
}

TEST_F(CMemoryTest, ARunningTargetIsHaltedForAnAccessThatAsksForIt) {
    Resume();
    EXPECT_EQ(T().Memory.ReadMem(BASE, 4, 0, 0, MEM_FLAG_HALT, aData, aStatus), 4u);
    EXPECT_EQ(Fake.TakeCalls().filter(QRegularExpression("^(Halt|GoEx|Read)")),
              QStringList({"Halt", "ReadMemU32 20000000", "GoEx"}));
    Fake.HaltStatus = 1; // at a breakpoint, which nobody has seen yet: nothing may resume it
    T().Memory.ReadMem(BASE, 4, 0, 0, MEM_FLAG_HALT, aData, aStatus);
    EXPECT_EQ(Fake.TakeCalls().filter(QRegularExpression("^(Halt|GoEx)")), QStringList());
    Pass();
    Fake.TakeCalls();
    T().Memory.ReadMem(BASE, 4, 0, 0, MEM_FLAG_HALT, aData, aStatus);
    EXPECT_EQ(Fake.TakeCalls(), QStringList("ReadMemU32 20000000"));
}

TEST_F(CMemoryTest, ManyRangesAreOneDownload) {
    const QList<MEM_RANGE> Ranges = {{BASE, BASE + 4}, {BASE + 16, BASE + 20}, {BASE + 32, BASE + 36}};
    pDevice->PostWriteMemMultiple(Ranges, QByteArray("aaaabbbbcc"), 0, 0, MEM_FLAG_DOWNLOAD);
    Pass();
    EXPECT_EQ(Fake.TakeCalls().filter(QRegularExpression("Download|Write")),
              QStringList({"BeginDownload 0", "WriteU32 20000000", "WriteU32 20000010", "EndDownload"}));
    EXPECT_EQ(Fake.Mem[BASE + 16], U8('b'));
    EXPECT_EQ(Fake.Mem[BASE + 32], U8('m')); // its range passes the end of the data
}

TEST_F(CMemoryTest, LongTransfersShowProgress) {
    std::vector<U8> Data(5000), State(5000);
    T().Memory.ReadMem(BASE, 5000, 2500, 0, 0, Data.data(), State.data());
    EXPECT_EQ(Pass(), QStringList({"Progress Reading Memory...", "StartProgress 0 1", "EndProgress"}));
    T().Memory.ReadMem(BASE, 4000, 2000, 0, 0, Data.data(), State.data());
    EXPECT_EQ(Pass(), QStringList("EndProgress"));
}

TEST_F(CMemoryTest, SingleReadsShowTheirFailure) {
    U8 Byte = 0;
    U16 Half = 0;
    U32 Word = 0;
    EXPECT_EQ(T().Memory.ReadByte(0x100, &Byte), -1);
    EXPECT_EQ(T().Memory.ReadHalfWord(BASE + 1, &Half), -1);
    EXPECT_EQ(T().Memory.ReadWord(BASE + 2, &Word), -1);
    EXPECT_EQ(Byte, 0xEE);
    EXPECT_EQ(Half, 0xEEEE);
    EXPECT_EQ(Word, 0xEEEEEEEE);
    Pass();
    EXPECT_EQ(Listener.Log,
              QStringList({"ReadByte: Novik API call failed", "Attempting to read half word unaligned at 20000001",
                           "Attempting to read word unaligned at 20000002"}));
    Fake.Poke(BASE, QByteArray("\x01\xF0\x02\xF8", 4));
    EXPECT_EQ(T().Memory.ReadInst(BASE, 4, false), 0xF802F001);
    T().State.InstEndian = 1;
    EXPECT_EQ(T().Memory.ReadInst(BASE, 4, false), 0x02F801F0 & 0xFFFFFFFF);
    EXPECT_EQ(T().Memory.ReadInst(BASE, 4, true), 0x01F002F8);
    EXPECT_EQ(T().Memory.ReadInst(0x100, 2, false), -1);
}

TEST_F(CRegsTest, ClassicCoresHaveBankedRegisters) {
    struct {
        I32 Logical;
        int Mode;
        I32 Idx;
    } const aCases[] = {
        {-1, MODE_USR, -1}, {0, MODE_FIQ, 0},   {7, MODE_SVC, 7},   {8, MODE_FIQ, 18},  {12, MODE_FIQ, 22},
        {8, MODE_USR, 10},  {12, MODE_SVC, 14}, {13, MODE_USR, 15}, {14, MODE_SYS, 16}, {13, MODE_FIQ, 23},
        {14, MODE_FIQ, 24}, {13, MODE_SVC, 26}, {14, MODE_ABT, 30}, {13, MODE_IRQ, 32}, {14, MODE_UND, 36},
        {15, MODE_USR, 9},  {16, MODE_IRQ, 8},  {17, MODE_FIQ, 17}, {17, MODE_SVC, 25}, {17, MODE_ABT, 28},
        {17, MODE_IRQ, 31}, {17, MODE_UND, 34}, {17, MODE_USR, -1}, {17, MODE_SYS, -1}, {100, MODE_USR, 100},
    };
    T().Facts.Family = DF_ARM9;
    for (const auto& Case : aCases) {
        EXPECT_EQ(pDevice->GetNovikRegIdx(Case.Logical, Case.Mode), Case.Idx) << Case.Logical << ' ' << Case.Mode;
    }
    T().State.CpuMode = MODE_SVC;
    EXPECT_EQ(pDevice->GetNovikRegIdx(13), 26);
    T().Facts.Family = DF_CORTEX_M3;
    EXPECT_EQ(pDevice->GetNovikRegIdx(13), 13);
    EXPECT_EQ(pDevice->GetNovikRegIdx(16), 16);
    T().Facts.Family = DF_UNKNOWN;
    EXPECT_EQ(pDevice->GetNovikRegIdx(13), -1);
}

TEST_F(CRegsTest, AccessIsRefusedWithItsText) {
    I64 Value = 0;
    T().Facts.Family = DF_CORTEX_M4;
    EXPECT_EQ(T().Regs.ReadReg(0, &Value), -1);
    EXPECT_EQ(Value, -1);
    EXPECT_EQ(T().Regs.WriteReg(0, 1), -1);
    ConnectHalted(0x8000);
    EXPECT_EQ(T().Regs.ReadReg(82, &Value), -1);
    EXPECT_EQ(T().Regs.WriteReg(82, 1), -1);
    EXPECT_EQ(T().Regs.WriteReg(1, -1), -1);
    EXPECT_EQ(T().Regs.WriteReg(1, 0x80000000), 0);
    U32 aIdxs[2] = {15, ~0u};
    I64 aValues[2] = {};
    EXPECT_EQ(T().Regs.ReadRegs(2, aIdxs, aValues), -1);
    Fake.Regs[15] = 0x8001;
    EXPECT_EQ(T().Regs.ReadRegs(1, aIdxs, aValues), 0);
    EXPECT_EQ(aValues[0], 0x8000);
    EXPECT_EQ(T().Regs.ReadReg(15, &Value), 0);
    EXPECT_EQ(Value, 0x8000);
    Resume();
    EXPECT_EQ(T().Regs.ReadReg(0, &Value), -1);
    Pass();
    for (const char* sText :
         {"ReadReg: Index out of bounds", "WriteReg: Index out of bounds", "WriteReg: invalid register value",
          "ReadRegs: Invalid register index", "ReadReg: not halted"}) {
        EXPECT_TRUE(Listener.Log.contains(sText)) << sText;
    }
}

TEST_F(CRegsTest, LocationsAreMemoryOrRegisters) {
    Fake.Regs[3] = 0x11223344;
    Fake.Poke(BASE, "abcdefgh");
    ConnectHalted(0x8000);
    struct {
        ELF_SYM_LOC Loc;
        U32 NumBytes;
        int Result;
        QByteArray Data;
    } const aCases[] = {
        {{ELF_LOC_MEM, BASE, 0, 0, {}, 0}, 8, 0, "abcdefgh"},
        {{ELF_LOC_MEM_OFF, BASE, 0, 2, {}, 0}, 2, 0, "cd"},
        {{ELF_LOC_REG, 0, 3, 0, {}, 0}, 4, 0, "\x44\x33\x22\x11"},
        {{ELF_LOC_REG_OFF, 0, 3, 1, {}, 0}, 2, 0, "\x45\x33"},
        {{ELF_LOC_MEM, 0x100, 0, 0, {}, 0}, 4, -1, QByteArray(4, 0)},
        {{ELF_LOC_CONST, 0, 0, 0, {}, 7}, 4, -1, ""},
        {{ELF_LOC_MEM, BASE, 0, 0, {}, 0}, 9, -1, ""},
    };
    for (const auto& Case : aCases) {
        U8 aData[9] = {};
        EXPECT_EQ(T().Regs.ReadLoc(Case.Loc, Case.NumBytes, aData), Case.Result);
        EXPECT_EQ(QByteArray(reinterpret_cast<char*>(aData), Case.Data.size()), Case.Data);
    }
    const U8 aNew[2] = {0xAA, 0xBB};
    EXPECT_EQ(T().Regs.WriteLoc(aCases[2].Loc, 2, aNew), 0);
    EXPECT_EQ(Fake.Regs[3], 0xBBAAu);
}
