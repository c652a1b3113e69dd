#pragma once

// The settings of a project as the command lines that make them. Main thread.

#include <QStringList>

struct CMD_LINE_PARAMS;

/// Command lines of the settings in force, for a project that has no text.
QStringList CollectProjectSettings();
/// Command lines of what was asked for on the command line.
QStringList CollectCmdLineSettings(const CMD_LINE_PARAMS& Params);
/// Puts lines that a settings dialog has made into the project, if the user wants that: into its file, or into the text
/// of a project that has none yet.
void SaveSettingsToProject(const QString& sTitle, const QStringList& Lines, bool IsTrace);
