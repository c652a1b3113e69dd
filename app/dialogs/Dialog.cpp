#include "app/dialogs/Dialog.h"

#include "settings/Fonts.h"
#include "settings/SettingsMap.h"

CDialog::CDialog(const QString& sObjectName, const QString& sTitle, QSize Size, QWidget* pParent) : QDialog(pParent) {
    setObjectName(sObjectName);
    setWindowTitle(sTitle);
    setFont(GetFont(FONT_APP));
    const QSize Stored = ReadSetting(SettingKey(QStringLiteral("Size"))).toSize();
    resize(Stored.isValid() ? Stored : Size);
}

QString CDialog::SettingKey(const QString& sName) const {
    return QStringLiteral("AppData/%1/%2").arg(objectName(), sName);
}

void CDialog::done(int Result) {
    WriteSetting(SettingKey(QStringLiteral("Size")), size());
    QDialog::done(Result);
}
