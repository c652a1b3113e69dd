#pragma once

// Facts about the program itself: version, title and the directories beside the program file. Any thread; computed
// once.

#include <QString>

/// "V2.52a": major, minor in two digits, revision letter; "z" and two digits above 26, none for revision 0.
QString FormatVersion(int Major, int Minor, int Revision);
QString GetAppVersion();

/// "Brask", or the long form "Brask - The Novik Debugger", optionally with a blank and the version.
QString GetAppTitle(bool IsLong, bool WithVersion);

/// Directory of the program file, canonical; with a name, the directory of that name below it.
QString GetProgramDir(const QString& sSubDir = QString());
inline QString GetConfigDir() { return GetProgramDir(QStringLiteral("Config")); }
inline QString GetLibDir() { return GetProgramDir(QStringLiteral("Lib")); }
inline QString GetDocDir() { return GetProgramDir(QStringLiteral("Doc")); }
inline QString GetPluginDir() { return GetProgramDir(QStringLiteral("Plugins")); }
inline QString GetPeripheralDir() { return GetProgramDir(QStringLiteral("Config/Peripherals")); }

constexpr const char* ORGANISATION_NAME = "VANTLE";
constexpr const char* APPLICATION_NAME = "Brask";
