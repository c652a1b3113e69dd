#include "settings/SysVarText.h"
#include "settings/SysVars.h"

#include <QMap>
#include <QSet>
#include <gtest/gtest.h>
#include <limits>

// System variables and preferences: the rows, their texts, and which rows count as set.

class SysVars : public ::testing::Test {
protected:
    void SetUp() override { InitSysVars(); }
    void TearDown() override {
        BindDeviceSysVars(nullptr, nullptr, nullptr);
        InitSysVars();
    }
};

TEST_F(SysVars, EachRowIsCompleteAndItsDefaultIsOneOfItsValues) {
    QSet<QString> Names;
    ASSERT_EQ(SYS_VAR_COUNT, 57);
    for (int i = 0; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR* pVar = GetSysVar(i);
        const QString sName = pVar->sName;
        EXPECT_TRUE(sName.startsWith(i < 22 ? "VAR_" : "PREF_")) << pVar->sName;
        EXPECT_FALSE(Names.contains(sName)) << pVar->sName;
        Names.insert(sName);
        EXPECT_FALSE(QString(pVar->sDescription).isEmpty());
        EXPECT_FALSE(QString(pVar->sKey).isEmpty());
        EXPECT_EQ(FindSysVar(sName.toLower()), pVar);
        EXPECT_EQ(FindSysVar(QString::number(i)), pVar);
        EXPECT_EQ(SysVarIndex(pVar), i);
        EXPECT_EQ(pVar->pType->pfReserved(pVar), 0);
        I64 Min = 0;
        I64 Max = 0;
        const bool IsRange = GetSysVarLimits(pVar, &Min, &Max);
        EXPECT_EQ(IsRange, !IsSelectionSysVar(pVar)) << pVar->sName;
        EXPECT_EQ(SysVarNames(pVar).isEmpty(), IsRange);
        EXPECT_EQ(SysVarNames(pVar).size(), SysVarValues(pVar).size());
        if (IsRange && !IsTextSysVar(pVar)) {
            EXPECT_TRUE(*pVar->pDefault >= Min && *pVar->pDefault <= Max) << pVar->sName;
        } else if (!IsRange) {
            EXPECT_TRUE(SysVarValues(pVar).contains(*pVar->pDefault)) << pVar->sName;
        }
        EXPECT_FALSE(IsSysVarSet(pVar)) << pVar->sName;
    }
}

TEST_F(SysVars, SelectionsAreReadAndShownByTheirNames) {
    for (int i = 0; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR* pVar = GetSysVar(i);
        for (qsizetype n = 0; n < SysVarNames(pVar).size(); ++n) {
            const QString sName = SysVarNames(pVar)[n];
            bool Ok = false;
            EXPECT_EQ(ParseSysVar(pVar, sName.toUpper(), &Ok), SysVarValues(pVar)[n])
                << pVar->sName << qPrintable(sName);
            EXPECT_TRUE(Ok);
            EXPECT_EQ(SysVarText(pVar, SysVarValues(pVar)[n]), sName) << pVar->sName;
        }
    }
}

TEST_F(SysVars, ReadingTexts) {
    struct ROW {
        int Var;
        const char* sText;
        bool IsOk;
        I32 Value;
    };
    const ROW aRow[] = {
        {VAR_RESET_MODE, "reset & halt", true, 0},
        {VAR_RESET_MODE, "  Reset & Run ", true, 2},
        {VAR_RESET_MODE, "2", true, 2},
        {VAR_RESET_MODE, "0x1", true, 1},
        {VAR_RESET_MODE, "3", false, 0},
        {VAR_RESET_MODE, "-1", false, 0},
        {VAR_RESET_MODE, "4294967297", false, 0},
        {VAR_RESET_MODE, "reset", false, 0},
        {VAR_RESET_MODE, "", false, 0},
        {VAR_TIF_SPEED, "4 MHz", true, 4000000},
        {VAR_TIF_SPEED, "4000000", true, 4000000},
        {VAR_TIF_SPEED, "adaptive speed", true, 65535},
        {VAR_TIF_SPEED, "65535", true, 65535},
        {VAR_TIF_SPEED, "7 MHz", false, 0},
        {VAR_HSS_SPEED, "max", true, 0},
        {VAR_TIF_SCAN_CHAIN_LEN, "1000000000", true, 1000000000},
        {VAR_TIF_SCAN_CHAIN_LEN, "1000000001", false, 0},
        {VAR_TIF_SCAN_CHAIN_LEN, "-1", false, 0},
        {VAR_SWO_SPEED, "1.5 MHz", true, 1500000},
        {VAR_SWO_SPEED, "200 kHz", true, 200000},
        {VAR_SWO_SPEED, "auto", true, 0},
        {VAR_SWO_SPEED, "0x100", true, 256},
        {VAR_SWO_SPEED, "2 parsecs", false, 0},
        {VAR_SWO_SPEED, "2100 MHz", false, 0},
        {VAR_TRACE_PORT_DELAY_0, "-100000", true, -100000},
        {VAR_TRACE_PORT_DELAY_0, "100000", true, 100000},
        {VAR_TRACE_PORT_DELAY_0, "-100001", false, 0},
        {PREF_TAB_SPACING, "8", true, 8},
        {PREF_TAB_SPACING, "9", false, 0},
        {PREF_MAX_SYMBOL_MEMBERS, "100000", true, 100000},
        {PREF_MAX_SYMBOL_MEMBERS, "100001", false, 0},
        {PREF_MAX_SYMBOL_MEMBERS, "99999999999999999999", false, 0},
        {VAR_BREAK_AT_THIS_SYMBOL, "main", false, 0},
    };
    for (const ROW& Row : aRow) {
        InitSysVars();
        const SYS_VAR* pVar = GetSysVar(Row.Var);
        const I32 Before = SysVarValue(Row.Var);
        bool Ok = !Row.IsOk;
        const I32 Value = ParseSysVar(pVar, Row.sText, &Ok);
        EXPECT_EQ(Ok, Row.IsOk) << pVar->sName << " " << Row.sText;
        if (Row.IsOk) {
            EXPECT_EQ(Value, Row.Value) << pVar->sName << " " << Row.sText;
        }
        EXPECT_EQ(SysVarValue(Row.Var), Before) << "reading doesn't store";
        EXPECT_EQ(IsSysVarSet(pVar), Row.IsOk) << pVar->sName << " " << Row.sText;
    }
}

