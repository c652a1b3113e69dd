#include "app/CommandLine.h"

#include "project/FileFinder.h"

#include <QHash>

namespace {

CMD_LINE_PARAMS ActiveParams;
QStringList ActiveArgs;

bool IsOption(const QString& sArg) { return sArg.startsWith(QLatin1Char('-')); }

QString OptionName(const QString& sArg) {
    qsizetype Start = 0;
    while (Start < sArg.size() && sArg[Start] == QLatin1Char('-')) {
        ++Start;
    }
    return sArg.mid(Start).toLower();
}

QString Value(const QString& sArg) {
    QString sValue = sArg.trimmed();
    if (sValue.size() >= 2 && sValue.startsWith(QLatin1Char('"')) && sValue.endsWith(QLatin1Char('"'))) {
        sValue = sValue.mid(1, sValue.size() - 2);
    }
    return sValue;
}

struct TEXT_OPTION {
    QString CMD_LINE_PARAMS::*pField;
    bool IsPath;
};

const QHash<QString, TEXT_OPTION>& TextOptions() {
    static const QHash<QString, TEXT_OPTION> Options = {
        {"device", {&CMD_LINE_PARAMS::Device, false}},
        {"if", {&CMD_LINE_PARAMS::TargetIF, false}},
        {"speed", {&CMD_LINE_PARAMS::Speed, false}},
        {"datafile", {&CMD_LINE_PARAMS::DataFile, true}},
        {"programfile", {&CMD_LINE_PARAMS::DataFile, true}},
        {"project", {&CMD_LINE_PARAMS::ProjectFile, true}},
        {"logfile", {&CMD_LINE_PARAMS::LogFile, true}},
        {"loginterval", {&CMD_LINE_PARAMS::LogInterval, false}},
        {"novikscriptfile", {&CMD_LINE_PARAMS::ScriptFile, false}},
        {"timeout", {&CMD_LINE_PARAMS::Timeout, false}},
        {"jtagconfig", {&CMD_LINE_PARAMS::JTAGConfig, false}},
    };
    return Options;
}

void SetHost(CMD_LINE_PARAMS* pParams, const QString& sHost, const QString& sIdent) {
    pParams->HostIF = sHost.toUpper();
    if (!sIdent.isEmpty()) {
        pParams->HostIdent = sIdent;
    }
}

void Select(CMD_LINE_PARAMS* pParams, const QString& sValue) {
    const QString sLower = sValue.toLower();
    const qsizetype Equal = sLower.indexOf(QLatin1Char('='));
    const QString sName = Equal < 0 ? sLower : sLower.left(Equal);
    if (sName == QLatin1String("usb") || sName == QLatin1String("ip")) {
        SetHost(pParams, sName, Equal < 0 ? QString() : Value(sLower.mid(Equal + 1)));
    }
}

void Apply(CMD_LINE_PARAMS* pParams, const QString& sName, const QString& sValue) {
    if (sName == QLatin1String("usb") || sName == QLatin1String("ip")) {
        SetHost(pParams, sName, sValue);
    } else if (sName == QLatin1String("tarvik")) {
        pParams->Device = QStringLiteral("MK66FN2M0XXX18");
        pParams->TargetIF = QStringLiteral("SWD");
        pParams->Speed = QStringLiteral("2000");
    } else if (sName == QLatin1String("debug")) {
        pParams->DebugMode = true;
    } else if (sName == QLatin1String("trust")) {
        pParams->IsTrusting = true;
    } else if (sName == QLatin1String("select") && !sValue.isEmpty()) {
        Select(pParams, sValue);
    } else if (TextOptions().contains(sName) && !sValue.isEmpty()) {
        const TEXT_OPTION Option = TextOptions().value(sName);
        pParams->*Option.pField = Option.IsPath ? CleanPath(sValue) : sValue;
    }
}

} // namespace

CMD_LINE_PARAMS ParseCommandLine(const QStringList& Args) {
    CMD_LINE_PARAMS Params;
    for (qsizetype i = 0; i < Args.size(); ++i) {
        if (!IsOption(Args[i])) {
            continue;
        }
        const bool HasValue = i + 1 < Args.size() && !IsOption(Args[i + 1]);
        Apply(&Params, OptionName(Args[i]), HasValue ? Value(Args[i + 1]) : QString());
    }
    return Params;
}

const CMD_LINE_PARAMS& GetCmdLine() { return ActiveParams; }
const QStringList& GetCmdLineArgs() { return ActiveArgs; }

void SetCmdLine(const CMD_LINE_PARAMS& Params, const QStringList& Args) {
    ActiveParams = Params;
    ActiveArgs = Args;
}
