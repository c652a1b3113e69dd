#include "app/Ask.h"

#include "app/dialogs/MessageBox.h"
#include "base/ConsoleRing.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

ANSWER_SOURCE _pfAnswer;

QMessageBox::StandardButton AnswerUnattended(const QString& sTitle, const QString& sText,
                                             QMessageBox::StandardButton Default) {
    ConsolePrint(sTitle + QStringLiteral(": ") + sText);
    return _pfAnswer ? _pfAnswer(sTitle, Default) : Default;
}

void AddLabel(QVBoxLayout* pLayout, const QString& sText) {
    auto* pLabel = new QLabel(sText);
    pLabel->setTextFormat(Qt::PlainText);
    pLayout->addWidget(pLabel);
}

} // namespace

bool IsUnattended() {
    const QString sPlatform = QGuiApplication::platformName();
    return sPlatform == QLatin1String("offscreen") || sPlatform == QLatin1String("minimal");
}

void SetAnswerSource(const ANSWER_SOURCE& pfAnswer) { _pfAnswer = pfAnswer; }

QMessageBox::StandardButton AskUser(const QString& sTitle, const QString& sText, QMessageBox::StandardButtons Buttons,
                                    QMessageBox::StandardButton Default, const char* sIcon, int SuppressHours) {
    if (IsUnattended()) {
        return AnswerUnattended(sTitle, sText, Default);
    }
    const QString sFile = QLatin1String(sIcon != nullptr ? sIcon : "question.svg");
    CMessageBox Box(sTitle, sText, QIcon(QStringLiteral(":/icons/") + sFile),
                    QDialogButtonBox::StandardButtons(QFlag(static_cast<int>(Buttons))), SuppressHours,
                    QApplication::activeWindow());
    Box.SetDefaultButton(static_cast<QDialogButtonBox::StandardButton>(Default));
    return static_cast<QMessageBox::StandardButton>(Box.Ask());
}

void TellSaveFailed(const QString& sPath, const QString& sError, bool IsEnding) {
    const QString sText = QStringLiteral("Could not write file ") + sPath + QStringLiteral(": ") + sError;
    ConsolePrintError(sText);
    if (IsEnding && !IsUnattended()) {
        AskUser(QStringLiteral("Saving Failed"), sText, QMessageBox::Ok, QMessageBox::Ok, "exclamation-button.svg");
    }
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
        return _pfAnswer ? _pfAnswer(sTitle, Default) : Default;
    }
    QDialog Dialog(QApplication::activeWindow());
    Dialog.setWindowTitle(sTitle);
    auto* pLayout = new QVBoxLayout(&Dialog);
    AddLabel(pLayout, sHead);
    auto* pList = new QListWidget(&Dialog);
    for (const QString& sItem : List) {
        pList->addItem(new QListWidgetItem(QIcon(QStringLiteral(":/icons/exclamation-button.svg")), sItem));
    }
    pLayout->addWidget(pList);
    AddLabel(pLayout, sClosing);
    auto* pButtons =
        new QDialogButtonBox(static_cast<QDialogButtonBox::StandardButtons>(static_cast<int>(Buttons)), &Dialog);
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