TEST_F(SysVars, DirectInputOfNumbersReportsWhatIsWrong) {
    struct ROW {
        int Var;
        const char* sText;
        int Result;
        I32 Value;
        const char* sError;
    };
    const ROW aRow[] = {
        {PREF_MAX_SYMBOL_MEMBERS, " \t0X20", 0, 32, ""},
        {PREF_MAX_SYMBOL_MEMBERS, "77abc", 0, 77, ""},
        {PREF_MAX_SYMBOL_MEMBERS, "abc", -1, 512, "  ***ERROR: Expected a dec value\n\n"},
        {PREF_MAX_SYMBOL_MEMBERS, "-1", -1, 512, "  ***ERROR: Expected a dec value\n\n"},
        {PREF_MAX_SYMBOL_MEMBERS, "0xg", -1, 512, "  ***ERROR: Expected a hex value\n\n"},
        {PREF_MAX_SYMBOL_MEMBERS, "100001", -1, 512, "  ***ERROR: The value is out of range (Min: 0, Max: 100000)\n\n"},
        {VAR_TRACE_PORT_DELAY_1, "-100000", 0, -100000, ""},
        {VAR_TRACE_PORT_DELAY_1, "-100001", -1, 2000,
         "  ***ERROR: The value is out of range (Min: -100000, Max: 100000)\n\n"},
        {VAR_SWO_SPEED, "4 MHz", 0, 4000000, ""},
        {VAR_RESET_MODE, "Reset & Run", 0, 2, ""},
        {VAR_RESET_MODE, "7", -1, 0, ""},
    };
    for (const ROW& Row : aRow) {
        InitSysVars();
        const SYS_VAR* pVar = GetSysVar(Row.Var);
        QString sError;
        EXPECT_EQ(pVar->pType->pfFromText(pVar, Row.sText, &sError), Row.Result) << pVar->sName << Row.sText;
        EXPECT_EQ(SysVarValue(Row.Var), Row.Value) << pVar->sName << Row.sText;
        EXPECT_EQ(sError, QString(Row.sError));
        pVar->pType->pfFromText(pVar, Row.sText, nullptr);
    }
}

TEST_F(SysVars, Speeds) {
    const std::pair<const char*, I32> aText[] = {{"auto", 0},
                                                 {"Auto Speed", 0},
                                                 {"ADAPTIVE", 65535},
                                                 {"4 MHz", 4000000},
                                                 {"4MHz", 4000000},
                                                 {"0.5 kHz", 500},
                                                 {"100000 Hz", 100000},
                                                 {" 1 hz ", 1},
                                                 {"2147 MHz", 2147000000},
                                                 {"2148 MHz", -1},
                                                 {"-1 MHz", -1},
                                                 {"MHz", -1},
                                                 {"4", -1},
                                                 {"", -1},
                                                 {"nan MHz", -1},
                                                 {"inf Hz", -1},
                                                 {"1e300 Hz", -1}};
    for (const auto& [sText, Speed] : aText) {
        EXPECT_EQ(ParseSpeed(sText), Speed) << sText;
    }
    const std::pair<U32, const char*> aSpeed[] = {
        {0, "auto"},         {1, "1 Hz"},        {999, "999 Hz"},         {1000, "1 kHz"},         {65535, "65535 Hz"},
        {999000, "999 kHz"}, {1000000, "1 MHz"}, {1500000, "1500000 Hz"}, {2000000000, "2000 MHz"}};
    for (const auto& [Speed, sText] : aSpeed) {
        EXPECT_EQ(SpeedText(Speed), sText);
        EXPECT_EQ(ParseSpeed(SpeedText(Speed)), static_cast<I32>(Speed));
    }
}

