#include "settings/SettingsMap.h"

#include "base/Application.h"
#include "base/Files.h"
#include "settings/SysVarText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QMap>
#include <QSettings>
#include <QTemporaryDir>

namespace {

using SETTINGS = QMap<QString, QVariant>;

struct SETTINGS_STATE {
    SETTINGS Map;
    SETTINGS Stored;        ///< as the store had them when they were read or written last
    bool IsDamaged = false; ///< the store couldn't be read as a whole: it must not be overwritten
};

SETTINGS_STATE& GetState() {
    static SETTINGS_STATE State;
    return State;
}

constexpr qint64 MAX_STORE_SIZE = 16 * 1024 * 1024;
constexpr int LOCK_TIMEOUT_MS = 1000; ///< another instance holds the lock for some milliseconds

QString PrefKey(const SYS_VAR* pVar) {
    return QStringLiteral("AppData/Preferences/Preferences/") + QLatin1String(pVar->sName);
}

/// The store that the platform names. The file is read at the first question about its keys.
QString StorePath() { return QSettings(QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)).fileName(); }

/// False if the store can't be read as a whole.
bool ReadKeys(QSettings* pStore, SETTINGS* pKeys) {
    for (const QString& sKey : pStore->allKeys()) {
        pKeys->insert(sKey, pStore->value(sKey));
    }
    return pStore->status() == QSettings::NoError;
}

/// True if a store gives one value back for the other: it knows numbers as texts only, and a list without an element as
/// no value.
bool IsSame(const QVariant& a, const QVariant& b) {
    const auto Texts = [](const QVariant& Value) {
        const bool IsList = Value.typeId() == QMetaType::QStringList && !Value.toStringList().isEmpty();
        return IsList ? Value.toStringList() : QStringList(Value.toString());
    };
    const bool IsBinary = a.typeId() == QMetaType::QByteArray || b.typeId() == QMetaType::QByteArray;
    return IsBinary ? a.toByteArray() == b.toByteArray() : Texts(a) == Texts(b);
}

/// Puts what this run has changed into the keys.
void MergeChanges(SETTINGS* pKeys) {
    const SETTINGS_STATE& State = GetState();
    for (auto It = State.Stored.constBegin(); It != State.Stored.constEnd(); ++It) {
        if (!State.Map.contains(It.key())) {
            pKeys->remove(It.key());
        }
    }
    for (auto It = State.Map.constBegin(); It != State.Map.constEnd(); ++It) {
        if (!State.Stored.contains(It.key()) || !IsSame(State.Stored.value(It.key()), It.value())) {
            pKeys->insert(It.key(), It.value());
        }
    }
}

/// The bytes of a store that holds the keys. Empty, or why they couldn't be made: QSettings tells nothing of a full
/// device, so that what it has written is read again.
QString FormatStore(const SETTINGS& Keys, const QString& sPath, QByteArray* pBytes) {
    if (Keys.isEmpty()) {
        return {};
    }
    const QTemporaryDir Dir(sPath + QStringLiteral(".XXXXXX"));
    if (!Dir.isValid()) {
        return Dir.errorString();
    }
    const QString sTemp = Dir.filePath(QStringLiteral("store"));
    {
        QSettings Out(sTemp, QSettings::IniFormat);
        for (auto It = Keys.constBegin(); It != Keys.constEnd(); ++It) {
            Out.setValue(It.key(), It.value());
        }
    }
    const QString sCopy = Dir.filePath(QStringLiteral("copy")); // QSettings keeps what it wrote under the other name
    SETTINGS Read;
    if (!QFile::rename(sTemp, sCopy) || !ReadRegularFile(sCopy, MAX_STORE_SIZE, pBytes).isEmpty()) {
        return QStringLiteral("the folder takes no file (is the device full?)");
    }
    QSettings In(sCopy, QSettings::IniFormat);
    bool IsComplete = ReadKeys(&In, &Read) && Read.size() == Keys.size();
    for (auto It = Keys.constBegin(); IsComplete && It != Keys.constEnd(); ++It) {
        IsComplete = IsSame(Read.value(It.key()), It.value());
    }
    return IsComplete ? QString() : QStringLiteral("its copy is incomplete (is the device full?)");
}

} // namespace

void LoadSettingsMap() {
    SETTINGS_STATE& State = GetState();
    State = {};
    const QString sFile = StorePath();
    const bool IsReadable =
        !QFileInfo::exists(sFile) || (CheckRegularFile(sFile).isEmpty() && QFileInfo(sFile).size() <= MAX_STORE_SIZE);
    if (IsReadable) {
        QSettings Store{QLatin1String(ORGANISATION_NAME), QLatin1String(APPLICATION_NAME)};
        State.IsDamaged = !ReadKeys(&Store, &State.Map);
    } else {
        State.IsDamaged = true;
    }
    State.Stored = State.Map;
    if (State.IsDamaged) {
        qCritical("The settings in %s can't be read. Defaults are used for what is missing; the file will be kept as "
                  "%s.damaged.",
                  qPrintable(sFile), qPrintable(sFile));
    }
}

QString SaveSettingsMap() {
    SETTINGS_STATE& State = GetState();
    const QString sFile = StorePath();
    QDir().mkpath(QFileInfo(sFile).path());
    QLockFile Lock(sFile + QStringLiteral(".lock"));
    if (!Lock.tryLock(LOCK_TIMEOUT_MS) && Lock.error() == QLockFile::LockFailedError) {
        return sFile + QStringLiteral(": another instance doesn't let go of it");
    }
    SETTINGS Keys;
    if (State.IsDamaged) {
        QFile::remove(sFile + QStringLiteral(".damaged"));
        QFile::rename(sFile, sFile + QStringLiteral(".damaged"));
        Keys = State.Map;
    } else {
        QSettings Store(sFile, QSettings::IniFormat);
        ReadKeys(&Store, &Keys);
        MergeChanges(&Keys);
    }
    QByteArray Bytes;
    QString sError = FormatStore(Keys, sFile, &Bytes);
    if (sError.isEmpty()) {
        sError = SaveFile(sFile, Bytes);
    }
    if (!sError.isEmpty()) {
        return sFile + QStringLiteral(": ") + sError;
    }
    State.IsDamaged = false;
    State.Stored = State.Map;
    return {};
}

QVariant ReadSetting(const QString& sKey, const QVariant& Default) { return GetState().Map.value(sKey, Default); }
void WriteSetting(const QString& sKey, const QVariant& Value) { GetState().Map.insert(sKey, Value); }
void RemoveSetting(const QString& sKey) { GetState().Map.remove(sKey); }

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
