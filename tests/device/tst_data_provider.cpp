#include "device/DeviceDataProvider.h"
#include "tests/device/DeviceFixture.h"

#include <QSet>
#include <random>

namespace {

constexpr U32 RAM = 0x2000FFC0; ///< the ranges below lie across a border of two pages
constexpr U32 RAM_SIZE = 0x80;

ELF_SYM_LOC Location(U32 Kind, U32 Where) {
    ELF_SYM_LOC Loc;
    Loc.Kind = Kind;
    (Kind == ELF_LOC_REG ? Loc.Reg : Loc.Addr) = Where;
    return Loc;
}

class CAsker : public CDeviceEventListener {
public:
    QStringList Heard;
    std::function<void(const QString& sKey, const U8* paData, const U8* paStatus)> fHeard = [](auto...) {};

    void OnDeviceReadMemDone(U32 Addr, U32 NumBytes, U8* paData, U8* paStatus) override {
        Note(MemKey(Addr, NumBytes), paData, paStatus);
    }
    void OnDeviceReadMemFailed(U32 Addr, U32 NumBytes) override { Note("failed " + MemKey(Addr, NumBytes)); }
    void OnDeviceReadRegsDone(U32 Cnt, U32* paRegs, I64* paValues) override { Note(RegKey(Cnt, paRegs, paValues)); }
    void OnDeviceReadRegsFailed(U32, U32* paRegs, I64*) override { Note(QString("failed reg %1").arg(paRegs[0])); }
    void OnDeviceReadCPRDone(ARM_CPR*, I64 Value) override { Note(QString("cpr %1").arg(Value, 0, 16)); }
    void OnDeviceReadCPRFailed(ARM_CPR*) override { Note("failed cpr"); }
    void OnDeviceReadLocDone(ELF_SYM_LOC, U32 NumBytes, U8* pData) override {
        Note("loc " + QByteArray(reinterpret_cast<char*>(pData), qsizetype(NumBytes)).toHex());
    }
    void OnDeviceReadLocFailed(ELF_SYM_LOC, U32) override { Note("failed loc"); }

    static QString MemKey(U32 Addr, U32 NumBytes) { return QString("%1+%2").arg(Addr, 0, 16).arg(NumBytes); }

private:
    static QString RegKey(U32 Cnt, const U32* paRegs, const I64* paValues) {
        QString sText = "reg";
        for (U32 i = 0; i < Cnt; i++) {
            sText += QString(" %1=%2").arg(paRegs[i]).arg(paValues[i], 0, 16);
        }
        return sText;
    }
    void Note(const QString& sKey, const U8* paData = nullptr, const U8* paStatus = nullptr) {
        Heard += sKey;
        fHeard(sKey, paData, paStatus);
    }
};

class CDataProviderTest : public CDeviceTest {
protected:
    CDataProviderTest() : Provider(*pDevice) {
        for (U32 i = 0; i < RAM_SIZE; i++) {
            Fake.Mem[RAM + i] = U8(i + 1);
        }
    }
    QString Reads() { return Fake.TakeCalls().filter("ReadMem").replaceInStrings("ReadMem", "").join(", "); }