TEST_F(SysVars, TextRowKeepsWhatFitsItsBuffer) {
    const SYS_VAR* pVar = GetSysVar(VAR_BREAK_AT_THIS_SYMBOL);
    EXPECT_EQ(SetSysVarText(pVar, "Reset_Handler"), 0);
    EXPECT_EQ(SysVarText(pVar), "Reset_Handler");
    EXPECT_TRUE(IsSysVarSet(pVar));
    EXPECT_EQ(SetSysVarText(pVar, QString(300, 'x')), 0);
    EXPECT_EQ(SysVarText(pVar), QString(99, 'x'));
    EXPECT_EQ(SetSysVarText(pVar, QString(300, QChar(0xE4))), 0);
    EXPECT_EQ(SysVarText(pVar), QString(49, QChar(0xE4))) << "no half character is left at the end";
    EXPECT_EQ(SetSysVar(pVar, 5, true), -1);
    EXPECT_EQ(SetSysVarText(GetSysVar(VAR_RESET_MODE), "1"), -1);
    ResetProjectSysVars();
    EXPECT_EQ(SysVarText(pVar), "main");
    EXPECT_FALSE(IsSysVarSet(pVar));
}

TEST_F(SysVars, StoredCopiesFollowOnlyWhenAsked) {
    const SYS_VAR* pVar = GetSysVar(PREF_TAB_SPACING);
    EXPECT_EQ(SetSysVar(pVar, 4, false), 0);
    EXPECT_EQ(*pVar->pStored, 2);
    EXPECT_EQ(SetSysVar(pVar, 5, true), 0);
    EXPECT_EQ(*pVar->pStored, 5);
    EXPECT_EQ(*pVar->pDefault, 2);
}

TEST_F(SysVars, AProjectsResetLeavesThePreferences) {
    for (int i = 0; i < SYS_VAR_COUNT; ++i) {
        SetSysVar(GetSysVar(i), 1, true);
    }
    ResetProjectSysVars();
    for (int i = 0; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR* pVar = GetSysVar(i);
        if (!IsTextSysVar(pVar)) {
            EXPECT_EQ(SysVarValue(i), i < 22 ? *pVar->pDefault : 1) << pVar->sName;
        }
        EXPECT_EQ(IsSysVarSet(pVar), i >= 22) << pVar->sName;
    }
}

TEST_F(SysVars, ThreeRowsLiveInTheDeviceConfiguration) {
    I32 aDevice[3] = {1, 2, 3};
    BindDeviceSysVars(&aDevice[0], &aDevice[1], &aDevice[2]);
    InitSysVars();
    EXPECT_EQ(aDevice[0] | aDevice[1] | aDevice[2], 0);
    for (int i = 0; i < 3; ++i) {
        SetSysVar(GetSysVar(VAR_TIF_SPEED + i), 10 + i, false);
        EXPECT_EQ(aDevice[i], 10 + i);
        aDevice[i] = 20 + i;
        EXPECT_EQ(SysVarValue(VAR_TIF_SPEED + i), 20 + i);
    }
}

TEST_F(SysVars, RowsThatDoNotExist) {
    for (const char* sText : {"57", "-1", "", "VAR_", "PREF_TAB_SPACIN", "4294967296"}) {
        EXPECT_EQ(FindSysVar(sText), nullptr) << sText;
    }
    bool Ok = true;
    EXPECT_EQ(ParseSysVar(nullptr, "1", &Ok), -1);
    EXPECT_FALSE(Ok);
    EXPECT_EQ(SetSysVar(nullptr, 1, true), -1);
    EXPECT_EQ(SetSysVarText(nullptr, "x"), -1);
    EXPECT_TRUE(SysVarText(nullptr).isEmpty());
    EXPECT_TRUE(SysVarRange(nullptr).isEmpty());
    EXPECT_TRUE(SysVarNames(nullptr).isEmpty());
    EXPECT_EQ(SysVarIndex(nullptr), -1);
    EXPECT_EQ(GetSysVar(57), nullptr);
    EXPECT_EQ(SysVarRange(GetSysVar(VAR_TRACE_PORT_DELAY_3)), "-100000 - 100000");
    EXPECT_TRUE(SysVarRange(GetSysVar(VAR_RESET_MODE)).isEmpty());
}
