// The configuration, its XML text, and what follows from single values.

#include "device/TraceConfig.h"
#include "tests/device/DeviceFixture.h"

namespace {

class CConfigTest : public CDeviceTest {
protected:
    int Number(DEV_CONFIG_PARAMS Param) { return pDevice->GetConfigParam(Param); }
};

} // namespace

TEST_F(CConfigTest, TheTextSurvivesARoundTrip) {
    T().Connection.SetConfigParam(DEV_CFG_HOST_IF, 2);
    T().Connection.SetConfigParam(DEV_CFG_USB_SN, 0x12345678);
    T().Connection.SetConfigParam(DEV_CFG_TARGET_IF, 1);
    T().Connection.SetConfigParam(DEV_CFG_SPEED, 4000000);
    T().Connection.SetConfigParam(DEV_CFG_IR_PRE, 4);
    T().Connection.SetConfigParam(DEV_CFG_HOST_NAME, "probe & co");
    T().Connection.SetConfigParam(DEV_CFG_DEVICE_NAME, "Fake Device 2");
    const QByteArray sXml = pDevice->GetConfigXml();
    EXPECT_TRUE(sXml.contains("<DeviceName>\"Fake Device 2\"</DeviceName>")) << sXml.constData();
    EXPECT_TRUE(sXml.contains("<Speed>4000</Speed>"));
    EXPECT_TRUE(sXml.contains("<USBSerialNo>0x12345678</USBSerialNo>"));
    EXPECT_LT(sXml.indexOf("<HostInterface>"), sXml.indexOf("<TargetDevice>"));

    CDevice Other(Fake.Funcs, Clock);
    EXPECT_EQ(Other.Target().Connection.Configure(sXml.constData()), 0);
    EXPECT_EQ(Other.GetConfigXml(), sXml);
    EXPECT_EQ(Other.GetConfigParam(DEV_CFG_DEVICE), 2);
    EXPECT_EQ(Other.GetConfigText(DEV_CFG_DEVICE_NAME), QByteArray("Fake Device 2"));
    EXPECT_EQ(Other.GetConfigText(DEV_CFG_HOST_NAME), QByteArray("probe & co"));
    EXPECT_EQ(Other.GetConfigParam(DEV_CFG_IR_PRE), 4);
}

TEST_F(CConfigTest, MissingAndUnreadableValuesHaveTheirDefaults) {
    T().Connection.SetConfigParam(DEV_CFG_TARGET_IF, 0);
    T().Connection.SetConfigParam(DEV_CFG_IR_PRE, 4);
    ASSERT_EQ(T().Connection.Configure("<Any><Deep><Er><DRPre>010</DRPre></Er></Deep><IRPre>x</IRPre>"
                                       "<Speed>auto</Speed><Endian/></Any>"),
              0);
    EXPECT_EQ(Number(DEV_CFG_DR_PRE), 8);
    EXPECT_EQ(Number(DEV_CFG_IR_PRE), 0);
    EXPECT_EQ(Number(DEV_CFG_HOST_IF), 1);
    EXPECT_EQ(Number(DEV_CFG_TARGET_IF), 1);
    EXPECT_EQ(Number(DEV_CFG_DEVICE), -1);
    EXPECT_EQ(Number(DEV_CFG_SPEED), 0);
    EXPECT_EQ(Listener.Heard.size(), 0);
    EXPECT_TRUE(Pass().contains("ConfigParamChanged a 8"));
}

TEST_F(CConfigTest, DamagedTextIsRefused) {
    QByteArray sDeep;
    for (int i = 0; i < 100000; i++) {
        sDeep += "<a>";
    }
    for (const QByteArray& sText : {QByteArray(""), QByteArray("no xml"), QByteArray("<a><b></a>"), QByteArray("<a"),
                                    QByteArray("<!-- -->"), sDeep}) {
        EXPECT_EQ(T().Connection.Configure(sText.constData()), -1) << sText.left(20).constData();
    }
    EXPECT_EQ(Number(DEV_CFG_HOST_IF), 1);
}

