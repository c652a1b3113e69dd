#include "command/CommandParams.h"
#include "tests/command/CommandFixture.h"

// A script's call of a command: 64-bit values become argument text.

namespace {

const char sScriptText[] = "main.c:10";
QList<U32> Waited;
bool MayCall = true;
bool IsRefused = false;

I64 TextArg() { return reinterpret_cast<I64>(sScriptText); }

} // namespace

class ScriptCalls : public CCommandTest {
protected:
    void SetUp() override {
        Waited.clear();
        MayCall = true;
        IsRefused = false;
        COMMAND_HOST Host;
        Host.pfScriptText = [](I64 Value) { return Value == TextArg() ? sScriptText : nullptr; };
        Host.pfMayCall = [](U32) { return MayCall; };
        Host.pfMarkDevice = [] { return U64(7); };
        Host.pfWaitForDevice = [](U32 Id, U64 Mark) {
            Waited.append(Id);
            return Mark == 7 && !IsRefused ? 0 : -1;
        };
        CCommandTable::SetHost(Host);
    }

    /// Runs the handler; the arguments that the slot saw go to *pSeen.
    I32 Call(U32 Id, const QList<I64>& Args, QStringList* pSeen, I32 SlotResult = 7) {
        QAction* pAction = AddAction(Id);
        QObject::connect(pAction, &QAction::triggered, m_pOwner.get(), [=] {
            *pSeen = CCommandTable::GetArgs(Id);
            CCommandTable::SetResult(Id, SlotResult);
        });
        const I32 Result = CCommandTable::GetRow(Id).pfHandler(Args.constData(), static_cast<U32>(Args.size()));
        delete pAction;
        return Result;
    }
};

TEST_F(ScriptCalls, ArgumentsBecomeTextByTheirKind) {
    struct ROW {
        U32 Id;
        QList<I64> Args;
        QStringList Text;
    };
    const ROW aRow[] = {
        {3, {TextArg(), 0x20}, {"main.c:10", "0x00000020"}},
        {35, {-1}, {"0xFFFFFFFF"}},
        {35, {0x123456789A}, {"0x123456789A"}}, // the command refuses what doesn't fit
        {35, {INT64_MIN}, {"-9223372036854775808"}},
        {151, {0x20000000, 0xAB}, {"0x20000000", "0xAB"}},
        {149, {TextArg(), -1}, {"main.c:10", "0xFFFFFFFF"}},
        {38, {1}, {"RM_BREAK_AT_SYMBOL"}},
        {38, {9}, {"0x9"}},
        {39, {2}, {"CM_ATTACH_HALT"}},
        {139, {0x100, 2}, {"0x00000100", "BP_TYPE_SOFT"}},
        {23, {TextArg(), 16}, {"main.c:10", "DISPLAY_FORMAT_HEX"}},
        {160, {4}, {"AW_WORD"}},
        {130, {0x20000000, 0, 2, 4, 0, 0}, {"0x20000000", "0x0", "AT_READ_WRITE", "0x4", "0x0", "0x0"}},
        {109, {-1, 0xFFFFFF9C, 0, 2000}, {"-1", "-100", "0x0", "0x7D0"}},
        {24, {}, {}},
    };
    for (const ROW& Row : aRow) {
        QStringList Seen = {"not called"};
        EXPECT_EQ(Call(Row.Id, Row.Args, &Seen), 7) << Row.Id;
        EXPECT_EQ(Seen, Row.Text) << Row.Id << " " << qPrintable(Seen.join("|"));
    }
}

TEST_F(ScriptCalls, EveryHandlerTakesZerosAndRunsItsOwnRow) {
    for (const COMMAND_PARAM_ROW& Params : CommandParamRows) {
        QList<I64> Args;
        for (int i = 0; i < CCommandTable::GetParamCount(Params.Id); ++i) {
            Args.append(Params.aKind[i] == PK_TEXT ? TextArg() : 0);
        }
        QStringList Seen;
        EXPECT_EQ(Call(Params.Id, Args, &Seen, static_cast<I32>(Params.Id)), static_cast<I32>(Params.Id));
        EXPECT_EQ(Seen.size(), Args.size()) << Params.Id;
    }
    EXPECT_EQ(Waited.size(), static_cast<qsizetype>(NUM_COMMAND_PARAM_ROWS));
}

TEST_F(ScriptCalls, ANumberInPlaceOfATextIsRefused) {
    QStringList Seen = {"not called"};
    EXPECT_EQ(Call(2, {0x1234}, &Seen), -1);
    EXPECT_EQ(Seen, QStringList{"not called"});
    EXPECT_EQ(TakeConsole(), QStringList{"Invalid user function parameter: 0x1234 (4660)"});
    EXPECT_TRUE(Waited.isEmpty());
}

TEST_F(ScriptCalls, ACallThatCanDoNothingReturnsAtOnce) {
    MayCall = false;
    QStringList Seen = {"not called"};
    EXPECT_EQ(Call(154, {0}, &Seen), -1);
    EXPECT_EQ(Seen, QStringList{"not called"});
    EXPECT_TRUE(TakeConsole().isEmpty());
}

TEST_F(ScriptCalls, TheScriptWaitsForTheDeviceOnlyBehindSuccess) {
    QStringList Seen;
    EXPECT_EQ(Call(154, {0}, &Seen, -1), -1);
    EXPECT_TRUE(Waited.isEmpty());
    EXPECT_EQ(Call(154, {0}, &Seen, 0), 0);
    EXPECT_EQ(Waited, QList<U32>{154});
    AddAction(30);
    CCommandTable::SetCommandEnabled(30, true, false);
    EXPECT_EQ(CCommandTable::GetRow(30).pfHandler(nullptr, 0), -1) << "a disabled command";
    EXPECT_EQ(Waited.size(), 1);
}