    CDeviceDataProvider Provider;
};

TEST_F(CDataProviderTest, OnlyWhatIsMissingIsReadInPiecesOfItsSize) {
    ConnectHalted(0x100);
    struct ROW {
        QList<QPair<U32, U32>> Known; ///< offset, size
        U32 Off, Size;
        const char* sReads;
    };
    const ROW aRow[] = {
        {{}, 0, 4, "U32 2000ffc0"},
        {{{0, 4}}, 0, 4, ""},
        {{{0, 4}}, 0, 8, "U32 2000ffc4"},
        {{}, 0, 3, "U32 2000ffc0"},
        {{}, 5, 1, "U16 2000ffc4"},
        {{}, 2, 4, "U32 2000ffc0, U16 2000ffc4"},
        {{}, 3, 9, "Ex 2000ffc2 a w0"},
        {{{0x3C, 4}}, 0x38, 0x10, "U32 2000fff8, U64 20010000"},
        {{{4, 4}, {12, 4}, {20, 4}, {28, 4}, {36, 4}},
         0,
         44,
         "U32 2000ffc0, U32 2000ffc8, U32 2000ffd0, U32 2000ffd8, U32 2000ffe0, Ex 2000ffc0 2c w0"},
    };
    for (const ROW& Row : aRow) {
        CAsker Asker;
        for (const auto& [Off, Size] : Row.Known) {
            Provider.ReadMemAsync(&Asker, RAM + Off, Size);
        }
        Pass();
        Reads();
        Asker.Heard.clear();
        Provider.ReadMemAsync(&Asker, RAM + Row.Off, Row.Size);
        Provider.ReadMemAsync(&Asker, RAM + Row.Off, Row.Size);
        Pass();
        EXPECT_EQ(Reads().toStdString(), Row.sReads) << Row.Off << '+' << Row.Size;
        EXPECT_EQ(Asker.Heard.count(CAsker::MemKey(RAM + Row.Off, Row.Size)), *Row.sReads ? 1 : 2);
        Provider.OnDeviceWriteAccess();
    }
}

TEST_F(CDataProviderTest, AnswersOfEachKind) {
    ConnectHalted(0x8000);
    CAsker Asker;
    Fake.Regs[40] = 0xABCD;
    Fake.Poke(0x3000, QByteArray(6, 7)); // 6 bytes, nothing behind them
    const auto Ask = [&](auto&& fAsk) {
        fAsk();
        Pass();
        return Asker.Heard.join("; ");
    };
    EXPECT_EQ(Provider.GetRegsAsync(&Asker, {15}), DATA_VALID);
    EXPECT_EQ(Fake.CountCalls("ReadReg"), 0); // the halt brought it
    EXPECT_EQ(Ask([&] { Provider.GetRegsAsync(&Asker, {40, 15, 200}); }), "reg 15=8000; reg 40=abcd 15=8000 200=-1");
    Asker.Heard.clear();
    EXPECT_EQ(Provider.GetRegsAsync(&Asker, {300}), DATA_ERROR);
    EXPECT_EQ(Provider.GetCPRAsync(&Asker, ARM_CPR{15, {0, 16, 0, 0}}), DATA_ERROR);
    EXPECT_EQ(Provider.ReadLocAsync(&Asker, Location(ELF_LOC_CFA, 0), 4), DATA_ERROR);
    EXPECT_EQ(Provider.ReadMemAsync(&Asker, 0xFFFFFFF0, 32), DATA_ERROR);
    EXPECT_EQ(Asker.Heard.join("; "), "failed reg 300; failed cpr; failed loc; failed fffffff0+32");
    Asker.Heard.clear();
    Provider.ReadLocAsync(&Asker, Location(ELF_LOC_MEM, RAM + 2), 2);
    Provider.ReadLocAsync(&Asker, Location(ELF_LOC_REG, 15), 4);
    Provider.ReadLocAsync(&Asker, Location(ELF_LOC_REG, ELF_REG_SAME_AS_CALLER), 4);
    EXPECT_EQ(Ask([&] { Provider.ReadLocAsync(&Asker, Location(ELF_LOC_MEM, 0x9000), 4); }),
              "loc 00800000; loc 00000000; loc 0304; failed loc");
    QByteArray Status;
    Asker.fHeard = [&](auto&&, auto, const U8* paStatus) { Status = QByteArray((const char*)paStatus, 8).toHex(); };
    Ask([&] { Provider.ReadMemAsync(&Asker, 0x3000, 8, 4, 1, MEM_FLAG_ITEMWISE); });
    EXPECT_EQ(Status, "0000000000000101");
    Asker.fHeard = [](auto...) {};
    pDevice->ClearSessionReady(); // nobody is told of a write now
    pDevice->PostWriteMem(RAM + 2, "AB", 0, 0, 0);
    Asker.Heard.clear();
    Pass();
    EXPECT_EQ(Ask([&] { Provider.ReadLocAsync(&Asker, Location(ELF_LOC_MEM, RAM + 2), 2); }), "loc 4142");
    Asker.Heard.clear();
    Provider.GetRegsAsync(&Asker, {41});
    Resume(); // drops it
    T().State.Caps[CAP_BACKGROUND_MEM] = 0;
    EXPECT_EQ((Provider.ReadMemAsync(&Asker, RAM, 4)), DATA_ERROR); // can't be read without a halt
    EXPECT_EQ(Fake.CountCalls("Halt"), 0);
    EXPECT_EQ(Asker.Heard.join("; "), "failed 2000ffc0+4");
}

// A big-endian word is read as a value, kept as memory has it, and its location gives the value again.
TEST_F(CDataProviderTest, BytesAndValuesOfABigEndianTarget) {
    ConnectHalted(0x8000);
    T().State.DataEndian = ENDIAN_BIG;
    CAsker Asker;
    QByteArray Data;
    Asker.fHeard = [&](auto&&, const U8* paData, auto) {
        Data = paData ? QByteArray((const char*)paData, 4).toHex() : Data;
    };
    Provider.ReadMemAsync(&Asker, RAM, 4);
    Pass();
    EXPECT_EQ(Data, "04030201"); // the probe's value has its lowest byte first
    Provider.ReadLocAsync(&Asker, Location(ELF_LOC_MEM, RAM), 4);
    EXPECT_EQ(Asker.Heard.last(), "loc 01020304");
}

TEST_F(CDataProviderTest, AHundredThousandOpenRequestsOfListenersThatComeAndGo) {
    ConnectHalted(0x100);
    constexpr U32 NUM_REQUESTS = 100'000;
    constexpr int NUM_LISTENERS = 100;
    QMap<U32, U8> Mem;
    for (U32 i = 0; i < NUM_REQUESTS * 8; i++) {
        Mem[0x10000000 + i] = U8(i);
    }
    Fake.Mem = Mem;
    std::vector<std::unique_ptr<CAsker>> Askers;
    U32 NumHeard = 0;
    for (int i = 0; i < NUM_LISTENERS; i++) {
        Askers.push_back(std::make_unique<CAsker>());
        Askers.back()->fHeard = [&](auto...) { NumHeard++; };
    }
    for (U32 i = 0; i < NUM_REQUESTS; i++) {
        Provider.ReadMemAsync(Askers[i % NUM_LISTENERS].get(), 0x10000000 + 8 * i, 4);
    }
    EXPECT_EQ(Provider.GetNumRequests(), qsizetype(NUM_REQUESTS));
    Askers.resize(NUM_LISTENERS / 2);
    EXPECT_EQ(Provider.GetNumRequests(), qsizetype(NUM_REQUESTS / 2));
    Askers[0]->fHeard = [&](auto...) {
        NumHeard++;
        Askers.resize(NUM_LISTENERS / 4); // the others go while they wait
    };
    while (Provider.GetNumRequests() != 0) {
        Pass();
    }
    EXPECT_EQ(NumHeard, NUM_REQUESTS / 4);
}

// Random questions, writes, steps, runs, cancellations and deaths, with the real thread, against a model that knows
// what memory holds and asks for nothing twice.
class CProviderModel : public CDataProviderTest, public CDeviceEventListener {
protected:
    void OnDeviceWriteAccess() override { Renew(); }
    void OnDeviceStepped(U32) override { Renew(); }
    void OnDeviceResumeDone(RESUME_MODES) override {
        IsStill = false;
        Renew();
    }
    void OnDeviceHaltDone(U32, HALT_REASONS) override {
        IsStill = true;
        Renew();
    }
    void OnDeviceWriteMemDone(U32 Addr, U32 NumBytes, U8* paData) override {
        for (U32 i = 0; i < NumBytes; i++) {
            Mem[Addr - RAM + i] = paData[i];
        }
    }
    void OnDeviceWriteMemFailed(U32, U32, U8*) override { Asked.fill(false); }
    void Renew() { // what listeners wait for is dropped, nothing is known
        Awaited.clear();
        Asked.fill(false, RAM_SIZE);
    }
    U32 Random(U32 Below) { return U32(Rng() % Below); }

