#include "app/Ask.h"

#include "base/ConsoleRing.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

bool IsUnattended() {
    const QString sPlatform = QGuiApplication::platformName();
    return sPlatform == QLatin1String("offscreen") || sPlatform == QLatin1String("minimal");
}

QMessageBox::StandardButton AskUser(const QString& sTitle, const QString& sText, QMessageBox::StandardButtons Buttons,
                                    QMessageBox::StandardButton Default, const char* sIcon) {
    if (IsUnattended()) {
        ConsolePrint(sTitle + QStringLiteral(": ") + sText);
        return Default;
    }
    QMessageBox Box(QMessageBox::Question, sTitle, sText, Buttons, QApplication::activeWindow());
    Box.setDefaultButton(Default);
    if (sIcon != nullptr) {
        Box.setIconPixmap(QIcon(QStringLiteral(":/icons/") + QLatin1String(sIcon)).pixmap(32, 32));
    }
    return static_cast<QMessageBox::StandardButton>(Box.exec());
}

QMessageBox::StandardButton ShowWarnings(const QString& sTitle, const QString& sHead, const QStringList& List,
                                         const QString& sClosing, QMessageBox::StandardButtons Buttons,
                                         QMessageBox::StandardButton Default) {
    if (IsUnattended()) {
        ConsolePrint(sTitle + QStringLiteral(": ") + sHead);
        for (const QString& sItem : List) {
            ConsolePrint(QStringLiteral("  ") + sItem);
        }
        ConsolePrint(QString(sClosing).replace(QLatin1Char('\n'), QLatin1Char(' ')));
        return Default;
    }
    QDialog Dialog(QApplication::activeWindow());
    Dialog.setWindowTitle(sTitle);
    auto* pLayout = new QVBoxLayout(&Dialog);
    pLayout->addWidget(new QLabel(sHead, &Dialog));
    auto* pList = new QListWidget(&Dialog);
    for (const QString& sItem : List) {
        pList->addItem(new QListWidgetItem(QIcon(QStringLiteral(":/icons/exclamation-button.svg")), sItem));
    }
    pLayout->addWidget(pList);
    pLayout->addWidget(new QLabel(sClosing, &Dialog));
    auto* pButtons = new QDialogButtonBox(static_cast<QDialogButtonBox::StandardButtons>(static_cast<int>(Buttons)), &Dialog);
    pLayout->addWidget(pButtons);
    if (QPushButton* pDefault = pButtons->button(static_cast<QDialogButtonBox::StandardButton>(Default))) {
        pDefault->setDefault(true);
    }
    int Result = QMessageBox::Cancel;
    QObject::connect(pButtons, &QDialogButtonBox::clicked, &Dialog, [&](QAbstractButton* pButton) {
        Result = pButtons->standardButton(pButton);
        Dialog.accept();
    });
    Dialog.resize(520, 280);
    Dialog.exec();
    return static_cast<QMessageBox::StandardButton>(Result);
}
