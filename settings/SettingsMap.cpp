#include "settings/SettingsMap.h"

#include "base/Application.h"
#include "settings/SysVarText.h"

#include <QMap>
#include <QSettings>

namespace {

QMap<QString, QVariant>& _Map() {
    static QMap<QString, QVariant> Map;
    return Map;
}

QString _PrefKey(const SYS_VAR* pVar) {
    return QStringLiteral("AppData/Preferences/Preferences/") + QLatin1String(pVar->sName);
}

} // namespace

void LoadSettingsMap() {
    _Map().clear();
    QSettings Store{QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)};
    for (const QString& sKey : Store.allKeys()) {
        _Map().insert(sKey, Store.value(sKey));
    }
}

void SaveSettingsMap() {
    QSettings Store{QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)};
    Store.clear();
    for (auto It = _Map().constBegin(); It != _Map().constEnd(); ++It) {
        Store.setValue(It.key(), It.value());
    }
    Store.sync();
    if (Store.status() != QSettings::NoError) {
        qCritical("The settings could not be written.");
    }
}

QVariant ReadSetting(const QString& sKey, const QVariant& Default) { return _Map().value(sKey, Default); }
void WriteSetting(const QString& sKey, const QVariant& Value) { _Map().insert(sKey, Value); }
void RemoveSetting(const QString& sKey) { _Map().remove(sKey); }

void SaveUserPrefs() {
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        WriteSetting(_PrefKey(GetSysVar(i)), SysVarValue(i));
    }
}

void LoadUserPrefs() {
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR* pVar = GetSysVar(i);
        bool IsAllowed = false;
        const I32 Value = ParseSysVarText(pVar, ReadSetting(_PrefKey(pVar)).toString(), &IsAllowed);
        if (IsAllowed) { // the store may have been edited, and is older than the table
            SetSysVar(pVar, Value, true);
        }
    }
}
