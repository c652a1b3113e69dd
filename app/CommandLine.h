#pragma once

#include <QString>
#include <QStringList>

/// The parsed command line; every field starts empty.
struct CMD_LINE_PARAMS {
    QString Device;
    QString HostIF;    ///< "USB" or "IP"
    QString HostIdent; ///< serial number or address; may stay empty
    QString TargetIF;
    QString Speed;
    QString DataFile;
    QString ProjectFile;
    QString LogFile;
    QString LogInterval; ///< bytes, as text
    QString ScriptFile;
    QString JTAGConfig; ///< "DRPre,IRLen"
    QString Timeout;    ///< seconds, as text
    bool DebugMode = false;
    bool IsTrusting = false; ///< scripts may write outside their projects' folders
};

/// Parses the arguments behind the program name. Unknown options and options without their value are ignored.
CMD_LINE_PARAMS ParseCommandLine(const QStringList& Args);

/// The arguments as parsed at start. Main thread.
const CMD_LINE_PARAMS& GetCmdLine();
void SetCmdLine(const CMD_LINE_PARAMS& Params, const QStringList& Args);
/// The arguments behind the program name.
const QStringList& GetCmdLineArgs();
