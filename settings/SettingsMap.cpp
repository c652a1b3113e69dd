#include "settings/SettingsMap.h"

#include "base/Application.h"
#include "settings/SysVarText.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSettings>

namespace {

QMap<QString, QVariant>& GetMap() {
    static QMap<QString, QVariant> Map;
    return Map;
}

/// The store couldn't be read as a whole: it must not be overwritten.
bool& IsStoreDamaged() {
    static bool IsDamaged = false;
    return IsDamaged;
}

constexpr qint64 MAX_STORE_SIZE = 16 * 1024 * 1024;

QString PrefKey(const SYS_VAR* pVar) {
    return QStringLiteral("AppData/Preferences/Preferences/") + QLatin1String(pVar->sName);
}

} // namespace

void LoadSettingsMap() {
    GetMap().clear();
    IsStoreDamaged() = false;
    QString sFile;
    {
        // The size is looked at before the store is: it reads the whole file at the first question.
        const QSettings Store{QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)};
        sFile = Store.fileName();
    }
    if (QFileInfo(sFile).size() <= MAX_STORE_SIZE) {
        QSettings Store{QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)};
        for (const QString& sKey : Store.allKeys()) {
            GetMap().insert(sKey, Store.value(sKey));
        }
        IsStoreDamaged() = Store.status() != QSettings::NoError;
    } else {
        IsStoreDamaged() = true;
    }
    if (IsStoreDamaged()) {
        qCritical("The settings in %s can't be read. Defaults are used for what is missing; the file will be kept as "
                  "%s.damaged.",
                  qPrintable(sFile), qPrintable(sFile));
    }
}

void SaveSettingsMap() {
    QSettings Store{QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)};
    if (IsStoreDamaged()) {
        const QString sKept = Store.fileName() + QStringLiteral(".damaged");
        QFile::remove(sKept);
        QFile::rename(Store.fileName(), sKept);
        IsStoreDamaged() = false;
    }
    Store.clear();
    for (auto It = GetMap().constBegin(); It != GetMap().constEnd(); ++It) {
        Store.setValue(It.key(), It.value());
    }
    Store.sync();
    if (Store.status() != QSettings::NoError) {
        qCritical("The settings could not be written.");
    }
}

QVariant ReadSetting(const QString& sKey, const QVariant& Default) { return GetMap().value(sKey, Default); }
void WriteSetting(const QString& sKey, const QVariant& Value) { GetMap().insert(sKey, Value); }
void RemoveSetting(const QString& sKey) { GetMap().remove(sKey); }

void SaveUserPrefs() {
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        WriteSetting(PrefKey(GetSysVar(i)), SysVarValue(i));
    }
}

void LoadUserPrefs() {
    for (int i = PREF_SHOW_LINE_NUMBERS; i < SYS_VAR_COUNT; ++i) {
        const SYS_VAR* pVar = GetSysVar(i);
        bool IsAllowed = false;
        const I32 Value = ParseSysVarText(pVar, ReadSetting(PrefKey(pVar)).toString(), &IsAllowed);
        if (IsAllowed) { // the store may have been edited, and is older than the table
            SetSysVar(pVar, Value, true);
        }
    }
}
