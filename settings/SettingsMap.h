#pragma once

// The settings map: everything that persists for the user, in memory, keyed by a path joined with "/". Read whole from
// the platform store at start; at exit what this run has changed is put into what the store holds then, so that several
// instances leave each other's keys alone. In between nothing touches the store. Main thread.

#include <QString>
#include <QVariant>

/// Reads the whole store into the map. A damaged store gives an empty map.
void LoadSettingsMap();
/// Writes the keys that differ from what was read. Empty, or why the store couldn't be written: then it is as it was.
QString SaveSettingsMap();

QVariant ReadSetting(const QString& sKey, const QVariant& Default = QVariant());
void WriteSetting(const QString& sKey, const QVariant& Value);
void RemoveSetting(const QString& sKey);

/// Preferences (rows 22 to 56) to and from the map.
void SaveUserPrefs();
void LoadUserPrefs();
