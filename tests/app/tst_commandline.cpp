#include "app/CommandLine.h"
#include "app/StatusBar.h"

#include <gtest/gtest.h>

namespace {

QString Describe(const CMD_LINE_PARAMS& Params) {
    const std::pair<const char*, QString> aField[] = {
        {"device", Params.Device},       {"host", Params.HostIF},     {"ident", Params.HostIdent},
        {"if", Params.TargetIF},         {"speed", Params.Speed},     {"data", Params.DataFile},
        {"project", Params.ProjectFile}, {"log", Params.LogFile},     {"interval", Params.LogInterval},
        {"script", Params.ScriptFile},   {"jtag", Params.JTAGConfig}, {"debug", Params.DebugMode ? "on" : ""}};
    QStringList Set;
    for (const auto& [sName, sValue] : aField) {
        if (!sValue.isEmpty()) {
            Set.append(QLatin1String(sName) + QLatin1Char('=') + sValue);
        }
    }
    return Set.join(QLatin1String(" | "));
}

struct PARSE_CASE {
    QStringList Args;
    const char* sFields; ///< all fields that are set
};

} // namespace

TEST(CommandLine, OptionsFillTheirFieldsAndNothingElse) {
    const PARSE_CASE aCase[] = {
        {{}, ""},
        {{"-device", "STM32F407IG"}, "device=STM32F407IG"},
        {{"--device", "X"}, "device=X"},
        {{"-DEVICE", "X"}, "device=X"},
        {{"---Device", "X"}, "device=X"},
        {{"-device", "  X  "}, "device=X"},
        {{"-device", "\"A B\""}, "device=A B"},
        {{"-device"}, ""},
        {{"-device", "-debug"}, "debug=on"},
        {{"-logfile", "-debug"}, "debug=on"},
        {{"device", "X"}, ""},
        {{"-unknown", "X", "-if", "SWD"}, "if=SWD"},
        {{"-usb"}, "host=USB"},
        {{"-usb", "100000001"}, "host=USB | ident=100000001"},
        {{"-usb", "-if", "JTAG"}, "host=USB | if=JTAG"},
        {{"-ip"}, "host=IP"},
        {{"-ip", "localhost:19020"}, "host=IP | ident=localhost:19020"},
        {{"-select", "USB=123"}, "host=USB | ident=123"},
        {{"-select", "IP=Host.Example"}, "host=IP | ident=host.example"},
        {{"-select", "usb"}, "host=USB"},
        {{"-select", "IP"}, "host=IP"},
        {{"-select", "serial"}, ""},
        {{"-select"}, ""},
        {{"-speed", "4000"}, "speed=4000"},
        {{"-tarvik"}, "device=MK66FN2M0XXX18 | if=SWD | speed=2000"},
        {{"-tarvik", "-speed", "100"}, "device=MK66FN2M0XXX18 | if=SWD | speed=100"},
        {{"-programfile", "a.elf", "-datafile", "b.elf"}, "data=b.elf"},
        {{"-datafile", "b.elf", "-programfile", "a.elf"}, "data=a.elf"},
        {{"-programfile", "C:\\x\\..\\y\\a.elf"}, "data=C:/y/a.elf"},
        {{"-project", "./p//q/../r.dbgprj"}, "project=p/r.dbgprj"},
        {{"-logfile", "logs\\brask.log", "-loginterval", "64"}, "log=logs/brask.log | interval=64"},
        {{"-novikscriptfile", "s.scr", "-jtagconfig", "1,2"}, "script=s.scr | jtag=1,2"},
        {{"p.dbgprj", "-debug", "ignored", "-if", "SWD"}, "if=SWD | debug=on"},
    };
    for (const PARSE_CASE& Case : aCase) {
        EXPECT_EQ(Describe(ParseCommandLine(Case.Args)).toStdString(), Case.sFields)
            << Case.Args.join(QLatin1Char(' ')).toStdString();
    }
}

TEST(StatusBar, ConnectionInfoNamesTheSpeedInItsUnit) {
    struct {
        bool IsConnected;
        unsigned SpeedHz;
        unsigned ConfiguredHz;
        const char* sText;
    } const aCase[] = {
        {false, 4'000'000, 4'000'000, "Disconnected"},
        {true, 4'000'000, 4'000'000, "Connected @ 4 MHz"},
        {true, 0, 0, "Connected @ auto"},
        {true, 4'000'000, 65535, "Connected @ adaptive"},
        {true, 999, 999, "Connected @ 999 Hz"},
        {true, 1'000, 1'000, "Connected @ 1 kHz"},
        {true, 999'000, 999'000, "Connected @ 999 kHz"},
        {true, 1'000'000, 1'000'000, "Connected @ 1 MHz"},
        {true, 1'500'000, 1'500'000, "Connected @ 1500000 Hz"},
        {true, 33'333, 33'333, "Connected @ 33333 Hz"},
    };
    for (const auto& Case : aCase) {
        EXPECT_EQ(FormatConnectionInfo(Case.IsConnected, Case.SpeedHz, Case.ConfiguredHz).toStdString(), Case.sText);
    }
}
