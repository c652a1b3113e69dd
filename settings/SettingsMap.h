#pragma once

// The settings map: everything that persists for the user, in memory, keyed by a path joined with "/". Read whole from
// the platform store at start and written whole at exit; in between nothing touches the store. Main thread.

#include <QString>
#include <QVariant>

/// Reads the whole store into the map. A damaged store gives an empty map.
void LoadSettingsMap();
/// Clears the store and writes every key of the map.
void SaveSettingsMap();

QVariant ReadSetting(const QString& sKey, const QVariant& Default = QVariant());
void WriteSetting(const QString& sKey, const QVariant& Value);
void RemoveSetting(const QString& sKey);

/// Preferences (rows 22 to 56) to and from the map.
void SaveUserPrefs();
void LoadUserPrefs();