    void Check(CAsker* pAsker, const QString& sKey, const U8* paData, const U8* paStatus) {
        if (!paStatus) {
            return;
        }
        ASSERT_TRUE(Awaited.remove({pAsker, sKey})) << sKey.toStdString();
        const U32 Addr = sKey.section('+', 0, 0).toUInt(nullptr, 16);
        for (U32 i = 0; i < sKey.section('+', 1).toUInt() && IsStill; i++) {
            const bool IsHole = Addr + i - RAM == Hole;
            ASSERT_EQ(paStatus[i], IsHole) << sKey.toStdString() << " byte " << i;
            ASSERT_EQ(paData[i], IsHole ? 0 : Mem[Addr + i - RAM]) << sKey.toStdString() << " byte " << i;
        }
        if (!IsAsking && Random(8) == 0) {
            AskMem(Askers[Random(U32(Askers.size()))].get());
        }
    }
    void AddAsker() {
        Askers.push_back(std::make_unique<CAsker>());
        CAsker* pAsker = Askers.back().get();
        pAsker->fHeard = [this, pAsker](auto&&... Args) { Check(pAsker, Args...); };
    }
    void AskMem(CAsker* pAsker) {
        const U32 Off = Random(RAM_SIZE - 1);
        const U32 Size = 1 + Random(std::min(40u, RAM_SIZE - Off));
        const U32 Flags = MEM_FLAG_ITEMWISE | (Random(10) == 0 ? MEM_FLAG_REFRESH : 0);
        const auto NumMissing = std::count(Asked.begin() + Off, Asked.begin() + Off + Size, false);
        std::fill_n(Asked.begin() + Off, Size, true);
        Awaited.insert({pAsker, CAsker::MemKey(RAM + Off, Size)});
        const U64 SeqNo = pDevice->Queue().LastSeqNo();
        const bool IsKnownGood = !(Flags & MEM_FLAG_REFRESH) && IsStill && !HasCancelled;
        IsAsking = true; // the jobs are to be those of this question
        Provider.ReadMemAsync(pAsker, RAM + Off, Size, 1, 1, Flags);
        IsAsking = false;
        // Each job brings bytes that nobody has asked for; from the sixth stretch on one reads all of the range.
        if (IsKnownGood) {
            ASSERT_LE(pDevice->Queue().LastSeqNo() - SeqNo, U64(std::min<qsizetype>(NumMissing, 6)));
        }
    }
    void AskLoc(CAsker* pAsker) { // stays wanted when windows' reads are cancelled
        pAsker->Heard.removeIf([](const QString& s) { return s.startsWith("loc"); });
        const U32 Off = 4 * (1 + Random(RAM_SIZE / 4 - 1));
        Provider.ReadLocAsync(pAsker, Location(ELF_LOC_MEM, RAM + Off), 4);
    }
    void Settle() {
        CJobQueue& Queue = pDevice->Queue();
        while (!Queue.IsIdle() || Queue.Counters().NumStarted != Queue.NumFinished() ||
               !pDevice->EventRing().IsEmpty()) {
            Clock.Advance(60);
            pDevice->DeliverEvents(10);
        }
        ASSERT_TRUE(Awaited.isEmpty()) << Awaited.begin()->second.toStdString();
        HasCancelled = false;
    }
    void Write() {
        const U32 Off = 4 * (1 + Random(RAM_SIZE / 4 - 1)); // not over the hole
        pDevice->PostWriteMem(RAM + Off, QByteArray(4, char(Rng())), 0, 0, 0);
        if (Random(4) == 0) {
            std::lock_guard Lock(Fake.Mutex);
            Fake.Answers["WriteU32"].push_back(-1);
        }
    }
    void RunAndHalt() {
        Settle();
        pDevice->PostContinue();
        HasCancelled = true;
        while (IsStill) {
            pDevice->DeliverEvents(10);
        }
        for (int i = 0; i < 5; i++) {
            AskMem(Askers[Random(U32(Askers.size()))].get());
        }
        Settle();
        {
            std::lock_guard Lock(Fake.Mutex);
            Fake.HaltStatus = 1;
            Mem[8] = Fake.Mem[RAM + 8] = U8(Rng());
        }
        while (!IsStill) {
            Clock.Advance(60);
            pDevice->Queue().Wake();
            pDevice->DeliverEvents(10);
        }
    }
    void SyncRead() {
        U32 Word = 0;
        const U32 Off = 4 * (1 + Random(RAM_SIZE / 4 - 1));
        ASSERT_EQ(Provider.GetMemSync(RAM + Off, 4, reinterpret_cast<U8*>(&Word)), DATA_VALID);
        std::fill_n(Asked.begin() + Off, 4, true);
        for (U32 i = 0; i < 4; i++) {
            ASSERT_EQ(U8(Word >> (8 * i)), Mem[Off + i]) << Off;
        }
    }

