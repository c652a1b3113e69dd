#include "project/RegisterFiles.h"

#include "base/Application.h"
#include "base/Files.h"
#include "device/Device.h"
#include "device/TargetState.h"
#include "project/FileFinder.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace {

constexpr qint64 HEAD_SIZE = 4096; ///< the root element stands within the first bytes

QString WithInstallDir(const QString& sPath) {
    const QString sDir = GetProgramDir();
    return sPath.startsWith(sDir) ? QStringLiteral("$(InstallDir)") + sPath.mid(sDir.size()) : sPath;
}

/// "ARM926EJ-S" to "ARM9", "ARM1136" to "ARM11"; a name of another kind stands; empty if the number is none.
QString ShortCoreName(const QString& sCore) {
    constexpr int FIRST = 4;
    constexpr int LAST = 11;
    if (!sCore.startsWith(QLatin1String("ARM"))) {
        return sCore;
    }
    for (const int NumDigits : {2, 1}) {
        bool IsNumber = false;
        const int Number = sCore.mid(3, NumDigits).toInt(&IsNumber);
        if (IsNumber && Number >= FIRST && Number <= LAST) {
            return QStringLiteral("ARM%1").arg(Number);
        }
    }
    return {};
}

} // namespace

QString GetSVDFileNameForCore(const QString& sCore) {
    const QString sName = ShortCoreName(sCore);
    if (sName.isEmpty()) {
        return {};
    }
    for (const char* sEnding : {"F.svd", ".svd"}) {
        const QString sFound = CFileFinder::Get().FindFileSilently(sName + QLatin1String(sEnding));
        if (FileExists(sFound)) {
            return WithInstallDir(sFound);
        }
    }
    return {};
}

QString GetDefaultPeriphSVDFile(const QString& sDevice, U32 Core) {
    const QDir Dir(GetConfigDir() + QStringLiteral("/Peripherals"));
    const QStringList Files =
        Dir.entryList({QStringLiteral("*.svd"), QStringLiteral("*.xml")}, QDir::Files, QDir::Name);
    for (const QString& sText : {QString::fromLatin1(GetArchitectureText(Core)), sDevice}) {
        for (const QString& sFile : Files) {
            if (!sText.isEmpty() && sFile.contains(sText, Qt::CaseInsensitive)) {
                return WithInstallDir(Dir.filePath(sFile));
            }
        }
    }
    return {};
}

QString GetDefaultCpuSvdFile() {
    return GetSVDFileNameForCore(
        CDevice::Get().GetKnownDevice(CDevice::Get().GetConfigText(DEV_CFG_DEVICE_NAME)).sCore);
}

QStringList GetDefaultSvdFiles(const QString& sDevice) {
    const DEVICE_ENTRY Device = CDevice::Get().GetKnownDevice(sDevice.toUtf8());
    QStringList Files = {GetSVDFileNameForCore(Device.sCore), GetDefaultPeriphSVDFile(sDevice, Device.Core)};
    Files.removeAll(QString());
    return Files;
}

bool IsCpuSvdFile(const QString& sPath) {
    static const QRegularExpression Root(QStringLiteral("<\\s*([A-Za-z_][\\w.-]*)"));
    QFile File(sPath);
    return CheckRegularFile(sPath).isEmpty() && File.open(QIODevice::ReadOnly) &&
           Root.match(QString::fromUtf8(File.read(HEAD_SIZE))).captured(1) == QLatin1String("cpu");
}