TEST_F(CConfigTest, SpeedHasThreeViews) {
    struct {
        DEV_CONFIG_PARAMS Param;
        int Value, Speed, Max, Adaptive;
    } const aCases[] = {
        {DEV_CFG_SPEED, 65535, 65535, 0, 1}, {DEV_CFG_SPEED, 0, 0, 1, 0},     {DEV_CFG_SPEED, 1000000, 1000000, 0, 0},
        {DEV_CFG_ADAPTIVE, 1, 65535, 0, 1},  {DEV_CFG_MAX_SPEED, 1, 0, 1, 1}, {DEV_CFG_ADAPTIVE, 0, 0, 1, 0},
    };
    for (const auto& Case : aCases) {
        T().Connection.SetConfigParam(Case.Param, Case.Value);
        EXPECT_EQ(Number(DEV_CFG_SPEED), Case.Speed) << Case.Param;
        EXPECT_EQ(Number(DEV_CFG_MAX_SPEED), Case.Max) << Case.Param;
        EXPECT_EQ(Number(DEV_CFG_ADAPTIVE), Case.Adaptive) << Case.Param;
    }
    EXPECT_EQ(*pDevice->GetConfigParamPtr(DEV_CFG_SPEED), 0);
    EXPECT_EQ(T().Connection.SetConfigParam(DEV_CONFIG_PARAMS(15), 1), -1);
    EXPECT_EQ(T().Connection.SetConfigParam(DEV_CONFIG_PARAMS(-1), 1), -1);
    EXPECT_EQ(T().Connection.SetConfigParam(DEV_CONFIG_PARAMS(20), "x"), -1);
}

TEST_F(CConfigTest, FamiliesFollowFromCoreIdentifiers) {
    struct {
        U32 Core;
        int Family;
        U32 InstSet;
        const char* sArchitecture;
    } const aCases[] = {
        {0x0E0200FF, DF_CORTEX_M4, 2, "ARMv8M"}, {0x060000FF, DF_CORTEX_M0, 2, "ARMv6M"}, {0x070000FF, DF_ARM7, 1, ""},
        {0x0D20FFFF, DF_CORTEX_R4, 2, ""},       {0x12345678, DF_UNKNOWN, 2, ""},
    };
    for (const auto& Case : aCases) {
        EXPECT_EQ(GetFamilyOfCore(Case.Core), Case.Family);
        EXPECT_EQ(GetInstSetOfFamily(Case.Family), Case.InstSet);
        EXPECT_STREQ(GetArchitectureText(Case.Core), Case.sArchitecture);
    }
}

TEST_F(CConfigTest, CapabilitiesFollowFromTheHardware) {
    struct {
        int TargetIF, HasSWO;
        U32 Core;
        const char* sError;
    } const aCases[] = {
        {1, 1, NOVIK_CORE_CORTEX_M4, ""},
        {0, 1, NOVIK_CORE_CORTEX_M4, "SWO trace: target interface not set to SWD"},
        {1, 0, NOVIK_CORE_CORTEX_M4, "Novik emulator does not support SWO."},
        {1, 1, NOVIK_CORE_ARM7TDMI, "SWO trace: not a Cortex-M target device"},
    };
    for (const auto& Case : aCases) {
        Fake.Core = Case.Core;
        ConnectHalted(0x8000);
        T().Config.SetNumber(DEV_CFG_TARGET_IF, Case.TargetIF);
        Fake.Answers["HasCapEx"] = {Case.HasSWO};
        T().Info.UpdateHWCapabilityFlags();
        EXPECT_EQ(pDevice->Facts().SwoError.Get(), QByteArray(Case.sError));
        EXPECT_EQ(pDevice->HasCapability(CAP_SWO), *Case.sError == 0);
        Fake.Answers.clear();
    }
    EXPECT_TRUE(pDevice->HasCapability(CAP_BACKGROUND_MEM)); // the query is missing
    Fake.HasEntryPoints = true;
    T().Info.UpdateNovikFuncPtrs();
    T().Info.UpdateHWCapabilityFlags();
    EXPECT_FALSE(pDevice->HasCapability(CAP_BACKGROUND_MEM));
}

TEST(TraceConfig, DelaysOfTheLinesInUse) {
    struct {
        int Width;
        std::array<I32, 4> Delays;
        const char* sText;
    } const aCase[] = {
        {4, {2000, 2000, 2000, 2000}, "TraceSampleAdjust TD = 2000"},
        {1, {-5, 1, 2, 3}, "TraceSampleAdjust TD = -5"},
        {2, {1, 1, 2, 3}, "TraceSampleAdjust TD = 1"},
        {2, {1, 2, 2, 2}, "TraceSampleAdjust TD0 = 1 TD1 = 2 "},
        {4, {1, 2, 3, 4}, "TraceSampleAdjust TD0 = 1 TD1 = 2 TD2 = 3 TD3 = 4"},
    };
    for (const auto& Case : aCase) {
        EXPECT_EQ(TraceSampleAdjustCommand(Case.Width, Case.Delays).toStdString(), Case.sText);
    }
}