    static constexpr U32 Hole = 1;
    std::mt19937 Rng{20261123};
    std::array<U8, RAM_SIZE> Mem{};
    QList<bool> Asked;
    QSet<std::pair<CAsker*, QString>> Awaited;
    bool HasCancelled = false;
    bool IsStill = true; ///< as far as events tell
    bool IsAsking = false;
    std::vector<std::unique_ptr<CAsker>> Askers;
};

TEST_F(CProviderModel, AgreesWithReadingEverythingAnew) {
    Fake.Mem.remove(RAM + Hole);
    for (U32 i = 0; i < RAM_SIZE; i++) {
        Mem[i] = U8(i + 1);
    }
    Renew();
    ConnectHalted(0x100);
    pDevice->start();
    for (int i = 0; i < 6; i++) {
        AddAsker();
    }
    const int NumSteps = qEnvironmentVariableIntValue("BRASK_MODEL_STEPS");
    for (int i = 0; i < (NumSteps ? NumSteps : 20'000) && !HasFatalFailure(); i++) {
        switch (const U32 What = Random(100)) {
        case 0:
            RunAndHalt();
            break;
        case 1: {
            const size_t Idx = Random(U32(Askers.size()));
            Awaited.removeIf([&](const auto& Entry) { return Entry.first == Askers[Idx].get(); });
            Askers.erase(Askers.begin() + Idx);
            AddAsker();
            break;
        }
        case 2:
            Settle();
            Provider.OnDeviceWriteAccess();
            Renew();
            AskLoc(Askers[0].get());
            AskMem(Askers[1].get());
            Provider.CancelAllReads();
            Awaited.clear();
            Settle();
            ASSERT_EQ(Askers[0]->Heard.filter("loc").size(), 1);
            Asked.fill(false);
            HasCancelled = true;
            break;
        case 3:
            pDevice->PostStepInst();
            HasCancelled = true;
            break;
        case 4:
        case 5:
            Write();
            break;
        case 6:
        case 7:
            Settle();
            SyncRead();
            break;
        default:
            What % 2 ? AskMem(Askers[Random(U32(Askers.size()))].get()) : void(pDevice->DeliverEvents(int(What % 5)));
            break;
        }
    }
    Settle();
    pDevice->RequestStop();
    pDevice->wait();
}

} // namespace
